// The structure container: PDB reading and writing, bond records, geometry
// over all chains, and the residue contact report.
#include "protein/protein.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <type_traits>

#include "protein/geometry.h"
#include "protein/pdb_text.h"
#include "protein/residues.h"
#include "report/gnuplot.h"
#include "report/javas.h"
#include "report/record.h"
#include "util/console.h"
#include "util/files.h"  // write_string
#include "util/strings.h"

namespace tevo {

namespace {

// Reads a plain or gzip file line by line through one large buffer.
class LineSource {
 public:
  explicit LineSource(const std::string& path) : fp_(gzopen(path.c_str(), "rb")) {
    if (fp_) gzbuffer(fp_, 1 << 18);
  }
  ~LineSource() {
    if (fp_) gzclose(fp_);
  }
  LineSource(const LineSource&) = delete;
  LineSource& operator=(const LineSource&) = delete;
  bool ok() const { return fp_ != nullptr; }

  // The next line without its '\n'; false at the end of the file.
  bool next(const char*& begin, const char*& end) {
    for (;;) {
      const char* nl = static_cast<const char*>(
          std::memchr(buf_.data() + pos_, '\n', fill_ - pos_));
      if (nl) {
        begin = buf_.data() + pos_;
        end = nl;
        pos_ = nl - buf_.data() + 1;
        return true;
      }
      if (eof_) {
        if (pos_ == fill_) return false;
        begin = buf_.data() + pos_;
        end = buf_.data() + fill_;
        pos_ = fill_;
        return true;
      }
      // Move the partial line to the front and read more behind it.
      std::memmove(buf_.data(), buf_.data() + pos_, fill_ - pos_);
      fill_ -= pos_;
      pos_ = 0;
      if (buf_.size() - fill_ < (1u << 16)) buf_.resize(buf_.size() * 2);
      const int got = gzread(fp_, buf_.data() + fill_, static_cast<unsigned>(buf_.size() - fill_));
      if (got <= 0)
        eof_ = true;
      else
        fill_ += got;
    }
  }

 private:
  gzFile fp_;
  std::vector<char> buf_ = std::vector<char>(1 << 20);
  std::size_t pos_ = 0, fill_ = 0;
  bool eof_ = false;
};

// trim_all on a character range: text after a NUL is dropped, then the same
// fixed passes (left tab, VT, FF, blank; right tab, LF, VT, FF, CR, blank).
void trim_range(const char*& b, const char*& e) {
  const char* nul = static_cast<const char*>(std::memchr(b, '\0', e - b));
  if (nul) e = nul;
  for (char c : {'\t', '\v', '\f', ' '})
    while (b < e && *b == c) ++b;
  for (char c : {'\t', '\n', '\v', '\f', '\r', ' '})
    while (e > b && e[-1] == c) --e;
}

// substr(pos, len) of the line, trimmed as trim_all does.
std::string field(const char* b, const char* e, std::size_t pos, std::size_t len) {
  const std::size_t size = e - b;
  if (pos >= size) return "";
  const char* fb = b + pos;
  const char* fe = b + std::min(size, pos + len);
  trim_range(fb, fe);
  return std::string(fb, fe);
}

const double kTens[10] = {1, 10, 100, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};

// strtod over an 8-wide (or shorter) column; false unless the whole
// non-blank text is one number.
bool parse_real(const char* b, const char* e, std::size_t pos, std::size_t len, double& out) {
  // Fast path for the usual "[-]ddd.ddd": integer digits over a power of ten
  // is one correctly rounded division, so the value equals strtod's.
  {
    const char* p = b + pos;
    const char* end = b + std::min<std::size_t>(e - b, pos + len);
    while (p < end && *p == ' ') ++p;
    bool neg = false;
    if (p < end && (*p == '-' || *p == '+')) neg = *p++ == '-';
    long long digits = 0;
    int nd = 0, frac = -1;
    for (; p < end && nd < 15; ++p) {
      if (*p >= '0' && *p <= '9') {
        digits = digits * 10 + (*p - '0');
        ++nd;
        if (frac >= 0) ++frac;
      } else if (*p == '.' && frac < 0) {
        frac = 0;
      } else {
        break;
      }
    }
    const char* rest = p;
    while (rest < end && *rest == ' ') ++rest;
    if (nd > 0 && rest == end && frac <= 9) {
      const double v = static_cast<double>(digits) / kTens[frac < 0 ? 0 : frac];
      out = neg ? -v : v;
      return true;
    }
  }
  char buf[32];
  const std::size_t size = e - b;
  const std::size_t n = pos >= size ? 0 : std::min(len, size - pos);
  std::memcpy(buf, b + pos, n);
  buf[n] = '\0';
  char* stop = nullptr;
  out = std::strtod(buf, &stop);
  if (stop == buf) return false;
  while (*stop == ' ') ++stop;
  return *stop == '\0' && std::isfinite(out);
}

// `open_line`: the "PDB" word waits for its "done"; the error starts a new line.
[[noreturn]] void bad_record(bool open_line, const std::string& path, long line, const std::string& what) {
  if (open_line) std::printf("\n");
  print_info(path + " line " + std::to_string(line) + ": " + what, 9);
  std::fflush(stdout);
  std::exit(1);
}

}  // namespace

template <typename T>
Protein<T>::Protein(const std::string& output, const std::string& jobname, bool reorder,
                    int first_number)
    : output_(output), jobname_(jobname), stem_(output + jobname), reorder_(reorder),
      first_number_(first_number) {}

template <typename T>
void Protein<T>::set_job_info(const std::string& output, const std::string& jobname) {
  output_ = output;
  jobname_ = jobname;
  stem_ = output + jobname;
}

template <typename T>
void Protein<T>::read_pdb(const std::string& path, bool backbone, const std::string& chain,
                          bool verbose) {
  LineSource in(path);
  if (!in.ok()) print_info(path, 5);
  if (verbose) print_text("PDB", kPlain, ' ');

  Chain<T> current(false);
  AminoAcid<T> residue;
  std::string chain_name;
  std::string symbol;
  int chain_atoms = 0;   // atoms read into the chain in hand
  int closed = 0;        // residues closed in the chain in hand
  long prev_number = 0;  // residue number of the previous ATOM line kept
  long lineno = 0;

  auto close_chain = [&]() {
    if (!residue.atoms.empty()) current.add_amino_acid(std::move(residue));
    residue = AminoAcid<T>();
    current.set_name(chain_name);
    chains.push_back(std::move(current));
    current = Chain<T>(false);
    chain_atoms = 0;
    closed = 0;
    prev_number = 0;
  };

  const char* b = nullptr;
  const char* e = nullptr;
  while (in.ok() && in.next(b, e)) {
    ++lineno;
    trim_range(b, e);
    const std::size_t len = e - b;
    if (len >= 4 && std::memcmp(b, "ATOM", 4) == 0) {
      if (len < 21) bad_record(verbose, path, lineno, "ATOM record shorter than 21 characters");
      if (len < 54) bad_record(verbose, path, lineno, "ATOM record ends before its coordinates (54 columns)");
      const char chain_char = len > 21 ? b[21] : ' ';
      if (!chain.empty() && chain != std::string(1, chain_char)) continue;
      std::string name = field(b, e, 12, 4);
      std::string res_name = field(b, e, 17, 3);
      if (backbone) {
        const bool keep = name == "HN" || name == "N" || name == "CA" || name == "C" ||
                          name == "O" || (name == "CB" && res_name != "GLY");
        if (!keep) continue;
      }
      const int serial = ++atom_counter_;
      chain_name = chain_char == ' ' ? "A" : std::string(1, chain_char);
      char num[8];
      std::memcpy(num, b + 22, 5);
      num[5] = '\0';
      const long number = std::strtol(num, nullptr, 10);
      double xyz[3];
      for (int a = 0; a < 3; ++a)
        if (!parse_real(b, e, 30 + 8 * a, 8, xyz[a]))
          bad_record(verbose, path, lineno, std::string("non-numeric ") + "xyz"[a] + " coordinate \"" +
                                       field(b, e, 30 + 8 * a, 8) + "\"");
      double occupancy = 0;
      if (len > 59) {
        char occ[8];
        std::memcpy(occ, b + 54, 6);
        occ[6] = '\0';
        occupancy = std::strtod(occ, nullptr);
      }
      for (char c : name)
        if (!std::isdigit(static_cast<unsigned char>(c))) {
          symbol.assign(1, c);
          break;
        }
      if (number != prev_number && prev_number != 0) {
        current.add_amino_acid(std::move(residue));
        residue = AminoAcid<T>();
        ++closed;
      }
      prev_number = number;

      Atom<T> atom;
      atom.index = serial;
      atom.name = std::move(name);
      atom.amino_acid_name = res_name;
      atom.chain_name = chain_name;
      atom.amino_acid_idx = reorder_ ? closed + first_number_ : static_cast<int>(number);
      atom.set_coord(static_cast<T>(xyz[0]), static_cast<T>(xyz[1]), static_cast<T>(xyz[2]));
      atom.occupancy = static_cast<T>(occupancy);
      atom.symbol = symbol;
      residue.name = std::move(res_name);
      residue.index = static_cast<int>(number);
      residue.chain_name = chain_name;
      residue.atoms.push_back(std::move(atom));
      ++chain_atoms;
      continue;
    }
    if ((len >= 3 && std::memcmp(b, "TER", 3) == 0 && chain_atoms > 1) ||
        (len >= 3 && std::memcmp(b, "END", 3) == 0 && chain_atoms > 0))
      close_chain();
  }
  if (chain_atoms > 0) close_chain();
  if (verbose) std::printf("done\n");
  num_of_chains = static_cast<int>(chains.size());
  if (!verbose) return;

  if (chains.empty()) {
    print_text("no chain found!", kRed);
    return;
  }
  std::printf("-- Number of chains: %i, ", num_of_chains);
  for (int c = 0; c < num_of_chains; ++c)
    std::printf(c + 1 < num_of_chains ? "%s, " : "%s.\n", chains[c].name.c_str());
  for (auto& ch : chains) {
    const int nres = ch.get_num_of_amino_acids();
    const int natoms = ch.get_num_of_atoms();
    print_text("Chain " + ch.name + ":");
    ch.set_sequence(ch.make_sequence());
    string_print(ch.sequence, 60);
    ch.first_res = 0;
    ch.last_res = nres - 1;
    if (nres > 0) {
      ch.amino_acids.front().first_atom = 0;
      ch.amino_acids.back().last_atom = natoms - 1;
    }
  }
  print_text("Number of amino acids:", kPlain, ' ');
  for (int c = 0; c < num_of_chains; ++c)
    std::printf(c + 1 < num_of_chains ? "%s (%i), " : "%s (%i).\n", chains[c].name.c_str(),
                chains[c].num_of_amino_acids);
}

template <typename T>
void Protein<T>::write_pdb(const std::string& path) const {
  std::string head = "HEADER    TEVANA\n";
  for (const auto& ch : chains) {
    const int nres = static_cast<int>(ch.amino_acids.size());
    for (int start = 0, line = 1; start < nres; start += 13, ++line) {
      head += "SEQRES ";
      append_int(head, line, 4);
      head += ' ';
      head += ch.name;
      head += ' ';
      append_int(head, nres, 4);
      head += "  ";
      for (int r = start; r < std::min(nres, start + 13); ++r) {
        head += ch.amino_acids[r].name;
        head += ' ';
      }
      head += '\n';
    }
  }
  write_string(path, head, "w");
  for (const auto& ch : chains) ch.write_pdb("a+", path);
  write_string(path, "END\n", "a+");
}

template <typename T>
void Protein<T>::write_fasta(const std::string& path) const {
  std::string text;
  for (const auto& ch : chains) {
    text += "> " + path + " chain " + ch.name + " " + std::to_string(ch.amino_acids.size()) +
            " residues\n";
    text += ch.make_sequence() + "\n";
  }
  write_string(path, text);
}

template <typename T>
void Protein<T>::finish() {
  idx_.clear();
  coords_.clear();
  atom_names_.clear();
  dist_.clear();
  distmask_.clear();
  contact_map.clear();
}

template <typename T>
int Protein<T>::get_num_of_amino_acids() {
  int n = 0;
  for (auto& ch : chains) n += ch.get_num_of_amino_acids();
  return n;
}

template <typename T>
int Protein<T>::get_num_of_amino_acids(int chain) {
  return chains[chain].get_num_of_amino_acids();
}

template <typename T>
int Protein<T>::get_num_of_atoms() {
  int n = 0;
  for (auto& ch : chains) n += ch.get_num_of_atoms();
  return n;
}

template <typename T>
int Protein<T>::get_num_of_atoms(int chain) {
  return chains[chain].get_num_of_atoms();
}

// ---- flat arrays

template <typename T>
void Protein<T>::get_all_aotm_coords() {
  num_of_atoms = get_num_of_atoms();
  idx_.assign(2 * static_cast<std::size_t>(num_of_atoms), 0);
  coords_.assign(3 * static_cast<std::size_t>(num_of_atoms), 0);
  atom_names_.assign(num_of_atoms, "");
  chain_offset_.assign(chains.size(), 0);
  int offset = 0;
  for (std::size_t c = 0; c < chains.size(); ++c) {
    chain_offset_[c] = offset;
    get_aotm_coords_in_chain(static_cast<int>(c), offset);
    offset += chains[c].num_of_atoms;
  }
}

template <typename T>
void Protein<T>::get_aotm_coords_in_chain(int chain, int offset) {
  int k = offset;
  auto& residues = chains[chain].amino_acids;
  for (std::size_t r = 0; r < residues.size(); ++r) {
    const auto code = AA2INT.find(residues[r].name);
    const int aa_code = code == AA2INT.end() ? 20 : code->second;
    for (const auto& atom : residues[r].atoms) {
      idx_[2 * k] = static_cast<int>(r);
      idx_[2 * k + 1] = aa_code;
      for (int a = 0; a < 3; ++a) coords_[3 * k + a] = atom.coord[a];
      atom_names_[k] = atom.name;
      ++k;
    }
  }
}

template <typename T>
void Protein<T>::set_all_aotm_coords() {
  for (std::size_t c = 0; c < chains.size() && c < chain_offset_.size(); ++c)
    set_aotm_coords_in_chain(static_cast<int>(c));
}

template <typename T>
void Protein<T>::set_aotm_coords_in_chain(int chain) {
  std::size_t k = chain_offset_[chain];
  for (auto& aa : chains[chain].amino_acids)
    for (auto& atom : aa.atoms) {
      if (3 * k + 2 >= coords_.size()) return;
      for (int a = 0; a < 3; ++a) atom.coord[a] = coords_[3 * k + a];
      ++k;
    }
}

template <typename T>
void Protein<T>::tevo_copy_coords(int chain) {
  Chain<T>& ch = chains[chain];
  if (ch.coords() == nullptr || chain >= static_cast<int>(chain_offset_.size())) return;
  const int n = ch.get_num_of_atoms();
  std::copy(coords_.begin() + 3 * static_cast<std::size_t>(chain_offset_[chain]),
            coords_.begin() + 3 * static_cast<std::size_t>(chain_offset_[chain] + n), ch.coords());
}

// ---- bond records

template <typename T>
int Protein<T>::get_bond_type(int position) {
  static const int kTypes[8] = {1, 2, 3, 7, 8, 9, 10, 11};
  return position >= 0 && position < 8 ? kTypes[position] : 12;
}

template <typename T>
void Protein<T>::tevo_set_valid_bond(Bond<T>* bonds, int position, int a1, int a2, int a3, int a4,
                                     int last) {
  Bond<T>& b = bonds[position];
  b.type = static_cast<uint8_t>(get_bond_type(position));
  b.atom1 = a1;
  b.atom2 = a2;
  b.atom3 = a3;
  b.atom4 = a4;
  b.last = last;
}

template <typename T>
void Protein<T>::tevo_create_bonds_array(Bond<T>* bonds, int n) {
  for (int k = 0; k < n; ++k) bonds[k] = Bond<T>();
}

namespace {

struct SideChain {
  int records;
  const char* last;
  std::vector<std::array<const char*, 4>> chis;
};

// Records per residue with side chains, the last atom they carry and the
// chi dihedrals. ARG chi 5 names NZ and CYS chi 1 names CG: atoms those
// residues lack, so these two records stay invalid.
const std::map<std::string, SideChain>& side_chains() {
  static const std::map<std::string, SideChain> table = {
      {"ALA", {3, "", {}}},
      {"GLY", {3, "", {}}},
      {"PRO", {3, "", {}}},
      {"UNK", {3, "", {}}},
      {"ARG", {8, "NH2", {{"N", "CA", "CB", "CG"}, {"CA", "CB", "CG", "CD"}, {"CB", "CG", "CD", "NE"},
                          {"CG", "CD", "NE", "CZ"}, {"CD", "NE", "NZ", "NH1"}}}},
      {"ASN", {5, "ND2", {{"N", "CA", "CB", "CG"}, {"CA", "CB", "CG", "OD1"}}}},
      {"ASP", {5, "OD2", {{"N", "CA", "CB", "CG"}, {"CA", "CB", "CG", "OD1"}}}},
      {"CYS", {4, "SG", {{"N", "CA", "CB", "CG"}}}},
      {"GLN", {6, "NE2", {{"N", "CA", "CB", "CG"}, {"CA", "CB", "CG", "CD"}, {"CB", "CG", "CD", "OE1"}}}},
      {"GLU", {6, "OE2", {{"N", "CA", "CB", "CG"}, {"CA", "CB", "CG", "CD"}, {"CB", "CG", "CD", "OE1"}}}},
      {"HIS", {5, "NE2", {{"N", "CA", "CB", "CG"}, {"CA", "CB", "CG", "ND1"}}}},
      {"ILE", {5, "CD1", {{"N", "CA", "CB", "CG1"}, {"CA", "CB", "CG1", "CD1"}}}},
      {"LEU", {5, "CD2", {{"N", "CA", "CB", "CG"}, {"CA", "CB", "CG", "CD1"}}}},
      {"LYS", {7, "NZ", {{"N", "CA", "CB", "CG"}, {"CA", "CB", "CG", "CD"}, {"CB", "CG", "CD", "CE"},
                         {"CG", "CD", "CE", "NZ"}}}},
      {"MET", {6, "CE", {{"N", "CA", "CB", "CG"}, {"CA", "CB", "CG", "SD"}, {"CB", "CG", "SD", "CE"}}}},
      {"PHE", {5, "CZ", {{"N", "CA", "CB", "CG"}, {"CA", "CB", "CG", "CD1"}}}},
      {"SER", {4, "OG", {{"N", "CA", "CB", "OG"}}}},
      {"THR", {4, "CG2", {{"N", "CA", "CB", "CG2"}}}},
      {"TRP", {5, "CH2", {{"N", "CA", "CB", "CG"}, {"CA", "CB", "CG", "CD1"}}}},
      {"TYR", {5, "OH", {{"N", "CA", "CB", "CG"}, {"CA", "CB", "CG", "CD1"}}}},
      {"VAL", {4, "CG2", {{"N", "CA", "CB", "CG1"}}}}};
  return table;
}

}  // namespace

template <typename T>
void Protein<T>::tevo_create_protein_bonds(std::vector<Chain<T>>& in, int chain, bool with_sc) {
  auto& residues = in[chain].amino_acids;
  int k = 0;
  for (auto& aa : residues) {
    aa.first_atom = k;
    k += static_cast<int>(aa.atoms.size());
    aa.last_atom = k - 1;
  }
  for (std::size_t r = 0; r < residues.size(); ++r) {
    std::string name = residues[r].name;
    for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    create_bonds_for(static_cast<int>(r), chain, with_sc, side_chains().count(name) ? name : "UNK");
  }
}

template <typename T>
void Protein<T>::tevo_create_all_protein_bonds(bool with_sc) {
  for (std::size_t c = 0; c < chains.size(); ++c)
    tevo_create_protein_bonds(chains, static_cast<int>(c), with_sc);
}

template <typename T>
void Protein<T>::create_bonds_for(int res, int chain, bool with_sc, const std::string& name) {
  AminoAcid<T>& aa = chains[chain].amino_acids[res];
  const SideChain& sc = side_chains().at(name);
  const int n = with_sc ? sc.records : 3;
  aa.create_bonds(n);
  tevo_create_bonds_array(aa.bonds, n);
  tevo_create_mc_bonds(res, chain);
  if (with_sc) tevo_create_sc_bonds(res, chain);
}

template <typename T>
void Protein<T>::tevo_create_mc_bonds(int res, int chain) {
  Chain<T>& ch = chains[chain];
  auto& residues = ch.amino_acids;
  const int nres = static_cast<int>(residues.size());
  const int last = ch.get_num_of_atoms() - 1;
  // Chain-wide number of the named atom of residue r, -1 when absent.
  auto atom = [&](const char* name, int r) {
    int found = 0, index = 0;
    ch.get_atom_in_residue(name, found, index, r);
    return found ? residues[r].first_atom + index : -1;
  };
  Bond<T>* bonds = residues[res].bonds;
  if (res > 0) {
    const int a[4] = {atom("C", res - 1), atom("N", res), atom("CA", res), atom("C", res)};
    if (a[0] >= 0 && a[1] >= 0 && a[2] >= 0 && a[3] >= 0)
      tevo_set_valid_bond(bonds, 0, a[0], a[1], a[2], a[3], last);
  }
  if (res < nres - 1) {
    const int p[4] = {atom("N", res), atom("CA", res), atom("C", res), atom("N", res + 1)};
    if (p[0] >= 0 && p[1] >= 0 && p[2] >= 0 && p[3] >= 0)
      tevo_set_valid_bond(bonds, 1, p[0], p[1], p[2], p[3], last);
    const int w[4] = {atom("CA", res), atom("C", res), atom("N", res + 1), atom("CA", res + 1)};
    if (w[0] >= 0 && w[1] >= 0 && w[2] >= 0 && w[3] >= 0)
      tevo_set_valid_bond(bonds, 2, w[0], w[1], w[2], w[3], last);
  }
}

template <typename T>
void Protein<T>::tevo_create_sc_bonds(int res, int chain) {
  Chain<T>& ch = chains[chain];
  AminoAcid<T>& aa = ch.amino_acids[res];
  std::string name = aa.name;
  for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  const auto it = side_chains().find(name);
  if (it == side_chains().end()) return;
  const SideChain& sc = it->second;
  int found = 0, index = 0;
  ch.get_atom_in_residue(sc.last, found, index, res);
  const int last = found ? aa.first_atom + index : aa.last_atom;
  for (std::size_t k = 0; k < sc.chis.size() && 3 + static_cast<int>(k) < aa.num_bonds; ++k) {
    int at[4];
    bool all = true;
    for (int a = 0; a < 4; ++a) {
      ch.get_atom_in_residue(sc.chis[k][a], found, index, res);
      all = all && found;
      at[a] = aa.first_atom + index;
    }
    if (all) tevo_set_valid_bond(aa.bonds, 3 + static_cast<int>(k), at[0], at[1], at[2], at[3], last);
  }
}

// ---- geometry over the protein's flat array

template <typename T>
void Protein<T>::tevo_update_torsional_angle(int chain, int bond, int res) {
  Bond<T>* b = detail::bond_at(chains[chain].amino_acids[res], bond);
  if (!b || chain >= static_cast<int>(chain_offset_.size())) return;
  if (!detail::bond_in_range(*b, chains[chain].get_num_of_atoms())) {
    b->angle = b->target = 360;
    return;
  }
  detail::measure_torsion(coords_.data() + 3 * static_cast<std::size_t>(chain_offset_[chain]), *b);
}

template <typename T>
void Protein<T>::tevo_update_all_torsional_angles_in_res(int chain, int res) {
  for (int k = 0; k < chains[chain].amino_acids[res].num_bonds; ++k)
    tevo_update_torsional_angle(chain, k, res);
}

template <typename T>
void Protein<T>::tevo_update_all_torsional_angles(int chain) {
  for (std::size_t r = 0; r < chains[chain].amino_acids.size(); ++r)
    tevo_update_all_torsional_angles_in_res(chain, static_cast<int>(r));
}

template <typename T>
void Protein<T>::tevo_update_all_torsional_angles() {
  for (std::size_t c = 0; c < chains.size(); ++c) tevo_update_all_torsional_angles(static_cast<int>(c));
}

template <typename T>
void Protein<T>::rotate_coords(int chain, int bond, int res, T angle) {
  const Bond<T>* b = detail::bond_at(chains[chain].amino_acids[res], bond);
  if (!b || chain >= static_cast<int>(chain_offset_.size())) return;
  const int natoms = chains[chain].get_num_of_atoms();
  if (!detail::bond_in_range(*b, natoms)) return;
  detail::rotate_after(coords_.data() + 3 * static_cast<std::size_t>(chain_offset_[chain]), natoms,
                       *b, angle);
  set_aotm_coords_in_chain(chain);
}

template <typename T>
void Protein<T>::tevo_update_all_coords_in_res(int chain, int res, bool /*flag*/) {
  AminoAcid<T>& aa = chains[chain].amino_acids[res];
  for (int k = 0; k < aa.num_bonds; ++k) {
    Bond<T>& b = aa.bonds[k];
    if (b.type == 0 || std::fabs(b.target - b.angle) <= static_cast<T>(kGeomEps)) continue;
    const T d = b.target - b.angle;
    rotate_coords(chain, k, res, -d);
    b.angle += d;
  }
}

template <typename T>
void Protein<T>::update_all_coords(int chain) {
  for (std::size_t r = 0; r < chains[chain].amino_acids.size(); ++r)
    tevo_update_all_coords_in_res(chain, static_cast<int>(r), true);
}

template <typename T>
void Protein<T>::calc_atom_dist(bool parallel) {
  detail::atom_distances(coords_, dist_, parallel);
}

template <typename T>
void Protein<T>::set_distmask(bool flag) {
  const std::size_t n = coords_.size() / 3;
  distmask_.assign(n * n, flag ? 1 : 0);
}

template <typename T>
void Protein<T>::set_distmask_intervals_product(int begin1, int end1, int begin2, int end2, bool flag) {
  const long n = static_cast<long>(coords_.size() / 3);
  if (distmask_.size() != static_cast<std::size_t>(n * n)) return;
  for (long i = std::max(0, begin1); i <= std::min<long>(end1, n - 1); ++i)
    for (long j = std::max(0, begin2); j <= std::min<long>(end2, n - 1); ++j) {
      distmask_[i * n + j] = flag;
      distmask_[j * n + i] = flag;
    }
}

template <typename T>
void Protein<T>::calc_atom_dist_mask(int chain, int bond, int res) {
  const Bond<T>* b = detail::bond_at(chains[chain].amino_acids[res], bond);
  const long n = static_cast<long>(coords_.size() / 3);
  if (!b || dist_.size() != static_cast<std::size_t>(n * n)) return;
  // Atoms up to the bond's third atom stay, later atoms of the chain turn as
  // one body: only distances across that split change.
  const int off = chain_offset_[chain];
  const int split = off + b->atom3;
  const int end = off + chains[chain].get_num_of_atoms() - 1;
  set_distmask(false);
  set_distmask_intervals_product(0, split, split + 1, end, true);
  set_distmask_intervals_product(split + 1, end, end + 1, static_cast<int>(n - 1), true);
  const T* xyz = coords_.data();
  for (long i = 0; i < n; ++i)
    for (long j = 0; j < n; ++j)
      if (distmask_[i * n + j]) dist_[i * n + j] = geom::dist(xyz + 3 * i, xyz + 3 * j);
}

// ---- contacts

template <typename T>
void Protein<T>::calc_residue_contact(const std::string& name, T cutoff, std::string atom_type) {
  if (chains.empty()) return;
  const std::string lookup = atom_type;  // exact, as given
  for (char& c : atom_type) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (atom_type == "CA") atom_type = "C<sub>&alpha;</sub>";
  if (atom_type == "CB") atom_type = "C<sub>&beta;</sub>";

  const int total = get_num_of_amino_acids();
  contact_labels.assign(total, "");
  std::vector<std::pair<int, int>> pairs;
  std::vector<T> values;
  int offset = 0;
  for (auto& ch : chains) {
    const int n = ch.get_num_of_amino_acids();
    std::vector<T> block(static_cast<std::size_t>(n) * n);
    std::vector<T*> rows(n);
    for (int i = 0; i < n; ++i) rows[i] = block.data() + static_cast<std::size_t>(i) * n;
    ch.calc_aa_contact(rows.data(), cutoff, lookup);
    for (int i = 0; i < n; ++i) {
      const int label = reorder_ ? first_number_ + i : ch.amino_acids[i].index;
      contact_labels[offset + i] = std::to_string(label);
      for (int j = i + 1; j < n; ++j)
        if (rows[i][j] > 0) {
          pairs.emplace_back(offset + i, offset + j);
          values.push_back(rows[i][j]);
        }
    }
    offset += n;
  }

  // The list fills both triangles.
  contact_map.assign(static_cast<std::size_t>(total) * total, 0);
  T* map = contact_map.data();
  const long npairs = static_cast<long>(pairs.size());
#pragma omp parallel for schedule(static)
  for (long k = 0; k < npairs; ++k) {
    map[static_cast<std::size_t>(pairs[k].first) * total + pairs[k].second] = values[k];
    map[static_cast<std::size_t>(pairs[k].second) * total + pairs[k].first] = values[k];
  }

  std::string text = "Residue-Contact from PDB\n";
  char line[96];
  for (int i = 0; i < total; ++i)
    for (int j = 0; j < total; ++j) {
      const T v = map[static_cast<std::size_t>(i) * total + j];
      if (v != 0) {
        std::snprintf(line, sizeof line, "%i,%i,%.5f\n", std::atoi(contact_labels[i].c_str()),
                      std::atoi(contact_labels[j].c_str()), static_cast<double>(v));
        text += line;
      }
    }
  write_string(stem_ + "_" + name + ".csv", text);
  // The block keeps an empty base line; the report page gives such a block
  // the files named after its title, which are the charts of "residue_contact".
  append_record_block(stem_ + ".log", "1-1-1-0", "Residue contact",
                      "Contacts between pairwise residues (<" + num2string(static_cast<double>(cutoff), 2) +
                          " &Aring;, " + atom_type + ").");

#pragma omp parallel for schedule(static)
  for (long i = 0; i < total; ++i)
    for (long j = 0; j < total; ++j) {
      T& v = map[i * total + j];
      v = v > 0 && v <= cutoff ? 1 : 0;
    }

  // The charts take rows of doubles; for float the map is copied once.
  std::vector<double> copy;
  double* cells = nullptr;
  if constexpr (std::is_same<T, double>::value) {
    cells = map;
  } else {
    copy.assign(contact_map.begin(), contact_map.end());
    cells = copy.data();
  }
  std::vector<double*> rows(total);
  for (int i = 0; i < total; ++i) rows[i] = cells + static_cast<std::size_t>(i) * total;
  {
    Javas<double> js(output_, jobname_, {"top", "right", "bottom", "left"});
    js.set_param(total, total, 20, 90, 60, 70, 600, 600, 0);
    js.set_postfix(name);
    js.set_labels(contact_labels, contact_labels);
    js.plotting("heatmap", rows.data(), {"", "Amino acid", "Amino acid"});
  }
  Gnuplot<double> gp(output_, jobname_);
  gp.set_postfix(name);
  gp.plotting("mtx_3col", rows.data(), total, total, "Residue index", "Residue index", {0.15, 1200, 0.85, 0.8});
}

template class Protein<float>;
template class Protein<double>;

}  // namespace tevo
