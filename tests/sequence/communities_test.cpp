// Residue communities on coupling matrices with known eigenvectors, and the
// chart files of the pair scores.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "report/record.h"
#include "sequence/sequence.h"
#include "sequence/sequence_fixtures.h"
#include "sequence/sequence_charts.h"
#include "util/capture.h"
#include "util/strings.h"  // string_split


namespace {

// The writers run gnuplot, python, R and pymol when present; these tests
// check the files, so the tools are kept out.
const bool kNoTools = setenv("PATH", "/nonexistent", 1) == 0;

std::string slurp(const std::string& file) {
  std::ifstream in(file);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> out;
  std::stringstream s(text);
  for (std::string line; std::getline(s, line);) out.push_back(line);
  return out;
}

std::string fixed(double v) {
  char b[64];
  std::snprintf(b, sizeof b, "%f", v);
  return b;
}

// Eight sites with orthonormal eigenvectors chosen by hand: the constant
// mode, u (sites 0-3), the split of the two halves, v (sites 4-7), and a
// Gram-Schmidt completion. Eigenvalues 6, 4, 3, 2 put u in column 1 and v
// in column 3; the rest lie below.
struct Modes {
  std::vector<std::vector<double>> q;  // q[k]: eigenvector k, unit length
  std::vector<double> lambda = {6, 4, 3, 2, 1, 0.5, -0.5, -1};
};

Modes known_modes() {
  Modes m;
  const int n = 8;
  m.q = {{1, 1, 1, 1, 1, 1, 1, 1}, {1, 4, -2, -3, 0, 0, 0, 0}, {1, 1, 1, 1, -1, -1, -1, -1}, {0, 0, 0, 0, 4, 1, -2, -3}};
  for (int e = 0; e < n && static_cast<int>(m.q.size()) < n; ++e) {
    std::vector<double> x(n, 0.0);
    x[e] = 1;
    for (const auto& b : m.q) {
      double nb = 0, dot = 0;
      for (int i = 0; i < n; ++i) nb += b[i] * b[i], dot += b[i] * x[i];
      for (int i = 0; i < n; ++i) x[i] -= dot / nb * b[i];
    }
    double norm = 0;
    for (double c : x) norm += c * c;
    if (norm > 1e-6) m.q.push_back(x);
  }
  for (auto& b : m.q) {
    double norm = 0;
    for (double c : b) norm += c * c;
    for (double& c : b) c /= std::sqrt(norm);
  }
  return m;
}

// A trimmed ten-site alignment with its conservation table, of which sites
// 0, 1, 2, 4, 5, 6, 8, 9 are "selected", and the coupling matrix of `modes`.
template <typename T>
void prepare(LSequence<T>& seq, const TempDir& dir, const Modes& modes, const std::string& pdb) {
  const std::string msa = dir.write("in.fasta", ">ref\nACDEFGHIKL\n>a\nACDEFGHIKV\n>b\nSCDEYGHLKL\n>c\nACNEFGAIKL\n");
  seq.init(pdb);
  captured_stdout([&] {
    seq.sequence_trim(msa, pdb, false, false);
    seq.calc_site_conservation();
  });
  const int selected[8] = {0, 1, 2, 4, 5, 6, 8, 9};
  seq.num_of_site = seq.num_of_trimmed_site;  // 10 trimmed sites before the selection
  seq.num_of_trimmed_site = 8;
  seq.site_list = new int32_t[8];
  for (int k = 0; k < 8; ++k) seq.site_list[k] = selected[k], seq.selected_sites.push_back(selected[k]);
  std::vector<std::vector<T>> a(8, std::vector<T>(8, T(0)));
  std::vector<const T*> rows(8);
  for (int i = 0; i < 8; ++i) {
    for (int j = 0; j < 8; ++j) {
      double s = 0;
      for (int k = 0; k < 8; ++k) s += modes.q[k][i] * modes.lambda[k] * modes.q[k][j];
      a[i][j] = static_cast<T>(s);
    }
    rows[i] = a[i].data();
  }
  seq.set_coupling_matrix(rows.data(), 8);
}

template <typename T>
class CommunitiesTest : public ::testing::Test {};
using Reals = ::testing::Types<float, double>;
TYPED_TEST_SUITE(CommunitiesTest, Reals);

TYPED_TEST(CommunitiesTest, MembershipTablesChordAndRecord) {
  using T = TypeParam;
  // float: eigenvectors to ~1e-6, then "%f"; double: the six printed decimals.
  const double tol = std::is_same<T, float>::value ? 2e-5 : 2e-6;
  TempDir dir;
  const Modes modes = known_modes();
  LSequence<T> seq(dir.path(), "job", 1);
  prepare(seq, dir, modes, "");
  seq.set_threshold(T(0.7));
  const std::string out = captured_stdout([&] { seq.calc_residue_communities("", true); });
  EXPECT_EQ(out.find("Warning"), std::string::npos) << out;
  EXPECT_EQ(seq.threshold, T(0.05));

  // u = (1, 4, -2, -3, 0...)/sqrt(30): community 1 holds positions 1, 0 (by
  // decreasing u), community 3 positions 2, 3 (by decreasing u as well);
  // v = (0..., 4, 1, -2, -3)/sqrt(30): community 2 holds positions 4, 5.
  const std::vector<int> list = {1, 0, 4, 5, 2, 3};
  const std::vector<int> member = {1, 1, 2, 2, 3, 3};
  // Positions map to trimmed sites 1, 0, 5, 6, 2, 4 of "ACDEFGHIKL", numbered from 1.
  const std::vector<std::string> labels = {"C2", "A1", "G6", "H7", "D3", "F5"};
  const std::vector<std::string> three = {"CYS", "ALA", "GLY", "HIS", "ASP", "PHE"};
  const std::vector<int> sites = {1, 0, 5, 6, 2, 4};
  const int n = 6;

  // Oracle: R from eigenpairs 1 and 2, positive off-diagonal part over the
  // list, scaled by its largest entry (its smallest is a 0 of the diagonal).
  std::vector<std::vector<double>> p(n, std::vector<double>(n, 0));
  double top = 0;
  for (int a = 0; a < n; ++a)
    for (int b = 0; b < n; ++b) {
      if (a == b) continue;
      const double r = modes.lambda[1] * modes.q[1][list[a]] * modes.q[1][list[b]] +
                       modes.lambda[2] * modes.q[2][list[a]] * modes.q[2][list[b]];
      p[a][b] = r > 0 ? r : 0;
      top = std::max(top, p[a][b]);
    }
  ASSERT_GT(top, 0);
  std::vector<double> csum(n, 0);
  for (int a = 0; a < n; ++a) {
    for (int b = 0; b < n; ++b) p[a][b] /= top;
    for (int b = a + 1; b < n; ++b) csum[a] += p[a][b];
  }

  const std::string base = dir.path() + "job_residue_communities";
  const std::vector<std::string> chord = lines_of(slurp(dir.path() + "job_residue_communities_chord.csv"));
  ASSERT_EQ(chord.size(), static_cast<std::size_t>(n + 1));
  EXPECT_EQ(chord[0],
            "name,aaname,position,chain,domain,property,secstruct,community1,community2,function,image,"
            "conservation,coupling,C2,A1,G6,H7,D3,F5");
  for (int a = 0; a < n; ++a) {
    const std::vector<std::string> cells = tevo::string_split(chord[a + 1], ',');
    ASSERT_EQ(cells.size(), static_cast<std::size_t>(13 + n)) << chord[a + 1];
    const std::string group = "community" + std::to_string(member[a]);
    const std::vector<std::string> head = {labels[a], three[a], std::to_string(sites[a] + 1), "A", "1", "prp1",
                                           "N/A", group, group, group,
                                           "https://tevana.org/tevo/img/aminoacid/" + three[a] + ".png"};
    for (std::size_t c = 0; c < head.size(); ++c) EXPECT_EQ(cells[c], head[c]) << "row " << a << " cell " << c;
    EXPECT_EQ(cells[11], fixed(seq.site_conservation[sites[a]][1])) << "conservation of row " << a;
    EXPECT_NEAR(std::stod(cells[12]), csum[a], tol) << "coupling of row " << a;
    for (int b = 0; b < n; ++b) EXPECT_NEAR(std::stod(cells[13 + b]), p[a][b], tol) << a << "," << b;
  }

  const std::vector<std::string> mtx = lines_of(slurp(base + "_mtx.csv"));
  ASSERT_GE(mtx.size(), static_cast<std::size_t>(n + 1));
  EXPECT_EQ(mtx[0], " ,C2,A1,G6,H7,D3,F5");
  const std::vector<std::string> sums = lines_of(slurp(base + "_mtx_csum.csv"));
  ASSERT_GE(sums.size(), static_cast<std::size_t>(n + 1));
  EXPECT_EQ(sums[0], "Residue,Index,Score");
  for (int a = 0; a < n; ++a) {
    const std::vector<std::string> cells = tevo::string_split(sums[a + 1], ',');
    ASSERT_EQ(cells.size(), 3u) << sums[a + 1];
    EXPECT_EQ(cells[0], labels[a]);
    EXPECT_EQ(std::stod(cells[1]), a);
    EXPECT_NEAR(std::stod(cells[2]), csum[a], 1e-4);  // five decimals in the table
    const std::vector<std::string> row = tevo::string_split(mtx[a + 1], ',');
    ASSERT_EQ(row.size(), static_cast<std::size_t>(n + 1));
    for (int b = 0; b < n; ++b) EXPECT_NEAR(std::stod(row[b + 1]), p[a][b], 1e-4);
  }
  for (const char* page : {"_mtx.html", "_chord.html", "_mtx_csum.html"})
    EXPECT_TRUE(std::filesystem::exists(base + page)) << page;
  EXPECT_FALSE(std::filesystem::exists(base + "_structure.html"));

  const std::vector<tevo::RecordBlock> blocks = tevo::read_record(dir.path() + "job.log");
  ASSERT_GE(blocks.size(), 3u);
  const tevo::RecordBlock* last = &blocks[blocks.size() - 3];
  EXPECT_EQ(last[0].layout, "1-1-1-0");
  EXPECT_EQ(last[0].title, "Residue communities of amino acids");
  EXPECT_EQ(last[0].caption.rfind("Residue communities of amino acids (couplings are normalized).", 0), 0u);
  EXPECT_EQ(last[0].base, base + "_mtx");
  EXPECT_EQ(last[1].title, "Residue communities in chord plotting");
  EXPECT_EQ(last[1].caption, last[0].caption);
  EXPECT_EQ(last[1].base, base + "_chord");
  EXPECT_EQ(last[2].title, "Coupling score of each amino acid");
  EXPECT_EQ(last[2].caption, "Score of each residue located in the top networks.");
  EXPECT_EQ(last[2].base, base + "_mtx_csum");
  seq.finish();
}

TEST(Communities, StructureViewsAndNoRecordWithoutReport) {
  const std::string pdb = std::string(TEVO_TEST_DATA) + "/protein/1ubq.pdb";
  TempDir dir;
  LSequence<double> seq(dir.path(), "job", 1);
  prepare(seq, dir, known_modes(), pdb);
  captured_stdout([&] { seq.calc_residue_communities(pdb, true); });
  const std::string base = dir.path() + "job_residue_communities";
  EXPECT_TRUE(std::filesystem::exists(base + "_structure.html"));
  const std::string pml = slurp(base + "_structure.pml");
  // Structure numbers of 1ubq chain A run 1..76, so the sites keep theirs + 1.
  EXPECT_NE(pml.find("chain A and resi 2+1\n"), std::string::npos) << pml;
  EXPECT_NE(pml.find("chain A and resi 6+7\n"), std::string::npos) << pml;
  EXPECT_NE(pml.find("chain A and resi 3+5\n"), std::string::npos) << pml;
  std::vector<tevo::RecordBlock> blocks = tevo::read_record(dir.path() + "job.log");
  ASSERT_FALSE(blocks.empty());
  EXPECT_EQ(blocks.back().layout, "1-1-1-3");
  EXPECT_EQ(blocks.back().title, "Residue communities on the structure");
  EXPECT_EQ(blocks.back().caption, "Residue communities of amino acids that are mapped to the tertiary structure.");
  EXPECT_EQ(blocks.back().base, base + "_structure");

  // Without the report flag the files come, the record stays as it was.
  const std::size_t before = blocks.size();
  std::filesystem::remove(base + "_structure.pml");
  captured_stdout([&] { seq.calc_residue_communities(pdb, false); });
  EXPECT_TRUE(std::filesystem::exists(base + "_structure.pml"));
  EXPECT_EQ(tevo::read_record(dir.path() + "job.log").size(), before);
}

TEST(Communities, TooFewSitesWarnAndWriteNothing) {
  TempDir dir;
  for (int L : {0, 1, 3}) {
    LSequence<double> seq(dir.path(), "few", 1);
    seq.trimmed_ref_seq = "ACDE";
    seq.num_of_site = 4;
    seq.num_of_trimmed_site = L;
    seq.site_list = new int32_t[4]{0, 1, 2, 3};
    std::vector<double> zero(L > 0 ? L : 1, 0.0);
    std::vector<const double*> rows(L > 0 ? L : 1, zero.data());
    seq.set_coupling_matrix(rows.data(), L);
    seq.threshold = 0.9;
    const std::string out = captured_stdout([&] { seq.calc_residue_communities("", true); });
    EXPECT_NE(out.find("Warning: residue communities need at least 4 selected sites"), std::string::npos) << out;
    EXPECT_EQ(seq.threshold, 0.05);
  }
  // Enough sites but no scores.
  LSequence<double> none(dir.path(), "few", 1);
  none.num_of_trimmed_site = 5;
  const std::string out = captured_stdout([&] { none.calc_residue_communities("", true); });
  EXPECT_NE(out.find("Warning: no coupling scores"), std::string::npos) << out;
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(CouplingCharts, FilesAndScriptScale) {
  TempDir dir;
  const int L = 5;
  std::vector<std::vector<double>> m(L, std::vector<double>(L, 0));
  for (int i = 0; i < L; ++i)
    for (int j = 0; j < L; ++j)
      if (i != j) m[i][j] = 0.25 * (i + j) - 1.5;  // signed, from -1.25 to 0.25
  std::vector<double*> rows(L);
  for (int i = 0; i < L; ++i) rows[i] = m[i].data();
  const std::string base = dir.path() + "job_amino_acid_coupling";
  tevo::chart_evolutionary_couplings(base, rows.data(), L, {"A1", "C2", "D3", "E4", "F5"});
  for (const char* file : {".json", ".html", "_chord.html", ".py", ".R", ".gp"})
    EXPECT_TRUE(std::filesystem::exists(base + file)) << file;
  const std::string gp = slurp(base + ".gp");
  EXPECT_NE(gp.find("set cbrange [-1.25:0.25];"), std::string::npos) << gp;
  EXPECT_NE(gp.find("Amino acid"), std::string::npos);
  EXPECT_NE(slurp(base + ".html").find("Strong"), std::string::npos);
  EXPECT_NE(slurp(base + ".json").find("C2"), std::string::npos);
}

}  // namespace
