// Update rules, losses and match_labels. The rules loop over the whole
// storage of a matrix: padding holds zeros in w and dW and stays zero.
#include "layers/solver.h"

#include <cmath>

namespace tevo {
namespace {

constexpr float kTiny = 1e-8f;

template <typename T>
class Sgd : public Solver<T> {
 public:
  Sgd() : Solver<T>("sgd") {}
  // The 0.01 * w term is a weight decay built into the rule.
  void increment_w(LMatrix<T>* w, int, const LMatrix<T>& dW, T factor) override {
    const T step = this->learning_rate * factor, decay = static_cast<T>(0.01f);
    T* x = w->x;
    const T* g = dW.x;
    const int n = w->storage();
#pragma omp simd
    for (int i = 0; i < n; ++i) x[i] -= (decay * x[i] + g[i]) * step;
  }
};

// rmsprop and adagrad: one matrix of accumulated squares per link.
template <typename T>
class SquareSolver : public Solver<T> {
 public:
  using Solver<T>::Solver;
  void push_back(int w, int h, int c) override {
    state.emplace_back(w, h, c);
  }
  void reset() override {
    for (auto& s : state) s.fill(0);
  }
  std::vector<LMatrix<T>> state;
};

template <typename T>
class Rmsprop : public SquareSolver<T> {
 public:
  Rmsprop() : SquareSolver<T>("rmsprop") {}
  void increment_w(LMatrix<T>* w, int link, const LMatrix<T>& dW, T factor) override {
    const T decay = static_cast<T>(0.999f), keep = 1 - decay;
    const T step = static_cast<T>(0.01f) * factor * this->learning_rate;
    T* s = this->state[link].x;
    T* x = w->x;
    const T* g = dW.x;
    const int n = w->storage();
    for (int i = 0; i < n; ++i) {
      s[i] = decay * s[i] + keep * g[i] * g[i];
      x[i] -= step * g[i] / (std::sqrt(s[i]) + static_cast<T>(kTiny));
    }
  }
};

template <typename T>
class Adagrad : public SquareSolver<T> {
 public:
  Adagrad() : SquareSolver<T>("adagrad") {}
  void increment_w(LMatrix<T>* w, int link, const LMatrix<T>& dW, T factor) override {
    const T step = this->learning_rate * factor;
    T* s = this->state[link].x;
    T* x = w->x;
    const T* g = dW.x;
    const int n = w->storage();
    for (int i = 0; i < n; ++i) {
      s[i] += g[i] * g[i];
      x[i] -= step * g[i] / (std::sqrt(s[i]) + static_cast<T>(kTiny));
    }
  }
};

float mse_cost(float out, float target) { return 0.5f * (out - target) * (out - target); }
float mse_d_cost(float out, float target) { return out - target; }
float ce_cost(float out, float target) { return -target * std::log(out) - (1 - target) * std::log(1 - out); }
float ce_d_cost(float out, float target) { return (out - target) / ((1 - out) * out); }

const LossFunction kMse{mse_cost, mse_d_cost, "mse"};
const LossFunction kCrossEntropy{ce_cost, ce_d_cost, "cross_entropy"};

}  // namespace

template <typename T>
void Adam<T>::increment_w(LMatrix<T>* w, int link, const LMatrix<T>& dW, T factor) {
  const T step = static_cast<T>(0.1f) * factor * this->learning_rate;
  const T c1 = 1 / (1 - b1t), c2 = 1 / (1 - b2t);
  const T keep1 = 1 - beta1, keep2 = 1 - beta2;
  T* mm = m[link].x;
  T* vv = v[link].x;
  T* x = w->x;
  const T* g = dW.x;
  const int n = w->storage();
  const T b1 = beta1, b2 = beta2, tiny = static_cast<T>(kTiny);
#pragma omp simd
  for (int i = 0; i < n; ++i) {
    mm[i] = b1 * mm[i] + keep1 * g[i];
    vv[i] = b2 * vv[i] + keep2 * g[i] * g[i];
    x[i] -= step * (mm[i] * c1) / (std::sqrt(vv[i] * c2) + tiny);
  }
}

template <typename T>
void Adam<T>::push_back(int w, int h, int c) {
  m.emplace_back(w, h, c);
  v.emplace_back(w, h, c);
}

template <typename T>
void Adam<T>::reset() {
  b1t *= beta1;
  b2t *= beta2;
  for (auto& s : m) s.fill(0);
  for (auto& s : v) s.fill(0);
}

template <typename T>
Solver<T>* new_solver(const std::string& name) {
  if (name == "sgd") return new Sgd<T>();
  if (name == "rmsprop") return new Rmsprop<T>();
  if (name == "adagrad") return new Adagrad<T>();
  if (name == "adam") return new Adam<T>();
  return nullptr;
}

const LossFunction* new_loss_func(const std::string& name) {
  if (name == "mse") return &kMse;
  if (name == "cross_entropy") return &kCrossEntropy;
  return nullptr;
}

const LossFunction* new_loss_func(const char* name) {
  return new_loss_func(std::string(name ? name : ""));
}

template <typename T>
T match_labels(const T* out, const T* target, int n, int* index) {
  T sum = 0;
  int best = 0;
  for (int i = 0; i < n; ++i) {
    sum += (out[i] - target[i]) * (out[i] - target[i]);
    if (out[i] > out[best]) best = i;
  }
  *index = best;
  return sum / 2;
}

template Solver<float>* new_solver<float>(const std::string&);
template Solver<double>* new_solver<double>(const std::string&);
template class Adam<float>;
template class Adam<double>;
template float match_labels<float>(const float*, const float*, int, int*);
template double match_labels<double>(const double*, const double*, int, int*);

}  // namespace tevo
