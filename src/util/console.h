// The console words: every line the program prints starts with "-- ", may be
// coloured, and errors come from a fixed, numbered vocabulary.
#pragma once

#include <string>

namespace tevo {

// Colour codes of print_text: 1 red, 2 green, 3 yellow, 4 blue, anything else plain.
enum Colour { kPlain = -1, kRed = 1, kGreen = 2, kYellow = 3, kBlue = 4 };

// Prints "-- " and `text` in `colour`, then the single character `end`
// (none for 0, which leaves the line open).
void print_text(const std::string& text, int colour = kPlain, int end = '\n');

// Prints the numbered message `code` (see console.cpp); codes without a
// message print `text` itself, uncoloured.
void print_info(const std::string& text, int code, int end = '\n');

// One self-overwriting progress line; `value` -999 means "no value", `i` -1
// "title only". The caller writes the final line feed.
template <typename T>
void progress_bar(const std::string& title, int i, int n, const std::string& unit, T value,
                  int mode = 0);

extern template void progress_bar<float>(const std::string&, int, int, const std::string&, float, int);
extern template void progress_bar<double>(const std::string&, int, int, const std::string&, double, int);
extern template void progress_bar<int>(const std::string&, int, int, const std::string&, int, int);

}  // namespace tevo
