// DSA<T>: the simulated-annealing sampler of the folding commands. It moves
// one chain by drawing backbone torsions from per-residue Ramachandran maps
// (tested against neighbour-pair tables), scores it with its own list of
// energy terms, accepts by the Metropolis rule and cools by an adaptive
// schedule that follows the energy deviation (Lam & Delosme 1988, as used
// for protein folding by Zhang, Kihara & Skolnick 2002).
//
// Use: set_system(chain) with bond records made after add_hn, then
// init(cfg, {cfg of later rounds}); per round prev_step, actuate_step,
// post_step. The chain stays in place between rounds; only pointers are
// "saved", never coordinates, and a rejected move keeps its torsions.
#pragma once

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "folding/energy/terms.h"
#include "protein/chain.h"
#include "util/random.h"

namespace tevo {

template <typename T>
class DSA {
 public:
  // The settings that later rounds replace from their own file.
  struct Schedule {
    int bin_size = 5;
    T default_temperature = 142;
    int update_interval = 500;
    T default_deviation = 10;
    T update_coefficient = T(0.05);
    int check_convergence = 0;
    T smooth_deviation = T(0.5);
    T convergence_coefficient = 1;
  };

  explicit DSA(int steps);
  DSA(const DSA&) = delete;
  DSA& operator=(const DSA&) = delete;

  void set_system(Chain<T>* chain) { system_ = chain; }
  // init_system, read_cfg, the chain's torsions, load_par_file,
  // set_random_seed, select_aa_from_list, init_conformation, then each term:
  // system, init, prev and a first value. `later` names the configuration
  // files whose schedule settings later rounds take (none: the same).
  void init(const std::string& cfg, const std::vector<std::string>& later = {});
  void init_system();
  void read_cfg(const std::string& file);
  void load_par_file();
  void set_random_seed();
  void select_aa_from_list();
  void init_conformation();

  void prev_step();
  void actuate_step();
  void post_step();

  bool generate_new_conf(int* res);
  bool change_rama(int res);
  int choose_residue();
  void choose_phi_psi(int res);
  void choose_psi_phi(int res);
  void set_phi_psi(int res);  // the proposal into residue res's targets
  void set_psi_phi(int res);
  static int general_bin(T a, T b);
  void generate_rand_conf();
  void generate_rand_selected();
  // Mean and standard deviation of the energies of the current interval.
  void calculate_mean_and_sdev(T* mean, T* sdev) const;
  void write_current_conf(std::FILE* out) const;
  void reset_status_parameters();

  void save_cur_conf() { saved = current; }
  void save_current_conf() { saved = current; }
  void save_opt_conf() { optimal = current; }
  void restore_cur_conf() { current = saved; }
  void restore_opt_conf() { current = optimal; }
  void restore_prev_conf() {}

  // The weighted sum of the term values, each term evaluated afresh.
  T total_energy();
  // The temperature after one interval (Lam & Delosme's update):
  // T0 / (T0 * delta / (3 * deviation) + 1) when deviation > 0, else T0.
  static T next_temperature(T t0, T delta, T deviation);
  // The Metropolis test of a move with energy change dE at temperature t and draw u.
  static bool accepts(T dE, T t, T u) { return dE < 0 || u < std::exp(-dE / t); }

  Chain<T>* current = nullptr;  // the three point to the one chain under work
  Chain<T>* saved = nullptr;
  Chain<T>* optimal = nullptr;
  T phi = 0, psi = 0;  // last proposal
  T temperature = 0, deviation = 0, energy = 0, opt_energy = 0, delta = 0;
  int steps = 0, downhill = 0, uphill = 0, rejected = 0, evaluations = 0, opt_step = 0;
  int n_samples = 0;
  T sum = 0, sum2 = 0;
  bool converged = false, stopped = false;
  bool counter_move = false;
  int round = 0;

  // Settings.
  int max_steps = 0;
  std::string trajectory;  // "<stem>_<value>.pdt" when set
  std::string parameter_dir, rama_dir, rama_name, seed_file, res_sample_list, res_weights_list;
  int random_init = 0, counter_moves = 0, sample_omega = 0, calc_init_temp = 0;
  int max_init_loops = 5, max_init_steps = 1000;
  T init_max_acc = T(0.5), max_acc = T(0.7);
  int def_init_temp = 0, dc_round_steps = 0, debug = 0, preround = 0, npreround = 0;
  int selected_res = 0, selected_weights = 0;
  Schedule schedule, later_schedule;
  std::string stem;  // output + job name, for the trajectory

  // Terms.
  std::vector<int> numbers;
  std::vector<std::string> files;
  std::vector<T> weights, values;

  // Tables: omega [20 x 20] cis probability by (residue i-1, residue i);
  // the pair tables [324 bins x 400 pairs].
  std::vector<T> omega, psi_psi, psi_phi, phi_phi, phi_psi_long;
  std::vector<std::vector<int>> rama_index;  // per residue: bin numbers
  std::vector<std::vector<T>> rama_prob;     // per residue: probabilities
  // Sampled residues (0-based), their kinds (2: compensated move) and weights.
  std::vector<int> selected;
  std::vector<int> kinds;
  std::vector<T> res_weights;

 private:
  T uniform() { return static_cast<T>(rng_.genrand_int32() * 2.3283064365386963e-10); }
  int uniform_int(int lo, int hi);
  int code(int res) const { return codes_[res]; }  // 1..20, 0 unknown
  bool pair_test(const std::vector<T>& table, int pair, T a, T b) const;
  bool neighbours_allow(int res, T new_phi, T new_psi) const;
  T torsion(int res, int which) const;
  void set_target(int res, int which, T value);
  void read_schedule(const std::string& file, Schedule& s, bool all);
  void rama_from_types();
  void print_optimum(float seconds) const;

  Chain<T>* system_ = nullptr;  // not owned
  int requested_steps_ = 0;
  MT19937<T> rng_;
  EnergyTerms<T> terms_;
  std::vector<int> codes_;
  std::vector<std::string> later_files_;
};

extern template class DSA<float>;
extern template class DSA<double>;

}  // namespace tevo
