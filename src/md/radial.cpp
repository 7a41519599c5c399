// Side-chain pair energies: a sigmoid well in the squared distance of two
// side-chain points, by the pair of residue types.
#include <cmath>
#include <map>

#include "md/cell_list.h"
#include "md/node_io.h"
#include "md/node_types.h"
#include "md/vec3.h"

namespace tevo {

struct SidechainRadialParams {
  float r0_squared, scale, energy;
};

// E = energy / (1 + exp(scale (r^2 - r0^2))) for r below the cut-off.
class SidechainRadialPairs : public PotentialNode {
 public:
  SidechainRadialPairs(hid_t g, CoordNode& points) : PotentialNode(points.n_system), points_(points) {
    const int n = dset_rows(g, "id", 1);
    cutoff_ = h5::read_attribute<float>(g, ".", "cutoff");
    if (!(cutoff_ > 0)) throw std::string("inconsistent: cutoff must be positive");
    std::vector<hsize_t> dims;
    std::vector<std::string> names = h5::read_string_dset(g, "data/names", 1, &dims);
    n_type_ = static_cast<int>(names.size());
    std::map<std::string, int> index;
    for (int t = 0; t < n_type_; ++t) index[names[t]] = t;
    auto energy = read_array<float>(g, "data/energy", {n_type_, n_type_}, &dims);
    auto r0 = read_array<float>(g, "data/r0_squared", {n_type_, n_type_}, &dims);
    auto scale = read_array<float>(g, "data/scale", {n_type_, n_type_}, &dims);
    for (int k = 0; k < n_type_ * n_type_; ++k) table_.push_back({r0[k], scale[k], energy[k]});
    auto id = read_index_rows<1>(g, "id", n, points.n_elem, false, "point index out of range in row");
    h5::check_size(g, "restype", n);
    std::vector<std::string> types = h5::read_string_dset(g, "restype", 1, &dims);
    for (int i = 0; i < n; ++i) {
      auto it = index.find(types[i]);
      if (it == index.end()) throw "restype contains name not found " + types[i];
      elem_.push_back(id[i][0]);
      type_.push_back(it->second);
      slot_.push_back(points.add_deriv_slots(id[i][0]));
    }
    lists_.resize(n_system);
    gathered_.assign(static_cast<size_t>(n_system) * n * 3, 0.f);
  }

  void compute_value(ComputeMode mode) override {
    CoordArray c = points_.coords();
    const int n = static_cast<int>(elem_.size());
    const float cut2 = cutoff_ * cutoff_;
    for_each_system(n_system, static_cast<long>(n), [&](int s) {
      const float* x = c.value.sys(s);
      float* sens = c.sens.sys(s);
      for (int i = 0; i < n; ++i)
        for (int k = 0; k < 6; ++k) sens[6 * slot_[i] + k] = 0;
      // The list bins the listed points in element order, so entry j is point elem_[j].
      CellList& list = lists_[s];
      float* pts = gathered_.data() + static_cast<size_t>(s) * n * 3;
      for (int i = 0; i < n; ++i) store3(pts + 3 * i, load3(x + 6 * elem_[i]));
      list.build(pts, n, 3, cutoff_);
      double e = 0;
      for (int i = 0; i < n; ++i) {
        const V3 xi = load3(pts + 3 * i);
        list.for_each_near(xi, [&](int j) {
          if (j <= i || elem_[j] == elem_[i]) return;
          const V3 d = xi - load3(pts + 3 * j);
          // r^2 in double: near r0 the energy is steep in it.
          const double r2 =
              static_cast<double>(d.x) * d.x + static_cast<double>(d.y) * d.y + static_cast<double>(d.z) * d.z;
          if (!(r2 < cut2)) return;
          const SidechainRadialParams& p = table_[type_[i] * n_type_ + type_[j]];
          const float z = static_cast<float>(1 / (1 + std::exp(p.scale * (r2 - p.r0_squared))));
          e += p.energy * z;
          const V3 g = (2.f * -p.energy * p.scale * z * (1 - z)) * d;  // dE/dr2 * d(r2)/dxi
          add3(sens + 6 * slot_[i], g);
          add3(sens + 6 * slot_[j], -g);
        });
      }
      if (mode) potential[s] = static_cast<float>(e);
    });
  }

 private:
  CoordNode& points_;
  float cutoff_ = 0;
  int n_type_ = 0;
  std::vector<SidechainRadialParams> table_;  // [type][type]
  std::vector<int> elem_, type_, slot_;
  std::vector<CellList> lists_;  // per system
  std::vector<float> gathered_;  // [system][n][3]
};

void register_radial_node() { register_node_type<SidechainRadialPairs, 6>("radial"); }

}  // namespace tevo
