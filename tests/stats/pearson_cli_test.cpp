// stats_pearson as a user runs it: refusal, console lines, known answers,
// bad tables and a real table.
#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "cli/cli_runner.h"
#include "stats/pearson_oracle.h"

using tevo_test::CliSandbox;
using pearson_test::oracle;

namespace {

// Every number printed after `label`, in order of appearance.
std::vector<double> values_after(const std::string& out, const std::string& label) {
  std::vector<double> found;
  for (std::size_t at = out.find(label); at != std::string::npos; at = out.find(label, at + 1))
    found.push_back(std::strtod(out.c_str() + at + label.size(), nullptr));
  return found;
}

// The five printed statistics agree with the oracle to the 5 printed decimals.
void expect_statistics(const std::string& out, const pearson_test::Expected& e) {
  const auto m1 = values_after(out, "-- Mean of the 1st column: ");
  const auto m2 = values_after(out, "-- Mean of the 2nd column: ");
  auto sd = values_after(out, "-- Standard deviation of the 2nd column: ");
  const auto r = values_after(out, "-- Pearson correlation coefficient: ");
  ASSERT_TRUE(m1.size() == 1 && m2.size() == 1 && r.size() == 1) << out;
  ASSERT_EQ(sd.size(), 2u);  // two lines of the same words, in either order
  const double half = 0.5e-5 + 1e-9;  // printed with %.5f
  EXPECT_NEAR(m1[0], e.mean_x, half);
  EXPECT_NEAR(m2[0], e.mean_y, half);
  if (std::fabs(sd[0] - e.sd_x) > half) std::swap(sd[0], sd[1]);
  EXPECT_NEAR(sd[0], e.sd_x, half);
  EXPECT_NEAR(sd[1], e.sd_y, half);
  EXPECT_NEAR(r[0], e.r, half);
}

}  // namespace

TEST(StatsPearson, RefusesWithoutTable) {
  CliSandbox box;
  const auto run = box.run({"stats_pearson", "-output", box.path()});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("-- Error: where to locate the file?\n-- Usage:\n-- tevo stats_pearson -mat <STRING>"),
            std::string::npos) << run.out;
  EXPECT_EQ(run.out.find("Computing"), std::string::npos);
  EXPECT_NE(run.out.find("Completed: stats_pearson"), std::string::npos);  // the command reports success
}

TEST(StatsPearson, KnownTableAndItsConsoleLines) {
  CliSandbox box;
  std::vector<double> x, y;
  std::ostringstream table;
  table << "# id\tx\ty\n\n";
  for (int i = 0; i < 500; ++i) {
    x.push_back((i * 37 % 101) / 4.0);  // exact in binary and in the text
    y.push_back(x.back() * 0.5 + (i * 53 % 89) / 8.0);
    table << i << '\t' << x.back() << '\t' << y.back() << '\n';
  }
  const std::string path = box.write("known.tsv", table.str());
  const auto run = box.run({"stats_pearson", "-mat", path, "-jobname", "p1"});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("-- -mat " + path + "\n-- -output " + box.path() +
                         "/tevo-output/p1/\n-- Computing Pearson's correlation coefficient ...\n"),
            std::string::npos) << run.out;
  expect_statistics(run.out, oracle(x, y));
  EXPECT_NE(run.out.find(" ms\n-- Time (including data loading): "), std::string::npos);
  EXPECT_NE(run.out.find("-- Completed: stats_pearson"), std::string::npos);
  EXPECT_TRUE(box.files("tevo-output/p1").empty());  // everything goes to the console
  const auto one = box.run({"stats_pearson", "-mat", path, "-jobname", "p2"}, "OMP_NUM_THREADS=1");
  expect_statistics(one.out, oracle(x, y));  // same numbers with one thread
}

TEST(StatsPearson, IdenticalColumnsTextLabelsAndEmptyTable) {
  CliSandbox box;
  std::string text;
  std::vector<double> x;
  for (int i = 0; i < 64; ++i) {  // the first field is never read: text there changes nothing
    x.push_back((i * i % 17) - 3.25);
    text += "gene_" + std::to_string(i) + "\t" + std::to_string(x.back()) + "\t" + std::to_string(x.back()) + "\n";
  }
  const auto same = box.run({"stats_pearson", "-mat", box.write("text.tsv", text)});
  expect_statistics(same.out, oracle(x, x));
  EXPECT_EQ(values_after(same.out, "coefficient: "), std::vector<double>{1.0});
  // An empty table: every statistic is "not a number", all lines still printed.
  const auto empty = box.run({"stats_pearson", "-mat", box.write("empty.tsv", "# nothing\n")});
  EXPECT_EQ(empty.status, 0);
  const auto r = values_after(empty.out, "-- Pearson correlation coefficient: ");
  EXPECT_TRUE(r.size() == 1 && std::isnan(r[0])) << empty.out;
  EXPECT_NE(empty.out.find("nan\n-- Time (calculation only): "), std::string::npos);
  EXPECT_EQ(values_after(empty.out, "Standard deviation of the 2nd column: ").size(), 2u);
}

TEST(StatsPearson, BadTablesEndWithStatusOne) {
  CliSandbox box;
  const std::string short_row = box.write("short.tsv", "# head\na\t1\t2\n\nb\t3\nc\t4\t5\n");
  const auto run = box.run({"stats_pearson", "-mat", short_row});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.out.find("-- Error: " + short_row + " line 4: a row needs three tab-separated fields, found 2"),
            std::string::npos) << run.out;
  EXPECT_EQ(run.out.find("Mean of"), std::string::npos);
  const auto missing = box.run({"stats_pearson", "-mat", "no_such.tsv"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.out.find("-- Error: I cannot load data from: <no_such.tsv>"), std::string::npos) << missing.out;
  EXPECT_EQ(missing.out.find("Completed:"), std::string::npos);
}

TEST(StatsPearson, RealTableFromSharedData) {
  const std::string longley = std::string(TEVO_SHARED_DATA) + "/tables/statsmodels/longley.csv";
  if (!boost::filesystem::exists(longley)) GTEST_SKIP() << "no shared data";
  // Longley's macro-economic table as tab-separated text: Obs, TOTEMP, GNPDEFL, ...
  std::ifstream in(longley);
  std::string line, tsv;
  std::vector<double> x, y;
  std::getline(in, line);
  tsv = "#" + line + "\n";
  while (std::getline(in, line)) {
    if (line.empty()) continue;
    std::stringstream fields(line);
    std::string cell;
    std::getline(fields, cell, ',');
    std::getline(fields, cell, ',');
    x.push_back(std::stod(cell));
    std::getline(fields, cell, ',');
    y.push_back(std::stod(cell));
    for (char& c : line) c = c == ',' ? '\t' : c;
    tsv += line + "\n";
  }
  ASSERT_EQ(x.size(), 16u);
  CliSandbox box;
  const auto run = box.run({"stats_pearson", "-mat", box.write("longley.tsv", tsv)});
  EXPECT_EQ(run.status, 0);
  const auto e = oracle(x, y);
  expect_statistics(run.out, e);
  EXPECT_NEAR(e.r, 0.9709, 1e-4);  // employment against the GNP deflator, as published for this table
}
