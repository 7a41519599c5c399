// Activation functions of the layers, chosen by name. func_deact gives the
// derivative at one node as a function of the value after activation.
#pragma once

#include <string>

namespace tevo {

template <typename T>
class Activation {
 public:
  explicit Activation(std::string name) : name(std::move(name)) {}
  virtual ~Activation() = default;
  // v[i] = f(v[i] + bias[i]) for the n values.
  virtual void func_act(T* v, int n, const T* bias) = 0;
  // v[i] = f(v[i] + bias).
  virtual void func_act(T* v, int n, T bias) = 0;
  // The derivative at v[index] (v holds activated values).
  virtual T func_deact(T* v, int index, int n) = 0;
  std::string name;
};

// "identity", "tanh", "elu", "relu", "lrelu", "vlrelu", "sigmoid",
// "softmax", "brokemax"; null for any other name. The caller owns the result.
template <typename T>
Activation<T>* new_activation_func(const std::string& name);

// The activation of layers that have none: leaves values alone, derivative 0.
template <typename T>
Activation<T>* new_null_activation();

extern template Activation<float>* new_activation_func<float>(const std::string&);
extern template Activation<double>* new_activation_func<double>(const std::string&);
extern template Activation<float>* new_null_activation<float>();
extern template Activation<double>* new_null_activation<double>();

}  // namespace tevo
