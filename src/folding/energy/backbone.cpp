// Backbone atoms, hydrogen bonds and secondary structure of a chain.
#include "folding/energy/backbone.h"

#include <cmath>

#include "protein/geometry.h"

namespace tevo {

template <typename T>
std::vector<BackboneAtoms> find_backbone_atoms(const Chain<T>& chain) {
  std::vector<BackboneAtoms> out(chain.amino_acids.size());
  for (std::size_t r = 0; r < chain.amino_acids.size(); ++r) {
    const AminoAcid<T>& aa = chain.amino_acids[r];
    BackboneAtoms& b = out[r];
    for (std::size_t k = 0; k < aa.atoms.size(); ++k) {
      const std::string& name = aa.atoms[k].name;
      const int at = aa.first_atom + static_cast<int>(k);
      if (name == "N") b.n = at;
      else if (name == "HN" || name == "H") b.hn = at;
      else if (name == "CA") b.ca = at;
      else if (name == "CB") b.cb = at;
      else if (name == "C") b.c = at;
      else if (name == "O") b.o = at;
    }
  }
  return out;
}

template <typename T>
void backbone_hbonds(const T* xyz, const std::vector<BackboneAtoms>& bb, std::vector<unsigned char>& hb) {
  const int n = static_cast<int>(bb.size());
  hb.assign(static_cast<std::size_t>(n) * n, 0);
  for (int j = 0; j < n; ++j) {  // donor
    const BackboneAtoms& d = bb[j];
    if (d.n < 0 || d.hn < 0) continue;
    const T* N = xyz + 3 * d.n;
    const T* H = xyz + 3 * d.hn;
    for (int i = 0; i < n; ++i) {  // acceptor
      if (i == j) continue;
      const BackboneAtoms& a = bb[i];
      if (a.o < 0 || a.c < 0) continue;
      const T* O = xyz + 3 * a.o;
      const T dist = geom::dist(H, O);
      if (!(dist > T(1.7) && dist < T(2.6))) continue;
      T cos_nho, cos_coh;
      three_vec_angle(&cos_nho, N, H, O);
      if (!(cos_nho < T(-0.766))) continue;
      three_vec_angle(&cos_coh, xyz + 3 * a.c, O, H);
      if (cos_coh < T(0.18)) hb[static_cast<std::size_t>(i) * n + j] = 1;
    }
  }
}

template <typename T>
void backbone_torsions(const T* xyz, const std::vector<BackboneAtoms>& bb, int i, T& phi, T& psi) {
  const int n = static_cast<int>(bb.size());
  phi = psi = T(360);
  const BackboneAtoms& r = bb[i];
  if (r.n < 0 || r.ca < 0 || r.c < 0) return;
  if (i > 0 && bb[i - 1].c >= 0)
    phi = angle_four_points(xyz + 3 * bb[i - 1].c, xyz + 3 * r.n, xyz + 3 * r.ca, xyz + 3 * r.c);
  if (i + 1 < n && bb[i + 1].n >= 0)
    psi = angle_four_points(xyz + 3 * r.n, xyz + 3 * r.ca, xyz + 3 * r.c, xyz + 3 * bb[i + 1].n);
}

template <typename T>
void assign_secondary_structure(const T* xyz, const std::vector<BackboneAtoms>& bb, SecondaryStructure& ss) {
  const int n = static_cast<int>(bb.size());
  backbone_hbonds(xyz, bb, ss.hb);
  ss.cls.assign(n, kOther);
  ss.strand.assign(static_cast<std::size_t>(n) * n, 0);
  ss.segment.assign(n, 0);
  auto hb = [&](int acc, int don) {
    return acc >= 0 && don >= 0 && acc < n && don < n && ss.hb[static_cast<std::size_t>(acc) * n + don];
  };

  // Helices: runs of helical residues closing an i-4 -> i bond.
  int run = 0;
  for (int i = 0; i <= n; ++i) {
    bool helical = false;
    if (i < n) {
      T phi, psi;
      backbone_torsions(xyz, bb, i, phi, psi);
      helical = phi > T(-90) && phi < T(-40) && psi > T(-60) && psi < T(-20) && hb(i - 4, i);
    }
    if (helical) {
      ++run;
      continue;
    }
    if (run > 4)
      for (int k = i - run; k < i; ++k) ss.cls[k] = kHelix;
    run = 0;
  }

  // Strands: bridges of residues at least 5 apart.
  if (n >= 7) {
    auto mark = [&](int i, int j, unsigned char kind) {
      if (i < 0 || j < 0 || i >= n || j >= n) return;
      ss.strand[static_cast<std::size_t>(i) * n + j] = kind;
      ss.strand[static_cast<std::size_t>(j) * n + i] = kind;
    };
    for (int i = 1; i + 1 < n; ++i)
      for (int j = i + 5; j + 1 < n; ++j) {
        const bool parallel = (hb(i - 1, j) && hb(j, i + 1)) || (hb(j - 1, i) && hb(i, j + 1));
        const bool anti = (hb(i, j) && hb(j, i)) || (hb(i - 1, j + 1) && hb(j - 1, i + 1));
        if (anti) {
          mark(i, j, 2);
          mark(i - 1, j + 1, 2);
          mark(i + 1, j - 1, 2);
        } else if (parallel) {
          mark(i, j, 1);
          mark(i - 1, j - 1, 1);
          mark(i + 1, j + 1, 1);
        }
      }
    for (int i = 0; i < n; ++i) {
      if (ss.cls[i] == kHelix) continue;
      for (int j = 0; j < n; ++j)
        if (ss.strand[static_cast<std::size_t>(i) * n + j]) {
          ss.cls[i] = kStrand;
          break;
        }
    }
  }

  // Continuous segments.
  int seg = 0;
  for (int i = 0; i < n; ++i) {
    if (i > 0) {
      bool joined = ss.cls[i] == ss.cls[i - 1] && bb[i - 1].c >= 0 && bb[i].n >= 0;
      if (joined) joined = geom::dist(xyz + 3 * bb[i - 1].c, xyz + 3 * bb[i].n) <= T(2.0);
      if (!joined) ++seg;
    }
    ss.segment[i] = seg;
  }
}

#define TEVO_BACKBONE(T)                                                                                   \
  template std::vector<BackboneAtoms> find_backbone_atoms(const Chain<T>&);                               \
  template void backbone_hbonds(const T*, const std::vector<BackboneAtoms>&, std::vector<unsigned char>&); \
  template void backbone_torsions(const T*, const std::vector<BackboneAtoms>&, int, T&, T&);               \
  template void assign_secondary_structure(const T*, const std::vector<BackboneAtoms>&, SecondaryStructure&);
TEVO_BACKBONE(float)
TEVO_BACKBONE(double)
#undef TEVO_BACKBONE

}  // namespace tevo
