// Aligned image matrices of the network layers.
#include "layers/lmatrix.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace tevo {

template <typename T>
void LMatrix<T>::allocate(int c, int r, int ch) {
  delete[] mem_;
  cols = std::max(c, 1);
  rows = std::max(r, 1);
  chans = std::max(ch, 1);
  const int per_line = static_cast<int>(32 / sizeof(T));
  chan_stride = (cols * rows + per_line - 1) / per_line * per_line;
  mem_ = new T[static_cast<long>(chan_stride) * chans + 15]();
  const auto address = reinterpret_cast<std::uintptr_t>(mem_);
  x = reinterpret_cast<T*>((address + 31) & ~static_cast<std::uintptr_t>(31));
}

template <typename T>
LMatrix<T>::LMatrix(int c, int r, int ch) {
  allocate(c, r, ch);
}

template <typename T>
LMatrix<T>::LMatrix(const LMatrix& other) {
  if (!other.x) return;
  allocate(other.cols, other.rows, other.chans);
  std::memcpy(x, other.x, sizeof(T) * storage());
}

template <typename T>
LMatrix<T>::LMatrix(LMatrix&& other) noexcept
    : cols(other.cols), rows(other.rows), chans(other.chans), chan_stride(other.chan_stride), x(other.x),
      mem_(other.mem_) {
  other.x = other.mem_ = nullptr;
  other.cols = other.rows = other.chans = other.chan_stride = 0;
}

template <typename T>
LMatrix<T>& LMatrix<T>::operator=(const LMatrix& other) {
  if (this == &other) return *this;
  if (!other.x) {
    LMatrix empty;
    *this = std::move(empty);
    return *this;
  }
  if (cols != other.cols || rows != other.rows || chans != other.chans || !x)
    allocate(other.cols, other.rows, other.chans);
  std::memcpy(x, other.x, sizeof(T) * storage());
  return *this;
}

template <typename T>
LMatrix<T>& LMatrix<T>::operator=(LMatrix&& other) noexcept {
  std::swap(cols, other.cols);
  std::swap(rows, other.rows);
  std::swap(chans, other.chans);
  std::swap(chan_stride, other.chan_stride);
  std::swap(x, other.x);
  std::swap(mem_, other.mem_);
  return *this;
}

template <typename T>
LMatrix<T>::~LMatrix() {
  delete[] mem_;
}

template <typename T>
void LMatrix<T>::resize(int c, int r, int ch) {
  allocate(c, r, ch);
}

template <typename T>
void LMatrix<T>::fill(T value) {
  std::fill(x, x + storage(), value);
}

template <typename T>
LMatrix<T> LMatrix<T>::flip_cols() const {
  LMatrix out(cols, rows, chans);
  for (int k = 0; k < chans; ++k)
    for (int r = 0; r < rows; ++r)
      for (int c = 0; c < cols; ++c) out.at(cols - 1 - c, r, k) = at(c, r, k);
  return out;
}

template <typename T>
LMatrix<T> LMatrix<T>::flip_rows() const {
  LMatrix out(cols, rows, chans);
  for (int k = 0; k < chans; ++k)
    for (int r = 0; r < rows; ++r) std::memcpy(out.channel(k) + (rows - 1 - r) * cols, channel(k) + r * cols, sizeof(T) * cols);
  return out;
}

template <typename T>
LMatrix<T> LMatrix<T>::shift(int dx, int dy, int edge_mode) const {
  LMatrix out(cols, rows, chans);
  for (int k = 0; k < chans; ++k) {
    T fill_value = 0;
    if (edge_mode == 2) {
      std::vector<T> values(channel(k), channel(k) + cols * rows);
      std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
      fill_value = values[values.size() / 2];
    }
    for (int r = 0; r < rows; ++r)
      for (int c = 0; c < cols; ++c) {
        int sc = c - dx, sr = r - dy;
        const bool inside = sc >= 0 && sc < cols && sr >= 0 && sr < rows;
        if (inside) {
          out.at(c, r, k) = at(sc, sr, k);
        } else if (edge_mode == 1) {
          sc = std::clamp(sc, 0, cols - 1);
          sr = std::clamp(sr, 0, rows - 1);
          out.at(c, r, k) = at(sc, sr, k);
        } else {
          out.at(c, r, k) = fill_value;
        }
      }
  }
  return out;
}

template <typename T>
LMatrix<T> LMatrix<T>::crop(int dx, int dy, int width, int height) const {
  LMatrix out(width, height, chans);
  for (int k = 0; k < chans; ++k)
    for (int r = 0; r < out.rows; ++r)
      for (int c = 0; c < out.cols; ++c) {
        const int sc = c + dx, sr = r + dy;
        out.at(c, r, k) = (sc >= 0 && sc < cols && sr >= 0 && sr < rows) ? at(sc, sr, k) : T(0);
      }
  return out;
}

template class LMatrix<float>;
template class LMatrix<double>;

}  // namespace tevo
