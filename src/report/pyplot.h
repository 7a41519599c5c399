// Pyplot<T> and Rscript<T>: figure scripts for python3 with matplotlib
// (<stem>.py) and for R (<stem>.R). Each carries its data, draws <stem>.png
// beside itself, and is run at once when its interpreter is installed.
#pragma once

#include <string>
#include <vector>

#include "report/chart_writer.h"

namespace tevo {

template <typename T>
class Pyplot : public ChartWriter {
 public:
  Pyplot(const std::string& output, const std::string& jobname);

  // As Javas<T>::plotting, for a rows x cols table (set_param). True when
  // the script ran and left its PNG.
  bool plotting(const std::string& type, T** data, const std::vector<std::string>& names,
                const std::vector<std::string>& scales = {}, const std::vector<std::string>& flags = {});
  // A heat map of a matrix with optional axis names and colour-scale words.
  bool heatmap(T** m, int rows, int cols, const std::string& xlabel, const std::string& ylabel,
               const std::string& title = "");
  // One figure script <output><jobname>_<postfix>.py of a table: "bar",
  // "line", "scatter" or "heatmap"; labels name the rows (bar categories).
  bool plot_fig_script(const std::string& postfix, const std::string& type, T** m, int rows, int cols,
                       const std::string& xlabel, const std::string& ylabel,
                       const std::vector<std::string>& labels = {});

 private:
  bool write();
};

template <typename T>
class Rscript : public ChartWriter {
 public:
  Rscript(const std::string& output, const std::string& jobname);

  bool plotting(const std::string& type, T** data, const std::vector<std::string>& names,
                const std::vector<std::string>& scales = {}, const std::vector<std::string>& flags = {});
  // A heat map whose colour scale runs from the matrix's minimum to its maximum.
  bool heatmap(T** m, int rows, int cols, const std::string& xlabel, const std::string& ylabel,
               const std::string& title = "");

 private:
  bool write();
};

extern template class Pyplot<float>;
extern template class Pyplot<double>;
extern template class Rscript<float>;
extern template class Rscript<double>;

}  // namespace tevo
