// Complex<T>: reading the system and scoring its chains.
#include "folding/complex.h"

#include <cstdio>
#include <cstdlib>

#include "folding/energy/energy.h"
#include "protein/extended.h"
#include "util/console.h"
#include "util/files.h"

namespace tevo {

template <typename T>
void check_chain_for_energy(Chain<T>& chain, const std::string& source) {
  const std::string where = source + " chain " + chain.name + ": ";
  const int n = chain.get_num_of_amino_acids();
  if (n < 2) {
    print_info(where + "a single residue; the energy needs a chain of at least two", 9);
    std::exit(1);
  }
  for (int r = 0; r < n; ++r) {
    const AminoAcid<T>& aa = chain.amino_acids[r];
    for (const char* name : {"N", "CA", "C"}) {
      int found = 0, at = 0;
      chain.get_atom_in_residue(name, found, at, r);
      if (!found) {
        print_info(where + "residue " + std::to_string(aa.index) + " (" + aa.name + ") has no " + name +
                       " atom; the energy needs the backbone atoms N, CA and C of every residue",
                   9);
        std::exit(1);
      }
    }
  }
}

template <typename T>
Complex<T>::Complex(const std::string& output, const std::string& jobname) : output_(output), jobname_(jobname) {}

template <typename T>
void Complex<T>::init() {
  pdb_.clear();
  fastx_.clear();
  cfg_.clear();
  num_chains_ = 0;
  energies_.clear();
  init_system();
}

template <typename T>
void Complex<T>::set_file_name(const std::string& pdb, const std::string& fastx, const std::string& cfg) {
  pdb_ = pdb;
  fastx_ = fastx;
  cfg_ = cfg;
}

template <typename T>
void Complex<T>::set_param(int iterations, T interval, T temperature) {
  iterations_ = iterations;
  interval_ = interval;
  temperature_ = temperature;
}

template <typename T>
void Complex<T>::init_system() {
  protein_ = std::make_unique<Protein<T>>(output_, jobname_, false, 1);
}

template <typename T>
void Complex<T>::set_system() {
  std::string path = pdb_;
  if (path.empty() && !fastx_.empty()) {
    // Only a sequence: its extended chain is written and read back.
    std::vector<std::string> names, seqs;
    long stray = 0;
    refuse_directory(fastx_);
    if (!read_protein_fasta(fastx_, names, seqs, stray)) {
      print_info(fastx_, 5);
      std::exit(1);
    }
    if (seqs.empty() || stray > 0) {
      print_info(fastx_ + ": no FASTA record to build", 9);
      std::exit(1);
    }
    int bad = -1;
    Protein<T> built(output_, jobname_, false, 1);
    built.add_chain(build_extended_chain<T>(seqs[0], "A", bad));
    if (bad >= 0) {
      print_info(fastx_ + ": '" + std::string(1, seqs[0][bad]) + "' at position " + std::to_string(bad + 1) +
                     " is not an amino acid",
                 9);
      std::exit(1);
    }
    path = output_ + jobname_ + "_Mi.pdb";
    built.write_pdb(path);
  }
  refuse_directory(path);
  if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
    std::fclose(f);
  } else {
    print_info(path, 5);
    std::exit(1);
  }
  Protein<T>& p = *protein_;
  p.read_pdb(path, false, "", true);
  num_chains_ = p.get_num_of_chains();
  if (num_chains_ == 0) return;
  p.tevo_create_all_protein_bonds(false);
  p.get_all_aotm_coords();
  for (int c = 0; c < num_chains_; ++c) {
    p.chains[c].set_idx_coords();
    p.tevo_copy_coords(c);
    p.update_all_coords(c);
  }
  p.tevo_update_all_torsional_angles();
}

template <typename T>
void Complex<T>::calc_energy() {
  const std::string source = pdb_.empty() ? fastx_ : pdb_;
  if (num_chains_ == 0) {
    print_info(source + ": no chain to score", 9);
    std::exit(1);
  }
  for (int c = 0; c < num_chains_; ++c) check_chain_for_energy(protein_->chains[c], source);
  energies_.clear();
  for (int c = 0; c < num_chains_; ++c) {
    Chain<T>& chain = protein_->chains[c];
    if (num_chains_ > 1) print_text("Chain " + chain.name + ":", kBlue);
    chain.add_hn();
    chain.set_idx_coords();
    Energy<T> energy(output_, jobname_);
    energy.init();
    energy.set_quiet(false);
    energy.set_system(&chain);
    energy.set_cfg(cfg_);
    energy.actuate();
    energies_.push_back(energy.get_energy());
  }
}

template <typename T>
void Complex<T>::finish() {
  protein_.reset();
}

template class Complex<float>;
template class Complex<double>;
template void check_chain_for_energy(Chain<float>&, const std::string&);
template void check_chain_for_energy(Chain<double>&, const std::string&);

}  // namespace tevo
