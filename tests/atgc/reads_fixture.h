// Shared helpers of the read tests: temporary files, simulated reads with a
// known truth, and gzip writing.
#pragma once

#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <boost/filesystem.hpp>

// Messages go to standard output; death tests read standard error.
#define STDOUT_TO_STDERR(statement) \
  do {                              \
    dup2(2, 1);                     \
    statement;                      \
  } while (0)

namespace reads_test {

class TempDir {
 public:
  TempDir() {
    path_ = (boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("tevo-reads-%%%%%%%%"))
                .string() + "/";
    boost::filesystem::create_directories(path_);
  }
  ~TempDir() { boost::filesystem::remove_all(path_); }
  const std::string& path() const { return path_; }
  std::string write(const std::string& name, const std::string& text) const {
    const std::string file = path_ + name;
    std::FILE* f = std::fopen(file.c_str(), "wb");
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
    return file;
  }
  std::string write_gz(const std::string& name, const std::string& text) const {
    const std::string file = path_ + name;
    gzFile gz = gzopen(file.c_str(), "wb6");
    gzwrite(gz, text.data(), static_cast<unsigned>(text.size()));
    gzclose(gz);
    return file;
  }
  std::string read(const std::string& name) const {
    std::string text;
    std::FILE* f = std::fopen((path_ + name).c_str(), "rb");
    if (f == nullptr) return "<missing>";
    char buffer[65536];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) text.append(buffer, n);
    std::fclose(f);
    return text;
  }

 private:
  std::string path_;
};

inline std::string gunzip(const std::string& file) {
  gzFile gz = gzopen(file.c_str(), "rb");
  if (gz == nullptr) return "<missing>";
  std::string text;
  char buffer[65536];
  int n;
  while ((n = gzread(gz, buffer, sizeof buffer)) > 0) text.append(buffer, static_cast<std::size_t>(n));
  gzclose(gz);
  return text;
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
    const std::size_t at = rng() % (genome_length - length + 1);
    std::string read = s.genome.substr(at, length);
    if (rng() % 2) {
      std::string rc(read.rbegin(), read.rend());
      for (char& c : rc) c = c == 'A' ? 'T' : c == 'C' ? 'G' : c == 'G' ? 'C' : 'A';
      read = rc;
    }
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
