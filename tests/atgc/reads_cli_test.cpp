// The read commands as a user meets them: refusals, results in the job
// directory, and bad inputs that stop with a message and leave no output.
#include <gtest/gtest.h>

#include <regex>

#include "../omics/sff_builder.h"
#include "cli/cli_runner.h"
#include "reads_fixture.h"

using reads_test::gunzip;
using reads_test::has;
using tevo_test::CliSandbox;

namespace {

const char* kFastq =
    "@r1 first\nACGTNACGTA\n+\nIIIII+IIII\n"
    "@r2\nacgtacgtac\n+\n##########\n"
    "@r3\nGGGGCCCCNN\n+\nIIIIIIII##\n";


}  // namespace

TEST(ReadsCli, RefusalsPrintTheirUsage) {
  CliSandbox box;
  const struct {
    std::vector<std::string> args;
    std::string missing;
  } cases[] = {{{"sff2fastq"}, "SFF file"},       {{"atgc_stats"}, "FAST5 file"},    {{"atgc_quality"}, "FASTQ file"},
               {{"read_filter"}, "FASTQ file"},   {{"atgc_correct"}, "FASTQ file"},  {{"kmer_counter"}, "FASTQ file"},
               {{"kmer_generator", "-min", "1"}, "FASTQ file"}, {{"atgc_dna2aa"}, "FASTA file"}};
  for (const auto& c : cases) {
    const auto run = box.run(c.args);
    EXPECT_EQ(run.status, 0) << c.args[0];
    EXPECT_TRUE(has(run.out, "-- Error: where to locate the " + c.missing + "?\n-- Usage:\n-- tevo " + c.args[0]))
        << run.out;
    EXPECT_FALSE(has(run.out, "Completed:")) << c.args[0];
  }
  const auto note = box.run({"read_filter"});
  EXPECT_TRUE(has(note.out, "Note: n is the allowed number of ambiguous characters, default is 0"));
  const auto min = box.run({"kmer_generator", "-fastx", "x.fq"});
  EXPECT_TRUE(has(min.out, "Minimum value is not defined"));
}

TEST(ReadsCli, StatsOnPlainGzipAndEmptyFiles) {
  CliSandbox box;
  const std::string plain = box.write("r.fq", kFastq);
  const std::string zipped = reads_test::write_gz(box.path() + "/r.fq.gz", kFastq);
  const auto a = box.run({"atgc_stats", "-fastx", plain, "-hlog", "1"});
  ASSERT_EQ(a.status, 0) << a.out;
  const std::string summary =
      "-- Reads: 3\n-- Bases: 30\n-- Q20 bases: 0.017K(56.666667%)\n-- Q30 bases: 0.017K(56.666667%)\n"
      "-- GC content: 56.666667%\n-- Nppm: 100000.00\n-- Avg: 10\n-- Min: 10\n-- Max: 10\n";
  EXPECT_TRUE(has(a.out, summary)) << a.out;
  auto files = box.files("tevo-output/tevana_atgc_stats");
  ASSERT_TRUE(files.count("tevana_atgc_stats.log"));
  const std::string table = files.at("tevana_atgc_stats_statistics_on_read.tsv");
  EXPECT_TRUE(has(table, "#Position\tA\tT\tC\tG\tN\tGC\n1\t66.66667\t0.00000\t0.00000\t33.33333\t0.00000\t33.33333\n"))
      << table;
  // The per-position chart shows on the job's web page under the record's block.
  EXPECT_TRUE(has(files["tevana_atgc_stats_statistics_on_read.html"], ">GC</text>"));
  ASSERT_EQ(box.run({"html", "-jobname", "tevana_atgc_stats"}).status, 0);
  const std::string index = box.read("tevo-output/tevana_atgc_stats/index.html");
  const std::size_t section = index.find("<h2>ATGC statistics</h2>");
  ASSERT_NE(section, std::string::npos) << index;
  EXPECT_LT(index.find("<svg", section), index.find("</section>", section));

  const auto z = box.run({"atgc_stats", "-fastx", zipped, "-jobname", "z"});
  EXPECT_TRUE(has(z.out, summary));
  EXPECT_EQ(box.files("tevo-output/z").at("z_statistics_on_read.tsv"), table);

  const auto empty = box.run({"atgc_stats", "-fastx", box.write("e.fq", ""), "-jobname", "e"});
  EXPECT_EQ(empty.status, 0);
  EXPECT_TRUE(has(empty.out, "-- Q20 bases: 0.000K(0.000000%)\n")) << empty.out;  // no division by zero
  EXPECT_FALSE(box.exists("tevo-output/e/e_statistics_on_read.html"));  // no positions, no chart

  const auto missing = box.run({"atgc_stats", "-fastx", "nothing.fq", "-jobname", "m"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_TRUE(has(missing.out, "-- Error: cannot open nothing.fq"));

  // Mean quality 37, 2 and 32.4: the second read goes; -n 2 admits both N counts.
  const auto quality = box.run({"atgc_quality", "-fastx", zipped, "-jobname", "q", "-n", "2"});
  EXPECT_EQ(quality.status, 0);
  EXPECT_TRUE(has(quality.out, "-- Reads: 3\n"));
  EXPECT_EQ(gunzip(box.path() + "/tevo-output/q/tevo_quality.fastq.gz"),
            "@r1 first\nACGTNACGTA\n+\nIIIII+IIII\n@r3\nGGGGCCCCNN\n+\nIIIIIIII##\n");
}

TEST(ReadsCli, BadInputsStopWithoutLeavingOutputs) {
  CliSandbox box;
  reads_test::write_gz(box.path() + "/big.gz", std::string(20000, 'A'));
  std::string corrupt = box.read("big.gz");
  for (std::size_t i = 12; i < corrupt.size() - 8; i += 3) corrupt[i] = static_cast<char>(corrupt[i] ^ 0x33);
  const struct {
    std::string name, text, message;
  } cases[] = {
      {"short.fq", "@a\nACGT\n+\nIII\n", "-- Error: the lengths of the quality and sequence are different!"},
      {"cut.fq", "@a\nACGT\n+\nIIII\n@b\nAC\n", "line [56]: the (last )?record is cut short"},
      {"noat.fq", "a\nACGT\n+\nIIII\n", "line 1: a FASTQ record must begin with \"@\""},
      {"binary.fq", std::string("\x1f\x8b\x08\x00garbage", 11), "gzip"},
      {"corrupt.fq.gz", corrupt, "gzip"},
  };
  for (const auto& c : cases) {
    const std::string file = box.write(c.name, c.text);
    for (const std::string command : {"atgc_stats", "read_filter", "atgc_dna2aa", "atgc_correct"}) {
      const std::string job = "j_" + command;
      const auto run = box.run({command, "-fastx", file, "-jobname", job, "-n", "1"});
      EXPECT_EQ(run.status, 1) << command << " " << c.name << "\n" << run.out;
      EXPECT_TRUE(std::regex_search(run.out, std::regex(c.message)) || (command == "atgc_correct" && has(run.out, "-- Error: ")))
          << command << " " << c.name << "\n" << run.out;
      for (const auto& f : box.files("tevo-output/" + job))
        EXPECT_TRUE(f.first == job + ".log") << command << " left " << f.first;
    }
  }
}

TEST(ReadsCli, SffConversionPrintsFastxUnderSff) {
  CliSandbox box;
  sff_test::Read read{"read1", "TTACGGA", {30, 31, 32, 33, 34, 35, 36}, 2, 6, 0, 0};
  box.write("run.sff", sff_test::Builder::file({read}, 8));
  const auto run = box.run({"sff2fastq", "-sff", "run.sff", "-fastx", "shown.fq"});
  ASSERT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(has(run.out, "-- -sff shown.fq\n"));  // the echo names -fastx under -sff
  EXPECT_TRUE(has(run.out, "     flow_chars   : TACGAAAA\n     key_seq      : TCAG"));
  EXPECT_EQ(box.files("tevo-output/tevana_sff2fastq").at("run_sff_cvt.fastq"), "@read1\nTACGG\n+read1\n@ABCD\n");

  std::string cut = box.read("run.sff");
  box.write("cut.sff", cut.substr(0, cut.size() - 9));
  const auto bad = box.run({"sff2fastq", "-sff", "cut.sff", "-jobname", "cut"});
  EXPECT_EQ(bad.status, 1);
  EXPECT_TRUE(has(bad.out, "-- Error: cut.sff: the SFF file ends inside read 1 of 1"));
  EXPECT_TRUE(box.files("tevo-output/cut").empty());
  box.write("magic.sff", std::string("\x2e\x73\x66\x00", 4) + cut.substr(4));
  const auto magic = box.run({"sff2fastq", "-sff", "magic.sff", "-jobname", "magic"});
  EXPECT_EQ(magic.status, 1);
  EXPECT_TRUE(has(magic.out, "--   The header of the given SFF has a magic value '0x2e736600' "));
}

TEST(ReadsCli, FilterStagesWriteThreeGzipFiles) {
  CliSandbox box;
  const std::string in = reads_test::write_gz(box.path() + "/r.fq.gz", kFastq);
  const auto run = box.run({"read_filter", "-fastx", in, "-n", "1"});
  ASSERT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(has(run.out, "-- Placed the trimed file at:\n"));
  const std::string dir = box.path() + "/tevo-output/tevana_read_filter/";
  EXPECT_EQ(gunzip(dir + "tevo_filtered.fastq.gz"),
            "@r1 first\nACGTNACGTA\n+\nIIIII+IIII\n@r2\nacgtacgtac\n+\n##########\n");
  EXPECT_EQ(gunzip(dir + "tevo_quality.fastq.gz"), "@r1 first\nACGTNACGTA\n+\nIIIII+IIII\n");
  // Trimming cuts 3' bases below quality 13 and drops reads left empty.
  EXPECT_EQ(gunzip(dir + "tevo_trimed.fastq.gz"), "@r1 first\nACGTNACGTA\n+\nIIIII+IIII\n@r3\nGGGGCCCC\n+\nIIIIIIII\n");
  // The flag's default of -1 lets no read through the first two stages.
  box.run({"read_filter", "-fastx", in, "-jobname", "s"});
  EXPECT_EQ(gunzip(box.path() + "/tevo-output/s/tevo_filtered.fastq.gz"), "");
  // Phred+64 input is refused by the quality stage only.
  const auto old = box.run({"read_filter", "-fastx", box.write("old.fq", "@a\nACGT\n+\nhhKK\n"), "-jobname", "o", "-n", "0"});
  EXPECT_TRUE(has(old.out, "-- Warning: the original Phred scores are not in Illumina format!"));
  EXPECT_FALSE(box.exists("tevo-output/o/tevo_quality.fastq.gz"));
  EXPECT_TRUE(box.exists("tevo-output/o/tevo_trimed.fastq.gz"));
}

TEST(ReadsCli, CorrectKmerAndTranslate) {
  CliSandbox box;
  const std::string kQ32(32, 'I');
  std::string reads;
  for (int i = 0; i < 30; ++i) reads += "@r" + std::to_string(i) + "\nACGTTGCAAGGCTTAACCGGTTAAGCTAGCTA\n+\n" + kQ32 + "\n";
  box.write("c.fq", reads);
  const auto corrected = box.run({"atgc_correct", "-fastx", "c.fq"});
  ASSERT_EQ(corrected.status, 0) << corrected.out;
  EXPECT_TRUE(has(corrected.out, "-- and coverage (total_base[960]/genome_length[100]) = 9 ... \n"));
  EXPECT_TRUE(has(corrected.out, "Number of changed positions\t\t0\nNumber of changed positions after\t0\n"));
  const std::string out = box.files("tevo-output/tevana_atgc_correct").at("c.fq_corrected.fasta");
  EXPECT_EQ(out.substr(0, 41), ">r0\nACGTTGCAAGGCTTAACCGGTTAAGCTAGCTA\n>r1\n");

  const auto kmer = box.run({"kmer_generator", "-fastx", "ignored.fq", "-min", "2", "-max", "3"});
  ASSERT_EQ(kmer.status, 0);
  EXPECT_TRUE(has(box.files("tevo-output/tevana_kmer_generator").at("tevo_kmer_statistics"), "\nGCA\t2\t"));

  EXPECT_EQ(box.run({"kmer_counter", "-fastx", "c.fq"}).status, 0);
  const auto nofile = box.run({"kmer_counter", "-fastx", "none.fq", "-jobname", "k"});
  EXPECT_EQ(nofile.status, 1);
  EXPECT_TRUE(has(nofile.out, "-- Error: cannot open none.fq"));

  box.write("g.fa", ">gene\nATGTTTGGG\nCCCTAGNNN\nAT\n");
  const auto aa = box.run({"atgc_dna2aa", "-fastx", "g.fa"});
  ASSERT_EQ(aa.status, 0) << aa.out;
  EXPECT_EQ(box.files("tevo-output/tevana_atgc_dna2aa").at("g_protein.fasta"), ">gene\nMFGP*X\n");
}
