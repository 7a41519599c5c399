// The stage report of TimeKeeper.
#include "md/timekeeper.h"

#include <cstdio>

#include "util/console.h"

namespace tevo {

TimeKeeper global_time_keeper;

void TimeKeeper::print_report(int n_step) const {
  double sum = 0;
  for (const auto& [name, r] : records_) sum += r.total;
  for (const auto& [name, r] : records_) {
    if (r.n_call == 0) continue;
    char line[256];
    if (n_step > 0)
      std::snprintf(line, sizeof line, "%-34s %9.4f s %5.1f%% %9ld calls %10.2f us/call %10.2f us/step", name.c_str(),
                    r.total, sum > 0 ? 100 * r.total / sum : 0.0, r.n_call, 1e6 * r.total / r.n_call,
                    1e6 * r.total / n_step);
    else
      std::snprintf(line, sizeof line, "%-34s %9.4f s %5.1f%% %9ld calls %10.2f us/call", name.c_str(), r.total,
                    sum > 0 ? 100 * r.total / sum : 0.0, r.n_call, 1e6 * r.total / r.n_call);
    print_text(line);
  }
}

}  // namespace tevo
