// Network<T>: building, the forward pass, training one sample, and the
// mini-batch update.
#include "layers/network.h"

#include <sched.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "layers/kernels.h"
#include "util/console.h"

namespace tevo {
namespace {

template <typename T>
const LMatrix<T>& no_weights() {
  static const LMatrix<T> empty;
  return empty;
}

template <typename T>
int first_largest(const T* v, int n) {
  int best = 0;
  for (int i = 1; i < n; ++i)
    if (v[i] > v[best]) best = i;
  return best;
}

}  // namespace

template <typename T>
Network<T>::Network(const std::string& solver_name) {
  solver = new_solver<T>(solver_name);
  omp_init_lock(&batch_lock_);
  set_mini_batch_size(1);
  add_layer_set();
}

template <typename T>
Network<T>::~Network() {
  clear();
  delete solver;
  omp_destroy_lock(&batch_lock_);
}

template <typename T>
void Network<T>::clear() {
  for (auto& set : layer_sets)
    for (base_layer<T>* layer : set) delete layer;
  for (LMatrix<T>* w : W) delete w;
  layer_sets.clear();
  W.clear();
  layer_map.clear();
  layer_graph.clear();
  layer_configs_.clear();
  link_ends_.clear();
  dW_sets.clear();
  dbias_sets.clear();
  thread_used_.clear();
  augmented_.clear();
  targets_.clear();
  max_threads = 1;
  output_size = 0;
  add_layer_set();
}

// ---- Building -------------------------------------------------------------------

// A copy of set 0 (the same layers and links; weights stay shared), or the
// empty master when there is none yet.
template <typename T>
void Network<T>::add_layer_set() {
  std::vector<base_layer<T>*> set;
  std::vector<LMatrix<T>> dw, db;
  if (!layer_sets.empty()) {
    const auto& master = layer_sets[0];
    for (std::size_t i = 0; i < master.size(); ++i) {
      base_layer<T>* layer = new_layer<T>(master[i]->name, layer_configs_[i]);
      layer->set_threading(internal_threads);
      set.push_back(layer);
    }
    for (int link = 0; link < static_cast<int>(link_ends_.size()); ++link) link_set(set, link, nullptr);
    for (LMatrix<T>* w : W) dw.push_back(w ? LMatrix<T>(w->cols, w->rows, w->chans) : LMatrix<T>());
    for (base_layer<T>* layer : set)
      db.push_back(layer->bias.size() > 0 ? LMatrix<T>(layer->bias.size(), 1, 1) : LMatrix<T>());
    for (std::size_t i = 0; i < set.size(); ++i)
      if (master[i]->bias.size() > 0) set[i]->bias = master[i]->bias;
  }
  layer_sets.push_back(std::move(set));
  dW_sets.push_back(std::move(dw));
  dbias_sets.push_back(std::move(db));
  thread_used_.push_back(0);
  augmented_.emplace_back();
  targets_.emplace_back();
}

template <typename T>
bool Network<T>::layer_push_back(const std::string& name, const std::string& config) {
  std::vector<base_layer<T>*> made;
  for (std::size_t s = 0; s < layer_sets.size(); ++s) {
    base_layer<T>* layer = new_layer<T>(name, config);
    if (!layer) {
      for (base_layer<T>* m : made) delete m;
      return false;
    }
    layer->set_threading(internal_threads);
    made.push_back(layer);
  }
  const int index = static_cast<int>(layer_sets[0].size());
  for (std::size_t s = 0; s < layer_sets.size(); ++s) {
    layer_sets[s].push_back(made[s]);
    const LMatrix<T>& bias = made[s]->bias;
    dbias_sets[s].push_back(bias.size() > 0 ? LMatrix<T>(bias.size(), 1, 1) : LMatrix<T>());
  }
  layer_map[name] = index;
  layer_configs_.push_back(config);
  output_size = made[0]->node.size();
  return true;
}

template <typename T>
void Network<T>::link_set(std::vector<base_layer<T>*>& set, int link, LMatrix<T>** weights) {
  base_layer<T>* from = set[link_ends_[link].first];
  base_layer<T>* to = set[link_ends_[link].second];
  LMatrix<T>* w = to->new_connection(*from, link);
  if (!to->size_error.empty()) {
    delete w;
    print_info("layer " + to->name + " cannot take the output of layer " + from->name + ": " + to->size_error, 9);
    std::exit(1);
  }
  if (weights)
    *weights = w;
  else
    delete w;
}

template <typename T>
void Network<T>::connect(const char* from, const char* to) {
  // Names are looked up by the map's own indexing: an absent name is layer 0.
  const int a = layer_map[from], b = layer_map[to];
  if (layer_sets[0].empty()) return;
  const int link = static_cast<int>(layer_graph.size());
  layer_graph.emplace_back(from, to);
  link_ends_.emplace_back(a, b);
  LMatrix<T>* w = nullptr;
  link_set(layer_sets[0], link, &w);
  for (std::size_t s = 1; s < layer_sets.size(); ++s) link_set(layer_sets[s], link, nullptr);
  if (w) fill_weights(*w, *layer_sets[0][b]);
  W.push_back(w);
  for (auto& dw : dW_sets) dw.push_back(w ? LMatrix<T>(w->cols, w->rows, w->chans) : LMatrix<T>());
  if (solver) {
    if (w)
      solver->push_back(w->cols, w->rows, w->chans);
    else
      solver->push_back(1, 1, 1);
  }
  // The target may have been resized: its bias gradient follows.
  for (std::size_t s = 0; s < layer_sets.size(); ++s) {
    const LMatrix<T>& bias = layer_sets[s][b]->bias;
    if (dbias_sets[s][b].size() != bias.size())
      dbias_sets[s][b] = bias.size() > 0 ? LMatrix<T>(bias.size(), 1, 1) : LMatrix<T>();
  }
  output_size = layer_sets[0].back()->node.size();
}

template <typename T>
void Network<T>::connect_all() {
  for (std::size_t i = 1; i < layer_sets[0].size(); ++i)
    connect(layer_sets[0][i - 1]->name.c_str(), layer_sets[0][i]->name.c_str());
}

template <typename T>
void Network<T>::set_graph(const std::vector<std::pair<std::string, std::string>>& links) {
  for (const auto& link : links) connect(link.first.c_str(), link.second.c_str());
}

// Glorot for tanh and sigmoid, He for the rectifiers, LeCun otherwise.
template <typename T>
void Network<T>::fill_weights(LMatrix<T>& w, base_layer<T>& target) {
  const auto fan = target.get_fan_size();
  const T f = static_cast<T>(std::max(fan.first, 1)), g = static_cast<T>(std::max(fan.second, 1));
  const std::string& act = target.activation->name;
  w.fill(0);
  const int plane = w.cols * w.rows;
  for (int c = 0; c < w.chans; ++c) {
    T* v = w.channel(c);
    for (int i = 0; i < plane; ++i) {
      if (act == "tanh" || act == "sigmoid") {
        const T range = (act == "tanh" ? 1 : 4) * std::sqrt(6 / (f + g));
        v[i] = (2 * rng_.genrand_real1() - 1) * range;
      } else if (act == "lrelu" || act == "relu" || act == "vlrelu" || act == "elu") {
        v[i] = rng_.normal_distribution() * std::sqrt(2 / f);
      } else {
        v[i] = rng_.normal_distribution() * std::sqrt(1 / f);
      }
    }
  }
}

template <typename T>
void Network<T>::heat_weights() {
  for (std::size_t l = 0; l < W.size(); ++l)
    if (W[l]) fill_weights(*W[l], *layer_sets[0][link_ends_[l].second]);
}

template <typename T>
void Network<T>::remove_means() {
  for (LMatrix<T>* w : W) {
    if (!w) continue;
    for (int c = 0; c < w->chans; ++c)
      for (int r = 0; r < w->rows; ++r) {
        T* row = w->channel(c) + r * w->cols;
        T mean = 0;
        for (int i = 0; i < w->cols; ++i) mean += row[i];
        mean /= w->cols;
        for (int i = 0; i < w->cols; ++i) row[i] -= mean;
      }
  }
}

template <typename T>
void Network<T>::enable_external_threads(int threads) {
  threads = std::max(threads, 1);
  while (static_cast<int>(layer_sets.size()) < threads) add_layer_set();
  max_threads = threads;
  for (auto& set : layer_sets)
    for (base_layer<T>* layer : set) layer->set_threading(internal_threads);
}

template <typename T>
void Network<T>::enable_internal_threads(int threads) {
  internal_threads = std::max(threads, 1);
  for (auto& set : layer_sets)
    for (base_layer<T>* layer : set) layer->set_threading(internal_threads);
}

template <typename T>
void Network<T>::set_mini_batch_size(int size) {
  mini_batch_size = std::max(size, 1);
  batch_open.assign(mini_batch_size, 0);
}

template <typename T>
void Network<T>::set_random_augmentation(int x, int y, int flip_cols, int flip_rows, int pad) {
  use_augmentation = 1;
  augment_x = x;
  augment_y = y;
  augment_flip_cols = flip_cols;
  augment_flip_rows = flip_rows;
  augment_pad = pad;
}

template <typename T>
void Network<T>::set_random_augmentation(T translate, T flip) {
  int w = 1, h = 1, c = 1;
  get_input_size(&w, &h, &c);
  set_random_augmentation(static_cast<int>(translate * w), static_cast<int>(translate * h), flip > 0 ? 1 : 0, 0, 1);
}

template <typename T>
void Network<T>::get_input_size(int* w, int* h, int* c) const {
  *w = *h = *c = 0;
  for (base_layer<T>* layer : layer_sets[0])
    if (layer->is_input()) {
      *w = layer->node.cols;
      *h = layer->node.rows;
      *c = layer->node.chans;
      return;
    }
}

template <typename T>
int Network<T>::get_layer_index(const char* name) {
  const auto found = layer_map.find(name);
  return found == layer_map.end() ? -1 : found->second;
}

template <typename T>
void Network<T>::set_learning_rate(T rate) {
  if (solver) solver->learning_rate = rate;
}

template <typename T>
T Network<T>::get_learning_rate() const {
  return solver ? solver->learning_rate : T(0);
}

template <typename T>
void Network<T>::reset_solver() {
  if (solver) solver->reset();
}

template <typename T>
void Network<T>::reset_smart_training() {
  smart_train_level = 0;
  loss_history.clear();
  loss_sum = 0;
  stuck_counter = 0;
  no_improve = 0;
  best_correct = 0;
}

// ---- Forward --------------------------------------------------------------------

template <typename T>
T* Network<T>::forward(const T* in, int thread, int train) {
  if (thread < 0) thread = 0;
  if (thread >= max_threads || thread >= static_cast<int>(layer_sets.size())) {
    print_info("need to enable threading", 1);
    print_info("need to enable threading", 9);
    return nullptr;
  }
  std::vector<base_layer<T>*>& set = layer_sets[thread];
  if (set.empty()) return nullptr;
  for (base_layer<T>* layer : set) {
    layer->set_threading(internal_threads);
    layer->node.fill(0);
  }
  const T* next = in;
  for (base_layer<T>* layer : set) {
    if (!layer->is_input()) continue;
    LMatrix<T>& n = layer->node;
    const int plane = n.cols * n.rows;
    for (int c = 0; c < n.chans; ++c, next += plane) std::memcpy(n.channel(c), next, sizeof(T) * plane);
  }
  for (base_layer<T>* layer : set) {
    layer->activate_nodes();
    for (const auto& link : layer->forward_links) {
      const LMatrix<T>& w = W[link.first] ? *W[link.first] : no_weights<T>();
      link.second->accumulate_signal(*layer, w, train);
    }
  }
  return set.back()->node.x;
}

template <typename T>
int Network<T>::predict_class(const T* in, int thread) {
  const T* out = forward(in, thread, 0);
  return out ? first_largest(out, output_size) : -1;
}

template <typename T>
T* Network<T>::make_input(T* in, int thread) {
  if (!use_augmentation) return in;
  int w = 1, h = 1, c = 1;
  get_input_size(&w, &h, &c);
  LMatrix<T> m(w, h, c);
  for (int k = 0; k < c; ++k) std::memcpy(m.channel(k), in + static_cast<long>(k) * w * h, sizeof(T) * w * h);
  if (augment_flip_cols && std::rand() % 2 == 0) m = m.flip_cols();
  if (augment_flip_rows && std::rand() % 2 == 0) m = m.flip_rows();
  const int dx = augment_x > 0 ? std::rand() % (2 * augment_x + 1) - augment_x : 0;
  const int dy = augment_y > 0 ? std::rand() % (2 * augment_y + 1) - augment_y : 0;
  m = m.shift(dx, dy, augment_pad).crop(0, 0, w, h);
  std::vector<T>& out = augmented_[thread];
  out.resize(static_cast<std::size_t>(w) * h * c);
  for (int k = 0; k < c; ++k) std::memcpy(&out[static_cast<std::size_t>(k) * w * h], m.channel(k), sizeof(T) * w * h);
  return out.data();
}

// ---- Training -------------------------------------------------------------------

template <typename T>
bool Network<T>::thread_in_range(int* thread, const char* words) {
  if (*thread < 0) *thread = 0;
  if (*thread >= max_threads || *thread >= static_cast<int>(layer_sets.size())) {
    print_info(words, 1);
    print_info(words, 9);
    return false;
  }
  return !layer_sets[*thread].empty();
}

template <typename T>
int Network<T>::train_class(T* in, int label, int thread) {
  if (!thread_in_range(&thread, "call allow_threads()")) return 0;
  std::vector<T>& target = targets_[thread];
  const std::string& act = layer_sets[thread].back()->activation->name;
  const T off = act == "sigmoid" || act == "softmax" || act == "brokemax" ? T(0) : T(-1);
  target.assign(output_size, off);
  if (label >= 0 && label < output_size) target[label] = 1;
  const T* input = make_input(in, thread);
  const int slot = reserve_next_batch();
  if (slot < 0) return 0;
  return finish_sample(input, target.data(), label, thread, slot);
}

template <typename T>
int Network<T>::train_target(T* in, T* target, int thread, int) {
  if (!thread_in_range(&thread, "need to enable OMP")) return 0;
  const T* input = make_input(in, thread);
  const int slot = reserve_next_batch();
  if (slot < 0) return 0;
  return finish_sample(input, target, -1, thread, slot);
}

template <typename T>
int Network<T>::finish_sample(const T* input, const T* target, int label, int thread, int slot) {
  forward(input, thread, 1);
  std::vector<base_layer<T>*>& set = layer_sets[thread];
  for (base_layer<T>* layer : set) layer->delta.fill(0);
  base_layer<T>* last = set.back();
  if (dynamic_cast<dropout_layer<T>*>(last)) {
    print_info("can't have dropout on last layer", 1);
    print_info("can't have dropout on last layer", 9);
  }
  const int n = output_size;
  T* out = last->node.x;
  T* d = last->delta.x;
  const std::string& act = last->activation->name;
  const bool cross_entropy = loss && loss->name == "cross_entropy";
  if (cross_entropy && (act == "sigmoid" || act == "softmax")) {
    for (int i = 0; i < n; ++i) d[i] = out[i] - target[i];
  } else if (cross_entropy && act == "tanh") {
    for (int i = 0; i < n; ++i) d[i] = (out[i] - target[i]) * 4;
  } else {
    const LossFunction* f = loss ? loss : new_loss_func("mse");
    for (int i = 0; i < n; ++i)
      d[i] = static_cast<T>(f->d_cost(static_cast<float>(out[i]), static_cast<float>(target[i]))) *
             last->df(out, i, n);
  }
  T error = 0;
  for (int i = 0; i < n; ++i) error += (out[i] - target[i]) * (out[i] - target[i]);
  error /= std::max(n, 1);
  bool correct;
  if (label >= 0) {
    correct = first_largest(out, n) == label;
  } else {
    int predicted = 0;
    match_labels(out, target, n, &predicted);
    correct = target[predicted] == *std::max_element(target, target + n);
  }
  if (std::isnan(error)) print_info(label >= 0 ? "network blew up - try to lower learning rate"
                                               : "network blew up - try lowering learning rate", 11);
  update_smart_train(error, correct);
  if (error > 0 && error < smart_train_level && smart_train) {
    lock_batch();
    batch_open[slot] = 0;
    unlock_batch();
    return 0;
  }
  backward_hidden(slot, thread);
  return 1;
}

template <typename T>
void Network<T>::backward_hidden(int slot, int thread) {
  std::vector<base_layer<T>*>& set = layer_sets[thread];
  const int count = static_cast<int>(set.size());
  for (int i = count - 1; i >= 0; --i) {
    base_layer<T>* layer = set[i];
    if (i != count - 1) {
      LMatrix<T>& d = layer->delta;
      const int plane = d.cols * d.rows;
      for (int c = 0; c < d.chans; ++c) {
        T* dc = d.channel(c);
        T* nc = layer->node.channel(c);
        for (int k = 0; k < plane; ++k) dc[k] *= layer->df(nc, k, plane);
      }
    }
    for (const auto& link : layer->backward_links) {
      if (link.second->is_input()) continue;  // an input's delta is never read
      const LMatrix<T>& w = W[link.first] ? *W[link.first] : no_weights<T>();
      layer->distribute_delta(*link.second, w, 1);
    }
  }
  std::vector<LMatrix<T>>& dw = dW_sets[thread];
  for (std::size_t l = 0; l < W.size(); ++l)
    if (W[l]) set[link_ends_[l].second]->calc_dw(*set[link_ends_[l].first], dw[l], static_cast<int>(l));
  for (int i = 0; i < count; ++i)
    if (set[i]->use_bias()) set[i]->add_bias_gradient(dbias_sets[thread][i]);
  thread_used_[thread] = 1;
  lock_batch();
  batch_open[slot] = 2;
  unlock_batch();
}

template <typename T>
void Network<T>::update_smart_train(T error, bool correct) {
#pragma omp critical(tevo_network_smart_train)
  {
    ++train_samples;
    if (correct) ++train_correct;
    if (smart_train) {
      loss_history.push_back(error);
      loss_sum += error;
      const int count = static_cast<int>(loss_history.size());
      if (count >= 1000) {
        const T mean = loss_sum / count;
        std::sort(loss_history.begin(), loss_history.end());
        const T level = std::clamp(10 * mean, static_cast<T>(0.075), static_cast<T>(0.75));
        const int index = (count - 1) - static_cast<int>(level * (count - 1));
        if (loss_history[index] > 0) smart_train_level = loss_history[index];
        loss_history.clear();
        loss_sum = 0;
      }
    }
    if (error > 0 && smart_train_level > error) ++train_skipped;
  }
}

template <typename T>
int Network<T>::get_next_open_batch() {
  bool running = false;
  for (int i = 0; i < mini_batch_size; ++i) {
    if (batch_open[i] == 0) return i;
    if (batch_open[i] == 1) running = true;
  }
  return running ? -2 : -1;
}

template <typename T>
int Network<T>::reserve_next_batch() {
  for (;;) {
    lock_batch();
    int slot = get_next_open_batch();
    if (slot == -1) {
      sync_mini_batch();
      slot = 0;
    }
    if (slot >= 0) {
      batch_open[slot] = 1;
      unlock_batch();
      return slot;
    }
    unlock_batch();
    sched_yield();  // the batch is full and other threads still run their samples
  }
}

template <typename T>
void Network<T>::reset_mini_batch() {
  lock_batch();
  std::fill(batch_open.begin(), batch_open.end(), 0);
  for (std::size_t t = 0; t < dW_sets.size(); ++t) {
    for (auto& m : dW_sets[t]) m.fill(0);
    for (auto& m : dbias_sets[t]) m.fill(0);
    thread_used_[t] = 0;
  }
  unlock_batch();
}

// Gradients of the batch are summed per thread while samples run; here they
// are added into set 0, applied, and cleared.
template <typename T>
void Network<T>::sync_mini_batch() {
  for (unsigned char state : batch_open)
    if (state == 1) {
      print_info("thread lock", 9);
      std::exit(1);
    }
  const int layers = static_cast<int>(layer_sets[0].size());
  for (std::size_t t = 1; t < dW_sets.size(); ++t) {
    if (!thread_used_[t]) continue;
    for (std::size_t l = 0; l < W.size(); ++l)
      if (W[l]) kernel_axpy(dW_sets[0][l].x, dW_sets[t][l].x, T(1), dW_sets[0][l].storage());
    for (int i = 0; i < layers; ++i)
      if (layer_sets[0][i]->use_bias() && dbias_sets[t][i].size() > 0)
        kernel_axpy(dbias_sets[0][i].x, dbias_sets[t][i].x, T(1), dbias_sets[0][i].storage());
  }
  if (solver) {
    for (int l = static_cast<int>(W.size()) - 1; l >= 0; --l)
      if (W[l] && W[l]->size() > 0) solver->increment_w(W[l], l, dW_sets[0][l], T(1));
    for (int i = layers - 1; i >= 0; --i)
      if (layer_sets[0][i]->use_bias()) layer_sets[0][i]->update_bias(dbias_sets[0][i], solver->learning_rate);
  }
  for (std::size_t t = 0; t < dW_sets.size(); ++t) {
    if (t > 0 && !thread_used_[t]) continue;
    for (auto& m : dW_sets[t]) m.fill(0);
    for (auto& m : dbias_sets[t]) m.fill(0);
    thread_used_[t] = 0;
  }
  std::fill(batch_open.begin(), batch_open.end(), 0);
  ++batch_updates;
  sync_layer_sets();
}

template <typename T>
void Network<T>::sync_layer_sets() {
  for (std::size_t s = 1; s < layer_sets.size(); ++s)
    for (std::size_t i = 0; i < layer_sets[s].size(); ++i)
      if (layer_sets[0][i]->bias.size() > 0) layer_sets[s][i]->bias = layer_sets[0][i]->bias;
}

// ---- Epochs ---------------------------------------------------------------------

template <typename T>
void Network<T>::epoch_start(const std::string& loss_name) {
  loss = new_loss_func(loss_name);
  train_correct = 0;
  batch_updates = 0;
  train_samples = 0;
  train_skipped = 0;
  if (epoch_count == 0) reset_solver();
  if (smart_train && no_improve >= 5) {
    ++stuck_counter;
    T rate = get_learning_rate() / 2;
    if (rate < static_cast<T>(0.000001)) {
      rate = static_cast<T>(0.000001);
      ++stuck_counter;
    }
    set_learning_rate(rate);
    no_improve = 0;
  }
  loss_sum = 0;
  last_accuracy = accuracy;
  accuracy = 0;
}

template <typename T>
void Network<T>::epoch_end() {
  sync_mini_batch();
  ++epoch_count;
  accuracy = train_samples > 0 ? static_cast<T>(train_correct) * 100 / train_samples : T(0);
  if (train_correct > best_correct) {
    stuck_counter = 0;
    no_improve = 0;
    best_correct = static_cast<T>(train_correct);
  } else {
    ++no_improve;
  }
  elvis_left_the_building();
}

template <typename T>
bool Network<T>::elvis_left_the_building() {
  return epoch_count > max_epochs || stuck_counter > 3;
}

template <typename T>
std::string Network<T>::get_configuration() {
  std::ostringstream s;
  s << "-- Network configuration\n";
  s << "-- mini-batch: " << mini_batch_size << "\n";
  s << "-- solver: " << (solver ? solver->name : std::string("none")) << "\n";
  for (std::size_t i = 0; i < layer_sets[0].size(); ++i)
    s << "-- Layer " << i << ": " << layer_sets[0][i]->get_config_string();
  s << "-- Links between layers\n";
  s << "-- ";
  for (std::size_t l = 0; l < layer_graph.size(); ++l)
    s << (l ? ", " : "") << layer_graph[l].first << " -> " << layer_graph[l].second;
  s << "\n";
  return s.str();
}

template class Network<float>;
template class Network<double>;

}  // namespace tevo
