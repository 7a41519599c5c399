// LMatrix<T>: the image matrix of the network layers, cols x rows x chans,
// each channel starting on a 32-byte boundary so that loops can use vector loads.
#pragma once

namespace tevo {

template <typename T>
class LMatrix {
 public:
  LMatrix() = default;
  LMatrix(int cols, int rows, int chans);
  LMatrix(const LMatrix& other);
  LMatrix(LMatrix&& other) noexcept;
  LMatrix& operator=(const LMatrix& other);
  LMatrix& operator=(LMatrix&& other) noexcept;
  ~LMatrix();

  // Sizes below 1 count as 1; contents are set to 0.
  void resize(int cols, int rows, int chans);
  void fill(T value);  // every element, padding included

  int size() const { return cols * rows * chans; }   // elements without padding
  int storage() const { return chan_stride * chans; }  // elements with padding
  T* channel(int c) { return x + static_cast<long>(c) * chan_stride; }
  const T* channel(int c) const { return x + static_cast<long>(c) * chan_stride; }
  T& at(int col, int row, int chan) { return channel(chan)[row * cols + col]; }
  T at(int col, int row, int chan) const { return channel(chan)[row * cols + col]; }

  // Mirror images, a shift by (dx, dy) whose uncovered cells take the edge
  // (edge_mode 1), the median of the channel (2) or 0, and a crop.
  LMatrix flip_cols() const;
  LMatrix flip_rows() const;
  LMatrix shift(int dx, int dy, int edge_mode) const;
  LMatrix crop(int dx, int dy, int width, int height) const;

  int cols = 0, rows = 0, chans = 0;
  int chan_stride = 0;  // a channel's cols * rows rounded up to 32 bytes
  T* x = nullptr;       // [chans * chan_stride], 32-byte aligned inside mem_

 private:
  void allocate(int cols, int rows, int chans);
  T* mem_ = nullptr;  // owned; the allocation has 15 spare elements for the alignment
};

extern template class LMatrix<float>;
extern template class LMatrix<double>;

}  // namespace tevo
