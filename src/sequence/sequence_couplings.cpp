// The coupling analysis: frequencies of the trimmed alignment, site
// selection, the pseudo-likelihood fit of the Potts model, the potential
// file and the pair scores with the average product correction.
#include <omp.h>

#include <cmath>

#include "sequence/potts.h"
#include "sequence/sequence.h"

namespace tevo {

template <typename T>
std::vector<std::string> LSequence<T>::selected_site_labels() const {
  std::vector<std::string> out;
  if (site_list == nullptr) return out;
  // num_of_site keeps the number of trimmed sites before the selection.
  const std::vector<std::string> all = site_labels(num_of_site);
  out.reserve(num_of_trimmed_site);
  for (int k = 0; k < num_of_trimmed_site; ++k) out.push_back(all[site_list[k]]);
  return out;
}

template <typename T>
std::vector<int> LSequence<T>::selected_residue_numbers() const {
  std::vector<int> out;
  if (site_list == nullptr) return out;
  const int first = offset == 0 ? 1 : offset;
  for (int k = 0; k < num_of_trimmed_site; ++k) {
    const int site = site_list[k];
    out.push_back(pdb_file.empty() || site >= static_cast<int>(pdb_residue_numbers.size())
                      ? first + site
                      : pdb_residue_numbers[site]);
  }
  return out;
}

template std::vector<std::string> LSequence<float>::selected_site_labels() const;
template std::vector<std::string> LSequence<double>::selected_site_labels() const;
template std::vector<int> LSequence<float>::selected_residue_numbers() const;
template std::vector<int> LSequence<double>::selected_residue_numbers() const;

}  // namespace tevo
