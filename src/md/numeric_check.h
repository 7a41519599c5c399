// Numeric checks of analytic derivatives: central differences and the
// relative RMS deviation between two Jacobians.
#pragma once

#include <functional>
#include <vector>

#include "md/deriv_engine.h"  // ValueType

namespace tevo {

// Perturbs each input float by +-eps, calls `compute` (which refreshes
// `output`) and returns the Jacobian [output component][input], row-major.
// With BODY_VALUE the output is read in groups of 7 (translation and unit
// quaternion) and each gives 6 components: translation and rotation vector.
std::vector<float> central_difference_deriviative(const std::function<void()>& compute, std::vector<float>& input,
                                                  std::vector<float>& output, float eps, ValueType value_type);

// sqrt(sum (a-b)^2 / sum a^2) in double; a and b must have equal length.
double relative_rms_deviation(const std::vector<float>& a, const std::vector<float>& b);

// Stacks the gradients that `unit_gradient(row)` leaves in `gradient` for
// each of n_row unit sensitivities into a Jacobian [row][input].
std::vector<float> extract_jacobian_matrix(const std::function<void(int row)>& unit_gradient,
                                           const std::vector<float>& gradient, int n_row);

}  // namespace tevo
