// Torsions, rotations and atom placement checked against independent
// formulas, on ubiquitin and on built chains.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

#include "protein/extended.h"
#include "protein/geometry.h"
#include "protein/protein.h"

using namespace tevo;

namespace {

using V3 = std::array<double, 3>;
V3 sub(const double* a, const double* b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
double dot(const V3& u, const V3& v) { return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]; }
double ref_dist(const double* a, const double* b) { return std::sqrt(dot(sub(a, b), sub(a, b))); }
double ref_angle(const double* a, const double* b, const double* c) {
  const V3 u = sub(a, b), v = sub(c, b);
  return std::acos(dot(u, v) / std::sqrt(dot(u, u) * dot(v, v))) * 180.0 / M_PI;
}
// Dihedral by projection onto the plane normal to b-c (IUPAC sign), written
// independently of the library's two formulas.
double ref_dihedral(const double* a, const double* b, const double* c, const double* d) {
  const V3 b0 = sub(a, b), b2 = sub(d, c);
  V3 b1 = sub(c, b), v, w;
  const double n1 = std::sqrt(dot(b1, b1));
  for (double& e : b1) e /= n1;
  const double p0 = dot(b0, b1), p2 = dot(b2, b1);
  for (int k = 0; k < 3; ++k) {
    v[k] = b0[k] - p0 * b1[k];
    w[k] = b2[k] - p2 * b1[k];
  }
  const V3 x = {b1[1] * v[2] - b1[2] * v[1], b1[2] * v[0] - b1[0] * v[2], b1[0] * v[1] - b1[1] * v[0]};
  return std::atan2(dot(x, w), dot(v, w)) * 180.0 / M_PI;
}

// Difference of two angles on the circle, in degrees.
double angle_gap(double a, double b) {
  const double d = std::fmod(std::fabs(a - b), 360.0);
  return std::min(d, 360.0 - d);
}

const double* atom_xyz(const Chain<double>& ch, int res, const std::string& name) {
  for (const auto& a : ch.amino_acids[res].atoms)
    if (a.name == name) return a.coord;
  return nullptr;
}

Protein<double> protein_of(const std::string& seq) {
  int bad = 0;
  Protein<double> p;
  p.add_chain(build_extended_chain<double>(seq, "A", bad));
  EXPECT_EQ(bad, -1);
  p.tevo_create_protein_bonds(p.chains, 0, true);
  p.chains[0].set_idx_coords();
  p.chains[0].tevo_update_all_torsional_angles();
  return p;
}

Protein<double> ubiquitin() {
  Protein<double> p;
  testing::internal::CaptureStdout();
  p.read_pdb(std::string(TEVO_TEST_DATA) + "/protein/1ubq.pdb", false, "", true);
  testing::internal::GetCapturedStdout();
  return p;
}

}  // namespace

TEST(Geometry, UbiquitinTorsionsMatchAnIndependentFormula) {
  Protein<double> p = ubiquitin();
  ASSERT_EQ(p.get_num_of_chains(), 1);
  p.tevo_create_protein_bonds(p.chains, 0, true);
  Chain<double>& ch = p.chains[0];
  ch.set_idx_coords();
  ch.tevo_update_all_torsional_angles();
  const int n = ch.get_num_of_amino_acids();
  ASSERT_EQ(n, 76);
  // Known values of residue 2 (Gln), from the deposited coordinates.
  EXPECT_NEAR(ch.amino_acids[1].bonds[0].angle, -91.020, 1e-3);
  EXPECT_NEAR(ch.amino_acids[1].bonds[1].angle, 138.264, 1e-3);
  EXPECT_EQ(ch.amino_acids[0].bonds[0].angle, 360.0);      // no phi for the first residue
  EXPECT_EQ(ch.amino_acids[n - 1].bonds[1].angle, 360.0);  // no psi for the last
  for (int r = 1; r + 1 < n; ++r) {
    const double phi = ref_dihedral(atom_xyz(ch, r - 1, "C"), atom_xyz(ch, r, "N"),
                                    atom_xyz(ch, r, "CA"), atom_xyz(ch, r, "C"));
    const double psi = ref_dihedral(atom_xyz(ch, r, "N"), atom_xyz(ch, r, "CA"),
                                    atom_xyz(ch, r, "C"), atom_xyz(ch, r + 1, "N"));
    const double omega = ref_dihedral(atom_xyz(ch, r, "CA"), atom_xyz(ch, r, "C"),
                                      atom_xyz(ch, r + 1, "N"), atom_xyz(ch, r + 1, "CA"));
    EXPECT_NEAR(angle_gap(ch.amino_acids[r].bonds[0].angle, phi), 0, 1e-9) << r;
    EXPECT_NEAR(angle_gap(ch.amino_acids[r].bonds[1].angle, psi), 0, 1e-9) << r;
    EXPECT_NEAR(angle_gap(ch.amino_acids[r].bonds[2].angle, omega), 0, 1e-9) << r;
  }
  // Lys 6 (index 5): chi1..chi4 are made; Arg 42 chi 5 stays invalid.
  const AminoAcid<double>& lys = ch.amino_acids[5];
  ASSERT_EQ(lys.num_bonds, 7);
  EXPECT_EQ(lys.bonds[6].type, 10);
  EXPECT_NEAR(angle_gap(lys.bonds[3].angle, ref_dihedral(atom_xyz(ch, 5, "N"), atom_xyz(ch, 5, "CA"),
                                                         atom_xyz(ch, 5, "CB"), atom_xyz(ch, 5, "CG"))), 0, 1e-9);
  EXPECT_EQ(ch.amino_acids[41].bonds[7].type, 0);
  EXPECT_EQ(ch.amino_acids[41].bonds[7].angle, 360.0);
  // The protein-level array gives the same torsions.
  p.get_all_aotm_coords();
  p.tevo_update_all_torsional_angles(0);
  EXPECT_NEAR(ch.amino_acids[1].bonds[0].angle, -91.020, 1e-3);
}

TEST(Geometry, PlacementFromInternalCoordinatesRoundTrips) {
  std::mt19937 gen(7);
  std::uniform_real_distribution<double> coord(-5, 5), length(0.9, 2.0), bend(20, 170), twist(-179, 179);
  for (int trial = 0; trial < 200; ++trial) {
    double a[3], b[3], c[3], d[3];
    for (int k = 0; k < 3; ++k) a[k] = coord(gen), b[k] = coord(gen), c[k] = coord(gen);
    const double internal[3] = {length(gen), bend(gen), twist(gen)};
    internal2cartesian(d, a, b, c, internal);
    EXPECT_NEAR(ref_dist(c, d), internal[0], 1e-9);
    EXPECT_NEAR(ref_angle(b, c, d), internal[1], 1e-7);
    EXPECT_NEAR(angle_gap(ref_dihedral(a, b, c, d), internal[2]), 0, 1e-7);
    EXPECT_NEAR(angle_gap(angle_four_points(a, b, c, d), internal[2]), 0, 1e-6);
    double cosv = 0;
    three_vec_angle(&cosv, b, c, d);
    EXPECT_NEAR(cosv, std::cos(internal[1] * M_PI / 180), 1e-9);
  }
  // Trans in one plane: the acos gives 180, but the sign product is exactly
  // zero there, and that case returns 0. A hair out of plane gives +-180.
  const double p[4][3] = {{1, 1, 0}, {0, 0, 0}, {1, 0, 0}, {0, -1, 0}};
  EXPECT_EQ(angle_four_points(p[0], p[1], p[2], p[3]), 0.0);
  const double tilted[3] = {0, -1, 1e-9};
  // acos near -1 resolves only about sqrt(eps) radians.
  EXPECT_NEAR(std::fabs(angle_four_points(p[0], p[1], p[2], tilted)), 180.0, 1e-4);
}

TEST(Geometry, ExtendedChainHasStandardGeometry) {
  using G = BackboneGeometry;
  Protein<double> p = protein_of("MGKPWYECHRNDAQSTLIVF");
  const Chain<double>& ch = p.chains[0];
  const int n = 20;
  for (int r = 0; r < n; ++r) {
    const double *N = atom_xyz(ch, r, "N"), *CA = atom_xyz(ch, r, "CA"), *C = atom_xyz(ch, r, "C"),
                 *O = atom_xyz(ch, r, "O"), *CB = atom_xyz(ch, r, "CB");
    ASSERT_TRUE(N && CA && C && O);
    EXPECT_EQ(CB == nullptr, r == 1) << r;  // glycine alone has no CB
    EXPECT_NEAR(ref_dist(N, CA), 1.458, 1e-3);
    EXPECT_NEAR(ref_dist(CA, C), 1.525, 1e-3);
    EXPECT_NEAR(ref_angle(N, CA, C), G::kNCaC, 1e-3);
    if (CB) {
      EXPECT_NEAR(ref_dihedral(C, N, CA, CB), G::kCNCaCb, 1e-3);
    }
    if (r + 1 < n) {
      const double *N1 = atom_xyz(ch, r + 1, "N"), *CA1 = atom_xyz(ch, r + 1, "CA");
      EXPECT_NEAR(ref_dist(C, N1), 1.329, 1e-3);
      EXPECT_NEAR(ref_angle(C, N1, CA1), G::kCNCa, 1e-3);
      EXPECT_NEAR(angle_gap(ch.amino_acids[r].bonds[1].angle, 180), 0, 1e-3);  // psi
      EXPECT_NEAR(angle_gap(ch.amino_acids[r].bonds[2].angle, 180), 0, 1e-3);  // omega
      EXPECT_NEAR(angle_gap(ref_dihedral(O, C, N1, CA1), 0), 0, 1e-3);  // O cis to next CA
    }
    if (r > 0) {
      EXPECT_NEAR(angle_gap(ch.amino_acids[r].bonds[0].angle, 180), 0, 1e-3);  // phi
    }
  }
  int bad = 0;
  EXPECT_EQ(build_extended_chain<double>("ACZ", "A", bad).amino_acids.size(), 0u);
  EXPECT_EQ(bad, 2);
  EXPECT_EQ(build_extended_chain<double>("axg", "A", bad).amino_acids[1].name, "UNK");
}

TEST(Geometry, SinglePrecisionChainsFollowTheirTargets) {
  int bad = 0;
  Protein<float> p;
  p.add_chain(build_extended_chain<float>("MKVLAGERTY", "A", bad));
  p.tevo_create_all_protein_bonds(true);
  p.get_all_aotm_coords();
  p.tevo_update_all_torsional_angles(0);
  auto& res = p.chains[0].amino_acids;
  for (int r = 1; r < 9; ++r) res[r].bonds[0].target = -60, res[r].bonds[1].target = -45;
  p.update_all_coords(0);
  p.tevo_update_all_torsional_angles(0);
  for (int r = 1; r < 9; ++r) {
    // Eight chained rotations in float drift by some 1e-5 degrees.
    EXPECT_NEAR(res[r].bonds[0].angle, -60.0f, 2e-3f) << r;
    EXPECT_NEAR(res[r].bonds[1].angle, -45.0f, 2e-3f) << r;
  }
  // The atoms follow the protein's flat array; C-N stays 1.329 to float precision.
  for (int r = 0; r + 1 < 10; ++r) {
    const float *c = res[r].atoms[2].coord, *n = res[r + 1].atoms[0].coord;
    EXPECT_NEAR(std::hypot(c[0] - n[0], c[1] - n[1], c[2] - n[2]), 1.329f, 1e-4f);
  }
}

TEST(Geometry, ProteinLevelGeometryStaysInsideItsChain) {
  int bad = 0;
  Protein<double> p;
  p.add_chain(build_extended_chain<double>("ACDEF", "A", bad));
  p.add_chain(build_extended_chain<double>("GHIKL", "B", bad));
  p.tevo_create_all_protein_bonds(false);
  p.get_all_aotm_coords();
  EXPECT_EQ(p.chain_offset(1), 25);  // five residues of five atoms
  p.tevo_update_all_torsional_angles();
  const std::vector<double> before(p.coords(), p.coords() + 3 * 25);
  p.chains[1].amino_acids[2].bonds[1].target = 75;
  p.update_all_coords(1);
  p.tevo_update_all_torsional_angles(1);
  EXPECT_NEAR(p.chains[1].amino_acids[2].bonds[1].angle, 75.0, 1e-9);
  for (int i = 0; i < 3 * 25; ++i) EXPECT_EQ(p.coords()[i], before[i]);  // chain A stays
  const double* n4 = p.chains[1].amino_acids[3].atoms[0].coord;
  EXPECT_EQ(n4[0], p.coords()[3 * (25 + 4 + 5 + 5)]);  // atoms mirror the flat array
  // The distance mask marks only pairs across the rotated bond (chain B is
  // the last chain, so everything before the split faces the moved atoms).
  p.calc_atom_dist(true);
  p.calc_atom_dist_mask(1, 1, 2);
  const int n = p.get_num_of_atoms();
  ASSERT_EQ(n, 49);
  const int split = 25 + p.chains[1].amino_acids[2].bonds[1].atom3;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      const bool across = (i <= split && j > split) || (j <= split && i > split);
      EXPECT_EQ(p.distmask()[i * n + j] != 0, across) << i << "," << j;
      EXPECT_NEAR(p.dist()[i * n + j], ref_dist(p.coords() + 3 * i, p.coords() + 3 * j), 1e-12);
    }
}

TEST(Geometry, SetTorsionsReadBackAndRotationsCarryTheRest) {
  Protein<double> p = protein_of("ASKLVEDFGRTPWYQNMCHI");
  Chain<double>& ch = p.chains[0];
  const int natoms = ch.get_num_of_atoms();
  const std::vector<double> before(ch.coords(), ch.coords() + 3 * natoms);
  // Rotating psi of residue 4 moves exactly the atoms after its C.
  const Bond<double> psi = ch.amino_acids[4].bonds[1];
  ch.rotate_coords(1, 4, 35.0);
  for (int k = 0; k < natoms; ++k) {
    const double moved = ref_dist(&before[3 * k], ch.coords() + 3 * k);
    if (k <= psi.atom3)
      EXPECT_EQ(moved, 0.0) << k;
    else
      EXPECT_GT(moved, 1e-3) << k;
  }
  EXPECT_EQ(ch.amino_acids[19].atoms[0].coord[0], ch.coords()[3 * ch.amino_acids[19].first_atom]);
  ch.tevo_update_torsional_angle(1, 4);
  EXPECT_NEAR(angle_gap(ch.amino_acids[4].bonds[1].angle, psi.angle), 35.0, 1e-9);

  // Targets for every torsion, then update_all_coords: all read back as set.
  std::mt19937 gen(11);
  std::uniform_real_distribution<double> twist(-179, 179);
  std::vector<double> want;
  for (auto& aa : ch.amino_acids)
    for (int b = 0; b < aa.num_bonds; ++b)
      want.push_back(aa.bonds[b].target = aa.bonds[b].type ? twist(gen) : aa.bonds[b].angle);
  ch.update_all_coords();
  ch.tevo_update_all_torsional_angles();
  std::size_t k = 0;
  for (int r = 0; r < 20; ++r) {
    const auto& aa = ch.amino_acids[r];
    for (int b = 0; b < aa.num_bonds; ++b, ++k)
      if (aa.bonds[b].type) {
        EXPECT_NEAR(angle_gap(aa.bonds[b].angle, want[k]), 0, 1e-7) << r << "/" << b;
      }
    EXPECT_NEAR(ref_dist(atom_xyz(ch, r, "N"), atom_xyz(ch, r, "CA")), 1.458, 1e-9);
    if (r + 1 < 20) {
      EXPECT_NEAR(ref_dist(atom_xyz(ch, r, "C"), atom_xyz(ch, r + 1, "N")), 1.329, 1e-9);
    }
  }
  // Target equal to angle moves nothing.
  const std::vector<double> now(ch.coords(), ch.coords() + 3 * natoms);
  ch.update_all_coords();
  for (int i = 0; i < 3 * natoms; ++i) EXPECT_EQ(now[i], ch.coords()[i]);
}

TEST(Geometry, HydrogensOxygensAndReducedChains) {
  Protein<double> p = protein_of("AGPSW");
  Chain<double>& ch = p.chains[0];
  const int atoms0 = ch.get_num_of_atoms();
  ch.add_hn();
  ch.add_hn();  // a second call adds nothing
  EXPECT_EQ(ch.get_num_of_atoms(), atoms0 + 3);  // not residue 0, not PRO
  for (int r = 0; r < 5; ++r) {
    const double* h = atom_xyz(ch, r, "HN");
    EXPECT_EQ(h != nullptr, r == 1 || r == 3 || r == 4) << r;
    if (!h) continue;
    EXPECT_EQ(ch.amino_acids[r].atoms[1].name, "HN");
    EXPECT_NEAR(ref_dist(h, atom_xyz(ch, r, "N")), 1.0, 1e-9);
    // It bisects the C(prev)-N-CA angle from the outside.
    EXPECT_NEAR(ref_angle(h, atom_xyz(ch, r, "N"), atom_xyz(ch, r, "CA")),
                ref_angle(h, atom_xyz(ch, r, "N"), atom_xyz(ch, r - 1, "C")), 1e-9);
  }
  EXPECT_EQ(ch.amino_acids[4].atoms.back().index, ch.get_num_of_atoms());  // serials renumbered

  // Oxygens rebuilt 1.24 from the previous C, residue 0 untouched.
  Protein<double> q = protein_of("AAAA");
  Chain<double>& c2 = q.chains[0];
  const double o0 = c2.amino_acids[0].atoms[3].coord[0];
  c2.update_oxygen();
  EXPECT_EQ(c2.amino_acids[0].atoms[3].coord[0], o0);
  for (int r = 1; r < 4; ++r) {
    const double* o = c2.amino_acids[r].atoms[3].coord;
    EXPECT_NEAR(ref_dist(o, atom_xyz(c2, r - 1, "C")), 1.24, 1e-9);
    EXPECT_NEAR(ref_angle(o, atom_xyz(c2, r - 1, "C"), atom_xyz(c2, r - 1, "CA")),
                ref_angle(o, atom_xyz(c2, r - 1, "C"), atom_xyz(c2, r, "N")), 1e-9);
    EXPECT_EQ(c2.coords()[3 * (c2.amino_acids[r].first_atom + 3)], o[0]);
  }

  // Reduced: N, CA, C, O, CB in slot order, residues renumbered from 1, 3 fresh bonds.
  Protein<double> u = ubiquitin();
  Chain<double>& red = u.chains[0];
  red.add_hn();
  red.reduced_representation();
  const std::vector<std::string> slots = {"N", "CA", "C", "O", "CB"};
  int total = 0;
  for (std::size_t r = 0; r < red.amino_acids.size(); ++r) {
    const auto& aa = red.amino_acids[r];
    const std::size_t size = aa.name == "GLY" ? 4 : 5;
    ASSERT_EQ(aa.atoms.size(), size) << r;
    for (std::size_t a = 0; a < size; ++a) {
      EXPECT_EQ(aa.atoms[a].name, slots[a]);
      EXPECT_EQ(aa.atoms[a].amino_acid_idx, static_cast<int>(r) + 1);
    }
    EXPECT_EQ(aa.first_atom, total);
    total += static_cast<int>(size);
    EXPECT_EQ(aa.last_atom, total - 1);
    EXPECT_EQ(aa.num_bonds, 3);
    EXPECT_EQ(aa.bonds[0].type, 0);
  }
}
