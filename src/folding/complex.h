// Complex<T>: the top object of the folding commands. It turns a PDB file
// (or a FASTA sequence, built as an extended chain) into a protein and runs
// the energy of each chain. The sampler and dynamics runs drive the same
// protein through this object.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "protein/protein.h"

namespace tevo {

template <typename T>
class Complex {
 public:
  Complex(const std::string& output, const std::string& jobname);

  void init();
  void set_file_name(const std::string& pdb, const std::string& fastx, const std::string& cfg);
  void set_param(int iterations, T interval, T temperature);
  void init_system();
  // Reads the PDB (or builds "<stem>_Mi.pdb" from the FASTA file and reads
  // that), creates the bond records, the flat arrays and the torsions.
  void set_system();
  void driver() { set_system(); }
  // Per chain: add_hn, set_idx_coords, then a fresh Energy<T> on the
  // configuration. The totals go to `energies`.
  void calc_energy();
  void finish();

  Protein<T>* protein() { return protein_.get(); }
  int get_num_of_chains() const { return num_chains_; }
  const std::vector<T>& get_energies() const { return energies_; }

 private:
  std::string output_, jobname_;
  std::string pdb_, fastx_, cfg_;
  int iterations_ = 0;
  T interval_ = 0, temperature_ = 0;
  std::unique_ptr<Protein<T>> protein_;
  int num_chains_ = 0;
  std::vector<T> energies_;
};

// The guard before scoring: every residue of the chain has N, CA and C, and
// the chain at least two residues. Otherwise "Error: <source> chain <name>:
// ..." and exit 1.
template <typename T>
void check_chain_for_energy(Chain<T>& chain, const std::string& source);

extern template class Complex<float>;
extern template class Complex<double>;
extern template void check_chain_for_energy(Chain<float>&, const std::string&);
extern template void check_chain_for_energy(Chain<double>&, const std::string&);

}  // namespace tevo
