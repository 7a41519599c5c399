// Analytic weight and bias gradients of small networks against central
// differences of the loss that the output delta belongs to.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "layers/net_fixture.h"

using layers_test::make_net;
using layers_test::wave;
using tevo::Network;

namespace {

struct Case {
  const char* what;
  std::vector<std::string> topology;
  const char* loss;
};

// The loss whose gradient the output delta is: squared error for "mse";
// binary cross entropy per output for sigmoid, the multi-class one for softmax.
double objective(const double* out, const std::vector<double>& target, const std::string& loss, bool softmax) {
  double sum = 0;
  for (std::size_t i = 0; i < target.size(); ++i) {
    if (loss == "mse")
      sum += 0.5 * (out[i] - target[i]) * (out[i] - target[i]);
    else if (softmax)
      sum -= target[i] * std::log(out[i]);
    else
      sum -= target[i] * std::log(out[i]) + (1 - target[i]) * std::log(1 - out[i]);
  }
  return sum;
}

void PrintTo(const Case& c, std::ostream* out) { *out << c.what; }

class GradientCheck : public testing::TestWithParam<Case> {};

TEST_P(GradientCheck, AnalyticGradientsMatchCentralDifferences) {
  const Case& c = GetParam();
  auto net = make_net<double>(c.topology);
  net->set_smart_training(false);
  net->set_mini_batch_size(4);  // the gradient stays in the batch: no update yet
  net->epoch_start(c.loss);
  int w = 0, h = 0, ch = 0;
  net->get_input_size(&w, &h, &ch);
  std::vector<double> in = wave<double>(w * h * ch, 0.3);
  const int label = 1, outputs = net->get_output_size();
  const std::string act = net->layer_sets[0].back()->activation->name;
  const double off = act == "tanh" ? -1 : 0;
  std::vector<double> target(outputs, off);
  target[label] = 1;
  ASSERT_EQ(net->train_class(in.data(), label, 0), 1);

  const double step = 1e-6;
  double worst = 0;
  auto cost = [&] { return objective(net->forward(in.data(), 0, 0), target, c.loss, act == "softmax"); };
  auto check = [&](double* value, double analytic, const std::string& where) {
    const double keep = *value;
    *value = keep + step;
    const double up = cost();
    *value = keep - step;
    const double down = cost();
    *value = keep;
    const double numeric = (up - down) / (2 * step);
    worst = std::max(worst, std::fabs(analytic - numeric) / std::max(1e-3, std::fabs(numeric)));
    // Central differences are exact to O(step^2); 1e-6 relative leaves room for rounding.
    EXPECT_NEAR(analytic, numeric, 1e-6 * std::max(1.0, std::fabs(numeric))) << c.what << " " << where;
  };
  int checked = 0;
  for (std::size_t l = 0; l < net->W.size(); ++l) {
    tevo::LMatrix<double>* weights = net->W[l];
    if (!weights) continue;
    // Every third weight keeps the test short; all layers and rows are hit.
    for (int i = 0; i < weights->size(); i += 3, ++checked)
      check(weights->x + i, net->dW_sets[0][l].x[i], "link " + std::to_string(l) + " weight " + std::to_string(i));
  }
  auto& layers = net->layer_sets[0];
  for (std::size_t k = 0; k < layers.size(); ++k)
    for (int i = 0; layers[k]->use_bias() && i < layers[k]->bias.size(); ++i, ++checked)
      check(layers[k]->bias.x + i, net->dbias_sets[0][k].x[i], "layer " + layers[k]->name + " bias");
  EXPECT_GE(checked, 20);
  char worst_text[32];
  std::snprintf(worst_text, sizeof(worst_text), "%.2e", worst);
  RecordProperty("max_relative_deviation", worst_text);
}

INSTANTIATE_TEST_SUITE_P(
    SmallNetworks, GradientCheck,
    testing::Values(
        Case{"fully connected, mse", {"input 5 1 1", "fully_connected 6 tanh", "fully_connected 3 sigmoid"}, "mse"},
        Case{"fully connected, mse on tanh", {"input 4 2 1", "fully_connected 5 relu", "fully_connected 3 tanh"}, "mse"},
        Case{"fully connected, cross entropy sigmoid",
             {"input 5 1 1", "fully_connected 6 lrelu", "fully_connected 3 sigmoid"}, "cross_entropy"},
        Case{"fully connected, cross entropy softmax",
             {"input 6 1 1", "fully_connected 5 tanh", "fully_connected 4 sigmoid", "softmax 3"}, "cross_entropy"},
        Case{"convolution, mse",
             {"input 6 6 2", "convolution 3 3 1 tanh", "max_pool 2 2", "fully_connected 3 sigmoid"}, "mse"},
        Case{"convolution, cross entropy",
             {"input 7 7 2", "group_convolution 2 4 2 2 tanh", "shuffle 2", "deepcnet 2 2 tanh", "softmax 3"},
             "cross_entropy"}),
    [](const testing::TestParamInfo<Case>& info) { return "case" + std::to_string(info.index); });

}  // namespace
