// Nested sampling after Skilling, "Nested sampling for general Bayesian
// computation", Bayesian Analysis 1:4 (2006), with likelihood ties broken by a
// per-particle number that walks along with the particle.
#include "sampling/nested_sampler.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <string>

#include "util/console.h"
#include "util/random.h"
#include "util/strings.h"
#include "util/sysinfo.h"

namespace tevo {

namespace {

constexpr double kUnit = 2.3283064365386963e-10;  // 2^-32: get_random_bits() to [0, 1)

// The "minus infinity" of the sampler: the lowest finite value of T.
template <typename T>
constexpr T lowest() {
  return std::numeric_limits<T>::lowest();
}

template <typename T>
T uniform01() {
  return static_cast<T>(get_random_bits() * kUnit);
}

// log(exp(a) + exp(b)) shifted by the larger term.
template <typename T>
T logsumexp(T a, T b) {
  const T m = std::max(a, b);
  return m + std::log(std::exp(a - m) + std::exp(b - m));
}

}  // namespace

template <typename T>
ToyModel<T>::ToyModel() {
  std::fill(params, params + kNumParams + 1, T(0));
}

template <typename T>
void ToyModel<T>::from_prior() {
  for (int i = 0; i < kNumParams; ++i) params[i] = uniform01<T>() - T(0.5);
}

template <typename T>
T ToyModel<T>::perturb() {
  // Both bounds are included, so i == kNumParams lands on the spare element.
  const int i = get_irandom(0, kNumParams);
  const T s = std::pow(T(10), T(1.5) - T(6) * uniform01<T>());
  const T y = params[i] + s * get_normal_random<T>() + T(0.5);
  params[i] = y - std::floor(y) - T(0.5);
  return 0;
}

template <typename T>
T ToyModel<T>::log_likelihood() const {
  T a = 0, b = 0;
  for (int i = 0; i < kNumParams; ++i) {
    const T x = params[i];
    const T zs = (x - T(0.031)) / T(0.01);
    const T zb = x / T(0.1);
    a += T(3.6862316527834182) - T(0.5) * zs * zs;  // -log(0.01 sqrt(2 pi))
    b += T(1.3836465597893728) - T(0.5) * zb * zb;  // -log(0.1 sqrt(2 pi))
  }
  a += T(4.605170185988092);  // the spike weighs 100
  return logsumexp(a, b);
}

template <typename T>
T logdiffexp(T a, T b) {
  if (!(b < a)) {
    print_info("in logdiffexp!", 9);
    std::exit(1);
  }
  return a + std::log(std::exp(a - a) - std::exp(b - a));
}

template <typename T>
NestedSampler<T>::NestedSampler(int num_particles_, int mcmc_steps_, ToyModel<T> model)
    : num_particles(num_particles_), mcmc_steps(mcmc_steps_) {
  if (num_particles < 2) {
    std::cerr << "# Error: Bad number of particles." << std::endl;
    std::exit(1);
  }
  if (num_particles > 10000) std::cerr << "# WARNING: Very large number of particles." << std::endl;
  const double need_mb = static_cast<double>(num_particles) *
                         (sizeof(ToyModel<T>) + 2 * sizeof(T)) / (1 << 20);
  const int ram_mb = Info::get_RAM_size();
  if (ram_mb > 0 && need_mb > ram_mb) {
    print_info(std::to_string(num_particles) + " particles need more memory than this machine has", 9);
    std::exit(1);
  }
  particles.assign(num_particles, model);
  log_likelihoods.assign(num_particles, T(0));
  tiebreakers.assign(num_particles, T(0));
  const T n = static_cast<T>(num_particles);
  log_l_star = lowest<T>();
  log_x = 0;
  log_width = std::log(T(1) - std::exp(T(-1) / n));
  log_shell = -std::log(n);
  log_z = lowest<T>();
}

template <typename T>
NestedSampler<T>::~NestedSampler() {
  if (sample_file.is_open()) sample_file.close();
  if (sample_info_file.is_open()) sample_info_file.close();
}

template <typename T>
void NestedSampler<T>::set_rng_seed(unsigned seed) {
  set_seed(seed);
}

template <typename T>
void NestedSampler<T>::init() {
  std::printf("-- Initializing %i particles from the prior ... ", num_particles);
  std::fflush(stdout);
  for (int i = 0; i < num_particles; ++i) {
    particles[i].from_prior();
    log_likelihoods[i] = particles[i].log_likelihood();
    tiebreakers[i] = uniform01<T>();
  }
  initialised = true;
  std::printf("done\n");
}

template <typename T>
void NestedSampler<T>::do_iteration() {
  if (!initialised) init();
  const int n = num_particles;
  const T nt = static_cast<T>(n);
  ++iteration;
  log_x = -static_cast<T>(iteration) / nt;

  const T* ll = log_likelihoods.data();
  const T* tb = tiebreakers.data();
  int w = 0;
  for (int i = 1; i < n; ++i)
    if (is_below(ll[i], tb[i], ll[w], tb[w])) w = i;
  const T worst = ll[w];
  const T t_star = tb[w];
  log_l_star = worst;

  // Evidence and information after the shell of width exp(log_width) at L*.
  const T q = log_width + worst;
  const T z_new = logsumexp(log_z, q);
  h = std::exp(q - z_new) * worst + std::exp(log_z - z_new) * (h + log_z) - z_new;
  log_z = z_new;

  log_width -= T(1) / nt;
  const T shrink = std::log(T(1) - T(1) / nt);
  log_shell = logdiffexp(shrink * static_cast<T>(iteration - 1), shrink * static_cast<T>(iteration));

  int k;
  do {
    k = get_irandom(0, n - 1);
  } while (k == w);
  particles[w] = particles[k];
  log_likelihoods[w] = log_likelihoods[k];
  tiebreakers[w] = tiebreakers[k];

  // Metropolis walk inside the contour (L, t) > (L*, t*).
  T l_prop = lowest<T>();
  for (int step = 0; step < mcmc_steps; ++step) {
    ToyModel<T> proposal = particles[w];
    const T log_h = proposal.perturb();
    const T g = get_normal_random<T>();
    const T s = std::pow(T(10), T(1.5) - T(10) * uniform01<T>());
    T t_prop = tiebreakers[w] + s * g;
    t_prop = t_prop - std::floor(t_prop) + T(0);
    if (log_h != lowest<T>()) l_prop = proposal.log_likelihood();
    if (l_prop > worst || (l_prop == worst && t_prop > t_star)) {
      const T r = uniform01<T>();
      if (std::exp(log_h) >= r) {
        particles[w] = proposal;
        log_likelihoods[w] = l_prop;
        tiebreakers[w] = t_prop;
      }
    }
  }
}

namespace {

template <typename T>
void show_progress(const NestedSampler<T>& s, int total) {
  const std::string title = "Sampling: log(X) = " + num2string(s.log_x, 3) +
                            ", log(L) = " + num2string(s.log_l_star, 3) +
                            ", log(Z) = " + num2string(s.log_z, 3) + ", H = " + num2string(s.h, 3);
  progress_bar<T>(title, s.iteration, total, "", T(-999.0));
}

}  // namespace

template <typename T>
T NestedSampler<T>::run(int iterations) {
  for (int i = 0; i < iterations; ++i) {
    do_iteration();
    if (iteration % 100 == 0) show_progress(*this, iterations);
  }
  std::printf("\n");
  return log_z;
}

template <typename T>
T NestedSampler<T>::run() {
  const T log_tol = std::log(T(1e-6));
  for (int i = 0; i < kMaxAutoIterations; ++i) {
    do_iteration();
    if (iteration % 100 == 0) show_progress(*this, kMaxAutoIterations);
    const T l_max = *std::max_element(log_likelihoods.begin(), log_likelihoods.end());
    if (l_max + log_x < log_z + log_tol) break;
  }
  std::printf("\n");
  return log_z;
}

template class ToyModel<float>;
template class ToyModel<double>;
template class NestedSampler<float>;
template class NestedSampler<double>;
template float logdiffexp<float>(float, float);
template double logdiffexp<double>(double, double);

}  // namespace tevo
