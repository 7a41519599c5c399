// sequence_converter, sequence_trim and sequence_stats as a user runs them:
// refusals, the files of a job, bad alignments, and a real protein family.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "cli/cli_runner.h"

using tevo_test::CliSandbox;

namespace {

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

const char* kTinyAlignment =
    ">ref\nMK-LVA\n>a\nmkQLVA\n>b\nMK-LV-\n>c\n--xL--\n";

}  // namespace

TEST(SequenceConverterCli, EveryRefusal) {
  CliSandbox box;
  const std::string usage =
      "-- Usage:\n-- tevo sequence_convertor -type <INT> -msa <STRING> -output <STRING|optional>\n"
      "-- Options:\n-- -type  <INT>: 1 for jackhmmer output, 2 for PSIBLAST output\n";
  struct Case {
    std::vector<std::string> args;
    std::string block;
  } cases[] = {
      {{"sequence_converter"},
       "-- I found errors and list them below!\n-- Error: where to locate the jackhmmer/psi-blast output "
       "sequence file?\n-- Error: which type?\n"},
      {{"sequence_converter", "-type", "1"},
       "-- I found an error and list it below!\n-- Error: where to locate the jackhmmer output sequence "
       "file?\n-- Warning: Note: please use HMMER jackhmmer to get the alignment!\n-- Warning: jackhmmer -E "
       "0.01 --popen 0.25 --pextend 0.4 -A <OUTPUT.sto> <QUERY_SEQUENCE> <DATABASE>\n"},
      {{"sequence_converter", "-type", "2"},
       "-- I found an error and list it below!\n-- Error: where to locate the blast output sequence file?\n"
       "-- Warning: Note: please use NCBI-BLAST to get the alignment!\n-- Warning: psiblast -db "
       "<NR_DATABASE> -outfmt '6 sseqid qseq' -out <OUTPUT.blast> <QUERY_SEQUENCE>\n"},
      {{"sequence_converter", "-type", "3"}, "-- I found an error and list it below!\n"},
      {{"sequence_converter", "-msa", "x.sto", "-type", "4"},
       "-- I found an error and list it below!\n-- Error: which type?\n"},
      {{"sequence_converter", "-msa", "x.sto"}, "-- I found an error and list it below!\n-- Error: which type?\n"},
  };
  for (const Case& c : cases) {
    const auto run = box.run(c.args);
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(has(run.out, c.block + usage)) << run.out;
    EXPECT_FALSE(has(run.out, "Invocation:"));
  }
}

TEST(SequenceConverterCli, ThreeTypesWriteTheirFiles) {
  CliSandbox box;
  box.write("j.sto", "# STOCKHOLM 1.0\nHBB_HUMAN   ..VHLT\nHBA_HUMAN   ..VLSP\n//\n");
  auto run = box.run({"sequence_converter", "-type", "1", "-msa", "j.sto", "-jobname", "c"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "-- Invocation:\n-- tevo sequence_convertor\n-- -jobname c\n-- -type 1\n-- -msa j.sto\n"))
      << run.out;
  const std::string dir = box.path() + "/tevo-output/c/";
  EXPECT_TRUE(has(run.out, "-- The converted MSA (2 sequences with 6 sites) can be found at:\n-- " + dir + "c.a3m"));
  EXPECT_EQ(box.read("tevo-output/c/c.a3m"), "HBB_HUMAN\n..VHLT\nHBA_HUMAN\n..VLSP\n");

  box.write("b.tsv", "sp|P1\tMK-LV\n");
  run = box.run({"sequence_converter", "-type", "2", "-msa", "b.tsv", "-jobname", "c"});
  EXPECT_TRUE(has(run.out, "-- Warning: please align them before using them as input of tevo\n"));
  EXPECT_EQ(box.read("tevo-output/c/c_blast.a3m"), "sp|P1\nMKLV\n");

  box.write("m.a3m", ">x MKLV\n");
  run = box.run({"sequence_converter", "-type", "3", "-msa", "m.a3m", "-jobname", "c"});
  EXPECT_TRUE(has(run.out, "can be found at:\n-- " + dir + "c_msa.a2m\n"));
  EXPECT_EQ(box.read("tevo-output/c/c.a2m"), ">x\nMKLV\n");

  run = box.run({"sequence_converter", "-type", "1", "-msa", "missing.sto"});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(has(run.out, "-- Error: cannot open missing.sto"));
}

TEST(SequenceTrimCli, RefusalFilesAndBadAlignments) {
  CliSandbox box;
  auto run = box.run({"sequence_trim"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out,
                  "-- I found an error and list it below!\n-- Error: where to locate the multiple sequence "
                  "alignment (MSA) file?\n-- Usage:\n-- tevo sequence_trim -msa <STRING> -output "
                  "<STRING|optional>\n-- Options:\n-- -threads  <INT>\n-- -gap_frac <DOUBLE> percentage of "
                  "gaps in each sequence\n-- -site_gap_frac <DOUBLE> percentage of gaps at each site of "
                  "aligned sequences\n-- -offset   <STRING> offeset for amino acid index\n"))
      << run.out;

  box.write("t.fasta", kTinyAlignment);
  run = box.run({"sequence_trim", "-msa", "t.fasta", "-jobname", "t", "-offset", "10", "-hlog", "1"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "-- Invocation:\n-- tevo sequence_trim\n-- -jobname t\n-- -msa t.fasta\n"
                           "-- -gap_frac 0.200\n-- -site_gap_frac 1.000\n"))
      << run.out;
  // c has 4 of 5 gaps after projection and goes; b has 1 of 5 (0.2) and stays.
  EXPECT_TRUE(has(run.out, "-- Got 3 trimmed sequences of 5 sites\n"));
  EXPECT_FALSE(has(run.out, "Loaded"));  // no summary without the report
  const auto files = box.files("tevo-output/t");
  EXPECT_EQ(files.at("t_msa_trimmed.a3m"), ">ref\nMKLVA\n>a\nMKLVA\n>b\nMKLV-\n");
  EXPECT_EQ(files.at("t_msa_trimmed.csv"),
            " ,M10,K11,L12,V13,A14\nseq1,13,12,11,20,1\nseq2,13,12,11,20,1\nseq3,13,12,11,20,0\n");
  EXPECT_TRUE(has(files.at("t_msa_trimmed.gp"),
                  "set palette model RGB defined (0 '#F5F5F5',1 '#EB8500',2 '#7B68EE',3 '#FF6347',"
                  "4 '#8B0000',5 '#00CCCC',6 '#FFA07A',7 '#FF0000',8 '#FFA500',9 '#FF4500',10 '#6593F5',"
                  "11 '#0080FF',12 '#9370DB',13 '#3CB371',14 '#00FF7F',15 '#00B300',16 '#FFD700',"
                  "17 '#FFFF00',18 '#ADFF2F',19 '#7CFC00',20 '#00FFFF');\n"));
  EXPECT_EQ(files.count("t.log"), 0u);  // the trim command writes no report block

  struct Bad {
    std::string text, message;
  } bad[] = {
      {"", "-- Error: " + box.path() + "/bad.fasta holds no sequence"},
      {"MKLV\nMKLV\n", "bad.fasta line 1: sequence text before the first \">\" name line"},
      {">a\n>b\n>c\n", "the reference sequence >a is empty"},
      {">ref\nMKLVA\n>short\nMKL\n", "sequence 2 >short has 3 sites, fewer than the 5 of the reference"},
  };
  for (const Bad& b : bad) {
    box.write("bad.fasta", b.text);
    run = box.run({"sequence_trim", "-msa", box.path() + "/bad.fasta"});
    EXPECT_EQ(run.status, 1) << b.text;
    EXPECT_TRUE(has(run.out, b.message)) << run.out;
  }
  run = box.run({"sequence_trim", "-msa", "t.fasta", "-gap_frac", "-1"});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(has(run.out, "-- Error: no sequence will be saved!"));
}

TEST(SequenceStatsCli, RefusalStructureLabelsAndRecord) {
  CliSandbox box;
  auto run = box.run({"sequence_stats"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out,
                  "-- Usage:\n-- tevo sequence_stats -msa <STRING>' -output <STRING|optional>\n-- Options:\n"
                  "-- -threads  <INT>\n-- -pdb      <STRING>\n-- -gap_frac <DOUBLE>"))
      << run.out;
  EXPECT_TRUE(has(run.out, "-- I found an error and list it below!\n-- Error: where to locate the multiple"));

  box.write("t.fasta", kTinyAlignment);
  box.write("s.pdb",
            "ATOM      1  CA  MET A  21      11.639   6.071  -5.147  1.00  0.00           C\n"
            "ATOM      2  CA  LYS A  22      11.639   6.071  -5.147  1.00  0.00           C\n"
            "ATOM      3  CA  LEU A  23      11.639   6.071  -5.147  1.00  0.00           C\n"
            "ATOM      4  CA  VAL A  24      11.639   6.071  -5.147  1.00  0.00           C\n"
            "ATOM      5  CA  ALA A  25      11.639   6.071  -5.147  1.00  0.00           C\n");
  run = box.run({"sequence_stats", "-msa", "t.fasta", "-pdb", "s.pdb", "-jobname", "s", "-hlog", "1"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "-- tevo sequence_stats\n-- -jobname s\n-- -threads 1\n-- -msa t.fasta\n"
                           "-- -pdb s.pdb\n-- -gap_frac 0.200\n"))
      << run.out;
  EXPECT_TRUE(has(run.out, "-- Loaded 4 sequences of 6 sites from\n-- t.fasta\n"));
  // ref and a identical, b equal to both at 4 of 5 sites (the 80% bound):
  // three mutual neighbours, each of weight 1/3.
  EXPECT_TRUE(has(run.out, "-- Got 1.0 effective samples (80.0% identical neighborhood = 1.0 sample)\n"))
      << run.out;
  EXPECT_TRUE(has(run.out, "-- The quality of the obtained samples is not good (0.200)\n"));
  const auto files = box.files("tevo-output/s");
  EXPECT_TRUE(has(files.at("s_degree_of_conservation.csv"), "Site,Index,D_i\nM21,0.00000,"));
  EXPECT_TRUE(has(files.at("s_degree_of_conservation_relative_entropy.csv"), "entropy,M21,K22,L23,V24,A25\nA,"));
  // Pairs: (ref,a) 1.0, (ref,b) and (a,b) 0.8.
  const std::string sim = files.at("s_sequence_similarity.csv");
  EXPECT_TRUE(has(sim, "\n0.80000,2.00000\n"));
  EXPECT_TRUE(has(sim, "\n1.00000,1.00000\n"));
  const std::string dir = box.path() + "/tevo-output/s/s";
  EXPECT_EQ(files.at("s.log"),
            "1-1-1-1\nMultiple sequence alignment\nMultiple sequence alignment. Small nonpolar: G, A, S, T, "
            "hydrophobic: C, V, I, L, P, F, Y, M, W, polar: N, Q, H, negatively charged: D, E, and "
            "positively charged: K, R.\n" + dir + "_msa_trimmed\n"
            "1-1-1-0\nSequence similarity\nDistribution of similarities between pairwise sequences.\n" +
                dir + "_sequence_similarity\n"
                      "1-1-1-2\nDegree of conservation\nDegree of conservation at each single site (not "
                      "included gaps). \ndegree_of_conservation\n"
                      "#WLA#\n<b>MSA (effective)</b>: 1.0 samples (80.0% identical neighborhood = 1.0 "
                      "sample)\n<b>MSA (<span style=\"color:red\">not good quality</span>)</b>: 0.200 (> 5: "
                      "very good; > 1 && < 5: good; < 1: not good)\n");

  run = box.run({"sequence_stats", "-msa", "t.fasta", "-pdb", "missing.pdb"});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(has(run.out, "-- Error: cannot open missing.pdb"));
}

namespace {

// Effective number of sequences of a trimmed alignment file, by the plain
// definition: 1 / (1 + others identical at >= 80% of sites), summed.
double neff_of(const std::string& a3m) {
  std::istringstream in(a3m);
  std::vector<std::string> rows;
  for (std::string line; std::getline(in, line);)
    if (!line.empty() && line[0] != '>') rows.push_back(line);
  const std::size_t n = rows.size(), L = rows[0].size();
  double neff = 0;
  for (std::size_t i = 0; i < n; ++i) {
    int neighbours = 0;
    for (std::size_t j = 0; j < n; ++j) {
      if (i == j) continue;
      std::size_t equal = 0;
      for (std::size_t k = 0; k < L; ++k) equal += rows[i][k] == rows[j][k];
      if (equal >= 0.8 * L) ++neighbours;
    }
    neff += 1.0 / (1 + neighbours);
  }
  return neff;
}

}  // namespace

TEST(SequenceStatsCli, RealKinaseFamily) {
  const std::string msa = std::string(TEVO_SHARED_DATA) + "/msa/Pkinase_hmmsearch_uniprot20k.match_cols.afa";
  if (!std::ifstream(msa).good()) GTEST_SKIP() << "shared data absent";
  CliSandbox box;
  const auto run = box.run({"sequence_stats", "-msa", msa, "-jobname", "k", "-threads", "2"});
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(has(run.out, "-- Loaded 459 sequences of 260 sites from\n"));
  const auto files = box.files("tevo-output/k");
  const std::string& a3m = files.at("k_msa_trimmed.a3m");
  // 256 reference residues; sequences above 20% gaps are gone.
  std::size_t records = 0;
  for (char c : a3m) records += c == '>';
  EXPECT_TRUE(has(run.out, "-- Got " + std::to_string(records) + " trimmed sequences of 256 sites\n"));
  EXPECT_GT(records, 300u);
  EXPECT_LT(records, 459u);
  EXPECT_EQ(files.count("k_msa_trimmed.csv"), 1u);
  EXPECT_EQ(files.count("k_degree_of_conservation.csv"), 1u);
  EXPECT_EQ(files.count("k_sequence_similarity.csv"), 1u);
  // Conservation: one row per site after the heading.
  const std::string& cons = files.at("k_degree_of_conservation.csv");
  EXPECT_EQ(std::count(cons.begin(), cons.end(), '\n'), 257);
  // Similarity counts add up to all pairs (a pair of identity 0 has no bin).
  std::istringstream sim(files.at("k_sequence_similarity.csv"));
  std::string line;
  std::getline(sim, line);
  double pairs = 0;
  while (std::getline(sim, line)) pairs += std::stod(line.substr(line.find(',') + 1));
  EXPECT_LE(pairs, records * (records - 1) / 2.0);
  EXPECT_GT(pairs, 0.99 * records * (records - 1) / 2.0);

  const double neff = neff_of(a3m);
  char expected[64];
  std::snprintf(expected, sizeof expected, "%.6f", neff);
  std::string shown = expected;
  shown = shown.substr(0, shown.find('.') + 2);  // one decimal, cut as the program prints
  EXPECT_TRUE(has(run.out, "-- Got " + shown + " effective samples (80.0% identical neighborhood = 1.0 sample)"))
      << run.out << "\nexpected " << expected;
}
