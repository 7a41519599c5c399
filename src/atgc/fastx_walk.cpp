// FASTQ records are four lines (header, sequence, "+" line, quality); FASTA
// records are a ">" header followed by any number of sequence lines.
#include "atgc/fastx_walk.h"

#include "util/console.h"

namespace tevo {

namespace {

std::string where(const GzLineReader& in, std::uint64_t line) {
  return in.name() + " line " + std::to_string(line) + ": ";
}

}  // namespace

char fastx_kind(GzLineReader& in) {
  const char* line = nullptr;
  std::size_t length = 0;
  while (in.peek() == '\n' || in.peek() == '\r') in.next(line, length);
  const int first = in.peek();
  if (first < 0) return 0;
  if (first == '@' || first == '>') return static_cast<char>(first);
  reads_fail(where(in, in.line_number() + 1) + "a FASTQ record must begin with \"@\" (a FASTA record with \">\")");
}

bool FastxWalker::next(FastxRecord& record) {
  const char* line = nullptr;
  std::size_t length = 0;
  if (kind_ == '>') {
    if (!has_held_) {
      do {
        if (!in_.next(line, length)) return false;
      } while (length == 0);
      if (line[0] != '>')
        reads_fail(where(in_, in_.line_number()) + "a FASTA record must begin with \">\"");
      held_.assign(line, length);
      held_line_ = in_.line_number();
    }
    record.header.swap(held_);
    record.line = held_line_;
    record.sequence.clear();
    record.quality.clear();
    has_held_ = false;
    while (in_.next(line, length)) {
      if (length > 0 && line[0] == '>') {
        held_.assign(line, length);
        held_line_ = in_.line_number();
        has_held_ = true;
        break;
      }
      record.sequence.append(line, length);
    }
    return true;
  }

  do {
    if (!in_.next(line, length)) return false;
  } while (length == 0);
  record.line = in_.line_number();
  if (line[0] != '@')
    reads_fail(where(in_, record.line) + "a FASTQ record must begin with \"@\"");
  if (keep_header_) record.header.assign(line, length);
  if (!in_.next(line, length))
    reads_fail(where(in_, record.line) + "the record is cut short before its sequence");
  record.sequence.assign(line, length);
  if (!in_.next(line, length))
    reads_fail(where(in_, record.line) + "the record is cut short before its \"+\" line");
  if (length == 0 || line[0] != '+')
    reads_fail(where(in_, in_.line_number()) + "expected the \"+\" line of the record at line " +
               std::to_string(record.line));
  if (!in_.next(line, length))
    reads_fail(where(in_, record.line) + "the record is cut short before its quality");
  record.quality.assign(line, length);
  if (record.quality.size() != record.sequence.size()) {
    print_info("the lengths of the quality and sequence are different!", 9);
    reads_fail(where(in_, in_.line_number()) + "the quality has " +
               std::to_string(record.quality.size()) + " characters, the sequence " +
               std::to_string(record.sequence.size()));
  }
  return true;
}

}  // namespace tevo
