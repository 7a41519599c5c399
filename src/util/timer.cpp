// Stopwatch on the monotonic clock.
#include "util/timer.h"

#include <unistd.h>

namespace tevo {

void Timer::restart() { clock_gettime(CLOCK_MONOTONIC, &start_); }

float Timer::elapsed() {
  clock_gettime(CLOCK_MONOTONIC, &stop_);
  const double seconds = (stop_.tv_nsec - start_.tv_nsec) / 1000000000.0 +
                         static_cast<double>(stop_.tv_sec - start_.tv_sec);
  return static_cast<float>(seconds);
}

void lsleep(unsigned ms) { usleep(ms * 1000); }

}  // namespace tevo
