// Shared set-up of the chart writers.
#include "report/chart_writer.h"

#include <algorithm>

namespace tevo {

ChartWriter::ChartWriter(const std::string& output_, const std::string& jobname_)
    : output(output_), jobname(jobname_), stem(output_ + jobname_) {}

void ChartWriter::set_sides(const std::vector<std::string>& names) {
  if (!names.empty()) sides = names;
}

void ChartWriter::set_param(int rows_, int cols_, int m1, int m2, int m3, int m4, int width, int height, int angle) {
  set_param(rows_, cols_, {m1, m2, m3, m4, width, height, angle});
}

void ChartWriter::set_param(int rows_, int cols_, const std::vector<int>& layout) {
  rows = std::max(rows_, 0);
  cols = std::max(cols_, 0);
  ChartLayout& L = chart.layout;
  const int margins[4] = {layout.size() > 0 ? layout[0] : L.top, layout.size() > 1 ? layout[1] : L.right,
                          layout.size() > 2 ? layout[2] : L.bottom, layout.size() > 3 ? layout[3] : L.left};
  for (int k = 0; k < 4 && k < static_cast<int>(layout.size()); ++k) {
    const std::string side = k < static_cast<int>(sides.size()) ? sides[k] : "";
    const int value = std::max(0, std::min(margins[k], 2000));
    if (side == "top") L.top = value;
    else if (side == "right") L.right = value;
    else if (side == "bottom") L.bottom = value;
    else if (side == "left") L.left = value;
  }
  if (layout.size() > 4) L.width = layout[4];
  if (layout.size() > 5) L.height = layout[5];
  if (layout.size() > 6) L.angle = std::max(-90, std::min(90, layout[6]));
}

void ChartWriter::set_postfix(const std::string& postfix) {
  if (postfix.empty()) stem = output + jobname;
  else stem = output + jobname + (postfix[0] == '_' ? "" : "_") + postfix;
}

void ChartWriter::set_file_name(const std::string& name) { stem = name; }

void ChartWriter::set_labels(const std::vector<std::string>& row_labels, const std::vector<std::string>& col_labels) {
  chart.row_labels = row_labels;
  chart.col_labels = col_labels;
}

void ChartWriter::set_legend(const std::string& low, const std::string& high, const std::string& title) {
  chart.legend_low = low;
  chart.legend_high = high;
  chart.legend_title = title;
}

void ChartWriter::set_groups(const std::vector<std::string>& groups) { chart.groups = groups; }

void ChartWriter::describe(const std::string& type, const std::vector<std::string>& names,
                           const std::vector<std::string>& scales, const std::vector<std::string>& flags) {
  chart.type = type;
  chart.title = names.size() > 0 ? names[0] : "";
  chart.xlabel = names.size() > 1 ? names[1] : "";
  chart.ylabel = names.size() > 2 ? names[2] : "";
  chart.series.assign(names.size() > 3 ? names.begin() + 3 : names.end(), names.end());
  if (scales.size() == 1) {
    chart.ylog = scales[0] == "log";
  } else if (scales.size() >= 2) {
    chart.xlog = scales[0] == "log";
    chart.ylog = scales[1] == "log";
  }
  chart.legend = flags.empty() || flags[0] != "false";
  chart.markers = flags.size() > 1 && flags[1] == "true";
}

}  // namespace tevo
