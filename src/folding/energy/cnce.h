// CNCE: a bias toward wanted residue contacts, read from a residue-by-residue
// matrix (such as predicted contacts).
#pragma once

#include <string>
#include <vector>

#include "folding/energy/backbone.h"
#include "protein/chain.h"

namespace tevo {

template <typename T>
class CNCE {
 public:
  void init(const std::string& file);
  void prev_calc_energy(Chain<T>* chain);
  // -weight x the sum over ordered pairs of matrix entry x is_contact.
  void calc_energy(T* out);
  void calc_gradient(T*) {}
  void post_calc_energy() {}
  void finish() {}
  void set_quiet(bool quiet) { quiet_ = quiet; }
  void set_system(Chain<T>* chain) { system_ = chain; }
  void read_cfg(const std::string& file);
  void load_par_file();

  // 1 when residues i and j touch: CB..CB (CA for glycine) above 1.5 A and
  // at most the cutoff, and neither side chain points away from the other
  // (cosine of CA(i)->CB(i) with CB(i)->CB(j) above -0.5, and the same for j).
  T is_contact(int i, int j) const;

  T weight = 1;
  T cutoff = T(7.5);
  std::string matrix_file;
  std::vector<T> matrix;  // [n * n]; empty: no wanted contacts

 private:
  bool quiet_ = false;
  std::string cfg_file_;
  Chain<T>* system_ = nullptr;  // not owned
  std::vector<BackboneAtoms> bb_;
};

extern template class CNCE<float>;
extern template class CNCE<double>;

}  // namespace tevo
