// HNCE: a reward for backbone hydrogen bonds, all of them or, with a bias
// matrix, those the matrix asks for.
#pragma once

#include <string>
#include <vector>

#include "folding/energy/backbone.h"
#include "protein/chain.h"

namespace tevo {

template <typename T>
class HNCE {
 public:
  void init(const std::string& file);
  void prev_calc_energy(Chain<T>* chain);
  // -weight x the sum of is_NHbonded over residue pairs (each bond 2.0),
  // each scaled by its matrix entry when a matrix is set.
  void calc_energy(T* out);
  void calc_gradient(T*) {}
  void post_calc_energy() {}
  void finish() {}
  void set_quiet(bool quiet) { quiet_ = quiet; }
  void set_system(Chain<T>* chain) { system_ = chain; }
  void read_cfg(const std::string& file);
  void load_par_file();

  // 2.0 when the N-H of residue i bonds the O of residue j: H..O in (1.0, 2.5) A,
  // cosine at H below -0.707, |i - j| > 3; else 0.
  T is_NHbonded(int i, int j) const;

  T weight = 1;
  std::string matrix_file;             // empty: every pair counts 1
  std::vector<T> matrix;               // [n * n] donor row, acceptor column

 private:
  bool quiet_ = false;
  std::string cfg_file_;
  Chain<T>* system_ = nullptr;  // not owned
  std::vector<BackboneAtoms> bb_;
};

extern template class HNCE<float>;
extern template class HNCE<double>;

}  // namespace tevo
