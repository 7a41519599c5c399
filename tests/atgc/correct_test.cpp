// The witness corrector: its model, its hash table, and a run on simulated
// reads whose truth is known.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>

#include "atgc/atgc.h"
#include "reads_fixture.h"

using reads_test::has;

using tevo::ATGC;
using tevo::HASH_TAB;

namespace {

void empty_table(ATGC<double>& a, int position) {
  a.table_position = position;
  a.table_size = HASH_TAB[position];
  a.witness_keys = static_cast<std::uint64_t*>(std::calloc(a.table_size, 8));
  a.witness_counters = static_cast<std::uint32_t*>(std::calloc(a.table_size * 8, 4));
}

}  // namespace

TEST(WitnessTable, PrimesAscendAndProbingIsConsistent) {
  for (int i = 1; i < 450; ++i) ASSERT_GT(HASH_TAB[i], HASH_TAB[i - 1]);
  for (int i = 0; i < 40; ++i)
    for (std::uint64_t d = 2; d * d <= HASH_TAB[i]; ++d) ASSERT_NE(HASH_TAB[i] % d, 0u) << HASH_TAB[i];

  ATGC<double> a(false, false);
  empty_table(a, 60);
  // Keys that share a home slot must all be placed and found again.
  std::vector<std::uint64_t> keys;
  for (std::uint64_t k = 1; keys.size() < a.table_size / 2; k += a.table_size) keys.push_back(k);
  std::set<std::int64_t> slots;
  for (std::uint64_t k : keys) {
    EXPECT_EQ(a.witness_slot(k, false), -1);
    const std::int64_t s = a.witness_slot(k, true);
    ASSERT_GE(s, 0);
    slots.insert(s);
  }
  EXPECT_EQ(slots.size(), keys.size());
  for (std::uint64_t k : keys) EXPECT_EQ(a.witness_keys[a.witness_slot(k, false)], k);

  // A full table answers "absent" instead of probing for ever.
  std::uint64_t k = 7;
  while (std::count(a.witness_keys, a.witness_keys + a.table_size, std::uint64_t{0}) > 0) a.witness_slot(k++, true);
  EXPECT_EQ(a.witness_slot(k + 1000000, true), -1);
}

TEST(WitnessCounter, ParallelCountsEqualSerialOracle) {
  reads_test::TempDir dir;
  const auto sim = reads_test::simulate(3000, 400, 60, 0.01, 11);
  for (int threads : {1, 2}) {
    ATGC<double> a(dir.path(), "job");
    a.file_name = dir.write("c.fq", sim.fastq());
    a.read_fastx();
    empty_table(a, 110);  // about 90,000 slots
    omp_set_num_threads(threads);
    a.calc_witness_counter(0, a.n_reads, 2 * 9);
    omp_set_num_threads(2);
    // Serial oracle over the text: canonical 9-mers and their neighbours.
    std::map<std::string, std::array<std::uint32_t, 8>> oracle;
    const std::string code = "ACGT";
    for (const std::string& read : sim.reads) {
      for (std::size_t i = 0; i + 9 <= read.size(); ++i) {
        const std::string word = read.substr(i, 9), back = reads_test::reverse_complement(word);
        const bool forward = word <= back;
        auto& c = oracle[forward ? word : back];
        const int next = i + 9 < read.size() ? static_cast<int>(code.find(read[i + 9])) : -1;
        const int prev = i > 0 ? static_cast<int>(code.find(read[i - 1])) : -1;
        const int after = forward ? next : (prev < 0 ? -1 : 3 - prev);
        const int before = forward ? prev : (next < 0 ? -1 : 3 - next);
        if (after >= 0) ++c[after];
        if (before >= 0) ++c[4 + before];
      }
    }
    EXPECT_EQ(a.dropped_witnesses, 0u);
    for (const auto& entry : oracle) {
      std::uint64_t key = 0;
      for (char ch : entry.first) key = key << 2 | code.find(ch);
      if (key == 0) key = 1;
      const std::int64_t s = a.witness_slot(key, false);
      ASSERT_GE(s, 0) << entry.first;
      for (int x = 0; x < 8; ++x) EXPECT_EQ(a.witness_counters[s * 8 + x], entry.second[x]) << entry.first;
    }
  }
}

TEST(CorrectorModel, WitnessLengthsAndThresholdStayInRange) {
  ATGC<double> a(false, false);
  a.max_len = 100;
  a.genome_length = 60000;
  std::int64_t low = 0, high = 0;
  a.calc_witness_len(12000, low, high);
  EXPECT_TRUE(1 <= low && low < high && high <= 26) << low << " " << high;
  // The expected count of undetected errors falls as witnesses lengthen.
  EXPECT_GT(a.calc_expected_number(6, 100), a.calc_expected_number(12, 100));
  // Reads of 12 with witnesses of 10: the single-error term alone is
  // 8 covering witnesses * 0.01 * 0.99^11 * R, and later terms only add.
  a.model_reads = 12000;
  EXPECT_GE(a.calc_incorrect_number(10, 12), 8 * 0.01 * std::pow(0.99, 11) * 12000 - 1e-6);
  EXPECT_TRUE(std::isfinite(a.calc_incorrect_number(10, 150)));
  EXPECT_EQ(a.calc_incorrect_number(5, 20), 0.0);  // no witness profile reaches position 20

  // Threshold: at 20x coverage it is a few reads, far below the coverage.
  a.calc_threshold(12000, 15);
  EXPECT_TRUE(a.threshold >= 3 && a.threshold < 20) << a.threshold;
  // More reads on the same genome demand more support.
  const std::int64_t at20 = a.threshold;
  a.calc_threshold(48000, 15);
  EXPECT_GT(a.threshold, at20);
  // With the default genome length of 100 the loop still ends.
  a.genome_length = 100;
  a.calc_threshold(50, 15);
  EXPECT_LE(a.threshold, 50 + 3);
}

TEST(Corrector, LowersTheErrorRateOfSimulatedReads) {
  reads_test::TempDir dir;
  const auto sim = reads_test::simulate(20000, 6000, 100, 0.01, 5);  // coverage 30
  const std::string file = dir.write("sim.fq", sim.fastq());
  const auto errors = [&](const std::vector<std::string>& reads) {
    std::uint64_t wrong = 0;
    for (std::size_t r = 0; r < reads.size(); ++r)
      for (std::size_t i = 0; i < reads[r].size(); ++i) wrong += reads[r][i] != sim.truth[r][i];
    return wrong;
  };
  const std::uint64_t before = errors(sim.reads);
  ASSERT_GT(before, 4000u);
  ATGC<double> a(dir.path(), "job");
  a.init();
  a.genome_length = 20000;
  a.error_correct(file);
  std::istringstream text(dir.read("sim.fq_corrected.fasta"));
  std::vector<std::string> corrected;
  for (std::string name, read; std::getline(text, name) && std::getline(text, read);) corrected.push_back(read);
  ASSERT_EQ(corrected.size(), sim.reads.size());
  const std::uint64_t after = errors(corrected);
  // At 30x coverage most substitutions are fixed: expect at least a fourfold drop.
  EXPECT_LT(after * 4, before) << before << " -> " << after;
}

TEST(Corrector, ManyBatchesGiveTheSameResultOnOneAndTwoThreads) {
  reads_test::TempDir dir;
  const auto sim = reads_test::simulate(5000, 2000, 100, 0.01, 9);  // coverage 2000 of 100: 28 batches
  const std::string file = dir.write("many.fq", sim.fastq());
  std::string first;
  for (int threads : {1, 2}) {
    omp_set_num_threads(threads);
    ATGC<double> a(dir.path(), "job");
    a.init();
    testing::internal::CaptureStdout();
    a.error_correct(file);
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(has(console, "-- and coverage (total_base[200000]/genome_length[100]) = 2000 ... \n"));
    // Four lines per pass, ten passes per batch.
    std::size_t lines = 0;
    const std::string mark = "Number of changed positions\t\t";
    for (std::size_t at = 0; (at = console.find(mark, at)) != std::string::npos; ++at) ++lines;
    EXPECT_EQ(lines, 28u * 10u);
    const std::string result = dir.read("many.fq_corrected.fasta") + console.substr(console.find("-- Got"));
    if (threads == 1) first = result;
    else EXPECT_EQ(result, first);
  }
  omp_set_num_threads(2);
}
