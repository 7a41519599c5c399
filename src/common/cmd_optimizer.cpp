// Commands of the optimisers and samplers.
#include <ctime>

#include "common/commands.h"
#include "common/registry.h"
#include "common/wrapper.h"
#include "sampling/nested_sampler.h"
#include "tevo.h"
#include "util/strings.h"

namespace tevo {

int nested_sampler() {
  print_invocation("nested_sampler", {{"jobname", FLAGS_jobname},
                                      {"max_iter", num2string(FLAGS_max_iter, 0)},
                                      {"npop", num2string(FLAGS_npop, 0)},
                                      {"nvar", num2string(FLAGS_nvar, 0)}});
  ToyModel<double> model;
  NestedSampler<double> sampler(FLAGS_npop, FLAGS_max_iter, model);
  sampler.set_rng_seed(static_cast<unsigned>(std::time(nullptr)));
  sampler.run(10000);
  reval = 0;
  return reval;
}

}  // namespace tevo
