// What the structure writers need from a PDB file: the alpha-carbon trace of
// the first model, and a colour for each residue.
#pragma once

#include <string>
#include <vector>

namespace tevo {

struct TraceResidue {
  char chain = ' ';
  int number = 0;
  char insertion = ' ';
  std::string name;  // three-letter residue name
  double x = 0, y = 0, z = 0;
};

// " CA " atoms of ATOM/HETATM records up to the first ENDMDL; the first
// alternate location of a residue wins. A file that cannot be opened prints
// "Error: cannot open <file>" and ends the process with status 1.
std::vector<TraceResidue> read_ca_trace(const std::string& pdb);

// Residue groups (e.g. communities) by residue number, on `chain` or on all
// chains when it is empty, each with a name and a colour.
struct ResidueGroups {
  std::vector<std::vector<int>> residues;
  std::vector<std::string> names;
  std::vector<std::string> colours;  // filled from the series palette when short
  std::string chain;
};

// Colour of each trace residue: the first group holding it, else "".
std::vector<std::string> residue_colours(const std::vector<TraceResidue>& trace, ResidueGroups& groups);

// Selection-safe word from a group name ("community 1" -> "community_1").
std::string selection_name(const std::string& name, std::size_t index);

}  // namespace tevo
