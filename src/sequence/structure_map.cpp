// Reference sequence against the chains of a structure: an overlap alignment
// (Gotoh's affine gaps, Durbin et al. 1998 section 2.4, with free end gaps so
// that tags, unresolved termini and partial domains cost nothing).
#include "sequence/structure_map.h"

#include <cstdint>
#include <fstream>
#include <limits>

#include "protein/protein.h"   // Protein, read_pdb
#include "protein/residues.h"  // aa321
#include "util/console.h"
#include "util/files.h"  // refuse_directory

namespace tevo {

namespace {

constexpr int kMatch = 2, kMismatch = -1, kOpen = -4, kExtend = -1;
constexpr int kNone = std::numeric_limits<int>::min() / 4;

// Traceback of one cell: where H came from (bits 0-1: 0 diagonal, 1 E, 2 F),
// and whether E and F extended a gap (bits 2 and 3).
constexpr uint8_t kFromE = 1, kFromF = 2, kExtendE = 4, kExtendF = 8;

}  // namespace

std::vector<PdbChain> read_pdb_chains(const std::string& pdb_file) {
  refuse_directory(pdb_file);
  if (!std::ifstream(pdb_file)) {  // the structure reader would give an empty protein
    print_info(pdb_file, 5);
    std::exit(1);
  }
  Protein<double> protein;
  protein.read_pdb(pdb_file, false, "", false);
  std::vector<PdbChain> chains;
  for (const Chain<double>& chain : protein.chains) {
    PdbChain out;
    out.name = chain.get_name();
    for (const AminoAcid<double>& residue : chain.amino_acids) {
      const std::string letter = aa321(residue.get_name());
      out.letters += letter.empty() ? 'X' : letter[0];
      out.numbers.push_back(residue.get_index());
    }
    chains.push_back(std::move(out));
  }
  return chains;
}

ChainMatch match_chain(const std::string& ref, const PdbChain& chain) {
  const int n = static_cast<int>(ref.size()), m = static_cast<int>(chain.letters.size());
  ChainMatch match;
  std::vector<uint8_t> trace(static_cast<std::size_t>(n + 1) * (m + 1), 0);
  auto at = [&](int i, int j) -> uint8_t& { return trace[static_cast<std::size_t>(i) * (m + 1) + j]; };
  // Rows of H (best), E (chain residue against a gap) and F (reference residue against a gap).
  std::vector<int> h(m + 1, 0), f(m + 1, kNone);
  int best = 0, best_i = 0, best_j = 0;
  for (int i = 1; i <= n; ++i) {
    int diagonal = h[0], e = kNone;
    h[0] = 0;  // leading reference residues are free
    for (int j = 1; j <= m; ++j) {
      uint8_t bits = 0;
      const int e_open = h[j - 1] + kOpen, e_extend = e + kExtend;
      e = e_extend > e_open ? (bits |= kExtendE, e_extend) : e_open;
      const int f_open = h[j] + kOpen, f_extend = f[j] + kExtend;
      f[j] = f_extend > f_open ? (bits |= kExtendF, f_extend) : f_open;
      const char a = ref[i - 1], b = chain.letters[j - 1];
      int value = diagonal + (a == b && a != 'X' ? kMatch : kMismatch);
      if (e > value) value = e, bits |= kFromE;
      if (f[j] > value) value = f[j], bits = static_cast<uint8_t>((bits & ~3) | kFromF);
      diagonal = h[j];
      h[j] = value;
      at(i, j) = bits;
      if ((i == n || j == m) && value > best) best = value, best_i = i, best_j = j;
    }
  }
  match.score = best;

  // Back from the best end cell; trailing residues of either side stay unpaired.
  std::vector<int> partner(n, -1);
  int i = best_i, j = best_j, state = 0;  // 0 H, 1 E, 2 F
  while (i > 0 && j > 0) {
    const uint8_t bits = at(i, j);
    if (state == 0) {
      state = bits & 3;
      if (state == 0) {
        partner[i - 1] = j - 1;
        --i, --j;
      }
    } else if (state == 1) {
      state = bits & kExtendE ? 1 : 0;
      --j;
    } else {
      state = bits & kExtendF ? 2 : 0;
      --i;
    }
  }

  match.numbers.assign(n, 0);
  int last = -1;  // last aligned reference residue
  for (int r = 0; r < n; ++r) {
    if (partner[r] >= 0) {
      ++match.aligned;
      match.identical += ref[r] == chain.letters[partner[r]] && ref[r] != 'X';
      match.numbers[r] = chain.numbers[partner[r]];
      last = r;
    } else if (last >= 0) {
      match.numbers[r] = match.numbers[last] + (r - last);
    }
  }
  // Residues before the first aligned one count back from it.
  int first = 0;
  while (first < n && partner[first] < 0) ++first;
  const int anchor = first < n ? match.numbers[first] : (chain.numbers.empty() ? 1 : chain.numbers[0]);
  for (int r = first - 1; r >= 0; --r) match.numbers[r] = anchor - (first - r);
  if (first == n)
    for (int r = 0; r < n; ++r) match.numbers[r] = anchor + r;
  return match;
}

ChainMatch pick_chain(const std::string& reference, const std::vector<PdbChain>& chains, const std::string& wanted) {
  ChainMatch best;
  for (std::size_t c = 0; c < chains.size(); ++c) {
    if (!wanted.empty() && chains[c].name != wanted) continue;
    ChainMatch match = match_chain(reference, chains[c]);
    if (best.chain < 0 || match.score > best.score) {
      match.chain = static_cast<int>(c);
      best = std::move(match);
    }
    if (!wanted.empty()) break;
  }
  return best;
}

}  // namespace tevo
