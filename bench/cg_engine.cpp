// Force evaluations per second of the coarse-grained engine with every node
// type on the backbone of a real structure, and where the time goes per node.
#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#include "md/engine_file.h"
#include "md/timekeeper.h"
#include "md_config_writer.h"  // tests/md: the configuration writers of the tests

using namespace tevo;

// N, CA, C of the first n_res complete residues of a chain (first model,
// first alternate location), as [atom][3].
std::vector<float> read_backbone(const std::string& path, char chain, int n_res) {
  std::ifstream in(path);
  std::vector<float> xyz;
  std::string line, current;
  float res[9];
  int have = 0;
  auto flush = [&] {
    if (have == 7) xyz.insert(xyz.end(), res, res + 9);
    have = 0;
  };
  while (std::getline(in, line) && static_cast<int>(xyz.size()) < 9 * n_res) {
    if (line.rfind("ENDMDL", 0) == 0) break;
    if (line.rfind("ATOM", 0) != 0 || line.size() < 54 || line[21] != chain) continue;
    if (line[16] != ' ' && line[16] != 'A') continue;
    const std::string id = line.substr(22, 5), name = line.substr(12, 4);
    if (id != current) flush(), current = id;
    const int k = name == " N  " ? 0 : name == " CA " ? 1 : name == " C  " ? 2 : -1;
    if (k < 0) continue;
    for (int d = 0; d < 3; ++d) res[3 * k + d] = std::stof(line.substr(30 + 8 * d, 8));
    have |= 1 << k;
  }
  flush();
  xyz.resize(std::min<size_t>(xyz.size(), 9 * static_cast<size_t>(n_res)));
  double c[3] = {0, 0, 0};
  const size_t n_atom = xyz.size() / 3;
  for (size_t a = 0; a < n_atom; ++a)
    for (int d = 0; d < 3; ++d) c[d] += xyz[3 * a + d] / n_atom;
  for (size_t a = 0; a < n_atom; ++a)
    for (int d = 0; d < 3; ++d) xyz[3 * a + d] -= static_cast<float>(c[d]);
  return xyz;
}

int main(int argc, char** argv) {
  if (argc < 6) {
    std::fprintf(stderr, "usage: %s <pdb> <chain> <residues> <out dir> <evaluations>\n", argv[0]);
    return 2;
  }
  const std::vector<float> backbone = read_backbone(argv[1], argv[2][0], std::atoi(argv[3]));
  const int n_res = static_cast<int>(backbone.size() / 9), n_eval = std::atoi(argv[5]);
  for (int n_system : {1, 2}) {
    const std::string path =
        std::string(argv[4]) + "/cg_" + std::to_string(n_res) + "_" + std::to_string(n_system) + ".h5";
    run_or_exit([&] {
      md_config::ConfigFile f(path, n_res, md_config::noisy_copies(backbone, n_system, 0.05f, 11), n_system);
      md_config::write_all_nodes(f);
    });
    std::unique_ptr<CGMDEngine<float>> engine;
    run_or_exit([&] { engine = load_engine_file<float>(path, true); });
    for (int threads : {1, 2}) {
      omp_set_num_threads(threads);
      engine->compute(DerivMode);  // warm-up
      // Wall time is what a user waits for; the CPU time of the process is
      // printed beside it because a loaded machine inflates the wall time.
      std::vector<double> rates, cpu_rates;
      for (int run = 0; run < 5; ++run) {
        const auto start = std::chrono::steady_clock::now();
        const std::clock_t cpu_start = std::clock();
        for (int i = 0; i < n_eval; ++i) engine->compute(DerivMode);
        rates.push_back(n_eval / std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        cpu_rates.push_back(n_eval / (static_cast<double>(std::clock() - cpu_start) / CLOCKS_PER_SEC));
      }
      std::sort(rates.begin(), rates.end());
      std::sort(cpu_rates.begin(), cpu_rates.end());
      std::printf(
          "BENCH residues=%d systems=%d threads=%d nodes=%zu evaluations/s=%.0f (median of 5 x %d; per CPU-second of "
          "the process: %.0f)\n",
          n_res, n_system, threads, engine->nodes.size(), rates[2], n_eval, cpu_rates[2]);
    }
    if (n_system == 1) {
      omp_set_num_threads(1);
      global_time_keeper = TimeKeeper(10);
      engine->time_nodes(global_time_keeper);
      for (int i = 0; i < n_eval; ++i) engine->compute(DerivMode);
      std::printf("BENCH per-node time, residues=%d, 1 system, 1 thread:\n", n_res);
      std::fflush(stdout);
      global_time_keeper.print_report(n_eval - 10);
      std::fflush(stdout);
      for (Node& n : engine->nodes) n.value_timer = n.deriv_timer = nullptr;
    }
  }
  return 0;
}
