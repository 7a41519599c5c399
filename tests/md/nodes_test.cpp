// Every node type: the analytic derivative against central differences on a
// noisy helix in two systems, and the values that the energy forms fix.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <map>

#include "md/coord_nodes.h"
#include "md/vec3.h"
#include "md_config_writer.h"

namespace tevo {
namespace md_test {
namespace {

using namespace md_config;

constexpr int kRes = 8;

// The engine over a file's graph with the file's positions loaded.
std::unique_ptr<CGMDEngine<float>> load(ConfigFile& f) {
  auto e = std::make_unique<CGMDEngine<float>>(f.potential.get(), f.n_atom, f.n_system, true);
  e->pos->output = f.positions;
  return e;
}

// A noisy helix of n residues in n_system systems under the test folder.
ConfigFile helix_file(const std::string& name, int n = kRes, int n_system = 2, float noise = 0.15f) {
  return ConfigFile(::testing::TempDir() + "md_" + name + ".h5", n, noisy_copies(helix(n), n_system, noise, 7),
                    n_system);
}

struct NodeCase {
  const char* node;  // the node whose derivative is checked
  std::vector<std::function<void(ConfigFile&)>> writers;
};

TEST(NodeDerivatives, EveryNodeTypeAgreesWithCentralDifferences) {
  const std::vector<NodeCase> cases = {
      {"atom_pos_spring", {atom_pos_spring}},
      {"dist_spring", {dist_spring}},
      {"angle_spring", {angle_spring}},
      {"dihedral_spring", {dihedral_spring}},
      {"z_flat_bottom", {z_flat_bottom}},
      {"cavity_radial", {cavity_radial}},
      {"dihedral_range", {dihedral_range}},
      {"rama_coord", {rama_coord}},
      {"affine_alignment", {affine_alignment}},
      {"infer_H_O", {infer_h_o}},
      {"backbone_dependent_point", {rama_coord, affine_alignment, backbone_dependent_point}},
      {"backbone_pairs", {affine_alignment, backbone_pairs}},
      {"hbond_energy", {infer_h_o, hbond_energy}},
      {"rama_hmm_pot", {rama_coord, rama_hmm_pot}},
      {"membrane_potential", {membrane_potential}},
      {"rama_map_pot", {rama_coord, rama_map_pot}},
      {"radial", {rama_coord, affine_alignment, backbone_dependent_point, [](ConfigFile& f) { radial(f); }}},
      {"contact", {affine_alignment, contact}},
      {"basin_correlation_pot", {rama_coord, basin_correlation_pot}},
  };
  for (const NodeCase& c : cases) {
    SCOPED_TRACE(c.node);
    ConfigFile file = helix_file(c.node);
    for (const auto& write : c.writers) write(file);
    auto engine = load(file);
    Node& node = engine->get(c.node);
    engine->compute(PotentialAndDerivMode);
    // A vacuous check (no energy, no gradient) would pass any derivative.
    if (node.computation->is_potential) {
      const auto& p = static_cast<PotentialNode&>(*node.computation).potential;
      EXPECT_TRUE(p[0] != 0.f && p[1] != 0.f) << "the test system leaves the term empty";
    }
    const double deviation = node.computation->test_value_deriv_agreement();
    std::printf("%-26s relative RMS deviation %.2e\n", c.node, deviation);
    EXPECT_LT(deviation, 1e-3);
  }
}

}  // namespace
}  // namespace md_test
}  // namespace tevo

namespace tevo {
namespace md_test {
namespace {

using namespace md_config;

constexpr float kDeg = 3.14159265f / 180;

TEST(NodeValues, BackboneGeometryOfAnIdealHelix) {
  const int n = 6;
  ConfigFile f = helix_file("geometry", n, 1, 0.f);
  rama_coord(f);
  affine_alignment(f);
  infer_h_o(f);
  auto engine = load(f);
  engine->compute(DerivMode);
  // Torsions in the IUPAC sign convention; chain ends get the fixed angles.
  const std::vector<float>& rama = static_cast<CoordNode&>(*engine->get("rama_coord").computation).output;
  EXPECT_EQ(rama[0], kMissingPhi);
  EXPECT_EQ(rama[2 * n - 1], kMissingPsi);
  for (int r = 1; r + 1 < n; ++r) {
    EXPECT_NEAR(rama[2 * r], -57 * kDeg, 1e-4);
    EXPECT_NEAR(rama[2 * r + 1], -47 * kDeg, 1e-4);
  }
  // Every residue after the first is a rigid copy of the reference: its frame
  // maps the reference onto its atoms.
  auto& frames = static_cast<AffineAlignment&>(*engine->get("affine_alignment").computation);
  const std::vector<float>& x = engine->pos->output;
  for (int r = 1; r < n; ++r) {
    float rot[9];
    quat_to_rot(&frames.output[7 * r + 3], rot);
    for (int k = 0; k < 3; ++k) {
      const V3 placed = frame_point(&frames.output[7 * r], rot, frames.params[r].ref_geom[k]);
      EXPECT_NEAR(mag(placed - load3(&x[3 * (3 * r + k)])), 0, 1e-4) << "residue " << r;
    }
  }
  // The amide hydrogen is 0.88 from N, on the bisector of C(i-1)-N-CA.
  auto& sites = static_cast<Infer_H_O&>(*engine->get("infer_H_O").computation);
  for (int d = 0; d < sites.n_donor; ++d) {
    const int* a = sites.params[d].atom;
    const V3 h = load3(&sites.output[6 * d]), nn = load3(&x[3 * a[1]]);
    const V3 to_c = load3(&x[3 * a[0]]) - nn, to_ca = load3(&x[3 * a[2]]) - nn, nh = h - nn;
    EXPECT_NEAR(mag(nh), 0.88f, 1e-5);
    EXPECT_NEAR(dot(nh, to_c) / mag(to_c), dot(nh, to_ca) / mag(to_ca), 1e-5);
    EXPECT_NEAR(mag(load3(&sites.output[6 * d + 3])), 1, 1e-6);
  }
}

TEST(NodeValues, RestraintsAtRestAndOutside) {
  ConfigFile f = helix_file("rest", 4, 1, 0.f);
  // Distance springs at the present lengths, and a z band around everything.
  h5_obj g = f.node("dist_spring", {"pos"});
  std::vector<int> id;
  std::vector<float> r0;
  for (int a = 0; a + 1 < f.n_atom; ++a) {
    id.push_back(a), id.push_back(a + 1);
    r0.push_back(mag(load3(&f.positions[3 * a]) - load3(&f.positions[3 * a + 3])));
  }
  const long long n = r0.size();
  put<int>(g.get(), "id", {n, 2}, id);
  put<int>(g.get(), "bonded_atoms", {n}, std::vector<int>(n, 1));
  put<float>(g.get(), "equil_dist", {n}, r0);
  put<float>(g.get(), "spring_const", {n}, std::vector<float>(n, 100.f));
  per_atom(f, "z_flat_bottom", "atom", {{"z0", 0.f}, {"radius", 50.f}, {"spring_constant", 4.f}});
  auto engine = load(f);
  engine->compute(PotentialAndDerivMode);
  EXPECT_NEAR(engine->get_energy(), 0, 1e-6);
  for (float d : engine->pos->deriv) EXPECT_NEAR(d, 0, 2e-3);  // float rounding of the rest lengths

  // One atom 1.5 above a band of half width 0.5 about z0 = 1.
  ConfigFile out = helix_file("wall", 4, 1, 0.f);
  h5_obj w = out.node("z_flat_bottom", {"pos"});
  put<int>(w.get(), "atom", {1}, {2});
  put<float>(w.get(), "z0", {1}, {out.positions[8] - 2.f});
  put<float>(w.get(), "radius", {1}, {0.5f});
  put<float>(w.get(), "spring_constant", {1}, {4.f});
  auto wall = load(out);
  wall->compute(PotentialAndDerivMode);
  EXPECT_NEAR(wall->get_energy(), 0.5 * 4 * 1.5 * 1.5, 1e-5);
  EXPECT_NEAR(wall->pos->deriv[8], 4 * 1.5, 1e-5);
  EXPECT_EQ(wall->pos->deriv[6], 0.f);
}

TEST(NodeValues, HydrogenBondsOfAHelixAndNoneBeyondTheCutoff) {
  ConfigFile f = helix_file("hbond", 12, 1, 0.f);
  infer_h_o(f);
  hbond_energy(f);
  auto engine = load(f);
  engine->compute(PotentialAndDerivMode);
  // Donor i+4 to acceptor i: 8 bonds in 12 residues, each scoring below 1.
  EXPECT_GE(engine->get_n_hbond(), 5);
  EXPECT_LE(engine->get_n_hbond(), 8);
  EXPECT_LT(engine->get_energy(), -5.f);

  for (float& v : engine->pos->output) v *= 2.5f;  // every H-O pair far beyond 3.5
  engine->compute(PotentialAndDerivMode);
  EXPECT_EQ(engine->get_energy(), 0.f);
  EXPECT_EQ(engine->get_n_hbond(), 0);
  for (float d : engine->pos->deriv) EXPECT_EQ(d, 0.f);
}

TEST(NodeValues, RamaMapFollowsTheAnglesAndTheChainModelReducesToIt) {
  const int n = 6, g = 36;
  ConfigFile f = helix_file("rama_cos", n, 1, 0.3f);
  rama_coord(f);
  std::vector<double> cos_phi(g * g);
  for (int i = 0; i < g; ++i)
    for (int j = 0; j < g; ++j) cos_phi[i * g + j] = std::cos(-kPi + 2 * kPi * i / g);
  h5_obj m = f.node("rama_map_pot", {"rama_coord"});
  std::vector<int> res{0, 1, 2, 3, 4, 5};
  put<int>(m.get(), "residue_id", {6}, res);
  put<int>(m.get(), "rama_map_id", {6}, std::vector<int>(6, 0));
  put<double>(m.get(), "rama_pot", {1, g, g}, cos_phi);
  // A chain model of one basin with that map: E = -log prod exp(-U) = sum U.
  h5_obj h = f.node("rama_hmm_pot", {"rama_coord"});
  std::vector<int> id;
  for (int r = 0; r < n; ++r)
    for (int v : {r > 0 ? 3 * r - 1 : -1, 3 * r, 3 * r + 1, 3 * r + 2, r + 1 < n ? 3 * r + 3 : -1}) id.push_back(v);
  put<int>(h.get(), "id", {n, 5}, id);
  put<float>(h.get(), "rama_pot", {1, g, g}, std::vector<float>(cos_phi.begin(), cos_phi.end()));
  put<float>(h.get(), "trans_matrices", {n - 1, 1, 1}, std::vector<float>(n - 1, 1.f));
  auto engine = load(f);
  engine->compute(PotentialAndDerivMode);
  const std::vector<float>& rama = static_cast<CoordNode&>(*engine->get("rama_coord").computation).output;
  double expected = 0;
  for (int r = 0; r < n; ++r) expected += std::cos(rama[2 * r]);
  const float map_energy = static_cast<PotentialNode&>(*engine->get("rama_map_pot").computation).potential[0];
  const float hmm_energy = static_cast<PotentialNode&>(*engine->get("rama_hmm_pot").computation).potential[0];
  EXPECT_NEAR(map_energy, expected, 1e-3);  // the spline of cos on 36 points
  EXPECT_NEAR(hmm_energy, map_energy, 1e-5);
}

}  // namespace
}  // namespace md_test
}  // namespace tevo
