#include "sampling/nested_sampler.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <ctime>
#include <vector>

#include "util/random.h"
#include "util/capture.h"

// The normal deviates reseed rand() from time() on every call. This test
// program replaces the clock by a counter, so every deviate gets a fresh seed
// and each run is reproducible from its seed alone.
static time_t g_fake_clock = 1000000;
extern "C" time_t time(time_t* out) {
  const time_t now = ++g_fake_clock;
  if (out) *out = now;
  return now;
}

using namespace tevo;

namespace {

// Likelihood of the spike-and-slab model from its two Gaussian densities,
// summed directly in long double (no shift), for points near the centre.
long double direct_log_likelihood(const double* x) {
  const long double pi = 3.14159265358979323846264338327950288L;
  long double spike = 100, slab = 1;
  for (int i = 0; i < 20; ++i) {
    const long double zs = (x[i] - 0.031L) / 0.01L, zb = x[i] / 0.1L;
    spike *= std::exp(-0.5L * zs * zs) / (0.01L * std::sqrt(2 * pi));
    slab *= std::exp(-0.5L * zb * zb) / (0.1L * std::sqrt(2 * pi));
  }
  return std::log(spike + slab);
}

}  // namespace

TEST(ToyModel, LikelihoodMatchesDirectDensities) {
  ToyModel<double> model;
  for (double v : model.params) EXPECT_EQ(v, 0.0);
  set_seed(7U);
  for (int trial = 0; trial < 200; ++trial) {
    // Points within +-0.08 keep both densities inside the long double range,
    // and cover both the spike-dominated and the slab-dominated regimes.
    const double centre = trial % 2 ? 0.031 : 0.0;
    const double spread = trial % 4 < 2 ? 0.01 : 0.08;
    for (int i = 0; i < 20; ++i)
      model.params[i] = centre + spread * (get_random_bits() * 2.3283064365386963e-10 - 0.5);
    EXPECT_NEAR(model.log_likelihood(), static_cast<double>(direct_log_likelihood(model.params)), 1e-9)
        << trial;
  }
  // Far corners underflow both densities; the shifted sum stays finite.
  for (int i = 0; i < 20; ++i) model.params[i] = -0.5;
  EXPECT_TRUE(std::isfinite(model.log_likelihood()));
  EXPECT_NEAR(model.log_likelihood(), 20 * (1.3836465597893728 - 0.5 * 25.0), 1e-9);

  ToyModel<float> single;
  for (int i = 0; i < 20; ++i) single.params[i] = 0.031f;
  EXPECT_NEAR(single.log_likelihood(), 20 * 3.6862316527834182 + 4.605170185988092, 1e-3);
}

TEST(ToyModel, PriorAndPerturbStayInTheBoxAndMoveOneCoordinate) {
  set_seed(11U);
  ToyModel<double> model;
  model.from_prior();
  for (int i = 0; i < 20; ++i) {
    EXPECT_GE(model.params[i], -0.5);
    EXPECT_LT(model.params[i], 0.5);
  }
  EXPECT_EQ(model.params[20], 0.0);  // the spare is not part of the prior
  bool spare_touched = false;
  for (int step = 0; step < 2000; ++step) {
    const ToyModel<double> before = model;
    EXPECT_EQ(model.perturb(), 0.0);
    int changed = 0;
    for (int i = 0; i <= 20; ++i) {
      changed += model.params[i] != before.params[i];
      EXPECT_GE(model.params[i], -0.5);
      EXPECT_LT(model.params[i], 0.5);
    }
    EXPECT_LE(changed, 1);
    if (model.params[20] != before.params[20]) {
      spare_touched = true;
      EXPECT_EQ(model.log_likelihood(), before.log_likelihood());
    }
  }
  EXPECT_TRUE(spare_touched);  // index 20 comes up about once in 21 moves
}

TEST(NestedSampler, IsBelowOrdersByLikelihoodThenTiebreaker) {
  using S = NestedSampler<double>;
  EXPECT_TRUE(S::is_below(1.0, 0.9, 2.0, 0.1));
  EXPECT_FALSE(S::is_below(2.0, 0.1, 1.0, 0.9));
  EXPECT_TRUE(S::is_below(1.0, 0.2, 1.0, 0.3));
  EXPECT_FALSE(S::is_below(1.0, 0.3, 1.0, 0.2));
  EXPECT_FALSE(S::is_below(1.0, 0.3, 1.0, 0.3));
  EXPECT_TRUE(NestedSampler<float>::is_below(-1e30f, 0.5f, -1e29f, 0.1f));
}

TEST(NestedSampler, LogDiffExp) {
  EXPECT_NEAR(logdiffexp(2.0, 1.0), std::log(std::exp(2.0) - std::exp(1.0)), 1e-12);
  EXPECT_NEAR(logdiffexp(1000.0, 999.0), 1000.0 + std::log(1 - std::exp(-1.0)), 1e-9);  // exp overflows
  EXPECT_NEAR(logdiffexp(-0.5f, -3.0f), std::log(std::exp(-0.5) - std::exp(-3.0)), 1e-5);
  // The console words go to standard output; route them to the death-test pipe.
  EXPECT_EXIT((dup2(2, 1), logdiffexp(1.0, 1.0)), testing::ExitedWithCode(1), "Error: in logdiffexp!");
  EXPECT_EXIT((dup2(2, 1), logdiffexp(1.0, 2.0)), testing::ExitedWithCode(1), "in logdiffexp!");
}

TEST(NestedSampler, ParticleCountLimits) {
  EXPECT_EXIT(NestedSampler<double>(1, 0, ToyModel<double>()), testing::ExitedWithCode(1),
              "# Error: Bad number of particles.");
  EXPECT_EXIT(NestedSampler<double>(-5, 0, ToyModel<double>()), testing::ExitedWithCode(1),
              "Bad number of particles");
  testing::internal::CaptureStderr();
  NestedSampler<double> many(10001, 0, ToyModel<double>());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "# WARNING: Very large number of particles.\n");
  EXPECT_EQ(many.particles.size(), 10001u);
  testing::internal::CaptureStderr();
  NestedSampler<double> fine(10000, 0, ToyModel<double>());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_DOUBLE_EQ(fine.log_width, std::log(1 - std::exp(-1e-4)));
  EXPECT_DOUBLE_EQ(fine.log_shell, -std::log(1e4));
  EXPECT_EQ(fine.log_z, -1.7976931348623157e308);
}

TEST(NestedSampler, WorstParticleAndTies) {
  NestedSampler<double> s(4, 0, ToyModel<double>());
  s.initialised = true;
  s.log_likelihoods = {5.0, 1.0, 1.0, 3.0};
  s.tiebreakers = {0.1, 0.7, 0.2, 0.0};
  for (int i = 0; i < 4; ++i) s.particles[i].params[0] = i;
  set_seed(3U);
  s.do_iteration();
  EXPECT_EQ(s.log_l_star, 1.0);
  EXPECT_EQ(s.tiebreakers[1], 0.7);  // the higher tiebreaker survives
  EXPECT_EQ(s.particles[1].params[0], 1.0);
  EXPECT_NE(s.particles[2].params[0], 2.0);  // the lower one was replaced by a copy
  const int k = static_cast<int>(s.particles[2].params[0]);
  EXPECT_EQ(s.log_likelihoods[2], std::vector<double>({5.0, 1.0, 1.0, 3.0})[k]);
  EXPECT_EQ(s.tiebreakers[2], std::vector<double>({0.1, 0.7, 0.2, 0.0})[k]);

  // Exact equals: the first one found goes.
  NestedSampler<double> e(3, 0, ToyModel<double>());
  e.initialised = true;
  e.log_likelihoods = {1.0, 1.0, 9.0};
  e.tiebreakers = {0.5, 0.5, 0.9};
  for (int i = 0; i < 3; ++i) e.particles[i].params[0] = i;
  e.do_iteration();
  EXPECT_NE(e.particles[0].params[0], 0.0);
  EXPECT_EQ(e.particles[1].params[0], 1.0);
}

TEST(NestedSampler, TwoParticlesCopyTheOther) {
  set_seed(5U);
  NestedSampler<double> s(2, 0, ToyModel<double>());
  captured_stdout([&] { s.init(); });
  ASSERT_NE(s.log_likelihoods[0], s.log_likelihoods[1]);
  const int best = s.log_likelihoods[0] > s.log_likelihoods[1] ? 0 : 1;
  const ToyModel<double> best_model = s.particles[best];
  for (int it = 0; it < 50; ++it) s.do_iteration();
  for (int p = 0; p < 2; ++p) {
    EXPECT_EQ(s.log_likelihoods[p], best_model.log_likelihood());
    for (int i = 0; i < 20; ++i) EXPECT_EQ(s.particles[p].params[i], best_model.params[i]);
  }
}

TEST(NestedSampler, NoChainStepsCollapseOntoTheBestStart) {
  set_seed(17U);
  NestedSampler<double> s(10, 0, ToyModel<double>());
  const std::string text = captured_stdout([&] { s.init(); });
  EXPECT_EQ(text, "-- Initializing 10 particles from the prior ... done\n");
  int best = 0;
  for (int i = 1; i < 10; ++i)
    if (s.log_likelihoods[i] > s.log_likelihoods[best]) best = i;
  const ToyModel<double> best_model = s.particles[best];
  for (int it = 0; it < 300; ++it) s.do_iteration();
  for (int p = 0; p < 10; ++p)
    for (int i = 0; i < 20; ++i) EXPECT_EQ(s.particles[p].params[i], best_model.params[i]) << p;
}

// With mcmc_steps 0 the removed likelihoods are a plain sequence; the
// evidence, information and shell width are recomputed here from their sums.
TEST(NestedSampler, EvidenceAndInformationFollowTheRemovedLikelihoods) {
  const int n = 8;
  set_seed(23U);
  NestedSampler<double> s(n, 0, ToyModel<double>());
  s.initialised = true;
  for (int i = 0; i < n; ++i) {
    s.log_likelihoods[i] = -3.0 + 0.7 * i * ((i % 3) + 1);
    s.tiebreakers[i] = 0.1 * i;
  }
  long double z = 0, zl = 0;
  for (int it = 1; it <= 40; ++it) {
    s.do_iteration();
    const long double w = std::exp(-(it - 1) / static_cast<long double>(n)) * (1 - std::exp(-1.0L / n));
    const long double l = s.log_l_star;
    z += w * std::exp(l);
    zl += w * std::exp(l) * l;
    EXPECT_NEAR(s.get_logZ(), static_cast<double>(std::log(z)), 1e-10) << it;
    EXPECT_NEAR(s.get_H(), static_cast<double>(zl / z - std::log(z)), 1e-9) << it;
    EXPECT_NEAR(s.log_x, -static_cast<double>(it) / n, 1e-15);
    const long double shrink = 1 - 1.0L / n;
    EXPECT_NEAR(s.log_shell, static_cast<double>(std::log(std::pow(shrink, it - 1) - std::pow(shrink, it))),
                1e-10);
  }
  EXPECT_EQ(s.iteration, 40);
}

// The evidence of the model is 100 (spike) + 1 (slab), less the negligible
// mass of the slab outside the box: log Z = log 101 = 4.615.
TEST(NestedSampler, RunApproachesTheAnalyticEvidence) {
  set_seed(2U);
  NestedSampler<double> s(100, 1000, ToyModel<double>());
  double log_z = 0;
  const std::string text = captured_stdout([&] { log_z = s.run(8000); });
  EXPECT_NE(text.find("-- Sampling: log(X) = -80.000, log(L) = "), std::string::npos);
  EXPECT_NE(text.find("(8000/8000) [===========================] 100.00% completed \n"), std::string::npos);
  // The sampling error is sqrt(H / N) = 0.8; a 1000-step walk also leaves the
  // particles correlated, which biases log Z low by 1 to 2 (seen over seeds).
  EXPECT_GT(log_z, std::log(101.0) - 2.5);
  EXPECT_LT(log_z, std::log(101.0) + 1.5);
  // H of the posterior spike: 20 * log(1 / (0.01 sqrt(2 pi e))) = 63.7 nats.
  EXPECT_NEAR(s.get_H(), 63.7, 5.0);
  EXPECT_GT(s.log_l_star, 75.0);  // the spike top is at 78.3
}
