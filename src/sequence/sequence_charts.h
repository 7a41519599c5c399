// The charts of the alignment analyses, in one place: chart pages (Javas),
// gnuplot and matplotlib scripts beside the result tables they draw.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tevo {

// The 21 colours of the residue heat map, by residue index (0 is the gap).
extern const char* const kResidueColours[21];

// "set palette model RGB defined (0 '#F5F5F5',1 '#EB8500',...);\n"
std::string residue_palette_line();

// Heat map of the trimmed alignment (m: residue indices, [rows][cols]):
// <base>.html, and <base>.gp drawing <base>.csv.
void chart_trimmed_alignment(const std::string& base, const int32_t* const* m, int rows, int cols,
                             const std::vector<std::string>& site_labels);

// Bars of D_i (table [sites][2]: index, D_i) and a heat map of the relative
// entropies ([20][sites]), with base <prefix>_degree_of_conservation:
// <base>.html, <base>.py, <base>_relative_entropy.py.
template <typename T>
void chart_site_conservation(const std::string& prefix, T** conservation, T** entropy, int sites,
                             const std::vector<std::string>& site_labels);

// Bars of the identity histogram ([100][2]): <base>.html and <base>.gp.
template <typename T>
void chart_sequence_similarity(const std::string& base, T** table);

// Pair scores of the coupling analysis ([L][L], rows and columns labelled):
// <base>.json with <base>.html (heat map, colour legend "Weak" to "Strong"),
// <base>_chord.html, <base>.py, <base>.R and <base>.gp, the scripts' colour
// scale running from the matrix's minimum to its maximum.
template <typename T>
void chart_evolutionary_couplings(const std::string& base, T** coupling, int L,
                                  const std::vector<std::string>& labels);

// Residue communities: the normalised community matrix p ([n][n]) as
// <base>_mtx.html (heat map) and <base>_chord.html, and the row sums
// (csum [n][2]: index, sum) as bars in <base>_mtx_csum.html.
template <typename T>
void chart_residue_communities(const std::string& base, T** p, T** csum, int n,
                               const std::vector<std::string>& labels);

}  // namespace tevo
