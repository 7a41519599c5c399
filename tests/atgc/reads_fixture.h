// Shared helpers of the read tests: temporary files, gzip writing and
// reading, and simulated reads with a known truth.
#pragma once

#include <stdlib.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

// Messages go to standard output; death tests read standard error.
#define STDOUT_TO_STDERR(statement) \
  do {                              \
    dup2(2, 1);                     \
    statement;                      \
  } while (0)

namespace reads_test {

inline bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

inline std::string write_gz(const std::string& file, const std::string& text) {
  gzFile gz = gzopen(file.c_str(), "wb6");
  gzwrite(gz, text.data(), static_cast<unsigned>(text.size()));
  gzclose(gz);
  return file;
}

inline std::string gunzip(const std::string& file) {
  gzFile gz = gzopen(file.c_str(), "rb");
  if (gz == nullptr) return "<missing>";
  std::string text;
  char buffer[65536];
  for (int n; (n = gzread(gz, buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<std::size_t>(n));
  gzclose(gz);
  return text;
}

class TempDir {
 public:
  TempDir() {
    char name[] = "/tmp/tevo-reads-XXXXXX";
    path_ = mkdtemp(name) ? std::string(name) + "/" : "/tmp/";
  }
  ~TempDir() { std::system(("rm -rf '" + path_ + "'").c_str()); }
  const std::string& path() const { return path_; }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(path_ + name, std::ios::binary) << text;
    return path_ + name;
  }
  std::string write_gz(const std::string& name, const std::string& text) const {
    return reads_test::write_gz(path_ + name, text);
  }
  std::string read(const std::string& name) const {
    std::ifstream in(path_ + name, std::ios::binary);
    if (!in) return "<missing>";
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

 private:
  std::string path_;
};

inline std::string reverse_complement(std::string s) {
  std::string rc(s.rbegin(), s.rend());
  for (char& c : rc) c = c == 'A' ? 'T' : c == 'C' ? 'G' : c == 'G' ? 'C' : 'A';
  return rc;
}

struct Simulated {
  std::string genome;
  std::vector<std::string> truth, reads, quality;
  std::string fastq() const {
    std::string text;
    for (std::size_t i = 0; i < reads.size(); ++i)
      text += "@r" + std::to_string(i) + "\n" + reads[i] + "\n+\n" + quality[i] + "\n";
    return text;
  }
};

// Reads from both strands of a random genome, substitutions at `error_rate`.
inline Simulated simulate(std::size_t genome_length, std::size_t n_reads, std::size_t length,
                          double error_rate, unsigned seed) {
  std::mt19937 rng(seed);
  const char* bases = "ACGT";
  Simulated s;
  for (std::size_t i = 0; i < genome_length; ++i) s.genome += bases[rng() % 4];
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (std::size_t r = 0; r < n_reads; ++r) {
    std::string read = s.genome.substr(rng() % (genome_length - length + 1), length);
    if (rng() % 2) read = reverse_complement(read);
    s.truth.push_back(read);
    std::string q(length, 'I');
    for (std::size_t i = 0; i < length; ++i) {
      if (unit(rng) < error_rate) {
        char other;
        do other = bases[rng() % 4]; while (other == read[i]);
        read[i] = other;
        q[i] = '+';
      } else {
        q[i] = static_cast<char>('5' + rng() % 10);
      }
    }
    s.reads.push_back(read);
    s.quality.push_back(q);
  }
  return s;
}

}  // namespace reads_test
