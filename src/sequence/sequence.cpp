// LSequence life cycle, alignment reading and writing, and the converters of
// outside search-tool output into alignment text.
#include "sequence/sequence.h"

#include <omp.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "protein/protein.h"   // Protein, read_pdb
#include "protein/residues.h"  // aa12idx, idx2aa
#include "sequence/residue_codes.h"
#include "sequence/numbered_lines.h"
#include "util/files.h"  // write_matrix_w_index, write_string
#include "util/console.h"
#include "util/numeric.h"  // free_mtx_malloc
#include "util/strings.h"

namespace tevo {

using seqio::fail;

std::string get_file_name(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const std::size_t dot = name.find_last_of('.');
  if (dot != std::string::npos) name.erase(dot);
  return name;
}

std::vector<int> read_first_chain_residue_numbers(const std::string& pdb_file) {
  {
    std::ifstream probe(pdb_file);
    if (!probe) {  // the structure reader would give an empty protein
      print_info(pdb_file, 5);
      std::exit(1);
    }
  }
  Protein<double> protein;
  protein.read_pdb(pdb_file, false, "", false);
  std::vector<int> numbers;
  if (protein.get_num_of_chains() == 0) return numbers;
  for (const AminoAcid<double>& residue : protein.chains[0].amino_acids) numbers.push_back(residue.get_index());
  return numbers;
}

template <typename T>
LSequence<T>::LSequence(std::string jobname_, std::string output_, int offset_)
    : jobname(std::move(jobname_)), output(std::move(output_)) {
  prefix = jobname + output;
  offset = offset_ == 0 ? 1 : offset_;
}

template <typename T>
LSequence<T>::~LSequence() {
  free_msa();
  free_trimmed();
  free_stats();
}

template <typename T>
void LSequence<T>::set_job_info(std::string jobname_, std::string output_) {
  jobname = std::move(jobname_);
  output = std::move(output_);
  prefix = jobname + output;
}

template <typename T>
void LSequence<T>::init(std::string pdb) {
  max_iter = 1000;
  num_of_aa = num_of_seq = num_of_trimmed_seq = num_of_valid_seq = 0;
  num_of_site = num_of_trimmed_site = 0;
  ref_seq.clear();
  trimmed_ref_seq.clear();
  free_msa();
  free_trimmed();
  free_stats();
  effective_samples = 0;
  temperature = 0;
  identity_cut = 0.95;
  threshold = 0;
  pdb_file = pdb;
  get_aa_idx_in_pdb();
}

template <typename T>
void LSequence<T>::get_aa_idx_in_pdb() {
  pdb_residue_numbers.clear();
  if (!pdb_file.empty()) pdb_residue_numbers = read_first_chain_residue_numbers(pdb_file);
}

template <typename T>
void LSequence<T>::free_msa() {
  if (msa != nullptr) {
    delete[] msa[0];
    delete[] msa;
    msa = nullptr;
  }
  msa_rows_ = 0;
}

template <typename T>
void LSequence<T>::free_trimmed() {
  if (trimmed_msa != nullptr) {
    delete[] trimmed_msa[0];
    delete[] trimmed_msa;
    trimmed_msa = nullptr;
  }
  trimmed_rows_ = 0;
  packed_.clear();
  packed_.shrink_to_fit();
  delete[] weights;
  weights = nullptr;
}

namespace {

template <typename T>
void free_rows(T**& m, int rows) {
  free_mtx_malloc(m, rows);
  m = nullptr;
}

}  // namespace

template <typename T>
void LSequence<T>::free_conservation() {
  free_rows(site_conservation, stats_sites_);
  free_rows(aa_relative_entropy, 20);
  stats_sites_ = 0;
}

template <typename T>
void LSequence<T>::free_stats() {
  free_conservation();
  free_rows(similarity, 100);
  free_couplings();
}

template <typename T>
void LSequence<T>::free_couplings() {
  selected_sites.clear();
  delete[] site_list;
  site_list = nullptr;
  delete[] params;
  params = nullptr;
  delete[] aa_freq;
  aa_freq = nullptr;
  delete[] pair_freq;
  pair_freq = nullptr;
  free_rows(coupling_full, full_sites_);
  free_rows(coupling, coupling_sites_);
  full_sites_ = coupling_sites_ = 0;
  num_of_pairs = num_of_params = 0;
}

template <typename T>
void LSequence<T>::finish() {
  seq_names.clear();
  sequences.clear();
  seq_map.clear();
  ref_columns.clear();
  site_map.clear();
  msa_idx.clear();
  free_msa();
  free_trimmed();
  free_stats();
}

template <typename T>
void LSequence<T>::read_fasta(std::string file) {
  fasta_name = get_file_name(file);
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    print_info(file, 5);
    std::exit(1);
  }
  std::string seq, line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '>') continue;
    seq += line;
    // Only as many characters as this line holds, from the start of the whole
    // string, are folded: the tail of a long sequence may stay lower case.
    const std::size_t n = line.size() < seq.size() ? line.size() : seq.size();
    for (std::size_t k = 0; k < n; ++k)
      seq[k] = static_cast<char>(std::toupper(static_cast<unsigned char>(seq[k])));
  }
  ref_seq = seq;
  num_of_aa = static_cast<int>(seq.size());
}

template <typename T>
void LSequence<T>::read_msa(std::string file, bool print_summary) {
  num_of_seq = 0;
  num_of_site = 0;
  seq_names.clear();
  sequences.clear();
  msa_idx.clear();
  free_msa();

  const std::vector<seqio::Line> lines = seqio::read_lines(file);
  const int8_t* code = residue_code_table();
  std::string text;
  bool open = false;
  auto close_record = [&]() {
    std::vector<int> idx(text.size());
    for (std::size_t k = 0; k < text.size(); ++k) {
      const int c = code[static_cast<unsigned char>(text[k])];
      if (c < 0) {  // no residue: a gap from here on
        text[k] = '-';
        idx[k] = 0;
      } else {
        idx[k] = c;
      }
    }
    sequences.push_back(std::move(text));
    msa_idx.push_back(std::move(idx));
    text.clear();
  };
  for (const seqio::Line& raw : lines) {
    std::string line = raw.text;
    trim_all(line);
    if (line.empty()) continue;
    if (line[0] == '>') {
      if (open) close_record();
      seq_names.push_back(line);
      open = true;
    } else {
      if (!open)
        fail(file + " line " + std::to_string(raw.number) +
             ": sequence text before the first \">\" name line");
      text += line;
    }
  }
  if (open) close_record();

  if (sequences.empty()) fail(file + " holds no sequence (no \">\" name line)");
  if (sequences[0].empty()) fail(file + ": the reference sequence " + seq_names[0] + " is empty");
  num_of_seq = static_cast<int>(sequences.size());
  num_of_site = static_cast<int>(sequences[0].size());
  for (int i = 1; i < num_of_seq; ++i)
    if (static_cast<int>(sequences[i].size()) < num_of_site)
      fail(file + ": sequence " + std::to_string(i + 1) + " " + seq_names[i] + " has " +
           std::to_string(sequences[i].size()) + " sites, fewer than the " + std::to_string(num_of_site) +
           " of the reference");
  ref_seq = sequences[0];
  num_of_aa = 0;
  for (char c : ref_seq)
    if (c != '-') ++num_of_aa;

  // One block for all rows; each thread copies its own contiguous rows.
  const int rows = num_of_seq, cols = num_of_site;
  msa = new int32_t*[rows];
  msa[0] = new int32_t[static_cast<std::size_t>(rows) * cols];
  for (int i = 1; i < rows; ++i) msa[i] = msa[0] + static_cast<std::size_t>(i) * cols;
  msa_rows_ = rows;
#pragma omp parallel
  {
    const int threads = omp_get_num_threads(), tid = omp_get_thread_num();
    const int share = rows / threads, extra = rows % threads;
    const int begin = tid * share + (tid < extra ? tid : extra);
    const int end = begin + share + (tid < extra ? 1 : 0);
    for (int i = begin; i < end; ++i) {
      const int* src = msa_idx[i].data();
      int32_t* dst = msa[i];
      for (int j = 0; j < cols; ++j) dst[j] = src[j];
    }
  }

  if (print_summary) {
    print_text("Loaded " + std::to_string(num_of_seq) + " sequences of " + std::to_string(num_of_site) +
               " sites from");
    print_text(file);
    std::string gapless;
    for (char c : ref_seq)
      if (c != '-') gapless += c;
    print_text("The reference sequence (" + std::to_string(gapless.size()) + " AA) is:");
    string_print(gapless, 60);
  }
}

template <typename T>
void LSequence<T>::sequence_write(std::string file) {
  if (sequences.empty()) fail("no sequence will be saved!");
  std::FILE* fp = std::fopen(file.c_str(), "wb");
  if (fp == nullptr) {
    print_info(file, 5);
    std::exit(1);
  }
  for (std::size_t i = 0; i < sequences.size(); ++i) {
    std::fprintf(fp, "%s\n", i < seq_names.size() ? seq_names[i].c_str() : "");
    std::fprintf(fp, "%s\n", sequences[i].c_str());
  }
  const bool bad = std::ferror(fp) != 0;
  if (std::fclose(fp) != 0 || bad) {
    print_info(file, 7);
    std::exit(1);
  }
}

template <typename T>
void LSequence<T>::is_sequence_valid() {
  std::vector<std::string> names, seqs;
  const int8_t* code = residue_code_table();
  for (int i = 0; i < num_of_trimmed_seq && i < static_cast<int>(sequences.size()); ++i) {
    const std::string& s = sequences[i];
    const int n = num_of_trimmed_site < static_cast<int>(s.size()) ? num_of_trimmed_site
                                                                   : static_cast<int>(s.size());
    int valid = 0;
    for (int k = 0; k < n; ++k)
      if (code[static_cast<unsigned char>(s[k])] >= 0) ++valid;
    if (valid == num_of_trimmed_site) {
      names.push_back(seq_names[i]);
      seqs.push_back(s);
    }
  }
  seq_names.swap(names);
  sequences.swap(seqs);
  num_of_trimmed_seq = static_cast<int>(sequences.size());
  num_of_trimmed_site = sequences.empty() ? 0 : static_cast<int>(sequences[0].size());
  num_of_valid_seq = num_of_trimmed_seq;
}

template <typename T>
void LSequence<T>::sequence2index(std::vector<int>& out, std::string& seq) {
  out.resize(seq.size());
  for (std::size_t k = 0; k < seq.size(); ++k) out[k] = aa12idx(seq[k]);
}

template <typename T>
void LSequence<T>::index2sequence(std::string& out, std::vector<int>& idx) {
  out.assign(idx.size(), ' ');
  for (std::size_t k = 0; k < idx.size(); ++k) {
    unsigned char c = ' ';
    idx2aa(&c, idx[k]);
    out[k] = static_cast<char>(c);
  }
}

template <typename T>
void LSequence<T>::jackhmmer2fasta(std::string file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    print_info(file, 5);
    std::exit(1);
  }
  seq_names.clear();
  sequences.clear();
  std::string line;
  long number = 0;
  while (std::getline(in, line)) {
    ++number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.size() < 4 || line[0] == '#') continue;
    const std::size_t blank = line.find(' ');
    if (blank == std::string::npos)
      fail(file + " line " + std::to_string(number) + ": no blank between name and sequence");
    const std::size_t start = line.find_first_not_of(' ', blank);
    seq_names.push_back(line.substr(0, blank));
    sequences.push_back(start == std::string::npos ? std::string() : line.substr(start));
  }
  num_of_seq = static_cast<int>(sequences.size());
  num_of_site = sequences.empty() ? 0 : static_cast<int>(sequences[0].size());
  sequence_write(prefix + ".a3m");
  seq_names.clear();
  sequences.clear();
  print_text("The converted MSA (" + std::to_string(num_of_seq) + " sequences with " +
             std::to_string(num_of_site) + " sites) can be found at:");
  print_text(prefix + ".a3m");
}

template <typename T>
void LSequence<T>::blast2fasta(std::string file) {
  seq_names.clear();
  sequences.clear();
  for (const seqio::Line& raw : seqio::read_lines(file)) {
    std::string line = raw.text;
    trim_all(line);
    std::vector<std::string> fields = string_split(line, '\t');
    if (fields.size() < 2)
      fail(file + " line " + std::to_string(raw.number) +
           ": expected two tab-separated fields (subject and aligned query)");
    str_replace(fields[1], "-", "");
    seq_names.push_back(fields[0]);
    sequences.push_back(fields[1]);
  }
  num_of_seq = static_cast<int>(sequences.size());
  sequence_write(prefix + "_blast.a3m");
  seq_names.clear();
  sequences.clear();
  print_text("The converted MSA (" + std::to_string(num_of_seq) + " sequences) can be found at:");
  print_text(prefix + "_blast.a3m");
}

template <typename T>
void LSequence<T>::a3m_to_a2m(std::string file) {
  seq_names.clear();
  sequences.clear();
  for (const seqio::Line& raw : seqio::read_lines(file)) {
    std::vector<std::string> fields = string_split(raw.text, ' ');
    if (fields.size() < 2)
      fail(file + " line " + std::to_string(raw.number) +
           ": expected a name and a sequence separated by a blank");
    seq_names.push_back(fields[0]);
    sequences.push_back(fields[1]);
  }
  num_of_seq = static_cast<int>(sequences.size());
  num_of_site = sequences.empty() ? 0 : static_cast<int>(sequences[0].size());
  sequence_write(prefix + ".a2m");
  seq_names.clear();
  sequences.clear();
  // The message names "_msa.a2m" although the file written is ".a2m".
  print_text("The converted MSA (" + std::to_string(num_of_seq) + " sequences with " +
             std::to_string(num_of_site) + " sites) can be found at:");
  print_text(prefix + "_msa.a2m");
}

template class LSequence<float>;
template class LSequence<double>;

}  // namespace tevo
