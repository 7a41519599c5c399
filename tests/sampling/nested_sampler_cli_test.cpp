// The nested_sampler command as a user runs it.
#include <gtest/gtest.h>

#include "cli/cli_runner.h"

using tevo_test::CliSandbox;

TEST(NestedSamplerCli, RunsTenThousandIterationsAndWritesNothing) {
  CliSandbox box;
  const auto run = box.run({"nested_sampler", "-npop", "2", "-max_iter", "1", "-nvar", "4"});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("-- -max_iter 1\n-- -npop 2\n-- -nvar 4\n"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("-- Initializing 2 particles from the prior ... done\n"), std::string::npos);
  EXPECT_NE(run.out.find("\r-- Sampling: log(X) = -50.000, log(L) = "), std::string::npos);
  EXPECT_NE(run.out.find(" (10000/10000) [===========================] 100.00% completed \n"), std::string::npos);
  EXPECT_NE(run.out.find("Completed: nested_sampler"), std::string::npos);
  EXPECT_TRUE(box.files("tevo-output/tevana_nested_sampler").empty());
}

// One particle is refused; above 10000 a warning, but the run goes on.
TEST(NestedSamplerCli, ParticleCountLimits) {
  CliSandbox box;
  const auto one = box.run({"nested_sampler", "-npop", "1"});
  EXPECT_EQ(one.status, 1);
  EXPECT_NE(one.err.find("# Error: Bad number of particles.\n"), std::string::npos);
  EXPECT_EQ(one.out.find("Completed"), std::string::npos);
  const auto many = box.run({"nested_sampler", "-npop", "10001", "-max_iter", "0"});
  EXPECT_EQ(many.status, 0);
  EXPECT_NE(many.err.find("# WARNING: Very large number of particles.\n"), std::string::npos);
  EXPECT_NE(many.out.find("(10000/10000)"), std::string::npos);
}
