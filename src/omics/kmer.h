// Kmer<T>: frequency of every word of a length range in a sequence.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "omics/omics.h"

namespace tevo {

template <typename T>
class Kmer : public Omics<T> {
 public:
  Kmer(const std::string& output, const std::string& jobname) : Omics<T>(output, jobname) {}

  // Counts the words of `min`..`max` letters of the built-in sequence and
  // writes "tevo_kmer_statistics" into the job directory.
  void generate_kmer_frequency(int min, int max);
  // The counting itself, on any sequence; returns the number of valid letters.
  std::uint64_t count_words(const std::string& sequence);

  int kmer_min = 0;
  int kmer_max = 0;
  std::map<std::string, std::int64_t> counts;
};

// The sequence on which the generator works.
extern const char* const KMER_SEQUENCE;

extern template class Kmer<float>;
extern template class Kmer<double>;

}  // namespace tevo
