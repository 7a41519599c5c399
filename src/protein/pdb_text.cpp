// Fixed-width number fields for PDB text.
#include "protein/pdb_text.h"

#include <cmath>
#include <cstdio>

#include "util/console.h"

namespace tevo {

namespace {

const long kPow10[7] = {1, 10, 100, 1000, 10000, 100000, 1000000};

// Slow and exact: the C library's "%f", then cut.
void append_cut_printf(std::string& out, double value, int decimals, int width) {
  char buf[512];
  std::snprintf(buf, sizeof buf, "%f", value);
  std::string text(buf);
  const std::size_t dot = text.find('.');
  if (dot != std::string::npos) text = decimals == 0 ? text.substr(0, dot) : text.substr(0, dot + 1 + decimals);
  if (static_cast<int>(text.size()) < width) out.append(width - text.size(), ' ');
  out += text;
}

}  // namespace

void append_cut(std::string& out, double value, int decimals, int width) {
  // "%f" rounds to six decimals and the cut keeps the first `decimals` of them.
  // The fast path redoes that rounding in integers; it hands over to printf
  // near a rounding tie, where the product value*1e6 could round differently.
  const double mag = std::fabs(value);
  if (!(mag < 1e9) || decimals > 6) {
    append_cut_printf(out, value, decimals, width);
    return;
  }
  const double scaled = mag * 1e6;
  const double frac = scaled - std::floor(scaled);
  if (std::fabs(frac - 0.5) < 1e-3) {
    append_cut_printf(out, value, decimals, width);
    return;
  }
  const long micro = static_cast<long>(std::llround(scaled));
  const long whole = micro / 1000000;
  const long kept = (micro % 1000000) / kPow10[6 - decimals];
  char buf[48];
  char* p = buf + sizeof buf;
  for (int k = 0; k < decimals; ++k) {
    *--p = static_cast<char>('0' + (kept / kPow10[k]) % 10);
  }
  if (decimals > 0) *--p = '.';
  long w = whole;
  do {
    *--p = static_cast<char>('0' + w % 10);
    w /= 10;
  } while (w > 0);
  if (std::signbit(value)) *--p = '-';
  const int len = static_cast<int>(buf + sizeof buf - p);
  if (len < width) out.append(width - len, ' ');
  out.append(p, len);
}

void append_int(std::string& out, long value, int width) {
  char buf[32];
  const int len = std::snprintf(buf, sizeof buf, "%ld", value);
  if (len < width) out.append(width - len, ' ');
  out.append(buf, len);
}

void append_padded(std::string& out, const std::string& text, int width, bool left) {
  const int pad = width - static_cast<int>(text.size());
  if (!left && pad > 0) out.append(pad, ' ');
  out += text;
  if (left && pad > 0) out.append(pad, ' ');
}

bool write_text(const std::string& path, const std::string& mode, const std::string& text) {
  std::FILE* fp = std::fopen(path.c_str(), mode.c_str());
  if (!fp) {
    print_info(path, 5);
    return false;
  }
  const bool wrote = std::fwrite(text.data(), 1, text.size(), fp) == text.size();
  const bool closed = std::fclose(fp) == 0;
  if (!wrote || !closed) {
    print_info(path, 7);
    return false;
  }
  return true;
}

}  // namespace tevo
