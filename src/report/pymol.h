// Pymol<T>: a PyMOL script (<stem>.pml) that colours residue groups on a
// structure and ray-traces <stem>.png; run at once when pymol is on PATH.
// NGL<T>: a structure page (<stem>.html) with the same colours, drawn as an
// SVG alpha-carbon trace in two orthogonal views, needing no network.
#pragma once

#include <string>
#include <vector>

#include "report/chart_writer.h"

namespace tevo {

template <typename T>
class Pymol : public ChartWriter {
 public:
  Pymol(const std::string& output, const std::string& jobname);
  // groups: residue numbers per group; names: one per group; chain: the
  // chains they lie on ("" for all). True when pymol ran.
  bool plotting(const std::string& pdb, const std::vector<std::vector<int>>& groups,
                const std::vector<std::string>& names, const std::string& chain = "");
  std::vector<std::string> colours;  // optional colour per group
};

template <typename T>
class NGL : public ChartWriter {
 public:
  NGL(const std::string& output, const std::string& jobname);
  // As Pymol<T>::plotting; returns the path of the page.
  std::string plotting(const std::string& pdb, const std::vector<std::vector<int>>& groups,
                       const std::vector<std::string>& names, const std::string& chain = "");
  std::vector<std::string> colours;
};

extern template class Pymol<float>;
extern template class Pymol<double>;
extern template class NGL<float>;
extern template class NGL<double>;

}  // namespace tevo
