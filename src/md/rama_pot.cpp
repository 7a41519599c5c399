// Ramachandran terms: a periodic bicubic map per residue, and a hidden Markov
// chain over basin maps along the sequence.
#include <cmath>

#include "md/coord_nodes.h"
#include "md/node_io.h"
#include "md/node_types.h"
#include "md/spline.h"
#include "md/vec3.h"

namespace tevo {

namespace {

constexpr float kPi = 3.14159265358979324f;

// Spline control points of n_map periodic maps (rank 3: n_map x g x g) read
// as double; grid point k of either angle lies at -pi + 2 pi k / g.
std::vector<float> read_rama_maps(hid_t g, const char* name, int* n_map, int* n_grid) {
  std::vector<hsize_t> dims;
  std::vector<double> maps = h5::read_dset<double>(g, name, 3, &dims);
  if (dims[1] != dims[2]) throw std::string("must have same x and y grid spacing for Rama maps");
  *n_map = static_cast<int>(dims[0]);
  *n_grid = static_cast<int>(dims[1]);
  if (*n_grid < 3) throw std::string("size mismatch (a Rama map needs at least 3 grid points per angle)");
  const int gg = *n_grid * *n_grid;
  std::vector<float> coef(maps.size());
  std::vector<double> c(gg), work(9 * *n_grid);
  for (int m = 0; m < *n_map; ++m) {
    solve_periodic_2d_spline(*n_grid, *n_grid, c.data(), maps.data() + static_cast<size_t>(m) * gg, work.data());
    for (int k = 0; k < gg; ++k) coef[static_cast<size_t>(m) * gg + k] = static_cast<float>(c[k]);
  }
  return coef;
}

// The map value at (phi, psi) and its two derivatives in radians.
inline float rama_value(const float* coef, int n_grid, float phi, float psi, float* dphi, float* dpsi) {
  const float scale = n_grid / (2 * kPi);
  float v;
  evaluate_2d_spline(coef, n_grid, n_grid, 1, 1, (phi + kPi) * scale, (psi + kPi) * scale, &v, dphi, dpsi);
  *dphi *= scale;
  *dpsi *= scale;
  return v;
}

}  // namespace

class RamaMapPot : public PotentialNode {
 public:
  RamaMapPot(hid_t g, CoordNode& rama) : PotentialNode(rama.n_system), rama_(rama) {
    const int n = dset_rows(g, "residue_id", 1);
    int n_map;
    coef_ = read_rama_maps(g, "rama_pot", &n_map, &n_grid_);
    auto residue = read_index_rows<1>(g, "residue_id", n, rama.n_elem, false, "residue index out of range in row");
    auto map = read_index_rows<1>(g, "rama_map_id", n, n_map, false, "map index out of range in row");
    for (int i = 0; i < n; ++i) params_.push_back({residue[i][0], map[i][0], rama.add_deriv_slots(residue[i][0])});
  }

  void compute_value(ComputeMode mode) override {
    CoordArray c = rama_.coords();
    const long map_size = static_cast<long>(n_grid_) * n_grid_;
    for_each_system(n_system, static_cast<long>(params_.size()), [&](int s) {
      const float* angles = c.value.sys(s);
      float* sens = c.sens.sys(s);
      double e = 0;
      for (const Params& p : params_) {
        float dphi, dpsi;
        e += rama_value(coef_.data() + p.map * map_size, n_grid_, angles[2 * p.residue], angles[2 * p.residue + 1],
                        &dphi, &dpsi);
        sens[2 * p.slot] = dphi;
        sens[2 * p.slot + 1] = dpsi;
      }
      if (mode) potential[s] = static_cast<float>(e);
    });
  }

 private:
  struct Params {
    int residue, map, slot;
  };
  CoordNode& rama_;
  int n_grid_ = 0;
  std::vector<float> coef_;
  std::vector<Params> params_;
};

struct HMMParams {
  int residue;  // element of rama_coord
  int slot;
};

// E = -log Z, Z the sum over all basin sequences of prod_i exp(-U_i,b_i(phi_i,
// psi_i)) prod_i T_i(b_i, b_i+1); forward-backward gives Z and the posterior
// of each basin, which weighs the map derivatives (Rabiner, Proc IEEE 77:257,
// 1989, with scaled forward and backward variables).
class HMMPot : public PotentialNode {
 public:
  HMMPot(hid_t g, CoordNode& rama) : PotentialNode(rama.n_system), rama_(rama) {
    auto* coord = dynamic_cast<RamaCoord*>(&rama);
    if (!coord) throw std::string("inconsistent: rama_hmm_pot takes the angles of rama_coord");
    n_ = dset_rows(g, "id", 2);
    auto id = read_index_rows<5>(g, "id", n_, 1 << 30, true);
    for (int i = 0; i < n_; ++i) {
      int found = -1;
      for (int e = 0; e < rama.n_elem && found < 0; ++e) {
        bool same = true;
        for (int k = 0; k < 5; ++k) same = same && coord->params[e].atom[k] == id[i][k];
        if (same) found = e;
      }
      if (found < 0) throw "inconsistent: row " + std::to_string(i) + " of id is not a residue of rama_coord";
      params_.push_back({found, rama.add_deriv_slots(found)});
    }
    int n_map;
    coef_ = read_rama_maps(g, "rama_pot", &n_map, &n_grid_);
    n_state_ = n_map;
    std::vector<hsize_t> dims;
    trans_ = read_array<float>(g, "trans_matrices", {std::max(n_ - 1, 0), n_state_, n_state_}, &dims);
    for (int i = 0; i + 1 < n_; ++i)
      for (int a = 0; a < n_state_; ++a) {
        double sum = 0;
        for (int b = 0; b < n_state_; ++b) {
          const float t = trans_[(static_cast<size_t>(i) * n_state_ + a) * n_state_ + b];
          if (!(t >= 0)) throw std::string("oops: negative transition weight");
          sum += t;
        }
        if (!(sum > 0)) throw std::string("oops: a basin without transitions");
      }
    const size_t per_system = static_cast<size_t>(n_) * n_state_;
    work_.assign(static_cast<size_t>(n_system) * (5 * per_system + n_), 0.f);
  }

  void compute_value(ComputeMode mode) override {
    CoordArray c = rama_.coords();
    for_each_system(n_system, static_cast<long>(n_), [&](int s) {
      const double e = hmm(c.value.sys(s), c.sens.sys(s), s);
      if (mode) potential[s] = static_cast<float>(e);
    });
  }

 private:
  double hmm(const float* angles, float* sens, int s) {
    const int n = n_, k = n_state_;
    if (n == 0) return 0;
    const size_t block = static_cast<size_t>(n) * k;
    float* u = work_.data() + static_cast<size_t>(s) * (5 * block + n);
    float* du_phi = u + block;
    float* du_psi = u + 2 * block;
    float* alpha = u + 3 * block;
    float* beta = u + 4 * block;
    float* norm = u + 5 * block;
    const long map_size = static_cast<long>(n_grid_) * n_grid_;
    double energy = 0;
    for (int i = 0; i < n; ++i) {
      const float* a = angles + 2 * params_[i].residue;
      float lowest = INFINITY;
      for (int b = 0; b < k; ++b) {
        u[i * k + b] =
            rama_value(coef_.data() + b * map_size, n_grid_, a[0], a[1], du_phi + i * k + b, du_psi + i * k + b);
        lowest = std::fmin(lowest, u[i * k + b]);
      }
      energy += lowest;
      for (int b = 0; b < k; ++b) u[i * k + b] = std::exp(-(u[i * k + b] - lowest));  // emission weight
    }
    for (int i = 0; i < n; ++i) {
      double sum = 0;
      for (int b = 0; b < k; ++b) {
        double w = 1;
        if (i > 0) {
          const float* t = trans_.data() + static_cast<size_t>(i - 1) * k * k;
          w = 0;
          for (int a = 0; a < k; ++a) w += alpha[(i - 1) * k + a] * t[a * k + b];
        }
        alpha[i * k + b] = static_cast<float>(w * u[i * k + b]);
        sum += alpha[i * k + b];
      }
      norm[i] = static_cast<float>(sum);
      for (int b = 0; b < k; ++b) alpha[i * k + b] = static_cast<float>(alpha[i * k + b] / sum);
      energy -= std::log(sum);
    }
    for (int b = 0; b < k; ++b) beta[(n - 1) * k + b] = 1;
    for (int i = n - 2; i >= 0; --i) {
      const float* t = trans_.data() + static_cast<size_t>(i) * k * k;
      for (int a = 0; a < k; ++a) {
        double w = 0;
        for (int b = 0; b < k; ++b) w += t[a * k + b] * u[(i + 1) * k + b] * beta[(i + 1) * k + b];
        beta[i * k + a] = static_cast<float>(w / norm[i + 1]);
      }
    }
    for (int i = 0; i < n; ++i) {
      float gphi = 0, gpsi = 0;
      for (int b = 0; b < k; ++b) {
        const float post = alpha[i * k + b] * beta[i * k + b];
        gphi += post * du_phi[i * k + b];
        gpsi += post * du_psi[i * k + b];
      }
      sens[2 * params_[i].slot] = gphi;
      sens[2 * params_[i].slot + 1] = gpsi;
    }
    return energy;
  }

  CoordNode& rama_;
  int n_ = 0, n_state_ = 0, n_grid_ = 0;
  std::vector<HMMParams> params_;
  std::vector<float> coef_;   // [state][phi][psi]
  std::vector<float> trans_;  // [n-1][state][state]
  std::vector<float> work_;   // per system: u, du_phi, du_psi, alpha, beta ([n][state] each), norm [n]
};

void register_rama_nodes() {
  register_node_type<RamaMapPot, 2>("rama_map_pot");
  register_node_type<HMMPot, 2>("rama_hmm_pot");
}

}  // namespace tevo
