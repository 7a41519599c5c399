// Jacobi eigen-decomposition against matrices built from known eigenpairs.
#include "util/eigen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

#include "util/numeric.h"
#include "util/random.h"

using namespace tevo;

namespace {

template <typename T>
struct Tol;
// float carries ~7 digits; sums over 12-16 terms of magnitude ~10 lose one or two.
template <>
struct Tol<float> {
  static constexpr double value = 2e-4;
};
// double: rounding of the rotations only.
template <>
struct Tol<double> {
  static constexpr double value = 1e-10;
};

// Orthonormal columns from Gram-Schmidt on a seeded random matrix (in double).
std::vector<std::vector<double>> random_orthogonal(int n, uint32_t seed) {
  MT19937<double> rng;
  rng.init_genrand(seed);
  std::vector<std::vector<double>> q(n, std::vector<double>(n));  // q[k] is column k
  for (int k = 0; k < n; ++k) {
    for (double& x : q[k]) x = rng.genrand_real1() * 2 - 1;
    for (int pass = 0; pass < 2; ++pass)
      for (int j = 0; j < k; ++j) {
        double dot = 0;
        for (int i = 0; i < n; ++i) dot += q[k][i] * q[j][i];
        for (int i = 0; i < n; ++i) q[k][i] -= dot * q[j][i];
      }
    double norm = 0;
    for (double x : q[k]) norm += x * x;
    for (double& x : q[k]) x /= std::sqrt(norm);
  }
  return q;
}

// A = Q diag(lambda) Q^T.
template <typename T>
T** compose(const std::vector<std::vector<double>>& q, const std::vector<double>& lambda) {
  const int n = static_cast<int>(lambda.size());
  T** a = create_mtx_malloc<T>(n, n, T(0));
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      double s = 0;
      for (int k = 0; k < n; ++k) s += q[k][i] * lambda[k] * q[k][j];
      a[i][j] = static_cast<T>(s);
    }
  return a;
}

// Checks V^T V = I, A v_k = values[k] v_k, the decreasing order and the sign
// rule; returns nothing, reports through gtest.
template <typename T>
void expect_eigen_pairs(T** a, T** v, const T* values, int n, double tol) {
  for (int k = 0; k + 1 < n; ++k) EXPECT_GE(values[k], values[k + 1]) << "order at " << k;
  for (int k = 0; k < n; ++k) {
    for (int l = 0; l < n; ++l) {
      double dot = 0;
      for (int i = 0; i < n; ++i) dot += static_cast<double>(v[i][k]) * v[i][l];
      EXPECT_NEAR(dot, k == l ? 1.0 : 0.0, tol) << "columns " << k << ", " << l;
    }
    for (int i = 0; i < n; ++i) {
      double av = 0;
      for (int j = 0; j < n; ++j) av += static_cast<double>(a[i][j]) * v[j][k];
      EXPECT_NEAR(av, static_cast<double>(values[k]) * v[i][k], 10 * tol) << "row " << i << ", pair " << k;
    }
    int big = 0;
    for (int i = 1; i < n; ++i)
      if (std::fabs(v[i][k]) > std::fabs(v[big][k])) big = i;
    EXPECT_GT(v[big][k], 0) << "sign of column " << k;
  }
}

template <typename T>
class EigenTest : public ::testing::Test {};
using Reals = ::testing::Types<float, double>;
TYPED_TEST_SUITE(EigenTest, Reals);

TYPED_TEST(EigenTest, KnownDecompositionAndCallerMatrixKept) {
  using T = TypeParam;
  const double tol = Tol<T>::value;
  const int n = 12;
  const auto q = random_orthogonal(n, 7);
  // Distinct, of both signs, given out of order.
  const std::vector<double> lambda = {3.5, -1.25, 9.0, 0.5, -6.0, 2.0, 7.75, -0.1, 1.0, 4.25, -3.0, 0.0};
  T** a = compose<T>(q, lambda);
  T** keep = create_mtx_malloc<T>(n, n, T(0));
  mat_copy(keep, a, n, n);
  T** v = create_mtx_malloc<T>(n, n, T(0));
  std::vector<T> values(n);
  const int sweeps = eig_calc(v, values.data(), n, a, 100);
  EXPECT_GE(sweeps, 1);
  EXPECT_LE(sweeps, 20);  // quadratic convergence: a handful of sweeps
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) ASSERT_EQ(a[i][j], keep[i][j]) << "caller's matrix changed";
  const std::vector<int> order = {2, 6, 9, 0, 5, 8, 3, 11, 7, 1, 10, 4};  // lambda by decreasing value
  for (int k = 0; k < n; ++k) {
    EXPECT_NEAR(values[k], lambda[order[k]], 10 * tol) << "value " << k;
    // Column k is +-q[order[k]]; the sign rule picks one.
    const std::vector<double>& e = q[order[k]];
    int big = 0;
    for (int i = 1; i < n; ++i)
      if (std::fabs(e[i]) > std::fabs(e[big])) big = i;
    const double sign = e[big] < 0 ? -1 : 1;
    for (int i = 0; i < n; ++i) EXPECT_NEAR(v[i][k], sign * e[i], 10 * tol) << "vector " << k << " row " << i;
  }
  expect_eigen_pairs(a, v, values.data(), n, tol);

  // The result may be written over the input table itself.
  eig_calc(a, values.data(), n, a, 100);
  for (int i = 0; i < n; ++i)
    for (int k = 0; k < n; ++k) EXPECT_NEAR(a[i][k], v[i][k], 10 * tol);
  free_mtx_malloc(a, n);
  free_mtx_malloc(keep, n);
  free_mtx_malloc(v, n);
}

TYPED_TEST(EigenTest, DiagonalOneByOneAndEmpty) {
  using T = TypeParam;
  const int n = 5;
  T** a = create_mtx_malloc<T>(n, n, T(0));
  const T diag[n] = {2, -7, 11, 0, 3};
  for (int i = 0; i < n; ++i) a[i][i] = diag[i];
  T** v = create_mtx_malloc<T>(n, n, T(9));
  std::vector<T> values(n);
  EXPECT_EQ(eig_calc(v, values.data(), n, a, 10), 0);  // nothing to rotate
  const int where[n] = {2, 4, 0, 3, 1};  // row of the 1 in each column
  const T sorted[n] = {11, 3, 2, 0, -7};
  for (int k = 0; k < n; ++k) {
    EXPECT_EQ(values[k], sorted[k]);
    for (int i = 0; i < n; ++i) EXPECT_EQ(v[i][k], i == where[k] ? T(1) : T(0));
  }

  T one = -4.5, vec = 0, value = 0;
  T* one_row = &one;
  T* vec_row = &vec;
  EXPECT_EQ(eig_calc(&vec_row, &value, 1, &one_row, 10), 0);
  EXPECT_EQ(value, T(-4.5));
  EXPECT_EQ(vec, T(1));

  EXPECT_EQ(eig_calc<T>(nullptr, nullptr, 0, nullptr, 10), 0);
  free_mtx_malloc(a, n);
  free_mtx_malloc(v, n);
}

TYPED_TEST(EigenTest, RepeatedEigenvalues) {
  using T = TypeParam;
  const double tol = Tol<T>::value;
  const int n = 9;
  const auto q = random_orthogonal(n, 31);
  const std::vector<double> lambda = {3, 3, 3, -2, 1, 1, -2, 5, 3};
  T** a = compose<T>(q, lambda);
  T** v = create_mtx_malloc<T>(n, n, T(0));
  std::vector<T> values(n);
  ASSERT_GE(eig_calc(v, values.data(), n, a, 100), 0);
  const double sorted[n] = {5, 3, 3, 3, 3, 1, 1, -2, -2};
  for (int k = 0; k < n; ++k) EXPECT_NEAR(values[k], sorted[k], 10 * tol);
  // Within a repeated value any orthonormal basis is right: check the pairs
  // and that V diag(values) V^T gives A back.
  expect_eigen_pairs(a, v, values.data(), n, tol);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      double s = 0;
      for (int k = 0; k < n; ++k) s += static_cast<double>(v[i][k]) * values[k] * v[j][k];
      EXPECT_NEAR(s, a[i][j], 10 * tol);
    }
  free_mtx_malloc(a, n);
  free_mtx_malloc(v, n);
}

TYPED_TEST(EigenTest, SweepLimitTinyScaleAndNonFinite) {
  using T = TypeParam;
  const int n = 10;
  const auto q = random_orthogonal(n, 5);
  std::vector<double> lambda(n);
  for (int k = 0; k < n; ++k) lambda[k] = k - 4.5;
  T** a = compose<T>(q, lambda);
  T** v = create_mtx_malloc<T>(n, n, T(0));
  std::vector<T> values(n);
  EXPECT_EQ(eig_calc(v, values.data(), n, a, 1), -1);  // one sweep does not clear a dense matrix
  EXPECT_EQ(eig_calc(v, values.data(), n, a, 0), -1);

  // A matrix scaled far down keeps its eigenvectors (the threshold must not
  // underflow to 0 before the rotations are done).
  const double scale = std::is_same<T, float>::value ? 1e-30 : 1e-160;
  T** tiny = compose<T>(q, lambda);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) tiny[i][j] = static_cast<T>(tiny[i][j] * scale);
  ASSERT_GE(eig_calc(v, values.data(), n, tiny, 100), 0);
  for (int k = 0; k < n; ++k) EXPECT_NEAR(values[k] / scale, lambda[n - 1 - k], 1e3 * Tol<T>::value);

  a[3][1] = a[1][3] = std::numeric_limits<T>::quiet_NaN();
  EXPECT_EQ(eig_calc(v, values.data(), n, a, 50), -1);  // stops, does not loop
  free_mtx_malloc(a, n);
  free_mtx_malloc(tiny, n);
  free_mtx_malloc(v, n);
}

}  // namespace
