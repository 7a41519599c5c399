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
  EXPECT_TRUE(has(run.out, "-- Error: where to locate the multiple sequence alignment (MSA) file?")) << run.out;
  EXPECT_TRUE(has(run.out,
                  "-- tevo sequence_eca -msa <string> -output <string>\n-- Options:\n-- -threads  <INT>\n"
                  "-- -max_iter <INT>\n-- -pdb      <STRING>\n-- -mat      <STRING>\n"
                  "-- -gap_frac <DOUBLE> percentage of gaps in each sequence\n"
                  "-- -site_gap_frac <DOUBLE> percentage of gaps at each site of aligned sequences\n"
                  "-- -threshold <DOUBLE> degree of conservation at a site\n"
                  "-- -offset   <STRING> offeset for amino acid index\n"))
      << run.out;
}

TEST(SequenceEcaCli, GlobinFamilyWithItsStructure) {
  CliSandbox box;
  auto run = box.run({"sequence_eca", "-msa", kGlobins, "-pdb", kHba, "-threshold", "2", "-max_iter", "15",
                      "-jobname", "eca", "-hlog", "1", "-threads", "2"},
                 kNoTools);
  ASSERT_EQ(run.status, 0) << run.out;
  EXPECT_FALSE(has(run.out, "no protein tertiary structure"));
  EXPECT_TRUE(has(run.out, "-- tevo sequence_eca\n-- -jobname eca\n-- -threads 2\n-- -max_iter 15\n"
                           "-- -threshold 2.000\n-- -gap_frac 0.200\n-- -site_gap_frac 1.000\n-- -offset 0\n"
                           "-- -msa " + kGlobins + "\n-- -pdb " + kHba + "\n-- -output "))
      << run.out;
  EXPECT_TRUE(has(run.out, "-- Got 603 trimmed sequences of 141 sites"));
  EXPECT_TRUE(has(run.out, "-- Computing probabilities from the bioligical sequence alignment done\n"));
  EXPECT_EQ(run.out.find('\0'), std::string::npos);  // console text only
  EXPECT_TRUE(has(run.out, "-- The evolutionary coupling potential can be found at:"));

  const auto files = box.files("tevo-output/eca");
  // 28 of the 141 sites are conserved above 2; the first is Val 10 of chain A.
  const std::string& potential = files.at("eca_sequence_potential.csv");
  EXPECT_TRUE(has(potential, "# Evolutionary coupling poteintials\n# TEVANA (Tevo version 2.6.9) \n"));
  EXPECT_TRUE(has(potential, "\n# V 10\n")) << potential.substr(0, 400);
  const std::string& scores = files.at("eca_amino_acid_coupling.csv");
  EXPECT_EQ(scores.substr(0, scores.find(',', 9)), "Coupling,V10");
  EXPECT_EQ(std::count(scores.begin(), scores.end(), '\n'), 1 + 28);
  for (const char* name : {"eca_amino_acid_coupling.json", "eca_amino_acid_coupling.html",
                           "eca_amino_acid_coupling_chord.html", "eca_amino_acid_coupling.py",
                           "eca_amino_acid_coupling.R", "eca_amino_acid_coupling.gp"})
    EXPECT_TRUE(files.count(name)) << name;
  const std::string& record = files.at("eca.log");
  EXPECT_TRUE(has(record, "1-1-1-0\nEvolutionary couplings of amino acids \n"
                          "Inferred evolutionary couplings between pairwise amino acids. \n"));

  // Communities from the score matrix, and on the structure.
  EXPECT_EQ(files.at("eca_residue_communities_chord.csv").rfind(
                "name,aaname,position,chain,domain,property,secstruct,community1,community2,function,image,"
                "conservation,coupling,",
                0),
            0u);
  for (const char* name : {"eca_residue_communities_mtx.csv", "eca_residue_communities_mtx_csum.csv",
                           "eca_residue_communities_mtx.html", "eca_residue_communities_chord.html",
                           "eca_residue_communities_structure.html", "eca_residue_communities_structure.pml"})
    EXPECT_TRUE(files.count(name)) << name;
  for (const char* title : {"Residue communities of amino acids\n", "Residue communities in chord plotting\n",
                            "Coupling score of each amino acid\n", "1-1-1-3\nResidue communities on the structure\n"})
    EXPECT_TRUE(has(record, title)) << title;
  run = box.run({"html", "-jobname", "eca"}, kNoTools);
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(box.read("tevo-output/eca/index.html"), "Residue communities on the structure"));

  run = box.run({"sequence_eca", "-msa", kGlobins, "-threshold", "2", "-max_iter", "2", "-jobname", "bare"}, kNoTools);
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out, "no protein tertiary structure for mapping estimated residue communities!"));
}

TEST(SequenceEcaCli, ThresholdAboveEverySiteStops) {
  CliSandbox box;
  const auto run = box.run({"sequence_eca", "-msa", kGlobins, "-threshold", "50", "-jobname", "none"}, kNoTools);
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(has(run.out, "-- Error: no site of " + kGlobins +
                               " has a degree of conservation above the threshold 50.000: nothing to fit"))
      << run.out;
}
