// A sliding window of at most kmer_max letters; at each letter every suffix of
// kmer_min..window letters is one occurrence of that word.
#include "omics/kmer.h"

#include <glog/logging.h>

#include <cmath>
#include <cstdio>

#include "atgc/fastx_io.h"
#include "util/console.h"
#include "util/files.h"  // write_string
#include "util/identity.h"

namespace tevo {

const char* const KMER_SEQUENCE = "ATTGCATCGTAGTGCATGC";

template <typename T>
std::uint64_t Kmer<T>::count_words(const std::string& sequence) {
  counts.clear();
  std::string window;
  std::uint64_t n = 0;
  for (char letter : sequence) {
    if (letter != 'A' && letter != 'C' && letter != 'G' && letter != 'T') continue;
    ++n;
    if (kmer_max >= 0 && static_cast<int>(window.size()) >= kmer_max && !window.empty()) window.erase(0, 1);
    window += letter;
    if (static_cast<int>(window.size()) >= kmer_min) {
      const int longest = static_cast<int>(window.size());
      for (int length = kmer_min < 0 ? 0 : kmer_min; length <= longest; ++length)
        ++counts[window.substr(window.size() - length)];
    }
  }
  return n;
}

template <typename T>
void Kmer<T>::generate_kmer_frequency(int min, int max) {
  kmer_min = min;
  kmer_max = max;
  LOG(INFO) << "TODO: Read seq from file.";
  const std::uint64_t n = count_words(KMER_SEQUENCE);

  const std::string name = this->output_dir + "tevo_kmer_statistics";
  std::string text = "# Kmer generator in TEVANA (Tevo version " + std::string(kVersion) + ") \n# " + kContact + "\n";
  text += "# kmer from " + std::to_string(min) + " to " + std::to_string(max) + "\n";
  text += "\nkmer\tcount\tfreq\tlog_freq\n";
  char numbers[128];
  for (const auto& word : counts) {
    const double L = static_cast<double>(word.first.size());
    const double freq = static_cast<double>(word.second) / (static_cast<double>(n) - (L - 1));
    std::snprintf(numbers, sizeof numbers, "\t%lld\t%f\t%f\n", static_cast<long long>(word.second), freq,
                  std::log10(freq));
    text += word.first;
    text += numbers;
  }
  write_string(name, text, "w");
  print_text("Placed the kmer frequency statistics at:");
  print_text(name);
}

template class Kmer<float>;
template class Kmer<double>;

}  // namespace tevo
