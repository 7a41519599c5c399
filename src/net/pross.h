// Pross<T>: secondary structure of proteins residue by residue, from
// per-residue feature files, by a network trained on labelled files.
#pragma once

#include <string>
#include <vector>

#include "layers/network.h"

namespace tevo {

template <typename T>
class Pross {
 public:
  Pross(const std::string& output, const std::string& jobname);
  void init();
  // threads, epochs (-echo), mini batch, solver name, learning rate, and the
  // topology (training) or model (prediction) file.
  void set_info(int threads, int epochs, int mini_batch, const std::string& solver, T learning_rate,
                const std::string& cfg);
  void set_phase(bool predict) { phase = predict; }
  void set_list(const std::string& file) { list = file; }
  void set_dirt(const std::string& directory) { dirt = directory; }
  void set_window(int rows) { window = rows; }
  void set_number(int files) { number = files; }  // at most this many listed files; below 1: all
  void actuate();
  void make_data();
  void train();
  void predict();
  // Percentage of samples whose predicted class is their label.
  T test(Network<T>& net, const std::vector<T>& data, const std::vector<int>& labels);
  void finish();

  bool phase = false;  // false trains, true predicts
  std::string list, dirt;
  int window = 15;
  int number = -1;
  int train_files = 0;
  int sample_size = 0;  // values of one sample: (window rows + the centre again) x row width
  std::vector<T> train_data, test_data;  // [samples][sample_size], flat
  std::vector<int> train_labels, test_labels;
  std::vector<std::string> test_names;  // the files of the test samples, in order
  std::vector<int> test_lengths;        // their residue counts

 private:
  std::string list_file() const;
  void check_input_size(Network<T>& net, const std::string& file) const;
  std::string output_, jobname_, prefix_;
  int threads_ = 1, epochs_ = 20, mini_batch_ = 32;
  std::string solver_ = "adam", cfg_;
  T learning_rate_ = static_cast<T>(0.04f);
};

extern template class Pross<float>;
extern template class Pross<double>;

}  // namespace tevo
