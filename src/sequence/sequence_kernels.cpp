// The pair kernels of the quadratic steps: sites at which two byte rows of an
// alignment agree, counted 16 or 32 bytes at a time. The AVX2 form is chosen
// at run time where the processor has it; SSE2 is the x86-64 baseline.
#include <algorithm>
#include <cstdint>

#include "protein/residues.h"  // aa12idx
#include "sequence/residue_codes.h"
#include "sequence/sequence.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define TEVO_SEQ_X86 1
#endif

namespace tevo {

const int8_t* residue_code_table() {
  static const struct Table {
    int8_t code[256];
    Table() {
      for (int c = 0; c < 256; ++c) {
        const int v = c == 0 ? -1 : aa12idx(static_cast<char>(c));
        code[c] = static_cast<int8_t>(v >= 0 && v <= 20 ? v : -1);
      }
    }
  } table;
  return table.code;
}

namespace {

#ifdef TEVO_SEQ_X86
// Equal bytes in [a, a + 16 * vectors); vectors <= 255 so 8-bit lanes cannot overflow.
inline int equal_sse2(const uint8_t* a, const uint8_t* b, int vectors) {
  const __m128i zero = _mm_setzero_si128();
  __m128i acc = zero;
  for (int v = 0; v < vectors; ++v) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + 16 * v));
    const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + 16 * v));
    acc = _mm_sub_epi8(acc, _mm_cmpeq_epi8(x, y));  // equal lanes are -1
  }
  const __m128i sums = _mm_sad_epu8(acc, zero);
  return _mm_cvtsi128_si32(sums) + _mm_extract_epi16(sums, 4);
}

__attribute__((target("avx2"))) int equal_avx2(const uint8_t* a, const uint8_t* b, int vectors) {
  const __m256i zero = _mm256_setzero_si256();
  __m256i acc = zero;
  for (int v = 0; v < vectors; ++v) {
    const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + 32 * v));
    const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + 32 * v));
    acc = _mm256_sub_epi8(acc, _mm256_cmpeq_epi8(x, y));
  }
  const __m256i s = _mm256_sad_epu8(acc, zero);
  return _mm256_extract_epi32(s, 0) + _mm256_extract_epi32(s, 2) + _mm256_extract_epi32(s, 4) +
         _mm256_extract_epi32(s, 6);
}

const bool kHasAvx2 = __builtin_cpu_supports("avx2");
#endif

// Equal bytes in one chunk of n <= 255 * 16 bytes.
inline int equal_chunk(const uint8_t* a, const uint8_t* b, int n) {
  int total = 0, k = 0;
#ifdef TEVO_SEQ_X86
  if (kHasAvx2 && n >= 32) {
    const int v = n / 32;
    total += equal_avx2(a, b, v);
    k = 32 * v;
  }
  if (n - k >= 16) {
    const int v = (n - k) / 16;
    total += equal_sse2(a + k, b + k, v);
    k += 16 * v;
  }
#endif
  for (; k < n; ++k) total += a[k] == b[k];
  return total;
}

constexpr int kChunk = 64 * 63;  // whole 32- and 16-byte vectors, under the 8-bit lane limit
constexpr int kProbe = 64;       // bytes compared between two early-exit tests

}  // namespace

int count_equal_sites(const uint8_t* a, const uint8_t* b, int n) {
  int total = 0;
  for (int k = 0; k < n; k += kChunk) total += equal_chunk(a + k, b + k, n - k < kChunk ? n - k : kChunk);
  return total;
}

bool has_identity_at_least(const uint8_t* a, const uint8_t* b, int n, int need) {
  if (need <= 0) return true;
  if (need > n) return false;
  const int may_miss = n - need;
  int equal = 0;
  for (int k = 0; k < n; k += kProbe) {
    const int len = n - k < kProbe ? n - k : kProbe;
    equal += equal_chunk(a + k, b + k, len);
    if (equal >= need) return true;
    if (k + len - equal > may_miss) return false;
  }
  return equal >= need;
}

namespace {

#ifdef TEVO_SEQ_X86
__attribute__((target("avx2"))) int rows_at_least_avx2(const uint8_t* a, const uint8_t* b, int m,
                                                        int stride, int need, uint8_t* hit) {
  const __m256i zero = _mm256_setzero_si256();
  const int may_miss = stride - need;
  int hits = 0;
  for (int j = 0; j < m; ++j, b += stride) {
    int equal = 0, k = 0;
    bool ok = false;
    while (k < stride) {
      // 64 bytes (or the last 32) between two tests; 8-bit lanes hold at most 2.
      __m256i acc = _mm256_sub_epi8(zero, _mm256_cmpeq_epi8(
                                              _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + k)),
                                              _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + k))));
      int len = 32;
      if (k + 64 <= stride) {
        acc = _mm256_sub_epi8(acc, _mm256_cmpeq_epi8(
                                       _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + k + 32)),
                                       _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + k + 32))));
        len = 64;
      }
      const __m256i s = _mm256_sad_epu8(acc, zero);
      equal += _mm256_extract_epi32(s, 0) + _mm256_extract_epi32(s, 2) + _mm256_extract_epi32(s, 4) +
               _mm256_extract_epi32(s, 6);
      k += len;
      if (equal >= need) {
        ok = true;
        break;
      }
      if (k - equal > may_miss) break;
    }
    hit[j] = ok;
    hits += ok;
  }
  return hits;
}

__attribute__((target("avx2"))) void rows_equal_avx2(const uint8_t* a, const uint8_t* b, int m, int stride,
                                                     int* equal) {
  const __m256i zero = _mm256_setzero_si256();
  for (int j = 0; j < m; ++j, b += stride) {
    __m256i total = zero;
    for (int k = 0; k < stride;) {
      const int end = std::min(stride, k + 32 * 255);
      __m256i acc = zero;
      for (; k < end; k += 32)
        acc = _mm256_sub_epi8(acc, _mm256_cmpeq_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + k)),
                                                     _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + k))));
      total = _mm256_add_epi64(total, _mm256_sad_epu8(acc, zero));
    }
    equal[j] = static_cast<int>(_mm256_extract_epi64(total, 0) + _mm256_extract_epi64(total, 1) +
                                _mm256_extract_epi64(total, 2) + _mm256_extract_epi64(total, 3));
  }
}
#endif

}  // namespace

int rows_at_least(const uint8_t* a, const uint8_t* b, int m, int stride, int need, uint8_t* hit) {
#ifdef TEVO_SEQ_X86
  if (kHasAvx2 && stride % 32 == 0) return rows_at_least_avx2(a, b, m, stride, need, hit);
#endif
  int hits = 0;
  for (int j = 0; j < m; ++j) {
    hit[j] = has_identity_at_least(a, b + static_cast<std::size_t>(j) * stride, stride, need);
    hits += hit[j];
  }
  return hits;
}

void rows_equal(const uint8_t* a, const uint8_t* b, int m, int stride, int* equal) {
#ifdef TEVO_SEQ_X86
  if (kHasAvx2 && stride % 32 == 0) return rows_equal_avx2(a, b, m, stride, equal);
#endif
  for (int j = 0; j < m; ++j) equal[j] = count_equal_sites(a, b + static_cast<std::size_t>(j) * stride, stride);
}

}  // namespace tevo
