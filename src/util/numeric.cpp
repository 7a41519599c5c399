// Vector and matrix operations over plain arrays, shared among the OpenMP
// team in even static blocks once a loop is long enough to pay for a team.
#include "util/numeric.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <utility>

#include "util/console.h"
#include "util/random.h"

namespace tevo {

std::string* create_str_vec_malloc(int n, const std::string& value) {
  std::string* v = new std::string[n];
  for (int i = 0; i < n; ++i) v[i] = value;
  return v;
}

void static_share(long n, int tid, int threads, long* begin, long* end) {
  if (threads < 1) threads = 1;
  const long base = n / threads, extra = n % threads;
  *begin = tid * base + std::min<long>(tid, extra);
  *end = *begin + base + (tid < extra ? 1 : 0);
}

void thread_share(long n, long* begin, long* end) {
  static_share(n, omp_get_thread_num(), omp_get_num_threads(), begin, end);
}

namespace {

bool use_team(long work) { return work >= kParallelMin && !omp_in_parallel(); }

// Runs body(begin, end) over [0, n): on the calling thread when `work` is
// small, otherwise once per thread of the team on its static share.
template <typename F>
void parallel_range(long n, long work, F&& body) {
  if (!use_team(work)) {
    body(0L, n);
    return;
  }
#pragma omp parallel
  {
    long b, e;
    thread_share(n, &b, &e);
    body(b, e);
  }
}

// Sum of body(begin, end) over the static shares: each thread adds its
// partial sum to the total once.
template <typename T, typename F>
T parallel_sum(long n, F&& body) {
  if (!use_team(n)) return body(0L, n);
  T total = 0;
#pragma omp parallel
  {
    long b, e;
    thread_share(n, &b, &e);
    const T part = body(b, e);
#pragma omp atomic
    total += part;
  }
  return total;
}

}  // namespace

// ---- Vectors ----------------------------------------------------------------

template <typename T>
void vec_init(T* v, int n, T value, bool random) {
  if (random) {
    // The shared generator has no lock: draw in order on this thread.
    for (int i = 0; i < n; ++i) v[i] = static_cast<T>(get_random_bits() * 2.3283064365386963e-10);
    return;
  }
  parallel_range(n, n, [&](long b, long e) { std::fill(v + b, v + e, value); });
}

template <typename T>
void vec_copy(T* dst, const T* src, int n, T scale) {
  parallel_range(n, n, [&](long b, long e) {
    for (long i = b; i < e; ++i) dst[i] = src[i] * scale;
  });
}

template <typename T>
void vec_copy(std::vector<T>& dst, const std::vector<T>& src) {
  dst = src;
}

template <typename T>
void vec_add(T* dst, const T* a, const T* b, int n, T alpha, T beta) {
  parallel_range(n, n, [&](long lo, long hi) {
    for (long i = lo; i < hi; ++i) dst[i] = a[i] * alpha + b[i] * beta;
  });
}

template <typename T>
void vec_add(T* dst, const T* a, int n, T alpha) {
  parallel_range(n, n, [&](long lo, long hi) {
    for (long i = lo; i < hi; ++i) dst[i] += a[i] * alpha;
  });
}

template <typename T>
void vec_sub(T* dst, const T* a, const T* b, int n, T alpha, T beta) {
  parallel_range(n, n, [&](long lo, long hi) {
    for (long i = lo; i < hi; ++i) dst[i] = a[i] * alpha - b[i] * beta;
  });
}

template <typename T>
void vec_scale(T* v, int n, T s) {
  parallel_range(n, n, [&](long b, long e) {
    for (long i = b; i < e; ++i) v[i] *= s;
  });
}

template <typename T>
void vec_scale_inv(T* v, int n, T s) {
  parallel_range(n, n, [&](long b, long e) {
    for (long i = b; i < e; ++i) v[i] = s / v[i];
  });
}

template <typename T>
T vec_dot_prod(const T* a, const T* b, int n) {
  return parallel_sum<T>(n, [&](long lo, long hi) {
    T sum = 0;
    for (long i = lo; i < hi; ++i) sum += a[i] * b[i];
    return sum;
  });
}

template <typename T>
T vec_dist(const T* a, const T* b, int n) {
  const T sq = parallel_sum<T>(n, [&](long lo, long hi) {
    T sum = 0;
    for (long i = lo; i < hi; ++i) {
      const T d = a[i] - b[i];
      sum += d * d;
    }
    return sum;
  });
  return std::sqrt(sq);
}

template <typename T>
void vec_normalize(T* v, int n) {
  const T norm = std::sqrt(vec_dot_prod(v, v, n));
  if (!(norm > 0) || !std::isfinite(norm)) return;
  parallel_range(n, n, [&](long b, long e) {
    for (long i = b; i < e; ++i) v[i] /= norm;
  });
}

template <typename T>
void vec_sort(int* index, const T* v, int n) {
  if (n <= 0) return;
  std::vector<std::pair<T, int>> table(n);
  parallel_range(n, n, [&](long b, long e) {
    for (long i = b; i < e; ++i) table[i] = {v[i], static_cast<int>(i)};
  });
  // NaN has no order of its own: it goes last, so the comparison stays strict.
  std::sort(table.begin(), table.end(), [](const std::pair<T, int>& x, const std::pair<T, int>& y) {
    const bool xn = std::isnan(x.first), yn = std::isnan(y.first);
    if (xn != yn) return yn;
    if (!xn && x.first != y.first) return x.first < y.first;
    return x.second < y.second;
  });
  for (int i = 0; i < n; ++i) index[i] = table[i].second;
}

// ---- Matrices ---------------------------------------------------------------

template <typename T>
void mat_mean(T* out, T** m, int rows, int cols) {
  std::fill(out, out + cols, T(0));
  const long work = static_cast<long>(rows) * cols;
  if (!use_team(work)) {
    for (int i = 0; i < rows; ++i)
      for (int j = 0; j < cols; ++j) out[j] += m[i][j];
  } else {
#pragma omp parallel
    {
      long b, e;
      thread_share(rows, &b, &e);
      std::vector<T> part(cols, T(0));
      for (long i = b; i < e; ++i)
        for (int j = 0; j < cols; ++j) part[j] += m[i][j];
#pragma omp critical(tevo_mat_mean)
      for (int j = 0; j < cols; ++j) out[j] += part[j];
    }
  }
  for (int j = 0; j < cols; ++j) out[j] /= static_cast<T>(rows);
}

template <typename T>
void mat_center(T** m, int rows, int cols, const T* mean) {
  parallel_range(rows, static_cast<long>(rows) * cols, [&](long b, long e) {
    for (long i = b; i < e; ++i)
      for (int j = 0; j < cols; ++j) m[i][j] -= mean[j];
  });
}

template <typename T>
void mat_diag(T** m, int n, const T* v) {
  parallel_range(n, static_cast<long>(n) * n, [&](long b, long e) {
    for (long i = b; i < e; ++i) {
      std::fill(m[i], m[i] + n, T(0));
      m[i][i] = v[i];
    }
  });
}

template <typename T>
void mat_mult(T** out, T** a, int a_rows, int a_cols, T** b, int b_rows, int b_cols) {
  if (a_cols != b_rows) {
    print_info("cannot multiply a " + std::to_string(a_rows) + " x " + std::to_string(a_cols) +
                   " matrix by a " + std::to_string(b_rows) + " x " + std::to_string(b_cols) + " matrix",
               9);
    std::exit(1);
  }
  const long work = static_cast<long>(a_rows) * a_cols * b_cols;
  parallel_range(a_rows, work, [&](long lo, long hi) {
    for (long i = lo; i < hi; ++i) {
      T* row = out[i];
      std::fill(row, row + b_cols, T(0));
      for (int k = 0; k < a_cols; ++k) {
        const T aik = a[i][k];
        const T* bk = b[k];
        for (int j = 0; j < b_cols; ++j) row[j] += aik * bk[j];
      }
    }
  });
}

template <typename T>
void mat_inverse(T** a, T** inv, int n) {
  if (n <= 0) return;
  // Working matrix [a | I], n x 2n.
  T** w = create_mtx_malloc<T>(n, 2 * n, T(0));
  T largest = 0;
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      w[i][j] = a[i][j];
      largest = std::max(largest, static_cast<T>(std::fabs(a[i][j])));
    }
    w[i][n + i] = 1;
  }
  // A pivot at or below this is zero to working precision: the matrix is
  // singular (or too close to it for any digit of the inverse to be right).
  const T tiny = static_cast<T>(n) * std::numeric_limits<T>::epsilon() * largest;
  const int width = 2 * n;
  for (int c = 0; c < n; ++c) {
    int p = c;
    for (int r = c + 1; r < n; ++r)
      if (std::fabs(w[r][c]) > std::fabs(w[p][c])) p = r;
    const T pivot = w[p][c];
    if (!(std::fabs(pivot) > tiny)) {  // also true for NaN
      free_mtx_malloc(w, n);
      print_info("singular matrix cannot be inversed!", 9);
      std::exit(1);
    }
    std::swap(w[p], w[c]);
    T* prow = w[c];
    for (int j = c; j < width; ++j) prow[j] /= pivot;
    parallel_range(n, static_cast<long>(n) * width, [&](long lo, long hi) {
      for (long r = lo; r < hi; ++r) {
        if (r == c) continue;
        T* row = w[r];
        const T f = row[c];
        if (f == 0) continue;
        for (int j = c; j < width; ++j) row[j] -= f * prow[j];
      }
    });
  }
  for (int i = 0; i < n; ++i) std::copy(w[i] + n, w[i] + width, inv[i]);
  free_mtx_malloc(w, n);
}

template <typename T>
void mat_scale(T** m, int rows, int cols, T s, int mode) {
  parallel_range(rows, static_cast<long>(rows) * cols, [&](long b, long e) {
    for (long i = b; i < e; ++i) {
      T* row = m[i];
      if (mode == 0)
        for (int j = 0; j < cols; ++j) row[j] *= s;
      else if (mode == 1)
        for (int j = 0; j < cols; ++j) row[j] = std::tanh(s * row[j]);
      else if (mode == 2)
        for (int j = 0; j < cols; ++j) row[j] = s * (1 - row[j] * row[j]);
    }
  });
}

template <typename T>
void mat_copy(T** dst, T** src, int rows, int cols) {
  parallel_range(rows, static_cast<long>(rows) * cols, [&](long b, long e) {
    for (long i = b; i < e; ++i) std::copy(src[i], src[i] + cols, dst[i]);
  });
}

template <typename T, typename S>
void mat_copy(T** dst, const std::vector<std::vector<S>>& src) {
  const long rows = static_cast<long>(src.size());
  parallel_range(rows, rows * (rows ? static_cast<long>(src[0].size()) : 0), [&](long b, long e) {
    for (long i = b; i < e; ++i)
      for (std::size_t j = 0; j < src[i].size(); ++j) dst[i][j] = static_cast<T>(src[i][j]);
  });
}

template <typename T>
void mat_copy(std::vector<std::vector<T>>& dst, T** src, int rows, int cols) {
  dst.assign(rows, std::vector<T>());
  for (int i = 0; i < rows; ++i) dst[i].assign(src[i], src[i] + cols);
}

template <typename T>
void mat2vec_copy(T* dst, T** m, int rows, int cols) {
  parallel_range(rows, static_cast<long>(rows) * cols, [&](long b, long e) {
    for (long i = b; i < e; ++i) std::copy(m[i], m[i] + cols, dst + i * cols);
  });
}

template <typename T>
void mat_min_max_arg(T* out, T** m, int rows, int cols) {
  T lo = static_cast<T>(1e6), hi = static_cast<T>(-1e6);
  const long work = static_cast<long>(rows) * cols;
  auto scan = [&](long b, long e, T* smallest, T* largest) {
    for (long i = b; i < e; ++i)
      for (int j = 0; j < cols; ++j) {
        if (m[i][j] < *smallest) *smallest = m[i][j];
        if (m[i][j] > *largest) *largest = m[i][j];
      }
  };
  if (!use_team(work)) {
    scan(0, rows, &lo, &hi);
  } else {
#pragma omp parallel
    {
      long b, e;
      thread_share(rows, &b, &e);
      T my_lo = static_cast<T>(1e6), my_hi = static_cast<T>(-1e6);
      scan(b, e, &my_lo, &my_hi);
#pragma omp critical(tevo_mat_min_max)
      {
        lo = std::min(lo, my_lo);
        hi = std::max(hi, my_hi);
      }
    }
  }
  out[0] = lo;
  out[1] = hi;
}

template <typename T>
void mat_min_max_normalization(T** m, int rows, int cols) {
  T range[2];
  mat_min_max_arg(range, m, rows, cols);
  T lo = range[0];
  if (range[1] - lo == 0) lo = static_cast<T>(1e6);
  const T span = range[1] - lo;
  parallel_range(rows, static_cast<long>(rows) * cols, [&](long b, long e) {
    for (long i = b; i < e; ++i)
      for (int j = 0; j < cols; ++j) {
        m[i][j] -= lo;
        if (span != 0) m[i][j] /= span;  // span is 0 only when every element is 1e6
      }
  });
}

// ---- Instantiations -----------------------------------------------------------

#define TEVO_NUMERIC_REAL(T)                                                     \
  template void vec_add<T>(T*, const T*, const T*, int, T, T);                   \
  template void vec_add<T>(T*, const T*, int, T);                                \
  template void vec_sub<T>(T*, const T*, const T*, int, T, T);                   \
  template void vec_scale<T>(T*, int, T);                                        \
  template void vec_scale_inv<T>(T*, int, T);                                    \
  template T vec_dot_prod<T>(const T*, const T*, int);                           \
  template T vec_dist<T>(const T*, const T*, int);                               \
  template void vec_normalize<T>(T*, int);                                       \
  template void vec_sort<T>(int*, const T*, int);                                \
  template void mat_mean<T>(T*, T**, int, int);                                  \
  template void mat_center<T>(T**, int, int, const T*);                          \
  template void mat_diag<T>(T**, int, const T*);                                 \
  template void mat_mult<T>(T**, T**, int, int, T**, int, int);                  \
  template void mat_inverse<T>(T**, T**, int);                                   \
  template void mat_scale<T>(T**, int, int, T, int);                             \
  template void mat_min_max_arg<T>(T*, T**, int, int);                           \
  template void mat_min_max_normalization<T>(T**, int, int);                     \
  template void mat_copy<T, int>(T**, const std::vector<std::vector<int>>&);

#define TEVO_NUMERIC_ANY(T)                                                      \
  template void vec_init<T>(T*, int, T, bool);                                   \
  template void vec_copy<T>(T*, const T*, int, T);                               \
  template void vec_copy<T>(std::vector<T>&, const std::vector<T>&);             \
  template void mat_copy<T>(T**, T**, int, int);                                 \
  template void mat_copy<T, T>(T**, const std::vector<std::vector<T>>&);         \
  template void mat_copy<T>(std::vector<std::vector<T>>&, T**, int, int);        \
  template void mat2vec_copy<T>(T*, T**, int, int);

TEVO_NUMERIC_REAL(float)
TEVO_NUMERIC_REAL(double)
TEVO_NUMERIC_ANY(float)
TEVO_NUMERIC_ANY(double)
TEVO_NUMERIC_ANY(int)
template void mat_copy<float, double>(float**, const std::vector<std::vector<double>>&);
template void mat_copy<double, float>(double**, const std::vector<std::vector<float>>&);

}  // namespace tevo
