// Activations, solvers, losses and topology lines, each against values
// worked out by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "layers/activation.h"
#include "layers/layer.h"
#include "layers/solver.h"

using namespace tevo;

namespace {

TEST(Activation, FunctionsAndDerivativesAtTable) {
  struct Row {
    const char* name;
    double x, y, dy;  // f(x) and the derivative taken at y
  };
  const double e = std::exp(1.0);
  const Row rows[] = {
      {"identity", -2, -2, 1},
      {"tanh", 0.5, std::tanh(0.5), 1 - std::tanh(0.5) * std::tanh(0.5)},
      {"sigmoid", 1, 1 / (1 + 1 / e), (1 / (1 + 1 / e)) * (1 - 1 / (1 + 1 / e))},
      {"relu", -3, 0, 0},
      {"relu", 2, 2, 1},
      {"relu", 0, 0, 0},  // x = 0 stays 0 and takes the flat side
      {"lrelu", -2, -0.02, 0.01},
      {"lrelu", 0, 0, 0.01},
      {"vlrelu", -1, -0.33, 1},  // derivative 1 on both sides, as trained
      {"elu", -1, 0.1 * (1 / e - 1), 0.1 * std::exp(0.1 * (1 / e - 1))},  // exp of the output
      {"elu", 1.5, 1.5, 1},
  };
  for (const Row& r : rows) {
    std::unique_ptr<Activation<double>> f(new_activation_func<double>(r.name));
    ASSERT_TRUE(f) << r.name;
    double v[1] = {r.x - 0.25};
    f->func_act(v, 1, 0.25);  // the bias is added before the function
    EXPECT_NEAR(v[0], r.y, 1e-7) << r.name << " at " << r.x;  // float constants widened
    EXPECT_NEAR(f->func_deact(v, 0, 1), r.dy, 1e-7) << r.name << " at " << r.x;
  }
  EXPECT_EQ(new_activation_func<float>("Tanh"), nullptr);
  std::unique_ptr<Activation<float>> none(new_null_activation<float>());
  float v[2] = {3, -4};
  none->func_act(v, 2, 1.0f);
  EXPECT_EQ(v[0], 3);
  EXPECT_EQ(none->func_deact(v, 0, 2), 0);
}

TEST(Activation, SoftmaxAndTheInPlaceBrokemax) {
  std::unique_ptr<Activation<double>> soft(new_activation_func<double>("softmax"));
  double flat[4] = {2, 2, 2, 2};
  soft->func_act(flat, 4, 0.0);
  for (double p : flat) EXPECT_DOUBLE_EQ(p, 0.25);
  double big[2] = {1000, 999};  // the largest entry is subtracted first: no overflow
  soft->func_act(big, 2, 0.0);
  EXPECT_NEAR(big[0], 1 / (1 + std::exp(-1.0)), 1e-12);

  // brokemax on {1, 3}: p = 1. i = 0 uses m = 3 and the sum over {1, 3};
  // i = 1 then sees the new entry 0 in its sum.
  std::unique_ptr<Activation<double>> broke(new_activation_func<double>("brokemax"));
  double v[2] = {1, 3};
  broke->func_act(v, 2, 0.0);
  const double v0 = std::exp(-2.0) / (std::exp(-2.0) + 1);
  EXPECT_NEAR(v[0], v0, 1e-12);
  EXPECT_NEAR(v[1], 1 / (std::exp(v0 - 3) + 1), 1e-12);
}

TEST(Solver, OneStepOfEachRule) {
  const double r = 0.5, g = 0.2, w0 = 1.0;
  struct Row {
    const char* name;
    double expected;
  };
  const double s_rms = (1 - 0.999f) * g * g;
  const Row rows[] = {
      {"sgd", w0 - (0.01f * w0 + g) * r},
      {"rmsprop", w0 - 0.01f * r * g / (std::sqrt(s_rms) + 1e-8f)},
      {"adagrad", w0 - r * g / (std::sqrt(g * g) + 1e-8f)},
      // adam after one reset: b1t = 0.81, b2t = 0.998001
      {"adam", w0 - 0.1f * r * ((1 - 0.9f) * g / (1 - 0.9f * 0.9f)) /
                        (std::sqrt((1 - 0.999f) * g * g / (1 - 0.999f * 0.999f)) + 1e-8f)},
  };
  for (const Row& row : rows) {
    std::unique_ptr<Solver<double>> s(new_solver<double>(row.name));
    ASSERT_TRUE(s);
    EXPECT_FLOAT_EQ(s->learning_rate, 0.01f);
    s->learning_rate = r;
    s->push_back(3, 1, 1);
    s->reset();
    LMatrix<double> w(3, 1, 1), dw(3, 1, 1);
    w.fill(w0);
    dw.fill(g);
    s->increment_w(&w, 0, dw, 1.0);
    EXPECT_NEAR(w.x[2], row.expected, 1e-6) << row.name;
  }
  EXPECT_EQ(new_solver<float>("Adam"), nullptr);
}

TEST(Solver, AdamResetsStepTheCorrectionAndSgdDecaysAtZeroGradient) {
  Adam<double> adam;
  for (int i = 0; i < 3; ++i) adam.reset();
  EXPECT_NEAR(adam.b1t, std::pow(0.9f, 4), 1e-6);
  EXPECT_NEAR(adam.b2t, std::pow(0.999f, 4), 1e-6);

  std::unique_ptr<Solver<float>> sgd(new_solver<float>("sgd"));
  LMatrix<float> w(2, 2, 1), zero(2, 2, 1);
  w.fill(2);
  sgd->increment_w(&w, 0, zero, 1);
  EXPECT_FLOAT_EQ(w.x[3], 2 - 0.01f * 2 * 0.01f);
}

TEST(Loss, CostsDerivativesAndMatchLabels) {
  const LossFunction* mse = new_loss_func("mse");
  const LossFunction* ce = new_loss_func(std::string("cross_entropy"));
  ASSERT_TRUE(mse && ce);
  EXPECT_FLOAT_EQ(mse->cost(0.5f, 1), 0.125f);
  EXPECT_FLOAT_EQ(mse->d_cost(0.5f, 1), -0.5f);
  EXPECT_FLOAT_EQ(ce->cost(0.25f, 1), -std::log(0.25f));
  EXPECT_FLOAT_EQ(ce->d_cost(0.25f, 1), -0.75f / (0.75f * 0.25f));
  EXPECT_EQ(new_loss_func("hinge"), nullptr);
  EXPECT_EQ(new_loss_func(static_cast<const char*>(nullptr)), nullptr);

  const double out[4] = {0.1, 0.7, 0.7, 0.2}, target[4] = {0, 1, 0, 0};
  int index = -1;
  EXPECT_DOUBLE_EQ(match_labels(out, target, 4, &index), (0.01 + 0.09 + 0.49 + 0.04) / 2);
  EXPECT_EQ(index, 1);  // the first of equal outputs
}

TEST(Layer, TopologyLinesAndTheirConfigStrings) {
  struct Row {
    const char* line;
    const char* config;  // null: the line makes no layer
  };
  const Row rows[] = {
      {"input 28 28 1", "input 28 28 1\n"},
      {"fully_connected 10 tanh", "fully_connected 10 tanh\n"},
      {"softmax 3", "fully_connected 3 softmax\n"},
      {"brokemax 4", "fully_connected 4 brokemax\n"},
      {"convolution 5 20 1 elu", "convolution 5 20 1 elu\n"},
      {"group_convolution 3 8 1 2 relu", "group_convolution 3 8 1 2 relu\n"},
      {"deepcnet 3 16 lrelu", "deepcnet 3 16 lrelu\n"},
      {"max_pool 3", "max_pool 3 3\n"},  // stride optional: the pool size
      {"max_pool 2 5", "max_pool 2 2\n"},  // a stride above the pool is the pool
      {"semi_stochastic_pool 2 1", "semi_stochastic_pool 2 1\n"},
      {"mfm 2", "mfm 2\n"},
      {"shuffle 4", "shuffle 4\n"},
      {"dropout 0.4", "dropout 0.4\n"},
      {"concatenate 8 edge", "concatenate 8 edge\n"},
      {"resize 8 median", "concatenate 8 median_edge\n"},
      {"concatenate 8 whatever", "concatenate 8 zero\n"},
      {"fully_connected 0 tanh", nullptr},
      {"softmax -1", nullptr},
      {"fully_connected 10 tahn", nullptr},
      {"convolution 5 x 1 elu", nullptr},
      {"input 28 28", nullptr},
      {"dropout 1.5", nullptr},
      {"pooling 2", nullptr},
      {"", nullptr},
  };
  for (const Row& row : rows) {
    testing::internal::CaptureStdout();
    std::unique_ptr<base_layer<float>> layer(new_layer<float>("x", row.line));
    const std::string said = testing::internal::GetCapturedStdout();
    if (!row.config) {
      EXPECT_EQ(layer, nullptr) << row.line;
      EXPECT_NE(said.find("Error:"), std::string::npos) << row.line;
      continue;
    }
    ASSERT_TRUE(layer) << row.line << said;
    EXPECT_EQ(layer->get_config_string(), row.config);
  }
}

TEST(LMatrix, AlignedChannelsFlipsAndShifts) {
  LMatrix<float> m(3, 2, 3);
  EXPECT_EQ(m.chan_stride, 8);
  for (int c = 0; c < 3; ++c) EXPECT_EQ(reinterpret_cast<std::uintptr_t>(m.channel(c)) % 32, 0u);
  for (int i = 0; i < 6; ++i) m.channel(1)[i] = static_cast<float>(i);  // rows {0 1 2}, {3 4 5}
  EXPECT_EQ(m.flip_cols().at(0, 1, 1), 5);
  EXPECT_EQ(m.flip_rows().at(0, 0, 1), 3);
  const LMatrix<float> right = m.shift(1, 0, 0), edge = m.shift(1, 0, 1);
  EXPECT_EQ(right.at(0, 0, 1), 0);
  EXPECT_EQ(right.at(2, 1, 1), 4);
  EXPECT_EQ(edge.at(0, 1, 1), 3);
  EXPECT_EQ(m.crop(1, 1, 2, 1).at(1, 0, 1), 5);
  LMatrix<double> tiny;
  tiny.resize(0, -2, 0);
  EXPECT_EQ(tiny.size(), 1);
}

}  // namespace
