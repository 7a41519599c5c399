// Text helpers of the PDB writer: numbers made with "%f" and cut (never
// rounded), fixed-width fields, and whole-file writes.
#pragma once

#include <string>

namespace tevo {

// Appends "%f" of `value` cut to `decimals` (at most 6), right-justified in `width`.
void append_cut(std::string& out, double value, int decimals, int width);
// Appends "%d" of `value` right-justified in `width`.
void append_int(std::string& out, long value, int width);
// Appends `text`, padded with blanks to `width` on the right (left = true) or left.
void append_padded(std::string& out, const std::string& text, int width, bool left);

// Writes `text` with fopen mode `mode`; prints "Error: cannot open <path>" and
// returns false when the file cannot be opened or the write or close fails.
bool write_text(const std::string& path, const std::string& mode, const std::string& text);

}  // namespace tevo
