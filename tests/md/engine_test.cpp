// The derivative graph: the level sweep, construction from a configuration
// group and its messages, the registry's name rule, and the failure exit.
#include <gtest/gtest.h>
#include <omp.h>

#include "md/engine_file.h"
#include "md_config_writer.h"
#include "util/exit_with.h"

namespace tevo {
namespace md_test {
namespace {

using namespace md_config;

ConfigFile chain_file(const std::string& name, int n_res = 6, int n_system = 1) {
  return ConfigFile(::testing::TempDir() + "engine_" + name + ".h5", n_res,
                    noisy_copies(helix(n_res), n_system, 0.1f, 3), n_system);
}

// A width-3 node that logs its steps.
class Probe : public CoordNode {
 public:
  Probe(std::string name, std::string* log) : CoordNode(1, 1, 3), name_(std::move(name)), log_(log) {}
  void compute_value(ComputeMode) override { *log_ += "v:" + name_ + " "; }
  void propagate_deriv() override { *log_ += "d:" + name_ + " "; }

 private:
  std::string name_;
  std::string* log_;
};

TEST(Engine, LevelSweepRunsParentsFirstAndDerivativesAfterAllChildren) {
  std::string log;
  CGMDEngine<float> engine(1, 1);
  engine.add_node("a", std::make_unique<Probe>("a", &log), {"pos"});
  engine.add_node("b", std::make_unique<Probe>("b", &log), {"a"});
  engine.add_node("c", std::make_unique<Probe>("c", &log), {"pos"});
  engine.add_node("d", std::make_unique<Probe>("d", &log), {"b", "c"});
  engine.compute(DerivMode);
  EXPECT_EQ(log, "v:a v:c v:b v:d d:d d:b d:c d:a ");
  const std::vector<std::pair<int, int>> levels = {{0, 6}, {1, 5}, {2, 4}, {1, 4}, {3, 3}};  // pos, a, b, c, d
  for (size_t i = 0; i < levels.size(); ++i) {
    EXPECT_EQ(engine.nodes[i].value_level, levels[i].first) << engine.nodes[i].name;
    EXPECT_EQ(engine.nodes[i].deriv_level, levels[i].second) << engine.nodes[i].name;
  }
  EXPECT_EQ(engine.nodes[0].children, (std::vector<int>{1, 3}));
  EXPECT_EQ(engine.nodes[4].parents, (std::vector<int>{2, 3}));

  EXPECT_EQ(engine.get_idx("zz", false), -1);
  for (auto bad : std::vector<std::function<void()>>{
           [&] { engine.get("zz"); }, [&] { engine.add_node("e", std::make_unique<Probe>("e", &log), {"zz"}); }})
    try {
      bad();
      ADD_FAILURE() << "no throw";
    } catch (const std::string& e) {
      EXPECT_EQ(e, "name not found");
    }
  try {
    engine.add_node("a", std::make_unique<Probe>("a", &log), {"pos"});
    ADD_FAILURE() << "no throw";
  } catch (const std::string& e) {
    EXPECT_EQ(e, "name conflict in DerivEngine");
  }
}

TEST(Engine, BuildsTheGraphFromAFileInDependencyOrder) {
  {  // no nodes: pos alone, and compute only resets the levels
    ConfigFile f = chain_file("empty");
    CGMDEngine<float> engine(f.potential.get(), f.n_atom, 1, true);
    ASSERT_EQ(engine.nodes.size(), 1u);
    engine.compute(PotentialAndDerivMode);
    EXPECT_EQ(engine.nodes[0].value_level, 0);
    EXPECT_EQ(engine.get_energy(), 0.f);
    EXPECT_EQ(engine.get_n_hbond(), 0);
  }
  // Groups listed in name order, so the file order is not the dependency order.
  ConfigFile f = chain_file("order");
  affine_alignment(f);
  backbone_dependent_point(f);
  rama_coord(f);
  dist_spring(f);
  radial(f, "radial_inverse");
  testing::internal::CaptureStdout();
  CGMDEngine<float> engine(f.potential.get(), f.n_atom, 1, false);
  const std::string printed = testing::internal::GetCapturedStdout();
  std::vector<std::string> names;
  for (const Node& n : engine.nodes) names.push_back(n.name);
  EXPECT_EQ(names, (std::vector<std::string>{"pos", "affine_alignment", "dist_spring", "rama_coord",
                                             "backbone_dependent_point", "radial_inverse"}));
  EXPECT_NE(printed.find("-- Initializing dist_spring                 with argument pos\n"), std::string::npos);
  EXPECT_NE(printed.find("Initializing backbone_dependent_point    with arguments rama_coord and affine_alignment"),
            std::string::npos);
  engine.pos->output = f.positions;
  engine.compute(PotentialAndDerivMode);
  EXPECT_EQ(engine.get("dist_spring").value_level, 1);  // a node on pos alone runs in the first pass after it
  EXPECT_EQ(engine.get("radial_inverse").value_level, 3);
  EXPECT_NE(engine.get_energy(), 0.f);
}

TEST(Engine, FactoryNameRule) {
  EXPECT_EQ(find_node_creation_function("radial_inverse"), find_node_creation_function("radial"));
  EXPECT_EQ(find_node_creation_function("dihedral_spring_omega"), find_node_creation_function("dihedral_spring"));
  EXPECT_NE(find_node_creation_function("dihedral_range"), find_node_creation_function("dihedral_spring"));
  EXPECT_EQ(find_node_creation_function("rama"), nullptr);
  EXPECT_EQ(find_node_creation_function("radial_"), nullptr);
  EXPECT_EQ(node_creation_map().size(), 19u);
}

// Edits of a valid file and the message each must give.
struct BadGraph {
  const char* name;
  std::function<void(ConfigFile&)> edit;
  std::string message;
};

const std::vector<BadGraph>& bad_graphs() {
  static const std::vector<BadGraph> cases = {
      {"missing_argument", [](ConfigFile& f) { f.node("rama_map_pot", {"ghost"}); },
       "rama_map_pot takes ghost as an argument, but no node of that name can be found."},
      {"cycle",
       [](ConfigFile& f) {
         f.node("a_node", {"b_node"});
         f.node("b_node", {"a_node"});
       },
       "Unsatisfiable dependency a_node in potential computation"},
      {"potential_as_argument",
       [](ConfigFile& f) {
         dist_spring(f);
         f.node("rama_map_pot", {"dist_spring"});
       },
       "dist_spring is not an intermediate value, but it is an argument of rama_map_pot"},
      {"unknown_type", [](ConfigFile& f) { f.node("mystery", {"pos"}); },
       "while adding 'mystery', no node type is registered under this name"},
      {"no_arguments_attribute",
       [](ConfigFile& f) { h5::h5_obj g(H5Gclose, h5::ensure_group(f.potential.get(), "dist_spring")); },
       "while adding 'dist_spring', expected 1 arguments but got 0"},
      {"wrong_width", [](ConfigFile& f) { f.node("rama_map_pot", {"pos"}); },
       "while adding 'rama_map_pot', expected argument with width 2 but received argument with width 3"},
      {"missing_dataset",
       [](ConfigFile& f) {
         dist_spring(f);
         h5::h5_obj g(H5Gclose, h5::open_group(f.potential.get(), "dist_spring"));
         h5::ensure_not_exist(g.get(), "spring_const");
       },
       "while adding 'dist_spring', H5Dopen2 error -1"},
      {"wrong_rank",
       [](ConfigFile& f) {
         dist_spring(f);
         h5::h5_obj g(H5Gclose, h5::open_group(f.potential.get(), "dist_spring"));
         h5::ensure_not_exist(g.get(), "equil_dist");
         put<float>(g.get(), "equil_dist", {f.n_atom - 1, 1}, std::vector<float>(f.n_atom - 1, 1.f));
       },
       "while adding 'dist_spring', wrong number of dimensions (expected 1, but got 2)"},
      {"wrong_shape",
       [](ConfigFile& f) {
         dist_spring(f);
         h5::h5_obj g(H5Gclose, h5::open_group(f.potential.get(), "dist_spring"));
         h5::ensure_not_exist(g.get(), "spring_const");
         put<float>(g.get(), "spring_const", {3}, {1.f, 2.f, 3.f});
       },
       "while adding 'dist_spring', size mismatch (17) but got (3) in spring_const"},
      {"atom_out_of_range",
       [](ConfigFile& f) {
         h5::h5_obj g = f.node("dihedral_range", {"pos"});
         put<int>(g.get(), "id", {1, 4}, {0, 1, 2, 99});
       },
       "while adding 'dihedral_range', illegal atom num 0"},
      {"unequal_rama_grid",
       [](ConfigFile& f) {
         rama_coord(f);
         h5::h5_obj g = f.node("rama_map_pot", {"rama_coord"});
         put<int>(g.get(), "residue_id", {1}, {0});
         put<int>(g.get(), "rama_map_id", {1}, {0});
         put<double>(g.get(), "rama_pot", {1, 4, 5}, std::vector<double>(20, 0.0));
       },
       "while adding 'rama_map_pot', must have same x and y grid spacing for Rama maps"},
      {"unknown_restype",
       [](ConfigFile& f) {
         rama_coord(f);
         affine_alignment(f);
         backbone_dependent_point(f);
         radial(f);
         h5::h5_obj g(H5Gclose, h5::open_group(f.potential.get(), "radial"));
         h5::ensure_not_exist(g.get(), "restype");
         h5::write_string_dset(g.get(), "restype", {"ALA", "GLY", "XYZ", "ALA", "ALA", "ALA"});
       },
       "while adding 'radial', restype contains name not found XYZ"},
  };
  return cases;
}

TEST(Engine, BadGraphsThrowTheirMessages) {
  for (const BadGraph& c : bad_graphs()) {
    SCOPED_TRACE(c.name);
    ConfigFile f = chain_file(c.name);
    c.edit(f);
    testing::internal::CaptureStderr();
    try {
      CGMDEngine<float> engine(f.potential.get(), f.n_atom, 1, true);
      ADD_FAILURE() << "no throw";
    } catch (const std::string& e) {
      EXPECT_EQ(e, c.message);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "HDF5 printed its error stack";
  }
}

TEST(EngineDeathTest, ABadFileEndsWithItsMessageAndStatus1) {
  ConfigFile f = chain_file("exit");
  bad_graphs()[1].edit(f);
  f.potential.reset();
  f.input.reset();
  f.file.reset();
  const std::string path = f.path;
  EXPECT_EXIT_1(run_or_exit([&] { load_engine_file<float>(path, true); }),
                "^-- .*Error: Unsatisfiable dependency a_node in potential computation");
  EXPECT_EXIT_1(run_or_exit([&] { load_engine_file<float>(path + ".missing", true); }),
                "^-- .*Error: cannot open the HDF5 file .*missing");
}

TEST(Engine, ThreadsGiveTheSameForces) {
  ConfigFile f = ConfigFile(::testing::TempDir() + "engine_threads.h5", 16, noisy_copies(helix(16), 8, 0.2f, 5), 8);
  write_all_nodes(f);
  std::vector<std::vector<float>> deriv;
  std::vector<std::vector<float>> potential;
  for (int threads : {1, 2}) {
    omp_set_num_threads(threads);
    CGMDEngine<float> engine(f.potential.get(), f.n_atom, f.n_system, true);
    engine.pos->output = f.positions;
    engine.compute(PotentialAndDerivMode);
    deriv.push_back(engine.pos->deriv);
    potential.push_back(engine.potential);
  }
  EXPECT_EQ(deriv[0], deriv[1]);  // systems never share work, so the sums are identical
  EXPECT_EQ(potential[0], potential[1]);
}

}  // namespace
}  // namespace md_test
}  // namespace tevo
