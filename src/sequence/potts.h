// The parameter layout of the pairwise Potts model fitted by the coupling
// analysis, and the data block of its pseudo-likelihood objective.
//
// With L sites and P = L (L - 1) / 2 pairs the parameter vector holds the
// 21 L fields first, then one 21 x 21 block per pair:
//   field of state a at site i:             a * L + i
//   pair i < j:                             block p = j (j - 1) / 2 + i
//   coupling of a at i with b at j (i < j): 21 L + 441 p + 21 b + a
// so that the 21 states of the lower site run contiguously.
#pragma once

#include <cstdint>
#include <vector>

namespace tevo {

constexpr int kPottsStates = 21;
constexpr int kPottsBlock = kPottsStates * kPottsStates;

// Block of the pair of sites i < j.
inline long pair_index(int i, int j) { return static_cast<long>(j) * (j - 1) / 2 + i; }

// Pairs and parameters of a model over `sites` sites.
inline long potts_num_pairs(long sites) { return sites * (sites - 1) / 2; }
inline long potts_num_params(long sites) { return kPottsStates * sites + kPottsBlock * potts_num_pairs(sites); }

// Index of the coupling of state a at site i with state b at site j, i < j.
inline long coupling_index(int sites, int i, int j, int a, int b) {
  return kPottsStates * static_cast<long>(sites) + kPottsBlock * pair_index(i, j) + kPottsStates * b + a;
}

// The alignment by site: element j * num_seq + s is the state of sequence s
// at site j, so that a pass over one site reads contiguous states.
std::vector<int32_t> states_by_site(const int32_t* const* msa, int num_seq, int sites);

// What plm_negative_log_posterior reads: the alignment as residue states
// 0..20, one weight per sequence, the sizes and the regularisation.
template <typename T>
struct PottsData {
  const int32_t* const* msa = nullptr;  // [num_of_seq][num_of_site]
  const T* weights = nullptr;           // [num_of_seq]
  int num_of_seq = 0;
  int num_of_site = 0;
  long num_of_pairs = 0;
  T lambda_h = T(0.01);
  T lambda_j = T(100.0);
  T effective_samples = 0;
};

}  // namespace tevo
