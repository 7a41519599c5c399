// The sampler: its acceptance and schedule formulas, the bin of two angles,
// and a short run from an extended chain with real tables.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>

#include "folding/data_root.h"
#include "folding/rama_map.h"
#include "protein/extended.h"
#include "protein/protein.h"
#include "sampling/dsa.h"
#include "util/exit_with.h"

using namespace tevo;

TEST(DsaFormulas, AcceptanceScheduleBinsAndMoments) {
  // Metropolis: downhill always, dE = 0 always (exp(0) = 1 > u), uphill by the draw.
  EXPECT_TRUE(DSA<double>::accepts(-1e-9, 1, 0.999999));
  EXPECT_TRUE(DSA<double>::accepts(0, 1, 0.999999));
  EXPECT_TRUE(DSA<double>::accepts(2, 4, std::exp(-0.5) - 1e-9));
  EXPECT_FALSE(DSA<double>::accepts(2, 4, std::exp(-0.5) + 1e-9));
  // T0 / (T0 delta / (3 sigma) + 1); a zero deviation leaves T0.
  const double delta = std::log(1.05);
  EXPECT_NEAR(DSA<double>::next_temperature(142, delta, 10), 142 / (142 * delta / 30 + 1), 1e-12);
  EXPECT_DOUBLE_EQ(DSA<double>::next_temperature(142, delta, 0), 142);
  // floor(floor(a + 180) / 20) + 18 floor(floor(b + 180) / 20), kept on the 18 x 18 map.
  struct Bin {
    double a, b;
    int bin;
  } bins[] = {{-180, -180, 0}, {-160.5, -180, 0}, {-160, -180, 1}, {179.9, -180, 17},
              {-180, 179.9, 306}, {179.9, 179.9, 323}, {180, 180, 323}, {360, 0, 17 + 18 * 9}};
  for (const Bin& b : bins) EXPECT_EQ(DSA<double>::general_bin(b.a, b.b), b.bin) << b.a << " " << b.b;

  DSA<double> dsa(10);
  double mean, sdev;
  dsa.calculate_mean_and_sdev(&mean, &sdev);
  EXPECT_EQ(mean, 0);
  for (double e : {1.0, 2.0, 3.0, 6.0}) {
    dsa.sum += e;
    dsa.sum2 += e * e;
    ++dsa.n_samples;
  }
  dsa.calculate_mean_and_sdev(&mean, &sdev);
  EXPECT_DOUBLE_EQ(mean, 3);
  EXPECT_NEAR(sdev, std::sqrt(3.5), 1e-12);
}

namespace {

struct Extended {
  Protein<double> protein{"", "", false, 1};
  Chain<double>& chain() { return protein.chains[0]; }
  explicit Extended(const std::string& seq) {
    int bad = -1;
    protein.add_chain(build_extended_chain<double>(seq, "A", bad));
    chain().add_hn();  // before the bond records, which number the atoms
    protein.tevo_create_all_protein_bonds(false);
    protein.get_all_aotm_coords();
    chain().set_idx_coords();
    protein.tevo_copy_coords(0);
    chain().tevo_update_all_torsional_angles();
  }
  // Lengths of the bonds N-CA, CA-C, C=O and C-N(next).
  std::vector<double> bond_lengths() {
    std::vector<double> out;
    auto xyz = [&](int r, const char* name) {
      int found = 0, at = 0;
      chain().get_atom_in_residue(name, found, at, r);
      return chain().amino_acids[r].atoms[at].coord;
    };
    auto dist = [](const double* a, const double* b) {
      return std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) + (a[2] - b[2]) * (a[2] - b[2]));
    };
    const int n = chain().get_num_of_amino_acids();
    for (int r = 0; r < n; ++r) {
      out.push_back(dist(xyz(r, "N"), xyz(r, "CA")));
      out.push_back(dist(xyz(r, "CA"), xyz(r, "C")));
      out.push_back(dist(xyz(r, "C"), xyz(r, "O")));
      if (r + 1 < n) out.push_back(dist(xyz(r, "C"), xyz(r + 1, "N")));
    }
    return out;
  }
};

std::string temp_dir() {
  char tmpl[] = "/tmp/tevo_dsa_XXXXXX";
  return std::string(mkdtemp(tmpl)) + "/";
}

}  // namespace

// The test driver of the folding commands: a short annealing run lowers the
// energy of an extended chain and keeps its bond geometry.
TEST(DsaRun, LowersTheEnergyOfAnExtendedChainAndKeepsItsBonds) {
  const std::string dir = temp_dir();
  const std::string seq = "MQIFVKTLTGKTITLEVEPSDTIENVKAKI";  // ubiquitin 1-30
  // Position-specific maps from the crystal structure of the same sequence.
  RamaMap<double> maps(dir, "ubq");
  ASSERT_TRUE(maps.set_bin_size(10));
  maps.set_target(seq);
  maps.add_structure(std::string(TEVO_TEST_DATA) + "/../../examples/1ubq.pdb");
  maps.build();
  maps.write();
  ASSERT_EQ(maps.index.size(), seq.size());

  std::ofstream(dir + "seed") << "7\n";
  const std::string cfg = dir + "dsa.cfg";
  // The per-residue terms of the shipped energy (DOPE-PW, slow to load, is
  // tested on its own).
  std::ofstream(cfg) << "ENERGY FUNCTION = BURIAL, burial.cfg, 1.0\n"
                        "ENERGY FUNCTION = HNCE, hnce.cfg, 0.5\n"
                        "MAXIMUM NUMBER OF STEPS = 300\nTEMPERATURE UPDATE INTERVAL = 100\n"
                        "DEFAULT INITIAL TEMPERATURE = 2\nBIN SIZE = 10\nSAMPLE OMEGA = 1\n"
                        "RAMA DIR = " + dir + "\nNAME = ubq\nSEED FILE = " + dir + "seed\n"
                        "TRAJECTORY FILE = walk\n";
  Extended ext(seq);
  const std::vector<double> before = ext.bond_lengths();
  DSA<double> dsa(300);
  dsa.stem = dir + "run";
  dsa.set_system(&ext.chain());
  dsa.init(cfg);
  const double start = dsa.energy;
  dsa.prev_step();
  dsa.actuate_step();
  EXPECT_EQ(dsa.evaluations, 300);
  EXPECT_EQ(dsa.downhill + dsa.uphill + dsa.rejected, 300);
  EXPECT_LT(dsa.temperature, 2.0);  // cooled at every interval
  dsa.post_step();
  EXPECT_LT(dsa.opt_energy, start - 3) << "start " << start;
  EXPECT_LT(dsa.total_energy(), start);
  const std::vector<double> after = ext.bond_lengths();
  ASSERT_EQ(before.size(), after.size());
  for (std::size_t k = 0; k < before.size(); ++k) EXPECT_NEAR(after[k], before[k], 1e-6) << k;
  // Every move is in the trajectory, MODEL by MODEL.
  std::ifstream traj(dir + "run_walk.pdt");
  int models = 0;
  for (std::string line; std::getline(traj, line);) models += line.rfind("MODEL", 0) == 0;
  EXPECT_EQ(models, 300);

  // Maps for a shorter chain than the one sampled are refused.
  std::ofstream(dir + "short.rama_index") << "0\n";
  std::ofstream(dir + "short.rama_map") << "1\n";
  std::ofstream(dir + "short.cfg") << "RAMA DIR = " + dir + "\nNAME = short\n";
  DSA<double> other(10);
  other.set_system(&ext.chain());
  EXPECT_EXIT_1(other.init(dir + "short.cfg"), "1 and 1 rows for a chain of 30 residues");
  EXPECT_EXIT_1(other.init(std::string(dir + "bad.cfg"), {}), "cannot open .*bad.cfg");
  std::ofstream(dir + "unknown.cfg") << "MAXIMUM NUMBER OF STEPS = 3\nSPEED = 2\n";
  EXPECT_EXIT_1(other.init(dir + "unknown.cfg"), "at initialization of module DSA!");
  std::system(("rm -rf " + dir).c_str());
}

// Residue-type maps serve when the configuration names no map, and the
// compensated moves keep psi(i-1) + phi(i) and psi(i) + phi(i+1).
TEST(DsaRun, TypeMapsAndCompensatedMoves) {
  const std::string dir = temp_dir();
  std::ofstream(dir + "dsa.cfg") << "ENERGY FUNCTION = HNCE, hnce.cfg, 1\nBIN SIZE = 10\nCOUNTER MOVES = 1\n"
                                    "MAXIMUM NUMBER OF STEPS = 50\n";
  Extended ext("ACDEFGHIKLMNPQRSTVWY");
  DSA<double> dsa(50);
  dsa.set_system(&ext.chain());
  dsa.init(dir + "dsa.cfg");
  ASSERT_EQ(dsa.rama_index.size(), 20u);
  double total = 0;
  for (double p : dsa.rama_prob[5]) total += p;
  EXPECT_NEAR(total, 1, 1e-9);
  dsa.prev_step();
  EXPECT_TRUE(dsa.counter_move);
  auto angle = [&](int r, int which) { return ext.chain().amino_acids[r].bonds[which].angle; };
  auto same = [](double a, double b) { return std::fabs(std::remainder(a - b, 360.0)) < 1e-6; };
  for (int k = 0; k < 20; ++k) {
    std::vector<double> phi(20), psi(20);
    for (int r = 0; r < 20; ++r) phi[r] = angle(r, 0), psi[r] = angle(r, 1);
    int i = -1;
    ASSERT_TRUE(dsa.generate_new_conf(&i));
    ASSERT_TRUE(i >= 1 && i <= 18) << i;
    // psi(i-1) + phi(i) and psi(i) + phi(i+1) stay as they were.
    EXPECT_TRUE(same(angle(i - 1, 1) + angle(i, 0), psi[i - 1] + phi[i])) << i;
    EXPECT_TRUE(same(angle(i, 1) + angle(i + 1, 0), psi[i] + phi[i + 1])) << i;
  }
  std::system(("rm -rf " + dir).c_str());
}
