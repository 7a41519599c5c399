// Energy<T>: a chain scored as a weighted sum of knowledge-based terms, as a
// configuration file lists them ("ENERGY FUNCTION = name, file, weight").
#pragma once

#include <string>
#include <vector>

#include "folding/energy/terms.h"
#include "protein/chain.h"

namespace tevo {

struct Setting;

// One "energy function" row of a configuration.
struct EnergyRow {
  int term = 0;
  std::string name;  // as written, upper-cased
  std::string file;  // full path of the term's settings file
  double weight = 0;
};

// The value "name, file, weight" of an "energy function" setting: the name
// upper-cased and looked up (an unknown name means term 0), the file below
// the data root's cfg/. A value with fewer than three fields, or a weight
// that is not a number, prints "Error: <file> line <n>: ..." and exits 1.
EnergyRow parse_energy_row(const std::string& cfg, const Setting& s);

// The "energy function" rows of a configuration file in file order (key
// compared without case; other keys are passed over). An unreadable file
// prints "Error: cannot open <file>" and exits 1.
std::vector<EnergyRow> read_energy_rows(const std::string& file);

template <typename T>
class Energy {
 public:
  Energy(const std::string& output, const std::string& jobname);

  void init();  // back to defaults; call before each new chain
  void set_quiet(bool quiet) { quiet_ = quiet; }
  void set_system(Chain<T>* chain) { system_ = chain; }
  void set_cfg(const std::string& path) { cfg_ = path; }
  // read_energy_cfg, init_energy, calc_energy_in_chain.
  void actuate();
  T get_energy() const { return total_; }
  int get_energy_module(const std::string& name) const;

  void read_energy_cfg();
  void init_energy();
  void calc_energy_in_chain();

  void execute_set_system_quiet(int term) { terms_.set_quiet(term, quiet_); }
  void execute_init_func_energy_module(int term, const std::string& file) { terms_.init(term, file); }
  void execute_prev_func_energy_module(int term) { terms_.prev(term, system_); }
  void execute_calc_energy_func_energy_module(int term, T* out) { terms_.calc(term, out); }
  void execute_post_func_energy_module(int term) { terms_.post(term); }
  void execute_finish_func_energy_module(int term) { terms_.finish(term); }

  const std::vector<int>& term_numbers() const { return numbers_; }
  const std::vector<T>& term_values() const { return values_; }
  const std::vector<T>& term_weights() const { return weights_; }
  EnergyTerms<T>& terms() { return terms_; }

 private:
  std::string output_, jobname_, stem_;
  std::string cfg_;
  bool quiet_ = false;
  T total_ = 0;
  int num_terms_ = 0;
  std::string notes_[4];  // cleared by init, read by no term
  T params_[4] = {1, 20, 4, 4};
  std::vector<int> numbers_;
  std::vector<std::string> files_;
  std::vector<T> values_;
  std::vector<T> weights_;
  EnergyTerms<T> terms_;
  Chain<T>* system_ = nullptr;  // not owned
  int ready_ = 0;
};

// The lines of calc_energy_in_chain: "(k) text " items, five to a line.
std::vector<std::string> energy_list_lines(const std::vector<std::string>& items);

extern template class Energy<float>;
extern template class Energy<double>;

}  // namespace tevo
