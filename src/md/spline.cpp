// Tridiagonal solvers and uniform cubic B-spline interpolation (Press et al.,
// Numerical Recipes 3rd ed., sections 2.4 and 2.7.2 for the cyclic system;
// de Boor, A Practical Guide to Splines, for the B-spline basis).
#include "md/spline.h"

#include <cmath>

#include "util/numeric.h"  // bspline_coeffs

namespace tevo {

void solve_tridiagonal_system(int n, const double* a, const double* b, double* c, double* d) {
  c[0] /= b[0];
  d[0] /= b[0];
  for (int i = 1; i < n; ++i) {
    const double m = 1.0 / (b[i] - a[i] * c[i - 1]);
    if (i < n - 1) c[i] *= m;
    d[i] = (d[i] - a[i] * d[i - 1]) * m;
  }
  for (int i = n - 2; i >= 0; --i) d[i] -= c[i] * d[i + 1];
}

void solve_periodic_tridiagonal_system(int n, const double* a, const double* b, const double* c, double* d,
                                       double* work) {
  double* bb = work;
  double* cx = work + n;      // super-diagonal scratch of the first solve
  double* cz = work + 2 * n;  // ... and of the second
  double* z = work + 3 * n;
  const double alpha = c[n - 1], beta = a[0];  // corners A[n-1][0] and A[0][n-1]
  const double gamma = -b[0];
  for (int i = 0; i < n; ++i) bb[i] = b[i], cx[i] = cz[i] = c[i], z[i] = 0;
  bb[0] = b[0] - gamma;
  bb[n - 1] = b[n - 1] - alpha * beta / gamma;
  z[0] = gamma;
  z[n - 1] = alpha;
  solve_tridiagonal_system(n, a, bb, cx, d);
  solve_tridiagonal_system(n, a, bb, cz, z);
  const double fact = (d[0] + beta * d[n - 1] / gamma) / (1.0 + z[0] + beta * z[n - 1] / gamma);
  for (int i = 0; i < n; ++i) d[i] -= fact * z[i];
}

void solve_periodic_1d_spline(int n, double* coefficients, const double* data, double* work) {
  double* a = work;
  double* b = work + n;
  double* c = work + 2 * n;  // not consumed: the periodic solver copies
  for (int i = 0; i < n; ++i) {
    a[i] = c[i] = 1.0 / 6.0;
    b[i] = 4.0 / 6.0;
    coefficients[i] = data[i];
  }
  solve_periodic_tridiagonal_system(n, a, b, c, coefficients, work + 3 * n);
}

void solve_clamped_1d_spline(int n, double* coefficients, const double* data, double* work) {
  double* a = work;
  double* b = work + n;
  double* c = work + 2 * n;
  double* x = work + 3 * n;
  for (int i = 0; i < n; ++i) {
    a[i] = c[i] = 1.0 / 6.0;
    b[i] = 4.0 / 6.0;
    x[i] = data[i];
  }
  c[0] = 2.0 / 6.0;      // c[-1] = c[1]: zero slope at the first node
  a[n - 1] = 2.0 / 6.0;  // c[n] = c[n-2]: zero slope at the last node
  solve_tridiagonal_system(n, a, b, c, x);
  for (int i = 0; i < n; ++i) coefficients[i + 1] = x[i];
  coefficients[0] = x[1];
  coefficients[n + 1] = x[n - 2];
}

void solve_periodic_2d_spline(int nx, int ny, double* coefficients, const double* data, double* work) {
  const int m = nx > ny ? nx : ny;
  double* line = work;
  double* out = work + m;
  double* scratch = work + 2 * m;  // 5m more
  for (int i = 0; i < nx; ++i) {
    for (int j = 0; j < ny; ++j) line[j] = data[i * ny + j];
    solve_periodic_1d_spline(ny, out, line, scratch);
    for (int j = 0; j < ny; ++j) coefficients[i * ny + j] = out[j];
  }
  for (int j = 0; j < ny; ++j) {
    for (int i = 0; i < nx; ++i) line[i] = coefficients[i * ny + j];
    solve_periodic_1d_spline(nx, out, line, scratch);
    for (int i = 0; i < nx; ++i) coefficients[i * ny + j] = out[i];
  }
}

void bspline_weights(float t, float* w, float* dw) {
  for (int k = 0; k < 4; ++k) {
    const double* p = bspline_coeffs[3 - k];
    w[k] = static_cast<float>(p[0] + t * (p[1] + t * (p[2] + t * p[3])));
    dw[k] = static_cast<float>(p[1] + t * (2 * p[2] + t * 3 * p[3]));
  }
}

void evaluate_2d_spline(const float* coefficients, int nx, int ny, int stride, int n_comp, float x, float y,
                        float* value, float* dx, float* dy) {
  const float fx = std::floor(x), fy = std::floor(y);
  float wx[4], dwx[4], wy[4], dwy[4];
  bspline_weights(x - fx, wx, dwx);
  bspline_weights(y - fy, wy, dwy);
  int ix = static_cast<int>(fx) % nx, iy = static_cast<int>(fy) % ny;
  if (ix < 0) ix += nx;
  if (iy < 0) iy += ny;
  for (int c = 0; c < n_comp; ++c) value[c] = dx[c] = dy[c] = 0;
  for (int a = 0; a < 4; ++a) {
    int gx = ix - 1 + a;
    gx = gx < 0 ? gx + nx : gx >= nx ? gx - nx : gx;
    for (int b = 0; b < 4; ++b) {
      int gy = iy - 1 + b;
      gy = gy < 0 ? gy + ny : gy >= ny ? gy - ny : gy;
      const float* p = coefficients + (static_cast<long>(gx) * ny + gy) * stride;
      const float v = wx[a] * wy[b], vx = dwx[a] * wy[b], vy = wx[a] * dwy[b];
      for (int c = 0; c < n_comp; ++c) {
        value[c] += v * p[c];
        dx[c] += vx * p[c];
        dy[c] += vy * p[c];
      }
    }
  }
}

float evaluate_clamped_1d_spline(const float* coefficients, int n, float x, float* dx) {
  bool outside = false;
  if (x < 0) x = 0, outside = true;
  if (x > n - 1) x = static_cast<float>(n - 1), outside = true;
  int j = static_cast<int>(std::floor(x));
  if (j > n - 2) j = n - 2;
  float w[4], dw[4];
  bspline_weights(x - j, w, dw);
  float v = 0, d = 0;
  for (int k = 0; k < 4; ++k) {
    v += w[k] * coefficients[j + k];
    d += dw[k] * coefficients[j + k];
  }
  *dx = outside ? 0.f : d;
  return v;
}

}  // namespace tevo
