#include "sampling/mcmc.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "util/capture.h"

using namespace tevo;

TEST(MCMC, AnnouncesAndComputesHelpers) {
  MCMC<double> m;
  EXPECT_EQ(captured_stdout([&] { m.actuate(); }), "-- \033[31mIt is coming soon ...\033[0m\n");
  const double x[4] = {2.0, -1.5, 4.0, 0.5};
  EXPECT_DOUBLE_EQ(m.calc_mult(x, 4), -6.0);
  EXPECT_DOUBLE_EQ(m.calc_mult(x, 0), 1.0);
  EXPECT_DOUBLE_EQ(m.expectancy(x, 4), 1.25);
  std::srand(42U);
  double sum = 0, sum2 = 0;
  const int n = 20000;
  for (int i = 0; i < n; ++i) {
    const double v = m.sample_normal();
    sum += v;
    sum2 += v * v;
  }
  EXPECT_NEAR(sum / n, 0.0, 0.04);  // standard errors 0.007 and 0.01
  EXPECT_NEAR(sum2 / n - (sum / n) * (sum / n), 1.0, 0.05);
}
