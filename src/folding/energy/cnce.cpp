// CNCE: residue-contact bias.
#include "folding/energy/cnce.h"

#include <cmath>
#include <cstdlib>

#include "folding/energy/bias_matrix.h"
#include "folding/energy/pair_sum.h"
#include "folding/energy/settings.h"
#include "protein/geometry.h"
#include "util/console.h"

namespace tevo {

template <typename T>
void CNCE<T>::init(const std::string& file) {
  cfg_file_ = file;
  weight = 1;
  cutoff = T(7.5);
  matrix_file.clear();
  matrix.clear();
  read_cfg(file);
}

template <typename T>
void CNCE<T>::read_cfg(const std::string& file) {
  std::vector<Setting> settings;
  if (!read_settings(file, settings)) {
    print_info(file, 5);
    std::exit(1);
  }
  for (const Setting& s : settings) {
    if (s.key == "CBOND MATRIX PARFILE")
      matrix_file = s.value;
    else if (s.key == "CM WEIGHT")
      weight = static_cast<T>(setting_real(file, s));
    else if (s.key == "CM CUTOFF")
      cutoff = static_cast<T>(setting_real(file, s));
    else
      refuse_setting(file, s, "in initializing residue-contact bias energy!");
  }
}

template <typename T>
void CNCE<T>::load_par_file() {
  matrix.clear();
  if (!matrix_file.empty() && system_)
    load_bias_matrix(matrix_file, system_->get_num_of_amino_acids(), quiet_, matrix);
}

template <typename T>
void CNCE<T>::prev_calc_energy(Chain<T>* chain) {
  system_ = chain;
  bb_ = find_backbone_atoms(*chain);
  load_par_file();
}

template <typename T>
T CNCE<T>::is_contact(int i, int j) const {
  if (i == j) return 0;
  const BackboneAtoms& a = bb_[i];
  const BackboneAtoms& b = bb_[j];
  const int ci = a.cb >= 0 ? a.cb : a.ca, cj = b.cb >= 0 ? b.cb : b.ca;
  if (ci < 0 || cj < 0) return 0;
  const T* xyz = system_->coords();
  const T* Bi = xyz + 3 * ci;
  const T* Bj = xyz + 3 * cj;
  const T d = geom::dist(Bi, Bj);
  if (!(d > T(1.5) && d <= cutoff)) return 0;
  // Side-chain directions, where the residue has a CB.
  auto facing = [&](const BackboneAtoms& r, const T* from, const T* to) {
    if (r.cb < 0 || r.ca < 0) return true;
    T u[3], w[3];
    geom::sub(u, from, xyz + 3 * r.ca);
    geom::sub(w, to, from);
    const T c = geom::dot(u, w) / (std::sqrt(geom::dot(u, u) * geom::dot(w, w)) + static_cast<T>(kGeomEps));
    return c > T(-0.5);
  };
  return facing(a, Bi, Bj) && facing(b, Bj, Bi) ? T(1) : T(0);
}

template <typename T>
void CNCE<T>::calc_energy(T* out) {
  const int n = static_cast<int>(bb_.size());
  if (!system_ || matrix.empty()) {
    *out = -weight * T(0);
    return;
  }
  const T sum = residue_pair_sum<T>(n, [&](int i, int j) {
    const T w = matrix[static_cast<std::size_t>(i) * n + j];
    return w > 0 ? w * is_contact(i, j) : T(0);
  });
  *out = -weight * sum;
}

template class CNCE<float>;
template class CNCE<double>;

}  // namespace tevo
