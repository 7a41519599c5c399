// One description of a chart (type, data, names, layout) shared by every
// writer: the SVG page, the JSON data and the gnuplot, matplotlib and R scripts.
#pragma once

#include <string>
#include <vector>

namespace tevo {

// The seven layout numbers of the writers: the four margins in pixels (in
// the order of the side names given to the writer), the plot-area width and
// height in pixels, and the rotation of the x tick labels in degrees.
struct ChartLayout {
  int top = 40, right = 30, bottom = 60, left = 70;
  int width = 720, height = 420;
  int angle = 0;
};

struct Chart {
  // "line", "scatter", "bar", "heatmap" or "chord".
  std::string type = "line";
  std::string title, xlabel, ylabel;
  // line/scatter/bar: column 0 is x, columns 1.. are series; heatmap/chord:
  // the matrix itself. Non-finite cells are left out of the drawing.
  std::vector<std::vector<double>> data;
  std::vector<std::string> series;                 // names of data columns 1..
  std::vector<std::string> row_labels, col_labels;  // heatmap axes, bar categories
  std::vector<std::string> groups;                 // scatter: group of each row
  std::vector<std::string> value_labels;           // heatmap: category of value k
  std::vector<std::string> palette;                // categorical colours ("#RRGGBB"), else defaults
  std::string legend_title, legend_low, legend_high;
  bool xlog = false, ylog = false;
  bool legend = true;
  bool markers = false;     // line: a dot on each point
  bool cell_text = false;   // categorical heatmap: the label inside large cells
  int legend_columns = 1;
  ChartLayout layout;
  // Scripts only: picture size in pixels (0: from the layout), and lines
  // placed before the plot command, such as margins or a colour box.
  int image_width = 0, image_height = 0;
  std::string script_extra;
};

// Categorical colour of value k: the chart's palette, else the residue
// palette when it is long enough, else the series palette.
std::string category_colour(const Chart& chart, std::size_t k);

// "set palette model RGB defined (0 '#..',1 '#..');\n" for gnuplot.
std::string gnuplot_palette_line(const std::vector<std::string>& colours);

// Text for XML/HTML: & < > " ' become entities.
std::string xml_escape(const std::string& text);

// Caption text of the job record may carry a few markup words (<b>, <i>,
// <sub>, <sup>, <br>, <span style="color:...">) and entities such as
// &Aring;; everything else is escaped.
std::string caption_html(const std::string& text);

// Round tick positions covering [lo, hi], about `target` of them; `step`
// receives the spacing (Heckbert, "Nice numbers for graph labels",
// Graphics Gems, 1990).
std::vector<double> nice_ticks(double lo, double hi, int target, double* step);

// Decade ticks for a log axis over [lo, hi], lo > 0.
std::vector<double> log_ticks(double lo, double hi);

// Short text of a tick value at the given spacing: no trailing noise, an
// exponent form for very large or very small magnitudes.
std::string tick_label(double value, double step);

// Colours: a qualitative palette for series and a 21-colour palette for
// residue states (index 0 the gap).
const std::vector<std::string>& series_palette();
const std::vector<std::string>& residue_palette();
// Sequential (viridis-like) colour at t in [0, 1]; diverging blue-white-red at t in [-1, 1].
std::string sequential_colour(double t);
std::string diverging_colour(double t);
void colour_rgb(const std::string& hex, unsigned char rgb[3]);

// Plain text of a label: markup such as <sub> removed, entities decoded.
std::string label_plain(const std::string& label);

// Minimum and maximum of the finite cells; false when there are none.
bool finite_range(const std::vector<std::vector<double>>& data, double* lo, double* hi);

// The chart as one <svg> element.
std::string render_svg(const Chart& chart);
// A complete HTML page holding the chart; it needs no network and no script.
std::string chart_page(const Chart& chart);
// The chart's description and data as JSON.
std::string chart_json(const Chart& chart);

// Scripts drawing the chart into `png` (a file name beside the script).
std::string gnuplot_script(const Chart& chart, const std::string& png);
std::string python_script(const Chart& chart, const std::string& png);
std::string r_script(const Chart& chart, const std::string& png);

// Writes `text` to `path` with `mode`; a file that cannot be opened prints
// "Error: cannot open <path>" and ends the process with status 1.
void write_text_file(const std::string& path, const std::string& text, const char* mode = "w");

// Markers around the chart's <svg> inside a chart page, so that a report
// page can lift the drawing out of it.
inline const char* kChartBegin = "<!-- tevo-chart-begin -->";
inline const char* kChartEnd = "<!-- tevo-chart-end -->";

}  // namespace tevo
