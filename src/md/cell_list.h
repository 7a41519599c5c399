// Neighbour search for the pair terms: points binned into cubic cells of the
// cut-off size, cells hashed into a table, so that a query visits the 27
// cells around a point. Storage is reused between builds.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "md/vec3.h"

namespace tevo {

class CellList {
 public:
  // Bins n points (point i at points[i * stride]) into cells of edge `cell`.
  void build(const float* points, int n, int stride, float cell) {
    inv_cell_ = 1.f / cell;
    int buckets = 16;
    while (buckets < 2 * n) buckets *= 2;
    mask_ = buckets - 1;
    head_.assign(buckets + 1, 0);
    cell_.resize(3 * static_cast<size_t>(n));
    bucket_.resize(n);
    order_.resize(n);
    for (int i = 0; i < n; ++i) {
      const float* p = points + static_cast<long>(i) * stride;
      for (int d = 0; d < 3; ++d) cell_[3 * i + d] = cell_of(p[d]);
      bucket_[i] = hash(cell_[3 * i], cell_[3 * i + 1], cell_[3 * i + 2]);
      ++head_[bucket_[i] + 1];
    }
    for (int b = 0; b < buckets; ++b) head_[b + 1] += head_[b];
    fill_.assign(head_.begin(), head_.end() - 1);
    for (int i = 0; i < n; ++i) order_[fill_[bucket_[i]]++] = i;
  }

  // Calls f(j) once for every point j in the 27 cells around q.
  template <typename F>
  void for_each_near(V3 q, F&& f) const {
    const int cx = cell_of(q.x), cy = cell_of(q.y), cz = cell_of(q.z);
    for (int dx = -1; dx <= 1; ++dx)
      for (int dy = -1; dy <= 1; ++dy)
        for (int dz = -1; dz <= 1; ++dz) {
          const int x = cx + dx, y = cy + dy, z = cz + dz, b = hash(x, y, z);
          for (int k = head_[b]; k < head_[b + 1]; ++k) {
            const int j = order_[k];
            if (cell_[3 * j] == x && cell_[3 * j + 1] == y && cell_[3 * j + 2] == z) f(j);
          }
        }
  }

 private:
  // Cell coordinate of a position; far-off and non-finite positions are
  // clamped (their distances fail every cut-off test anyway).
  int cell_of(float v) const {
    float c = std::floor(v * inv_cell_);
    if (!(c > -1e6f)) c = -1e6f;
    if (c > 1e6f) c = 1e6f;
    return static_cast<int>(c);
  }
  int hash(int x, int y, int z) const {
    const uint32_t h = static_cast<uint32_t>(x) * 73856093u ^ static_cast<uint32_t>(y) * 19349663u ^
                       static_cast<uint32_t>(z) * 83492791u;
    return static_cast<int>(h & static_cast<uint32_t>(mask_));
  }

  float inv_cell_ = 1;
  int mask_ = 0;
  std::vector<int> head_, fill_, cell_, bucket_, order_;
};

}  // namespace tevo
