// base_layer and the layers without a kernel: input, fully connected,
// pooling, maxout, shuffle, dropout and concatenation.
#include <omp.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "layers/kernels.h"
#include "layers/layer.h"
#include "util/console.h"
#include "util/numeric.h"  // static_share

namespace tevo {

// ---- base_layer -----------------------------------------------------------------

template <typename T>
base_layer<T>::base_layer(std::string layer_name, int w, int h, int c, const std::string& act)
    : name(std::move(layer_name)) {
  activation = act.empty() ? new_null_activation<T>() : new_activation_func<T>(act);
  if (!activation) activation = new_null_activation<T>();
  node.resize(w, h, c);
  delta.resize(w, h, c);
}

template <typename T>
base_layer<T>::~base_layer() {
  delete activation;
}

template <typename T>
std::pair<int, int> base_layer<T>::get_fan_size() {
  return {1, 1};
}

template <typename T>
void base_layer<T>::resize(int w, int h, int c) {
  node.resize(w, h, c);
  delta.resize(w, h, c);
}

template <typename T>
void base_layer<T>::activate_nodes() {
  if (use_bias_ && bias.size() == node.size())
    activation->func_act(node.x, node.size(), bias.x);
  else
    activation->func_act(node.x, node.size(), T(0));
}

template <typename T>
void base_layer<T>::link_with(base_layer& top, int link) {
  top.forward_links.emplace_back(link, this);
  backward_links.emplace_back(link, &top);
}

template <typename T>
LMatrix<T>* base_layer<T>::new_connection(base_layer& top, int link) {
  link_with(top, link);
  return nullptr;
}

template <typename T>
void base_layer<T>::calc_dw(const base_layer&, LMatrix<T>&, int) {}

template <typename T>
void base_layer<T>::distribute_delta(base_layer&, const LMatrix<T>&, int) {}

template <typename T>
void base_layer<T>::update_bias(const LMatrix<T>& db, T rate) {
  if (!use_bias_) return;
  const T step = rate * learning_factor;
  const int n = bias.size();
  for (int i = 0; i < n; ++i) bias.x[i] -= step * db.x[i];
}

template <typename T>
void base_layer<T>::add_bias_gradient(LMatrix<T>& db) const {
  if (!use_bias_ || bias.size() == 0) return;
  if (bias.size() == node.size() && node.chans == 1) {
    for (int i = 0; i < bias.size(); ++i) db.x[i] += delta.x[i];
    return;
  }
  const int plane = delta.cols * delta.rows;
  for (int c = 0; c < delta.chans && c < bias.size(); ++c) {
    const T* d = delta.channel(c);
    T s = 0;
    for (int i = 0; i < plane; ++i) s += d[i];
    db.x[c] += s;
  }
}

// ---- input ----------------------------------------------------------------------

template <typename T>
input_layer<T>::input_layer(const std::string& layer_name, int w, int h, int c)
    : base_layer<T>(layer_name, w, h, c, "") {
  this->is_input_ = true;
}

template <typename T>
std::string input_layer<T>::get_config_string() {
  std::ostringstream s;
  s << "input " << this->node.cols << " " << this->node.rows << " " << this->node.chans << "\n";
  return s.str();
}

// ---- fully connected ------------------------------------------------------------

template <typename T>
fully_connected_layer<T>::fully_connected_layer(const std::string& layer_name, int nodes, const std::string& act)
    : base_layer<T>(layer_name, nodes, 1, 1, act) {
  this->has_weights_ = true;
  this->use_bias_ = true;
  this->bias.resize(nodes, 1, 1);
}

template <typename T>
std::string fully_connected_layer<T>::get_config_string() {
  return "fully_connected " + std::to_string(this->node.size()) + " " + this->activation->name + "\n";
}

template <typename T>
std::pair<int, int> fully_connected_layer<T>::get_fan_size() {
  return {fan_in_, this->node.size()};
}

template <typename T>
LMatrix<T>* fully_connected_layer<T>::new_connection(base_layer<T>& top, int link) {
  this->link_with(top, link);
  fan_in_ = top.node.size();
  return new LMatrix<T>(top.node.size(), this->node.size(), 1);
}

template <typename T>
const T* fully_connected_layer<T>::source_values(const base_layer<T>& top) {
  const LMatrix<T>& n = top.node;
  const int plane = n.cols * n.rows;
  if (n.chans == 1 || n.chan_stride == plane) return n.x;
  scratch_.resize(n.size());
  for (int c = 0; c < n.chans; ++c) std::memcpy(&scratch_[c * plane], n.channel(c), sizeof(T) * plane);
  return scratch_.data();
}

// Runs body(first, last) over [0, n) on `threads` threads, each a contiguous
// range; `work` (multiply-adds) below kThreadedWork stays on this thread.

template <typename F>
void split_range(int n, long work, int threads, F body) {
  if (threads <= 1 || n < 2 * threads || work < kThreadedWork) {
    body(0, n);
    return;
  }
#pragma omp parallel num_threads(threads)
  {
    long b = 0, e = 0;
    static_share(n, omp_get_thread_num(), omp_get_num_threads(), &b, &e);
    body(static_cast<int>(b), static_cast<int>(e));
  }
}

template <typename T>
void fully_connected_layer<T>::accumulate_signal(const base_layer<T>& top, const LMatrix<T>& w, int) {
  const T* x = source_values(top);
  const int cols = w.cols;
  T* out = this->node.x;
  const T* weights = w.x;
  const int rows = this->node.size();
  split_range(rows, static_cast<long>(rows) * cols, this->internal_threads,
              [&](int first, int last) { kernel_gemv(out, weights, x, cols, first, last); });
}

template <typename T>
void fully_connected_layer<T>::distribute_delta(base_layer<T>& top, const LMatrix<T>& w, int) {
  LMatrix<T>& target = top.delta;
  const int plane = target.cols * target.rows;
  const bool contiguous = target.chans == 1 || target.chan_stride == plane;
  T* into = target.x;
  if (!contiguous) {
    scratch_.assign(target.size(), T(0));
    into = scratch_.data();
  }
  const int cols = w.cols, rows = this->node.size();
  const T* d = this->delta.x;
  const T* weights = w.x;
  split_range(cols, static_cast<long>(rows) * cols, this->internal_threads, [&](int first, int last) {
    for (int i = 0; i < rows; ++i)
      if (d[i] != 0) kernel_axpy(into + first, weights + static_cast<long>(i) * cols + first, d[i], last - first);
  });
  if (!contiguous)
    for (int c = 0; c < target.chans; ++c) kernel_axpy(target.channel(c), into + c * plane, T(1), plane);
}

template <typename T>
void fully_connected_layer<T>::calc_dw(const base_layer<T>& top, LMatrix<T>& dw, int) {
  const T* x = source_values(top);
  const int cols = dw.cols;
  const T* d = this->delta.x;
  T* g = dw.x;
  const int rows = this->node.size();
  split_range(rows, static_cast<long>(rows) * cols, this->internal_threads, [&](int first, int last) {
    for (int i = first; i < last; ++i)
      if (d[i] != 0) kernel_axpy(g + static_cast<long>(i) * cols, x, d[i], cols);
  });
}

// ---- pooling --------------------------------------------------------------------

template <typename T>
max_pooling_layer<T>::max_pooling_layer(const std::string& layer_name, int pool, int stride, bool stochastic)
    : base_layer<T>(layer_name, 1, 1, 1, "identity"), pool_(std::max(pool, 1)), stride_(stride),
      stochastic_(stochastic) {
  if (stride_ < 1 || stride_ > pool_) stride_ = pool_;
}

template <typename T>
std::string max_pooling_layer<T>::get_config_string() {
  return std::string(stochastic_ ? "semi_stochastic_pool " : "max_pool ") + std::to_string(pool_) + " " +
         std::to_string(stride_) + "\n";
}

template <typename T>
LMatrix<T>* max_pooling_layer<T>::new_connection(base_layer<T>& top, int link) {
  this->link_with(top, link);
  const auto out = [&](int in) { return stride_ == pool_ ? in / pool_ : (in - pool_) / stride_ + 1; };
  const int w = out(top.node.cols), h = out(top.node.rows);
  if (w < 1 || h < 1)
    this->size_error = "a pool of " + std::to_string(pool_) + " does not fit an input of " +
                       std::to_string(top.node.cols) + " x " + std::to_string(top.node.rows);
  this->resize(w, h, top.node.chans);
  chosen_.assign(this->node.size(), 0);
  return nullptr;
}

template <typename T>
void max_pooling_layer<T>::accumulate_signal(const base_layer<T>& top, const LMatrix<T>&, int train) {
  const LMatrix<T>& in = top.node;
  LMatrix<T>& out = this->node;
  int k = 0;
  for (int c = 0; c < out.chans; ++c)
    for (int oy = 0; oy < out.rows; ++oy)
      for (int ox = 0; ox < out.cols; ++ox, ++k) {
        const int x0 = ox * stride_, y0 = oy * stride_;
        const int x1 = std::min(x0 + pool_, in.cols), y1 = std::min(y0 + pool_, in.rows);
        int best = c * in.chan_stride + y0 * in.cols + x0;
        T sum = 0;
        for (int y = y0; y < y1; ++y)
          for (int x = x0; x < x1; ++x) {
            const int at = c * in.chan_stride + y * in.cols + x;
            if (in.x[at] > in.x[best]) best = at;
            if (in.x[at] > 0) sum += in.x[at];
          }
        if (stochastic_ && train && sum > 0) {
          // The first position whose share of the window, in percent, beats a draw.
          for (int y = y0, done = 0; y < y1 && !done; ++y)
            for (int x = x0; x < x1; ++x) {
              const int at = c * in.chan_stride + y * in.cols + x;
              if (in.x[at] > 0 && std::rand() % 100 < static_cast<int>(100 * in.x[at] / sum)) {
                best = at;
                done = 1;
                break;
              }
            }
        }
        chosen_[k] = best;
        out.at(ox, oy, c) = in.x[best];
      }
}

template <typename T>
void max_pooling_layer<T>::distribute_delta(base_layer<T>& top, const LMatrix<T>&, int) {
  const LMatrix<T>& d = this->delta;
  int k = 0;
  for (int c = 0; c < d.chans; ++c)
    for (int i = 0; i < d.cols * d.rows; ++i, ++k) top.delta.x[chosen_[k]] += d.channel(c)[i];
}

// ---- maxout ---------------------------------------------------------------------

template <typename T>
maxout_layer<T>::maxout_layer(const std::string& layer_name, int pool)
    : base_layer<T>(layer_name, 1, 1, 1, "identity"), pool_(std::max(pool, 1)) {}

template <typename T>
std::string maxout_layer<T>::get_config_string() {
  return "mfm " + std::to_string(pool_) + "\n";
}

template <typename T>
LMatrix<T>* maxout_layer<T>::new_connection(base_layer<T>& top, int link) {
  this->link_with(top, link);
  if (top.node.chans % pool_ != 0) print_info("mfm layer has pool size that is not a multiple of the input channels!", 1);
  if (top.node.chans < pool_) this->size_error = "mfm pool larger than the input channels";
  this->resize(top.node.cols, top.node.rows, top.node.chans / pool_);
  chosen_.assign(this->node.size(), 0);
  return nullptr;
}

template <typename T>
void maxout_layer<T>::accumulate_signal(const base_layer<T>& top, const LMatrix<T>&, int) {
  const LMatrix<T>& in = top.node;
  LMatrix<T>& out = this->node;
  const int plane = out.cols * out.rows;
  for (int c = 0, k = 0; c < out.chans; ++c)
    for (int i = 0; i < plane; ++i, ++k) {
      int best = c * pool_ * in.chan_stride + i;
      for (int p = 1; p < pool_; ++p) {
        const int at = (c * pool_ + p) * in.chan_stride + i;
        if (in.x[at] > in.x[best]) best = at;
      }
      chosen_[k] = best;
      out.channel(c)[i] = in.x[best];
    }
}

template <typename T>
void maxout_layer<T>::distribute_delta(base_layer<T>& top, const LMatrix<T>&, int) {
  const LMatrix<T>& d = this->delta;
  const int plane = d.cols * d.rows;
  for (int c = 0, k = 0; c < d.chans; ++c)
    for (int i = 0; i < plane; ++i, ++k) top.delta.x[chosen_[k]] += d.channel(c)[i];
}

// ---- shuffle --------------------------------------------------------------------

template <typename T>
shuffle_layer<T>::shuffle_layer(const std::string& layer_name, int count)
    : base_layer<T>(layer_name, 1, 1, 1, "identity"), count_(std::max(count, 1)) {}

template <typename T>
std::string shuffle_layer<T>::get_config_string() {
  return "shuffle " + std::to_string(count_) + "\n";
}

template <typename T>
int shuffle_layer<T>::source_channel(int j) const {
  const int chans = this->node.chans;
  if (chans % count_ != 0) return j;  // no even groups: channels keep their order
  return (j % count_) * (chans / count_) + j / count_;
}

template <typename T>
LMatrix<T>* shuffle_layer<T>::new_connection(base_layer<T>& top, int link) {
  this->link_with(top, link);
  this->resize(top.node.cols, top.node.rows, top.node.chans);
  return nullptr;
}

template <typename T>
void shuffle_layer<T>::accumulate_signal(const base_layer<T>& top, const LMatrix<T>&, int) {
  const int plane = this->node.cols * this->node.rows;
  for (int j = 0; j < this->node.chans; ++j)
    std::memcpy(this->node.channel(j), top.node.channel(source_channel(j)), sizeof(T) * plane);
}

template <typename T>
void shuffle_layer<T>::distribute_delta(base_layer<T>& top, const LMatrix<T>&, int) {
  const int plane = this->node.cols * this->node.rows;
  for (int j = 0; j < this->node.chans; ++j)
    kernel_axpy(top.delta.channel(source_channel(j)), this->delta.channel(j), T(1), plane);
}

// ---- dropout --------------------------------------------------------------------

template <typename T>
dropout_layer<T>::dropout_layer(const std::string& layer_name, T rate)
    : base_layer<T>(layer_name, 1, 1, 1, "identity"), rate_(rate) {}

template <typename T>
std::string dropout_layer<T>::get_config_string() {
  std::ostringstream s;
  s << "dropout " << rate_ << "\n";
  return s.str();
}

template <typename T>
LMatrix<T>* dropout_layer<T>::new_connection(base_layer<T>& top, int link) {
  this->link_with(top, link);
  this->resize(top.node.cols, top.node.rows, top.node.chans);
  mask_.assign(this->node.storage(), 1);
  return nullptr;
}

template <typename T>
void dropout_layer<T>::accumulate_signal(const base_layer<T>& top, const LMatrix<T>&, int train) {
  std::memcpy(this->node.x, top.node.x, sizeof(T) * this->node.storage());
  std::fill(mask_.begin(), mask_.end(), 1);
  if (!train) return;
  // One rand() gives four draws, the value shifted right by 0 to 3 bits,
  // each modulo 100; the last nodes take a fresh value for their group.
  const int threshold = static_cast<int>(rate_ * 100);
  const int n = this->node.storage();
  int bits = 0;
  for (int i = 0; i < n; ++i) {
    if (i % 4 == 0) bits = std::rand();
    const int draw = (bits >> (i % 4)) % 100;
    if (threshold >= draw) {
      mask_[i] = 0;
      this->node.x[i] *= T(0.5);
    }
  }
}

template <typename T>
void dropout_layer<T>::distribute_delta(base_layer<T>& top, const LMatrix<T>&, int) {
  const int n = this->node.storage();
  for (int i = 0; i < n; ++i)
    if (mask_[i]) top.delta.x[i] += this->delta.x[i];
}

// ---- concatenation --------------------------------------------------------------

template <typename T>
concatenation_layer<T>::concatenation_layer(const std::string& layer_name, int width, int pad_mode)
    : base_layer<T>(layer_name, 1, 1, 1, "identity"), width_(width), pad_mode_(pad_mode) {}

template <typename T>
std::string concatenation_layer<T>::get_config_string() {
  const char* mode = pad_mode_ == 1 ? " edge\n" : pad_mode_ == 2 ? " median_edge\n" : " zero\n";
  return "concatenate " + std::to_string(width_) + mode;
}

template <typename T>
LMatrix<T>* concatenation_layer<T>::new_connection(base_layer<T>& top, int link) {
  this->link_with(top, link);
  int chans = 0;
  for (const auto& source : this->backward_links) chans += source.second->node.chans;
  const base_layer<T>& first = *this->backward_links.front().second;
  const int w = width_ > 0 ? width_ : first.node.cols;
  const int h = width_ > 0 ? width_ : first.node.rows;
  this->resize(w, h, chans);
  return nullptr;
}

template <typename T>
int concatenation_layer<T>::channel_offset(const base_layer<T>& top) const {
  int offset = 0;
  for (const auto& source : this->backward_links) {
    if (source.second == &top) return offset;
    offset += source.second->node.chans;
  }
  return offset;
}

template <typename T>
void concatenation_layer<T>::accumulate_signal(const base_layer<T>& top, const LMatrix<T>&, int) {
  const LMatrix<T>& in = top.node;
  LMatrix<T>& out = this->node;
  const int offset = channel_offset(top);
  const int ox = (out.cols - in.cols) / 2, oy = (out.rows - in.rows) / 2;
  for (int c = 0; c < in.chans && offset + c < out.chans; ++c) {
    T fill_value = 0;
    if (pad_mode_ == 2) {
      std::vector<T> values(in.channel(c), in.channel(c) + in.cols * in.rows);
      std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
      fill_value = values[values.size() / 2];
    }
    for (int y = 0; y < out.rows; ++y)
      for (int x = 0; x < out.cols; ++x) {
        int sx = x - ox, sy = y - oy;
        const bool inside = sx >= 0 && sx < in.cols && sy >= 0 && sy < in.rows;
        T value = fill_value;
        if (inside) {
          value = in.at(sx, sy, c);
        } else if (pad_mode_ == 1) {
          sx = std::clamp(sx, 0, in.cols - 1);
          sy = std::clamp(sy, 0, in.rows - 1);
          value = in.at(sx, sy, c);
        }
        out.at(x, y, offset + c) = value;
      }
  }
}

template <typename T>
void concatenation_layer<T>::distribute_delta(base_layer<T>& top, const LMatrix<T>&, int) {
  LMatrix<T>& into = top.delta;
  const LMatrix<T>& d = this->delta;
  const int offset = channel_offset(top);
  const int ox = (d.cols - into.cols) / 2, oy = (d.rows - into.rows) / 2;
  for (int c = 0; c < into.chans && offset + c < d.chans; ++c)
    for (int y = 0; y < into.rows; ++y)
      for (int x = 0; x < into.cols; ++x) {
        const int dx = x + ox, dy = y + oy;
        if (dx >= 0 && dx < d.cols && dy >= 0 && dy < d.rows) into.at(x, y, c) += d.at(dx, dy, offset + c);
      }
}

template class base_layer<float>;
template class base_layer<double>;
template class input_layer<float>;
template class input_layer<double>;
template class fully_connected_layer<float>;
template class fully_connected_layer<double>;
template class max_pooling_layer<float>;
template class max_pooling_layer<double>;
template class maxout_layer<float>;
template class maxout_layer<double>;
template class shuffle_layer<float>;
template class shuffle_layer<double>;
template class dropout_layer<float>;
template class dropout_layer<double>;
template class concatenation_layer<float>;
template class concatenation_layer<double>;

}  // namespace tevo
