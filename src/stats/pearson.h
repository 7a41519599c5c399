// Pearson's correlation coefficient of the second and third fields of a
// tab-separated table, with the column means and standard deviations.
#pragma once

#include <string>

namespace tevo {

template <typename T>
class Pearson {
 public:
  explicit Pearson(std::string file);
  virtual ~Pearson() = default;

  // Reads the table, prints the means, the population standard deviations,
  // r and the times, and stores r in *result (0 until it is known). A row
  // with fewer than three fields prints "Error: <file> line <n>: ..." and
  // ends the process with status 1.
  void calc_pearson_coefficient(T* result);

  std::string file;
  double start_time = 0;       // omp_get_wtime at the start of the run
  double calc_start_time = 0;  // after loading: the calculation proper
  double end_time = 0;
  double calc_ms = 0;   // calculation only
  double total_ms = 0;  // including data loading
};

extern template class Pearson<float>;
extern template class Pearson<double>;

}  // namespace tevo
