// Small coarse-grained configuration files for the engine tests and the
// benchmark: a helical backbone (N, CA, C per residue) or given coordinates,
// and writers of every node group over it.
#pragma once

#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "md/deriv_engine.h"
#include "md/h5.h"

namespace tevo {
namespace md_config {

using h5::h5_obj;

// Places atom d from c, b, a with bond |dc|, angle bcd and torsion abcd
// (natural extension reference frame).
inline void place(const float* a, const float* b, const float* c, float bond, float angle, float torsion, float* d) {
  double bc[3], ab[3], n[3], m[3];
  for (int k = 0; k < 3; ++k) bc[k] = c[k] - b[k], ab[k] = b[k] - a[k];
  const double lbc = std::sqrt(bc[0] * bc[0] + bc[1] * bc[1] + bc[2] * bc[2]);
  for (double& v : bc) v /= lbc;
  n[0] = ab[1] * bc[2] - ab[2] * bc[1], n[1] = ab[2] * bc[0] - ab[0] * bc[2], n[2] = ab[0] * bc[1] - ab[1] * bc[0];
  const double ln = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
  for (double& v : n) v /= ln;
  m[0] = n[1] * bc[2] - n[2] * bc[1], m[1] = n[2] * bc[0] - n[0] * bc[2], m[2] = n[0] * bc[1] - n[1] * bc[0];
  const double x = -bond * std::cos(angle), y = bond * std::sin(angle) * std::cos(torsion),
               z = bond * std::sin(angle) * std::sin(torsion);
  for (int k = 0; k < 3; ++k) d[k] = static_cast<float>(c[k] + x * bc[k] + y * m[k] + z * n[k]);
}

// Ideal alpha-helix backbone of n_res residues, [atom][3], centred on the origin.
inline std::vector<float> helix(int n_res) {
  constexpr float kDeg = 3.14159265f / 180;
  std::vector<float> x(9 * n_res);
  const float start[9] = {0, 1.458f, 0, 0, 0, 0, 1.525f, 0, 0};  // N, CA, C roughly placed
  for (int k = 0; k < 9 && k < 9 * n_res; ++k) x[k] = start[k];
  const float bond[3] = {1.329f, 1.458f, 1.525f};   // C-N, N-CA, CA-C
  const float angle[3] = {116.2f, 121.7f, 111.2f};  // CA-C-N, C-N-CA, N-CA-C
  const float torsion[3] = {-47.f, 180.f, -57.f};   // psi, omega, phi
  for (int a = 3; a < 3 * n_res; ++a)
    place(&x[3 * (a - 3)], &x[3 * (a - 2)], &x[3 * (a - 1)], bond[a % 3], angle[a % 3] * kDeg, torsion[a % 3] * kDeg,
          &x[3 * a]);
  double c[3] = {0, 0, 0};
  for (int a = 0; a < 3 * n_res; ++a)
    for (int k = 0; k < 3; ++k) c[k] += x[3 * a + k] / (3.0 * n_res);
  for (int a = 0; a < 3 * n_res; ++a)
    for (int k = 0; k < 3; ++k) x[3 * a + k] -= static_cast<float>(c[k]);
  return x;
}

// Positions of n_system copies of `ideal` ([atom][3]) with uniform noise of
// +-noise, as [system][atom][3].
inline std::vector<float> noisy_copies(const std::vector<float>& ideal, int n_system, float noise, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> u(-noise, noise);
  std::vector<float> out;
  for (int s = 0; s < n_system; ++s)
    for (float v : ideal) out.push_back(v + u(gen));
  return out;
}

// A configuration file with /input/pos (n_atom x 3 x n_system) and the group
// /input/potential.
class ConfigFile {
 public:
  int n_res, n_atom, n_system;
  std::vector<float> positions;  // [system][atom][3]
  std::string path;
  h5_obj file, input, potential;

  ConfigFile(const std::string& file_path, int residues, std::vector<float> pos, int systems)
      : n_res(residues), n_atom(3 * residues), n_system(systems), positions(std::move(pos)), path(file_path) {
    file = h5::create_file(path);
    input = h5_obj(H5Gclose, h5::ensure_group(file.get(), "input"));
    potential = h5_obj(H5Gclose, h5::ensure_group(input.get(), "potential"));
    std::vector<float> file_order(positions.size());
    for (int s = 0; s < systems; ++s)
      for (int a = 0; a < n_atom; ++a)
        for (int d = 0; d < 3; ++d)
          file_order[(static_cast<size_t>(a) * 3 + d) * systems + s] =
              positions[(static_cast<size_t>(s) * n_atom + a) * 3 + d];
    h5::write_dset<float>(input.get(), "pos", {hsize_t(n_atom), 3, hsize_t(systems)}, file_order);
  }

  // A node group under /input/potential with its "arguments".
  h5_obj node(const std::string& name, const std::vector<std::string>& args) {
    h5_obj g(H5Gclose, h5::ensure_group(potential.get(), name.c_str()));
    h5::write_attribute(g.get(), "arguments", args);
    return g;
  }
};

template <typename T>
void put(hid_t g, const char* name, std::initializer_list<long long> dims, const std::vector<T>& v) {
  h5::write_dset<T>(g, name, std::vector<hsize_t>(dims.begin(), dims.end()), v);
}

constexpr float kPi = 3.14159265f;

inline int N(int r) { return 3 * r; }
inline int CA(int r) { return 3 * r + 1; }
inline int C(int r) { return 3 * r + 2; }

// A smooth periodic map over (phi, psi) on a g x g grid.
inline std::vector<double> smooth_map(int g, double a, double b, double c) {
  std::vector<double> m(g * g);
  for (int i = 0; i < g; ++i)
    for (int j = 0; j < g; ++j) {
      const double phi = -kPi + 2 * kPi * i / g, psi = -kPi + 2 * kPi * j / g;
      m[i * g + j] = a * std::cos(phi - 1) + b * std::sin(2 * psi) + c * std::cos(phi + psi);
    }
  return m;
}

inline void rama_coord(ConfigFile& f) {
  h5_obj g = f.node("rama_coord", {"pos"});
  std::vector<int> id;
  for (int r = 0; r < f.n_res; ++r)
    for (int v : {r > 0 ? C(r - 1) : -1, N(r), CA(r), C(r), r + 1 < f.n_res ? N(r + 1) : -1}) id.push_back(v);
  put<int>(g.get(), "id", {f.n_res, 5}, id);
}

inline void affine_alignment(ConfigFile& f) {
  h5_obj g = f.node("affine_alignment", {"pos"});
  const std::vector<float> ideal = helix(4);
  std::vector<int> atoms;
  std::vector<float> ref;
  for (int r = 0; r < f.n_res; ++r) {
    for (int a : {N(r), CA(r), C(r)}) atoms.push_back(a);
    for (int a : {N(3), CA(3), C(3)})                                     // one ideal residue as the reference of all
      for (int d = 0; d < 3; ++d) ref.push_back(ideal[3 * a + d] + 5.f);  // off-centre on purpose
  }
  put<int>(g.get(), "atoms", {f.n_res, 3}, atoms);
  put<float>(g.get(), "ref_geom", {f.n_res, 3, 3}, ref);
}

inline void infer_h_o(ConfigFile& f) {
  h5_obj g = f.node("infer_H_O", {"pos"});
  h5_obj d(H5Gclose, h5::ensure_group(g.get(), "donors"));
  h5_obj a(H5Gclose, h5::ensure_group(g.get(), "acceptors"));
  std::vector<int> did, aid;
  for (int r = 1; r < f.n_res; ++r)
    for (int v : {C(r - 1), N(r), CA(r)}) did.push_back(v);
  for (int r = 0; r + 1 < f.n_res; ++r)
    for (int v : {CA(r), C(r), N(r + 1)}) aid.push_back(v);
  put<int>(d.get(), "id", {f.n_res - 1, 3}, did);
  put<int>(a.get(), "id", {f.n_res - 1, 3}, aid);
  put<float>(d.get(), "bond_length", {f.n_res - 1}, std::vector<float>(f.n_res - 1, 0.88f));
  put<float>(a.get(), "bond_length", {f.n_res - 1}, std::vector<float>(f.n_res - 1, 1.24f));
}

inline void hbond_energy(ConfigFile& f) {
  h5_obj g = f.node("hbond_energy", {"infer_H_O"});
  h5_obj d(H5Gclose, h5::ensure_group(g.get(), "donors"));
  h5_obj a(H5Gclose, h5::ensure_group(g.get(), "acceptors"));
  std::vector<int> dres, ares;
  for (int r = 1; r < f.n_res; ++r) dres.push_back(r);
  for (int r = 0; r + 1 < f.n_res; ++r) ares.push_back(r);
  put<int>(d.get(), "residue_id", {f.n_res - 1}, dres);
  put<int>(a.get(), "residue_id", {f.n_res - 1}, ares);
  put<float>(d.get(), "helix_energy_bonus", {f.n_res - 1}, std::vector<float>(f.n_res - 1, -1.5f));
  put<float>(a.get(), "helix_energy_bonus", {f.n_res - 1}, std::vector<float>(f.n_res - 1, -0.5f));
}

inline void backbone_dependent_point(ConfigFile& f) {
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
  for (int r = 0; r < f.n_res; ++r) res.push_back(r), type.push_back(r % 2);
  put<int>(g.get(), "rama_residue", {f.n_res}, res);
  put<int>(g.get(), "alignment_residue", {f.n_res}, res);
  put<int>(g.get(), "restype", {f.n_res}, type);
}

inline void radial(ConfigFile& f, const char* name = "radial") {
  h5_obj g = f.node(name, {"backbone_dependent_point"});
  h5_obj data(H5Gclose, h5::ensure_group(g.get(), "data"));
  h5::write_string_dset(data.get(), "names", {"ALA", "GLY"});
  put<float>(data.get(), "energy", {2, 2}, {-1.f, -0.5f, -0.5f, 0.8f});
  put<float>(data.get(), "r0_squared", {2, 2}, {20.f, 25.f, 25.f, 30.f});
  put<float>(data.get(), "scale", {2, 2}, {0.5f, 0.4f, 0.4f, 0.45f});
  std::vector<int> id;
  std::vector<std::string> types;
  for (int r = 0; r < f.n_res; ++r) id.push_back(r), types.push_back(r % 3 ? "ALA" : "GLY");
  put<int>(g.get(), "id", {f.n_res}, id);
  h5::write_string_dset(g.get(), "restype", types);
  h5::write_attribute(g.get(), "cutoff", 12.f);
}

inline void contact(ConfigFile& f) {
  h5_obj g = f.node("contact", {"affine_alignment"});
  std::vector<int> id;
  std::vector<float> ref, r0, scale, energy;
  for (int r = 0; r + 3 < f.n_res; ++r) {
    for (int v : {r, r + 3}) id.push_back(v);
    for (float v : {0.5f, 1.2f, -0.3f, -0.8f, 0.4f, 1.1f}) ref.push_back(v);
    r0.push_back(5.5f), scale.push_back(1.5f), energy.push_back(r % 2 ? -1.f : 0.7f);
  }
  const long long n = r0.size();
  put<int>(g.get(), "id", {n, 2}, id);
  put<float>(g.get(), "sc_ref_pos", {n, 2, 3}, ref);
  put<float>(g.get(), "r0", {n}, r0);
  put<float>(g.get(), "scale", {n}, scale);
  put<float>(g.get(), "energy", {n}, energy);
  h5::write_attribute(g.get(), "cutoff", 20.f);
}

inline void backbone_pairs(ConfigFile& f) {
  h5_obj g = f.node("backbone_pairs", {"affine_alignment"});
  std::vector<int> id, n_atom;
  std::vector<float> ref;
  for (int r = 0; r < f.n_res; ++r) {
    id.push_back(r), n_atom.push_back(r == 2 ? 3 : 4);
    for (float v : {-1.2f, 0.4f, 0.f, 0.f, -0.9f, 0.2f, 1.3f, 0.5f, 0.f, 0.1f, 0.6f, 1.4f}) ref.push_back(v);
  }
  put<int>(g.get(), "id", {f.n_res}, id);
  put<int>(g.get(), "n_atom", {f.n_res}, n_atom);
  put<float>(g.get(), "ref_pos", {f.n_res, 4, 3}, ref);
  h5::write_attribute(g.get(), "dist_cutoff", 12.f);
  h5::write_attribute(g.get(), "energy_scale", 2.f);
  h5::write_attribute(g.get(), "clash_distance", 5.f);
}

inline void rama_map_pot(ConfigFile& f) {
  h5_obj g = f.node("rama_map_pot", {"rama_coord"});
  std::vector<int> res, map;
  for (int r = 0; r < f.n_res; ++r) res.push_back(r), map.push_back(r % 2);
  std::vector<double> pot = smooth_map(12, 1.0, 0.7, 0.4), second = smooth_map(12, -0.5, 0.3, 1.1);
  pot.insert(pot.end(), second.begin(), second.end());
  put<int>(g.get(), "residue_id", {f.n_res}, res);
  put<int>(g.get(), "rama_map_id", {f.n_res}, map);
  put<double>(g.get(), "rama_pot", {2, 12, 12}, pot);
}

inline void rama_hmm_pot(ConfigFile& f) {
  h5_obj g = f.node("rama_hmm_pot", {"rama_coord"});
  std::vector<int> id;
  for (int r = 0; r < f.n_res; ++r)
    for (int v : {r > 0 ? C(r - 1) : -1, N(r), CA(r), C(r), r + 1 < f.n_res ? N(r + 1) : -1}) id.push_back(v);
  put<int>(g.get(), "id", {f.n_res, 5}, id);
  std::vector<float> maps, trans;
  for (int s = 0; s < 3; ++s)
    for (double v : smooth_map(12, 1.0 + s, 0.5 - s, 0.3 * s)) maps.push_back(static_cast<float>(v));
  for (int i = 0; i + 1 < f.n_res; ++i)
    for (int a = 0; a < 3; ++a)
      for (int b = 0; b < 3; ++b) trans.push_back(a == b ? 0.8f : 0.1f + 0.05f * ((i + a + b) % 3));
  put<float>(g.get(), "rama_pot", {3, 12, 12}, maps);
  put<float>(g.get(), "trans_matrices", {f.n_res - 1, 3, 3}, trans);
}

inline void basin_correlation_pot(ConfigFile& f) {
  h5_obj g = f.node("basin_correlation_pot", {"rama_coord"});
  std::vector<int> id;
  std::vector<float> energy;
  for (int r = 0; r + 1 < f.n_res; ++r) {
    id.push_back(r), id.push_back(r + 1);
    for (int k = 0; k < 25; ++k) energy.push_back(0.3f * std::sin(1.7f * k + r));
  }
  put<int>(g.get(), "id", {f.n_res - 1, 2}, id);
  put<float>(g.get(), "energy", {f.n_res - 1, 5, 5}, energy);
  put<float>(g.get(), "basin_bounds", {5, 4}, {-2.f,  -0.5f, -1.5f, 0.5f, -3.f, -1.f, 1.5f, 3.f, 0.5f, 1.5f,
                                               -0.5f, 1.5f,  -1.5f, 0.f,  2.f,  3.f,  -3.f, 3.f, -3.f, 3.f});
  h5::write_attribute(g.get(), "sharpness", 2.f);
}

inline void membrane_potential(ConfigFile& f) {
  h5_obj g = f.node("membrane_potential", {"pos"});
  std::vector<int> res, type;
  for (int r = 0; r < f.n_res; ++r) res.push_back(r), type.push_back(r % 2);
  std::vector<double> energy;
  for (int t = 0; t < 2; ++t)
    for (int k = 0; k < 9; ++k) energy.push_back(std::cos(0.7 * k + t) * (1 + t));
  put<int>(g.get(), "residue_id", {f.n_res}, res);
  put<int>(g.get(), "restype", {f.n_res}, type);
  put<double>(g.get(), "energy", {2, 9}, energy);
  h5::write_attribute(g.get(), "z_min", -4.f);
  h5::write_attribute(g.get(), "z_max", 4.f);
}

// Restraints on pos: rows of consecutive atoms.
inline void atom_rows(ConfigFile& f, const char* name, int width,
                      const std::vector<std::pair<const char*, float>>& values) {
  h5_obj g = f.node(name, {"pos"});
  std::vector<int> id;
  const int n = f.n_atom - width + 1;
  for (int i = 0; i < n; ++i)
    for (int k = 0; k < width; ++k) id.push_back(i + k);
  put<int>(g.get(), "id", {n, width}, id);
  for (const auto& [field, v] : values) {
    std::vector<float> col;
    for (int i = 0; i < n; ++i) col.push_back(v * (1 + 0.1f * (i % 3)));
    put<float>(g.get(), field, {n}, col);
  }
}

inline void dist_spring(ConfigFile& f) {
  atom_rows(f, "dist_spring", 2, {{"equil_dist", 1.4f}, {"spring_const", 10.f}});
  h5_obj g(H5Gclose, h5::open_group(f.potential.get(), "dist_spring"));
  put<int>(g.get(), "bonded_atoms", {f.n_atom - 1}, std::vector<int>(f.n_atom - 1, 1));
}
inline void angle_spring(ConfigFile& f) {
  atom_rows(f, "angle_spring", 3, {{"equil_dist", 1.9f}, {"spring_const", 5.f}});
}
inline void dihedral_spring(ConfigFile& f) {
  atom_rows(f, "dihedral_spring", 4, {{"equil_dist", -1.f}, {"spring_const", 2.f}});
}
inline void dihedral_range(ConfigFile& f) {
  atom_rows(f, "dihedral_range", 4, {{"scale", 3.f}, {"energy", -1.f}});
  h5_obj g(H5Gclose, h5::open_group(f.potential.get(), "dihedral_range"));
  std::vector<float> range;
  for (int i = 0; i + 3 < f.n_atom; ++i) range.push_back(-2.f + 0.3f * (i % 4)), range.push_back(0.2f + 0.5f * (i % 3));
  put<float>(g.get(), "angle_range", {f.n_atom - 3, 2}, range);
}

inline void atom_pos_spring(ConfigFile& f) {
  h5_obj g = f.node("atom_pos_spring", {"pos"});
  std::vector<int> id;
  std::vector<float> x, y, z;
  for (int a = 0; a < f.n_atom; a += 2) {
    id.push_back(a), id.push_back(a % 4 ? -1 : f.n_system - 1);  // every other row restrains the last system only
    x.push_back(0.1f * a), y.push_back(-0.2f * a), z.push_back(1.f);
  }
  const long long n = x.size();
  put<int>(g.get(), "id", {n, 2}, id);
  put<float>(g.get(), "x", {n}, x);
  put<float>(g.get(), "y", {n}, y);
  put<float>(g.get(), "z", {n}, z);
  put<float>(g.get(), "spring_const", {n}, std::vector<float>(n, 3.f));
}

inline void per_atom(ConfigFile& f, const char* name, const char* id_name,
                     const std::vector<std::pair<const char*, float>>& values) {
  h5_obj g = f.node(name, {"pos"});
  std::vector<int> id;
  for (int a = 0; a < f.n_atom; ++a) id.push_back(a);
  put<int>(g.get(), id_name, {f.n_atom}, id);
  for (const auto& [field, v] : values) put<float>(g.get(), field, {f.n_atom}, std::vector<float>(f.n_atom, v));
}
inline void z_flat_bottom(ConfigFile& f) {
  per_atom(f, "z_flat_bottom", "atom", {{"z0", 0.5f}, {"radius", 2.f}, {"spring_constant", 4.f}});
}
inline void cavity_radial(ConfigFile& f) {
  per_atom(f, "cavity_radial", "id", {{"radius", 4.f}, {"spring_constant", 4.f}});
}

// The whole registry over the chain: the force field of the benchmark.
inline void write_all_nodes(ConfigFile& f) {
  for (auto write : {rama_coord, affine_alignment, infer_h_o, hbond_energy, backbone_dependent_point, contact,
                     backbone_pairs, rama_map_pot, rama_hmm_pot, basin_correlation_pot, membrane_potential, dist_spring,
                     angle_spring, dihedral_spring, dihedral_range, atom_pos_spring, z_flat_bottom, cavity_radial})
    write(f);
  radial(f);
}

}  // namespace md_config
}  // namespace tevo
