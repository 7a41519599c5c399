// Line reading with line numbers for the alignment readers.
#include "sequence/numbered_lines.h"

#include <cstdlib>
#include <fstream>

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

void fail(const std::string& text) {
  print_info(text, 9);
  std::exit(1);
}

}  // namespace seqio
}  // namespace tevo
