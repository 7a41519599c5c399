// Backbone hydrogen bonds between inferred amide hydrogens and carbonyl
// oxygens: a smooth score from the distance and the two direction cosines,
// weighted by the bond energy of the two sites.
#include <cmath>

#include "md/cell_list.h"
#include "md/coord_nodes.h"
#include "md/node_io.h"
#include "md/node_types.h"
#include "md/vec3.h"

namespace tevo {

constexpr float kHBondCutoff2 = 12.25f;  // 3.5 squared
constexpr float kHBondScoreMin = 9.999999974752427e-07f;

struct VirtualHBondParams {
  int residue_id;
  float helix_energy_bonus;  // energy of a full bond, halved with the partner's
  int slot;
};

// Score of a hydrogen (h, direction dh) and an oxygen (o, direction dox), with
// its gradient in the four vectors; 0 beyond the cut-off or below the floor.
inline float hbond_score(V3 h, V3 dh, V3 o, V3 dox, V3& gh, V3& gdh, V3& go, V3& gdo) {
  const V3 v = o - h;
  const float r2 = mag2(v);
  if (!(r2 < kHBondCutoff2)) return 0.f;
  const float r = std::sqrt(r2);
  const V3 e = (1.f / r) * v;
  const float c1 = dot(dh, e), c2 = -dot(dox, e);
  const float s_far = sigmoid(-8.f * (r - 2.5f)), s_near = sigmoid(10.f * (r - 1.4f));
  const float a1 = sigmoid(20.f * (c1 - 0.682f)), a2 = sigmoid(20.f * (c2 - 0.682f));
  const float radial = s_far * s_near, angular = a1 * a2;
  const float score = radial * angular;
  if (score < kHBondScoreMin) return 0.f;
  const float d_radial = radial * (-8.f * (1 - s_far) + 10.f * (1 - s_near));
  const float d_c1 = radial * a2 * 20.f * a1 * (1 - a1), d_c2 = radial * a1 * 20.f * a2 * (1 - a2);
  // Gradient in the unit vector e, projected to v through (I - e e^T) / r.
  const V3 ge = d_c1 * dh - d_c2 * dox;
  const V3 gv = d_radial * angular * e + (1.f / r) * (ge - dot(ge, e) * e);
  go = gv;
  gh = -gv;
  gdh = d_c1 * e;
  gdo = -d_c2 * e;
  return score;
}

class HBondEnergy : public PotentialNode {
 public:
  int n_hbond = 0;

  HBondEnergy(hid_t g, CoordNode& infer) : PotentialNode(infer.n_system), infer_(infer) {
    auto* sites = dynamic_cast<Infer_H_O*>(&infer);
    if (!sites) throw std::string("inconsistent: hbond_energy takes the sites of infer_H_O");
    n_donor_ = sites->n_donor;
    for (const char* side : {"donors", "acceptors"}) {
      const std::string prefix = side;
      const int n = prefix == "donors" ? sites->n_donor : sites->n_acceptor;
      const int offset = prefix == "donors" ? 0 : sites->n_donor;
      auto residue = read_vector<int>(g, (prefix + "/residue_id").c_str(), n);
      auto bonus = read_vector<float>(g, (prefix + "/helix_energy_bonus").c_str(), n);
      for (int i = 0; i < n; ++i) params_.push_back({residue[i], bonus[i], infer.add_deriv_slots(offset + i)});
    }
    lists_.resize(n_system);
    scores_.assign(n_system, 0.f);
  }

  void compute_value(ComputeMode mode) override {
    CoordArray c = infer_.coords();
    const int n_acc = infer_.n_elem - n_donor_;
    for_each_system(n_system, static_cast<long>(infer_.n_elem), [&](int s) {
      const float* x = c.value.sys(s);
      float* sens = c.sens.sys(s);
      for (const VirtualHBondParams& p : params_)
        store3(sens + 6 * p.slot, V3{0, 0, 0}), store3(sens + 6 * p.slot + 3, V3{0, 0, 0});
      CellList& list = lists_[s];
      list.build(x + 6 * n_donor_, n_acc, 6, 3.5f);
      double energy = 0, count = 0;
      for (int d = 0; d < n_donor_; ++d) {
        const VirtualHBondParams& pd = params_[d];
        const V3 h = load3(x + 6 * d), dh = load3(x + 6 * d + 3);
        list.for_each_near(h, [&](int a) {
          const VirtualHBondParams& pa = params_[n_donor_ + a];
          if (pa.residue_id == pd.residue_id) return;
          const float* xa = x + 6 * (n_donor_ + a);
          V3 gh, gdh, go, gdo;
          const float score = hbond_score(h, dh, load3(xa), load3(xa + 3), gh, gdh, go, gdo);
          if (score == 0.f) return;
          const float eps = 0.5f * (pd.helix_energy_bonus + pa.helix_energy_bonus);
          energy += eps * score;
          count += score;
          add3(sens + 6 * pd.slot, eps * gh);
          add3(sens + 6 * pd.slot + 3, eps * gdh);
          add3(sens + 6 * pa.slot, eps * go);
          add3(sens + 6 * pa.slot + 3, eps * gdo);
        });
      }
      if (mode) potential[s] = static_cast<float>(energy);
      scores_[s] = static_cast<float>(count);
    });
    n_hbond = static_cast<int>(std::lround(scores_[0]));
  }

 private:
  CoordNode& infer_;
  int n_donor_;
  std::vector<VirtualHBondParams> params_;  // donors, then acceptors
  std::vector<CellList> lists_;             // per system
  std::vector<float> scores_;               // summed scores per system
};

int hbond_count(DerivComputation& node) {
  auto* hb = dynamic_cast<HBondEnergy*>(&node);
  return hb ? hb->n_hbond : 0;
}

void register_hbond_node() { register_node_type<HBondEnergy, 6>("hbond_energy"); }

}  // namespace tevo
