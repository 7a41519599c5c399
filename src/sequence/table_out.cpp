// Line reading and table writing for the alignment code.
#include "sequence/table_out.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <type_traits>

#include "util/console.h"

namespace tevo {
namespace seqio {

std::vector<Line> read_lines(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    print_info(file, 5);
    std::exit(1);
  }
  std::vector<Line> lines;
  std::string text;
  long number = 0;
  while (std::getline(in, text)) {
    ++number;
    if (text.empty() || text[0] == '#') continue;
    lines.push_back({number, text});
  }
  return lines;
}

namespace {

void close_checked(std::FILE* fp, const std::string& name) {
  const bool bad = std::ferror(fp) != 0;
  if (std::fclose(fp) != 0 || bad) {
    print_info(name, 7);
    std::exit(1);
  }
}

}  // namespace

template <typename T>
void write_matrix_w_index(const std::string& file, const T* const* m, int rows, int cols,
                          const std::vector<std::string>& index, const std::vector<std::string>& labels,
                          const std::string& delimiter, const std::string& extension, int decimals) {
  const std::string name = file + extension;
  std::FILE* fp = std::fopen(name.c_str(), "w");
  if (fp == nullptr) {
    print_info(name, 5);
    std::exit(1);
  }
  if (!index.empty()) {
    for (std::size_t k = 0; k < index.size(); ++k) {
      if (k > 0) std::fputs(delimiter.c_str(), fp);
      std::fputs(index[k].c_str(), fp);
    }
    std::fputc('\n', fp);
  }
  char format[16];
  std::snprintf(format, sizeof format, "%%.%df", decimals);
  std::string row;
  char cell[64];
  for (int i = 0; i < rows; ++i) {
    row.clear();
    if (!labels.empty()) {
      row += static_cast<std::size_t>(i) < labels.size() ? labels[i] : std::string();
      row += ',';
    }
    for (int j = 0; j < cols; ++j) {
      if (j > 0) row += delimiter;
      if (std::is_integral<T>::value && decimals == 0) {
        row += std::to_string(static_cast<long long>(m[i][j]));  // the text "%.0f" gives
      } else {
        std::snprintf(cell, sizeof cell, format, static_cast<double>(m[i][j]));
        row += cell;
      }
    }
    row += '\n';
    std::fwrite(row.data(), 1, row.size(), fp);
  }
  close_checked(fp, name);
}

void write_string(const std::string& name, const std::string& text, const std::string& mode) {
  std::FILE* fp = std::fopen(name.c_str(), mode.c_str());
  if (fp == nullptr) {
    print_info(name, 5);
    std::exit(1);
  }
  std::fwrite(text.data(), 1, text.size(), fp);
  close_checked(fp, name);
}

template void write_matrix_w_index<int>(const std::string&, const int* const*, int, int,
                                        const std::vector<std::string>&, const std::vector<std::string>&,
                                        const std::string&, const std::string&, int);
template void write_matrix_w_index<float>(const std::string&, const float* const*, int, int,
                                          const std::vector<std::string>&, const std::vector<std::string>&,
                                          const std::string&, const std::string&, int);
template void write_matrix_w_index<double>(const std::string&, const double* const*, int, int,
                                           const std::vector<std::string>&,
                                           const std::vector<std::string>&, const std::string&,
                                           const std::string&, int);

}  // namespace seqio
}  // namespace tevo
