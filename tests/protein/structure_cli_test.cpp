// The structure commands as a user meets them: conversion of real PDB
// files, the contact list against an independent count, the extended chain,
// and bad input.
#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <tuple>

#include "cli/cli_runner.h"

using tevo_test::CliSandbox;

namespace {

struct CaAtom {
  std::string chain;
  int number;
  double xyz[3];
};
using Atoms = std::map<std::string, std::vector<std::vector<double>>>;

// Atoms of ATOM records per chain (in file order, chain letter blank -> A):
// a reader independent of the library, by fixed columns.
Atoms atoms_by_chain(const std::string& text, std::vector<CaAtom>* cas = nullptr) {
  Atoms out;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (line.compare(0, 4, "ATOM") != 0) continue;
    const std::string chain = line[21] == ' ' ? "A" : line.substr(21, 1);
    const std::vector<double> xyz = {std::atof(line.substr(30, 8).c_str()), std::atof(line.substr(38, 8).c_str()),
                                     std::atof(line.substr(46, 8).c_str())};
    out[chain].push_back(xyz);
    if (cas && line.substr(12, 4) == " CA ")
      cas->push_back({chain, std::atoi(line.substr(22, 4).c_str()), {xyz[0], xyz[1], xyz[2]}});
  }
  return out;
}

std::string slurp(const std::string& path) {
  std::stringstream s;
  s << std::ifstream(path).rdbuf();
  return s.str();
}

std::string shared(const std::string& name) { return std::string(TEVO_SHARED_DATA) + "/structures/single/" + name; }

// The "i,j[,d]" lines of a contact list, after its title line.
std::multiset<std::tuple<int, int, double>> contact_list(const std::string& csv) {
  std::multiset<std::tuple<int, int, double>> got;
  std::istringstream in(csv);
  std::string line;
  std::getline(in, line);
  EXPECT_EQ(line, "Residue-Contact from PDB");
  while (std::getline(in, line)) {
    int i = 0, j = 0;
    double d = 0;
    EXPECT_EQ(std::sscanf(line.c_str(), "%d,%d,%lf", &i, &j, &d), 3) << line;
    got.emplace(i, j, d);
  }
  return got;
}

}  // namespace

TEST(StructureCli, ParserWritesFastaAndSimplifiedPdb) {
  CliSandbox box;
  const std::string pdb = tevo_test::test_data("protein/1ubq.pdb");
  const auto run = box.run({"pdb_parser", "-pdb", pdb, "-type", "2"});
  EXPECT_EQ(run.status, 0);
  const std::string dir = box.path() + "/tevo-output/tevana_pdb_parser/";
  EXPECT_NE(run.out.find("-- Number of chains: 1, A.\n-- Chain A:\n"
                         "-- MQIFVKTLTGKTITLEVEPSDTIENVKAKIQDKEGIPPDQQRLIFAGKQLEDGRTLSDYN  60\n"),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("-- I placed the simplified PDB file at: \n-- <" + dir + "1ubq_tevo.pdb>\n"),
            std::string::npos);
  const auto files = box.files("tevo-output/tevana_pdb_parser");
  ASSERT_EQ(files.size(), 2u);
  EXPECT_EQ(files.at("1ubq.fasta"), "> " + dir + "1ubq.fasta chain A 76 residues\n"
                                    "MQIFVKTLTGKTITLEVEPSDTIENVKAKIQDKEGIPPDQQRLIFAGKQLEDGRTLSDYNIQKESTLHLVLRLRGG\n");
  const std::string& out = files.at("1ubq_tevo.pdb");
  EXPECT_NE(out.find("\nATOM    602  OXT GLY A  76      40.862  39.575  36.251  0.25  0.00           O\nTER\nEND\n"),
            std::string::npos);
  // Every atom and its coordinates, against the original file.
  EXPECT_EQ(atoms_by_chain(out).at("A").size(), 602u);
  EXPECT_TRUE(atoms_by_chain(out) == atoms_by_chain(slurp(pdb)));

  // The assembled form passes coordinates through the flat array unchanged;
  // renumbering from 10 shifts every residue number.
  EXPECT_EQ(box.run({"pdb_parser", "-pdb", pdb, "-type", "3", "-jobname", "asm"}).status, 0);
  EXPECT_EQ(box.read("tevo-output/asm/1ubq_tevo.pdb"), out);
  box.run({"pdb_parser", "-pdb", pdb, "-type", "1", "-re", "-n", "10", "-jobname", "re"});
  EXPECT_NE(box.read("tevo-output/re/1ubq_tevo.pdb").find("ATOM      1  N   MET A  10  "), std::string::npos);
  box.run({"pdb_parser", "-pdb", pdb, "-type", "1", "-backbone", "-jobname", "bb"});
  // 76 residues x N CA C O, plus CB of the 70 that are not glycine.
  EXPECT_EQ(atoms_by_chain(box.read("tevo-output/bb/1ubq_tevo.pdb")).at("A").size(), 76u * 4 + 70);
  box.run({"pdb_parser", "-pdb", pdb, "-type", "7", "-jobname", "none"});
  EXPECT_TRUE(box.files("tevo-output/none").empty());
}

TEST(StructureCli, RealMultiChainRoundTripAndContacts) {
  if (!boost::filesystem::exists(shared("2hhb.ent"))) GTEST_SKIP() << "no shared data";
  CliSandbox box;
  for (const std::string name : {"2hhb.ent", "1a0q.pdb", "1tii.pdb"}) {
    const std::string base = name.substr(0, name.find('.'));
    ASSERT_EQ(box.run({"pdb_parser", "-pdb", shared(name), "-type", "2", "-jobname", "one"}).status, 0);
    const std::string written = box.path() + "/tevo-output/one/" + base + "_tevo.pdb";
    ASSERT_EQ(box.run({"pdb_parser", "-pdb", written, "-type", "2", "-jobname", "two"}).status, 0);
    // Same chains, residue counts and sequences (the FASTA titles differ by the path).
    auto without_paths = [](std::string fasta) {
      for (std::size_t at = 0; (at = fasta.find("> ", at)) != std::string::npos; at += 2)
        fasta.erase(at + 2, fasta.find(" chain ", at) - at - 2);
      return fasta;
    };
    EXPECT_EQ(without_paths(box.read("tevo-output/one/" + base + ".fasta")),
              without_paths(box.read("tevo-output/two/" + base + "_tevo.fasta")));
    // Atoms per chain and their coordinates, against the original file.
    EXPECT_TRUE(atoms_by_chain(slurp(shared(name))) == atoms_by_chain(slurp(written))) << name;
  }

  // CA contacts: every pair of one chain within 7.5 A and above 1.5 A, both orders.
  ASSERT_EQ(box.run({"pdb_contact", "-pdb", shared("2hhb.ent"), "-jobname", "c", "-hlog", "1"}).status, 0);
  std::vector<CaAtom> cas;
  atoms_by_chain(slurp(shared("2hhb.ent")), &cas);
  std::multiset<std::tuple<int, int, double>> want;
  for (const CaAtom& a : cas)
    for (const CaAtom& b : cas) {
      double s = 0;
      for (int x = 0; x < 3; ++x) s += (a.xyz[x] - b.xyz[x]) * (a.xyz[x] - b.xyz[x]);
      const double d = std::sqrt(s);
      if (&a != &b && a.chain == b.chain && d <= 7.5 && d > 1.5) want.emplace(a.number, b.number, d);
    }
  const auto got = contact_list(box.read("tevo-output/c/c_residue_contact.csv"));
  EXPECT_GT(want.size(), 2000u);
  ASSERT_EQ(got.size(), want.size());
  for (auto g = got.begin(), w = want.begin(); w != want.end(); ++w, ++g) {
    EXPECT_EQ(std::get<0>(*g), std::get<0>(*w));
    EXPECT_EQ(std::get<1>(*g), std::get<1>(*w));
    EXPECT_NEAR(std::get<2>(*g), std::get<2>(*w), 5.1e-6);  // printed with five decimals
  }
  // Two threads split the matrix rows: the list is the same.
  ASSERT_EQ(box.run({"pdb_contact", "-pdb", shared("2hhb.ent"), "-jobname", "c2", "-threads", "2"}).status, 0);
  EXPECT_EQ(box.read("tevo-output/c2/c2_residue_contact.csv"), box.read("tevo-output/c/c_residue_contact.csv"));
}

TEST(StructureCli, ContactFlagsAndRefusals) {
  CliSandbox box;
  const std::string pdb = tevo_test::test_data("protein/1ubq.pdb");
  const auto refused = box.run({"pdb_contact"});
  EXPECT_EQ(refused.status, 0);
  EXPECT_NE(refused.out.find("-- Error: where to locate the PDB file?\n-- Usage:\n"
                             "-- tevo pdb_contact -pdb <STRING> -output <STRING|optional>\n"),
            std::string::npos)
      << refused.out;
  const auto cb = box.run({"pdb_contact", "-pdb", pdb, "-atom_type", "CB", "-threshold", "5", "-chain", "A",
                           "-re", "-n", "-4", "-jobname", "cb"});
  EXPECT_NE(cb.out.find("-- -threshold 5.00\n-- -chain A\n-- -atom_type CB\n-- -re 1\n-- -n 1\n"),
            std::string::npos)
      << cb.out;
  const std::string csv = box.read("tevo-output/cb/cb_residue_contact.csv");
  EXPECT_EQ(csv.find("Residue-Contact from PDB\n1,"), 0u);  // labels run from 1
  // Glycines (10, 35, 47, 75, 76 in the file) have no CB: they never appear.
  for (const std::string g : {"\n10,", ",10,", "\n35,", ",75,", ",76,"}) EXPECT_EQ(csv.find(g), std::string::npos) << g;
  // A chain that is not there: no chain, so no list file at all.
  const auto none = box.run({"pdb_contact", "-pdb", pdb, "-chain", "Q", "-jobname", "q"});
  EXPECT_EQ(none.status, 0);
  EXPECT_NE(none.out.find("-- no chain found!"), std::string::npos);
  EXPECT_TRUE(box.files("tevo-output/q").empty());
}

TEST(StructureCli, ContactChartsAndTheReportPage) {
  CliSandbox box;
  ASSERT_EQ(box.run({"pdb_contact", "-pdb", tevo_test::test_data("protein/1ubq.pdb"), "-jobname", "u", "-hlog", "1"})
                .status, 0);
  const auto files = box.files("tevo-output/u");
  for (const std::string name : {"u_residue_contact.csv", "u_residue_contact.html", "u_residue_contact.gp", "u.log"})
    ASSERT_TRUE(files.count(name)) << name;
  EXPECT_EQ(files.at("u.log"),
            "1-1-1-0\nResidue contact\nContacts between pairwise residues (<7.50 &Aring;, C<sub>&alpha;</sub>).\n\n");
  std::set<std::pair<int, int>> listed;  // by residue number (1ubq numbers from 1)
  for (const auto& c : contact_list(files.at("u_residue_contact.csv"))) listed.emplace(std::get<0>(c), std::get<1>(c));
  ASSERT_GT(listed.size(), 500u);

  // Heat map page: one cell per residue pair, 1 exactly where a pair is listed.
  const std::string& page = files.at("u_residue_contact.html");
  std::set<std::pair<int, int>> ones;
  std::size_t cells = 0;
  for (std::size_t at = 0; (at = page.find("<title>", at)) != std::string::npos; ++at) {
    int i = 0, j = 0;
    double v = -1;
    if (std::sscanf(page.c_str() + at, "<title>%d / %d: %lf</title>", &i, &j, &v) != 3) continue;
    ++cells;
    EXPECT_TRUE(v == 0 || v == 1) << i << " " << j << ": " << v;
    if (v == 1) ones.emplace(i, j);
  }
  EXPECT_EQ(cells, 76u * 76u);
  EXPECT_EQ(ones, listed);

  // Gnuplot script: the axis label, one point per listed pair (0-based positions).
  const std::string& gp = files.at("u_residue_contact.gp");
  EXPECT_NE(gp.find("set xlabel 'Residue index';"), std::string::npos);
  std::set<std::pair<int, int>> points;
  const std::size_t begin = gp.find("$cells << EOD\n"), end = gp.find("EOD\n", begin + 14);
  ASSERT_NE(end, std::string::npos);
  std::istringstream data(gp.substr(begin + 14, end - begin - 14));
  for (int x, y, v; data >> x >> y >> v;) points.emplace(y + 1, x + 1);
  EXPECT_EQ(points, listed);

  // The report page places the heat map and the script link inside the contact block.
  ASSERT_EQ(box.run({"html", "-jobname", "u"}).status, 0);
  const std::string index = box.read("tevo-output/u/index.html");
  const std::size_t block = index.find("<h2>Residue contact</h2>");
  ASSERT_NE(block, std::string::npos);
  const std::size_t block_end = index.find("</section>", block), svg = index.find("<svg", block);
  EXPECT_LT(svg, block_end);
  EXPECT_NE(index.find("<title>1 / 2: 1</title>", svg), std::string::npos);
  EXPECT_LT(index.find("href=\"u_residue_contact.gp\"", block), block_end);
  EXPECT_EQ(index.find("Other files"), std::string::npos);
}

TEST(StructureCli, BadPdbInputStopsWithTheLine) {
  CliSandbox box;
  const std::string good = "ATOM      1  N   MET A   1      27.340  24.430   2.614  1.00  0.00           N\n";
  const std::string cases[][3] = {
      {"short.pdb", good + "ATOM      2  CA  MET\n", "line 2: ATOM record shorter than 21 characters"},
      {"clip.pdb", good + "ATOM      2  CA  MET A   1      26.266  25.413\n",
       "line 2: ATOM record ends before its coordinates (54 columns)"},
      {"text.pdb", "REMARK x\n" + good.substr(0, 46) + "   2.6x4\n", "line 2: non-numeric z coordinate \"2.6x4\""},
  };
  for (const auto& c : cases) {
    const std::string path = box.write(c[0], c[1]);
    const auto run = box.run({"pdb_parser", "-pdb", path, "-type", "2"});
    EXPECT_EQ(run.status, 1) << c[0];
    EXPECT_NE(run.out.find("-- PDB \n-- Error: " + path + " " + c[2] + "\n"), std::string::npos) << run.out;
  }
  for (const std::string text : {"", "HETATM    1  O   HOH A   1      1.000   1.000   1.000\nEND\n"}) {
    const auto run = box.run({"pdb_parser", "-pdb", box.write("nothing.pdb", text), "-type", "1", "-jobname", "e"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("-- no chain found!"), std::string::npos);
    EXPECT_EQ(box.read("tevo-output/e/nothing_tevo.pdb"), "HEADER    TEVANA\nEND\n");
  }
  const auto missing = box.run({"pdb_parser", "-pdb", "absent.pdb", "-type", "1", "-jobname", "m"});
  EXPECT_NE(missing.out.find("-- Error: cannot open absent.pdb\n"), std::string::npos);
}

TEST(StructureCli, GzipAndMultiModelFiles) {
  if (!boost::filesystem::exists(shared("1ni7.pdb.gz"))) GTEST_SKIP() << "no shared data";
  CliSandbox box;
  const auto gz = box.run({"pdb_parser", "-pdb", shared("1ni7.pdb.gz"), "-type", "0"});
  EXPECT_EQ(gz.status, 0);
  // Each model closes its chain at ENDMDL: 20 models, 20 chains.
  EXPECT_NE(gz.out.find("-- Number of chains: 20, A, A,"), std::string::npos);
  EXPECT_TRUE(box.exists("tevo-output/tevana_pdb_parser/1ni7.pdb.fasta"));
  const auto ca = box.run({"pdb_parser", "-pdb", shared("pdb2k39_ca.pdb"), "-type", "0", "-jobname", "ca"});
  EXPECT_NE(ca.out.find("-- Number of chains: 116, "), std::string::npos);
}

TEST(StructureCli, ExtendedChainFromFasta) {
  CliSandbox box;
  EXPECT_NE(box.run({"fasta2pdb"}).out.find("-- Error: where to locate the FASTA file?\n-- Usage:\n"
                                            "-- tevo fasta2pdb -fastx <STRING> -output <STRING|optional>\n"),
            std::string::npos);
  const auto run = box.run({"fasta2pdb", "-fastx", box.write("pep.fa", ">one first\nMKG\nAW*\n>two\nggp\n")});
  EXPECT_EQ(run.status, 0);
  const auto files = box.files("tevo-output/tevana_fasta2pdb");
  ASSERT_EQ(files.size(), 2u);
  const std::string& one = files.at("pep_1.pdb");
  EXPECT_NE(one.find("SEQRES    1 A    5  MET LYS GLY ALA TRP \n"), std::string::npos);
  EXPECT_EQ(atoms_by_chain(one).at("A").size(), 4u * 5 + 4);  // no CB in glycine
  EXPECT_NE(one.find("ATOM      1  N   MET A   1       0.000   0.000   0.000  1.00  0.00           N\n"
                     "ATOM      2  CA  MET A   1       1.458   0.000   0.000  1.00  0.00           C\n"),
            std::string::npos)
      << one;
  EXPECT_EQ(atoms_by_chain(files.at("pep_2.pdb")).at("A").size(), 4u * 3 + 1);
  // Read back by the parser: the sequences come out again.
  ASSERT_EQ(box.run({"pdb_parser", "-pdb", box.path() + "/tevo-output/tevana_fasta2pdb/pep_1.pdb", "-type",
                     "0", "-jobname", "back"}).status, 0);
  EXPECT_NE(box.read("tevo-output/back/pep_1.fasta").find("\nMKGAW\n"), std::string::npos);

  const auto bad = box.run({"fasta2pdb", "-fastx", box.write("bad.fa", ">x\nACDB1\n"), "-jobname", "b"});
  EXPECT_EQ(bad.status, 1);
  EXPECT_NE(bad.out.find("record 1 (x): 'B' at position 4 is not an amino acid"), std::string::npos) << bad.out;
  const auto stray = box.run({"fasta2pdb", "-fastx", box.write("stray.fa", "ACD\n>x\nA\n"), "-jobname", "s"});
  EXPECT_EQ(stray.status, 1);
  EXPECT_NE(stray.out.find("stray.fa line 1: sequence text before the first \">\""), std::string::npos);
  EXPECT_EQ(box.run({"fasta2pdb", "-fastx", box.write("e.fa", ""), "-jobname", "e"}).status, 1);
  EXPECT_EQ(box.run({"fasta2pdb", "-fastx", "nope.fa", "-jobname", "n"}).status, 1);
}
