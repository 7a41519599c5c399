// ATGC<T>: a set of sequencing reads with their running statistics, the two
// loaders (text reads with statistics; two-bit packed reads for correction),
// the read filters and the witness error corrector.
#pragma once

#include <cstdint>
#include <memory_resource>  // the strings of the reads live in a ReadArena
#include <string>
#include <vector>

namespace tevo {

// 450 ascending primes used as witness table sizes (and probe moduli).
extern const std::uint64_t HASH_TAB[450];

// Memory of the read strings: large blocks handed out front to back and
// released together, so a load makes no allocator call per read and a
// string takes its length plus one byte.
class ReadArena : public std::pmr::memory_resource {
 public:
  ReadArena() = default;
  ReadArena(const ReadArena&) = delete;
  ReadArena& operator=(const ReadArena&) = delete;
  ~ReadArena() override { release(); }
  void release();
  std::uint64_t reserved() const { return reserved_; }

 private:
  void* do_allocate(std::size_t bytes, std::size_t alignment) override;
  void do_deallocate(void*, std::size_t, std::size_t) override {}
  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override { return this == &other; }

  std::vector<std::pair<char*, std::size_t>> blocks_;  // mapped blocks and their sizes
  char* next_ = nullptr;
  char* end_ = nullptr;
  std::uint64_t reserved_ = 0;  // bytes of all blocks
};

template <typename T>
class ATGC {
 public:
  ATGC(const std::string& output, const std::string& jobname);
  ATGC(const std::string& name, bool flag1, bool flag2);
  ATGC(bool flag1, bool flag2);
  ~ATGC();
  ATGC(const ATGC&) = delete;
  ATGC& operator=(const ATGC&) = delete;

  void init();

  // Line loader: FASTQ (plain or gzip) with statistics; records must start with "@".
  void read_fastx(const std::string& file);
  // Packing loader on file_name: two bits a base, for the corrector.
  void read_fastx();
  // All lines of a gzip (or plain) file; false if it cannot be opened.
  static bool read_gzfile(std::vector<std::vector<char>>& lines, const std::string& file);

  // False if a character lies outside "!".."~" (33 to 126).
  bool quality_converter(const char* quality, std::size_t n);
  bool quality_converter(const std::string& q) { return quality_converter(q.data(), q.size()); }
  void guess_phred();
  // Counts A, T, C, G and N (other letters count as N) overall and by position.
  // Upper-cases in place; false if a character is not a letter, "." or "-".
  bool base_typ_counter(char* sequence, std::size_t n);
  bool base_typ_counter(std::string& s) { return base_typ_counter(&s[0], s.size()); }

  void stats_report();
  void quality_stats();
  void stats_print();
  // Rows of position, A, T, C, G, N, C+G in percent of the reads.
  std::vector<std::vector<double>> position_table() const;

  void read_filter(const std::string& input, const std::string& output, int n);
  void read_quality(const std::string& input, const std::string& output, int n);
  void read_trim(const std::string& input, const std::string& output, int n);

  void error_correct(const std::string& file);
  double calc_expected_number(int witness_len, int read_len);
  double calc_incorrect_number(int witness_len, int read_len);
  void calc_witness_len(std::uint64_t reads, std::int64_t& low, std::int64_t& high);
  void calc_threshold(std::uint64_t reads, int witness_len);
  // The threshold calc_threshold stores, for `reads` sharing one table.
  std::int64_t threshold_for(std::uint64_t reads, int witness_len) const;
  // Counts witnesses of `witness_bits` / 2 bases over reads [first, last).
  void calc_witness_counter(std::uint64_t first, std::uint64_t last, int witness_bits);
  // One correcting pass; returns changed-after, changed-before and ambiguous counts.
  void correct_errors(std::uint64_t first, std::uint64_t last, int witness_bits,
                      std::uint64_t& after, std::uint64_t& before, std::uint64_t& ambiguous);
  void calc_reverse_complement();
  // Index in the table of `key`, claiming an empty slot when `claim`; -1 if absent or full.
  std::int64_t witness_slot(std::uint64_t key, bool claim);
  void write_fastx(const std::string& file);
  // Base `i` of packed read `r` (0..3 = A, C, G, T).
  int packed_base(std::uint64_t r, int i) const {
    const std::uint8_t byte = packed[read_offset[r] + static_cast<std::uint64_t>(i) / 4];
    return (byte >> (6 - 2 * (i % 4))) & 3;
  }

  void kmer_counter(const std::string& file);
  void finish();

  // ---- line loader and statistics
  ReadArena read_memory;                  // holds the characters of `reads`; declared first, freed last
  std::vector<std::pmr::string> reads;    // upper-cased sequences, in file order
  std::uint64_t n_reads = 0;
  std::uint64_t n_bases = 0;
  std::uint64_t base_counts[5] = {0, 0, 0, 0, 0};  // A, T, C, G, N
  std::vector<std::uint64_t> position_counts;        // [position * 5 + code]
  int min_len = 0x7fffffff;
  int max_len = 0;
  int phred = 33;
  std::int64_t lowest_quality = 0x7fffffff;
  std::int64_t highest_quality = 0;
  std::vector<std::uint64_t> quality_hist;  // [127], by quality character
  std::uint64_t q20_bases = 0;
  std::uint64_t q30_bases = 0;
  std::uint64_t genome_length = 100;
  char file_kind = 0;

  // ---- packed reads and the corrector
  std::uint8_t* packed = nullptr;        // [packed_capacity] bytes, owned, freed in finish()
  std::uint64_t packed_capacity = 0;
  std::uint64_t* read_offset = nullptr;  // [read_capacity], byte offset of each read in packed
  std::int32_t* read_length = nullptr;   // [read_capacity], negative for a bad read
  std::uint64_t read_capacity = 0;
  std::uint64_t bad_reads = 0;
  std::uint64_t total_bases = 0;
  std::uint64_t* witness_keys = nullptr;      // [table_size], 0 = empty, owned
  std::uint32_t* witness_counters = nullptr;  // [table_size * 8]: 4 after, 4 before
  std::uint64_t table_size = 0;
  int table_position = 0;                // index of table_size in HASH_TAB
  std::int64_t threshold = 0;
  std::uint64_t model_reads = 0;       // reads that share one witness table (R of the model)
  std::uint64_t memory_now = 0, memory_peak = 0;
  std::uint64_t dropped_witnesses = 0;   // keys that found no slot within the probe limit
  int complement[4] = {3, 2, 1, 0};

  std::string output_dir, jobname, file_name;

 private:
  void track_memory(std::int64_t bytes);
  void clear_statistics();
};

extern template class ATGC<float>;
extern template class ATGC<double>;

}  // namespace tevo
