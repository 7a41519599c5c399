// Residue communities of the coupling analysis: sites grouped by the signs
// of two eigenvectors of the pair-score matrix, the community matrix rebuilt
// from the leading modes, its tables, charts and structure views.
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "protein/residues.h"  // aa123, aa_property_note
#include "report/pymol.h"
#include "report/record.h"
#include "report/structure_view.h"  // read_ca_trace
#include "sequence/sequence.h"
#include "sequence/sequence_charts.h"
#include "util/console.h"
#include "util/eigen.h"
#include "util/files.h"  // write_matrix_w_index, write_string
#include "util/identity.h"  // kServer
#include "util/numeric.h"
#include "util/strings.h"  // num2string

namespace tevo {

namespace {

// Positions of `sites` ordered by decreasing key[site]; equal keys keep the
// order of `sites` (increasing site index).
template <typename T>
void vect_idx_sort(std::vector<int>& sites, T* const* key, int column) {
  std::stable_sort(sites.begin(), sites.end(),
                   [&](int a, int b) { return key[a][column] > key[b][column]; });
}

}  // namespace

template <typename T>
void LSequence<T>::set_coupling_matrix(const T* const* m, int L) {
  free_mtx_malloc(coupling, coupling_sites_);
  coupling = nullptr;
  coupling_sites_ = 0;
  if (L <= 0) return;
  coupling = create_mtx_malloc<T>(L, L);
  for (int i = 0; i < L; ++i) std::copy(m[i], m[i] + L, coupling[i]);
  coupling_sites_ = L;
}

template <typename T>
void LSequence<T>::calc_residue_communities(std::string pdb, bool report) {
  // The selection threshold is overwritten whether or not communities follow.
  threshold = T(0.05);
  const int L = num_of_trimmed_site;
  // The communities read the second and the fourth eigenvector.
  if (L < 4) {
    print_info("residue communities need at least 4 selected sites (the fourth eigenvector of the couplings); " +
                   std::to_string(L) + " selected, no communities computed",
               11);
    return;
  }
  if (coupling == nullptr || site_list == nullptr) {
    print_info("no coupling scores of the selected sites, no communities computed", 11);
    return;
  }

  // Eigenvectors as columns, eigenvalues decreasing.
  T** vectors = create_mtx_malloc<T>(L, L, T(0));
  T* values = create_vec_malloc<T>(L, T(0));
  if (eig_calc(vectors, values, L, coupling, 1000) < 0)
    print_info("the eigen-decomposition of the couplings did not settle in 1000 sweeps; its last state is used", 11);

  // u = column 1, v = column 3; the three tests exclude one another.
  const T bound = threshold;
  std::vector<int> community[3];
  for (int i = 0; i < L; ++i) {
    const T u = vectors[i][1], v = vectors[i][3];
    if (u > std::max(std::fabs(v), bound)) community[0].push_back(i);
    if (v > std::max(std::fabs(u), bound)) community[1].push_back(i);
    if (u < -std::max(std::fabs(v), bound)) community[2].push_back(i);
  }

  // Each community by decreasing component (community 3 as community 1,
  // by u, so its weakest members come first), then one list.
  vect_idx_sort(community[0], vectors, 1);
  vect_idx_sort(community[1], vectors, 3);
  vect_idx_sort(community[2], vectors, 1);
  std::vector<int> list, member;
  for (int c = 0; c < 3; ++c)
    for (int site : community[c]) {
      list.push_back(site);
      member.push_back(c);
    }
  const int n = static_cast<int>(list.size());
  if (n == 0) print_info("no site passes the community tests; the community tables are empty", 11);

  // R = sum over k = 1, 2 of values[k] x_k x_k^T, taken at the
  // listed sites; P keeps its positive off-diagonal entries.
  T** p = create_mtx_malloc<T>(n, n, T(0));
  {
    const T l1 = values[1], l2 = values[2];
#pragma omp parallel for schedule(static)
    for (int a = 0; a < n; ++a) {
      const T* xa = vectors[list[a]];
      for (int b = 0; b < n; ++b) {
        if (a == b) continue;
        const T* xb = vectors[list[b]];
        const T r = l1 * xa[1] * xb[1] + l2 * xa[2] * xb[2];
        if (r > 0) p[a][b] = r;
      }
    }
  }
  mat_min_max_normalization(p, n, n);

  // Index and sum of each row right of the diagonal.
  T** csum = create_mtx_malloc<T>(n, 2, T(0));
  for (int a = 0; a < n; ++a) {
    T sum = 0;
    for (int b = a + 1; b < n; ++b) sum += p[a][b];
    csum[a][0] = static_cast<T>(a);
    csum[a][1] = sum;
  }

  const std::vector<std::string> site_names = selected_site_labels();
  const std::vector<int> numbers = selected_residue_numbers();
  std::vector<std::string> labels(n);
  for (int a = 0; a < n; ++a) labels[a] = site_names[list[a]];

  // The chord table.
  {
    std::string text = "name,aaname,position,chain,domain,property,secstruct,community1,community2,function,image,"
                       "conservation,coupling,";
    for (int a = 0; a < n; ++a) text += (a ? "," : "") + labels[a];
    text += "\n";
    for (int a = 0; a < n; ++a) {
      const int site = site_list[list[a]];  // among the trimmed sites before the selection
      const char letter = site < static_cast<int>(trimmed_ref_seq.size()) ? trimmed_ref_seq[site] : '-';
      const std::string three = aa123(static_cast<unsigned char>(letter));
      const std::string group = "community" + std::to_string(member[a] + 1);
      const double conservation =
          site_conservation != nullptr && site < stats_sites_ ? static_cast<double>(site_conservation[site][1]) : 0.0;
      text += labels[a] + "," + three + "," + std::to_string(numbers[list[a]]) + "," + "A," + "1," + "prp1," +
              "N/A," + group + "," + group + "," + group + "," + kServer + "/tevo/img/aminoacid/" + three +
              ".png," + num2string(conservation, 6) + "," + num2string(static_cast<double>(csum[a][1]), 6) + ",";
      for (int b = 0; b < n; ++b) text += (b ? "," : "") + num2string(static_cast<double>(p[a][b]), 6);
      text += "\n";
    }
    write_string(prefix + "_residue_communities_chord.csv", text);
  }

  // Tables, charts and the record.
  const std::string base = prefix + "_" + "residue_communities";
  std::vector<std::string> header = labels;
  header.insert(header.begin(), " ");
  write_matrix_w_index<T>(base + "_mtx", p, n, n, header, labels);
  write_matrix_w_index<T>(base + "_mtx_csum", csum, n, 2, {"Residue", "Index", "Score"}, labels);
  chart_residue_communities(base, p, csum, n, labels);
  const std::string log = prefix + ".log";
  const std::string caption = "Residue communities of amino acids (couplings are normalized). " + aa_property_note;
  if (report) {
    append_record_block(log, "1-1-1-0", "Residue communities of amino acids", caption, base + "_mtx");
    append_record_block(log, "1-1-1-0", "Residue communities in chord plotting", caption, base + "_chord");
    append_record_block(log, "1-1-1-0", "Coupling score of each amino acid",
                        "Score of each residue located in the top networks.", base + "_mtx_csum");
  }

  // The communities on the structure, by residue number of the mapped chain.
  if (!pdb.empty()) {
    std::vector<std::vector<int>> groups(3);
    for (int c = 0; c < 3; ++c)
      for (int site : community[c]) groups[c].push_back(numbers[site]);
    const std::vector<std::string> names = {"Community 1", "Community 2", "Community 3"};
    // The chain the reference maps on; a blank identifier (read as "A") selects all.
    const std::vector<TraceResidue> trace = read_ca_trace(pdb);
    std::string view_chain;
    for (const TraceResidue& r : trace)
      if (pdb_chain.size() == 1 && r.chain == pdb_chain[0]) view_chain = pdb_chain;
    NGL<T> ngl("", "");
    ngl.set_file_name(base + "_structure");
    ngl.chart.title = "Residue communities";
    ngl.plotting(pdb, groups, names, view_chain);
    Pymol<T> pml("", "");
    pml.set_file_name(base + "_structure");
    pml.plotting(pdb, groups, names, view_chain);
    if (report)
      append_record_block(log, "1-1-1-3", "Residue communities on the structure",
                          "Residue communities of amino acids that are mapped to the tertiary structure.",
                          base + "_structure");
  }

  free_mtx_malloc(csum, n);
  free_mtx_malloc(p, n);
  free_mtx_malloc(vectors, L);
  delete[] values;
}

template void LSequence<float>::set_coupling_matrix(const float* const*, int);
template void LSequence<double>::set_coupling_matrix(const double* const*, int);
template void LSequence<float>::calc_residue_communities(std::string, bool);
template void LSequence<double>::calc_residue_communities(std::string, bool);

}  // namespace tevo
