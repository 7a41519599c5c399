// A structure: its chains, a flat coordinate array over all atoms, the PDB
// reader and writers, bond records, protein-level geometry and contacts.
#pragma once

#include <string>
#include <vector>

#include "protein/chain.h"

namespace tevo {

template <typename T>
class Protein {
 public:
  // The file stem of every output is `output` + `jobname`; `reorder` renumbers
  // residues on reading, from `first_number`.
  Protein(const std::string& output = "", const std::string& jobname = "", bool reorder = false,
          int first_number = 1);
  virtual ~Protein() = default;

  // Reads the ATOM records of a PDB file (plain or gzip). An unreadable file
  // gives an empty protein; a malformed ATOM record ends the process with
  // exit(1) after an "Error:" line naming the file and line.
  void read_pdb(const std::string& path, bool backbone, const std::string& chain, bool verbose);
  bool write_pdb(const std::string& path) const;
  bool write_fasta(const std::string& path) const;
  void finish();

  void add_chain(const Chain<T>& chain) {
    chains.push_back(chain);
    num_of_chains = static_cast<int>(chains.size());
  }
  int get_num_of_chains() const { return static_cast<int>(chains.size()); }
  int get_num_of_amino_acids();           // all chains
  int get_num_of_amino_acids(int chain);  // one chain
  int get_num_of_atoms();
  int get_num_of_atoms(int chain);
  const std::string& get_chain_name(int chain) const { return chains[chain].name; }
  void set_chain_name(int chain, const std::string& text) { chains[chain].name = text; }
  void set_job_info(const std::string& output, const std::string& jobname);
  const std::string& stem() const { return stem_; }

  // Flat arrays over all chains, and their copy back into the atoms.
  void get_all_aotm_coords();
  void get_aotm_coords_in_chain(int chain, int offset);
  void set_all_aotm_coords();
  void set_aotm_coords_in_chain(int chain);
  // Copies the protein's flat coordinates of a chain into that chain's own array.
  void tevo_copy_coords(int chain);
  T* coords() { return coords_.data(); }
  int chain_offset(int chain) const { return chain_offset_[chain]; }

  // Bond records.
  static int get_bond_type(int position);
  static void tevo_set_valid_bond(Bond<T>* bonds, int position, int a1, int a2, int a3, int a4,
                                  int last);
  static void tevo_create_bonds_array(Bond<T>* bonds, int n);
  void tevo_create_protein_bonds(std::vector<Chain<T>>& in, int chain, bool with_sc);
  void tevo_create_all_protein_bonds(bool with_sc);
  void tevo_create_mc_bonds(int res, int chain);
  void tevo_create_ala_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "ALA"); }
  void tevo_create_arg_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "ARG"); }
  void tevo_create_asn_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "ASN"); }
  void tevo_create_asp_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "ASP"); }
  void tevo_create_cys_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "CYS"); }
  void tevo_create_gln_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "GLN"); }
  void tevo_create_glu_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "GLU"); }
  void tevo_create_gly_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "GLY"); }
  void tevo_create_his_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "HIS"); }
  void tevo_create_ile_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "ILE"); }
  void tevo_create_leu_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "LEU"); }
  void tevo_create_lys_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "LYS"); }
  void tevo_create_met_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "MET"); }
  void tevo_create_phe_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "PHE"); }
  void tevo_create_pro_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "PRO"); }
  void tevo_create_ser_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "SER"); }
  void tevo_create_thr_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "THR"); }
  void tevo_create_trp_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "TRP"); }
  void tevo_create_tyr_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "TYR"); }
  void tevo_create_val_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "VAL"); }
  void tevo_create_unk_bonds(int res, int chain, bool sc) { create_bonds_for(res, chain, sc, "UNK"); }
  // Side-chain records (positions 3 on) of the residue's own type.
  void tevo_create_sc_bonds(int res, int chain);

  // Geometry over the protein's flat array (chain-wide bond numbers plus the chain's offset).
  void tevo_update_torsional_angle(int chain, int bond, int res);
  void tevo_update_all_torsional_angles_in_res(int chain, int res);
  void tevo_update_all_torsional_angles(int chain);
  void tevo_update_all_torsional_angles();  // every chain
  void rotate_coords(int chain, int bond, int res, T angle);
  void tevo_update_all_coords_in_res(int chain, int res, bool flag);
  void update_all_coords(int chain);
  // These change atoms; call get_all_aotm_coords again afterwards.
  void update_oxygen(int chain) { chains[chain].update_oxygen(); }
  void add_hn(int chain) { chains[chain].add_hn(); }
  void reduced_representation(int chain) { chains[chain].reduced_representation(); }

  // All-atom distance matrix over the protein and its mask; after a rotation
  // about a bond of `chain`, only pairs split by the bond change distance.
  void calc_atom_dist(bool parallel);
  void set_distmask(bool flag);
  void calc_atom_dist_mask(int chain, int bond, int res);
  void set_distmask_intervals_product(int begin1, int end1, int begin2, int end2, bool flag);
  const T* dist() const { return dist_.data(); }
  const unsigned char* distmask() const { return distmask_.data(); }

  // Contacts.
  void is_contact(T& out, int chain, int i, int j, T cutoff, const std::string& atom_name) const {
    chains[chain].is_contact(out, i, j, cutoff, atom_name);
  }
  void calc_aa_contact(T** mat, int chain, T cutoff, const std::string& atom_name) const {
    chains[chain].calc_aa_contact(mat, cutoff, atom_name);
  }
  void is_NHbonded(T& out, int chain, int i, int j) const { chains[chain].is_NHbonded(out, i, j); }
  void calc_hydrogen_bond(T** mat, int chain) const { chains[chain].calc_hydrogen_bond(mat); }
  std::vector<std::vector<T>> residue_contact(int chain, T cutoff) const {
    return chains[chain].residue_contact(cutoff);
  }
  // Contacts of every chain: "<stem>_<name>.csv", the job record block, and
  // the 0/1 map kept in contact_map for the charts.
  void calc_residue_contact(const std::string& name, T cutoff, std::string atom_type);

  std::vector<Chain<T>> chains;
  int num_of_chains = 0;
  int num_of_atoms = 0;
  std::vector<T> contact_map;                  // [n][n] 0/1 over residues of all chains
  std::vector<std::string> contact_labels;     // residue labels of contact_map rows

 private:
  void create_bonds_for(int res, int chain, bool with_sc, const std::string& name);

  std::vector<int> idx_;                 // [natoms][2]: residue position, AA2INT code
  std::vector<T> coords_;                // [natoms][3]
  std::vector<std::string> atom_names_;  // [natoms]
  std::vector<int> chain_offset_;        // first atom of each chain in the flat array
  std::vector<T> dist_;                  // [natoms][natoms]
  std::vector<unsigned char> distmask_;  // [natoms][natoms]
  std::string output_, jobname_, stem_;
  bool reorder_ = false;
  int first_number_ = 1;
  int atom_counter_ = 0;  // running serial over all chains read
};

extern template class Protein<float>;
extern template class Protein<double>;

}  // namespace tevo
