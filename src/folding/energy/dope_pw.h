// DOPE-PW: a distance-binned statistical pair potential over backbone and CB
// atoms, split into eight tables by the secondary-structure relation of the
// two residues (same segment of helix, strand or other; paired strands;
// residues apart).
#pragma once

#include <map>
#include <string>
#include <vector>

#include "folding/energy/backbone.h"
#include "protein/chain.h"

namespace tevo {

template <typename T>
class DOPE_PW {
 public:
  static constexpr int kTables = 8;
  static constexpr int kBins = 30;
  static constexpr long kTableSize = 20L * 20 * 8 * 8 * 30;  // 768,000
  static constexpr long kSize = kTables * kTableSize;        // 6,144,000
  static const char* const kStems[kTables];

  void init(const std::string& file);
  // Reads the configuration and the tables, classifies the residue pairs.
  void prev_calc_energy(Chain<T>* chain);
  void calc_energy(T* out);
  void calc_gradient(T*) {}
  void post_calc_energy() {}
  void finish() {}
  void set_quiet(bool quiet) { quiet_ = quiet; }
  void set_system(Chain<T>* chain) { system_ = chain; }
  void read_cfg(const std::string& file);
  void load_par_file();

  // The value of one atom pair: interpolation in table t at `offset`, then
  // the shaping rule of t (sep = b - a; cb: either atom is CB).
  T pair_value(int t, long offset, T d, int sep, bool cb) const;

  // Residue pairs b - a > 1 with their table and base offset (atom types
  // not yet added); table -1: the pair scores nothing.
  struct ResiduePair {
    int a, b;      // residue positions in the chain, from 0
    int table;     // 0..7, or -1
    long base;     // offset of atom types (0, 0)
    T value;       // the pair's last summed value
  };

  // Set by read_cfg.
  std::string names[kTables];
  T cutoffs[kTables];
  T coefficients[kTables];
  T widths[kTables];
  int bins[kTables];
  int use_full = 1;
  std::vector<T> table;  // [kSize], flat
  std::vector<ResiduePair> pairs;
  SecondaryStructure ss;
  long unplaced_pairs = 0;   // residue pairs outside the class table
  long beyond_table = 0;     // residue pairs whose offset leaves the table

 private:
  void set_defaults();
  void set_memory();
  void set_continuity();
  void term_assign();

  bool quiet_ = false;
  std::string cfg_file_;
  Chain<T>* system_ = nullptr;  // not owned
  int nres_ = 0, natoms_ = 0;
  std::map<std::string, int> atom_types_;
  std::vector<BackboneAtoms> bb_;
  std::vector<int> typed_;        // flat: per residue, atoms with a scored type (atom, type) pairs
  std::vector<int> typed_start_;  // [nres + 1] into typed_ (in pairs)
  std::vector<unsigned char> pair_class_;  // [nres * nres] 0 both helix, 1 both strand, 2 else
  std::string loaded_[kTables];   // the files the table holds
  std::vector<T> reach_;          // [nres] scratch of calc_energy
};

extern template class DOPE_PW<float>;
extern template class DOPE_PW<double>;

}  // namespace tevo
