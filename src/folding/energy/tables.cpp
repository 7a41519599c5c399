// Checked readers of the numeric parameter tables.
#include "folding/energy/tables.h"

#include <cstdlib>

#include "util/console.h"
#include "util/files.h"

namespace tevo {

namespace {

[[noreturn]] void bad_row(const std::string& file, long line, const std::string& what) {
  print_info(file + " line " + std::to_string(line) + ": " + what, 9);
  std::exit(1);
}

bool ends_with(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

}  // namespace

void for_each_table_row(const std::string& file, int fields,
                        const std::function<void(const std::vector<double>&, long)>& take) {
  refuse_directory(file);
  TableReader reader(file, '\t', ends_with(file, ".bz2"));
  std::vector<double> row;
  while (reader.next()) {
    if (fields > 0 && reader.size() != fields)
      bad_row(file, reader.line(),
              "expected " + std::to_string(fields) + " fields, found " + std::to_string(reader.size()));
    row.resize(reader.size());
    for (int i = 0; i < reader.size(); ++i) {
      const std::string_view t = reader.text(i);
      char* end = nullptr;
      row[i] = std::strtod(t.data(), &end);
      if (end != t.data() + t.size()) bad_row(file, reader.line(), "\"" + std::string(t) + "\" is not a number");
    }
    take(row, reader.line());
  }
}

void read_table(const std::string& file, int rows, int cols, std::vector<double>& out) {
  out.clear();
  out.reserve(static_cast<std::size_t>(rows) * cols);
  long last = 0;
  int seen = 0;
  for_each_table_row(file, cols, [&](const std::vector<double>& row, long line) {
    if (++seen > rows) bad_row(file, line, "more than " + std::to_string(rows) + " rows");
    out.insert(out.end(), row.begin(), row.end());
    last = line;
  });
  if (seen != rows)
    bad_row(file, last, "the table ends after " + std::to_string(seen) + " of " + std::to_string(rows) + " rows");
}

bool read_number_matrix(const std::string& file, std::vector<std::vector<double>>& rows) {
  rows.clear();
  long current = -1;
  std::vector<long> lines;
  const bool ok = for_each_number_token(file, [&](const char* token, long line) {
    char* end = nullptr;
    const double v = std::strtod(token, &end);
    if (end == token || *end != '\0') bad_row(file, line, "\"" + std::string(token) + "\" is not a number");
    if (line != current) {
      rows.emplace_back();
      lines.push_back(line);
      current = line;
    }
    rows.back().push_back(v);
  });
  if (!ok) return false;
  for (std::size_t r = 1; r < rows.size(); ++r)
    if (rows[r].size() != rows[0].size())
      bad_row(file, lines[r],
              std::to_string(rows[r].size()) + " values where the first row has " + std::to_string(rows[0].size()));
  return true;
}

}  // namespace tevo
