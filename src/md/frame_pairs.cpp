// Pair terms between residue frames: contacts between points fixed in two
// frames (from a distance map), and a soft steric repulsion between the
// backbone atoms of residue pairs.
#include <cmath>

#include "md/cell_list.h"
#include "md/node_io.h"
#include "md/node_types.h"
#include "md/vec3.h"

namespace tevo {

struct ContactPair {
  int loc[2];              // frame elements
  float sc_ref_pos[2][3];  // body points in the two frames
  float r0, scale, energy;
  int slot[2];
};

// E = energy / (1 + exp(scale (r - r0))) for r below the cut-off.
void contact_energy(float* potential, const float* frames, float* sens, const ContactPair* p, int n, float cutoff) {
  double e = 0;
  for (int i = 0; i < n; ++i) {
    const float* f0 = frames + 7 * p[i].loc[0];
    const float* f1 = frames + 7 * p[i].loc[1];
    float r0[9], r1[9];
    quat_to_rot(f0 + 3, r0);
    quat_to_rot(f1 + 3, r1);
    const V3 x0 = frame_point(f0, r0, p[i].sc_ref_pos[0]), x1 = frame_point(f1, r1, p[i].sc_ref_pos[1]);
    float* s0 = sens + 6 * p[i].slot[0];
    float* s1 = sens + 6 * p[i].slot[1];
    for (int k = 0; k < 6; ++k) s0[k] = s1[k] = 0;
    const V3 d = x0 - x1;
    const float r = mag(d);
    if (!(r < cutoff)) continue;
    const float z = sigmoid(-p[i].scale * (r - p[i].r0));
    e += p[i].energy * z;
    const V3 g = (r > 0 ? -p[i].energy * p[i].scale * z * (1 - z) / r : 0.f) * d;
    add_frame_sens(s0, x0, load3(f0), g);
    add_frame_sens(s1, x1, load3(f1), -g);
  }
  if (potential) *potential = static_cast<float>(e);
}

class ContactEnergy : public PotentialNode {
 public:
  ContactEnergy(hid_t g, CoordNode& frames) : PotentialNode(frames.n_system), frames_(frames) {
    const int n = dset_rows(g, "id", 2);
    cutoff_ = h5::read_attribute<float>(g, ".", "cutoff");
    auto id = read_index_rows<2>(g, "id", n, frames.n_elem, false, "frame index out of range in row");
    std::vector<hsize_t> dims;
    auto ref = read_array<float>(g, "sc_ref_pos", {n, 2, 3}, &dims);
    auto r0 = read_vector<float>(g, "r0", n), scale = read_vector<float>(g, "scale", n);
    auto energy = read_vector<float>(g, "energy", n);
    for (int i = 0; i < n; ++i) {
      ContactPair p{};
      for (int k = 0; k < 2; ++k) {
        p.loc[k] = id[i][k];
        p.slot[k] = frames.add_deriv_slots(id[i][k]);
        for (int d = 0; d < 3; ++d) p.sc_ref_pos[k][d] = ref[6 * i + 3 * k + d];
      }
      p.r0 = r0[i], p.scale = scale[i], p.energy = energy[i];
      pairs_.push_back(p);
    }
  }
  void compute_value(ComputeMode mode) override {
    CoordArray c = frames_.coords();
    for_each_system(n_system, static_cast<long>(pairs_.size()), [&](int s) {
      contact_energy(mode ? &potential[s] : nullptr, c.value.sys(s), c.sens.sys(s), pairs_.data(),
                     static_cast<int>(pairs_.size()), cutoff_);
    });
  }

 private:
  CoordNode& frames_;
  float cutoff_ = 0;
  std::vector<ContactPair> pairs_;
};

// Backbone bodies: up to four atoms per residue fixed in its frame. Pairs of
// residues at least two apart in the frame list whose frame centres are
// within dist_cutoff repel through each atom pair closer than the clash
// distance d: E = energy_scale * (1 - r^2/d^2)^2, the soft-sphere form of
// coarse-grained steric terms (Simons et al., Proteins 34:82, 1999).
class BackbonePairs : public PotentialNode {
 public:
  BackbonePairs(hid_t g, CoordNode& frames) : PotentialNode(frames.n_system), frames_(frames) {
    const int n = dset_rows(g, "id", 1);
    dist_cutoff_ = h5::read_attribute<float>(g, ".", "dist_cutoff");
    energy_scale_ = h5::read_attribute<float>(g, ".", "energy_scale");
    clash_ = h5::read_attribute<float>(g, ".", "clash_distance", 3.0f);
    if (!(dist_cutoff_ > 0) || !(clash_ > 0))
      throw std::string("inconsistent: dist_cutoff and clash_distance must be positive");
    auto id = read_index_rows<1>(g, "id", n, frames.n_elem, false, "frame index out of range in row");
    auto n_atom = read_vector<int>(g, "n_atom", n);
    std::vector<hsize_t> dims;
    ref_pos_ = read_array<float>(g, "ref_pos", {n, 4, 3}, &dims);
    for (int i = 0; i < n; ++i) {
      if (n_atom[i] < 0 || n_atom[i] > 4) throw "inconsistent: n_atom out of 0..4 in row " + std::to_string(i);
      loc_.push_back(id[i][0]);
      n_atom_.push_back(n_atom[i]);
      slot_.push_back(frames.add_deriv_slots(id[i][0]));
    }
    lists_.resize(n_system);
    work_.assign(static_cast<size_t>(n_system) * n * 27, 0.f);
  }

  void compute_value(ComputeMode mode) override {
    CoordArray c = frames_.coords();
    const int n = static_cast<int>(loc_.size());
    const float cut2 = dist_cutoff_ * dist_cutoff_, clash2 = clash_ * clash_;
    for_each_system(n_system, static_cast<long>(n), [&](int s) {
      const float* frames = c.value.sys(s);
      float* sens = c.sens.sys(s);
      float* centre = work_.data() + static_cast<size_t>(s) * n * 27;  // [n][3]
      float* atoms = centre + 3 * n;                                   // [n][4][3]
      float* grad = atoms + 12 * n;                                    // [n][4][3]
      for (int i = 0; i < n; ++i) {
        const float* f = frames + 7 * loc_[i];
        float rot[9];
        quat_to_rot(f + 3, rot);
        store3(centre + 3 * i, load3(f));
        for (int a = 0; a < n_atom_[i]; ++a)
          store3(atoms + 12 * i + 3 * a, frame_point(f, rot, &ref_pos_[12 * i + 3 * a]));
      }
      std::fill(grad, grad + 12 * n, 0.f);
      CellList& list = lists_[s];
      list.build(centre, n, 3, dist_cutoff_);
      double e = 0;
      for (int i = 0; i < n; ++i) {
        list.for_each_near(load3(centre + 3 * i), [&](int j) {
          if (j <= i || std::abs(loc_[i] - loc_[j]) < 2) return;
          if (!(mag2(load3(centre + 3 * i) - load3(centre + 3 * j)) < cut2)) return;
          for (int a = 0; a < n_atom_[i]; ++a)
            for (int b = 0; b < n_atom_[j]; ++b) {
              const V3 d = load3(atoms + 12 * i + 3 * a) - load3(atoms + 12 * j + 3 * b);
              const float r2 = mag2(d);
              if (!(r2 < clash2)) continue;
              const float w = 1 - r2 / clash2;
              e += energy_scale_ * w * w;
              const V3 gr = (-4.f * energy_scale_ * w / clash2) * d;
              add3(grad + 12 * i + 3 * a, gr);
              add3(grad + 12 * j + 3 * b, -gr);
            }
        });
      }
      for (int i = 0; i < n; ++i) {
        float* slot = sens + 6 * slot_[i];
        for (int k = 0; k < 6; ++k) slot[k] = 0;
        const V3 t = load3(centre + 3 * i);
        for (int a = 0; a < n_atom_[i]; ++a)
          add_frame_sens(slot, load3(atoms + 12 * i + 3 * a), t, load3(grad + 12 * i + 3 * a));
      }
      if (mode) potential[s] = static_cast<float>(e);
    });
  }

 private:
  CoordNode& frames_;
  float dist_cutoff_ = 0, energy_scale_ = 0, clash_ = 3;
  std::vector<float> ref_pos_;  // [n][4][3]
  std::vector<int> loc_, n_atom_, slot_;
  std::vector<CellList> lists_;
  std::vector<float> work_;  // per system: centres, atoms, gradients
};

void register_frame_pair_nodes() {
  register_node_type<ContactEnergy, 7>("contact");
  register_node_type<BackbonePairs, 7>("backbone_pairs");
}

}  // namespace tevo
