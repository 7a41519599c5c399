// A second, independent PDB loader into nullable atom records, nested as
// polypeptide > residue > atom, with a key-value text form of the records.
#pragma once

#include <istream>
#include <string>
#include <vector>

#include "protein/atom.h"

namespace tevo {

template <typename T>
class ProteinData {
 public:
  typedef std::vector<AtomStrut<T>> Residue;
  typedef std::vector<Residue> Polypeptide;

  ProteinData() = default;
  // Reads the ATOM records of `path`; "Cannot read pdb file <path>" on the
  // error stream when it cannot be opened. Polypeptides are then split at
  // chain breaks.
  explicit ProteinData(const std::string& path);

  // Opens `path` and closes it again without writing ("Couldn't open file
  // <path>" on the error stream if it cannot be opened).
  void save(const std::string& path) const;
  // Reads key-value records, one per line, into one polypeptide; a new
  // residue starts whenever RESSEQ changes. False if the file cannot be opened.
  bool load(const std::string& path);

  // Splits where consecutive CA atoms are more than 4.2 A apart.
  void split_by_chain_breaks_ca();
  // Splits where the C of a residue is more than 2.0 A from the N of the next.
  void split_by_chain_breaks_full_atom();

  std::vector<Polypeptide> polypeptides;
  long skipped_lines = 0;  // ATOM lines too short to hold coordinates
};

// One record from one line: keys RES, RESSEQ, ATOM, ALTLOC, REALSS, PREDSS,
// PREDPROBSS_C, PREDPROBSS_H, PREDPROBSS_E take one value, COORD three; an
// unknown key is skipped alone. Sets failbit at the end of the stream.
template <typename T>
std::istream& operator>>(std::istream& in, AtomStrut<T>& atom);

extern template class ProteinData<float>;
extern template class ProteinData<double>;
extern template std::istream& operator>>(std::istream&, AtomStrut<float>&);
extern template std::istream& operator>>(std::istream&, AtomStrut<double>&);

}  // namespace tevo
