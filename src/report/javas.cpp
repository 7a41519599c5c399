// Chart pages and their JSON data.
#include "report/javas.h"

#include <algorithm>

namespace tevo {

template <typename T>
Javas<T>::Javas(const std::string& output, const std::string& jobname) : ChartWriter(output, jobname) {}

template <typename T>
Javas<T>::Javas(const std::string& output, const std::string& jobname, const std::vector<std::string>& sides_)
    : ChartWriter(output, jobname) {
  set_sides(sides_);
}

template <typename T>
std::string Javas<T>::write() {
  write_text_file(stem + ".html", chart_page(chart));
  if (with_json_) write_text_file(stem + ".json", chart_json(chart));
  return stem + ".html";
}

template <typename T>
std::string Javas<T>::plotting(const std::string& type, T** data, const std::vector<std::string>& names,
                               const std::vector<std::string>& scales, const std::vector<std::string>& flags) {
  describe(type == "mtx_3col" ? "heatmap" : type, names, scales, flags);
  fill_rows(chart, data, rows, cols);
  return write();
}

template <typename T>
std::string Javas<T>::write_mtx_in_javas(const std::string& type, T** m, int rows_, int cols_,
                                         const std::string& xlabel, const std::string& ylabel,
                                         const std::string& legend, const std::string& value_labels,
                                         const std::vector<int>& layout, const std::vector<int>& group) {
  set_param(rows_, cols_, layout);
  // Room for a letter in each cell where the alignment is small, at least
  // two pixels a sequence where it is tall; the report page scrolls it.
  chart.layout.width = std::max(chart.layout.width, std::min(12 * cols, 6000));
  chart.layout.height = std::max(chart.layout.height, std::min(std::max(14 * rows, 2 * rows), 1600));
  describe(type, {chart.title, xlabel, ylabel}, {}, {});
  const bool categorical = group.empty() || group[0] != 0;
  chart.value_labels.clear();
  if (categorical)
    for (const char c : value_labels) chart.value_labels.push_back(std::string(1, c));
  chart.cell_text = group.size() > 1 && group[1] != 0;
  chart.legend_columns = group.size() > 2 ? std::max(1, std::min(group[2], 8)) : 1;
  chart.legend_title = legend;
  fill_rows(chart, m, rows, cols);
  return write();
}

template <typename T>
Json<T>::Json(const std::string& output, const std::string& jobname) : Javas<T>(output, jobname) {
  this->with_json_ = true;
}

template <typename T>
Json<T>::Json(const std::string& output, const std::string& jobname, const std::vector<std::string>& sides)
    : Javas<T>(output, jobname, sides) {
  this->with_json_ = true;
}

template class Javas<float>;
template class Javas<double>;
template class Json<float>;
template class Json<double>;

}  // namespace tevo
