// BURIAL: residue-type statistics of how deeply three groups of each residue
// are buried: the side chain (CB), the amide (NH) and the carbonyl (CO).
// Burial is a count of atoms within a distance in a cone about the group's
// direction (Hamelryck's half-sphere exposure, Proteins 59:38, 2005, when
// the cone is a half sphere).
#pragma once

#include <string>
#include <vector>

#include "folding/energy/backbone.h"
#include "protein/chain.h"

namespace tevo {

template <typename T>
class BurialE {
 public:
  enum Kind { kCO = 0, kNH = 1, kCB = 2 };
  struct Group {
    std::string file;     // parameter table, below the data root's cfg/
    int bin_size = 1;     // atoms per bin
    int bins = 40;
    T threshold = 12;     // radius of the sphere, A
    int neighbors = 2;    // residues closer than this in sequence are not counted
    T cone_angle = 180;   // full opening of the cone, degrees
    T weight = 1;
    std::vector<T> energy;  // [20][bins] by AA2INT code
  };

  void init(const std::string& file);
  void prev_calc_energy(Chain<T>* chain) {
    system_ = chain;
    cached_ = nullptr;  // a new chain: find its atoms again
  }
  void calc_energy(T* out);
  void calc_gradient(T*) {}
  void post_calc_energy() {}
  void finish() {}
  void set_quiet(bool quiet) { quiet_ = quiet; }
  void set_system(Chain<T>* chain) { system_ = chain; }
  void read_cfg(const std::string& file);
  void load_par_file();

  // Atoms counted about group `kind` of residue `res` (-1 when the residue
  // lacks the group's atoms). CB counts CA atoms, NH and CO count N, CA, C,
  // O and CB. A count at or past the last bin becomes (bins - 1) x bin size.
  int calc_burial(int res, int kind, T threshold, int neighbors, T cone_angle, int bins, int bin_size,
                  int* count) const;
  bool is_helix(int res) const { return !ss_.cls.empty() && ss_.cls[res] == kHelix; }
  bool is_beta(int res) const { return !ss_.cls.empty() && ss_.cls[res] == kStrand; }

  Group groups[3];
  int no_helix_hburial = 0;  // non-zero: helix residues skip NH and CO
  T beta_coeff = 0;          // extra share of the CB energy in the middle of strands

 private:
  bool quiet_ = false;
  std::string cfg_file_;
  Chain<T>* system_ = nullptr;  // not owned
  std::vector<BackboneAtoms> bb_;
  SecondaryStructure ss_;
  std::vector<int> code_;  // AA2INT code per residue
  const Chain<T>* cached_ = nullptr;  // the chain bb_ and code_ describe
};

extern template class BurialE<float>;
extern template class BurialE<double>;

}  // namespace tevo
