// `tevo pross` as a user runs it: refusals, training on small feature files
// with its job files, prediction with the written and the shipped model,
// and bad inputs.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "cli/cli_runner.h"

using tevo_test::CliSandbox;

namespace {

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// Ten chains of 30 residues whose class follows the residue type, so that
// even a short training run learns it: helix formers H, strand formers E.
void write_chains(const CliSandbox& box, bool labelled) {
  const std::string letters = "AELMKVIYFTGPNDS";
  std::string list;
  for (int f = 0; f < 10; ++f) {
    std::ostringstream rows;
    for (int r = 0; r < 30; ++r) {
      const char aa = letters[(f * 7 + r * 3) % letters.size()];
      const int cls = std::string("AELMK").find(aa) != std::string::npos   ? 1
                      : std::string("VIYFT").find(aa) != std::string::npos ? 2
                                                                          : 0;
      rows << aa << "," << (cls == 1 ? 20 : 0) << "," << (cls == 2 ? 20 : 0) << "," << (r % 5) * 4;
      if (labelled) rows << "," << cls;
      rows << "\n";
    }
    box.write("data/chain" + std::to_string(f) + ".csv", rows.str());
    list += "chain" + std::to_string(f) + "\n";
  }
  box.write("data/list.txt", list);
}

TEST(Pross, RefusesWithTheUsageAndTheSolverList) {
  CliSandbox box;
  const auto run = box.run({"pross", "-output", box.path()});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(has(run.out,
                  "-- found error(s) and as listed below!\n-- Error: where to locate the data?\n"
                  "-- Error: where to locate the model configuration?\n-- have no idea what to do!\n-- Usage:\n"
                  "-- tevo pross -phase <INT> -dirt <STRING> -cfg <STRING>\n"
                  "-- Support optimizers: 1) SGD, 2) RMSPROP, 3) ADAGRAD, and 4) Adam\n"))
      << run.out;
  EXPECT_FALSE(has(run.out, "Completed"));
  const auto solver = box.run({"pross", "-phase", "0", "-dirt", "d", "-cfg", "c", "-solver", "7"});
  EXPECT_TRUE(has(solver.out, "Error: unknown solver \"7\"")) << solver.out;
  EXPECT_FALSE(has(solver.out, "Invocation:"));
}

TEST(Pross, TrainsThenPredictsWithItsOwnModel) {
  CliSandbox box;
  write_chains(box, true);
  box.write("topology.txt", "input 4 8 1\nfully_connected 12 tanh\nsoftmax 3\n");
  const auto train = box.run({"pross", "-phase", "0", "-dirt", "data", "-cfg", "topology.txt", "-win", "7",
                              "-echo", "3", "-mbs", "4", "-solver", "4", "-jobname", "ss", "-hlog", "1"});
  ASSERT_EQ(train.status, 0) << train.out;
  EXPECT_TRUE(has(train.out, "-- tevo pross\n-- -jobname ss\n-- -threads 1\n-- -win 7\n")) << train.out;
  EXPECT_TRUE(has(train.out, "Warning: the ratio of training and validation is set to 9:1"));
  EXPECT_TRUE(has(train.out, "of echo 3 in")) << train.out;
  EXPECT_TRUE(has(train.out, "-- Test accuracy is "));
  for (const char* file : {"ss_1.model", "ss_3.model", "ss_pross.html", "ss.log"})
    EXPECT_TRUE(box.exists("tevo-output/ss/" + std::string(file))) << file;
  EXPECT_TRUE(has(box.read("tevo-output/ss/ss.log"),
                  "1-1-1-0\nTraining on the data\nAccuracies of training and test on the data.\npross\n"));

  write_chains(box, false);
  const auto predict = box.run({"pross", "-phase", "1", "-dirt", "data", "-cfg", "tevo-output/ss/ss_3.model", "-win",
                                "7", "-jobname", "ss_predict"});
  ASSERT_EQ(predict.status, 0) << predict.out;
  const std::size_t at = predict.out.find("-- The predicted secondary structure are\n-- ");
  ASSERT_NE(at, std::string::npos) << predict.out;
  const std::string letters = predict.out.substr(at + 44, predict.out.find('\n', at + 44) - at - 44);
  EXPECT_EQ(letters.size(), 300u);
  EXPECT_EQ(letters.find_first_not_of("CHE"), std::string::npos) << letters;
  const std::string fasta = box.read("tevo-output/ss_predict/ss_predict_pross.fasta");
  EXPECT_EQ(fasta.substr(0, 39), ">chain0\n" + letters.substr(0, 30) + "\n");

  // The window must match the model's input layer.
  const auto mismatch = box.run({"pross", "-phase", "1", "-dirt", "data", "-cfg", "tevo-output/ss/ss_3.model"});
  EXPECT_EQ(mismatch.status, 1);
  EXPECT_TRUE(has(mismatch.out, "Error: tevo-output/ss/ss_3.model: the network takes 32 inputs, but a sample of window 15"))
      << mismatch.out;
}

TEST(Pross, BadFeatureFilesStopWithTheirLine) {
  CliSandbox box;
  box.write("topology.txt", "input 4 2 1\nsoftmax 3\n");
  const struct {
    const char* rows;
    const char* message;
  } cases[] = {
      {"A,1,2,0\nG,1,0\n", "data/x.csv line 2: 3 fields where the first row has 4"},
      {"A,1,2,0\nG,1,2,H\n", "data/x.csv line 2: the class \"H\" is not a whole number"},
      {"A,0\n", "data/x.csv line 1: a row needs the residue, at least one feature and the class"},
  };
  for (const auto& c : cases) {
    box.write("data/list.txt", "x\n");
    box.write("data/x.csv", c.rows);
    const auto run = box.run({"pross", "-phase", "0", "-dirt", "data", "-cfg", "topology.txt", "-win", "1"});
    EXPECT_EQ(run.status, 1) << c.rows;
    EXPECT_TRUE(has(run.out, std::string("Error: ") + c.message)) << run.out;
  }
  const auto missing = box.run({"pross", "-phase", "0", "-dirt", "nowhere", "-cfg", "topology.txt"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_TRUE(has(missing.out, "Error: cannot open nowhere/list.txt")) << missing.out;
}

// The shipped model on ubiquitin's features (made by scripts/pross_features.sh
// from 1ubq; ubiquitin is one of the training chains).
TEST(Pross, ShippedModelPredictsUbiquitin) {
  CliSandbox box;
  std::ifstream in(tevo_test::test_data("pross/1ubq_A.csv"));
  std::string line, truth, features;
  while (std::getline(in, line)) {
    const std::size_t comma = line.rfind(',');
    truth += "CHE"[line[comma + 1] - '0'];
    features += line.substr(0, comma) + "\n";
  }
  box.write("data/list.txt", "1ubq_A\n");
  box.write("data/1ubq_A.csv", features);
  const auto run = box.run({"pross", "-phase", "1", "-dirt", "data", "-cfg",
                            std::string(TEVO_SOURCE_DIR) + "/data/pross/pross.model", "-jobname", "ubq"});
  ASSERT_EQ(run.status, 0) << run.out;
  const std::string fasta = box.read("tevo-output/ubq/ubq_pross.fasta");
  const std::string predicted = fasta.substr(fasta.find('\n') + 1, 76);
  ASSERT_EQ(predicted.size(), truth.size());
  int right = 0, counts[128] = {};
  for (std::size_t i = 0; i < truth.size(); ++i) right += predicted[i] == truth[i], ++counts[int(truth[i])];
  const int majority = std::max({counts[int('C')], counts[int('H')], counts[int('E')]});
  EXPECT_GT(right, majority + 10) << predicted << "\n" << truth;  // clearly above the majority class
}

}  // namespace
