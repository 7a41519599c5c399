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

// 0.5 * sum a[i] (x[i] - c[i])^2 with a in [1, 10]; with `lie` the gradient
// has the wrong sign, so every "descent" goes uphill.
template <typename T, bool lie = false>
T quadratic(int n, const T* x, T* g, void*) {
  T f = 0;
  for (int i = 0; i < n; ++i) {
    const T a = 1 + 9 * T(i % 7) / 6, c = T(i % 5) - T(1.5);
    f += a * (x[i] - c) * (x[i] - c) / 2;
    g[i] = (lie ? -a : a) * (x[i] - c);
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
  // |g| <= 1e-4 |x| leaves x within about 1e-3 of these minima; single
  // precision loses up to another 1e-2 in rounding-limited line searches.
  const T tol = sizeof(T) == 4 ? T(2e-2) : T(2e-3);
  for (int n : {2, 10}) {
    std::vector<T> x(n);
    for (int i = 0; i < n; ++i) x[i] = i % 2 ? T(1) : T(-1.2);
    T fx = -1;
    minimise<T>(x, &fx, rosenbrock<T>);
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
  }
}

TYPED_TEST(LbfgsTyped, ProgressAndIterationLimit) {
  using T = TypeParam;
  LBFGS<T> solver("fit", 4, -1, 9);  // a negative limit falls back to 2000
  solver.init();
  std::vector<T> x = {T(-1.2), 1, T(-1.2), 1};
  T fx;
  const std::string text = captured_stdout([&] { solver.actuate(x.data(), &fx, rosenbrock<T>, nullptr); });
  // The coupling fit reads the initial loss back from this line.
  EXPECT_EQ(text.find("-- Optimizing paramters (initial loss 532.4"), 0u);
  EXPECT_NE(text.find("\r-- LBFGS @ iteration 1 1/2000 evluations "), std::string::npos);
  std::vector<T> y = {T(-1.2), 1, T(-1.2), 1};
  EXPECT_EQ(minimise<T>(y, &fx, rosenbrock<T>, 3), LBFGS<T>::kMaxIterations);
  EXPECT_GT(fx, T(1e-3));  // three iterations are far from the minimum
}

TEST(Lbfgs, FailedSearchKeepsTheStartAndMinimisedStartEndsTheProcess) {
  std::vector<double> x = {0.3, -0.7, 1.1};
  double fx = 0, g[3];
  EXPECT_LT(minimise<double>(x, &fx, quadratic<double, true>), 0);
  EXPECT_EQ(x, std::vector<double>({0.3, -0.7, 1.1}));
  EXPECT_EQ(fx, quadratic<double>(3, x.data(), g, nullptr));

  auto at_minimum = [] {
    dup2(2, 1);  // the console words go to standard output
    std::vector<double> m = {-1.5, -0.5, 0.5, 1.5, 2.5, -1.5};
    LBFGS<double> solver("done", 6, 10, 6);
    solver.init();
    double value;
    solver.actuate(m.data(), &value, quadratic<double>, nullptr);
  };
  EXPECT_EXIT(at_minimum(), testing::ExitedWithCode(0), "Warning: already minimized!");
}

namespace {

// One-dimensional functions of Moré and Thuente (1994, table 1 and 2) and a
// wavy valley, as objectives of one variable searched along +1 from 0.
double line_function(int, const double* x, double* g, void* data) {
  const double a = x[0], c = a + 0.004;
  switch (*static_cast<int*>(data)) {
    case 1:
      g[0] = (a * a - 2) / ((a * a + 2) * (a * a + 2));
      return -a / (a * a + 2);
    case 2:
      g[0] = 5 * std::pow(c, 4) - 8 * std::pow(c, 3);
      return std::pow(c, 5) - 2 * std::pow(c, 4);
    default:
      g[0] = 2 * (a - 3) * (1 + 0.1 * std::sin(a)) + (a - 3) * (a - 3) * 0.1 * std::cos(a);
      return (a - 3) * (a - 3) * (1 + 0.1 * std::sin(a));
  }
}

}  // namespace

TEST(Lbfgs, LineSearchMeetsStrongWolfe) {
  LBFGS<double> solver("ls", 1, 10, 6);
  solver.init();
  const double xp = 0, gp = 0, down = 1, up = -1;
  for (const double gtol : {0.9, 0.1}) {
    solver.gtol = gtol;
    for (int kind = 1; kind <= 3; ++kind) {
      for (const double start : {1e-3, 1e-1, 1e1, 1e3}) {
        double x = 0, g = 0, wa = 0, stp = start, g_check;
        double f = line_function(1, &xp, &g, &kind);
        const double f0 = f, dg0 = g;
        int count = 0;
        captured_stdout([&] {
          count = solver.line_search_morethuente(1, &x, &f, &g, &down, &stp, &xp, &gp, &wa, line_function, &kind);
        });
        ASSERT_GT(count, 0) << kind << " " << start << " " << gtol;
        EXPECT_EQ(x, stp);  // the point and value returned are those of the step
        EXPECT_LE(f, f0 + solver.ftol * stp * dg0) << kind << " " << start;
        EXPECT_LE(std::fabs(g), gtol * std::fabs(dg0)) << kind << " " << start;
        EXPECT_EQ(f, line_function(1, &x, &g_check, &kind));
      }
    }
  }
  int kind = 3;
  double x = 0, g = 0, wa = 0, f = line_function(1, &xp, &g, &kind), stp = 1;
  const std::string text = captured_stdout([&] {
    EXPECT_EQ(solver.line_search_morethuente(1, &x, &f, &g, &up, &stp, &xp, &gp, &wa, line_function, &kind),
              LBFGS<double>::kErrAscent);
  });
  EXPECT_NE(text.find("Warning: there is no suitable step, since searching is not in a descent direction!"),
            std::string::npos);
}

TEST(Lbfgs, CubicMinimizersAndIntervalRefusals) {
  LBFGS<double> s("c", 1, 1, 6);
  double cm = 0;
  // -t + t^2/2 - t^3/6 falls everywhere: the clipped form goes to the far bound.
  s.cubic_minimizer(&cm, 0.0, 0.0, -1.0, 1.0, -2.0 / 3, -0.5, 0.0, 10.0);
  EXPECT_EQ(cm, 10.0);

  // One step of each case against the minimisers of the fitted polynomials.
  struct Step {
    double fx, dx, y, ft, dt, tmax;
    bool brackt;
    double expected;
  } steps[] = {
      // higher value: cubic 0.5t^2 + t^3 - t, min (sqrt(13) - 1) / 6, averaged with the quadratic's 1/3
      {0, -1, 0, 0.5, 3, 5, false, ((std::sqrt(13.0) - 1) / 6 + 1.0 / 3) / 2},
      // slopes of opposite sign: cubic -0.1t^3 + 0.9t^2 - t (min 0.6195) beats the secant's 2/3
      {0, -1, 0, -0.2, 0.5, 5, false, (1.8 - std::sqrt(2.04)) / 0.6},
      // smaller slope, bracketed by y = 1.7: cubic min 1.5226 cut to 1 + 0.66 * 0.7
      {0, -1, 1.7, -0.8, -0.5, 1.7, true, 1.462},
      // as steep as before, not bracketed: to tmax
      {0, -1, 0, -2, -3, 5, false, 5},
  };
  for (const Step& c : steps) {
    double x = 0, fx = c.fx, dx = c.dx, y = c.y, fy = 1, dy = 2, t = 1, ft = c.ft, dt = c.dt;
    bool brackt = c.brackt;
    EXPECT_EQ(s.update_trial_interval(&x, &fx, &dx, &y, &fy, &dy, &t, &ft, &dt, 0.0, c.tmax, &brackt), 0);
    EXPECT_NEAR(t, c.expected, 1e-9) << c.expected;
  }

  struct Refusal {
    double dx, t, tmin, tmax;
    const char* words;
  } refusals[] = {{-1, 3, 0, 2, "Error: out of the interval! Please double-check!"},
                  {1, 1, 0, 2, "Error: not decrease! Please double-check!"},
                  {-1, 1, 2, 0, "Error: incorrect tmin and tmax specified! Please double-check!"}};
  for (const Refusal& r : refusals) {
    double x = 0, fx = 0, dx = r.dx, y = 2, fy = 1, dy = 1, t = r.t, ft = 0.5, dt = 0;
    bool bracketed = true;
    const std::string text = captured_stdout([&] {
      EXPECT_LT(s.update_trial_interval(&x, &fx, &dx, &y, &fy, &dy, &t, &ft, &dt, r.tmin, r.tmax, &bracketed), 0);
    });
    EXPECT_NE(text.find(r.words), std::string::npos) << r.words;
    EXPECT_EQ(t, r.t);
  }
}

// The pseudo-gradient of f + c |x|_1 over [start, end): the one-sided
// derivative that descends, 0 where neither does; outside, the plain gradient.
TEST(Lbfgs, OrthantWisePseudoGradient) {
  LBFGS<double> s("l1", 7, 1, 6);
  const double x[7] = {-2, -2, 3, 0, 0, 0, 0}, g[7] = {0.5, 0.5, 0.5, -3, 2, 0.4, 7};
  double pg[7];
  s.owlqn_pseudo_gradient(pg, x, g, 7, 1.0, 1, 6);
  EXPECT_EQ(std::vector<double>(pg, pg + 7), std::vector<double>({0.5, -0.5, 1.5, -2, 1, 0, 7}));
  EXPECT_EQ(s.owlqn_x1norm(x, 1, 3), 5.0);
}
