// Numeric helpers against naive serial loops, with teams of one and two threads.
#include "util/numeric.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <numeric>
#include <vector>

#include "util/exit_with.h"
#include "util/random.h"

using namespace tevo;

namespace {

// Long enough for the team to be used (and odd, so the shares are uneven).
constexpr int kN = kParallelMin * 2 + 7;

template <typename T>
std::vector<T> noise(int n, uint32_t seed) {
  MT19937<double> rng;
  rng.init_genrand(seed);
  std::vector<T> v(n);
  for (T& x : v) x = static_cast<T>(rng.genrand_real1() * 4 - 2);
  return v;
}

template <typename T>
T** random_matrix(int rows, int cols, uint32_t seed) {
  T** m = create_mtx_malloc<T>(rows, cols, T(0));
  const std::vector<T> v = noise<T>(rows * cols, seed);
  for (int i = 0; i < rows; ++i) std::copy(v.begin() + i * cols, v.begin() + (i + 1) * cols, m[i]);
  return m;
}

template <typename T>
class NumericTyped : public ::testing::Test {};
using RealTypes = ::testing::Types<float, double>;
TYPED_TEST_SUITE(NumericTyped, RealTypes);

}  // namespace

TEST(Numeric, StaticShareGivesRemainderToFirstThreads) {
  long b, e;
  const long expect[3][2] = {{0, 4}, {4, 7}, {7, 10}};
  for (int t = 0; t < 3; ++t) {
    static_share(10, t, 3, &b, &e);
    EXPECT_EQ(b, expect[t][0]);
    EXPECT_EQ(e, expect[t][1]);
  }
  static_share(2, 3, 4, &b, &e);  // more threads than items: an empty share
  EXPECT_EQ(b, e);
  for (int threads : {1, 2, 3}) {  // inside a team the shares tile [0, n) exactly
    std::vector<int> hits(kN, 0);
#pragma omp parallel num_threads(threads)
    {
      long lo, hi;
      thread_share(kN, &lo, &hi);
      for (long i = lo; i < hi; ++i) ++hits[i];
    }
    EXPECT_EQ(std::count(hits.begin(), hits.end(), 1), kN) << threads;
  }
}

TYPED_TEST(NumericTyped, VectorOperationsMatchSerialLoops) {
  using T = TypeParam;
  // Sums are regrouped by the team; float keeps ~7 digits of a sum of ~1e4 terms.
  const double tol = std::is_same<T, float>::value ? 1e-3 : 1e-11;
  const std::vector<T> a = noise<T>(kN, 1), b = noise<T>(kN, 2);
  std::vector<T> out(kN);
  auto expect_each = [&](auto want) {
    for (int i = 0; i < kN; ++i) ASSERT_EQ(out[i], want(i)) << i;
  };
  for (int threads : {1, 2}) {
    omp_set_num_threads(threads);
    vec_add(out.data(), a.data(), b.data(), kN, T(2), T(-3));
    expect_each([&](int i) { return a[i] * T(2) + b[i] * T(-3); });
    vec_sub(out.data(), a.data(), b.data(), kN, T(0.5), T(4));
    vec_add(out.data(), a.data(), kN, T(3));
    expect_each([&](int i) { return a[i] * T(0.5) - b[i] * T(4) + a[i] * T(3); });
    vec_copy(out.data(), a.data(), kN, T(-2));
    vec_scale(out.data(), kN, T(0.25));
    expect_each([&](int i) { return a[i] * T(-2) * T(0.25); });
    vec_copy(out.data(), a.data(), kN);
    vec_scale_inv(out.data(), kN, T(3));
    expect_each([&](int i) { return T(3) / a[i]; });
    double dot = 0, dist = 0;
    for (int i = 0; i < kN; ++i) {
      dot += double(a[i]) * b[i];
      dist += (double(a[i]) - b[i]) * (double(a[i]) - b[i]);
    }
    EXPECT_NEAR(vec_dot_prod(a.data(), b.data(), kN), dot, tol * 50);
    EXPECT_NEAR(vec_dist(a.data(), b.data(), kN), std::sqrt(dist), tol * 10);
    out = a;
    vec_normalize(out.data(), kN);
    EXPECT_NEAR(vec_dot_prod(out.data(), out.data(), kN), 1.0, tol * 10);
    EXPECT_NEAR(out[5] / out[7], a[5] / a[7], tol * 10);
    vec_init(out.data(), kN, T(7));
    EXPECT_EQ(std::count(out.begin(), out.end(), T(7)), kN);
  }
  T zero[3] = {0, 0, 0};
  vec_normalize(zero, 3);  // no length to scale to: left as it is
  EXPECT_EQ(zero[0], T(0));
}

TEST(Numeric, VecSortOrdersPositionsWithTiesAndNaN) {
  for (int threads : {1, 2}) {
    omp_set_num_threads(threads);
    std::vector<double> v = noise<double>(kN, 3);
    for (int i = 0; i < kN; i += 97) v[i] = 0.5;  // ties keep position order
    v[11] = std::nan("");
    std::vector<int> index(kN), ref(kN);
    vec_sort(index.data(), v.data(), kN);
    std::iota(ref.begin(), ref.end(), 0);
    std::stable_sort(ref.begin(), ref.end(), [&](int x, int y) {
      if (std::isnan(v[x]) != std::isnan(v[y])) return std::isnan(v[y]);
      return v[x] < v[y];
    });
    EXPECT_EQ(index, ref);
    EXPECT_EQ(index.back(), 11);
  }
}

TEST(Numeric, RandomFillFollowsTheSharedStream) {
  std::vector<double> v(kN), w(kN);
  for (int threads : {1, 2}) {
    omp_set_num_threads(threads);
    set_seed(99);
    vec_init(v.data(), kN, 5.0, true);
    set_seed(99);
    for (double& x : w) x = get_random_bits() * 2.3283064365386963e-10;
    EXPECT_EQ(v, w);
  }
}

TYPED_TEST(NumericTyped, MatrixOperationsMatchSerialLoops) {
  using T = TypeParam;
  const double tol = std::is_same<T, float>::value ? 1e-4 : 1e-12;  // per-element rounding of a sum
  const int rows = 310, cols = 41, inner = 29;  // rows * cols above the team threshold
  T** a = random_matrix<T>(rows, inner, 4);
  T** b = random_matrix<T>(inner, cols, 5);
  T** c = create_mtx_malloc<T>(rows, cols, T(9));  // mat_mult must clear it first
  T** work = create_mtx_malloc<T>(rows, cols, T(0));
  for (int threads : {1, 2}) {
    omp_set_num_threads(threads);
    mat_mult(c, a, rows, inner, b, inner, cols);
    for (int i = 0; i < rows; ++i)
      for (int j = 0; j < cols; ++j) {
        double s = 0;
        for (int k = 0; k < inner; ++k) s += double(a[i][k]) * b[k][j];
        ASSERT_NEAR(c[i][j], s, tol * inner) << i << "," << j;
      }
    std::vector<T> mean(cols), now(cols);
    mat_mean(mean.data(), c, rows, cols);
    for (int j = 0; j < cols; ++j) {
      double s = 0;
      for (int i = 0; i < rows; ++i) s += c[i][j];
      EXPECT_NEAR(mean[j], s / rows, tol * 10) << j;
    }
    mat_copy(work, c, rows, cols);
    mat_center(work, rows, cols, mean.data());
    mat_mean(now.data(), work, rows, cols);
    for (int j = 0; j < cols; ++j) EXPECT_NEAR(now[j], 0, tol * 100);
    // Modes: 1 tanh(s x), 2 the slope s (1 - x^2) of a tanh output, 0 plain s x.
    mat_copy(work, c, rows, cols);
    mat_scale(work, rows, cols, T(0.5), 1);
    const T th = std::tanh(T(0.5) * c[3][4]);
    EXPECT_EQ(work[3][4], th);
    mat_scale(work, rows, cols, T(2), 2);
    EXPECT_EQ(work[3][4], T(2) * (1 - th * th));
    mat_copy(work, c, rows, cols);
    mat_scale(work, rows, cols, T(-3), 0);
    EXPECT_EQ(work[rows - 1][cols - 1], c[rows - 1][cols - 1] * T(-3));
    std::vector<T> flat(rows * cols);
    mat2vec_copy(flat.data(), c, rows, cols);
    EXPECT_EQ(flat[5 * cols + 7], c[5][7]);
    std::vector<std::vector<T>> table;
    mat_copy(table, c, rows, cols);
    ASSERT_EQ(table.size(), std::size_t(rows));
    EXPECT_EQ(table[rows - 1][cols - 1], c[rows - 1][cols - 1]);
    mat_copy(work, std::vector<std::vector<int>>{{1, 2, 3}, {4}});  // ragged rows copy their own length
    EXPECT_EQ(work[0][2], T(3));
    EXPECT_EQ(work[1][0], T(4));
    EXPECT_EQ(work[1][1], c[1][1] * T(-3));
  }
  const T diag[3] = {1, 2, 3};
  mat_diag(work, 3, diag);
  EXPECT_EQ(work[1][1], T(2));
  EXPECT_EQ(work[1][2], T(0));
  EXPECT_EQ(work[2][0], T(0));
  for (T** m : {a, c, work}) free_mtx_malloc(m, rows);
  free_mtx_malloc(b, inner);
}

TYPED_TEST(NumericTyped, InverseOfWellConditionedMatrix) {
  using T = TypeParam;
  const int n = 64;
  T** a = random_matrix<T>(n, n, 6);
  // Large entries placed off the diagonal: well conditioned, but rows must be swapped.
  for (int i = 0; i < n; ++i) a[i][(i + 1) % n] += T(3 * n);
  T** inv = create_mtx_malloc<T>(n, n, T(0));
  T** prod = create_mtx_malloc<T>(n, n, T(0));
  T** keep = create_mtx_malloc<T>(n, n, T(0));
  mat_copy(keep, a, n, n);
  const double tol = std::is_same<T, float>::value ? 1e-4 : 1e-12;  // a few roundoffs times n
  for (int threads : {1, 2}) {
    omp_set_num_threads(threads);
    mat_inverse(a, inv, n);
    mat_mult(prod, a, n, n, inv, n, n);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        ASSERT_NEAR(prod[i][j], i == j ? 1.0 : 0.0, tol) << i << "," << j;
        ASSERT_EQ(a[i][j], keep[i][j]);  // the input stays
      }
  }
  for (T** m : {a, inv, prod, keep}) free_mtx_malloc(m, n);
}

TEST(NumericDeath, SingularMatrixEndsWithMessage) {
  double r0[3] = {1, 2, 3}, r1[3] = {4, 5, 6}, r2[3] = {7, 8, 9};  // rank 2, roundoff leaves ~1e-16
  double* a[3] = {r0, r1, r2};
  double o0[3], o1[3], o2[3];
  double* inv[3] = {o0, o1, o2};
  EXPECT_EXIT_1(mat_inverse(a, inv, 3), "Error: singular matrix cannot be inversed!");
  double z0[2] = {0, 0}, z1[2] = {0, 0};
  double* zero[2] = {z0, z1};
  EXPECT_EXIT_1(mat_inverse(zero, inv, 2), "singular");
  EXPECT_EXIT_1(mat_mult(inv, a, 3, 3, zero, 2, 2), "cannot multiply");
}

TEST(Numeric, MinMaxStartsFromFixedBounds) {
  double out[2] = {0, 0};
  double big0[2] = {2e6, 3e6};
  double* big[1] = {big0};
  mat_min_max_arg(out, big, 1, 2);
  EXPECT_EQ(out[0], 1e6);  // no element below the starting bound
  EXPECT_EQ(out[1], 3e6);
  for (int threads : {1, 2}) {
    omp_set_num_threads(threads);
    const int rows = 200, cols = 50;
    double** m = random_matrix<double>(rows, cols, 7);
    m[123][45] = -7;
    m[3][0] = 9;
    mat_min_max_arg(out, m, rows, cols);
    EXPECT_EQ(out[0], -7);
    EXPECT_EQ(out[1], 9);
    const double before = m[0][0];
    mat_min_max_normalization(m, rows, cols);
    EXPECT_EQ(m[123][45], 0);
    EXPECT_EQ(m[3][0], 1);
    EXPECT_DOUBLE_EQ(m[0][0], (before + 7) / 16);
    free_mtx_malloc(m, rows);
  }
  float f0[2] = {0, 0}, f1[2] = {0, 0};
  float* flat[2] = {f0, f1};
  mat_min_max_normalization(flat, 2, 2);  // range 0: the minimum becomes 1e6
  EXPECT_EQ(f1[1], 1.0f);
}

TEST(Numeric, AllocationAndSplineTable) {
  free_vec_malloc<std::string>(nullptr);
  volatile int negative = -1;
  EXPECT_THROW(free_vec_malloc(create_vec_malloc<double>(negative, 0.0)), std::bad_array_new_length);
  // Partition of unity, and value and slope continuous where pieces meet.
  auto piece = [](int k, double t, int deriv) {
    const double* c = bspline_coeffs[k];
    return deriv == 0 ? c[0] + t * (c[1] + t * (c[2] + t * c[3])) : c[1] + t * (2 * c[2] + 3 * t * c[3]);
  };
  for (double t : {0.0, 0.3, 0.77})
    EXPECT_NEAR(piece(0, t, 0) + piece(1, t, 0) + piece(2, t, 0) + piece(3, t, 0), 1.0, 1e-15);
  for (int k = 0; k < 3; ++k)
    for (int deriv : {0, 1}) EXPECT_NEAR(piece(k, 1.0, deriv), piece(k + 1, 0.0, deriv), 1e-15) << k;
  EXPECT_EQ(piece(0, 0.0, 0), 0.0);
  EXPECT_NEAR(piece(3, 1.0, 0), 0.0, 1e-15);
}
