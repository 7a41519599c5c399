// Pross<T>: feature files to windowed samples, training with per-epoch
// reports and models, and prediction with a model file.
#include "net/pross.h"

#include <glog/logging.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "protein/residues.h"  // aa12idx, idx2sec
#include "report/javas.h"
#include "report/record.h"
#include "util/console.h"
#include "util/files.h"
#include "util/numeric.h"
#include "util/timer.h"

namespace tevo {
namespace {

[[noreturn]] void bad_data(const std::string& where, const std::string& what) {
  print_info(where + ": " + what, 9);
  std::exit(1);
}

// One file's rows: the residue code and the numbers of each row, and the
// class of each row when `labelled`.
template <typename T>
void read_feature_file(const std::string& file, bool labelled, std::vector<std::vector<T>>& rows,
                       std::vector<int>& labels) {
  refuse_directory(file);
  TableReader table(file, ',');
  int width = -1;
  while (table.next()) {
    const std::string where = file + " line " + std::to_string(table.line());
    if (width < 0) width = table.size();
    if (table.size() != width)
      bad_data(where, std::to_string(table.size()) + " fields where the first row has " + std::to_string(width));
    if (table.size() < (labelled ? 3 : 2))
      bad_data(where, labelled ? "a row needs the residue, at least one feature and the class"
                               : "a row needs the residue and at least one feature");
    const std::string_view residue = table.text(0);
    std::vector<T> row;
    row.push_back(static_cast<T>(residue.empty() ? -1 : aa12idx(residue[0])));
    const int last = labelled ? table.size() - 1 : table.size();
    for (int i = 1; i < last; ++i) row.push_back(static_cast<T>(static_cast<float>(table.value(i))));
    if (labelled) {
      const std::string text(table.text(last));
      char* end = nullptr;
      const long label = std::strtol(text.c_str(), &end, 10);
      if (end == text.c_str() || *end != '\0' || label < 0 || label > 1000)
        bad_data(where, "the class \"" + text + "\" is not a whole number from 0");
      labels.push_back(static_cast<int>(label));
    }
    rows.push_back(std::move(row));
  }
}

}  // namespace

template <typename T>
Pross<T>::Pross(const std::string& output, const std::string& jobname)
    : output_(output), jobname_(jobname), prefix_(output + jobname) {}

template <typename T>
void Pross<T>::init() {
  train_data.clear();
  test_data.clear();
  train_labels.clear();
  test_labels.clear();
  test_names.clear();
  test_lengths.clear();
}

template <typename T>
void Pross<T>::set_info(int threads, int epochs, int mini_batch, const std::string& solver, T learning_rate,
                        const std::string& cfg) {
  threads_ = std::max(threads, 1);
  epochs_ = epochs;
  mini_batch_ = mini_batch;
  solver_ = solver;
  learning_rate_ = learning_rate;
  cfg_ = cfg;
}

// The list of files: -index as given, else looked up in the data folder;
// without -index, "list.txt" in the data folder.
template <typename T>
std::string Pross<T>::list_file() const {
  if (list.empty()) return dirt + "list.txt";
  if (std::ifstream(list).good()) return list;
  return dirt + list;
}

template <typename T>
void Pross<T>::actuate() {
  make_data();
  const std::size_t per = std::max(sample_size, 1);
  LOG(INFO) << "train_data " << train_data.size() / per << ", train_labels " << train_labels.size()
            << ", test_data " << test_data.size() / per << ", test_labels " << test_labels.size();
  if (phase)
    predict();
  else
    train();
}

template <typename T>
void Pross<T>::make_data() {
  const std::string names_file = list_file();
  refuse_directory(names_file);
  std::vector<std::string> names = read_file(names_file);
  if (number > 0 && static_cast<int>(names.size()) > number) names.resize(number);
  if (!phase) {
    print_info("the ratio of training and validation is set to 9:1", 11);
    train_files = static_cast<int>(0.9 * names.size());
  }
  const int half = std::max((window - 1) / 2, 0);
  int width = -1;
  for (std::size_t f = 0; f < names.size(); ++f) {
    const std::string file = dirt + names[f] + ".csv";
    std::vector<std::vector<T>> rows;
    std::vector<int> labels;
    read_feature_file(file, !phase, rows, labels);
    if (rows.empty()) continue;
    if (width < 0) width = static_cast<int>(rows[0].size());
    if (static_cast<int>(rows[0].size()) != width)
      bad_data(file, std::to_string(rows[0].size() - 1) + " features a row where " + names[0] + " has " +
                         std::to_string(width - 1));
    sample_size = (2 * half + 2) * width;
    const bool to_train = !phase && static_cast<int>(f) < train_files;
    std::vector<T>& data = to_train ? train_data : test_data;
    std::vector<int>& into = to_train ? train_labels : test_labels;
    const std::size_t first = data.size() / sample_size;
    const int n = static_cast<int>(rows.size());
    data.resize(data.size() + static_cast<std::size_t>(n) * sample_size, T(0));
    // Rows beyond the chain's ends stay zeros (residue code 0, the gap).
    for (int i = 0; i < n; ++i) {
      T* sample = data.data() + (first + i) * sample_size;
      for (int r = i - half, slot = 0; r <= i + half; ++r, ++slot) {
        const int place = slot + (r > i ? 1 : 0);  // the centre row stands twice
        if (r >= 0 && r < n) std::copy(rows[r].begin(), rows[r].end(), sample + place * width);
        if (r == i) std::copy(rows[r].begin(), rows[r].end(), sample + (place + 1) * width);
      }
    }
    if (!phase) into.insert(into.end(), labels.begin(), labels.end());
    if (!to_train) {
      test_names.push_back(names[f]);
      test_lengths.push_back(n);
    }
  }
  // Min-max scaling of each sample.
  for (std::vector<T>* data : {&train_data, &test_data}) {
    if (sample_size == 0) break;
    const long samples = static_cast<long>(data->size() / sample_size);
    T* base = data->data();
    const int len = sample_size;
#pragma omp parallel for schedule(static)
    for (long s = 0; s < samples; ++s) {
      T* v = base + s * len;
      const auto range = std::minmax_element(v, v + len);
      const T low = *range.first;
      const T scale = 1 / static_cast<T>((*range.second - low) + 2.220446049250313e-16);
      for (int k = 0; k < len; ++k) v[k] = (v[k] - low) * scale;
    }
  }
}

template <typename T>
void Pross<T>::check_input_size(Network<T>& net, const std::string& file) const {
  int w = 0, h = 0, c = 0;
  net.get_input_size(&w, &h, &c);
  if (w * h * c != sample_size)
    bad_data(file, "the network takes " + std::to_string(w * h * c) + " inputs, but a sample of window " +
                       std::to_string(window) + " holds " + std::to_string(sample_size) +
                       " values (the window's rows, the centre row again, times the values of a row)");
  if (net.get_output_size() < 2) bad_data(file, "the network needs at least two outputs, one per class");
}

template <typename T>
T Pross<T>::test(Network<T>& net, const std::vector<T>& data, const std::vector<int>& labels) {
  const long samples = static_cast<long>(labels.size());
  if (samples == 0) return 0;
  long right = 0;
#pragma omp parallel for reduction(+ : right) num_threads(net.get_thread_count())
  for (long s = 0; s < samples; ++s)
    right += net.predict_class(data.data() + s * sample_size, omp_get_thread_num()) == labels[s];
  return static_cast<T>(100.0 * right / samples);
}

template <typename T>
void Pross<T>::train() {
  append_record_block(record_path(output_, jobname_), "1-1-1-0", "Training on the data",
                      "Accuracies of training and test on the data.", "pross");
  if (train_labels.empty()) {
    print_info("no training data: the list gives too few files (nine in ten train, the rest test)", 9);
    return;
  }
  Network<T> net(solver_);
  net.read(cfg_, "configure");
  check_input_size(net, cfg_);
  net.set_learning_rate(learning_rate_);
  net.enable_internal_threads(threads_);
  net.enable_external_threads(threads_);  // for testing on all threads
  net.set_mini_batch_size(mini_batch_);
  net.max_epochs = epochs_;
  print_text(net.get_configuration().substr(3), kPlain, 0);
  print_text("Training the model ...");
  const int samples = static_cast<int>(train_labels.size());
  const int step = std::max(samples / 100, 1);
  std::vector<std::vector<double>> curve;
  Timer timer;
  for (int epoch = 1; epoch <= epochs_; ++epoch) {
    timer.restart();
    net.epoch_start("cross_entropy");
    for (int s = 0; s < samples; ++s) {
      net.train_class(train_data.data() + static_cast<std::size_t>(s) * sample_size, train_labels[s], -1);
      if (s % step == 0 || s + 1 == samples) progress_bar("Training", s + 1, samples, "samples", -999.0f);
    }
    net.epoch_end();
    std::printf("\n");
    const float seconds = timer.elapsed();
    LOG(INFO) << "==================";
    const int updated = net.train_samples - net.train_skipped;
    std::printf("-- Training: %i (%.1f%%) updates with accuracy %.3f%% of echo %i in %.3fs (%i threads)\n", updated,
                100.0 * updated / std::max(net.train_samples, 1), static_cast<double>(net.accuracy), epoch,
                seconds, threads_);
    const T accuracy = test(net, test_data, test_labels);
    if (test_labels.empty())
      print_info("no test data: the list leaves no file for testing", 11);
    else
      std::printf("-- Test accuracy is %.3f%% (%.3f%% error)\n", static_cast<double>(accuracy),
                  100.0 - static_cast<double>(accuracy));
    char name[64];
    std::snprintf(name, sizeof(name), "_%lld", static_cast<long long>(epoch));
    net.write(prefix_ + name, ".model");
    LOG(INFO) << "epoch " << epoch << ": training " << net.accuracy << "%, test " << accuracy << "%";
    LOG(INFO) << "==================";
    curve.push_back({static_cast<double>(epoch), static_cast<double>(net.accuracy), static_cast<double>(accuracy)});
    if (net.elvis_left_the_building()) break;
  }
  std::vector<double*> rows;
  for (auto& row : curve) rows.push_back(row.data());
  Javas<double> js(output_, jobname_, {"top", "right", "bottom", "left"});
  js.set_param(static_cast<int>(rows.size()), 3, 20, 70, 35, 60, 600, 300, 0);
  js.set_postfix("pross");
  js.plotting("line", rows.data(), {"Accuracy per epoch", "Epoch", "Accuracy (%)", "Training", "Test"}, {},
              {"true", "true"});
}

template <typename T>
void Pross<T>::predict() {
  Network<T> net("");
  net.read(cfg_, "graph");
  if (test_lengths.empty()) {
    print_info("no residues to predict in the listed files", 11);
    return;
  }
  check_input_size(net, cfg_);
  net.enable_external_threads(threads_);
  const long samples = static_cast<long>(test_data.size() / sample_size);
  std::vector<int> classes(samples);
#pragma omp parallel for num_threads(threads_)
  for (long s = 0; s < samples; ++s) classes[s] = net.predict_class(test_data.data() + s * sample_size, omp_get_thread_num());
  std::string letters;
  letters.reserve(samples);
  for (int c : classes) letters += idx2sec(c);
  print_text("The predicted secondary structure are");
  print_text(letters);
  std::string fasta;
  for (std::size_t f = 0, at = 0; f < test_names.size(); at += test_lengths[f], ++f)
    fasta += ">" + test_names[f] + "\n" + letters.substr(at, test_lengths[f]) + "\n";
  write_string(prefix_ + "_pross", fasta, "w", "", "#", "", ".fasta");
}

template <typename T>
void Pross<T>::finish() {
  init();
}

template class Pross<float>;
template class Pross<double>;

}  // namespace tevo
