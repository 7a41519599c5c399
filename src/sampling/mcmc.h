// Markov chain Monte Carlo worker: announced, not yet doing any sampling.
#pragma once

namespace tevo {

template <typename T>
class MCMC {
 public:
  void init() {}
  void finish() {}
  // Prints, in red, that the sampler is coming soon.
  void actuate();

  // Standard normal deviate by the polar method on rand(), without reseeding.
  T sample_normal();
  // Mean of x[0..n); 0 for n < 1.
  T expectancy(const T* x, int n);
  // Product of x[0..n); 1 for n < 1.
  T calc_mult(const T* x, int n);
};

extern template class MCMC<float>;
extern template class MCMC<double>;

}  // namespace tevo
