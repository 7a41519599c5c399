// Numeric helpers on plain arrays: vectors are T* with a length, matrices are
// T** tables of separately allocated rows. Loops over many elements share
// the work among the OpenMP team in even static blocks.
#pragma once

#include <string>
#include <vector>

namespace tevo {

// ---- Allocation -----------------------------------------------------------
// Header templates so that any element type can be allocated; a negative
// size raises std::bad_array_new_length from new[].

template <typename T>
T* create_vec_malloc(int n, T value = T()) {
  T* v = new T[n];
  for (int i = 0; i < n; ++i) v[i] = value;
  return v;
}

// [rows][cols], rows allocated one by one (not contiguous); free with free_mtx_malloc.
template <typename T>
T** create_mtx_malloc(int rows, int cols, T value = T()) {
  T** m = new T*[rows];
  for (int i = 0; i < rows; ++i) m[i] = create_vec_malloc<T>(cols, value);
  return m;
}

template <typename T>
void free_mtx_malloc(T** m, int rows) {
  if (m == nullptr) return;
  for (int i = 0; i < rows; ++i) delete[] m[i];
  delete[] m;
}

template <typename T>
void free_vec_malloc(T* v) {
  delete[] v;  // null allowed
}

std::string* create_str_vec_malloc(int n, const std::string& value = "");

// ---- Work sharing ---------------------------------------------------------

// Loops shorter than this run on the calling thread: starting a team costs
// more than a short loop (vec_dist of two 3-d points, for instance).
constexpr int kParallelMin = 4096;

// The static share of the calling thread in the current team over n items:
// n / threads each, and the first n % threads threads take one more.
void thread_share(long n, long* begin, long* end);

// The same split for an explicit thread id and team size.
void static_share(long n, int tid, int threads, long* begin, long* end);

// ---- Vectors ----------------------------------------------------------------

// Sets n elements to `value`; with `random` set, fills them instead with
// uniform draws on [0, 1) from the program-wide generator, drawn in order on
// the calling thread so that the stream stays reproducible.
template <typename T>
void vec_init(T* v, int n, T value, bool random = false);

template <typename T>
void vec_copy(T* dst, const T* src, int n, T scale = 1);  // dst = src * scale
template <typename T>
void vec_copy(std::vector<T>& dst, const std::vector<T>& src);

template <typename T>
void vec_add(T* dst, const T* a, const T* b, int n, T alpha = 1, T beta = 1);  // a*alpha + b*beta
template <typename T>
void vec_add(T* dst, const T* a, int n, T alpha = 1);  // dst += a*alpha
template <typename T>
void vec_sub(T* dst, const T* a, const T* b, int n, T alpha = 1, T beta = 1);  // a*alpha - b*beta

template <typename T>
void vec_scale(T* v, int n, T s);  // v *= s
template <typename T>
void vec_scale_inv(T* v, int n, T s);  // v[i] = s / v[i]

template <typename T>
T vec_dot_prod(const T* a, const T* b, int n);
template <typename T>
T vec_dist(const T* a, const T* b, int n);  // Euclidean distance
// Scales to unit length; a zero (or non-finite) length leaves v unchanged.
template <typename T>
void vec_normalize(T* v, int n);

// index[k] = position of the k-th smallest value (ties by position, NaN last).
template <typename T>
void vec_sort(int* index, const T* v, int n);

// ---- Matrices ---------------------------------------------------------------

template <typename T>
void mat_mean(T* out, T** m, int rows, int cols);  // column means
template <typename T>
void mat_center(T** m, int rows, int cols, const T* mean);  // m[i][j] -= mean[j]
// m becomes the n x n diagonal matrix of v (off-diagonal elements 0).
template <typename T>
void mat_diag(T** m, int n, const T* v);
// out = a * b; out is zeroed first and must not share rows with a or b.
// a_cols must equal b_rows.
template <typename T>
void mat_mult(T** out, T** a, int a_rows, int a_cols, T** b, int b_rows, int b_cols);
// inv = a^-1 by Gauss-Jordan elimination with partial pivoting; a is left
// unchanged. A singular matrix ends the process with an error message.
template <typename T>
void mat_inverse(T** a, T** inv, int n);
// Mode 0: m = s*m; mode 1: m = tanh(s*m); mode 2: m = s*(1 - m^2).
template <typename T>
void mat_scale(T** m, int rows, int cols, T s, int mode = 0);

template <typename T>
void mat_copy(T** dst, T** src, int rows, int cols);
// From a table of rows (ragged rows copy their own length; dst must hold them).
template <typename T, typename S>
void mat_copy(T** dst, const std::vector<std::vector<S>>& src);
template <typename T>
void mat_copy(std::vector<std::vector<T>>& dst, T** src, int rows, int cols);

template <typename T>
void mat2vec_copy(T* dst, T** m, int rows, int cols);  // row by row

// out[0] the smallest and out[1] the largest element, starting from 1e6 and
// -1e6 rather than from the first element (an empty matrix gives the bounds).
template <typename T>
void mat_min_max_arg(T* out, T** m, int rows, int cols);
// m = (m - min) / (max - min) with min and max found as by mat_min_max_arg.
// A range of 0 takes 1e6 as the minimum instead.
template <typename T>
void mat_min_max_normalization(T** m, int rows, int cols);

// ---- Cubic B-spline ---------------------------------------------------------

// The four polynomial pieces of the uniform cubic B-spline, piece k on
// [k, k+1) as coefficients of 1, t, t^2, t^3 in the local t in [0, 1).
// Evaluated at the same t, the four pieces are the weights of four
// consecutive control points (in reverse order) and sum to 1.
inline constexpr double bspline_coeffs[4][4] = {
    {0.0, 0.0, 0.0, 1.0 / 6.0},
    {1.0 / 6.0, 0.5, 0.5, -0.5},
    {2.0 / 3.0, 0.0, -1.0, 0.5},
    {1.0 / 6.0, -0.5, 0.5, -1.0 / 6.0},
};

}  // namespace tevo
