// Byte lookup of the gap-based residue code, for the loops over whole
// alignments: -1 for a character that is no residue or gap.
#pragma once

#include <cstdint>

namespace tevo {

// 256 entries, indexed by the unsigned character: aa12idx of each byte.
const int8_t* residue_code_table();

}  // namespace tevo
