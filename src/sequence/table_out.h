// Text-file exchange used by the alignment code: line reading with line
// numbers, labelled tables, appended report text. Kept behind this small
// interface so that the shared writers of util can take over in one place.
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

// A heading line of the `index` cells (none if empty), then one row per line,
// each led by "<label>," when `labels` is not empty; cells "%.<decimals>f"
// separated by `delimiter`. Written to file + extension.
template <typename T>
void write_matrix_w_index(const std::string& file, const T* const* m, int rows, int cols,
                          const std::vector<std::string>& index, const std::vector<std::string>& labels,
                          const std::string& delimiter = ",", const std::string& extension = ".csv",
                          int decimals = 5);

// Writes `text` to `name` opened with `mode` ("w", "a+"); an unopenable file
// prints "Error: cannot open <name>" and exits 1, a failed write
// "Error: cannot write out <name>".
void write_string(const std::string& name, const std::string& text, const std::string& mode);

}  // namespace seqio
}  // namespace tevo
