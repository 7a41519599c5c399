// A delimited numeric table as the plot command reads it: comment lines
// ("#") and empty lines skipped, the delimiter guessed from the first data
// line (",", tab, ";" or blanks), an optional header line of names and an
// optional first column of row names.
#pragma once

#include <string>
#include <vector>

namespace tevo {

struct TextTable {
  std::vector<std::vector<double>> rows;
  std::vector<std::string> col_names;  // from a header line, without the row-name column
  std::vector<std::string> row_names;  // from a text first column
  std::string row_header;              // header word above the row names
  std::size_t cols = 0;
};

// Reads `path` into `table`. False with `error` set ("line 7: 3 fields
// where 4 were expected", "no numbers", ...) on a ragged or empty table;
// a file that cannot be opened is an error too.
bool read_text_table(const std::string& path, TextTable* table, std::string* error);

}  // namespace tevo
