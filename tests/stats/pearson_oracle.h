// Two-pass population statistics of two columns in long double: the oracle
// of the unit and the command tests.
#pragma once

#include <cmath>
#include <vector>

namespace pearson_test {

struct Expected {
  double mean_x, mean_y, sd_x, sd_y, r;
};

template <typename V>
Expected oracle(const std::vector<V>& x, const std::vector<V>& y) {
  const long double n = static_cast<long double>(x.size());
  long double mx = 0, my = 0, sxx = 0, syy = 0, sxy = 0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    mx += x[i];
    my += y[i];
  }
  mx /= n;
  my /= n;
  for (std::size_t i = 0; i < x.size(); ++i) {
    sxx += (x[i] - mx) * (x[i] - mx);
    syy += (y[i] - my) * (y[i] - my);
    sxy += (x[i] - mx) * (y[i] - my);
  }
  return {double(mx), double(my), double(std::sqrt(sxx / n)), double(std::sqrt(syy / n)),
          double(sxy / std::sqrt(sxx * syy))};
}

}  // namespace pearson_test
