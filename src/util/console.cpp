// Console words: coloured lines and the numbered message vocabulary.
#include "util/console.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tevo {

void print_text(const std::string& text, int colour, int end) {
  const char* code = nullptr;
  switch (colour) {
    case kRed: code = "31"; break;
    case kGreen: code = "32"; break;
    case kYellow: code = "33"; break;
    case kBlue: code = "34"; break;
    default: break;
  }
  if (code)
    std::printf("-- \033[%sm%s\033[0m", code, text.c_str());
  else
    std::printf("-- %s", text.c_str());
  if (end != '\0') std::putchar(end);  // 0 leaves the line open, never a NUL byte on the console
}

void print_info(const std::string& text, int code, int end) {
  switch (code) {
    case 0: print_text("Hi there, I am Ragraf!", kGreen, end); break;
    case 1: print_text("I found an error and list it below!", kRed, end); break;
    case 2: print_text("I found errors and list them below!", kRed, end); break;
    case 3: print_text("Error: the file " + text + " does not exist!", kRed, end); break;
    case 4: print_text("Error: where to locate the " + text + "?", kRed, end); break;
    case 5: print_text("Error: cannot open " + text, kRed, end); break;
    case 6: print_text("Error: cannot read " + text, kRed, end); break;
    case 7: print_text("Error: cannot write out " + text, kRed, end); break;
    case 8: print_text("Error: failed to open " + text, kRed, end); break;
    case 9: print_text("Error: " + text, kRed, end); break;
    case 11: print_text("Warning: " + text, kYellow, end); break;
    case 21: print_text("Usage:", kGreen, end); break;
    case 31: print_text("Options:", kGreen, end); break;
    case 51: print_text("Invocation:", kBlue, end); break;
    default: print_text(text, kPlain, end); break;
  }
}

template <typename T>
void progress_bar(const std::string& title, int i, int n, const std::string& unit, T value,
                  int mode) {
  static const std::string bar(27, '=');
  std::fflush(stdout);
  const float frac = static_cast<float>(i) / static_cast<float>(n);
  // Clamped so that i > n or n == 0 cannot overflow the bar or the cast.
  const float shown = std::isfinite(frac) ? std::min(std::max(frac, 0.0f), 1.0f) : 0.0f;
  const int filled = static_cast<int>(27 * shown);
  const int rest = 27 - filled;
  const double percent = frac * 100.0f;
  const char* t = title.c_str();
  const char* b = bar.c_str();
  if (i == -1) {
    std::printf("\r-- %s[%.*s%*s] %.2f%% completed ", t, filled, b, rest, "", percent);
  } else if (static_cast<double>(value) == -999.0) {
    if (!unit.empty())
      std::printf("\r-- %s (%d/%d %s) [%.*s%*s] %.2f%% completed ", t, i, n, unit.c_str(), filled,
                  b, rest, "", percent);
    else
      std::printf("\r-- %s (%d/%d) [%.*s%*s] %.2f%% completed ", t, i, n, filled, b, rest, "",
                  percent);
  } else if (mode == 0) {
    std::printf("\r-- %s %d/%d %s %.3f [%.*s%*s] %.2f%% completed ", t, i, n, unit.c_str(),
                static_cast<double>(value), filled, b, rest, "", percent);
  } else if (mode == 1) {
    std::printf("\r-- %s %d/%d %s %.3f%% [%.*s%*s] %.2f%% completed ", t, i, n, unit.c_str(),
                100.0 * static_cast<double>(value), filled, b, rest, "", percent);
  } else {
    std::printf("\r-- %s %d/%d %s %.2e [%.*s%*s] %.2f%% completed ", t, i, n, unit.c_str(),
                static_cast<double>(value), filled, b, rest, "", percent);
  }
  std::fflush(stdout);
}

template void progress_bar<float>(const std::string&, int, int, const std::string&, float, int);
template void progress_bar<double>(const std::string&, int, int, const std::string&, double, int);
template void progress_bar<int>(const std::string&, int, int, const std::string&, int, int);

}  // namespace tevo
