// Free geometry of three and four points: placing an atom from internal
// coordinates, the cosine of a bond angle and the signed dihedral.
#pragma once

#include <cmath>

namespace tevo {

constexpr double kGeomEps = 2.220446049250313e-16;
constexpr double kRad2Deg = 57.29577951308232;
constexpr double kDeg2Rad = 0.017453292519943295;

namespace geom {

template <typename T>
inline void sub(T* out, const T* a, const T* b) {
  out[0] = a[0] - b[0];
  out[1] = a[1] - b[1];
  out[2] = a[2] - b[2];
}
template <typename T>
inline void cross(T* out, const T* a, const T* b) {
  const T x = a[1] * b[2] - a[2] * b[1];
  const T y = a[2] * b[0] - a[0] * b[2];
  const T z = a[0] * b[1] - a[1] * b[0];
  out[0] = x;
  out[1] = y;
  out[2] = z;
}
template <typename T>
inline T dot(const T* a, const T* b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
template <typename T>
inline T dist(const T* a, const T* b) {
  const T d[3] = {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
  return std::sqrt(dot(d, d));
}
// Divides by |v| + eps, so a zero vector stays zero.
template <typename T>
inline void unit_eps(T* v) {
  const T norm = std::sqrt(dot(v, v)) + static_cast<T>(kGeomEps);
  v[0] /= norm;
  v[1] /= norm;
  v[2] /= norm;
}

}  // namespace geom

// Places atom d from a, b, c and internal = (distance c-d, angle b-c-d,
// torsion a-b-c-d) in degrees: the natural extension reference frame
// (Parsons et al., J. Comput. Chem. 26:1063, 2005). n is always 3.
template <typename T>
void internal2cartesian(T* out, const T* a, const T* b, const T* c, const T* internal, int n = 3) {
  (void)n;
  const T d = internal[0];
  const T theta = internal[1] * static_cast<T>(kDeg2Rad);
  const T phi = internal[2] * static_cast<T>(kDeg2Rad);
  const T q[3] = {d * std::cos(theta), d * std::sin(theta) * std::cos(phi),
                  d * std::sin(theta) * std::sin(phi)};
  T u[3], v[3], k[3], m[3];
  geom::sub(u, b, a);
  geom::sub(v, c, b);
  geom::unit_eps(v);
  geom::cross(k, u, v);
  geom::unit_eps(k);
  geom::cross(m, k, v);
  for (int i = 0; i < 3; ++i) out[i] = c[i] - v[i] * q[0] + m[i] * q[1] + k[i] * q[2];
}

// Cosine of the angle a-b-c.
template <typename T>
void three_vec_angle(T* out, const T* a, const T* b, const T* c, int n = 3) {
  (void)n;
  T u[3], w[3];
  geom::sub(u, b, a);
  geom::sub(w, b, c);
  *out = geom::dot(u, w) / (std::sqrt(geom::dot(u, u) * geom::dot(w, w)) + static_cast<T>(kGeomEps));
}

// Signed dihedral a-b-c-d in degrees; 0 when the sign product is exactly 0.
template <typename T>
T angle_four_points(const T* a, const T* b, const T* c, const T* d, int n = 3) {
  (void)n;
  T b1[3], b2[3], b3[3], p[3], q[3], s[3];
  geom::sub(b1, a, b);
  geom::sub(b2, b, c);
  geom::sub(b3, c, d);
  geom::cross(p, b2, b1);
  geom::cross(q, b3, b2);
  T cosv = geom::dot(p, q) / (std::sqrt(geom::dot(p, p) * geom::dot(q, q)) + static_cast<T>(kGeomEps));
  // Rounding can push the cosine a hair past 1; acos would give NaN.
  cosv = std::fmax(static_cast<T>(-1), std::fmin(static_cast<T>(1), cosv));
  const T magnitude = std::acos(cosv) * static_cast<T>(kRad2Deg);
  geom::cross(s, q, p);
  const T sign = geom::dot(s, b2);
  if (sign > 0) return magnitude;
  if (sign < 0) return -magnitude;
  return 0;
}

}  // namespace tevo
