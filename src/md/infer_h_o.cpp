// Hydrogen and oxygen sites inferred from the backbone: each sits on the
// bisector of the two bonds at its centre atom (N for an amide hydrogen, C
// for a carbonyl oxygen), `bond_length` away, pointing outward.
#include <cstring>

#include "md/coord_nodes.h"
#include "md/node_io.h"
#include "md/vec3.h"

namespace tevo {

namespace {

// d(unit(v))/dv = (I - u u^T) / |v|, row-major.
void unit_jacobian(V3 u, float len, float* m) {
  const float uv[3] = {u.x, u.y, u.z};
  for (int a = 0; a < 3; ++a)
    for (int b = 0; b < 3; ++b) m[3 * a + b] = ((a == b) - uv[a] * uv[b]) / len;
}

void mat_mul3(const float* a, const float* b, float* out) {
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) out[3 * i + j] = a[3 * i] * b[j] + a[3 * i + 1] * b[3 + j] + a[3 * i + 2] * b[6 + j];
}

}  // namespace

// One system: out[6] = (site, direction), jac [3 atoms][6][3] per element.
void infer_HN_OC_pos_and_dir(float* out, float* jac, const float* pos, const VirtualParams* p, int n) {
  for (int i = 0; i < n; ++i) {
    const V3 x0 = load3(pos + 3 * p[i].atom[0]), x1 = load3(pos + 3 * p[i].atom[1]), x2 = load3(pos + 3 * p[i].atom[2]);
    const V3 a = x1 - x0, b = x1 - x2;
    const float la = std::fmax(mag(a), 1e-6f), lb = std::fmax(mag(b), 1e-6f);
    const V3 ah = (1.f / la) * a, bh = (1.f / lb) * b;
    const V3 u = ah + bh;
    const float lu = std::fmax(mag(u), 1e-6f);
    const V3 d = (1.f / lu) * u;
    const float len = p[i].bond_length;
    store3(out + 6 * i, x1 + len * d);
    store3(out + 6 * i + 3, d);
    float pa[9], pb[9], q[9], qa[9], qb[9];
    unit_jacobian(ah, la, pa);
    unit_jacobian(bh, lb, pb);
    unit_jacobian(d, lu, q);
    mat_mul3(q, pa, qa);  // dd/da
    mat_mul3(q, pb, qb);  // dd/db
    float* j = jac + 54 * i;
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 3; ++c) {
        const float d0 = -qa[3 * r + c], d2 = -qb[3 * r + c], d1 = qa[3 * r + c] + qb[3 * r + c];
        // rows 0-2: the site, rows 3-5: the direction
        j[0 * 18 + 3 * r + c] = len * d0;
        j[1 * 18 + 3 * r + c] = (r == c) + len * d1;
        j[2 * 18 + 3 * r + c] = len * d2;
        j[0 * 18 + 9 + 3 * r + c] = d0;
        j[1 * 18 + 9 + 3 * r + c] = d1;
        j[2 * 18 + 9 + 3 * r + c] = d2;
      }
  }
}

Infer_H_O::Infer_H_O(hid_t g, CoordNode& pos)
    : CoordNode(pos.n_system, dset_rows(g, "donors/id", 2) + dset_rows(g, "acceptors/id", 2), 6),
      n_donor(dset_rows(g, "donors/id", 2)),
      n_acceptor(dset_rows(g, "acceptors/id", 2)),
      pos_(pos) {
  for (const char* side : {"donors", "acceptors"}) {
    const std::string prefix = side;
    const int n = prefix == "donors" ? n_donor : n_acceptor;
    auto id = read_index_rows<3>(g, (prefix + "/id").c_str(), n, pos.n_elem);
    auto len = read_vector<float>(g, (prefix + "/bond_length").c_str(), n);
    for (int i = 0; i < n; ++i) {
      params.push_back(VirtualParams{{id[i][0], id[i][1], id[i][2]}, len[i]});
      AutoDiffParams ad;
      for (int k = 0; k < 3; ++k) ad.slots1[k] = pos.add_deriv_slots(id[i][k]);
      autodiff_.push_back(ad);
    }
  }
  jac_.assign(static_cast<size_t>(n_system) * n_elem * 54, 0.f);
  scratch_.assign(static_cast<size_t>(n_system) * n_elem * 6, 0.f);
}

void Infer_H_O::compute_value(ComputeMode) {
  CoordArray p = pos_.coords();
  for_each_system(n_system, static_cast<long>(n_elem), [&](int s) {
    infer_HN_OC_pos_and_dir(output.data() + static_cast<size_t>(s) * n_elem * 6,
                            jac_.data() + static_cast<size_t>(s) * n_elem * 54, p.value.sys(s), params.data(), n_elem);
  });
}

void Infer_H_O::propagate_deriv() {
  reverse_autodiff<6, 3, 0>(coords().sens, SysArray{jac_.data(), n_elem * 54}, pos_.coords().sens, SysArray{},
                            SysArray{scratch_.data(), n_elem * 6}, deriv_records.data(),
                            static_cast<int>(deriv_records.size()), autodiff_.data(), 3, 0, n_elem, n_system);
}

}  // namespace tevo
