// Where the time of a run goes: named stages with a call count and a total,
// the first calls of each stage skipped as warm-up.
#pragma once

#include <chrono>
#include <map>
#include <string>

namespace tevo {

struct TimeRecord {
  long n_call = 0;   // calls counted (after the warm-up)
  long n_seen = 0;   // all calls
  double total = 0;  // seconds over the counted calls
};

class TimeKeeper {
 public:
  explicit TimeKeeper(int warmup_calls = 0) : warmup_(warmup_calls) {}
  // The record of a stage; references stay valid while the keeper lives.
  TimeRecord& record(const std::string& name) { return records_[name]; }
  void add(TimeRecord& r, double seconds) {
    if (r.n_seen++ < warmup_) return;
    ++r.n_call;
    r.total += seconds;
  }
  void clear() { records_.clear(); }
  const std::map<std::string, TimeRecord>& records() const { return records_; }
  // One console line per stage: total seconds, calls, microseconds per call
  // and per step over `n_step` steps (no per-step column for n_step < 1).
  void print_report(int n_step) const;

 private:
  int warmup_;
  std::map<std::string, TimeRecord> records_;
};

extern TimeKeeper global_time_keeper;

// Adds the time between construction and destruction to a record.
class ScopedTimer {
 public:
  // A null record times nothing (and reads no clock).
  ScopedTimer(TimeKeeper& keeper, TimeRecord* record) : keeper_(keeper), record_(record) {
    if (record_) start_ = std::chrono::steady_clock::now();
  }
  ScopedTimer(TimeKeeper& keeper, const std::string& name) : ScopedTimer(keeper, &keeper.record(name)) {}
  ~ScopedTimer() {
    if (record_)
      keeper_.add(*record_, std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count());
  }
  ScopedTimer(const ScopedTimer&) = delete;
  ScopedTimer& operator=(const ScopedTimer&) = delete;

 private:
  TimeKeeper& keeper_;
  TimeRecord* record_;
  std::chrono::steady_clock::time_point start_;
};

}  // namespace tevo
