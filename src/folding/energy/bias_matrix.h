// The residue-by-residue bias matrices of the contact and hydrogen-bond terms.
#pragma once

#include <string>
#include <vector>

namespace tevo {

// Reads an n x n matrix of numbers (blanks, tabs or commas) with
// "Loading <file> ..." and "done". A file that cannot be opened prints
// "Error: cannot open <file>" and exits 1, as does a matrix of another
// shape than the chain's n residues. An empty file gives an empty matrix.
template <typename T>
void load_bias_matrix(const std::string& file, int n, bool quiet, std::vector<T>& out);

extern template void load_bias_matrix(const std::string&, int, bool, std::vector<float>&);
extern template void load_bias_matrix(const std::string&, int, bool, std::vector<double>&);

}  // namespace tevo
