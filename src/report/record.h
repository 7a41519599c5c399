// The job record <output><jobname>.log: blocks appended by the commands and
// read back by the report page. A block is
//   layout line   "1-1-1-0"   (heading level, columns, figures, view kind)
//   title line
//   caption line  (may carry <b>, <sub>, entities ...)
//   base line     (name of the block's files: a postfix such as
//                  "chpso_optimizer" or a whole path without extension)
// Lines starting "#WLA#" are notes shown under the current block; other
// lines starting "#" are comments.
#pragma once

#include <string>
#include <vector>

namespace tevo {

struct RecordBlock {
  std::string layout = "1-1-1-0";
  std::string title, caption, base;
  std::vector<std::string> notes;
  // The fourth layout number: 0 chart, 1 wide chart (scrolls sideways),
  // 2 chart with a script's picture, 3 structure view.
  int view_kind() const;
};

// "<output><jobname>.log".
std::string record_path(const std::string& output, const std::string& jobname);

// The text of a block, each line ending in "\n".
std::string format_block(const RecordBlock& block);

// Appends a block in mode "a+"; "Error: cannot open <path>" and exit 1 when
// the record cannot be opened.
void append_record_block(const std::string& path, const RecordBlock& block);
void append_record_block(const std::string& path, const std::string& layout, const std::string& title,
                         const std::string& caption, const std::string& base = "");

// True for a layout line: four whole numbers joined by "-".
bool is_layout_line(const std::string& line);

// Blocks of a record text; lines before the first layout line form a block
// of their own only when they carry notes.
std::vector<RecordBlock> parse_record(const std::string& text);
// The blocks of a record file; none when it does not exist.
std::vector<RecordBlock> read_record(const std::string& path);

}  // namespace tevo
