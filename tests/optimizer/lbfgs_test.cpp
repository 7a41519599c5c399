#include "optimizer/lbfgs.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <vector>

#include "util/capture.h"

using namespace tevo;

namespace {

// Chained Rosenbrock: sum of 100 (x[i+1] - x[i]^2)^2 + (1 - x[i])^2, minimum 0 at all ones.
template <typename T>
T rosenbrock(int n, const T* x, T* g, void*) {
  T f = 0;
  for (int i = 0; i < n; ++i) g[i] = 0;
  for (int i = 0; i + 1 < n; ++i) {
    const T a = x[i + 1] - x[i] * x[i], b = 1 - x[i];
    f += 100 * a * a + b * b;
    g[i] += -400 * a * x[i] - 2 * b;
    g[i + 1] += 200 * a;
  }
  return f;
}

// 0.5 * sum a[i] (x[i] - c[i])^2 with a in [1, 10]: minimum 0 at c.
template <typename T>
T quadratic(int n, const T* x, T* g, void*) {
  T f = 0;
  for (int i = 0; i < n; ++i) {
    const T a = 1 + 9 * T(i % 7) / 6, c = T(i % 5) - T(1.5);
    f += a * (x[i] - c) * (x[i] - c) / 2;
    g[i] = a * (x[i] - c);
  }
  return f;
}

// Reports the gradient with the wrong sign, so every "descent" goes uphill.
template <typename T>
T lying_bowl(int n, const T* x, T* g, void*) {
  T f = 0;
  for (int i = 0; i < n; ++i) {
    f += x[i] * x[i];
    g[i] = -2 * x[i];
  }
  return f;
}

template <typename T>
int minimise(std::vector<T>& x, T* fx, typename LBFGS<T>::Objective objective, int max_iter = 2000) {
  LBFGS<T> solver("test", static_cast<int>(x.size()), max_iter, 6);
  solver.init();
  int status = 0;
  captured_stdout([&] { status = solver.actuate(x.data(), fx, objective, nullptr); });
  return status;
}

}  // namespace

template <typename T>
class LbfgsTyped : public testing::Test {};
using RealTypes = testing::Types<float, double>;
TYPED_TEST_SUITE(LbfgsTyped, RealTypes);

TYPED_TEST(LbfgsTyped, ReachesKnownMinima) {
  using T = TypeParam;
  // Stopping at |g| <= 1e-4 |x| leaves x within about 1e-3 of a minimum of
  // these curvatures; single precision loses up to another 1e-2 in the search.
  const T tol = sizeof(T) == 4 ? T(2e-2) : T(2e-3);
  for (int n : {2, 10}) {
    std::vector<T> x(n);
    for (int i = 0; i < n; ++i) x[i] = i % 2 ? T(1) : T(-1.2);
    T fx = -1;
    const int status = minimise<T>(x, &fx, rosenbrock<T>);
    EXPECT_GE(status, sizeof(T) == 4 ? -10 : 0) << n;  // float may end on a rounding-limited search
    for (int i = 0; i < n; ++i) EXPECT_NEAR(x[i], 1, tol) << n << " " << i;
    EXPECT_LT(fx, tol) << n;
  }
  for (int n : {3, 50, 5000}) {  // 5000 runs the vector loops in parallel
    std::vector<T> x(n, T(2));
    T fx = -1;
    const int status = minimise<T>(x, &fx, quadratic<T>);
    if (sizeof(T) == 8) {
      EXPECT_EQ(status, LBFGS<T>::kConverged) << n;
    }
    for (int i = 0; i < n; ++i) ASSERT_NEAR(x[i], T(i % 5) - T(1.5), tol) << n << " " << i;
    std::vector<T> g(n);
    EXPECT_NEAR(fx, quadratic<T>(n, x.data(), g.data(), nullptr), 1e-6);
  }
}

TYPED_TEST(LbfgsTyped, SettingsAndIterationLimit) {
  using T = TypeParam;
  LBFGS<T> solver("fit", 4, -1, 9);
  EXPECT_EQ(solver.epsilon, T(1e-5));
  solver.epsilon = T(0.5);
  solver.init();  // replaces what the caller stored
  EXPECT_EQ(solver.epsilon, T(1e-4));
  EXPECT_EQ(solver.m, 6);
  EXPECT_EQ(solver.corrections, 9);
  EXPECT_EQ(solver.max_linesearch, 40);
  std::vector<T> x = {T(-1.2), 1, T(-1.2), 1};
  T fx;
  const std::string text = captured_stdout([&] { solver.actuate(x.data(), &fx, rosenbrock<T>, nullptr); });
  EXPECT_EQ(solver.max_iter, 2000);
  EXPECT_EQ(text.find("-- Optimizing paramters (initial loss 532.4"), 0u);
  EXPECT_NE(text.find("\r-- LM-BFGS is at 0/2000 evluation 532.400"), std::string::npos);
  EXPECT_NE(text.find("\r-- LBFGS @ iteration 1 1/2000 evluations "), std::string::npos);

  std::vector<T> y = {T(-1.2), 1, T(-1.2), 1};
  EXPECT_EQ(minimise<T>(y, &fx, rosenbrock<T>, 3), LBFGS<T>::kMaxIterations);
  EXPECT_GT(fx, T(1e-3));  // three iterations are far from the minimum
}

TEST(Lbfgs, FailedFirstSearchReturnsTheStart) {
  std::vector<double> x = {0.3, -0.7, 1.1};
  double fx = 0;
  std::string text;
  const int status = minimise<double>(x, &fx, lying_bowl<double>);
  EXPECT_LT(status, 0);
  EXPECT_EQ(x, std::vector<double>({0.3, -0.7, 1.1}));
  EXPECT_DOUBLE_EQ(fx, 0.09 + 0.49 + 1.21);
}

TEST(Lbfgs, AlreadyMinimisedStartEndsTheProcess) {
  auto run = [] {
    dup2(2, 1);  // the console words go to standard output
    std::vector<double> x(6);
    for (int i = 0; i < 6; ++i) x[i] = i % 5 - 1.5;  // the minimum of quadratic()
    LBFGS<double> solver("done", 6, 10, 6);
    solver.init();
    double fx;
    solver.actuate(x.data(), &fx, quadratic<double>, nullptr);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "Warning: already minimized!");
}

namespace {

// One-dimensional test functions of Moré and Thuente (1994), table 1 and 2,
// as an objective of one variable along s = +1 from 0.
struct Line {
  int kind;
};

double line_function(int, const double* x, double* g, void* data) {
  const double a = x[0];
  switch (static_cast<Line*>(data)->kind) {
    case 1: {  // -a / (a^2 + 2)
      const double b = 2;
      g[0] = (a * a - b) / ((a * a + b) * (a * a + b));
      return -a / (a * a + b);
    }
    case 2: {  // (a + 0.004)^5 - 2 (a + 0.004)^4
      const double c = a + 0.004;
      g[0] = 5 * std::pow(c, 4) - 8 * std::pow(c, 3);
      return std::pow(c, 5) - 2 * std::pow(c, 4);
    }
    default: {  // smooth valley in the step with a flat start: (a - 3)^2 (1 + 0.1 sin a)
      g[0] = 2 * (a - 3) * (1 + 0.1 * std::sin(a)) + (a - 3) * (a - 3) * 0.1 * std::cos(a);
      return (a - 3) * (a - 3) * (1 + 0.1 * std::sin(a));
    }
  }
}

}  // namespace

TEST(Lbfgs, LineSearchMeetsStrongWolfe) {
  LBFGS<double> solver("ls", 1, 10, 6);
  solver.init();
  for (const double gtol : {0.9, 0.1}) {
    solver.gtol = gtol;
    for (int kind = 1; kind <= 3; ++kind) {
      for (const double start : {1e-3, 1e-1, 1e1, 1e3}) {
        Line line{kind};
        const double xp = 0, s = 1;
        double x = 0, g = 0, wa = 0, gp = 0;
        double f = line_function(1, &xp, &g, &line);
        const double f0 = f, dg0 = g * s;
        double stp = start;
        int count = 0;
        captured_stdout([&] {
          count = solver.line_search_morethuente(1, &x, &f, &g, &s, &stp, &xp, &gp, &wa, line_function, &line);
        });
        ASSERT_GT(count, 0) << kind << " " << start << " " << gtol;
        EXPECT_LE(count, 40);
        EXPECT_DOUBLE_EQ(x, stp);
        EXPECT_LE(f, f0 + solver.ftol * stp * dg0) << kind << " " << start;
        EXPECT_LE(std::fabs(g * s), gtol * std::fabs(dg0)) << kind << " " << start;
        double g_check;
        EXPECT_DOUBLE_EQ(f, line_function(1, &x, &g_check, &line));
      }
    }
  }

  // Refusals: no positive step, and an ascent direction.
  Line line{3};
  double xp = 0, x = 0, g = 0, gp = 0, wa = 0, f = line_function(1, &xp, &g, &line), stp = 0;
  const double down = 1, up = -1;
  std::string text = captured_stdout([&] {
    EXPECT_EQ(solver.line_search_morethuente(1, &x, &f, &g, &down, &stp, &xp, &gp, &wa, line_function, &line),
              LBFGS<double>::kErrNegativeStep);
  });
  EXPECT_NE(text.find("Warning: step size is negative!"), std::string::npos);
  stp = 1;
  text = captured_stdout([&] {
    EXPECT_EQ(solver.line_search_morethuente(1, &x, &f, &g, &up, &stp, &xp, &gp, &wa, line_function, &line),
              LBFGS<double>::kErrAscent);
  });
  EXPECT_NE(text.find("not in a descent direction!"), std::string::npos);
}

TEST(Lbfgs, TrialIntervalAndCubics) {
  LBFGS<double> s("c", 1, 1, 6);
  double cm = 0;
  // t^3 - 3t has its local minimum at 1.
  s.cubic_minimizer(&cm, 0.0, 0.0, -3.0, 2.0, 2.0, 9.0);
  EXPECT_NEAR(cm, 1.0, 1e-12);
  s.cubic_minimizer(&cm, 2.0, 2.0, 9.0, 0.0, 0.0, -3.0);
  EXPECT_NEAR(cm, 1.0, 1e-12);
  // -2t + t^2 / 2 (minimum at 2) and a cubic without a minimum, whose slope
  // magnitude still falls: the clipped form goes to the far bound.
  s.cubic_minimizer(&cm, 0.0, 0.0, -2.0, 1.0, -1.5, -1.0, 0.0, 10.0);
  EXPECT_NEAR(cm, 2.0, 1e-12);
  s.cubic_minimizer(&cm, 0.0, 0.0, -1.0, 1.0, -1.0 + 0.5 - 1.0 / 6, -0.5, 0.0, 10.0);
  EXPECT_EQ(cm, 10.0);
  s.cubic_minimizer(&cm, 0.0, 0.0, 1.0, -1.0, -1.0 + 0.5 - 1.0 / 6, 0.5, -10.0, 0.0);
  EXPECT_EQ(cm, -10.0);

  // Case 1 (higher value at t): bracketed, the new step lies between x and t.
  double x = 0, fx = 0, dx = -1, y = 0, fy = 0, dy = -1, t = 2, ft = 1, dt = 2;
  bool brackt = false;
  EXPECT_EQ(s.update_trial_interval(&x, &fx, &dx, &y, &fy, &dy, &t, &ft, &dt, 0.0, 10.0, &brackt), 0);
  EXPECT_TRUE(brackt);
  EXPECT_EQ(y, 2.0);
  EXPECT_GT(t, 0.0);
  EXPECT_LT(t, 2.0);
  // Case 4 unbracketed, slope as steep as before: extrapolate to tmax.
  x = 0, fx = 0, dx = -1, y = 0, fy = 0, dy = -1, t = 1, ft = -2, dt = -3;
  brackt = false;
  EXPECT_EQ(s.update_trial_interval(&x, &fx, &dx, &y, &fy, &dy, &t, &ft, &dt, 1.0, 5.0, &brackt), 0);
  EXPECT_EQ(t, 5.0);
  EXPECT_EQ(x, 1.0);
  EXPECT_FALSE(brackt);

  struct Refusal {
    double x, dx, y, t, tmin, tmax;
    int code;
    const char* words;
  } refusals[] = {
      {0, -1, 2, 3, 0, 2, LBFGS<double>::kErrOutOfInterval, "Error: out of the interval! Please double-check!"},
      {0, 1, 2, 1, 0, 2, LBFGS<double>::kErrIncreaseGradient, "Error: not decrease! Please double-check!"},
      {0, -1, 2, 1, 2, 0, LBFGS<double>::kErrTminTmax,
       "Error: incorrect tmin and tmax specified! Please double-check!"},
  };
  for (const Refusal& r : refusals) {
    double rx = r.x, rfx = 0, rdx = r.dx, ry = r.y, rfy = 1, rdy = 1, rt = r.t, rft = 0.5, rdt = 0;
    bool bracketed = true;
    int code = 0;
    const std::string text = captured_stdout([&] {
      code = s.update_trial_interval(&rx, &rfx, &rdx, &ry, &rfy, &rdy, &rt, &rft, &rdt, r.tmin, r.tmax, &bracketed);
    });
    EXPECT_EQ(code, r.code);
    EXPECT_NE(text.find(r.words), std::string::npos) << r.words;
    EXPECT_EQ(rt, r.t);  // nothing moved
  }
}

TEST(Lbfgs, OrthantWiseHelpersSolveALasso) {
  LBFGS<double> s("l1", 4, 1, 6);
  const double px[5] = {-2, 0, 0, 0, 3};
  const double pg_in[5] = {0.5, -3, 0.5, 3, 1};
  double pg[5];
  s.owlqn_pseudo_gradient(pg, px, pg_in, 5, 1.0, 0, 4);
  EXPECT_EQ(std::vector<double>(pg, pg + 5), std::vector<double>({-0.5, -2, 0, 2, 1}));  // index 4 unpenalised
  EXPECT_EQ(s.owlqn_x1norm(px, 0, 5), 5.0);
  EXPECT_EQ(s.owlqn_x1norm(px, 1, 4), 0.0);

  // min 0.5 |A x - b|^2 + c |x|_1 by orthant-wise projected steepest descent:
  // the pseudo-gradient picks the orthant, and steps that cross zero stop at 0.
  const int rows = 30, n = 10;
  std::vector<double> a(rows * n), b(rows, 0.0);
  unsigned state = 12345;
  for (double& v : a) {
    state = state * 1103515245u + 12345u;
    v = ((state >> 8) & 0xffff) / 65536.0 - 0.5;
  }
  const double truth[n] = {2, 0, 0, -1.5, 0, 0, 0, 1, 0, 0};
  for (int r = 0; r < rows; ++r)
    for (int j = 0; j < n; ++j) b[r] += a[r * n + j] * truth[j];
  const double c = 0.3;
  std::vector<double> x(n, 0.0), g(n), pgv(n), trial(n);
  for (int it = 0; it < 20000; ++it) {
    for (int j = 0; j < n; ++j) g[j] = 0;
    for (int r = 0; r < rows; ++r) {
      double res = -b[r];
      for (int j = 0; j < n; ++j) res += a[r * n + j] * x[j];
      for (int j = 0; j < n; ++j) g[j] += a[r * n + j] * res;
    }
    s.owlqn_pseudo_gradient(pgv.data(), x.data(), g.data(), n, c, 0, n);
    for (int j = 0; j < n; ++j) {
      const double orthant = x[j] != 0 ? x[j] : -pgv[j];
      trial[j] = x[j] - 0.2 * pgv[j];
      if (trial[j] * orthant <= 0) trial[j] = 0;
    }
    x = trial;
  }
  int zeros = 0;
  for (int j = 0; j < n; ++j) {
    EXPECT_NEAR(pgv[j], 0.0, 1e-9) << j;  // optimality: the pseudo-gradient vanishes
    zeros += x[j] == 0.0;
    if (truth[j] == 0) EXPECT_EQ(x[j], 0.0) << j;
    else EXPECT_GT(x[j] * truth[j], 0.0) << j;
  }
  EXPECT_EQ(zeros, 7);
  EXPECT_GT(s.owlqn_x1norm(x.data(), 0, n), 0.0);
}
