// Pearson's r of two table columns, in the four OpenMP stages of the
// textbook two-pass formula: sums, means, centred cross sums, result.
#include "stats/pearson.h"

#include <omp.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "util/console.h"
#include "util/files.h"    // TableReader
#include "util/numeric.h"  // thread_share, create_vec_malloc

namespace tevo {

template <typename T>
Pearson<T>::Pearson(std::string file) : file(std::move(file)) {}

template <typename T>
void Pearson<T>::calc_pearson_coefficient(T* result) {
  std::printf("-- Computing Pearson's correlation coefficient ...\n");
  *result = 0;
  start_time = omp_get_wtime();

  // Field 0 is a label that is never read; fields 1 and 2 are the two columns.
  // The rows are taken as they stream in, so the table is never held whole.
  std::vector<T> xs, ys;
  {
    TableReader reader(file, '\t');
    while (reader.next()) {
      if (reader.size() < 3) {
        std::fflush(stdout);
        print_info(file + " line " + std::to_string(reader.line()) +
                       ": a row needs three tab-separated fields, found " + std::to_string(reader.size()),
                   9);
        std::exit(1);
      }
      if (xs.size() >= static_cast<std::size_t>(INT_MAX)) {
        print_info(file + ": more than " + std::to_string(INT_MAX) + " rows", 9);
        std::exit(1);
      }
      xs.push_back(narrow_number<T>(reader.value(1)));
      ys.push_back(narrow_number<T>(reader.value(2)));
      if (xs.size() == 4096) {  // size the columns once instead of doubling them
        const std::size_t expect = std::min<std::size_t>(reader.expected_rows(4096), INT_MAX);
        xs.reserve(expect);
        ys.reserve(expect);
      }
    }
  }
  const int n = static_cast<int>(xs.size());
  const T* x = xs.data();
  const T* y = ys.data();
  T* d = create_vec_malloc<T>(n, T(0));  // x - y, kept as part of the record of the run

  T sum_x = 0, sum_y = 0;
#pragma omp parallel
  {
    long b, e;
    thread_share(n, &b, &e);
    T sx = 0, sy = 0;
    for (long i = b; i < e; ++i) {
      d[i] = x[i] - y[i];
      sx += x[i];
      sy += y[i];
    }
#pragma omp critical(tevo_pearson_sums)
    {
      sum_x += sx;
      sum_y += sy;
    }
  }

  calc_start_time = omp_get_wtime();

  T mean_x = 0, mean_y = 0;
#pragma omp parallel sections
  {
#pragma omp section
    {
      mean_x = sum_x / n;
      std::printf("-- Mean of the 1st column: %.5f\n", static_cast<double>(mean_x));
    }
#pragma omp section
    {
      mean_y = sum_y / n;
      std::printf("-- Mean of the 2nd column: %.5f\n", static_cast<double>(mean_y));
    }
  }

  T sxx = 0, syy = 0, sxy = 0;
#pragma omp parallel
  {
    long b, e;
    thread_share(n, &b, &e);
    T pxx = 0, pyy = 0, pxy = 0;
    for (long i = b; i < e; ++i) {
      const T dx = x[i] - mean_x, dy = y[i] - mean_y;
      pxx += dx * dx;
      pyy += dy * dy;
      pxy += dx * dy;
    }
#pragma omp critical(tevo_pearson_cross)
    {
      sxx += pxx;
      syy += pyy;
      sxy += pxy;
    }
  }

  // Population standard deviations (divisor n). Both lines carry the same words.
  T sd_x = 0, sd_y = 0;
#pragma omp parallel sections
  {
#pragma omp section
    {
      sd_x = std::sqrt(sxx / n);
      std::printf("-- Standard deviation of the 2nd column: %.5f\n", static_cast<double>(sd_x));
    }
#pragma omp section
    {
      sd_y = std::sqrt(syy / n);
      std::printf("-- Standard deviation of the 2nd column: %.5f\n", static_cast<double>(sd_y));
    }
  }

  const T r = sxy / n / (sd_x * sd_y);
  *result = r;
  std::printf("-- Pearson correlation coefficient: %.5f\n", static_cast<double>(r));

  end_time = omp_get_wtime();
  calc_ms = (end_time - calc_start_time) * 1000;
  total_ms = (end_time - start_time) * 1000;
  std::printf("-- Time (calculation only): %.3f ms\n", calc_ms);
  std::printf("-- Time (including data loading): %.3f ms\n", total_ms);

  free_vec_malloc(d);
}

template class Pearson<float>;
template class Pearson<double>;

}  // namespace tevo
