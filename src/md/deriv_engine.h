// The coarse-grained force field as a graph of differentiable nodes: values
// flow from the atom positions (`pos`) to the potentials, derivatives flow
// back through per-consumer slots. CGMDEngine owns and runs the graph.
#pragma once

#include <hdf5.h>  // hid_t

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tevo {

struct TimeRecord;

// 0: derivatives only; 1: also the potentials.
enum ComputeMode { DerivMode = 0, PotentialAndDerivMode = 1 };

// How a numeric check differences a node's output: plain values, or a rigid
// body (3 translation + 4 quaternion floats, differenced as translation and
// rotation vector, the 6 components its derivative slots carry).
enum ValueType { VALUE = 0, BODY_VALUE = 1 };

// A strided view over the systems of a batch: system s starts at x + s*stride.
struct SysArray {
  float* x = nullptr;
  int stride = 0;  // floats from one system's block to the next
  float* sys(int s) const { return x + static_cast<long>(s) * stride; }
};

// Values of a coordinate node and the slots that receive its derivatives.
struct CoordArray {
  SysArray value;
  SysArray sens;
};

// One run of derivative slots of an element: slots loc .. loc+n_slot-1.
struct DerivRecord {
  int index;   // the element
  int loc;     // its first slot
  int n_slot;  // the number of slots
};

// Per output element: the parent slots that receive its derivative (-1 unused).
struct AutoDiffParams {
  static constexpr int kMaxSlots = 6;
  int slots1[kMaxSlots];
  int slots2[kMaxSlots];
  AutoDiffParams() {
    for (int i = 0; i < kMaxSlots; ++i) slots1[i] = slots2[i] = -1;
  }
};

class DerivComputation {
 public:
  const bool is_potential;
  const int n_system;

  DerivComputation(bool potential, int systems) : is_potential(potential), n_system(systems) {}
  virtual ~DerivComputation() = default;
  virtual void compute_value(ComputeMode mode) = 0;
  virtual void propagate_deriv() = 0;
  // Relative RMS deviation between the analytic and the central-difference
  // derivative of this node with respect to the atom positions; the engine
  // provides the check when the node is added to it.
  virtual double test_value_deriv_agreement();

  std::function<double()> deriv_check;  // set by CGMDEngine::add_node
};

class CoordNode : public DerivComputation {
 public:
  const int n_elem;           // output elements per system
  const int elem_width;       // floats per element
  const int sens_width;       // floats per derivative slot (6 for a rigid frame of width 7)
  std::vector<float> output;  // [n_system][n_elem][elem_width]
  std::vector<float> sens;    // [n_system][n_slot][sens_width], written by the consumers
  std::vector<DerivRecord> deriv_records;
  int n_slot = 0;

  CoordNode(int systems, int elems, int width, int slot_width = -1);
  // Reserves `count` consecutive slots for element `elem`; returns the first.
  // Called by consumers while the graph is built, never during a run.
  int add_deriv_slots(int elem, int count = 1);
  // Sizes `sens` for the slots reserved so far (CGMDEngine::add_node does this
  // for the parents of each node it adds).
  void size_slots();
  CoordArray coords();
};

class PotentialNode : public DerivComputation {
 public:
  std::vector<float> potential;  // one per system, filled in mode 1
  explicit PotentialNode(int systems) : DerivComputation(true, systems), potential(systems, 0.f) {}
  void propagate_deriv() override {}  // compute_value already wrote into the parents' slots
};

// The root: one element of width 3 per atom; `deriv` receives the gradient.
class Pos : public CoordNode {
 public:
  const int n_atom;
  std::vector<float> deriv;  // [n_system][n_atom][3]
  Pos(int atoms, int systems);
  void compute_value(ComputeMode) override {}
  void propagate_deriv() override;
  SysArray deriv_array() { return SysArray{deriv.data(), 3 * n_atom}; }
};

struct Node {
  std::string name;
  std::unique_ptr<DerivComputation> computation;
  std::vector<int> parents;
  std::vector<int> children;
  int value_level = -1;
  int deriv_level = -1;
  TimeRecord* value_timer = nullptr;  // set by CGMDEngine::time_nodes
  TimeRecord* deriv_timer = nullptr;
};

// Node factories, by registered name.
using NodeCreationFunction = std::function<DerivComputation*(hid_t group, std::vector<CoordNode*> args)>;
using NodeCreationMap = std::map<std::string, NodeCreationFunction>;
NodeCreationMap& node_creation_map();
void add_node_creation_function(std::string name, NodeCreationFunction factory);
// The factory of a group name: the exact name, otherwise the longest
// registered name N with group == N + "_" + suffix (so "radial_inverse"
// reaches "radial"). Returns null when none fits.
const NodeCreationFunction* find_node_creation_function(const std::string& group_name);

void check_elem_width(const CoordNode& node, int expected);
void check_arguments_length(const std::vector<CoordNode*>& args, unsigned n);

template <typename T>
class CGMDEngine {
 public:
  std::vector<Node> nodes;  // node 0 is "pos"
  Pos* pos;
  std::vector<float> potential;  // one per system
  int n_atom;
  int n_system;

  CGMDEngine(int n_atom, int n_system);
  // Builds the graph from the node groups under `group` (/input/potential).
  CGMDEngine(hid_t group, int n_atom, int n_system, bool quiet);

  void add_node(const std::string& name, std::unique_ptr<DerivComputation> fcn,
                std::vector<std::string> argument_names);
  Node& get(const std::string& name);
  int get_idx(const std::string& name, bool must_exist = true);

  void compute(ComputeMode mode);
  T get_energy() const;  // the potential summed over the systems
  int get_n_hbond();     // from the node "hbond_energy" (0 without it)

  // Records the time of every node's value and derivative step under
  // "<name> value" / "<name> deriv" in `keeper` (off by default).
  template <typename Keeper>
  void time_nodes(Keeper& keeper) {
    for (Node& n : nodes) {
      n.value_timer = &keeper.record(n.name + " value");
      n.deriv_timer = &keeper.record(n.name + " deriv");
    }
  }

  // Relative RMS deviation of the analytic derivative of node `idx` with
  // respect to the positions from the central difference (see numeric_check.h).
  double node_deriv_deviation(int idx);

 private:
  void initialize_engine_from_hdf5(hid_t group, bool quiet);
};

// Whether the loop over systems of a node with n_elem elements per system
// runs in an OpenMP team: several systems and at least kParallelWork
// elements in all (a team costs more than a few small kernels).
constexpr long kParallelWork = 256;
inline bool parallel_systems(int n_system, long n_elem) { return n_system > 1 && n_system * n_elem >= kParallelWork; }

// The derivative at the root: each element's 3-vector is the sum of its slots.
void deriv_accumulation(SysArray deriv, SysArray sens, const DerivRecord* records, int n_record, int n_elem,
                        int n_system);

// The same step for an intermediate node of width A with one or two parents
// of slot widths B and C. `jac` holds per element n1 matrices A x B (one per
// slot of the first parent) followed by n2 matrices A x C; `scratch` holds
// A floats per element and system.
template <int A, int B, int C>
void reverse_autodiff(SysArray sens, SysArray jac, SysArray parent1, SysArray parent2, SysArray scratch,
                      const DerivRecord* records, int n_record, const AutoDiffParams* params, int n1, int n2,
                      int n_elem, int n_system);

extern template class CGMDEngine<float>;
extern template class CGMDEngine<double>;

}  // namespace tevo
