// The coupling fit: the objective against a direct evaluation and central
// differences, the corrected pair scores, the potential file and its reuse
// through -mat, and planted couplings recovered alike on any thread count.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <set>
#include <sstream>
#include <vector>

#include "sequence/potts.h"
#include "sequence/sequence_fixtures.h"

using tevo::coupling_index;
using tevo::kPottsBlock;
using tevo::kPottsStates;
using tevo::pair_index;
using tevo::PottsData;

namespace {

// Residue states of a random alignment with random positive weights.
struct States {
  int n = 0, sites = 0;
  std::vector<int32_t> cells;
  std::vector<int32_t*> rows;
  std::vector<double> weights;
  States(int n_, int sites_, unsigned seed) : n(n_), sites(sites_), cells(n_ * sites_), rows(n_), weights(n_) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> state(0, 20);
    std::uniform_real_distribution<double> w(0.2, 1.0);
    for (int s = 0; s < n; ++s) {
      rows[s] = cells.data() + s * sites;
      for (int i = 0; i < sites; ++i) rows[s][i] = state(rng);
      weights[s] = w(rng);
    }
  }
  PottsData<double> data() const {
    PottsData<double> d;
    d.msa = rows.data(), d.weights = weights.data(), d.effective_samples = n;
    d.num_of_seq = n, d.num_of_site = sites, d.num_of_pairs = tevo::potts_num_pairs(sites);
    return d;
  }
};

std::vector<double> random_params(int sites, unsigned seed, double scale) {
  std::mt19937 rng(seed);
  std::normal_distribution<double> normal(0, scale);
  std::vector<double> x(tevo::potts_num_params(sites));
  for (double& v : x) v = normal(rng);
  return x;
}

// The objective written straight from its definition, with the couplings
// looked up through coupling_index.
double direct_objective(const States& a, const std::vector<double>& x, double lambda_h, double lambda_j) {
  const int L = a.sites;
  auto J = [&](int i, int si, int j, int sj) {
    return i < j ? x[coupling_index(L, i, j, si, sj)] : x[coupling_index(L, j, i, sj, si)];
  };
  double value = 0;
  for (int s = 0; s < a.n; ++s)
    for (int i = 0; i < L; ++i) {
      double logit[21], z = 0;
      for (int q = 0; q < 21; ++q) {
        logit[q] = x[q * L + i];
        for (int j = 0; j < L; ++j)
          if (j != i) logit[q] += J(i, q, j, a.rows[s][j]);
        z += std::exp(logit[q]);
      }
      value -= a.weights[s] * (logit[a.rows[s][i]] - std::log(z));
    }
  for (std::size_t k = 0; k < x.size(); ++k) value += (k < 21u * L ? lambda_h : lambda_j) * x[k] * x[k];
  return value;
}

double objective(const PottsData<double>& d, const std::vector<double>& x, std::vector<double>& g) {
  g.assign(x.size(), 0);
  PottsData<double> copy = d;
  return LSequence<double>::plm_negative_log_posterior(static_cast<int>(x.size()), x.data(), g.data(), &copy);
}

// Samples n sequences of a Potts model by Gibbs sweeps from independent
// random starts: weak random fields, rare gaps, and on each planted pair a
// strong reward for one matching partner state per state.
std::string planted_alignment(int n, int sites, const std::vector<std::pair<int, int>>& planted, unsigned seed) {
  std::mt19937 rng(seed);
  std::normal_distribution<double> normal(0, 0.3);
  std::vector<double> h(sites * 21);
  for (int i = 0; i < sites; ++i)
    for (int a = 0; a < 21; ++a) h[i * 21 + a] = a == 0 ? -3.0 : normal(rng);
  std::vector<int> partner(20);
  for (int a = 0; a < 20; ++a) partner[a] = a + 1;
  std::shuffle(partner.begin(), partner.end(), rng);  // partner[a - 1]: the state rewarded at j for a at i
  std::vector<int> inverse(21, 0);
  for (int a = 1; a <= 20; ++a) inverse[partner[a - 1]] = a;
  const double strength = 2.5;
  std::uniform_int_distribution<int> state(1, 20);
  std::uniform_real_distribution<double> u(0, 1);
  std::string text;
  std::vector<int> seq(sites);
  for (int s = 0; s < n; ++s) {
    for (int& v : seq) v = state(rng);
    for (int sweep = 0; sweep < 30; ++sweep)
      for (int i = 0; i < sites; ++i) {
        double p[21], z = 0;
        for (int a = 0; a < 21; ++a) {
          double logit = h[i * 21 + a];
          for (const auto& [x, y] : planted) {
            if (x == i && a > 0 && seq[y] == partner[a - 1]) logit += strength;
            if (y == i && a > 0 && inverse[a] > 0 && seq[x] == inverse[a]) logit += strength;
          }
          z += p[a] = std::exp(logit);
        }
        double r = u(rng) * z;
        int a = 0;
        while (a < 20 && (r -= p[a]) > 0) ++a;
        seq[i] = a;
      }
    text += ">s" + std::to_string(s) + "\n";
    for (int i = 0; i < sites; ++i) text += kAlphabet[s == 0 && seq[i] == 0 ? 1 : seq[i]];
    text += "\n";
  }
  return text;
}

// Fits the couplings of `msa` over every site; returns the console text.
std::string fit(LSequence<double>& seq, const std::string& msa, int iters, const std::string& mat = "") {
  seq.init("");
  seq.set_max_iter(iters);
  seq.set_threshold(-1);
  return captured_stdout([&] { seq.calc_couplings(msa, false, "", mat, true); });
}

// Pairs (i < j) ordered by descending score.
std::vector<std::pair<int, int>> ranked_pairs(double** score, int sites) {
  std::vector<std::pair<int, int>> pairs;
  for (int j = 1; j < sites; ++j)
    for (int i = 0; i < j; ++i) pairs.push_back({i, j});
  std::stable_sort(pairs.begin(), pairs.end(), [&](const auto& p, const auto& q) {
    return score[p.first][p.second] > score[q.first][q.second];
  });
  return pairs;
}

}  // namespace

TEST(PottsLayout, CouplingsTileTheVectorAfterTheFields) {
  const int L = 7;
  std::vector<int> hits(tevo::potts_num_params(L), 0);
  long pair = 0;  // blocks go 1-2, 1-3, 2-3, 1-4, ...
  for (int j = 1; j < L; ++j)
    for (int i = 0; i < j; ++i) {
      EXPECT_EQ(pair_index(i, j), pair++);
      for (int a = 0; a < 21; ++a)
        for (int b = 0; b < 21; ++b) ++hits[coupling_index(L, i, j, a, b)];
    }
  EXPECT_EQ(std::count(hits.begin(), hits.begin() + 21 * L, 0), 21 * L);
  EXPECT_TRUE(std::all_of(hits.begin() + 21 * L, hits.end(), [](int h) { return h == 1; }));
}

TEST(PlmObjective, MatchesDirectFormAndCentralDifferences) {
  const States a(9, 5, 11);
  const PottsData<double> d = a.data();
  std::vector<double> x = random_params(5, 12, 0.3), g;
  const double value = objective(d, x, g);
  EXPECT_NEAR(value, direct_objective(a, x, 0.01, 100.0), 1e-9 * std::fabs(value));

  // Every coordinate against central differences; step 1e-5 keeps truncation
  // and rounding both near 1e-10.
  std::vector<double> scratch;
  double worst = 0;
  for (std::size_t k = 0; k < x.size(); ++k) {
    const double keep = x[k], h = 1e-5;
    x[k] = keep + h;
    const double up = objective(d, x, scratch);
    x[k] = keep - h;
    const double down = objective(d, x, scratch);
    x[k] = keep;
    const double numeric = (up - down) / (2 * h);
    worst = std::max(worst, std::fabs(numeric - g[k]) / std::max(1.0, std::fabs(g[k])));
  }
  EXPECT_LT(worst, 1e-5);

  // Single precision follows the same formula.
  std::vector<float> xf(x.begin(), x.end()), gf(x.size()), wf(a.weights.begin(), a.weights.end());
  PottsData<float> df;
  df.msa = a.rows.data(), df.weights = wf.data(), df.num_of_pairs = d.num_of_pairs;
  df.num_of_seq = a.n, df.num_of_site = a.sites;
  const float vf = LSequence<float>::plm_negative_log_posterior(static_cast<int>(xf.size()), xf.data(), gf.data(), &df);
  EXPECT_NEAR(vf, value, 1e-4 * value);  // float rounding over a few hundred terms

  // One site: no pairs, only the field prior. (Thread independence is
  // checked on whole fits below.)
  const States one(4, 1, 3);
  const std::vector<double> h = random_params(1, 4, 1.0);
  double penalty = 0;
  for (double v : h) penalty += 0.01 * v * v;
  EXPECT_DOUBLE_EQ(objective(one.data(), h, g), penalty);
  for (std::size_t k = 0; k < h.size(); ++k) EXPECT_DOUBLE_EQ(g[k], 0.02 * h[k]);
}

TEST(EvolutionaryCouplings, FrobeniusNormsWithAverageProductCorrection) {
  ASSERT_TRUE(kNoPlotTools);
  TempDir dir;
  LSequence<double> seq(dir.path(), "apc", 0);
  seq.num_of_site = 5;
  seq.num_of_trimmed_site = 3;
  seq.site_list = new int32_t[3]{0, 2, 3};
  seq.trimmed_ref_seq = seq.ref_seq = "ACDEF";
  seq.num_of_pairs = 3;
  seq.num_of_params = static_cast<int>(tevo::potts_num_params(3));
  seq.params = new double[seq.num_of_params]();
  // Blocks of norm 3, 4 and 5, spread over two entries each, gap states included.
  seq.params[coupling_index(3, 0, 1, 0, 0)] = 3;
  seq.params[coupling_index(3, 0, 2, 4, 7)] = 4;
  seq.params[coupling_index(3, 1, 2, 20, 0)] = 3;
  seq.params[coupling_index(3, 1, 2, 1, 1)] = 4;
  captured_stdout([&] { seq.calc_evolutionary_couplings("", true, true); });
  // Row means 3.5, 4 and 4.5, overall mean 4.
  EXPECT_DOUBLE_EQ(seq.coupling[0][1], 3 - 3.5 * 4 / 4);
  EXPECT_DOUBLE_EQ(seq.coupling[0][2], 4 - 3.5 * 4.5 / 4);
  EXPECT_DOUBLE_EQ(seq.coupling[2][1], 5 - 4 * 4.5 / 4);
  EXPECT_DOUBLE_EQ(seq.coupling_full[2][3], seq.coupling[1][2]);
  EXPECT_EQ(seq.coupling_full[1][2], 0);  // site 1 was not selected
  const std::string table = dir.read("apc_amino_acid_coupling.csv");
  EXPECT_EQ(table.substr(0, table.find('\n')), "Coupling,A1,D3,E4");
}

TEST(Couplings, PotentialFileLayoutAndRestartFromIt) {
  ASSERT_TRUE(kNoPlotTools);
  TempDir dir;
  const std::string msa = dir.write("four.fasta", random_alignment(30, 4, 5, 0.6, 0.05));
  LSequence<double> seq(dir.path(), "pot", 0);
  const std::string first = fit(seq, msa, 5);
  ASSERT_EQ(seq.num_of_params, 21 * 4 + 441 * 6);
  EXPECT_NE(first.find("The evolutionary coupling potential can be found at:"), std::string::npos);

  // Header lines: sites, then pairs named 1-2, 1-3, 1-4, 2-3, ... while the
  // blocks follow storage order 1-2, 1-3, 2-3, 1-4, ...
  const std::string& r = seq.ref_seq;
  std::vector<std::string> expected = {"# Evolutionary coupling poteintials", "# TEVANA (Tevo version 2.6.9) "};
  for (int k = 0; k < 4; ++k) expected.push_back("# " + r.substr(k, 1) + " " + std::to_string(k + 1));
  for (const auto& [i, j] : std::vector<std::pair<int, int>>{{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}})
    expected.push_back("## " + r.substr(i, 1) + " " + std::to_string(i + 1) + " " + r.substr(j, 1) + " " +
                       std::to_string(j + 1));
  std::istringstream in(dir.read("pot_sequence_potential.csv"));
  std::vector<std::string> headers;
  long lines = 0;
  for (std::string line; std::getline(in, line); ++lines)
    if (line[0] == '#' && line.rfind("# Contact", 0) != 0) headers.push_back(line);
  EXPECT_EQ(headers, expected);
  EXPECT_EQ(lines, 3 + 4 * 2 + 6 * 22);

  // Numbers in parameter order: fields site by site ("%g"), couplings with every bit.
  const std::string file = dir.path() + "pot_sequence_potential.csv";
  const std::vector<double> loaded = tevo::read_eca_matrix_from_file<double>(file);
  ASSERT_EQ(loaded.size(), static_cast<std::size_t>(seq.num_of_params));
  for (int k = 0; k < 4; ++k)
    for (int a = 0; a < 21; ++a) EXPECT_NEAR(loaded[21 * k + a], seq.params[a * 4 + k], 1e-5);
  EXPECT_TRUE(std::equal(loaded.begin() + 84, loaded.end(), seq.params + 84));

  // The file restarts a fit from its couplings; one of another size is a
  // warning and the fit starts from zero couplings.
  auto initial_loss = [](const std::string& out) { return std::stod(out.substr(out.find("initial loss ") + 13)); };
  LSequence<double> again(dir.path(), "again", 0);
  const std::string restart = fit(again, msa, 1, file);
  EXPECT_EQ(restart.find("I found different parameters"), std::string::npos);
  EXPECT_LT(initial_loss(restart), initial_loss(first));
  LSequence<double> other(dir.path(), "other", 0);
  const std::string warned = fit(other, msa, 1, dir.write("wrong.csv", "0.5,0.25\n0.125\n"));
  EXPECT_NE(warned.find("I found different parameters between the loaded file"), std::string::npos) << warned;
  EXPECT_NE(warned.find("\n-- and that are generated from the MSA, but please don't worry.\n-- I will launch"),
            std::string::npos);
  EXPECT_DOUBLE_EQ(initial_loss(warned), initial_loss(first));
  // The run ends saying how the fit ended.
  EXPECT_NE(warned.find("Warning: L-BFGS stopped at the iteration limit (-max_iter 1) before converging; final "
                        "objective "),
            std::string::npos);
}

TEST(CouplingsDeathTest, ParameterFileRefusals) {
  TempDir dir;
  // Each refusal names the file and where in it; non-finite values would
  // start a fit whose couplings are all NaN.
  const struct {
    std::string file, message;
  } cases[] = {
      {dir.write("abc.csv", "0.1,0.2\n0.3,abc\n"), "Error: .*abc.csv line 2 field 2: \"abc\" is not a number"},
      {dir.write("nan.csv", "# note\n0.1 0.2\n0.3, nan\n"), "nan.csv line 3 field 2: \"nan\" is not a finite number"},
      {dir.write("inf.csv", "-inf\n"), "inf.csv line 1 field 1: \"-inf\" is not a finite number"},
      {dir.write("big.csv", "1 1e309\n"), "big.csv line 1 field 2: \"1e309\" is not a finite number"},
      {dir.write("z.csv.gz", std::string("\x1f\x8b\x08\x00", 4)), "z.csv.gz is compressed"},
      {dir.path() + "missing.csv", "Error: I cannot load data from: <.*missing.csv>"},
      {dir.path(), "Error: .* is a directory, not a file"},
  };
  for (const auto& c : cases) EXPECT_EXIT_1(tevo::read_eca_matrix_from_file<double>(c.file), c.message);
  // Finite in double is not enough for a float fit.
  EXPECT_EXIT_1(tevo::read_eca_matrix_from_file<float>(dir.write("f.csv", "1e39\n")), "\"1e39\" is not a finite");
}

TEST(Couplings, PlantedPairsRankFirstOnAnyThreadCount) {
  ASSERT_TRUE(kNoPlotTools);
  TempDir dir;
  const std::vector<std::pair<int, int>> planted = {{0, 10}, {3, 17}, {7, 8}, {15, 23}};
  const std::string msa = dir.write("planted.fasta", planted_alignment(400, 24, planted, 2024));
  std::vector<double> fitted[2];
  const int threads = omp_get_max_threads();
  for (int t : {1, 2}) {
    omp_set_num_threads(t);
    LSequence<double> seq(dir.path(), "t" + std::to_string(t), 0);
    fit(seq, msa, 25);
    ASSERT_GT(seq.num_of_params, 1 << 16);  // the solver's inner products run in more than one chunk
    fitted[t - 1].assign(seq.params, seq.params + seq.num_of_params);
    if (t == 1) continue;

    const auto ranked = ranked_pairs(seq.coupling, 24);
    const std::set<std::pair<int, int>> top(ranked.begin(), ranked.begin() + planted.size());
    EXPECT_EQ(top, (std::set<std::pair<int, int>>(planted.begin(), planted.end())));
    // The next pair scores far below the weakest planted one.
    const auto weakest = ranked[planted.size() - 1], next = ranked[planted.size()];
    EXPECT_GT(seq.coupling[weakest.first][weakest.second],
              3 * std::max(seq.coupling[next.first][next.second], 1e-3));

    // Frequencies: weighted counts of one pair, and both marginals of every pair.
    const int L = seq.num_of_trimmed_site, i0 = 3, j0 = 17;
    std::vector<double> direct(441, 0);
    for (int s = 0; s < seq.num_of_trimmed_seq; ++s)
      direct[21 * seq.trimmed_msa[s][j0] + seq.trimmed_msa[s][i0]] += seq.weights[s] / seq.effective_samples;
    for (int k = 0; k < 441; ++k) EXPECT_NEAR(seq.pair_freq[441 * pair_index(i0, j0) + k], direct[k], 1e-15);
    for (int j = 1; j < L; ++j)
      for (int i = 0; i < j; ++i)
        for (int a = 0; a < 21; ++a) {
          const double* block = seq.pair_freq + 441 * pair_index(i, j);
          double over_b = 0, over_a = 0;
          for (int b = 0; b < 21; ++b) over_b += block[21 * b + a], over_a += block[21 * a + b];
          EXPECT_NEAR(over_b, seq.aa_freq[a * L + i], 1e-12);
          EXPECT_NEAR(over_a, seq.aa_freq[a * L + j], 1e-12);
        }
  }
  omp_set_num_threads(threads);
  EXPECT_TRUE(fitted[0] == fitted[1]);
}
