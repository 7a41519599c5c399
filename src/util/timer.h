// A monotonic stopwatch and a millisecond sleep.
#pragma once

#include <ctime>

namespace tevo {

class Timer {
 public:
  Timer() { restart(); }
  void restart();
  float elapsed();  // seconds since the last restart

 private:
  timespec start_{};
  timespec stop_{};
};

void lsleep(unsigned ms);

}  // namespace tevo
