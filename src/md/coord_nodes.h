// Intermediate coordinate nodes: backbone torsions, residue frames, inferred
// hydrogen and oxygen sites, and side-chain points.
#pragma once

#include <vector>

#include "md/deriv_engine.h"

namespace tevo {

// Angles given to a missing phi (N-terminus) or psi (C-terminus): the centre
// of the broad beta/polyproline region, with zero derivative.
constexpr float kMissingPhi = -1.3962634f;  // -80 degrees
constexpr float kMissingPsi = 2.2689280f;   // 130 degrees

struct RamaCoordParams {
  int atom[5];  // C(i-1), N, CA, C, N(i+1); -1 where the chain ends
};

// Width 2: phi and psi of each residue.
class RamaCoord : public CoordNode {
 public:
  std::vector<RamaCoordParams> params;
  RamaCoord(hid_t group, CoordNode& pos);
  void compute_value(ComputeMode mode) override;
  void propagate_deriv() override;

 private:
  CoordNode& pos_;
  std::vector<AutoDiffParams> autodiff_;
  std::vector<float> jac_;      // [system][elem][5 atoms][2][3]
  std::vector<float> scratch_;  // [system][elem][2]
};

struct AffineAlignmentParams {
  int atom[3];
  float ref_geom[3][3];  // body coordinates of the three atoms, centroid at the origin
};

// Width 7: a rigid frame per residue, translation (the centroid of the three
// atoms) and unit quaternion (w, x, y, z) of the rotation that best maps the
// reference triangle onto the atoms (Horn, J Opt Soc Am A 4:629, 1987). Its
// derivative slots are 6 wide: d/d(translation) and the torque.
class AffineAlignment : public CoordNode {
 public:
  std::vector<AffineAlignmentParams> params;
  AffineAlignment(hid_t group, CoordNode& pos);
  void compute_value(ComputeMode mode) override;
  void propagate_deriv() override;

 private:
  CoordNode& pos_;
  std::vector<int> slots_;      // [elem][3] slots on pos
  std::vector<float> jac_;      // [system][elem][18]: the rotated body atoms, inverse of K
  std::vector<float> scratch_;  // [system][elem][6]
};

// Eigenvalues (ascending) and eigenvectors (columns of vectors, row-major)
// of the symmetric 4x4 matrix m, by cyclic Jacobi rotations.
void symm_QR_4x4(const double* m, double* values, double* vectors);

struct VirtualParams {
  int atom[3];  // neighbour, centre, neighbour: (C(i-1), N, CA) or (CA, C, N(i+1))
  float bond_length;
};

// Width 6: position and unit direction of the hydrogen of each donor and the
// oxygen of each acceptor, donors first.
class Infer_H_O : public CoordNode {
 public:
  int n_donor, n_acceptor;
  std::vector<VirtualParams> params;
  Infer_H_O(hid_t group, CoordNode& pos);
  void compute_value(ComputeMode mode) override;
  void propagate_deriv() override;

 private:
  CoordNode& pos_;
  std::vector<AutoDiffParams> autodiff_;
  std::vector<float> jac_;      // [system][elem][3 atoms][6][3]
  std::vector<float> scratch_;  // [system][elem][6]
};

// Width 6: a side-chain point and direction per residue from tables over
// (phi, psi), placed through the residue's frame.
class BackboneDependentPoint : public CoordNode {
 public:
  BackboneDependentPoint(hid_t group, CoordNode& rama, CoordNode& alignment);
  void compute_value(ComputeMode mode) override;
  void propagate_deriv() override;

 private:
  CoordNode& rama_;
  CoordNode& alignment_;
  std::vector<int> rama_residue_, alignment_residue_, restype_;
  int n_grid_ = 0;
  std::vector<float> coef_;  // [type][phi][psi][6]: spline control points
  std::vector<AutoDiffParams> autodiff_;
  std::vector<float> jac_;      // [system][elem][6x2 then 6x6]
  std::vector<float> scratch_;  // [system][elem][6]
};

}  // namespace tevo
