// The job record: blocks written, appended and read back.
#include <gtest/gtest.h>

#include "report/record.h"
#include "report_test_util.h"

using namespace tevo;

TEST(ReportRecord, BlocksRoundTripThroughTheFile) {
  report_test::Scratch scratch;
  const std::string path = record_path(scratch.dir(), "job");
  EXPECT_EQ(path, scratch.dir() + "job.log");
  EXPECT_TRUE(read_record(path).empty());  // no record yet
  append_record_block(path, "1-1-1-0", "CHPSO optimizer", "Convergence characteristics of CHPSO optimizer.",
                      "chpso_optimizer");
  RecordBlock second;
  second.layout = "1-1-1-3";
  second.title = "Two\nlines";  // kept on one line
  second.caption = "C<sub>&alpha;</sub> < 7.5 &Aring;";
  second.base = "/data/out/job_residue_communities";
  second.notes = {"<b>MSA (effective)</b>: 12.5 samples"};
  append_record_block(path, second);
  EXPECT_EQ(report_test::slurp(path).substr(0, 24), "1-1-1-0\nCHPSO optimizer\n");
  const auto blocks = read_record(path);
  ASSERT_EQ(blocks.size(), 2u);
  EXPECT_EQ(blocks[0].base, "chpso_optimizer");
  EXPECT_EQ(blocks[1].title, "Two lines");
  EXPECT_EQ(blocks[1].caption + blocks[1].base, second.caption + second.base);
  EXPECT_EQ(blocks[1].notes, second.notes);
  EXPECT_EQ(blocks[1].view_kind(), 3);
}

TEST(ReportRecord, ReadsTheBlocksCommandsWrite) {
  // Forms that commands append: three lines without a base, an empty base
  // line, a caption run on into the base, a two-line block, notes on one
  // line, comment blocks, and a record ending without a line feed.
  const std::string text =
      "# Independent component analysis\n# TEVANA (Tevo version 2.6.9) \n"
      "1-1-1-0\nATGC statistics\nStatistics on the reads.\n"
      "1-1-1-0\nResidue contact\nContacts between pairwise residues (<7.50 &Aring;, CA).\n\n"
      "1-1-1-1\nMultiple sequence alignment\nMultiple sequence alignment. Small nonpolar: G, A, S, T, \n"
      "/out/job/job_msa_trimmed\n"
      "#WLA#<b>MSA (effective)</b>: 3.0 samples#WLA#<b>MSA (<span style=\"color:red\">not good quality</span>)</b>: 0.2\n"
      "1-1-1-2\nOptiFel Comparison between the real and predictions of OptiFel (3 fuzzy rules).\n"
      "12-1-1-0\nEstimated sources\nEstimated sources by ICA.\nestimated_source_matrix";
  const auto blocks = parse_record(text);
  ASSERT_EQ(blocks.size(), 5u);
  EXPECT_EQ(blocks[0].caption, "Statistics on the reads.");
  EXPECT_EQ(blocks[0].base + blocks[1].base, "");
  EXPECT_EQ(blocks[2].base, "/out/job/job_msa_trimmed");
  EXPECT_EQ(blocks[2].view_kind(), 1);
  ASSERT_EQ(blocks[2].notes.size(), 2u);
  EXPECT_EQ(blocks[2].notes[1], "<b>MSA (<span style=\"color:red\">not good quality</span>)</b>: 0.2");
  EXPECT_EQ(blocks[3].title.substr(0, 16), "OptiFel Comparis");
  EXPECT_EQ(blocks[3].caption, "");
  EXPECT_EQ(blocks[3].view_kind(), 2);
  EXPECT_EQ(blocks[4].layout + " " + blocks[4].base, "12-1-1-0 estimated_source_matrix");

  for (const char* good : {"1-1-1-0", " 1-1-1-2 ", "10-2-3-4"}) EXPECT_TRUE(is_layout_line(good)) << good;
  for (const char* bad : {"1-1-1", "1-1-1-0-0", "1-1-1-", "a-1-1-0", "", "1-1-1-1234"})
    EXPECT_FALSE(is_layout_line(bad)) << bad;
  // Notes before any block form a block of their own.
  const auto loose = parse_record("#WLA#early note\n1-1-1-0\nT\nC\n");
  ASSERT_EQ(loose.size(), 2u);
  EXPECT_EQ(loose[0].notes, std::vector<std::string>{"early note"});
}
