// Training throughput of Network<float> on the network that pross ships
// (448 inputs, 100 tanh, softmax 3), Adam, mini batch 32, cross entropy,
// every sample trained (smart training off), on seeded data with a linear
// teacher. Threads either run samples on their own layer sets ("samples")
// or split each layer's loops ("layers").
// Usage: networks_bench <samples> <epochs> <threads> <samples|layers> <repeats>
#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "layers/network.h"

int main(int argc, char** argv) {
  if (argc < 6) {
    std::fprintf(stderr, "usage: %s samples epochs threads samples|layers repeats\n", argv[0]);
    return 1;
  }
  const int n = std::atoi(argv[1]), epochs = std::atoi(argv[2]), threads = std::atoi(argv[3]);
  const bool by_samples = std::string(argv[4]) == "samples";
  const int repeats = std::atoi(argv[5]);
  const int inputs = 448;
  std::mt19937 gen(20261124);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  std::normal_distribution<float> normal(0.0f, 1.0f);
  std::vector<float> teacher(3 * inputs), data(static_cast<std::size_t>(n) * inputs);
  std::vector<int> labels(n);
  for (float& w : teacher) w = normal(gen);
  for (int s = 0; s < n; ++s) {
    float* x = &data[static_cast<std::size_t>(s) * inputs];
    float best = -1e30f;
    for (int c = 0; c < 3; ++c) {
      float z = 0;
      for (int i = 0; i < inputs; ++i) {
        if (c == 0) x[i] = unit(gen);
        z += teacher[c * inputs + i] * (x[i] - 0.5f);
      }
      if (z > best) best = z, labels[s] = c;
    }
  }
  std::vector<double> rates;
  double accuracy = 0;
  for (int r = 0; r < repeats; ++r) {
    tevo::Network<float> net("adam");
    net.layer_push_back("1", "input 28 16 1");
    net.layer_push_back("2", "fully_connected 100 tanh");
    net.layer_push_back("3", "softmax 3");
    net.connect_all();
    net.set_learning_rate(0.04f);
    net.set_mini_batch_size(32);
    net.set_smart_training(false);
    if (by_samples)
      net.enable_external_threads(threads);
    else
      net.enable_internal_threads(threads);
    const auto start = std::chrono::steady_clock::now();
    for (int e = 0; e < epochs; ++e) {
      net.epoch_start("cross_entropy");
      if (by_samples) {
#pragma omp parallel for num_threads(threads) schedule(static)
        for (int s = 0; s < n; ++s)
          net.train_class(&data[static_cast<std::size_t>(s) * inputs], labels[s], omp_get_thread_num());
      } else {
        for (int s = 0; s < n; ++s) net.train_class(&data[static_cast<std::size_t>(s) * inputs], labels[s], 0);
      }
      net.epoch_end();
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    rates.push_back(static_cast<double>(n) * epochs / seconds);
    accuracy = net.accuracy;
  }
  std::sort(rates.begin(), rates.end());
  std::printf("BENCH tevo threads=%d mode=%s samples_per_second=%.0f last_epoch_accuracy=%.1f\n", threads,
              by_samples ? "samples" : "layers", rates[rates.size() / 2], accuracy);
  return 0;
}
