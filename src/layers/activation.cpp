// The activation family. Element-wise functions share one template over the
// function and its derivative; softmax and brokemax work on the whole vector.
#include "layers/activation.h"

#include <cmath>

namespace tevo {
namespace {

// f(x) and f'(y), y = f(x), as small function objects.
template <typename T>
struct Identity {
  static T f(T x) { return x; }
  static T df(T) { return 1; }
};
template <typename T>
struct Tanh {
  static T f(T x) { return std::tanh(x); }
  static T df(T y) { return 1 - y * y; }
};
template <typename T>
struct Elu {
  // The derivative takes the exponential of the output, as the network's
  // models were trained with.
  static T f(T x) { return x >= 0 ? x : static_cast<T>(0.1f) * (std::exp(x) - 1); }
  static T df(T y) { return y > 0 ? T(1) : static_cast<T>(0.1f) * std::exp(y); }
};
// The rectifiers' derivative: 1 where the output is positive, otherwise the
// slope of the negative side (0 for relu); at x = 0 exactly the output is 0
// and the negative side's slope is taken.
template <typename T>
struct Relu {
  static T f(T x) { return x >= 0 ? x : T(0); }
  static T df(T y) { return y > 0 ? T(1) : T(0); }
};
template <typename T>
struct Lrelu {
  static T f(T x) { return x >= 0 ? x : static_cast<T>(0.01f) * x; }
  static T df(T y) { return y > 0 ? T(1) : static_cast<T>(0.01f); }
};
template <typename T>
struct Vlrelu {
  static T f(T x) { return x >= 0 ? x : static_cast<T>(0.33f) * x; }
  static T df(T) { return 1; }  // constant 1 on both sides, kept as trained
};
template <typename T>
struct Sigmoid {
  static T f(T x) { return 1 / (1 + std::exp(-x)); }
  static T df(T y) { return y * (1 - y); }
};

template <typename T, template <typename> class F>
class Elementwise : public Activation<T> {
 public:
  explicit Elementwise(const std::string& name) : Activation<T>(name) {}
  void func_act(T* v, int n, const T* bias) override {
    for (int i = 0; i < n; ++i) v[i] = F<T>::f(v[i] + bias[i]);
  }
  void func_act(T* v, int n, T bias) override {
    for (int i = 0; i < n; ++i) v[i] = F<T>::f(v[i] + bias);
  }
  T func_deact(T* v, int index, int) override { return F<T>::df(v[index]); }
};

// The bias is added first, then the vector-wide function runs.
template <typename T>
class VectorActivation : public Activation<T> {
 public:
  using Activation<T>::Activation;
  void func_act(T* v, int n, const T* bias) override {
    for (int i = 0; i < n; ++i) v[i] += bias[i];
    apply(v, n);
  }
  void func_act(T* v, int n, T bias) override {
    for (int i = 0; i < n; ++i) v[i] += bias;
    apply(v, n);
  }
  T func_deact(T* v, int index, int) override { return v[index] * (1 - v[index]); }
  virtual void apply(T* v, int n) = 0;
};

template <typename T>
int first_largest(const T* v, int n) {
  int p = 0;
  for (int i = 1; i < n; ++i)
    if (v[i] > v[p]) p = i;
  return p;
}

template <typename T>
class Softmax : public VectorActivation<T> {
 public:
  Softmax() : VectorActivation<T>("softmax") {}
  void apply(T* v, int n) override {
    if (n < 1) return;
    const T m = v[first_largest(v, n)];
    T s = 0;
    for (int i = 0; i < n; ++i) s += (v[i] = std::exp(v[i] - m));
    for (int i = 0; i < n; ++i) v[i] /= s;
  }
};

// A softmax computed in place: each entry takes the sum over the values as
// they stand at that moment, so entries already done enter later sums as
// outputs, and the reference entry changes once the loop has passed it.
template <typename T>
class Brokemax : public VectorActivation<T> {
 public:
  Brokemax() : VectorActivation<T>("brokemax") {}
  void apply(T* v, int n) override {
    if (n < 1) return;
    const int p = first_largest(v, n);
    for (int i = 0; i < n; ++i) {
      const T m = v[p];
      T s = 0;
      for (int k = 0; k < n; ++k) s += std::exp(v[k] - m);
      v[i] = std::exp(v[i] - m) / s;
    }
  }
};

template <typename T>
class Fnull : public Activation<T> {
 public:
  Fnull() : Activation<T>("") {}
  void func_act(T*, int, const T*) override {}
  void func_act(T*, int, T) override {}
  T func_deact(T*, int, int) override { return 0; }
};

}  // namespace

template <typename T>
Activation<T>* new_activation_func(const std::string& name) {
  if (name == "identity") return new Elementwise<T, Identity>(name);
  if (name == "tanh") return new Elementwise<T, Tanh>(name);
  if (name == "elu") return new Elementwise<T, Elu>(name);
  if (name == "relu") return new Elementwise<T, Relu>(name);
  if (name == "lrelu") return new Elementwise<T, Lrelu>(name);
  if (name == "vlrelu") return new Elementwise<T, Vlrelu>(name);
  if (name == "sigmoid") return new Elementwise<T, Sigmoid>(name);
  if (name == "softmax") return new Softmax<T>();
  if (name == "brokemax") return new Brokemax<T>();
  return nullptr;
}

template <typename T>
Activation<T>* new_null_activation() {
  return new Fnull<T>();
}

template Activation<float>* new_activation_func<float>(const std::string&);
template Activation<double>* new_activation_func<double>(const std::string&);
template Activation<float>* new_null_activation<float>();
template Activation<double>* new_null_activation<double>();

}  // namespace tevo
