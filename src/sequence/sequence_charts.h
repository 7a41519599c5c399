// The charts of the alignment analyses, in one place: each writes its plot
// script beside the result table it draws.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tevo {

// The 21 colours of the residue heat map, by residue index (0 is the gap).
extern const char* const kResidueColours[21];

// "set palette model RGB defined (0 '#F5F5F5',1 '#EB8500',...);\n"
std::string residue_palette_line();

// Heat map of the trimmed alignment <base>.csv: <base>_heatmap.gp.
void chart_trimmed_alignment(const std::string& base, int rows, int cols);

// Bar chart of the degree of conservation <base>.csv: <base>.gp.
void chart_site_conservation(const std::string& base, int sites);

// Bar chart of the similarity histogram <base>.csv: <base>.gp.
void chart_sequence_similarity(const std::string& base);

}  // namespace tevo
