// The coupling analysis: frequencies of the trimmed alignment, site
// selection, the pseudo-likelihood fit of the Potts model, the potential
// file and the pair scores with the average product correction.
#include <omp.h>

#include <cerrno>
#include <charconv>
#include <climits>
#include <limits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <vector>

#include "optimizer/lbfgs.h"
#include "protein/residues.h"  // aa_property_note
#include "report/record.h"
#include "sequence/numbered_lines.h"
#include "sequence/potts.h"
#include "sequence/sequence.h"
#include "sequence/sequence_charts.h"
#include "util/console.h"
#include "util/files.h"
#include "util/identity.h"
#include "util/numeric.h"  // create_mtx_malloc
#include "util/strings.h"
#include "util/sysinfo.h"

namespace tevo {

using seqio::fail;

namespace {

// Bytes the fit of `sites` sites holds at its peak: the parameters, the pair
// frequencies, and the solver's vectors (five of n and two rings of six).
double fit_bytes(long sites, std::size_t real) {
  return static_cast<double>(potts_num_params(sites)) * real * (1 + 1 + 5 + 2 * 6);
}

// Writes text to the open potential file, stopping cleanly on a full disk.
void put(std::FILE* fp, const std::string& path, const char* text, std::size_t n) {
  if (std::fwrite(text, 1, n, fp) != n) {
    std::fclose(fp);
    std::remove(path.c_str());
    fail("cannot write out " + path + ": " + std::strerror(errno));
  }
}

// Appends "%.20e" of a nonzero v and "%.f" of a zero: std::to_chars with a
// precision writes printf's text at a fraction of its cost, which counts in
// a file of millions of couplings.
void append_coupling(std::string& out, double v) {
  if (v == 0) {
    out += std::signbit(v) ? "-0" : "0";
    return;
  }
  char cell[48];
  const std::to_chars_result end = std::to_chars(cell, cell + sizeof(cell), v, std::chars_format::scientific, 20);
  out.append(cell, end.ptr);
}

}  // namespace

// Numbers separated by commas or blanks, in reading order; lines that begin
// with "#" are notes. An unreadable file ends the run with the loaders'
// message; text that is no number, or a number that is not finite in T
// (nan, inf, 1e309), with its line and field.
template <typename T>
std::vector<T> read_eca_matrix_from_file(const std::string& file) {
  refuse_directory(file);
  {
    std::ifstream probe(file, std::ios::binary);
    char magic[3] = {0, 0, 0};
    probe.read(magic, 3);
    if ((magic[0] == '\x1f' && magic[1] == '\x8b') || std::string(magic, 3) == "BZh")
      fail(file + " is compressed: give the parameter file as plain text");
  }
  std::vector<T> values;
  long line_of_field = 0;
  int field = 0;
  const bool opened = for_each_number_token(file, [&](const char* token, long line) {
    field = line == line_of_field ? field + 1 : 1;
    line_of_field = line;
    const std::string where = file + " line " + std::to_string(line) + " field " + std::to_string(field) + ": \"" +
                              std::string(token).substr(0, 20) + "\"";
    char* stop = nullptr;
    const double v = std::strtod(token, &stop);
    if (stop == token || *stop != '\0') fail(where + " is not a number");
    if (!(std::fabs(v) <= static_cast<double>(std::numeric_limits<T>::max()))) fail(where + " is not a finite number");
    values.push_back(static_cast<T>(v));
  });
  if (!opened) fail_to_load(file);
  return values;
}

template <typename T>
void LSequence<T>::calc_couplings(std::string msa_file, bool communities, std::string pdb, std::string mat,
                                  bool select_sites) {
  sequence_trim(msa_file, "", false, false);
  sequence_reweight(0.2, 1.0);
  free_couplings();
  num_of_site = num_of_trimmed_site;

  // Site selection by the degree of conservation; the default threshold of
  // -1 keeps every site.
  if (select_sites) calc_site_conservation();
  for (int i = 0; i < num_of_site; ++i)
    if (!select_sites || site_conservation[i][1] > threshold) selected_sites.push_back(i);
  const int sites = static_cast<int>(selected_sites.size());
  for (int s = 0; s < num_of_trimmed_seq; ++s)  // selected_sites rises, so the copy can run in place
    for (int k = 0; k < sites; ++k) trimmed_msa[s][k] = trimmed_msa[s][selected_sites[k]];
  num_of_trimmed_site = sites;
  packed_.clear();
  // An empty model is already at its minimum: the solver says so and ends the run.
  if (sites == 0)
    seqio::warn("no site of " + msa_file + " has a degree of conservation above the threshold " +
                num2string(threshold, 3) + ": nothing to fit, no coupling will be written");

  const double need_mb = fit_bytes(sites, sizeof(T)) / (1024.0 * 1024.0);
  if (potts_num_params(sites) > INT_MAX || need_mb > Info::get_RAM_size())
    fail("the coupling model of " + std::to_string(sites) + " sites needs about " +
         std::to_string(static_cast<long>(need_mb)) + " MB, more than this machine has (" +
         std::to_string(Info::get_RAM_size()) + " MB); select fewer sites with -threshold");

  site_list = new int32_t[sites];
  for (int k = 0; k < sites; ++k) site_list[k] = selected_sites[k];
  num_of_pairs = static_cast<int>(potts_num_pairs(sites));
  lambda_h = T(0.01);
  lambda_j = T(100.0);
  num_of_params = static_cast<int>(potts_num_params(sites));
  params = new T[num_of_params]();

  calc_aa_prob_from_msa();

  if (!mat.empty()) {
    const std::vector<T> loaded = read_eca_matrix_from_file<T>(mat);
    if (static_cast<long>(loaded.size()) != num_of_params) {
      print_info("I found different parameters between the loaded file", 11);
      print_text("and that are generated from the MSA, but please don't worry.");
      print_text("I will launch parameter optimzation from the MSA.");
    } else {
      std::copy(loaded.begin(), loaded.end(), params);
    }
  }

  // Fields start at the log of the weighted counts, centred on each site.
#pragma omp parallel for schedule(static)
  for (int i = 0; i < sites; ++i) {
    T mean = 0;
    for (int a = 0; a < kPottsStates; ++a) {
      T& h = params[static_cast<std::size_t>(a) * sites + i];
      h = std::log(aa_freq[static_cast<std::size_t>(a) * sites + i] * effective_samples + T(1));
      mean += h;
    }
    mean /= kPottsStates;
    for (int a = 0; a < kPottsStates; ++a) params[static_cast<std::size_t>(a) * sites + i] -= mean;
  }

  optimize_coupling_parameters();
  sequence_potential_write();
  calc_evolutionary_couplings("", true, true);
  if (communities) calc_residue_communities(pdb, true);
  print_fit_end();
}

template <typename T>
void LSequence<T>::print_fit_end() const {
  const std::string value = num2string(fit_value, 6);
  if (fit_status == LBFGS<T>::kConverged) {
    print_text("L-BFGS converged; final objective " + value);
  } else if (fit_status == LBFGS<T>::kMaxIterations) {
    seqio::warn("L-BFGS stopped at the iteration limit (-max_iter " + std::to_string(max_iter) +
                ") before converging; final objective " + value);
  } else {
    const std::string why = fit_status == LBFGS<T>::kStopDecrease ? "the objective stopped decreasing"
                            : fit_status == LBFGS<T>::kBadCurvature
                                ? "no usable curvature was left"
                                : "the line search found no lower point (code " + std::to_string(fit_status) + ")";
    seqio::warn("L-BFGS stopped before the iteration limit: " + why + "; final objective " + value);
  }
}

template <typename T>
void LSequence<T>::calc_aa_prob_from_msa() {
  print_info("Computing probabilities from the bioligical sequence alignment", 32, ' ');
  std::fflush(stdout);
  const int sites = num_of_trimmed_site;
  const long pairs = potts_num_pairs(sites);
  delete[] aa_freq;
  delete[] pair_freq;
  aa_freq = new T[static_cast<std::size_t>(kPottsStates) * (sites > 0 ? sites : 1)]();
  pair_freq = new T[static_cast<std::size_t>(kPottsBlock) * (pairs > 0 ? pairs : 1)]();
  const T neff = effective_samples > 0 ? effective_samples : T(1);
  const int n = num_of_trimmed_seq;
  std::vector<T> w(n);
  for (int s = 0; s < n; ++s) {
    w[s] = weights[s] / neff;
    for (int i = 0; i < sites; ++i) aa_freq[static_cast<std::size_t>(trimmed_msa[s][i]) * sites + i] += w[s];
  }
  const std::vector<int32_t> columns = states_by_site(trimmed_msa, n, sites);
  // One pair block at a time, so that its 441 cells stay in cache; each
  // block sums its sequences in order, so the table does not depend on the
  // number of threads.
#pragma omp parallel for schedule(dynamic, 1)
  for (int j = 1; j < sites; ++j) {
    const int32_t* b = columns.data() + static_cast<std::size_t>(j) * n;
    for (int i = 0; i < j; ++i) {
      const int32_t* a = columns.data() + static_cast<std::size_t>(i) * n;
      T* block = pair_freq + kPottsBlock * pair_index(i, j);
      for (int s = 0; s < n; ++s) block[kPottsStates * b[s] + a[s]] += w[s];
    }
  }
  std::printf("done\n");
}

template <typename T>
void LSequence<T>::optimize_coupling_parameters() {
  LBFGS<T> solver(prefix + "_sequence_potential", num_of_params, max_iter, 6);
  solver.epsilon = T(1e-5);  // init() below puts in its own working values
  solver.ftol = T(1e-4);
  solver.wolfe = T(0.9);
  solver.init();
  PottsData<T> data{trimmed_msa, weights, num_of_trimmed_seq, num_of_trimmed_site,
                    num_of_pairs, lambda_h, lambda_j, effective_samples};
  fit_value = 0;
  fit_status = solver.actuate(params, &fit_value, &LSequence<T>::plm_negative_log_posterior, &data);
  solver.finish();
}

template <typename T>
void LSequence<T>::sequence_potential_write() {
  const std::string path = prefix + "_sequence_potential.csv";
  std::FILE* fp = std::fopen(path.c_str(), "w");
  if (fp == nullptr) fail("cannot open " + path);
  const int sites = num_of_trimmed_site;
  auto letter = [&](int k) {
    const int site = site_list[k];
    return site < static_cast<int>(ref_seq.size()) ? ref_seq[site] : '-';
  };
  std::string text = "# Evolutionary coupling poteintials\n# TEVANA (Tevo version 2.6.9) \n# Contact: ";
  text += std::string(kContact) + ", " + kServer + "\n";
  put(fp, path, text.data(), text.size());

  char cell[64];
  for (int k = 0; k < sites; ++k) {
    int n = std::snprintf(cell, sizeof(cell), "# %c %i\n", letter(k), site_list[k] + 1);
    put(fp, path, cell, n);
    const bool passes =
        site_conservation == nullptr || site_conservation[site_list[k]][1] > threshold;
    for (int a = 0; a < kPottsStates; ++a) {
      n = passes ? std::snprintf(cell, sizeof(cell), "%g", static_cast<double>(params[a * sites + k]))
                 : std::snprintf(cell, sizeof(cell), "%1f", 0.0);
      put(fp, path, cell, n);
      put(fp, path, a + 1 < kPottsStates ? " " : "\n", 1);
    }
  }
  // Headers run over the pairs with the first site outermost while blocks
  // follow their storage order; from four sites on they name other pairs.
  int head_i = 0, head_j = 1;
  std::string lines;
  for (long p = 0; p < num_of_pairs; ++p) {
    const int n = std::snprintf(cell, sizeof(cell), "## %c %i %c %i\n", letter(head_i), site_list[head_i] + 1,
                                letter(head_j), site_list[head_j] + 1);
    lines.assign(cell, n);
    if (++head_j == sites) head_j = ++head_i + 1;
    const T* block = params + kPottsStates * static_cast<std::size_t>(sites) + kPottsBlock * p;
    for (int b = 0; b < kPottsStates; ++b)
      for (int a = 0; a < kPottsStates; ++a) {
        append_coupling(lines, block[kPottsStates * b + a]);
        lines += a + 1 < kPottsStates ? ' ' : '\n';
      }
    put(fp, path, lines.data(), lines.size());
  }
  if (std::fclose(fp) != 0) {
    std::remove(path.c_str());
    fail("cannot write out " + path);
  }
  print_text("The evolutionary coupling potential can be found at:");
  print_text(path);
}

template <typename T>
void LSequence<T>::calc_evolutionary_couplings(std::string, bool chart, bool report) {
  const int sites = num_of_trimmed_site;
  free_mtx_malloc(coupling, coupling_sites_);
  free_mtx_malloc(coupling_full, full_sites_);
  coupling = create_mtx_malloc<T>(sites, sites);
  coupling_sites_ = sites;

  // Frobenius norm of each pair block, gap states included.
  const T* couplings = params + kPottsStates * static_cast<std::size_t>(sites);
#pragma omp parallel for schedule(dynamic, 8)
  for (int j = 1; j < sites; ++j)
    for (int i = 0; i < j; ++i) {
      const T* block = couplings + kPottsBlock * pair_index(i, j);
      T sum = 0;
      for (int k = 0; k < kPottsBlock; ++k) sum += block[k] * block[k];
      coupling[i][j] = coupling[j][i] = std::sqrt(sum);
    }

  // Average product correction; without pairs, or with all scores 0, there
  // is no background to remove.
  if (num_of_pairs > 0) {
    std::vector<T> row_mean(sites, 0);
    T total = 0;
    for (int i = 0; i < sites; ++i) {
      for (int j = 0; j < sites; ++j) row_mean[i] += coupling[i][j];
      total += row_mean[i];
      row_mean[i] /= sites - 1;
    }
    const T mean = total / 2 / num_of_pairs;
    if (mean > 0) {
#pragma omp parallel for schedule(static)
      for (int i = 0; i < sites; ++i)
        for (int j = 0; j < sites; ++j)
          if (i != j) coupling[i][j] -= row_mean[i] * row_mean[j] / mean;
    }
  }

  coupling_full = create_mtx_malloc<T>(num_of_site, num_of_site);
  full_sites_ = num_of_site;
#pragma omp parallel for schedule(static)
  for (int i = 0; i < sites; ++i)
    for (int j = 0; j < sites; ++j) coupling_full[site_list[i]][site_list[j]] = coupling[i][j];

  const std::string base = prefix + "_" + "amino_acid_coupling";
  const std::vector<std::string> labels = selected_site_labels();
  std::vector<std::string> header = labels;
  header.insert(header.begin(), "Coupling");
  write_matrix_w_index<T>(base, coupling, sites, sites, header, labels);
  if (report)
    append_record_block(prefix + ".log", "1-1-1-0", "Evolutionary couplings of amino acids ",
                        std::string("Inferred evolutionary couplings between pairwise amino acids. ") +
                            aa_property_note,
                        base);
  if (chart) chart_evolutionary_couplings(base, coupling, sites, labels);
}

template <typename T>
std::vector<std::string> LSequence<T>::selected_site_labels() const {
  std::vector<std::string> out;
  if (site_list == nullptr) return out;
  // num_of_site keeps the number of trimmed sites before the selection.
  const std::vector<std::string> all = site_labels(num_of_site);
  out.reserve(num_of_trimmed_site);
  for (int k = 0; k < num_of_trimmed_site; ++k) out.push_back(all[site_list[k]]);
  return out;
}

template <typename T>
std::vector<int> LSequence<T>::selected_residue_numbers() const {
  std::vector<int> out;
  if (site_list == nullptr) return out;
  const std::vector<int> all = site_numbers(num_of_site);  // num_of_site: trimmed sites before the selection
  for (int k = 0; k < num_of_trimmed_site; ++k) out.push_back(all[site_list[k]]);
  return out;
}

template std::vector<std::string> LSequence<float>::selected_site_labels() const;
template std::vector<std::string> LSequence<double>::selected_site_labels() const;
template std::vector<int> LSequence<float>::selected_residue_numbers() const;
template std::vector<int> LSequence<double>::selected_residue_numbers() const;
template std::vector<float> read_eca_matrix_from_file<float>(const std::string&);
template std::vector<double> read_eca_matrix_from_file<double>(const std::string&);
template void LSequence<float>::calc_couplings(std::string, bool, std::string, std::string, bool);
template void LSequence<double>::calc_couplings(std::string, bool, std::string, std::string, bool);
template void LSequence<float>::calc_aa_prob_from_msa();
template void LSequence<double>::calc_aa_prob_from_msa();
template void LSequence<float>::optimize_coupling_parameters();
template void LSequence<double>::optimize_coupling_parameters();
template void LSequence<float>::print_fit_end() const;
template void LSequence<double>::print_fit_end() const;
template void LSequence<float>::sequence_potential_write();
template void LSequence<double>::sequence_potential_write();
template void LSequence<float>::calc_evolutionary_couplings(std::string, bool, bool);
template void LSequence<double>::calc_evolutionary_couplings(std::string, bool, bool);

}  // namespace tevo
