// Which chain of a structure carries an alignment's reference sequence, and
// the residue number of each reference residue on that chain.
#pragma once

#include <string>
#include <vector>

namespace tevo {

struct PdbChain {
  std::string name;          // chain identifier as the structure reader gives it
  std::string letters;       // one letter per residue ('X' for a name outside the 20)
  std::vector<int> numbers;  // residue numbers, in file order
};

// The chains of a PDB file (plain or gzip), in file order. A directory or an
// unopenable file prints "Error: ..." and exits 1.
std::vector<PdbChain> read_pdb_chains(const std::string& pdb_file);

struct ChainMatch {
  int chain = -1;           // index into the chains
  int score = 0;            // alignment score (match 2, mismatch -1, gap 4 + 1 a residue)
  int aligned = 0;          // reference residues facing a chain residue
  int identical = 0;        // of these, with the same letter
  std::vector<int> numbers; // residue number of each reference residue
  double identity() const { return aligned > 0 ? static_cast<double>(identical) / aligned : 0.0; }
};

// Aligns `reference` (residue letters, upper case, no gaps) to a chain with
// end gaps free on both sides (affine gaps), and gives each reference residue
// the number of the residue it faces; residues facing a gap are numbered on
// from their nearest aligned neighbour.
ChainMatch match_chain(const std::string& reference, const PdbChain& chain);

// The best-scoring chain for `reference`, or the first chain named `wanted`
// when that is not empty (chain -1 if there is none of that name).
ChainMatch pick_chain(const std::string& reference, const std::vector<PdbChain>& chains,
                      const std::string& wanted);

}  // namespace tevo
