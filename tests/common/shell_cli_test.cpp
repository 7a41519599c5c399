// The command shell as a user meets it: banners, unknown commands, job
// directories, threads, refusals and the job record.
#include <gtest/gtest.h>

#include "cli/cli_runner.h"

using tevo_test::CliSandbox;

namespace {

int count_of(const std::string& text, const std::string& word) {
  int n = 0;
  for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++n;
  return n;
}

}  // namespace

TEST(Shell, NoCommandPrintsBannerAndHint) {
  CliSandbox box;
  const auto run = box.run({});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("## Version : TEVANA (TEVO v2.6.9)"), std::string::npos);
  EXPECT_NE(run.out.find("-- Hi there, I am Ragraf!\n-- What can I do for you?\n"), std::string::npos);
  EXPECT_NE(run.out.find("-- tevo -help\n\n"), std::string::npos);
  EXPECT_FALSE(box.exists("tevo-output"));
}

TEST(Shell, UnknownCommandsListAllNamesAndExitOne) {
  CliSandbox box;
  for (const std::string word : {"help", "senet", "sequence_convertor", "Fold"}) {
    const auto run = box.run({word});
    EXPECT_EQ(run.status, 1) << word;
    EXPECT_NE(run.out.find("-- Error: I cannot find your command <" + word + ">!"), std::string::npos);
    EXPECT_NE(run.out.find("-- The commands in Tevo are listed:\n-- about\n-- atgc_assembly\n"),
              std::string::npos);
    const std::size_t list = run.out.find("listed:");
    EXPECT_EQ(count_of(run.out.substr(list), "\n-- ") , 55 + 2) << word;  // names, note, empty line
    EXPECT_NE(run.out.find("-- Note: please double-check!\n-- \n"), std::string::npos);
  }
  EXPECT_FALSE(box.exists("tevo-output"));
}

TEST(Shell, BannerCommandsMakeNoJob) {
  CliSandbox box;
  const auto about = box.run({"about", "-jobname", "x"});
  EXPECT_EQ(about.status, 0);
  EXPECT_NE(about.out.find("## Released: Aug. 3, 2017."), std::string::npos);
  const auto device = box.run({"device"});
  EXPECT_EQ(device.status, 0);
  EXPECT_NE(device.out.find("-- CPUs: "), std::string::npos);
  EXPECT_NE(device.out.find("-- RAM usage: "), std::string::npos);
  const auto usage = box.run({"usage"});
  EXPECT_EQ(usage.status, 0);
  EXPECT_NE(usage.out.find("tevo:  usage command line\n tevo <command> <args>"), std::string::npos);
  EXPECT_FALSE(box.exists("tevo-output"));
}

TEST(Shell, JobSetUpSummaryAndDirectory) {
  CliSandbox box;
  const auto run = box.run({"cnv", "-fastx", "reads.fq"});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("-- Working on: cnv\n-- Warning: default name is used for the job\n"
                         "-- Theads used: 1 of 2\n-- Invocation:\n-- tevo cnv\n-- -jobname tevana_cnv\n"
                         "-- -fastx reads.fq\n-- -output " + box.path() + "/tevo-output/tevana_cnv/\n"),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("-- Completed: cnv\n-- Running time summary (seconds)\n-- Calculation:  "),
            std::string::npos);
  EXPECT_NE(run.out.find("-- I saved all output files in this directory:\n-- <" + box.path() +
                         "/tevo-output/tevana_cnv/>"),
            std::string::npos);
  EXPECT_NE(run.out.find("-- Time Started: "), std::string::npos);
  EXPECT_TRUE(box.files("tevo-output/tevana_cnv").empty());
  EXPECT_TRUE(box.exists("tevo-output/tevana_cnv"));
}

TEST(Shell, ThreadsAreClamped) {
  CliSandbox box;
  EXPECT_NE(box.run({"cnv", "-fastx", "x", "-threads", "0"}).out.find("-- Theads used: 1 of 2\n"),
            std::string::npos);
  EXPECT_NE(box.run({"cnv", "-fastx", "x", "-threads", "100000"}).out.find("-- Theads used: 2 of 2\n"),
            std::string::npos);
  EXPECT_NE(box.run({"-threads=2", "cnv", "-fastx", "x"}).out.find("-- Theads used: 2 of 2\n"),
            std::string::npos);
}

TEST(Shell, OutputWithOrWithoutSeparatorGivesOneDirectory) {
  CliSandbox box;
  box.write("out/keep", "");
  const auto plain = box.run({"cnv", "-fastx", "x", "-output", box.path() + "/out", "-jobname", "j"});
  const auto slash = box.run({"cnv", "-fastx", "x", "-output", box.path() + "/out/", "-jobname", "j"});
  const std::string expected = "-- <" + box.path() + "/out/j/>";
  EXPECT_NE(plain.out.find(expected), std::string::npos) << plain.out;
  EXPECT_NE(slash.out.find(expected), std::string::npos) << slash.out;
  EXPECT_FALSE(box.exists("tevo-output"));
  // A missing parent is refused with a message, not a crash.
  const auto missing = box.run({"cnv", "-fastx", "x", "-output", box.path() + "/no/such"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.out.find("-- Error: cannot create the directory " + box.path() + "/no/such/tevana_cnv/"),
            std::string::npos);
}

TEST(Shell, RefusalsPrintUsageAndNoSummary) {
  CliSandbox box;
  const auto cnv = box.run({"cnv"});
  EXPECT_EQ(cnv.status, 0);
  EXPECT_NE(cnv.out.find("-- Error: where to locate the FASTQ file?\n-- Usage:\n"
                         "-- tevo cnv -fastx <STRING> -min <INT> -max <INT> -output <STRING|optional>\n"),
            std::string::npos);
  EXPECT_EQ(cnv.out.find("Completed"), std::string::npos);
  const auto phasing = box.run({"phasing"});
  EXPECT_NE(phasing.out.find("-- I found an error and list it below!\n-- Error: where to locate the FASTA file?"),
            std::string::npos);
  const auto ddg = box.run({"sequence_ddg", "-index", "i"});
  EXPECT_NE(ddg.out.find("-- Invocation:\n-- \n-- Completed: sequence_ddg"), std::string::npos);
  const auto fold = box.run({"fold"});
  EXPECT_EQ(fold.status, 0);
  EXPECT_NE(fold.out.find("-- Warning: this function is coming soon ..."), std::string::npos);
  EXPECT_EQ(fold.out.find("Completed"), std::string::npos);
  EXPECT_TRUE(box.exists("tevo-output/tevana_fold"));
  const auto mcmc = box.run({"mcmc", "-max_iter", "7"});
  EXPECT_NE(mcmc.out.find("-- -max_iter 7\n-- -nvar 30\n-- It is coming soon ...\n"), std::string::npos);
  EXPECT_NE(mcmc.out.find("Completed: mcmc"), std::string::npos);
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
