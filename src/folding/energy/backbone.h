// Backbone facts shared by the energy terms: where each residue's backbone
// atoms stand in the chain's flat array, backbone hydrogen bonds, and the
// secondary-structure classes that follow from them.
#pragma once

#include <vector>

#include "protein/chain.h"

namespace tevo {

// Flat-array atom numbers of a residue's backbone atoms; -1 when missing.
struct BackboneAtoms {
  int n = -1, hn = -1, ca = -1, cb = -1, c = -1, o = -1;
};

// Residue classes: 0 helix, 1 strand, 2 anything else.
enum SecondaryClass { kHelix = 0, kStrand = 1, kOther = 2 };

// Backbone atoms of every residue (last atom of each name, as in
// get_atom_in_residue). The chain's flat arrays must be current (set_idx_coords).
template <typename T>
std::vector<BackboneAtoms> find_backbone_atoms(const Chain<T>& chain);

// Backbone hydrogen bonds over residues: hb[i * n + j] = 1 when the O of
// residue i accepts from the N-H of residue j. A bond needs the H..O distance
// strictly between 1.7 and 2.6 A, the N-H..O angle above 140 degrees (cosine
// below -0.766) and the C=O..H angle above 80 degrees (cosine below 0.18).
template <typename T>
void backbone_hbonds(const T* xyz, const std::vector<BackboneAtoms>& bb, std::vector<unsigned char>& hb);

struct SecondaryStructure {
  std::vector<int> cls;                  // [n] SecondaryClass
  std::vector<unsigned char> strand;     // [n * n] 0, 1 parallel, 2 antiparallel bridge partners
  std::vector<int> segment;              // [n] run of one class without a chain break
  std::vector<unsigned char> hb;         // [n * n] as backbone_hbonds
};

// phi and psi of residue i from the coordinates (360 when undefined).
template <typename T>
void backbone_torsions(const T* xyz, const std::vector<BackboneAtoms>& bb, int i, T& phi, T& psi);

// Helices: residues with phi in (-90, -40), psi in (-60, -20) and an i-4 -> i
// hydrogen bond, in runs longer than 4. Strands: bridges of residues at least
// 5 apart by the hydrogen-bond patterns of Kabsch & Sander (Biopolymers 22:2577,
// 1983), marked with their neighbouring pairs; none in chains under 7 residues.
// Segments break where the class changes or C(i-1)..N(i) exceeds 2.0 A.
template <typename T>
void assign_secondary_structure(const T* xyz, const std::vector<BackboneAtoms>& bb, SecondaryStructure& ss);

extern template std::vector<BackboneAtoms> find_backbone_atoms(const Chain<float>&);
extern template std::vector<BackboneAtoms> find_backbone_atoms(const Chain<double>&);
extern template void backbone_hbonds(const float*, const std::vector<BackboneAtoms>&, std::vector<unsigned char>&);
extern template void backbone_hbonds(const double*, const std::vector<BackboneAtoms>&, std::vector<unsigned char>&);
extern template void backbone_torsions(const float*, const std::vector<BackboneAtoms>&, int, float&, float&);
extern template void backbone_torsions(const double*, const std::vector<BackboneAtoms>&, int, double&, double&);
extern template void assign_secondary_structure(const float*, const std::vector<BackboneAtoms>&, SecondaryStructure&);
extern template void assign_secondary_structure(const double*, const std::vector<BackboneAtoms>&, SecondaryStructure&);

}  // namespace tevo
