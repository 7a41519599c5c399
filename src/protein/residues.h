// Amino-acid alphabets, their three numeric codes, residue classes, backbone
// atom names, van der Waals parameters, BLOSUM50, and the free conversions.
// Light on purpose: sequence code includes this without the structure classes.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tevo {

// Each translation unit holds its own copy of these constants (internal
// linkage); nothing writes to them after start-up.
const std::string AA_STR = "ARNDCQEGHILKMFPSTWYV";
const std::string AA_SEC = "HGIEBTC";
const std::vector<std::string> ATOMS_NO_SC = {"N", "HN", "CA", "CB", "HA2", "HA1", "C", "O"};
const std::vector<std::string> ATOMS_BACKBONE = {"N", "CA", "C", "O"};
const std::vector<std::string> ATOMS_BACKBONE_CB = {"N", "CA", "C", "O", "CB"};
const std::string aa_property_note = "";

const std::map<char, std::string> aa_property = {
    {'A', "Hydrophobic"}, {'I', "Hydrophobic"}, {'L', "Hydrophobic"}, {'M', "Hydrophobic"},
    {'F', "Hydrophobic"}, {'W', "Hydrophobic"}, {'Y', "Hydrophobic"}, {'V', "Hydrophobic"},
    {'R', "Positive"},    {'H', "Positive"},    {'K', "Positive"},    {'N', "Polar uncharged"},
    {'Q', "Polar uncharged"}, {'S', "Polar uncharged"}, {'T', "Polar uncharged"},
    {'D', "Negative"},    {'E', "Negative"},    {'C', "Special"},     {'G', "Special"},
    {'P', "Special"}};

// Zero-based code: position in AA_STR, 20 for UNK.
const std::map<std::string, int> AA2INT = {
    {"ALA", 0},  {"ARG", 1},  {"ASN", 2},  {"ASP", 3},  {"CYS", 4},  {"GLN", 5},  {"GLU", 6},
    {"GLY", 7},  {"HIS", 8},  {"ILE", 9},  {"LEU", 10}, {"LYS", 11}, {"MET", 12}, {"PHE", 13},
    {"PRO", 14}, {"SER", 15}, {"THR", 16}, {"TRP", 17}, {"TYR", 18}, {"VAL", 19}, {"UNK", 20}};

const std::map<std::string, std::string> AA32FUL = {
    {"ALA", "Alanine"},       {"ARG", "Arginine"},      {"ASN", "Asparagine"},
    {"ASP", "Aspartic acid"}, {"CYS", "Cysteine"},      {"GLN", "Glutamine"},
    {"GLU", "Glutamic acid"}, {"GLY", "Glycine"},       {"HIS", "Histidine"},
    {"ILE", "Isoleucine"},    {"LEU", "Leucine"},       {"LYS", "Lysine"},
    {"MET", "Methionine"},    {"PHE", "Phenylalanine"}, {"PRO", "Proline"},
    {"SER", "Serine"},        {"THR", "Threonine"},     {"TRP", "Tryptophan"},
    {"TYR", "Tyrosine"},      {"VAL", "Valine"},        {"UNK", "Unknow"}};

const std::map<char, std::string> AA2FUL = {
    {'A', "Alanine"},       {'R', "Arginine"},      {'N', "Asparagine"}, {'D', "Aspartic acid"},
    {'C', "Cysteine"},      {'Q', "Glutamine"},     {'E', "Glutamic acid"}, {'G', "Glycine"},
    {'H', "Histidine"},     {'I', "Isoleucine"},    {'L', "Leucine"},    {'K', "Lysine"},
    {'M', "Methionine"},    {'F', "Phenylalanine"}, {'P', "Proline"},    {'S', "Serine"},
    {'T', "Threonine"},     {'W', "Tryptophan"},    {'Y', "Tyrosine"},   {'V', "Valine"},
    {'U', "Unknow"}};

// Row type-1: {radius, well depth} of the rotamer code's one-based atom types.
const double VDW[18][2] = {{1.78, 0.25}, {1.4, 0.14},  {2.3, 0.3},   {1.91, 0.37}, {1.96, 0.48},
                           {1.73, 0.38}, {1.43, 0.07}, {1.99, 0.38}, {1.48, 0.22}, {1.44, 0.27},
                           {1.4, 0.07},  {1.43, 0.12}, {1.42, 0.08}, {1.69, 0.24}, {1.56, 0.46},
                           {1.7, 0.48},  {2.15, 0.44}, {1.74, 0.4}};

// BLOSUM50 (Henikoff & Henikoff 1992), rows and columns in AA_STR order.
const int32_t BLOSUM50[20][20] = {
    {5, -2, -1, -2, -1, -1, -1, 0, -2, -1, -2, -1, -1, -3, -1, 1, 0, -3, -2, 0},
    {-2, 7, -1, -2, -4, 1, 0, -3, 0, -4, -3, 3, -2, -3, -3, -1, -1, -3, -1, -3},
    {-1, -1, 7, 2, -2, 0, 0, 0, 1, -3, -4, 0, -2, -4, -2, 1, 0, -4, -2, -3},
    {-2, -2, 2, 8, -4, 0, 2, -1, -1, -4, -4, -1, -4, -5, -1, 0, -1, -5, -3, -4},
    {-1, -4, -2, -4, 13, -3, -3, -3, -3, -2, -2, -3, -2, -2, -4, -1, -1, -5, -3, -1},
    {-1, 1, 0, 0, -3, 7, 2, -2, 1, -3, -2, 2, 0, -4, -1, 0, -1, -1, -1, -3},
    {-1, 0, 0, 2, -3, 2, 6, -3, 0, -4, -3, 1, -2, -3, -1, -1, -1, -3, -2, -3},
    {0, -3, 0, -1, -3, -2, -3, 8, -2, -4, -4, -2, -3, -4, -2, 0, -2, -3, -3, -4},
    {-2, 0, 1, -1, -3, 1, 0, -2, 10, -4, -3, 0, -1, -1, -2, -1, -2, -3, 2, -4},
    {-1, -4, -3, -4, -2, -3, -4, -4, -4, 5, 2, -3, 2, 0, -3, -3, -1, -3, -1, 4},
    {-2, -3, -4, -4, -2, -2, -3, -4, -3, 2, 5, -3, 3, 1, -4, -3, -1, -2, -1, 1},
    {-1, 3, 0, -1, -3, 2, 1, -2, 0, -3, -3, 6, -2, -4, -1, 0, -1, -3, -2, -3},
    {-1, -2, -2, -4, -2, 0, -2, -3, -1, 2, 3, -2, 7, 0, -3, -2, -1, -1, 0, 1},
    {-3, -3, -4, -5, -2, -4, -3, -4, -1, 0, 1, -4, 0, 8, -4, -3, -2, 1, 4, -1},
    {-1, -3, -2, -1, -4, -1, -1, -2, -2, -3, -4, -1, -3, -4, 10, -1, -1, -4, -3, -3},
    {1, -1, 1, 0, -1, 0, -1, 0, -1, -3, -3, 0, -2, -3, -1, 5, 2, -4, -2, -2},
    {0, -1, 0, -1, -1, -1, -1, -2, -2, -1, -1, -1, -1, -2, -1, 2, 5, -3, -2, 0},
    {-3, -3, -4, -5, -5, -1, -3, -3, -3, -3, -2, -3, -1, 1, -4, -4, -3, 15, 2, -3},
    {-2, -1, -2, -3, -3, -1, -2, -3, 2, -1, -1, -2, 0, 4, -3, -2, -2, 2, 8, -1},
    {0, -3, -3, -4, -1, -3, -3, -4, -4, 4, 1, -3, 1, -1, -3, -2, 0, -3, -1, 5}};

// Gap-based code: '-' is 0, letters of AA_STR (any case) 1 to 20, else -1.
int aa12idx(char aa);

// Gap-based code of an upper-case three-letter name, -1 if unknown. GLU is 6
// and GLN 7 here, the reverse of aa12idx; callers rely on both directions.
void aa32idx(int* out, const std::string& name);

// A 0, T/U 1, C 2, G 3 (any case); '-' and everything else 4.
void dna2idx(unsigned* out, unsigned char base);

// 0 gives '-', 1 to 20 the letter of AA_STR; other codes leave *out alone.
void idx2aa(unsigned char* out, int code);

// 0 "C", 1 "H", 2 "E", 3 "B", 4 "G", 5 "I", 6 "T", 7 "S", else "-".
std::string idx2sec(int code);

// Three-letter name of a one-letter code ("GAP" for '-', "UNK" for 'X'),
// empty for a letter of no residue.
std::string aa123(unsigned char aa);

// One-letter code of a three-letter name in any case, "X" for UNK, empty if unknown.
std::string aa321(const std::string& name);

// Rows (i, j) for 0 <= i < n, i < j < m, row by row.
void pair_index(int** pairs, int n, int m);

// Atom name of codes 1 to 46; other codes leave buf untouched.
void get_atom_name(char code, char* buf);

// Three-letter name of gap-based codes 1 to 20 (GLN 6, GLU 7); others leave buf untouched.
void get_aminoacid_name(char code, char* buf);

// Index of a backbone atom inside a residue; names outside the residue's
// table fall on 0, the index of "N". `none` true gives -1.
int atom2idx(std::string name, const std::string& residue, int with_hn, bool none);

}  // namespace tevo
