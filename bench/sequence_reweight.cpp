// Times the neighbour count of sequence_reweight on one alignment with 1 and
// 2 threads and writes the neighbour counts for an outside check.
#include <omp.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>

#include "sequence/sequence.h"

namespace {

double cpu_seconds() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return u.ru_utime.tv_sec + u.ru_stime.tv_sec + 1e-6 * (u.ru_utime.tv_usec + u.ru_stime.tv_usec);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s <alignment> <out dir>\n", argv[0]);
    return 2;
  }
  const std::string out = std::string(argv[2]) + "/";
  tevo::LSequence<double> seq(out, "bench", 1);
  seq.init("");
  seq.set_gap_frac(1.0);
  seq.set_site_gap_frac(1.0);
  seq.sequence_trim(argv[1], "", false, false);
  double seconds[3] = {0, 0, 0}, cpu[3] = {0, 0, 0};
  for (int threads = 1; threads <= 2; ++threads) {
    omp_set_num_threads(threads);
    const auto t0 = std::chrono::steady_clock::now();
    const double c0 = cpu_seconds();
    seq.sequence_reweight(0.2, 1.0);
    seconds[threads] = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    cpu[threads] = cpu_seconds() - c0;
  }
  std::ofstream counts(out + "tevo_neighbours.txt");
  for (int i = 0; i < seq.num_of_trimmed_seq; ++i)
    counts << static_cast<long>(1.0 / seq.weights[i] + 0.5) - 1 << "\n";
  std::printf("BENCH sequences %d sites %d neff %.6f\n", seq.num_of_trimmed_seq, seq.num_of_trimmed_site,
              seq.effective_samples);
  std::printf("BENCH reweight_1_thread_s %.3f\nBENCH reweight_2_threads_s %.3f\n", seconds[1], seconds[2]);
  std::printf("BENCH reweight_cpu_1_thread_s %.3f\nBENCH reweight_cpu_2_threads_s %.3f\n", cpu[1], cpu[2]);
  seq.finish();
  return 0;
}
