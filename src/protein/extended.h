// Builds a fully extended chain (phi = psi = omega = 180) from a sequence:
// backbone N, CA, C, O and CB for every residue but glycine.
#pragma once

#include <string>
#include <vector>

#include "protein/chain.h"

namespace tevo {

// Ideal geometry of the built chain (Engh & Huber, Acta Cryst. A47:392, 1991).
struct BackboneGeometry {
  static constexpr double kNCa = 1.458, kCaC = 1.525, kCN = 1.329, kCO = 1.231, kCaCb = 1.530;
  static constexpr double kNCaC = 111.2;   // angle N-CA-C
  static constexpr double kCaCN = 116.2;   // angle CA-C-N(next)
  static constexpr double kCNCa = 121.7;   // angle C(prev)-N-CA
  static constexpr double kCaCO = 120.8;   // angle CA-C-O
  static constexpr double kNCaCb = 110.5;  // angle N-CA-CB
  static constexpr double kCNCaCb = -122.6;  // dihedral C-N-CA-CB of an L residue
};

// One residue per letter of `seq` (upper or lower case; 'X' builds UNK
// with a CB). Letters of no residue are refused: the position of the first
// one (0-based) goes to `bad` and the chain comes back empty.
template <typename T>
Chain<T> build_extended_chain(const std::string& seq, const std::string& chain_name, int& bad,
                              T phi = 180, T psi = 180, T omega = 180);

// Records of a protein FASTA file: ">" lines give names (without ">"),
// the lines up to the next ">" are joined, blanks removed. Returns false if
// the file cannot be opened; `line` gets the 1-based line of text found
// before the first ">" (0 if none).
bool read_protein_fasta(const std::string& path, std::vector<std::string>& names,
                        std::vector<std::string>& seqs, long& line);

extern template Chain<float> build_extended_chain<float>(const std::string&, const std::string&,
                                                         int&, float, float, float);
extern template Chain<double> build_extended_chain<double>(const std::string&, const std::string&,
                                                           int&, double, double, double);

}  // namespace tevo
