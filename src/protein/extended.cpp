// Extended-chain builder: every atom after the first three is placed from
// its three predecessors by internal coordinates.
#include "protein/extended.h"

#include <cctype>
#include <cmath>
#include <fstream>

#include "protein/geometry.h"
#include "protein/residues.h"

namespace tevo {

template <typename T>
Chain<T> build_extended_chain(const std::string& seq, const std::string& chain_name, int& bad, T phi,
                              T psi, T omega) {
  using G = BackboneGeometry;
  bad = -1;
  Chain<T> chain(false);
  chain.set_name(chain_name);
  for (std::size_t k = 0; k < seq.size(); ++k) {
    const char up = static_cast<char>(std::toupper(static_cast<unsigned char>(seq[k])));
    if (aa12idx(up) < 1 && up != 'X') {
      bad = static_cast<int>(k);
      return Chain<T>(false);
    }
  }
  int serial = 0;
  T prev_n[3] = {0, 0, 0}, prev_ca[3] = {0, 0, 0}, prev_c[3] = {0, 0, 0};
  for (std::size_t k = 0; k < seq.size(); ++k) {
    const char up = static_cast<char>(std::toupper(static_cast<unsigned char>(seq[k])));
    const std::string name = aa123(static_cast<unsigned char>(up));
    T n[3], ca[3], c[3], o[3], cb[3];
    if (k == 0) {
      // First residue in the xy plane: N at the origin, CA on +x.
      const T theta = static_cast<T>(G::kNCaC * kDeg2Rad);
      n[0] = n[1] = n[2] = 0;
      ca[0] = static_cast<T>(G::kNCa);
      ca[1] = ca[2] = 0;
      c[0] = ca[0] - static_cast<T>(G::kCaC) * std::cos(theta);
      c[1] = static_cast<T>(G::kCaC) * std::sin(theta);
      c[2] = 0;
    } else {
      const T to_n[3] = {static_cast<T>(G::kCN), static_cast<T>(G::kCaCN), psi};
      internal2cartesian(n, prev_n, prev_ca, prev_c, to_n);
      const T to_ca[3] = {static_cast<T>(G::kNCa), static_cast<T>(G::kCNCa), omega};
      internal2cartesian(ca, prev_ca, prev_c, n, to_ca);
      const T to_c[3] = {static_cast<T>(G::kCaC), static_cast<T>(G::kNCaC), phi};
      internal2cartesian(c, prev_c, n, ca, to_c);
    }
    // O lies in the peptide plane, anti to the next N about CA-C.
    const T to_o[3] = {static_cast<T>(G::kCO), static_cast<T>(G::kCaCO), psi + 180};
    internal2cartesian(o, n, ca, c, to_o);
    const T to_cb[3] = {static_cast<T>(G::kCaCb), static_cast<T>(G::kNCaCb),
                        static_cast<T>(G::kCNCaCb)};
    internal2cartesian(cb, c, n, ca, to_cb);

    AminoAcid<T> aa(name);
    aa.set_index(static_cast<int>(k) + 1);
    aa.set_chain_name(chain_name);
    auto put = [&](const char* atom_name, const char* symbol, const T* xyz) {
      Atom<T> atom;
      atom.index = ++serial;
      atom.name = atom_name;
      atom.symbol = symbol;
      atom.amino_acid_name = name;
      atom.chain_name = chain_name;
      atom.amino_acid_idx = static_cast<int>(k) + 1;
      atom.occupancy = 1;
      atom.set_coord(xyz[0], xyz[1], xyz[2]);
      aa.add_atom(atom);
    };
    put("N", "N", n);
    put("CA", "C", ca);
    put("C", "C", c);
    put("O", "O", o);
    if (name != "GLY") put("CB", "C", cb);
    chain.add_amino_acid(std::move(aa));
    for (int x = 0; x < 3; ++x) {
      prev_n[x] = n[x];
      prev_ca[x] = ca[x];
      prev_c[x] = c[x];
    }
  }
  chain.set_sequence(chain.make_sequence());
  chain.get_num_of_amino_acids();
  chain.get_num_of_atoms();
  return chain;
}

bool read_protein_fasta(const std::string& path, std::vector<std::string>& names,
                        std::vector<std::string>& seqs, long& line) {
  std::ifstream in(path);
  if (!in) return false;
  line = 0;
  std::string text;
  long lineno = 0;
  while (std::getline(in, text)) {
    ++lineno;
    if (!text.empty() && text[0] == '>') {
      names.push_back(text.substr(1));
      seqs.emplace_back();
      continue;
    }
    std::string letters;
    for (char c : text)
      if (!std::isspace(static_cast<unsigned char>(c))) letters += c;
    if (letters.empty()) continue;
    if (seqs.empty()) {
      if (line == 0) line = lineno;
      continue;
    }
    seqs.back() += letters;
  }
  return true;
}

template Chain<float> build_extended_chain<float>(const std::string&, const std::string&, int&, float,
                                                  float, float);
template Chain<double> build_extended_chain<double>(const std::string&, const std::string&, int&,
                                                    double, double, double);

}  // namespace tevo
