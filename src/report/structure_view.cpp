// A small reader of the alpha-carbon trace, enough to draw a structure.
#include "report/structure_view.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <tuple>

#include "report/chart.h"
#include "util/console.h"

namespace tevo {

std::vector<TraceResidue> read_ca_trace(const std::string& pdb) {
  std::ifstream in(pdb);
  if (!in) {
    print_info(pdb, 5);
    std::exit(1);
  }
  std::vector<TraceResidue> trace;
  std::set<std::tuple<char, int, char>> seen;
  std::string line;
  while (std::getline(in, line)) {
    if (line.compare(0, 6, "ENDMDL") == 0) break;
    const bool atom = line.compare(0, 6, "ATOM  ") == 0 || line.compare(0, 6, "HETATM") == 0;
    if (!atom || line.size() < 54 || line.compare(12, 4, " CA ") != 0) continue;
    TraceResidue r;
    r.name = line.substr(17, 3);
    r.chain = line[21];
    char* end = nullptr;
    const std::string number = line.substr(22, 4);
    r.number = static_cast<int>(std::strtol(number.c_str(), &end, 10));
    if (end == number.c_str()) continue;  // no residue number: not a usable record
    r.insertion = line[26];
    const std::string xs = line.substr(30, 8), ys = line.substr(38, 8), zs = line.substr(46, 8);
    char *ex = nullptr, *ey = nullptr, *ez = nullptr;
    r.x = std::strtod(xs.c_str(), &ex);
    r.y = std::strtod(ys.c_str(), &ey);
    r.z = std::strtod(zs.c_str(), &ez);
    if (ex == xs.c_str() || ey == ys.c_str() || ez == zs.c_str()) continue;
    if (!seen.insert({r.chain, r.number, r.insertion}).second) continue;  // a second alternate location
    trace.push_back(r);
  }
  return trace;
}

std::vector<std::string> residue_colours(const std::vector<TraceResidue>& trace, ResidueGroups& groups) {
  const auto& palette = series_palette();
  for (std::size_t g = groups.colours.size(); g < groups.residues.size(); ++g)
    groups.colours.push_back(palette[g % palette.size()]);
  for (std::size_t g = groups.names.size(); g < groups.residues.size(); ++g)
    groups.names.push_back("group " + std::to_string(g + 1));
  std::vector<std::string> colours(trace.size());
  for (std::size_t k = 0; k < trace.size(); ++k) {
    if (!groups.chain.empty() && groups.chain.find(trace[k].chain) == std::string::npos) continue;
    for (std::size_t g = 0; g < groups.residues.size() && colours[k].empty(); ++g)
      for (const int number : groups.residues[g])
        if (number == trace[k].number) {
          colours[k] = groups.colours[g];
          break;
        }
  }
  return colours;
}

std::string selection_name(const std::string& name, std::size_t index) {
  std::string out;
  for (const char c : name) out += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  if (out.empty() || std::isdigit(static_cast<unsigned char>(out[0]))) out = "group" + std::to_string(index + 1) + "_" + out;
  return out;
}

}  // namespace tevo
