// Negative log pseudo-posterior of the Potts model and its gradient.
//
// Each site i is handled on its own: its couplings to every other site are
// gathered into a local table J[j][c][a] (state c at site j, state a at i)
// whose rows of 21 states are contiguous and padded to kRow, so that the
// logits of a sequence are a sum of L rows picked by the sequence's states
// and the coupling gradient is the same rows updated in place: a gather of
// short rows, not a dense product. The local gradient is then merged into the one stored
// block of each pair, in the orientation of that block, so that both
// conditionals of a pair feed one symmetric set of couplings.
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "sequence/potts.h"
#include "sequence/sequence.h"

namespace tevo {

namespace {

constexpr int kRow = 24;  // 21 states padded to whole SIMD vectors
constexpr int kTable = kPottsStates * kRow;  // one site's block in the local tables
constexpr int kBlock = 128;  // sequences per block: 24 KB of rows in double
constexpr long kPenaltyChunk = 1L << 16;
constexpr double kParallelWork = 1e6;  // additions below which a thread team costs more than it saves

// Zeroed scratch whose rows of kRow reals start on cache-line boundaries, so
// that no vector access straddles two lines.
template <typename T>
class AlignedRows {
 public:
  explicit AlignedRows(std::size_t n)
      : data_(static_cast<T*>(::operator new[](n * sizeof(T), std::align_val_t(64)))), n_(n) {
    zero();
  }
  ~AlignedRows() { ::operator delete[](data_, std::align_val_t(64)); }
  AlignedRows(const AlignedRows&) = delete;
  AlignedRows& operator=(const AlignedRows&) = delete;
  T* data() { return data_; }
  void zero() { std::fill(data_, data_ + n_, T(0)); }

 private:
  T* data_;
  std::size_t n_;
};

// Vectors of `Bytes` bytes of T (GCC vector extensions); a row of kRow
// states is kRow / lanes of them. Loads and stores go through memcpy, which
// compiles to unaligned vector moves.
template <typename T, int Bytes>
struct Lanes {
  typedef T V __attribute__((vector_size(Bytes)));
  static constexpr int kCount = Bytes / static_cast<int>(sizeof(T));
  static constexpr int kPerRow = kRow / kCount;
  static_assert(kRow % kCount == 0, "a row is a whole number of vectors");
  // By reference: vector values in a signature would tie the ABI to the ISA.
  static inline __attribute__((always_inline)) void load(V& v, const T* p) { std::memcpy(&v, p, sizeof(V)); }
  static inline __attribute__((always_inline)) void store(T* p, const V& v) { std::memcpy(p, &v, sizeof(V)); }
};

// dst[b] += src[b] for the `block` rows of two tables; the row of b in the
// table picked by `pick_dst` / `pick_src` (state of sequence b at a site) or
// b itself when that is null.
template <typename T, int Bytes>
inline __attribute__((always_inline)) void add_rows(T* dst, const int32_t* pick_dst, const T* src,
                                                    const int32_t* pick_src, int block) {
  using L = Lanes<T, Bytes>;
  typename L::V a, b;
  for (int k = 0; k < block; ++k) {
    T* to = dst + (pick_dst ? pick_dst[k] : k) * kRow;
    const T* from = src + (pick_src ? pick_src[k] : k) * kRow;
    for (int r = 0; r < L::kPerRow; ++r) {
      L::load(a, to + r * L::kCount);
      L::load(b, from + r * L::kCount);
      L::store(to + r * L::kCount, a + b);
    }
  }
}

// What the likelihood term of one site reads and writes.
//   columns: the alignment by site, [sites][num_seq]
//   field:   the 21 fields of the site, padded to kRow
//   table:   [sites][21][kRow], its couplings by the state of the other site
//            (the rows of the site itself are zero)
//   grad, gfield: the same shapes, receiving the gradient
//   work:    kBlock x kRow scratch
template <typename T>
struct SiteTerm {
  const int32_t* columns;
  const T* weights;
  int num_seq, sites, site;
  const T* field;
  const T* table;
  T* grad;
  T* gfield;
  T* work;
};

// Likelihood term of one site over all sequences: adds w_s (p_s - e_{x_si})
// into the gradient rows, returns sum_s -w_s log p_s(x_si).
//
// Sequences go in blocks. The logits of a block are summed site by site, and
// its gradient added site by site: one site's 21 rows and the block's rows
// both stay in the first-level cache, and only the block's states are read.
template <typename T, int Bytes>
inline __attribute__((always_inline)) double site_term_body(const SiteTerm<T>& t) {
  const std::size_t n = t.num_seq;
  double value = 0;
  for (int s0 = 0; s0 < t.num_seq; s0 += kBlock) {
    const int block = std::min(kBlock, t.num_seq - s0);
    for (int b = 0; b < block; ++b) std::memcpy(t.work + b * kRow, t.field, sizeof(T) * kRow);
    for (int j = 0; j < t.sites; ++j)
      add_rows<T, Bytes>(t.work, nullptr, t.table + j * kTable, t.columns + j * n + s0, block);

    // Each row of logits becomes w_s (p_s - e_{x_si}).
    const int32_t* observed = t.columns + t.site * n + s0;
    for (int b = 0; b < block; ++b) {
      T* row = t.work + b * kRow;
      const T w = t.weights[s0 + b];
      const T logit = row[observed[b]];
      T z = 0;
      for (int a = 0; a < kPottsStates; ++a) z += row[a] = std::exp(row[a]);
      value -= static_cast<double>(w) * (static_cast<double>(logit) - std::log(static_cast<double>(z)));
      const T scale = w / z;
      for (int a = 0; a < kPottsStates; ++a) row[a] *= scale;
      row[observed[b]] -= w;
      for (int a = 0; a < kPottsStates; ++a) t.gfield[a] += row[a];
    }
    for (int j = 0; j < t.sites; ++j)
      add_rows<T, Bytes>(t.grad + j * kTable, t.columns + j * n + s0, t.work, nullptr, block);
  }
  return value;
}

// The kernel for the x86-64 baseline, AVX2 and AVX-512, chosen at run time.
template <typename T>
double site_term_plain(const SiteTerm<T>& t) {
  return site_term_body<T, 16>(t);
}

#if defined(__x86_64__)
template <typename T>
__attribute__((target("avx2,fma"))) double site_term_avx2(const SiteTerm<T>& t) {
  return site_term_body<T, 32>(t);
}
// 24 doubles are three 512-bit vectors; 24 floats stay at 256 bits.
template <typename T>
__attribute__((target("avx512f,avx512vl,avx512dq,avx2,fma"))) double site_term_avx512(const SiteTerm<T>& t) {
  return site_term_body<T, sizeof(T) == 8 ? 64 : 32>(t);
}
const bool kHasAvx2Fma = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
const bool kHasAvx512 = kHasAvx2Fma && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                        __builtin_cpu_supports("avx512dq");
#endif

template <typename T>
double site_term(const SiteTerm<T>& t) {
#if defined(__x86_64__)
  if (kHasAvx512) return site_term_avx512(t);
  if (kHasAvx2Fma) return site_term_avx2(t);
#endif
  return site_term_plain(t);
}

// Local table of site i from x: row (j, c) holds J_ij(a, c) over a.
template <typename T>
void gather_site_couplings(const T* x, int sites, int i, T* table) {
  const T* couplings = x + static_cast<std::size_t>(kPottsStates) * sites;
  for (int j = 0; j < sites; ++j) {
    T* block = table + static_cast<std::size_t>(j) * kTable;
    if (j == i) {
      for (int k = 0; k < kTable; ++k) block[k] = 0;
      continue;
    }
    for (int c = 0; c < kPottsStates; ++c) {
      T* r = block + c * kRow;
      if (i < j) {  // i holds the contiguous states: stored as [c][a]
        const T* stored = couplings + kPottsBlock * pair_index(i, j) + kPottsStates * c;
        for (int a = 0; a < kPottsStates; ++a) r[a] = stored[a];
      } else {  // j is the lower site: stored as [a][c]
        const T* stored = couplings + kPottsBlock * pair_index(j, i) + c;
        for (int a = 0; a < kPottsStates; ++a) r[a] = stored[kPottsStates * a];
      }
      for (int a = kPottsStates; a < kRow; ++a) r[a] = 0;
    }
  }
}

// Adds the local gradient of site i into g, each pair in its stored orientation.
template <typename T>
void merge_site_gradient(T* g, int sites, int i, const T* grad, const T* gfield) {
  for (int a = 0; a < kPottsStates; ++a) g[static_cast<std::size_t>(a) * sites + i] += gfield[a];
  T* couplings = g + static_cast<std::size_t>(kPottsStates) * sites;
  for (int j = 0; j < sites; ++j) {
    if (j == i) continue;
    const T* block = grad + static_cast<std::size_t>(j) * kTable;
    for (int c = 0; c < kPottsStates; ++c) {
      const T* r = block + c * kRow;
      if (i < j) {
        T* stored = couplings + kPottsBlock * pair_index(i, j) + kPottsStates * c;
        for (int a = 0; a < kPottsStates; ++a) stored[a] += r[a];
      } else {
        T* stored = couplings + kPottsBlock * pair_index(j, i) + c;
        for (int a = 0; a < kPottsStates; ++a) stored[kPottsStates * a] += r[a];
      }
    }
  }
}

}  // namespace

std::vector<int32_t> states_by_site(const int32_t* const* msa, int num_seq, int sites) {
  std::vector<int32_t> columns(static_cast<std::size_t>(sites) * num_seq);
  for (int s = 0; s < num_seq; ++s)
    for (int j = 0; j < sites; ++j) columns[static_cast<std::size_t>(j) * num_seq + s] = msa[s][j];
  return columns;
}

template <typename T>
T LSequence<T>::plm_negative_log_posterior(int n, const T* x, T* g, void* data) {
  const PottsData<T>& d = *static_cast<const PottsData<T>*>(data);
  const int sites = d.num_of_site;
  const long fields = static_cast<long>(kPottsStates) * sites;

  std::fill(g, g + n, T(0));  // memory-bound: a thread team gains nothing here

  // Per-site values summed in site order, so that the value does not depend
  // on the number of threads.
  std::vector<double> site_value(sites > 0 ? sites : 1, 0.0);
  if (sites >= 2) {
    const int num_seq = d.num_of_seq;
    const std::vector<int32_t> columns = states_by_site(d.msa, num_seq, sites);
    const double flops = static_cast<double>(num_seq) * sites * sites * kRow;
#pragma omp parallel if (flops >= kParallelWork)
    {
      const std::size_t table_size = static_cast<std::size_t>(sites) * kTable;
      AlignedRows<T> table(table_size), grad(table_size), work(static_cast<std::size_t>(kBlock) * kRow);
      alignas(64) T field[kRow];
      alignas(64) T gfield[kRow];
#pragma omp for schedule(dynamic, 1)
      for (int i = 0; i < sites; ++i) {
        gather_site_couplings(x, sites, i, table.data());
        for (int a = 0; a < kRow; ++a) {
          field[a] = a < kPottsStates ? x[static_cast<std::size_t>(a) * sites + i] : T(0);
          gfield[a] = 0;
        }
        grad.zero();
        site_value[i] = site_term(SiteTerm<T>{columns.data(), d.weights, num_seq, sites, i, field, table.data(),
                                              grad.data(), gfield, work.data()});
#pragma omp critical(plm_gradient_merge)
        merge_site_gradient(g, sites, i, grad.data(), gfield);
      }
    }
  }
  double value = 0;
  for (int i = 0; i < sites; ++i) value += site_value[i];

  // Gaussian priors: lambda_h on the fields; lambda_j on the couplings, which
  // exist only from two sites on.
  // Partial sums over fixed chunks, added in order: the same value at any
  // thread count.
  const long penalised = sites >= 2 ? static_cast<long>(n) : std::min<long>(fields, n);
  const long chunks = (penalised + kPenaltyChunk - 1) / kPenaltyChunk;
  std::vector<double> partial(chunks > 0 ? chunks : 1, 0.0);
#pragma omp parallel for schedule(static) if (chunks > 1)
  for (long c = 0; c < chunks; ++c) {
    const long end = std::min(penalised, (c + 1) * kPenaltyChunk);
    double sum = 0;
    for (long k = c * kPenaltyChunk; k < end; ++k) {
      const T lambda = k < fields ? d.lambda_h : d.lambda_j;
      sum += static_cast<double>(lambda) * x[k] * x[k];
      g[k] += 2 * lambda * x[k];
    }
    partial[c] = sum;
  }
  for (long c = 0; c < chunks; ++c) value += partial[c];
  return static_cast<T>(value);
}

template float LSequence<float>::plm_negative_log_posterior(int, const float*, float*, void*);
template double LSequence<double>::plm_negative_log_posterior(int, const double*, double*, void*);

}  // namespace tevo
