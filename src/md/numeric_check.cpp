// Central differences and deviations for the derivative checks.
#include "md/numeric_check.h"

#include <cmath>
#include <string>

namespace tevo {

namespace {

// Components of one output group under the value type.
int out_width(ValueType t) {
  switch (t) {
    case VALUE:
      return 1;
    case BODY_VALUE:
      return 7;
  }
  throw std::string("impossible");
}

// Differences of (plus - minus) / (2 eps) for one output group.
void difference(ValueType t, const float* plus, const float* minus, float eps, float* out) {
  switch (t) {
    case VALUE:
      out[0] = (plus[0] - minus[0]) / (2 * eps);
      return;
    case BODY_VALUE: {
      for (int d = 0; d < 3; ++d) out[d] = (plus[d] - minus[d]) / (2 * eps);
      // Rotation vector of q+ * conj(q-): twice the vector part for small angles.
      const double a0 = plus[3], a1 = plus[4], a2 = plus[5], a3 = plus[6];
      const double b0 = minus[3], b1 = -minus[4], b2 = -minus[5], b3 = -minus[6];
      double w = a0 * b0 - a1 * b1 - a2 * b2 - a3 * b3;
      double v[3] = {a0 * b1 + a1 * b0 + a2 * b3 - a3 * b2, a0 * b2 - a1 * b3 + a2 * b0 + a3 * b1,
                     a0 * b3 + a1 * b2 - a2 * b1 + a3 * b0};
      const double sign = w < 0 ? -1 : 1;
      for (int d = 0; d < 3; ++d) out[3 + d] = static_cast<float>(sign * 2 * v[d] / (2 * eps));
      return;
    }
  }
  throw std::string("impossible");
}

}  // namespace

std::vector<float> central_difference_deriviative(const std::function<void()>& compute, std::vector<float>& input,
                                                  std::vector<float>& output, float eps, ValueType value_type) {
  const int group = out_width(value_type);
  const int comps = value_type == BODY_VALUE ? 6 : 1;
  compute();
  const size_t n_group = output.size() / group;
  const size_t n_out = n_group * comps;
  std::vector<float> jac(n_out * input.size(), 0.f);
  std::vector<float> plus(output.size()), minus(output.size()), diff(comps);
  for (size_t i = 0; i < input.size(); ++i) {
    const float old = input[i];
    const float up = old + eps, down = old - eps;
    // Half the step actually taken, which rounding makes differ from eps.
    const float half_step = 0.5f * (up - down);
    input[i] = up;
    compute();
    plus = output;
    input[i] = down;
    compute();
    minus = output;
    input[i] = old;
    for (size_t g = 0; g < n_group; ++g) {
      difference(value_type, plus.data() + g * group, minus.data() + g * group, half_step, diff.data());
      for (int c = 0; c < comps; ++c) jac[(g * comps + c) * input.size() + i] = diff[c];
    }
  }
  compute();
  return jac;
}

double relative_rms_deviation(const std::vector<float>& a, const std::vector<float>& b) {
  if (a.size() != b.size()) throw std::string("internal error: compared Jacobians differ in size");
  double num = 0, den = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    const double d = static_cast<double>(a[i]) - b[i];
    num += d * d;
    den += static_cast<double>(a[i]) * a[i];
  }
  return std::sqrt(num / den);
}

std::vector<float> extract_jacobian_matrix(const std::function<void(int row)>& unit_gradient,
                                           const std::vector<float>& gradient, int n_row) {
  std::vector<float> jac;
  jac.reserve(static_cast<size_t>(n_row) * gradient.size());
  for (int row = 0; row < n_row; ++row) {
    unit_gradient(row);
    jac.insert(jac.end(), gradient.begin(), gradient.end());
  }
  return jac;
}

}  // namespace tevo
