// sequence_eca as a user runs it: the refusal, a run on a real globin family
// with the structure of its reference, and an impossible site selection.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "cli/cli_runner.h"

using tevo_test::CliSandbox;

namespace {

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

const std::string kGlobins = std::string(TEVO_EXAMPLES) + "/hba_globins.afa";
const std::string kHba = std::string(TEVO_EXAMPLES) + "/2hhb_A.pdb";

// The scripts of the charts are run by the report tests; here they are only written.
const char* kNoTools = "PATH=/nonexistent";

}  // namespace

TEST(SequenceEcaCli, RefusalListsItsOptions) {
  CliSandbox box;
  const auto run = box.run({"sequence_eca"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "-- I found an error and list it below!\n-- Error: where to locate the multiple sequence "
                           "alignment (MSA) file?"))
      << run.out;
  EXPECT_TRUE(has(run.out, "-- tevo sequence_eca -msa <string> -output <string>\n-- Options:\n")) << run.out;
  EXPECT_TRUE(has(run.out, "-- -mat      <STRING>\n")) << run.out;
}

TEST(SequenceEcaCli, GlobinFamilyWithItsStructure) {
  CliSandbox box;
  auto run = box.run({"sequence_eca", "-msa", kGlobins, "-pdb", kHba, "-threshold", "2", "-max_iter", "15",
                      "-jobname", "eca", "-hlog", "1", "-threads", "2"},
                 kNoTools);
  ASSERT_EQ(run.status, 0) << run.out;
  EXPECT_FALSE(has(run.out, "no protein tertiary structure"));
  EXPECT_TRUE(has(run.out, "-- Got 603 trimmed sequences of 141 sites"));
  EXPECT_TRUE(has(run.out, "-- Computing probabilities from the bioligical sequence alignment done\n"));
  EXPECT_TRUE(has(run.out, "-- The reference maps on chain A of " + kHba + " (141 of 141 reference residues"));
  // The run ends by saying how the fit ended.
  const std::size_t written = run.out.find("-- The evolutionary coupling potential can be found at:"),
                    end = run.out.find("-- Warning: L-BFGS stopped at the iteration limit (-max_iter 15) before "
                                       "converging; final objective ");
  EXPECT_TRUE(written < end && end != std::string::npos) << run.out;
  EXPECT_TRUE(has(run.out.substr(end), "\n-- \n-- Completed: sequence_eca")) << run.out.substr(end);

  const auto files = box.files("tevo-output/eca");
  // 28 of the 141 sites are conserved above 2; the first is Val 10 of chain A.
  const std::string& potential = files.at("eca_sequence_potential.csv");
  EXPECT_TRUE(has(potential, "# Evolutionary coupling poteintials\n# TEVANA (Tevo version 2.6.9) \n"));
  EXPECT_TRUE(has(potential, "\n# V 10\n")) << potential.substr(0, 400);
  const std::string& scores = files.at("eca_amino_acid_coupling.csv");
  EXPECT_EQ(scores.substr(0, scores.find(',', 9)), "Coupling,V10");
  EXPECT_EQ(std::count(scores.begin(), scores.end(), '\n'), 1 + 28);
  EXPECT_TRUE(files.count("eca_amino_acid_coupling.html"));
  const std::string& record = files.at("eca.log");
  EXPECT_TRUE(has(record, "1-1-1-0\nEvolutionary couplings of amino acids \n"));

  // Communities from the score matrix, and on the structure.
  EXPECT_EQ(files.at("eca_residue_communities_chord.csv").rfind("name,aaname,position,chain,", 0), 0u);
  EXPECT_TRUE(files.count("eca_residue_communities_structure.pml"));
  EXPECT_TRUE(has(record, "Residue communities in chord plotting\n"));
  EXPECT_TRUE(has(record, "1-1-1-3\nResidue communities on the structure\n"));
  run = box.run({"html", "-jobname", "eca"}, kNoTools);
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(box.read("tevo-output/eca/index.html"), "Residue communities on the structure"));

  run = box.run({"sequence_eca", "-msa", kGlobins, "-threshold", "2", "-max_iter", "2", "-jobname", "bare"}, kNoTools);
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "no protein tertiary structure for mapping estimated residue communities!"));
}

TEST(SequenceEcaCli, NoSiteAboveTheThresholdIsAlreadyMinimized) {
  CliSandbox box;
  const auto run = box.run({"sequence_eca", "-msa", kGlobins, "-threshold", "50", "-jobname", "none"}, kNoTools);
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "-- Warning: no site of " + kGlobins +
                               " has a degree of conservation above the threshold 50.000: nothing to fit, no coupling "
                               "will be written\n"))
      << run.out;
  EXPECT_TRUE(has(run.out, "-- Optimizing paramters (initial loss 0.000000) ...\n-- Warning: already minimized!\n"));
  EXPECT_FALSE(box.exists("tevo-output/none/none_sequence_potential.csv"));
}
