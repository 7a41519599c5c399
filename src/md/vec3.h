// Small float 3-vectors, quaternions and 3x3 matrices for the node kernels.
#pragma once

#include <cmath>

namespace tevo {

struct V3 {
  float x, y, z;
};

inline V3 load3(const float* p) { return V3{p[0], p[1], p[2]}; }
inline void store3(float* p, V3 v) { p[0] = v.x, p[1] = v.y, p[2] = v.z; }
inline void add3(float* p, V3 v) { p[0] += v.x, p[1] += v.y, p[2] += v.z; }
inline V3 operator+(V3 a, V3 b) { return V3{a.x + b.x, a.y + b.y, a.z + b.z}; }
inline V3 operator-(V3 a, V3 b) { return V3{a.x - b.x, a.y - b.y, a.z - b.z}; }
inline V3 operator-(V3 a) { return V3{-a.x, -a.y, -a.z}; }
inline V3 operator*(float s, V3 a) { return V3{s * a.x, s * a.y, s * a.z}; }
inline V3& operator+=(V3& a, V3 b) { return a = a + b; }
inline V3& operator-=(V3& a, V3 b) { return a = a - b; }
inline float dot(V3 a, V3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline V3 cross(V3 a, V3 b) { return V3{a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
inline float mag2(V3 a) { return dot(a, a); }
inline float mag(V3 a) { return std::sqrt(dot(a, a)); }

// Rotation matrix (row-major) of the unit quaternion q = (w, x, y, z).
inline void quat_to_rot(const float* q, float* r) {
  const float w = q[0], x = q[1], y = q[2], z = q[3];
  r[0] = 1 - 2 * (y * y + z * z), r[1] = 2 * (x * y - w * z), r[2] = 2 * (x * z + w * y);
  r[3] = 2 * (x * y + w * z), r[4] = 1 - 2 * (x * x + z * z), r[5] = 2 * (y * z - w * x);
  r[6] = 2 * (x * z - w * y), r[7] = 2 * (y * z + w * x), r[8] = 1 - 2 * (x * x + y * y);
}

inline V3 apply_rot(const float* r, V3 v) {
  return V3{r[0] * v.x + r[1] * v.y + r[2] * v.z, r[3] * v.x + r[4] * v.y + r[5] * v.z,
            r[6] * v.x + r[7] * v.y + r[8] * v.z};
}

// Logistic function 1 / (1 + exp(-z)).
inline float sigmoid(float z) { return 1.f / (1.f + std::exp(-z)); }

// Angle difference wrapped to [-pi, pi).
inline float wrap_angle(float d) {
  constexpr float kTwoPi = 6.28318530717958648f;
  return d - kTwoPi * std::floor((d + 3.14159265358979324f) / kTwoPi);
}

// The smooth window of an angle inside [lo, hi]: s(x) = sig(scale*(x-lo))
// * sig(scale*(hi-x)), with x taken on the period centred on the range.
// Returns the window and sets its derivative.
inline float angle_window(float angle, float lo, float hi, float scale, float& deriv) {
  const float mid = 0.5f * (lo + hi), half = 0.5f * (hi - lo);
  const float x = wrap_angle(angle - mid);
  const float a = sigmoid(scale * (x + half)), b = sigmoid(scale * (half - x));
  deriv = scale * a * b * ((1 - a) - (1 - b));
  return a * b;
}

// A point fixed in a rigid frame (translation t, rotation r): its position.
inline V3 frame_point(const float* t, const float* r, const float* body) {
  return load3(t) + apply_rot(r, load3(body));
}

// Adds the gradient g of a point x of a frame with translation t to the
// frame's 6-wide slot: d/d(translation) and the torque (x - t) x g.
inline void add_frame_sens(float* slot, V3 x, V3 t, V3 g) {
  add3(slot, g);
  add3(slot + 3, cross(x - t, g));
}

// Dihedral of x0-x1-x2-x3 in (-pi, pi] and its gradient in the four atoms
// (Blondel and Karplus, J Comput Chem 17:1132, 1996).
inline float dihedral_germ(V3 x0, V3 x1, V3 x2, V3 x3, V3& d0, V3& d1, V3& d2, V3& d3) {
  const V3 f = x0 - x1, g = x1 - x2, h = x3 - x2;
  const V3 a = cross(f, g), b = cross(h, g);
  const float a2 = std::fmax(mag2(a), 1e-12f), b2 = std::fmax(mag2(b), 1e-12f);
  const float gl = std::fmax(mag(g), 1e-12f);
  const float fg = dot(f, g), hg = dot(h, g);
  d0 = (-gl / a2) * a;
  d3 = (gl / b2) * b;
  d1 = (gl / a2 + fg / (a2 * gl)) * a - (hg / (b2 * gl)) * b;
  d2 = (hg / (b2 * gl) - gl / b2) * b - (fg / (a2 * gl)) * a;
  return std::atan2(dot(cross(b, a), g) / gl, dot(a, b));
}

}  // namespace tevo
