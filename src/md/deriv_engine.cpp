// The derivative graph: node storage, the level sweep, the registry, the
// construction from a configuration group, the accumulation steps and the
// per-node derivative check.
#include "md/deriv_engine.h"

#include <omp.h>

#include <algorithm>
#include <cstdio>
#include <set>

#include "md/h5.h"
#include "md/node_types.h"
#include "md/numeric_check.h"
#include "md/timekeeper.h"
#include "util/console.h"

namespace tevo {

double DerivComputation::test_value_deriv_agreement() {
  if (!deriv_check) throw std::string("internal error: node is not part of an engine");
  return deriv_check();
}

CoordNode::CoordNode(int systems, int elems, int width, int slot_width)
    : DerivComputation(false, systems),
      n_elem(elems),
      elem_width(width),
      sens_width(slot_width < 0 ? width : slot_width),
      output(static_cast<size_t>(systems) * elems * width, 0.f) {}

int CoordNode::add_deriv_slots(int elem, int count) {
  if (elem < 0 || elem >= n_elem) throw std::string("internal error: slot requested for a missing element");
  const int first = n_slot;
  deriv_records.push_back(DerivRecord{elem, first, count});
  n_slot += count;
  return first;
}

void CoordNode::size_slots() {
  const size_t size = static_cast<size_t>(n_system) * n_slot * sens_width;
  if (sens.size() != size) sens.assign(size, 0.f);
}

CoordArray CoordNode::coords() {
  return CoordArray{SysArray{output.data(), n_elem * elem_width}, SysArray{sens.data(), n_slot * sens_width}};
}

Pos::Pos(int atoms, int systems)
    : CoordNode(systems, atoms, 3), n_atom(atoms), deriv(static_cast<size_t>(systems) * atoms * 3, 0.f) {}

void Pos::propagate_deriv() {
  deriv_accumulation(deriv_array(), coords().sens, deriv_records.data(), static_cast<int>(deriv_records.size()), n_atom,
                     n_system);
}

void deriv_accumulation(SysArray deriv, SysArray sens, const DerivRecord* records, int n_record, int n_elem,
                        int n_system) {
#pragma omp parallel for schedule(static) if (parallel_systems(n_system, n_elem))
  for (int s = 0; s < n_system; ++s) {
    float* d = deriv.sys(s);
    const float* slots = sens.sys(s);
    std::fill(d, d + 3 * n_elem, 0.f);
    for (int r = 0; r < n_record; ++r) {
      float* out = d + 3 * records[r].index;
      const float* in = slots + 3 * records[r].loc;
      for (int k = 0; k < records[r].n_slot; ++k, in += 3) {
        out[0] += in[0];
        out[1] += in[1];
        out[2] += in[2];
      }
    }
  }
}

template <int A, int B, int C>
void reverse_autodiff(SysArray sens, SysArray jac, SysArray parent1, SysArray parent2, SysArray scratch,
                      const DerivRecord* records, int n_record, const AutoDiffParams* params, int n1, int n2,
                      int n_elem, int n_system) {
  const int jac_width = n1 * A * B + n2 * A * C;
#pragma omp parallel for schedule(static) if (parallel_systems(n_system, n_elem))
  for (int s = 0; s < n_system; ++s) {
    float* acc = scratch.sys(s);
    const float* slots = sens.sys(s);
    std::fill(acc, acc + A * n_elem, 0.f);
    for (int r = 0; r < n_record; ++r) {
      float* out = acc + A * records[r].index;
      const float* in = slots + A * records[r].loc;
      for (int k = 0; k < records[r].n_slot; ++k, in += A)
        for (int a = 0; a < A; ++a) out[a] += in[a];
    }
    const float* j_sys = jac.sys(s);
    float* p1 = parent1.sys(s);
    float* p2 = parent2.x ? parent2.sys(s) : nullptr;
    for (int e = 0; e < n_elem; ++e) {
      const float* g = acc + A * e;
      const float* j = j_sys + static_cast<long>(jac_width) * e;
      for (int k = 0; k < n1; ++k, j += A * B) {
        const int slot = params[e].slots1[k];
        if (slot < 0) continue;
        float* out = p1 + B * slot;
        for (int b = 0; b < B; ++b) {
          float v = 0;
          for (int a = 0; a < A; ++a) v += g[a] * j[a * B + b];
          out[b] = v;
        }
      }
      for (int k = 0; k < n2; ++k, j += A * C) {
        const int slot = params[e].slots2[k];
        if (slot < 0) continue;
        float* out = p2 + C * slot;
        for (int c = 0; c < C; ++c) {
          float v = 0;
          for (int a = 0; a < A; ++a) v += g[a] * j[a * C + c];
          out[c] = v;
        }
      }
    }
  }
}

template void reverse_autodiff<2, 3, 0>(SysArray, SysArray, SysArray, SysArray, SysArray, const DerivRecord*, int,
                                        const AutoDiffParams*, int, int, int, int);
template void reverse_autodiff<6, 3, 0>(SysArray, SysArray, SysArray, SysArray, SysArray, const DerivRecord*, int,
                                        const AutoDiffParams*, int, int, int, int);
template void reverse_autodiff<6, 2, 6>(SysArray, SysArray, SysArray, SysArray, SysArray, const DerivRecord*, int,
                                        const AutoDiffParams*, int, int, int, int);

// ---- registry -----------------------------------------------------------------

namespace {
NodeCreationMap& raw_node_creation_map() {
  static NodeCreationMap map;
  return map;
}
}  // namespace

NodeCreationMap& node_creation_map() {
  NodeCreationMap& map = raw_node_creation_map();
  static const bool filled = [] {
    register_restraint_nodes();
    register_coordinate_nodes();
    register_hbond_node();
    register_rama_nodes();
    register_membrane_node();
    register_radial_node();
    register_frame_pair_nodes();
    register_basin_correlation_node();
    return true;
  }();
  (void)filled;
  return map;
}

void add_node_creation_function(std::string name, NodeCreationFunction factory) {
  raw_node_creation_map()[std::move(name)] = std::move(factory);
}

const NodeCreationFunction* find_node_creation_function(const std::string& group_name) {
  const NodeCreationMap& map = node_creation_map();
  auto exact = map.find(group_name);
  if (exact != map.end()) return &exact->second;
  const NodeCreationFunction* best = nullptr;
  size_t best_len = 0;
  for (const auto& [name, factory] : map) {
    if (group_name.size() > name.size() + 1 && group_name.compare(0, name.size(), name) == 0 &&
        group_name[name.size()] == '_' && name.size() > best_len) {
      best = &factory;
      best_len = name.size();
    }
  }
  return best;
}

void check_elem_width(const CoordNode& node, int expected) {
  if (node.elem_width != expected)
    throw "expected argument with width " + std::to_string(expected) + " but received argument with width " +
        std::to_string(node.elem_width);
}

void check_arguments_length(const std::vector<CoordNode*>& args, unsigned n) {
  if (args.size() != n) throw "expected " + std::to_string(n) + " arguments but got " + std::to_string(args.size());
}

// ---- engine -------------------------------------------------------------------

template <typename T>
CGMDEngine<T>::CGMDEngine(int atoms, int systems) : potential(systems, 0.f), n_atom(atoms), n_system(systems) {
  auto root = std::make_unique<Pos>(atoms, systems);
  pos = root.get();
  add_node("pos", std::move(root), {});
}

template <typename T>
CGMDEngine<T>::CGMDEngine(hid_t group, int atoms, int systems, bool quiet) : CGMDEngine(atoms, systems) {
  initialize_engine_from_hdf5(group, quiet);
}

template <typename T>
void CGMDEngine<T>::add_node(const std::string& name, std::unique_ptr<DerivComputation> fcn,
                             std::vector<std::string> argument_names) {
  if (get_idx(name, false) != -1) throw std::string("name conflict in DerivEngine");
  std::vector<int> parents;
  for (const std::string& arg : argument_names) parents.push_back(get_idx(arg));
  const int idx = static_cast<int>(nodes.size());
  fcn->deriv_check = [this, idx] { return node_deriv_deviation(idx); };
  Node node;
  node.name = name;
  node.computation = std::move(fcn);
  node.parents = parents;
  nodes.push_back(std::move(node));
  for (int p : parents) {
    nodes[p].children.push_back(idx);
    // The new node reserved its slots in its parents while it was built.
    if (auto* c = dynamic_cast<CoordNode*>(nodes[p].computation.get())) c->size_slots();
  }
}

template <typename T>
Node& CGMDEngine<T>::get(const std::string& name) {
  return nodes[get_idx(name)];
}

template <typename T>
int CGMDEngine<T>::get_idx(const std::string& name, bool must_exist) {
  for (size_t i = 0; i < nodes.size(); ++i)
    if (nodes[i].name == name) return static_cast<int>(i);
  if (must_exist) throw std::string("name not found");
  return -1;
}

template <typename T>
void CGMDEngine<T>::compute(ComputeMode mode) {
  for (Node& n : nodes) n.value_level = n.deriv_level = -1;
  if (mode == PotentialAndDerivMode) std::fill(potential.begin(), potential.end(), 0.f);
  // Level-synchronous sweep: a node runs once all its parents ran in an
  // earlier pass (values) or all its children did (derivatives).
  for (int level = 0;; ++level) {
    bool ran = false;
    for (Node& n : nodes) {
      if (n.value_level == -1) {
        bool ready = true;
        for (int p : n.parents) {
          const int l = nodes[p].value_level;
          if (l == -1 || l == level) ready = false;
        }
        if (ready) {
          {
            ScopedTimer timer(global_time_keeper, n.value_timer);
            n.computation->compute_value(mode);
          }
          n.value_level = level;
          ran = true;
          if (mode == PotentialAndDerivMode && n.computation->is_potential) {
            const auto& p = static_cast<PotentialNode&>(*n.computation).potential;
            for (int s = 0; s < n_system; ++s) potential[s] += p[s];
          }
        }
      }
      if (n.deriv_level == -1 && n.value_level != -1) {
        bool ready = true;
        for (int c : n.children) {
          const int l = nodes[c].deriv_level;
          if (l == -1 || l == level) ready = false;
        }
        if (ready) {
          {
            ScopedTimer timer(global_time_keeper, n.deriv_timer);
            n.computation->propagate_deriv();
          }
          n.deriv_level = level;
          ran = true;
        }
      }
    }
    if (!ran) break;
  }
}

template <typename T>
T CGMDEngine<T>::get_energy() const {
  T sum = 0;
  for (float p : potential) sum += p;
  return sum;
}

template <typename T>
int CGMDEngine<T>::get_n_hbond() {
  const int idx = get_idx("hbond_energy", false);
  if (idx < 0) return 0;
  return hbond_count(*nodes[idx].computation);
}

template <typename T>
void CGMDEngine<T>::initialize_engine_from_hdf5(hid_t group, bool quiet) {
  h5::h5_silence();
  const std::vector<std::string> names = h5::node_names_in_group(group, ".");
  std::map<std::string, std::vector<std::string>> arguments;
  for (const std::string& name : names)
    arguments[name] = h5::read_attribute<std::vector<std::string>>(group, name.c_str(), "arguments", {});

  std::vector<std::string> pending = names;
  while (!pending.empty()) {
    std::vector<std::string> still;
    for (const std::string& name : pending) {
      bool ready = true;
      for (const std::string& arg : arguments[name]) ready = ready && get_idx(arg, false) >= 0;
      if (!ready) {
        still.push_back(name);
        continue;
      }
      const NodeCreationFunction* factory = find_node_creation_function(name);
      if (!factory) throw "while adding '" + name + "', no node type is registered under this name";
      std::vector<CoordNode*> args;
      for (const std::string& arg : arguments[name]) {
        auto* coord = dynamic_cast<CoordNode*>(get(arg).computation.get());
        if (!coord) throw arg + " is not an intermediate value, but it is an argument of " + name;
        args.push_back(coord);
      }
      std::unique_ptr<DerivComputation> node;
      try {
        h5::h5_obj node_group(H5Gclose, h5::open_group(group, name.c_str()));
        node.reset((*factory)(node_group.get(), args));
      } catch (const std::string& e) {
        throw "while adding '" + name + "', " + e;
      }
      add_node(name, std::move(node), arguments[name]);
      if (!quiet) {
        const auto& a = arguments[name];
        std::string joined;
        for (size_t i = 0; i < a.size(); ++i) joined += (i ? " and " : "") + a[i];
        char line[512];
        std::snprintf(line, sizeof line, "Initializing %-27s with %sargument%s %s", name.c_str(),
                      a.empty() ? "no " : "", a.size() > 1 ? "s" : "", joined.c_str());
        print_text(line);
      }
    }
    if (still.size() == pending.size()) {
      const std::set<std::string> in_file(names.begin(), names.end());
      for (const std::string& name : still)
        for (const std::string& arg : arguments[name])
          if (arg != "pos" && !in_file.count(arg))
            throw name + " takes " + arg + " as an argument, but no node of that name can be found.";
      throw "Unsatisfiable dependency " + still.front() + " in potential computation";
    }
    pending = still;
  }
}

template <typename T>
double CGMDEngine<T>::node_deriv_deviation(int idx) {
  constexpr float kEps = 1e-3f;
  DerivComputation& node = *nodes[idx].computation;
  std::vector<float>& input = pos->output;
  std::vector<CoordNode*> coord_nodes;  // in list order, which is dependency order
  for (Node& n : nodes)
    if (auto* c = dynamic_cast<CoordNode*>(n.computation.get())) coord_nodes.push_back(c);
  // Runs the derivative steps of all coordinate nodes after the slots were
  // seeded, so that pos->deriv holds the gradient of the seeded quantity.
  auto propagate_seeded = [&] {
    for (auto it = coord_nodes.rbegin(); it != coord_nodes.rend(); ++it) (*it)->propagate_deriv();
  };
  auto zero_slots = [&] {
    for (CoordNode* c : coord_nodes) std::fill(c->sens.begin(), c->sens.end(), 0.f);
  };

  if (node.is_potential) {
    auto& pot = static_cast<PotentialNode&>(node).potential;
    std::vector<float> out(n_system);
    auto run = [&] {
      compute(PotentialAndDerivMode);
      out = pot;
    };
    const std::vector<float> numeric = central_difference_deriviative(run, input, out, kEps, VALUE);
    compute(PotentialAndDerivMode);
    const std::vector<float> analytic = extract_jacobian_matrix(
        [&](int s) {
          zero_slots();
          node.compute_value(DerivMode);
          propagate_seeded();
          // Only system s contributes to row s.
          for (int t = 0; t < n_system; ++t)
            if (t != s) std::fill(pos->deriv.begin() + t * 3 * n_atom, pos->deriv.begin() + (t + 1) * 3 * n_atom, 0.f);
        },
        pos->deriv, n_system);
    return relative_rms_deviation(analytic, numeric);
  }

  auto& coord = static_cast<CoordNode&>(node);
  const bool body = coord.elem_width == 7 && coord.sens_width == 6;
  const int w = coord.sens_width;
  // A probe slot per element receives the unit sensitivities.
  const int probe = coord.n_slot;
  for (int e = 0; e < coord.n_elem; ++e) coord.add_deriv_slots(e, 1);
  coord.size_slots();
  auto remove_probes = [&] {
    coord.deriv_records.resize(coord.deriv_records.size() - coord.n_elem);
    coord.n_slot = probe;
    coord.size_slots();
  };
  std::vector<float> out;
  auto run = [&] {
    compute(DerivMode);
    out = coord.output;
  };
  double deviation = 0;
  try {
    const std::vector<float> numeric = central_difference_deriviative(run, input, out, kEps, body ? BODY_VALUE : VALUE);
    compute(DerivMode);
    const int n_row = n_system * coord.n_elem * w;
    const std::vector<float> analytic = extract_jacobian_matrix(
        [&](int row) {
          const int s = row / (coord.n_elem * w), e = (row / w) % coord.n_elem, c = row % w;
          zero_slots();
          coord.sens[static_cast<size_t>(s) * coord.n_slot * w + (probe + e) * w + c] = 1.f;
          propagate_seeded();
        },
        pos->deriv, n_row);
    deviation = relative_rms_deviation(analytic, numeric);
  } catch (...) {
    remove_probes();
    throw;
  }
  remove_probes();
  return deviation;
}

template class CGMDEngine<float>;
template class CGMDEngine<double>;

}  // namespace tevo
