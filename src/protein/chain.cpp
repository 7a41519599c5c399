// Chain methods: PDB text, flat coordinates, torsion geometry and contacts.
#include "protein/chain.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "protein/geometry.h"
#include "protein/pdb_text.h"
#include "protein/residues.h"
#include "util/console.h"
#include "util/files.h"  // write_string

namespace tevo {

namespace detail {

template <typename T>
void measure_torsion(const T* xyz, Bond<T>& bond) {
  const T* A = xyz + 3 * bond.atom1;
  const T* B = xyz + 3 * bond.atom2;
  const T* C = xyz + 3 * bond.atom3;
  const T* D = xyz + 3 * bond.atom4;
  T u[3], w[3], v[3], p[3], q[3], m[3];
  geom::sub(u, A, B);
  geom::sub(w, D, C);
  geom::sub(v, B, C);
  geom::cross(p, v, u);
  geom::cross(q, v, w);
  geom::cross(m, v, q);
  T result = 360;
  const T qq = geom::dot(q, q), mm = geom::dot(m, m);
  if (qq > 0 && mm > 0) {
    const T x = geom::dot(p, q) / std::sqrt(qq);
    const T y = geom::dot(p, m) / std::sqrt(mm);
    if (std::fabs(x) > kGeomEps || std::fabs(y) > kGeomEps)
      result = static_cast<T>(std::atan2(y, x) * kRad2Deg);
  }
  bond.angle = result;
  bond.target = result;
}

template <typename T>
void rotate_after(T* xyz, int natoms, const Bond<T>& bond, T angle) {
  const T* P = xyz + 3 * bond.atom2;
  const T Q[3] = {xyz[3 * bond.atom3], xyz[3 * bond.atom3 + 1], xyz[3 * bond.atom3 + 2]};
  T e[3];
  geom::sub(e, Q, P);
  const T norm = std::sqrt(geom::dot(e, e));
  if (!(norm > 0)) return;  // no axis: two atoms on one spot
  e[0] /= norm;
  e[1] /= norm;
  e[2] /= norm;
  const T rad = angle * static_cast<T>(kDeg2Rad);
  const T c = std::cos(rad), s = std::sin(rad);
  const T ex = e[0], ey = e[1], ez = e[2];
  const T R[3][3] = {
      {(1 - ex * ex) * c + ex * ex, ex * ey * (1 - c) + ez * s, ex * ez * (1 - c) - ey * s},
      {ex * ey * (1 - c) - ez * s, (1 - ey * ey) * c + ey * ey, ey * ez * (1 - c) + ex * s},
      {ex * ez * (1 - c) + ey * s, ey * ez * (1 - c) - ex * s, (1 - ez * ez) * c + ez * ez}};
  for (int k = bond.atom3 + 1; k < natoms; ++k) {
    T* p = xyz + 3 * k;
    const T d[3] = {p[0] - Q[0], p[1] - Q[1], p[2] - Q[2]};
    for (int r = 0; r < 3; ++r) p[r] = R[r][0] * d[0] + R[r][1] * d[1] + R[r][2] * d[2] + Q[r];
  }
}

template void measure_torsion<float>(const float*, Bond<float>&);
template void measure_torsion<double>(const double*, Bond<double>&);
template <typename T>
void atom_distances(const std::vector<T>& coords, std::vector<T>& dist, bool parallel) {
  const long n = static_cast<long>(coords.size() / 3);
  // Guard: the square matrix must stay within 2 GiB.
  if (static_cast<double>(n) * n * sizeof(T) > 2147483648.0) {
    print_info("the atom distance matrix of " + std::to_string(n) + " atoms exceeds 2 GiB", 9);
    dist.clear();
    return;
  }
  dist.assign(static_cast<std::size_t>(n) * n, 0);
  const T* xyz = coords.data();
  T* out = dist.data();
#pragma omp parallel for schedule(static) if (parallel)
  for (long i = 0; i < n; ++i)
    for (long j = 0; j < n; ++j) out[i * n + j] = geom::dist(xyz + 3 * i, xyz + 3 * j);
}

template void rotate_after<float>(float*, int, const Bond<float>&, float);
template void rotate_after<double>(double*, int, const Bond<double>&, double);
template void atom_distances<float>(const std::vector<float>&, std::vector<float>&, bool);
template void atom_distances<double>(const std::vector<double>&, std::vector<double>&, bool);

}  // namespace detail

template <typename T>
void Chain<T>::clear() {
  amino_acids.clear();
  sequence.clear();
  idx_.clear();
  coords_.clear();
  dist_.clear();
  distmask_.clear();
  atom_names_.clear();
  num_of_amino_acids = num_of_atoms = 0;
}

template <typename T>
int Chain<T>::get_num_of_amino_acids() {
  num_of_amino_acids = static_cast<int>(amino_acids.size());
  return num_of_amino_acids;
}

template <typename T>
int Chain<T>::get_num_of_atoms() {
  int n = 0;
  for (const auto& aa : amino_acids) n += static_cast<int>(aa.atoms.size());
  num_of_atoms = n;
  return n;
}

template <typename T>
std::string Chain<T>::make_sequence() const {
  std::string seq;
  seq.reserve(amino_acids.size());
  for (const auto& aa : amino_acids) seq += aa321(aa.name);
  return seq;
}

template <typename T>
void Chain<T>::pdb_text(std::string& out) const {
  for (const auto& aa : amino_acids) {
    for (const auto& atom : aa.atoms) {
      out += "ATOM  ";
      append_int(out, atom.index, 5);
      out += "  ";
      append_padded(out, atom.name, 4, true);
      append_padded(out, atom.amino_acid_name, 3, false);
      out += ' ';
      out += atom.chain_name;
      append_int(out, static_cast<long>(atom.amino_acid_idx) + add_, 4);
      out += "    ";
      append_cut(out, atom.coord[0], 3, 8);
      append_cut(out, atom.coord[1], 3, 8);
      append_cut(out, atom.coord[2], 3, 8);
      append_cut(out, atom.occupancy, 2, 6);
      append_cut(out, atom.tfactor, 2, 6);
      out.append(11, ' ');
      out += atom.symbol;
      out += '\n';
    }
  }
  out += "TER\n";
}

template <typename T>
void Chain<T>::write_pdb(const std::string& mode, const std::string& path) const {
  std::string text;
  pdb_text(text);
  write_string(path, text, mode);
}

template <typename T>
void Chain<T>::set_idx_coords() {
  const int natoms = get_num_of_atoms();
  idx_.assign(2 * static_cast<std::size_t>(natoms), 0);
  coords_.assign(3 * static_cast<std::size_t>(natoms), 0);
  atom_names_.assign(natoms, "");
  int k = 0;
  for (std::size_t r = 0; r < amino_acids.size(); ++r) {
    auto& aa = amino_acids[r];
    const auto code = AA2INT.find(aa.name);
    const int aa_code = code == AA2INT.end() ? 20 : code->second;
    aa.first_atom = k;
    for (const auto& atom : aa.atoms) {
      idx_[2 * k] = static_cast<int>(r);
      idx_[2 * k + 1] = aa_code;
      for (int a = 0; a < 3; ++a) coords_[3 * k + a] = atom.coord[a];
      atom_names_[k] = atom.name;
      ++k;
    }
    aa.last_atom = k - 1;
  }
}

template <typename T>
void Chain<T>::set_all_aotm_coords() {
  std::size_t k = 0;
  for (auto& aa : amino_acids)
    for (auto& atom : aa.atoms) {
      if (3 * k + 2 >= coords_.size()) return;
      for (int a = 0; a < 3; ++a) atom.coord[a] = coords_[3 * k + a];
      ++k;
    }
}

template <typename T>
void Chain<T>::get_atom_in_residue(const std::string& atom_name, int& found, int& index,
                                   int res) const {
  found = 0;
  const auto& atoms = amino_acids[res].atoms;
  for (std::size_t k = 0; k < atoms.size(); ++k)
    if (atoms[k].name == atom_name) {
      found = 1;
      index = static_cast<int>(k);
    }
}

template <typename T>
void Chain<T>::tevo_update_torsional_angle(int bond, int res) {
  Bond<T>* b = detail::bond_at(amino_acids[res], bond);
  if (!b) return;
  const int natoms = static_cast<int>(coords_.size() / 3);
  if (!detail::bond_in_range(*b, natoms)) {
    b->angle = b->target = 360;
    return;
  }
  detail::measure_torsion(coords_.data(), *b);
}

template <typename T>
void Chain<T>::tevo_update_all_torsional_angles_in_res(int res) {
  for (int k = 0; k < amino_acids[res].num_bonds; ++k) tevo_update_torsional_angle(k, res);
}

template <typename T>
void Chain<T>::tevo_update_all_torsional_angles() {
  for (std::size_t r = 0; r < amino_acids.size(); ++r)
    tevo_update_all_torsional_angles_in_res(static_cast<int>(r));
}

template <typename T>
void Chain<T>::rotate_coords(int bond, int res, T angle) {
  const Bond<T>* b = detail::bond_at(amino_acids[res], bond);
  const int natoms = static_cast<int>(coords_.size() / 3);
  if (!b || !detail::bond_in_range(*b, natoms)) return;
  detail::rotate_after(coords_.data(), natoms, *b, angle);
  // Copy the moved atoms back into their Atom records.
  int k = 0;
  for (auto& aa : amino_acids) {
    const int n = static_cast<int>(aa.atoms.size());
    if (k + n - 1 > b->atom3)
      for (int a = 0; a < n; ++a)
        if (k + a > b->atom3)
          for (int x = 0; x < 3; ++x) aa.atoms[a].coord[x] = coords_[3 * (k + a) + x];
    k += n;
  }
}

template <typename T>
void Chain<T>::tevo_update_all_coords_in_res(int res, bool /*flag*/) {
  AminoAcid<T>& aa = amino_acids[res];
  for (int k = 0; k < aa.num_bonds; ++k) {
    Bond<T>& b = aa.bonds[k];
    if (b.type == 0 || std::fabs(b.target - b.angle) <= static_cast<T>(kGeomEps)) continue;
    const T d = b.target - b.angle;
    rotate_coords(k, res, -d);
    b.angle += d;
  }
}

template <typename T>
void Chain<T>::update_all_coords() {
  for (std::size_t r = 0; r < amino_acids.size(); ++r)
    tevo_update_all_coords_in_res(static_cast<int>(r), true);
}

template <typename T>
void Chain<T>::update_oxygen() {
  const bool flat = coords_.size() == 3 * static_cast<std::size_t>(get_num_of_atoms());
  int offset = amino_acids.empty() ? 0 : static_cast<int>(amino_acids[0].atoms.size());
  for (std::size_t r = 1; r < amino_acids.size(); ++r) {
    auto& aa = amino_acids[r];
    const auto& prev = amino_acids[r - 1];
    if (aa.atoms.size() >= 4 && aa.atoms[3].name == "O" && prev.atoms.size() >= 3) {
      const T* C = prev.atoms[2].coord;
      const T* CA = prev.atoms[1].coord;
      const T* N = aa.atoms[0].coord;
      T a[3], b[3], g[3];
      geom::sub(a, CA, C);
      geom::sub(b, N, C);
      geom::unit_eps(a);
      geom::unit_eps(b);
      for (int x = 0; x < 3; ++x) g[x] = a[x] + b[x];
      geom::unit_eps(g);
      for (int x = 0; x < 3; ++x) {
        aa.atoms[3].coord[x] = C[x] - static_cast<T>(1.24) * g[x];
        if (flat) coords_[3 * (offset + 3) + x] = aa.atoms[3].coord[x];
      }
    }
    offset += static_cast<int>(aa.atoms.size());
  }
}

template <typename T>
void Chain<T>::add_hn() {
  const int n = static_cast<int>(amino_acids.size());
  for (int r = 1; r < n; ++r) {
    AminoAcid<T>& aa = amino_acids[r];
    if (aa.name == "PRO") continue;
    int found = 0, at = 0;
    get_atom_in_residue("HN", found, at, r);
    if (found) continue;
    int fn = 0, n_at = 0, fca = 0, ca_at = 0, fc = 0, c_at = 0;
    get_atom_in_residue("N", fn, n_at, r);
    get_atom_in_residue("CA", fca, ca_at, r);
    get_atom_in_residue("C", fc, c_at, r - 1);
    if (!fn || !fca || !fc) continue;  // no frame to place it in
    const T* N = aa.atoms[n_at].coord;
    const T* CA = aa.atoms[ca_at].coord;
    const T* C = amino_acids[r - 1].atoms[c_at].coord;
    T a[3], b[3], g[3];
    geom::sub(a, C, N);
    geom::sub(b, CA, N);
    geom::unit_eps(a);
    geom::unit_eps(b);
    for (int x = 0; x < 3; ++x) g[x] = a[x] + b[x];
    geom::unit_eps(g);
    Atom<T> hn;
    hn.set_name("HN");
    hn.set_symbol("H");
    hn.set_amino_acid_name(aa.name);
    hn.set_chain_name(aa.atoms[0].chain_name);
    hn.set_amino_acid_idx(aa.atoms[0].amino_acid_idx);
    hn.set_coord(N[0] - g[0], N[1] - g[1], N[2] - g[2]);
    aa.atoms.insert(aa.atoms.begin() + 1, hn);
  }
  int serial = 1;
  for (auto& aa : amino_acids)
    for (auto& atom : aa.atoms) atom.index = serial++;
  set_idx_coords();
}

template <typename T>
void Chain<T>::reduced_representation() {
  int running = 0;
  for (std::size_t r = 0; r < amino_acids.size(); ++r) {
    AminoAcid<T>& aa = amino_acids[r];
    std::vector<Atom<T>> slots(ATOMS_BACKBONE_CB.size());
    std::vector<bool> used(ATOMS_BACKBONE_CB.size(), false);
    for (const auto& atom : aa.atoms) {
      bool keep = false;
      for (const auto& want : ATOMS_BACKBONE_CB) keep = keep || atom.name == want;
      if (!keep) continue;
      const int at = atom2idx(atom.name, aa.name, 0, false);
      slots[at] = atom;
      used[at] = true;
    }
    aa.atoms.clear();
    for (std::size_t s = 0; s < slots.size(); ++s)
      if (used[s]) {
        slots[s].amino_acid_idx = static_cast<int>(r) + 1;
        aa.atoms.push_back(slots[s]);
      }
    aa.first_atom = running;
    running += static_cast<int>(aa.atoms.size());
    aa.last_atom = running - 1;
    aa.create_bonds(3);
  }
  set_idx_coords();
}

template <typename T>
void Chain<T>::calc_atom_dist(bool parallel) {
  detail::atom_distances(coords_, dist_, parallel);
}

template <typename T>
void Chain<T>::set_distmask(bool flag) {
  const std::size_t n = coords_.size() / 3;
  distmask_.assign(n * n, flag ? 1 : 0);
}

template <typename T>
void Chain<T>::is_contact(T& out, int i, int j, T cutoff, const std::string& atom_name) const {
  out = 0;
  int fi = 0, ai = 0, fj = 0, aj = 0;
  get_atom_in_residue(atom_name, fi, ai, i);
  get_atom_in_residue(atom_name, fj, aj, j);
  if (!fi || !fj) return;
  const T d = geom::dist(amino_acids[i].atoms[ai].coord, amino_acids[j].atoms[aj].coord);
  if (d <= cutoff && d > static_cast<T>(1.5) && i != j) out = d;
}

namespace {

// The coordinates of the last atom named `name` in each residue, null where absent.
template <typename T>
std::vector<const T*> atom_pointers(const std::vector<AminoAcid<T>>& residues, const std::string& name) {
  std::vector<const T*> at(residues.size(), nullptr);
  for (std::size_t r = 0; r < residues.size(); ++r)
    for (const auto& atom : residues[r].atoms)
      if (atom.name == name) at[r] = atom.coord;
  return at;
}

}  // namespace

template <typename T>
void Chain<T>::calc_aa_contact(T** mat, T cutoff, const std::string& atom_name) const {
  const int n = static_cast<int>(amino_acids.size());
  const std::vector<const T*> at = atom_pointers(amino_acids, atom_name);
  const T lower = static_cast<T>(1.5);
#pragma omp parallel for schedule(static)
  for (int i = 0; i < n; ++i) {
    T* row = mat[i];
    const T* a = at[i];
    for (int j = 0; j < n; ++j) {
      T value = 0;
      if (a && at[j] && i != j) {
        const T d = geom::dist(a, at[j]);
        if (d <= cutoff && d > lower) value = d;
      }
      row[j] = value;
    }
  }
}

template <typename T>
void Chain<T>::is_NHbonded(T& out, int i, int j) const {
  out = 0;
  int fh = 0, ah = 0, fn = 0, an = 0, fo = 0, ao = 0;
  get_atom_in_residue("HN", fh, ah, i);
  get_atom_in_residue("N", fn, an, i);
  get_atom_in_residue("O", fo, ao, j);
  if (!fh || !fn || !fo) return;
  const T* H = amino_acids[i].atoms[ah].coord;
  const T* N = amino_acids[i].atoms[an].coord;
  const T* O = amino_acids[j].atoms[ao].coord;
  T hn[3], ho[3];
  geom::sub(hn, H, N);
  geom::sub(ho, H, O);
  const T d = std::sqrt(geom::dot(ho, ho));
  const T c = geom::dot(hn, ho) /
              (std::sqrt(geom::dot(hn, hn) * geom::dot(ho, ho)) + static_cast<T>(kGeomEps));
  if (d < static_cast<T>(2.5) && d > 1 && c < static_cast<T>(-0.707) && std::abs(i - j) > 3) out = 2;
}

template <typename T>
void Chain<T>::calc_hydrogen_bond(T** mat) const {
  const int n = static_cast<int>(amino_acids.size());
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) is_NHbonded(mat[i][j], i, j);
}

template <typename T>
std::vector<std::vector<T>> Chain<T>::residue_contact(T cutoff) const {
  const int n = static_cast<int>(amino_acids.size());
  std::vector<std::vector<T>> ca(n, std::vector<T>(n)), cb(n, std::vector<T>(n));
  std::vector<T*> ca_rows(n), cb_rows(n);
  for (int i = 0; i < n; ++i) {
    ca_rows[i] = ca[i].data();
    cb_rows[i] = cb[i].data();
  }
  calc_aa_contact(ca_rows.data(), cutoff, "CA");
  calc_aa_contact(cb_rows.data(), cutoff, "CB");
  std::string text;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      // CA decides where it is in contact; CB (absent in glycine) adds the rest.
      if (ca[i][j] <= 0) ca[i][j] = cb[i][j];
      if (ca[i][j] != 0) {
        char line[96];
        std::snprintf(line, sizeof line, "%d\t%d\t%.5f\n", i, j, static_cast<double>(ca[i][j]));
        text += line;
      }
    }
  write_string(dirt_ + "tevo_contact.mat", text);
  return ca;
}

template <typename T>
std::vector<std::vector<T>> Chain<T>::hydrogen_bond_contact() const {
  const int n = static_cast<int>(amino_acids.size());
  std::vector<std::vector<T>> hb(n, std::vector<T>(n));
  std::vector<T*> rows(n);
  for (int i = 0; i < n; ++i) rows[i] = hb[i].data();
  calc_hydrogen_bond(rows.data());
  return hb;
}

template class Chain<float>;
template class Chain<double>;

}  // namespace tevo
