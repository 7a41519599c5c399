// Every node type: the analytic derivative against central differences on a
// noisy helix in two systems, and the values that the energy forms fix.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <map>

#include "md/coord_nodes.h"
#include "md_fixture.h"

namespace tevo {
namespace md_test {
namespace {

constexpr int kRes = 8;
constexpr float kPi = 3.14159265f;

int N(int r) { return 3 * r; }
int CA(int r) { return 3 * r + 1; }
int C(int r) { return 3 * r + 2; }

// A smooth periodic map over (phi, psi) on a g x g grid.
std::vector<double> smooth_map(int g, double a, double b, double c) {
  std::vector<double> m(g * g);
  for (int i = 0; i < g; ++i)
    for (int j = 0; j < g; ++j) {
      const double phi = -kPi + 2 * kPi * i / g, psi = -kPi + 2 * kPi * j / g;
      m[i * g + j] = a * std::cos(phi - 1) + b * std::sin(2 * psi) + c * std::cos(phi + psi);
    }
  return m;
}

void rama_coord(ConfigFile& f) {
  h5_obj g = f.node("rama_coord", {"pos"});
  std::vector<int> id;
  for (int r = 0; r < kRes; ++r)
    for (int v : {r > 0 ? C(r - 1) : -1, N(r), CA(r), C(r), r + 1 < kRes ? N(r + 1) : -1}) id.push_back(v);
  put<int>(g.get(), "id", {kRes, 5}, id);
}

void affine_alignment(ConfigFile& f) {
  h5_obj g = f.node("affine_alignment", {"pos"});
  const std::vector<float> ideal = helix(kRes);
  std::vector<int> atoms;
  std::vector<float> ref;
  for (int r = 0; r < kRes; ++r) {
    for (int a : {N(r), CA(r), C(r)}) atoms.push_back(a);
    for (int a : {N(3), CA(3), C(3)})  // one ideal residue as the reference of all
      for (int d = 0; d < 3; ++d) ref.push_back(ideal[3 * a + d] + 5.f);  // off-centre on purpose
  }
  put<int>(g.get(), "atoms", {kRes, 3}, atoms);
  put<float>(g.get(), "ref_geom", {kRes, 3, 3}, ref);
}

void infer_h_o(ConfigFile& f) {
  h5_obj g = f.node("infer_H_O", {"pos"});
  h5_obj d(H5Gclose, h5::ensure_group(g.get(), "donors"));
  h5_obj a(H5Gclose, h5::ensure_group(g.get(), "acceptors"));
  std::vector<int> did, aid;
  for (int r = 1; r < kRes; ++r)
    for (int v : {C(r - 1), N(r), CA(r)}) did.push_back(v);
  for (int r = 0; r + 1 < kRes; ++r)
    for (int v : {CA(r), C(r), N(r + 1)}) aid.push_back(v);
  put<int>(d.get(), "id", {kRes - 1, 3}, did);
  put<int>(a.get(), "id", {kRes - 1, 3}, aid);
  put<float>(d.get(), "bond_length", {kRes - 1}, std::vector<float>(kRes - 1, 0.88f));
  put<float>(a.get(), "bond_length", {kRes - 1}, std::vector<float>(kRes - 1, 1.24f));
}

void hbond_energy(ConfigFile& f) {
  h5_obj g = f.node("hbond_energy", {"infer_H_O"});
  h5_obj d(H5Gclose, h5::ensure_group(g.get(), "donors"));
  h5_obj a(H5Gclose, h5::ensure_group(g.get(), "acceptors"));
  std::vector<int> dres, ares;
  for (int r = 1; r < kRes; ++r) dres.push_back(r);
  for (int r = 0; r + 1 < kRes; ++r) ares.push_back(r);
  put<int>(d.get(), "residue_id", {kRes - 1}, dres);
  put<int>(a.get(), "residue_id", {kRes - 1}, ares);
  put<float>(d.get(), "helix_energy_bonus", {kRes - 1}, std::vector<float>(kRes - 1, -1.5f));
  put<float>(a.get(), "helix_energy_bonus", {kRes - 1}, std::vector<float>(kRes - 1, -0.5f));
}

void backbone_dependent_point(ConfigFile& f) {
  h5_obj g = f.node("backbone_dependent_point", {"rama_coord", "affine_alignment"});
  h5_obj maps(H5Gclose, h5::ensure_group(g.get(), "backbone_point_map"));
  const int n = 10;
  std::vector<float> loc, dir;
  for (int t = 0; t < 2; ++t)
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        const float phi = -kPi + 2 * kPi * i / n, psi = -kPi + 2 * kPi * j / n;
        for (float v : {1.5f + 0.4f * std::sin(phi) * (t + 1), 0.6f * std::cos(psi), 1.f + 0.3f * std::cos(phi + psi)})
          loc.push_back(v);
        for (float v : {std::cos(psi), std::sin(psi), 0.2f * t}) dir.push_back(v);
      }
  put<float>(maps.get(), "location", {2, n, n, 3}, loc);
  put<float>(maps.get(), "direction", {2, n, n, 3}, dir);
  std::vector<int> res, type;
  for (int r = 0; r < kRes; ++r) res.push_back(r), type.push_back(r % 2);
  put<int>(g.get(), "rama_residue", {kRes}, res);
  put<int>(g.get(), "alignment_residue", {kRes}, res);
  put<int>(g.get(), "restype", {kRes}, type);
}

void radial(ConfigFile& f, const char* name = "radial") {
  h5_obj g = f.node(name, {"backbone_dependent_point"});
  h5_obj data(H5Gclose, h5::ensure_group(g.get(), "data"));
  h5::write_string_dset(data.get(), "names", {"ALA", "GLY"});
  put<float>(data.get(), "energy", {2, 2}, {-1.f, -0.5f, -0.5f, 0.8f});
  put<float>(data.get(), "r0_squared", {2, 2}, {20.f, 25.f, 25.f, 30.f});
  put<float>(data.get(), "scale", {2, 2}, {0.5f, 0.4f, 0.4f, 0.45f});
  std::vector<int> id;
  std::vector<std::string> types;
  for (int r = 0; r < kRes; ++r) id.push_back(r), types.push_back(r % 3 ? "ALA" : "GLY");
  put<int>(g.get(), "id", {kRes}, id);
  h5::write_string_dset(g.get(), "restype", types);
  h5::write_attribute(g.get(), "cutoff", 12.f);
}

void contact(ConfigFile& f) {
  h5_obj g = f.node("contact", {"affine_alignment"});
  std::vector<int> id;
  std::vector<float> ref, r0, scale, energy;
  for (int r = 0; r + 3 < kRes; ++r) {
    for (int v : {r, r + 3}) id.push_back(v);
    for (float v : {0.5f, 1.2f, -0.3f, -0.8f, 0.4f, 1.1f}) ref.push_back(v);
    r0.push_back(5.5f), scale.push_back(1.5f), energy.push_back(r % 2 ? -1.f : 0.7f);
  }
  const hsize_t n = r0.size();
  put<int>(g.get(), "id", {n, 2}, id);
  put<float>(g.get(), "sc_ref_pos", {n, 2, 3}, ref);
  put<float>(g.get(), "r0", {n}, r0);
  put<float>(g.get(), "scale", {n}, scale);
  put<float>(g.get(), "energy", {n}, energy);
  h5::write_attribute(g.get(), "cutoff", 20.f);
}

void backbone_pairs(ConfigFile& f) {
  h5_obj g = f.node("backbone_pairs", {"affine_alignment"});
  std::vector<int> id, n_atom;
  std::vector<float> ref;
  for (int r = 0; r < kRes; ++r) {
    id.push_back(r), n_atom.push_back(r == 2 ? 3 : 4);
    for (float v : {-1.2f, 0.4f, 0.f, 0.f, -0.9f, 0.2f, 1.3f, 0.5f, 0.f, 0.1f, 0.6f, 1.4f}) ref.push_back(v);
  }
  put<int>(g.get(), "id", {kRes}, id);
  put<int>(g.get(), "n_atom", {kRes}, n_atom);
  put<float>(g.get(), "ref_pos", {kRes, 4, 3}, ref);
  h5::write_attribute(g.get(), "dist_cutoff", 12.f);
  h5::write_attribute(g.get(), "energy_scale", 2.f);
  h5::write_attribute(g.get(), "clash_distance", 5.f);
}

void rama_map_pot(ConfigFile& f) {
  h5_obj g = f.node("rama_map_pot", {"rama_coord"});
  std::vector<int> res, map;
  for (int r = 0; r < kRes; ++r) res.push_back(r), map.push_back(r % 2);
  std::vector<double> pot = smooth_map(12, 1.0, 0.7, 0.4), second = smooth_map(12, -0.5, 0.3, 1.1);
  pot.insert(pot.end(), second.begin(), second.end());
  put<int>(g.get(), "residue_id", {kRes}, res);
  put<int>(g.get(), "rama_map_id", {kRes}, map);
  put<double>(g.get(), "rama_pot", {2, 12, 12}, pot);
}

void rama_hmm_pot(ConfigFile& f) {
  h5_obj g = f.node("rama_hmm_pot", {"rama_coord"});
  std::vector<int> id;
  for (int r = 0; r < kRes; ++r)
    for (int v : {r > 0 ? C(r - 1) : -1, N(r), CA(r), C(r), r + 1 < kRes ? N(r + 1) : -1}) id.push_back(v);
  put<int>(g.get(), "id", {kRes, 5}, id);
  std::vector<float> maps, trans;
  for (int s = 0; s < 3; ++s)
    for (double v : smooth_map(12, 1.0 + s, 0.5 - s, 0.3 * s)) maps.push_back(static_cast<float>(v));
  for (int i = 0; i + 1 < kRes; ++i)
    for (int a = 0; a < 3; ++a)
      for (int b = 0; b < 3; ++b) trans.push_back(a == b ? 0.8f : 0.1f + 0.05f * ((i + a + b) % 3));
  put<float>(g.get(), "rama_pot", {3, 12, 12}, maps);
  put<float>(g.get(), "trans_matrices", {kRes - 1, 3, 3}, trans);
}

void basin_correlation_pot(ConfigFile& f) {
  h5_obj g = f.node("basin_correlation_pot", {"rama_coord"});
  std::vector<int> id;
  std::vector<float> energy;
  for (int r = 0; r + 1 < kRes; ++r) {
    id.push_back(r), id.push_back(r + 1);
    for (int k = 0; k < 25; ++k) energy.push_back(0.3f * std::sin(1.7f * k + r));
  }
  put<int>(g.get(), "id", {kRes - 1, 2}, id);
  put<float>(g.get(), "energy", {kRes - 1, 5, 5}, energy);
  put<float>(g.get(), "basin_bounds", {5, 4},
             {-2.f, -0.5f, -1.5f, 0.5f, -3.f, -1.f, 1.5f, 3.f, 0.5f, 1.5f, -0.5f, 1.5f, -1.5f, 0.f, 2.f, 3.f,
              -3.f, 3.f, -3.f, 3.f});
  h5::write_attribute(g.get(), "sharpness", 2.f);
}

void membrane_potential(ConfigFile& f) {
  h5_obj g = f.node("membrane_potential", {"pos"});
  std::vector<int> res, type;
  for (int r = 0; r < kRes; ++r) res.push_back(r), type.push_back(r % 2);
  std::vector<double> energy;
  for (int t = 0; t < 2; ++t)
    for (int k = 0; k < 9; ++k) energy.push_back(std::cos(0.7 * k + t) * (1 + t));
  put<int>(g.get(), "residue_id", {kRes}, res);
  put<int>(g.get(), "restype", {kRes}, type);
  put<double>(g.get(), "energy", {2, 9}, energy);
  h5::write_attribute(g.get(), "z_min", -4.f);
  h5::write_attribute(g.get(), "z_max", 4.f);
}

// Restraints on pos: rows of consecutive atoms.
void atom_rows(ConfigFile& f, const char* name, int width, const std::vector<std::pair<const char*, float>>& values) {
  h5_obj g = f.node(name, {"pos"});
  std::vector<int> id;
  const int n = f.n_atom - width + 1;
  for (int i = 0; i < n; ++i)
    for (int k = 0; k < width; ++k) id.push_back(i + k);
  put<int>(g.get(), "id", {hsize_t(n), hsize_t(width)}, id);
  for (const auto& [field, v] : values) {
    std::vector<float> col;
    for (int i = 0; i < n; ++i) col.push_back(v * (1 + 0.1f * (i % 3)));
    put<float>(g.get(), field, {hsize_t(n)}, col);
  }
}

void dist_spring(ConfigFile& f) {
  atom_rows(f, "dist_spring", 2, {{"equil_dist", 1.4f}, {"spring_const", 10.f}});
  h5_obj g(H5Gclose, h5::open_group(f.potential.get(), "dist_spring"));
  put<int>(g.get(), "bonded_atoms", {hsize_t(f.n_atom - 1)}, std::vector<int>(f.n_atom - 1, 1));
}
void angle_spring(ConfigFile& f) { atom_rows(f, "angle_spring", 3, {{"equil_dist", 1.9f}, {"spring_const", 5.f}}); }
void dihedral_spring(ConfigFile& f) {
  atom_rows(f, "dihedral_spring", 4, {{"equil_dist", -1.f}, {"spring_const", 2.f}});
}
void dihedral_range(ConfigFile& f) {
  atom_rows(f, "dihedral_range", 4, {{"scale", 3.f}, {"energy", -1.f}});
  h5_obj g(H5Gclose, h5::open_group(f.potential.get(), "dihedral_range"));
  std::vector<float> range;
  for (int i = 0; i + 3 < f.n_atom; ++i) range.push_back(-2.f + 0.3f * (i % 4)), range.push_back(0.2f + 0.5f * (i % 3));
  put<float>(g.get(), "angle_range", {hsize_t(f.n_atom - 3), 2}, range);
}

void atom_pos_spring(ConfigFile& f) {
  h5_obj g = f.node("atom_pos_spring", {"pos"});
  std::vector<int> id;
  std::vector<float> x, y, z;
  for (int a = 0; a < f.n_atom; a += 2) {
    id.push_back(a), id.push_back(a % 4 ? -1 : 1);  // every other row restrains system 1 only
    x.push_back(0.1f * a), y.push_back(-0.2f * a), z.push_back(1.f);
  }
  const hsize_t n = x.size();
  put<int>(g.get(), "id", {n, 2}, id);
  put<float>(g.get(), "x", {n}, x);
  put<float>(g.get(), "y", {n}, y);
  put<float>(g.get(), "z", {n}, z);
  put<float>(g.get(), "spring_const", {n}, std::vector<float>(n, 3.f));
}

void per_atom(ConfigFile& f, const char* name, const char* id_name,
              const std::vector<std::pair<const char*, float>>& values) {
  h5_obj g = f.node(name, {"pos"});
  std::vector<int> id;
  for (int a = 0; a < f.n_atom; ++a) id.push_back(a);
  put<int>(g.get(), id_name, {hsize_t(f.n_atom)}, id);
  for (const auto& [field, v] : values) put<float>(g.get(), field, {hsize_t(f.n_atom)}, std::vector<float>(f.n_atom, v));
}
void z_flat_bottom(ConfigFile& f) {
  per_atom(f, "z_flat_bottom", "atom", {{"z0", 0.5f}, {"radius", 2.f}, {"spring_constant", 4.f}});
}
void cavity_radial(ConfigFile& f) { per_atom(f, "cavity_radial", "id", {{"radius", 4.f}, {"spring_constant", 4.f}}); }

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
    ConfigFile file(c.node, kRes, 2);
    for (const auto& write : c.writers) write(file);
    auto engine = file.engine();
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
    // The whole graph's gradient matches the summed potential too.
    const double total = engine->nodes.back().computation->is_potential ? deviation : 0;
    (void)total;
  }
}

}  // namespace
}  // namespace md_test
}  // namespace tevo
