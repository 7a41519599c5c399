// Eigen-decomposition of a real symmetric matrix by cyclic Jacobi rotations
// with threshold sweeps (Rutishauser, "The Jacobi method for real symmetric
// matrices", Numer. Math. 9, 1966; Handbook for Automatic Computation II/1).
#pragma once

namespace tevo {

// Decomposes the n x n symmetric matrix `a` (row table; the diagonal and the
// strict lower triangle are read, `a` itself is left unchanged).
//   values[k]       the eigenvalues in decreasing order (ties keep the
//                   order in which the rotations left them);
//   vectors[i][k]   component i of the unit eigenvector of values[k]: the
//                   eigenvectors are the COLUMNS of `vectors` (n x n rows
//                   owned by the caller; may be the same table as `a`).
// The sign of each eigenvector is fixed so that its component of largest
// magnitude (the first such one) is positive.
// Each sweep visits every pair p < q once. Its threshold is the root of the
// sum of squares of the strict lower triangle divided by 4n; a pair whose
// |a_pq| is below it waits for a later sweep. From the fifth sweep on a pair
// is set to 0 without rotation when 10 |a_pq| is lost in floating point next
// to both |a_pp| and |a_qq|. Stops when the off-diagonal part is exactly 0.
// Returns the number of sweeps made, or -1 when `max_sweeps` sweeps did not
// reach that point (the values and vectors of the last sweep are returned).
template <typename T>
int eig_calc(T** vectors, T* values, int n, T** a, int max_sweeps);

extern template int eig_calc<float>(float**, float*, int, float**, int);
extern template int eig_calc<double>(double**, double*, int, double**, int);

}  // namespace tevo
