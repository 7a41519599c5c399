// Opening a configuration file as an engine, and the way a failure of the
// coarse-grained layer (a thrown string) ends the program.
#pragma once

#include <memory>
#include <string>

#include "md/deriv_engine.h"

namespace tevo {

// The engine of the file's /input/potential with the positions of /input/pos
// (n_atom x 3 x n_system) loaded. Throws the layer's messages; a second
// dimension other than 3 gives "invalid dimensions for initial position".
template <typename T>
std::unique_ptr<CGMDEngine<T>> load_engine_file(const std::string& path, bool quiet);

// Prints "Error: <message>" through the console words and exits with status 1.
[[noreturn]] void md_failure_exit(const std::string& message);

// Runs `job`; a thrown message ends the program through md_failure_exit.
template <typename F>
void run_or_exit(F&& job) {
  try {
    job();
  } catch (const std::string& message) {
    md_failure_exit(message);
  }
}

extern template std::unique_ptr<CGMDEngine<float>> load_engine_file<float>(const std::string&, bool);
extern template std::unique_ptr<CGMDEngine<double>> load_engine_file<double>(const std::string&, bool);

}  // namespace tevo
