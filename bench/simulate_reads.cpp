// Benchmark input: a random genome and reads from both strands with 1%
// substitutions and Illumina-like qualities that fall along the read.
// Usage: simulate_reads <genome_length> <reads> <read_length> <seed> <genome.fa> <reads.fq>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

int main(int argc, char** argv) {
  if (argc != 7) {
    std::fprintf(stderr, "usage: %s genome_length reads read_length seed genome.fa reads.fq\n", argv[0]);
    return 1;
  }
  const std::size_t genome_length = std::strtoull(argv[1], nullptr, 10);
  const std::size_t reads = std::strtoull(argv[2], nullptr, 10);
  const std::size_t length = std::strtoull(argv[3], nullptr, 10);
  std::mt19937_64 rng(std::strtoull(argv[4], nullptr, 10));
  const char* bases = "ACGT";
  std::string genome(genome_length, 'A');
  for (char& c : genome) c = bases[rng() & 3];
  std::FILE* fa = std::fopen(argv[5], "w");
  std::fprintf(fa, ">genome\n");
  for (std::size_t i = 0; i < genome_length; i += 80)
    std::fprintf(fa, "%s\n", genome.substr(i, 80).c_str());
  std::fclose(fa);

  std::FILE* fq = std::fopen(argv[6], "w");
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::normal_distribution<double> noise(0.0, 3.0);
  std::string read(length, 'A'), quality(length, 'I');
  for (std::size_t r = 0; r < reads; ++r) {
    const std::size_t at = rng() % (genome_length - length + 1);
    const bool reverse = rng() & 1;
    for (std::size_t i = 0; i < length; ++i) {
      char b = reverse ? genome[at + length - 1 - i] : genome[at + i];
      if (reverse) b = b == 'A' ? 'T' : b == 'C' ? 'G' : b == 'G' ? 'C' : 'A';
      // Mean quality falls from 38 to 28 along the read.
      double q = 38.0 - 10.0 * static_cast<double>(i) / static_cast<double>(length) + noise(rng);
      if (unit(rng) < 0.01) {
        char other;
        do other = bases[rng() & 3]; while (other == b);
        b = other;
        q -= 15.0;
      }
      if (unit(rng) < 0.0005) b = 'N', q = 2.0;
      q = q < 2.0 ? 2.0 : (q > 41.0 ? 41.0 : q);
      read[i] = b;
      quality[i] = static_cast<char>(33 + static_cast<int>(q));
    }
    std::fprintf(fq, "@sim%zu pos=%zu%s\n%s\n+\n%s\n", r, at, reverse ? "-" : "+", read.c_str(), quality.c_str());
  }
  std::fclose(fq);
  return 0;
}
