// A residue: its names, its atoms in file order, and the records of its
// rotatable bonds, which copies of the residue share.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "protein/atom.h"

namespace tevo {

// One rotatable bond of a residue; type 0 marks an invalid record.
template <typename T>
struct Bond {
  uint8_t type = 0;
  int atom1 = 0, atom2 = 0, atom3 = 0, atom4 = 0;  // chain-wide atom numbers of the dihedral
  int last = 0;                                    // last atom the bond carries
  T angle = 0;                                     // current torsion, degrees
  T target = 0;                                    // wanted torsion, degrees
};

template <typename T>
class AminoAcid {
 public:
  AminoAcid() = default;
  explicit AminoAcid(const std::string& name) : name(name) {}
  // Atoms and vectors are copied deeply; the bond array is shared.
  AminoAcid(const AminoAcid&) = default;
  AminoAcid& operator=(const AminoAcid&) = default;
  AminoAcid(AminoAcid&&) noexcept = default;
  AminoAcid& operator=(AminoAcid&&) noexcept = default;
  virtual ~AminoAcid() = default;

  void set_index(int value) { index = value; }
  int get_index() const { return index; }
  void set_name(const std::string& text) { name = text; }
  const std::string& get_name() const { return name; }
  void set_amino_acid_3_letter(const std::string& text) { name3 = text; }
  const std::string& get_amino_acid_3_letter() const { return name3; }
  void set_amino_acid_1_letter(const std::string& text) { name1 = text; }
  const std::string& get_amino_acid_1_letter() const { return name1; }
  void set_amino_acid_full_nam(const std::string& text) { full_name = text; }
  const std::string& get_amino_acid_full_nam() const { return full_name; }
  void set_chain_name(const std::string& text) { chain_name = text; }
  const std::string& get_chain_name() const { return chain_name; }

  void add_atom(const Atom<T>& atom) { atoms.push_back(atom); }
  int get_num_of_atoms() {
    num_of_atoms = static_cast<int>(atoms.size());
    return num_of_atoms;
  }
  // First atom of that name; a missing name gives -1 (coordinate 0).
  int get_atom_index(const std::string& atom_name) const;
  T get_atom_coord(const std::string& atom_name, int axis) const;

  // Empties atoms and lists; names and numbers stay for the caller to overwrite.
  void clear() {
    atoms.clear();
    notes.clear();
  }

  // Allocates `n` zeroed bond records owned jointly by this residue and its copies.
  void create_bonds(int n);
  int get_num_of_bonds() const { return num_bonds; }

  int index = 0;
  std::string name;  // three-letter name as read
  std::string name3, name1, full_name;
  std::string chain_name;
  std::vector<std::string> notes;
  std::vector<Atom<T>> atoms;  // file order
  int first_atom = 0;          // chain-wide index of the first atom
  int last_atom = 0;           // chain-wide index of the last atom
  int num_bonds = 0;           // records behind `bonds`
  Bond<T>* bonds = nullptr;    // [num_bonds], shared by copies, owned by bonds_owner
  int num_of_atoms = 0;

 private:
  std::shared_ptr<Bond<T>> bonds_owner;  // frees the array once, after the last copy
};

extern template class AminoAcid<float>;
extern template class AminoAcid<double>;

}  // namespace tevo
