// matplotlib and R figure scripts, run when their interpreter is present.
#include "report/pyplot.h"

#include "report/tools.h"
#include "util/files.h"  // write_string

namespace tevo {

namespace {

// Both script writers take a heat map alike: the matrix (negative sizes
// count as none) with its title and axis names.
template <typename T>
void take_heatmap(ChartWriter& w, T** m, int rows, int cols, const std::string& xlabel, const std::string& ylabel,
                  const std::string& title) {
  w.rows = rows > 0 ? rows : 0;
  w.cols = cols > 0 ? cols : 0;
  w.describe("heatmap", {title, xlabel, ylabel}, {}, {});
  fill_rows(w.chart, m, w.rows, w.cols);
}

}  // namespace

template <typename T>
Pyplot<T>::Pyplot(const std::string& output, const std::string& jobname) : ChartWriter(output, jobname) {}

template <typename T>
bool Pyplot<T>::write() {
  const std::string path = stem + ".py";
  write_string(path, python_script(chart, base_of(stem) + ".png"));
  return run_tool(find_python_with_matplotlib(), "", path);
}

template <typename T>
bool Pyplot<T>::plotting(const std::string& type, T** data, const std::vector<std::string>& names,
                         const std::vector<std::string>& scales, const std::vector<std::string>& flags) {
  describe(type, names, scales, flags);
  fill_rows(chart, data, rows, cols);
  return write();
}

template <typename T>
bool Pyplot<T>::heatmap(T** m, int rows_, int cols_, const std::string& xlabel, const std::string& ylabel,
                        const std::string& title) {
  take_heatmap(*this, m, rows_, cols_, xlabel, ylabel, title);
  return write();
}

template <typename T>
bool Pyplot<T>::plot_fig_script(const std::string& postfix, const std::string& type, T** m, int rows_, int cols_,
                                const std::string& xlabel, const std::string& ylabel,
                                const std::vector<std::string>& labels) {
  set_postfix(postfix);
  rows = rows_ > 0 ? rows_ : 0;
  cols = cols_ > 0 ? cols_ : 0;
  describe(type, {"", xlabel, ylabel}, {}, {});
  chart.row_labels = labels;
  if (rows > 60 && chart.layout.angle == 0) chart.layout.angle = -90;
  fill_rows(chart, m, rows, cols);
  return write();
}

template <typename T>
Rscript<T>::Rscript(const std::string& output, const std::string& jobname) : ChartWriter(output, jobname) {}

template <typename T>
bool Rscript<T>::write() {
  const std::string path = stem + ".R";
  write_string(path, r_script(chart, base_of(stem) + ".png"));
  return run_tool(find_tool("Rscript"), "--vanilla", path);
}

template <typename T>
bool Rscript<T>::plotting(const std::string& type, T** data, const std::vector<std::string>& names,
                          const std::vector<std::string>& scales, const std::vector<std::string>& flags) {
  describe(type, names, scales, flags);
  fill_rows(chart, data, rows, cols);
  return write();
}

template <typename T>
bool Rscript<T>::heatmap(T** m, int rows_, int cols_, const std::string& xlabel, const std::string& ylabel,
                         const std::string& title) {
  take_heatmap(*this, m, rows_, cols_, xlabel, ylabel, title);
  return write();
}

template class Pyplot<float>;
template class Pyplot<double>;
template class Rscript<float>;
template class Rscript<double>;

}  // namespace tevo
