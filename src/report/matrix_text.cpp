// Reader of small delimited tables for the plot command.
#include "report/matrix_text.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <fstream>

namespace tevo {

namespace {

std::vector<std::string> split(const std::string& line, char delimiter) {
  std::vector<std::string> fields;
  if (delimiter == ' ') {  // runs of blanks or tabs
    std::size_t i = 0;
    while (i < line.size()) {
      while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
      if (i >= line.size()) break;
      const std::size_t start = i;
      while (i < line.size() && line[i] != ' ' && line[i] != '\t') ++i;
      fields.push_back(line.substr(start, i - start));
    }
    return fields;
  }
  std::size_t start = 0;
  while (true) {
    const std::size_t end = line.find(delimiter, start);
    std::string field = line.substr(start, end == std::string::npos ? std::string::npos : end - start);
    const std::size_t a = field.find_first_not_of(" \t\"");
    field = a == std::string::npos ? "" : field.substr(a, field.find_last_not_of(" \t\"") - a + 1);
    fields.push_back(field);
    if (end == std::string::npos) break;
    start = end + 1;
  }
  // a delimiter closing the line leaves no field behind
  if (fields.size() > 1 && fields.back().empty()) fields.pop_back();
  return fields;
}

bool number(const std::string& text, double* value) {
  if (text.empty()) return false;
  const std::string lower = text == "NA" || text == "nan" || text == "NaN" ? "nan" : text;
  if (lower == "nan") {
    *value = NAN;
    return true;
  }
  char* end = nullptr;
  errno = 0;
  *value = std::strtod(text.c_str(), &end);
  return end && *end == '\0' && end != text.c_str();
}

}  // namespace

bool read_text_table(const std::string& path, TextTable* table, std::string* error) {
  std::ifstream in(path);
  if (!in) {
    *error = "cannot open " + path;
    return false;
  }
  *table = TextTable();
  std::string line;
  char delimiter = 0;
  long line_number = 0;
  bool first = true;
  bool row_names = false;
  while (std::getline(in, line)) {
    ++line_number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.find_first_not_of(" \t") == std::string::npos || line[0] == '#') continue;
    if (!delimiter) {
      delimiter = line.find(',') != std::string::npos    ? ','
                  : line.find('\t') != std::string::npos ? '\t'
                  : line.find(';') != std::string::npos  ? ';'
                                                         : ' ';
    }
    std::vector<std::string> fields = split(line, delimiter);
    std::vector<double> values(fields.size());
    std::vector<bool> numeric(fields.size());
    std::size_t numbers = 0;
    for (std::size_t k = 0; k < fields.size(); ++k) {
      numeric[k] = number(fields[k], &values[k]);
      numbers += numeric[k];
    }
    if (first) {
      first = false;
      // A header has no number past its first field.
      bool header = true;
      for (std::size_t k = 1; k < fields.size(); ++k)
        if (numeric[k]) header = false;
      if (fields.size() == 1) header = !numeric[0];
      if (header) {
        table->col_names = fields;
        continue;
      }
    }
    if (table->rows.empty()) {
      row_names = !fields.empty() && !numeric[0] && fields.size() > 1;
      if (row_names && table->col_names.size() == fields.size()) {
        table->row_header = table->col_names[0];
        table->col_names.erase(table->col_names.begin());
      }
      table->cols = fields.size() - (row_names ? 1 : 0);
    }
    const std::size_t expected = table->cols + (row_names ? 1 : 0);
    if (fields.size() != expected) {
      *error = path + " line " + std::to_string(line_number) + ": " + std::to_string(fields.size()) +
               " fields where " + std::to_string(expected) + " were expected";
      return false;
    }
    std::vector<double> row;
    for (std::size_t k = row_names ? 1 : 0; k < fields.size(); ++k) {
      if (!numeric[k]) {
        *error = path + " line " + std::to_string(line_number) + ": \"" + fields[k] + "\" is not a number";
        return false;
      }
      row.push_back(values[k]);
    }
    if (row_names) table->row_names.push_back(fields[0]);
    table->rows.push_back(std::move(row));
  }
  if (table->rows.empty() || table->cols == 0) {
    *error = path + ": no numbers to draw";
    return false;
  }
  if (!table->col_names.empty() && table->col_names.size() != table->cols) table->col_names.clear();
  return true;
}

}  // namespace tevo
