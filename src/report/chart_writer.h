// What the chart writers share: the output name, the layout numbers with
// their side names, and the words that turn a caller's table into a Chart.
#pragma once

#include <cmath>
#include <string>
#include <vector>

#include "report/chart.h"

namespace tevo {

class ChartWriter {
 public:
  ChartWriter(const std::string& output, const std::string& jobname);

  // Names of the sides that the first four layout numbers set, in their
  // order ("top", "right", "bottom", "left" by default).
  void set_sides(const std::vector<std::string>& sides);
  // Table size and the seven layout numbers: four margins (in the order of
  // the side names), plot width, plot height, x tick label angle.
  void set_param(int rows, int cols, int m1, int m2, int m3, int m4, int width, int height, int angle);
  void set_param(int rows, int cols, const std::vector<int>& layout);
  // Output name: <output><jobname>_<postfix> (a postfix starting with "_"
  // is joined as it is); set_file_name takes a whole path without extension.
  void set_postfix(const std::string& postfix);
  void set_file_name(const std::string& stem);
  void set_labels(const std::vector<std::string>& row_labels, const std::vector<std::string>& col_labels);
  // Words at the two ends of a colour scale ("Weak", "Strong") and its title.
  void set_legend(const std::string& low, const std::string& high, const std::string& title = "");
  // Scatter: the group of each row, coloured and listed in the legend.
  void set_groups(const std::vector<std::string>& groups);

  // names: {title, x label, y label, series 1, series 2, ...};
  // scales: {x scale, y scale} with "log" or "" (one entry: the y scale);
  // flags: {legend "true"/"false", markers "true"/"false"}.
  void describe(const std::string& type, const std::vector<std::string>& names,
                const std::vector<std::string>& scales, const std::vector<std::string>& flags);

  std::string output, jobname;
  std::string stem;  // path of the files without extension
  int rows = 0, cols = 0;
  std::vector<std::string> sides{"top", "right", "bottom", "left"};
  Chart chart;
};

// Copies a caller's table into the chart's rows; a null table gives none.
template <typename T>
void fill_rows(Chart& chart, T** table, int rows, int cols) {
  chart.data.clear();
  if (!table || rows <= 0 || cols <= 0) return;
  chart.data.assign(rows, std::vector<double>(cols));
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < cols; ++c) chart.data[r][c] = table[r] ? static_cast<double>(table[r][c]) : NAN;
}

}  // namespace tevo
