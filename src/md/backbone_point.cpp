// Side-chain points: a point and a direction per residue, looked up in
// periodic tables over (phi, psi) for the residue's type and placed through
// the residue's frame.
#include <cmath>

#include "md/coord_nodes.h"
#include "md/node_io.h"
#include "md/spline.h"
#include "md/vec3.h"

namespace tevo {

namespace {
constexpr float kPi = 3.14159265358979324f;
}

BackboneDependentPoint::BackboneDependentPoint(hid_t g, CoordNode& rama, CoordNode& alignment)
    : CoordNode(rama.n_system, dset_rows(g, "restype", 1), 6), rama_(rama), alignment_(alignment) {
  for (auto [name, limit, out] : {std::make_tuple("rama_residue", rama.n_elem, &rama_residue_),
                                  std::make_tuple("alignment_residue", alignment.n_elem, &alignment_residue_)}) {
    for (auto& row : read_index_rows<1>(g, name, n_elem, limit, false, "residue index out of range in row"))
      out->push_back(row[0]);
  }
  std::vector<hsize_t> loc_dims, dir_dims;
  auto location = h5::read_dset<float>(g, "backbone_point_map/location", 4, &loc_dims);
  auto direction = h5::read_dset<float>(g, "backbone_point_map/direction", 4, &dir_dims);
  if (loc_dims[1] != loc_dims[2]) throw std::string("must have same x and y grid spacing for Rama maps");
  if (loc_dims[3] != 3) h5::check_size(g, "backbone_point_map/location", loc_dims[0], loc_dims[1], loc_dims[2], 3);
  h5::check_size(g, "backbone_point_map/direction", loc_dims);
  const int n_type = static_cast<int>(loc_dims[0]);
  n_grid_ = static_cast<int>(loc_dims[1]);
  if (n_grid_ < 3) throw std::string("size mismatch (a Rama map needs at least 3 grid points per angle)");
  for (auto& row : read_index_rows<1>(g, "restype", n_elem, n_type, false, "restype out of range in row"))
    restype_.push_back(row[0]);

  const int gg = n_grid_ * n_grid_;
  coef_.assign(static_cast<size_t>(n_type) * gg * 6, 0.f);
  std::vector<double> data(gg), coef(gg), work(9 * n_grid_);
  for (int t = 0; t < n_type; ++t)
    for (int c = 0; c < 6; ++c) {
      const std::vector<float>& src = c < 3 ? location : direction;
      for (int k = 0; k < gg; ++k) data[k] = src[(static_cast<size_t>(t) * gg + k) * 3 + c % 3];
      solve_periodic_2d_spline(n_grid_, n_grid_, coef.data(), data.data(), work.data());
      for (int k = 0; k < gg; ++k) coef_[(static_cast<size_t>(t) * gg + k) * 6 + c] = static_cast<float>(coef[k]);
    }

  for (int i = 0; i < n_elem; ++i) {
    AutoDiffParams ad;
    ad.slots1[0] = rama.add_deriv_slots(rama_residue_[i]);
    ad.slots2[0] = alignment.add_deriv_slots(alignment_residue_[i]);
    autodiff_.push_back(ad);
  }
  jac_.assign(static_cast<size_t>(n_system) * n_elem * 48, 0.f);
  scratch_.assign(static_cast<size_t>(n_system) * n_elem * 6, 0.f);
}

// One system. jac per element: 6x2 in (phi, psi), then 6x6 in the frame's
// translation and rotation.
void backbone_dependent_point(float* out, float* jac, const float* rama, const float* frames, const float* coef,
                              int n_grid, const int* rama_residue, const int* alignment_residue, const int* restype,
                              int n) {
  const float scale = n_grid / (2 * kPi);
  const long map_size = static_cast<long>(n_grid) * n_grid * 6;
  for (int i = 0; i < n; ++i) {
    const float* angles = rama + 2 * rama_residue[i];
    float v[6], dphi[6], dpsi[6];
    evaluate_2d_spline(coef + restype[i] * map_size, n_grid, n_grid, 6, 6, (angles[0] + kPi) * scale,
                       (angles[1] + kPi) * scale, v, dphi, dpsi);
    const float* frame = frames + 7 * alignment_residue[i];
    float rot[9];
    quat_to_rot(frame + 3, rot);
    const V3 p = apply_rot(rot, load3(v)), d = apply_rot(rot, load3(v + 3));
    store3(out + 6 * i, load3(frame) + p);
    store3(out + 6 * i + 3, d);
    float* j1 = jac + 48 * i;
    float* j2 = j1 + 12;
    const V3 cols[4] = {apply_rot(rot, load3(dphi)), apply_rot(rot, load3(dpsi)), apply_rot(rot, load3(dphi + 3)),
                        apply_rot(rot, load3(dpsi + 3))};
    for (int a = 0; a < 3; ++a) {
      const float* c0 = &cols[0].x;
      const float* c1 = &cols[1].x;
      const float* c2 = &cols[2].x;
      const float* c3 = &cols[3].x;
      j1[2 * a] = scale * c0[a];
      j1[2 * a + 1] = scale * c1[a];
      j1[2 * (a + 3)] = scale * c2[a];
      j1[2 * (a + 3) + 1] = scale * c3[a];
    }
    for (int k = 0; k < 36; ++k) j2[k] = 0;
    for (int c = 0; c < 3; ++c) {
      V3 e{0, 0, 0};
      (&e.x)[c] = 1;
      const V3 xp = cross(e, p), xd = cross(e, d);
      j2[6 * c + c] = 1;  // translation moves the point
      for (int a = 0; a < 3; ++a) {
        j2[6 * a + 3 + c] = (&xp.x)[a];
        j2[6 * (a + 3) + 3 + c] = (&xd.x)[a];
      }
    }
  }
}

void BackboneDependentPoint::compute_value(ComputeMode) {
  CoordArray r = rama_.coords(), f = alignment_.coords();
  for_each_system(n_system, static_cast<long>(n_elem), [&](int s) {
    backbone_dependent_point(output.data() + static_cast<size_t>(s) * n_elem * 6,
                             jac_.data() + static_cast<size_t>(s) * n_elem * 48, r.value.sys(s), f.value.sys(s),
                             coef_.data(), n_grid_, rama_residue_.data(), alignment_residue_.data(), restype_.data(),
                             n_elem);
  });
}

void BackboneDependentPoint::propagate_deriv() {
  reverse_autodiff<6, 2, 6>(coords().sens, SysArray{jac_.data(), n_elem * 48}, rama_.coords().sens,
                            alignment_.coords().sens, SysArray{scratch_.data(), n_elem * 6}, deriv_records.data(),
                            static_cast<int>(deriv_records.size()), autodiff_.data(), 1, 1, n_elem, n_system);
}

void register_coordinate_nodes() {
  register_node_type<RamaCoord, 3>("rama_coord");
  register_node_type<AffineAlignment, 3>("affine_alignment");
  register_node_type<Infer_H_O, 3>("infer_H_O");
  register_node_type<BackboneDependentPoint, 2, 7>("backbone_dependent_point");
}

}  // namespace tevo
