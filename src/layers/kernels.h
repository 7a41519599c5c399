// The inner loops of the layers on raw pointers. Each has a build for
// x86-64-v3 (AVX2, FMA) chosen at run time where the processor has it.
#pragma once

namespace tevo {

// Multiply-adds of one layer pass below which its loops stay on the calling
// thread: waking a team costs more than a layer of pross's size computes.
constexpr long kThreadedWork = 1L << 18;

template <typename T>
T kernel_dot(const T* a, const T* b, int n);  // sum of a[i] * b[i]

template <typename T>
void kernel_axpy(T* y, const T* x, T alpha, int n);  // y += alpha * x

// out[i] += dot(w + i * cols, x, cols) for i in [first, last): rows of a
// matrix times a vector, four rows at a time so that x is read once per four.
template <typename T>
void kernel_gemv(T* out, const T* w, const T* x, int cols, int first, int last);

}  // namespace tevo
