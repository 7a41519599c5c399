// BURIAL: counting atoms in cones and the residue-type tables.
#include "folding/energy/burial.h"

#include <cmath>
#include <cstdlib>

#include "folding/data_root.h"
#include "folding/energy/settings.h"
#include "folding/energy/tables.h"
#include "protein/geometry.h"
#include "protein/residues.h"
#include "util/console.h"

namespace tevo {

namespace {
const char* const kGroupNames[3] = {"CO", "NH", "CB"};
const char* const kDefaultFiles[3] = {"burial/co_burial.par.bz2", "burial/nh_burial.par.bz2",
                                      "burial/cb_burial.par.bz2"};
}  // namespace

template <typename T>
void BurialE<T>::init(const std::string& file) {
  cfg_file_ = file;
  cached_ = nullptr;
  for (int g = 0; g < 3; ++g) {
    groups[g] = Group();
    groups[g].file = kDefaultFiles[g];
  }
  no_helix_hburial = 0;
  beta_coeff = 0;
  read_cfg(file);
  load_par_file();
}

template <typename T>
void BurialE<T>::read_cfg(const std::string& file) {
  std::vector<Setting> settings;
  if (!read_settings(file, settings)) {
    print_info(file, 5);
    std::exit(1);
  }
  if (!quiet_) print_info("the burial energy configurations ", 32, 0);
  for (const Setting& s : settings) {
    bool known = false;
    for (int g = 0; g < 3 && !known; ++g) {
      const std::string name = kGroupNames[g];
      Group& gr = groups[g];
      known = true;
      if (s.key == name + " PARFILE") gr.file = s.value;
      else if (s.key == name + " BIN SIZE") gr.bin_size = setting_int(file, s);
      else if (s.key == name + " BINS") gr.bins = setting_int(file, s);
      else if (s.key == name + " THRESHOLD") gr.threshold = static_cast<T>(setting_real(file, s));
      else if (s.key == name + " NEIGHBORS") gr.neighbors = setting_int(file, s);
      else if (s.key == name + " CONE ANGLE") gr.cone_angle = static_cast<T>(setting_real(file, s));
      else if (s.key == name + " WEIGHT") gr.weight = static_cast<T>(setting_real(file, s));
      else known = false;
    }
    if (known) continue;
    if (s.key == "NO HELIX HBURIAL")
      no_helix_hburial = setting_int(file, s);
    else if (s.key == "BETA COEFF")
      beta_coeff = static_cast<T>(setting_real(file, s));
    else
      refuse_setting(file, s, "in initializing residue-contact bias energy!");
  }
  for (const Group& g : groups)
    if (g.bins < 1 || g.bin_size < 1 || g.bins > 100000) {
      print_info(file + ": BINS must be 1 to 100000 and BIN SIZE at least 1", 9);
      std::exit(1);
    }
  if (!quiet_) std::printf("done\n");
}

template <typename T>
void BurialE<T>::load_par_file() {
  for (Group& g : groups) {
    const std::string path = cfg_path(g.file);
    std::vector<double> rows;
    read_table(path, 20, 1 + g.bins, rows);
    g.energy.assign(static_cast<std::size_t>(20) * g.bins, 0);
    for (int r = 0; r < 20; ++r) {
      if (rows[r * (1 + g.bins)] != r) {
        print_info(path + ": row " + std::to_string(r + 1) + " must hold residue code " + std::to_string(r), 9);
        std::exit(1);
      }
      for (int b = 0; b < g.bins; ++b) g.energy[r * g.bins + b] = static_cast<T>(rows[r * (1 + g.bins) + 1 + b]);
    }
  }
}

template <typename T>
int BurialE<T>::calc_burial(int res, int kind, T threshold, int neighbors, T cone_angle, int bins, int bin_size,
                            int* count) const {
  const BackboneAtoms& r = bb_[res];
  int centre = -1, from = -1;
  switch (kind) {
    case kCB: centre = r.cb, from = r.ca; break;
    case kNH: centre = r.n, from = r.hn; break;  // axis N -> H
    default: centre = r.o, from = r.c; break;
  }
  if (centre < 0 || from < 0) {
    *count = -1;
    return -1;
  }
  const T* xyz = system_->coords();
  const T* c = xyz + 3 * centre;
  T axis[3];
  if (kind == kNH)
    geom::sub(axis, xyz + 3 * from, c);
  else
    geom::sub(axis, c, xyz + 3 * from);
  geom::unit_eps(axis);
  const T cos_limit = std::cos(cone_angle * T(0.5) * static_cast<T>(kDeg2Rad));
  const T r2 = threshold * threshold;
  const int n = static_cast<int>(bb_.size());
  int found = 0;
  auto consider = [&](int atom) {
    if (atom < 0) return;
    T v[3];
    geom::sub(v, xyz + 3 * atom, c);
    const T d2 = geom::dot(v, v);
    if (d2 > r2 || d2 <= 0) return;
    if (geom::dot(v, axis) / (std::sqrt(d2) + static_cast<T>(kGeomEps)) >= cos_limit) ++found;
  };
  // Backbone and CB atoms lie within 2.6 A of their CA: one test spares
  // the residues out of reach.
  const T far2 = (threshold + T(2.6)) * (threshold + T(2.6));
  for (int j = 0; j < n; ++j) {
    if (std::abs(j - res) < neighbors) continue;
    const BackboneAtoms& o = bb_[j];
    if (o.ca >= 0) {
      T v[3];
      geom::sub(v, xyz + 3 * o.ca, c);
      if (geom::dot(v, v) > far2) continue;
    }
    if (kind == kCB) {
      consider(o.ca);
    } else {
      consider(o.n);
      consider(o.ca);
      consider(o.c);
      consider(o.o);
      consider(o.cb);
    }
  }
  const int limit = (bins - 1) * bin_size;
  *count = found > limit ? limit : found;
  return *count;
}

template <typename T>
void BurialE<T>::calc_energy(T* out) {
  T total = 0;
  if (system_) {
    // Atom numbers and residue codes stay while the chain only moves.
    if (bb_.size() != system_->amino_acids.size() || cached_ != system_) {
      bb_ = find_backbone_atoms(*system_);
      code_.assign(bb_.size(), 20);
      for (std::size_t i = 0; i < bb_.size(); ++i) {
        const auto it = AA2INT.find(system_->amino_acids[i].name);
        if (it != AA2INT.end()) code_[i] = it->second;
      }
      cached_ = system_;
    }
    const int n = static_cast<int>(bb_.size());
    if (no_helix_hburial || beta_coeff != 0)
      assign_secondary_structure(system_->coords(), bb_, ss_);
    else
      ss_.cls.clear();
    auto energy_of = [&](int i, int kind) -> T {
      const Group& g = groups[kind];
      int count = 0;
      if (calc_burial(i, kind, g.threshold, g.neighbors, g.cone_angle, g.bins, g.bin_size, &count) < 0) return 0;
      return g.weight * g.energy[code_[i] * g.bins + count / g.bin_size];
    };
    for (int i = 0; i < n; ++i) {
      if (code_[i] > 19) continue;
      const bool skip_polar = no_helix_hburial && is_helix(i);
      if (code_[i] != 7) total += energy_of(i, kCB);  // glycine has no side-chain class
      if (!skip_polar) total += energy_of(i, kNH) + energy_of(i, kCO);
      if (beta_coeff != 0 && code_[i] != 7 && i > 0 && i + 1 < n && is_beta(i - 1) && is_beta(i) &&
          is_beta(i + 1))
        total += beta_coeff * energy_of(i, kCB);
    }
  }
  *out = total;
}

template class BurialE<float>;
template class BurialE<double>;

}  // namespace tevo
