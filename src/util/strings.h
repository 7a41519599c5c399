// Text helpers: numbers cut (never rounded) to a number of decimals, the
// fixed-pass trimming used by all readers, splitting and replacing.
#pragma once

#include <string>
#include <vector>

namespace tevo {

// Blank, line feed, carriage return, tab, form feed, vertical tab.
inline const std::string WHITESPACE = " \n\r\t\f\v";

// Cuts a decimal number held as text to `decimals` places behind `point`.
// Throws std::out_of_range when decimals != 0 and the text has no ".".
std::string to_str(const std::string& text, int decimals, const std::string& point = ".");

// "%f" (or "%d") text of `value`, cut to `decimals`, padded with blanks on the
// left up to `width` (-1: no padding); `flag` true pads on the right instead.
template <typename T>
std::string num2string(T value, int decimals = 3, int width = -1, bool flag = false);

extern template std::string num2string<int>(int, int, int, bool);
extern template std::string num2string<bool>(bool, int, int, bool);
extern template std::string num2string<unsigned long>(unsigned long, int, int, bool);
extern template std::string num2string<float>(float, int, int, bool);
extern template std::string num2string<double>(double, int, int, bool);

// Trims in fixed passes: left tab, VT, FF, blank; right tab, LF, VT, FF, CR,
// blank. Each pass removes a run of its one character only.
void trim_all(std::string& text);

// Splits at `delimiter`, skips empty fields, trims the others with trim_all.
std::vector<std::string> string_split(const std::string& text, char delimiter);

// Replaces every `from` by `to`, left to right, never rescanning inserted text.
void str_replace(std::string& text, const std::string& from, const std::string& to);

// Runs of three blanks become one, then pairs of blanks become one.
void replace_space(std::string& text);

// Prints a sequence in rows of `width` (below 5 means 50) with running counts.
void string_print(const std::string& seq, int width = 50);

// HTML block of a sequence in rows of `width` letters with a position ruler.
std::string string_print_seq(const std::string& seq, int width = 50);

}  // namespace tevo
