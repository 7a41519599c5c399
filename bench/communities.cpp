// Times eig_calc on seeded random symmetric matrices and the whole residue
// community step on one of them; writes the eigenvalues for an outside check.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "sequence/sequence.h"
#include "util/eigen.h"
#include "util/files.h"  // write_matrix
#include "util/numeric.h"
#include "util/random.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s <out dir> [sizes...]\n", argv[0]);
    return 2;
  }
  const std::string out = std::string(argv[1]) + "/";
  std::vector<int> sizes;
  for (int k = 2; k < argc; ++k) sizes.push_back(std::atoi(argv[k]));
  if (sizes.empty()) sizes = {100, 300, 600};
  for (const int n : sizes) {
    tevo::MT19937<double> rng;
    rng.init_genrand(2024 + n);
    double** a = tevo::create_mtx_malloc<double>(n, n, 0.0);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j <= i; ++j) a[i][j] = a[j][i] = i == j ? 0 : rng.genrand_real1() - 0.5;
    std::string name = out + "matrix_" + std::to_string(n);
    tevo::write_matrix<double>(name, a, n, n, 1, "", ",", ".csv", "f", 17);
    double** v = tevo::create_mtx_malloc<double>(n, n, 0.0);
    std::vector<double> values(n);
    const auto t0 = std::chrono::steady_clock::now();
    const int sweeps = tevo::eig_calc(v, values.data(), n, a, 1000);
    const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    std::printf("BENCH eig_calc n=%d sweeps=%d seconds=%.3f\n", n, sweeps, s);
    std::FILE* fp = std::fopen((out + "values_" + std::to_string(n) + ".txt").c_str(), "w");
    for (double x : values) std::fprintf(fp, "%.17g\n", x);
    std::fclose(fp);

    // The community step on the same matrix as coupling scores.
    tevo::LSequence<double> seq(out, "bench_" + std::to_string(n), 1);
    seq.trimmed_ref_seq = std::string(n, 'A');
    seq.num_of_site = seq.num_of_trimmed_site = n;
    seq.site_list = new int32_t[n];
    for (int i = 0; i < n; ++i) seq.site_list[i] = i;
    seq.set_coupling_matrix(a, n);
    const auto t1 = std::chrono::steady_clock::now();
    seq.calc_residue_communities("", true);
    const double c = std::chrono::duration<double>(std::chrono::steady_clock::now() - t1).count();
    std::printf("BENCH calc_residue_communities L=%d seconds=%.3f\n", n, c);
    tevo::free_mtx_malloc(a, n);
    tevo::free_mtx_malloc(v, n);
  }
  return 0;
}
