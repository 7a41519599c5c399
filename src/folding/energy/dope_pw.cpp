// DOPE-PW: configuration, tables, pair classification and the pair sum.
#include "folding/energy/dope_pw.h"

#include <cmath>
#include <memory>
#include <mutex>

#include "folding/data_root.h"
#include "folding/energy/settings.h"
#include "folding/energy/tables.h"
#include "protein/geometry.h"
#include "util/console.h"
#include "util/strings.h"

namespace tevo {

template <typename T>
const char* const DOPE_PW<T>::kStems[DOPE_PW<T>::kTables] = {
    "PW_EE_CONT_ENERGY",     "PW_HH_CONT_ENERGY",  "PW_CC_CONT_ENERGY",  "PW_0EEAP_NCONT_ENERGY",
    "PW_0EEP_NCONT_ENERGY",  "PW_0A_NCONT_ENERGY", "PW_1A_NCONT_ENERGY", "PW_2A_NCONT_ENERGY"};

namespace {
// The shipped tables, used when a configuration names none.
const char* const kDefaultFiles[8] = {"dope/pw_ee_cont.par.bz2",     "dope/pw_hh_cont.par.bz2",
                                      "dope/pw_cc_cont.par.bz2",     "dope/pw_0eeap_ncont.par.bz2",
                                      "dope/pw_0eep_ncont.par.bz2",  "dope/pw_0a_ncont.par.bz2",
                                      "dope/pw_1a_ncont.par.bz2",    "dope/pw_2a_ncont.par.bz2"};
constexpr int kHN = 1, kCB = 3, kHA1 = 5;
}  // namespace

template <typename T>
void DOPE_PW<T>::set_defaults() {
  for (int t = 0; t < kTables; ++t) {
    names[t] = kDefaultFiles[t];
    bins[t] = kBins;
    cutoffs[t] = t < 3 ? T(15) : T(30);
    coefficients[t] = 1;
    widths[t] = cutoffs[t] / bins[t];
  }
  use_full = 1;
  atom_types_ = {{"N", 0}, {"HN", 1}, {"CA", 2}, {"CB", 3}, {"HA2", 4}, {"HA1", 5}, {"C", 6}, {"O", 7}};
}

template <typename T>
void DOPE_PW<T>::init(const std::string& file) {
  if (!quiet_) print_info("Initializing the DOPE-PW energy module ...", 32);
  cfg_file_ = file;
  set_defaults();
  if (!quiet_) print_info("Completed initializing the DOPE-PW energy module", 32);
}

template <typename T>
void DOPE_PW<T>::read_cfg(const std::string& file) {
  std::vector<Setting> settings;
  if (!read_settings(file, settings)) {
    print_info("cannot open " + file + "; the DOPE-PW defaults are used", 11);
    return;
  }
  if (!quiet_) print_info("DOPE-PW energy configurations ", 32, 0);
  for (const Setting& s : settings) {
    bool known = false;
    for (int t = 0; t < kTables && !known; ++t) {
      const std::string stem = kStems[t];
      if (s.key == stem + " PARAMETER FILE") {
        names[t] = s.value;
        known = true;
      } else if (s.key == stem + " COEFFICIENT") {
        coefficients[t] = static_cast<T>(setting_real(file, s));
        known = true;
      }
    }
    if (known) continue;
    if (s.key == "DISTANCE CUTOFF") {
      const T cut = static_cast<T>(setting_real(file, s));
      for (int t : {0, 1, 2, 5}) cutoffs[t] = cut;
    } else if (s.key == "DISTANCE CUTOFF 1A2A") {
      setting_real(file, s);  // checked, not kept
    } else if (s.key == "USE FULL") {
      use_full = setting_int(file, s);
    } else if (s.key != "DEBUG") {
      refuse_setting(file, s, "in initializing DOPE-PW energy!");
    }
  }
  for (int t = 0; t < kTables; ++t)
    if (!(cutoffs[t] > 0)) {
      print_info(file + ": the distance cutoff must be above 0", 9);
      std::exit(1);
    }
  if (!quiet_) std::printf("done\n");
}

namespace {
// Tables read once per process and file: every chain's fresh term object
// copies them instead of decompressing them again.
template <typename T>
const std::vector<T>& cached_table(const std::string& file) {
  static std::mutex lock;
  static std::map<std::string, std::unique_ptr<std::vector<T>>> cache;
  std::lock_guard<std::mutex> guard(lock);
  auto& slot = cache[file];
  if (slot) return *slot;
  auto values = std::make_unique<std::vector<T>>(DOPE_PW<T>::kTableSize, T(0));
  for_each_table_row(file, 4 + DOPE_PW<T>::kBins, [&](const std::vector<double>& row, long line) {
    const int ra = static_cast<int>(row[0]), aa = static_cast<int>(row[1]);
    const int rb = static_cast<int>(row[2]), ab = static_cast<int>(row[3]);
    if (ra < 0 || ra > 19 || rb < 0 || rb > 19 || aa < 0 || aa > 7 || ab < 0 || ab > 7 || ra != row[0] ||
        rb != row[2] || aa != row[1] || ab != row[3]) {
      print_info(file + " line " + std::to_string(line) + ": residues must be 0 to 19 and atom types 0 to 7", 9);
      std::exit(1);
    }
    T* dst = values->data() + ra * 38400L + rb * 1920L + aa * 240L + ab * 30L;
    for (int k = 0; k < DOPE_PW<T>::kBins; ++k) dst[k] = static_cast<T>(row[4 + k]);
  });
  slot = std::move(values);
  return *slot;
}
}  // namespace

template <typename T>
void DOPE_PW<T>::load_par_file() {
  for (int t = 0; t < kTables; ++t) widths[t] = cutoffs[t] / bins[t];
  table.resize(kSize, 0);
  for (int t = 0; t < kTables; ++t) {
    if (!quiet_) progress_bar<int>("Loading parameters", t + 1, kTables, "", -999);
    const std::string file = cfg_path(names[t]);
    if (loaded_[t] == file) continue;  // kept from an earlier chain
    const std::vector<T>& values = cached_table<T>(file);
    std::copy(values.begin(), values.end(), table.begin() + t * kTableSize);
    loaded_[t] = file;
  }
  if (!quiet_) std::printf("\n");
}

template <typename T>
void DOPE_PW<T>::set_memory() {
  pair_class_.assign(static_cast<std::size_t>(nres_) * nres_, 2);
  pairs.clear();
  if (nres_ > 2) pairs.reserve(static_cast<std::size_t>(nres_ - 1) * (nres_ - 2) / 2);
}

template <typename T>
void DOPE_PW<T>::set_continuity() {
  for (int a = 0; a < nres_; ++a)
    for (int b = 0; b < nres_; ++b) {
      const int ca = ss.cls[a], cb = ss.cls[b];
      pair_class_[static_cast<std::size_t>(a) * nres_ + b] =
          ca == kHelix && cb == kHelix ? 0 : (ca == kStrand && cb == kStrand ? 1 : 2);
    }
}

template <typename T>
void DOPE_PW<T>::term_assign() {
  unplaced_pairs = beyond_table = 0;
  const long last_cell = 7 * 240L + 7 * 30L + kBins - 1;  // highest atom-type cell of a base offset
  const std::size_t n = static_cast<std::size_t>(nres_);
  for (int a = 0; a < nres_; ++a)
    for (int b = a + 2; b < nres_; ++b) {
      int t = -1;
      if (ss.segment[a] == ss.segment[b]) {
        t = ss.cls[a] == kHelix ? 1 : (ss.cls[a] == kStrand ? 0 : 2);
      } else if (const int rel = ss.strand[a * n + b]; rel == 1 || rel == 2) {
        t = rel == 1 ? 4 : 3;
      } else {
        // The class is looked up at (a x residues) x b, positions from 1.
        const std::size_t pos = static_cast<std::size_t>(a + 1) * n * static_cast<std::size_t>(b + 1);
        if (pos < pair_class_.size()) {
          t = 5 + pair_class_[pos];
        } else {
          ++unplaced_pairs;
        }
      }
      long base = 0;
      if (t >= 0) {
        // Residue positions (from 1) stand where residue codes stand in the table.
        base = static_cast<long>(a) * 38400L + t * kTableSize + static_cast<long>(b) * 1920L;
        if (base < 0 || base + last_cell >= kSize) {
          ++beyond_table;
          t = -1;
        }
      }
      pairs.push_back({a, b, t, base, T(0)});
    }
  if (!quiet_ && unplaced_pairs > 0)
    print_info("DOPE-PW: " + std::to_string(unplaced_pairs) +
                   " residue pairs apart have no class in the pair table and score 0",
               11);
  if (!quiet_ && beyond_table > 0)
    print_info("DOPE-PW: " + std::to_string(beyond_table) +
                   " residue pairs lie beyond the parameter table and score 0",
               11);
}

template <typename T>
void DOPE_PW<T>::prev_calc_energy(Chain<T>* chain) {
  system_ = chain;
  nres_ = chain->get_num_of_amino_acids();
  natoms_ = chain->get_num_of_atoms();
  chain->calc_atom_dist(true);
  chain->set_distmask(true);
  set_memory();
  read_cfg(cfg_file_);
  load_par_file();
  // The scored atoms of each residue (HN and HA1 always score 0).
  bb_ = find_backbone_atoms(*chain);
  typed_.clear();
  typed_start_.assign(nres_ + 1, 0);
  const auto& names_ = chain->atom_names();
  for (int r = 0; r < nres_; ++r) {
    typed_start_[r] = static_cast<int>(typed_.size() / 2);
    const AminoAcid<T>& aa = chain->amino_acids[r];
    for (int k = aa.first_atom; k <= aa.last_atom && k < natoms_; ++k) {
      const auto it = atom_types_.find(names_[k]);
      if (it == atom_types_.end() || it->second == kHN || it->second == kHA1) continue;
      typed_.push_back(k);
      typed_.push_back(it->second);
    }
  }
  typed_start_[nres_] = static_cast<int>(typed_.size() / 2);
  assign_secondary_structure(chain->coords(), bb_, ss);
  set_continuity();
  term_assign();
}

template <typename T>
T DOPE_PW<T>::pair_value(int t, long offset, T d, int sep, bool cb) const {
  if (!(d > 0) || !(d < cutoffs[t])) return 0;
  const T* row = table.data() + offset;
  const T x = d / widths[t] - T(0.5);
  const int k = static_cast<int>(std::floor(x));
  T v;
  if (k < 1) {
    v = row[0];
  } else if (k >= bins[t] - 1) {
    v = row[bins[t] - 1];
  } else {
    const T f = x - k;
    v = (1 - f) * row[k] + f * row[k + 1];
  }
  const T coef = coefficients[t];
  switch (t) {
    case 0: case 1: case 2: case 4:
      if (v > 0 && d > 6) return 0;
      return v < 0 ? v * coef : v;
    case 3:
      if (v > 0 && d > 6) return 0;
      return v < 0 && sep >= 8 ? v * coef : v;
    default:
      if (use_full) return v * coef;
      if (cb) {
        if (v > 0 && d > 4 && sep < 5) return 0;
        if (v > 0 && d > 8) return 0;
        if (v < 0 && sep <= 6) return 0;
        return v;
      }
      if (d > 10) return 0;
      if (v > 0 && d > 4) return 0;
      if (v < 0 && sep < 7) return 0;
      return v < 0 ? v * coef : v;
  }
}

template <typename T>
void DOPE_PW<T>::calc_energy(T* out) {
  T total = 0;
  if (system_ && nres_ > 0 && !pairs.empty()) {
    const T* xyz = system_->coords();
    // How far a residue's scored atoms reach from its CA, to skip far pairs.
    std::vector<T>& reach = reach_;
    reach.assign(nres_, T(0));  // keeps its capacity from call to call
    for (int r = 0; r < nres_; ++r) {
      if (bb_[r].ca < 0) {
        reach[r] = -1;
        continue;
      }
      for (int k = typed_start_[r]; k < typed_start_[r + 1]; ++k)
        reach[r] = std::max(reach[r], geom::dist(xyz + 3 * bb_[r].ca, xyz + 3 * typed_[2 * k]));
    }
    for (ResiduePair& p : pairs) {
      p.value = 0;
      if (p.table < 0) continue;
      if (reach[p.a] >= 0 && reach[p.b] >= 0 &&
          geom::dist(xyz + 3 * bb_[p.a].ca, xyz + 3 * bb_[p.b].ca) - reach[p.a] - reach[p.b] >= cutoffs[p.table])
        continue;
      T sum = 0;
      for (int i = typed_start_[p.a]; i < typed_start_[p.a + 1]; ++i) {
        const T* xi = xyz + 3 * typed_[2 * i];
        const int ti = typed_[2 * i + 1];
        for (int j = typed_start_[p.b]; j < typed_start_[p.b + 1]; ++j) {
          const int tj = typed_[2 * j + 1];
          const T d = geom::dist(xi, xyz + 3 * typed_[2 * j]);
          sum += pair_value(p.table, p.base + ti * 240L + tj * 30L, d, p.b - p.a, ti == kCB || tj == kCB);
        }
      }
      p.value = sum;
      total += sum;
    }
  }
  *out = total;
}

template class DOPE_PW<float>;
template class DOPE_PW<double>;

}  // namespace tevo
