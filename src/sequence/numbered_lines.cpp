// Whole-file and line reading, plain or gzip, for the alignment readers.
#include "sequence/numbered_lines.h"

#include <zlib.h>

#include <cstdlib>

#include "util/console.h"
#include "util/files.h"  // refuse_directory

namespace tevo {
namespace seqio {

std::string read_text(const std::string& file) {
  refuse_directory(file);
  gzFile gz = gzopen(file.c_str(), "rb");  // plain text passes through unchanged
  if (gz == nullptr) {
    print_info(file, 5);
    std::exit(1);
  }
  gzbuffer(gz, 1 << 18);
  std::string text;
  std::size_t size = 0;
  int got = 0;
  do {
    text.resize(size + (1 << 20));
    got = gzread(gz, &text[size], 1 << 20);
    if (got > 0) size += static_cast<std::size_t>(got);
  } while (got > 0);
  text.resize(size);
  // A cut stream ends like a short file; only the error state tells them apart.
  int code = Z_OK;
  std::string why = gzerror(gz, &code);
  gzclose(gz);
  if (why.compare(0, file.size() + 2, file + ": ") == 0) why.erase(0, file.size() + 2);  // zlib names the file too
  if (got < 0 || code != Z_OK)
    fail(file + ": " + (code == Z_BUF_ERROR ? "the gzip stream is cut short" : "corrupt gzip data") + " (" +
         why + ")");
  return text;
}

std::vector<Line> read_lines(const std::string& file, bool all) {
  const std::string text = read_text(file);
  std::vector<Line> lines;
  long number = 0;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t stop = text.find('\n', start);
    if (stop == std::string::npos) stop = text.size();
    ++number;
    if (all || (stop > start && text[start] != '#')) lines.push_back({number, text.substr(start, stop - start)});
    start = stop + 1;
  }
  return lines;
}

void fail(const std::string& text) {
  print_info(text, 9);
  std::exit(1);
}

void warn(const std::string& text) { print_info(text, 11); }

}  // namespace seqio
}  // namespace tevo
