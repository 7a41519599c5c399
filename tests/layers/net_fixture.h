// Small networks built from topology lines, for the layer tests.
#pragma once

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "layers/network.h"

namespace layers_test {

// A network of the given topology lines, each linked to the next.
template <typename T>
std::unique_ptr<tevo::Network<T>> make_net(const std::vector<std::string>& lines,
                                           const std::string& solver = "adam") {
  auto net = std::make_unique<tevo::Network<T>>(solver);
  for (std::size_t i = 0; i < lines.size(); ++i) EXPECT_TRUE(net->layer_push_back(std::to_string(i + 1), lines[i]));
  net->connect_all();
  return net;
}

// Deterministic inputs in [-1, 1].
template <typename T>
std::vector<T> wave(int n, double phase) {
  std::vector<T> v(n);
  for (int i = 0; i < n; ++i) v[i] = static_cast<T>(std::sin(1.7 * i + phase));
  return v;
}

}  // namespace layers_test
