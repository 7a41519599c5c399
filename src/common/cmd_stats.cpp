// Statistics commands.
#include "common/commands.h"
#include "common/registry.h"
#include "common/wrapper.h"
#include "stats/pearson.h"
#include "tevo.h"

namespace tevo {

int stats_pearson() {
  if (FLAGS_mat.empty()) {
    // Unlike most commands, this one reports success after its usage block.
    refuse("file", {"tevo stats_pearson -mat <STRING> -output <STRING|optional>", {}, true});
    reval = 0;
    return reval;
  }
  // The banner names stats_ica: that is this command's invocation text.
  print_invocation("stats_ica", {{"jobname", FLAGS_jobname}, {"mat", FLAGS_mat}, {"output", FLAGS_output}});
  Pearson<double> pearson(FLAGS_mat);
  double r = 0;
  pearson.calc_pearson_coefficient(&r);
  reval = 0;
  return reval;
}

}  // namespace tevo
