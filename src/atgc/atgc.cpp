// Loading reads (text and two-bit packed), their statistics and the report.
#include "atgc/atgc.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "atgc/fastx_io.h"
#include "atgc/fastx_walk.h"
#include "report/javas.h"
#include "util/console.h"
#include "util/files.h"  // write_string

namespace tevo {

namespace {

// Base codes of the statistics: A 0, T 1, C 2, G 3, N and other letters 4,
// anything that cannot stand in a sequence 5. Upper-casing goes with it.
struct BaseTables {
  unsigned char code[256];
  unsigned char upper[256];
  unsigned char pack[256];  // A 0, C 1, G 2, T 3, other 4 (only upper case packs)
  BaseTables() {
    for (int c = 0; c < 256; ++c) {
      upper[c] = static_cast<unsigned char>(c >= 'a' && c <= 'z' ? c - 32 : c);
      const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
      code[c] = (letter || c == '.' || c == '-' || c == '*') ? 4 : 12;  // 12: invalid, counted at 4
      pack[c] = 4;
    }
    const char* order = "ATCG";
    for (int k = 0; k < 4; ++k) {
      code[static_cast<unsigned char>(order[k])] = static_cast<unsigned char>(k);
      code[static_cast<unsigned char>(order[k] + 32)] = static_cast<unsigned char>(k);
    }
    pack['A'] = 0;
    pack['C'] = 1;
    pack['G'] = 2;
    pack['T'] = 3;
  }
};
const BaseTables kTables;

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

void* ReadArena::do_allocate(std::size_t bytes, std::size_t alignment) {
  const auto align_up = [alignment](char* p) {
    const std::uintptr_t a = alignment == 0 ? 1 : alignment;
    return reinterpret_cast<char*>((reinterpret_cast<std::uintptr_t>(p) + a - 1) / a * a);
  };
  char* at = next_ == nullptr ? nullptr : align_up(next_);
  if (at == nullptr || bytes > static_cast<std::size_t>(end_ - at)) {
    // Blocks double from 2 MB to 64 MB; a larger request gets a block of its own size.
    std::size_t size = blocks_.empty() ? (2u << 20) : std::min<std::size_t>(blocks_.back().second * 2, 64u << 20);
    size = std::max(size, (bytes + alignment + (2u << 20) - 1) / (2u << 20) * (2u << 20));
    void* block = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) throw std::bad_alloc();
    blocks_.emplace_back(static_cast<char*>(block), size);
    reserved_ += size;
    next_ = static_cast<char*>(block);
    end_ = next_ + size;
    at = align_up(next_);
  }
  next_ = at + bytes;
  return at;
}

void ReadArena::release() {
  for (const auto& block : blocks_) munmap(block.first, block.second);
  blocks_.clear();
  next_ = end_ = nullptr;
  reserved_ = 0;
}

template <typename T>
ATGC<T>::ATGC(const std::string& output, const std::string& job) : output_dir(output), jobname(job) {}

template <typename T>
ATGC<T>::ATGC(const std::string& name, bool, bool) : file_name(name) {}

template <typename T>
ATGC<T>::ATGC(bool, bool) {}

template <typename T>
ATGC<T>::~ATGC() {
  finish();
  reads.clear();
  reads.shrink_to_fit();
  read_memory.release();
  std::free(packed);
  std::free(read_offset);
  std::free(read_length);
  packed = nullptr;
  read_offset = nullptr;
  read_length = nullptr;
}

template <typename T>
void ATGC<T>::clear_statistics() {
  n_reads = n_bases = 0;
  std::fill(base_counts, base_counts + 5, 0);
  position_counts.clear();
  min_len = 0x7fffffff;
  max_len = 0;
  lowest_quality = 0x7fffffff;
  highest_quality = 0;
  quality_hist.assign(127, 0);
  q20_bases = q30_bases = 0;
}

template <typename T>
void ATGC<T>::init() {
  clear_statistics();
  phred = 33;
}

template <typename T>
bool ATGC<T>::quality_converter(const char* quality, std::size_t n) {
  if (quality_hist.size() < 127) quality_hist.resize(127, 0);
  if (n == 0) return true;
  const auto* s = reinterpret_cast<const unsigned char*>(quality);
  unsigned char low = 255, high = 0;
  for (std::size_t i = 0; i < n; ++i) {  // a separate pass, so it vectorises
    low = s[i] < low ? s[i] : low;
    high = s[i] > high ? s[i] : high;
  }
  if (low < 33 || high > 126) return false;
  std::uint64_t* hist = quality_hist.data();
  for (std::size_t i = 0; i < n; ++i) ++hist[s[i]];
  lowest_quality = std::min<std::int64_t>(lowest_quality, low);
  highest_quality = std::max<std::int64_t>(highest_quality, high);
  return true;
}

namespace {

// Position counting of the line loader, column-wise: per position, 16-bit
// counts of A, T, C, G and of the reads reaching it, which the compiler turns
// into vector compares. flush() folds them into the 64-bit table (five
// counters a position) before a 16-bit count can overflow; N and the other
// letters are the reads reaching a position less its A, T, C and G.
class PositionCounter {
 public:
  // Upper-cases in place; false if a character is not a letter, ".", "-" or "*".
  bool add(char* sequence, std::size_t n, std::vector<std::uint64_t>& table) {
    if (pending_ == 0xffff) flush(table);
    ++pending_;
    if (a_.size() < n) {
      for (auto* column : {&a_, &t_, &c_, &g_, &cover_}) column->resize(n, 0);
    }
    auto* s = reinterpret_cast<unsigned char*>(sequence);
    std::uint16_t* a = a_.data();
    std::uint16_t* t = t_.data();
    std::uint16_t* c = c_.data();
    std::uint16_t* g = g_.data();
    std::uint16_t* cover = cover_.data();
    const bool good = upper_case(s, static_cast<int>(n));
    tally(s, static_cast<int>(n), a, t, c, g, cover);
    return good;
  }

  void flush(std::vector<std::uint64_t>& table) {
    const std::size_t width = a_.size();
    if (table.size() < width * 5) table.resize(width * 5, 0);
    for (std::size_t i = 0; i < width; ++i) {
      const std::uint64_t known = std::uint64_t{a_[i]} + t_[i] + c_[i] + g_[i];
      table[i * 5 + 0] += a_[i];
      table[i * 5 + 1] += t_[i];
      table[i * 5 + 2] += c_[i];
      table[i * 5 + 3] += g_[i];
      table[i * 5 + 4] += cover_[i] - known;
      a_[i] = t_[i] = c_[i] = g_[i] = cover_[i] = 0;
    }
    pending_ = 0;
  }

 private:
  // Upper-cases; true when every character is a letter, ".", "-" or "*".
  // The common all-letters case is two vector passes; the rest is checked slowly.
  static bool upper_case(unsigned char* __restrict s, int n) {
    unsigned char outside = 0;
    for (int i = 0; i < n; ++i) {
      const unsigned char x0 = s[i];
      const unsigned char lower = static_cast<unsigned char>(static_cast<unsigned char>(x0 - 'a') < 26);
      const unsigned char x = static_cast<unsigned char>(x0 - static_cast<unsigned char>(lower << 5));
      s[i] = x;
      outside = static_cast<unsigned char>(outside | static_cast<unsigned char>(static_cast<unsigned char>(x - 'A') >= 26));
    }
    if (outside == 0) return true;
    for (int i = 0; i < n; ++i) {
      const unsigned char x = s[i];
      if (static_cast<unsigned char>(x - 'A') >= 26 && x != '.' && x != '-' && x != '*') return false;
    }
    return true;
  }
  static void tally(const unsigned char* __restrict s, int n, std::uint16_t* __restrict a,
                    std::uint16_t* __restrict t, std::uint16_t* __restrict c, std::uint16_t* __restrict g,
                    std::uint16_t* __restrict cover) {
    for (int i = 0; i < n; ++i) {
      const unsigned char x = s[i];
      a[i] = static_cast<std::uint16_t>(a[i] + (x == 'A'));
      t[i] = static_cast<std::uint16_t>(t[i] + (x == 'T'));
      c[i] = static_cast<std::uint16_t>(c[i] + (x == 'C'));
      g[i] = static_cast<std::uint16_t>(g[i] + (x == 'G'));
      cover[i] = static_cast<std::uint16_t>(cover[i] + 1);
    }
  }

  std::vector<std::uint16_t> a_, t_, c_, g_, cover_;  // [longest read so far]
  std::uint32_t pending_ = 0;                          // reads since the last flush
};

// Quality counting of the line loader. The range check runs as a separate
// min/max pass. Characters are counted two at a time in 32-bit tables indexed
// by the pair, which halves the counter updates; two tables keep runs of one
// score from waiting on one counter. fold() adds them to 64-bit counts by
// character before a 32-bit counter can overflow.
class QualityCounter {
 public:
  QualityCounter() : pairs_(2 * kPairs, 0), singles_(128, 0) {}

  bool add(const char* q, std::size_t n, std::vector<std::uint64_t>& counts) {
    const auto* s = reinterpret_cast<const unsigned char*>(q);
    unsigned char low = 255, high = 0;
    for (std::size_t i = 0; i < n; ++i) {
      low = s[i] < low ? s[i] : low;
      high = s[i] > high ? s[i] : high;
    }
    if (n > 0 && (low < 33 || high > 126)) return false;
    if (pending_ + n > 0x7fffffffu) fold(counts);
    pending_ += n;
    std::uint32_t* __restrict even = pairs_.data();
    std::uint32_t* __restrict odd = even + kPairs;
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4) {
      ++even[s[i] << 7 | s[i + 1]];
      ++odd[s[i + 2] << 7 | s[i + 3]];
    }
    for (; i < n; ++i) ++singles_[s[i]];
    return true;
  }

  // Adds the pending counts to counts[128] by character and clears them.
  void fold(std::vector<std::uint64_t>& counts) {
    for (std::size_t p = 0; p < kPairs; ++p) {
      const std::uint64_t c = std::uint64_t{pairs_[p]} + pairs_[kPairs + p];
      if (c == 0) continue;
      counts[p >> 7] += c;
      counts[p & 127] += c;
    }
    for (int c = 0; c < 128; ++c) counts[c] += singles_[c];
    std::fill(pairs_.begin(), pairs_.end(), 0);
    std::fill(singles_.begin(), singles_.end(), 0);
    pending_ = 0;
  }

 private:
  static constexpr std::size_t kPairs = 128 * 128;
  std::vector<std::uint32_t> pairs_;    // [2][128 * 128]
  std::vector<std::uint64_t> singles_;  // [128], the characters left over
  std::uint64_t pending_ = 0;           // characters since the last fold
};

}  // namespace

template <typename T>
void ATGC<T>::guess_phred() {
  phred = (highest_quality >= 75 && lowest_quality >= 59) ? 64 : 33;
}

template <typename T>
bool ATGC<T>::base_typ_counter(char* sequence, std::size_t n) {
  if (position_counts.size() < n * 5) position_counts.resize(n * 5, 0);
  std::uint64_t* at = position_counts.data();
  // Four lanes of totals so that runs of one base do not wait on one counter.
  std::uint64_t lanes[4][8] = {};
  std::size_t i = 0;
  const auto one = [&](std::size_t j, std::uint64_t* lane) {
    const unsigned char c = static_cast<unsigned char>(sequence[j]);
    const unsigned k = kTables.code[c];
    const unsigned slot = k > 4 ? 4 : k;
    sequence[j] = static_cast<char>(kTables.upper[c]);
    ++lane[k];
    ++at[j * 5 + slot];
  };
  for (; i + 4 <= n; i += 4) {
    one(i, lanes[0]);
    one(i + 1, lanes[1]);
    one(i + 2, lanes[2]);
    one(i + 3, lanes[3]);
  }
  for (; i < n; ++i) one(i, lanes[0]);
  for (int k = 0; k < 5; ++k) base_counts[k] += lanes[0][k] + lanes[1][k] + lanes[2][k] + lanes[3][k];
  const std::uint64_t invalid = lanes[0][5] + lanes[1][5] + lanes[2][5] + lanes[3][5];
  return invalid == 0;  // a read with a non-base character ends the load
}

template <typename T>
void ATGC<T>::read_fastx(const std::string& file) {
  GzLineReader in(file);
  if (!in.is_open()) {
    print_info(file, 5);
    std::exit(1);
  }
  file_name = file;
  file_kind = fastx_kind(in);
  if (file_kind == '>') {
    print_info("the reads of " + file + " are FASTA: only FASTQ records are counted", 11);
    return;
  }
  if (quality_hist.size() < 127) quality_hist.resize(127, 0);
  const std::vector<std::uint64_t> positions_before(position_counts);
  const std::uint64_t plain_size = in.is_plain() ? in.file_size() : 0;
  FastxWalker walk(in, '@', false);
  FastxRecord record;
  PositionCounter positions;
  QualityCounter qualities;
  std::vector<std::uint64_t> by_character(128, 0);
  while (walk.next(record)) {
    ++n_reads;
    const std::size_t n = record.sequence.size();
    if (!positions.add(&record.sequence[0], n, position_counts))
      reads_fail(file + " line " + std::to_string(record.line + 1) +
                 ": the sequence holds a character that is not a base");
    if (!qualities.add(record.quality.data(), record.quality.size(), by_character))
      reads_fail(file + " line " + std::to_string(record.line + 3) +
                 ": a quality character lies outside \"!\" to \"~\"");
    n_bases += n;
    const int len = n > 0x7fffffffu ? 0x7fffffff : static_cast<int>(n);
    min_len = std::min(min_len, len);
    max_len = std::max(max_len, len);
    reads.emplace_back(record.sequence.data(), n, &read_memory);
    if (n_reads == 1 && plain_size > 0) {
      // Room for the whole file judged from its first record, so the table
      // of reads is not copied while it grows.
      const std::uint64_t per_record = std::max<std::uint64_t>(in.consumed(), 8);
      reads.reserve(reads.size() + plain_size / per_record + plain_size / per_record / 32 + 16);
    }
  }
  positions.flush(position_counts);
  for (std::size_t i = 0; i < position_counts.size(); ++i)
    base_counts[i % 5] += position_counts[i] - (i < positions_before.size() ? positions_before[i] : 0);
  // The counts by character into the histogram and its lowest and highest characters.
  qualities.fold(by_character);
  for (int c = 33; c < 127; ++c) {
    const std::uint64_t count = by_character[c];
    if (count == 0) continue;
    quality_hist[c] += count;
    lowest_quality = std::min<std::int64_t>(lowest_quality, c);
    highest_quality = std::max<std::int64_t>(highest_quality, c);
  }
}

template <typename T>
void ATGC<T>::quality_stats() {
  q20_bases = q30_bases = 0;
  for (int c = phred + 20; c <= phred + 41 && c < static_cast<int>(quality_hist.size()); ++c) {
    q20_bases += quality_hist[c];
    if (c >= phred + 30) q30_bases += quality_hist[c];
  }
}

template <typename T>
void ATGC<T>::stats_print() {
  const double bases = static_cast<double>(n_bases);
  const auto share = [bases](double x) { return bases > 0 ? x / bases : 0.0; };
  std::printf("-- Reads: %lu\n", static_cast<unsigned long>(n_reads));
  std::printf("-- Bases: %lu\n", static_cast<unsigned long>(n_bases));
  std::printf("-- Q20 bases: %.3fK(%f%%)\n", q20_bases / 1000.0, 100.0 * share(q20_bases));
  std::printf("-- Q30 bases: %.3fK(%f%%)\n", q30_bases / 1000.0, 100.0 * share(q30_bases));
  std::printf("-- GC content: %f%%\n",
              100.0 * share(static_cast<double>(base_counts[2] + base_counts[3])));
  std::printf("-- Nppm: %.2f\n", 1e6 * share(static_cast<double>(base_counts[4])));
  std::printf("-- Avg: %.0f\n", n_reads > 0 ? bases / static_cast<double>(n_reads) : 0.0);
  std::printf("-- Min: %i\n", n_reads > 0 ? min_len : 0);
  std::printf("-- Max: %i\n", max_len);
  std::fflush(stdout);
}

template <typename T>
std::vector<std::vector<double>> ATGC<T>::position_table() const {
  std::vector<std::vector<double>> rows;
  if (max_len < 1 || n_reads == 0) return rows;
  const double scale = 100.0 / static_cast<double>(n_reads);
  const std::size_t positions = position_counts.size() / 5;
  rows.reserve(positions);
  for (std::size_t p = 0; p < positions; ++p) {
    const std::uint64_t* c = &position_counts[p * 5];
    rows.push_back({static_cast<double>(p + 1), c[0] * scale, c[1] * scale, c[2] * scale,
                    c[3] * scale, c[4] * scale, (c[2] + c[3]) * scale});
  }
  return rows;
}

template <typename T>
void ATGC<T>::stats_report() {
  guess_phred();
  quality_stats();
  stats_print();

  // The record block; its last line names the chart's files so that the
  // job's web page shows the chart under this block.
  const std::string task = "statistics_on_read";
  write_string(output_dir + jobname + ".log",
               "1-1-1-0\nATGC statistics\nStatistics on the reads.\n" + task + "\n", "a+");

  const auto rows = position_table();
  if (rows.empty()) return;
  std::vector<double*> table(rows.size());
  for (std::size_t r = 0; r < rows.size(); ++r) table[r] = const_cast<double*>(rows[r].data());
  Javas<double> js(output_dir, jobname, {"top", "right", "bottom", "left"});
  js.set_param(static_cast<int>(rows.size()), 7, 20, 70, 35, 60, 130, 50, 0);
  js.set_postfix(task);
  js.plotting("line", table.data(), {"Per base quality (log)", "Position", "", "A", "T", "C", "G", "N", "GC"},
              {"log"}, {"true"});

  // The same numbers as text beside the chart.
  OutputFile text(output_dir + jobname + "_" + task + ".tsv", "w");
  if (!text.is_open()) reads_fail("cannot write out " + text.name());
  text.puts("#Position\tA\tT\tC\tG\tN\tGC\n");
  char cell[64];
  for (const auto& row : rows) {
    int n = std::snprintf(cell, sizeof cell, "%.0f", row[0]);
    text.write(cell, static_cast<std::size_t>(n));
    for (std::size_t k = 1; k < row.size(); ++k) {
      n = std::snprintf(cell, sizeof cell, "\t%.5f", row[k]);
      text.write(cell, static_cast<std::size_t>(n));
    }
    text.put('\n');
  }
  text.commit();
}

template <typename T>
bool ATGC<T>::read_gzfile(std::vector<std::vector<char>>& lines, const std::string& file) {
  GzLineReader in(file);
  if (!in.is_open()) return false;
  const char* line = nullptr;
  std::size_t length = 0;
  while (in.next(line, length)) lines.emplace_back(line, line + length);
  return true;
}

template <typename T>
void ATGC<T>::kmer_counter(const std::string& file) {
  gzFile gz = gzopen(file.c_str(), "rb");
  if (gz == nullptr) {
    print_info(file, 5);
    std::exit(1);
  }
  gzclose(gz);
}

template <typename T>
void ATGC<T>::track_memory(std::int64_t bytes) {
  memory_now = static_cast<std::uint64_t>(static_cast<std::int64_t>(memory_now) + bytes);
  memory_peak = std::max(memory_peak, memory_now);
}

template <typename T>
void ATGC<T>::read_fastx() {
  const auto start = std::chrono::steady_clock::now();
  GzLineReader in(file_name);
  if (!in.is_open()) reads_fail("the file " + file_name + " cannot be opened!");
  struct stat info {};
  const std::uint64_t file_size =
      stat(file_name.c_str(), &info) == 0 ? static_cast<std::uint64_t>(info.st_size) : 0;

  // Leading line ends are skipped; the first other byte decides the kind.
  const int first = [&] {
    const char* line = nullptr;
    std::size_t length = 0;
    while (in.peek() == '\n' || in.peek() == '\r') in.next(line, length);
    return in.peek();
  }();
  if (first != '@' && first != '>') {
    print_info(file_name, 5);
    if (first < 0) reads_fail(file_name + ": the file holds no reads");
    fastx_kind(in);  // names the line
  }
  file_kind = static_cast<char>(first);

  finish();
  std::free(packed);
  std::free(read_offset);
  std::free(read_length);
  memory_now = 0;
  read_capacity = 5000000;
  read_offset = static_cast<std::uint64_t*>(std::calloc(read_capacity, sizeof(std::uint64_t)));
  read_length = static_cast<std::int32_t*>(std::calloc(read_capacity, sizeof(std::int32_t)));
  packed_capacity = std::max<std::uint64_t>(file_size / (file_kind == '>' ? 4 : 8), 1 << 16);
  packed = static_cast<std::uint8_t*>(std::malloc(packed_capacity));
  if (read_offset == nullptr || read_length == nullptr || packed == nullptr)
    reads_fail("out of memory while loading " + file_name);
  track_memory(static_cast<std::int64_t>(read_capacity * 12 + packed_capacity));

  std::printf("-- Loading %s", file_name.c_str());
  std::fflush(stdout);
  n_reads = 0;
  total_bases = 0;
  bad_reads = 0;
  max_len = 0;
  std::uint64_t used = 0;  // bytes of packed in use
  // The bar shows the share of the file read (compressed bytes for gzip).
  const std::string title = "Loading " + file_name;
  const auto permille = [file_size](std::uint64_t at) {
    return file_size == 0 ? 0 : std::min<std::uint64_t>(1000, at * 1000 / file_size);
  };
  bool bar_shown = false;
  FastxWalker walk(in, file_kind, false);
  FastxRecord record;
  while (walk.next(record)) {
    const std::uint64_t n = record.sequence.size();
    if (n > 0x7fffffffu) reads_fail(file_name + " line " + std::to_string(record.line) + ": a read longer than 2^31 bases");
    if (n_reads == read_capacity) {
      const std::uint64_t grown = read_capacity * 2;
      auto* offsets = static_cast<std::uint64_t*>(std::calloc(grown, sizeof(std::uint64_t)));
      auto* lengths = static_cast<std::int32_t*>(std::calloc(grown, sizeof(std::int32_t)));
      if (offsets == nullptr || lengths == nullptr) reads_fail("out of memory while loading " + file_name);
      std::memcpy(offsets, read_offset, read_capacity * sizeof(std::uint64_t));
      std::memcpy(lengths, read_length, read_capacity * sizeof(std::int32_t));
      std::free(read_offset);
      std::free(read_length);
      read_offset = offsets;
      read_length = lengths;
      track_memory(static_cast<std::int64_t>(read_capacity * 12));
      read_capacity = grown;
    }
    const std::uint64_t bytes = n / 4 + 1;  // a partial byte and a cleared byte behind it
    if (used + bytes > packed_capacity) {
      std::uint64_t grown = packed_capacity * 2;
      while (used + bytes > grown) grown *= 2;
      auto* bigger = static_cast<std::uint8_t*>(std::realloc(packed, grown));
      if (bigger == nullptr) reads_fail("out of memory while loading " + file_name);
      track_memory(static_cast<std::int64_t>(grown - packed_capacity));
      packed = bigger;
      packed_capacity = grown;
    }
    read_offset[n_reads] = used;
    const unsigned char* s = reinterpret_cast<const unsigned char*>(record.sequence.data());
    std::uint8_t* out = packed + used;
    std::uint64_t unknown = 0;
    std::uint64_t i = 0;
    for (; i + 4 <= n; i += 4) {
      unsigned b[4];
      for (int k = 0; k < 4; ++k) {
        b[k] = kTables.pack[s[i + k]];
        if (b[k] > 3) {
          b[k] = static_cast<unsigned>(std::rand() % 4);
          ++unknown;
        }
      }
      *out++ = static_cast<std::uint8_t>(b[0] << 6 | b[1] << 4 | b[2] << 2 | b[3]);
    }
    unsigned last = 0;
    for (std::uint64_t k = 0; i + k < n; ++k) {
      unsigned b = kTables.pack[s[i + k]];
      if (b > 3) {
        b = static_cast<unsigned>(std::rand() % 4);
        ++unknown;
      }
      last |= b << (6 - 2 * k);
    }
    *out = static_cast<std::uint8_t>(last);  // partial (first base high) or the cleared byte
    used += (n + 3) / 4 + (n % 4 == 0 ? 1 : 0);
    const std::int32_t len = static_cast<std::int32_t>(n);
    if (static_cast<double>(unknown) > len * 0.5) {
      read_length[n_reads] = -len;
      ++bad_reads;
    } else {
      read_length[n_reads] = len;
    }
    max_len = std::max(max_len, len);
    total_bases += n;
    ++n_reads;
    if ((in.consumed() + 2) % 100 == 0) {
      progress_bar(title, static_cast<int>(permille(in.file_offset())), 1000, "", -999.0);
      bar_shown = true;
    }
  }
  if (bar_shown) progress_bar(title, 1000, 1000, "", -999.0);
  std::printf(" completed!\n");
  std::printf("Total reads with > 50%% N's = %i, %i\n", static_cast<int>(bad_reads),
              static_cast<int>(n_reads));
  std::printf("-- Used %lluMB and %.2fs to load %s.\n",
              static_cast<unsigned long long>(memory_peak >> 20), seconds_since(start),
              file_name.c_str());
  std::fflush(stdout);
}

template <typename T>
void ATGC<T>::write_fastx(const std::string& file) {
  GzLineReader in(file);
  if (!in.is_open()) reads_fail("the file " + file + " cannot be opened!");
  const std::size_t slash = file.find_last_of("/\\");
  const std::string base = slash == std::string::npos ? file : file.substr(slash + 1);
  OutputFile out(output_dir + base + "_corrected.fasta", "w");
  if (!out.is_open()) reads_fail("cannot write out " + out.name());
  const char kind = fastx_kind(in);
  FastxWalker walk(in, kind == 0 ? '@' : kind, true);
  FastxRecord record;
  std::string text;
  std::uint64_t r = 0;
  while (walk.next(record)) {
    if (r >= n_reads) reads_fail(file + " changed while it was being corrected");
    text.assign(record.sequence.size(), 'N');
    const int len = read_length[r];
    for (std::size_t i = 0; i < record.sequence.size(); ++i) {
      const unsigned char raw = static_cast<unsigned char>(record.sequence[i]);
      // Letters that were not bases, and reads set aside as bad, keep their text.
      text[i] = (len < 0 || kTables.pack[raw] > 3) ? static_cast<char>(kTables.upper[raw])
                                                   : "ACGT"[packed_base(r, static_cast<int>(i))];
    }
    out.put('>');
    out.write(record.header.data() + 1, record.header.size() - 1);
    out.put('\n');
    out.puts(text);
    out.put('\n');
    ++r;
  }
  out.commit();
}

template <typename T>
void ATGC<T>::finish() {
  std::free(witness_keys);
  std::free(witness_counters);
  witness_keys = nullptr;
  witness_counters = nullptr;
  table_size = 0;
}

template class ATGC<float>;
template class ATGC<double>;

}  // namespace tevo
