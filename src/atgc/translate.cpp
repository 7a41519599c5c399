// Codon table lookups: each base is 0..3 in the order T, C, A, G, so a codon
// indexes the 64 letters of the standard code (NCBI table 1) directly.
#include "atgc/translate.h"

#include <cstdint>
#include <cstdlib>

#include "atgc/fastx_io.h"
#include "atgc/fastx_walk.h"
#include "util/console.h"

namespace tevo {

namespace {

const char kCode[65] = "FFLLSSSSYY**CC*WLLLLPPPPHHQQRRRRIIIMTTTTNNKKSSRRVVVVAAAADDEEGGGG";

struct CodonIndex {
  std::uint8_t of[256];
  CodonIndex() {
    for (auto& x : of) x = 4;
    const char* order = "TCAG";
    for (int k = 0; k < 4; ++k) {
      of[static_cast<unsigned char>(order[k])] = static_cast<std::uint8_t>(k);
      of[static_cast<unsigned char>(order[k] + 32)] = static_cast<std::uint8_t>(k);
    }
    of['U'] = of['u'] = 0;
  }
};
const CodonIndex kIndex;

}  // namespace

void translate_dna(const char* dna, std::size_t n, std::string& protein) {
  const std::size_t codons = n / 3;
  const std::size_t at = protein.size();
  protein.resize(at + codons);
  char* out = &protein[at];
  const auto* s = reinterpret_cast<const unsigned char*>(dna);
  for (std::size_t c = 0; c < codons; ++c, s += 3) {
    const unsigned a = kIndex.of[s[0]], b = kIndex.of[s[1]], d = kIndex.of[s[2]];
    out[c] = (a | b | d) > 3 ? 'X' : kCode[a * 16 + b * 4 + d];
  }
}

std::size_t translate_file(const std::string& input, const std::string& output) {
  GzLineReader in(input);
  if (!in.is_open()) {
    print_info(input, 5);
    std::exit(1);
  }
  const char kind = fastx_kind(in);
  if (kind == 0) reads_fail(input + ": the file holds no reads");
  OutputFile out(output, "w");
  if (!out.is_open()) reads_fail("cannot write out " + output);
  FastxWalker walk(in, kind, true);
  FastxRecord record;
  std::string protein;
  std::size_t records = 0;
  while (walk.next(record)) {
    protein.clear();
    translate_dna(record.sequence.data(), record.sequence.size(), protein);
    out.put('>');
    out.write(record.header.data() + 1, record.header.size() - 1);
    out.put('\n');
    out.puts(protein);
    out.put('\n');
    ++records;
  }
  out.commit();
  return records;
}

}  // namespace tevo
