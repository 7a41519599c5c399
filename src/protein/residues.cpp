// Conversions between the amino-acid alphabets and their numeric codes.
#include "protein/residues.h"

#include <cctype>
#include <cstring>

namespace tevo {

namespace {

const char* const kThree[20] = {"ALA", "ARG", "ASN", "ASP", "CYS", "GLN", "GLU",
                                "GLY", "HIS", "ILE", "LEU", "LYS", "MET", "PHE",
                                "PRO", "SER", "THR", "TRP", "TYR", "VAL"};

const char* const kAtomCodes[47] = {
    nullptr, "N",   "CA",  "C",   "O",   "HN",  "HA",  "OXT", "CB",  "HA2", "CG",  "CG1",
    "CG2",   "OG",  "OG1", "SG",  "CD",  "CD1", "CD2", "OD",  "OD1", "OD2", "ND",  "ND1",
    "ND2",   "SD",  "CE",  "CE1", "CE2", "CE3", "OE",  "OE1", "OE2", "NE",  "NE1", "NE2",
    "CZ",    "CZ2", "CZ3", "NZ",  "CH2", "OH",  "NH",  "NH1", "NH2", "H",   "X"};

// Gap-based codes by three-letter name, with glutamate and glutamine swapped
// against aa12idx.
const std::map<std::string, int> kThreeToGapCode = {
    {"ALA", 1},  {"ARG", 2},  {"ASN", 3},  {"ASP", 4},  {"CYS", 5},  {"GLU", 6},  {"GLN", 7},
    {"GLY", 8},  {"HIS", 9},  {"ILE", 10}, {"LEU", 11}, {"LYS", 12}, {"MET", 13}, {"PHE", 14},
    {"PRO", 15}, {"SER", 16}, {"THR", 17}, {"TRP", 18}, {"TYR", 19}, {"VAL", 20}};

}  // namespace

int aa12idx(char aa) {
  if (aa == '-') return 0;
  const char up = static_cast<char>(std::toupper(static_cast<unsigned char>(aa)));
  const std::size_t at = AA_STR.find(up);
  return at == std::string::npos || up == '\0' ? -1 : static_cast<int>(at) + 1;
}

void aa32idx(int* out, const std::string& name) {
  const auto it = kThreeToGapCode.find(name);
  *out = it == kThreeToGapCode.end() ? -1 : it->second;
}

void dna2idx(unsigned* out, unsigned char base) {
  switch (std::toupper(base)) {
    case 'A': *out = 0; break;
    case 'T':
    case 'U': *out = 1; break;
    case 'C': *out = 2; break;
    case 'G': *out = 3; break;
    default: *out = 4;
  }
}

void idx2aa(unsigned char* out, int code) {
  if (code == 0)
    *out = '-';
  else if (code >= 1 && code <= 20)
    *out = static_cast<unsigned char>(AA_STR[code - 1]);
}

std::string idx2sec(int code) {
  static const char* const kSec[8] = {"C", "H", "E", "B", "G", "I", "T", "S"};
  return code >= 0 && code < 8 ? kSec[code] : "-";
}

std::string aa123(unsigned char aa) {
  const char up = static_cast<char>(std::toupper(aa));
  if (up == '-') return "GAP";
  if (up == 'X') return "UNK";
  const std::size_t at = up == '\0' ? std::string::npos : AA_STR.find(up);
  return at == std::string::npos ? "" : kThree[at];
}

std::string aa321(const std::string& name) {
  std::string up = name;
  for (char& c : up) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (up == "UNK") return "X";
  for (int k = 0; k < 20; ++k)
    if (up == kThree[k]) return std::string(1, AA_STR[k]);
  return "";
}

void pair_index(int** pairs, int n, int m) {
  int row = 0;
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < m; ++j) {
      pairs[row][0] = i;
      pairs[row][1] = j;
      ++row;
    }
}

void get_atom_name(char code, char* buf) {
  if (code >= 1 && code <= 46) std::strcpy(buf, kAtomCodes[static_cast<int>(code)]);
}

void get_aminoacid_name(char code, char* buf) {
  if (code >= 1 && code <= 20) std::strcpy(buf, kThree[code - 1]);
}

int atom2idx(std::string name, const std::string& residue, int with_hn, bool none) {
  if (name == "H" || name == "HN")
    name = "HN";
  else if (name == "1HA" || name == "HA")
    name = "HA1";
  else if (name == "2HA")
    name = "HA2";
  if (none) return -1;
  static const std::map<std::string, int> kGly = {{"N", 0}, {"CA", 1}, {"C", 2}, {"O", 3}, {"HN", 4}};
  static const std::map<std::string, int> kWithHn = {{"N", 0},  {"CA", 1}, {"C", 2},
                                                     {"O", 3},  {"CB", 4}, {"HN", 5}};
  static const std::map<std::string, int> kHeavy = {{"N", 0}, {"CA", 1}, {"C", 2}, {"O", 3}, {"CB", 4}};
  const std::map<std::string, int>& table =
      residue == "GLY" ? kGly : (residue != "PRO" && with_hn != 0 ? kWithHn : kHeavy);
  // A name in none of the tables lands on 0, the slot of "N".
  const auto it = table.find(name);
  return it == table.end() ? 0 : it->second;
}

}  // namespace tevo
