// Backbone torsions phi and psi of each residue.
#include <cstring>

#include "md/coord_nodes.h"
#include "md/node_io.h"
#include "md/vec3.h"

namespace tevo {

// One system: phi from atoms 0-3 and psi from atoms 1-4 of each row, with the
// Jacobian of both in the five atoms ([5][2][3] per element).
void rama_coord(float* out, float* jac, const float* pos, const RamaCoordParams* p, int n) {
  for (int i = 0; i < n; ++i) {
    const int* a = p[i].atom;
    float* j = jac + 30 * i;
    std::memset(j, 0, 30 * sizeof(float));
    V3 x[5];
    for (int k = 0; k < 5; ++k) x[k] = a[k] >= 0 ? load3(pos + 3 * a[k]) : V3{0, 0, 0};
    V3 d[4];
    if (a[0] >= 0) {
      out[2 * i] = dihedral_germ(x[0], x[1], x[2], x[3], d[0], d[1], d[2], d[3]);
      for (int k = 0; k < 4; ++k) store3(j + 6 * k, d[k]);
    } else {
      out[2 * i] = kMissingPhi;
    }
    if (a[4] >= 0) {
      out[2 * i + 1] = dihedral_germ(x[1], x[2], x[3], x[4], d[0], d[1], d[2], d[3]);
      for (int k = 0; k < 4; ++k) store3(j + 6 * (k + 1) + 3, d[k]);
    } else {
      out[2 * i + 1] = kMissingPsi;
    }
  }
}

RamaCoord::RamaCoord(hid_t g, CoordNode& pos) : CoordNode(pos.n_system, dset_rows(g, "id", 2), 2), pos_(pos) {
  auto id = read_index_rows<5>(g, "id", n_elem, pos.n_elem, true);
  autodiff_.resize(n_elem);
  for (int i = 0; i < n_elem; ++i) {
    for (int k = 1; k < 4; ++k)
      if (id[i][k] < 0) throw "illegal atom num " + std::to_string(i);
    params.push_back(RamaCoordParams{});
    for (int k = 0; k < 5; ++k) {
      params[i].atom[k] = id[i][k];
      if (id[i][k] >= 0) autodiff_[i].slots1[k] = pos.add_deriv_slots(id[i][k]);
    }
  }
  jac_.assign(static_cast<size_t>(n_system) * n_elem * 30, 0.f);
  scratch_.assign(static_cast<size_t>(n_system) * n_elem * 2, 0.f);
}

void RamaCoord::compute_value(ComputeMode) {
  CoordArray p = pos_.coords();
  for_each_system(n_system, static_cast<long>(n_elem), [&](int s) {
    rama_coord(output.data() + static_cast<size_t>(s) * n_elem * 2, jac_.data() + static_cast<size_t>(s) * n_elem * 30,
               p.value.sys(s), params.data(), n_elem);
  });
}

void RamaCoord::propagate_deriv() {
  reverse_autodiff<2, 3, 0>(coords().sens, SysArray{jac_.data(), n_elem * 30}, pos_.coords().sens, SysArray{},
                            SysArray{scratch_.data(), n_elem * 2}, deriv_records.data(),
                            static_cast<int>(deriv_records.size()), autodiff_.data(), 5, 0, n_elem, n_system);
}

}  // namespace tevo
