// Residue methods.
#include "protein/aminoacid.h"

namespace tevo {

template <typename T>
int AminoAcid<T>::get_atom_index(const std::string& atom_name) const {
  // Guarded walk: a missing name gives -1 instead of running off the vector.
  for (std::size_t k = 0; k < atoms.size(); ++k)
    if (atoms[k].name == atom_name) return static_cast<int>(k);
  return -1;
}

template <typename T>
T AminoAcid<T>::get_atom_coord(const std::string& atom_name, int axis) const {
  const int k = get_atom_index(atom_name);
  return k < 0 ? T(0) : atoms[k].coord[axis];
}

template <typename T>
void AminoAcid<T>::create_bonds(int n) {
  bonds_owner.reset(new Bond<T>[n](), std::default_delete<Bond<T>[]>());
  bonds = bonds_owner.get();
  num_bonds = n;
}

template class AminoAcid<float>;
template class AminoAcid<double>;

}  // namespace tevo
