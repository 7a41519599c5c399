// Translation against an oracle built from the codon lists of each amino acid.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "atgc/translate.h"
#include "reads_fixture.h"

namespace {

std::map<std::string, char> standard_code() {
  const std::map<char, std::vector<std::string>> codons = {
      {'A', {"GCT", "GCC", "GCA", "GCG"}}, {'R', {"CGT", "CGC", "CGA", "CGG", "AGA", "AGG"}},
      {'N', {"AAT", "AAC"}}, {'D', {"GAT", "GAC"}}, {'C', {"TGT", "TGC"}}, {'Q', {"CAA", "CAG"}},
      {'E', {"GAA", "GAG"}}, {'G', {"GGT", "GGC", "GGA", "GGG"}}, {'H', {"CAT", "CAC"}},
      {'I', {"ATT", "ATC", "ATA"}}, {'L', {"TTA", "TTG", "CTT", "CTC", "CTA", "CTG"}},
      {'K', {"AAA", "AAG"}}, {'M', {"ATG"}}, {'F', {"TTT", "TTC"}}, {'P', {"CCT", "CCC", "CCA", "CCG"}},
      {'S', {"TCT", "TCC", "TCA", "TCG", "AGT", "AGC"}}, {'T', {"ACT", "ACC", "ACA", "ACG"}},
      {'W', {"TGG"}}, {'Y', {"TAT", "TAC"}}, {'V', {"GTT", "GTC", "GTA", "GTG"}}, {'*', {"TAA", "TAG", "TGA"}}};
  std::map<std::string, char> table;
  for (const auto& entry : codons)
    for (const auto& codon : entry.second) table[codon] = entry.first;
  return table;
}

}  // namespace

TEST(Translate, MatchesCodonListsOnRandomSequences) {
  const auto table = standard_code();
  ASSERT_EQ(table.size(), 64u);
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
