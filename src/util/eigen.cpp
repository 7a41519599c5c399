// Cyclic Jacobi eigen-decomposition of real symmetric matrices.
#include "util/eigen.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace tevo {

namespace {

// Root of the sum of squares of the strict lower triangle of the n x n
// row-major w, scaled by its largest element so that tiny matrices do not
// underflow to a zero threshold.
template <typename T>
T off_diagonal_norm(const T* w, int n) {
  T big = 0;
  for (int i = 1; i < n; ++i)
    for (int j = 0; j < i; ++j) {
      const T x = std::fabs(w[static_cast<long>(i) * n + j]);
      if (!std::isfinite(x)) return std::numeric_limits<T>::quiet_NaN();  // no finite threshold
      big = std::max(big, x);
    }
  if (big == 0) return 0;
  T sum = 0;
  for (int i = 1; i < n; ++i)
    for (int j = 0; j < i; ++j) {
      const T x = w[static_cast<long>(i) * n + j] / big;
      sum += x * x;
    }
  return big * std::sqrt(sum);
}

}  // namespace

template <typename T>
int eig_calc(T** vectors, T* values, int n, T** a, int max_sweeps) {
  if (n <= 0) return 0;
  const long nn = static_cast<long>(n) * n;
  // Work on a symmetric row-major copy so that the caller's matrix stays.
  std::vector<T> w(nn);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j <= i; ++j) w[static_cast<long>(i) * n + j] = w[static_cast<long>(j) * n + i] = a[i][j];
  // vt row k is eigenvector k: rotations then touch two contiguous rows.
  std::vector<T> vt(nn, T(0));
  for (int i = 0; i < n; ++i) vt[static_cast<long>(i) * n + i] = 1;
  // d: current diagonal; b: diagonal at the start of the sweep; z: the
  // sweep's accumulated shifts, added to b once per sweep to limit rounding.
  std::vector<T> d(n), b(n), z(n, T(0));
  for (int i = 0; i < n; ++i) d[i] = b[i] = w[static_cast<long>(i) * n + i];

  int sweeps = -1;
  for (int sweep = 1; sweep <= max_sweeps + 1; ++sweep) {
    const T norm = off_diagonal_norm(w.data(), n);
    if (norm == 0) {
      sweeps = sweep - 1;
      break;
    }
    if (sweep > max_sweeps || !std::isfinite(norm)) break;
    const T thresh = norm / (4 * static_cast<T>(n));
    for (int p = 0; p < n - 1; ++p) {
      T* wp = w.data() + static_cast<long>(p) * n;
      for (int q = p + 1; q < n; ++q) {
        T* wq = w.data() + static_cast<long>(q) * n;
        const T apq = wp[q];
        const T g = 10 * std::fabs(apq);
        // Negligible against both diagonal entries: drop it, no rotation.
        if (sweep > 4 && std::fabs(d[p]) + g == std::fabs(d[p]) && std::fabs(d[q]) + g == std::fabs(d[q])) {
          wp[q] = wq[p] = 0;
          continue;
        }
        if (std::fabs(apq) < thresh) continue;
        T h = d[q] - d[p];
        T t;
        if (std::fabs(h) + g == std::fabs(h)) {
          t = apq / h;  // the angle is tiny: tan(2 phi) ~ 2 apq / h
        } else {
          const T theta = T(0.5) * h / apq;
          t = 1 / (std::fabs(theta) + std::sqrt(1 + theta * theta));
          if (theta < 0) t = -t;
        }
        const T c = 1 / std::sqrt(1 + t * t), s = t * c, tau = s / (1 + c);
        h = t * apq;
        z[p] -= h;
        z[q] += h;
        d[p] -= h;
        d[q] += h;
        // Rows p and q in one contiguous pass (the diagonal entries come out
        // meaningless and are never read: d holds the diagonal), then mirrored
        // into columns p and q; the pair itself is now 0.
        for (int k = 0; k < n; ++k) {
          const T gk = wp[k], hk = wq[k];
          wp[k] = gk - s * (hk + gk * tau);
          wq[k] = hk + s * (gk - hk * tau);
        }
        wp[q] = wq[p] = 0;
        for (int k = 0; k < n; ++k) {
          w[static_cast<long>(k) * n + p] = wp[k];
          w[static_cast<long>(k) * n + q] = wq[k];
        }
        T* vp = vt.data() + static_cast<long>(p) * n;
        T* vq = vt.data() + static_cast<long>(q) * n;
        for (int k = 0; k < n; ++k) {
          const T gk = vp[k], hk = vq[k];
          vp[k] = gk - s * (hk + gk * tau);
          vq[k] = hk + s * (gk - hk * tau);
        }
      }
    }
    for (int i = 0; i < n; ++i) {
      b[i] += z[i];
      d[i] = b[i];
      z[i] = 0;
    }
  }

  std::vector<int> order(n);
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](int x, int y) { return d[x] > d[y]; });
  for (int k = 0; k < n; ++k) {
    const T* v = vt.data() + static_cast<long>(order[k]) * n;
    int big = 0;
    for (int i = 1; i < n; ++i)
      if (std::fabs(v[i]) > std::fabs(v[big])) big = i;
    const T sign = v[big] < 0 ? T(-1) : T(1);
    values[k] = d[order[k]];
    for (int i = 0; i < n; ++i) vectors[i][k] = sign * v[i];
  }
  return sweeps;
}

template int eig_calc<float>(float**, float*, int, float**, int);
template int eig_calc<double>(double**, double*, int, double**, int);

}  // namespace tevo
