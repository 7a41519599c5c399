// Loading an engine from a configuration file; the failure exit.
#include "md/engine_file.h"

#include <cstdio>
#include <cstdlib>

#include "md/h5.h"
#include "util/console.h"

namespace tevo {

template <typename T>
std::unique_ptr<CGMDEngine<T>> load_engine_file(const std::string& path, bool quiet) {
  h5::h5_obj file = h5::open_file(path, H5F_ACC_RDONLY);
  const std::vector<hsize_t> dims = h5::get_dset_size(3, file.get(), "/input/pos");
  if (dims[1] != 3) throw std::string("invalid dimensions for initial position");
  const int n_atom = static_cast<int>(dims[0]), n_system = static_cast<int>(dims[2]);
  h5::h5_obj potential(H5Gclose, h5::open_group(file.get(), "/input/potential"));
  auto engine = std::make_unique<CGMDEngine<T>>(potential.get(), n_atom, n_system, quiet);
  float* pos = engine->pos->output.data();
  h5::traverse_dset<3, float>(file.get(), "/input/pos", [&](int atom, int d, int s, float v) {
    pos[(static_cast<size_t>(s) * n_atom + atom) * 3 + d] = v;
  });
  return engine;
}

template std::unique_ptr<CGMDEngine<float>> load_engine_file<float>(const std::string&, bool);
template std::unique_ptr<CGMDEngine<double>> load_engine_file<double>(const std::string&, bool);

void md_failure_exit(const std::string& message) {
  print_info(message, 9);
  std::fflush(stdout);
  std::exit(1);
}

}  // namespace tevo
