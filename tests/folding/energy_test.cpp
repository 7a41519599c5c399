// The energy configuration, the term table, the printed lists and the total
// on a real structure.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "folding/data_root.h"
#include "folding/energy/energy.h"
#include "folding/energy/settings.h"
#include "folding/energy/tables.h"
#include "folding/module.h"
#include "folding_fixture.h"
#include "util/exit_with.h"

using namespace tevo;
using tevo_test::TempDir;

TEST(EnergyConfig, RowsKeysAndNames) {
  TempDir dir;
  const std::string cfg = dir.write("e.cfg",
                                    "# comment\n"
                                    "  # indented comment\n"
                                    "Energy Function = burial, burial.cfg, 2.5\n"
                                    "ENERGY FUNCTION=hnce,hnce.cfg,0.5\n"
                                    "energy function = HNCE , /abs/other.cfg , -1e-1\n"
                                    "no equals sign here\n"
                                    "other key = DOPE-PW, dopepw.cfg, 1\n"
                                    "ENERGY FUNCTION = NOT-A-TERM, x.cfg, 3\n");
  const std::vector<EnergyRow> rows = read_energy_rows(cfg);
  ASSERT_EQ(rows.size(), 4u);
  const int terms[] = {2, 3, 3, 0};  // an unknown name falls on DOPE-CB
  const double weights[] = {2.5, 0.5, -0.1, 3};
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(rows[k].term, terms[k]) << k;
    EXPECT_DOUBLE_EQ(rows[k].weight, weights[k]) << k;
  }
  EXPECT_EQ(rows[0].file, data_root() + "/cfg/burial.cfg");
  EXPECT_EQ(rows[2].file, "/abs/other.cfg");
  EXPECT_EQ(rows[3].name, "NOT-A-TERM");

  EXPECT_EXIT_1(read_energy_rows(dir.write("two.cfg", "ENERGY FUNCTION = BURIAL, burial.cfg\n")),
                "two.cfg line 1: an energy function needs");
  EXPECT_EXIT_1(read_energy_rows(dir.write("w.cfg", "\nENERGY FUNCTION = BURIAL, burial.cfg, heavy\n")),
                "w.cfg line 2: the weight \"heavy\" is not a number");
  EXPECT_EXIT_1(read_energy_rows(dir.path + "missing.cfg"), "Error: cannot open .*missing.cfg");
}

TEST(EnergyConfig, TermTableAndLists) {
  const auto& rows = Module<double>::energy_modules_;
  ASSERT_EQ(rows.size(), 8u);
  EXPECT_EQ(rows[0].description, rows[1].description);
  EXPECT_TRUE(rows[7].name.empty() && rows[7].description.empty());
  for (int k = 0; k < 7; ++k) EXPECT_EQ(Module<float>::get_energy_module(rows[k].name), k);
  EXPECT_EQ(Module<double>::get_energy_module("burial"), 0);  // exact comparison
  EXPECT_EQ(Module<double>::get_name(7), "");

  std::vector<std::string> items;
  for (int k = 0; k < 6; ++k) items.push_back("t" + std::to_string(k));
  const auto lines = energy_list_lines(items);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "(1) t0 (2) t1 (3) t2 (4) t3 (5) t4 ");
  EXPECT_EQ(lines[1], "(6) t5 ");
  EXPECT_TRUE(energy_list_lines({}).empty());
}

TEST(EnergyConfig, TermSettingsRefuseUnknownKeysAndBadNumbers) {
  TempDir dir;
  DOPE_PW<double> dope;
  dope.init(dir.write("d.cfg", "USE FULL = 0\nDistance Cutoff = 12\nPW_HH_cont_Energy coefficient=0.11\n"));
  dope.set_quiet(true);
  dope.read_cfg(dir.path + "d.cfg");
  EXPECT_EQ(dope.use_full, 0);
  EXPECT_DOUBLE_EQ(dope.cutoffs[0], 12);
  EXPECT_DOUBLE_EQ(dope.cutoffs[5], 12);
  EXPECT_DOUBLE_EQ(dope.cutoffs[3], 30);
  EXPECT_DOUBLE_EQ(dope.coefficients[1], 0.11);
  EXPECT_EXIT_1(dope.read_cfg(dir.write("u.cfg", "USE FULL = 1\nCOLOUR = red\n")),
                "u.cfg line 2: unknown key \"COLOUR\".*in initializing DOPE-PW energy!");
  EXPECT_EXIT_1(dope.read_cfg(dir.write("n.cfg", "USE FULL = yes\n")), "n.cfg line 1: USE FULL needs a number");
  BurialE<double> burial;
  burial.set_quiet(true);
  EXPECT_EXIT_1(burial.read_cfg(dir.write("b.cfg", "CB WEIGHT = 1\nCB WIDTH = 2\n")),
                "in initializing residue-contact bias energy!");
  CNCE<double> cnce;
  EXPECT_EXIT_1(cnce.read_cfg(dir.write("c.cfg", "CM WEIGHTS = 1\n")), "in initializing residue-contact bias energy!");
}

// The shipped configuration on a real chain: finite terms, and the native
// sequence below shuffles of it on the same backbone.
TEST(EnergyTotal, NativeUbiquitinBelowShuffledSequences) {
  Chain<double> chain = tevo_test::prepared_chain<double>(tevo_test::example("1ubq.pdb"));
  auto total = [&](Chain<double>& c) {
    Energy<double> energy("", "");
    energy.init();
    energy.set_quiet(true);
    energy.set_system(&c);
    energy.set_cfg(data_root() + "/cfg/fold_energy.cfg");
    energy.actuate();
    EXPECT_EQ(energy.term_values().size(), 3u);
    for (double v : energy.term_values()) EXPECT_TRUE(std::isfinite(v));
    return energy.get_energy();
  };
  const double native = total(chain);
  std::mt19937 rng(3);
  for (int s = 0; s < 3; ++s) {
    Chain<double> shuffled = chain;
    std::vector<std::string> names;
    for (const auto& aa : shuffled.amino_acids)
      if (aa.name != "GLY" && aa.name != "PRO") names.push_back(aa.name);
    std::shuffle(names.begin(), names.end(), rng);
    std::size_t k = 0;
    for (auto& aa : shuffled.amino_acids)
      if (aa.name != "GLY" && aa.name != "PRO") aa.name = names[k++];
    EXPECT_LT(native, total(shuffled)) << "shuffle " << s;
  }
}

TEST(EnergyTables, BadTablesAreRefusedWithTheirLine) {
  TempDir dir;
  std::vector<double> out;
  struct Case {
    std::string text, message;
  } cases[] = {
      {"# header\n1\t2\t3\n4\t5\n", "t.txt line 3: expected 3 fields, found 2"},
      {"1\t2\t3\n4\tfive\t6\n", "t.txt line 2: \"five\" is not a number"},
      {"1\t2\t3\n", "t.txt line 1: the table ends after 1 of 2 rows"},
      {"1\t2\t3\n4\t5\t6\n7\t8\t9\n", "t.txt line 3: more than 2 rows"},
  };
  for (const Case& c : cases) EXPECT_EXIT_1(read_table(dir.write("t.txt", c.text), 2, 3, out), c.message);
  read_table(dir.write("t.txt", "1\t2\t3\n\n# note\n4\t5\t-6e-1\n"), 2, 3, out);
  EXPECT_EQ(out, (std::vector<double>{1, 2, 3, 4, 5, -0.6}));

  // DOPE-PW rows must name residues 0-19 and atom types 0-7.
  std::string row = "20\t0\t1\t2";
  for (int k = 0; k < 30; ++k) row += "\t0.5";
  TempDir tables;
  const std::string file = tables.write("bad_dope.par", row + "\n");
  DOPE_PW<double> dope;
  dope.set_quiet(true);
  dope.init("");
  dope.names[0] = file;
  EXPECT_EXIT_1(dope.load_par_file(), "bad_dope.par line 1: residues must be 0 to 19 and atom types 0 to 7");
}
