// Pearson<T> against a two-pass long double oracle, with teams of one and two threads.
#include "stats/pearson.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <boost/filesystem.hpp>
#include <fstream>

#include "stats/pearson_oracle.h"
#include "util/random.h"

using namespace tevo;

TEST(Pearson, MatchesTwoPassOracleInFloatAndDouble) {
  namespace fs = boost::filesystem;
  const fs::path file = fs::temp_directory_path() / fs::unique_path("tevo-pearson-%%%%.tsv");
  MT19937<double> rng;
  rng.init_genrand(31);
  const int n = 20011;  // several thousand rows per thread, uneven shares
  std::vector<long double> x(n), y(n);
  {
    std::ofstream out(file.string());
    out << "# id\tx\ty\n";
    for (int i = 0; i < n; ++i) {
      x[i] = std::round(rng.genrand_real1() * 1e6) / 1e4;  // written exactly with 4 decimals
      y[i] = std::round((0.3L * x[i] + 50 * rng.genrand_real1()) * 1e4) / 1e4;
      char line[96];
      std::snprintf(line, sizeof line, "row%d\t%.4Lf\t%.4Lf\textra\n", i, x[i], y[i]);
      out << line;
    }
  }
  const pearson_test::Expected e = pearson_test::oracle(x, y);
  for (int threads : {1, 2}) {
    omp_set_num_threads(threads);
    testing::internal::CaptureStdout();
    double rd = 5;
    Pearson<double> pd(file.string());
    pd.calc_pearson_coefficient(&rd);
    float rf = 5;
    Pearson<float> pf(file.string());
    pf.calc_pearson_coefficient(&rf);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NEAR(rd, e.r, 1e-12);  // double sums of 2e4 terms of size 1e2
    EXPECT_NEAR(rf, e.r, 2e-4);   // float sums: about 4 good digits left
    EXPECT_GE(pd.total_ms, pd.calc_ms);
    char mean_line[80];
    std::snprintf(mean_line, sizeof mean_line, "-- Mean of the 2nd column: %.5f\n", e.mean_y);
    EXPECT_NE(out.find(mean_line), std::string::npos) << out;
  }
  fs::remove(file);
}
