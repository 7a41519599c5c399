// The residue-pair loop of the contact and hydrogen-bond terms: an OpenMP
// loop with a static split of the rows, each thread summing privately and
// merging into the shared total by an atomic compare-and-swap.
#pragma once

namespace tevo {

template <typename T>
inline void cas_add(T* target, T value) {
  T expected;
  __atomic_load(target, &expected, __ATOMIC_RELAXED);
  T desired = expected + value;
  while (!__atomic_compare_exchange(target, &expected, &desired, false, __ATOMIC_RELAXED, __ATOMIC_RELAXED))
    desired = expected + value;
}

// Sum over ordered residue pairs (i, j) of f(i, j). Short chains stay on
// one thread: a parallel region costs more than their few thousand pairs,
// and on a busy machine it waits for a descheduled thread.
template <typename T, typename F>
T residue_pair_sum(int n, const F& f) {
  T total = 0;
#pragma omp parallel if (n >= 2048)
  {
    T mine = 0;
#pragma omp for schedule(static)
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) mine += f(i, j);
    cas_add(&total, mine);
  }
  return total;
}

}  // namespace tevo
