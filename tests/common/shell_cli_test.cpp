// The command shell as a user meets it: banners, unknown commands, job
// directories, threads, refusals and the job record.
#include <gtest/gtest.h>

#include "cli/cli_runner.h"

using tevo_test::CliSandbox;

namespace {

bool has(const tevo_test::CliRun& run, const std::string& text) {
  return run.out.find(text) != std::string::npos;
}

}  // namespace

TEST(Shell, NoCommandPrintsBannerAndHint) {
  CliSandbox box;
  const auto run = box.run({});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run, "## Version : TEVANA (TEVO v2.6.9)"));
  EXPECT_TRUE(has(run, "-- Hi there, I am Ragraf!\n-- What can I do for you?\n")) << run.out;
  EXPECT_TRUE(has(run, "-- tevo -help\n\n"));
  EXPECT_FALSE(box.exists("tevo-output"));
}

TEST(Shell, UnknownCommandsListAllNamesAndExitOne) {
  CliSandbox box;
  for (const std::string word : {"sequence_convertor", "Fold"}) {
    const auto run = box.run({word});
    EXPECT_EQ(run.status, 1) << word;
    EXPECT_TRUE(has(run, "-- Error: I cannot find your command <" + word + ">!")) << run.out;
    EXPECT_TRUE(has(run, "-- The commands in Tevo are listed:\n-- about\n-- atgc_assembly\n"));
    // The 55 names, then the note and an empty line.
    int lines = 0;
    for (std::size_t at = run.out.find("listed:"); (at = run.out.find("\n-- ", at + 1)) != std::string::npos;) ++lines;
    EXPECT_EQ(lines, 55 + 2) << word;
    EXPECT_TRUE(has(run, "-- Note: please double-check!\n-- \n"));
  }
  EXPECT_FALSE(box.exists("tevo-output"));
}

TEST(Shell, BannerCommandsMakeNoJob) {
  CliSandbox box;
  const auto about = box.run({"about", "-jobname", "x"}), device = box.run({"device"}), usage = box.run({"usage"});
  EXPECT_EQ(about.status + device.status + usage.status, 0);
  EXPECT_TRUE(has(about, "## Released: Aug. 3, 2017."));
  EXPECT_TRUE(has(device, "-- CPUs: "));
  EXPECT_TRUE(has(device, "-- RAM usage: "));
  EXPECT_TRUE(has(usage, "tevo:  usage command line\n tevo <command> <args>"));
  EXPECT_FALSE(box.exists("tevo-output"));
}

TEST(Shell, JobSetUpSummaryAndDirectory) {
  CliSandbox box;
  const auto run = box.run({"cnv", "-fastx", "reads.fq"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run, "-- Working on: cnv\n-- Warning: default name is used for the job\n"
                       "-- Theads used: 1 of 2\n-- Invocation:\n-- tevo cnv\n-- -jobname tevana_cnv\n"
                       "-- -fastx reads.fq\n-- -output " + box.path() + "/tevo-output/tevana_cnv/\n"))
      << run.out;
  EXPECT_TRUE(has(run, "-- Completed: cnv\n-- Running time summary (seconds)\n-- Calculation:  "));
  EXPECT_TRUE(has(run, "-- I saved all output files in this directory:\n-- <" + box.path() +
                           "/tevo-output/tevana_cnv/>"));
  EXPECT_TRUE(box.exists("tevo-output/tevana_cnv"));
  EXPECT_TRUE(box.files("tevo-output/tevana_cnv").empty());
}

TEST(Shell, ThreadsAreClamped) {
  CliSandbox box;
  EXPECT_TRUE(has(box.run({"cnv", "-fastx", "x", "-threads", "0"}), "-- Theads used: 1 of 2\n"));
  EXPECT_TRUE(has(box.run({"cnv", "-fastx", "x", "-threads", "100000"}), "-- Theads used: 2 of 2\n"));
  EXPECT_TRUE(has(box.run({"-threads=2", "cnv", "-fastx", "x"}), "-- Theads used: 2 of 2\n"));
}

TEST(Shell, OutputWithOrWithoutSeparatorGivesOneDirectory) {
  CliSandbox box;
  box.write("out/keep", "");
  for (const std::string out : {"/out", "/out/"}) {
    const auto run = box.run({"cnv", "-fastx", "x", "-output", box.path() + out, "-jobname", "j"});
    EXPECT_TRUE(has(run, "-- <" + box.path() + "/out/j/>")) << run.out;
  }
  EXPECT_FALSE(box.exists("tevo-output"));
  // A missing parent is refused with a message, not a crash.
  const auto missing = box.run({"cnv", "-fastx", "x", "-output", box.path() + "/no/such"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_TRUE(has(missing, "-- Error: cannot create the directory " + box.path() + "/no/such/tevana_cnv/"));
}

TEST(Shell, RefusalsPrintUsageAndNoSummary) {
  CliSandbox box;
  const auto cnv = box.run({"cnv"});
  EXPECT_EQ(cnv.status, 0);
  EXPECT_TRUE(has(cnv, "-- Error: where to locate the FASTQ file?\n-- Usage:\n"
                       "-- tevo cnv -fastx <STRING> -min <INT> -max <INT> -output <STRING|optional>\n"));
  EXPECT_FALSE(has(cnv, "Completed"));
  EXPECT_TRUE(has(box.run({"phasing"}),
                  "-- I found an error and list it below!\n-- Error: where to locate the FASTA file?"));
  EXPECT_TRUE(has(box.run({"sequence_ddg", "-index", "i"}), "-- Invocation:\n-- \n-- Completed: sequence_ddg"));
  const auto fold = box.run({"fold"});
  EXPECT_EQ(fold.status, 0);
  EXPECT_TRUE(has(fold, "-- Warning: this function is coming soon ..."));
  EXPECT_FALSE(has(fold, "Completed"));
  EXPECT_TRUE(box.exists("tevo-output/tevana_fold"));
  const auto mcmc = box.run({"mcmc", "-max_iter", "7"});
  EXPECT_TRUE(has(mcmc, "-- -max_iter 7\n-- -nvar 30\n-- It is coming soon ...\n"));
  EXPECT_TRUE(has(mcmc, "Completed: mcmc"));
  // A bad flag value is refused by the flag parser before any job exists.
  EXPECT_NE(box.run({"cnv", "-threads", "many"}).status, 0);
}

TEST(Shell, JobRecordIsRemovedUnlessKept) {
  CliSandbox box;
  box.write("tevo-output/rec/rec.log", "1-1-1-0\n");
  box.run({"cnv", "-fastx", "x", "-jobname", "rec"});
  EXPECT_FALSE(box.exists("tevo-output/rec/rec.log"));
  box.write("tevo-output/rec/rec.log", "1-1-1-0\n");
  box.run({"cnv", "-fastx", "x", "-jobname", "rec", "-hlog", "1"});
  EXPECT_EQ(box.read("tevo-output/rec/rec.log"), "1-1-1-0\n");
}
