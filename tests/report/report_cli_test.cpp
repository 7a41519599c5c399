// The plot and html commands as a user meets them.
#include <gtest/gtest.h>

#include "cli/cli_runner.h"
#include "report_test_util.h"

using report_test::has;
using tevo_test::CliSandbox;

namespace {

const char* kTable = "# made by hand\nx,a,b\n1,2,3\n2,4,1\n3,8,0.5\n";

}  // namespace

TEST(ReportCli, PlotRefusesWithUsageWhenFlagsAreMissingOrWrong) {
  CliSandbox box;
  auto run = box.run({"plot"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "-- Error: where to locate the matrix file?\n-- Usage:\n-- tevo plot -mat <STRING> -kind "));
  EXPECT_FALSE(has(run.out, "Completed: plot"));
  box.write("t.csv", kTable);
  run = box.run({"plot", "-mat", "t.csv"});
  EXPECT_TRUE(has(run.out, "-- Error: where to locate the kind of plotting?"));
  run = box.run({"plot", "-mat", "t.csv", "-kind", "pie"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "-- Error: unknown kind of plotting <pie>: use line, scatter, bar or heatmap\n-- Usage:"));
  EXPECT_TRUE(box.files("tevo-output/tevana_plot").empty());
}

TEST(ReportCli, PlotStopsOnTablesItCannotRead) {
  CliSandbox box;
  const struct {
    const char *text, *message;
  } cases[] = {{"1,2,3\n4,5\n", "-- Error: ragged.csv line 2: 2 fields where 3 were expected"},
               {"1,2\n3,abc\n", "-- Error: ragged.csv line 2: \"abc\" is not a number"},
               {"a,b,c\n", "-- Error: ragged.csv: no numbers to draw"}};
  for (const auto& c : cases) {
    box.write("ragged.csv", c.text);
    const auto run = box.run({"plot", "-mat", "ragged.csv", "-kind", "line"});
    EXPECT_EQ(run.status, 1) << c.text;
    EXPECT_TRUE(has(run.out, c.message)) << run.out;
  }
  const auto missing = box.run({"plot", "-mat", "none.csv", "-kind", "bar"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_TRUE(has(missing.out, "-- Error: cannot open none.csv"));
}

TEST(ReportCli, PlotThenHtmlMakeOnePageOfTheJob) {
  CliSandbox box;
  box.write("t.csv", kTable);
  box.write("m.tsv", "\tA\tB\nA\t1\t0.5\nB\t0.5\t1\n");
  auto run = box.run({"plot", "-mat", "t.csv", "-kind", "line", "-jobname", "demo", "-hlog", "1"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "-- Drawing a line chart of 3 rows and 3 columns"));
  run = box.run({"plot", "-mat", "m.tsv", "-kind", "heatmap", "-jobname", "demo", "-hlog", "1"});
  EXPECT_EQ(run.status, 0);
  const auto files = box.files("tevo-output/demo");
  ASSERT_TRUE(files.count("demo_t_line.html") && files.count("demo_m_heatmap.html") && files.count("demo_m_heatmap.gp"));
  EXPECT_NE(files.at("demo_t_line.html").find(">a</text>"), std::string::npos);  // header names as series
  EXPECT_EQ(files.at("demo.log"),
            "1-1-1-0\nPlot of t.csv\nA line chart of t.csv (3 rows, 3 columns).\nt_line\n"
            "1-1-1-0\nPlot of m.tsv\nA heat map of m.tsv (2 rows, 2 columns).\nm_heatmap\n");

  run = box.run({"html", "-jobname", "demo", "-taskname", "My <task>", "-jobid", "7", "-username", "ana"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "-- Report of 2 record blocks: "));
  EXPECT_TRUE(has(run.out, "-- Warning: the job record is removed at the end of this run"));
  const std::string page = box.read("tevo-output/demo/index.html");
  EXPECT_TRUE(has(page, "<h1>My &lt;task&gt;</h1>"));
  EXPECT_TRUE(has(page, "A heat map of m.tsv"));
  EXPECT_TRUE(has(page, "href=\"demo_t_line.gp\""));
  // without -hlog the record went at the end of the html run
  EXPECT_FALSE(box.exists("tevo-output/demo/demo.log"));
}

TEST(ReportCli, MissingPlottingToolsLeaveTheScriptsAndStaySilent) {
  CliSandbox box;
  box.write("t.csv", kTable);
  const auto run = box.run({"plot", "-mat", "t.csv", "-kind", "bar", "-jobname", "bare"}, "PATH=/nonexistent");
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(box.exists("tevo-output/bare/bare_t_bar.gp") && box.exists("tevo-output/bare/bare_t_bar.html"));
  EXPECT_FALSE(box.exists("tevo-output/bare/bare_t_bar.png"));
  EXPECT_EQ((run.out + run.err).find("not found"), std::string::npos);
  EXPECT_TRUE(has(run.out, "Completed: plot"));
}
