// Classic nested sampling (Skilling 2006) with a fixed number of particles and
// a short Metropolis walk inside the likelihood contour, on a 20-parameter
// spike-and-slab test model.
#pragma once

#include <fstream>
#include <vector>

namespace tevo {

// Spike-and-slab problem on the unit box [-0.5, 0.5)^20: a narrow Gaussian
// (width 0.01, weight 100) on top of a broad one (width 0.1). Its evidence
// is about 101.
template <typename T>
class ToyModel {
 public:
  static constexpr int kNumParams = 20;

  ToyModel();

  void from_prior();      // uniform on [-0.5, 0.5) per parameter
  T perturb();            // one wrapped random-walk move; returns log Hastings ratio 0
  T log_likelihood() const;

  // [kNumParams + 1]: the last element is a spare that only perturb() may touch,
  // since its index draw includes the upper bound.
  T params[kNumParams + 1];
};

// log(exp(a) - exp(b)); ends the process with status 1 unless b < a.
template <typename T>
T logdiffexp(T a, T b);

template <typename T>
class NestedSampler {
 public:
  NestedSampler(int num_particles, int mcmc_steps, ToyModel<T> model);
  ~NestedSampler();
  NestedSampler(const NestedSampler&) = delete;
  NestedSampler& operator=(const NestedSampler&) = delete;

  void set_rng_seed(unsigned seed);
  void init();
  void do_iteration();
  T run(int iterations);
  // Runs until the largest likelihood times the prior mass left is below 1e-6
  // of the evidence, with at most kMaxAutoIterations iterations.
  T run();
  T get_logZ() const { return log_z; }
  T get_H() const { return h; }

  // l1 below l2 in the likelihood order refined by the tiebreakers.
  static bool is_below(T l1, T t1, T l2, T t2) { return l1 < l2 || (l1 == l2 && t1 < t2); }

  static constexpr int kMaxAutoIterations = 1000000;

  int num_particles;                 // N
  std::vector<ToyModel<T>> particles;
  std::vector<T> log_likelihoods;    // [N]
  std::vector<T> tiebreakers;        // [N], each in [0, 1)
  T log_l_star;                      // log likelihood of the last particle removed
  bool initialised = false;
  int iteration = 0;
  int mcmc_steps;
  T log_x;                           // expected log prior mass left, -iteration / N
  T log_width;                       // log width of the current shell
  T log_shell;                       // log of the exact shell width
  T log_z;                           // log evidence
  T h = 0;                           // information
  std::ofstream sample_file;         // never opened by the command
  std::ofstream sample_info_file;
};

extern template class ToyModel<float>;
extern template class ToyModel<double>;
extern template class NestedSampler<float>;
extern template class NestedSampler<double>;
extern template float logdiffexp<float>(float, float);
extern template double logdiffexp<double>(double, double);

}  // namespace tevo
