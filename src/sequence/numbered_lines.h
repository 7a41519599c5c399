// Line reading for the alignment readers: the filter of the shared read_file
// (empty lines and "#" lines dropped), with each line's number kept for the
// error messages.
#pragma once

#include <string>
#include <vector>

namespace tevo {
namespace seqio {

struct Line {
  long number;  // 1-based line in the file
  std::string text;
};

// Lines of `file` that are not empty and do not begin with "#", with their
// line numbers. An unopenable file prints "Error: cannot open <file>" and
// exits with status 1.
std::vector<Line> read_lines(const std::string& file);

// "-- Error: <text>" in red, then exit status 1: the end of every input error
// of the alignment code.
[[noreturn]] void fail(const std::string& text);

}  // namespace seqio
}  // namespace tevo
