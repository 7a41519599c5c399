// Ramachandran maps for the sampler: per-residue lists of (phi, psi) bins
// and their probabilities, written as "<stem>.rama_index" (bin numbers) and
// "<stem>.rama_map" (probabilities), one row per residue of a target chain,
// entries by falling probability. Bin b stands for psi row b / 72 and phi
// column b % 72 of bins `size` degrees wide, from -180.
#pragma once

#include <string>
#include <vector>

namespace tevo {

template <typename T>
class RamaMap {
 public:
  RamaMap(const std::string& output, const std::string& jobname);

  // Bin width in degrees: a divisor of 360 from 5 up. False otherwise.
  bool set_bin_size(int size);
  // Collects phi and psi of every chain of a PDB file (residues with N, CA
  // and C and both neighbours). An unreadable file is an error (exit 1).
  void add_structure(const std::string& pdb);
  // The target: a sequence, or when empty the first chain read.
  void set_target(const std::string& sequence) { target_ = sequence; }
  // Builds the maps of the target's residues: position by position when
  // every chain read has the target's sequence (an ensemble), otherwise by
  // residue type, each type's counts shrunk toward the pooled map.
  void build();
  // Writes the two files, the chart of the pooled map and the record block.
  void write();

  // The rows as the sampler reads them.
  std::vector<std::vector<int>> index;
  std::vector<std::vector<T>> prob;
  bool by_position = false;
  int chains_read = 0;
  long residues_read = 0;
  std::string stem;  // output + jobname

 private:
  int bins_per_axis() const { return 360 / size_; }
  int bin_of(T phi, T psi) const;
  std::vector<T> smooth(const std::vector<T>& counts) const;

  std::string output_, jobname_;
  int size_ = 5;
  std::string target_;
  std::string first_sequence_;
  bool same_sequences_ = true;
  std::vector<std::string> sequences_;
  // Observed angles: (residue code 0..19 or -1, position in its chain, phi, psi).
  struct Angle {
    int code, position;
    T phi, psi;
  };
  std::vector<Angle> angles_;
  std::vector<T> pooled_;  // [bins x bins] normalised pooled map
};

extern template class RamaMap<float>;
extern template class RamaMap<double>;

}  // namespace tevo
