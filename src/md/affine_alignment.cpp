// Residue frames: the rigid motion that best superposes a reference triangle
// on three backbone atoms, and the way its derivatives reach the atoms.
#include <cmath>
#include <cstring>

#include "md/coord_nodes.h"
#include "md/node_io.h"
#include "md/vec3.h"

namespace tevo {

void symm_QR_4x4(const double* m, double* values, double* vectors) {
  double a[16];
  std::memcpy(a, m, sizeof a);
  for (int i = 0; i < 16; ++i) vectors[i] = (i % 5 == 0) ? 1 : 0;
  double total = 0;
  for (int i = 0; i < 16; ++i) total += a[i] * a[i];
  for (int sweep = 0; sweep < 30; ++sweep) {
    double off = 0;
    for (int p = 0; p < 4; ++p)
      for (int q = p + 1; q < 4; ++q) off += a[4 * p + q] * a[4 * p + q];
    if (off <= 1e-26 * total) break;  // off-diagonal at double rounding of the whole
    for (int p = 0; p < 4; ++p)
      for (int q = p + 1; q < 4; ++q) {
        const double apq = a[4 * p + q];
        if (std::fabs(apq) < 1e-300) continue;
        // Rotation that zeroes a[p][q] (Golub and Van Loan, section 8.5.2).
        const double tau = (a[4 * q + q] - a[4 * p + p]) / (2 * apq);
        const double t = (tau >= 0 ? 1 : -1) / (std::fabs(tau) + std::sqrt(1 + tau * tau));
        const double c = 1 / std::sqrt(1 + t * t), s = t * c;
        for (int k = 0; k < 4; ++k) {
          const double akp = a[4 * k + p], akq = a[4 * k + q];
          a[4 * k + p] = c * akp - s * akq;
          a[4 * k + q] = s * akp + c * akq;
        }
        for (int k = 0; k < 4; ++k) {
          const double apk = a[4 * p + k], aqk = a[4 * q + k];
          a[4 * p + k] = c * apk - s * aqk;
          a[4 * q + k] = s * apk + c * aqk;
        }
        for (int k = 0; k < 4; ++k) {
          const double vkp = vectors[4 * k + p], vkq = vectors[4 * k + q];
          vectors[4 * k + p] = c * vkp - s * vkq;
          vectors[4 * k + q] = s * vkp + c * vkq;
        }
      }
  }
  // Sort ascending, moving the eigenvector columns along.
  int order[4] = {0, 1, 2, 3};
  for (int i = 0; i < 4; ++i)
    for (int j = i + 1; j < 4; ++j)
      if (a[5 * order[j]] < a[5 * order[i]]) std::swap(order[i], order[j]);
  double v[16];
  for (int i = 0; i < 4; ++i) {
    values[i] = a[5 * order[i]];
    for (int k = 0; k < 4; ++k) v[4 * k + i] = vectors[4 * k + order[i]];
  }
  std::memcpy(vectors, v, sizeof v);
}

namespace {

// Frame of one residue: out = (t, q); jac = the rotated body atoms p_i (9)
// and the inverse of K = (sum p.y) I - sum p y^T (9), which turns a torque
// into the rotation the optimum makes when the atoms move.
void affine_alignment_elem(float* out, float* jac, const float* pos, const AffineAlignmentParams& p) {
  V3 x[3];
  for (int k = 0; k < 3; ++k) x[k] = load3(pos + 3 * p.atom[k]);
  const V3 c = (1.f / 3.f) * (x[0] + x[1] + x[2]);
  double s[9] = {0};  // s[a][b] = sum_i r_i[a] y_i[b]
  V3 y[3];
  for (int k = 0; k < 3; ++k) {
    y[k] = x[k] - c;
    const double r[3] = {p.ref_geom[k][0], p.ref_geom[k][1], p.ref_geom[k][2]};
    const double yy[3] = {y[k].x, y[k].y, y[k].z};
    for (int a = 0; a < 3; ++a)
      for (int b = 0; b < 3; ++b) s[3 * a + b] += r[a] * yy[b];
  }
  const double sxx = s[0], sxy = s[1], sxz = s[2], syx = s[3], syy = s[4], syz = s[5], szx = s[6], szy = s[7],
               szz = s[8];
  const double n[16] = {sxx + syy + szz, syz - szy, szx - sxz, sxy - syx,       syz - szy,        sxx - syy - szz,
                        sxy + syx,       szx + sxz, szx - sxz, sxy + syx,       -sxx + syy - szz, syz + szy,
                        sxy - syx,       szx + sxz, syz + szy, -sxx - syy + szz};
  double values[4], vectors[16];
  symm_QR_4x4(n, values, vectors);
  double q[4] = {vectors[3], vectors[7], vectors[11], vectors[15]};
  const double sign = q[0] < 0 ? -1 : 1;
  const double norm = sign / std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
  store3(out, c);
  for (int k = 0; k < 4; ++k) out[3 + k] = static_cast<float>(q[k] * norm);
  float rot[9];
  quat_to_rot(out + 3, rot);
  double k_mat[9] = {0};
  double trace = 0;
  for (int i = 0; i < 3; ++i) {
    const V3 pi = apply_rot(rot, V3{p.ref_geom[i][0], p.ref_geom[i][1], p.ref_geom[i][2]});
    store3(jac + 3 * i, pi);
    const double pv[3] = {pi.x, pi.y, pi.z}, yv[3] = {y[i].x, y[i].y, y[i].z};
    for (int a = 0; a < 3; ++a) {
      trace += pv[a] * yv[a];
      for (int b = 0; b < 3; ++b) k_mat[3 * a + b] -= 0.5 * (pv[a] * yv[b] + yv[a] * pv[b]);
    }
  }
  for (int a = 0; a < 3; ++a) k_mat[4 * a] += trace;
  // Inverse by cofactors; a degenerate (collinear) triangle gives zero torque response.
  const double* m = k_mat;
  const double c0 = m[4] * m[8] - m[5] * m[7], c1 = m[5] * m[6] - m[3] * m[8], c2 = m[3] * m[7] - m[4] * m[6];
  const double det = m[0] * c0 + m[1] * c1 + m[2] * c2;
  const double inv_det = std::fabs(det) > 1e-12 ? 1 / det : 0;
  const double inv[9] = {c0, m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
                         c1, m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
                         c2, m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]};
  for (int i = 0; i < 9; ++i) jac[9 + i] = static_cast<float>(inv[i] * inv_det);
}

}  // namespace

AffineAlignment::AffineAlignment(hid_t g, CoordNode& pos)
    : CoordNode(pos.n_system, dset_rows(g, "atoms", 2), 7, 6), pos_(pos) {
  auto atoms = read_index_rows<3>(g, "atoms", n_elem, pos.n_elem);
  std::vector<hsize_t> dims;
  auto ref = read_array<float>(g, "ref_geom", {n_elem, 3, 3}, &dims);
  for (int i = 0; i < n_elem; ++i) {
    AffineAlignmentParams p{};
    float centre[3] = {0, 0, 0};
    for (int k = 0; k < 3; ++k) {
      p.atom[k] = atoms[i][k];
      slots_.push_back(pos.add_deriv_slots(atoms[i][k]));
      for (int d = 0; d < 3; ++d) centre[d] += ref[9 * i + 3 * k + d] / 3;
    }
    for (int k = 0; k < 3; ++k)
      for (int d = 0; d < 3; ++d) p.ref_geom[k][d] = ref[9 * i + 3 * k + d] - centre[d];
    params.push_back(p);
  }
  jac_.assign(static_cast<size_t>(n_system) * n_elem * 18, 0.f);
  scratch_.assign(static_cast<size_t>(n_system) * n_elem * 6, 0.f);
}

void AffineAlignment::compute_value(ComputeMode) {
  CoordArray p = pos_.coords();
  for_each_system(n_system, static_cast<long>(n_elem), [&](int s) {
    float* out = output.data() + static_cast<size_t>(s) * n_elem * 7;
    float* jac = jac_.data() + static_cast<size_t>(s) * n_elem * 18;
    const float* x = p.value.sys(s);
    for (int i = 0; i < n_elem; ++i) affine_alignment_elem(out + 7 * i, jac + 18 * i, x, params[i]);
  });
}

// Atom j receives f/3 + (K^-1 tau) x p_j from the frame's summed force f and torque tau.
void affine_reverse_autodiff(SysArray sens, SysArray jac, SysArray pos_sens, SysArray scratch,
                             const DerivRecord* records, int n_record, const int* slots, int n_elem, int n_system) {
  for_each_system(n_system, static_cast<long>(n_elem), [&](int s) {
    float* acc = scratch.sys(s);
    const float* in = sens.sys(s);
    std::fill(acc, acc + 6 * n_elem, 0.f);
    for (int r = 0; r < n_record; ++r)
      for (int k = 0; k < records[r].n_slot; ++k)
        for (int a = 0; a < 6; ++a) acc[6 * records[r].index + a] += in[6 * (records[r].loc + k) + a];
    const float* j = jac.sys(s);
    float* out = pos_sens.sys(s);
    for (int e = 0; e < n_elem; ++e) {
      const float* je = j + 18 * e;
      const V3 f = load3(acc + 6 * e), tau = load3(acc + 6 * e + 3);
      const V3 u = apply_rot(je + 9, tau);
      for (int k = 0; k < 3; ++k) store3(out + 3 * slots[3 * e + k], (1.f / 3.f) * f + cross(u, load3(je + 3 * k)));
    }
  });
}

void AffineAlignment::propagate_deriv() {
  affine_reverse_autodiff(coords().sens, SysArray{jac_.data(), n_elem * 18}, pos_.coords().sens,
                          SysArray{scratch_.data(), n_elem * 6}, deriv_records.data(),
                          static_cast<int>(deriv_records.size()), slots_.data(), n_elem, n_system);
}

}  // namespace tevo
