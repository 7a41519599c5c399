// Shared pieces of the chart writers: escaping, tick choice, colours, JSON.
#include "report/chart.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/console.h"

namespace tevo {

std::string xml_escape(const std::string& text) {
  std::string out;
  out.reserve(text.size() + 8);
  for (const char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&#39;"; break;
      default: out += c;
    }
  }
  return out;
}

namespace {

bool is_entity(const std::string& text, std::size_t at, std::size_t* length) {
  std::size_t i = at + 1;
  if (i < text.size() && text[i] == '#') {
    ++i;
    const bool hex = i < text.size() && (text[i] == 'x' || text[i] == 'X');
    if (hex) ++i;
    const std::size_t digits = i;
    while (i < text.size() && (hex ? std::isxdigit(static_cast<unsigned char>(text[i]))
                                   : std::isdigit(static_cast<unsigned char>(text[i]))))
      ++i;
    if (i == digits) return false;
  } else {
    const std::size_t letters = i;
    while (i < text.size() && std::isalnum(static_cast<unsigned char>(text[i]))) ++i;
    if (i == letters || i - letters > 10) return false;
  }
  if (i >= text.size() || text[i] != ';') return false;
  *length = i + 1 - at;
  return true;
}

bool safe_colour(const std::string& value) {
  if (value.empty() || value.size() > 24) return false;
  for (const char c : value)
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '#') return false;
  return true;
}

}  // namespace

std::string caption_html(const std::string& text) {
  static const char* simple[] = {"b", "i", "sub", "sup"};
  std::string out;
  std::vector<std::string> open;  // tags to close at the end
  std::size_t i = 0;
  while (i < text.size()) {
    const char c = text[i];
    if (c == '&') {
      std::size_t length = 0;
      if (is_entity(text, i, &length)) {
        out.append(text, i, length);
        i += length;
      } else {
        out += "&amp;";
        ++i;
      }
      continue;
    }
    if (c == '<') {
      const std::size_t close = text.find('>', i);
      if (close != std::string::npos) {
        const std::string tag = text.substr(i + 1, close - i - 1);
        bool taken = false;
        for (const char* name : simple) {
          if (tag == name) {
            out += "<" + tag + ">";
            open.push_back(tag);
            taken = true;
            break;
          }
        }
        if (!taken && tag.size() > 1 && tag[0] == '/') {
          const std::string want = tag.substr(1);
          const bool known = want == "span" || std::any_of(std::begin(simple), std::end(simple),
                                                            [&](const char* n) { return want == n; });
          if (known) {
            // a stray closing tag is dropped; a match closes what was opened inside it
            if (std::find(open.begin(), open.end(), want) != open.end()) {
              while (!open.empty()) {
                const std::string last = open.back();
                open.pop_back();
                out += "</" + last + ">";
                if (last == want) break;
              }
            }
            taken = true;
          }
        }
        if (!taken && (tag == "br" || tag == "br/" || tag == "br /")) {
          out += "<br>";
          taken = true;
        }
        const std::string span = "span style=\"color:";
        if (!taken && tag.compare(0, span.size(), span) == 0 && tag.back() == '"') {
          const std::string colour = tag.substr(span.size(), tag.size() - span.size() - 1);
          if (safe_colour(colour)) {
            out += "<span style=\"color:" + colour + "\">";
            open.push_back("span");
            taken = true;
          }
        }
        if (taken) {
          i = close + 1;
          continue;
        }
      }
      out += "&lt;";
      ++i;
      continue;
    }
    if (c == '>') out += "&gt;";
    else if (c == '"') out += "&quot;";
    else out += c;
    ++i;
  }
  while (!open.empty()) {
    out += "</" + open.back() + ">";
    open.pop_back();
  }
  return out;
}

std::vector<double> nice_ticks(double lo, double hi, int target, double* step) {
  std::vector<double> ticks;
  if (!std::isfinite(lo) || !std::isfinite(hi)) {
    if (step) *step = 1;
    return ticks;
  }
  if (hi < lo) std::swap(lo, hi);
  if (hi == lo) {
    const double pad = lo == 0 ? 1 : std::fabs(lo) * 0.1;
    lo -= pad;
    hi += pad;
  }
  if (target < 2) target = 2;
  auto nice = [](double x, bool round) {
    const double e = std::floor(std::log10(x));
    const double f = x / std::pow(10.0, e);
    double n;
    if (round) n = f < 1.5 ? 1 : f < 3 ? 2 : f < 7 ? 5 : 10;
    else n = f <= 1 ? 1 : f <= 2 ? 2 : f <= 5 ? 5 : 10;
    return n * std::pow(10.0, e);
  };
  const double d = nice((hi - lo) / (target - 1), true);
  const double first = std::ceil(lo / d - 1e-9) * d;
  for (int k = 0; k < 1000; ++k) {
    double t = first + k * d;
    if (t > hi + d * 1e-9) break;
    if (std::fabs(t) < d * 1e-9) t = 0;  // no "-0" or 1e-17 at the origin
    ticks.push_back(t);
  }
  if (step) *step = d;
  return ticks;
}

std::vector<double> log_ticks(double lo, double hi) {
  std::vector<double> ticks;
  if (!(lo > 0) || !(hi > 0) || !std::isfinite(lo) || !std::isfinite(hi)) return ticks;
  const int e0 = static_cast<int>(std::floor(std::log10(lo) + 1e-9));
  const int e1 = static_cast<int>(std::ceil(std::log10(hi) - 1e-9));
  const int decades = e1 - e0;
  const int every = decades > 12 ? (decades + 9) / 10 : 1;
  for (int e = e0; e <= e1; e += every) {
    ticks.push_back(std::pow(10.0, e));
    if (decades <= 2) {
      for (const double m : {2.0, 5.0}) ticks.push_back(m * std::pow(10.0, e));
    }
  }
  std::sort(ticks.begin(), ticks.end());
  std::vector<double> kept;
  for (const double t : ticks)
    if (t >= lo * (1 - 1e-9) && t <= hi * (1 + 1e-9)) kept.push_back(t);
  return kept;
}

std::string tick_label(double value, double step) {
  char buffer[64];
  if (value == 0) return "0";
  const double magnitude = std::fabs(value);
  if (magnitude >= 1e6 || magnitude < 1e-4 || (step > 0 && step < 1e-4)) {
    std::snprintf(buffer, sizeof buffer, "%.3g", value);
    std::string text = buffer;
    // 1e+06 -> 1e6, 2.5e-05 -> 2.5e-5
    const std::size_t e = text.find('e');
    if (e != std::string::npos) {
      std::string mantissa = text.substr(0, e);
      std::string exponent = text.substr(e + 1);
      if (!exponent.empty() && exponent[0] == '+') exponent.erase(0, 1);
      const bool negative = !exponent.empty() && exponent[0] == '-';
      if (negative) exponent.erase(0, 1);
      exponent.erase(0, std::min(exponent.find_first_not_of('0'), exponent.size() - 1));
      text = mantissa + "e" + (negative ? "-" : "") + exponent;
    }
    return text;
  }
  int decimals = 0;
  if (step > 0 && step < 1) decimals = static_cast<int>(std::ceil(-std::log10(step) - 1e-9));
  if (decimals > 6) decimals = 6;
  std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
  return buffer;
}

const std::vector<std::string>& series_palette() {
  static const std::vector<std::string> colours = {"#4E79A7", "#E15759", "#59A14F", "#F28E2B",
                                                   "#B07AA1", "#76B7B2", "#EDC948", "#FF9DA7",
                                                   "#9C755F", "#BAB0AC"};
  return colours;
}

const std::vector<std::string>& residue_palette() {
  static const std::vector<std::string> colours = {
      "#F5F5F5", "#EB8500", "#7B68EE", "#FF6347", "#8B0000", "#00CCCC", "#FFA07A",
      "#FF0000", "#FFA500", "#FF4500", "#6593F5", "#0080FF", "#9370DB", "#3CB371",
      "#00FF7F", "#00B300", "#FFD700", "#FFFF00", "#ADFF2F", "#7CFC00", "#00FFFF"};
  return colours;
}

std::string category_colour(const Chart& chart, std::size_t k) {
  if (!chart.palette.empty()) return chart.palette[k % chart.palette.size()];
  const auto& colours = chart.value_labels.size() <= residue_palette().size() ? residue_palette() : series_palette();
  return colours[k % colours.size()];
}

std::string gnuplot_palette_line(const std::vector<std::string>& colours) {
  std::string out = "set palette model RGB defined (";
  for (std::size_t k = 0; k < colours.size(); ++k) out += (k ? "," : "") + std::to_string(k) + " '" + colours[k] + "'";
  return out + ");\n";
}

void colour_rgb(const std::string& hex, unsigned char rgb[3]) {
  unsigned value = 0;
  if (hex.size() == 7 && hex[0] == '#') value = static_cast<unsigned>(std::strtoul(hex.c_str() + 1, nullptr, 16));
  rgb[0] = static_cast<unsigned char>((value >> 16) & 255);
  rgb[1] = static_cast<unsigned char>((value >> 8) & 255);
  rgb[2] = static_cast<unsigned char>(value & 255);
}

namespace {

std::string blend(const unsigned char (*stops)[3], int count, double t) {
  if (!(t >= 0)) t = 0;  // also NaN
  if (t > 1) t = 1;
  const double x = t * (count - 1);
  int k = static_cast<int>(x);
  if (k >= count - 1) k = count - 2;
  const double f = x - k;
  char buffer[8];
  int c[3];
  for (int j = 0; j < 3; ++j) c[j] = static_cast<int>(std::lround(stops[k][j] + f * (stops[k + 1][j] - stops[k][j])));
  std::snprintf(buffer, sizeof buffer, "#%02X%02X%02X", c[0], c[1], c[2]);
  return buffer;
}

}  // namespace

std::string sequential_colour(double t) {
  // viridis sampled at nine points
  static const unsigned char stops[][3] = {{68, 1, 84},    {71, 44, 122},  {59, 81, 139},
                                           {44, 113, 142}, {33, 144, 141}, {39, 173, 129},
                                           {92, 200, 99},  {170, 220, 50}, {253, 231, 37}};
  return blend(stops, 9, t);
}

std::string diverging_colour(double t) {
  static const unsigned char stops[][3] = {{33, 102, 172}, {103, 169, 207}, {209, 229, 240},
                                           {247, 247, 247}, {253, 219, 199}, {239, 138, 98},
                                           {178, 24, 43}};
  return blend(stops, 7, (t + 1) / 2);
}

bool finite_range(const std::vector<std::vector<double>>& data, double* lo, double* hi) {
  bool any = false;
  for (const auto& row : data)
    for (const double v : row) {
      if (!std::isfinite(v)) continue;
      if (!any) *lo = *hi = v;
      *lo = std::min(*lo, v);
      *hi = std::max(*hi, v);
      any = true;
    }
  return any;
}

namespace {

std::string json_string(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\u%04x", c);
          out += buffer;
        } else {
          out += c;
        }
    }
  }
  return out + "\"";
}

std::string json_strings(const std::vector<std::string>& list) {
  std::string out = "[";
  for (std::size_t i = 0; i < list.size(); ++i) out += (i ? ", " : "") + json_string(list[i]);
  return out + "]";
}

std::string json_number(double v) {
  if (!std::isfinite(v)) return "null";  // JSON has no NaN or infinity
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.10g", v);
  return buffer;
}

}  // namespace

std::string chart_json(const Chart& chart) {
  std::string out = "{\n";
  out += "  \"type\": " + json_string(chart.type) + ",\n";
  out += "  \"title\": " + json_string(chart.title) + ",\n";
  out += "  \"xlabel\": " + json_string(chart.xlabel) + ",\n";
  out += "  \"ylabel\": " + json_string(chart.ylabel) + ",\n";
  out += "  \"xscale\": " + json_string(chart.xlog ? "log" : "linear") + ",\n";
  out += "  \"yscale\": " + json_string(chart.ylog ? "log" : "linear") + ",\n";
  out += "  \"series\": " + json_strings(chart.series) + ",\n";
  out += "  \"row_labels\": " + json_strings(chart.row_labels) + ",\n";
  out += "  \"col_labels\": " + json_strings(chart.col_labels) + ",\n";
  out += "  \"value_labels\": " + json_strings(chart.value_labels) + ",\n";
  out += "  \"legend\": [" + json_string(chart.legend_low) + ", " + json_string(chart.legend_high) + "],\n";
  out += "  \"data\": [";
  for (std::size_t r = 0; r < chart.data.size(); ++r) {
    out += r ? ",\n    [" : "\n    [";
    for (std::size_t c = 0; c < chart.data[r].size(); ++c) out += (c ? ", " : "") + json_number(chart.data[r][c]);
    out += "]";
  }
  out += chart.data.empty() ? "]\n}\n" : "\n  ]\n}\n";
  return out;
}

void write_text_file(const std::string& path, const std::string& text, const char* mode) {
  FILE* file = std::fopen(path.c_str(), mode);
  if (!file) {
    print_info(path, 5);
    std::exit(1);
  }
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  if (std::fclose(file) != 0 || !written) {
    print_info(path, 7);
    std::exit(1);
  }
}

}  // namespace tevo
