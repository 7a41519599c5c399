// Network<T>: a directed graph of named layers and its training loop. Each
// thread trains on its own copy of the layer list (set 0 is the master);
// all sets share the weights, which change only when a mini batch is full.
#pragma once

#include <omp.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "layers/layer.h"
#include "layers/lmatrix.h"
#include "layers/solver.h"
#include "util/random.h"

namespace tevo {

template <typename T>
class Network {
 public:
  // solver_name: "sgd", "rmsprop", "adagrad", "adam", or "" for a network
  // that only predicts.
  explicit Network(const std::string& solver_name);
  ~Network();
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;

  // ---- Building -------------------------------------------------------------------
  // Adds the layer of one topology line to every set; false (after a
  // message) for a line that makes no layer.
  bool layer_push_back(const std::string& name, const std::string& config);
  // Appends a link, fills its weights by the target's activation and sizes
  // the target. A size that cannot work ends the process with an error.
  void connect(const char* from, const char* to);
  void connect_all();  // each layer to the next, in order
  void set_graph(const std::vector<std::pair<std::string, std::string>>& links);
  void enable_external_threads(int threads);  // one layer set per thread
  void enable_internal_threads(int threads);  // threads inside each layer's loops
  void set_mini_batch_size(int size);         // below 1 counts as 1
  // Random shifts within [-x, x] and [-y, y], column and row flips, pad: 0 zeros, 1 edge, 2 median.
  void set_random_augmentation(int x, int y, int flip_cols, int flip_rows, int pad);
  // Shifts of up to `translate` times the input size, column flips when flip > 0, edge padding.
  void set_random_augmentation(T translate, T flip);

  // ---- Training ------------------------------------------------------------------
  void epoch_start(const std::string& loss_name);
  void epoch_end();
  bool elvis_left_the_building();

  // The last layer's nodes after a pass over `in`.
  T* forward(const T* in, int thread = 0, int train = 0);
  int predict_class(const T* in, int thread = 0);  // first largest output
  // One sample into the current mini batch: 1 when its gradient was taken,
  // 0 when it was skipped by smart training (or refused).
  int train_class(T* in, int label, int thread = 0);
  int train_target(T* in, T* target, int thread = 0, int spare = 0);
  T* make_input(T* in, int thread);  // the input after random augmentation

  std::string get_configuration();
  void sync_layer_sets();
  void sync_mini_batch();
  int reserve_next_batch();
  // A free slot; -1 when all slots are finished; -2 when none is free and some are running.
  int get_next_open_batch();
  void reset_mini_batch();
  void clear();

  int get_epoch() const { return epoch_count; }
  void get_input_size(int* w, int* h, int* c) const;
  int get_output_size() const { return output_size; }
  int get_thread_count() const { return max_threads; }
  int get_layer_index(const char* name);
  int get_mini_batch_size() const { return mini_batch_size; }
  void set_learning_rate(T rate);
  T get_learning_rate() const;
  void reset_solver();
  bool get_smart_training() const { return smart_train; }
  void set_smart_training(bool on) { smart_train = on; }
  T get_smart_train_level() const { return smart_train_level; }
  void set_smart_train_level(T level) { smart_train_level = level; }
  void reset_smart_training();
  void heat_weights();  // refills every weight matrix by the connecting rule
  void remove_means();  // subtracts from each weight row its mean

  // ---- Model files ----------------------------------------------------------------
  void write(const std::string& file, const std::string& extension);
  // mode "configure": a list of topology lines; "graph": a model file;
  // anything else does nothing. A file that is not what the mode says ends
  // the process with "Error: ..." (status 1).
  void read(const std::string& file, const std::string& mode);

  int train_correct = 0;
  int train_skipped = 0;
  int stuck_counter = 0;
  int batch_updates = 0;
  int train_samples = 0;
  int epoch_count = 0;
  int max_epochs = 1000;
  int no_improve = 0;
  T best_correct = 0;
  T last_accuracy = 0, accuracy = 0;
  int use_augmentation = 0, augment_x = 0, augment_y = 0, augment_flip_cols = 0, augment_flip_rows = 0,
      augment_pad = 0;
  std::vector<std::vector<base_layer<T>*>> layer_sets;  // [threads][layers], owned
  std::map<std::string, int> layer_map;
  std::vector<std::pair<std::string, std::string>> layer_graph;  // links as (from, to)
  std::vector<LMatrix<T>*> W;  // [links], owned; null for a link without weights
  // Gradients of the current mini batch, summed per thread ([threads][links]
  // and [threads][layers]); sync_mini_batch adds them into set 0.
  std::vector<std::vector<LMatrix<T>>> dW_sets;
  std::vector<std::vector<LMatrix<T>>> dbias_sets;
  std::vector<unsigned char> batch_open;  // per slot: 0 free, 1 running, 2 finished
  int output_size = 0;
  int max_threads = 1, internal_threads = 1, mini_batch_size = 1;
  T smart_train_level = 0;
  bool smart_train = true;
  std::vector<T> loss_history;
  T loss_sum = 0;
  const LossFunction* loss = nullptr;  // static record, not owned
  Solver<T>* solver = nullptr;         // owned; null for a network that only predicts

 private:
  void add_layer_set();
  void link_set(std::vector<base_layer<T>*>& set, int link, LMatrix<T>** weights);
  void fill_weights(LMatrix<T>& w, base_layer<T>& target);
  void backward_hidden(int slot, int thread);
  // Forward and backward pass of one sample in `slot`; 1 when its gradient was taken.
  int finish_sample(const T* input, const T* target, int label, int thread, int slot);
  void update_smart_train(T error, bool correct);
  void lock_batch() { omp_set_lock(&batch_lock_); }
  void unlock_batch() { omp_unset_lock(&batch_lock_); }
  bool thread_in_range(int* thread, const char* words);

  std::vector<std::string> layer_configs_;  // topology line of each layer
  std::vector<std::pair<int, int>> link_ends_;  // (from, to) layer indices of each link
  std::vector<unsigned char> thread_used_;  // thread added gradients since the last update
  std::vector<std::vector<T>> augmented_;   // per thread input buffer
  std::vector<std::vector<T>> targets_;    // per thread target vector
  omp_lock_t batch_lock_;
  MT19937<T> rng_;  // weight fills
};

extern template class Network<float>;
extern template class Network<double>;

}  // namespace tevo
