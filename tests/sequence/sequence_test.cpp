// LSequence: reading and its bad-input table, converters, trimming filters,
// reweighting and similarity against naive oracles, entropy and conservation.
#include "sequence/sequence.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>

#include "sequence/sequence_fixtures.h"

TEST(SequenceRead, LettersCaseRecordsAndCounts) {
  ASSERT_TRUE(kNoPlotTools);
  TempDir dir;
  LSequence<double> seq(dir.path(), "job", 0);
  const std::string file =
      dir.write("a.fasta", "  >ref one\nAC-D\nef\n\n# a comment\n>second\nacXd\nB.zZ\n>third\nAAAAAAAA\n");
  const std::string out = captured_stdout([&] { seq.read_msa(file, true); });
  ASSERT_EQ(seq.num_of_seq, 3);
  EXPECT_EQ(seq.num_of_site, 6);
  EXPECT_EQ(seq.num_of_aa, 5);
  EXPECT_EQ(seq.seq_names[0], ">ref one");  // trimmed, ">" kept
  EXPECT_EQ(seq.sequences[0], "AC-Def");
  EXPECT_EQ(seq.sequences[1], "ac-d----");   // lower case stays, no residue becomes a gap
  EXPECT_EQ(seq.sequences[2], "AAAAAAAA");    // longer than the reference: accepted
  EXPECT_EQ(std::vector<int>(seq.msa[1], seq.msa[1] + 6), (std::vector<int>{1, 5, 0, 4, 0, 0}));
  EXPECT_EQ(seq.msa[0][4], 7);  // 'e' folds to E
  EXPECT_NE(out.find("-- Loaded 3 sequences of 6 sites from\n"), std::string::npos) << out;

  std::vector<int> idx;
  std::string s = "A-vX", back;
  seq.sequence2index(idx, s);
  EXPECT_EQ(idx, (std::vector<int>{1, 0, 20, -1}));
  idx = {0, 1, 20, 7};
  seq.index2sequence(back, idx);
  EXPECT_EQ(back, "-AVE");
}

TEST(SequenceRead, FastaFoldsOnlyTheHead) {
  TempDir dir;
  LSequence<double> seq(dir.path(), "job", 1);
  seq.read_fasta(dir.write("p.fa", ">a\nacde\nfg\n>b\nhik\n"));
  // Lines of 4, 2 and 3 characters fold at most the first 4: "fghik" stays.
  EXPECT_EQ(seq.ref_seq, "ACDEfghik");
  EXPECT_EQ(seq.num_of_aa, 9);
  EXPECT_EQ(seq.fasta_name, "p");
  EXPECT_EQ(tevo::get_file_name("/x.y/dir\\name.tar.gz"), "name.tar");
}

TEST(SequenceReadDeathTest, BadInputTable) {
  TempDir dir;
  struct Case {
    std::string text, message;
  } cases[] = {
      {"", "Error: .*empty.fa holds no sequence"},
      {"ACDE\nACDE\n", "line 1: sequence text before the first \">\" name line"},
      {">a\n>b\n", "the reference sequence >a is empty"},
      {">a\nACDEF\n>b\nACDEF\n>short one\nACD\n", "sequence 3 >short one has 3 sites, fewer than the 5"},
      {">a\nACDEF\n>b\n", "sequence 2 >b has 0 sites"},
  };
  for (const Case& c : cases) {
    const std::string file = dir.write("empty.fa", c.text);
    LSequence<double> seq(dir.path(), "job", 1);
    EXPECT_FAILS_WITH(seq.read_msa(file, false), c.message);
  }
  LSequence<double> seq(dir.path(), "job", 1);
  EXPECT_FAILS_WITH(seq.read_msa(dir.path() + "missing.fa", false), "Error: cannot open .*missing.fa");
  EXPECT_FAILS_WITH(seq.read_fasta(dir.path() + "missing.fa"), "Error: cannot open .*missing.fa");
  // A reference of gaps only leaves no column to project on.
  const std::string gaps = dir.write("g.fa", ">a\n---\n>b\nAAA\n");
  EXPECT_FAILS_WITH(seq.sequence_trim(gaps, "", false, false), "reference sequence >a has no residue");
  // Nothing to write.
  EXPECT_FAILS_WITH(seq.sequence_write(dir.path() + "x"), "Error: no sequence will be saved!");
}

TEST(SequenceConvert, JackhmmerBlastAndA3m) {
  TempDir dir;
  LSequence<double> seq(dir.path(), "job", 1);
  const std::string sto = dir.write("s.sto",
                                    "# STOCKHOLM 1.0\n#=GF ID x\n\nseqA   ..AC-d.E\nseqB/2-9 KLM\n"
                                    "seqB/2-9 KLMNPQRS\nabc\n//\n");
  std::string out = captured_stdout([&] { seq.jackhmmer2fasta(sto); });
  // Names without ">", text after the blanks unchanged, short lines dropped,
  // records of one name not merged.
  EXPECT_EQ(dir.read("job.a3m"), "seqA\n..AC-d.E\nseqB/2-9\nKLM\nseqB/2-9\nKLMNPQRS\n");
  EXPECT_NE(out.find("-- The converted MSA (3 sequences with 8 sites)"), std::string::npos) << out;

  const std::string blast = dir.write("b.tsv", "sp|P1|X\tAC--DE-F\n# note\n\ntr|Q2\t-KL\n");
  captured_stdout([&] { seq.blast2fasta(blast); });
  EXPECT_EQ(dir.read("job_blast.a3m"), "sp|P1|X\nACDEF\ntr|Q2\nKL\n");

  captured_stdout([&] { seq.a3m_to_a2m(dir.write("c.a3m", ">n1 ACdE-f extra\n>n2  AC\n")); });
  EXPECT_EQ(dir.read("job.a2m"), ">n1\nACdE-f\n>n2\nAC\n");
  EXPECT_FAILS_WITH(seq.blast2fasta(dir.write("bad.tsv", "a\tAC\nonlyone\n")),
                    "bad.tsv line 2: expected two tab-separated fields");
  EXPECT_FAILS_WITH(seq.a3m_to_a2m(dir.write("bad.a3m", ">a AC\n>b\n")), "bad.a3m line 2: expected a name");
  EXPECT_FAILS_WITH(seq.jackhmmer2fasta(dir.write("bad.sto", "nameonly\n")), "line 1: no blank");
  EXPECT_FAILS_WITH(seq.jackhmmer2fasta(dir.write("empty.sto", "# x\n//\n")), "no sequence will be saved!");
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
    if (b.site == 0.24) {
      EXPECT_EQ(k.sequences[2], "AE");
    }
  }
}

TEST(SequenceTrimDeathTest, NothingLeft) {
  TempDir dir;
  const std::string text = ">ref\nACD\n>s\nA-D\n";
  LSequence<double> a(dir.path(), "job", 1);
  EXPECT_FAILS_WITH(trim(a, dir, text, -0.1, 1.0, false), "Error: no sequence will be saved!");
  LSequence<double> b(dir.path(), "job", 1);
  EXPECT_FAILS_WITH(trim(b, dir, text, 1.0, -0.1, false), "no site of .* is left after trimming");
}

// Neighbour weights by the plain definition: every ordered pair, no shortcut.
static std::vector<double> oracle_weights(const LSequence<double>& seq, double theta) {
  const int n = seq.num_of_trimmed_seq, L = seq.num_of_trimmed_site;
  std::vector<double> w(n, 1.0);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      if (i == j) continue;
      int equal = 0;
      for (int k = 0; k < L; ++k) equal += seq.trimmed_msa[i][k] == seq.trimmed_msa[j][k];
      if (equal >= (1 - theta) * L) w[i] += 1.0;
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
      double sum = 0;
      for (int i = 0; i < seq.num_of_trimmed_seq; ++i) {
        EXPECT_EQ(seq.weights[i], w[i]) << "threads " << threads << " theta " << theta << " row " << i;
        sum += w[i];
      }
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
  EXPECT_NE(out.find("-- Got 4.0 effective samples (100.0% identical neighborhood = 2.0 sample)\n"),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("-- The quality of the obtained samples is not good (0.800)"), std::string::npos);
  EXPECT_NE(dir.read("job.log").find("not good quality</span>)</b>: 0.800"), std::string::npos);
  // q exactly 1 and exactly 5 read "good ".
  for (double sample : {2.5, 12.5}) {  // sum 2 * sample over 5 residues
    const std::string o = captured_stdout([&] { seq.sequence_reweight(0.0, sample); });
    EXPECT_NE(o.find("samples is good ("), std::string::npos) << o;
  }
  const std::string very = captured_stdout([&] { seq.sequence_reweight(0.0, 14.0); });
  EXPECT_NE(very.find("samples is very good (5.600)"), std::string::npos) << very;
  for (double theta : {1.5, -0.01})
    EXPECT_FAILS_WITH(seq.sequence_reweight(theta, 1.0), "Error: .theta is not in \\[0, 1\\]. Will not reweight");
}

TEST(SequenceKernels, CountsMatchAPlainLoop) {
  std::mt19937 rng(11);
  std::vector<uint8_t> a(4200), b(4200);
  for (int n : {0, 1, 15, 16, 31, 32, 33, 63, 64, 65, 300, 4096, 4200})
    for (int trial = 0; trial < 5; ++trial) {
      int equal = 0;
      for (int k = 0; k < n; ++k) {
        a[k] = rng() % 4, b[k] = rng() % 4;  // few states: many equal bytes
        equal += a[k] == b[k];
      }
      ASSERT_EQ(tevo::count_equal_sites(a.data(), b.data(), n), equal) << n;
      for (int need : {0, equal - 1, equal, equal + 1, n, n + 1})
        ASSERT_EQ(tevo::has_identity_at_least(a.data(), b.data(), n, need), equal >= need) << n << " " << need;
    }
  // Row against a tile of rows, strides of whole 32-byte vectors.
  for (int stride : {32, 64, 96, 320, 8192 + 32}) {
    const int m = 7;
    std::vector<uint8_t> row(stride), tile(static_cast<std::size_t>(m) * stride);
    for (auto& x : row) x = rng() % 3;
    for (auto& x : tile) x = rng() % 3;
    std::copy(row.begin(), row.end(), tile.begin() + 2 * stride);  // one full match
    std::vector<int> equal(m), expect(m, 0);
    for (int j = 0; j < m; ++j)
      for (int k = 0; k < stride; ++k) expect[j] += row[k] == tile[static_cast<std::size_t>(j) * stride + k];
    tevo::rows_equal(row.data(), tile.data(), m, stride, equal.data());
    EXPECT_EQ(equal, expect) << stride;
    for (int need : {0, stride / 3, stride / 2, stride - 1, stride, stride + 1}) {
      std::vector<uint8_t> hit(m, 9);
      int hits = 0;
      for (int j = 0; j < m; ++j) hits += expect[j] >= need;
      EXPECT_EQ(tevo::rows_at_least(row.data(), tile.data(), m, stride, need, hit.data()), hits);
      for (int j = 0; j < m; ++j) EXPECT_EQ(hit[j], expect[j] >= need) << stride << " " << need << " " << j;
    }
  }
  // All 4200 bytes equal: 8-bit lane counters must not wrap.
  std::vector<uint8_t> c(4200, 9);
  EXPECT_EQ(tevo::count_equal_sites(c.data(), c.data(), 4200), 4200);
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
  // Relative entropy of W (index 18) at site 1: f = 0.5 against qW.
  EXPECT_NEAR(seq.aa_relative_entropy[17][1], 0.5 * std::log(0.5 / qW) + 0.5 * std::log(0.5 / (1 - qW)),
              1e-12);
  EXPECT_NEAR(seq.aa_relative_entropy[0][1], std::log(1 / (1 - qA)), 1e-12);  // absent A
  EXPECT_EQ(dir.read("job_degree_of_conservation.csv").substr(0, 26), "Site,Index,D_i\nA1,0.00000,");

  // No gaps: the background is the table itself; a site of gaps only is 0.
  LSequence<double> plain(dir.path(), "p", 1);
  trim(plain, dir, ">r\nAC\n>a\nAC\n");
  captured_stdout([&] { plain.calc_site_conservation(); });
  EXPECT_NEAR(plain.site_conservation[1][1], std::log(1 / 0.025), 1e-12);
  std::vector<double> only_gaps(21, 0.0), background(21, 0.04);
  only_gaps[0] = 1.0;
  double d = -1;
  plain.sequence_entropy(d, only_gaps, background, 1.0);
  EXPECT_EQ(d, 0.0);
}

TEST(SequenceSimilarity, HistogramMatchesOracle) {
  TempDir dir;
  const std::string text = random_alignment(150, 45, 3, 0.4, 0.1);
  for (int threads : {1, 2}) {
    omp_set_num_threads(threads);
    LSequence<double> seq(dir.path(), "job", 1);
    trim(seq, dir, text);
    const std::string file = dir.path() + "in.fasta";
    captured_stdout([&] { seq.calc_sequence_similarity(file, 1000); });
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
  EXPECT_NE(dir.read("two_sequence_similarity.csv").find("\n0.01000,0.00000\n"), std::string::npos);
}

TEST(SequenceLabels, StructureResidueNumbers) {
  TempDir dir;
  const std::string pdb = dir.write(
      "s.pdb",
      "HEADER    test\n"
      "ATOM      1  N   ALA A  10      11.104   6.134  -6.504  1.00  0.00           N\n"
      "ATOM      2  CA  ALA A  10      11.639   6.071  -5.147  1.00  0.00           C\n"
      "ATOM      3  CA  CYS A  11      12.000   6.000  -5.000  1.00  0.00           C\n"
      "ATOM      4  CA  CYS A  11A     12.000   6.000  -5.000  1.00  0.00           C\n"
      "ATOM      5  CA  ASP A  15      12.000   6.000  -5.000  1.00  0.00           C\n"
      "TER\n"
      "ATOM      6  CA  GLU B   1      12.000   6.000  -5.000  1.00  0.00           C\n");
  // 11 and 11A share a number: one residue for the structure reader.
  EXPECT_EQ(tevo::read_first_chain_residue_numbers(pdb), (std::vector<int>{10, 11, 15}));
  LSequence<double> seq(dir.path(), "job", 5);
  const std::string file = dir.write("in.fasta", ">r\nACD\n");
  seq.init("");
  captured_stdout([&] { seq.sequence_trim(file, "", false, false); });
  EXPECT_EQ(seq.site_labels(), (std::vector<std::string>{"A5", "C6", "D7"}));
  seq.init(pdb);
  captured_stdout([&] { seq.sequence_trim(file, pdb, false, false); });
  EXPECT_EQ(seq.site_labels(), (std::vector<std::string>{"A10", "C11", "D15"}));
  const std::string small =
      dir.write("small.pdb", "ATOM      1  CA  ALA A   3      11.639   6.071  -5.147  1.00  0.00\n");
  seq.init(small);
  EXPECT_FAILS_WITH(seq.sequence_trim(file, small, false, false), "first chain holds 1 residues, fewer than the 3");
  EXPECT_FAILS_WITH(seq.init(dir.path() + "none.pdb"), "Error: cannot open .*none.pdb");
}
