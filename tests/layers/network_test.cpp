// Network<T> training rules: threads against the serial oracle, smart
// training, rate lowering, prediction ties and the configuration text.
#include <gtest/gtest.h>
#include <omp.h>

#include "layers/net_fixture.h"

using layers_test::make_net;
using layers_test::wave;
using tevo::Network;

namespace {

const std::vector<std::string> kSmall = {"input 6 2 1", "fully_connected 8 tanh", "fully_connected 5 relu",
                                         "softmax 3"};
// Large enough a first layer for the layers' own loops to use threads.
const std::vector<std::string> kWide = {"input 600 1 1", "fully_connected 440 tanh", "fully_connected 5 relu",
                                        "softmax 3"};

// Trains 16 samples in one batch on `threads` threads of layer sets (or
// inside the layers) and returns every weight.
std::vector<double> weights_after_one_batch(int threads, bool internal) {
  auto net = make_net<double>(kWide, "sgd");
  net->set_smart_training(false);
  net->set_mini_batch_size(16);
  if (internal)
    net->enable_internal_threads(threads);
  else
    net->enable_external_threads(threads);
  net->epoch_start("cross_entropy");
  std::vector<std::vector<double>> inputs;
  for (int s = 0; s < 16; ++s) inputs.push_back(wave<double>(600, 0.37 * s));
#pragma omp parallel for num_threads(internal ? 1 : threads) schedule(dynamic, 1)
  for (int s = 0; s < 16; ++s) net->train_class(inputs[s].data(), s % 3, omp_get_thread_num());
  net->epoch_end();
  EXPECT_EQ(net->batch_updates, 1);
  EXPECT_EQ(net->train_samples, 16);
  std::vector<double> all;
  for (auto* w : net->W) all.insert(all.end(), w->x, w->x + w->size());
  for (auto* layer : net->layer_sets[0]) all.insert(all.end(), layer->bias.x, layer->bias.x + layer->bias.size());
  return all;
}

TEST(Network, ThreadsGiveTheSerialUpdate) {
  const std::vector<double> serial = weights_after_one_batch(1, false);
  for (bool internal : {false, true}) {
    const std::vector<double> parallel = weights_after_one_batch(2, internal);
    ASSERT_EQ(serial.size(), parallel.size());
    for (std::size_t i = 0; i < serial.size(); ++i)
      ASSERT_NEAR(serial[i], parallel[i], 1e-12) << (internal ? "internal " : "external ") << i;  // sum order only
  }
}

TEST(Network, BatchUpdatesAndSharedWeightsAcrossSets) {
  auto net = make_net<float>(kSmall);
  net->set_mini_batch_size(3);
  net->enable_external_threads(2);
  net->epoch_start("cross_entropy");
  const std::vector<float> in = wave<float>(12, 1.0);
  const std::vector<float> before(net->W[0]->x, net->W[0]->x + net->W[0]->size());
  for (int s = 0; s < 3; ++s) net->train_class(const_cast<float*>(in.data()), 2, s % 2);
  EXPECT_EQ(std::vector<float>(net->W[0]->x, net->W[0]->x + 5), std::vector<float>(before.begin(), before.begin() + 5))
      << "a batch is applied only when the next sample finds it full";
  net->train_class(const_cast<float*>(in.data()), 2, 0);
  EXPECT_EQ(net->batch_updates, 1);
  EXPECT_NE(net->W[0]->x[0], before[0]);
  // Both sets see the new bias and give the same output.
  const float* a = net->forward(in.data(), 0);
  const std::vector<float> out0(a, a + 3);
  const float* b = net->forward(in.data(), 1);
  EXPECT_EQ(out0, std::vector<float>(b, b + 3));
  testing::internal::CaptureStdout();
  EXPECT_EQ(net->train_class(const_cast<float*>(in.data()), 0, 2), 0);
  EXPECT_EQ(net->forward(in.data(), 5), nullptr);
  EXPECT_NE(testing::internal::GetCapturedStdout().find("need to enable threading"), std::string::npos);
}

TEST(Network, SmartTrainingLevelAndRateLowering) {
  auto net = make_net<double>(kSmall);
  net->epoch_start("mse");
  // 999 losses leave the level alone; the 1000th sets it from the sorted list.
  std::vector<double> in = wave<double>(12, 0.2);
  for (int i = 0; i < 999; ++i) net->train_class(in.data(), i % 3, 0);
  EXPECT_EQ(net->get_smart_train_level(), 0);
  net->train_class(in.data(), 0, 0);
  EXPECT_GT(net->get_smart_train_level(), 0);
  EXPECT_TRUE(net->loss_history.empty());

  // Five epochs without improvement halve the rate; the fourth halving stops
  // training, and going below the floor counts twice.
  net->set_learning_rate(0.01);
  net->best_correct = 1e9;
  int lowered = 0;
  while (!net->elvis_left_the_building() && lowered < 10) {
    net->no_improve = 5;
    net->epoch_start("mse");
    ++lowered;
  }
  EXPECT_EQ(lowered, 4);
  EXPECT_DOUBLE_EQ(net->get_learning_rate(), 0.01 / 16);
  net->stuck_counter = 0;
  net->set_learning_rate(1.5e-6);
  net->no_improve = 5;
  net->epoch_start("mse");
  EXPECT_EQ(net->stuck_counter, 2);
  EXPECT_DOUBLE_EQ(net->get_learning_rate(), 1e-6);
}

TEST(Network, PredictionTiesAndConfiguration) {
  auto net = make_net<float>({"input 2 1 1", "fully_connected 3 identity"}, "rmsprop");
  net->W[0]->fill(0);  // all outputs equal: the first wins
  const float in[2] = {1, 2};
  EXPECT_EQ(net->predict_class(in), 0);
  net->layer_sets[0][1]->bias.x[2] = 1;
  EXPECT_EQ(net->predict_class(in), 2);
  EXPECT_EQ(net->get_configuration(),
            "-- Network configuration\n-- mini-batch: 1\n-- solver: rmsprop\n"
            "-- Layer 0: input 2 1 1\n-- Layer 1: fully_connected 3 identity\n"
            "-- Links between layers\n-- 1 -> 2\n");
  EXPECT_EQ(net->get_layer_index("2"), 1);
  EXPECT_EQ(net->get_layer_index("9"), -1);
}

}  // namespace
