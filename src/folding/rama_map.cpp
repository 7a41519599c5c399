// Ramachandran maps from structures: angle collection, smoothing, shrinkage
// toward the pooled map, the two map files and the chart.
#include "folding/rama_map.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numeric>

#include "folding/energy/backbone.h"
#include "protein/geometry.h"
#include "protein/protein.h"
#include "protein/residues.h"
#include "report/gnuplot.h"
#include "report/javas.h"
#include "report/record.h"
#include "util/console.h"
#include "util/files.h"
#include "util/strings.h"

namespace tevo {

namespace {
constexpr int kIndexColumns = 72;  // bin b: psi row b / 72, phi column b % 72
constexpr double kKeep = 0.999;    // share of the probability kept in each row
}  // namespace

template <typename T>
RamaMap<T>::RamaMap(const std::string& output, const std::string& jobname)
    : stem(output + jobname), output_(output), jobname_(jobname) {}

template <typename T>
bool RamaMap<T>::set_bin_size(int size) {
  if (size < 5 || size > 360 || 360 % size != 0) return false;
  size_ = size;
  return true;
}

template <typename T>
int RamaMap<T>::bin_of(T phi, T psi) const {
  const int nb = bins_per_axis();
  auto axis = [&](T a) { return std::min(nb - 1, std::max(0, static_cast<int>(std::floor((a + 180) / size_)))); };
  return axis(psi) * nb + axis(phi);
}

template <typename T>
void RamaMap<T>::add_structure(const std::string& pdb) {
  refuse_directory(pdb);
  if (std::FILE* f = std::fopen(pdb.c_str(), "rb")) {
    std::fclose(f);
  } else {
    print_info(pdb, 5);
    std::exit(1);
  }
  Protein<T> protein(output_, jobname_, false, 1);
  protein.read_pdb(pdb, false, "", false);
  for (Chain<T>& chain : protein.chains) {
    chain.set_idx_coords();
    const std::vector<BackboneAtoms> bb = find_backbone_atoms(chain);
    const T* xyz = chain.coords();
    std::string seq;
    const int n = static_cast<int>(bb.size());
    for (int r = 0; r < n; ++r) {
      const std::string one = aa321(chain.amino_acids[r].name);
      seq += one.empty() ? "X" : one;
    }
    if (n < 3) continue;
    ++chains_read;
    sequences_.push_back(seq);
    if (first_sequence_.empty()) first_sequence_ = seq;
    for (int r = 1; r + 1 < n; ++r) {
      // Both peptide bonds must be whole: no angle across a chain break.
      if (bb[r - 1].c < 0 || bb[r].n < 0 || bb[r].c < 0 || bb[r + 1].n < 0) continue;
      if (geom::dist(xyz + 3 * bb[r - 1].c, xyz + 3 * bb[r].n) > T(2.0) ||
          geom::dist(xyz + 3 * bb[r].c, xyz + 3 * bb[r + 1].n) > T(2.0))
        continue;
      T phi, psi;
      backbone_torsions(xyz, bb, r, phi, psi);
      if (phi == T(360) || psi == T(360)) continue;
      const int code = aa12idx(seq[r]) - 1;
      angles_.push_back({code < 0 || code > 19 ? -1 : code, r, phi, psi});
      ++residues_read;
    }
  }
}

template <typename T>
std::vector<T> RamaMap<T>::smooth(const std::vector<T>& counts) const {
  // Circular [1 2 1] x [1 2 1] / 16 passes, about ten degrees in all.
  const int nb = bins_per_axis();
  std::vector<T> a = counts, b(counts.size());
  const int passes = std::max(1, 10 / size_);
  for (int p = 0; p < passes; ++p) {
    for (int r = 0; r < nb; ++r)
      for (int c = 0; c < nb; ++c) {
        T s = 0;
        for (int dr = -1; dr <= 1; ++dr)
          for (int dc = -1; dc <= 1; ++dc) {
            const T w = T((dr == 0 ? 2 : 1) * (dc == 0 ? 2 : 1));
            s += w * a[((r + dr + nb) % nb) * nb + (c + dc + nb) % nb];
          }
        b[r * nb + c] = s / 16;
      }
    a.swap(b);
  }
  return a;
}

template <typename T>
void RamaMap<T>::build() {
  const int nb = bins_per_axis();
  const std::size_t cells = static_cast<std::size_t>(nb) * nb;
  if (target_.empty()) target_ = first_sequence_;
  by_position = !sequences_.empty();
  for (const std::string& s : sequences_) by_position = by_position && s == target_;

  std::vector<T> pooled(cells, 0);
  for (const Angle& a : angles_) pooled[bin_of(a.phi, a.psi)] += 1;
  pooled = smooth(pooled);
  const T total = std::accumulate(pooled.begin(), pooled.end(), T(0));
  pooled_.assign(cells, total > 0 ? T(0) : T(1) / static_cast<T>(cells));
  if (total > 0)
    for (std::size_t k = 0; k < cells; ++k) pooled_[k] = pooled[k] / total;

  // Counts per residue type (or per position of an ensemble).
  const int groups = by_position ? static_cast<int>(target_.size()) : 20;
  std::vector<std::vector<T>> counts(groups, std::vector<T>(cells, 0));
  for (const Angle& a : angles_) {
    const int g = by_position ? a.position : a.code;
    if (g >= 0 && g < groups) counts[g][bin_of(a.phi, a.psi)] += 1;
  }
  std::vector<std::vector<T>> maps(groups);
  const T shrink = by_position ? T(1) : T(20);  // weight of the pooled map, in observations
  for (int g = 0; g < groups; ++g) {
    const std::vector<T> s = smooth(counts[g]);
    const T n = std::accumulate(s.begin(), s.end(), T(0));
    maps[g].resize(cells);
    for (std::size_t k = 0; k < cells; ++k) maps[g][k] = (s[k] + shrink * pooled_[k]) / (n + shrink);
  }

  index.assign(target_.size(), {});
  prob.assign(target_.size(), {});
  std::vector<int> order(cells);
  for (std::size_t r = 0; r < target_.size(); ++r) {
    const int code = aa12idx(target_[r]) - 1;
    const std::vector<T>& m = by_position ? maps[r] : (code >= 0 && code < 20 ? maps[code] : pooled_);
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int x, int y) { return m[x] > m[y]; });
    T kept = 0;
    for (int k : order) {
      if (kept >= T(kKeep) || !(m[k] > 0)) break;
      index[r].push_back((k / nb) * kIndexColumns + k % nb);
      prob[r].push_back(m[k]);
      kept += m[k];
    }
    for (T& p : prob[r]) p /= kept;
  }
}

template <typename T>
void RamaMap<T>::write() {
  std::string idx_text, map_text;
  char buf[32];
  for (std::size_t r = 0; r < index.size(); ++r) {
    for (std::size_t k = 0; k < index[r].size(); ++k) {
      const char* sep = k + 1 < index[r].size() ? "\t" : "\n";
      idx_text += std::to_string(index[r][k]) + sep;
      std::snprintf(buf, sizeof(buf), "%.6g%s", static_cast<double>(prob[r][k]), sep);
      map_text += buf;
    }
  }
  write_string(stem + ".rama_index", idx_text);
  write_string(stem + ".rama_map", map_text);

  // The pooled map as a chart: psi up the rows, phi along the columns.
  const int nb = bins_per_axis();
  std::vector<std::vector<double>> grid(nb, std::vector<double>(nb));
  std::vector<double*> rows(nb);
  std::vector<std::string> labels(nb);
  for (int r = 0; r < nb; ++r) {
    for (int c = 0; c < nb; ++c) grid[r][c] = static_cast<double>(pooled_[(nb - 1 - r) * nb + c]);
    rows[r] = grid[r].data();
  }
  for (int k = 0; k < nb; ++k) labels[k] = std::to_string(-180 + k * size_ + size_ / 2);
  std::vector<std::string> psi_labels(labels.rbegin(), labels.rend());
  Javas<double> js(output_, jobname_, {"top", "right", "bottom", "left"});
  js.set_param(nb, nb, 20, 90, 60, 70, 600, 600, 0);
  js.set_postfix("rama_map");
  js.set_labels(psi_labels, labels);
  js.set_legend("Rare", "Frequent", "Probability");
  js.plotting("heatmap", rows.data(), {"", "&phi; (degrees)", "&psi; (degrees)"});
  Gnuplot<double> gp(output_, jobname_);
  gp.set_postfix("rama_map");
  gp.plotting("heatmap", rows.data(), nb, nb, "phi bin", "psi bin (from +180 down)");

  append_record_block(record_path(output_, jobname_), "1-1-1-0", "Ramachandran map",
                      "Pooled (&phi;, &psi;) density of " + std::to_string(residues_read) + " residues in " +
                          std::to_string(chains_read) + " chains, bins of " + std::to_string(size_) +
                          "&deg;; the sampler's maps (" + std::to_string(index.size()) + " residues, " +
                          (by_position ? "position by position" : "by residue type") + ") are in " +
                          jobname_ + ".rama_index and " + jobname_ + ".rama_map.",
                      "rama_map");
}

template class RamaMap<float>;
template class RamaMap<double>;

}  // namespace tevo
