// Text input of the alignment readers: whole files, plain or gzip, and their
// lines with line numbers kept for the error messages.
#pragma once

#include <string>
#include <vector>

namespace tevo {
namespace seqio {

struct Line {
  long number;  // 1-based line in the file
  std::string text;
};

// The whole text of `file`, decompressed when it is gzip. A directory, an
// unopenable file, or a damaged or cut gzip stream prints "Error: ..." and
// exits with status 1.
std::string read_text(const std::string& file);

// Lines of read_text(file) with their numbers. Without `all`, lines that are
// empty or begin with "#" are left out (the filter of the shared read_file).
std::vector<Line> read_lines(const std::string& file, bool all = false);

// "-- Error: <text>" in red, then exit status 1: the end of every input error
// of the alignment code.
[[noreturn]] void fail(const std::string& text);

// "Warning: <text>": what a run goes on after.
void warn(const std::string& text);

}  // namespace seqio
}  // namespace tevo
