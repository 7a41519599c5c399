// Small coarse-grained configuration files for the engine tests: a helical
// backbone (N, CA, C per residue) with per-system noise, and writers of the
// node groups over it.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "md/deriv_engine.h"
#include "md/h5.h"

namespace tevo {
namespace md_test {

using h5::h5_obj;

// Places atom d from c, b, a with bond |dc|, angle bcd and torsion abcd
// (natural extension reference frame).
inline void place(const float* a, const float* b, const float* c, float bond, float angle, float torsion, float* d) {
  double bc[3], ab[3], n[3], m[3];
  for (int k = 0; k < 3; ++k) bc[k] = c[k] - b[k], ab[k] = b[k] - a[k];
  const double lbc = std::sqrt(bc[0] * bc[0] + bc[1] * bc[1] + bc[2] * bc[2]);
  for (double& v : bc) v /= lbc;
  n[0] = ab[1] * bc[2] - ab[2] * bc[1], n[1] = ab[2] * bc[0] - ab[0] * bc[2], n[2] = ab[0] * bc[1] - ab[1] * bc[0];
  const double ln = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
  for (double& v : n) v /= ln;
  m[0] = n[1] * bc[2] - n[2] * bc[1], m[1] = n[2] * bc[0] - n[0] * bc[2], m[2] = n[0] * bc[1] - n[1] * bc[0];
  const double x = -bond * std::cos(angle), y = bond * std::sin(angle) * std::cos(torsion),
               z = bond * std::sin(angle) * std::sin(torsion);
  for (int k = 0; k < 3; ++k) d[k] = static_cast<float>(c[k] + x * bc[k] + y * m[k] + z * n[k]);
}

// Ideal alpha-helix backbone of n_res residues, [atom][3], centred on the origin.
inline std::vector<float> helix(int n_res) {
  constexpr float kDeg = 3.14159265f / 180;
  std::vector<float> x(9 * n_res);
  const float start[9] = {0, 1.458f, 0, 0, 0, 0, 1.525f, 0, 0};  // N, CA, C roughly placed
  for (int k = 0; k < 9 && k < 9 * n_res; ++k) x[k] = start[k];
  const float bond[3] = {1.329f, 1.458f, 1.525f};     // C-N, N-CA, CA-C
  const float angle[3] = {116.2f, 121.7f, 111.2f};    // CA-C-N, C-N-CA, N-CA-C
  const float torsion[3] = {-47.f, 180.f, -57.f};     // psi, omega, phi
  for (int a = 3; a < 3 * n_res; ++a)
    place(&x[3 * (a - 3)], &x[3 * (a - 2)], &x[3 * (a - 1)], bond[a % 3], angle[a % 3] * kDeg,
          torsion[a % 3] * kDeg, &x[3 * a]);
  double c[3] = {0, 0, 0};
  for (int a = 0; a < 3 * n_res; ++a)
    for (int k = 0; k < 3; ++k) c[k] += x[3 * a + k] / (3.0 * n_res);
  for (int a = 0; a < 3 * n_res; ++a)
    for (int k = 0; k < 3; ++k) x[3 * a + k] -= static_cast<float>(c[k]);
  return x;
}

// A configuration file under the test's temporary folder with /input/pos
// (n_atom x 3 x n_system: the helix plus uniform noise of +-noise per system)
// and the group /input/potential.
class ConfigFile {
 public:
  int n_res, n_atom, n_system;
  std::vector<float> positions;  // [system][atom][3]
  std::string path;
  h5_obj file, input, potential;

  ConfigFile(const std::string& name, int residues, int systems, float noise = 0.15f, unsigned seed = 7)
      : n_res(residues), n_atom(3 * residues), n_system(systems) {
    path = ::testing::TempDir() + "md_" + name + ".h5";
    file = h5::create_file(path);
    input = h5_obj(H5Gclose, h5::ensure_group(file.get(), "input"));
    potential = h5_obj(H5Gclose, h5::ensure_group(input.get(), "potential"));
    const std::vector<float> ideal = helix(residues);
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(-noise, noise);
    std::vector<float> file_order(static_cast<size_t>(n_atom) * 3 * systems);
    positions.resize(file_order.size());
    for (int s = 0; s < systems; ++s)
      for (int a = 0; a < n_atom; ++a)
        for (int d = 0; d < 3; ++d) {
          const float v = ideal[3 * a + d] + u(gen);
          positions[(static_cast<size_t>(s) * n_atom + a) * 3 + d] = v;
          file_order[(static_cast<size_t>(a) * 3 + d) * systems + s] = v;
        }
    h5::write_dset<float>(input.get(), "pos", {hsize_t(n_atom), 3, hsize_t(systems)}, file_order);
  }

  // A node group under /input/potential with its "arguments".
  h5_obj node(const std::string& name, const std::vector<std::string>& args) {
    h5_obj g(H5Gclose, h5::ensure_group(potential.get(), name.c_str()));
    h5::write_attribute(g.get(), "arguments", args);
    return g;
  }

  // The engine over the file's graph with the file's positions loaded.
  std::unique_ptr<CGMDEngine<float>> engine() {
    auto e = std::make_unique<CGMDEngine<float>>(potential.get(), n_atom, n_system, true);
    e->pos->output = positions;
    return e;
  }
};

template <typename T>
void put(hid_t g, const char* name, const std::vector<hsize_t>& dims, const std::vector<T>& v) {
  h5::write_dset<T>(g, name, dims, v);
}

}  // namespace md_test
}  // namespace tevo
