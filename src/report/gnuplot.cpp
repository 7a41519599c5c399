// Gnuplot scripts, written whole and run when gnuplot is installed.
#include "report/gnuplot.h"

#include <cstdio>

#include "report/tools.h"

namespace tevo {

namespace {

std::string fraction(double v) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.4g", v);
  return buffer;
}

}  // namespace

template <typename T>
Gnuplot<T>::Gnuplot(const std::string& output, const std::string& jobname) : ChartWriter(output, jobname) {}

template <typename T>
void Gnuplot<T>::open(const std::string& postfix) {
  if (!postfix.empty()) set_postfix(postfix);
  script = "# gnuplot script: gnuplot " + base_of(stem) + ".gp writes " + base_of(stem) + ".png\n";
  is_open = true;
}

template <typename T>
void Gnuplot<T>::style(int width, int height, T right, T left, T bottom, T top) {
  if (!is_open) open();
  width = width > 0 && width <= 8000 ? width : 1000;
  height = height > 0 && height <= 8000 ? height : 700;
  script += "set terminal pngcairo size " + std::to_string(width) + "," + std::to_string(height) +
            " font 'DejaVu Sans,11' noenhanced;\n";
  script += "set output '" + base_of(stem) + ".png';\n";
  if (right > 0 && right <= 1) script += "set rmargin at screen " + fraction(right) + ";\n";
  if (left > 0 && left <= 1) script += "set lmargin at screen " + fraction(left) + ";\n";
  if (bottom > 0 && bottom <= 1) script += "set bmargin at screen " + fraction(bottom) + ";\n";
  if (top > 0 && top <= 1) script += "set tmargin at screen " + fraction(top) + ";\n";
}

template <typename T>
void Gnuplot<T>::send_cmd_line(const std::string& lines) {
  if (!is_open) open();
  script += lines;
  if (!script.empty() && script.back() != '\n') script += '\n';
}

template <typename T>
void Gnuplot<T>::send_cmd_line() {
  send_cmd_line(cmd);
  cmd.clear();
}

template <typename T>
bool Gnuplot<T>::close() {
  if (!is_open) return false;
  is_open = false;
  const std::string path = stem + ".gp";
  write_text_file(path, script);
  return run_tool(find_tool("gnuplot"), "", path);
}

template <typename T>
bool Gnuplot<T>::plotting(const std::string& type, T** m, int rows_, int cols_, const std::string& xlabel,
                          const std::string& ylabel, const std::vector<T>& frame,
                          const std::vector<std::string>& colours, const std::string& extra) {
  rows = rows_ > 0 ? rows_ : 0;
  cols = cols_ > 0 ? cols_ : 0;
  chart.type = type;
  chart.xlabel = xlabel;
  chart.ylabel = ylabel;
  fill_rows(chart, m, rows, cols);
  if (!colours.empty()) {
    chart.palette = colours;
    if (chart.value_labels.size() != colours.size()) {
      chart.value_labels.clear();
      for (std::size_t k = 0; k < colours.size(); ++k) chart.value_labels.push_back(std::to_string(k));
    }
  }
  std::string margins;
  if (frame.size() > 1 && frame[1] > 1) chart.image_width = chart.image_height = static_cast<int>(frame[1]);
  if (frame.size() > 0 && frame[0] > 0 && frame[0] < 1) margins += "set lmargin at screen " + fraction(frame[0]) + ";\n";
  if (frame.size() > 2 && frame[2] > 0 && frame[2] <= 1) margins += "set rmargin at screen " + fraction(frame[2]) + ";\n";
  if (frame.size() > 3 && frame[3] > 0 && frame[3] <= 1) margins += "set tmargin at screen " + fraction(frame[3]) + ";\n";
  chart.script_extra = margins + extra;
  if (!chart.script_extra.empty() && chart.script_extra.back() != '\n') chart.script_extra += '\n';
  open();
  script = gnuplot_script(chart, base_of(stem) + ".png");
  return close();
}

template class Gnuplot<float>;
template class Gnuplot<double>;

}  // namespace tevo
