// Speed of the folding energy and the sampler on one chain: energy
// evaluations per second with a configuration, and sampler steps per second.
// Usage: energy_bench <pdb> <energy cfg> <sampler cfg> <steps> <repeats>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "folding/energy/energy.h"
#include "protein/protein.h"
#include "sampling/dsa.h"
#include "util/timer.h"

using namespace tevo;

namespace {

// The chain as the folding commands prepare it: hydrogens on N first, then
// the bond records, the flat arrays and the torsions.
void prepare(Protein<double>& p, const std::string& pdb) {
  p.read_pdb(pdb, false, "", false);
  p.chains[0].add_hn();
  p.tevo_create_all_protein_bonds(false);
  p.get_all_aotm_coords();
  p.chains[0].set_idx_coords();
  p.tevo_copy_coords(0);
  p.chains[0].tevo_update_all_torsional_angles();
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 6) return 2;
  const std::string pdb = argv[1], energy_cfg = argv[2], dsa_cfg = argv[3];
  const int steps = std::atoi(argv[4]), repeats = std::atoi(argv[5]);
  Protein<double> protein("", "", false, 1);
  prepare(protein, pdb);
  Chain<double>& chain = protein.chains[0];

  Energy<double> energy("", "");
  energy.init();
  energy.set_quiet(true);
  energy.set_system(&chain);
  energy.set_cfg(energy_cfg);
  energy.read_energy_cfg();
  energy.init_energy();
  std::vector<double> rates;
  for (int r = 0; r < repeats; ++r) {
    Timer timer;
    int evaluations = 0;
    while (timer.elapsed() < 2.0f) {
      energy.calc_energy_in_chain();
      ++evaluations;
    }
    rates.push_back(evaluations / timer.elapsed());
  }
  std::printf("BENCH energy residues=%d atoms=%d total=%.3f evaluations_per_second=%.1f\n",
              chain.get_num_of_amino_acids(), chain.get_num_of_atoms(), energy.get_energy(), median(rates));

  rates.clear();
  for (int r = 0; r < repeats; ++r) {
    Protein<double> fresh("", "", false, 1);
    prepare(fresh, pdb);
    DSA<double> dsa(steps);
    dsa.set_system(&fresh.chains[0]);
    dsa.init(dsa_cfg);
    dsa.max_steps = steps;
    std::FILE* null = std::freopen("/dev/null", "w", stdout);  // the optimum lines
    Timer timer;
    dsa.prev_step();
    dsa.actuate_step();
    const double seconds = timer.elapsed();
    std::fflush(stdout);
    if (null) std::freopen("/dev/tty", "w", stdout);
    rates.push_back(dsa.steps / seconds);
    std::fprintf(stderr, "sampler run %d: %d steps in %.2f s\n", r + 1, dsa.steps, seconds);
  }
  std::fprintf(stderr, "BENCH sampler residues=%d steps_per_second=%.1f\n", chain.get_num_of_amino_acids(),
               median(rates));
  return 0;
}
