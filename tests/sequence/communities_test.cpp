// Residue communities on coupling matrices with known eigenvectors, and the
// chart files of the pair scores.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <vector>

#include "report/record.h"
#include "sequence/sequence.h"
#include "sequence/sequence_charts.h"
#include "sequence/sequence_fixtures.h"
#include "util/capture.h"
#include "util/strings.h"  // string_split

namespace {

// Eight sites with orthogonal eigenvectors chosen by hand: the constant
// mode, u (sites 0-3), the split of the two halves, v (sites 4-7), and four
// completing vectors within each half. Eigenvalues 6, 4, 3, 2 put u in
// column 1 and v in column 3; the rest lie below.
struct Modes {
  std::vector<std::vector<double>> q = {{1, 1, 1, 1, 1, 1, 1, 1},    {1, 4, -2, -3, 0, 0, 0, 0},
                                        {1, 1, 1, 1, -1, -1, -1, -1}, {0, 0, 0, 0, 4, 1, -2, -3},
                                        {-2, 1, 1, 0, 0, 0, 0, 0},    {0, 0, 0, 0, 1, -2, 1, 0},
                                        {-1, 1, -3, 3, 0, 0, 0, 0},   {0, 0, 0, 0, 1, -1, -3, 3}};
  std::vector<double> lambda = {6, 4, 3, 2, 1, 0.5, -0.5, -1};
  Modes() {
    for (auto& b : q) {  // to unit length
      double norm = 0;
      for (double c : b) norm += c * c;
      for (double& c : b) c /= std::sqrt(norm);
    }
  }
};

// A trimmed ten-site alignment with its conservation table, of which sites
// 0, 1, 2, 4, 5, 6, 8, 9 are "selected", and the coupling matrix of `modes`.
template <typename T>
void prepare(LSequence<T>& seq, const TempDir& dir, const Modes& modes, const std::string& pdb,
             const std::string& text = ">ref\nACDEFGHIKL\n>a\nACDEFGHIKV\n>b\nSCDEYGHLKL\n>c\nACNEFGAIKL\n") {
  const std::string msa = dir.write("in.fasta", text);
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

TYPED_TEST(CommunitiesTest, MembershipAndChordTable) {
  using T = TypeParam;
  ASSERT_TRUE(kNoPlotTools);
  // float: eigenvectors to ~1e-6, then "%f"; double: the six printed decimals.
  const double tol = std::is_same<T, float>::value ? 2e-5 : 2e-6;
  TempDir dir;
  const Modes modes;
  LSequence<T> seq(dir.path(), "job", 1);
  prepare(seq, dir, modes, "");
  seq.set_threshold(T(0.7));
  const std::string out = captured_stdout([&] { seq.calc_residue_communities("", true); });
  EXPECT_EQ(out.find("Warning"), std::string::npos) << out;

  // u = (1, 4, -2, -3, 0...)/sqrt(30): community 1 holds positions 1, 0 (by
  // decreasing u), community 3 positions 2, 3 (by decreasing u as well);
  // v = (0..., 4, 1, -2, -3)/sqrt(30): community 2 holds positions 4, 5.
  // They map to trimmed sites 1, 0, 5, 6, 2, 4 of "ACDEFGHIKL".
  const std::vector<int> list = {1, 0, 4, 5, 2, 3}, member = {1, 1, 2, 2, 3, 3}, sites = {1, 0, 5, 6, 2, 4};
  const std::vector<std::string> labels = {"C2", "A1", "G6", "H7", "D3", "F5"};
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
  const std::vector<std::string> chord = tevo::string_split(slurp(base + "_chord.csv"), '\n');
  ASSERT_EQ(chord.size(), static_cast<std::size_t>(n + 1));
  EXPECT_EQ(chord[0].substr(chord[0].find("conservation")), "conservation,coupling,C2,A1,G6,H7,D3,F5");
  for (int a = 0; a < n; ++a) {
    const std::vector<std::string> cells = tevo::string_split(chord[a + 1], ',');
    ASSERT_EQ(cells.size(), static_cast<std::size_t>(13 + n)) << chord[a + 1];
    const std::string group = "community" + std::to_string(member[a]);
    EXPECT_EQ(cells[0], labels[a]);
    EXPECT_EQ(cells[2], std::to_string(sites[a] + 1));
    for (int c : {7, 8, 9}) EXPECT_EQ(cells[c], group) << "row " << a;
    char cons[64];
    std::snprintf(cons, sizeof cons, "%f", static_cast<double>(seq.site_conservation[sites[a]][1]));
    EXPECT_EQ(cells[11], cons) << "conservation of row " << a;
    EXPECT_NEAR(std::stod(cells[12]), csum[a], tol) << "coupling of row " << a;
    for (int b = 0; b < n; ++b) EXPECT_NEAR(std::stod(cells[13 + b]), p[a][b], tol) << a << "," << b;
  }
  // The score table carries the same row sums, five decimals.
  const std::vector<std::string> sums = tevo::string_split(slurp(base + "_mtx_csum.csv"), '\n');
  ASSERT_GE(sums.size(), static_cast<std::size_t>(n + 1));
  for (int a = 0; a < n; ++a)
    EXPECT_NEAR(std::stod(tevo::string_split(sums[a + 1], ',').at(2)), csum[a], 1e-4) << sums[a + 1];
  EXPECT_FALSE(std::filesystem::exists(base + "_structure.html"));
  const std::vector<tevo::RecordBlock> blocks = tevo::read_record(dir.path() + "job.log");
  ASSERT_GE(blocks.size(), 3u);
  EXPECT_EQ(blocks[blocks.size() - 2].base, base + "_chord");
  seq.finish();
}

TEST(Communities, StructureViewsOnTheMappedChainAndNoRecordWithoutReport) {
  TempDir dir;
  // Ubiquitin as chain C behind another chain A; the reference is its first ten residues.
  std::string pdb_text = "ATOM      1  CA  GLY A   1      11.639   6.071  -5.147  1.00  0.00           C\n"
                         "ATOM      2  CA  GLY A   2      11.639   6.071  -5.147  1.00  0.00           C\nTER\n";
  std::istringstream in(slurp(TEVO_TEST_DATA "/protein/1ubq.pdb"));
  for (std::string line; std::getline(in, line);)
    if (line.rfind("ATOM", 0) == 0) pdb_text += line.replace(21, 1, "C") + "\n";
  const std::string pdb = dir.write("two.pdb", pdb_text);
  LSequence<double> seq(dir.path(), "job", 1);
  prepare(seq, dir, Modes(), pdb, ">ref\nMQIFVKTLTG\n>a\nMQIFVKTLTA\n>b\nSQIFYKTVTG\n>c\nMQNFVKALTG\n");
  captured_stdout([&] { seq.calc_residue_communities(pdb, true); });
  const std::string base = dir.path() + "job_residue_communities";
  const std::string pml = slurp(base + "_structure.pml");
  // Ubiquitin numbers run 1..76, so the sites keep theirs + 1.
  EXPECT_NE(pml.find("chain C and resi 2+1\n"), std::string::npos) << pml;
  EXPECT_NE(pml.find("chain C and resi 6+7\n"), std::string::npos) << pml;
  const std::vector<tevo::RecordBlock> blocks = tevo::read_record(dir.path() + "job.log");
  ASSERT_FALSE(blocks.empty());
  EXPECT_EQ(blocks.back().base, base + "_structure");

  // Without the report flag the files come, the record stays as it was.
  std::filesystem::remove(base + "_structure.pml");
  captured_stdout([&] { seq.calc_residue_communities(pdb, false); });
  EXPECT_TRUE(std::filesystem::exists(base + "_structure.pml"));
  EXPECT_EQ(tevo::read_record(dir.path() + "job.log").size(), blocks.size());
}

TEST(Communities, TooFewSitesWarnAndWriteNothing) {
  TempDir dir;
  for (int L : {0, 3}) {  // none, and one short of the four needed
    LSequence<double> seq(dir.path(), "few", 1);
    seq.trimmed_ref_seq = "ACDE";
    seq.num_of_site = 4;
    seq.num_of_trimmed_site = L;
    seq.site_list = new int32_t[4]{0, 1, 2, 3};
    std::vector<double> zero(4, 0.0);
    std::vector<const double*> rows(4, zero.data());
    seq.set_coupling_matrix(rows.data(), L);
    const std::string out = captured_stdout([&] { seq.calc_residue_communities("", true); });
    EXPECT_NE(out.find("Warning: residue communities need at least 4 selected sites"), std::string::npos) << out;
  }
  LSequence<double> none(dir.path(), "few", 1);  // enough sites but no scores
  none.num_of_trimmed_site = 5;
  const std::string out = captured_stdout([&] { none.calc_residue_communities("", true); });
  EXPECT_NE(out.find("Warning: no coupling scores"), std::string::npos) << out;
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(CouplingCharts, ScriptScaleFollowsTheSignedScores) {
  ASSERT_TRUE(kNoPlotTools);
  TempDir dir;
  const int L = 5;
  std::vector<std::vector<double>> m(L, std::vector<double>(L, 0));
  std::vector<double*> rows(L);
  for (int i = 0; i < L; ++i) {
    for (int j = 0; j < L; ++j)
      if (i != j) m[i][j] = 0.25 * (i + j) - 1.5;  // signed, from -1.25 to 0.25
    rows[i] = m[i].data();
  }
  const std::string base = dir.path() + "job_amino_acid_coupling";
  tevo::chart_evolutionary_couplings(base, rows.data(), L, {"A1", "C2", "D3", "E4", "F5"});
  EXPECT_NE(slurp(base + ".gp").find("set cbrange [-1.25:0.25];"), std::string::npos);
  EXPECT_NE(slurp(base + ".json").find("C2"), std::string::npos);
  EXPECT_TRUE(std::filesystem::exists(base + "_chord.html"));
}

}  // namespace
