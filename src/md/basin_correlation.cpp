// Correlated backbone basins: each residue belongs to N Ramachandran basins
// through smooth windows in phi and psi, and listed residue pairs gain the
// energy of their pair table weighted by both memberships.
#include "md/node_io.h"
#include "md/node_types.h"
#include "md/vec3.h"

namespace tevo {

template <int N>
struct BasinCorrelationParams {
  int residue[2];  // elements of rama_coord
  int slot[2];
  float energy[N][N];
};

// Membership of each basin b: window(phi; lo_b, hi_b) * window(psi; lo_b, hi_b),
// windows as in dihedral_range with the sharpness of the node. Pair energy:
// sum_ab m_i(a) energy[a][b] m_j(b).
template <int N>
class BasinCorrelationPot : public PotentialNode {
 public:
  BasinCorrelationPot(hid_t g, CoordNode& rama) : PotentialNode(rama.n_system), rama_(rama) {
    const int n = dset_rows(g, "id", 2);
    sharpness_ = h5::read_attribute<float>(g, ".", "sharpness", 5.0f);
    auto id = read_index_rows<2>(g, "id", n, rama.n_elem, false, "residue index out of range in row");
    std::vector<hsize_t> dims;
    auto bounds = read_array<float>(g, "basin_bounds", {N, 4}, &dims);
    for (int b = 0; b < N; ++b)
      for (int k = 0; k < 4; ++k) bounds_[b][k] = bounds[4 * b + k];
    auto energy = read_array<float>(g, "energy", {n, N, N}, &dims);
    for (int i = 0; i < n; ++i) {
      BasinCorrelationParams<N> p{};
      for (int k = 0; k < 2; ++k) {
        p.residue[k] = id[i][k];
        p.slot[k] = rama.add_deriv_slots(id[i][k]);
      }
      for (int a = 0; a < N; ++a)
        for (int b = 0; b < N; ++b) p.energy[a][b] = energy[(static_cast<size_t>(i) * N + a) * N + b];
      params_.push_back(p);
    }
  }

  void compute_value(ComputeMode mode) override {
    CoordArray c = rama_.coords();
    for_each_system(n_system, static_cast<long>(params_.size()), [&](int s) {
      const double e = basin_correlation_pot(c.value.sys(s), c.sens.sys(s));
      if (mode) potential[s] = static_cast<float>(e);
    });
  }

 private:
  // Memberships of one residue and their derivatives in phi and psi.
  void membership(const float* angles, float* m, float* dphi, float* dpsi) const {
    for (int b = 0; b < N; ++b) {
      float d1, d2;
      const float w1 = angle_window(angles[0], bounds_[b][0], bounds_[b][1], sharpness_, d1);
      const float w2 = angle_window(angles[1], bounds_[b][2], bounds_[b][3], sharpness_, d2);
      m[b] = w1 * w2;
      dphi[b] = d1 * w2;
      dpsi[b] = w1 * d2;
    }
  }

  double basin_correlation_pot(const float* angles, float* sens) const {
    double e = 0;
    for (const BasinCorrelationParams<N>& p : params_) {
      float m[2][N], dphi[2][N], dpsi[2][N];
      for (int k = 0; k < 2; ++k) membership(angles + 2 * p.residue[k], m[k], dphi[k], dpsi[k]);
      float g[2][N] = {};  // dE/dm
      for (int a = 0; a < N; ++a)
        for (int b = 0; b < N; ++b) {
          e += m[0][a] * p.energy[a][b] * m[1][b];
          g[0][a] += p.energy[a][b] * m[1][b];
          g[1][b] += m[0][a] * p.energy[a][b];
        }
      for (int k = 0; k < 2; ++k) {
        float gphi = 0, gpsi = 0;
        for (int b = 0; b < N; ++b) gphi += g[k][b] * dphi[k][b], gpsi += g[k][b] * dpsi[k][b];
        sens[2 * p.slot[k]] = gphi;
        sens[2 * p.slot[k] + 1] = gpsi;
      }
    }
    return e;
  }

  CoordNode& rama_;
  float sharpness_ = 5;
  float bounds_[N][4];  // phi lo, phi hi, psi lo, psi hi (radians)
  std::vector<BasinCorrelationParams<N>> params_;
};

template class BasinCorrelationPot<5>;

void register_basin_correlation_node() { register_node_type<BasinCorrelationPot<5>, 2>("basin_correlation_pot"); }

}  // namespace tevo
