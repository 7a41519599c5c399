// Shared pieces of the node types: readers of the per-element arrays of a
// node group, the loop over systems, and factory helpers for the registry.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "md/deriv_engine.h"
#include "md/h5.h"

namespace tevo {

// The first dimension of a dataset of the given rank.
inline int dset_rows(hid_t group, const char* name, int rank) {
  return static_cast<int>(h5::get_dset_size(rank, group, name)[0]);
}

template <typename T>
std::vector<T> read_vector(hid_t group, const char* name, int n) {
  h5::check_size(group, name, n);
  std::vector<hsize_t> dims;
  return h5::read_dset<T>(group, name, 1, &dims);
}

// Any-rank dataset whose leading dimensions are given (-1: any), read flat.
template <typename T>
std::vector<T> read_array(hid_t group, const char* name, const std::vector<long>& shape, std::vector<hsize_t>* dims) {
  std::vector<T> data = h5::read_dset<T>(group, name, static_cast<int>(shape.size()), dims);
  for (size_t d = 0; d < shape.size(); ++d)
    if (shape[d] >= 0 && static_cast<long>((*dims)[d]) != shape[d]) {
      std::vector<hsize_t> want(*dims);
      for (size_t k = 0; k < shape.size(); ++k)
        if (shape[k] >= 0) want[k] = shape[k];
      h5::check_size(group, name, want);  // throws the size mismatch with both lists
    }
  return data;
}

// n rows of K indices (rank 1 when K is 1), each in [0, limit), or -1 where
// `allow_missing`. An index out of range throws "<what> <row>".
template <int K>
std::vector<std::array<int, K>> read_index_rows(hid_t group, const char* name, int n, int limit,
                                                bool allow_missing = false, const char* what = "illegal atom num") {
  std::vector<hsize_t> dims;
  std::vector<int> flat = h5::read_dset<int>(group, name, K == 1 ? 1 : 2, &dims);
  if (static_cast<int>(dims[0]) != n || (K > 1 && static_cast<int>(dims[1]) != K))
    throw std::string("wrong size for id array ") + name;
  std::vector<std::array<int, K>> rows(n);
  for (int i = 0; i < n; ++i)
    for (int k = 0; k < K; ++k) {
      const int v = flat[static_cast<size_t>(i) * K + k];
      if (v >= limit || v < (allow_missing ? -1 : 0)) throw std::string(what) + " " + std::to_string(i);
      rows[i][k] = v;
    }
  return rows;
}

// Runs f(s) for every system, in parallel when there are several systems
// and enough elements in all of them to pay for a team.
template <typename F>
void for_each_system(int n_system, long n_elem, F&& f) {
#pragma omp parallel for schedule(static) if (parallel_systems(n_system, n_elem))
  for (int s = 0; s < n_system; ++s) f(s);
}

// Registers a node type whose arguments have the given widths.
template <typename NodeClass, int... Widths>
void register_node_type(const char* name) {
  add_node_creation_function(name, [](hid_t group, std::vector<CoordNode*> args) -> DerivComputation* {
    constexpr int widths[] = {Widths...};
    check_arguments_length(args, sizeof...(Widths));
    for (size_t i = 0; i < sizeof...(Widths); ++i) check_elem_width(*args[i], widths[i]);
    if constexpr (sizeof...(Widths) == 1)
      return new NodeClass(group, *args[0]);
    else
      return new NodeClass(group, *args[0], *args[1]);
  });
}

}  // namespace tevo
