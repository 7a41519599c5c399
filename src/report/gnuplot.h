// Gnuplot<T>: gnuplot scripts (<stem>.gp) that draw a PNG beside themselves.
// When gnuplot is on PATH the script is run at close(); otherwise it stays.
#pragma once

#include <string>
#include <vector>

#include "report/chart_writer.h"

namespace tevo {

template <typename T>
class Gnuplot : public ChartWriter {
 public:
  Gnuplot(const std::string& output, const std::string& jobname);

  // Starts a script <stem>.gp (postfix as in set_postfix; "" keeps the stem).
  void open(const std::string& postfix = "");
  // Terminal and output lines: a PNG of width x height, and when given the
  // plot frame's right, left, bottom and top edges as fractions of the picture.
  void style(int width = 1000, int height = 700, T right = 0, T left = 0, T bottom = 0, T top = 0);
  // Appends script text; the form without argument sends `cmd` and empties it.
  void send_cmd_line(const std::string& lines);
  void send_cmd_line();
  // Writes the script and runs gnuplot when present; true when it ran.
  bool close();

  // A whole script for a table: "line", "scatter", "bar", "heatmap" or
  // "mtx_3col" (the non-zero cells as points, as for contact maps).
  // frame: {left edge, picture size in pixels, right edge, top edge};
  // colours: a categorical palette (value k gets colours[k]);
  // extra: lines placed before the plot command.
  bool plotting(const std::string& type, T** m, int rows, int cols, const std::string& xlabel,
                const std::string& ylabel, const std::vector<T>& frame = {},
                const std::vector<std::string>& colours = {}, const std::string& extra = "");

  std::string cmd;     // caller's lines for send_cmd_line()
  std::string script;  // text of the open script
  bool is_open = false;
};

extern template class Gnuplot<float>;
extern template class Gnuplot<double>;

}  // namespace tevo
