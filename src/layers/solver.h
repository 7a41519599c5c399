// Weight update rules ("sgd", "rmsprop", "adagrad", "adam") with their
// per-link state, and the loss records of an epoch.
#pragma once

#include <string>
#include <vector>

#include "layers/lmatrix.h"

namespace tevo {

template <typename T>
class Solver {
 public:
  explicit Solver(std::string name) : name(std::move(name)) {}
  virtual ~Solver() = default;
  // w -= the rule's step for gradient dW, scaled by factor.
  virtual void increment_w(LMatrix<T>* w, int link, const LMatrix<T>& dW, T factor) = 0;
  virtual void push_back(int w, int h, int c) { (void)w, (void)h, (void)c; }  // per-link state
  virtual void reset() {}
  T learning_rate = static_cast<T>(0.01f);
  std::string name;
};

// Null for a name other than the four.
template <typename T>
Solver<T>* new_solver(const std::string& name);

// Adam, public so that its bias-correction powers can be inspected.
template <typename T>
class Adam : public Solver<T> {
 public:
  Adam() : Solver<T>("adam") {}
  void increment_w(LMatrix<T>* w, int link, const LMatrix<T>& dW, T factor) override;
  void push_back(int w, int h, int c) override;
  void reset() override;  // one step of the bias correction; clears m and v
  T beta1 = static_cast<T>(0.9f), b1t = static_cast<T>(0.9f);
  T beta2 = static_cast<T>(0.999f), b2t = static_cast<T>(0.999f);
  std::vector<LMatrix<T>> m, v;  // first and second moments, one per link
};

// A loss: cost and its derivative at one output, in single precision.
struct LossFunction {
  float (*cost)(float out, float target);
  float (*d_cost)(float out, float target);
  std::string name;
};

// "mse" or "cross_entropy"; null for any other name. Static records: not owned.
const LossFunction* new_loss_func(const std::string& name);
const LossFunction* new_loss_func(const char* name);

// Half the sum of squared differences of n outputs and targets; *index gets
// the first largest output.
template <typename T>
T match_labels(const T* out, const T* target, int n, int* index);

extern template Solver<float>* new_solver<float>(const std::string&);
extern template Solver<double>* new_solver<double>(const std::string&);
extern template class Adam<float>;
extern template class Adam<double>;
extern template float match_labels<float>(const float*, const float*, int, int*);
extern template double match_labels<double>(const double*, const double*, int, int*);

}  // namespace tevo
