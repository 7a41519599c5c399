// fold_energy and rama_map as a user meets them: the term lists and a finite
// total on a real structure, maps from real structures, and bad input.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

#include "cli/cli_runner.h"

using tevo_test::CliSandbox;

namespace {

std::string example(const std::string& name) { return std::string(TEVO_EXAMPLES) + "/" + name; }
std::string cfg(const std::string& name) { return std::string(TEVO_EXAMPLES) + "/../data/cfg/" + name; }

std::string slurp(const std::string& path) {
  std::stringstream s;
  s << std::ifstream(path).rdbuf();
  return s.str();
}

// The ATOM lines of 1ubq for residues first..last.
std::string residues(int first, int last, const std::string& drop = "") {
  std::istringstream in(slurp(example("1ubq.pdb")));
  std::string out;
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("ATOM", 0) != 0) continue;
    const int r = std::atoi(line.substr(22, 4).c_str());
    if (r < first || r > last) continue;
    if (!drop.empty() && r == last && line.substr(12, 4) == drop) continue;
    out += line + "\n";
  }
  return out + "END\n";
}

}  // namespace

TEST(FoldEnergyCli, UbiquitinTermsAndTotal) {
  CliSandbox box;
  const auto run = box.run({"fold_energy", "-pdb", example("1ubq.pdb"), "-cfg", cfg("fold_energy.cfg")});
  ASSERT_EQ(run.status, 0) << run.out;
  EXPECT_NE(run.out.find("-- (1) DOPE-PW (2) BURIAL (3) HNCE \n"), std::string::npos) << run.out;
  std::smatch m;
  ASSERT_TRUE(std::regex_search(run.out, m, std::regex("-- \\(1\\) 0\\.05\\*(-?[0-9.]+) \\(2\\) 1\\.00\\*(-?[0-9.]+) "
                                                       "\\(3\\) 0\\.50\\*(-?[0-9.]+) \n-- Total energy: (-?[0-9.]+)")))
      << run.out;
  const double total = std::stod(m[4]);
  EXPECT_TRUE(std::isfinite(total));
  EXPECT_NEAR(total, 0.05 * std::stod(m[1]) + std::stod(m[2]) + 0.5 * std::stod(m[3]), 0.01);
  EXPECT_LT(std::stod(m[3]), -50);  // about thirty backbone hydrogen bonds, 2.0 each
  EXPECT_NE(run.out.find("Completed: fold_energy"), std::string::npos);
}

TEST(FoldEnergyCli, RefusesAndBadInput) {
  CliSandbox box;
  auto refused = box.run({"fold_energy", "-pdb", example("1ubq.pdb")});
  EXPECT_EQ(refused.status, 0);
  EXPECT_NE(refused.out.find("Error: where to locate the configuration file?"), std::string::npos);
  EXPECT_EQ(refused.out.find("Completed"), std::string::npos);

  const std::string ok_cfg = cfg("fold_energy.cfg");
  const std::string truncated = box.path() + "/cut.par.bz2";
  const std::string whole = slurp(cfg("burial/cb_burial.par.bz2"));
  std::ofstream(truncated) << whole.substr(0, whole.size() / 2);
  box.write("cut_burial.cfg", "CB PARFILE = " + truncated + "\n");
  box.write("unknown.cfg", "ENERGY FUNCTION = BURIAL, " + box.path() + "/odd_burial.cfg, 1\n");
  box.write("odd_burial.cfg", "CB WEIGHT = 1\nCB DEPTH = 3\n");
  box.write("missing.cfg", "ENERGY FUNCTION = BURIAL, " + box.path() + "/missing_table.cfg, 1\n");
  box.write("missing_table.cfg", "NH PARFILE = burial/none.par.bz2\n");
  box.write("cut.cfg", "ENERGY FUNCTION = BURIAL, " + box.path() + "/cut_burial.cfg, 1\n");
  box.write("one.pdb", residues(1, 1));
  box.write("noca.pdb", residues(1, 5, " CA "));
  struct Case {
    std::string pdb, cfg, message;
  } cases[] = {
      {example("1ubq.pdb"), box.path() + "/unknown.cfg",
       "odd_burial.cfg line 2: unknown key \"CB DEPTH\"\n-- Error: in initializing residue-contact bias energy!"},
      {example("1ubq.pdb"), box.path() + "/missing.cfg", "Error: I cannot load data from: <.*none.par.bz2>"},
      {example("1ubq.pdb"), box.path() + "/cut.cfg", "Error: .*cut.par.bz2"},
      {example("1ubq.pdb"), box.path() + "/nothing.cfg", "Error: cannot open .*nothing.cfg"},
      {box.path() + "/one.pdb", ok_cfg, "chain A: a single residue; the energy needs a chain of at least two"},
      {box.path() + "/noca.pdb", ok_cfg, "chain A: residue 5 \\(VAL\\) has no CA atom"},
      {box.path() + "/absent.pdb", ok_cfg, "Error: cannot open .*absent.pdb"},
  };
  for (const Case& c : cases) {
    const auto run = box.run({"fold_energy", "-pdb", c.pdb, "-cfg", c.cfg});
    EXPECT_EQ(run.status, 1) << c.cfg << "\n" << run.out;
    EXPECT_TRUE(std::regex_search(run.out, std::regex(c.message))) << c.message << "\n" << run.out;
    EXPECT_EQ(run.out.find("Completed"), std::string::npos);
  }
}

TEST(RamaMapCli, MapsFromRealStructures) {
  CliSandbox box;
  box.write("list.txt", "# two structures\n" + example("1ubq.pdb") + "\n\n" + example("2hhb_A.pdb") + "\n");
  const auto run = box.run({"rama_map", "-index", box.path() + "/list.txt", "-alpha", "10", "-jobname", "rm", "-hlog", "1"});
  ASSERT_EQ(run.status, 0) << run.out;
  const std::string stem = box.path() + "/tevo-output/rm/rm";
  const std::string index = slurp(stem + ".rama_index"), map = slurp(stem + ".rama_map");
  // One row per residue of the first chain (ubiquitin, 76), by residue type.
  std::istringstream ii(index), mi(map);
  std::string irow, mrow;
  int rows = 0;
  while (std::getline(ii, irow) && std::getline(mi, mrow)) {
    ++rows;
    std::istringstream is(irow), ms(mrow);
    double p, sum = 0, last = 1;
    int b, n = 0;
    while (is >> b && ms >> p) {
      EXPECT_TRUE(b % 72 < 36 && b / 72 < 36) << b;  // 36 x 36 bins of 10 degrees
      EXPECT_LE(p, last + 1e-12);  // by falling probability
      last = p;
      sum += p;
      ++n;
    }
    EXPECT_GT(n, 5);
    EXPECT_NEAR(sum, 1, 1e-4);
  }
  EXPECT_EQ(rows, 76);
  EXPECT_NE(run.out.find("maps of 76 residues by residue type"), std::string::npos) << run.out;
  EXPECT_TRUE(box.exists("tevo-output/rm/rm_rama_map.html"));
  EXPECT_NE(slurp(stem + ".log").find("Ramachandran map"), std::string::npos);

  const auto bad = box.run({"rama_map", "-pdb", example("1ubq.pdb"), "-alpha", "7"});
  EXPECT_EQ(bad.status, 1);
  EXPECT_NE(bad.out.find("-alpha 7.00: the bin size must be a whole divisor of 360 from 5 up"), std::string::npos);
  const auto absent = box.run({"rama_map", "-pdb", box.path() + "/none.pdb"});
  EXPECT_EQ(absent.status, 1);
  EXPECT_NE(absent.out.find("Error: cannot open"), std::string::npos);
}
