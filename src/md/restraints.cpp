// Restraint potentials on atom positions: harmonic springs on positions,
// distances, angles and dihedrals, flat-bottom walls, and dihedral wells.
#include <cmath>

#include "md/node_io.h"
#include "md/node_types.h"
#include "md/vec3.h"

namespace tevo {

namespace {

// Requests one slot on `pos` per atom of each row.
template <int K>
std::vector<std::array<int, K>> request_atom_slots(CoordNode& pos, const std::vector<std::array<int, K>>& atoms) {
  std::vector<std::array<int, K>> slots(atoms.size());
  for (size_t i = 0; i < atoms.size(); ++i)
    for (int k = 0; k < K; ++k) slots[i][k] = pos.add_deriv_slots(atoms[i][k]);
  return slots;
}

}  // namespace

// ---- position spring ------------------------------------------------------------

struct PosSpringParams {
  int atom, system, slot;  // system -1: every system
  float x, y, z, spring_const;
};

// E = k/2 |x - target|^2.
void pos_spring(float* potential, const float* pos, float* sens, const PosSpringParams* p, int n, int system) {
  double e = 0;
  for (int i = 0; i < n; ++i) {
    V3 d = load3(pos + 3 * p[i].atom) - V3{p[i].x, p[i].y, p[i].z};
    if (p[i].system >= 0 && p[i].system != system) d = V3{0, 0, 0};
    e += 0.5 * p[i].spring_const * mag2(d);
    store3(sens + 3 * p[i].slot, p[i].spring_const * d);
  }
  if (potential) *potential = static_cast<float>(e);
}

class PosSpring : public PotentialNode {
 public:
  PosSpring(hid_t g, CoordNode& pos) : PotentialNode(pos.n_system), pos_(pos) {
    const int n = dset_rows(g, "id", 2);
    // Column 0 is the atom, column 1 the system the restraint holds in (-1: all).
    auto id = read_index_rows<2>(g, "id", n, std::max(pos.n_elem, pos.n_system), true);
    auto x = read_vector<float>(g, "x", n), y = read_vector<float>(g, "y", n), z = read_vector<float>(g, "z", n);
    auto k = read_vector<float>(g, "spring_const", n);
    for (int i = 0; i < n; ++i) {
      if (id[i][0] < 0 || id[i][0] >= pos.n_elem) throw "illegal atom num " + std::to_string(i);
      if (id[i][1] >= pos.n_system) throw "illegal system num " + std::to_string(i);
      params_.push_back({id[i][0], id[i][1], pos.add_deriv_slots(id[i][0]), x[i], y[i], z[i], k[i]});
    }
  }
  void compute_value(ComputeMode mode) override {
    CoordArray c = pos_.coords();
    for_each_system(n_system, static_cast<long>(params_.size()), [&](int s) {
      pos_spring(mode ? &potential[s] : nullptr, c.value.sys(s), c.sens.sys(s), params_.data(),
                 static_cast<int>(params_.size()), s);
    });
  }

 private:
  CoordNode& pos_;
  std::vector<PosSpringParams> params_;
};

// ---- distance spring ------------------------------------------------------------

struct DistSpringParams {
  int atom[2], slot[2];
  float equil_dist, spring_const;
  int bonded;
};

// E = k/2 (r - r0)^2.
void dist_spring(float* potential, const float* pos, float* sens, const DistSpringParams* p, int n) {
  double e = 0;
  for (int i = 0; i < n; ++i) {
    const V3 d = load3(pos + 3 * p[i].atom[0]) - load3(pos + 3 * p[i].atom[1]);
    const float r = mag(d), dev = r - p[i].equil_dist;
    e += 0.5 * p[i].spring_const * dev * dev;
    const V3 g = (r > 0 ? p[i].spring_const * dev / r : 0.f) * d;
    store3(sens + 3 * p[i].slot[0], g);
    store3(sens + 3 * p[i].slot[1], -g);
  }
  if (potential) *potential = static_cast<float>(e);
}

class DistSpring : public PotentialNode {
 public:
  DistSpring(hid_t g, CoordNode& pos) : PotentialNode(pos.n_system), pos_(pos) {
    const int n = dset_rows(g, "id", 2);
    auto id = read_index_rows<2>(g, "id", n, pos.n_elem);
    auto bonded = read_vector<int>(g, "bonded_atoms", n);
    auto r0 = read_vector<float>(g, "equil_dist", n), k = read_vector<float>(g, "spring_const", n);
    auto slots = request_atom_slots<2>(pos, id);
    for (int i = 0; i < n; ++i)
      params_.push_back({{id[i][0], id[i][1]}, {slots[i][0], slots[i][1]}, r0[i], k[i], bonded[i]});
  }
  void compute_value(ComputeMode mode) override {
    CoordArray c = pos_.coords();
    for_each_system(n_system, static_cast<long>(params_.size()), [&](int s) {
      dist_spring(mode ? &potential[s] : nullptr, c.value.sys(s), c.sens.sys(s), params_.data(),
                  static_cast<int>(params_.size()));
    });
  }

 private:
  CoordNode& pos_;
  std::vector<DistSpringParams> params_;
};

// ---- angle spring ---------------------------------------------------------------

struct AngleSpringParams {
  int atom[3], slot[3];
  float equil_dist, spring_const;  // equilibrium angle (radians), constant
};

// E = k/2 (theta - theta0)^2, theta the angle at the middle atom.
void angle_spring(float* potential, const float* pos, float* sens, const AngleSpringParams* p, int n) {
  double e = 0;
  for (int i = 0; i < n; ++i) {
    const V3 b = load3(pos + 3 * p[i].atom[1]);
    const V3 u = load3(pos + 3 * p[i].atom[0]) - b, v = load3(pos + 3 * p[i].atom[2]) - b;
    const float lu = std::fmax(mag(u), 1e-6f), lv = std::fmax(mag(v), 1e-6f);
    const V3 uh = (1.f / lu) * u, vh = (1.f / lv) * v;
    const float c = std::fmax(-1.f, std::fmin(1.f, dot(uh, vh)));
    const float theta = std::acos(c), sine = std::fmax(std::sqrt(1 - c * c), 1e-6f);
    const float dev = theta - p[i].equil_dist;
    e += 0.5 * p[i].spring_const * dev * dev;
    const float f = -p[i].spring_const * dev / sine;  // dE/dcos
    const V3 ga = (f / lu) * (vh - c * uh), gc = (f / lv) * (uh - c * vh);
    store3(sens + 3 * p[i].slot[0], ga);
    store3(sens + 3 * p[i].slot[2], gc);
    store3(sens + 3 * p[i].slot[1], -(ga + gc));
  }
  if (potential) *potential = static_cast<float>(e);
}

class AngleSpring : public PotentialNode {
 public:
  AngleSpring(hid_t g, CoordNode& pos) : PotentialNode(pos.n_system), pos_(pos) {
    const int n = dset_rows(g, "id", 2);
    auto id = read_index_rows<3>(g, "id", n, pos.n_elem);
    auto t0 = read_vector<float>(g, "equil_dist", n), k = read_vector<float>(g, "spring_const", n);
    auto slots = request_atom_slots<3>(pos, id);
    for (int i = 0; i < n; ++i)
      params_.push_back({{id[i][0], id[i][1], id[i][2]}, {slots[i][0], slots[i][1], slots[i][2]}, t0[i], k[i]});
  }
  void compute_value(ComputeMode mode) override {
    CoordArray c = pos_.coords();
    for_each_system(n_system, static_cast<long>(params_.size()), [&](int s) {
      angle_spring(mode ? &potential[s] : nullptr, c.value.sys(s), c.sens.sys(s), params_.data(),
                   static_cast<int>(params_.size()));
    });
  }

 private:
  CoordNode& pos_;
  std::vector<AngleSpringParams> params_;
};

// ---- dihedral spring and dihedral range ----------------------------------------

struct DihedralSpringParams {
  int atom[4], slot[4];
  float equil_dist, spring_const;  // equilibrium dihedral (radians), constant
};

// E = k/2 wrap(phi - phi0)^2, the difference wrapped to [-pi, pi).
void dihedral_spring(float* potential, const float* pos, float* sens, const DihedralSpringParams* p, int n) {
  double e = 0;
  for (int i = 0; i < n; ++i) {
    V3 d[4];
    const float phi =
        dihedral_germ(load3(pos + 3 * p[i].atom[0]), load3(pos + 3 * p[i].atom[1]), load3(pos + 3 * p[i].atom[2]),
                      load3(pos + 3 * p[i].atom[3]), d[0], d[1], d[2], d[3]);
    const float dev = wrap_angle(phi - p[i].equil_dist);
    e += 0.5 * p[i].spring_const * dev * dev;
    for (int k = 0; k < 4; ++k) store3(sens + 3 * p[i].slot[k], p[i].spring_const * dev * d[k]);
  }
  if (potential) *potential = static_cast<float>(e);
}

struct DihedralRangeParams {
  int atom[4], slot[4];
  float angle_range[2];  // lower and upper bound (radians)
  float scale, energy;
};

// E = energy * window(phi): a well (energy < 0) or a barrier over the range.
void dihedral_angle_range(float* potential, const float* pos, float* sens, const DihedralRangeParams* p, int n) {
  double e = 0;
  for (int i = 0; i < n; ++i) {
    V3 d[4];
    const float phi =
        dihedral_germ(load3(pos + 3 * p[i].atom[0]), load3(pos + 3 * p[i].atom[1]), load3(pos + 3 * p[i].atom[2]),
                      load3(pos + 3 * p[i].atom[3]), d[0], d[1], d[2], d[3]);
    float dw;
    const float w = angle_window(phi, p[i].angle_range[0], p[i].angle_range[1], p[i].scale, dw);
    e += p[i].energy * w;
    for (int k = 0; k < 4; ++k) store3(sens + 3 * p[i].slot[k], p[i].energy * dw * d[k]);
  }
  if (potential) *potential = static_cast<float>(e);
}

template <typename Params, void (*Kernel)(float*, const float*, float*, const Params*, int)>
class PosKernelNode : public PotentialNode {
 public:
  PosKernelNode(hid_t g, CoordNode& pos, std::vector<Params> params)
      : PotentialNode(pos.n_system), pos_(pos), params_(std::move(params)) {
    (void)g;
  }
  void compute_value(ComputeMode mode) override {
    CoordArray c = pos_.coords();
    for_each_system(n_system, static_cast<long>(params_.size()), [&](int s) {
      Kernel(mode ? &potential[s] : nullptr, c.value.sys(s), c.sens.sys(s), params_.data(),
             static_cast<int>(params_.size()));
    });
  }

 private:
  CoordNode& pos_;
  std::vector<Params> params_;
};

class DihedralSpring : public PosKernelNode<DihedralSpringParams, dihedral_spring> {
 public:
  DihedralSpring(hid_t g, CoordNode& pos) : PosKernelNode(g, pos, read(g, pos)) {}
  static std::vector<DihedralSpringParams> read(hid_t g, CoordNode& pos) {
    const int n = dset_rows(g, "id", 2);
    auto id = read_index_rows<4>(g, "id", n, pos.n_elem);
    auto p0 = read_vector<float>(g, "equil_dist", n), k = read_vector<float>(g, "spring_const", n);
    auto slots = request_atom_slots<4>(pos, id);
    std::vector<DihedralSpringParams> params;
    for (int i = 0; i < n; ++i)
      params.push_back({{id[i][0], id[i][1], id[i][2], id[i][3]},
                        {slots[i][0], slots[i][1], slots[i][2], slots[i][3]},
                        p0[i],
                        k[i]});
    return params;
  }
};

class DihedralRange : public PosKernelNode<DihedralRangeParams, dihedral_angle_range> {
 public:
  DihedralRange(hid_t g, CoordNode& pos) : PosKernelNode(g, pos, read(g, pos)) {}
  static std::vector<DihedralRangeParams> read(hid_t g, CoordNode& pos) {
    const int n = dset_rows(g, "id", 2);
    auto id = read_index_rows<4>(g, "id", n, pos.n_elem);
    h5::check_size(g, "angle_range", n, 2);
    std::vector<hsize_t> dims;
    auto range = h5::read_dset<float>(g, "angle_range", 2, &dims);
    auto scale = read_vector<float>(g, "scale", n), energy = read_vector<float>(g, "energy", n);
    auto slots = request_atom_slots<4>(pos, id);
    std::vector<DihedralRangeParams> params;
    for (int i = 0; i < n; ++i)
      params.push_back({{id[i][0], id[i][1], id[i][2], id[i][3]},
                        {slots[i][0], slots[i][1], slots[i][2], slots[i][3]},
                        {range[2 * i], range[2 * i + 1]},
                        scale[i],
                        energy[i]});
    return params;
  }
};

// ---- walls ------------------------------------------------------------------------

struct ZFlatBottomParams {
  int atom, slot;
  float z0, radius, spring_constant;
};

// E = k/2 e^2, e the distance of z beyond the band z0 +- radius.
void z_flat_bottom_spring(float* potential, const float* pos, float* sens, const ZFlatBottomParams* p, int n) {
  double e = 0;
  for (int i = 0; i < n; ++i) {
    const float dz = pos[3 * p[i].atom + 2] - p[i].z0;
    const float ex = dz > p[i].radius ? dz - p[i].radius : dz < -p[i].radius ? dz + p[i].radius : 0.f;
    e += 0.5 * p[i].spring_constant * ex * ex;
    store3(sens + 3 * p[i].slot, V3{0, 0, p[i].spring_constant * ex});
  }
  if (potential) *potential = static_cast<float>(e);
}

struct CavityRadialParams {
  int id, slot;
  float radius, spring_constant;
};

// E = k/2 (|x| - R)^2 outside the sphere of radius R about the origin, 0 inside.
void cavity_radial(float* potential, const float* pos, float* sens, const CavityRadialParams* p, int n) {
  double e = 0;
  for (int i = 0; i < n; ++i) {
    const V3 x = load3(pos + 3 * p[i].id);
    const float r = mag(x), ex = r > p[i].radius ? r - p[i].radius : 0.f;
    e += 0.5 * p[i].spring_constant * ex * ex;
    store3(sens + 3 * p[i].slot, (ex > 0 ? p[i].spring_constant * ex / r : 0.f) * x);
  }
  if (potential) *potential = static_cast<float>(e);
}

class ZFlatBottom : public PosKernelNode<ZFlatBottomParams, z_flat_bottom_spring> {
 public:
  ZFlatBottom(hid_t g, CoordNode& pos) : PosKernelNode(g, pos, read(g, pos)) {}
  static std::vector<ZFlatBottomParams> read(hid_t g, CoordNode& pos) {
    const int n = dset_rows(g, "atom", 1);
    auto atom = read_index_rows<1>(g, "atom", n, pos.n_elem);
    auto z0 = read_vector<float>(g, "z0", n), r = read_vector<float>(g, "radius", n);
    auto k = read_vector<float>(g, "spring_constant", n);
    std::vector<ZFlatBottomParams> params;
    for (int i = 0; i < n; ++i) params.push_back({atom[i][0], pos.add_deriv_slots(atom[i][0]), z0[i], r[i], k[i]});
    return params;
  }
};

class CavityRadial : public PosKernelNode<CavityRadialParams, cavity_radial> {
 public:
  CavityRadial(hid_t g, CoordNode& pos) : PosKernelNode(g, pos, read(g, pos)) {}
  static std::vector<CavityRadialParams> read(hid_t g, CoordNode& pos) {
    const int n = dset_rows(g, "id", 1);
    auto id = read_index_rows<1>(g, "id", n, pos.n_elem);
    auto r = read_vector<float>(g, "radius", n), k = read_vector<float>(g, "spring_constant", n);
    std::vector<CavityRadialParams> params;
    for (int i = 0; i < n; ++i) params.push_back({id[i][0], pos.add_deriv_slots(id[i][0]), r[i], k[i]});
    return params;
  }
};

void register_restraint_nodes() {
  register_node_type<PosSpring, 3>("atom_pos_spring");
  register_node_type<DistSpring, 3>("dist_spring");
  register_node_type<AngleSpring, 3>("angle_spring");
  register_node_type<DihedralSpring, 3>("dihedral_spring");
  register_node_type<ZFlatBottom, 3>("z_flat_bottom");
  register_node_type<CavityRadial, 3>("cavity_radial");
  register_node_type<DihedralRange, 3>("dihedral_range");
}

}  // namespace tevo
