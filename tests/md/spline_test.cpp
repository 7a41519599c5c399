// Spline helpers: tridiagonal solvers against the matrix they solve, and the
// interpolation, periodicity and end conditions of the splines.
#include "md/spline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace tevo {
namespace {

TEST(Spline, TridiagonalSolversSolveTheirSystems) {
  std::mt19937 gen(3);
  std::uniform_real_distribution<double> u(-1, 1);
  const int n = 9;
  std::vector<double> a(n), b(n), c(n), d(n), x(n), work(4 * n);
  for (int i = 0; i < n; ++i) a[i] = u(gen), c[i] = u(gen), b[i] = 4 + u(gen), d[i] = u(gen);
  for (bool periodic : {false, true}) {
    x = d;
    std::vector<double> cc = c;
    if (periodic)
      solve_periodic_tridiagonal_system(n, a.data(), b.data(), c.data(), x.data(), work.data());
    else
      solve_tridiagonal_system(n, a.data(), b.data(), cc.data(), x.data());
    for (int i = 0; i < n; ++i) {
      double lhs = b[i] * x[i];
      if (i > 0 || periodic) lhs += a[i] * x[(i + n - 1) % n];
      if (i + 1 < n || periodic) lhs += c[i] * x[(i + 1) % n];
      EXPECT_NEAR(lhs, d[i], 1e-12) << (periodic ? "periodic row " : "row ") << i;
    }
  }
}

TEST(Spline, PeriodicSplineInterpolatesAndWraps) {
  const int nx = 7, ny = 5;
  std::vector<double> data(nx * ny), coef(nx * ny), work(9 * nx);
  for (int i = 0; i < nx * ny; ++i) data[i] = std::sin(1.3 * i) + 0.1 * i;
  solve_periodic_2d_spline(nx, ny, coef.data(), data.data(), work.data());
  std::vector<float> c(coef.begin(), coef.end());
  float v, dx, dy, v2, dx2, dy2;
  for (int i = 0; i < nx; ++i)
    for (int j = 0; j < ny; ++j) {
      evaluate_2d_spline(c.data(), nx, ny, 1, 1, static_cast<float>(i), static_cast<float>(j), &v, &dx, &dy);
      EXPECT_NEAR(v, data[i * ny + j], 1e-5);
    }
  evaluate_2d_spline(c.data(), nx, ny, 1, 1, 0.3f, 1.7f, &v, &dx, &dy);
  evaluate_2d_spline(c.data(), nx, ny, 1, 1, 0.3f + nx, 1.7f - ny, &v2, &dx2, &dy2);
  EXPECT_NEAR(v, v2, 1e-5);
  EXPECT_NEAR(dx, dx2, 1e-4);
  EXPECT_NEAR(dy, dy2, 1e-4);
  // Derivatives against a central difference of the spline itself.
  float vp, vm, t1, t2;
  evaluate_2d_spline(c.data(), nx, ny, 1, 1, 0.301f, 1.7f, &vp, &t1, &t2);
  evaluate_2d_spline(c.data(), nx, ny, 1, 1, 0.299f, 1.7f, &vm, &t1, &t2);
  EXPECT_NEAR(dx, (vp - vm) / 0.002f, 2e-2 * std::fabs(dx) + 1e-3);
}

TEST(Spline, ClampedSplineInterpolatesWithFlatEnds) {
  const int n = 6;
  const double data[n] = {2, -1, 0.5, 3, 1, -2};
  std::vector<double> coef(n + 2), work(4 * (n + 2));
  solve_clamped_1d_spline(n, coef.data(), data, work.data());
  std::vector<float> c(coef.begin(), coef.end());
  float d;
  for (int k = 0; k < n; ++k)
    EXPECT_NEAR(evaluate_clamped_1d_spline(c.data(), n, static_cast<float>(k), &d), data[k], 1e-5);
  evaluate_clamped_1d_spline(c.data(), n, 0.f, &d);
  EXPECT_NEAR(d, 0, 1e-5);
  evaluate_clamped_1d_spline(c.data(), n, n - 1.f, &d);
  EXPECT_NEAR(d, 0, 1e-5);
  EXPECT_NEAR(evaluate_clamped_1d_spline(c.data(), n, -3.f, &d), data[0], 1e-5);
  EXPECT_EQ(d, 0.f);
  EXPECT_NEAR(evaluate_clamped_1d_spline(c.data(), n, n + 4.f, &d), data[n - 1], 1e-5);
}

}  // namespace
}  // namespace tevo
