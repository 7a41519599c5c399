// new_layer: a layer from one line of topology text.
#include <memory>
#include <sstream>
#include <vector>

#include "layers/layer.h"
#include "util/console.h"

namespace tevo {
namespace {

// Whole numbers and rates of a line; a token that is not one fails the line.
struct Tokens {
  std::vector<std::string> words;
  bool ok = true;
  int integer(std::size_t i) {
    if (i >= words.size()) return fail();
    try {
      std::size_t used = 0;
      const int v = std::stoi(words[i], &used);
      if (used != words[i].size()) return fail();
      return v;
    } catch (const std::exception&) {
      return fail();
    }
  }
  float rate(std::size_t i) {
    if (i >= words.size()) return static_cast<float>(fail());
    try {
      return std::stof(words[i]);
    } catch (const std::exception&) {
      return static_cast<float>(fail());
    }
  }
  std::string word(std::size_t i) {
    if (i < words.size()) return words[i];
    fail();
    return "";
  }
  int fail() {
    ok = false;
    return 0;
  }
};

bool known_activation(const std::string& name) {
  std::unique_ptr<Activation<float>> probe(new_activation_func<float>(name));
  return probe != nullptr;
}

}  // namespace

template <typename T>
base_layer<T>* new_layer(const std::string& name, const std::string& config) {
  Tokens t;
  std::istringstream in(config);
  for (std::string w; in >> w;) t.words.push_back(w);
  const std::string type = t.words.empty() ? "" : t.words[0];

  std::unique_ptr<base_layer<T>> layer;
  std::string activation;
  if (type == "input") {
    const int w = t.integer(1), h = t.integer(2), c = t.integer(3);
    if (t.ok && (w < 1 || h < 1 || c < 1)) t.fail();
    layer.reset(new input_layer<T>(name, w, h, c));
  } else if (type == "fully_connected" || type == "softmax" || type == "brokemax") {
    const int nodes = t.integer(1);
    activation = type == "fully_connected" ? t.word(2) : type;
    if (t.ok && nodes < 1) {
      print_info(type == "brokemax" ? "brokemax layer has invalid output channels"
                 : type == "softmax" ? "softmax layer has invalid output channels"
                                     : "fully connected layer has invalid output channels",
                 9);
      return nullptr;
    }
    layer.reset(new fully_connected_layer<T>(name, nodes, activation));
  } else if (type == "convolution") {
    const int k = t.integer(1), maps = t.integer(2), stride = t.integer(3);
    activation = t.word(4);
    if (t.ok && (k < 1 || maps < 1 || stride < 1)) t.fail();
    layer.reset(new convolution_layer<T>(name, k, maps, stride, 1, activation, 1, type));
  } else if (type == "group_convolution") {
    const int k = t.integer(1), maps = t.integer(2), stride = t.integer(3), groups = t.integer(4);
    activation = t.word(5);
    if (t.ok && (k < 1 || maps < 1 || stride < 1 || groups < 1)) t.fail();
    layer.reset(new convolution_layer<T>(name, k, maps, stride, groups, activation, 1, type));
  } else if (type == "deepcnet") {
    const int k = t.integer(1), maps = t.integer(2);
    activation = t.word(3);
    if (t.ok && (k < 1 || maps < 1)) t.fail();
    layer.reset(new convolution_layer<T>(name, k, maps, 1, 1, activation, 2, type));
  } else if (type == "max_pool" || type == "semi_stochastic_pool") {
    const int pool = t.integer(1);
    const int stride = t.words.size() > 2 ? t.integer(2) : 0;  // optional: the pool size
    if (t.ok && pool < 1) t.fail();
    layer.reset(new max_pooling_layer<T>(name, pool, stride, type == "semi_stochastic_pool"));
  } else if (type == "mfm") {
    const int pool = t.integer(1);
    if (t.ok && pool < 1) t.fail();
    layer.reset(new maxout_layer<T>(name, pool));
  } else if (type == "shuffle") {
    const int count = t.integer(1);
    if (t.ok && count < 1) t.fail();
    layer.reset(new shuffle_layer<T>(name, count));
  } else if (type == "dropout") {
    const float rate = t.rate(1);
    if (t.ok && !(rate >= 0 && rate <= 1)) t.fail();
    layer.reset(new dropout_layer<T>(name, static_cast<T>(rate)));
  } else if (type == "concatenate" || type == "resize") {
    const int width = t.integer(1);
    const std::string mode = t.words.size() > 2 ? t.words[2] : "";
    const int pad = mode == "median" || mode == "median_edge" ? 2 : mode == "edge" ? 1 : 0;
    layer.reset(new concatenation_layer<T>(name, width, pad));
  } else {
    print_info("No valid layers found", 1);
    print_info("No valid layers found: \"" + config + "\"", 9);
    return nullptr;
  }
  if (t.ok && !activation.empty() && !known_activation(activation)) {
    print_info("unknown activation \"" + activation + "\" in layer \"" + config + "\"", 9);
    return nullptr;
  }
  if (!t.ok) {
    print_info("bad numbers in layer \"" + config + "\"", 9);
    return nullptr;
  }
  return layer.release();
}

template base_layer<float>* new_layer<float>(const std::string&, const std::string&);
template base_layer<double>* new_layer<double>(const std::string&, const std::string&);

}  // namespace tevo
