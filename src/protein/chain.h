// A polypeptide chain: residues in file order, a flat coordinate array that
// mirrors the atoms, torsion geometry over that array, and contacts.
#pragma once

#include <string>
#include <vector>

#include "protein/aminoacid.h"

namespace tevo {

template <typename T>
class Chain {
 public:
  // `add` (0 or 1) is added to every residue number when the chain is written.
  explicit Chain(bool add = false) : add_(add) {}
  Chain(const Chain&) = default;
  Chain& operator=(const Chain&) = default;
  Chain(Chain&&) noexcept = default;
  Chain& operator=(Chain&&) noexcept = default;
  virtual ~Chain() = default;

  void set_dirt_job(const std::string& dirt, const std::string& job) {
    dirt_ = dirt;
    job_ = job;
  }
  void set_name(const std::string& text) { name = text; }
  const std::string& get_name() const { return name; }
  void set_sequence(const std::string& seq) { sequence = seq; }
  const std::string& get_sequence() const { return sequence; }
  void set_active(bool flag) { active = flag; }
  bool is_active() const { return active; }
  void add_amino_acid(const AminoAcid<T>& aa) { amino_acids.push_back(aa); }
  void add_amino_acid(AminoAcid<T>&& aa) { amino_acids.push_back(std::move(aa)); }
  void clear();

  // Counts refreshed from the vectors.
  int get_num_of_amino_acids();
  int get_num_of_atoms();
  // One-letter sequence from the residue names (aa321; unknown names add nothing).
  std::string make_sequence() const;

  // ATOM lines then "TER", appended to `out` (simplified layout).
  void pdb_text(std::string& out) const;
  // pdb_text written to `path` with fopen mode `mode` (exit(1) if it fails).
  void write_pdb(const std::string& mode, const std::string& path) const;

  // Flat arrays over the chain's atoms in residue order; also sets each
  // residue's first and last atom.
  void set_idx_coords();
  // Copies the flat array back into the atoms.
  void set_all_aotm_coords();
  T* coords() { return coords_.data(); }
  const int* idx_table() const { return idx_.data(); }
  const std::vector<std::string>& atom_names() const { return atom_names_; }

  // Position within residue `res` of the last atom named `atom_name`; found 0 if none.
  void get_atom_in_residue(const std::string& atom_name, int& found, int& index, int res) const;

  // Torsions (degrees) measured from the flat array; 360.0 when undefined.
  void tevo_update_torsional_angle(int bond, int res);
  void tevo_update_all_torsional_angles_in_res(int res);
  void tevo_update_all_torsional_angles();
  // Rotates every atom after the bond's third atom, to the end of the chain.
  void rotate_coords(int bond, int res, T angle);
  void tevo_update_all_coords_in_res(int res, bool flag);
  void update_all_coords();
  void update_oxygen();
  void add_hn();
  void reduced_representation();

  // Atom-by-atom distances (row major, natoms x natoms) from the flat array;
  // `parallel` splits rows over threads.
  void calc_atom_dist(bool parallel);
  void set_distmask(bool flag);
  const T* dist() const { return dist_.data(); }
  const unsigned char* distmask() const { return distmask_.data(); }

  // Contacts: distance of atom `atom_name` between residues i and j when
  // 1.5 < d <= cutoff and i != j, else 0.
  void is_contact(T& out, int i, int j, T cutoff, const std::string& atom_name) const;
  void calc_aa_contact(T** mat, T cutoff, const std::string& atom_name) const;
  // 2.0 when residue i (donor N-HN) bonds the O of residue j, else 0.
  void is_NHbonded(T& out, int i, int j) const;
  void calc_hydrogen_bond(T** mat) const;
  // Residue matrix by CA or CB within the cutoff; non-zero entries also go
  // to "tevo_contact.mat" in the chain's job directory.
  std::vector<std::vector<T>> residue_contact(T cutoff) const;
  std::vector<std::vector<T>> hydrogen_bond_contact() const;

  std::string dirt_, job_;
  std::string name;
  std::vector<AminoAcid<T>> amino_acids;
  std::string sequence;
  int add_ = 0;
  int first_res = 0, last_res = 0;
  bool active = true;
  int num_of_amino_acids = 0;
  int num_of_atoms = 0;

 private:
  std::vector<int> idx_;                 // [natoms][2]: residue position, AA2INT code
  std::vector<T> coords_;                // [natoms][3]
  std::vector<T> dist_;                  // [natoms][natoms]
  std::vector<unsigned char> distmask_;  // [natoms][natoms]
  std::vector<std::string> atom_names_;  // [natoms]
};

extern template class Chain<float>;
extern template class Chain<double>;

namespace detail {
// The bond record, or null when the residue has none at that position.
template <typename T>
Bond<T>* bond_at(AminoAcid<T>& aa, int bond) {
  return aa.bonds && bond >= 0 && bond < aa.num_bonds ? &aa.bonds[bond] : nullptr;
}
// A record whose atoms lie outside the array cannot be measured or used.
template <typename T>
bool bond_in_range(const Bond<T>& b, int natoms) {
  for (int a : {b.atom1, b.atom2, b.atom3, b.atom4})
    if (a < 0 || a >= natoms) return false;
  return true;
}
// Shared by the chain and the protein, over the atoms of one chain starting at `xyz`.
template <typename T>
void measure_torsion(const T* xyz, Bond<T>& bond);
template <typename T>
void rotate_after(T* xyz, int natoms, const Bond<T>& bond, T angle);
// Fills `dist` with the square matrix of distances between all atoms of `coords`
// ([natoms][3]); leaves it empty, with a message, when it would exceed 2 GiB.
template <typename T>
void atom_distances(const std::vector<T>& coords, std::vector<T>& dist, bool parallel);
}  // namespace detail

}  // namespace tevo
