// Site statistics of a trimmed alignment: relative entropies, the degree of
// conservation of each site against background frequencies, and the
// distribution of pairwise sequence identities.
#include <omp.h>

#include <algorithm>
#include <cmath>

#include "protein/residues.h"  // AA_STR, aa_property_note
#include "sequence/sequence.h"
#include "sequence/sequence_charts.h"
#include "sequence/numbered_lines.h"
#include "sequence/row_pairs.h"
#include "util/numeric.h"  // create_mtx_malloc
#include "util/files.h"  // write_matrix_w_index, write_string

namespace tevo {

namespace {

// Background frequencies of the amino acids by residue index 1 to 20 (the
// order of AA_STR); they are scaled by the share of non-gaps of an alignment.
constexpr double kBackground[21] = {0,     0.073, 0.052, 0.043, 0.05,  0.025, 0.04,
                                    0.061, 0.072, 0.023, 0.053, 0.089, 0.064, 0.023,
                                    0.042, 0.052, 0.073, 0.056, 0.013, 0.033, 0.063};


}  // namespace

// Relative entropy (alpha 1) and the Renyi divergence of order alpha.
template <typename T>
void LSequence<T>::sequence_entropy(T& result, std::vector<T> p, std::vector<T> q, T alpha) {
  const std::size_t n = p.size();
  if (n >= 2) {
    if (alpha == 1) {
      T sum = 0;
      for (std::size_t k = 1; k < n; ++k)
        if (p[k] > 0) sum += p[k] * std::log(p[k] / q[k]);
      result = sum;
    } else if (alpha == 0) {
      result = 1;
    } else {
      T s = 0;
      for (std::size_t k = 1; k < n; ++k) s += std::pow(p[k], alpha) * std::pow(q[k], 1 - alpha);
      result = 1 / (alpha - 1) * std::log(s);
    }
    return;
  }
  if (n == 0) {  // nothing to compare
    result = 0;
    return;
  }
  const T f = p[0], b = q[0];
  if (alpha == 1) {
    T sum = 0;
    if (f > 0) sum += f * std::log(f / b);
    if (f < 1) sum += (1 - f) * std::log((1 - f) / (1 - b));
    result = sum;
  } else if (alpha == 0) {
    result = 1;
  } else {
    result = 1 / (alpha - 1) *
             std::log(std::pow(f, alpha) * std::pow(b, 1 - alpha) +
                      std::pow(1 - f, alpha) * std::pow(1 - b, 1 - alpha));
  }
}

template <typename T>
void LSequence<T>::calc_site_conservation() {
  const int n = num_of_trimmed_seq, sites = num_of_trimmed_site;
  free_conservation();
  std::vector<long> counts(static_cast<std::size_t>(sites) * 21, 0);
  long gaps = 0;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < sites; ++j) {
      const int a = trimmed_msa[i][j];
      ++counts[static_cast<std::size_t>(j) * 21 + a];
      gaps += a == 0;
    }
  const T g = static_cast<T>(gaps) / (static_cast<T>(n) * static_cast<T>(sites));
  std::vector<T> q(21);
  q[0] = g;
  for (int a = 1; a <= 20; ++a) q[a] = (1 - g) * static_cast<T>(kBackground[a]);

  site_conservation = create_mtx_malloc<T>(sites, 2);
  aa_relative_entropy = create_mtx_malloc<T>(20, sites);
  stats_sites_ = sites;
  std::vector<T> f(21);
  for (int j = 0; j < sites; ++j) {
    for (int a = 0; a <= 20; ++a) f[a] = static_cast<T>(counts[static_cast<std::size_t>(j) * 21 + a]) / n;
    T d = 0;
    sequence_entropy(d, f, q, 1);
    site_conservation[j][0] = static_cast<T>(j);
    site_conservation[j][1] = d;
    for (int a = 1; a <= 20; ++a) {
      T e = 0;
      sequence_entropy(e, {f[a]}, {q[a]}, 1);
      aa_relative_entropy[a - 1][j] = e;
    }
  }

  const std::string base = prefix + "_" + "degree_of_conservation";
  const std::vector<std::string> labels = site_labels();
  write_matrix_w_index<T>(base, site_conservation, sites, 2, {"Site", "Index", "D_i"}, labels);
  std::vector<std::string> header = labels;
  header.insert(header.begin(), "entropy");
  std::vector<std::string> residues(20);
  for (int a = 0; a < 20; ++a) residues[a] = std::string(1, AA_STR[a]);
  write_matrix_w_index<T>(base + "_relative_entropy", aa_relative_entropy, 20, sites, header,
                                 residues);
  chart_site_conservation(prefix, site_conservation, aa_relative_entropy, sites, labels);
  // The caption runs on into the name of the files: the report finds the
  // chart by the title ("Degree of conservation" -> degree_of_conservation).
  write_string(prefix + ".log",
               std::string("1-1-1-2\n") + "Degree of conservation\n" +
                   "Degree of conservation at each single site (not included gaps). " + aa_property_note +
                   "degree_of_conservation\n",
               "a+");
}

template <typename T>
void LSequence<T>::calc_sequence_similarity(std::string msa_file, int) {
  read_msa(msa_file, false);
  const int n = num_of_trimmed_seq, sites = num_of_trimmed_site;
  if (similarity != nullptr) {
    for (int k = 0; k < 100; ++k) delete[] similarity[k];
    delete[] similarity;
  }
  similarity = create_mtx_malloc<T>(100, 2);
  if (packed_.size() != static_cast<std::size_t>(n) * stride_) pack_trimmed();

  // The bin of every possible count of equal sites, by the same comparisons
  // as for the identity itself; -1 for an identity of 0, which has no bin.
  std::vector<int> bin(static_cast<std::size_t>(sites) + 1, -1);
  for (int c = 0; c <= sites; ++c) {
    const T identity = static_cast<T>(c) / static_cast<T>(sites);
    for (int k = 0; k < 100; ++k)
      if (static_cast<T>(k * 0.01) < identity && identity <= static_cast<T>((k + 1) * 0.01)) {
        bin[c] = k;
        break;
      }
  }
  const int stride = stride_, pad = stride_ - sites;
  const uint8_t* packed = packed_.data();
  std::vector<long> hist(100, 0);
#pragma omp parallel
  {
    std::vector<long> local(101, 0);  // slot 100 collects pairs without a bin
    std::vector<int> equal(kRowPairRun);
    for_each_row_pair_run(n, [&](int i, int j0, int m) {
      rows_equal(packed + static_cast<std::size_t>(i) * stride, packed + static_cast<std::size_t>(j0) * stride, m,
                 stride, equal.data());
      for (int j = 0; j < m; ++j) {
        const int k = bin[equal[j] - pad];
        ++local[k < 0 ? 100 : k];
      }
    });
#pragma omp critical
    for (int k = 0; k < 100; ++k) hist[k] += local[k];
  }
#pragma omp parallel for schedule(static)
  for (int k = 0; k < 100; ++k) similarity[k][0] = static_cast<T>((k + 1) * 0.01);
  for (int k = 0; k < 100; ++k) similarity[k][1] = static_cast<T>(hist[k]);

  const std::string base = prefix + "_" + "sequence_similarity";
  write_matrix_w_index<T>(base, similarity, 100, 2, {"Identity", "Counts"}, {});
  write_string(prefix + ".log",
                      std::string("1-1-1-0\n") + "Sequence similarity\n" +
                          "Distribution of similarities between pairwise sequences.\n" + base + "\n",
                      "a+");
  chart_sequence_similarity(base, similarity);
}

template void LSequence<float>::sequence_entropy(float&, std::vector<float>, std::vector<float>, float);
template void LSequence<double>::sequence_entropy(double&, std::vector<double>, std::vector<double>,
                                                  double);
template void LSequence<float>::calc_site_conservation();
template void LSequence<double>::calc_site_conservation();
template void LSequence<float>::calc_sequence_similarity(std::string, int);
template void LSequence<double>::calc_sequence_similarity(std::string, int);

}  // namespace tevo
