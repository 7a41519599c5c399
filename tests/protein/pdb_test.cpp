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

using namespace tevo;

namespace {

class TempDir {
 public:
  TempDir() {
    char tmpl[] = "/tmp/tevo_pdb_XXXXXX";
    path_ = mkdtemp(tmpl);
    path_ += "/";
  }
  ~TempDir() { std::system(("rm -rf " + path_).c_str()); }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(path_ + name) << text;
    return path_ + name;
  }
  std::string read(const std::string& name) const {
    std::ifstream in(path_ + name);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// An ATOM line in the standard layout.
std::string atom_line(int serial, const std::string& name, const std::string& res, char chain, int num,
                      double x, double y, double z, const std::string& tail = "  1.00 20.00           C") {
  char buf[128];
  std::snprintf(buf, sizeof buf, "ATOM  %5d %-4s %3s %c%4d    %8.3f%8.3f%8.3f%s", serial,
                name.size() < 4 ? (" " + name).c_str() : name.c_str(), res.c_str(), chain, num, x, y,
                z, tail.c_str());
  return buf;
}

Protein<double> read_quiet(const std::string& path, bool verbose = true, bool reorder = false,
                           int first = 1, const std::string& chain = "", bool backbone = false) {
  Protein<double> p("", "", reorder, first);
  testing::internal::CaptureStdout();
  p.read_pdb(path, backbone, chain, verbose);
  testing::internal::GetCapturedStdout();
  return p;
}

std::string printf_cut(double v, int decimals) {
  char buf[512];
  std::snprintf(buf, sizeof buf, "%f", v);
  std::string t(buf);
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
    std::string got;
    append_cut(got, v, 3, -1);
    ASSERT_EQ(got, printf_cut(v, 3)) << v;
    got.clear();
    append_cut(got, v, 2, -1);
    ASSERT_EQ(got, printf_cut(v, 2)) << v;
  }
  std::string s;
  append_cut(s, -1.2349, 3, 8);
  append_cut(s, 1.0, 2, 6);
  append_cut(s, -0.0001, 3, 8);
  append_cut(s, 123456.7899, 3, 8);
  EXPECT_EQ(s, "  -1.234  1.00  -0.000123456.789");
}

TEST(PdbRead, RecordRules) {
  TempDir dir;
  std::string text;
  text += "REMARK   1 anything\n";
  text += "HETATM    1  O   HOH A 900      1.000   1.000   1.000  1.00  0.00           O\n";
  text += "   " + atom_line(1, "N", "MET", ' ', 0, 1, 2, 3) + "   \n";  // residue 0, blank chain
  text += atom_line(2, "CA", "MET", ' ', 0, 2, 2, 3) + "\n";
  text += atom_line(3, "N", "GLY", ' ', 1, 3, 2, 3) + "\n";  // joins residue 0
  text += atom_line(4, "CA", "GLY", ' ', 1, 4, 2, 3) + "\n";
  text += atom_line(5, "N", "ALA", ' ', 2, 5, 2, 3, "  0.50 99.00") + "\n";
  text += atom_line(6, "1HB", "ALA", ' ', 2, 6, 2, 3) + "\n";
  text += "TER\n";
  text += atom_line(7, "N", "LYS", 'B', 5, 7, 2, 3) + "\n";
  text += "TER\n";  // after a single atom: the chain stays open
  text += atom_line(8, "N", "ASP", 'C', 6, 8, 2, 3) + "\n";
  text += atom_line(9, "CA", "ASP", 'C', 6, 9, 2, 3) + "\n";
  text += "END\n";
  const std::string path = dir.write("rules.pdb", text);
  Protein<double> p = read_quiet(path);
  ASSERT_EQ(p.get_num_of_chains(), 2);
  const Chain<double>& a = p.chains[0];
  EXPECT_EQ(a.name, "A");
  ASSERT_EQ(a.amino_acids.size(), 2u);
  EXPECT_EQ(a.amino_acids[0].atoms.size(), 4u);  // residue 0 and residue 1 merged
  EXPECT_EQ(a.amino_acids[0].name, "GLY");       // the last line's name wins
  EXPECT_EQ(a.sequence, "GA");
  const Atom<double>& hb = a.amino_acids[1].atoms[1];
  EXPECT_EQ(hb.name, "1HB");
  EXPECT_EQ(hb.symbol, "H");
  EXPECT_EQ(hb.index, 6);  // HETATM lines are not counted
  EXPECT_EQ(a.amino_acids[1].atoms[0].occupancy, 0.5);
  EXPECT_EQ(a.amino_acids[1].atoms[0].tfactor, 0.0);
  EXPECT_EQ(a.amino_acids[1].atoms[0].chain_name, "A");
  // Chain B's single atom merges with chain C; the chain takes the last name.
  const Chain<double>& c = p.chains[1];
  EXPECT_EQ(c.name, "C");
  ASSERT_EQ(c.amino_acids.size(), 2u);
  EXPECT_EQ(c.amino_acids[0].atoms[0].chain_name, "B");
  EXPECT_EQ(c.amino_acids[1].atoms[1].index, 9);

  // Renumbering from 100 whatever the file says; chain filter; backbone filter.
  Protein<double> re = read_quiet(path, true, true, 100);
  EXPECT_EQ(re.chains[0].amino_acids[0].atoms[0].amino_acid_idx, 100);
  EXPECT_EQ(re.chains[0].amino_acids[1].atoms[1].amino_acid_idx, 101);
  EXPECT_EQ(re.chains[1].amino_acids[1].atoms[0].amino_acid_idx, 101);
  Protein<double> only_c = read_quiet(path, true, false, 1, "C");
  ASSERT_EQ(only_c.get_num_of_chains(), 1);
  EXPECT_EQ(only_c.get_num_of_atoms(), 2);
  Protein<double> bb = read_quiet(path, true, false, 1, "", true);
  EXPECT_EQ(bb.get_num_of_atoms(), 8);  // 1HB dropped
  // A silent read leaves the sequence unset.
  Protein<double> silent = read_quiet(path, false);
  EXPECT_EQ(silent.chains[0].sequence, "");
  EXPECT_EQ(silent.num_of_chains, 2);

  // Nothing to read: no chains, no crash.
  EXPECT_EQ(read_quiet(dir.write("empty.pdb", "")).get_num_of_chains(), 0);
  EXPECT_EQ(read_quiet(dir.path() + "absent.pdb").get_num_of_chains(), 0);
}

// The messages go to standard output; the command-line tests check their words.
TEST(PdbRead, MalformedAtomRecordsExitWithOne) {
  TempDir dir;
  const std::string good = atom_line(1, "N", "MET", 'A', 1, 1, 2, 3) + "\n";
  std::string letters = atom_line(2, "CA", "MET", 'A', 1, 1, 2, 3);
  letters.replace(38, 8, "  ab.cde");
  const std::string files[3] = {
      dir.write("s.pdb", good + "ATOM      2  CA  MET\n"),
      dir.write("c.pdb", good + atom_line(2, "CA", "MET", 'A', 1, 1, 2, 3).substr(0, 50) + "\n"),
      dir.write("n.pdb", good + letters + "\n")};
  for (const std::string& path : files)
    EXPECT_EXIT(
        {
          Protein<double> p;
          p.read_pdb(path, false, "", false);
        },
        testing::ExitedWithCode(1), "")
        << path;
}

TEST(PdbWrite, SimplifiedLayoutColumnByColumn) {
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
  ASSERT_TRUE(p.write_pdb(dir.path() + "out.pdb"));
  const std::string text = dir.read("out.pdb");
  const std::string want_head =
      "HEADER    TEVANA\n"
      "SEQRES    1 A   14  ALA ALA ALA ALA ALA ALA ALA ALA ALA ALA ALA ALA ALA \n"
      "SEQRES    2 A   14  TRP \n";
  ASSERT_EQ(text.substr(0, want_head.size()), want_head);
  std::istringstream lines(text.substr(want_head.size()));
  std::string first;
  std::getline(lines, first);
  //          1234567890123456789012345678901234567890123456789012345678901234567890123456789
  EXPECT_EQ(first, "ATOM      1  CA  ALA A   8      -1.234  10.000 123.456  1.00 15.99           C");
  std::string second;
  std::getline(lines, second);
  EXPECT_EQ(second.substr(11, 10), "  OXT ALA ");
  const std::string tail = "  C\nTER\nTER\nEND\n";  // the empty chain writes TER alone
  EXPECT_EQ(text.substr(text.size() - tail.size()), tail);

  // Read back: names of up to three letters survive, the fourth is lost.
  Protein<double> back = read_quiet(dir.path() + "out.pdb");
  EXPECT_EQ(back.chains[0].amino_acids[0].atoms[0].name, "CA");
  EXPECT_EQ(back.chains[0].amino_acids[1].atoms[0].name, "OXT");
  EXPECT_EQ(back.chains[0].amino_acids[0].atoms[0].coord[2], 123.456);

  ASSERT_TRUE(p.write_fasta(dir.path() + "out.fasta"));
  EXPECT_EQ(dir.read("out.fasta"), "> " + dir.path() + "out.fasta chain A 14 residues\nAAAAAAAAAAAAAW\n"
                                   "> " + dir.path() + "out.fasta chain B 0 residues\n\n");
  testing::internal::CaptureStdout();
  EXPECT_FALSE(p.write_pdb(dir.path() + "no/such/dir.pdb"));
  EXPECT_NE(testing::internal::GetCapturedStdout().find("Error: cannot open"), std::string::npos);
}

TEST(PdbWrite, UbiquitinRoundTrip) {
  TempDir dir;
  Protein<double> p = read_quiet(std::string(TEVO_TEST_DATA) + "/protein/1ubq.pdb");
  ASSERT_TRUE(p.write_pdb(dir.path() + "u.pdb"));
  Protein<double> q = read_quiet(dir.path() + "u.pdb");
  ASSERT_EQ(q.get_num_of_chains(), 1);
  EXPECT_EQ(q.chains[0].sequence, p.chains[0].sequence);
  EXPECT_EQ(q.get_num_of_atoms(), 602);
  for (std::size_t r = 0; r < p.chains[0].amino_acids.size(); ++r)
    for (std::size_t a = 0; a < p.chains[0].amino_acids[r].atoms.size(); ++a)
      for (int x = 0; x < 3; ++x)  // the file holds three decimals, so nothing is lost
        ASSERT_EQ(q.chains[0].amino_acids[r].atoms[a].coord[x], p.chains[0].amino_acids[r].atoms[a].coord[x]);
}

TEST(ProteinData, LoaderNestsAndSplits) {
  TempDir dir;
  ProteinData<double> u(std::string(TEVO_TEST_DATA) + "/protein/1ubq.pdb");
  ASSERT_EQ(u.polypeptides.size(), 1u);
  EXPECT_EQ(u.polypeptides[0].size(), 76u);
  EXPECT_EQ(*u.polypeptides[0][75][0].res, "GLY");
  EXPECT_EQ(*u.polypeptides[0][0][1].atom, "CA");
  EXPECT_EQ(*u.polypeptides[0][0][1].altloc, " ");
  EXPECT_FALSE(u.polypeptides[0][0][1].realss);
  // CA-only chain with a 10 A gap: two polypeptides.
  std::string ca;
  for (int r = 0; r < 6; ++r)
    ca += atom_line(r + 1, "CA", "ALA", 'A', r + 1, r < 3 ? 3.8 * r : 3.8 * r + 10, 0, 0) + "\n";
  ProteinData<double> split(dir.write("ca.pdb", ca));
  ASSERT_EQ(split.polypeptides.size(), 2u);
  EXPECT_EQ(split.polypeptides[1].size(), 3u);
  // Key-value records: an unknown key is skipped alone, so its value is read as a key.
  dir.write("rec.txt",
            "RES ALA RESSEQ 4 ATOM CA COORD 1 2 3 PREDPROBSS_H 0.25\n"
            "RES GLY RESSEQ 5 BOGUS ATOM N\n");
  ProteinData<double> rec;
  ASSERT_TRUE(rec.load(dir.path() + "rec.txt"));
  ASSERT_EQ(rec.polypeptides[0].size(), 2u);
  const AtomStrut<double>& r0 = rec.polypeptides[0][0][0];
  EXPECT_EQ(r0.coord[2], 3.0);
  EXPECT_EQ(*r0.predprobss_h, 0.25);
  EXPECT_FALSE(r0.predprobss_e);
  const AtomStrut<double>& r1 = rec.polypeptides[0][1][0];
  EXPECT_EQ(*r1.atom, "N");
  EXPECT_FALSE(r1.coord);
}

TEST(Contacts, DefinitionsAndTheContactReport) {
  TempDir dir;
  // Chain A: residues 1-6 with CA on a line, 1.25 A then 3.75 A apart (exact
  // in binary); chain B one residue 3 A from A1.
  std::string text;
  const double xs[6] = {0, 1.25, 5.0, 8.75, 12.5, 16.25};
  for (int r = 0; r < 6; ++r) text += atom_line(r + 1, "CA", "ALA", 'A', r + 1, xs[r], 0, 0) + "\n";
  text += "TER\n" + atom_line(7, "CA", "GLY", 'B', 1, 0, 3, 0) + "\n" +
          atom_line(8, "N", "GLY", 'B', 1, 0, 4, 0) + "\nEND\n";
  const std::string path = dir.write("line.pdb", text);
  Protein<double> p = read_quiet(path);
  p.set_job_info(dir.path(), "job");
  double d = -1;
  p.is_contact(d, 0, 0, 1, 7.5, "CA");
  EXPECT_EQ(d, 0.0);  // 1.25 A is an overlap, not a contact
  p.is_contact(d, 0, 1, 2, 7.5, "CA");
  EXPECT_EQ(d, 3.75);
  p.is_contact(d, 0, 1, 3, 7.5, "CA");
  EXPECT_EQ(d, 7.5);  // the cutoff itself is in
  p.is_contact(d, 0, 1, 3, 7.4, "CA");
  EXPECT_EQ(d, 0.0);
  p.is_contact(d, 0, 2, 2, 7.5, "CA");
  EXPECT_EQ(d, 0.0);
  p.calc_residue_contact("residue_contact", 7.5, "ca");  // label from upper case, look-up exact
  EXPECT_EQ(dir.read("job_residue_contact.csv"), "Residue-Contact from PDB\n");
  EXPECT_EQ(dir.read("job.log"),
            "1-1-1-0\nResidue contact\nContacts between pairwise residues (<7.50 &Aring;, "
            "C<sub>&alpha;</sub>).\n\n");
  p.calc_residue_contact("residue_contact", 7.5, "CA");
  EXPECT_EQ(dir.read("job_residue_contact.csv"),
            "Residue-Contact from PDB\n1,3,5.00000\n"
            "2,3,3.75000\n2,4,7.50000\n3,1,5.00000\n3,2,3.75000\n3,4,3.75000\n3,5,7.50000\n"
            "4,2,7.50000\n4,3,3.75000\n4,5,3.75000\n4,6,7.50000\n5,3,7.50000\n5,4,3.75000\n"
            "5,6,3.75000\n6,4,7.50000\n6,5,3.75000\n");  // chain B, 3 A from A1, never pairs
  ASSERT_EQ(p.contact_map.size(), 49u);
  EXPECT_EQ(p.contact_map[1 * 7 + 2], 1.0);
  EXPECT_EQ(p.contact_map[0 * 7 + 6], 0.0);

  // Backbone hydrogen bond: HN...O 2.0 A, N-HN-O straight, |i-j| must exceed 3.
  Chain<double> hb(false);
  for (int r = 0; r < 5; ++r) hb.add_amino_acid(AminoAcid<double>("ALA"));
  auto put = [&](int r, const char* name, double x, double y) {
    Atom<double> at;
    at.name = name;
    at.set_coord(x, y, 0);
    hb.amino_acids[r].add_atom(at);
  };
  put(4, "N", 0, 0);
  put(4, "HN", 1, 0);
  put(0, "O", 3, 0);
  put(1, "O", 3.6, 0);
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
