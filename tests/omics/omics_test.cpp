// SFF conversion against files built byte by byte and against FASTQ written
// by an independent SFF reader; the k-mer generator.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>
#include <fstream>
#include <sstream>

#include "../atgc/reads_fixture.h"
#include "omics/kmer.h"
#include "omics/omics.h"
#include "sff_builder.h"

using tevo::Omics;
using sff_test::Builder;
using sff_test::Read;

namespace {

std::vector<Read> sample_reads() {
  return {{"whole", "ACGTACGTAC", {10, 20, 30, 40, 100, 93, 94, 0, 1, 2}},
          {"left5", "AAAACGTTTT", std::vector<int>(10, 30), 5, 0, 0, 0},
          {"clipped", "GGGGGCCCCCAAAAA", std::vector<int>(15, 20), 2, 12, 3, 14},
          {"adapter_over", "TTTTT", std::vector<int>(5, 40), 0, 0, 0, 9},
          {"qual_over", "CCCCCC", std::vector<int>(6, 25), 0, 8, 0, 0},
          {"empty", "ACG", {5, 5, 5}, 3, 2, 0, 0}};
}

}  // namespace

TEST(Sff, ClipRulesQualityCapAndNameOnPlusLine) {
  reads_test::TempDir dir;
  const std::string sff = dir.write("b.sff", Builder::file(sample_reads(), 13));
  Omics<double> omics;
  omics.sff2fastq(sff, dir.path() + "trim.fastq", 1);
  EXPECT_EQ(dir.read("trim.fastq"),
            "@whole\nACGTACGTAC\n+whole\n+5?I~~~!\"#\n"  // 100 and 94 are written as 93
            "@left5\nCGTTTT\n+left5\n??????\n"        // qual left 5: from the fifth base
            "@clipped\nGGGCCCCCAA\n+clipped\n5555555555\n"  // from max(2,3)-1 up to min(12,14)
            "@adapter_over\nTTTTT\n+adapter_over\nIIIII\n"
            "@qual_over\nCCCCCC\n+qual_over\n::::::\n"
            "@empty\n\n+empty\n\n");
  omics.sff2fastq(sff, dir.path() + "all.fastq", 0);
  const std::string all = dir.read("all.fastq");
  EXPECT_NE(all.find("@clipped\nGGGGGCCCCCAAAAA\n+clipped\n555555555555555\n"), std::string::npos);
  EXPECT_NE(all.find("@empty\nACG\n+empty\n&&&\n"), std::string::npos);
}

TEST(SffDeathTest, WrongMagicVersionAndCutFilesStop) {
  reads_test::TempDir dir;
  const std::string good = Builder::file(sample_reads(), 13);
  Omics<double> omics;
  const std::string out = dir.path() + "o.fastq";
  EXPECT_EXIT(STDOUT_TO_STDERR(omics.sff2fastq(dir.write("m.sff", Builder::file(sample_reads(), 13, 0x2e736667)),
                                               out, 1)),
              testing::ExitedWithCode(1), "magic value '0x2e736667'.*\n.*magic value '0x2e736666'");
  EXPECT_EXIT(STDOUT_TO_STDERR(omics.sff2fastq(dir.write("v.sff", Builder::file(sample_reads(), 13, 0x2e736666, 2)),
                                               out, 1)),
              testing::ExitedWithCode(1), "version of the given SFF file is 0x00 0x00 0x00 0x02");
  for (std::size_t cut : {std::size_t{3}, std::size_t{30}, good.size() / 2, good.size() - 1}) {
    const std::string file = dir.write("cut.sff", good.substr(0, cut));
    EXPECT_EXIT(STDOUT_TO_STDERR(omics.sff2fastq(file, out, 1)), testing::ExitedWithCode(1),
                "the SFF file ends inside")
        << cut;
    EXPECT_EQ(dir.read("o.fastq"), "<missing>");
    EXPECT_EQ(dir.read("o.fastq.part"), "<missing>");
  }
  // A read that announces more bases than the file holds.
  std::string huge = good;
  const std::size_t first_read = (31 + 13 + 4 + 7) / 8 * 8;
  huge[first_read + 4] = '\x7f';
  EXPECT_EXIT(STDOUT_TO_STDERR(omics.sff2fastq(dir.write("h.sff", huge), out, 1)), testing::ExitedWithCode(1),
              "bases announced");
}

TEST(Sff, RealFilesEqualIndependentReader) {
  const std::string root = std::string(TEVO_SHARED_DATA) + "/reads/sff_biopython/";
  std::ifstream probe(root + "greek.sff");
  if (!probe) GTEST_SKIP() << "shared data absent";
  reads_test::TempDir dir;
  Omics<double> omics;
  for (const std::string name : {"E3MFGYR02_random_10_reads", "E3MFGYR02_index_in_middle",
                                 "E3MFGYR02_alt_index_at_start", "E3MFGYR02_no_manifest", "greek", "paired"}) {
    for (int trim : {0, 1}) {
      omics.sff2fastq(root + name + ".sff", dir.path() + "x.fastq", trim);
      std::ifstream expected(root + "expected_fastq_by_biopython/" + name + (trim ? ".trimmed" : ".untrimmed") +
                             ".fastq");
      std::stringstream text;
      text << expected.rdbuf();
      std::istringstream ours(dir.read("x.fastq")), theirs(text.str());
      std::string a, b;
      int line = 0, records = 0;
      while (std::getline(theirs, b)) {
        ASSERT_TRUE(std::getline(ours, a)) << name << " line " << line;
        // Field by field: name, bases, quality; the "+" line repeats the name here.
        if (line % 4 == 0) {
          EXPECT_EQ(a, b.substr(0, b.find(' '))) << name;
          ++records;
        } else if (line % 4 == 2) {
          EXPECT_EQ(a.substr(0, 1), "+");
        } else {
          // The reference writes the clipped ends of untrimmed reads in lower case.
          if (line % 4 == 1) for (char& c : b) c = static_cast<char>(std::toupper(c));
          EXPECT_EQ(a, b) << name << " line " << line << " trim " << trim;
        }
        ++line;
      }
      EXPECT_FALSE(std::getline(ours, a)) << name;
      EXPECT_GE(records, 10) << name;
    }
  }
}

TEST(Kmer, CountsWordsOfTheFixedSequence) {
  reads_test::TempDir dir;
  tevo::Kmer<double> kmer(dir.path(), "job");
  kmer.generate_kmer_frequency(2, 2);
  std::int64_t total = 0;
  for (const auto& w : kmer.counts) total += w.second;
  EXPECT_EQ(total, 18);
  EXPECT_EQ(kmer.counts.at("GC"), 3);  // ..TTGC.., ..GTGC.., ..ATGC
  EXPECT_EQ(kmer.counts.at("AT"), 3);
  const std::string text = dir.read("tevo_kmer_statistics");
  EXPECT_NE(text.find("# kmer from 2 to 2\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\nkmer\tcount\tfreq\tlog_freq\n"), std::string::npos);
  EXPECT_NE(text.find("GC\t3\t0.166667\t-0.778151\n"), std::string::npos);  // 3 / (19 - 1)
  kmer.generate_kmer_frequency(3, 2);
  EXPECT_TRUE(kmer.counts.empty());
  // Windows of 1..3 letters on a sequence with foreign letters, which are skipped.
  kmer.kmer_min = 1;
  kmer.kmer_max = 3;
  EXPECT_EQ(kmer.count_words("ACxGT"), 4u);
  EXPECT_EQ(kmer.counts.at("ACG"), 1);
  EXPECT_EQ(kmer.counts.at("CGT"), 1);
  EXPECT_EQ(kmer.counts.count("ACGT"), 0u);
}
