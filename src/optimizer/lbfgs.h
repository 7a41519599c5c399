// Limited-memory BFGS minimiser (Nocedal 1980; Liu & Nocedal 1989) with the
// line search of Moré & Thuente (ACM TOMS 20:3, 1994), plus the orthant-wise
// helpers for L1-regularised problems (Andrew & Gao, ICML 2007).
#pragma once

#include <string>

namespace tevo {

template <typename T>
class LBFGS {
 public:
  // Value of the objective at x[0..n); fills g[0..n) with its gradient.
  using Objective = T (*)(int n, const T* x, T* g, void* data);

  // End states of actuate().
  static constexpr int kConverged = 0;
  static constexpr int kMaxIterations = 1;
  static constexpr int kStopDecrease = 2;   // relative decrease over `past` iterations below delta
  static constexpr int kBadCurvature = 3;   // y's or y'y not positive: no usable correction pair
  // Negative line-search results.
  static constexpr int kErrNegativeStep = -1;
  static constexpr int kErrAscent = -2;
  static constexpr int kErrRounding = -3;
  static constexpr int kErrMaxStep = -4;
  static constexpr int kErrMinStep = -5;
  static constexpr int kErrWidthTooSmall = -6;
  static constexpr int kErrMaxLineSearch = -7;
  static constexpr int kErrOutOfInterval = -8;
  static constexpr int kErrIncreaseGradient = -9;
  static constexpr int kErrTminTmax = -10;

  LBFGS(const std::string& name, int dimension, int max_iter, int corrections);
  ~LBFGS() = default;

  // Sets the working parameters, replacing what the constructor stored.
  void init();
  void finish() {}

  // Minimises from x[0..dimension), which receives the best point; *fx its value.
  // Returns one of the end states above or the negative line-search result.
  // Ends the process with status 0 if the start already meets epsilon.
  int actuate(T* x, T* fx, Objective objective, void* data);

  // One Moré-Thuente search along s from xp (value *f, gradient g on entry).
  // On return x, *f, g hold the accepted point; *stp its step. Returns the
  // number of evaluations, or a negative error. wa is scratch of length n.
  int line_search_morethuente(int n, T* x, T* f, T* g, const T* s, T* stp, const T* xp,
                              const T* gp, T* wa, Objective objective, void* data);

  // Safeguarded new trial step t within [tmin, tmax] from the best step x and
  // the other end y (values f*, slopes d*); updates the interval. 0 or negative.
  int update_trial_interval(T* x, T* fx, T* dx, T* y, T* fy, T* dy, T* t, T* ft, T* dt,
                            T tmin, T tmax, bool* brackt);

  // Minimiser of the cubic through (u, fu, du) and (v, fv, dv).
  void cubic_minimizer(T* cm, T u, T fu, T du, T v, T fv, T dv);
  // The same, for the case of a decreasing slope magnitude: falls back to
  // xmin or xmax when the cubic does not turn.
  void cubic_minimizer(T* cm, T u, T fu, T du, T v, T fv, T dv, T xmin, T xmax);

  // Sum of |x[i]| for i in [start, end).
  T owlqn_x1norm(const T* x, int start, int end);
  // Pseudo-gradient of f(x) + c * sum |x[i]| (i in [start, end)) into pg[0..n).
  void owlqn_pseudo_gradient(T* pg, const T* x, const T* g, int n, T c, int start, int end);

  std::string name;
  int max_iter;        // iteration limit; negative means 2000
  int dimension;
  int corrections;     // as given by the caller
  int m;               // corrections kept
  T epsilon = T(1e-5); // stop when |g| / max(1, |x|) <= epsilon
  int past = 0;        // iterations between value-decrease tests; 0 switches them off
  T delta = T(1e-5);
  int max_linesearch = 40;
  T min_step = T(1e-20);
  T max_step = T(1e20);
  T ftol = T(1e-4);    // sufficient decrease
  T wolfe = T(0.9);
  T gtol = T(0.9);     // curvature
  T xtol = T(1e-16);   // relative width of the interval of uncertainty
};

extern template class LBFGS<float>;
extern template class LBFGS<double>;

}  // namespace tevo
