// PDB reading rules, the simplified written layout, FASTA, the second loader
// and the contact definitions.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>

#include "protein/pdb_text.h"
#include "protein/protein.h"
#include "protein/protein_data.h"
#include "util/exit_with.h"

using namespace tevo;

namespace {

class TempDir {
 public:
  TempDir() {
    char tmpl[] = "/tmp/tevo_pdb_XXXXXX";
    path_ = std::string(mkdtemp(tmpl)) + "/";
  }
  ~TempDir() { std::system(("rm -rf " + path_).c_str()); }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(path_ + name) << text;
    return path_ + name;
  }
  std::string read(const std::string& name) const {
    std::stringstream s;
    s << std::ifstream(path_ + name).rdbuf();
    return s.str();
  }
  std::string path_;
};

// An ATOM line in the standard layout.
std::string atom_line(int serial, const std::string& name, const std::string& res, char chain, int num,
                      double x, double y, double z, const std::string& tail = "  1.00 20.00           C") {
  char buf[128];
  std::snprintf(buf, sizeof buf, "ATOM  %5d %-4s %3s %c%4d    %8.3f%8.3f%8.3f%s\n", serial,
                name.size() < 4 ? (" " + name).c_str() : name.c_str(), res.c_str(), chain, num, x, y,
                z, tail.c_str());
  return buf;
}

template <typename T = double>
Protein<T> read_quiet(const std::string& path, bool verbose = true, bool reorder = false, int first = 1,
                      const std::string& chain = "", bool backbone = false) {
  Protein<T> p("", "", reorder, first);
  testing::internal::CaptureStdout();
  p.read_pdb(path, backbone, chain, verbose);
  testing::internal::GetCapturedStdout();
  return p;
}

std::string printf_cut(double v, int decimals) {
  char buf[512];
  std::snprintf(buf, sizeof buf, "%f", v);
  const std::string t(buf);
  return t.substr(0, t.find('.') + 1 + decimals);
}

}  // namespace

TEST(PdbText, CutNumbersMatchPrintfThenCut) {
  std::mt19937 gen(3);
  std::uniform_real_distribution<double> wide(-9999, 9999);
  std::uniform_int_distribution<int> micro(-999999999, 999999999);
  for (int k = 0; k < 200000; ++k) {
    // Half of the values sit on or next to the sixth-decimal rounding tie.
    double v = wide(gen);
    if (k % 2) v = (micro(gen) + 0.5 + (k % 3 - 1) * 1e-9) / 1e6;
    for (int decimals : {2, 3}) {
      std::string got;
      append_cut(got, v, decimals, -1);
      ASSERT_EQ(got, printf_cut(v, decimals)) << v;
    }
  }
  std::string s;
  append_cut(s, -1.2349, 3, 8);
  append_cut(s, -0.0001, 3, 8);
  append_cut(s, 123456.7899, 3, 8);
  EXPECT_EQ(s, "  -1.234  -0.000123456.789");
}

TEST(PdbRead, RecordRules) {
  TempDir dir;
  const std::string path = dir.write(
      "rules.pdb", "REMARK   1 anything\n"
                   "HETATM    1  O   HOH A 900      1.000   1.000   1.000  1.00  0.00           O\n"
                   "   " + atom_line(1, "N", "MET", ' ', 0, 1, 2, 3) +  // residue 0, blank chain
                   atom_line(2, "CA", "MET", ' ', 0, 2, 2, 3) +
                   atom_line(3, "N", "GLY", ' ', 1, 3, 2, 3) +  // joins residue 0
                   atom_line(4, "CA", "GLY", ' ', 1, 4, 2, 3) +
                   atom_line(5, "N", "ALA", ' ', 2, 5, 2, 3, "  0.50 99.00") +
                   atom_line(6, "1HB", "ALA", ' ', 2, 6, 2, 3) + "TER\n" +
                   atom_line(7, "N", "LYS", 'B', 5, 7, 2, 3) + "TER\n" +  // a single atom: the chain stays open
                   atom_line(8, "N", "ASP", 'C', 6, 8, 2, 3) + atom_line(9, "CA", "ASP", 'C', 6, 9, 2, 3) + "END\n");
  Protein<double> p = read_quiet(path);
  ASSERT_EQ(p.get_num_of_chains(), 2);
  const Chain<double>& a = p.chains[0];
  EXPECT_EQ(a.name, "A");
  ASSERT_EQ(a.amino_acids.size(), 2u);
  EXPECT_EQ(a.amino_acids[0].atoms.size(), 4u);  // residue 0 and residue 1 merged
  EXPECT_EQ(a.sequence, "GA");                   // the last line's name wins
  const Atom<double>& hb = a.amino_acids[1].atoms[1];
  EXPECT_EQ(hb.symbol, "H");
  EXPECT_EQ(hb.index, 6);  // HETATM lines are not counted
  EXPECT_EQ(a.amino_acids[1].atoms[0].occupancy, 0.5);
  EXPECT_EQ(a.amino_acids[1].atoms[0].tfactor, 0.0);
  // Chain B's single atom merges with chain C; the chain takes the last name.
  const Chain<double>& c = p.chains[1];
  EXPECT_EQ(c.name, "C");
  ASSERT_EQ(c.amino_acids.size(), 2u);
  EXPECT_EQ(c.amino_acids[0].atoms[0].chain_name, "B");

  // Renumbering from 100 whatever the file says; chain filter; backbone filter.
  Protein<double> re = read_quiet(path, true, true, 100);
  EXPECT_EQ(re.chains[0].amino_acids[0].atoms[0].amino_acid_idx, 100);
  EXPECT_EQ(re.chains[1].amino_acids[1].atoms[0].amino_acid_idx, 101);
  Protein<double> only_c = read_quiet(path, true, false, 1, "C");
  ASSERT_EQ(only_c.get_num_of_chains(), 1);
  EXPECT_EQ(only_c.get_num_of_atoms(), 2);
  EXPECT_EQ(read_quiet(path, true, false, 1, "", true).get_num_of_atoms(), 8);  // 1HB dropped
  EXPECT_EQ(read_quiet(path, false).chains[0].sequence, "");  // a silent read leaves it unset
  // Nothing to read: no chains, no crash.
  EXPECT_EQ(read_quiet(dir.write("empty.pdb", "")).get_num_of_chains(), 0);
  EXPECT_EQ(read_quiet(dir.path_ + "absent.pdb").get_num_of_chains(), 0);
}

TEST(PdbWrite, SimplifiedLayoutAndFasta) {
  TempDir dir;
  Protein<double> p;
  Chain<double> ch(true);  // adds 1 to every residue number
  ch.set_name("A");
  for (int r = 0; r < 14; ++r) {
    AminoAcid<double> aa(r == 13 ? "TRP" : "ALA");
    Atom<double> at;
    at.index = r + 1;
    at.name = r == 0 ? "CA" : "OXT";
    at.amino_acid_name = aa.name;
    at.chain_name = "A";
    at.amino_acid_idx = r + 7;
    at.set_coord(-1.2349, 10.0, 123.45678);
    at.occupancy = 1.0;
    at.tfactor = 15.999;
    at.symbol = "C";
    aa.add_atom(at);
    ch.add_amino_acid(aa);
  }
  p.add_chain(ch);
  p.add_chain(Chain<double>(false));
  p.chains[1].set_name("B");
  p.write_pdb(dir.path_ + "out.pdb");
  const std::string text = dir.read("out.pdb");
  // SEQRES holds 13 names a line; numbers are cut, not rounded.
  EXPECT_EQ(text.find("HEADER    TEVANA\n"
                      "SEQRES    1 A   14  ALA ALA ALA ALA ALA ALA ALA ALA ALA ALA ALA ALA ALA \n"
                      "SEQRES    2 A   14  TRP \n"
                      "ATOM      1  CA  ALA A   8      -1.234  10.000 123.456  1.00 15.99           C\n"
                      "ATOM      2  OXT ALA "),
            0u);
  const std::string tail = "  C\nTER\nTER\nEND\n";  // the empty chain writes TER alone
  EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
  Protein<double> back = read_quiet(dir.path_ + "out.pdb");
  EXPECT_EQ(back.chains[0].amino_acids[1].atoms[0].name, "OXT");
  EXPECT_EQ(back.chains[0].amino_acids[0].atoms[0].coord[2], 123.456);

  p.write_fasta(dir.path_ + "out.fasta");
  EXPECT_EQ(dir.read("out.fasta"), "> " + dir.path_ + "out.fasta chain A 14 residues\nAAAAAAAAAAAAAW\n"
                                   "> " + dir.path_ + "out.fasta chain B 0 residues\n\n");
  EXPECT_EXIT_1(p.write_pdb(dir.path_ + "no/such/dir.pdb"), "Error: cannot open .*no/such/dir.pdb");
}

TEST(ProteinData, LoaderNestsAndSplits) {
  TempDir dir;
  ProteinData<double> u(std::string(TEVO_TEST_DATA) + "/protein/1ubq.pdb");
  ASSERT_EQ(u.polypeptides.size(), 1u);
  EXPECT_EQ(u.polypeptides[0].size(), 76u);
  EXPECT_EQ(*u.polypeptides[0][75][0].res, "GLY");
  EXPECT_EQ(*u.polypeptides[0][0][1].atom, "CA");
  // CA-only chain with a 10 A gap: two polypeptides.
  std::string ca;
  for (int r = 0; r < 6; ++r) ca += atom_line(r + 1, "CA", "ALA", 'A', r + 1, r < 3 ? 3.8 * r : 3.8 * r + 10, 0, 0);
  ProteinData<double> split(dir.write("ca.pdb", ca));
  ASSERT_EQ(split.polypeptides.size(), 2u);
  EXPECT_EQ(split.polypeptides[1].size(), 3u);
  // Key-value records: an unknown key is skipped alone, so its value is read as a key.
  ProteinData<double> rec;
  ASSERT_TRUE(rec.load(dir.write("rec.txt", "RES ALA RESSEQ 4 ATOM CA COORD 1 2 3 PREDPROBSS_H 0.25\n"
                                            "RES GLY RESSEQ 5 BOGUS ATOM N\n")));
  ASSERT_EQ(rec.polypeptides[0].size(), 2u);
  const AtomStrut<double>& r0 = rec.polypeptides[0][0][0];
  EXPECT_EQ(r0.coord[2], 3.0);
  EXPECT_EQ(*r0.predprobss_h, 0.25);
  EXPECT_FALSE(r0.predprobss_e);
  EXPECT_EQ(*rec.polypeptides[0][1][0].atom, "N");
  EXPECT_FALSE(rec.polypeptides[0][1][0].coord);
}

TEST(Contacts, DefinitionsAndTheContactReport) {
  TempDir dir;
  // Chain A: residues 1-6 with CA on a line, 1.25 A then 3.75 A apart (exact
  // in binary); chain B one residue 3 A from A1.
  const double xs[6] = {0, 1.25, 5.0, 8.75, 12.5, 16.25};
  std::string text;
  for (int r = 0; r < 6; ++r) text += atom_line(r + 1, "CA", "ALA", 'A', r + 1, xs[r], 0, 0);
  text += "TER\n" + atom_line(7, "CA", "GLY", 'B', 1, 0, 3, 0) + atom_line(8, "N", "GLY", 'B', 1, 0, 4, 0) + "END\n";
  const std::string path = dir.write("line.pdb", text);
  Protein<double> p = read_quiet(path);
  p.set_job_info(dir.path_, "job");
  // Pairs (i, j, cutoff) -> distance: overlaps and self are out, the cutoff itself is in.
  const struct { int i, j; double cut, want; } pairs[] = {
      {0, 1, 7.5, 0.0}, {1, 2, 7.5, 3.75}, {1, 3, 7.5, 7.5}, {1, 3, 7.4, 0.0}, {2, 2, 7.5, 0.0}};
  for (const auto& c : pairs) {
    double d = -1;
    p.is_contact(d, 0, c.i, c.j, c.cut, "CA");
    EXPECT_EQ(d, c.want) << c.i << "," << c.j;
  }
  p.calc_residue_contact("residue_contact", 7.5, "ca");  // label from upper case, look-up exact
  EXPECT_EQ(dir.read("job_residue_contact.csv"), "Residue-Contact from PDB\n");
  p.calc_residue_contact("residue_contact", 7.5, "CA");
  std::string want = "Residue-Contact from PDB\n";  // chain B, 3 A from A1, never pairs
  for (int i = 0; i < 6; ++i)
    for (int j = 0; j < 6; ++j) {
      char line[64];
      std::snprintf(line, sizeof line, "%d,%d,%.5f\n", i + 1, j + 1, std::fabs(xs[i] - xs[j]));
      if (std::fabs(xs[i] - xs[j]) > 1.5 && std::fabs(xs[i] - xs[j]) <= 7.5) want += line;
    }
  EXPECT_EQ(dir.read("job_residue_contact.csv"), want);
  // The chart carries the 0/1 map as column, row: 1,3 then 2,3 2,4 3,1; the same from single precision.
  const std::string gp = dir.read("job_residue_contact.gp");
  EXPECT_NE(gp.find("$cells << EOD\n2 0 1\n2 1 1\n3 1 1\n0 2 1\n"), std::string::npos);
  Protein<float> f = read_quiet<float>(path);
  f.set_job_info(dir.path_, "jobf");
  f.calc_residue_contact("residue_contact", 7.5f, "CA");
  std::string gpf = dir.read("jobf_residue_contact.gp");
  for (std::size_t at; (at = gpf.find("jobf_")) != std::string::npos;) gpf.replace(at, 5, "job_");
  EXPECT_EQ(gpf, gp);

  // Backbone hydrogen bond: HN...O 2.0 A, N-HN-O straight, |i-j| must exceed 3.
  Chain<double> hb(false);
  for (int r = 0; r < 5; ++r) hb.add_amino_acid(AminoAcid<double>("ALA"));
  auto put = [&](int r, const char* name, double x) {
    Atom<double> at;
    at.name = name;
    at.set_coord(x, 0, 0);
    hb.amino_acids[r].add_atom(at);
  };
  put(4, "N", 0);
  put(4, "HN", 1);
  put(0, "O", 3);
  put(1, "O", 3.6);
  double h = -1;
  hb.is_NHbonded(h, 4, 0);
  EXPECT_EQ(h, 2.0);
  hb.is_NHbonded(h, 4, 1);
  EXPECT_EQ(h, 0.0);  // i - j = 3
  hb.is_NHbonded(h, 0, 4);
  EXPECT_EQ(h, 0.0);  // no donor in residue 0
  const auto m = hb.hydrogen_bond_contact();
  EXPECT_EQ(m[4][0], 2.0);
  EXPECT_EQ(m[0][4], 0.0);  // donor rows, acceptor columns
}
