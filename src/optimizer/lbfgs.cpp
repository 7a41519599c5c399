// L-BFGS two-loop recursion (Nocedal & Wright, Numerical Optimization, 2nd ed.,
// Algorithm 7.4) driven by the Moré-Thuente line search, whose interval update
// follows the four cases of section 4 of their 1994 paper.
#include "optimizer/lbfgs.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "util/console.h"
#include "util/numeric.h"  // vec_copy, vec_add, vec_sub, vec_scale

namespace tevo {

namespace {

// Sums in double whatever T is (vec_dot_prod sums in T), so single-precision
// runs keep their inner products accurate over long vectors. Partial sums of
// fixed chunks are added in order, so the result, and with it the path of the
// minimiser, is the same for any number of threads.
template <typename T>
T dot(const T* a, const T* b, int n) {
  constexpr int kChunk = 1 << 16;
  const int chunks = (n + kChunk - 1) / kChunk;
  if (chunks <= 1) {
    double sum = 0;
    for (int i = 0; i < n; ++i) sum += static_cast<double>(a[i]) * b[i];
    return static_cast<T>(sum);
  }
  std::vector<double> partial(chunks);
#pragma omp parallel for schedule(static)
  for (int c = 0; c < chunks; ++c) {
    const int end = std::min(n, (c + 1) * kChunk);
    double sum = 0;
    for (int i = c * kChunk; i < end; ++i) sum += static_cast<double>(a[i]) * b[i];
    partial[c] = sum;
  }
  double sum = 0;
  for (double p : partial) sum += p;
  return static_cast<T>(sum);
}

template <typename T>
T norm(const T* a, int n) {
  return std::sqrt(dot(a, a, n));
}

// Minimiser of the quadratic through (u, fu, du) and (v, fv).
template <typename T>
T quadratic_minimizer(T u, T fu, T du, T v, T fv) {
  const T a = v - u;
  return u + du / ((fu - fv) / a + du) / 2 * a;
}

// Minimiser of the quadratic with slopes du at u and dv at v (secant step).
template <typename T>
T secant_minimizer(T u, T du, T v, T dv) {
  const T a = u - v;
  return v + dv / (dv - du) * a;
}

template <typename T>
T max3(T a, T b, T c) {
  return std::max(a, std::max(b, c));
}

// theta and the magnitude of gamma of the cubic through (u, fu, du) and
// (v, fv, dv), scaled by the largest of |theta|, |du|, |dv| against overflow;
// each minimiser gives gamma its own sign.
template <typename T>
void cubic_terms(T u, T fu, T du, T v, T fv, T dv, T* theta, T* gamma) {
  *theta = (fu - fv) * 3 / (v - u) + du + dv;
  const T s = max3(std::fabs(*theta), std::fabs(du), std::fabs(dv));
  const T a = *theta / s;
  *gamma = s * std::sqrt(std::max(T(0), a * a - (du / s) * (dv / s)));
}

template <typename T>
T* alloc(int n) {
  return new (std::nothrow) T[static_cast<std::size_t>(n)];
}

}  // namespace

template <typename T>
LBFGS<T>::LBFGS(const std::string& name_, int dimension_, int max_iter_, int corrections_)
    : name(name_), max_iter(max_iter_), dimension(dimension_), corrections(corrections_),
      m(corrections_) {}

template <typename T>
void LBFGS<T>::init() {
  m = 6;
  epsilon = T(1e-4);
  past = 0;
  delta = T(1e-5);
  max_linesearch = 40;
  min_step = T(1e-20);
  max_step = T(1e20);
  ftol = T(1e-4);
  wolfe = T(0.9);
  gtol = T(0.9);
  xtol = T(1e-16);
}

template <typename T>
int LBFGS<T>::actuate(T* x, T* fx, Objective objective, void* data) {
  if (max_iter < 0) max_iter = 2000;
  const int n = dimension;
  if (n < 0) {
    print_info("the dimension of " + name + " is negative: " + std::to_string(n), 9);
    std::exit(1);
  }
  const int mm = std::max(1, m);

  T* xp = alloc<T>(n);
  T* g = alloc<T>(n);
  T* gp = alloc<T>(n);
  T* d = alloc<T>(n);
  T* w = alloc<T>(n);
  T* alpha = alloc<T>(mm);
  T* ys_ring = alloc<T>(mm);
  T* s_ring = alloc<T>(static_cast<std::size_t>(mm) * n);  // [mm][n]
  T* y_ring = alloc<T>(static_cast<std::size_t>(mm) * n);  // [mm][n]
  T* pf = past > 0 ? alloc<T>(past) : nullptr;              // values of the last `past` iterations
  auto release = [&] {
    for (T* p : {xp, g, gp, d, w, alpha, ys_ring, s_ring, y_ring, pf}) delete[] p;
  };
  if (!xp || !g || !gp || !d || !w || !alpha || !ys_ring || !s_ring || !y_ring || (past > 0 && !pf)) {
    print_info("no sufficient memory! Please double-check!", 9);
    std::exit(1);
  }

  T f = objective(n, x, g, data);
  char text[128];
  std::snprintf(text, sizeof(text), "%f", static_cast<double>(f));
  print_text(std::string("Optimizing paramters (initial loss ") + text + ") ...");
  if (pf) pf[0] = f;

  vec_copy(d, g, n, T(-1));
  T xnorm = norm(x, n);
  T gnorm = norm(g, n);
  if (xnorm < 1) xnorm = 1;
  if (gnorm / xnorm <= epsilon) {
    print_info("already minimized!", 11);
    release();  // the process ends here: nothing is left to the leak checker
    std::exit(0);
  }

  T step = 1 / norm(d, n);
  int k = 1;
  int end = 0;
  int status = kMaxIterations;
  progress_bar<T>("LM-BFGS is at", 0, max_iter, "evluation", f);
  for (;;) {
    vec_copy(xp, x, n);
    vec_copy(gp, g, n);
    const T f_prev = f;

    const int ls = line_search_morethuente(n, x, &f, g, d, &step, xp, gp, w, objective, data);
    if (ls < 0) {
      // Keep the point the search started from: the best one known.
      vec_copy(x, xp, n);
      vec_copy(g, gp, n);
      f = f_prev;
      status = ls;
      break;
    }

    progress_bar<T>("LBFGS @ iteration " + std::to_string(k), k, max_iter, "evluations", f);

    xnorm = norm(x, n);
    gnorm = norm(g, n);
    if (xnorm < 1) xnorm = 1;
    if (gnorm / xnorm <= epsilon) {
      status = kConverged;
      break;
    }
    if (pf) {
      if (past <= k) {
        const T rate = (pf[k % past] - f) / f;
        if (std::fabs(rate) < delta) {
          status = kStopDecrease;
          break;
        }
      }
      pf[k % past] = f;
    }
    if (max_iter <= k) {
      status = kMaxIterations;
      break;
    }

    // Newest correction pair.
    T* s_new = s_ring + static_cast<std::size_t>(end) * n;
    T* y_new = y_ring + static_cast<std::size_t>(end) * n;
    vec_sub(s_new, x, xp, n);
    vec_sub(y_new, g, gp, n);
    const T ys = dot(y_new, s_new, n);
    const T yy = dot(y_new, y_new, n);
    if (!(ys > 0) || !(yy > 0)) {
      status = kBadCurvature;
      break;
    }
    ys_ring[end] = ys;

    const int bound = std::min(mm, k);
    ++k;
    end = (end + 1) % mm;

    // Two-loop recursion: d = -H g.
    vec_copy(d, g, n, T(-1));
    int j = end;
    for (int i = 0; i < bound; ++i) {
      j = (j + mm - 1) % mm;
      const T* sj = s_ring + static_cast<std::size_t>(j) * n;
      const T* yj = y_ring + static_cast<std::size_t>(j) * n;
      alpha[j] = dot(sj, d, n) / ys_ring[j];
      vec_add(d, yj, n, -alpha[j]);
    }
    vec_scale(d, n, ys / yy);
    for (int i = 0; i < bound; ++i) {
      const T* sj = s_ring + static_cast<std::size_t>(j) * n;
      const T* yj = y_ring + static_cast<std::size_t>(j) * n;
      const T beta = dot(yj, d, n) / ys_ring[j];
      vec_add(d, sj, n, alpha[j] - beta);
      j = (j + 1) % mm;
    }
    step = 1;
  }
  std::printf("\n");

  *fx = f;
  release();
  return status;
}

template <typename T>
int LBFGS<T>::line_search_morethuente(int n, T* x, T* f, T* g, const T* s, T* stp, const T* xp,
                                      const T* /*gp*/, T* /*wa*/, Objective objective, void* data) {
  if (!(*stp > 0)) {
    print_info("step size is negative!", 11);
    return kErrNegativeStep;
  }
  const T dginit = dot(g, s, n);
  if (dginit > 0) {
    print_info("there is no suitable step, since searching is not in a descent direction!", 11);
    return kErrAscent;
  }

  bool brackt = false;
  bool stage1 = true;
  int uinfo = 0;
  const T finit = *f;
  const T dgtest = ftol * dginit;
  T width = max_step - min_step;
  T prev_width = 2 * width;

  // stx: best step so far; sty: other end of the interval; both start at 0.
  T stx = 0, fx = finit, dgx = dginit;
  T sty = 0, fy = finit, dgy = dginit;
  T stmin = 0, stmax = 0;

  for (int count = 0;;) {
    if (brackt) {
      stmin = std::min(stx, sty);
      stmax = std::max(stx, sty);
    } else {
      stmin = stx;
      stmax = *stp + T(4.0) * (*stp - stx);
    }
    if (*stp < min_step) *stp = min_step;
    if (max_step < *stp) *stp = max_step;
    // When the search cannot make progress, fall back to the best step.
    if ((brackt && ((*stp <= stmin || stmax <= *stp) || max_linesearch <= count + 1 || uinfo != 0)) ||
        (brackt && (stmax - stmin <= xtol * stmax))) {
      *stp = stx;
    }

    vec_add(x, xp, s, n, T(1), *stp);  // x = xp + stp * s
    *f = objective(n, x, g, data);
    const T dg = dot(g, s, n);
    const T ftest1 = finit + *stp * dgtest;
    ++count;

    if (brackt && ((*stp <= stmin || stmax <= *stp) || uinfo != 0)) return kErrRounding;
    if (*stp == max_step && *f <= ftest1 && dg <= dgtest) return kErrMaxStep;
    if (*stp == min_step && (ftest1 < *f || dgtest <= dg)) return kErrMinStep;
    if (brackt && (stmax - stmin) <= xtol * stmax) return kErrWidthTooSmall;
    if (max_linesearch <= count) return kErrMaxLineSearch;
    // Strong Wolfe conditions.
    if (*f <= ftest1 && std::fabs(dg) <= gtol * (-dginit)) return count;

    if (stage1 && *f <= ftest1 && std::min(ftol, gtol) * dginit <= dg) stage1 = false;

    if (stage1) {
      // First stage: work on psi(stp) = f(stp) - finit - stp * dgtest.
      T fm = *f - *stp * dgtest;
      T fxm = fx - stx * dgtest;
      T fym = fy - sty * dgtest;
      T dgm = dg - dgtest;
      T dgxm = dgx - dgtest;
      T dgym = dgy - dgtest;
      uinfo = update_trial_interval(&stx, &fxm, &dgxm, &sty, &fym, &dgym, stp, &fm, &dgm, stmin,
                                    stmax, &brackt);
      fx = fxm + stx * dgtest;
      fy = fym + sty * dgtest;
      dgx = dgxm + dgtest;
      dgy = dgym + dgtest;
    } else {
      T ft = *f;
      T dt = dg;
      uinfo = update_trial_interval(&stx, &fx, &dgx, &sty, &fy, &dgy, stp, &ft, &dt, stmin, stmax,
                                    &brackt);
    }

    // Bisect when the interval does not shrink fast enough.
    if (brackt) {
      if (T(0.66) * prev_width <= std::fabs(sty - stx)) *stp = stx + T(0.5) * (sty - stx);
      prev_width = width;
      width = std::fabs(sty - stx);
    }
  }
}

template <typename T>
int LBFGS<T>::update_trial_interval(T* x, T* fx, T* dx, T* y, T* fy, T* dy, T* t, T* ft, T* dt,
                                    T tmin, T tmax, bool* brackt) {
  if (*brackt) {
    if (*t <= std::min(*x, *y) || std::max(*x, *y) <= *t) {
      print_info("out of the interval! Please double-check!", 9);
      return kErrOutOfInterval;
    }
    if (0 <= *dx * (*t - *x)) {
      print_info("not decrease! Please double-check!", 9);
      return kErrIncreaseGradient;
    }
    if (tmax < tmin) {
      print_info("incorrect tmin and tmax specified! Please double-check!", 9);
      return kErrTminTmax;
    }
  }

  const bool dsign = (*dt < 0) != (*dx < 0);  // slopes of opposite sign
  bool bound = false;
  T newt, mc, mq;

  if (*fx < *ft) {
    // Case 1: higher value; the minimum is bracketed.
    *brackt = true;
    cubic_minimizer(&mc, *x, *fx, *dx, *t, *ft, *dt);
    mq = quadratic_minimizer(*x, *fx, *dx, *t, *ft);
    newt = std::fabs(mc - *x) < std::fabs(mq - *x) ? mc : mc + T(0.5) * (mq - mc);
  } else if (dsign) {
    // Case 2: lower value, slopes of opposite sign; bracketed.
    *brackt = true;
    cubic_minimizer(&mc, *x, *fx, *dx, *t, *ft, *dt);
    mq = secant_minimizer(*x, *dx, *t, *dt);
    newt = std::fabs(mc - *t) > std::fabs(mq - *t) ? mc : mq;
  } else if (std::fabs(*dt) < std::fabs(*dx)) {
    // Case 3: lower value, same sign, smaller slope.
    bound = true;
    cubic_minimizer(&mc, *x, *fx, *dx, *t, *ft, *dt, tmin, tmax);
    mq = secant_minimizer(*x, *dx, *t, *dt);
    if (*brackt)
      newt = std::fabs(*t - mc) < std::fabs(*t - mq) ? mc : mq;
    else
      newt = std::fabs(*t - mc) > std::fabs(*t - mq) ? mc : mq;
  } else {
    // Case 4: lower value, same sign, slope not smaller.
    if (*brackt)
      cubic_minimizer(&newt, *t, *ft, *dt, *y, *fy, *dy);
    else
      newt = *x < *t ? tmax : tmin;
  }

  // Move the ends: the lower value stays at x.
  if (*fx < *ft) {
    *y = *t;
    *fy = *ft;
    *dy = *dt;
  } else {
    if (dsign) {
      *y = *x;
      *fy = *fx;
      *dy = *dx;
    }
    *x = *t;
    *fx = *ft;
    *dx = *dt;
  }

  if (tmax < newt) newt = tmax;
  if (newt < tmin) newt = tmin;

  if (*brackt && bound) {
    mq = *x + T(0.66) * (*y - *x);
    if (*x < *y) {
      if (mq < newt) newt = mq;
    } else {
      if (newt < mq) newt = mq;
    }
  }
  *t = newt;
  return 0;
}

template <typename T>
void LBFGS<T>::cubic_minimizer(T* cm, T u, T fu, T du, T v, T fv, T dv) {
  const T d = v - u;
  T theta, gamma;
  cubic_terms(u, fu, du, v, fv, dv, &theta, &gamma);
  if (v < u) gamma = -gamma;
  const T p = gamma - du + theta;
  const T q = gamma - du + gamma + dv;
  *cm = u + p / q * d;
}

template <typename T>
void LBFGS<T>::cubic_minimizer(T* cm, T u, T fu, T du, T v, T fv, T dv, T xmin, T xmax) {
  const T d = v - u;
  T theta, gamma;
  cubic_terms(u, fu, du, v, fv, dv, &theta, &gamma);
  if (u < v) gamma = -gamma;
  const T p = gamma - dv + theta;
  const T q = gamma - dv + gamma + du;
  const T r = p / q;
  if (r < 0 && gamma != 0)
    *cm = v - r * d;
  else if (d > 0)
    *cm = xmax;
  else
    *cm = xmin;
}

template <typename T>
T LBFGS<T>::owlqn_x1norm(const T* x, int start, int end) {
  T norm1 = 0;
  for (int i = start; i < end; ++i) norm1 += std::fabs(x[i]);
  return norm1;
}

template <typename T>
void LBFGS<T>::owlqn_pseudo_gradient(T* pg, const T* x, const T* g, int n, T c, int start, int end) {
  for (int i = 0; i < start && i < n; ++i) pg[i] = g[i];
  for (int i = std::max(0, start); i < end && i < n; ++i) {
    if (x[i] < 0) {
      pg[i] = g[i] - c;
    } else if (0 < x[i]) {
      pg[i] = g[i] + c;
    } else if (g[i] < -c) {
      pg[i] = g[i] + c;  // the right derivative is negative
    } else if (c < g[i]) {
      pg[i] = g[i] - c;  // the left derivative is positive
    } else {
      pg[i] = 0;
    }
  }
  for (int i = std::max(0, end); i < n; ++i) pg[i] = g[i];
}

template class LBFGS<float>;
template class LBFGS<double>;

}  // namespace tevo
