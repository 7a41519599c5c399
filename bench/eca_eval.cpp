// Times one evaluation of the pseudo-likelihood objective of the coupling
// fit (value and gradient) on a trimmed, reweighted alignment with 1 and 2
// threads, at the point x[k] = 0.01 sin(k + 1).
//
// Usage: eca_eval <alignment> <out dir> [dump]
// With "dump" it writes, for bench/eca_np.py: eca_meta.txt (sizes, value),
// eca_states.u8 (states, row per sequence), eca_weights.f64, eca_grad.f64.
#include <omp.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "sequence/potts.h"
#include "sequence/sequence.h"

namespace {

double cpu_seconds() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return u.ru_utime.tv_sec + u.ru_stime.tv_sec + 1e-6 * (u.ru_utime.tv_usec + u.ru_stime.tv_usec);
}

bool write_raw(const std::string& path, const void* data, size_t bytes) {
  FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return false;
  const bool ok = std::fwrite(data, 1, bytes, f) == bytes;
  return std::fclose(f) == 0 && ok;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s <alignment> <out dir> [dump]\n", argv[0]);
    return 2;
  }
  const std::string out = std::string(argv[2]) + "/";
  const bool dump = argc > 3 && std::string(argv[3]) == "dump";
  tevo::LSequence<double> seq(out, "eca_eval", 1);
  seq.init("");
  seq.sequence_trim(argv[1], "", false, false);
  seq.sequence_reweight(0.2, 1.0);

  tevo::PottsData<double> data;
  data.msa = seq.trimmed_msa;
  data.weights = seq.weights;
  data.num_of_seq = seq.num_of_trimmed_seq;
  data.num_of_site = seq.num_of_trimmed_site;
  data.num_of_pairs = tevo::potts_num_pairs(seq.num_of_trimmed_site);
  data.lambda_h = 0.01;
  data.lambda_j = 100.0;
  data.effective_samples = seq.effective_samples;
  const long n = tevo::potts_num_params(data.num_of_site);
  std::vector<double> x(n), g(n);
  for (long k = 0; k < n; ++k) x[k] = 0.01 * std::sin(static_cast<double>(k + 1));
  std::printf("BENCH sequences %d sites %d params %ld neff %.3f\n", data.num_of_seq, data.num_of_site, n,
              data.effective_samples);

  double value = 0.0, spread = 0.0;  // spread: summation order may differ between calls
  double best[3] = {1e300, 1e300, 1e300}, best_cpu[3] = {1e300, 1e300, 1e300};
  for (int threads = 1; threads <= 2; ++threads) {
    omp_set_num_threads(threads);
    value = tevo::LSequence<double>::plm_negative_log_posterior(static_cast<int>(n), x.data(), g.data(), &data);
    for (int rep = 0; rep < 3; ++rep) {
      const auto t0 = std::chrono::steady_clock::now();
      const double c0 = cpu_seconds();
      const double v = tevo::LSequence<double>::plm_negative_log_posterior(static_cast<int>(n), x.data(), g.data(), &data);
      best[threads] = std::min(best[threads], std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
      best_cpu[threads] = std::min(best_cpu[threads], cpu_seconds() - c0);
      spread = std::max(spread, std::fabs(v - value) / std::fabs(value));
    }
  }
  std::printf("BENCH value %.12g (largest relative change between calls %.1e)\n", value, spread);
  std::printf("BENCH eval_1_thread_s %.4f\nBENCH eval_2_threads_s %.4f\n", best[1], best[2]);
  std::printf("BENCH eval_cpu_1_thread_s %.4f\nBENCH eval_cpu_2_threads_s %.4f\n", best_cpu[1], best_cpu[2]);

  if (dump) {
    std::vector<unsigned char> states(static_cast<size_t>(data.num_of_seq) * data.num_of_site);
    for (int s = 0; s < data.num_of_seq; ++s)
      for (int i = 0; i < data.num_of_site; ++i)
        states[static_cast<size_t>(s) * data.num_of_site + i] = static_cast<unsigned char>(seq.trimmed_msa[s][i]);
    FILE* meta = std::fopen((out + "eca_meta.txt").c_str(), "w");
    bool ok = meta != nullptr;
    if (ok) {
      std::fprintf(meta, "sequences %d\nsites %d\nvalue %.17g\n", data.num_of_seq, data.num_of_site, value);
      ok = std::fclose(meta) == 0;
    }
    ok = ok && write_raw(out + "eca_states.u8", states.data(), states.size()) &&
         write_raw(out + "eca_weights.f64", seq.weights, sizeof(double) * data.num_of_seq) &&
         write_raw(out + "eca_grad.f64", g.data(), sizeof(double) * n);
    if (!ok) {
      std::fprintf(stderr, "cannot write the exchange files under %s\n", out.c_str());
      return 1;
    }
  }
  seq.finish();
  return 0;
}
