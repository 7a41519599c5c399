// The term table, built once on first use.
#include "folding/module.h"

namespace tevo {

namespace {
template <typename T>
const std::vector<typename Module<T>::Row>& build_energy_modules() {
  // A function-local static is initialised once, under the language's guard.
  static const std::vector<typename Module<T>::Row> rows = {
      {"DOPE-CB", "Discrete Optimized Protein Energy function (main-chain + CB atoms)"},
      {"DOPE-PW", "Discrete Optimized Protein Energy function (main-chain + CB atoms)"},
      {"BURIAL", "Residue depth"},
      {"HNCE", "Hydrogen-bond constraints"},
      {"CNCE", "Residue contact bias"},
      {"TSP", "Torsional statistical potential"},
      {"RADIAL", "Radial energy function"},
      {"", ""}};
  return rows;
}
}  // namespace

template <typename T>
const std::vector<typename Module<T>::Row>& Module<T>::energy_modules_ = build_energy_modules<T>();

template <typename T>
std::string Module<T>::get_name(int number) {
  const auto& rows = build_energy_modules<T>();
  return number >= 0 && number < static_cast<int>(rows.size()) ? rows[number].name : std::string();
}

template <typename T>
int Module<T>::get_energy_module(const std::string& name) {
  const auto& rows = build_energy_modules<T>();
  for (std::size_t i = 0; i + 1 < rows.size(); ++i)
    if (rows[i].name == name) return static_cast<int>(i);
  return 0;
}

template class Module<float>;
template class Module<double>;

}  // namespace tevo
