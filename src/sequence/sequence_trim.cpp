// Trimming an alignment to the columns of its reference, the sequence and
// site gap filters, and the sequence weights that correct for redundancy.
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "sequence/residue_codes.h"
#include "sequence/sequence.h"
#include "sequence/sequence_charts.h"
#include "sequence/numbered_lines.h"
#include "sequence/row_pairs.h"
#include "util/files.h"  // write_matrix_w_index, write_string
#include "util/console.h"
#include "util/strings.h"

namespace tevo {

using seqio::fail;

template <typename T>
void LSequence<T>::sequence_trim(std::string msa_file, std::string pdb, bool report, bool) {
  (void)pdb;  // the structure, if any, was read by init
  read_msa(msa_file, report);
  if (read_inserts)
    print_text("Read " + msa_file + " as A2M/A3M: its lower-case letters and '.' are inserts and are left out");
  map_reference_on_structure();
  print_info("Trimming the sequences", 32, ' ');
  std::fflush(stdout);

  const std::string ref = sequences[0];
  std::vector<int> columns;
  std::string gapless;
  for (int j = 0; j < static_cast<int>(ref.size()); ++j)
    if (ref[j] != '-') {
      columns.push_back(j);
      gapless += ref[j];
    }
  // A reference of gaps only leaves no column: every sequence goes, and
  // sequence_write below ends the run.
  if (columns.empty()) {
    std::printf("\n");
    seqio::warn(msa_file + ": the reference sequence " + seq_names[0] + " has no residue, so no column is kept");
  }
  num_of_site = static_cast<int>(columns.size());
  ref_columns.clear();
  ref_columns.reserve(columns.size() * sequences.size());
  for (std::string& s : sequences) {
    std::string projected(columns.size(), '-');
    for (std::size_t k = 0; k < columns.size(); ++k)
      projected[k] = static_cast<char>(std::toupper(static_cast<unsigned char>(s[columns[k]])));
    ref_columns.insert(ref_columns.end(), columns.begin(), columns.end());
    s.swap(projected);
  }
  ref_seq = gapless;

  sequence_filter_seqs(gap_frac);
  sequence_filter_site_gaps(site_gap_frac);
  num_of_trimmed_seq = static_cast<int>(sequences.size());
  num_of_trimmed_site = sequences.empty() ? 0 : static_cast<int>(sequences[0].size());
  trimmed_ref_seq = sequences.empty() ? std::string() : sequences[0];
  is_sequence_valid();

  const std::string base = prefix + "_" + "msa_trimmed";
  if (!sequences.empty() && num_of_trimmed_site == 0) {  // rows of no site are no sequences
    std::printf("\n");
    seqio::warn("no site of " + msa_file + " is left after trimming (site_gap_frac " + num2string(site_gap_frac, 3) +
                ")");
    sequences.clear();
  }
  sequence_write(base + ".a3m");  // no survivor ends the run here

  free_msa();
  free_trimmed();
  const int rows = num_of_trimmed_seq, cols = num_of_trimmed_site;
  trimmed_msa = new int32_t*[rows];
  trimmed_msa[0] = new int32_t[static_cast<std::size_t>(rows) * cols];
  for (int i = 1; i < rows; ++i) trimmed_msa[i] = trimmed_msa[0] + static_cast<std::size_t>(i) * cols;
  trimmed_rows_ = rows;
  const int8_t* code = residue_code_table();
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < cols; ++j) trimmed_msa[i][j] = code[static_cast<unsigned char>(sequences[i][j])];
  pack_trimmed();

  std::printf("done\n");
  print_text("Got " + std::to_string(rows) + " trimmed sequences of " + std::to_string(cols) + " sites");
  const long residues = std::count_if(trimmed_ref_seq.begin(), trimmed_ref_seq.end(),
                                      [](char c) { return c != '-'; });
  print_text("The trimmed reference sequence (" + std::to_string(residues) + " AA) is:");
  string_print(trimmed_ref_seq, 60);

  std::vector<std::string> header = site_labels();
  header.insert(header.begin(), " ");
  std::vector<std::string> row_labels(rows);
  for (int i = 0; i < rows; ++i) row_labels[i] = "seq" + std::to_string(i + 1);
  write_matrix_w_index<int>(base, trimmed_msa, rows, cols, header, row_labels, ",", ".csv", "i", 0);

  if (report)
    write_string(prefix + ".log",
                        std::string("1-1-1-1\n") + "Multiple sequence alignment\n" +
                            "Multiple sequence alignment. " + "Small nonpolar: G, A, S, T, " +
                            "hydrophobic: C, V, I, L, P, F, Y, M, W, " + "polar: N, Q, H, " +
                            "negatively charged: D, E, and " + "positively charged: K, R.\n" + base + "\n",
                        "a+");
  header.erase(header.begin());
  chart_trimmed_alignment(base, trimmed_msa, rows, cols, header);
}

template <typename T>
std::vector<std::string> LSequence<T>::site_labels() const {
  return site_labels(num_of_trimmed_site);
}

template <typename T>
std::vector<int> LSequence<T>::site_numbers(int sites) const {
  std::vector<int> numbers(sites);
  const int first = offset == 0 ? 1 : offset;
  if (pdb_file.empty()) {
    for (int i = 0; i < sites; ++i) numbers[i] = first + i;
    return numbers;
  }
  // Trimmed site i is the i-th reference residue that the site filter kept.
  int i = 0;
  for (std::size_t r = 0; r < pdb_residue_numbers.size() && i < sites; ++r)
    if (site_map.empty() || (r < site_map.size() && site_map[r] >= 0)) numbers[i++] = pdb_residue_numbers[r];
  for (; i < sites; ++i) numbers[i] = (i > 0 ? numbers[i - 1] : first - 1) + 1;  // past the reference
  return numbers;
}

template <typename T>
std::vector<std::string> LSequence<T>::site_labels(int sites) const {
  const std::vector<int> numbers = site_numbers(sites);
  std::vector<std::string> labels(sites);
  for (int i = 0; i < sites; ++i) {
    const char letter = i < static_cast<int>(trimmed_ref_seq.size()) ? trimmed_ref_seq[i] : '-';
    labels[i] = std::string(1, letter) + std::to_string(numbers[i]);
  }
  return labels;
}

template <typename T>
void LSequence<T>::sequence_filter_seqs(T bound) {
  seq_map.clear();
  if (sequences.empty()) return;
  const std::size_t length = sequences[0].size();
  std::vector<std::string> names, seqs;
  for (std::size_t i = 0; i < sequences.size(); ++i) {
    const std::string& s = sequences[i];
    const std::size_t n = std::min(length, s.size());
    const long gaps = std::count(s.begin(), s.begin() + static_cast<long>(n), '-');
    // With no site the fraction is 0/0, which no bound meets.
    if (length > 0 && bound >= static_cast<T>(gaps) / static_cast<T>(length)) {
      seq_map.push_back(static_cast<int>(i));
      names.push_back(i < seq_names.size() ? seq_names[i] : std::string());
      seqs.push_back(s);
    } else {
      seq_map.push_back(-1);
    }
  }
  seq_names.swap(names);
  sequences.swap(seqs);
}

template <typename T>
void LSequence<T>::sequence_filter_site_gaps(T bound) {
  site_map.clear();
  if (sequences.empty()) return;
  const std::size_t length = sequences[0].size();
  const std::size_t n = sequences.size();
  std::vector<int> gaps(length, 0);
  for (const std::string& s : sequences) {
    const std::size_t m = std::min(length, s.size());
    for (std::size_t j = 0; j < m; ++j) gaps[j] += s[j] == '-';
  }
  std::vector<std::size_t> kept;
  for (std::size_t j = 0; j < length; ++j) {
    if (bound >= static_cast<T>(gaps[j]) / static_cast<T>(n)) {
      site_map.push_back(static_cast<int>(j));
      kept.push_back(j);
    } else {
      site_map.push_back(-1);
    }
  }
  if (kept.size() == length) return;
  for (std::string& s : sequences) {
    std::string out(kept.size(), '-');
    for (std::size_t k = 0; k < kept.size(); ++k) out[k] = kept[k] < s.size() ? s[kept[k]] : '-';
    s.swap(out);
  }
}

template <typename T>
void LSequence<T>::pack_trimmed() {
  const int rows = num_of_trimmed_seq, cols = num_of_trimmed_site;
  stride_ = (cols + 31) / 32 * 32;
  packed_.assign(static_cast<std::size_t>(rows) * stride_, 0xFF);
  for (int i = 0; i < rows; ++i) {
    uint8_t* row = packed_.data() + static_cast<std::size_t>(i) * stride_;
    for (int j = 0; j < cols; ++j) row[j] = static_cast<uint8_t>(trimmed_msa[i][j]);
  }
}

template <typename T>
int LSequence<T>::need_sites(T theta) const {
  // Smallest whole count c with c >= (1 - theta) * sites, in T as the bound is.
  const T bound = (1 - theta) * static_cast<T>(num_of_trimmed_site);
  int need = static_cast<int>(std::ceil(bound));
  while (need > 0 && static_cast<T>(need - 1) >= bound) --need;
  while (static_cast<T>(need) < bound) ++need;
  return need;
}

template <typename T>
void LSequence<T>::sequence_reweight(T theta, T sample) {
  print_info("Re-weighting the sequences", 32, ' ');
  std::fflush(stdout);
  const int n = num_of_trimmed_seq;
  delete[] weights;
  weights = new T[n > 0 ? n : 1];
  for (int i = 0; i < n; ++i) weights[i] = 1.0;
  if (!(theta >= 0 && theta <= 1)) {
    std::printf("\n");
    fail("\\theta is not in [0, 1]. Will not reweight any sequences!");
  }
  if (packed_.size() != static_cast<std::size_t>(n) * stride_) pack_trimmed();

  // Neighbours: the identity test is symmetric, so each unordered pair is
  // tested once and counted for both rows.
  const int stride = stride_;
  const int need = need_sites(theta) + (stride - num_of_trimmed_site);  // padding always agrees
  const uint8_t* packed = packed_.data();
  std::vector<long> neighbours(n, 0);
#pragma omp parallel
  {
    std::vector<long> local(n, 0);
    std::vector<uint8_t> hit(kRowPairRun);
    for_each_row_pair_run(n, [&](int i, int j0, int m) {
      const int hits = rows_at_least(packed + static_cast<std::size_t>(i) * stride,
                                     packed + static_cast<std::size_t>(j0) * stride, m, stride, need, hit.data());
      if (hits == 0) return;
      local[i] += hits;
      for (int j = 0; j < m; ++j) local[j0 + j] += hit[j];
    });
#pragma omp critical
    for (int i = 0; i < n; ++i) neighbours[i] += local[i];
  }
#pragma omp parallel for schedule(static)
  for (int i = 0; i < n; ++i) {
    weights[i] = 1 + static_cast<T>(neighbours[i]);
    weights[i] = 1 / weights[i] * sample;
  }
  // Summed in row order on one thread: the total is the same for any team size.
  T sum = 0;
  for (int i = 0; i < n; ++i) sum += weights[i];
  effective_samples = sum;

  std::printf("done\n");
  const std::string share = num2string(static_cast<T>((1 - theta) * 100), 1);
  print_text("Got " + num2string(sum, 1) + " effective samples (" + share +
             "% identical neighborhood = " + num2string(sample, 1) + " sample)");
  const T q = num_of_aa > 0 ? sum / static_cast<T>(num_of_aa) : 0;
  std::string word, span;
  if (q > 5) {
    word = "very good ";
    span = "<span style=\"color:#00cc00\">very good quality</span>";
  } else if (q >= 1) {
    word = "good ";
    span = "<span style=\"color:#00cc00\">good quality</span>";
  } else {
    word = "not good ";
    span = "<span style=\"color:red\">not good quality</span>";
  }
  print_text("The quality of the obtained samples is " + word + "(" + num2string(q, 3) + ")");
  write_string(prefix + ".log",
                      "#WLA#\n<b>MSA (effective)</b>: " + num2string(sum, 1) + " samples (" + share +
                          "% identical neighborhood = " + num2string(sample, 1) + " sample)\n" +
                          "<b>MSA (" + span + ")</b>: " + num2string(q, 3) +
                          " (> 5: very good; > 1 && < 5: good; < 1: not good)\n",
                      "a+");
}

template void LSequence<float>::sequence_trim(std::string, std::string, bool, bool);
template void LSequence<double>::sequence_trim(std::string, std::string, bool, bool);
template std::vector<std::string> LSequence<float>::site_labels() const;
template std::vector<std::string> LSequence<double>::site_labels() const;
template std::vector<int> LSequence<float>::site_numbers(int) const;
template std::vector<int> LSequence<double>::site_numbers(int) const;
template std::vector<std::string> LSequence<float>::site_labels(int) const;
template std::vector<std::string> LSequence<double>::site_labels(int) const;
template void LSequence<float>::sequence_filter_seqs(float);
template void LSequence<double>::sequence_filter_seqs(double);
template void LSequence<float>::sequence_filter_site_gaps(float);
template void LSequence<double>::sequence_filter_site_gaps(double);
template void LSequence<float>::pack_trimmed();
template void LSequence<double>::pack_trimmed();
template int LSequence<float>::need_sites(float) const;
template int LSequence<double>::need_sites(double) const;
template void LSequence<float>::sequence_reweight(float, float);
template void LSequence<double>::sequence_reweight(double, double);

}  // namespace tevo
