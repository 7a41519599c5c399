// Random numbers: the program-wide Mersenne Twister seeded by `main`, a
// separate MT19937 class for workers that keep their own stream, and the
// C-library normal variate.
#pragma once

#include <cstdint>

namespace tevo {

// Global generator (one stream per process; not thread-safe).
void init_mersenne(uint32_t seed);
uint32_t get_random_bits();
void set_seed(uint32_t seed);            // init_mersenne, then 37 draws thrown away
int32_t get_irandom(int32_t min, int32_t max);  // both bounds included
void get_log_random(double* out);       // standard exponential variate

template <typename T>
class MT19937 {
 public:
  MT19937();
  virtual ~MT19937();
  MT19937(const MT19937&) = delete;
  MT19937& operator=(const MT19937&) = delete;

  void init_genrand(uint32_t seed);
  void init_by_array(const uint32_t* key, int length);
  uint32_t genrand_int32();
  int32_t genrand_int31();
  T genrand_real1();  // [0, 1]
  T genrand_real2();  // [0, 1)
  T genrand_real3();  // (0, 1)
  T genrand_res53();  // [0, 1) with 53-bit resolution
  int choose_rand(const T* weights, int n);  // roulette wheel; -1 if none
  T normal_distribution();                   // polar method, keeps a spare

  static constexpr int N = 624;
  static constexpr int M = 397;
  static constexpr uint32_t MATRIX_A = 0x9908b0dfU;
  static constexpr uint32_t UPPER_MASK = 0x80000000U;
  static constexpr uint32_t LOWER_MASK = 0x7fffffffU;

 private:
  uint64_t* mt_;      // [N], owned; low 32 bits used
  int mti_ = N + 1;   // N + 1: not seeded yet
  bool has_spare_ = false;
  T spare_ = 0;
};

extern template class MT19937<float>;
extern template class MT19937<double>;

// Standard normal variate from rand(); reseeds with time(NULL) on every call.
template <typename T>
T get_normal_random();
template <typename T>
void get_normal_random(T* out);

extern template float get_normal_random<float>();
extern template double get_normal_random<double>();
extern template void get_normal_random<float>(float*);
extern template void get_normal_random<double>(double*);

}  // namespace tevo
