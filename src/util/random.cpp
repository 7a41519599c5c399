// Mersenne Twister MT19937 (Matsumoto & Nishimura, ACM TOMACS 8:3, 1998),
// in two independent copies: the global stream and the MT19937 class.
#include "util/random.h"

#include <cmath>
#include <cstdlib>
#include <ctime>

namespace tevo {

namespace {

constexpr int kN = 624;
constexpr int kM = 397;
constexpr uint32_t kMatrixA = 0x9908b0dfU;
constexpr uint32_t kUpper = 0x80000000U;
constexpr uint32_t kLower = 0x7fffffffU;

uint32_t g_mt[kN];
int g_mti = kN + 1;
uint32_t g_last_interval = 0;
uint32_t g_rlimit = 0;

inline uint32_t temper(uint32_t y) {
  y ^= y >> 11;
  y ^= (y << 7) & 0x9d2c5680U;
  y ^= (y << 15) & 0xefc60000U;
  y ^= y >> 18;
  return y;
}

// Regenerates the N words of `mt` (any unsigned word type, low 32 bits used).
template <typename Word>
void twist(Word* mt) {
  static const uint32_t mag01[2] = {0U, kMatrixA};
  int k = 0;
  for (; k < kN - kM; ++k) {
    const uint32_t y = (static_cast<uint32_t>(mt[k]) & kUpper) | (static_cast<uint32_t>(mt[k + 1]) & kLower);
    mt[k] = static_cast<uint32_t>(mt[k + kM]) ^ (y >> 1) ^ mag01[y & 1U];
  }
  for (; k < kN - 1; ++k) {
    const uint32_t y = (static_cast<uint32_t>(mt[k]) & kUpper) | (static_cast<uint32_t>(mt[k + 1]) & kLower);
    mt[k] = static_cast<uint32_t>(mt[k + (kM - kN)]) ^ (y >> 1) ^ mag01[y & 1U];
  }
  const uint32_t y = (static_cast<uint32_t>(mt[kN - 1]) & kUpper) | (static_cast<uint32_t>(mt[0]) & kLower);
  mt[kN - 1] = static_cast<uint32_t>(mt[kM - 1]) ^ (y >> 1) ^ mag01[y & 1U];
}

template <typename Word>
void seed_words(Word* mt, uint32_t seed) {
  mt[0] = seed;
  for (int i = 1; i < kN; ++i) {
    const uint32_t prev = static_cast<uint32_t>(mt[i - 1]);
    mt[i] = static_cast<uint32_t>(1812433253U * (prev ^ (prev >> 30)) + static_cast<uint32_t>(i));
  }
}

}  // namespace

void init_mersenne(uint32_t seed) {
  seed_words(g_mt, seed);
  g_mti = kN;
}

uint32_t get_random_bits() {
  if (g_mti >= kN) {
    if (g_mti == kN + 1) init_mersenne(5489U);
    twist(g_mt);
    g_mti = 0;
  }
  return temper(g_mt[g_mti++]);
}

void set_seed(uint32_t seed) {
  init_mersenne(seed);
  for (int i = 0; i < 37; ++i) get_random_bits();
}

int32_t get_irandom(int32_t min, int32_t max) {
  if (max <= min) return max == min ? max : static_cast<int32_t>(0x80000000U);
  const uint32_t interval = static_cast<uint32_t>(static_cast<int64_t>(max) - min + 1);
  if (interval != g_last_interval) {
    g_last_interval = interval;
    // interval 0 stands for the full 2^32 range (min INT32_MIN, max INT32_MAX)
    g_rlimit = interval == 0 ? 0xFFFFFFFFU
                             : static_cast<uint32_t>((4294967296ULL / interval) * interval - 1);
  }
  uint64_t product;
  do {
    const uint64_t range = interval == 0 ? 4294967296ULL : interval;
    product = static_cast<uint64_t>(get_random_bits()) * range;
  } while (static_cast<uint32_t>(product) > g_rlimit);
  return static_cast<int32_t>(static_cast<int64_t>(product >> 32) + min);
}

void get_log_random(double* out) {
  double u;
  do {
    u = get_random_bits() * 2.3283064365386963e-10;
  } while (u == 0.0);
  *out = -std::log(u);
}

template <typename T>
MT19937<T>::MT19937() : mt_(new uint64_t[N]()) {}

template <typename T>
MT19937<T>::~MT19937() {
  delete[] mt_;
}

template <typename T>
void MT19937<T>::init_genrand(uint32_t seed) {
  seed_words(mt_, seed);
  mti_ = N;
}

template <typename T>
void MT19937<T>::init_by_array(const uint32_t* key, int length) {
  init_genrand(19650218U);
  int i = 1, j = 0;
  for (int k = (N > length ? N : length); k; --k) {
    const uint32_t prev = static_cast<uint32_t>(mt_[i - 1]);
    mt_[i] = static_cast<uint32_t>((static_cast<uint32_t>(mt_[i]) ^ ((prev ^ (prev >> 30)) * 1664525U)) +
                                   key[j] + static_cast<uint32_t>(j));
    ++i;
    ++j;
    if (i >= N) {
      mt_[0] = mt_[N - 1];
      i = 1;
    }
    if (j >= length) j = 0;
  }
  for (int k = N - 1; k; --k) {
    const uint32_t prev = static_cast<uint32_t>(mt_[i - 1]);
    mt_[i] = static_cast<uint32_t>((static_cast<uint32_t>(mt_[i]) ^ ((prev ^ (prev >> 30)) * 1566083941U)) -
                                   static_cast<uint32_t>(i));
    ++i;
    if (i >= N) {
      mt_[0] = mt_[N - 1];
      i = 1;
    }
  }
  mt_[0] = 0x80000000U;  // non-zero initial state is assured
}

template <typename T>
uint32_t MT19937<T>::genrand_int32() {
  if (mti_ >= N) {
    if (mti_ == N + 1) init_genrand(5489U);
    twist(mt_);
    mti_ = 0;
  }
  return temper(static_cast<uint32_t>(mt_[mti_++]));
}

template <typename T>
int32_t MT19937<T>::genrand_int31() {
  return static_cast<int32_t>(genrand_int32() >> 1);
}

template <typename T>
T MT19937<T>::genrand_real1() {
  return static_cast<T>(genrand_int32() * 2.3283064370807974e-10);
}

template <typename T>
T MT19937<T>::genrand_real2() {
  return static_cast<T>(genrand_int32() * 2.3283064365386963e-10);
}

template <typename T>
T MT19937<T>::genrand_real3() {
  return static_cast<T>((static_cast<double>(genrand_int32()) + 0.5) * 2.3283064365386963e-10);
}

template <typename T>
T MT19937<T>::genrand_res53() {
  const uint32_t a = genrand_int32() >> 5, b = genrand_int32() >> 6;
  return static_cast<T>((a * 67108864.0 + b) * 1.1102230246251565e-16);
}

template <typename T>
int MT19937<T>::choose_rand(const T* weights, int n) {
  if (n < 1) {
    genrand_real3();
    return -1;
  }
  T sum = 0;
  for (int i = 0; i < n; ++i) sum += weights[i];
  const T u = genrand_real3() * sum;
  T running = 0;
  for (int i = 0; i < n; ++i) {
    running += weights[i];
    if (running > u) return i;
  }
  return -1;
}

template <typename T>
T MT19937<T>::normal_distribution() {
  if (has_spare_) {
    has_spare_ = false;
    return spare_;
  }
  T u, v, s;
  do {
    u = 2 * genrand_real3() - 1;
    v = 2 * genrand_real3() - 1;
    s = u * u + v * v;
  } while (s >= 1 || s == 0);
  const T f = std::sqrt(-2 * std::log(s) / s);
  spare_ = u * f;
  has_spare_ = true;
  return v * f;
}

template class MT19937<float>;
template class MT19937<double>;

template <typename T>
T get_normal_random() {
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  T u, v, s;
  do {
    u = static_cast<T>(2.0 * std::rand() / 2147483647.0 - 1);
    v = static_cast<T>(2.0 * std::rand() / 2147483647.0 - 1);
    s = u * u + v * v;
  } while (s >= 1 || s == 0);
  return v * std::sqrt(-2 * std::log(s) / s);
}

template <typename T>
void get_normal_random(T* out) {
  *out = get_normal_random<T>();
}

template float get_normal_random<float>();
template double get_normal_random<double>();
template void get_normal_random<float>(float*);
template void get_normal_random<double>(double*);

}  // namespace tevo
