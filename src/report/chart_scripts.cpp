// The chart as a script for gnuplot, python3 with matplotlib, and R. Each
// script carries its data inline and writes its PNG beside itself.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "report/chart.h"

namespace tevo {

namespace {

std::string num(double v) {
  if (!std::isfinite(v)) return "NaN";
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.8g", v);
  return buffer;
}

std::size_t width_of(const Chart& chart) {
  std::size_t cols = 0;
  for (const auto& row : chart.data) cols = std::max(cols, row.size());
  return cols;
}

double cell(const Chart& chart, std::size_t r, std::size_t c) {
  return c < chart.data[r].size() ? chart.data[r][c] : NAN;
}

std::vector<std::string> series_names(const Chart& chart, std::size_t n) {
  std::vector<std::string> names;
  for (std::size_t s = 0; s < n; ++s)
    names.push_back(label_plain(s < chart.series.size() && !chart.series[s].empty() ? chart.series[s]
                                 : n == 1 && !chart.ylabel.empty() ? chart.ylabel
                                                                   : "series " + std::to_string(s + 1)));
  return names;
}

std::vector<std::string> names_or_numbers(const std::vector<std::string>& given, std::size_t n) {
  std::vector<std::string> names;
  for (std::size_t k = 0; k < n; ++k) names.push_back(k < given.size() ? label_plain(given[k]) : std::to_string(k + 1));
  return names;
}

bool is_matrix_type(const std::string& type) {
  return type == "heatmap" || type == "mtx_3col" || type == "chord";
}

int image_width(const Chart& chart) {
  if (chart.image_width > 0) return std::min(chart.image_width, 8000);
  return std::max(560, std::min(4000, chart.layout.width + chart.layout.left + chart.layout.right + 140));
}

int image_height(const Chart& chart) {
  if (chart.image_height > 0) return std::min(chart.image_height, 8000);
  return std::max(400, std::min(4000, chart.layout.height + chart.layout.top + chart.layout.bottom + 40));
}

std::size_t label_stride(std::size_t n, std::size_t most) { return n <= most ? 1 : (n + most - 1) / most; }

// ------------------------------------------------------------ gnuplot
std::string gq(const std::string& text) {  // gnuplot single-quoted string
  std::string out = "'";
  for (const char c : text) {
    if (c == '\'') out += "''";
    else if (c != '\n' && c != '\r') out += c;
  }
  return out + "'";
}

}  // namespace

std::string gnuplot_script(const Chart& chart, const std::string& png) {
  const int w = image_width(chart), h = image_height(chart);
  std::string s = "# " + label_plain(chart.title.empty() ? chart.type + " chart" : chart.title) +
                  " (gnuplot; the data follow inline)\n";
  s += "set terminal pngcairo size " + std::to_string(w) + "," + std::to_string(h) + " font 'DejaVu Sans,11' noenhanced;\n";
  s += "set output " + gq(png) + ";\n";
  s += "set datafile missing 'NaN';\n";
  if (!chart.title.empty()) s += "set title " + gq(label_plain(chart.title)) + " font ',13';\n";
  s += "set xlabel " + gq(label_plain(chart.xlabel)) + ";\nset ylabel " + gq(label_plain(chart.ylabel)) + ";\n";
  if (chart.layout.angle != 0) s += "set xtics rotate by " + std::to_string(chart.layout.angle) + " right;\n";
  const std::size_t cols = width_of(chart);
  if (is_matrix_type(chart.type)) {
    const std::size_t rows = chart.data.size();
    double lo = 0, hi = 1;
    const bool any = finite_range(chart.data, &lo, &hi);
    const bool categorical = !chart.value_labels.empty();
    if (categorical) {
      std::vector<std::string> colours;
      for (std::size_t k = 0; k < chart.value_labels.size(); ++k) colours.push_back(category_colour(chart, k));
      s += gnuplot_palette_line(colours);
      s += "set palette maxcolors " + std::to_string(colours.size()) + ";\n";
      s += "set cbrange [-0.5:" + num(colours.size() - 0.5) + "];\nset cbtics (";
      for (std::size_t k = 0; k < chart.value_labels.size(); ++k)
        s += (k ? ", " : "") + gq(label_plain(chart.value_labels[k])) + " " + std::to_string(k);
      s += ");\n";
    } else if (any && lo < 0 && hi > 0) {
      const double m = std::max(-lo, hi);
      s += "set palette defined (-1 '#2166AC', -0.5 '#67A9CF', 0 '#F7F7F7', 0.5 '#EF8A62', 1 '#B2182B');\n";
      s += "set cbrange [" + num(-m) + ":" + num(m) + "];\n";
    } else {
      s += "set palette defined (0 '#440154', 0.25 '#3B528B', 0.5 '#21908C', 0.75 '#5DC863', 1 '#FDE725');\n";
      if (any && hi > lo) s += "set cbrange [" + num(lo) + ":" + num(hi) + "];\n";
    }
    if (!chart.legend_low.empty() || !chart.legend_high.empty())
      s += "set cblabel " + gq(label_plain(chart.legend_low + " to " + chart.legend_high)) + ";\n";
    s += "set xrange [-0.5:" + num(cols - 0.5) + "];\nset yrange [" + num(rows - 0.5) + ":-0.5];\n";
    const std::vector<std::string> xn = names_or_numbers(chart.col_labels, cols), yn = names_or_numbers(chart.row_labels, rows);
    std::string xt = "set xtics (", yt = "set ytics (";
    const std::size_t sx = label_stride(cols, 40), sy = label_stride(rows, 40);
    for (std::size_t k = 0; k < cols; k += sx) xt += (k ? ", " : "") + gq(xn[k]) + " " + std::to_string(k);
    for (std::size_t k = 0; k < rows; k += sy) yt += (k ? ", " : "") + gq(yn[k]) + " " + std::to_string(k);
    s += xt + ") font ',9';\n" + yt + ") font ',9';\n";
    s += "set size ratio -1;\nunset key;\n";
    if (chart.type == "mtx_3col") {
      s += "$cells << EOD\n";
      for (std::size_t r = 0; r < rows; ++r)
        for (std::size_t c = 0; c < chart.data[r].size(); ++c)
          if (std::isfinite(chart.data[r][c]) && chart.data[r][c] != 0)
            s += std::to_string(c) + " " + std::to_string(r) + " " + num(chart.data[r][c]) + "\n";
      s += "EOD\nset grid front lc rgb '#dddddd';\n" + chart.script_extra;
      s += "plot $cells using 1:2:3 with points pt 5 ps " + std::string(rows > 200 ? "0.3" : "0.8") + " lc palette;\n";
    } else {
      s += "$cells << EOD\n";
      for (std::size_t r = 0; r < rows; ++r) {
        for (std::size_t c = 0; c < cols; ++c) s += (c ? " " : "") + num(cell(chart, r, c));
        s += "\n";
      }
      s += "EOD\n" + chart.script_extra + "plot $cells matrix with image;\n";
    }
    return s;
  }
  const bool single = cols == 1;
  const std::size_t nseries = single ? 1 : (cols ? cols - 1 : 0);
  const std::vector<std::string> names = series_names(chart, nseries);
  s += "set grid lc rgb '#e0e0e0';\n";
  if (chart.legend && nseries > 1) s += "set key outside right top;\n";
  else s += "unset key;\n";
  if (chart.xlog && chart.type != "bar") s += "set logscale x;\n";
  if (chart.ylog) s += "set logscale y;\n";
  s += "$values << EOD\n";
  for (std::size_t r = 0; r < chart.data.size(); ++r) {
    if (chart.type == "bar") {
      std::string label = r < chart.row_labels.size() ? label_plain(chart.row_labels[r])
                          : single ? std::to_string(r + 1)
                                   : num(cell(chart, r, 0));
      std::replace(label.begin(), label.end(), '"', '\'');
      s += "\"" + label + "\"";
    } else {
      s += single ? std::to_string(r + 1) : num(cell(chart, r, 0));
    }
    for (std::size_t k = 0; k < nseries; ++k) s += " " + num(cell(chart, r, single ? 0 : k + 1));
    s += "\n";
  }
  s += "EOD\n";
  const auto& palette = series_palette();
  if (chart.type == "bar") {
    const std::size_t stride = label_stride(chart.data.size(), 40);
    s += "set style data histograms;\nset style histogram clustered gap 1;\nset style fill solid 0.9 noborder;\n";
    s += chart.script_extra;
    s += "plot ";
    for (std::size_t k = 0; k < nseries; ++k) {
      s += (k ? ", '' using " : "$values using ") + std::to_string(k + 2);
      if (k == 0) s += ":xtic(int($0) % " + std::to_string(stride) + " == 0 ? stringcolumn(1) : '')";
      s += " lc rgb '" + palette[k % palette.size()] + "' title " + gq(names[k]);
    }
    return s + ";\n";
  }
  s += chart.script_extra + "plot ";
  for (std::size_t k = 0; k < nseries; ++k) {
    s += (k ? ", '' using 1:" : "$values using 1:") + std::to_string(k + 2);
    if (chart.type == "scatter") s += " with points pt 7 ps 0.6";
    else s += chart.markers ? " with linespoints pt 7 ps 0.4 lw 2" : " with lines lw 2";
    s += " lc rgb '" + palette[k % palette.size()] + "' title " + gq(names[k]);
  }
  return s + ";\n";
}

namespace {

// ------------------------------------------------------------ python
std::string pq(const std::string& text) {  // Python string literal
  std::string out = "\"";
  for (const char c : text) {
    if (c == '\\' || c == '"') out += '\\';
    if (c == '\n') out += "\\n";
    else if (c != '\r') out += c;
  }
  return out + "\"";
}

std::string py_list(const std::vector<std::string>& items) {
  std::string out = "[";
  for (std::size_t k = 0; k < items.size(); ++k) out += (k ? ", " : "") + pq(items[k]);
  return out + "]";
}

std::string py_number(double v) { return std::isfinite(v) ? num(v) : "nan"; }

}  // namespace

std::string python_script(const Chart& chart, const std::string& png) {
  std::string s = "# " + label_plain(chart.title.empty() ? chart.type + " chart" : chart.title) +
                  " (python3 with matplotlib; the data follow inline)\n";
  s += "import os\nimport matplotlib\nmatplotlib.use(\"Agg\")\nimport matplotlib.pyplot as plt\n";
  s += "from matplotlib.colors import ListedColormap, BoundaryNorm, LinearSegmentedColormap\n\n";
  s += "nan = float(\"nan\")\n";
  s += "here = os.path.dirname(os.path.abspath(__file__))\n";
  s += "data = [\n";
  for (const auto& row : chart.data) {
    s += "    [";
    for (std::size_t c = 0; c < row.size(); ++c) s += (c ? ", " : "") + py_number(row[c]);
    s += "],\n";
  }
  s += "]\n";
  const std::size_t cols = width_of(chart);
  const int w = image_width(chart), h = image_height(chart);
  s += "fig, ax = plt.subplots(figsize=(" + num(std::min(40.0, w / 100.0)) + ", " + num(std::min(40.0, h / 100.0)) + "), dpi=100)\n";
  if (is_matrix_type(chart.type)) {
    const std::size_t rows = chart.data.size();
    s += "cols = " + std::to_string(cols) + "\n";
    s += "grid = [row + [nan] * (cols - len(row)) for row in data]\n";
    s += "xnames = " + py_list(names_or_numbers(chart.col_labels, cols)) + "\n";
    s += "ynames = " + py_list(names_or_numbers(chart.row_labels, rows)) + "\n";
    if (!chart.value_labels.empty()) {
      std::vector<std::string> colours, labels;
      for (std::size_t k = 0; k < chart.value_labels.size(); ++k) {
        colours.push_back(category_colour(chart, k));
        labels.push_back(label_plain(chart.value_labels[k]));
      }
      s += "cmap = ListedColormap(" + py_list(colours) + ")\n";
      s += "norm = BoundaryNorm([k - 0.5 for k in range(" + std::to_string(colours.size() + 1) + ")], cmap.N)\n";
      s += "image = ax.imshow(grid, aspect=\"auto\", interpolation=\"nearest\", cmap=cmap, norm=norm)\n";
      s += "bar = fig.colorbar(image, ax=ax, ticks=range(" + std::to_string(colours.size()) + "))\n";
      s += "bar.ax.set_yticklabels(" + py_list(labels) + ")\n";
    } else {
      double lo = 0, hi = 1;
      const bool any = finite_range(chart.data, &lo, &hi);
      if (any && lo < 0 && hi > 0) {
        const double m = std::max(-lo, hi);
        s += "image = ax.imshow(grid, aspect=\"auto\", interpolation=\"nearest\", cmap=\"RdBu_r\", vmin=" + num(-m) +
             ", vmax=" + num(m) + ")\n";
      } else {
        s += "image = ax.imshow(grid, aspect=\"auto\", interpolation=\"nearest\", cmap=\"viridis\")\n";
      }
      s += "bar = fig.colorbar(image, ax=ax)\n";
      if (!chart.legend_low.empty() || !chart.legend_high.empty())
        s += "bar.set_label(" + pq(label_plain(chart.legend_low + " to " + chart.legend_high)) + ")\n";
    }
    s += "xs = max(1, (cols + 39) // 40)\nys = max(1, (len(ynames) + 39) // 40)\n";
    s += "ax.set_xticks(range(0, cols, xs))\nax.set_xticklabels(xnames[::xs], rotation=90, fontsize=8)\n";
    s += "ax.set_yticks(range(0, len(ynames), ys))\nax.set_yticklabels(ynames[::ys], fontsize=8)\n";
  } else {
    const bool single = cols == 1;
    const std::size_t nseries = single ? 1 : (cols ? cols - 1 : 0);
    s += "names = " + py_list(series_names(chart, nseries)) + "\n";
    s += "colours = " + py_list(series_palette()) + "\n";
    if (single) s += "xs = list(range(1, len(data) + 1))\nseries = [[row[0] if row else nan for row in data]]\n";
    else {
      s += "xs = [row[0] if row else nan for row in data]\n";
      s += "series = [[row[k] if k < len(row) else nan for row in data] for k in range(1, " + std::to_string(cols) + ")]\n";
    }
    if (chart.type == "bar") {
      std::vector<std::string> labels;
      for (std::size_t r = 0; r < chart.data.size(); ++r)
        labels.push_back(r < chart.row_labels.size() ? label_plain(chart.row_labels[r])
                         : single                     ? std::to_string(r + 1)
                                                      : num(cell(chart, r, 0)));
      s += "labels = " + py_list(labels) + "\n";
      s += "width = 0.8 / len(series)\n";
      s += "for k, ys in enumerate(series):\n";
      s += "    ax.bar([i + (k - (len(series) - 1) / 2) * width for i in range(len(ys))], ys, width=width, "
           "color=colours[k % len(colours)], label=names[k])\n";
      s += "step = max(1, (len(labels) + 39) // 40)\n";
      s += "ax.set_xticks(range(0, len(labels), step))\n";
      s += "ax.set_xticklabels(labels[::step], rotation=" + std::to_string(chart.layout.angle == 0 ? 0 : 90) + ", fontsize=8)\n";
    } else {
      s += "for k, ys in enumerate(series):\n";
      if (chart.type == "scatter")
        s += "    ax.scatter(xs, ys, s=14, alpha=0.6, color=colours[k % len(colours)], label=names[k])\n";
      else
        s += std::string("    ax.plot(xs, ys, linewidth=1.8, ") + (chart.markers ? "marker=\"o\", markersize=3, " : "") +
             "color=colours[k % len(colours)], label=names[k])\n";
      if (chart.xlog) s += "ax.set_xscale(\"log\")\n";
    }
    if (chart.ylog) s += "ax.set_yscale(\"log\")\n";
    s += "ax.grid(True, color=\"#e0e0e0\")\nax.set_axisbelow(True)\n";
    if (chart.legend && nseries > 1) s += "ax.legend(loc=\"center left\", bbox_to_anchor=(1.01, 0.5), frameon=False)\n";
  }
  s += "ax.set_title(" + pq(label_plain(chart.title)) + ")\n";
  s += "ax.set_xlabel(" + pq(label_plain(chart.xlabel)) + ")\n";
  s += "ax.set_ylabel(" + pq(label_plain(chart.ylabel)) + ")\n";
  s += "fig.tight_layout()\n";
  s += "fig.savefig(os.path.join(here, " + pq(png) + "))\n";
  return s;
}

namespace {

// ------------------------------------------------------------ R
std::string rq(const std::string& text) { return "\"" + [&] {
    std::string out;
    for (const char c : text) {
      if (c == '\\' || c == '"') out += '\\';
      if (c == '\n') out += "\\n";
      else if (c != '\r') out += c;
    }
    return out;
  }() + "\""; }

std::string r_vector(const std::vector<std::string>& items) {
  std::string out = "c(";
  for (std::size_t k = 0; k < items.size(); ++k) out += (k ? ", " : "") + rq(items[k]);
  return out + ")";
}

std::string r_number(double v) { return std::isfinite(v) ? num(v) : "NA"; }

}  // namespace

std::string r_script(const Chart& chart, const std::string& png) {
  std::string s = "# " + label_plain(chart.title.empty() ? chart.type + " chart" : chart.title) +
                  " (R; the data follow inline)\n";
  s += "args <- commandArgs(trailingOnly = FALSE)\n";
  s += "script <- sub(\"^--file=\", \"\", args[grep(\"^--file=\", args)])\n";
  s += "here <- if (length(script) == 1) dirname(normalizePath(script)) else getwd()\n";
  const std::size_t rows = chart.data.size(), cols = std::max<std::size_t>(width_of(chart), 1);
  s += "values <- matrix(c(";
  for (std::size_t r = 0; r < rows; ++r)
    for (std::size_t c = 0; c < cols; ++c) s += ((r || c) ? (c ? ", " : ",\n  ") : "") + r_number(cell(chart, r, c));
  s += "), nrow = " + std::to_string(rows) + ", ncol = " + std::to_string(cols) + ", byrow = TRUE)\n";
  const int w = image_width(chart), h = image_height(chart);
  s += "png(file.path(here, " + rq(png) + "), width = " + std::to_string(std::min(w, 4000)) + ", height = " +
       std::to_string(std::min(h, 4000)) + ", res = 100)\n";
  const std::string main = rq(label_plain(chart.title)), xl = rq(label_plain(chart.xlabel)), yl = rq(label_plain(chart.ylabel));
  if (is_matrix_type(chart.type)) {
    s += "par(mar = c(6, 6, 4, 8))\n";
    s += "xnames <- " + r_vector(names_or_numbers(chart.col_labels, cols)) + "\n";
    s += "ynames <- " + r_vector(names_or_numbers(chart.row_labels, rows)) + "\n";
    if (!chart.value_labels.empty()) {
      std::vector<std::string> colours, labels;
      for (std::size_t k = 0; k < chart.value_labels.size(); ++k) {
        colours.push_back(category_colour(chart, k));
        labels.push_back(label_plain(chart.value_labels[k]));
      }
      s += "colours <- " + r_vector(colours) + "\n";
      s += "image(1:ncol(values), 1:nrow(values), t(values[nrow(values):1, , drop = FALSE]), col = colours, "
           "breaks = seq(-0.5, length(colours) - 0.5), axes = FALSE, main = " + main + ", xlab = " + xl + ", ylab = " + yl + ")\n";
      s += "legend(\"topright\", inset = c(-0.12, 0), xpd = TRUE, fill = colours, legend = " + r_vector(labels) +
           ", cex = 0.7, bty = \"n\")\n";
    } else {
      s += "range <- range(values, na.rm = TRUE)\n";
      s += "if (!all(is.finite(range))) range <- c(0, 1)\n";
      s += "if (range[1] < 0 && range[2] > 0) { m <- max(abs(range)); range <- c(-m, m); colours <- hcl.colors(64, \"Blue-Red 3\") } "
           "else colours <- hcl.colors(64, \"viridis\")\n";
      s += "if (range[1] == range[2]) range <- range + c(-0.5, 0.5)\n";
      s += "image(1:ncol(values), 1:nrow(values), t(values[nrow(values):1, , drop = FALSE]), col = colours, zlim = range, "
           "axes = FALSE, main = " + main + ", xlab = " + xl + ", ylab = " + yl + ")\n";
      s += "legend(\"topright\", inset = c(-0.14, 0), xpd = TRUE, fill = colours[c(64, 43, 22, 1)], legend = "
           "signif(seq(range[2], range[1], length.out = 4), 3), title = " +
           rq(label_plain(chart.legend_high.empty() ? "" : chart.legend_high)) + ", cex = 0.75, bty = \"n\")\n";
    }
    s += "xs <- seq(1, ncol(values), by = max(1, ceiling(ncol(values) / 40)))\n";
    s += "ys <- seq(1, nrow(values), by = max(1, ceiling(nrow(values) / 40)))\n";
    s += "axis(1, at = xs, labels = xnames[xs], las = 2, cex.axis = 0.7)\n";
    s += "axis(2, at = nrow(values) + 1 - ys, labels = ynames[ys], las = 1, cex.axis = 0.7)\n";
    s += "box()\n";
  } else {
    const bool single = width_of(chart) == 1;
    const std::size_t nseries = single ? 1 : cols - 1;
    s += "names <- " + r_vector(series_names(chart, nseries)) + "\n";
    s += "colours <- " + r_vector(series_palette()) + "\n";
    s += "colours <- rep(colours, length.out = " + std::to_string(nseries) + ")\n";
    if (single) s += "x <- seq_len(nrow(values))\ny <- values[, 1, drop = FALSE]\n";
    else s += "x <- values[, 1]\ny <- values[, -1, drop = FALSE]\n";
    s += "par(mar = c(5, 5, 4, " + std::string(nseries > 1 && chart.legend ? "9" : "2") + "), xpd = FALSE)\n";
    if (chart.type == "bar") {
      std::vector<std::string> labels;
      for (std::size_t r = 0; r < rows; ++r)
        labels.push_back(r < chart.row_labels.size() ? label_plain(chart.row_labels[r])
                         : single                     ? std::to_string(r + 1)
                                                      : num(cell(chart, r, 0)));
      s += "barplot(t(y), beside = TRUE, names.arg = " + r_vector(labels) + ", col = colours, border = NA, las = " +
           (chart.layout.angle == 0 ? "1" : "2") + ", cex.names = 0.7, main = " + main + ", xlab = " + xl + ", ylab = " + yl +
           (chart.ylog ? ", log = \"y\"" : "") + ")\n";
    } else {
      std::string log = std::string(chart.xlog ? "x" : "") + (chart.ylog ? "y" : "");
      if (!log.empty()) s += "y[y <= 0] <- NA\n";
      s += "matplot(x, y, type = \"" + std::string(chart.type == "scatter" ? "p" : chart.markers ? "o" : "l") +
           "\", lty = 1, lwd = 2, pch = 16, cex = 0.6, col = colours" + (log.empty() ? "" : ", log = \"" + log + "\"") +
           ", main = " + main + ", xlab = " + xl + ", ylab = " + yl + ")\n";
      s += "grid(col = \"#e0e0e0\")\n";
    }
    if (chart.legend && nseries > 1)
      s += std::string("par(xpd = TRUE)\nlegend(\"topright\", inset = c(-0.2, 0), legend = names, ") +
           (chart.type == "bar" ? "fill = colours, border = NA" : "col = colours, lwd = 2") + ", bty = \"n\")\n";
  }
  s += "invisible(dev.off())\n";
  return s;
}

}  // namespace tevo
