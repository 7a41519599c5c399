// Writing and reading the blocks of the job record.
#include "report/record.h"

#include <cctype>
#include <fstream>
#include <sstream>

#include "report/chart.h"

namespace tevo {

namespace {

std::string one_line(std::string text) {
  for (char& c : text)
    if (c == '\n' || c == '\r') c = ' ';
  return text;
}

std::string strip(const std::string& text) {
  const std::size_t a = text.find_first_not_of(" \t\r\n");
  if (a == std::string::npos) return "";
  return text.substr(a, text.find_last_not_of(" \t\r\n") - a + 1);
}

bool single_word(const std::string& text) {
  return !text.empty() && text.find_first_of(" \t") == std::string::npos;
}

}  // namespace

int RecordBlock::view_kind() const {
  const std::size_t dash = layout.find_last_of('-');
  if (dash == std::string::npos) return 0;
  return std::atoi(layout.c_str() + dash + 1);
}

std::string record_path(const std::string& output, const std::string& jobname) { return output + jobname + ".log"; }

std::string format_block(const RecordBlock& block) {
  std::string text = one_line(block.layout) + "\n" + one_line(block.title) + "\n" + one_line(block.caption) + "\n" +
                     one_line(block.base) + "\n";
  for (const std::string& note : block.notes) text += "#WLA#" + one_line(note) + "\n";
  return text;
}

void append_record_block(const std::string& path, const RecordBlock& block) {
  write_text_file(path, format_block(block), "a+");
}

void append_record_block(const std::string& path, const std::string& layout, const std::string& title,
                         const std::string& caption, const std::string& base) {
  RecordBlock block;
  block.layout = layout;
  block.title = title;
  block.caption = caption;
  block.base = base;
  append_record_block(path, block);
}

bool is_layout_line(const std::string& raw) {
  const std::string line = strip(raw);
  int numbers = 0;
  std::size_t i = 0;
  while (i < line.size()) {
    const std::size_t start = i;
    while (i < line.size() && std::isdigit(static_cast<unsigned char>(line[i]))) ++i;
    if (i == start || i - start > 3) return false;
    ++numbers;
    if (i == line.size()) break;
    if (line[i] != '-') return false;
    ++i;
    if (i == line.size()) return false;
  }
  return numbers == 4;
}

std::vector<RecordBlock> parse_record(const std::string& text) {
  std::vector<RecordBlock> blocks;
  RecordBlock loose;  // notes before any block
  loose.layout = "";
  int field = 0;      // lines taken into the current block
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (is_layout_line(line)) {
      blocks.emplace_back();
      blocks.back().layout = strip(line);
      field = 0;
      continue;
    }
    // Notes may follow on one line ("#WLA#a#WLA#b") or each on its own.
    if (line.compare(0, 5, "#WLA#") == 0) {
      RecordBlock& target = blocks.empty() ? loose : blocks.back();
      std::size_t at = 5;
      while (at <= line.size()) {
        std::size_t next = line.find("#WLA#", at);
        const std::string note = strip(line.substr(at, next == std::string::npos ? std::string::npos : next - at));
        if (!note.empty()) target.notes.push_back(note);
        if (next == std::string::npos) break;
        at = next + 5;
      }
      continue;
    }
    if (!line.empty() && line[0] == '#') continue;
    if (blocks.empty()) continue;
    RecordBlock& block = blocks.back();
    const std::string value = strip(line);
    if (field == 0) block.title = value;
    else if (field == 1) block.caption = value;
    else if (value.empty()) { /* blank line between blocks */ }
    else if (block.base.empty() && single_word(value)) block.base = value;
    else if (block.notes.empty()) block.caption += (block.caption.empty() ? "" : " ") + value;
    else block.notes.push_back(value);  // text after notes belongs to them
    ++field;
  }
  if (!loose.notes.empty()) blocks.insert(blocks.begin(), loose);
  return blocks;
}

std::vector<RecordBlock> read_record(const std::string& path) {
  std::ifstream in(path);
  if (!in) return {};
  std::stringstream text;
  text << in.rdbuf();
  return parse_record(text.str());
}

}  // namespace tevo
