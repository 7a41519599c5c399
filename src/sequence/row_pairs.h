// Visiting every unordered pair of rows of a packed alignment in tiles.
#pragma once

#include <algorithm>

namespace tevo {

// Longest run handed to one visit: callers size their per-run buffers by it.
constexpr int kRowPairRun = 512;

// Calls visit(i, j0, m) for runs of pairs: row i against rows j0 .. j0+m-1,
// all after i, so that each unordered pair of the n rows is seen once.
// Tiles of rows keep the compared rows in cache. Called inside a parallel
// region, the tiles are shared out among its threads dynamically, since the
// triangle shrinks; the call ends with the threads joined at a barrier.
template <class Visit>
void for_each_row_pair_run(int n, Visit&& visit) {
  constexpr int kRows = 16;
#pragma omp for schedule(dynamic, 1)
  for (int ib = 0; ib < n; ib += kRows) {
    const int ie = std::min(n, ib + kRows);
    for (int jb = ib; jb < n; jb += kRowPairRun) {
      const int je = std::min(n, jb + kRowPairRun);
      for (int i = ib; i < ie; ++i) {
        const int j0 = std::max(jb, i + 1);
        if (j0 < je) visit(i, j0, je - j0);
      }
    }
  }
}

}  // namespace tevo
