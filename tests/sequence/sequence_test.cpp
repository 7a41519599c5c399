// LSequence: the readers and their bad-input table, converters, trimming
// filters, reweighting and similarity against naive oracles, entropy,
// conservation, and the reference placed on a structure.
#include "sequence/sequence.h"

#include <gtest/gtest.h>
#include <omp.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>

#include "sequence/sequence_fixtures.h"

namespace {

const std::string kShared = TEVO_SHARED_DATA;

std::string gzip_file(const TempDir& dir, const std::string& name, const std::string& text) {
  gzFile gz = gzopen((dir.path() + name).c_str(), "wb");
  gzwrite(gz, text.data(), static_cast<unsigned>(text.size()));
  gzclose(gz);
  return dir.path() + name;
}

// A gzip file cut before its trailer, and one with a wrong checksum.
std::pair<std::string, std::string> damaged_gzips(const TempDir& dir, const std::string& text) {
  std::string bytes = slurp(gzip_file(dir, "whole.gz", text));
  const std::string cut = dir.write("cut.gz", bytes.substr(0, bytes.size() - 6));
  bytes[bytes.size() - 8] ^= 0x55;
  return {cut, dir.write("crc.gz", bytes)};
}

}  // namespace

TEST(SequenceRead, LettersCaseRecordsAndCounts) {
  ASSERT_TRUE(kNoPlotTools);
  TempDir dir;
  const std::string text = "  >ref one\nAC-D\nef\n\n# a comment\n>second\nacXd\nB.\n>third\nAAAAAA\n";
  for (const std::string& file : {dir.write("a.fasta", text), gzip_file(dir, "a.fasta.gz", text)}) {
    LSequence<double> seq(dir.path(), "job", 0);
    const std::string out = captured_stdout([&] { seq.read_msa(file, true); });
    ASSERT_EQ(seq.num_of_seq, 3) << file;
    EXPECT_EQ(seq.num_of_site, 6);
    EXPECT_EQ(seq.num_of_aa, 5);
    EXPECT_EQ(seq.seq_names[0], ">ref one");  // trimmed, ">" kept
    EXPECT_EQ(seq.sequences, (std::vector<std::string>{"AC-Def", "ac-d--", "AAAAAA"}));  // lower case stays
    EXPECT_EQ(std::vector<int>(seq.msa[1], seq.msa[1] + 6), (std::vector<int>{1, 5, 0, 4, 0, 0}));
    EXPECT_EQ(seq.msa[0][4], 7);  // 'e' folds to E
    EXPECT_NE(out.find("-- Loaded 3 sequences of 6 sites from\n"), std::string::npos) << out;
  }
  LSequence<double> seq(dir.path(), "job", 0);
  std::vector<int> idx;
  std::string s = "A-vX", back;
  seq.sequence2index(idx, s);
  EXPECT_EQ(idx, (std::vector<int>{1, 0, 20, -1}));
  idx = {0, 1, 20, 7};
  seq.index2sequence(back, idx);
  EXPECT_EQ(back, "-AVE");

  seq.read_fasta(dir.write("p.fa", ">a\nacde\nfg\n>b\nhik\n"));
  // Lines of 4, 2 and 3 characters fold at most the first 4: "fghik" stays.
  EXPECT_EQ(seq.ref_seq, "ACDEfghik");
  EXPECT_EQ(seq.fasta_name, "p");
  EXPECT_EQ(tevo::get_file_name("/x.y/dir\\name.tar.gz"), "name.tar");
}

TEST(SequenceRead, InsertStatesOfA2mAndA3m) {
  TempDir dir;
  // Ragged rows of a file named A2M/A3M lose their lower-case letters and
  // '.'; rows of one length are read as they stand.
  const struct {
    std::string name, text;
    std::vector<std::string> rows;
    bool inserts;
  } cases[] = {
      {"r.a3m", ">q\nACDEF\n>h1\nAkkCDEF\n>h2\nAC-EF\n", {"ACDEF", "ACDEF", "AC-EF"}, true},
      {"R.A2M.gz", ">q\naCDEF\n>h1\nCDEkFg\n", {"CDEF", "CDEF"}, true},
      {"e.a2m", ">q\nAcDE\n>h\nA.DE\n", {"AcDE", "A-DE"}, false},
  };
  for (const auto& c : cases) {
    const std::string file = c.name.back() == 'z' ? gzip_file(dir, c.name, c.text) : dir.write(c.name, c.text);
    LSequence<double> seq(dir.path(), "job", 1);
    seq.read_msa(file, false);
    EXPECT_EQ(seq.read_inserts, c.inserts) << c.name;
    EXPECT_EQ(seq.sequences, c.rows) << c.name;  // the reference's own inserts go too
  }
  // Real files: hmmalign A2M with inserts in the reference, hhblits A3M, gzip A2M.
  const struct {
    std::string path;
    int seqs, sites;
  } real[] = {{"/msa/Pkinase_structure_members.a2m", 3, 260},
              {"/msa/misc/hhsuite_query.a3m", 59, 431},
              {"/structures/trypsins_theseus/tryps.a2m.gz", 189, 441}};
  for (const auto& r : real) {
    if (!std::ifstream(kShared + r.path)) continue;
    LSequence<double> seq(dir.path(), "job", 1);
    seq.read_msa(kShared + r.path, false);
    EXPECT_EQ(seq.num_of_seq, r.seqs) << r.path;
    EXPECT_EQ(seq.num_of_site, r.sites) << r.path;
  }
}

TEST(SequenceReadDeathTest, BadInputTable) {
  TempDir dir;
  const auto [cut, crc] = damaged_gzips(dir, ">a\nACDEF\n>b\nACDEF\n");
  const struct {
    std::string file, message;
  } cases[] = {
      {dir.write("empty.fa", ""), "Error: .*empty.fa holds no sequence"},
      {dir.write("a.fa", "ACDE\nACDE\n"), "a.fa line 1: sequence text before the first \">\" name line"},
      {dir.write("b.fa", ">a\n>b\n"), "the reference sequence >a is empty"},
      {dir.write("c.fa", ">a\nACDEF\n>b\nACDEF\n>short one\nACD\n"), "sequence 3 >short one has 3 sites, fewer than the 5"},
      {dir.write("d.fa", ">a\nACDEF\n>b\n"), "sequence 2 >b has 0 sites"},
      {dir.write("e.fa", ">a\nACDEF\n>long\nACdEFGH\n"),
       "sequence 2 >long has 7 sites, more than the 5 of the reference; rows of an alignment have one length"},
      {dir.write("f.a3m", ">a\nACDEF\n>b\nACxDEFG\n"), "sequence 2 >b has 6 sites, more than the 5 .* once its inserts"},
      {cut, "Error: .*cut.gz: the gzip stream is cut short"},
      {crc, "Error: .*crc.gz: corrupt gzip data \\(incorrect data check\\)"},
      {dir.path() + "missing.fa", "Error: cannot open .*missing.fa"},
      {dir.path(), "Error: .* is a directory, not a file"},
  };
  for (const auto& c : cases) {
    LSequence<double> seq(dir.path(), "job", 1);
    EXPECT_EXIT_1(seq.read_msa(c.file, false), c.message);
  }
  LSequence<double> seq(dir.path(), "job", 1);
  EXPECT_EXIT_1(seq.read_fasta(cut), "the gzip stream is cut short");
  EXPECT_EXIT_1(seq.read_fasta(dir.path()), "is a directory, not a file");
  EXPECT_EXIT_1(seq.sequence_write(dir.path() + "x"), "Error: no sequence will be saved!");
}

TEST(SequenceConvert, JackhmmerBlastAndA3m) {
  TempDir dir;
  LSequence<double> seq(dir.path(), "job", 1);
  const std::string sto = dir.write("s.sto",
                                    "# STOCKHOLM 1.0\n#=GF ID x\n\nseqA   ..AC-d.E\nseqB/2-9 KLM\n"
                                    "seqB/2-9 KLMNPQRS\nabc\n//\n");
  std::string out = captured_stdout([&] { seq.jackhmmer2fasta(sto); });
  // Names without ">", text after the blanks unchanged, short lines dropped,
  // records of one name in one block not merged.
  EXPECT_EQ(dir.read("job.a3m"), "seqA\n..AC-d.E\nseqB/2-9\nKLM\nseqB/2-9\nKLMNPQRS\n");
  EXPECT_NE(out.find("-- The converted MSA (3 sequences with 8 sites)"), std::string::npos) << out;

  // Gaps go from the whole of a long line.
  const std::string blast = dir.write("b.tsv", "sp|P1|X\tAC--DE-F\n# note\n\ntr|Q2\t-KL\nlong\t" +
                                                   std::string(1000000, '-') + "W-Y\n");
  captured_stdout([&] { seq.blast2fasta(blast); });
  EXPECT_EQ(dir.read("job_blast.a3m"), "sp|P1|X\nACDEF\ntr|Q2\nKL\nlong\nWY\n");

  captured_stdout([&] { seq.a3m_to_a2m(dir.write("c.a3m", ">n1 ACdE-f extra\n>n2  AC\n")); });
  EXPECT_EQ(dir.read("job.a2m"), ">n1\nACdE-f\n>n2\nAC\n");

  const auto [cut, crc] = damaged_gzips(dir, "seqA ACDE\n");
  EXPECT_EXIT_1(seq.blast2fasta(dir.write("bad.tsv", "a\tAC\nonlyone\n")), "bad.tsv line 2: expected two tab-separated");
  EXPECT_EXIT_1(seq.a3m_to_a2m(dir.write("bad.a3m", ">a AC\n>b\n")), "bad.a3m line 2: expected a name");
  EXPECT_EXIT_1(seq.jackhmmer2fasta(dir.write("bad.sto", "nameonly\n")), "line 1: no blank");
  EXPECT_EXIT_1(seq.jackhmmer2fasta(dir.write("empty.sto", "# x\n//\n")), "no sequence will be saved!");
  // A Stockholm file in blocks would split every sequence.
  EXPECT_EXIT_1(seq.jackhmmer2fasta(dir.write("blocks.sto", "# STOCKHOLM 1.0\nseqA  ACDE\nseqB  ACDF\n\n"
                                                              "seqA  GHIK\nseqB  GHIL\n//\n")),
                "blocks.sto line 5: seqA already stands in an earlier block \\(line 2\\).*esl-reformat pfam");
  EXPECT_EXIT_1(seq.jackhmmer2fasta(crc), "crc.gz: corrupt gzip data");
  EXPECT_EXIT_1(seq.a3m_to_a2m(cut), "cut.gz: the gzip stream is cut short");
  EXPECT_EXIT_1(seq.blast2fasta(dir.path()), "is a directory, not a file");
}

TEST(SequenceTrim, ProjectionFiltersInOrderAndInclusiveBounds) {
  TempDir dir;
  // Reference gap at column 2: that column goes from every sequence.
  // After projection (5 sites): s1 has 1 gap (0.2), s2 2 gaps (0.4), s3 0.
  const std::string text = ">ref\nAC-DEF\n>s1\nac-DE-\n>s2\nA-Q-EF\n>s3\nACWDEY\n";
  LSequence<double> seq(dir.path(), "job", 1);
  trim(seq, dir, text, 0.2, 1.0);
  EXPECT_EQ(seq.seq_map, (std::vector<int>{0, 1, -1, 3}));  // 0.2 stays: the bound is inclusive
  EXPECT_EQ(dir.read("job_msa_trimmed.a3m"), ">ref\nACDEF\n>s1\nACDE-\n>s3\nACDEY\n");  // upper case
  EXPECT_EQ(seq.trimmed_msa[2][4], 19);
  const std::string csv = dir.read("job_msa_trimmed.csv");
  EXPECT_EQ(csv.substr(0, csv.find('\n') + 1), " ,A1,C2,D3,E4,F5\n");
  EXPECT_NE(csv.find("seq2,1,5,4,7,0\n"), std::string::npos) << csv;

  // Site filter after the sequence filter: with s2 dropped, site 4 has 1 gap
  // of 3 (kept at 1/3 only); with s2 kept, sites 1, 2 and 4 one gap of four.
  const struct {
    double gap, site;
    std::vector<int> map;
  } bounds[] = {{0.2, 0.3, {0, 1, 2, 3, -1}}, {0.2, 1.0 / 3.0, {0, 1, 2, 3, 4}},
                {0.4, 0.25, {0, 1, 2, 3, 4}}, {0.4, 0.24, {0, -1, -1, 3, -1}}};
  for (const auto& b : bounds) {
    LSequence<double> k(dir.path(), "k", 1);
    trim(k, dir, text, b.gap, b.site);
    EXPECT_EQ(k.site_map, b.map) << b.gap << " " << b.site;
  }
}

TEST(SequenceTrimDeathTest, NothingLeftSavesNoSequence) {
  TempDir dir;
  // No sequence, no site, or no residue in the reference: each ends in the
  // writer's refusal, after a warning that says why.
  const struct {
    std::string text;
    double gap, site;
    std::string why;
  } cases[] = {
      {">ref\nACD\n>s\nA-D\n", -0.1, 1.0, "Trimming the sequences -- "},
      {">ref\nACD\n>s\nA-D\n", 1.0, -0.1, "Warning: no site of .*in.fasta is left after trimming \\(site_gap_frac -0.100\\)"},
      {">ref\n---\n>s\nAAA\n", 1.0, 1.0, "Warning: .*in.fasta: the reference sequence >ref has no residue"},
  };
  for (const auto& c : cases) {
    LSequence<double> seq(dir.path(), "job", 1);
    EXPECT_EXIT_1(trim(seq, dir, c.text, c.gap, c.site, false), c.why + ".*Error: no sequence will be saved!");
  }
}

// Neighbour weights by the plain definition: every ordered pair, no shortcut.
static std::vector<double> oracle_weights(const LSequence<double>& seq, double theta) {
  const int n = seq.num_of_trimmed_seq, L = seq.num_of_trimmed_site;
  std::vector<double> w(n, 1.0);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      int equal = 0;
      for (int k = 0; k < L; ++k) equal += seq.trimmed_msa[i][k] == seq.trimmed_msa[j][k];
      if (i != j && equal >= (1 - theta) * L) w[i] += 1.0;
    }
  for (double& x : w) x = 1 / x;
  return w;
}

TEST(SequenceReweight, MatchesOracleOnOneAndTwoThreads) {
  TempDir dir;
  // 70 sites: not a multiple of the vector width, so the padding path is used.
  const std::string text = random_alignment(300, 70, 7, 0.15, 0.05);
  for (int threads : {1, 2}) {
    omp_set_num_threads(threads);
    for (double theta : {0.0, 0.2, 0.35, 1.0}) {
      LSequence<double> seq(dir.path(), "job", 1);
      trim(seq, dir, text);
      captured_stdout([&] { seq.sequence_reweight(theta, 1.0); });
      const std::vector<double> w = oracle_weights(seq, theta);
      EXPECT_EQ(std::vector<double>(seq.weights, seq.weights + seq.num_of_trimmed_seq), w)
          << "threads " << threads << " theta " << theta;
      double sum = 0;
      for (double x : w) sum += x;
      EXPECT_DOUBLE_EQ(seq.effective_samples, sum);
    }
  }
  omp_set_num_threads(2);
}

TEST(SequenceReweight, ThetaZeroQualityWordsAndRecord) {
  TempDir dir;
  // Rows 0 and 2 identical (gaps included); row 1 differs in one gap.
  LSequence<double> seq(dir.path(), "job", 1);
  trim(seq, dir, ">r\nACDEF\n>a\nACDE-\n>b\nACDEF\n");
  const std::string out = captured_stdout([&] { seq.sequence_reweight(0.0, 2.0); });
  EXPECT_EQ(std::vector<double>(seq.weights, seq.weights + 3), (std::vector<double>{1.0, 2.0, 1.0}));
  // 4 effective samples over 5 residues: q = 0.8.
  EXPECT_NE(out.find("-- Got 4.0 effective samples (100.0% identical neighborhood = 2.0 sample)\n-- The quality "
                     "of the obtained samples is not good (0.800)"),
            std::string::npos)
      << out;
  EXPECT_NE(dir.read("job.log").find("not good quality</span>)</b>: 0.800"), std::string::npos);
  // q exactly 1 and exactly 5 read "good " (sum 2 * sample over 5 residues).
  for (const auto& [sample, word] : {std::pair<double, const char*>{2.5, "good (1.000)"}, {12.5, "good (5.000)"},
                                     {14.0, "very good (5.600)"}}) {
    const std::string o = captured_stdout([&] { seq.sequence_reweight(0.0, sample); });
    EXPECT_NE(o.find(std::string("samples is ") + word), std::string::npos) << o;
  }
  for (double theta : {1.5, -0.01})
    EXPECT_EXIT_1(seq.sequence_reweight(theta, 1.0), "Error: .theta is not in \\[0, 1\\]. Will not reweight");
}

TEST(SequenceKernels, CountsMatchAPlainLoop) {
  std::mt19937 rng(11);
  // Lengths around the 16- and 32-byte vectors, and 4200 equal bytes, which
  // would wrap 8-bit lane counters; few states give many equal bytes.
  for (int n : {0, 1, 15, 16, 31, 33, 64, 65, 300, 4200})
    for (int trial = 0; trial < 5; ++trial) {
      std::vector<uint8_t> a(n), b(n);
      int equal = 0;
      for (int k = 0; k < n; ++k) {
        a[k] = rng() % 4, b[k] = trial == 4 ? a[k] : rng() % 4;
        equal += a[k] == b[k];
      }
      ASSERT_EQ(tevo::count_equal_sites(a.data(), b.data(), n), equal) << n;
      for (int need : {0, equal - 1, equal, equal + 1, n + 1})
        ASSERT_EQ(tevo::has_identity_at_least(a.data(), b.data(), n, need), equal >= need) << n << " " << need;
    }
  // Row against a tile of 7 rows, one of them equal to it.
  for (int stride : {32, 96, 8192 + 32}) {
    const int m = 7;
    std::vector<uint8_t> row(stride), tile(static_cast<std::size_t>(m) * stride);
    for (auto& x : row) x = rng() % 3;
    for (auto& x : tile) x = rng() % 3;
    std::copy(row.begin(), row.end(), tile.begin() + 2 * stride);
    std::vector<int> equal(m), expect(m, 0);
    for (int j = 0; j < m; ++j)
      for (int k = 0; k < stride; ++k) expect[j] += row[k] == tile[static_cast<std::size_t>(j) * stride + k];
    tevo::rows_equal(row.data(), tile.data(), m, stride, equal.data());
    EXPECT_EQ(equal, expect) << stride;
    for (int need : {0, stride / 3, stride / 2, stride, stride + 1}) {
      std::vector<uint8_t> hit(m, 9), want(m);
      for (int j = 0; j < m; ++j) want[j] = expect[j] >= need;
      EXPECT_EQ(tevo::rows_at_least(row.data(), tile.data(), m, stride, need, hit.data()),
                std::count(want.begin(), want.end(), 1));
      EXPECT_EQ(hit, want) << stride << " " << need;
    }
  }
}

TEST(SequenceEntropy, AllSixCases) {
  LSequence<double> seq("", "", 1);
  const struct {
    std::vector<double> f, q;
    double alpha, expected;
  } cases[] = {
      // n >= 2, alpha 1: the gap state (index 0) is left out, zeros skipped.
      {{0.5, 0.25, 0.25, 0.0}, {0.9, 0.5, 0.05, 0.3}, 1.0, 0.25 * std::log(0.5) + 0.25 * std::log(5.0)},
      {{0.5, 0.5}, {0.1, 0.1}, 0.0, 1.0},
      {{0.3, 0.2, 0.5}, {0.1, 0.4, 0.5}, 2.0, std::log(0.04 / 0.4 + 0.25 / 0.5)},
      // n == 1: the other state is 1 - f.
      {{0.25}, {0.5}, 1.0, 0.25 * std::log(0.5) + 0.75 * std::log(1.5)},
      {{1.0}, {0.25}, 1.0, std::log(4.0)},
      {{0.0}, {0.25}, 1.0, std::log(1 / 0.75)},
      {{0.7}, {0.2}, 0.0, 1.0},
      {{0.25}, {0.5}, 0.5, -2 * std::log(std::sqrt(0.25 * 0.5) + std::sqrt(0.75 * 0.5))},
  };
  for (const auto& c : cases) {
    double r = -1;
    seq.sequence_entropy(r, c.f, c.q, c.alpha);
    EXPECT_NEAR(r, c.expected, 1e-15) << c.f[0] << " " << c.alpha;
  }
}

TEST(SequenceConservation, BackgroundScaledByGaps) {
  TempDir dir;
  // Site 0: all A (conserved); site 1: half gaps; site 2: mixed. 4 rows.
  LSequence<double> seq(dir.path(), "job", 1);
  trim(seq, dir, ">r\nAWC\n>a\nA-D\n>b\nAWC\n>c\nA-E\n");
  captured_stdout([&] { seq.calc_site_conservation(); });
  const double g = 2.0 / 12.0;  // gaps over all cells
  const double qA = (1 - g) * 0.073, qW = (1 - g) * 0.013, qC = (1 - g) * 0.025, qD = (1 - g) * 0.05,
               qE = (1 - g) * 0.061;
  EXPECT_NEAR(seq.site_conservation[0][1], std::log(1 / qA), 1e-12);
  EXPECT_NEAR(seq.site_conservation[1][1], 0.5 * std::log(0.5 / qW), 1e-12);
  EXPECT_NEAR(seq.site_conservation[2][1],
              0.5 * std::log(0.5 / qC) + 0.25 * std::log(0.25 / qD) + 0.25 * std::log(0.25 / qE), 1e-12);
  EXPECT_EQ(seq.site_conservation[2][0], 2.0);
  // Relative entropy of W (index 18) at site 1: f = 0.5 against qW; A absent there.
  EXPECT_NEAR(seq.aa_relative_entropy[17][1], 0.5 * std::log(0.5 / qW) + 0.5 * std::log(0.5 / (1 - qW)), 1e-12);
  EXPECT_NEAR(seq.aa_relative_entropy[0][1], std::log(1 / (1 - qA)), 1e-12);
  EXPECT_EQ(dir.read("job_degree_of_conservation.csv").substr(0, 26), "Site,Index,D_i\nA1,0.00000,");

  // No gaps: the background is the table itself.
  LSequence<double> plain(dir.path(), "p", 1);
  trim(plain, dir, ">r\nAC\n>a\nAC\n");
  captured_stdout([&] { plain.calc_site_conservation(); });
  EXPECT_NEAR(plain.site_conservation[1][1], std::log(1 / 0.025), 1e-12);
}

TEST(SequenceSimilarity, HistogramMatchesOracle) {
  TempDir dir;
  const std::string text = random_alignment(150, 45, 3, 0.4, 0.1);
  for (int threads : {1, 2}) {
    omp_set_num_threads(threads);
    LSequence<double> seq(dir.path(), "job", 1);
    trim(seq, dir, text);
    captured_stdout([&] { seq.calc_sequence_similarity(dir.path() + "in.fasta", 1000); });
    const int n = seq.num_of_trimmed_seq, L = seq.num_of_trimmed_site;
    std::vector<double> hist(100, 0);
    for (int i = 0; i < n; ++i)
      for (int j = i + 1; j < n; ++j) {
        int equal = 0;
        for (int k = 0; k < L; ++k) equal += seq.trimmed_msa[i][k] == seq.trimmed_msa[j][k];
        const double identity = static_cast<double>(equal) / L;
        for (int k = 0; k < 100; ++k)
          if (k * 0.01 < identity && identity <= (k + 1) * 0.01) {
            hist[k] += 1;
            break;
          }
      }
    for (int k = 0; k < 100; ++k) EXPECT_EQ(seq.similarity[k][1], hist[k]) << k;
  }
  omp_set_num_threads(2);

  // Two identical sequences: the last bin; identity 0 falls in no bin.
  for (const std::string text : {">a\nACDEFG\n>b\nACDEFG\n", ">a\nAC\n>b\nDE\n"}) {
    LSequence<double> two(dir.path(), "two", 1);
    trim(two, dir, text);
    captured_stdout([&] { two.calc_sequence_similarity(dir.path() + "in.fasta", 1000); });
    double total = 0;
    for (int k = 0; k < 100; ++k) total += two.similarity[k][1];
    EXPECT_EQ(total, two.similarity[99][1]);
    EXPECT_EQ(total, text.size() > 12 ? 1.0 : 0.0);
  }
}

TEST(SequenceStructure, ChainMatchNumbersEveryReferenceResidue) {
  auto numbers = [](int first, int n) {
    std::vector<int> v(n);
    for (int k = 0; k < n; ++k) v[k] = first + k;
    return v;
  };
  std::vector<int> gapped = numbers(-1, 12);  // a tag G S, residues 1..10, then 17..22: 11..16 unresolved
  const std::vector<int> tail = numbers(17, 6);
  gapped.insert(gapped.end(), tail.begin(), tail.end());
  const struct {
    std::string ref;
    tevo::PdbChain chain;
    std::vector<int> numbers;
    int aligned, identical;
  } cases[] = {
      {"ACD", {"A", "ACD", {10, 11, 15}}, {10, 11, 15}, 3, 3},
      {"MKTAYIAKQRQISFVKSHFSRQ", {"A", "GSMKTAYIAKQRSHFSRQ", gapped}, numbers(1, 22), 16, 16},
      {"MGSSHHACDEFGHIKLM", {"B", "ACDEFGHWKLM", numbers(100, 11)}, numbers(94, 17), 11, 10},
      {"WWWW", {"C", "AAAA", numbers(5, 4)}, numbers(5, 4), 0, 0},
  };
  for (const auto& c : cases) {
    const tevo::ChainMatch m = tevo::match_chain(c.ref, c.chain);
    EXPECT_EQ(m.numbers, c.numbers) << c.ref;
    EXPECT_EQ(m.aligned, c.aligned) << c.ref;
    EXPECT_EQ(m.identical, c.identical) << c.ref;
  }
  const std::vector<tevo::PdbChain> chains = {cases[0].chain, cases[1].chain, cases[2].chain};
  EXPECT_EQ(tevo::pick_chain("CDEFGHI", chains, "").chain, 2);
  EXPECT_EQ(tevo::pick_chain("CDEFGHI", chains, "A").chain, 0);
  EXPECT_EQ(tevo::pick_chain("CDEFGHI", chains, "Z").chain, -1);
}

TEST(SequenceStructure, LabelsFollowTheMappedChainAndKeptSites) {
  TempDir dir;
  auto atom = [](int serial, const char* name, char chain, const char* number) {
    char line[96];
    std::snprintf(line, sizeof line, "ATOM  %5d  CA  %s %c%5s     11.639   6.071  -5.147  1.00  0.00           C\n",
                  serial, name, chain, number);
    return std::string(line);
  };
  // Chain A is another protein; the reference is chain B, where 11 and 11A
  // share a number (one residue for the structure reader).
  const std::string pdb = dir.write("s.pdb", atom(1, "GLY", 'A', "1") + atom(2, "GLY", 'A', "2") + "TER\n" +
                                                 atom(3, "ALA", 'B', "10") + atom(4, "CYS", 'B', "11") +
                                                 atom(5, "CYS", 'B', "11A") + atom(6, "ASP", 'B', "15") + "TER\n");
  const std::string msa = dir.write("in.fasta", ">r\nACD\n>s\nA-D\n>t\nA-D\n");  // C: 2 gaps of 3
  const struct {
    std::string pdb;
    double site_gap_frac;
    std::vector<std::string> labels;
  } cases[] = {{"", 1.0, {"A5", "C6", "D7"}}, {pdb, 1.0, {"A10", "C11", "D15"}}, {pdb, 0.5, {"A10", "D15"}}};
  for (const auto& c : cases) {
    LSequence<double> seq(dir.path(), "job", 5);
    seq.init(c.pdb);
    seq.set_gap_frac(1.0);
    seq.set_site_gap_frac(c.site_gap_frac);
    const std::string out = captured_stdout([&] { seq.sequence_trim(msa, c.pdb, false, false); });
    EXPECT_EQ(seq.site_labels(), c.labels) << out;
    const std::string mapped = "maps on chain B of " + pdb + " (3 of 3 reference residues aligned, 100.0% identical)";
    EXPECT_EQ(out.find(mapped) != std::string::npos, !c.pdb.empty()) << out;
  }
  LSequence<double> seq(dir.path(), "job", 1);
  seq.init(pdb);
  seq.set_chain("Q");
  EXPECT_EXIT_1(seq.sequence_trim(msa, pdb, false, false), "s.pdb has no chain Q \\(its chains: A, B\\)");
  EXPECT_EXIT_1(seq.init(dir.path() + "none.pdb"), "Error: cannot open .*none.pdb");
  EXPECT_EXIT_1(seq.init(dir.path()), "is a directory, not a file");
}

TEST(SequenceStructure, RealFamiliesFindTheirChain) {
  const std::string kinase = kShared + "/structures/single/5dpv.pdb", hb = kShared + "/structures/single/2hhb.ent";
  if (!std::ifstream(kinase) || !std::ifstream(hb)) GTEST_SKIP() << "shared data absent";
  TempDir dir;
  // A 6c83-like file: another protein as chain A, the kinase domain as chain C.
  std::string two_chains;
  for (const auto& [file, chain] : {std::pair<std::string, char>{TEVO_TEST_DATA "/protein/1ubq.pdb", 'A'},
                                    {kinase, 'C'}}) {
    std::istringstream in(slurp(file));
    for (std::string line; std::getline(in, line);)
      if (line.rfind("ATOM", 0) == 0) two_chains += line.replace(21, 1, 1, chain) + "\n";
    two_chains += "TER\n";
  }
  // The haemoglobin family with its beta chain (chain B of 2hhb) first.
  const std::string globins = slurp(kShared + "/msa/globins4_structure_members.a2m");
  const std::size_t beta = globins.find(">2hhb_B");
  const std::string beta_first = dir.write("b.a2m", globins.substr(beta) + globins.substr(0, beta));
  const struct {
    std::string msa, pdb, chain, mapped, first_label;
    bool warns;
  } cases[] = {
      {kShared + "/msa/Pkinase_structure_members.a2m", dir.write("like6c83.pdb", two_chains), "", "C", "F133", false},
      {beta_first, hb, "", "B", "V1", false},
      {beta_first, hb, "A", "A", "V0", true},  // the alpha chain as asked: a loose match, V1 faces a gap
  };
  for (const auto& c : cases) {
    LSequence<double> seq(dir.path(), "job", 1);
    seq.init(c.pdb);
    seq.set_chain(c.chain);
    const std::string out = captured_stdout([&] { seq.sequence_trim(c.msa, c.pdb, false, false); });
    EXPECT_EQ(seq.pdb_chain, c.mapped) << out;
    EXPECT_EQ(seq.site_labels().at(0), c.first_label);
    EXPECT_EQ(out.find("Warning: chain " + c.mapped + " matches the reference poorly") != std::string::npos, c.warns)
        << out;
  }
}
