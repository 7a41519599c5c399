// Loading of the bias matrices.
#include "folding/energy/bias_matrix.h"

#include <cstdio>
#include <cstdlib>

#include "folding/energy/tables.h"
#include "util/console.h"
#include "util/files.h"

namespace tevo {

template <typename T>
void load_bias_matrix(const std::string& file, int n, bool quiet, std::vector<T>& out) {
  out.clear();
  refuse_directory(file);
  if (!quiet) print_info("Loading " + file + " ...", 32, 0);
  std::vector<std::vector<double>> rows;
  if (!read_number_matrix(file, rows)) {
    if (!quiet) std::printf("\n");
    print_info(file, 5);
    std::exit(1);
  }
  if (!rows.empty()) {
    if (static_cast<int>(rows.size()) != n || static_cast<int>(rows[0].size()) != n) {
      if (!quiet) std::printf("\n");
      print_info(file + ": a " + std::to_string(rows.size()) + " x " + std::to_string(rows[0].size()) +
                     " matrix for a chain of " + std::to_string(n) + " residues",
                 9);
      std::exit(1);
    }
    out.reserve(static_cast<std::size_t>(n) * n);
    for (const auto& row : rows)
      for (double v : row) out.push_back(static_cast<T>(v));
  }
  if (!quiet) std::printf("done\n");
}

template void load_bias_matrix(const std::string&, int, bool, std::vector<float>&);
template void load_bias_matrix(const std::string&, int, bool, std::vector<double>&);

}  // namespace tevo
