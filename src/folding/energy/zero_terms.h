// The terms that a configuration may name but that add nothing: DOPE-CB,
// RADIAL and TSP. Each writes minus a stored value times 0.0, a negative zero.
#pragma once

#include <string>

#include "protein/chain.h"

namespace tevo {

// Members shared by the three: the chain, the quiet flag and the file named
// in the configuration (kept, not read).
template <typename T>
class ZeroTerm {
 public:
  void prev_calc_energy(Chain<T>* chain) { system_ = chain; }
  void calc_energy(T* out) { *out = -stored_ * T(0.0); }
  void calc_gradient(T*) {}
  void post_calc_energy() {}
  void finish() {}
  void set_quiet(bool quiet) { quiet_ = quiet; }
  void set_system(Chain<T>* chain) { system_ = chain; }
  void read_cfg(const std::string&) {}
  void load_par_file() {}

 protected:
  bool quiet_ = false;
  std::string file_;
  Chain<T>* system_ = nullptr;  // not owned
  T stored_ = 0;
};

template <typename T>
class DOPE_CB : public ZeroTerm<T> {
 public:
  void init(const std::string& file) {
    this->file_ = file;
    this->read_cfg(file);
    this->load_par_file();
  }
};

template <typename T>
class Radial : public ZeroTerm<T> {
 public:
  void init(const std::string& file);
};

template <typename T>
class TSP : public ZeroTerm<T> {
 public:
  void init(const std::string& file) { this->file_ = file; }
};

extern template class Radial<float>;
extern template class Radial<double>;

}  // namespace tevo
