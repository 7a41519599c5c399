// Javas<T>: a chart page (<stem>.html) drawn as inline SVG, readable in any
// browser without network access. Json<T> adds the data as <stem>.json.
#pragma once

#include <string>
#include <vector>

#include "report/chart_writer.h"

namespace tevo {

template <typename T>
class Javas : public ChartWriter {
 public:
  Javas(const std::string& output, const std::string& jobname);
  Javas(const std::string& output, const std::string& jobname, const std::vector<std::string>& sides);

  // Draws a rows x cols table (set_param) as "line", "scatter", "bar",
  // "heatmap", "mtx_3col" (a heat map) or "chord". For line, scatter and bar
  // column 0 is x and each further column a series; a one-column table is
  // drawn against the row number. See ChartWriter::describe for the lists.
  // Returns the path of the page.
  std::string plotting(const std::string& type, T** data, const std::vector<std::string>& names,
                       const std::vector<std::string>& scales = {},
                       const std::vector<std::string>& flags = {});

  // A matrix as a heat map whose values index `value_labels` (one character
  // per category, e.g. the residue alphabet). layout: four margins, width,
  // height; group: {categorical 0/1, letters in cells 0/1, legend columns}.
  std::string write_mtx_in_javas(const std::string& type, T** m, int rows, int cols, const std::string& xlabel,
                                 const std::string& ylabel, const std::string& legend,
                                 const std::string& value_labels, const std::vector<int>& layout,
                                 const std::vector<int>& group);

 protected:
  std::string write();
  bool with_json_ = false;
};

template <typename T>
class Json : public Javas<T> {
 public:
  Json(const std::string& output, const std::string& jobname);
  Json(const std::string& output, const std::string& jobname, const std::vector<std::string>& sides);
};

extern template class Javas<float>;
extern template class Javas<double>;
extern template class Json<float>;
extern template class Json<double>;

}  // namespace tevo
