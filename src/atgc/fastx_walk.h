// Record-by-record walk over FASTQ or FASTA text with the checks shared by
// every reader of reads: headers, truncation, separator and quality length.
#pragma once

#include <cstdint>
#include <string>

#include "atgc/fastx_io.h"

namespace tevo {

struct FastxRecord {
  std::string header;    // the whole header line, with its "@" or ">"
  std::string sequence;  // FASTA lines are joined
  std::string quality;   // empty for FASTA
  std::uint64_t line = 0;  // line of the header
};

class FastxWalker {
 public:
  // `kind` is '@' or '>'; headers are kept only when `keep_header`.
  FastxWalker(GzLineReader& in, char kind, bool keep_header = true)
      : in_(in), kind_(kind), keep_header_(keep_header) {}
  // False at the end; malformed records are fatal, with file and line.
  bool next(FastxRecord& record);

 private:
  GzLineReader& in_;
  char kind_;
  bool keep_header_;
  std::string held_;  // a FASTA header read ahead
  bool has_held_ = false;
  std::uint64_t held_line_ = 0;
};

// Kind of a read file from its first byte ('@', '>'), 0 for an empty file;
// anything else is fatal with `what_fails` printed before the error line.
char fastx_kind(GzLineReader& in);

}  // namespace tevo
