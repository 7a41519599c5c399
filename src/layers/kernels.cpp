// Vector kernels of the layers (see kernels.h).
#include "layers/kernels.h"

#define TEVO_CLONES __attribute__((target_clones("arch=x86-64-v3", "default")))

namespace tevo {
namespace {

template <typename T>
inline T dot_body(const T* __restrict a, const T* __restrict b, int n) {
  T s = 0;
#pragma omp simd reduction(+ : s)
  for (int i = 0; i < n; ++i) s += a[i] * b[i];
  return s;
}

template <typename T>
inline void axpy_body(T* __restrict y, const T* __restrict x, T alpha, int n) {
#pragma omp simd
  for (int i = 0; i < n; ++i) y[i] += alpha * x[i];
}

template <typename T>
inline void gemv_body(T* __restrict out, const T* __restrict w, const T* __restrict x, int cols, int first,
                      int last) {
  int i = first;
  for (; i + 4 <= last; i += 4) {
    const T* w0 = w + static_cast<long>(i) * cols;
    const T* w1 = w0 + cols;
    const T* w2 = w1 + cols;
    const T* w3 = w2 + cols;
    T s0 = 0, s1 = 0, s2 = 0, s3 = 0;
#pragma omp simd reduction(+ : s0, s1, s2, s3)
    for (int j = 0; j < cols; ++j) {
      s0 += w0[j] * x[j];
      s1 += w1[j] * x[j];
      s2 += w2[j] * x[j];
      s3 += w3[j] * x[j];
    }
    out[i] += s0;
    out[i + 1] += s1;
    out[i + 2] += s2;
    out[i + 3] += s3;
  }
  for (; i < last; ++i) out[i] += dot_body(w + static_cast<long>(i) * cols, x, cols);
}

}  // namespace

TEVO_CLONES float dot_f(const float* a, const float* b, int n) { return dot_body(a, b, n); }
TEVO_CLONES double dot_d(const double* a, const double* b, int n) { return dot_body(a, b, n); }
TEVO_CLONES void axpy_f(float* y, const float* x, float a, int n) { axpy_body(y, x, a, n); }
TEVO_CLONES void axpy_d(double* y, const double* x, double a, int n) { axpy_body(y, x, a, n); }
TEVO_CLONES void gemv_f(float* o, const float* w, const float* x, int c, int f, int l) { gemv_body(o, w, x, c, f, l); }
TEVO_CLONES void gemv_d(double* o, const double* w, const double* x, int c, int f, int l) {
  gemv_body(o, w, x, c, f, l);
}

template <>
float kernel_dot<float>(const float* a, const float* b, int n) {
  return dot_f(a, b, n);
}
template <>
double kernel_dot<double>(const double* a, const double* b, int n) {
  return dot_d(a, b, n);
}
template <>
void kernel_axpy<float>(float* y, const float* x, float alpha, int n) {
  axpy_f(y, x, alpha, n);
}
template <>
void kernel_axpy<double>(double* y, const double* x, double alpha, int n) {
  axpy_d(y, x, alpha, n);
}
template <>
void kernel_gemv<float>(float* out, const float* w, const float* x, int cols, int first, int last) {
  gemv_f(out, w, x, cols, first, last);
}
template <>
void kernel_gemv<double>(double* out, const double* w, const double* x, int cols, int first, int last) {
  gemv_d(out, w, x, cols, first, last);
}

}  // namespace tevo
