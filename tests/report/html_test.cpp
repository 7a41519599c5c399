// The report page: blocks, their files, lifted charts and the job header.
#include <gtest/gtest.h>

#include "report/html.h"
#include "report/javas.h"
#include "report/record.h"
#include "report_test_util.h"
#include "util/files.h"  // write_string

using namespace tevo;
using report_test::count;
using report_test::has;
using report_test::slurp;

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
  write_string(dir + "job_sequence_similarity.csv", "# Identity and counts\n0.01,4\n0.02,<7>\n");
  append_record_block(log, "1-1-1-0", "Sequence similarity", "Distribution of similarities.",
                      dir + "job_sequence_similarity");
  write_string(log, "#WLA#<b>MSA (effective)</b>: 3.5 samples\n", "a+");
  write_string(dir + "notes.txt", "x");
  write_string(dir + "optifel_job.log", "1-1-1-2\nOptiFel Comparison & more.\n");
  write_string(dir + "other_job2.log", "1-1-1-0\nNot this job\n");

  HTML<double> page(dir, "job");
  JobInfo job;
  job.taskname = "Task <one> & \"two\"";
  job.completed = "3";
  page.set_job(job);
  EXPECT_EQ(page.report(), 3);
  EXPECT_EQ(page.records, (std::vector<std::string>{"job.log", "optifel_job.log"}));
  const std::string html = slurp(dir + "index.html");
  EXPECT_TRUE(has(html, "<h1>Task &lt;one&gt; &amp; &quot;two&quot;</h1>"));
  EXPECT_TRUE(has(html, "3 completed, 0 waiting, 0 running"));
  // the chart is lifted into the page, once, with its escaped title
  EXPECT_EQ(count(html, "<svg"), 1);
  EXPECT_TRUE(has(html, "Curve &lt;1&gt;"));
  EXPECT_TRUE(has(html, "Convergence <b>characteristics</b>."));
  // a block with a table and no chart shows a preview, escaped
  EXPECT_TRUE(has(html, "<td>0.02</td><td>&lt;7&gt;</td>"));
  EXPECT_TRUE(has(html, "<li><b>MSA (effective)</b>: 3.5 samples</li>"));
  EXPECT_TRUE(has(html, "OptiFel Comparison &amp; more."));
  EXPECT_FALSE(has(html, "Not this job"));
  // unclaimed files are listed, records are not
  const std::size_t others = html.find("Other files");
  ASSERT_NE(others, std::string::npos);
  EXPECT_NE(html.find("href=\"notes.txt\"", others), std::string::npos);
  EXPECT_EQ(html.find("job_chpso_optimizer.html\"", others), std::string::npos);
  EXPECT_EQ(html.find(".log\"", others), std::string::npos);
}

TEST(ReportHtml, EmptyJobAndMatrixTable) {
  report_test::Scratch scratch;
  HTML<float> page(scratch.dir(), "nothing");
  EXPECT_EQ(page.report(), 0);
  EXPECT_NE(slurp(scratch.dir() + "index.html").find("This job left no record"), std::string::npos);
  float a[] = {1.5f, 2}, b[] = {3, 4};
  float* m[] = {a, b};
  const std::string table = HTML<float>::table(m, 2, 2, {"x<sub>1</sub>", "y"}, {"r&d"}, 1);
  EXPECT_TRUE(has(table, "<th>x<sub>1</sub></th>"));
  EXPECT_TRUE(has(table, "<th>r&amp;d</th><td>1.5</td><td>2</td>"));
  EXPECT_FALSE(has(table, "<td>3</td>"));
  EXPECT_TRUE(has(table, "first 1 of 2 rows shown"));
}

TEST(ReportHtml, BlockWithoutBaseTakesTheFilesNamedAfterItsTitle) {
  report_test::Scratch scratch;
  const std::string dir = scratch.dir();
  double r0[] = {0, 1}, r1[] = {1, 0};
  double* m[] = {r0, r1};
  Javas<double> js(dir, "job");
  js.set_param(2, 2, {});
  js.set_postfix("residue_contact");
  js.plotting("heatmap", m, {"", "Amino acid", "Amino acid"});
  write_string(dir + "job_residue_contact.csv", "1,2,3.8\n");
  write_string(dir + "job_residue_contacts.csv", "x");  // another name: not the block's
  append_record_block(record_path(dir, "job"), "1-1-1-0", "Residue  <b>contact</b>", "Contacts.");
  HTML<double> page(dir, "job");
  EXPECT_EQ(page.report(), 1);
  const std::string html = slurp(dir + "index.html");
  const std::size_t others = html.find("Other files");
  ASSERT_NE(others, std::string::npos);
  EXPECT_LT(html.find("<svg"), others);
  EXPECT_LT(html.find("href=\"job_residue_contact.csv\""), others);
  EXPECT_NE(html.find("href=\"job_residue_contacts.csv\"", others), std::string::npos);
}
