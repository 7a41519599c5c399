// Translation against an oracle built from the published standard code.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "atgc/translate.h"
#include "reads_fixture.h"

namespace {

// NCBI translation table 1: codons in TCAG order of the first, second and
// third base.
std::map<std::string, char> standard_code() {
  const std::string amino = "FFLLSSSSYY**CC*WLLLLPPPPHHQQRRRRIIIMTTTTNNKKSSRRVVVVAAAADDEEGGGG", base = "TCAG";
  std::map<std::string, char> table;
  for (int i = 0; i < 64; ++i) table[{base[i / 16], base[i / 4 % 4], base[i % 4]}] = amino[i];
  return table;
}

}  // namespace

TEST(Translate, MatchesCodonListsOnRandomSequences) {
  const auto table = standard_code();
  std::mt19937 rng(17);
  const std::string letters = "ACGTACGTACGTacgtNUuRX";
  for (int trial = 0; trial < 200; ++trial) {
    std::string dna;
    const int n = static_cast<int>(rng() % 100);
    for (int i = 0; i < n; ++i) dna += letters[rng() % letters.size()];
    std::string expected;
    for (int i = 0; i + 3 <= n; i += 3) {
      std::string codon = dna.substr(i, 3);
      for (char& c : codon) {
        c = static_cast<char>(std::toupper(c));
        if (c == 'U') c = 'T';
      }
      const auto hit = table.find(codon);
      expected += hit == table.end() ? 'X' : hit->second;
    }
    std::string protein = ">";
    tevo::translate_dna(dna.data(), dna.size(), protein);
    EXPECT_EQ(protein, ">" + expected) << dna;
  }
}

TEST(Translate, FileOfFastaAndGzipFastqRecords) {
  reads_test::TempDir dir;
  const std::string fa = dir.write("a.fa", ">g1 desc\nATGGCC\nTAAGG\n>g2\n\n");
  ASSERT_EQ(tevo::translate_file(fa, dir.path() + "a.out"), 2u);
  EXPECT_EQ(dir.read("a.out"), ">g1 desc\nMA*\n>g2\n\n");
  const std::string fq = dir.write_gz("b.fq.gz", "@r1\nATGNNNTGA\n+\nIIIIIIIII\n");
  ASSERT_EQ(tevo::translate_file(fq, dir.path() + "b.out"), 1u);
  EXPECT_EQ(dir.read("b.out"), ">r1\nMX*\n");
}
