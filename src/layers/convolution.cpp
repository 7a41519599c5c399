// Convolution layers (plain, grouped and the dilated deepcnet form) by
// unwrapping: each kernel window of the input becomes one contiguous row,
// so the sums are dot products of rows with the kernels.
#include <algorithm>

#include "layers/kernels.h"
#include "layers/layer.h"

namespace tevo {

template <typename T>
convolution_layer<T>::convolution_layer(const std::string& layer_name, int kernel, int maps, int stride,
                                        int groups, const std::string& act, int dilation, std::string kind)
    : base_layer<T>(layer_name, 1, 1, std::max(maps, 1), act), kernel_(std::max(kernel, 1)),
      maps_(std::max(maps, 1)), stride_(std::max(stride, 1)), groups_(std::max(groups, 1)),
      dilation_(std::max(dilation, 1)), activation_name_(act), kind_(std::move(kind)) {
  this->has_weights_ = true;
  this->use_bias_ = true;
  this->bias.resize(maps_, 1, 1);
}

template <typename T>
std::string convolution_layer<T>::get_config_string() {
  const std::string k = std::to_string(kernel_), m = std::to_string(maps_);
  if (kind_ == "deepcnet") return "deepcnet " + k + " " + m + " " + activation_name_ + "\n";
  if (kind_ == "group_convolution")
    return "group_convolution " + k + " " + m + " " + std::to_string(stride_) + " " + std::to_string(groups_) + " " +
           activation_name_ + "\n";
  return "convolution " + k + " " + m + " " + std::to_string(stride_) + " " + activation_name_ + "\n";
}

template <typename T>
std::pair<int, int> convolution_layer<T>::get_fan_size() {
  return {row_len_, kernel_ * kernel_ * maps_ / groups_};
}

template <typename T>
LMatrix<T>* convolution_layer<T>::new_connection(base_layer<T>& top, int link) {
  this->link_with(top, link);
  const LMatrix<T>& in = top.node;
  const int span = dilation_ * (kernel_ - 1) + 1;
  const int w = (in.cols - span) / stride_ + 1, h = (in.rows - span) / stride_ + 1;
  if (in.cols < span || in.rows < span)
    this->size_error = "a kernel spanning " + std::to_string(span) + " does not fit an input of " +
                       std::to_string(in.cols) + " x " + std::to_string(in.rows);
  if (in.chans % groups_ != 0 || maps_ % groups_ != 0)
    this->size_error = std::to_string(groups_) + " groups do not divide " + std::to_string(in.chans) +
                       " input channels and " + std::to_string(maps_) + " maps";
  this->resize(w, h, maps_);
  in_per_group_ = std::max(in.chans / groups_, 1);
  row_len_ = kernel_ * kernel_ * in_per_group_;
  const long positions = static_cast<long>(this->node.cols) * this->node.rows;
  unwrapped_.assign(groups_ * positions * row_len_, T(0));
  d_unwrapped_.assign(positions * row_len_, T(0));
  return new LMatrix<T>(row_len_, maps_, 1);  // row m: the kernels of map m over its group's channels
}

template <typename T>
void convolution_layer<T>::unwrap_aligned_NxN(const LMatrix<T>& in, int group) {
  const LMatrix<T>& out = this->node;
  const long positions = static_cast<long>(out.cols) * out.rows;
  T* row = unwrapped_.data() + group * positions * row_len_;
  for (int oy = 0; oy < out.rows; ++oy)
    for (int ox = 0; ox < out.cols; ++ox, row += row_len_) {
      int k = 0;
      for (int c = group * in_per_group_; c < (group + 1) * in_per_group_; ++c) {
        const T* plane = in.channel(c);
        for (int ky = 0; ky < kernel_; ++ky) {
          const T* line = plane + (oy * stride_ + ky * dilation_) * in.cols + ox * stride_;
          for (int kx = 0; kx < kernel_; ++kx) row[k++] = line[kx * dilation_];
        }
      }
    }
}

template <typename T>
void convolution_layer<T>::accumulate_signal(const base_layer<T>& top, const LMatrix<T>& w, int) {
  const int positions = this->node.cols * this->node.rows;
  const int maps_per_group = maps_ / groups_;
  for (int g = 0; g < groups_; ++g) {
    unwrap_aligned_NxN(top.node, g);
    const T* rows = unwrapped_.data() + static_cast<long>(g) * positions * row_len_;
    const int first = g * maps_per_group;
    const bool team = this->internal_threads > 1 && static_cast<long>(maps_per_group) * positions * row_len_ >= kThreadedWork;
#pragma omp parallel for num_threads(this->internal_threads) if (team)
    for (int m = first; m < first + maps_per_group; ++m)
      kernel_gemv(this->node.channel(m), rows, w.x + static_cast<long>(m) * row_len_, row_len_, 0, positions);
  }
}

template <typename T>
void convolution_layer<T>::activate_nodes() {
  const int plane = this->node.cols * this->node.rows;
  for (int m = 0; m < maps_; ++m) this->activation->func_act(this->node.channel(m), plane, this->bias.x[m]);
}

template <typename T>
void convolution_layer<T>::distribute_delta(base_layer<T>& top, const LMatrix<T>& w, int) {
  const LMatrix<T>& out = this->node;
  LMatrix<T>& into = top.delta;
  const int positions = out.cols * out.rows;
  const int maps_per_group = maps_ / groups_;
  for (int g = 0; g < groups_; ++g) {
    std::fill(d_unwrapped_.begin(), d_unwrapped_.end(), T(0));
    for (int m = g * maps_per_group; m < (g + 1) * maps_per_group; ++m) {
      const T* d = this->delta.channel(m);
      const T* kernels = w.x + static_cast<long>(m) * row_len_;
      for (int p = 0; p < positions; ++p)
        if (d[p] != 0) kernel_axpy(d_unwrapped_.data() + static_cast<long>(p) * row_len_, kernels, d[p], row_len_);
    }
    // Each unwrapped row adds back into the window it came from.
    const T* row = d_unwrapped_.data();
    for (int oy = 0; oy < out.rows; ++oy)
      for (int ox = 0; ox < out.cols; ++ox, row += row_len_) {
        int k = 0;
        for (int c = g * in_per_group_; c < (g + 1) * in_per_group_; ++c) {
          T* plane = into.channel(c);
          for (int ky = 0; ky < kernel_; ++ky) {
            T* line = plane + (oy * stride_ + ky * dilation_) * into.cols + ox * stride_;
            for (int kx = 0; kx < kernel_; ++kx) line[kx * dilation_] += row[k++];
          }
        }
      }
  }
}

template <typename T>
void convolution_layer<T>::calc_dw(const base_layer<T>&, LMatrix<T>& dw, int) {
  const int positions = this->node.cols * this->node.rows;
  const int maps_per_group = maps_ / groups_;
  const bool team = this->internal_threads > 1 && static_cast<long>(maps_) * positions * row_len_ >= kThreadedWork;
#pragma omp parallel for num_threads(this->internal_threads) if (team)
  for (int m = 0; m < maps_; ++m) {
    const int g = m / maps_per_group;
    const T* rows = unwrapped_.data() + static_cast<long>(g) * positions * row_len_;
    const T* d = this->delta.channel(m);
    T* kernels = dw.x + static_cast<long>(m) * row_len_;
    for (int p = 0; p < positions; ++p)
      if (d[p] != 0) kernel_axpy(kernels, rows + static_cast<long>(p) * row_len_, d[p], row_len_);
  }
}

template class convolution_layer<float>;
template class convolution_layer<double>;

}  // namespace tevo
