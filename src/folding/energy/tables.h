// Numeric parameter tables of the energy terms and the sampler: plain or
// bzip2 text, tab-separated, "#" comment lines; every field must be a number.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tevo {

// Calls take(row, line) for each row of `file` (bzip2 when its name ends in
// ".bz2"). A row whose field count differs from `fields` (when fields > 0),
// or a field that is not a number, prints "Error: <file> line <n>: ..." and
// exits 1; so do a file that cannot be opened and a truncated bzip2 stream.
void for_each_table_row(const std::string& file, int fields,
                        const std::function<void(const std::vector<double>&, long)>& take);

// A whole table of equal rows ([rows][cols], row major) whose shape must be
// rows x cols; anything else is an error as above.
void read_table(const std::string& file, int rows, int cols, std::vector<double>& out);

// A matrix of numbers separated by blanks, tabs or commas (plain text), rows
// of equal length. False when the file cannot be opened; ragged rows or text
// cells print "Error: <file> line <n>: ..." and exit 1.
bool read_number_matrix(const std::string& file, std::vector<std::vector<double>>& rows);

}  // namespace tevo
