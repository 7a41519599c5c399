// DSA<T>: settings, tables, proposals, the annealing rounds and their counters.
#include "sampling/dsa.h"

#include <glog/logging.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <numeric>

#include "folding/data_root.h"
#include "folding/energy/energy.h"
#include "folding/energy/settings.h"
#include "folding/energy/tables.h"
#include "protein/residues.h"
#include "util/console.h"
#include "util/files.h"
#include "util/strings.h"
#include "util/timer.h"

namespace tevo {

namespace {
constexpr int kPairs = 400, kPairBins = 324;
[[noreturn]] void fail(const std::string& text) {
  print_info(text, 9);
  std::exit(1);
}
}  // namespace

template <typename T>
DSA<T>::DSA(int steps) : max_steps(steps), requested_steps_(steps) {}

template <typename T>
void DSA<T>::init_system() {
  current = saved = optimal = system_;
  steps = downhill = uphill = rejected = evaluations = opt_step = 0;
  n_samples = 0;
  sum = sum2 = 0;
  converged = stopped = false;
  counter_move = false;
  round = 0;
  rng_.init_genrand(5489);
  numbers.clear();
  files.clear();
  weights.clear();
  values.clear();
  codes_.clear();
  if (system_)
    for (const AminoAcid<T>& aa : system_->amino_acids) {
      const auto it = AA2INT.find(aa.name);
      codes_.push_back(it == AA2INT.end() || it->second > 19 ? 0 : it->second + 1);
    }
}

template <typename T>
void DSA<T>::read_schedule(const std::string& file, Schedule& s, bool all) {
  std::vector<Setting> settings;
  if (!read_settings(file, settings)) fail("cannot open " + file);
  for (const Setting& e : settings) {
    const std::string& k = e.key;
    if (k == "BIN SIZE") s.bin_size = setting_int(file, e);
    else if (k == "DEFAULT INITIAL TEMPERATURE") s.default_temperature = static_cast<T>(setting_real(file, e));
    else if (k == "TEMPERATURE UPDATE INTERVAL") s.update_interval = setting_int(file, e);
    else if (k == "DEFAULT ENERGY DEVIATION") s.default_deviation = static_cast<T>(setting_real(file, e));
    else if (k == "UPDATE TEMP COEFFICIENT") s.update_coefficient = static_cast<T>(setting_real(file, e));
    else if (k == "CHECK TEMP CONVERGENCE") s.check_convergence = setting_int(file, e);
    else if (k == "SMOOTH DEVIATION COEFFICIENT") s.smooth_deviation = static_cast<T>(setting_real(file, e));
    else if (k == "TEMP CONVERGENCE COEFFICIENT") s.convergence_coefficient = static_cast<T>(setting_real(file, e));
    else if (!all) continue;
    else if (k == "ENERGY FUNCTION") {
      const EnergyRow row = parse_energy_row(file, e);
      numbers.push_back(row.term);
      files.push_back(row.file);
      weights.push_back(static_cast<T>(row.weight));
      print_text("Found energy iterm " + row.name + " with coefficient " + num2string(row.weight, 2));
    } else if (k == "MAXIMUM NUMBER OF STEPS") max_steps = setting_int(file, e);
    else if (k == "TRAJECTORY FILE") trajectory = e.value;
    else if (k == "PARAMETER DIR") parameter_dir = e.value;
    else if (k == "RANDOM INIT") random_init = setting_int(file, e);
    else if (k == "RAMA DIR") rama_dir = e.value;
    else if (k == "NAME") rama_name = e.value;
    else if (k == "COUNTER MOVES") counter_moves = setting_int(file, e);
    else if (k == "SAMPLE OMEGA") sample_omega = setting_int(file, e);
    else if (k == "MAX N INIT T LOOPS") max_init_loops = setting_int(file, e);
    else if (k == "MAX N INIT T STEPS") max_init_steps = setting_int(file, e);
    else if (k == "INIT MAX ACC RATIO") init_max_acc = static_cast<T>(setting_real(file, e));
    else if (k == "MAX ACC RATIO") max_acc = static_cast<T>(setting_real(file, e));
    else if (k == "CALC INIT TEMP") calc_init_temp = setting_int(file, e);
    else if (k == "DEF INIT TEMP") def_init_temp = setting_int(file, e);
    else if (k == "DC ROUND STEPS") dc_round_steps = setting_int(file, e);
    else if (k == "DEBUG") debug = e.value.empty() ? 0 : std::atoi(e.value.c_str());
    else if (k == "SEED FILE") seed_file = e.value;
    else if (k == "PREROUND") preround = setting_int(file, e);
    else if (k == "NPREROUND") npreround = setting_int(file, e);
    else if (k == "SELECTED RES") selected_res = setting_int(file, e);
    else if (k == "RES SAMPLE LIST") res_sample_list = e.value;
    else if (k == "SELECTED WEIGHTS") selected_weights = setting_int(file, e);
    else if (k == "RES WEIGHTS LIST") res_weights_list = e.value;
    else refuse_setting(file, e, "at initialization of module DSA!");
  }
  if (s.bin_size < 5 || 360 % s.bin_size != 0) fail(file + ": BIN SIZE must divide 360 and be at least 5");
  if (s.update_interval < 1) fail(file + ": TEMPERATURE UPDATE INTERVAL must be at least 1");
}

template <typename T>
void DSA<T>::read_cfg(const std::string& file) {
  read_schedule(file, schedule, true);
  later_schedule = schedule;
  if (!later_files_.empty()) read_schedule(later_files_.front(), later_schedule, false);
  if (max_steps <= 0) max_steps = requested_steps_;
}

template <typename T>
void DSA<T>::load_par_file() {
  const std::string dir = parameter_dir.empty() ? data_root() + "/cfg/dsa" : parameter_dir;
  std::vector<double> raw;
  auto load = [&](const char* name, int rows, int cols, std::vector<T>& out) {
    read_table(dir + name, rows, cols, raw);
    out.assign(raw.begin(), raw.end());
  };
  load("/omega_numeric.par.bz2", 20, 20, omega);
  load("/psi_psi_numeric.par.bz2", kPairBins, kPairs, psi_psi);
  load("/psi_phi_numeric.par.bz2", kPairBins, kPairs, psi_phi);
  load("/phi_phi_numeric.par.bz2", kPairBins, kPairs, phi_phi);
  load("/phi_psi_long_numeric.par.bz2", kPairBins, kPairs, phi_psi_long);

  const int n = system_ ? system_->get_num_of_amino_acids() : 0;
  if (rama_name.empty()) {
    rama_from_types();
  } else {
    std::string base = rama_dir;
    if (!base.empty()) dirt_check(base);
    base += rama_name;
    std::vector<std::vector<int>> idx;
    std::vector<std::vector<T>> prob;
    read_matrix_from_file<int>(idx, base + ".rama_index");
    read_matrix_from_file<T>(prob, base + ".rama_map");
    if (static_cast<int>(idx.size()) < n || idx.size() != prob.size())
      fail(base + ".rama_index and .rama_map: " + std::to_string(idx.size()) + " and " +
           std::to_string(prob.size()) + " rows for a chain of " + std::to_string(n) + " residues");
    for (std::size_t r = 0; r < idx.size(); ++r)
      if (idx[r].size() != prob[r].size())
        fail(base + ".rama_index row " + std::to_string(r + 1) + " and its .rama_map row differ in length");
    rama_index = std::move(idx);
    rama_prob = std::move(prob);
  }
  const int per_axis = 360 / schedule.bin_size;
  for (const auto& row : rama_index)
    for (int b : row)
      if (b < 0 || b / 72 >= per_axis || b % 72 >= per_axis)
        fail("a Ramachandran bin " + std::to_string(b) + " lies outside the map of " + std::to_string(per_axis) +
             " x " + std::to_string(per_axis) + " bins");
  std::printf("-- The sampler uses %i x %i bins on Ramachandran map.\n", per_axis, per_axis);
}

template <typename T>
void DSA<T>::rama_from_types() {
  // Per-type maps of 5-degree bins, merged into the configured bin size.
  const std::string dir = parameter_dir.empty() ? data_root() + "/cfg/dsa" : parameter_dir;
  std::vector<double> raw;
  read_table(dir + "/rama_types.par.bz2", 20, 72 * 72, raw);
  const int size = schedule.bin_size;
  if (size % 5 != 0) fail("the residue-type Ramachandran maps need a BIN SIZE that is a multiple of 5");
  const int merge = size / 5, per_axis = 360 / size;
  rama_index.clear();
  rama_prob.clear();
  for (int c : codes_) {
    std::vector<T> cells(static_cast<std::size_t>(per_axis) * per_axis, 0);
    for (int r = 0; r < 72; ++r)
      for (int col = 0; col < 72; ++col) {
        double p = 0;  // an unknown residue takes the mean of the twenty maps
        if (c > 0)
          p = raw[(c - 1) * 5184 + r * 72 + col];
        else
          for (int t = 0; t < 20; ++t) p += raw[t * 5184 + r * 72 + col] / 20;
        cells[(r / merge) * per_axis + col / merge] += static_cast<T>(p);
      }
    std::vector<int> order(cells.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return cells[a] > cells[b]; });
    const T total = std::accumulate(cells.begin(), cells.end(), T(0));
    std::vector<int> idx;
    std::vector<T> prob;
    T kept = 0;
    for (int k : order) {
      if (!(cells[k] > 0) || kept >= T(0.999) * total) break;
      idx.push_back((k / per_axis) * 72 + k % per_axis);
      prob.push_back(cells[k]);
      kept += cells[k];
    }
    for (T& p : prob) p /= kept;
    rama_index.push_back(std::move(idx));
    rama_prob.push_back(std::move(prob));
  }
}

template <typename T>
void DSA<T>::set_random_seed() {
  if (seed_file.empty()) return;  // the fixed seed of init_system
  std::ifstream in(seed_file, std::ios::binary);
  if (!in) fail("cannot open " + seed_file);
  std::string head(16, '\0');
  in.read(&head[0], 16);
  head.resize(static_cast<std::size_t>(in.gcount()));
  std::string text = head;
  trim_all(text);
  int number = 0;
  uint32_t seed = 0;
  if (parse_int(text, number)) {
    seed = static_cast<uint32_t>(number);  // a seed written as text
  } else {
    if (head.size() < 4) fail(seed_file + ": fewer than 4 bytes for a seed");
    for (int k = 0; k < 4; ++k) seed = (seed << 8) | static_cast<unsigned char>(head[k]);
  }
  rng_.init_genrand(seed);
}

template <typename T>
void DSA<T>::select_aa_from_list() {
  const int n = static_cast<int>(codes_.size());
  selected.clear();
  kinds.clear();
  res_weights.clear();
  if (!selected_res) return;
  if (res_sample_list.empty()) {
    // No list: every residue that has neighbours on both sides, plain moves.
    for (int r = 1; r + 1 < n; ++r) {
      selected.push_back(r);
      kinds.push_back(1);
    }
  } else {
    std::vector<std::vector<double>> rows;
    if (!read_number_matrix(res_sample_list, rows)) fail("cannot open " + res_sample_list);
    for (std::size_t k = 0; k < rows.size(); ++k) {
      const int pos = static_cast<int>(rows[k][0]);
      const int kind = rows[k].size() > 1 ? static_cast<int>(rows[k][1]) : 1;
      if (pos < 1 || pos > n || pos != rows[k][0])
        fail(res_sample_list + " row " + std::to_string(k + 1) + ": residue " + num2string(rows[k][0], 2) +
             " is not in the chain of " + std::to_string(n) + " residues");
      selected.push_back(pos - 1);
      kinds.push_back(kind);
    }
  }
  if (selected_weights && !res_weights_list.empty()) {
    std::vector<std::vector<double>> rows;
    if (!read_number_matrix(res_weights_list, rows)) fail("cannot open " + res_weights_list);
    if (rows.size() != selected.size())
      fail(res_weights_list + ": " + std::to_string(rows.size()) + " weights for " +
           std::to_string(selected.size()) + " selected residues");
    T total = 0;
    for (const auto& r : rows) total += static_cast<T>(r[0]);
    if (!(total > 0)) fail(res_weights_list + ": the weights must add up to more than 0");
    for (const auto& r : rows) res_weights.push_back(static_cast<T>(r[0]) / total);
  }
  if (selected.empty()) fail("no residue to sample in a chain of " + std::to_string(n) + " residues");
}

template <typename T>
void DSA<T>::init_conformation() {
  if (random_init) generate_rand_conf();
}

template <typename T>
void DSA<T>::init(const std::string& cfg, const std::vector<std::string>& later) {
  if (!system_) fail("the sampler has no chain");
  if (system_->get_num_of_amino_acids() < 2) fail("the sampler needs a chain of at least two residues");
  later_files_ = later;
  init_system();
  read_cfg(cfg);
  system_->set_all_aotm_coords();
  system_->tevo_update_all_torsional_angles();
  load_par_file();
  set_random_seed();
  select_aa_from_list();
  init_conformation();
  values.assign(numbers.size(), T(0));
  for (std::size_t k = 0; k < numbers.size(); ++k) {
    terms_.set_system(numbers[k], system_);  // execute_set_system_model
    terms_.init(numbers[k], files[k]);
    terms_.prev(numbers[k], system_);
    terms_.calc(numbers[k], &values[k]);
  }
  energy = opt_energy = total_energy();
}

template <typename T>
T DSA<T>::total_energy() {
  T e = 0;
  for (std::size_t k = 0; k < numbers.size(); ++k) {
    terms_.calc(numbers[k], &values[k]);
    e += weights[k] * values[k];
  }
  return e;
}

template <typename T>
int DSA<T>::uniform_int(int lo, int hi) {
  if (hi <= lo) return lo;
  const int v = lo + static_cast<int>(uniform() * static_cast<T>(hi - lo + 1));
  return std::min(v, hi);  // float draws can round up to 1
}

template <typename T>
int DSA<T>::general_bin(T a, T b) {
  auto axis = [](T x) {
    const int k = static_cast<int>(std::floor(std::floor(x + 180) / 20));
    return std::min(17, std::max(0, k));  // 180 itself and undefined angles stay on the map
  };
  return axis(a) + 18 * axis(b);
}

template <typename T>
T DSA<T>::torsion(int res, int which) const {
  const AminoAcid<T>& aa = system_->amino_acids[res];
  return aa.bonds && which < aa.num_bonds ? aa.bonds[which].angle : T(360);
}

template <typename T>
void DSA<T>::set_target(int res, int which, T value) {
  AminoAcid<T>& aa = system_->amino_acids[res];
  if (aa.bonds && which < aa.num_bonds) aa.bonds[which].target = value;
}

template <typename T>
void DSA<T>::set_phi_psi(int res) {
  set_target(res, 0, phi);
  set_target(res, 1, psi);
}

template <typename T>
void DSA<T>::set_psi_phi(int res) {
  set_target(res, 1, psi);
  set_target(res, 0, phi);
}

template <typename T>
void DSA<T>::choose_phi_psi(int res) {
  const T u = uniform();
  const std::vector<T>& p = rama_prob[res];
  T acc = 0;
  for (std::size_t k = 0; k < p.size(); ++k) {
    acc += p[k];
    if (u < acc) {
      const int b = rama_index[res][k];
      const T size = static_cast<T>(schedule.bin_size);
      const int row = b / 72, column = b % 72;
      phi = column * size - 180 + uniform() * size;
      psi = row * size - 180 + uniform() * size;
      return;
    }
  }
}

template <typename T>
void DSA<T>::choose_psi_phi(int res) {
  const T u = uniform();
  const int n = static_cast<int>(codes_.size());
  const int aa = code(res), aa2 = res + 1 < n ? code(res + 1) : 0;
  T acc = 0;
  if (aa > 0 && aa2 > 0) {
    const int pair = (aa2 - 1) * 20 + aa - 1;
    for (int k = 0; k < kPairBins; ++k) {
      acc += psi_phi[k * kPairs + pair];
      if (u < acc) {
        phi = uniform() * 20 + (k % 18) * 20 - 180;
        psi = (k / 18) * 20 - 180 + uniform() * 20;
        std::printf("Choosing phi, psi: res: %i phi: %f psi: %f rama_prob: %f\n", res, static_cast<double>(phi),
                    static_cast<double>(psi), static_cast<double>(acc));
        return;
      }
    }
  }
  std::printf("Choosing phi, psi: res: %i phi: %f psi: %f rama_prob: %f\n", res, static_cast<double>(phi),
              static_cast<double>(psi), static_cast<double>(acc));
}

template <typename T>
bool DSA<T>::pair_test(const std::vector<T>& table, int pair, T a, T b) const {
  return table[general_bin(a, b) * kPairs + pair] > 0;
}

template <typename T>
bool DSA<T>::neighbours_allow(int i, T new_phi, T new_psi) const {
  const int n = static_cast<int>(codes_.size());
  const int first = 0, last = n - 1;
  bool ok = true;
  // The four tests with the previous residue, then the four with the next;
  // which must hold depends on the place in the chain.
  if (i > first && code(i) > 0 && code(i - 1) > 0) {
    const int pair = (code(i) - 1) * 20 + code(i - 1) - 1;
    const T prev_psi = torsion(i - 1, 1), prev_phi = torsion(i - 1, 0);
    const bool use_prev_phi = i != first + 1;
    const bool use_new_psi = i != last;
    ok = ok && pair_test(psi_phi, pair, prev_psi, new_phi);
    if (use_new_psi) ok = ok && pair_test(psi_psi, pair, prev_psi, new_psi);
    if (use_prev_phi) ok = ok && pair_test(phi_phi, pair, prev_phi, new_phi);
    if (use_prev_phi && use_new_psi) ok = ok && pair_test(phi_psi_long, pair, prev_phi, new_psi);
  }
  if (i < last && code(i) > 0 && code(i + 1) > 0) {
    const int pair = (code(i + 1) - 1) * 20 + code(i) - 1;
    const T next_phi = torsion(i + 1, 0), next_psi = torsion(i + 1, 1);
    const bool use_next_psi = i != last - 1;
    const bool use_new_phi = i != first;
    ok = ok && pair_test(psi_phi, pair, new_psi, next_phi);
    if (use_next_psi) ok = ok && pair_test(psi_psi, pair, new_psi, next_psi);
    if (use_new_phi) ok = ok && pair_test(phi_phi, pair, new_phi, next_phi);
    if (use_new_phi && use_next_psi) ok = ok && pair_test(phi_psi_long, pair, new_phi, next_psi);
  }
  return ok;
}

template <typename T>
int DSA<T>::choose_residue() {
  const int n = static_cast<int>(res_weights.size());
  const T u = uniform();
  T acc = 0;
  for (int k = 0; k + 1 < n; ++k) {
    acc += res_weights[k];
    if (acc > u) return k;
  }
  return uniform_int(2, std::max(2, n - 2));
}

template <typename T>
bool DSA<T>::generate_new_conf(int* res) {
  const int n = static_cast<int>(codes_.size());
  if (selected_res && !selected.empty()) {
    int k;
    if (selected_weights && !res_weights.empty())
      k = std::min(choose_residue(), static_cast<int>(selected.size()) - 1);
    else
      k = uniform_int(0, static_cast<int>(selected.size()) - 1);
    *res = selected[k];
    counter_move = kinds[k] == 2 || round > 0;
  } else {
    VLOG(1) << "generate_new_conf === 1";
    if (counter_move && n < 3) return false;  // no residue between two others
    *res = counter_move ? uniform_int(1, n - 2) : uniform_int(0, n - 1);
  }
  if (counter_move && (*res < 1 || *res > n - 2)) counter_move = false;
  return change_rama(*res);
}

template <typename T>
bool DSA<T>::change_rama(int i) {
  ++evaluations;
  save_current_conf();
  const int n = static_cast<int>(codes_.size());
  auto wrap = [](T a) { return a > 180 ? a - 360 : (a < -180 ? a + 360 : a); };
  if (counter_move && i > 0 && i + 1 < n) {
    choose_phi_psi(i);
    const T phi0 = torsion(i, 0), psi0 = torsion(i, 1);
    set_target(i - 1, 1, wrap(torsion(i - 1, 1) - (phi - phi0)));
    set_target(i + 1, 0, wrap(torsion(i + 1, 0) - (psi - psi0)));
    set_phi_psi(i);
  } else {
    for (int attempt = 0; attempt < 999; ++attempt) {
      choose_phi_psi(i);
      if (neighbours_allow(i, phi, psi)) break;
    }
    set_phi_psi(i);
    if (sample_omega && i > 0) {
      const T u = uniform();
      const int a = code(i - 1), b = code(i);
      const T cis = a > 0 && b > 0 ? omega[(a - 1) * 20 + b - 1] : T(0);
      set_target(i - 1, 2, u < cis ? T(0) : T(180));
    }
  }
  system_->update_all_coords();
  system_->set_all_aotm_coords();
  system_->tevo_update_all_torsional_angles();
  return true;
}

template <typename T>
void DSA<T>::generate_rand_conf() {
  const int n = static_cast<int>(codes_.size());
  VLOG(1) << "test: 1";
  choose_psi_phi(0);
  set_psi_phi(0);
  for (int r = 1; r < n; ++r) {
    for (int attempt = 0; attempt < 5; ++attempt) {
      choose_phi_psi(r);
      if (neighbours_allow(r, phi, psi)) break;
    }
    set_phi_psi(r);
  }
  system_->update_all_coords();
  system_->set_all_aotm_coords();
  system_->tevo_update_all_torsional_angles();
  system_->calc_atom_dist(true);
}

template <typename T>
void DSA<T>::generate_rand_selected() {
  for (int r : selected) {
    choose_phi_psi(r);
    set_phi_psi(r);
  }
  system_->update_all_coords();
  system_->set_all_aotm_coords();
  system_->tevo_update_all_torsional_angles();
}

template <typename T>
void DSA<T>::calculate_mean_and_sdev(T* mean, T* sdev) const {
  if (n_samples <= 0) {
    *mean = *sdev = 0;
    return;
  }
  *mean = sum / n_samples;
  const T var = sum2 / n_samples - *mean * *mean;
  *sdev = var > 0 ? std::sqrt(var) : T(0);  // rounding can make a zero variance negative
}

template <typename T>
T DSA<T>::next_temperature(T t0, T delta, T deviation) {
  return deviation > 0 ? t0 / (t0 * delta / (3 * deviation) + 1) : t0;
}

template <typename T>
void DSA<T>::write_current_conf(std::FILE* out) const {
  int serial = 0;
  for (const AminoAcid<T>& aa : system_->amino_acids)
    for (const Atom<T>& atom : aa.atoms)
      std::fprintf(out, "ATOM  %5i  %-3s %s %c %3i     %7.3lf %7.3lf %7.3lf  1.00  0.00\n", ++serial,
                   atom.name.c_str(), aa.name.c_str(), atom.chain_name.empty() ? 'A' : atom.chain_name[0],
                   atom.amino_acid_idx, static_cast<double>(atom.coord[0]), static_cast<double>(atom.coord[1]),
                   static_cast<double>(atom.coord[2]));
}

template <typename T>
void DSA<T>::reset_status_parameters() {
  steps = downhill = uphill = rejected = evaluations = 0;
  n_samples = 0;
  sum = sum2 = 0;
  converged = stopped = false;
}

template <typename T>
void DSA<T>::prev_step() {
  print_text("Start sampling: " + std::to_string(round + 1) + " rounds, " + std::to_string(selected.size()) +
             " moves, " + std::to_string(max_steps) + " steps (maximum)");
  if (round > 0) {
    schedule = later_schedule;
    counter_move = true;
  } else {
    counter_move = counter_moves != 0;
  }
}

template <typename T>
void DSA<T>::print_optimum(float seconds) const {
  std::printf("-- New optimal energy found: (energy = %.3f, T = %.3f, step = %i, time = %.2f, rco = %.2f)\n",
              static_cast<double>(opt_energy), static_cast<double>(temperature), opt_step,
              static_cast<double>(seconds), 1.0);
  for (std::size_t k = 0; k < numbers.size(); ++k) {
    if (k % 3 == 0) std::printf("-- ");
    std::printf("(%i) %.3f*%-3.2f  ", static_cast<int>(k + 1), static_cast<double>(values[k]),
                static_cast<double>(weights[k]));
    if (k % 3 == 2 || k + 1 == numbers.size()) std::printf("\n");
  }
}

template <typename T>
void DSA<T>::actuate_step() {
  Timer timer;
  std::FILE* traj = nullptr;
  if (!trajectory.empty()) {
    const std::string path = stem + "_" + trajectory + ".pdt";
    traj = std::fopen(path.c_str(), "a+");
    if (!traj) fail("cannot open " + path);
  }
  if (!calc_init_temp) {
    delta = std::log(schedule.update_coefficient + 1);
    deviation = schedule.default_deviation;
    temperature = schedule.default_temperature;
  } else {
    // Start temperature from the acceptance of trial moves (Kirkpatrick 1984).
    delta = std::log(schedule.update_coefficient + 1);
    T acc = init_max_acc, best = energy, e0 = energy, ti = 0;
    for (int loop = 0; max_init_loops == 0 || loop < max_init_loops; ++loop) {
      int inc_n = 0, dec_n = 0;
      T incdensum = 0;
      for (int s = 0; s <= max_init_steps; ++s) {
        int res = 0;
        generate_new_conf(&res);
        const T e = total_energy();
        const T de = e - e0;
        std::printf("Tenery=%f, Tdenergy=%f, Tenergy0=%f, optenergy=%f, ", static_cast<double>(e),
                    static_cast<double>(de), static_cast<double>(e0), static_cast<double>(best));
        if (e < best) {
          std::printf("Opt Found");
          best = e;
          save_opt_conf();
        }
        if (de <= 0) {
          ++dec_n;
        } else {
          ++inc_n;
          incdensum += de;
        }
        e0 = e;
        std::printf("nsolutions=%i, esum=%f, inc_n=%i \n", s + 1, static_cast<double>(incdensum), inc_n);
      }
      if (inc_n != 0) {
        const T ave = incdensum / inc_n;
        const T d = inc_n * acc - (1 - acc) * dec_n;
        std::printf("\n D %f incdensum %f inc_n %i ", static_cast<double>(d), static_cast<double>(incdensum), inc_n);
        if (d > 0 && inc_n / d > 1) {
          ti = ave / std::log(inc_n / d);
          std::printf("q %f inc_den_ave %f Ti %f ", static_cast<double>(inc_n / d), static_cast<double>(ave),
                      static_cast<double>(ti));
        }
        acc = ti > 0 ? (std::exp(-ave / ti) * inc_n + dec_n) / (dec_n + inc_n) : init_max_acc;
        std::printf("acc_ratio %f \n", static_cast<double>(acc));
      }
      if (max_acc <= acc) break;
    }
    temperature = ti != 0 ? ti : schedule.default_temperature;
    restore_cur_conf();
    system_->set_all_aotm_coords();
    system_->tevo_update_all_torsional_angles();
  }
  print_info("Initial temperature is " + num2string(temperature, 3), 32);
  T mean, sdev;
  calculate_mean_and_sdev(&mean, &sdev);
  deviation = sdev > 0 ? sdev : schedule.default_deviation;
  n_samples = 0;
  sum = sum2 = 0;

  for (int step = 0; step < max_steps; ++step) {
    int res = 0;
    const bool moved = generate_new_conf(&res);
    if (traj) {
      std::fprintf(traj, "MODEL %i\n", step + 1);
      write_current_conf(traj);
      std::fprintf(traj, "TER\n");
    }
    if (moved) ++steps;
    const T e_new = total_energy();
    T e = e_new;
    const T de = e - energy;
    bool accept = false;
    if (de < 0) {
      ++downhill;
      accept = true;
    } else if (uniform() < std::exp(-de / temperature)) {
      ++uphill;
      accept = true;
    } else {
      ++rejected;
      system_->set_all_aotm_coords();
      system_->tevo_update_all_torsional_angles();
      e = energy;
    }
    if (accept) {
      energy = e;
      if (e < opt_energy) {
        opt_step = steps;
        opt_energy = e;
        save_opt_conf();
        print_optimum(timer.elapsed());
      }
    }
    ++n_samples;
    sum += e;
    sum2 += e * e;
    if (steps % schedule.update_interval == 0 && n_samples > 0) {
      calculate_mean_and_sdev(&mean, &sdev);
      const T t0 = temperature;
      const T t = next_temperature(t0, delta, deviation);
      deviation = (1 - schedule.smooth_deviation) * sdev + schedule.smooth_deviation * deviation * (t / t0);
      temperature = t;
      if (deviation <= 0) converged = true;
      if (schedule.check_convergence)
        converged = t > 0 ? deviation * deviation <= t * schedule.convergence_coefficient : true;
      n_samples = 0;
      sum = sum2 = 0;
    }
    if (converged || steps == max_steps) {
      stopped = true;
      system_->set_all_aotm_coords();
      system_->tevo_update_all_torsional_angles();
      system_->update_all_coords();
      save_opt_conf();
      if (converged) break;
    }
  }
  if (traj) std::fclose(traj);
}

template <typename T>
void DSA<T>::post_step() {
  std::printf("-- Total function evaluations: %i.\n", evaluations);
  std::printf("-- Accepted transitions: %i (%i increased + %i decreased).\n", uphill + downhill, uphill, downhill);
  std::printf("-- Rejected transitions: %i.\n", rejected);
  std::printf("-- Final energy: %.3f.\n", static_cast<double>(energy));
  std::printf("-- Final temperature: %.3f.\n", static_cast<double>(temperature));
  std::printf("--\n");
  reset_status_parameters();
  ++round;
}

template class DSA<float>;
template class DSA<double>;

}  // namespace tevo
