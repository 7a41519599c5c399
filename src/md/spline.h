// Cubic spline helpers in double: tridiagonal solvers and the control points
// of uniform cubic B-splines (periodic or clamped) that interpolate grid data,
// evaluated with bspline_coeffs.
#pragma once

namespace tevo {

// Thomas algorithm: a sub-, b main, c super-diagonal, d right side (overwritten
// by the solution); a[0] and c[n-1] are unused. c is used as scratch.
void solve_tridiagonal_system(int n, const double* a, const double* b, double* c, double* d);
// The cyclic system (a[0] couples row 0 to x[n-1], c[n-1] row n-1 to x[0]),
// by the Sherman-Morrison correction. work: 4n doubles.
void solve_periodic_tridiagonal_system(int n, const double* a, const double* b, const double* c, double* d,
                                       double* work);

// Control points c[0..n) of the periodic uniform cubic B-spline through data
// on a unit grid of period n: (c[j-1] + 4 c[j] + c[j+1]) / 6 = data[j].
// work: 7n doubles. n >= 3.
void solve_periodic_1d_spline(int n, double* coefficients, const double* data, double* work);
// Control points c[0..n+2) for data on n >= 2 grid points with zero slope at
// both ends; c[k+1] is the point of grid node k. work: 4(n+2) doubles.
void solve_clamped_1d_spline(int n, double* coefficients, const double* data, double* work);
// The periodic 2D form on an nx x ny grid (row-major), rows then columns.
// work: 9 * max(nx, ny) doubles.
void solve_periodic_2d_spline(int nx, int ny, double* coefficients, const double* data, double* work);

// Value and derivatives of the periodic 2D spline at grid coordinates (x, y)
// (grid units, any real; wrapped). `stride` floats separate the control
// points of successive grid nodes and `n_comp` components are evaluated at
// once: value[c], dx[c], dy[c].
void evaluate_2d_spline(const float* coefficients, int nx, int ny, int stride, int n_comp, float x, float y,
                        float* value, float* dx, float* dy);

// Value and derivative of a 1D spline from solve_clamped_1d_spline at grid
// coordinate x; outside [0, n-1] the end value with zero slope.
float evaluate_clamped_1d_spline(const float* coefficients, int n, float x, float* dx);

// The four cubic B-spline weights at t in [0,1) and their derivatives, for
// control points j-1, j, j+1, j+2 (from bspline_coeffs).
void bspline_weights(float t, float* w, float* dw);

}  // namespace tevo
