// Membrane burial: an energy per residue type over the depth z of the
// residue's CA, a clamped cubic spline between z_min and z_max and constant
// beyond them.
#include "md/node_io.h"
#include "md/node_types.h"
#include "md/spline.h"

namespace tevo {

struct MembraneResidueParams {
  int residue_id;  // residue r: its CA is atom 3r + 1 (atoms N, CA, C per residue)
  int restype;
  int atom, slot;
};

class MembranePotential : public PotentialNode {
 public:
  MembranePotential(hid_t g, CoordNode& pos) : PotentialNode(pos.n_system), pos_(pos) {
    const int n = dset_rows(g, "residue_id", 1);
    z_min_ = h5::read_attribute<float>(g, ".", "z_min");
    z_max_ = h5::read_attribute<float>(g, ".", "z_max");
    std::vector<hsize_t> dims;
    std::vector<double> energy = h5::read_dset<double>(g, "energy", 2, &dims);
    n_type_ = static_cast<int>(dims[0]);
    n_grid_ = static_cast<int>(dims[1]);
    if (n_grid_ < 2) throw std::string("size mismatch (the membrane energy needs at least 2 grid points)");
    if (!(z_max_ > z_min_)) throw std::string("inconsistent: z_max must be above z_min");
    auto residue = read_vector<int>(g, "residue_id", n);
    auto type = read_index_rows<1>(g, "restype", n, n_type_, false, "restype out of range in row");
    for (int i = 0; i < n; ++i) {
      const int atom = 3 * residue[i] + 1;
      if (residue[i] < 0 || atom >= pos.n_elem) throw "illegal atom num " + std::to_string(i);
      params_.push_back({residue[i], type[i][0], atom, pos.add_deriv_slots(atom)});
    }
    coef_.resize(static_cast<size_t>(n_type_) * (n_grid_ + 2));
    std::vector<double> c(n_grid_ + 2), work(4 * (n_grid_ + 2));
    for (int t = 0; t < n_type_; ++t) {
      solve_clamped_1d_spline(n_grid_, c.data(), energy.data() + static_cast<size_t>(t) * n_grid_, work.data());
      for (int k = 0; k < n_grid_ + 2; ++k)
        coef_[static_cast<size_t>(t) * (n_grid_ + 2) + k] = static_cast<float>(c[k]);
    }
  }

  void compute_value(ComputeMode mode) override {
    CoordArray c = pos_.coords();
    const float inv_h = (n_grid_ - 1) / (z_max_ - z_min_);
    for_each_system(n_system, static_cast<long>(params_.size()), [&](int s) {
      const float* x = c.value.sys(s);
      float* sens = c.sens.sys(s);
      double e = 0;
      for (const MembraneResidueParams& p : params_) {
        float dx;
        e += evaluate_clamped_1d_spline(coef_.data() + static_cast<size_t>(p.restype) * (n_grid_ + 2), n_grid_,
                                        (x[3 * p.atom + 2] - z_min_) * inv_h, &dx);
        sens[3 * p.slot] = sens[3 * p.slot + 1] = 0;
        sens[3 * p.slot + 2] = dx * inv_h;
      }
      if (mode) potential[s] = static_cast<float>(e);
    });
  }

 private:
  CoordNode& pos_;
  float z_min_ = 0, z_max_ = 0;
  int n_type_ = 0, n_grid_ = 0;
  std::vector<MembraneResidueParams> params_;
  std::vector<float> coef_;  // [type][n_grid + 2]
};

void register_membrane_node() { register_node_type<MembranePotential, 3>("membrane_potential"); }

}  // namespace tevo
