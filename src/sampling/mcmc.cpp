// Markov chain Monte Carlo worker: the announcement and its small numeric helpers.
#include "sampling/mcmc.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace tevo {

template <typename T>
void MCMC<T>::actuate() {
  const std::string text = "It is coming soon ...";
  std::printf("-- \033[31m%s\033[0m\n", text.c_str());
}

template <typename T>
T MCMC<T>::sample_normal() {
  T u, v, s;
  do {
    u = static_cast<T>(2.0 * std::rand() * 4.656613e-10 - 1);
    v = static_cast<T>(2.0 * std::rand() * 4.656613e-10 - 1);
    s = u * u + v * v;
  } while (s >= 1 || s == 0);
  return u * std::sqrt(-2 * std::log(s) / s);
}

template <typename T>
T MCMC<T>::expectancy(const T* x, int n) {
  if (n < 1) return 0;
  T sum = 0;
  for (int i = 0; i < n; ++i) sum += x[i];
  return sum / static_cast<T>(n);
}

template <typename T>
T MCMC<T>::calc_mult(const T* x, int n) {
  T product = 1;
  for (int i = 0; i < n; ++i) product *= x[i];
  return product;
}

template class MCMC<float>;
template class MCMC<double>;

}  // namespace tevo
