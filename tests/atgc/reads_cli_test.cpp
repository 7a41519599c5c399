// The read commands as a user meets them: refusals, results in the job
// directory, and bad inputs that stop with a message and leave no output.
#include <gtest/gtest.h>
#include <zlib.h>

#include <regex>

#include "../omics/sff_builder.h"
#include "cli/cli_runner.h"

using tevo_test::CliSandbox;

namespace {

const char* kFastq =
    "@r1 first\nACGTNACGTA\n+\nIIIII+IIII\n"
    "@r2\nacgtacgtac\n+\n##########\n"
    "@r3\nGGGGCCCCNN\n+\nIIIIIIII##\n";

std::string gzip_file(const CliSandbox& box, const std::string& name, const std::string& text) {
  const std::string path = box.path() + "/" + name;
  gzFile gz = gzopen(path.c_str(), "wb");
  gzwrite(gz, text.data(), static_cast<unsigned>(text.size()));
  gzclose(gz);
  return path;
}

std::string gunzip(const std::string& path) {
  gzFile gz = gzopen(path.c_str(), "rb");
  if (gz == nullptr) return "<missing>";
  std::string text;
  char buffer[4096];
  int n;
  while ((n = gzread(gz, buffer, sizeof buffer)) > 0) text.append(buffer, static_cast<std::size_t>(n));
  gzclose(gz);
  return text;
}

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace

TEST(ReadsCli, RefusalsPrintTheirUsage) {
  CliSandbox box;
  const struct {
    std::vector<std::string> args;
    std::string missing, usage;
  } cases[] = {
      {{"sff2fastq"}, "SFF file", "tevo sff2fastq -sff <STRING> -output <STRING|optional>"},
      {{"atgc_stats"}, "FAST5 file", "tevo atgc_stats -fastx <STRING> -type <INT> -output <STRING|optional>"},
      {{"atgc_quality"}, "FASTQ file",
       "tevo atgc_quality -fastx <STRING> -type <INT> (optional) -output <STRING|optional>"},
      {{"read_filter"}, "FASTQ file", "tevo read_filter -fastx <STRING> -n <INT> -output <STRING|optional>"},
      {{"atgc_correct"}, "FASTQ file", "tevo atgc_correct -fastx <STRING> -output <STRING|optional>"},
      {{"kmer_generator", "-min", "1"}, "FASTQ file",
       "tevo kmer_generator -fastx <STRING> -min <INT> -max <INT> -output <STRING|optional>"},
      {{"kmer_counter"}, "FASTQ file", "tevo kmer_counter -fastx <STRING> -output <STRING|optional>"},
      {{"atgc_dna2aa"}, "FASTA file", "tevo atgc_dna2aa -fastx <STRING> -output <STRING|optional>"},
  };
  for (const auto& c : cases) {
    const auto run = box.run(c.args);
    EXPECT_EQ(run.status, 0) << c.args[0];
    EXPECT_TRUE(has(run.out, "-- Error: where to locate the " + c.missing + "?\n-- Usage:\n-- " + c.usage + "\n"))
        << run.out;
    EXPECT_FALSE(has(run.out, "Completed:")) << c.args[0];
  }
  const auto note = box.run({"read_filter"});
  EXPECT_TRUE(has(note.out, "Note: n is the allowed number of ambiguous characters, default is 0"));
  const auto min = box.run({"kmer_generator", "-fastx", "x.fq"});
  EXPECT_TRUE(has(min.out, "Minimum value is not defined"));
  EXPECT_TRUE(has(min.out, "tevo kmer_generator -fastx <STRING> -min <INT> -max <INT> -output <STRING|optional>"));
}

TEST(ReadsCli, StatsOnPlainGzipAndEmptyFiles) {
  CliSandbox box;
  const std::string plain = box.write("r.fq", kFastq);
  const std::string zipped = gzip_file(box, "r.fq.gz", kFastq);
  const auto a = box.run({"atgc_stats", "-fastx", plain, "-hlog", "1"});
  ASSERT_EQ(a.status, 0) << a.out;
  const std::string summary =
      "-- Reads: 3\n-- Bases: 30\n-- Q20 bases: 0.017K(56.666667%)\n-- Q30 bases: 0.017K(56.666667%)\n"
      "-- GC content: 56.666667%\n-- Nppm: 100000.00\n-- Avg: 10\n-- Min: 10\n-- Max: 10\n";
  EXPECT_TRUE(has(a.out, summary)) << a.out;
  const auto files = box.files("tevo-output/tevana_atgc_stats");
  ASSERT_TRUE(files.count("tevana_atgc_stats.log"));
  EXPECT_EQ(files.at("tevana_atgc_stats.log"), "1-1-1-0\nATGC statistics\nStatistics on the reads.\nstatistics_on_read\n");
  const std::string table = files.at("tevana_atgc_stats_statistics_on_read.tsv");
  EXPECT_TRUE(has(table, "#Position\tA\tT\tC\tG\tN\tGC\n1\t66.66667\t0.00000\t0.00000\t33.33333\t0.00000\t33.33333\n"))
      << table;
  // The per-position chart: a line chart of the six series, and the job's
  // web page shows it under the record's block.
  ASSERT_TRUE(files.count("tevana_atgc_stats_statistics_on_read.html"));
  const std::string chart = files.at("tevana_atgc_stats_statistics_on_read.html");
  EXPECT_TRUE(has(chart, "Per base quality (log)"));
  EXPECT_TRUE(has(chart, ">Position</text>"));
  for (const char* series : {">A</text>", ">T</text>", ">C</text>", ">G</text>", ">N</text>", ">GC</text>"})
    EXPECT_TRUE(has(chart, series)) << series;
  const auto page = box.run({"html", "-jobname", "tevana_atgc_stats"});
  ASSERT_EQ(page.status, 0) << page.out;
  const std::string index = box.read("tevo-output/tevana_atgc_stats/index.html");
  const std::size_t section = index.find("<h2>ATGC statistics</h2>");
  ASSERT_NE(section, std::string::npos) << index;
  const std::size_t svg = index.find("<svg", section);
  ASSERT_NE(svg, std::string::npos);
  EXPECT_LT(svg, index.find("</section>", section));
  EXPECT_NE(index.find("Per base quality (log)", section), std::string::npos);

  const auto z = box.run({"atgc_stats", "-fastx", zipped, "-jobname", "z"});
  EXPECT_TRUE(has(z.out, summary));
  EXPECT_EQ(box.files("tevo-output/z").at("z_statistics_on_read.tsv"), table);

  const auto empty = box.run({"atgc_stats", "-fastx", box.write("e.fq", ""), "-jobname", "e"});
  EXPECT_EQ(empty.status, 0);
  EXPECT_TRUE(has(empty.out, "-- Reads: 0\n-- Bases: 0\n-- Q20 bases: 0.000K(0.000000%)\n"));
  EXPECT_TRUE(has(empty.out, "-- Avg: 0\n-- Min: 0\n-- Max: 0\n"));
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
  std::string corrupt;
  {
    const std::string path = gzip_file(box, "big.gz", std::string(20000, 'A'));
    corrupt = box.read("big.gz");
    for (std::size_t i = 12; i < corrupt.size() - 8; i += 3) corrupt[i] = static_cast<char>(corrupt[i] ^ 0x33);
  }
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
      EXPECT_TRUE(std::regex_search(run.out, std::regex(c.message)) || (command == "atgc_correct" && has(run.out, "-- Error: "))) << command << " " << c.name << "\n" << run.out;
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
  EXPECT_TRUE(has(run.out, "-- tevo sff2fastq\n-- -sff shown.fq\n-- -output "));
  EXPECT_TRUE(has(run.out, "-- Summary of the given SFF file: \n     magic        : 0x2e736666\n"));
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
  const std::string in = gzip_file(box, "r.fq.gz", kFastq);
  const auto run = box.run({"read_filter", "-fastx", in, "-n", "1"});
  ASSERT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(has(run.out, "-- -n 1\n"));
  EXPECT_TRUE(has(run.out, "-- Placed the trimed file at:\n"));
  const std::string dir = box.path() + "/tevo-output/tevana_read_filter/";
  EXPECT_EQ(gunzip(dir + "tevo_filtered.fastq.gz"),
            "@r1 first\nACGTNACGTA\n+\nIIIII+IIII\n@r2\nacgtacgtac\n+\n##########\n");
  EXPECT_EQ(gunzip(dir + "tevo_quality.fastq.gz"), "@r1 first\nACGTNACGTA\n+\nIIIII+IIII\n");
  // Trimming cuts 3' bases below quality 13 and drops reads left empty.
  EXPECT_EQ(gunzip(dir + "tevo_trimed.fastq.gz"),
            "@r1 first\nACGTNACGTA\n+\nIIIII+IIII\n@r3\nGGGGCCCC\n+\nIIIIIIII\n");
  // The flag's default of -1 lets no read through the first two stages.
  const auto strict = box.run({"read_filter", "-fastx", in, "-jobname", "s"});
  EXPECT_EQ(gunzip(box.path() + "/tevo-output/s/tevo_filtered.fastq.gz"), "");
  // Phred+64 input is refused by the quality stage only.
  const auto old = box.run({"read_filter", "-fastx", box.write("old.fq", "@a\nACGT\n+\nhhKK\n"), "-jobname", "o", "-n", "0"});
  EXPECT_TRUE(has(old.out, "-- Warning: the original Phred scores are not in Illumina format!"));
  EXPECT_FALSE(box.exists("tevo-output/o/tevo_quality.fastq.gz"));
  EXPECT_TRUE(box.exists("tevo-output/o/tevo_trimed.fastq.gz"));
}

TEST(ReadsCli, CorrectKmerAndTranslate) {
  CliSandbox box;
  std::string reads;
  for (int i = 0; i < 30; ++i) reads += "@r" + std::to_string(i) + "\nACGTTGCAAGGCTTAACCGGTTAAGCTAGCTA\n+\n" + std::string(32, 'I') + "\n";
  box.write("c.fq", reads);
  const auto corrected = box.run({"atgc_correct", "-fastx", "c.fq"});
  ASSERT_EQ(corrected.status, 0) << corrected.out;
  EXPECT_TRUE(has(corrected.out, "-- Got 30 reads with maximum length 32, witness length in ["));
  EXPECT_TRUE(has(corrected.out, "-- and coverage (total_base[960]/genome_length[100]) = 9 ... \n"));
  EXPECT_TRUE(has(corrected.out, "Number of changed positions\t\t0\nNumber of changed positions after\t0\n"));
  const std::string out = box.files("tevo-output/tevana_atgc_correct").at("c.fq_corrected.fasta");
  EXPECT_EQ(out.substr(0, 41), ">r0\nACGTTGCAAGGCTTAACCGGTTAAGCTAGCTA\n>r1\n");

  const auto kmer = box.run({"kmer_generator", "-fastx", "ignored.fq", "-min", "2", "-max", "3"});
  ASSERT_EQ(kmer.status, 0);
  EXPECT_TRUE(has(kmer.out, "-- -min 2\n-- -max 3\n"));
  EXPECT_TRUE(has(kmer.err, "TODO: Read seq from file."));
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
