// Reading and checking "KEY = value" settings files.
#include "folding/energy/settings.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <fstream>

#include "util/console.h"
#include "util/strings.h"

namespace tevo {

bool read_settings(const std::string& file, std::vector<Setting>& out) {
  std::ifstream in(file);
  if (!in) return false;
  std::string line;
  long number = 0;
  while (std::getline(in, line)) {
    ++number;
    trim_all(line);
    if (line.empty() || line[0] == '#') continue;
    const std::size_t eq = line.find('=');
    if (eq == std::string::npos) continue;
    Setting s;
    s.key = line.substr(0, eq);
    s.value = line.substr(eq + 1);
    trim_all(s.key);
    trim_all(s.value);
    for (char& c : s.key) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    s.line = number;
    out.push_back(std::move(s));
  }
  return true;
}

void refuse_setting(const std::string& file, const Setting& s, const std::string& words) {
  print_info(file + " line " + std::to_string(s.line) + ": unknown key \"" + s.key + "\"", 9);
  print_info(words, 9);
  std::exit(1);
}

bool parse_int(const std::string& text, int& out) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  const long v = std::strtol(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || v < INT_MIN || v > INT_MAX) return false;
  out = static_cast<int>(v);
  return true;
}

bool parse_real(const std::string& text, double& out) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  const double v = std::strtod(text.c_str(), &end);
  if (errno == ERANGE || *end != '\0' || !std::isfinite(v)) return false;
  out = v;
  return true;
}

namespace {
[[noreturn]] void not_a_number(const std::string& file, const Setting& s) {
  print_info(file + " line " + std::to_string(s.line) + ": " + s.key + " needs a number, not \"" + s.value + "\"",
             9);
  std::exit(1);
}
}  // namespace

int setting_int(const std::string& file, const Setting& s) {
  int v = 0;
  if (!parse_int(s.value, v)) not_a_number(file, s);
  return v;
}

double setting_real(const std::string& file, const Setting& s) {
  double v = 0;
  if (!parse_real(s.value, v)) not_a_number(file, s);
  return v;
}

}  // namespace tevo
