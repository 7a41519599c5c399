// matplotlib and R figure scripts, run when their interpreter is present.
#include "report/pyplot.h"

#include "report/tools.h"

namespace tevo {

template <typename T>
Pyplot<T>::Pyplot(const std::string& output, const std::string& jobname) : ChartWriter(output, jobname) {}

template <typename T>
bool Pyplot<T>::write() {
  const std::string path = stem + ".py";
  write_text_file(path, python_script(chart, base_of(stem) + ".png"));
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
  rows = rows_ > 0 ? rows_ : 0;
  cols = cols_ > 0 ? cols_ : 0;
  describe("heatmap", {title, xlabel, ylabel}, {}, {});
  fill_rows(chart, m, rows, cols);
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
  write_text_file(path, r_script(chart, base_of(stem) + ".png"));
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
  rows = rows_ > 0 ? rows_ : 0;
  cols = cols_ > 0 ? cols_ : 0;
  describe("heatmap", {title, xlabel, ylabel}, {}, {});
  fill_rows(chart, m, rows, cols);
  return write();
}

template class Pyplot<float>;
template class Pyplot<double>;
template class Rscript<float>;
template class Rscript<double>;

}  // namespace tevo
