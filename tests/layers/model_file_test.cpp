// Model files: a trained network read back predicts as before; topology
// lists; every kind of damaged model file stops with an error line.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "layers/net_fixture.h"
#include "util/exit_with.h"

using layers_test::wave;
using tevo::Network;

namespace {

std::string temp_stem(const std::string& what) {
  return testing::TempDir() + "/model_" + what + "_" + std::to_string(getpid());
}

std::string slurp(const std::string& path) {
  std::ifstream in(path);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

void put(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

// A convolutional network trained for one epoch on 30 samples.
std::string trained_model(std::vector<std::vector<float>>* inputs, std::vector<int>* classes) {
  const std::string topology = temp_stem("topology") + ".txt";
  put(topology, "# a comment line\ninput 5 5 1\n\nconvolution 3 2 1 tanh\nmax_pool 3\nfully_connected 4 elu\nsoftmax 3\n");
  Network<float> net("adam");
  net.read(topology, "configure");
  EXPECT_EQ(net.layer_graph.front().first, "1");  // names are the line numbers
  net.set_mini_batch_size(4);
  net.epoch_start("cross_entropy");
  for (int s = 0; s < 30; ++s) {
    inputs->push_back(wave<float>(25, 0.51 * s));
    net.train_class(inputs->back().data(), s % 3, 0);
  }
  net.epoch_end();
  for (const auto& in : *inputs) classes->push_back(net.predict_class(in.data()));
  const std::string stem = temp_stem("trained");
  net.write(stem, ".model");
  return stem + ".model";
}

TEST(ModelFile, WrittenAfterOneEpochReadsBackAndPredictsTheSame) {
  std::vector<std::vector<float>> inputs;
  std::vector<int> classes;
  const std::string file = trained_model(&inputs, &classes);
  const std::string text = slurp(file);
  EXPECT_EQ(text.rfind("# Learned model\n", 0), 0u) << text.substr(0, 80);
  EXPECT_NE(text.find("# graph of layer\n4\n1, 2\n2, 3\n3, 4\n4, 5\n# bias\n"), std::string::npos);

  Network<float> back("");
  back.read(file, "graph");
  ASSERT_EQ(back.layer_sets[0].size(), 5u);
  for (std::size_t i = 0; i < inputs.size(); ++i) EXPECT_EQ(back.predict_class(inputs[i].data()), classes[i]) << i;
  Network<float> ignored("");
  ignored.read(file, "Graph");  // mode words are exact: nothing happens
  EXPECT_TRUE(ignored.layer_sets[0].empty());
}

TEST(ModelFile, DamagedFilesStopWithAnErrorLine) {
  std::vector<std::vector<float>> inputs;
  std::vector<int> classes;
  const std::string good = slurp(trained_model(&inputs, &classes));
  const std::size_t bias = good.find("# bias");
  const std::size_t links = good.find("# graph of layer");
  struct Row {
    const char* what;
    std::string text;
    const char* message;
  };
  const Row rows[] = {
      {"empty", "# nothing\n", "not a model file"},
      {"cut in the values", good.substr(0, good.size() - 40), "values where its layers need"},
      {"cut in the layers", good.substr(0, links - 30), "cut short"},
      {"extra value", good + "0.5\n", "values where its layers need"},
      {"word for a value", good.substr(0, bias) + "# bias\nabc\n" + good.substr(good.find('\n', bias + 7) + 1),
       "is not a number"},
      {"unknown link", good.substr(0, links) + "# graph of layer\n4\n1, 9\n" + good.substr(good.find("2, 3\n")),
       "does not join two layers"},
      {"bad layer line", [&] {
         std::string t = good;
         t.replace(t.find("fully_connected 4 elu"), 21, "fully_connected 4 elf");
         return t;
       }(), "is not a valid layer"},
      {"kernel too large", [&] {
         std::string t = good;
         t.replace(t.find("convolution 3 2 1"), 17, "convolution 7 2 1");
         return t;
       }(), "cannot take the output"},
  };
  for (const Row& row : rows) {
    const std::string path = temp_stem("damaged") + ".model";
    put(path, row.text);
    SCOPED_TRACE(row.what);
    EXPECT_EXIT_1(
        {
          Network<float> net("");
          net.read(path, "graph");
        },
        std::string("Error: .*") + row.message);
  }
  EXPECT_EXIT_1(
      {
        Network<float> net("");
        net.read(temp_stem("absent"), "graph");
      },
      "Error: cannot open");
}

}  // namespace
