// The table of energy terms, whose row numbers are the term numbers used by
// Energy<T> and DSA<T>, and the job's names.
#pragma once

#include <string>
#include <vector>

namespace tevo {

template <typename T>
class Module {
 public:
  struct Row {
    std::string name, description;
  };
  // 0 DOPE-CB, 1 DOPE-PW, 2 BURIAL, 3 HNCE, 4 CNCE, 5 TSP, 6 RADIAL, then a
  // row with both strings empty.
  static const std::vector<Row>& energy_modules_;

  Module() = default;
  Module(const std::string& output, const std::string& jobname) : output(output), jobname(jobname) {}
  virtual ~Module() = default;

  // Name of row `number`; empty outside the table.
  static std::string get_name(int number);
  // Row of an exact name; 0 (DOPE-CB) for a name that is not in the table.
  static int get_energy_module(const std::string& name);

  std::string output, jobname;
};

extern template class Module<float>;
extern template class Module<double>;

}  // namespace tevo
