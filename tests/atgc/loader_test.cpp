// Both loaders against naive recounts, gzip against plain, the quality
// rules, and the fatal paths of malformed input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <random>

#include <unistd.h>

#include "atgc/atgc.h"
#include "atgc/fastx_io.h"
#include "reads_fixture.h"

using reads_test::has;

using tevo::ATGC;
using reads_test::TempDir;

namespace {

struct Oracle {
  std::uint64_t reads = 0, bases = 0, counts[5] = {0, 0, 0, 0, 0}, hist[127] = {};
  int min_len = 1 << 30, max_len = 0;
  std::vector<std::string> upper;  // each sequence upper-cased
};

// Random FASTQ with mixed case, N and other IUPAC letters, varying lengths.
std::string random_fastq(unsigned seed, int n, Oracle& o) {
  std::mt19937 rng(seed);
  const std::string letters = "ACGTacgtNnRY";
  std::string text;
  for (int r = 0; r < n; ++r) {
    const int len = static_cast<int>(rng() % 40);
    std::string seq, up, qual;
    for (int i = 0; i < len; ++i) {
      seq += letters[rng() % letters.size()];
      up += static_cast<char>(std::toupper(seq.back()));
      ++o.counts[std::min<std::size_t>(std::string("ATCG").find(up.back()), 4)];
      qual += static_cast<char>(35 + rng() % 40);
      ++o.hist[static_cast<int>(qual.back())];
    }
    ++o.reads;
    o.upper.push_back(up);
    o.bases += len;
    o.min_len = std::min(o.min_len, len);
    o.max_len = std::max(o.max_len, len);
    text += "@read" + std::to_string(r) + " x\n" + seq + "\n+\n" + qual + "\n";
  }
  return text;
}

void expect_same(const ATGC<double>& a, const Oracle& o) {
  EXPECT_EQ(a.n_reads, o.reads);
  EXPECT_EQ(a.n_bases, o.bases);
  for (int k = 0; k < 5; ++k) EXPECT_EQ(a.base_counts[k], o.counts[k]) << k;
  for (int q = 0; q < 127; ++q) EXPECT_EQ(a.quality_hist[q], o.hist[q]) << q;
  EXPECT_EQ(a.min_len, o.min_len);
  EXPECT_EQ(a.max_len, o.max_len);
}

}  // namespace

TEST(LineLoader, MatchesNaiveCountsPlainAndGzip) {
  TempDir dir;
  Oracle o;
  const std::string text = random_fastq(7, 500, o);
  std::string dos;  // Windows line ends are the same records
  for (char c : text) dos += c == '\n' ? std::string("\r\n") : std::string(1, c);
  ATGC<double> plain(dir.path(), "job"), zipped(dir.path(), "job"), crlf(dir.path(), "job");
  for (auto* a : {&plain, &zipped, &crlf}) a->init();
  plain.read_fastx(dir.write("r.fq", text));
  zipped.read_fastx(dir.write_gz("r.fq.gz", text));
  crlf.read_fastx(dir.write("dos.fq", dos));
  for (auto* a : {&plain, &zipped, &crlf}) {
    expect_same(*a, o);
    ASSERT_EQ(a->reads.size(), o.upper.size());
    for (std::size_t r = 0; r < o.upper.size(); ++r) ASSERT_EQ(std::string(a->reads[r]), o.upper[r]) << r;
  }

  // Per-position table: percentages of the reads, one row per position.
  const auto rows = plain.position_table();
  ASSERT_EQ(static_cast<int>(rows.size()), o.max_len);
  double first = 0;
  for (int k = 1; k <= 5; ++k) first += rows[0][k];
  std::uint64_t with_base = 0;
  for (const auto& r : plain.reads) with_base += !r.empty();
  EXPECT_NEAR(first, 100.0 * with_base / o.reads, 1e-9);
  EXPECT_DOUBLE_EQ(rows[3][6], rows[3][3] + rows[3][4]);

  // An empty file and a FASTA file hold no FASTQ reads.
  ATGC<double> none(dir.path(), "job");
  none.init();
  none.read_fastx(dir.write("empty.fq", ""));
  EXPECT_EQ(none.n_reads, 0u);
  none.read_fastx(dir.write("a.fa", ">x\nACGT\n"));
  EXPECT_EQ(none.n_reads, 0u);
}

// Strings in the read arena keep their text across block changes, requests
// larger than a block get one of their own, and alignment is kept.
TEST(ReadArena, KeepsTextAcrossBlocksAndHonoursAlignment) {
  tevo::ReadArena arena;
  std::vector<std::pmr::string> kept;
  std::mt19937 rng(11);
  std::vector<std::string> truth;
  for (int i = 0; i < 40000; ++i) {  // about 6 MB: spans the 2 MB and 4 MB blocks
    std::string s(100 + rng() % 100, 'A');
    for (char& c : s) c = "ACGT"[rng() % 4];
    truth.push_back(s);
    kept.emplace_back(s.data(), s.size(), &arena);
  }
  truth.push_back(std::string(5u << 20, 'G'));  // larger than the next block
  kept.emplace_back(truth.back().data(), truth.back().size(), &arena);
  for (std::size_t i = 0; i < truth.size(); ++i) ASSERT_EQ(std::string(kept[i]), truth[i]) << i;
  EXPECT_GE(arena.reserved(), (6u << 20) + truth.back().size());
  void* odd = arena.allocate(3, 1);
  void* wide = arena.allocate(64, 64);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(wide) % 64, 0u);
  EXPECT_NE(odd, wide);
  kept.clear();
  arena.release();
  EXPECT_EQ(arena.reserved(), 0u);
}

TEST(LineLoader, PhredGuessAndQ20Q30Rules) {
  ATGC<double> a(false, false);
  // 64 only when the highest score is above 74 ('J') and the lowest above 58 (':')
  const std::pair<const char*, int> cases[] = {{"K;", 64}, {"J;", 33}, {"K:", 33}};
  for (const auto& c : cases) {
    a.init();
    a.quality_converter(std::string(c.first));
    a.guess_phred();
    EXPECT_EQ(a.phred, c.second) << c.first;
  }
  // Offset 33: scores 19, 20, 29, 30, 41 and 42.
  a.init();
  a.quality_converter(std::string("45>?JK"));
  a.guess_phred();
  ASSERT_EQ(a.phred, 33);
  a.quality_stats();
  EXPECT_EQ(a.q20_bases, 4u);  // 20, 29, 30, 41; 42 counts in neither
  EXPECT_EQ(a.q30_bases, 2u);  // 30, 41
  EXPECT_FALSE(a.quality_converter(std::string("A B")));
  EXPECT_FALSE(a.quality_converter(std::string("\x7f")));
}

TEST(LoaderDeathTest, MalformedInputsStopWithFileAndLine) {
  TempDir dir;
  const std::string good = "@a\nACGT\n+\nIIII\n";
  std::string plain;
  for (int i = 0; i < 2000; ++i) plain += good;
  dir.write_gz("whole.gz", plain);
  const std::string corrupt = dir.read("whole.gz");
  std::string flipped = corrupt;
  for (std::size_t i = 20; i < 60 && i < flipped.size(); ++i) flipped[i] = static_cast<char>(flipped[i] ^ 0x5a);
  const std::string cut = corrupt.substr(0, corrupt.size() / 2);
  const struct {
    std::string name, text, message;
  } cases[] = {
      {"short_qual.fq", good + "@b\nACGT\n+\nIII\n", "the lengths of the quality and sequence are different!"},
      {"long_qual.fq", "@b\nACGT\n+\nIIIII\n", "line 4: the quality has 5 characters"},
      {"cut_seq.fq", good + "@b\n", "line 5: the record is cut short before its sequence"},
      {"cut_plus.fq", good + "@b\nAC\n", "the record is cut short before its \"\\+\" line"},
      {"cut_qual.fq", good + "@b\nAC\n+\n", "line 5: the record is cut short before its quality"},
      {"no_at.fq", "a\nACGT\n+\nIIII\n", "line 1: a FASTQ record must begin with \"@\""},
      {"no_plus.fq", "@a\nACGT\n-\nIIII\n", "line 3: expected the \"\\+\" line"},
      {"bad_base.fq", "@a\nAC T\n+\nIIII\n", "line 2: the sequence holds a character"},
      {"nul_qual.fq", std::string("@a\nACGT\n+\nII\0I\n", 15), "line 4: a quality character"},
      {"flipped.gz", flipped, "corrupt gzip data|cut short|FASTQ record"},
      {"cut.gz", cut, "the gzip stream is cut short"},
  };
  for (const auto& c : cases) {
    const std::string file = dir.write(c.name, c.text);
    ATGC<double> a(dir.path(), "job");
    a.init();
    EXPECT_EXIT(STDOUT_TO_STDERR(a.read_fastx(file)), testing::ExitedWithCode(1), c.message) << c.name;
  }
  ATGC<double> a(dir.path(), "job");
  EXPECT_EXIT(STDOUT_TO_STDERR(a.read_fastx(dir.path() + "absent.fq")), testing::ExitedWithCode(1), "cannot open");
  // The packing loader: unknown kinds, no reads, missing files.
  a.file_name = dir.write("x.txt", "hello\n");
  EXPECT_EXIT(STDOUT_TO_STDERR(a.read_fastx()), testing::ExitedWithCode(1), "cannot open .*x.txt");
  a.file_name = dir.write("e.fq", "");
  EXPECT_EXIT(STDOUT_TO_STDERR(a.read_fastx()), testing::ExitedWithCode(1), "holds no reads");
  a.file_name = dir.path() + "none.fq";
  EXPECT_EXIT(STDOUT_TO_STDERR(a.read_fastx()), testing::ExitedWithCode(1), "the file .*none.fq cannot be opened!");
}

TEST(PackingLoader, PacksTwoBitsReplacesOthersAndMarksBadReads) {
  TempDir dir;
  // Lengths 0..13 cover every partial last byte; lower case is not a base here.
  std::string text;
  std::vector<std::string> seqs;
  std::mt19937 rng(3);
  for (int len = 0; len < 14; ++len) {
    std::string s;
    for (int i = 0; i < len; ++i) s += "ACGT"[rng() % 4];
    seqs.push_back(s);
  }
  seqs.push_back("ACGTANNNNN");  // 5 of 10 unknown: kept
  seqs.push_back("ACGTNNNNNN");  // 6 of 10: bad
  seqs.push_back("acgtACGTAC");  // lower case counts as unknown: 4 of 10
  for (std::size_t i = 0; i < seqs.size(); ++i)
    text += "@s" + std::to_string(i) + "\n" + seqs[i] + "\n+\n" + std::string(seqs[i].size(), 'I') + "\n";
  ATGC<double> a(dir.path(), "job");
  a.file_name = dir.write("p.fq", "\n\n" + text);
  a.read_fastx();
  ASSERT_EQ(a.n_reads, seqs.size());
  EXPECT_EQ(a.file_kind, '@');
  EXPECT_EQ(a.max_len, 13);
  EXPECT_EQ(a.bad_reads, 1u);
  EXPECT_EQ(a.read_length[14], 10);
  EXPECT_EQ(a.read_length[15], -10);
  for (std::size_t r = 0; r < 14; ++r) {
    ASSERT_EQ(a.read_length[r], static_cast<int>(seqs[r].size()));
    for (std::size_t i = 0; i < seqs[r].size(); ++i)
      EXPECT_EQ("ACGT"[a.packed_base(r, static_cast<int>(i))], seqs[r][i]) << r << " " << i;
  }
  for (int i = 4; i < 10; ++i) EXPECT_EQ("ACGT"[a.packed_base(16, i)], seqs[16][i]);

  // Unchanged reads come back as they were; unknown letters keep their text.
  a.output_dir = dir.path();
  a.write_fastx(a.file_name);
  std::string expected;
  for (std::size_t i = 0; i < seqs.size(); ++i) expected += ">s" + std::to_string(i) + "\n" + seqs[i] + "\n";
  expected.replace(expected.find("acgt"), 4, "ACGT");
  EXPECT_EQ(dir.read("p.fq_corrected.fasta"), expected);

  // FASTA with wrapped lines, gzip.
  ATGC<double> f(dir.path(), "job");
  f.file_name = dir.write_gz("f.fa.gz", ">one\nACGTAC\nGTT\n>two\n\nTTTT\n");
  f.read_fastx();
  ASSERT_EQ(f.n_reads, 2u);
  EXPECT_EQ(f.file_kind, '>');
  EXPECT_EQ(std::vector<int>(f.read_length, f.read_length + 2), std::vector<int>({9, 4}));
  EXPECT_EQ(f.total_bases, 13u);
  EXPECT_EQ("ACGT"[f.packed_base(0, 8)], 'T');
}

// The bar is drawn when a record ends where the characters read so far plus 2
// make a multiple of 100: a 98-byte record draws it, a 100-byte one does not.
TEST(PackingLoader, ProgressBarAtRecordEndsOnHundreds) {
  TempDir dir;
  const auto load = [&](int bases) {
    ATGC<double> a(dir.path(), "job");  // a header line of 14 bytes
    a.file_name = dir.write("bar.fq", "@hhhhhhhhhhhh\n" + std::string(bases, 'A') + "\n+\n" + std::string(bases, 'I') +
                                          "\n");
    testing::internal::CaptureStdout();
    a.read_fastx();
    return testing::internal::GetCapturedStdout();
  };
  const std::string drawn = load(40);  // 14 + 41 + 2 + 41 = 98 bytes
  EXPECT_TRUE(has(drawn, "\r-- Loading " + dir.path() + "bar.fq (1000/1000) [")) << drawn;
  EXPECT_TRUE(has(drawn, "100.00% completed  completed!\n")) << drawn;
  const std::string quiet = load(41);  // 100 bytes
  EXPECT_FALSE(has(quiet, "\r")) << quiet;
  EXPECT_TRUE(has(quiet, "-- Loading " + dir.path() + "bar.fq completed!\n")) << quiet;
}

TEST(GzFile, ReadsEveryLineOfGzipAndPlainAndLargeFilesInPlace) {
  TempDir dir;
  std::vector<std::vector<char>> zipped, plain;
  const std::string text = "@a\nAC\n+\nII\n\nlast";
  ASSERT_TRUE(ATGC<double>::read_gzfile(zipped, dir.write_gz("l.gz", text)));
  ASSERT_TRUE(ATGC<double>::read_gzfile(plain, dir.write("l.txt", text)));
  EXPECT_EQ(zipped, plain);
  ASSERT_EQ(plain.size(), 6u);
  EXPECT_EQ(std::string(plain[5].begin(), plain[5].end()), "last");
  EXPECT_TRUE(plain[4].empty());
  EXPECT_FALSE(ATGC<double>::read_gzfile(plain, dir.path() + "nothing"));

  // A plain file larger than the part of it the reader keeps mapped: every line
  // comes back in order, also after the pages behind have been given back.
  std::string big;
  const int lines = 400000;  // about 40 MB
  const std::string fill(90, 'x');
  for (int i = 0; i < lines; ++i) big += std::to_string(i) + fill + "\n";
  big += "tail";
  tevo::GzLineReader in(dir.write("big.txt", big));
  ASSERT_TRUE(in.is_open() && in.is_plain());
  const char* line = nullptr;
  std::size_t length = 0;
  for (int i = 0; i < lines; ++i) {
    ASSERT_TRUE(in.next(line, length)) << i;
    ASSERT_EQ(std::string(line, length), std::to_string(i) + fill) << i;
  }
  ASSERT_TRUE(in.next(line, length));
  EXPECT_EQ(std::string(line, length), "tail");
  EXPECT_FALSE(in.next(line, length));
  EXPECT_EQ(in.consumed(), big.size());
  EXPECT_EQ(in.file_offset(), big.size());
}
