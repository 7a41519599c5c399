// The writers as commands call them, the scripts run by their tools when
// installed, and a quiet run when a tool is missing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "report/gnuplot.h"
#include "report/javas.h"
#include "report/pymol.h"
#include "report/pyplot.h"
#include "report/structure_view.h"
#include "report/tools.h"
#include "report_test_util.h"

using namespace tevo;
using report_test::count;
using report_test::exists;
using report_test::has;
using report_test::slurp;
using report_test::svg_of;
using report_test::svg_texts;
using report_test::Table;
using report_test::xml_problem;

namespace {

bool is_png(const std::string& path) { return slurp(path).compare(0, 8, "\x89PNG\r\n\x1a\n") == 0; }

// PATH set to an empty directory for the scope, then restored.
class NoTools {
 public:
  explicit NoTools(const std::string& dir) : saved_(std::getenv("PATH") ? std::getenv("PATH") : "") {
    setenv("PATH", dir.c_str(), 1);
  }
  ~NoTools() { setenv("PATH", saved_.c_str(), 1); }

 private:
  std::string saved_;
};

const std::vector<std::string> kSides = {"top", "right", "bottom", "left"};

}  // namespace

template <typename T>
class ReportWriters : public ::testing::Test {};
using RealTypes = ::testing::Types<float, double>;
TYPED_TEST_SUITE(ReportWriters, RealTypes);

TYPED_TEST(ReportWriters, ConvergenceCurveAsTheOptimisersDrawIt) {
  report_test::Scratch scratch;
  Table<TypeParam> curve(50, 2, [](int r, int c) { return static_cast<TypeParam>(c == 0 ? r + 1 : 100 * std::exp(-0.2 * r)); });
  Javas<TypeParam> js(scratch.dir(), "job", kSides);
  js.set_param(50, 2, 30, 25, 75, 60, 90, 50, -90);
  js.set_postfix("chpso_optimizer");
  const std::string page = js.plotting("line", curve.data(), {"", "Iteration", "Best-so-far"}, {"", "log"}, {"false", ""});
  EXPECT_EQ(page, scratch.dir() + "job_chpso_optimizer.html");
  const std::string svg = svg_of(slurp(page));
  EXPECT_EQ(xml_problem(svg), "");
  const auto texts = svg_texts(svg);
  for (const char* word : {"Iteration", "Best-so-far", "0.01", "0.1", "1", "10", "100"})
    EXPECT_NE(std::find(texts.begin(), texts.end(), word), texts.end()) << word;
  EXPECT_TRUE(has(svg, "rotate(-90"));  // the x tick labels stand upright
}

TEST(ReportWriters, SideNamesDecideWhichMarginEachNumberSets) {
  Javas<double> js("/tmp/", "x", {"left", "bottom", "right", "top"});
  js.set_param(3, 2, 11, 22, 33, 44, 500, 300, 0);
  const auto& l = js.chart.layout;
  EXPECT_EQ(std::vector<int>({l.left, l.bottom, l.right, l.top}), std::vector<int>({11, 22, 33, 44}));
}

TEST(ReportWriters, ReadStatisticsLineChartAndAlignmentHeatMap) {
  report_test::Scratch scratch;
  Table<double> table(40, 7, [](int r, int c) { return c == 0 ? r + 1.0 : 1.0 + c * 5 + (r % 7); });
  Javas<double> js(scratch.dir(), "reads", kSides);
  js.set_param(40, 7, 20, 70, 35, 60, 130, 50, 0);
  js.set_postfix("statistics_on_read");
  js.plotting("line", table.data(), {"Per base quality (log)", "Position", "", "A", "T", "C", "G", "N", "GC"}, {"log"},
              {"true"});
  std::string svg = svg_of(slurp(scratch.dir() + "reads_statistics_on_read.html"));
  EXPECT_EQ(xml_problem(svg), "");
  EXPECT_EQ(count(svg, "stroke-linejoin"), 6);
  for (const char* name : {"A", "GC", "Per base quality (log)"})
    EXPECT_EQ(count(svg, std::string(">") + name + "</text>"), 1) << name;

  Table<double> msa(6, 30, [](int r, int c) { return static_cast<double>((r * 7 + c) % 21); });
  Javas<double> heat(scratch.dir(), "reads");
  heat.set_postfix("msa_trimmed");
  heat.write_mtx_in_javas("heatmap", msa.data(), 6, 30, "Position", "Sequence", "Amino Acid", "-ACDEFGHIKLMNPQRSTVWY",
                          {50, 60, 75, 60, 90, 50}, {1, 1, 2});
  svg = svg_of(slurp(scratch.dir() + "reads_msa_trimmed.html"));
  EXPECT_EQ(xml_problem(svg), "");
  EXPECT_EQ(count(svg, "<title>"), 180);
  EXPECT_TRUE(has(svg, ">Amino Acid</text>"));
}

TEST(ReportWriters, JsonWritesPageAndData) {
  report_test::Scratch scratch;
  Table<double> m(3, 3, [](int r, int c) { return r == c ? 0.0 : 1.0 / (r + c); });
  Json<double> json(scratch.dir(), "eca");
  json.set_param(3, 3, {});
  json.set_postfix("amino_acid_coupling");
  json.set_labels({"K1", "E2", "R3"}, {"K1", "E2", "R3"});
  json.plotting("heatmap", m.data(), {"", "Amino acid", "Amino acid"});
  EXPECT_TRUE(exists(scratch.dir() + "eca_amino_acid_coupling.html"));
  EXPECT_TRUE(has(slurp(scratch.dir() + "eca_amino_acid_coupling.json"), "[0, 1, 0.5]"));
}

TEST(ReportWriters, GnuplotScriptFromCommandLinesAndFromATable) {
  report_test::Scratch scratch;
  NoTools none(scratch.dir());  // the scripts alone: no gnuplot on PATH
  Gnuplot<double> gp(scratch.dir(), "ica");
  gp.open("estimated_source_matrix");
  gp.style();
  gp.send_cmd_line("set datafile separator \",\"\nset grid;\nplot 'x.csv' using 1:2 with points lc rgb '#FF0000' notitle");
  testing::internal::CaptureStdout();
  EXPECT_FALSE(gp.close());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  const std::string script = slurp(scratch.dir() + "ica_estimated_source_matrix.gp");
  EXPECT_TRUE(has(script, "set output 'ica_estimated_source_matrix.png';\nset datafile separator \",\"\nset grid;\n"));
  EXPECT_EQ(script.back(), '\n');
  EXPECT_FALSE(exists(scratch.dir() + "ica_estimated_source_matrix.png"));

  Table<double> contact(4, 4, [](int r, int c) { return std::abs(r - c) == 1 ? 1.0 : 0.0; });
  Gnuplot<double> map(scratch.dir(), "pdb");
  map.set_postfix("residue_contact");
  map.plotting("mtx_3col", contact.data(), 4, 4, "Residue index", "Residue index", {0.15, 1200, 0.85, 0.8});
  const std::string text = slurp(scratch.dir() + "pdb_residue_contact.gp");
  EXPECT_TRUE(has(text, "set lmargin at screen 0.15;\nset rmargin at screen 0.85;\nset tmargin at screen 0.8;\n"));
  EXPECT_EQ(count(text, " 1\n"), 6);  // six contacts, one line each
}

TEST(ReportWriters, StructureTraceReaderOnEdgeCasesAndRealFiles) {
  report_test::Scratch scratch;
  const std::string pdb = scratch.dir() + "edge.pdb";
  FILE* f = std::fopen(pdb.c_str(), "w");
  std::fputs("ATOM      1  N   ALA A   1       0.000   0.000   0.000  1.00  0.00           N\n"
             "ATOM      2  CA AALA A   1       1.000   2.000   3.000  0.50  0.00           C\n"
             "ATOM      3  CA BALA A   1       9.000   9.000   9.000  0.50  0.00           C\n"
             "ATOM      4  CA  GLY A   2A      4.000   2.000   3.000  1.00  0.00           C\n"
             "HETATM    5 CA    CA A 101       7.000   7.000   7.000  1.00  0.00          CA\n"
             "ATOM      6  CA  SER B  -3       1.5\n"
             "ENDMDL\n"
             "ATOM      7  CA  ALA A   5       0.000   0.000   0.000  1.00  0.00           C\n",
             f);
  std::fclose(f);
  const auto trace = read_ca_trace(pdb);
  ASSERT_EQ(trace.size(), 2u);  // altloc B, the calcium ion, the short line and model 2 are out
  EXPECT_EQ(trace[0].x, 1.0);
  EXPECT_EQ(trace[1].insertion, 'A');
  EXPECT_EQ(trace[1].name, "GLY");

  const std::string shared = TEVO_SHARED_DATA "/structures/single/";
  if (!exists(shared + "1ubq.pdb")) GTEST_SKIP() << "shared data absent";
  EXPECT_EQ(read_ca_trace(shared + "1ubq.pdb").size(), 76u);
  EXPECT_EQ(read_ca_trace(shared + "pdb2k39_ca.pdb").size(), 76u);  // first of 116 models
  EXPECT_EQ(read_ca_trace(shared + "2hhb.ent").size(), 574u);       // two alpha and two beta chains
  std::string chains;
  for (const auto& r : read_ca_trace(shared + "4JSV.pdb"))
    if (chains.find(r.chain) == std::string::npos) chains += r.chain;
  EXPECT_EQ(chains.size(), 4u);
}

TEST(ReportWriters, StructurePagesColourTheGroups) {
  report_test::Scratch scratch;
  const std::string pdb = TEVO_TEST_DATA "/report/1ubq_ca.pdb";
  NoTools none(scratch.dir());
  NGL<double> ngl(scratch.dir(), "eca");
  ngl.set_postfix("residue_communities");
  const std::string page = ngl.plotting(pdb, {{1, 2, 3}, {30, 31}, {500}}, {"community 1", "community 2", "community 3"});
  const std::string svg = svg_of(slurp(page));
  EXPECT_EQ(xml_problem(svg), "");
  EXPECT_EQ(count(svg, "<title>"), 2 * 5);  // five coloured residues in each of two views
  EXPECT_EQ(count(svg, "<title>GLN 2 chain A"), 2);
  EXPECT_TRUE(has(svg, "community 3 (1)"));

  Pymol<double> pymol(scratch.dir(), "eca");
  pymol.set_postfix("residue_communities");
  EXPECT_FALSE(pymol.plotting(pdb, {{1, 2, 3}, {-2}}, {"community 1", "2nd"}, "A"));
  const std::string pml = slurp(scratch.dir() + "eca_residue_communities.pml");
  EXPECT_TRUE(has(pml, "select community_1, structure and chain A and resi 1+2+3\ncolor 0x4E79A7, community_1\n"));
  EXPECT_TRUE(has(pml, "select group2_2nd, structure and chain A and resi \\-2\n"));
}

// Each script is handed to its tool where one is installed; the picture
// must appear beside the script.
TEST(ReportWriters, ScriptsRunWithTheirToolsWhereInstalled) {
  report_test::Scratch scratch;
  const std::string dir = scratch.dir();
  Table<double> table(20, 3, [](int r, int c) { return c == 0 ? r : (c == 1 ? std::sqrt(r) : r % 5 - 2.0); });
  const bool gnuplot = !find_tool("gnuplot").empty(), python = !find_python_with_matplotlib().empty(),
             r = !find_tool("Rscript").empty(), pymol = !find_tool("pymol").empty();
  if (!gnuplot && !python && !r && !pymol) GTEST_SKIP() << "none of gnuplot, matplotlib, Rscript, pymol is installed";
  const std::vector<std::string> names = {"Scores <it's \"odd\">", "x & y", "D<sub>i</sub>", "one", "two"};
  for (const std::string type : {"line", "scatter", "bar", "heatmap"}) {
    if (gnuplot) {
      Gnuplot<double> gp(dir, "gp");
      gp.set_postfix(type);
      gp.chart.title = names[0];
      EXPECT_TRUE(gp.plotting(type, table.data(), 20, 3, names[1], names[2])) << type;
      EXPECT_TRUE(is_png(dir + "gp_" + type + ".png")) << type;
    }
    if (python) {
      Pyplot<double> py(dir, "py");
      py.set_param(20, 3, {});
      py.set_postfix(type);
      EXPECT_TRUE(py.plotting(type, table.data(), names, {"", type == "line" ? "log" : ""})) << type;
      EXPECT_TRUE(is_png(dir + "py_" + type + ".png")) << type;
    }
    if (r) {
      Rscript<double> rs(dir, "r");
      rs.set_param(20, 3, {});
      rs.set_postfix(type);
      EXPECT_TRUE(rs.plotting(type, table.data(), names)) << type;
      EXPECT_TRUE(is_png(dir + "r_" + type + ".png")) << type;
    }
  }
  if (python) {
    Pyplot<double> py(dir, "seq");
    EXPECT_TRUE(py.plot_fig_script("degree_of_conservation", "bar", table.data(), 20, 2, "Amino acid", "D_i"));
    EXPECT_TRUE(is_png(dir + "seq_degree_of_conservation.png"));
  }
  if (pymol) {
    Pymol<double> mol(dir, "mol");
    EXPECT_TRUE(mol.plotting(TEVO_TEST_DATA "/report/1ubq_ca.pdb", {{1, 2, 3, 4}, {40, 41}}, {"a", "b"}));
    EXPECT_TRUE(is_png(dir + "mol.png"));
  }
}
