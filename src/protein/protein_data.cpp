// The nullable-record PDB loader.
#include "protein/protein_data.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <locale>
#include <sstream>

namespace tevo {

namespace {

std::string trim_locale(const std::string& text) {
  const std::locale loc;
  std::size_t b = 0, e = text.size();
  while (b < e && std::isspace(text[b], loc)) ++b;
  while (e > b && std::isspace(text[e - 1], loc)) --e;
  return text.substr(b, e - b);
}

template <typename T>
const T* find_atom(const std::vector<AtomStrut<T>>& residue, const std::string& name) {
  for (const auto& a : residue)
    if (a.atom && *a.atom == name && a.coord) return a.coord.get();
  return nullptr;
}

template <typename T>
double gap(const T* a, const T* b) {
  double s = 0;
  for (int k = 0; k < 3; ++k) s += (static_cast<double>(a[k]) - b[k]) * (static_cast<double>(a[k]) - b[k]);
  return std::sqrt(s);
}

// Cuts each polypeptide between residues i-1 and i where `broken` says so.
template <typename T, typename F>
void split_where(std::vector<std::vector<std::vector<AtomStrut<T>>>>& chains, F broken) {
  std::vector<std::vector<std::vector<AtomStrut<T>>>> out;
  for (auto& chain : chains) {
    out.emplace_back();
    for (std::size_t r = 0; r < chain.size(); ++r) {
      if (!out.back().empty() && broken(out.back().back(), chain[r])) out.emplace_back();
      out.back().push_back(std::move(chain[r]));
    }
  }
  chains.swap(out);
}

}  // namespace

template <typename T>
ProteinData<T>::ProteinData(const std::string& path) {
  std::ifstream in(path);
  if (!in) {
    std::cerr << "Cannot read pdb file " << path << std::endl;
    return;
  }
  std::string line, last_resseq = "-1000", last_chain;
  bool after_ter = true, only_ca = true, any = false;
  while (std::getline(in, line)) {
    line = trim_locale(line);
    if (line.compare(0, 3, "TER") == 0) {
      after_ter = true;
      continue;
    }
    if (line.compare(0, 4, "ATOM") != 0) continue;
    if (line.size() < 54) {
      ++skipped_lines;
      continue;
    }
    const std::string chain = line.substr(21, 1);
    const std::string resseq = line.substr(22, 5);
    const std::string name = trim_locale(line.substr(12, 4));
    if (after_ter || chain != last_chain) {
      polypeptides.emplace_back();
      after_ter = false;
      last_resseq = "-1000";
    }
    last_chain = chain;
    Polypeptide& pp = polypeptides.back();
    // A residue opens at its N; in files without N atoms (CA traces) at any
    // change of the residue number.
    const bool has_n = !pp.empty() && find_atom(pp.back(), std::string("N")) != nullptr;
    if (pp.empty() || (resseq != last_resseq && (name == "N" || !has_n))) pp.emplace_back();
    last_resseq = resseq;
    AtomStrut<T> atom;
    atom.res = std::make_unique<std::string>(trim_locale(line.substr(17, 3)));
    atom.resseq = std::make_unique<int>(std::atoi(resseq.c_str()));
    atom.set_atom(name);
    atom.set_altloc(line.substr(16, 1));
    atom.coord.reset(new T[3]);
    for (int k = 0; k < 3; ++k)
      atom.coord[k] = static_cast<T>(std::strtod(line.substr(30 + 8 * k, 8).c_str(), nullptr));
    pp.back().push_back(std::move(atom));
    only_ca = only_ca && name == "CA";
    any = true;
  }
  if (any && only_ca)
    split_by_chain_breaks_ca();
  else
    split_by_chain_breaks_full_atom();
}

template <typename T>
void ProteinData<T>::save(const std::string& path) const {
  std::ofstream out(path);
  if (!out) std::cerr << "Couldn't open file " << path << std::endl;
}

template <typename T>
bool ProteinData<T>::load(const std::string& path) {
  std::ifstream in(path);
  if (!in) return false;
  polypeptides.assign(1, Polypeptide());
  AtomStrut<T> atom;
  bool first = true;
  int last = 0;
  while (in >> atom) {
    const int seq = atom.resseq ? *atom.resseq : last;
    if (first || seq != last) polypeptides[0].emplace_back();
    first = false;
    last = seq;
    polypeptides[0].back().push_back(atom);
  }
  return true;
}

template <typename T>
void ProteinData<T>::split_by_chain_breaks_ca() {
  split_where(polypeptides, [](const Residue& a, const Residue& b) {
    const T* p = find_atom(a, "CA");
    const T* q = find_atom(b, "CA");
    return p && q && gap(p, q) > 4.2;
  });
}

template <typename T>
void ProteinData<T>::split_by_chain_breaks_full_atom() {
  split_where(polypeptides, [](const Residue& a, const Residue& b) {
    const T* c = find_atom(a, "C");
    const T* n = find_atom(b, "N");
    return c && n && gap(c, n) > 2.0;
  });
}

template <typename T>
std::istream& operator>>(std::istream& in, AtomStrut<T>& atom) {
  std::string line;
  if (!std::getline(in, line)) return in;
  atom = AtomStrut<T>();
  std::istringstream words(line);
  std::vector<std::string> tok;
  for (std::string w; words >> w;) tok.push_back(w);
  auto real = [](const std::string& s) { return static_cast<T>(std::strtod(s.c_str(), nullptr)); };
  auto integer = [](const std::string& s) { return static_cast<int>(std::strtol(s.c_str(), nullptr, 10)); };
  std::size_t k = 0;
  while (k < tok.size()) {
    const std::string& key = tok[k];
    const bool has1 = k + 1 < tok.size();
    if (key == "COORD" && k + 3 < tok.size()) {
      atom.coord.reset(new T[3]{real(tok[k + 1]), real(tok[k + 2]), real(tok[k + 3])});
      k += 4;
    } else if (key == "RES" && has1) {
      atom.res = std::make_unique<std::string>(tok[k + 1]);
      k += 2;
    } else if (key == "RESSEQ" && has1) {
      atom.resseq = std::make_unique<int>(integer(tok[k + 1]));
      k += 2;
    } else if (key == "ATOM" && has1) {
      atom.set_atom(tok[k + 1]);
      k += 2;
    } else if (key == "ALTLOC" && has1) {
      atom.set_altloc(tok[k + 1]);
      k += 2;
    } else if (key == "REALSS" && has1) {
      atom.realss = std::make_unique<int>(integer(tok[k + 1]));
      k += 2;
    } else if (key == "PREDSS" && has1) {
      atom.predss = std::make_unique<int>(integer(tok[k + 1]));
      k += 2;
    } else if (key == "PREDPROBSS_C" && has1) {
      atom.predprobss_c = std::make_unique<T>(real(tok[k + 1]));
      k += 2;
    } else if (key == "PREDPROBSS_H" && has1) {
      atom.predprobss_h = std::make_unique<T>(real(tok[k + 1]));
      k += 2;
    } else if (key == "PREDPROBSS_E" && has1) {
      atom.predprobss_e = std::make_unique<T>(real(tok[k + 1]));
      k += 2;
    } else {
      ++k;  // unknown key (or a key without its value): skipped alone
    }
  }
  return in;
}

template class ProteinData<float>;
template class ProteinData<double>;
template std::istream& operator>>(std::istream&, AtomStrut<float>&);
template std::istream& operator>>(std::istream&, AtomStrut<double>&);

}  // namespace tevo
