// The chart drawn as inline SVG: axes with round ticks, grid, legend, title,
// and for heat maps a colour bar. Large heat maps go in as one PNG picture.
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <set>

#include "report/chart.h"

namespace tevo {

namespace {

constexpr int kTick = 12, kLabel = 14, kTitle = 17;
constexpr const char* kFont = "DejaVu Sans, Helvetica, Arial, sans-serif";
constexpr std::size_t kRasterCells = 20000;  // above: the cells become one PNG
constexpr std::size_t kTooltipCells = 6000;  // above: no per-cell <title>
constexpr std::size_t kRasterSide = 2000;    // largest side of that PNG
// Smallest plot area: layout numbers below it would make charts unreadable.
constexpr int kMinWidth = 600, kMinHeight = 340;

std::string f2(double v) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.2f", v);
  std::string s = buffer;
  while (!s.empty() && s.back() == '0') s.pop_back();
  if (!s.empty() && s.back() == '.') s.pop_back();
  if (s == "-0") s = "0";
  return s;
}

std::string value_text(double v) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.6g", v);
  return buffer;
}

// Named entities that captions and labels use, as UTF-8.
const std::map<std::string, std::string>& entities() {
  static const std::map<std::string, std::string> table = {
      {"Aring", "\xC3\x85"}, {"alpha", "\xCE\xB1"}, {"beta", "\xCE\xB2"},  {"gamma", "\xCE\xB3"},
      {"delta", "\xCE\xB4"}, {"Delta", "\xCE\x94"}, {"theta", "\xCE\xB8"}, {"lambda", "\xCE\xBB"},
      {"mu", "\xCE\xBC"},    {"sigma", "\xCF\x83"}, {"deg", "\xC2\xB0"},   {"plusmn", "\xC2\xB1"},
      {"times", "\xC3\x97"}, {"minus", "\xE2\x88\x92"}, {"nbsp", " "},     {"amp", "&"},
      {"lt", "<"},           {"gt", ">"},           {"quot", "\""},         {"apos", "'"}};
  return table;
}

std::string utf8(unsigned long code) {
  std::string out;
  if (code < 0x80) out += static_cast<char>(code);
  else if (code < 0x800) {
    out += static_cast<char>(0xC0 | (code >> 6));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    out += static_cast<char>(0xE0 | (code >> 12));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x110000) {
    out += static_cast<char>(0xF0 | (code >> 18));
    out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  }
  return out;
}

// Splits a label into plain runs and <sub>/<sup> runs, entities decoded.
struct Run {
  std::string text;
  int shift;  // 0 normal, -1 sub, 1 sup
};

std::vector<Run> label_runs(const std::string& label) {
  std::vector<Run> runs(1, Run{"", 0});
  int shift = 0;
  std::size_t i = 0;
  while (i < label.size()) {
    if (label[i] == '<') {
      const std::size_t close = label.find('>', i);
      if (close != std::string::npos) {
        const std::string tag = label.substr(i + 1, close - i - 1);
        int next = -2;
        if (tag == "sub") next = -1;
        else if (tag == "sup") next = 1;
        else if (tag == "/sub" || tag == "/sup") next = 0;
        else if (tag == "b" || tag == "/b" || tag == "i" || tag == "/i") next = shift;
        if (next != -2) {
          if (next != shift) {
            shift = next;
            runs.push_back(Run{"", shift});
          }
          i = close + 1;
          continue;
        }
      }
    } else if (label[i] == '&') {
      const std::size_t semi = label.find(';', i);
      if (semi != std::string::npos && semi - i <= 10) {
        const std::string name = label.substr(i + 1, semi - i - 1);
        std::string decoded;
        if (!name.empty() && name[0] == '#') {
          const bool hex = name.size() > 1 && (name[1] == 'x' || name[1] == 'X');
          char* end = nullptr;
          const unsigned long code = std::strtoul(name.c_str() + (hex ? 2 : 1), &end, hex ? 16 : 10);
          if (end && *end == '\0' && code > 0) decoded = utf8(code);
        } else {
          const auto it = entities().find(name);
          if (it != entities().end()) decoded = it->second;
        }
        if (!decoded.empty()) {
          runs.back().text += decoded;
          i = semi + 1;
          continue;
        }
      }
    }
    runs.back().text += label[i];
    ++i;
  }
  return runs;
}

std::size_t glyphs(const std::string& text) {
  std::size_t n = 0;
  for (const char c : text)
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++n;
  return n;
}

}  // namespace

// Plain text of a label: markup removed, entities decoded.
std::string label_plain(const std::string& label) {
  std::string out;
  for (const Run& run : label_runs(label)) out += run.text;
  return out;
}

namespace {

// Width of a label in pixels at a font size (DejaVu Sans averages ~0.6 em).
double text_width(const std::string& label, int size) {
  double w = 0;
  for (const Run& run : label_runs(label)) w += glyphs(run.text) * size * (run.shift ? 0.45 : 0.6);
  return w;
}

// The label as SVG text content: escaped, with sub/superscript spans.
std::string svg_label(const std::string& label) {
  std::string out;
  for (const Run& run : label_runs(label)) {
    if (run.text.empty()) continue;
    if (run.shift == 0) out += xml_escape(run.text);
    else
      out += std::string("<tspan font-size=\"75%\" baseline-shift=\"") + (run.shift < 0 ? "sub" : "super") +
             "\">" + xml_escape(run.text) + "</tspan>";
  }
  return out;
}

std::string text_at(double x, double y, const std::string& label, int size, const char* anchor,
                    double angle = 0, const char* extra = "") {
  std::string out = "<text x=\"" + f2(x) + "\" y=\"" + f2(y) + "\" font-size=\"" + std::to_string(size) +
                    "\" text-anchor=\"" + anchor + "\"";
  if (angle != 0) out += " transform=\"rotate(" + f2(angle) + " " + f2(x) + " " + f2(y) + ")\"";
  out += std::string(extra) + ">" + svg_label(label) + "</text>\n";
  return out;
}

// ---------------------------------------------------------------- PNG
void put32(std::string& out, unsigned long v) {
  for (int s = 24; s >= 0; s -= 8) out += static_cast<char>((v >> s) & 255);
}

void png_chunk(std::string& out, const char* type, const std::string& data) {
  put32(out, data.size());
  std::string body = std::string(type, 4) + data;
  out += body;
  put32(out, crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size())));
}

std::string png_rgb(const unsigned char* rgb, int width, int height) {
  std::string raw;
  raw.reserve(static_cast<std::size_t>(height) * (3 * width + 1));
  for (int y = 0; y < height; ++y) {
    raw += '\0';  // filter: none
    raw.append(reinterpret_cast<const char*>(rgb + static_cast<std::size_t>(y) * width * 3), 3 * width);
  }
  uLongf size = compressBound(raw.size());
  std::string packed(size, '\0');
  compress2(reinterpret_cast<Bytef*>(&packed[0]), &size, reinterpret_cast<const Bytef*>(raw.data()), raw.size(), 6);
  packed.resize(size);
  std::string out = "\x89PNG\r\n\x1a\n";
  std::string header;
  put32(header, width);
  put32(header, height);
  header += std::string("\x08\x02\x00\x00\x00", 5);  // 8 bits, RGB
  png_chunk(out, "IHDR", header);
  png_chunk(out, "IDAT", packed);
  png_chunk(out, "IEND", "");
  return out;
}

std::string base64(const std::string& bytes) {
  static const char* table = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  std::size_t i = 0;
  for (; i + 2 < bytes.size(); i += 3) {
    const unsigned v = (static_cast<unsigned char>(bytes[i]) << 16) | (static_cast<unsigned char>(bytes[i + 1]) << 8) |
                       static_cast<unsigned char>(bytes[i + 2]);
    for (int s = 18; s >= 0; s -= 6) out += table[(v >> s) & 63];
  }
  if (i < bytes.size()) {
    unsigned v = static_cast<unsigned char>(bytes[i]) << 16;
    if (i + 1 < bytes.size()) v |= static_cast<unsigned char>(bytes[i + 1]) << 8;
    out += table[(v >> 18) & 63];
    out += table[(v >> 12) & 63];
    out += i + 1 < bytes.size() ? table[(v >> 6) & 63] : '=';
    out += '=';
  }
  return out;
}

// ---------------------------------------------------------------- frame
struct Frame {
  double left = 0, top = 0, width = 0, height = 0;  // plot area
  double total_width = 0, total_height = 0;
};

struct Axis {
  double lo = 0, hi = 1;
  bool log = false;
  std::vector<double> ticks;
  std::vector<std::string> labels;
  double map(double v, double from, double to) const {
    if (log) {
      v = std::log10(v);
      const double a = std::log10(lo), b = std::log10(hi);
      return from + (v - a) / (b - a) * (to - from);
    }
    return from + (v - lo) / (hi - lo) * (to - from);
  }
};

Axis make_axis(double lo, double hi, bool log, int target) {
  Axis axis;
  axis.log = log && lo > 0;
  if (axis.log) {
    if (hi <= lo) hi = lo * 10;
    axis.ticks = log_ticks(lo, hi);
    // widen to whole decades so the ends carry labels
    axis.lo = std::pow(10.0, std::floor(std::log10(lo) + 1e-9));
    axis.hi = std::pow(10.0, std::ceil(std::log10(hi) - 1e-9));
    if (axis.hi <= axis.lo) axis.hi = axis.lo * 10;
    axis.ticks = log_ticks(axis.lo, axis.hi);
    for (const double t : axis.ticks) axis.labels.push_back(tick_label(t, t));
    return axis;
  }
  double step = 1;
  axis.ticks = nice_ticks(lo, hi, target, &step);
  if (axis.ticks.empty()) axis.ticks = {lo};
  axis.lo = std::min(lo, axis.ticks.front());
  axis.hi = std::max(hi, axis.ticks.back());
  // extend to the enclosing ticks so the frame ends on round values
  if (axis.ticks.front() > lo) axis.ticks.insert(axis.ticks.begin(), axis.ticks.front() - step);
  if (axis.ticks.back() < hi) axis.ticks.push_back(axis.ticks.back() + step);
  axis.lo = axis.ticks.front();
  axis.hi = axis.ticks.back();
  if (axis.hi == axis.lo) axis.hi = axis.lo + 1;
  for (const double t : axis.ticks) axis.labels.push_back(tick_label(t, step));
  return axis;
}

double widest(const std::vector<std::string>& labels, int size) {
  double w = 0;
  for (const auto& l : labels) w = std::max(w, text_width(l, size));
  return w;
}

int clamp_int(int v, int lo, int hi) { return std::max(lo, std::min(hi, v)); }

// Leaves room for title, tick labels, axis titles and a legend of `legend_width`.
Frame make_frame(const Chart& chart, double ytick_width, double xtick_width, double legend_width) {
  const ChartLayout& L = chart.layout;
  Frame f;
  f.width = clamp_int(L.width, kMinWidth, 6000);
  f.height = clamp_int(L.height, kMinHeight, 4000);
  const double a = std::fabs(L.angle) * M_PI / 180;
  const double xtick_height = xtick_width * std::sin(a) + kTick * std::cos(a);
  f.left = std::max<double>(L.left, ytick_width + 12 + (chart.ylabel.empty() ? 0 : kLabel + 14));
  f.top = std::max<double>(L.top, chart.title.empty() ? 14 : kTitle + 22);
  const double bottom = std::max<double>(L.bottom, xtick_height + 16 + (chart.xlabel.empty() ? 0 : kLabel + 14));
  const double right = std::max<double>(L.right, 16) + legend_width;
  f.total_width = f.left + f.width + right;
  f.total_height = f.top + f.height + bottom;
  return f;
}

std::string svg_open(const Frame& f) {
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + f2(f.total_width) + "\" height=\"" +
         f2(f.total_height) + "\" viewBox=\"0 0 " + f2(f.total_width) + " " + f2(f.total_height) +
         "\" font-family=\"" + kFont + "\" role=\"img\">\n<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
}

std::string titles(const Chart& chart, const Frame& f, double xtick_height) {
  std::string out;
  if (!chart.title.empty())
    out += text_at(f.left + f.width / 2, kTitle + 8, chart.title, kTitle, "middle", 0, " font-weight=\"bold\"");
  if (!chart.xlabel.empty())
    out += text_at(f.left + f.width / 2, f.top + f.height + xtick_height + 14 + kLabel, chart.xlabel, kLabel, "middle");
  if (!chart.ylabel.empty())
    out += text_at(14 + kLabel * 0.5, f.top + f.height / 2, chart.ylabel, kLabel, "middle", -90);
  return out;
}

std::string y_axis(const Axis& y, const Frame& f, bool grid) {
  std::string out = "<g class=\"y-axis\" font-size=\"" + std::to_string(kTick) + "\">\n";
  for (std::size_t k = 0; k < y.ticks.size(); ++k) {
    const double py = y.map(y.ticks[k], f.top + f.height, f.top);
    if (grid)
      out += "<line x1=\"" + f2(f.left) + "\" x2=\"" + f2(f.left + f.width) + "\" y1=\"" + f2(py) + "\" y2=\"" +
             f2(py) + "\" stroke=\"#e3e3e3\"/>\n";
    out += "<line x1=\"" + f2(f.left - 5) + "\" x2=\"" + f2(f.left) + "\" y1=\"" + f2(py) + "\" y2=\"" + f2(py) +
           "\" stroke=\"#333\"/>\n";
    out += text_at(f.left - 8, py + kTick * 0.35, y.labels[k], kTick, "end");
  }
  return out + "</g>\n";
}

// Tick labels under the x axis at pixel positions; rotated by the layout angle.
std::string x_labels(const std::vector<std::pair<double, std::string>>& marks, const Frame& f, int angle, bool grid) {
  std::string out = "<g class=\"x-axis\" font-size=\"" + std::to_string(kTick) + "\">\n";
  const double base = f.top + f.height;
  for (const auto& mark : marks) {
    if (grid)
      out += "<line x1=\"" + f2(mark.first) + "\" x2=\"" + f2(mark.first) + "\" y1=\"" + f2(f.top) + "\" y2=\"" +
             f2(base) + "\" stroke=\"#efefef\"/>\n";
    out += "<line x1=\"" + f2(mark.first) + "\" x2=\"" + f2(mark.first) + "\" y1=\"" + f2(base) + "\" y2=\"" +
           f2(base + 5) + "\" stroke=\"#333\"/>\n";
    if (angle == 0) out += text_at(mark.first, base + 8 + kTick, mark.second, kTick, "middle");
    else out += text_at(mark.first + kTick * 0.35, base + 9, mark.second, kTick, "end", angle);
  }
  return out + "</g>\n";
}

std::string frame_lines(const Frame& f) {
  return "<path d=\"M" + f2(f.left) + " " + f2(f.top) + "V" + f2(f.top + f.height) + "H" + f2(f.left + f.width) +
         "\" fill=\"none\" stroke=\"#333\" stroke-width=\"1.2\"/>\n";
}

std::string legend_box(const std::vector<std::string>& names, const std::vector<std::string>& colours, double x,
                       double y, bool points) {
  std::string out = "<g class=\"legend\" font-size=\"" + std::to_string(kTick) + "\">\n";
  for (std::size_t k = 0; k < names.size(); ++k) {
    const double yy = y + k * (kTick + 8);
    if (points)
      out += "<circle cx=\"" + f2(x + 8) + "\" cy=\"" + f2(yy) + "\" r=\"4.5\" fill=\"" + colours[k] + "\"/>\n";
    else
      out += "<rect x=\"" + f2(x) + "\" y=\"" + f2(yy - 4) + "\" width=\"16\" height=\"8\" fill=\"" + colours[k] +
             "\"/>\n";
    out += text_at(x + 22, yy + kTick * 0.35, names[k], kTick, "start");
  }
  return out + "</g>\n";
}

double tick_extent(const std::vector<std::string>& labels, int angle) {
  return angle == 0 ? 0 : widest(labels, kTick);
}

// ---------------------------------------------------------------- line, scatter
// A run with far more points than pixel columns keeps, per column, its
// first, lowest, highest and last point: the drawn line looks the same
// (the "M4" reduction of Jugel et al., VLDB 2014). Runs whose x goes back
// are left whole.
void decimate(std::vector<std::pair<double, double>>& run) {
  if (run.size() < 4000) return;
  for (std::size_t k = 1; k < run.size(); ++k)
    if (run[k].first < run[k - 1].first) return;
  std::vector<std::pair<double, double>> kept;
  std::size_t start = 0;
  while (start < run.size()) {
    const double column = std::floor(run[start].first);
    std::size_t end = start, low = start, high = start;
    while (end < run.size() && std::floor(run[end].first) == column) {
      if (run[end].second < run[low].second) low = end;
      if (run[end].second > run[high].second) high = end;
      ++end;
    }
    std::size_t picks[4] = {start, std::min(low, high), std::max(low, high), end - 1};
    for (int p = 0; p < 4; ++p)
      if (p == 0 || picks[p] != picks[p - 1]) kept.push_back(run[picks[p]]);
    start = end;
  }
  run.swap(kept);
}

std::string xy_chart(const Chart& chart) {
  const bool scatter = chart.type == "scatter";
  std::size_t cols = 0;
  for (const auto& row : chart.data) cols = std::max(cols, row.size());
  const bool single = cols == 1;  // one column: values against their position
  const std::size_t nseries = single ? 1 : (cols > 0 ? cols - 1 : 0);
  auto xv = [&](std::size_t r) { return single ? static_cast<double>(r + 1) : chart.data[r][0]; };
  auto yv = [&](std::size_t r, std::size_t s) {
    const std::size_t c = single ? 0 : s + 1;
    return c < chart.data[r].size() ? chart.data[r][c] : NAN;
  };
  auto usable = [](double v, bool log) { return std::isfinite(v) && (!log || v > 0); };
  double xlo = INFINITY, xhi = -INFINITY, ylo = INFINITY, yhi = -INFINITY;
  for (std::size_t r = 0; r < chart.data.size(); ++r) {
    const double x = chart.data[r].empty() ? NAN : xv(r);
    if (!usable(x, chart.xlog)) continue;
    for (std::size_t s = 0; s < nseries; ++s) {
      const double y = yv(r, s);
      if (!usable(y, chart.ylog)) continue;
      xlo = std::min(xlo, x), xhi = std::max(xhi, x), ylo = std::min(ylo, y), yhi = std::max(yhi, y);
    }
  }
  const bool empty = !(xlo <= xhi);
  if (empty) xlo = 0, xhi = 1, ylo = 0, yhi = 1;
  const bool xlog = chart.xlog && !empty, ylog = chart.ylog && !empty;
  const Axis x = make_axis(xlo, xhi, xlog, 8);
  const Axis y = make_axis(ylo, yhi, ylog, 7);

  std::vector<std::string> names, colours;
  std::vector<int> group_of_row;
  const bool grouped = scatter && !chart.groups.empty();
  if (grouped) {
    std::map<std::string, int> index;
    for (std::size_t r = 0; r < chart.data.size(); ++r) {
      const std::string g = r < chart.groups.size() ? chart.groups[r] : "";
      auto it = index.find(g);
      if (it == index.end()) {
        it = index.emplace(g, static_cast<int>(names.size())).first;
        names.push_back(g.empty() ? "(none)" : g);
      }
      group_of_row.push_back(it->second);
    }
  } else {
    for (std::size_t s = 0; s < nseries; ++s)
      names.push_back(s < chart.series.size() && !chart.series[s].empty() ? chart.series[s]
                                                                         : (nseries == 1 && !chart.ylabel.empty()
                                                                                ? chart.ylabel
                                                                                : "series " + std::to_string(s + 1)));
  }
  for (std::size_t k = 0; k < names.size(); ++k) colours.push_back(series_palette()[k % series_palette().size()]);
  const bool legend = chart.legend && names.size() > 1;
  const double legend_width = legend ? widest(names, kTick) + 40 : 0;
  Frame f = make_frame(chart, widest(y.labels, kTick), tick_extent(x.labels, chart.layout.angle), legend_width);

  std::string out = svg_open(f);
  out += y_axis(y, f, true);
  std::vector<std::pair<double, std::string>> marks;
  for (std::size_t k = 0; k < x.ticks.size(); ++k) marks.emplace_back(x.map(x.ticks[k], f.left, f.left + f.width), x.labels[k]);
  out += x_labels(marks, f, chart.layout.angle, true);
  out += "<g class=\"data\" clip-path=\"none\">\n";
  auto px = [&](double v) { return x.map(v, f.left, f.left + f.width); };
  auto py = [&](double v) { return y.map(v, f.top + f.height, f.top); };
  const bool tooltips = chart.data.size() * nseries <= 2000;
  if (scatter) {
    for (std::size_t s = 0; s < nseries; ++s) {
      for (std::size_t r = 0; r < chart.data.size(); ++r) {
        if (chart.data[r].empty()) continue;
        const double xx = xv(r), yy = yv(r, s);
        if (!usable(xx, xlog) || !usable(yy, ylog)) continue;
        const std::string& colour = colours[grouped ? group_of_row[r] : s];
        out += "<circle cx=\"" + f2(px(xx)) + "\" cy=\"" + f2(py(yy)) + "\" r=\"4\" fill=\"" + colour +
               "\" fill-opacity=\"0.7\"";
        if (tooltips) out += "><title>" + xml_escape(value_text(xx) + ", " + value_text(yy)) + "</title></circle>\n";
        else out += "/>\n";
      }
    }
  } else {
    for (std::size_t s = 0; s < nseries; ++s) {
      // Runs of drawable points in screen coordinates; a gap starts a new run.
      std::vector<std::vector<std::pair<double, double>>> runs(1);
      for (std::size_t r = 0; r < chart.data.size(); ++r) {
        const double xx = chart.data[r].empty() ? NAN : xv(r), yy = chart.data[r].empty() ? NAN : yv(r, s);
        if (!usable(xx, xlog) || !usable(yy, ylog)) {
          if (!runs.back().empty()) runs.emplace_back();
          continue;
        }
        runs.back().emplace_back(px(xx), py(yy));
      }
      std::string path;
      for (auto& run : runs) {
        if (run.empty()) continue;
        decimate(run);
        for (std::size_t k = 0; k < run.size(); ++k) path += (k ? "L" : "M") + f2(run[k].first) + " " + f2(run[k].second);
      }
      out += "<path d=\"" + path + "\" fill=\"none\" stroke=\"" + colours[s] +
             "\" stroke-width=\"1.8\" stroke-linejoin=\"round\"><title>" + xml_escape(label_plain(names[s])) +
             "</title></path>\n";
      if (chart.markers)
        for (std::size_t r = 0; r < chart.data.size(); ++r) {
          if (chart.data[r].empty()) continue;
          const double xx = xv(r), yy = yv(r, s);
          if (usable(xx, xlog) && usable(yy, ylog))
            out += "<circle cx=\"" + f2(px(xx)) + "\" cy=\"" + f2(py(yy)) + "\" r=\"2.5\" fill=\"" + colours[s] + "\"/>\n";
        }
    }
  }
  out += "</g>\n" + frame_lines(f);
  const double xtick_height = chart.layout.angle == 0 ? kTick : tick_extent(x.labels, chart.layout.angle);
  out += titles(chart, f, xtick_height);
  if (legend) out += legend_box(names, colours, f.left + f.width + 24, f.top + 10, scatter);
  if (empty) out += text_at(f.left + f.width / 2, f.top + f.height / 2, "no data to draw", kLabel, "middle", 0, " fill=\"#888\"");
  return out + "</svg>\n";
}

// Thinned category labels so that they do not overlap.
std::vector<std::pair<double, std::string>> category_marks(const std::vector<std::string>& labels, double from,
                                                           double step, int angle) {
  std::vector<std::pair<double, std::string>> marks;
  if (labels.empty()) return marks;
  const double need = angle == 0 ? widest(labels, kTick) + 8 : kTick + 3;
  const std::size_t stride = std::max<std::size_t>(1, static_cast<std::size_t>(std::ceil(need / std::max(step, 1e-9))));
  for (std::size_t k = 0; k < labels.size(); k += stride) marks.emplace_back(from + (k + 0.5) * step, labels[k]);
  return marks;
}

// ---------------------------------------------------------------- bar
std::string bar_chart(const Chart& chart) {
  std::size_t cols = 0;
  for (const auto& row : chart.data) cols = std::max(cols, row.size());
  const bool single = cols == 1;
  const std::size_t nseries = single ? 1 : (cols > 0 ? cols - 1 : 0);
  const std::size_t n = chart.data.size();
  std::vector<std::string> categories;
  double cstep = 1;
  if (!single && n > 1) {
    std::vector<double> xs;
    for (const auto& row : chart.data) if (!row.empty() && std::isfinite(row[0])) xs.push_back(row[0]);
    if (xs.size() > 1) cstep = std::fabs(xs[1] - xs[0]);
  }
  for (std::size_t r = 0; r < n; ++r) {
    if (r < chart.row_labels.size()) categories.push_back(chart.row_labels[r]);
    else if (single || chart.data[r].empty()) categories.push_back(std::to_string(r + 1));
    else categories.push_back(tick_label(chart.data[r][0], cstep > 0 ? cstep : 1));
  }
  double lo = 0, hi = 0;
  bool any = false;
  for (std::size_t r = 0; r < n; ++r)
    for (std::size_t s = 0; s < nseries; ++s) {
      const std::size_t c = single ? 0 : s + 1;
      if (c >= chart.data[r].size() || !std::isfinite(chart.data[r][c])) continue;
      const double v = chart.data[r][c];
      if (chart.ylog && v <= 0) continue;
      lo = any ? std::min(lo, v) : v, hi = any ? std::max(hi, v) : v;
      any = true;
    }
  const bool ylog = chart.ylog && any && lo > 0;
  if (!ylog) lo = std::min(lo, 0.0), hi = std::max(hi, 0.0);
  if (!any) hi = 1;
  const Axis y = make_axis(lo, hi, ylog, 7);
  std::vector<std::string> names, colours;
  for (std::size_t s = 0; s < nseries; ++s) {
    names.push_back(s < chart.series.size() && !chart.series[s].empty() ? chart.series[s]
                    : nseries == 1 && !chart.ylabel.empty() ? chart.ylabel
                                                            : "series " + std::to_string(s + 1));
    colours.push_back(series_palette()[s % series_palette().size()]);
  }
  const bool legend = chart.legend && nseries > 1;
  const double legend_width = legend ? widest(names, kTick) + 40 : 0;
  Frame f = make_frame(chart, widest(y.labels, kTick), tick_extent(categories, chart.layout.angle), legend_width);
  std::string out = svg_open(f);
  out += y_axis(y, f, true);
  const double band = f.width / std::max<std::size_t>(n, 1);
  out += x_labels(category_marks(categories, f.left, band, chart.layout.angle), f, chart.layout.angle, false);
  const double inner = band * (n > 60 ? 0.9 : 0.78);
  const double bar = inner / std::max<std::size_t>(nseries, 1);
  const double base = ylog ? f.top + f.height : y.map(0, f.top + f.height, f.top);
  const bool tooltips = n * nseries <= 3000;
  out += "<g class=\"data\">\n";
  for (std::size_t r = 0; r < n; ++r)
    for (std::size_t s = 0; s < nseries; ++s) {
      const std::size_t c = single ? 0 : s + 1;
      if (c >= chart.data[r].size()) continue;
      const double v = chart.data[r][c];
      if (!std::isfinite(v) || (ylog && v <= 0)) continue;
      const double top = y.map(v, f.top + f.height, f.top);
      const double x0 = f.left + r * band + (band - inner) / 2 + s * bar;
      out += "<rect x=\"" + f2(x0) + "\" y=\"" + f2(std::min(top, base)) + "\" width=\"" + f2(std::max(bar, 0.5)) +
             "\" height=\"" + f2(std::fabs(base - top)) + "\" fill=\"" + colours[s] + "\"";
      if (tooltips)
        out += "><title>" + xml_escape(label_plain(categories[r]) + ": " + value_text(v)) + "</title></rect>\n";
      else out += "/>\n";
    }
  out += "</g>\n";
  if (!ylog && y.lo < 0)
    out += "<line x1=\"" + f2(f.left) + "\" x2=\"" + f2(f.left + f.width) + "\" y1=\"" + f2(base) + "\" y2=\"" + f2(base) +
           "\" stroke=\"#333\"/>\n";
  out += frame_lines(f);
  out += titles(chart, f, chart.layout.angle == 0 ? kTick : tick_extent(categories, chart.layout.angle));
  if (legend) out += legend_box(names, colours, f.left + f.width + 24, f.top + 10, false);
  return out + "</svg>\n";
}

// ---------------------------------------------------------------- heat map
std::vector<std::string> axis_names(const std::vector<std::string>& given, std::size_t n) {
  std::vector<std::string> names;
  for (std::size_t k = 0; k < n; ++k) names.push_back(k < given.size() ? given[k] : std::to_string(k + 1));
  return names;
}

// A name for the colour scale that differs between charts, so that several
// charts lifted into one report page keep their own gradients (FNV-1a hash).
std::string scale_id(const Chart& chart, double lo, double hi) {
  unsigned long long h = 1469598103934665603ULL;
  auto mix = [&](const void* bytes, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) h = (h ^ static_cast<const unsigned char*>(bytes)[i]) * 1099511628211ULL;
  };
  mix(chart.title.data(), chart.title.size());
  mix(chart.type.data(), chart.type.size());
  mix(&lo, sizeof lo);
  mix(&hi, sizeof hi);
  for (const auto& row : chart.data) mix(row.data(), row.size() * sizeof(double));
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "tevo-scale-%016llx", h);
  return buffer;
}

std::string colour_bar(const Chart& chart, double lo, double hi, bool diverging, double x, double y, double height) {
  const std::string id = scale_id(chart, lo, hi);
  std::string out = "<defs><linearGradient id=\"" + id + "\" x1=\"0\" y1=\"1\" x2=\"0\" y2=\"0\">\n";
  for (int k = 0; k <= 10; ++k) {
    const double t = k / 10.0;
    const double v = lo + t * (hi - lo);
    const std::string colour = diverging ? diverging_colour(v / std::max(std::fabs(lo), std::fabs(hi)))
                                         : sequential_colour(t);
    out += "<stop offset=\"" + f2(t) + "\" stop-color=\"" + colour + "\"/>\n";
  }
  out += "</linearGradient></defs>\n";
  const double top = y + (chart.legend_title.empty() ? 0 : kTick + 10) + (chart.legend_high.empty() ? 0 : kTick + 6);
  if (!chart.legend_title.empty()) out += text_at(x, y + kTick, chart.legend_title, kTick, "start", 0, " font-weight=\"bold\"");
  if (!chart.legend_high.empty()) out += text_at(x + 9, top - 6, chart.legend_high, kTick, "middle");
  out += "<rect x=\"" + f2(x) + "\" y=\"" + f2(top) + "\" width=\"18\" height=\"" + f2(height) +
         "\" fill=\"url(#" + id + ")\" stroke=\"#555\" stroke-width=\"0.6\"/>\n";
  double step = 1;
  for (const double t : nice_ticks(lo, hi, 5, &step)) {
    if (t < lo - 1e-12 * std::fabs(step) || t > hi + 1e-12 * std::fabs(step)) continue;
    const double py = top + height - (hi > lo ? (t - lo) / (hi - lo) : 0.5) * height;
    out += "<line x1=\"" + f2(x + 18) + "\" x2=\"" + f2(x + 23) + "\" y1=\"" + f2(py) + "\" y2=\"" + f2(py) +
           "\" stroke=\"#333\"/>\n";
    out += text_at(x + 26, py + kTick * 0.35, tick_label(t, step), kTick, "start");
  }
  if (!chart.legend_low.empty()) out += text_at(x + 9, top + height + kTick + 6, chart.legend_low, kTick, "middle");
  return out;
}

// Letter colour that stays readable on a cell: white on dark fills
// (relative luminance, ITU-R BT.709 weights).
const char* text_on(const std::string& fill) {
  unsigned char rgb[3];
  colour_rgb(fill, rgb);
  const double luminance = 0.2126 * rgb[0] + 0.7152 * rgb[1] + 0.0722 * rgb[2];
  return luminance < 110 ? " fill=\"#ffffff\"" : " fill=\"#222222\"";
}

std::string heatmap_chart(const Chart& chart) {
  const std::size_t rows = chart.data.size();
  std::size_t cols = 0;
  for (const auto& row : chart.data) cols = std::max(cols, row.size());
  const std::vector<std::string> xnames = axis_names(chart.col_labels, cols);
  const std::vector<std::string> ynames = axis_names(chart.row_labels, rows);
  double lo = 0, hi = 1;
  const bool any = finite_range(chart.data, &lo, &hi);
  const bool categorical = !chart.value_labels.empty();
  const bool diverging = !categorical && any && lo < 0 && hi > 0;
  if (diverging) {
    const double m = std::max(-lo, hi);
    lo = -m, hi = m;
  }
  std::vector<std::string> legend_names, legend_colours;
  std::vector<int> used;
  if (categorical) {
    std::set<int> seen;
    for (const auto& row : chart.data)
      for (const double v : row)
        if (std::isfinite(v) && v >= 0 && v < static_cast<double>(chart.value_labels.size())) seen.insert(static_cast<int>(v));
    for (const int k : seen) {
      used.push_back(k);
      legend_names.push_back(chart.value_labels[k]);
    }
  }
  auto colour_of = [&](double v) -> std::string {
    if (categorical) {
      if (!(v >= 0)) return "#FFFFFF";
      return category_colour(chart, static_cast<std::size_t>(v));
    }
    if (diverging) return diverging_colour(v / hi);
    return sequential_colour(hi > lo ? (v - lo) / (hi - lo) : 0.5);
  };
  for (const int k : used) legend_colours.push_back(colour_of(k));
  const int columns = std::max(1, chart.legend_columns);
  const double swatch_width = widest(legend_names, kTick) + 30;
  double legend_width;
  if (categorical) legend_width = columns * swatch_width + 20;
  else legend_width = std::max(70.0, std::max(text_width(chart.legend_low, kTick), text_width(chart.legend_high, kTick)) + 10) + 24;
  legend_width = std::max(legend_width, text_width(chart.legend_title, kTick) + 24);

  // Cells stay square-ish and at least 1 px; the layout numbers give the plot size.
  // Column names wider than their cells stand upright.
  Chart sized = chart;
  int angle = chart.layout.angle;
  Frame f = make_frame(sized, widest(ynames, kTick), tick_extent(xnames, angle), legend_width);
  if (angle == 0 && cols > 0 && widest(xnames, kTick) + 4 > f.width / cols) {
    angle = sized.layout.angle = -90;
    f = make_frame(sized, widest(ynames, kTick), tick_extent(xnames, angle), legend_width);
  }
  std::string out = svg_open(f);
  const double cw = f.width / std::max<std::size_t>(cols, 1), ch = f.height / std::max<std::size_t>(rows, 1);
  out += "<g class=\"cells\" shape-rendering=\"crispEdges\">\n";
  if (rows * cols > kRasterCells) {
    // One pixel a cell, but never more pixels than a screen can show:
    // beyond kRasterSide a pixel shows the cell at its centre.
    const std::size_t pw = std::min(cols, kRasterSide), ph = std::min(rows, kRasterSide);
    std::vector<unsigned char> rgb(pw * ph * 3, 255);
    for (std::size_t y = 0; y < ph; ++y) {
      const std::size_t r = (2 * y + 1) * rows / (2 * ph);
      for (std::size_t x = 0; x < pw; ++x) {
        const std::size_t c = (2 * x + 1) * cols / (2 * pw);
        if (c < chart.data[r].size() && std::isfinite(chart.data[r][c]))
          colour_rgb(colour_of(chart.data[r][c]), &rgb[(y * pw + x) * 3]);
      }
    }
    out += "<image x=\"" + f2(f.left) + "\" y=\"" + f2(f.top) + "\" width=\"" + f2(f.width) + "\" height=\"" +
           f2(f.height) + "\" preserveAspectRatio=\"none\" style=\"image-rendering:pixelated\" href=\"data:image/png;base64," +
           base64(png_rgb(rgb.data(), static_cast<int>(pw), static_cast<int>(ph))) + "\"/>\n";
  } else {
    const bool tooltips = rows * cols <= kTooltipCells;
    const bool letters = categorical && chart.cell_text && cw >= 9 && ch >= 11;
    for (std::size_t r = 0; r < rows; ++r)
      for (std::size_t c = 0; c < chart.data[r].size(); ++c) {
        const double v = chart.data[r][c];
        if (!std::isfinite(v)) continue;
        const double x0 = f.left + c * cw, y0 = f.top + r * ch;
        out += "<rect x=\"" + f2(x0) + "\" y=\"" + f2(y0) + "\" width=\"" + f2(cw + 0.02) + "\" height=\"" + f2(ch + 0.02) +
               "\" fill=\"" + colour_of(v) + "\"";
        std::string tip = label_plain(ynames[r]) + " / " + label_plain(xnames[c]) + ": ";
        if (categorical && v >= 0 && v < chart.value_labels.size()) tip += chart.value_labels[static_cast<std::size_t>(v)];
        else tip += value_text(v);
        if (tooltips) out += "><title>" + xml_escape(tip) + "</title></rect>\n";
        else out += "/>\n";
        if (letters && v >= 0 && v < chart.value_labels.size())
          out += text_at(x0 + cw / 2, y0 + ch / 2 + std::min(ch, cw) * 0.3, chart.value_labels[static_cast<std::size_t>(v)],
                         static_cast<int>(std::min(ch, cw) * 0.8), "middle", 0,
                         text_on(colour_of(v)));
      }
  }
  out += "</g>\n";
  out += x_labels(category_marks(xnames, f.left, cw, angle), f, angle, false);
  std::string yaxis = "<g class=\"y-axis\" font-size=\"" + std::to_string(kTick) + "\">\n";
  const double need = kTick + 2;
  const std::size_t stride = std::max<std::size_t>(1, static_cast<std::size_t>(std::ceil(need / std::max(ch, 1e-9))));
  for (std::size_t r = 0; r < rows; r += stride) {
    const double py = f.top + (r + 0.5) * ch;
    yaxis += "<line x1=\"" + f2(f.left - 4) + "\" x2=\"" + f2(f.left) + "\" y1=\"" + f2(py) + "\" y2=\"" + f2(py) + "\" stroke=\"#333\"/>\n";
    yaxis += text_at(f.left - 7, py + kTick * 0.35, ynames[r], kTick, "end");
  }
  out += yaxis + "</g>\n";
  out += "<rect x=\"" + f2(f.left) + "\" y=\"" + f2(f.top) + "\" width=\"" + f2(f.width) + "\" height=\"" + f2(f.height) +
         "\" fill=\"none\" stroke=\"#333\" stroke-width=\"1\"/>\n";
  out += titles(chart, f, angle == 0 ? kTick : tick_extent(xnames, angle));
  const double lx = f.left + f.width + 24;
  if (categorical) {
    std::string legend = "<g class=\"legend\" font-size=\"" + std::to_string(kTick) + "\">\n";
    double ly = f.top;
    if (!chart.legend_title.empty()) {
      legend += text_at(lx, ly + kTick, chart.legend_title, kTick, "start", 0, " font-weight=\"bold\"");
      ly += kTick + 12;
    }
    for (std::size_t k = 0; k < legend_names.size(); ++k) {
      const double x = lx + (k % columns) * swatch_width, y = ly + (k / columns) * (kTick + 8);
      legend += "<rect x=\"" + f2(x) + "\" y=\"" + f2(y) + "\" width=\"14\" height=\"14\" fill=\"" + legend_colours[k] +
                "\" stroke=\"#777\" stroke-width=\"0.5\"/>\n";
      legend += text_at(x + 20, y + kTick - 1, legend_names[k], kTick, "start");
    }
    out += legend + "</g>\n";
  } else if (any) {
    out += colour_bar(chart, lo, hi, diverging, lx, f.top, std::min(f.height - 2.0 * (kTick + 8), 320.0));
  }
  return out + "</svg>\n";
}

// ---------------------------------------------------------------- chord
std::string chord_chart(const Chart& chart) {
  const std::size_t n = chart.data.size();
  const std::vector<std::string> names = axis_names(chart.row_labels.empty() ? chart.col_labels : chart.row_labels, n);
  struct Edge {
    std::size_t i, j;
    double w;
  };
  std::vector<Edge> edges;
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = i + 1; j < n; ++j) {
      double a = j < chart.data[i].size() ? chart.data[i][j] : NAN;
      double b = i < chart.data[j].size() ? chart.data[j][i] : NAN;
      if (!std::isfinite(a)) a = 0;
      if (!std::isfinite(b)) b = 0;
      const double w = std::max(a, b);
      if (w > 0) edges.push_back({i, j, w});
    }
  std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.w > b.w; });
  // The strongest links carry the picture; hundreds more only grey it out.
  if (edges.size() > 300) edges.resize(300);
  if (!edges.empty()) {  // links under a tenth of the strongest stay out
    const double floor = edges.front().w * 0.1;
    while (edges.size() > 1 && edges.back().w < floor) edges.pop_back();
  }
  const double wmax = edges.empty() ? 1 : edges.front().w;
  const double wmin = edges.empty() ? 0 : edges.back().w;
  const double label = widest(names, kTick) + 12;
  const double size = std::max(320, std::min(chart.layout.width, chart.layout.height < 320 ? chart.layout.width : chart.layout.height));
  const double radius = std::max(120.0, size / 2);
  const double legend_width = 90;
  Frame f;
  f.left = label + 20;
  f.top = (chart.title.empty() ? 14 : kTitle + 22) + label;
  f.width = f.height = 2 * radius;
  f.total_width = f.left + f.width + label + 20 + legend_width;
  f.total_height = f.top + f.height + label + 20;
  const double cx = f.left + radius, cy = f.top + radius;
  std::string out = svg_open(f);
  if (!chart.title.empty())
    out += text_at(f.total_width / 2 - legend_width / 2, kTitle + 8, chart.title, kTitle, "middle", 0, " font-weight=\"bold\"");
  auto angle_of = [&](std::size_t k) { return 2 * M_PI * k / std::max<std::size_t>(n, 1) - M_PI / 2; };
  out += "<circle cx=\"" + f2(cx) + "\" cy=\"" + f2(cy) + "\" r=\"" + f2(radius) + "\" fill=\"none\" stroke=\"#ddd\"/>\n";
  out += "<g class=\"links\" fill=\"none\">\n";
  for (auto it = edges.rbegin(); it != edges.rend(); ++it) {  // strongest drawn last, on top
    const double t = wmax > wmin ? (it->w - wmin) / (wmax - wmin) : 1;
    const double a = angle_of(it->i), b = angle_of(it->j);
    // The bend point lies between the centre and the chord's middle, so that
    // links between neighbours hug the rim and long ones cross the middle.
    const double qx = cx + 0.3 * radius * (std::cos(a) + std::cos(b)), qy = cy + 0.3 * radius * (std::sin(a) + std::sin(b));
    out += "<path d=\"M" + f2(cx + radius * std::cos(a)) + " " + f2(cy + radius * std::sin(a)) + "Q" + f2(qx) + " " + f2(qy) +
           " " + f2(cx + radius * std::cos(b)) + " " + f2(cy + radius * std::sin(b)) + "\" stroke=\"" +
           sequential_colour(0.15 + 0.85 * t) + "\" stroke-width=\"" + f2(0.8 + 3.2 * t) + "\" stroke-opacity=\"" +
           f2(0.35 + 0.6 * t) + "\"><title>" + xml_escape(label_plain(names[it->i]) + " - " + label_plain(names[it->j]) + ": " +
                                                         value_text(it->w)) +
           "</title></path>\n";
  }
  out += "</g>\n<g class=\"nodes\" font-size=\"" + std::to_string(kTick) + "\">\n";
  std::vector<int> degree(n, 0);
  for (const Edge& e : edges) ++degree[e.i], ++degree[e.j];
  const std::size_t stride = std::max<std::size_t>(1, static_cast<std::size_t>(std::ceil((kTick + 1) / (2 * M_PI * radius / std::max<std::size_t>(n, 1)))));
  for (std::size_t k = 0; k < n; ++k) {
    const double a = angle_of(k);
    const double x = cx + radius * std::cos(a), y = cy + radius * std::sin(a);
    out += "<circle cx=\"" + f2(x) + "\" cy=\"" + f2(y) + "\" r=\"" + f2(degree[k] ? 3.5 : 2) + "\" fill=\"" +
           (degree[k] ? "#333" : "#bbb") + "\"/>\n";
    if (k % stride) continue;
    const double deg = a * 180 / M_PI;
    const bool flip = std::cos(a) < 0;
    const double lx = cx + (radius + 8) * std::cos(a), ly = cy + (radius + 8) * std::sin(a);
    out += text_at(lx, ly + kTick * 0.35, names[k], kTick, flip ? "end" : "start", flip ? deg + 180 : deg);
  }
  out += "</g>\n";
  Chart legend = chart;
  out += colour_bar(legend, wmin, wmax, false, f.total_width - legend_width + 10, f.top, std::min(2 * radius - 60, 260.0));
  return out + "</svg>\n";
}

}  // namespace

std::string render_svg(const Chart& chart) {
  if (chart.type == "heatmap") return heatmap_chart(chart);
  if (chart.type == "bar") return bar_chart(chart);
  if (chart.type == "chord") return chord_chart(chart);
  return xy_chart(chart);  // "line" and "scatter"
}

std::string chart_page(const Chart& chart) {
  const std::string name = label_plain(chart.title.empty() ? chart.type + " chart" : chart.title);
  std::string out =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" + xml_escape(name) +
      "</title>\n<style>\nbody{margin:16px;font-family:" + std::string(kFont) +
      ";color:#222;background:#fff}\n.chart{overflow-x:auto}\nsvg text{fill:#222}\n</style>\n</head>\n<body>\n"
      "<div class=\"chart\">\n";
  out += kChartBegin;
  out += "\n" + render_svg(chart) + kChartEnd + "\n</div>\n</body>\n</html>\n";
  return out;
}

}  // namespace tevo
