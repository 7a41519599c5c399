// The settings files of the energy terms and the sampler: one "KEY = value"
// a line, "#" comment lines and blank lines skipped, the key trimmed and
// upper-cased, the value trimmed.
#pragma once

#include <string>
#include <vector>

namespace tevo {

struct Setting {
  std::string key;    // trimmed, upper case
  std::string value;  // trimmed
  long line = 0;      // 1-based line in the file
};

// The settings of `file` in file order. False, with nothing read, when the
// file cannot be opened. Lines without "=" are passed over.
bool read_settings(const std::string& file, std::vector<Setting>& out);

// The fatal end of a term's reader for a key it does not know: names the
// file, line and key, then prints `words` as an error and exits 1.
[[noreturn]] void refuse_setting(const std::string& file, const Setting& s, const std::string& words);

// Values, checked: a value that is not a whole number (setting_int) or a
// number (setting_real) prints "Error: <file> line <n>: <KEY> needs a number"
// and exits 1.
int setting_int(const std::string& file, const Setting& s);
double setting_real(const std::string& file, const Setting& s);

// A whole text read as a number the same way; false when it is not one.
bool parse_int(const std::string& text, int& out);
bool parse_real(const std::string& text, double& out);

}  // namespace tevo
