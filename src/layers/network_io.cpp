// Model files of Network<T>: the layers, links, biases and weights as one
// text file, and the plain list of topology lines.
#include <cstdlib>
#include <set>
#include <sstream>

#include "layers/network.h"
#include "util/console.h"
#include "util/files.h"  // write_string, write_vector, read_file
#include "util/strings.h"  // string_split

namespace tevo {
namespace {

[[noreturn]] void bad_model(const std::string& file, const std::string& what) {
  print_info(file + ": " + what, 9);
  std::exit(1);
}

// A whole number filling the entire line, or -1.
int whole_number(const std::string& text) {
  char* end = nullptr;
  const long v = std::strtol(text.c_str(), &end, 10);
  if (end == text.c_str() || *end != '\0' || v < 0 || v > 1000000) return -1;
  return static_cast<int>(v);
}

}  // namespace

template <typename T>
void Network<T>::write(const std::string& file, const std::string& extension) {
  write_string(file, "", "w", "Learned model", "#", "", extension);
  const std::vector<base_layer<T>*>& set = layer_sets[0];
  std::ostringstream layers;
  layers << "# number of layers\n" << set.size() << "\n# graph of network\n";
  for (base_layer<T>* layer : set) layers << layer->name << "\n" << layer->get_config_string();
  write_string(file, layers.str(), "a+", "", "#", "", extension);
  std::ostringstream links;
  links << "# graph of layer\n" << layer_graph.size() << "\n";
  for (const auto& link : layer_graph) links << link.first << ", " << link.second << "\n";
  write_string(file, links.str(), "a+", "", "#", "", extension);
  write_string(file, "# bias", "a+", "", "#", "\n", extension);
  for (base_layer<T>* layer : set) {
    std::vector<T> values(layer->bias.size(), T(0));  // zeros for a layer without bias
    if (layer->use_bias())
      for (std::size_t i = 0; i < values.size(); ++i) values[i] = layer->bias.x[i];
    if (!values.empty())
      write_vector(file, values.data(), static_cast<int>(values.size()), "", ",", extension, "f", "a+", 9);
  }
  write_string(file, "# weights", "a+", "", "#", "\n", extension);
  for (LMatrix<T>* w : W) {
    if (!w || w->size() == 0) continue;
    std::vector<T> values;
    values.reserve(w->size());
    const int plane = w->cols * w->rows;
    for (int c = 0; c < w->chans; ++c) values.insert(values.end(), w->channel(c), w->channel(c) + plane);
    write_vector(file, values.data(), static_cast<int>(values.size()), "", ",", extension, "f", "a+", 9);
  }
}

template <typename T>
void Network<T>::read(const std::string& file, const std::string& mode) {
  if (mode != "configure" && mode != "graph") return;
  refuse_directory(file);
  const std::vector<std::string> lines = read_file(file);
  if (mode == "configure") {
    if (lines.empty()) bad_model(file, "no layers in the topology file");
    for (std::size_t i = 0; i < lines.size(); ++i)
      if (!layer_push_back(std::to_string(i + 1), lines[i]))
        bad_model(file, "line " + std::to_string(i + 1) + " of the topology makes no layer");
    connect_all();
    sync_layer_sets();
    return;
  }

  // Data lines: n, then n (name, topology) pairs, k, k links, then values.
  const int n = lines.empty() ? -1 : whole_number(lines[0]);
  if (n < 1) bad_model(file, "not a model file (the first data line is not a layer count)");
  if (lines.size() < static_cast<std::size_t>(2 * n + 2)) bad_model(file, "model file cut short in its layers");
  std::set<std::string> names;
  for (int i = 1; i <= n; ++i) {
    const std::string& name = lines[2 * i - 1];
    if (!names.insert(name).second) bad_model(file, "layer name \"" + name + "\" stands twice");
    if (!layer_push_back(name, lines[2 * i])) bad_model(file, "layer \"" + name + "\" is not a valid layer");
  }
  const int k = whole_number(lines[2 * n + 1]);
  if (k < 0) bad_model(file, "the link count \"" + lines[2 * n + 1] + "\" is not a whole number");
  std::size_t at = 2 * n + 2;
  if (lines.size() < at + k) bad_model(file, "model file cut short in its links");
  for (int l = 0; l < k; ++l, ++at) {
    // The writer puts a blank after the comma; the split trims it.
    const std::vector<std::string> ends = string_split(lines[at], ',');
    if (ends.size() != 2 || !layer_map.count(ends[0]) || !layer_map.count(ends[1]))
      bad_model(file, "link \"" + lines[at] + "\" does not join two layers of the model");
    connect(ends[0].c_str(), ends[1].c_str());
  }
  // Count the values first so that a short or long file stops before any is stored.
  std::size_t needed = 0;
  for (base_layer<T>* layer : layer_sets[0])
    if (layer->use_bias() && layer->bias.size() > 0) needed += layer->bias.size();
  for (LMatrix<T>* w : W)
    if (w && w->size() > 0) needed += w->size();
  if (lines.size() - at != needed)
    bad_model(file, "the model holds " + std::to_string(lines.size() - at) + " values where its layers need " +
                        std::to_string(needed));
  auto value = [&](std::size_t line) {
    char* end = nullptr;
    const float v = std::strtof(lines[line].c_str(), &end);
    if (end == lines[line].c_str() || *end != '\0')
      bad_model(file, "value \"" + lines[line] + "\" is not a number");
    return static_cast<T>(v);
  };
  for (base_layer<T>* layer : layer_sets[0])
    if (layer->use_bias() && layer->bias.size() > 0)
      for (int i = 0; i < layer->bias.size(); ++i) layer->bias.x[i] = value(at++);
  for (LMatrix<T>* w : W) {
    if (!w || w->size() == 0) continue;
    const int plane = w->cols * w->rows;
    for (int c = 0; c < w->chans; ++c)
      for (int i = 0; i < plane; ++i) w->channel(c)[i] = value(at++);
  }
  sync_layer_sets();
}

template void Network<float>::write(const std::string&, const std::string&);
template void Network<double>::write(const std::string&, const std::string&);
template void Network<float>::read(const std::string&, const std::string&);
template void Network<double>::read(const std::string&, const std::string&);

}  // namespace tevo
