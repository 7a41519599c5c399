// sequence_converter, sequence_trim and sequence_stats as a user runs them:
// refusals, the files of a job, a real protein family, and bad inputs.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "cli/cli_runner.h"

using tevo_test::CliSandbox;

namespace {

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

const char* kTinyAlignment = ">ref\nMK-LVA\n>a\nmkQLVA\n>b\nMK-LV-\n>c\n--xL--\n";
const std::string kShared = TEVO_SHARED_DATA;
// The chart scripts are run by the report tests; here they are only written.
const char* kNoTools = "PATH=/nonexistent";

}  // namespace

TEST(SequenceConverterCli, EveryRefusal) {
  CliSandbox box;
  // Each refusal names what is missing, then the usage; the status stays 0.
  struct Case {
    std::vector<std::string> args;
    std::string block;
  } cases[] = {
      {{"sequence_converter"}, "-- I found errors and list them below!\n-- Error: where to locate the "
                               "jackhmmer/psi-blast output sequence file?\n-- Error: which type?\n"},
      {{"sequence_converter", "-type", "1"}, "-- Warning: jackhmmer -E 0.01 --popen 0.25 --pextend 0.4 -A "},
      {{"sequence_converter", "-type", "2"}, "-- Error: where to locate the blast output sequence file?\n"},
      {{"sequence_converter", "-type", "3"}, "-- I found an error and list it below!\n-- Usage:"},
      {{"sequence_converter", "-msa", "x.sto", "-type", "4"}, "-- Error: which type?\n-- Usage:"},
      {{"sequence_converter", "-msa", "x.sto"}, "-- I found an error and list it below!\n-- Error: which type?\n"},
  };
  for (const Case& c : cases) {
    const auto run = box.run(c.args);
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(has(run.out, c.block)) << run.out;
    EXPECT_TRUE(has(run.out, "-- Options:\n-- -type  <INT>: 1 for jackhmmer output, 2 for PSIBLAST output\n"));
    EXPECT_FALSE(has(run.out, "Invocation:"));
  }
}

TEST(SequenceConverterCli, ThreeTypesWriteTheirFiles) {
  CliSandbox box;
  box.write("j.sto", "# STOCKHOLM 1.0\nHBB_HUMAN   ..VHLT\nHBA_HUMAN   ..VLSP\n//\n");
  auto run = box.run({"sequence_converter", "-type", "1", "-msa", "j.sto", "-jobname", "c"});
  EXPECT_EQ(run.status, 0);
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
}

TEST(SequenceTrimCli, RefusalAndTheFilesOfAJob) {
  CliSandbox box;
  auto run = box.run({"sequence_trim"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "-- Error: where to locate the multiple sequence alignment (MSA) file?\n-- Usage:\n"
                           "-- tevo sequence_trim -msa <STRING> -output <STRING|optional>\n"))
      << run.out;

  box.write("t.fasta", kTinyAlignment);
  run = box.run({"sequence_trim", "-msa", "t.fasta", "-jobname", "t", "-offset", "10", "-hlog", "1"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "-- -gap_frac 0.200\n-- -site_gap_frac 1.000\n")) << run.out;  // the defaults
  // c has 4 of 5 gaps after projection and goes; b has 1 of 5 (0.2) and stays.
  EXPECT_TRUE(has(run.out, "-- Got 3 trimmed sequences of 5 sites\n"));
  EXPECT_FALSE(has(run.out, "Loaded"));  // no summary without the report
  const auto files = box.files("tevo-output/t");
  EXPECT_EQ(files.at("t_msa_trimmed.a3m"), ">ref\nMKLVA\n>a\nMKLVA\n>b\nMKLV-\n");
  EXPECT_EQ(files.at("t_msa_trimmed.csv"),
            " ,M10,K11,L12,V13,A14\nseq1,13,12,11,20,1\nseq2,13,12,11,20,1\nseq3,13,12,11,20,0\n");
  EXPECT_EQ(files.count("t_msa_trimmed.gp"), 1u);
  EXPECT_EQ(files.count("t.log"), 0u);  // the trim command writes no report block
}

TEST(SequenceStatsCli, RefusalStructureLabelsAndRecord) {
  CliSandbox box;
  auto run = box.run({"sequence_stats"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "-- Error: where to locate the multiple sequence alignment (MSA) file?\n-- Usage:\n"
                           "-- tevo sequence_stats -msa <STRING>' -output <STRING|optional>\n"))
      << run.out;

  box.write("t.fasta", kTinyAlignment);
  box.write("s.pdb",
            "ATOM      1  CA  MET A  21      11.639   6.071  -5.147  1.00  0.00           C\n"
            "ATOM      2  CA  LYS A  22      11.639   6.071  -5.147  1.00  0.00           C\n"
            "ATOM      3  CA  LEU A  23      11.639   6.071  -5.147  1.00  0.00           C\n"
            "ATOM      4  CA  VAL A  24      11.639   6.071  -5.147  1.00  0.00           C\n"
            "ATOM      5  CA  ALA A  25      11.639   6.071  -5.147  1.00  0.00           C\n");
  run = box.run({"sequence_stats", "-msa", "t.fasta", "-pdb", "s.pdb", "-jobname", "s", "-hlog", "1"}, kNoTools);
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "-- Loaded 4 sequences of 6 sites from\n-- t.fasta\n")) << run.out;
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
  // The record: the three charts in order, then the sample quality; the
  // conservation caption runs on into the name of its files.
  const std::string& record = files.at("s.log");
  const std::string dir = box.path() + "/tevo-output/s/";
  const std::size_t msa = record.find("1-1-1-1\nMultiple sequence alignment\nMultiple sequence alignment. Small"),
                    sim_at = record.find("\n1-1-1-0\nSequence similarity\nDistribution of similarities between "
                                         "pairwise sequences.\n" + dir + "s_sequence_similarity\n1-1-1-2\n"),
                    cons = record.find("\n1-1-1-2\nDegree of conservation\nDegree of conservation at each single site "
                                       "(not included gaps). degree_of_conservation\n#WLA#\n");
  EXPECT_TRUE(msa == 0 && msa < sim_at && sim_at < cons && cons != std::string::npos) << record;
  EXPECT_TRUE(has(record, dir + "s_msa_trimmed\n"));

  run = box.run({"sequence_stats", "-msa", "t.fasta", "-pdb", "missing.pdb"});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(has(run.out, "-- Error: cannot open missing.pdb"));
}

TEST(SequenceStatsCli, RealKinaseFamily) {
  const std::string msa = std::string(TEVO_SHARED_DATA) + "/msa/Pkinase_hmmsearch_uniprot20k.match_cols.afa";
  if (!std::ifstream(msa).good()) GTEST_SKIP() << "shared data absent";
  CliSandbox box;
  const auto run = box.run({"sequence_stats", "-msa", msa, "-jobname", "k", "-threads", "2"}, kNoTools);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(has(run.out, "-- Loaded 459 sequences of 260 sites from\n"));
  const auto files = box.files("tevo-output/k");
  const std::string& a3m = files.at("k_msa_trimmed.a3m");
  // 256 reference residues; sequences above 20% gaps are gone.
  const std::size_t records = std::count(a3m.begin(), a3m.end(), '>');
  EXPECT_TRUE(has(run.out, "-- Got " + std::to_string(records) + " trimmed sequences of 256 sites\n"));
  EXPECT_TRUE(records > 300u && records < 459u) << records;
  // Conservation: one row per site after the heading.
  const std::string& cons = files.at("k_degree_of_conservation.csv");
  EXPECT_EQ(std::count(cons.begin(), cons.end(), '\n'), 257);
  // Similarity counts add up to all pairs (a pair of identity 0 has no bin).
  std::istringstream sim(files.at("k_sequence_similarity.csv"));
  double pairs = 0;
  for (std::string line; std::getline(sim, line);)
    if (line[0] != 'I') pairs += std::stod(line.substr(line.find(',') + 1));
  EXPECT_LE(pairs, records * (records - 1) / 2.0);
  EXPECT_GT(pairs, 0.99 * records * (records - 1) / 2.0);

  // The weights themselves are checked against a plain count in the unit tests.
  EXPECT_TRUE(has(run.out, "% identical neighborhood = 1.0 sample)\n"));
}

TEST(SequenceCli, BadInputsEndInAnError) {
  CliSandbox box;
  box.write("t.fasta", kTinyAlignment);
  box.write("nan.csv", "0.5 nan\n");
  box.write("short.fasta", ">ref\nMKLVA\n>short\nMKL\n");
  box.write("folder/x", "");
  const std::string blocks = kShared + "/msa/Pkinase_hmmsearch_uniprot20k.sto";
  const struct {
    std::vector<std::string> args;
    std::string message;
  } cases[] = {
      {{"sequence_converter", "-type", "1", "-msa", "missing.sto"}, "-- Error: cannot open missing.sto"},
      {{"sequence_trim", "-msa", "folder"}, "-- Error: folder is a directory, not a file\n"},
      {{"sequence_trim", "-msa", "short.fasta"}, "-- Error: short.fasta: sequence 2 >short has 3 sites, fewer than the 5"},
      {{"sequence_trim", "-msa", "t.fasta", "-gap_frac", "-1"}, "-- Error: no sequence will be saved!"},
      {{"sequence_stats", "-msa", "t.fasta", "-pdb", "folder"}, "-- Error: folder is a directory, not a file\n"},
      {{"sequence_eca", "-msa", "t.fasta", "-mat", "folder"}, "-- Error: folder is a directory, not a file\n"},
      {{"sequence_eca", "-msa", "t.fasta", "-mat", "nan.csv"}, "-- Error: nan.csv line 1 field 2: \"nan\" is not a finite"},
      {{"sequence_trim", "-msa", "t.fasta", "-site_gap_frac", "-1"},
       "-- Warning: no site of t.fasta is left after trimming (site_gap_frac -1.000)\n-- Error: no sequence will be "
       "saved!\n"},
      {{"sequence_converter", "-type", "1", "-msa", blocks},
       "line 1388: tr|A0A0P5CHS8|A0A0P5CHS8_9CRUS/52-322 already stands in an earlier block (line 467)"},
  };
  for (const auto& c : cases) {
    if (!std::ifstream(c.args.back()) && c.args.back() == blocks) continue;  // shared data absent
    const auto run = box.run(c.args, kNoTools);
    EXPECT_EQ(run.status, 1) << run.out;
    EXPECT_TRUE(has(run.out, c.message)) << run.out;
  }
  EXPECT_FALSE(box.exists("tevo-output/tevana_sequence_converter/tevana_sequence_converter.a3m"));
}
