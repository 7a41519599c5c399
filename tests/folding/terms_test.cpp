// The energy terms on their own: DOPE-PW interpolation and shaping, the
// hydrogen-bond and contact counts against the structure model's own
// definitions, burial counting and the secondary structure of ubiquitin.
#include <gtest/gtest.h>

#include <cmath>

#include "folding/data_root.h"
#include "folding/energy/backbone.h"
#include "folding/energy/bias_matrix.h"
#include "folding/energy/terms.h"
#include "folding_fixture.h"
#include "util/exit_with.h"

using namespace tevo;
using tevo_test::TempDir;

namespace {

// A DOPE-PW term whose table holds 1..30 at offset 0 of each table.
DOPE_PW<double> ramp_term() {
  DOPE_PW<double> d;
  d.set_quiet(true);
  d.init("");
  for (int t = 0; t < 8; ++t) d.widths[t] = d.cutoffs[t] / d.bins[t];
  d.table.assign(DOPE_PW<double>::kSize, 0);
  for (int t = 0; t < 8; ++t)
    for (int k = 0; k < 30; ++k) d.table[t * DOPE_PW<double>::kTableSize + k] = k + 1;
  return d;
}

}  // namespace

TEST(DopePW, InterpolationAtBinEdgesAndCutoff) {
  DOPE_PW<double> d = ramp_term();
  // Table 5 (USE FULL, coefficient 1): width 1 A; T[k] stands at the bin
  // centre k + 0.5.
  struct Case {
    double d, expected;
  } cases[] = {
      {0.1, 1},      // k < 1: the first bin
      {1.49, 1},     // x = 0.99, still k = 0
      {1.5, 2},      // x = 1: T[1] exactly
      {1.75, 2.25},  // a quarter of the way to T[2]
      {29.5, 30},    // k = 29: the last bin alone
      {29.99, 30},
      {30.0, 0},     // d at the cutoff scores 0
      {0.0, 0},      // d <= 0 scores 0
  };
  for (const Case& c : cases)
    EXPECT_NEAR(d.pair_value(5, 5 * DOPE_PW<double>::kTableSize, c.d, 9, false), c.expected, 1e-9) << c.d;
}

TEST(DopePW, ShapingRules) {
  DOPE_PW<double> d = ramp_term();
  for (int t = 0; t < 8; ++t) d.coefficients[t] = 0.5;
  // Negative tables: the same ramp with its sign turned.
  DOPE_PW<double> n = d;
  for (double& v : n.table) v = -v;
  auto at = [&](const DOPE_PW<double>& term, int t, double dist, int sep, bool cb) {
    return term.pair_value(t, t * DOPE_PW<double>::kTableSize, dist, sep, cb);
  };
  // Tables 0, 1, 2, 4: repulsion beyond 6 A is dropped, attraction scaled.
  for (int t : {0, 1, 2, 4}) {
    EXPECT_DOUBLE_EQ(at(d, t, 7, 10, false), 0) << t;
    EXPECT_GT(at(d, t, 5.9, 10, false), 0) << t;
    EXPECT_NEAR(at(n, t, 7, 10, false), 0.5 * -(7.0 / d.widths[t] + 0.5), 1e-9) << t;
  }
  // Table 3: attraction scaled only from a separation of 8 (the ramp gives x + 1).
  const double raw3 = -(7.0 / d.widths[3] + 0.5);
  EXPECT_NEAR(at(n, 3, 7, 8, false), 0.5 * raw3, 1e-9);
  EXPECT_NEAR(at(n, 3, 7, 7, false), raw3, 1e-9);
  // Tables 5-7 with USE FULL: everything scaled.
  EXPECT_NEAR(at(d, 5, 20, 3, false), 0.5 * (20.0 / d.widths[5] + 0.5), 1e-9);
  d.use_full = n.use_full = 0;
  // ... without it, with a CB atom.
  EXPECT_DOUBLE_EQ(at(d, 6, 4.5, 4, true), 0);   // repulsive beyond 4 A at separation < 5
  EXPECT_GT(at(d, 6, 4.5, 5, true), 0);
  EXPECT_DOUBLE_EQ(at(d, 6, 8.5, 9, true), 0);   // repulsive beyond 8 A
  EXPECT_DOUBLE_EQ(at(n, 6, 5, 6, true), 0);     // attraction needs separation > 6
  EXPECT_NEAR(at(n, 6, 5, 7, true), -(5.0 / d.widths[6] + 0.5), 1e-9);  // not scaled
  // ... without a CB atom.
  EXPECT_DOUBLE_EQ(at(n, 7, 10.5, 9, false), 0);  // nothing beyond 10 A
  EXPECT_DOUBLE_EQ(at(d, 7, 4.5, 9, false), 0);   // repulsion beyond 4 A
  EXPECT_DOUBLE_EQ(at(n, 7, 5, 6, false), 0);     // attraction needs separation >= 7
  EXPECT_NEAR(at(n, 7, 5, 7, false), 0.5 * -(5.0 / d.widths[7] + 0.5), 1e-9);
}

TEST(BackboneTerms, HydrogenBondsAndContactsMatchTheStructureModel) {
  Chain<double> chain = tevo_test::prepared_chain<double>(tevo_test::example("1ubq.pdb"));
  const int n = chain.get_num_of_amino_acids();
  HNCE<double> hnce;
  TempDir dir;
  hnce.set_quiet(true);
  hnce.init(dir.write("h.cfg", "HM WEIGHT = 1.5\n"));
  hnce.prev_calc_energy(&chain);
  double oracle = 0;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      double v;
      chain.is_NHbonded(v, i, j);
      oracle += v;
      EXPECT_EQ(hnce.is_NHbonded(i, j), v) << i << " " << j;
    }
  double value;
  hnce.calc_energy(&value);
  EXPECT_GT(oracle, 40);  // ubiquitin holds some 30 backbone hydrogen bonds
  EXPECT_DOUBLE_EQ(value, -1.5 * oracle);

  // A bias matrix keeps only the pairs it asks for.
  std::string m;
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) m += (i < 20 ? "1 " : "0 ");
    m += "\n";
  }
  hnce.init(dir.write("hm.cfg", "HBOND MATRIX PARFILE = " + dir.write("hb.mat", m) + "\n"));
  hnce.prev_calc_energy(&chain);
  hnce.calc_energy(&value);
  double rows20 = 0;
  for (int i = 0; i < 20; ++i)
    for (int j = 0; j < n; ++j) rows20 += hnce.is_NHbonded(i, j);
  EXPECT_DOUBLE_EQ(value, -rows20);

  CNCE<double> cnce;
  cnce.set_quiet(true);
  cnce.init(dir.write("c.cfg", "CM WEIGHT = 2\nCM CUTOFF = 6.5\n"));
  cnce.prev_calc_energy(&chain);
  cnce.calc_energy(&value);
  EXPECT_EQ(value, 0);  // no wanted contacts
  cnce.init(dir.write("c2.cfg", "CBOND MATRIX PARFILE = " + dir.path + "hb.mat\nCM WEIGHT = 2\nCM CUTOFF = 6.5\n"));
  cnce.prev_calc_energy(&chain);
  cnce.calc_energy(&value);
  double contacts = 0;
  for (int i = 0; i < 20; ++i)
    for (int j = 0; j < n; ++j) contacts += cnce.is_contact(i, j);
  EXPECT_GT(contacts, 10);
  EXPECT_DOUBLE_EQ(value, -2 * contacts);
  EXPECT_EXIT_1(load_bias_matrix<double>(dir.write("bad.mat", "1 0\n0 1\n"), n, true, cnce.matrix),
                "a 2 x 2 matrix for a chain of 76 residues");

  Radial<double> radial;
  TSP<double> tsp;
  radial.set_quiet(true);
  radial.init("");
  tsp.prev_calc_energy(&chain);
  radial.calc_energy(&value);
  EXPECT_TRUE(value == 0 && std::signbit(value));
  tsp.calc_energy(&value);
  EXPECT_TRUE(value == 0 && std::signbit(value));
}

TEST(BackboneTerms, UbiquitinSecondaryStructure) {
  Chain<double> chain = tevo_test::prepared_chain<double>(tevo_test::example("1ubq.pdb"));
  SecondaryStructure ss;
  assign_secondary_structure(chain.coords(), find_backbone_atoms(chain), ss);
  // The helix (23-34, as a run from the first i-4 -> i bond: 26-32), the
  // hairpin 1-17 (antiparallel) and strand 1 against strand 5 (parallel).
  for (int r = 1; r <= 76; ++r) EXPECT_EQ(ss.cls[r - 1] == kHelix, r >= 26 && r <= 32) << r;
  for (int r : {2, 3, 4, 5, 6, 12, 13, 14, 15, 16}) EXPECT_EQ(ss.cls[r - 1], kStrand) << r;
  EXPECT_EQ(ss.strand[(4 - 1) * 76 + (14 - 1)], 2);
  EXPECT_EQ(ss.strand[(14 - 1) * 76 + (4 - 1)], 2);
  EXPECT_EQ(ss.strand[(4 - 1) * 76 + (66 - 1)], 1);
  EXPECT_EQ(ss.segment[26], ss.segment[30]);
  EXPECT_NE(ss.segment[24], ss.segment[26]);
}

TEST(BackboneTerms, BurialCountsAndCaps) {
  Chain<double> chain = tevo_test::prepared_chain<double>(tevo_test::example("1ubq.pdb"));
  BurialE<double> burial;
  burial.set_quiet(true);
  TempDir dir;
  burial.init(data_root() + "/cfg/burial.cfg");
  burial.prev_calc_energy(&chain);
  double value;
  burial.calc_energy(&value);  // also finds the backbone atoms
  EXPECT_TRUE(std::isfinite(value));
  int count = 0;
  // Residue 10 is a glycine: no side-chain group.
  EXPECT_EQ(burial.calc_burial(9, BurialE<double>::kCB, 12, 2, 180, 50, 1, &count), -1);
  // A whole sphere counts at least what a half sphere counts; the cap is (bins - 1) x bin size.
  int half = 0, whole = 0, capped = 0;
  burial.calc_burial(0, BurialE<double>::kCB, 12, 2, 180, 50, 1, &half);
  burial.calc_burial(0, BurialE<double>::kCB, 12, 2, 360, 50, 1, &whole);
  burial.calc_burial(0, BurialE<double>::kCB, 12, 2, 360, 3, 2, &capped);
  EXPECT_GT(half, 0);
  EXPECT_GE(whole, half);
  EXPECT_EQ(capped, std::min(whole, 4));
}
