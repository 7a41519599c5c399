// Energy<T>: the configuration, the term calls and the printed lists.
#include "folding/energy/energy.h"

#include <cctype>
#include <cstdlib>

#include "folding/data_root.h"
#include "folding/energy/settings.h"
#include "folding/module.h"
#include "util/console.h"
#include "util/strings.h"

namespace tevo {

EnergyRow parse_energy_row(const std::string& cfg, const Setting& s) {
  std::vector<std::string> fields;
  std::size_t start = 0;
  for (;;) {
    const std::size_t comma = s.value.find(',', start);
    std::string field = s.value.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
    trim_all(field);
    fields.push_back(field);
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  const std::string where = cfg + " line " + std::to_string(s.line) + ": ";
  if (fields.size() < 3) {
    print_info(where + "an energy function needs \"name, parameter file, weight\"", 9);
    std::exit(1);
  }
  EnergyRow row;
  row.name = fields[0];
  for (char& c : row.name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  row.term = Module<double>::get_energy_module(row.name);
  if (fields[0].empty() || fields[1].empty()) {
    print_info(where + "an energy function needs a name and a parameter file", 9);
    std::exit(1);
  }
  row.file = cfg_path(fields[1]);
  if (!parse_real(fields[2], row.weight)) {
    print_info(where + "the weight \"" + fields[2] + "\" is not a number", 9);
    std::exit(1);
  }
  return row;
}

std::vector<EnergyRow> read_energy_rows(const std::string& file) {
  std::vector<Setting> settings;
  if (!read_settings(file, settings)) {
    print_info(file, 5);
    std::exit(1);
  }
  std::vector<EnergyRow> rows;
  for (const Setting& s : settings)
    if (s.key == "ENERGY FUNCTION") rows.push_back(parse_energy_row(file, s));
  return rows;
}

std::vector<std::string> energy_list_lines(const std::vector<std::string>& items) {
  std::vector<std::string> lines;
  std::string line;
  for (std::size_t k = 0; k < items.size(); ++k) {
    line += "(" + std::to_string(k + 1) + ") " + items[k] + " ";
    if ((k + 1) % 5 == 0 || k + 1 == items.size()) {
      lines.push_back(line);
      line.clear();
    }
  }
  return lines;
}

template <typename T>
Energy<T>::Energy(const std::string& output, const std::string& jobname)
    : output_(output), jobname_(jobname), stem_(output + jobname) {}

template <typename T>
void Energy<T>::init() {
  for (auto& s : notes_) s.clear();
  params_[0] = 1.0;
  params_[1] = 20.0;
  params_[2] = 4.0;
  params_[3] = 4.0;
  total_ = 0;
  num_terms_ = 0;
  numbers_.clear();
  files_.clear();
  values_.clear();
  weights_.clear();
  ready_ = 1;
}

template <typename T>
int Energy<T>::get_energy_module(const std::string& name) const {
  return Module<T>::get_energy_module(name);
}

template <typename T>
void Energy<T>::read_energy_cfg() {
  if (cfg_.empty()) {
    cfg_ = data_root() + "/cfg/fold_energy.cfg";
    if (!quiet_) print_text("Warning: the default configurations are used", kYellow);
  }
  if (!quiet_) print_text("Reading " + cfg_ + " ...", kPlain, 0);
  const std::vector<EnergyRow> rows = read_energy_rows(cfg_);
  for (const EnergyRow& row : rows) {
    numbers_.push_back(row.term);
    files_.push_back(row.file);
    weights_.push_back(static_cast<T>(row.weight));
  }
  num_terms_ = static_cast<int>(files_.size());
  if (!quiet_) std::printf("done\n");
}

template <typename T>
void Energy<T>::init_energy() {
  values_.assign(num_terms_, T(0));
  for (int k = 0; k < num_terms_; ++k) {
    execute_set_system_quiet(numbers_[k]);
    execute_init_func_energy_module(numbers_[k], files_[k]);
    execute_prev_func_energy_module(numbers_[k]);
    execute_calc_energy_func_energy_module(numbers_[k], &values_[k]);
    execute_post_func_energy_module(numbers_[k]);
  }
}

template <typename T>
void Energy<T>::calc_energy_in_chain() {
  values_.resize(num_terms_);
  T total = 0;
  for (int k = 0; k < num_terms_; ++k) {
    execute_calc_energy_func_energy_module(numbers_[k], &values_[k]);
    total += weights_[k] * values_[k];
  }
  if (!quiet_) {
    std::vector<std::string> names, products;
    for (int k = 0; k < num_terms_; ++k) {
      names.push_back(Module<T>::get_name(numbers_[k]));
      products.push_back(num2string(weights_[k], 2) + "*" + num2string(values_[k], 3));
    }
    print_info("List of the energy terms:", 32);
    for (const std::string& line : energy_list_lines(names)) print_info(line, 32);
    for (const std::string& line : energy_list_lines(products)) print_info(line, 32);
    print_info("Total energy: " + num2string(total, 3), 32);
  }
  total_ = total;
}

template <typename T>
void Energy<T>::actuate() {
  read_energy_cfg();
  init_energy();
  calc_energy_in_chain();
}

template class Energy<float>;
template class Energy<double>;

}  // namespace tevo
