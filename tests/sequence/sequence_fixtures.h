// Fixtures of the alignment tests: a temporary directory removed also after
// exit(1), reproducible alignments, quiet trimming.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "sequence/sequence.h"
#include "util/capture.h"
#include "util/exit_with.h"  // EXPECT_EXIT_1

using tevo::LSequence;

namespace {

inline std::string slurp(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// Directories still to remove when a death-test child ends through exit(1),
// which skips the destructors; never freed, so it outlives the exit handlers.
inline std::vector<std::string>& pending_dirs() {
  static auto* dirs = new std::vector<std::string>;
  return *dirs;
}

class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/tevo_seq_XXXXXX";
    path_ = mkdtemp(pattern);
    path_ += "/";
    static const bool registered = std::atexit([] {
      for (const std::string& d : pending_dirs()) std::filesystem::remove_all(d);
    }) == 0;
    (void)registered;
    pending_dirs().push_back(path_);
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(path_ + name, std::ios::binary) << text;
    return path_ + name;
  }
  std::string read(const std::string& name) const { return slurp(path_ + name); }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

const std::string kAlphabet = "-ARNDCQEGHILKMFPSTWYV";

// The charts run gnuplot, python, R and pymol when on PATH; these tests check
// the numbers and files, so the tools are kept out.
const bool kNoPlotTools = setenv("PATH", "/nonexistent", 1) == 0;

// A reproducible alignment: mutated and gapped copies of a random reference.
inline std::string random_alignment(int n, int sites, unsigned seed, double mutate, double gap) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(0, 1);
  std::uniform_int_distribution<int> letter(1, 20);
  std::string ref(sites, 'A'), text;
  for (char& c : ref) c = kAlphabet[letter(rng)];
  for (int i = 0; i < n; ++i) {
    std::string s = ref;
    if (i > 0)
      for (char& c : s) {
        const double r = u(rng);
        if (r < gap) c = '-';
        else if (r < gap + mutate) c = kAlphabet[letter(rng)];
      }
    text += ">s" + std::to_string(i) + "\n" + s + "\n";
  }
  return text;
}

// Trims `text` with the given bounds into a fresh object in `dir`.
inline void trim(LSequence<double>& seq, const TempDir& dir, const std::string& text, double gap_frac = 1.0,
                 double site_gap_frac = 1.0, bool quiet = true) {
  const std::string file = dir.write("in.fasta", text);
  seq.init("");
  seq.set_gap_frac(gap_frac);
  seq.set_site_gap_frac(site_gap_frac);
  if (quiet)
    captured_stdout([&] { seq.sequence_trim(file, "", false, false); });
  else
    seq.sequence_trim(file, "", false, false);
}

}  // namespace
