// Text helpers shared by every subsystem.
#include "util/strings.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace tevo {

std::string to_str(const std::string& text, int decimals, const std::string& point) {
  const std::size_t dot = text.find('.');
  if (decimals == 0) return text.substr(0, dot);
  if (dot == std::string::npos) throw std::out_of_range("to_str: no decimal point in " + text);
  return text.substr(0, dot) + point + text.substr(dot + 1, decimals);
}

namespace {

std::string format_number(int v) { return std::to_string(v); }
std::string format_number(bool v) { return std::to_string(static_cast<int>(v)); }
std::string format_number(unsigned long v) { return std::to_string(v); }
std::string format_number(double v) {
  char buf[512];
  std::snprintf(buf, sizeof buf, "%f", v);
  return buf;
}

}  // namespace

template <typename T>
std::string num2string(T value, int decimals, int width, bool flag) {
  std::string text = format_number(value);
  // Integers and "inf"/"nan" carry no point: they are returned whole.
  if (text.find('.') != std::string::npos || decimals == 0) text = to_str(text, decimals);
  if (width != -1 && static_cast<int>(text.size()) < width) {
    const std::string pad(width - text.size(), ' ');
    text = flag ? text + pad : pad + text;
  }
  return text;
}

template std::string num2string<int>(int, int, int, bool);
template std::string num2string<bool>(bool, int, int, bool);
template std::string num2string<unsigned long>(unsigned long, int, int, bool);
template std::string num2string<float>(float, int, int, bool);
template std::string num2string<double>(double, int, int, bool);

namespace {

// Drops the run of `c` at the left (or right) end of `text`.
void strip_left(std::string& text, char c) { text.erase(0, text.find_first_not_of(c)); }
void strip_right(std::string& text, char c) {
  const std::size_t last = text.find_last_not_of(c);
  text.erase(last == std::string::npos ? 0 : last + 1);
}

}  // namespace

void trim_all(std::string& text) {
  text = std::string(text.c_str());  // works on the C string: nothing after a NUL survives
  for (char c : {'\t', '\v', '\f', ' '}) strip_left(text, c);
  for (char c : {'\t', '\n', '\v', '\f', '\r', ' '}) strip_right(text, c);
}

std::vector<std::string> string_split(const std::string& text, char delimiter) {
  std::vector<std::string> fields;
  std::istringstream in(text);
  std::string token;
  while (std::getline(in, token, delimiter)) {
    if (token.empty()) continue;
    trim_all(token);
    fields.push_back(token);
  }
  return fields;
}

void str_replace(std::string& text, const std::string& from, const std::string& to) {
  if (from.empty()) return;
  std::size_t pos = text.find(from);
  if (pos == std::string::npos) return;
  // One pass into a new string: replacing in place moves the tail each time.
  std::string out;
  out.reserve(text.size());
  std::size_t done = 0;
  for (; pos != std::string::npos; pos = text.find(from, done)) {
    out.append(text, done, pos - done);
    out += to;
    done = pos + from.size();
  }
  out.append(text, done, std::string::npos);
  text.swap(out);
}

void replace_space(std::string& text) {
  str_replace(text, "   ", " ");
  str_replace(text, "  ", " ");
}

void string_print(const std::string& seq, int width) {
  if (width < 5) width = 50;
  std::printf("-- ");
  const int length = static_cast<int>(seq.size());
  for (int count = 1; count <= length; ++count) {
    std::putchar(seq[count - 1]);
    if (count % width == 0) {
      if (count < 100) std::putchar(' ');
      std::printf(" %i\n-- ", count);
    }
  }
  if (length % width != 0) std::printf("%*s", width - length % width, "");
  if (length <= 99) std::putchar(' ');
  std::printf(" %i\n", length);
}

std::string string_print_seq(const std::string& seq, int width) {
  if (width < 10) width = 50;
  std::string html = "<pre class=\"sequence\">\n";
  for (std::size_t start = 0; start < seq.size(); start += width) {
    const std::size_t stop = std::min(seq.size(), start + width);
    // Ruler: the position of every tenth letter, right-aligned above it.
    std::string ruler(stop - start, ' ');
    for (std::size_t pos = start + 10; pos <= stop; pos += 10) {
      const std::string label = std::to_string(pos);
      const std::size_t end = pos - start;  // one past the letter's column
      if (end >= label.size()) ruler.replace(end - label.size(), label.size(), label);
    }
    html += "<span class=\"ruler\">" + ruler + "</span>\n" + seq.substr(start, stop - start) + "\n";
  }
  return html + "</pre>\n";
}

}  // namespace tevo
