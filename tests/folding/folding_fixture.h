// Shared pieces of the folding tests: a temporary folder and a real chain
// prepared the way the energy command prepares it.
#pragma once

#include <cstdlib>
#include <fstream>
#include <string>

#include "protein/protein.h"

namespace tevo_test {

class TempDir {
 public:
  TempDir() {
    char tmpl[] = "/tmp/tevo_folding_XXXXXX";
    path = std::string(mkdtemp(tmpl)) + "/";
  }
  ~TempDir() { std::system(("rm -rf " + path).c_str()); }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(path + name) << text;
    return path + name;
  }
  std::string path;
};

inline std::string example(const std::string& name) { return std::string(TEVO_TEST_DATA) + "/../../examples/" + name; }

// The first chain of a PDB file with hydrogens on N and its flat arrays.
template <typename T>
tevo::Chain<T> prepared_chain(const std::string& pdb) {
  tevo::Protein<T> protein("", "", false, 1);
  protein.read_pdb(pdb, false, "", true);
  tevo::Chain<T> chain = protein.chains.at(0);
  chain.add_hn();
  chain.set_idx_coords();
  return chain;
}

}  // namespace tevo_test
