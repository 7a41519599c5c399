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

// float keeps ~7 digits and sums of 12 terms of size ~10 lose one or two;
// double only rounds in the rotations.
template <typename T>
constexpr double kTol = std::is_same<T, float>::value ? 2e-4 : 1e-10;

// Orthonormal columns (q[k] is column k) from Gram-Schmidt on seeded noise.
std::vector<std::vector<double>> random_orthogonal(int n, uint32_t seed) {
  MT19937<double> rng;
  rng.init_genrand(seed);
  std::vector<std::vector<double>> q(n, std::vector<double>(n));
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

// A = scale * Q diag(lambda) Q^T.
template <typename T>
T** compose(const std::vector<std::vector<double>>& q, const std::vector<double>& lambda, double scale = 1) {
  const int n = static_cast<int>(lambda.size());
  T** a = create_mtx_malloc<T>(n, n, T(0));
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      double s = 0;
      for (int k = 0; k < n; ++k) s += q[k][i] * lambda[k] * q[k][j];
      a[i][j] = static_cast<T>(s * scale);
    }
  return a;
}

template <typename T>
class EigenTest : public ::testing::Test {};
using Reals = ::testing::Types<float, double>;
TYPED_TEST_SUITE(EigenTest, Reals);

TYPED_TEST(EigenTest, KnownDecompositionAndCallerMatrixKept) {
  using T = TypeParam;
  const double tol = kTol<T>;
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
    // Column k is +-q[order[k]]; the sign rule makes the largest entry positive.
    const std::vector<double>& e = q[order[k]];
    int big = 0;
    for (int i = 1; i < n; ++i)
      if (std::fabs(e[i]) > std::fabs(e[big])) big = i;
    const double sign = e[big] < 0 ? -1 : 1;
    for (int i = 0; i < n; ++i) EXPECT_NEAR(v[i][k], sign * e[i], 10 * tol) << "vector " << k << " row " << i;
  }
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
  const T diag[n] = {2, -7, 11, 0, 3}, sorted[n] = {11, 3, 2, 0, -7};
  const int where[n] = {2, 4, 0, 3, 1};  // row of the 1 in each column
  for (int i = 0; i < n; ++i) a[i][i] = diag[i];
  T** v = create_mtx_malloc<T>(n, n, T(9));
  std::vector<T> values(n);
  EXPECT_EQ(eig_calc(v, values.data(), n, a, 10), 0);  // nothing to rotate
  for (int k = 0; k < n; ++k) {
    EXPECT_EQ(values[k], sorted[k]);
    for (int i = 0; i < n; ++i) EXPECT_EQ(v[i][k], i == where[k] ? T(1) : T(0));
  }
  T one = -4.5, vec = 0, *one_row = &one, *vec_row = &vec;
  EXPECT_EQ(eig_calc(&vec_row, values.data(), 1, &one_row, 10), 0);
  EXPECT_TRUE(values[0] == T(-4.5) && vec == T(1));
  EXPECT_EQ(eig_calc<T>(nullptr, nullptr, 0, nullptr, 10), 0);
  free_mtx_malloc(a, n);
  free_mtx_malloc(v, n);
}

// Within a repeated value any orthonormal basis is right: check V^T V = I,
// A v_k = values[k] v_k and the sign rule instead of the vectors themselves.
TYPED_TEST(EigenTest, RepeatedEigenvalues) {
  using T = TypeParam;
  const double tol = kTol<T>;
  const int n = 9;
  const auto q = random_orthogonal(n, 31);
  T** a = compose<T>(q, {3, 3, 3, -2, 1, 1, -2, 5, 3});
  T** v = create_mtx_malloc<T>(n, n, T(0));
  std::vector<T> values(n);
  ASSERT_GE(eig_calc(v, values.data(), n, a, 100), 0);
  const double sorted[n] = {5, 3, 3, 3, 3, 1, 1, -2, -2};
  for (int k = 0; k < n; ++k) {
    EXPECT_NEAR(values[k], sorted[k], 10 * tol);
    for (int l = 0; l < n; ++l) {
      double dot = 0;
      for (int i = 0; i < n; ++i) dot += static_cast<double>(v[i][k]) * v[i][l];
      EXPECT_NEAR(dot, k == l ? 1.0 : 0.0, tol) << "columns " << k << ", " << l;
    }
    int big = 0;
    for (int i = 0; i < n; ++i) {
      double av = 0;
      for (int j = 0; j < n; ++j) av += static_cast<double>(a[i][j]) * v[j][k];
      EXPECT_NEAR(av, static_cast<double>(values[k]) * v[i][k], 10 * tol) << "row " << i << ", pair " << k;
      if (std::fabs(v[i][k]) > std::fabs(v[big][k])) big = i;
    }
    EXPECT_GT(v[big][k], 0) << "sign of column " << k;
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
  // Scaled far down: the threshold must not underflow to 0 before the rotations are done.
  const double scale = std::is_same<T, float>::value ? 1e-30 : 1e-160;
  T** tiny = compose<T>(q, lambda, scale);
  ASSERT_GE(eig_calc(v, values.data(), n, tiny, 100), 0);
  for (int k = 0; k < n; ++k) EXPECT_NEAR(values[k] / scale, lambda[n - 1 - k], 1e3 * kTol<T>);
  a[3][1] = a[1][3] = std::numeric_limits<T>::quiet_NaN();
  EXPECT_EQ(eig_calc(v, values.data(), n, a, 50), -1);  // stops, does not loop
  free_mtx_malloc(a, n);
  free_mtx_malloc(tiny, n);
  free_mtx_malloc(v, n);
}

}  // namespace
