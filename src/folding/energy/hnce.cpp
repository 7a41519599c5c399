// HNCE: backbone hydrogen-bond reward.
#include "folding/energy/hnce.h"

#include <cmath>
#include <cstdlib>

#include <glog/logging.h>

#include "folding/energy/bias_matrix.h"
#include "folding/energy/pair_sum.h"
#include "folding/energy/settings.h"
#include "protein/geometry.h"
#include "util/console.h"

namespace tevo {

template <typename T>
void HNCE<T>::init(const std::string& file) {
  cfg_file_ = file;
  weight = 1;
  matrix_file.clear();
  matrix.clear();
  read_cfg(file);
}

template <typename T>
void HNCE<T>::read_cfg(const std::string& file) {
  std::vector<Setting> settings;
  if (!read_settings(file, settings)) {
    print_info(file, 5);
    std::exit(1);
  }
  for (const Setting& s : settings) {
    if (s.key == "HBOND MATRIX PARFILE")
      matrix_file = s.value;
    else if (s.key == "HM WEIGHT")
      weight = static_cast<T>(setting_real(file, s));
    else
      refuse_setting(file, s, "in initializing hydrogen-bond constraint energy!");
  }
}

template <typename T>
void HNCE<T>::load_par_file() {
  matrix.clear();
  if (!matrix_file.empty() && system_)
    load_bias_matrix(matrix_file, system_->get_num_of_amino_acids(), quiet_, matrix);
}

template <typename T>
void HNCE<T>::prev_calc_energy(Chain<T>* chain) {
  system_ = chain;
  bb_ = find_backbone_atoms(*chain);
  load_par_file();
}

template <typename T>
T HNCE<T>::is_NHbonded(int i, int j) const {
  if (std::abs(i - j) <= 3) return 0;
  const BackboneAtoms& d = bb_[i];
  const int o = bb_[j].o;
  if (d.hn < 0 || d.n < 0 || o < 0) return 0;
  const T* xyz = system_->coords();
  const T* H = xyz + 3 * d.hn;
  const T* N = xyz + 3 * d.n;
  const T* O = xyz + 3 * o;
  const T dist = geom::dist(H, O);
  if (!(dist < T(2.5) && dist > T(1.0))) return 0;
  T hn[3], ho[3];
  geom::sub(hn, H, N);
  geom::sub(ho, H, O);
  const T c = geom::dot(hn, ho) / (std::sqrt(geom::dot(hn, hn) * geom::dot(ho, ho)) + static_cast<T>(kGeomEps));
  return c < T(-0.707) ? T(2.0) : T(0);
}

template <typename T>
void HNCE<T>::calc_energy(T* out) {
  if (!system_) {
    LOG(INFO) << "HNCE: no chain to score";
    *out = 0;
    return;
  }
  const int n = static_cast<int>(bb_.size());
  const bool biased = !matrix_file.empty();
  if (biased && matrix.empty()) {
    *out = 0;
    return;
  }
  const T sum = residue_pair_sum<T>(n, [&](int i, int j) {
    const T w = biased ? matrix[static_cast<std::size_t>(i) * n + j] : T(1);
    return w > 0 ? w * is_NHbonded(i, j) : T(0);
  });
  *out = -weight * sum;
}

template class HNCE<float>;
template class HNCE<double>;

}  // namespace tevo
