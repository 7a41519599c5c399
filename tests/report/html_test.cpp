// The report page: blocks, their files, lifted charts and the job header.
#include <gtest/gtest.h>

#include "report/html.h"
#include "report/javas.h"
#include "report/record.h"
#include "report_test_util.h"

using namespace tevo;
using report_test::count;
using report_test::slurp;

namespace {

void touch(const std::string& path, const std::string& text = "x") {
  FILE* f = std::fopen(path.c_str(), "w");
  std::fputs(text.c_str(), f);
  std::fclose(f);
}

}  // namespace

TEST(ReportHtml, BlockFilesByExactNameThenByPrefix) {
  const std::vector<std::string> files = {"job_chpso_optimizer.csv", "job_chpso_optimizer.html", "job_chpso_optimizer_x.csv",
                                          "job_chpso_optimizer2.csv", "chpso_optimizer.gp", "job.log", "job_msa_trimmed.a3m"};
  EXPECT_EQ(block_files(files, "job", "chpso_optimizer", false),
            (std::vector<std::string>{"job_chpso_optimizer.csv", "job_chpso_optimizer.html", "chpso_optimizer.gp"}));
  EXPECT_EQ(block_files(files, "job", "chpso_optimizer", true), std::vector<std::string>{"job_chpso_optimizer_x.csv"});
  EXPECT_EQ(block_files(files, "job", "/somewhere/else/job_msa_trimmed", false),
            std::vector<std::string>{"job_msa_trimmed.a3m"});
  EXPECT_TRUE(block_files(files, "job", "", false).empty());
}

TEST(ReportHtml, PageFromTheRecordWithChartsTablesNotesAndOtherFiles) {
  report_test::Scratch scratch;
  const std::string dir = scratch.dir();
  const std::string log = record_path(dir, "job");
  double r0[] = {1, 5}, r1[] = {2, 3}, r2[] = {3, 1};
  double* curve[] = {r0, r1, r2};
  Javas<double> js(dir, "job");
  js.set_param(3, 2, {});
  js.set_postfix("chpso_optimizer");
  js.plotting("line", curve, {"Curve <1>", "Iteration", "Best-so-far"});
  append_record_block(log, "1-1-1-0", "CHPSO optimizer", "Convergence <b>characteristics</b>.", "chpso_optimizer");
  touch(dir + "job_sequence_similarity.csv", "# Identity and counts\n0.01,4\n0.02,<7>\n");
  append_record_block(log, "1-1-1-0", "Sequence similarity", "Distribution of similarities.",
                      dir + "job_sequence_similarity");
  write_text_file(log, "#WLA#<b>MSA (effective)</b>: 3.5 samples\n", "a+");
  touch(dir + "notes.txt");
  touch(dir + "optifel_job.log", "1-1-1-2\nOptiFel Comparison & more.\n");
  touch(dir + "other_job2.log", "1-1-1-0\nNot this job\n");

  HTML<double> page(dir, "job");
  JobInfo job;
  job.jobid = "42";
  job.taskname = "Task <one> & \"two\"";
  job.username = "ana";
  job.completed = "3";
  page.set_job(job);
  EXPECT_EQ(page.report(), 3);
  EXPECT_EQ(page.records, (std::vector<std::string>{"job.log", "optifel_job.log"}));
  const std::string html = slurp(dir + "index.html");
  EXPECT_EQ(html.compare(0, 15, "<!DOCTYPE html>"), 0);
  EXPECT_NE(html.find("<h1>Task &lt;one&gt; &amp; &quot;two&quot;</h1>"), std::string::npos);
  EXPECT_NE(html.find("<td>42</td>"), std::string::npos);
  EXPECT_NE(html.find("3 completed, 0 waiting, 0 running"), std::string::npos);
  // the chart is lifted into the page, once, with its escaped title
  EXPECT_EQ(count(html, "<svg"), 1);
  EXPECT_NE(html.find("Curve &lt;1&gt;"), std::string::npos);
  EXPECT_NE(html.find("Convergence <b>characteristics</b>."), std::string::npos);
  // a block with a table and no chart shows a preview, escaped
  EXPECT_NE(html.find("<td>0.02</td><td>&lt;7&gt;</td>"), std::string::npos);
  EXPECT_NE(html.find("<li><b>MSA (effective)</b>: 3.5 samples</li>"), std::string::npos);
  EXPECT_NE(html.find("OptiFel Comparison &amp; more."), std::string::npos);
  EXPECT_EQ(html.find("Not this job"), std::string::npos);
  // unclaimed files are listed, records are not
  const std::size_t others = html.find("Other files");
  ASSERT_NE(others, std::string::npos);
  EXPECT_NE(html.find("href=\"notes.txt\"", others), std::string::npos);
  EXPECT_EQ(html.find("job_chpso_optimizer.html\"", others), std::string::npos);
  EXPECT_EQ(html.find(".log\"", others), std::string::npos);
  EXPECT_EQ(count(html, "<section"), count(html, "</section>"));
}

TEST(ReportHtml, EmptyJobAndMatrixTable) {
  report_test::Scratch scratch;
  HTML<float> page(scratch.dir(), "nothing");
  EXPECT_EQ(page.report(), 0);
  EXPECT_NE(slurp(scratch.dir() + "index.html").find("This job left no record"), std::string::npos);
  float a[] = {1.5f, 2}, b[] = {3, 4};
  float* m[] = {a, b};
  const std::string table = HTML<float>::table(m, 2, 2, {"x<sub>1</sub>", "y"}, {"r&d"}, 1);
  EXPECT_NE(table.find("<th>x<sub>1</sub></th>"), std::string::npos);
  EXPECT_NE(table.find("<th>r&amp;d</th><td>1.5</td><td>2</td>"), std::string::npos);
  EXPECT_EQ(table.find("<td>3</td>"), std::string::npos);
  EXPECT_NE(table.find("first 1 of 2 rows shown"), std::string::npos);
}
