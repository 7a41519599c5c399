// The witness error corrector: for every short word (witness) of the reads,
// count which base follows and which precedes it over the whole read set; a
// base that disagrees with a well-supported witness is rewritten.
#include <glog/logging.h>
#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "atgc/atgc.h"
#include "atgc/fastx_io.h"
#include "util/console.h"

namespace tevo {

namespace {

constexpr double kCorrect = 0.99;  // per-base chance that a call is right
constexpr double kError = 0.01;
// A key that finds no slot within this many probes is dropped: the table is
// sized from the genome length and can be far smaller than the witness set.
constexpr std::uint64_t kMaxProbes = 16;

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

// Expected number of reads with an error that every covering witness misses.
template <typename T>
double ATGC<T>::calc_expected_number(int w, int L) {
  const double G = static_cast<double>(genome_length);
  const double R = static_cast<double>(model_reads);
  const double a = 1.0 - std::pow(1.0 - std::pow(0.25, w), G);
  return R * std::pow(kCorrect, L) *
         (1.0 - std::pow(1.0 - kCorrect * (1.0 - std::pow(kCorrect, w)) * a * 0.75, L - w));
}

template <typename T>
double ATGC<T>::calc_incorrect_number(int w, int L) {
  if (L < 1 || w < 1) return 0.0;
  const std::size_t width = static_cast<std::size_t>(std::max(L, 2 * w)) + 1;
  std::vector<double> row(width, 0.0), next(width, 0.0), prefix(width + 1, 0.0);
  for (std::size_t j = 0; j < width; ++j) {
    const long x = static_cast<long>(j);
    row[j] = x <= w ? x : (x <= 2 * w ? 2 * w - x : 0);
  }
  const double R = static_cast<double>(model_reads);
  double sum = 0.0;
  for (int e = 1; e <= L; ++e) {
    if (e > 1) {  // sliding sum of the row before over a window of w
      for (std::size_t j = 0; j < width; ++j) prefix[j + 1] = prefix[j] + row[j];
      for (std::size_t j = 0; j < width; ++j) {
        const std::size_t from = j + 1 >= static_cast<std::size_t>(w) ? j + 1 - w : 0;
        next[j] = prefix[j + 1] - prefix[from];
      }
      row.swap(next);
    }
    const double term = row[L] * std::pow(kError, e) * std::pow(kCorrect, L - e) * R;
    sum += term;
    if (term < 1.0) break;
  }
  return sum;
}

template <typename T>
void ATGC<T>::calc_witness_len(std::uint64_t reads_in_table, std::int64_t& low, std::int64_t& high) {
  model_reads = reads_in_table;
  const int L = max_len;
  const double R = static_cast<double>(reads_in_table);
  const double limit = 0.0001 * R * (1.0 - std::pow(kCorrect, L));
  high = 1;
  while (high < 25 && calc_expected_number(static_cast<int>(high), L) > limit) ++high;
  const auto s = [&](std::int64_t w) {
    return calc_incorrect_number(static_cast<int>(w), L) + calc_expected_number(static_cast<int>(w), L);
  };
  low = high;
  if (low > 1 && s(low) > s(low - 1)) {
    while (low > 1 && s(low) > s(low - 1)) --low;
  } else if (s(low) > s(low + 1)) {
    while (low < 25 && s(low) > s(low + 1)) ++low;
  }
  low = std::min<std::int64_t>(low, 24);
  if (high <= low) high = low + 1;
}

template <typename T>
void ATGC<T>::calc_threshold(std::uint64_t reads_in_table, int w) {
  threshold = threshold_for(reads_in_table, w);
}

template <typename T>
std::int64_t ATGC<T>::threshold_for(std::uint64_t reads_in_table, int w) const {
  const double G = static_cast<double>(genome_length);
  const double m = static_cast<double>(max_len - w);
  const double q1 = std::pow(kCorrect, w + 1) * m / G;
  const double q2 = std::pow(kCorrect, w) * m * kError / (3.0 * G);
  const double R = static_cast<double>(reads_in_table);
  std::int64_t t = 1;
  // Bounded by the read count: beyond it both sides can underflow to 0.
  while (t <= static_cast<std::int64_t>(reads_in_table) &&
         std::pow(1.0 - q2, R - t) * std::pow(0.0033333333333333335, t) >=
             std::pow(1.0 - q1, R - t) * std::pow(kCorrect, t))
    ++t;
  return t + 2;
}

template <typename T>
void ATGC<T>::calc_reverse_complement() {
  for (int b = 0; b < 4; ++b) complement[b] = 3 - b;  // A<->T, C<->G in the 0..3 code
}

namespace {

// One witness table: open addressing with double hashing over a prime size.
struct WitnessView {
  std::uint64_t* keys;        // [size], 0 = empty
  std::uint32_t* counters;    // [size * 8]
  std::uint64_t size;
  std::uint64_t step_modulus;  // the prime below size; 0 steps by 1
  std::int64_t threshold;
};

inline std::int64_t find_slot(const WitnessView& t, std::uint64_t key, bool claim) {
  std::uint64_t slot = key % t.size;
  const std::uint64_t step = t.step_modulus > 0 ? key % t.step_modulus + 1 : 1;
  const std::uint64_t probes = std::min(t.size, kMaxProbes);
  for (std::uint64_t p = 0; p < probes; ++p) {
    const std::uint64_t held = __atomic_load_n(&t.keys[slot], __ATOMIC_ACQUIRE);
    if (held == key) return static_cast<std::int64_t>(slot);
    if (held == 0) {
      if (!claim) return -1;
      std::uint64_t expected = 0;
      if (__atomic_compare_exchange_n(&t.keys[slot], &expected, key, false, __ATOMIC_ACQ_REL,
                                      __ATOMIC_ACQUIRE) ||
          expected == key)
        return static_cast<std::int64_t>(slot);
    }
    slot += step;
    if (slot >= t.size) slot -= t.size;
  }
  return -1;
}

// Counts the witnesses of read r; returns the number that found no slot.
template <class Reads>
std::uint64_t count_read(const Reads& a, const WitnessView& t, std::uint64_t r, int bits) {
  const int w = bits / 2;
  const int len = a.read_length[r];
  if (len <= w) return 0;  // also skips bad reads (negative length)
  const std::uint64_t mask = bits >= 64 ? ~0ULL : (1ULL << bits) - 1;
  const int top = bits - 2;
  const int* complement = a.complement;
  std::uint64_t fw = 0, rc = 0, dropped = 0;
  for (int i = 0; i < len; ++i) {
    const std::uint64_t b = static_cast<std::uint64_t>(a.packed_base(r, i));
    fw = ((fw << 2) | b) & mask;
    rc = (rc >> 2) | (static_cast<std::uint64_t>(complement[b]) << top);
    if (i < w - 1) continue;
    const int next = i + 1 < len ? a.packed_base(r, i + 1) : -1;
    const int prev = i - w >= 0 ? a.packed_base(r, i - w) : -1;
    const bool forward = fw <= rc;
    std::uint64_t key = forward ? fw : rc;
    if (key == 0) key = 1;
    const std::int64_t slot = find_slot(t, key, true);
    if (slot < 0) {
      ++dropped;
      continue;
    }
    std::uint32_t* c = t.counters + static_cast<std::uint64_t>(slot) * 8;
    const int after = forward ? next : (prev < 0 ? -1 : complement[prev]);
    const int before = forward ? prev : (next < 0 ? -1 : complement[next]);
    if (after >= 0) __atomic_fetch_add(&c[after], 1u, __ATOMIC_RELAXED);
    if (before >= 0) __atomic_fetch_add(&c[4 + before], 1u, __ATOMIC_RELAXED);
  }
  return dropped;
}

// Decides one base from its four counters: 0..3 the new base, -1 keep, -2 tie.
inline int decide(const std::uint32_t count[4], int current, std::int64_t threshold) {
  std::int64_t best = count[current];
  int winner = -1;
  bool tie = false;
  for (int x = 0; x < 4; ++x) {
    if (x == current) continue;
    const std::int64_t c = count[x];
    if (c > threshold && c > best) {
      best = c;
      winner = x;
      tie = false;
    } else if (winner >= 0 && c == best) {
      tie = true;
    }
  }
  if (winner < 0) return -1;
  return tie ? -2 : winner;
}

struct Changes {
  std::uint64_t after = 0, before = 0, ambiguous = 0;
};

// Corrects read r: a left-to-right scan where the witness ends just before
// the base ("after" counters), then a right-to-left scan where it starts
// just after it ("before" counters). Rewritten bases feed the running words.
template <class Reads>
void correct_read(Reads& a, const WitnessView& t, std::uint64_t r, int bits, Changes& changes) {
  const int w = bits / 2;
  const int len = a.read_length[r];
  if (len <= w) return;
  const std::uint64_t mask = bits >= 64 ? ~0ULL : (1ULL << bits) - 1;
  const int top = bits - 2;
  const int* complement = a.complement;
  std::uint8_t* bytes = a.packed + a.read_offset[r];
  const auto set_base = [bytes](int i, int b) {
    const int shift = 6 - 2 * (i % 4);
    bytes[i / 4] = static_cast<std::uint8_t>((bytes[i / 4] & ~(3 << shift)) | (b << shift));
  };
  // Votes on base i with the witness word (fw, rc): `side` 0 reads the
  // "after" counters of the forward strand, 4 its "before" counters.
  const auto vote = [&](int i, std::uint64_t fw, std::uint64_t rc, int side, std::uint64_t& tally) {
    const bool forward = fw <= rc;
    std::uint64_t key = forward ? fw : rc;
    if (key == 0) key = 1;
    const std::int64_t slot = find_slot(t, key, false);
    if (slot < 0) return;
    const std::uint32_t* c = t.counters + static_cast<std::uint64_t>(slot) * 8;
    std::uint32_t count4[4];
    for (int x = 0; x < 4; ++x) count4[x] = forward ? c[side + x] : c[4 - side + complement[x]];
    const int verdict = decide(count4, a.packed_base(r, i), t.threshold);
    if (verdict >= 0) {
      set_base(i, verdict);
      ++tally;
    } else if (verdict == -2) {
      ++changes.ambiguous;
    }
  };
  std::uint64_t fw = 0, rc = 0;
  for (int i = 0; i < len; ++i) {
    if (i >= w) vote(i, fw, rc, 0, changes.after);
    const std::uint64_t b = static_cast<std::uint64_t>(a.packed_base(r, i));
    fw = ((fw << 2) | b) & mask;
    rc = (rc >> 2) | (static_cast<std::uint64_t>(complement[b]) << top);
  }
  fw = rc = 0;
  for (int i = len - 1; i >= 0; --i) {
    if (i < len - w) vote(i, fw, rc, 4, changes.before);
    const std::uint64_t b = static_cast<std::uint64_t>(a.packed_base(r, i));
    fw = (fw >> 2) | (b << top);
    rc = ((rc << 2) | static_cast<std::uint64_t>(complement[b])) & mask;
  }
}

// Batches smaller than this run on one thread each: a parallel region per
// pass costs more than the work of a few hundred reads.
constexpr std::uint64_t kParallelReads = 4096;

// What one batch reports, printed in batch order after the work.
struct BatchReport {
  struct Count {
    std::uint64_t above_before, above_after;
    double seconds;
  };
  std::vector<Count> counts;
  std::vector<std::pair<Changes, double>> passes;
};

}  // namespace

template <typename T>
std::int64_t ATGC<T>::witness_slot(std::uint64_t key, bool claim) {
  const WitnessView t{witness_keys, witness_counters, table_size,
                      table_position > 0 ? HASH_TAB[table_position - 1] : 0, threshold};
  return find_slot(t, key, claim);
}

template <typename T>
void ATGC<T>::calc_witness_counter(std::uint64_t first, std::uint64_t last, int witness_bits) {
  const WitnessView t{witness_keys, witness_counters, table_size,
                      table_position > 0 ? HASH_TAB[table_position - 1] : 0, threshold};
  std::uint64_t dropped = 0;
#pragma omp parallel for schedule(dynamic, 256) reduction(+ : dropped) if (last - first >= kParallelReads)
  for (std::int64_t r = static_cast<std::int64_t>(first); r < static_cast<std::int64_t>(last); ++r)
    dropped += count_read(*this, t, static_cast<std::uint64_t>(r), witness_bits);
  dropped_witnesses += dropped;
}

template <typename T>
void ATGC<T>::correct_errors(std::uint64_t first, std::uint64_t last, int witness_bits,
                             std::uint64_t& changed_after, std::uint64_t& changed_before,
                             std::uint64_t& ambiguous) {
  const WitnessView t{witness_keys, witness_counters, table_size,
                      table_position > 0 ? HASH_TAB[table_position - 1] : 0, threshold};
  std::uint64_t sum_after = 0, sum_before = 0, sum_tie = 0;
#pragma omp parallel reduction(+ : sum_after, sum_before, sum_tie) if (last - first >= kParallelReads)
  {
    // Each thread takes an equal share of the reads and walks it backwards.
    const std::uint64_t count = last - first;
    const std::uint64_t threads = static_cast<std::uint64_t>(omp_get_num_threads());
    const std::uint64_t id = static_cast<std::uint64_t>(omp_get_thread_num());
    const std::uint64_t lo = first + count * id / threads, hi = first + count * (id + 1) / threads;
    Changes changes;
    for (std::uint64_t r = hi; r-- > lo;) correct_read(*this, t, r, witness_bits, changes);
    sum_after += changes.after;
    sum_before += changes.before;
    sum_tie += changes.ambiguous;
  }
  changed_after = sum_after;
  changed_before = sum_before;
  ambiguous = sum_tie;
}

template <typename T>
void ATGC<T>::error_correct(const std::string& file) {
  const auto start = std::chrono::steady_clock::now();
  file_name = file;
  read_fastx();
  if (n_reads == 0) reads_fail(file + ": the file holds no reads");

  const std::uint64_t G = std::max<std::uint64_t>(genome_length, 1);
  const std::uint64_t coverage = total_bases / G;
  const std::uint64_t batches = coverage < 140 ? 1 : std::min<std::uint64_t>(coverage / 70, n_reads);
  const std::uint64_t per_batch = n_reads / batches;

  table_position = 449;
  for (int i = 0; i < 450; ++i)
    if (HASH_TAB[i] > 3 * G) {
      table_position = i;
      break;
    }
  table_size = HASH_TAB[table_position];
  std::free(witness_keys);
  std::free(witness_counters);
  witness_keys = static_cast<std::uint64_t*>(std::calloc(table_size, sizeof(std::uint64_t)));
  witness_counters = static_cast<std::uint32_t*>(std::calloc(table_size * 8, sizeof(std::uint32_t)));
  if (witness_keys == nullptr || witness_counters == nullptr)
    reads_fail("out of memory for a witness table of " + std::to_string(table_size) + " entries");
  track_memory(static_cast<std::int64_t>(table_size * 40));

  std::int64_t low = 0, high = 0;
  calc_witness_len(per_batch, low, high);
  if (low == high) --low;
  low = std::max<std::int64_t>(low, 2);  // low - 1 must still be a word
  if (high <= low) high = low + 1;
  calc_reverse_complement();

  double time_counting = 0.0, time_correcting = 0.0;
  std::printf("-- Got %lu reads with maximum length %i, witness length in [%lli, %lli], \n",
              static_cast<unsigned long>(n_reads), max_len, static_cast<long long>(low),
              static_cast<long long>(high));
  std::printf("-- and coverage (total_base[%llu]/genome_length[%llu]) = %i ... \n",
              static_cast<unsigned long long>(total_bases), static_cast<unsigned long long>(G),
              static_cast<int>(coverage));
  std::fflush(stdout);

  const std::int64_t lengths[10] = {low + 1,  low + 1,  high + 1, high + 1, low - 1,
                                    low - 1,  high - 1, high - 1, high + 1, high + 1};
  const std::uint64_t step_modulus = table_position > 0 ? HASH_TAB[table_position - 1] : 0;
  // One batch: ten passes on one table. Serial inside; batches may run side by side.
  const auto run_batch = [&](const WitnessView& table, std::uint64_t first, std::uint64_t last,
                             BatchReport& report) {
    WitnessView t = table;
    std::int64_t previous = -1;
    for (const std::int64_t length : lengths) {
      const int bits = static_cast<int>(2 * length);
      if (length != previous) {
        const auto counting = std::chrono::steady_clock::now();
        t.threshold = threshold_for(last - first, static_cast<int>(length));
        std::memset(t.keys, 0, t.size * sizeof(std::uint64_t));
        std::memset(t.counters, 0, t.size * 8 * sizeof(std::uint32_t));
        std::uint64_t dropped = 0;
        for (std::uint64_t r = first; r < last; ++r) dropped += count_read(*this, t, r, bits);
#pragma omp atomic
        dropped_witnesses += dropped;
        BatchReport::Count c{0, 0, 0.0};
        for (std::uint64_t s = 0; s < t.size; ++s) {
          if (t.keys[s] == 0) continue;
          for (int x = 0; x < 4; ++x) {
            c.above_after += t.counters[s * 8 + x] > static_cast<std::uint64_t>(t.threshold);
            c.above_before += t.counters[s * 8 + 4 + x] > static_cast<std::uint64_t>(t.threshold);
          }
        }
        c.seconds = seconds_since(counting);
        report.counts.push_back(c);
        previous = length;
      }
      const auto correcting = std::chrono::steady_clock::now();
      Changes changes;
      for (std::uint64_t r = last; r-- > first;) correct_read(*this, t, r, bits, changes);
      report.passes.emplace_back(changes, seconds_since(correcting));
    }
  };
  const auto print_report = [&](const BatchReport& report, std::size_t batch) {
    std::size_t count = 0;
    std::int64_t previous = -1;
    for (std::size_t pass = 0; pass < report.passes.size(); ++pass) {
      if (lengths[pass] != previous) {
        const auto& c = report.counts[count++];
        time_counting += c.seconds;
        LOG(INFO) << "Witnesses above threshold in before base = " << c.above_before;
        LOG(INFO) << "Witnesses above threshold in after base = " << c.above_after;
        LOG(INFO) << "Calculated the witness counters in " << c.seconds << " seconds.";
        previous = lengths[pass];
      }
      const Changes& ch = report.passes[pass].first;
      time_correcting += report.passes[pass].second;
      LOG(INFO) << "Starting to correct reads.";
      LOG(INFO) << "Corrected the reads in " << report.passes[pass].second << " seconds.";
      std::printf("Number of changed positions\t\t%llu\n", static_cast<unsigned long long>(ch.after + ch.before));
      std::printf("Number of changed positions after\t%llu\n", static_cast<unsigned long long>(ch.after));
      std::printf("Number of changed positions before\t%llu\n", static_cast<unsigned long long>(ch.before));
      std::printf("Number of ambiguous corrections = %llu\n", static_cast<unsigned long long>(ch.ambiguous));
    }
    if (batch % 100 == 0) {
      progress_bar<double>("Processing the reads ...", static_cast<int>(batch), static_cast<int>(batches), "",
                           -999.0);
      std::printf("\n");
    }
    std::fflush(stdout);
  };

  if (per_batch < kParallelReads && batches > 1) {
    // Many small batches: each thread runs whole batches on a table of its own,
    // and the reports are printed in batch order after each round.
    const int threads = omp_get_max_threads();
    track_memory(static_cast<std::int64_t>(table_size * 40) * (threads - 1));
    const std::uint64_t round = static_cast<std::uint64_t>(threads) * 64;
    std::vector<BatchReport> reports;
    std::vector<WitnessView> tables(static_cast<std::size_t>(threads),
                                    WitnessView{witness_keys, witness_counters, table_size, step_modulus, 0});
    for (std::size_t i = 1; i < tables.size(); ++i) {
      tables[i].keys = static_cast<std::uint64_t*>(std::calloc(table_size, sizeof(std::uint64_t)));
      tables[i].counters = static_cast<std::uint32_t*>(std::calloc(table_size * 8, sizeof(std::uint32_t)));
      if (tables[i].keys == nullptr || tables[i].counters == nullptr)
        reads_fail("out of memory for a witness table of " + std::to_string(table_size) + " entries");
    }
#pragma omp parallel num_threads(threads)
    {
      const WitnessView& own = tables[static_cast<std::size_t>(omp_get_thread_num())];
      for (std::uint64_t begin = 0; begin < batches; begin += round) {
        const std::uint64_t end = std::min(batches, begin + round);
#pragma omp single
        reports.assign(end - begin, BatchReport());
#pragma omp for schedule(dynamic, 1)
        for (std::int64_t b = static_cast<std::int64_t>(begin); b < static_cast<std::int64_t>(end); ++b) {
          const std::uint64_t batch = static_cast<std::uint64_t>(b);
          const std::uint64_t first = batch * per_batch;
          const std::uint64_t last = batch + 1 == batches ? n_reads : first + per_batch;
          run_batch(own, first, last, reports[batch - begin]);
        }
#pragma omp single
        for (std::uint64_t b = begin; b < end; ++b) print_report(reports[b - begin], b);
      }
    }
    for (std::size_t i = 1; i < tables.size(); ++i) {
      std::free(tables[i].keys);
      std::free(tables[i].counters);
    }
  } else {
    for (std::uint64_t batch = 0; batch < batches; ++batch) {
      const std::uint64_t first = batch * per_batch;
      const std::uint64_t last = batch + 1 == batches ? n_reads : first + per_batch;
      std::int64_t previous = -1;
      for (const std::int64_t length : lengths) {
        const int bits = static_cast<int>(2 * length);
        if (length != previous) {
          const auto counting = std::chrono::steady_clock::now();
          calc_threshold(last - first, static_cast<int>(length));
          std::memset(witness_keys, 0, table_size * sizeof(std::uint64_t));
          std::memset(witness_counters, 0, table_size * 8 * sizeof(std::uint32_t));
          calc_witness_counter(first, last, bits);
          std::uint64_t above_before = 0, above_after = 0;
          for (std::uint64_t s = 0; s < table_size; ++s) {
            if (witness_keys[s] == 0) continue;
            for (int x = 0; x < 4; ++x) {
              above_after += witness_counters[s * 8 + x] > static_cast<std::uint64_t>(threshold);
              above_before += witness_counters[s * 8 + 4 + x] > static_cast<std::uint64_t>(threshold);
            }
          }
          const double took = seconds_since(counting);
          time_counting += took;
          LOG(INFO) << "Witnesses above threshold in before base = " << above_before;
          LOG(INFO) << "Witnesses above threshold in after base = " << above_after;
          LOG(INFO) << "Calculated the witness counters in " << took << " seconds.";
          previous = length;
        }
        const auto correcting = std::chrono::steady_clock::now();
        LOG(INFO) << "Starting to correct reads.";
        std::uint64_t after = 0, before = 0, ambiguous = 0;
        correct_errors(first, last, bits, after, before, ambiguous);
        const double took = seconds_since(correcting);
        time_correcting += took;
        LOG(INFO) << "Corrected the reads in " << took << " seconds.";
        std::printf("Number of changed positions\t\t%llu\n", static_cast<unsigned long long>(after + before));
        std::printf("Number of changed positions after\t%llu\n", static_cast<unsigned long long>(after));
        std::printf("Number of changed positions before\t%llu\n", static_cast<unsigned long long>(before));
        std::printf("Number of ambiguous corrections = %llu\n", static_cast<unsigned long long>(ambiguous));
      }
      if (batch % 100 == 0) {
        progress_bar<double>("Processing the reads ...", static_cast<int>(batch), static_cast<int>(batches), "",
                             -999.0);
        std::printf("\n");
      }
      std::fflush(stdout);
    }
  }
  std::printf("-- i am writing corrected sequences ... ");
  std::fflush(stdout);
  write_fastx(file);
  std::printf("done.\n");
  std::fflush(stdout);
  if (dropped_witnesses > 0)
    LOG(INFO) << "Witnesses without a slot in the table = " << dropped_witnesses;
  LOG(INFO) << "============================== Finished ===============================";
  LOG(INFO) << "Total time building witnesses and counters = " << time_counting << " seconds.";
  LOG(INFO) << "Total time correcting = " << time_correcting << " seconds.";
  LOG(INFO) << "Total time = " << seconds_since(start) << " seconds.";
  LOG(INFO) << "Peak Memory = " << (memory_peak >> 20) << " MB.";
}

template class ATGC<float>;
template class ATGC<double>;

}  // namespace tevo
