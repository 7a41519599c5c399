// The layers of a network. A layer holds its nodes, deltas and bias; data
// moves by pushes: a finished layer adds its signal into each target
// (accumulate_signal), and in training a target adds its delta back into
// each source (distribute_delta).
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "layers/activation.h"
#include "layers/lmatrix.h"

namespace tevo {

template <typename T>
class base_layer {
 public:
  // activation: a name of new_activation_func, or "" for none (fnull).
  base_layer(std::string name, int w, int h, int c, const std::string& activation);
  virtual ~base_layer();
  base_layer(const base_layer&) = delete;
  base_layer& operator=(const base_layer&) = delete;

  // The layer's line of topology text, ending in a line end.
  virtual std::string get_config_string() = 0;
  // Fan-in and fan-out that set the spread of the initial weights.
  virtual std::pair<int, int> get_fan_size();
  virtual void resize(int w, int h, int c);
  virtual void activate_nodes();
  // Records the link on both layers, sizes this layer from `top` and returns
  // the link's new weight matrix (owned by the caller), or null. A size that
  // cannot work is left in size_error.
  virtual LMatrix<T>* new_connection(base_layer& top, int link);
  // dw += the weight gradient of the link from `top` for the current sample.
  virtual void calc_dw(const base_layer& top, LMatrix<T>& dw, int link);
  virtual void update_bias(const LMatrix<T>& db, T rate);
  virtual void accumulate_signal(const base_layer& top, const LMatrix<T>& w, int train) = 0;
  virtual void distribute_delta(base_layer& top, const LMatrix<T>& w, int train);

  T df(T* v, int i, int n) { return activation->func_deact(v, i, n); }
  // db += the bias gradient of the current sample: the deltas, summed over
  // each channel when the bias has one value per channel.
  void add_bias_gradient(LMatrix<T>& db) const;
  void set_learning_factor(T factor) { learning_factor = factor; }
  void set_threading(int threads) { internal_threads = threads < 1 ? 1 : threads; }
  bool has_weights() const { return has_weights_; }
  bool use_bias() const { return use_bias_; }
  bool is_input() const { return is_input_; }

  std::string name;
  Activation<T>* activation;  // owned
  LMatrix<T> node;            // [chans][rows][cols] outputs
  LMatrix<T> bias;            // one value per node or per channel, by class; empty without bias
  LMatrix<T> delta;           // same size as node
  std::vector<std::pair<int, base_layer*>> forward_links, backward_links;  // (link, layer)
  int pad_cols = 0, pad_rows = 0;
  std::string size_error;

 protected:
  void link_with(base_layer& top, int link);
  bool has_weights_ = false;
  bool use_bias_ = false;
  bool is_input_ = false;
  int internal_threads = 1;
  T learning_factor = 1;
};

template <typename T>
class input_layer : public base_layer<T> {
 public:
  input_layer(const std::string& name, int w, int h, int c);
  std::string get_config_string() override;
  void accumulate_signal(const base_layer<T>&, const LMatrix<T>&, int) override {}
};

// Every node takes a weighted sum of all nodes of each source.
template <typename T>
class fully_connected_layer : public base_layer<T> {
 public:
  fully_connected_layer(const std::string& name, int nodes, const std::string& activation);
  std::string get_config_string() override;
  std::pair<int, int> get_fan_size() override;
  LMatrix<T>* new_connection(base_layer<T>& top, int link) override;
  void calc_dw(const base_layer<T>& top, LMatrix<T>& dw, int link) override;
  void accumulate_signal(const base_layer<T>& top, const LMatrix<T>& w, int train) override;
  void distribute_delta(base_layer<T>& top, const LMatrix<T>& w, int train) override;

 private:
  const T* source_values(const base_layer<T>& top);  // the top's nodes without channel padding
  std::vector<T> scratch_;
  int fan_in_ = 1;
};

// Maps of a kernel correlated with the source (valid positions only; a
// stride that does not divide the span leaves the last cells unread).
// groups > 1 splits input and output maps into that many independent
// groups; dilation > 1 spaces the kernel taps (deepcnet).
template <typename T>
class convolution_layer : public base_layer<T> {
 public:
  convolution_layer(const std::string& name, int kernel, int maps, int stride, int groups,
                    const std::string& activation, int dilation, std::string kind);
  std::string get_config_string() override;
  std::pair<int, int> get_fan_size() override;
  void activate_nodes() override;
  LMatrix<T>* new_connection(base_layer<T>& top, int link) override;
  void calc_dw(const base_layer<T>& top, LMatrix<T>& dw, int link) override;
  void accumulate_signal(const base_layer<T>& top, const LMatrix<T>& w, int train) override;
  void distribute_delta(base_layer<T>& top, const LMatrix<T>& w, int train) override;

 private:
  void unwrap_aligned_NxN(const LMatrix<T>& in, int group);
  int kernel_, maps_, stride_, groups_, dilation_;
  std::string activation_name_, kind_;
  int in_per_group_ = 1, row_len_ = 1;  // row_len_: kernel * kernel * in_per_group_
  std::vector<T> unwrapped_;  // [groups][positions][row_len_] of the last forward pass
  std::vector<T> d_unwrapped_;
};

// Largest value of each window; semi_stochastic draws the position in
// training with chances by the window's values.
template <typename T>
class max_pooling_layer : public base_layer<T> {
 public:
  max_pooling_layer(const std::string& name, int pool, int stride, bool stochastic);
  std::string get_config_string() override;
  LMatrix<T>* new_connection(base_layer<T>& top, int link) override;
  void accumulate_signal(const base_layer<T>& top, const LMatrix<T>& w, int train) override;
  void distribute_delta(base_layer<T>& top, const LMatrix<T>& w, int train) override;

 private:
  int pool_, stride_;
  bool stochastic_;
  std::vector<int> chosen_;  // per output node: element index in the source's storage
};

// Max-feature-map: each group of `pool` consecutive channels gives its largest value.
template <typename T>
class maxout_layer : public base_layer<T> {
 public:
  maxout_layer(const std::string& name, int pool);
  std::string get_config_string() override;
  LMatrix<T>* new_connection(base_layer<T>& top, int link) override;
  void accumulate_signal(const base_layer<T>& top, const LMatrix<T>& w, int train) override;
  void distribute_delta(base_layer<T>& top, const LMatrix<T>& w, int train) override;

 private:
  int pool_;
  std::vector<int> chosen_;
};

// Channel shuffle over `count` groups: out channel j is in channel (j % count) * (chans / count) + j / count.
template <typename T>
class shuffle_layer : public base_layer<T> {
 public:
  shuffle_layer(const std::string& name, int count);
  std::string get_config_string() override;
  LMatrix<T>* new_connection(base_layer<T>& top, int link) override;
  void accumulate_signal(const base_layer<T>& top, const LMatrix<T>& w, int train) override;
  void distribute_delta(base_layer<T>& top, const LMatrix<T>& w, int train) override;

 private:
  int source_channel(int out_channel) const;
  int count_;
};

// Copies its source; in training a node dropped by the draw is halved and
// passes no delta.
template <typename T>
class dropout_layer : public base_layer<T> {
 public:
  dropout_layer(const std::string& name, T rate);
  std::string get_config_string() override;
  LMatrix<T>* new_connection(base_layer<T>& top, int link) override;
  void accumulate_signal(const base_layer<T>& top, const LMatrix<T>& w, int train) override;
  void distribute_delta(base_layer<T>& top, const LMatrix<T>& w, int train) override;

 private:
  T rate_;
  std::vector<unsigned char> mask_;
};

// Stacks the channels of its sources in link order, each centred on a
// width x width plane (width < 1: the first source's size) and padded by the mode.
template <typename T>
class concatenation_layer : public base_layer<T> {
 public:
  concatenation_layer(const std::string& name, int width, int pad_mode);
  std::string get_config_string() override;
  LMatrix<T>* new_connection(base_layer<T>& top, int link) override;
  void accumulate_signal(const base_layer<T>& top, const LMatrix<T>& w, int train) override;
  void distribute_delta(base_layer<T>& top, const LMatrix<T>& w, int train) override;

 private:
  int channel_offset(const base_layer<T>& top) const;
  int width_, pad_mode_;
};

// A layer from a line of topology text; null (after a message) for a line
// that names no layer type or has bad numbers. The caller owns the layer.
template <typename T>
base_layer<T>* new_layer(const std::string& name, const std::string& config);

extern template class base_layer<float>;
extern template class base_layer<double>;
extern template base_layer<float>* new_layer<float>(const std::string&, const std::string&);
extern template base_layer<double>* new_layer<double>(const std::string&, const std::string&);

}  // namespace tevo
