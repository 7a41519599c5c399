// LSequence life cycle, alignment reading and writing, and the converters of
// outside search-tool output into alignment text.
#include "sequence/sequence.h"

#include <omp.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

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

bool is_insert_format(const std::string& file) {
  std::string name = file;
  for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  auto ends_with = [&](const char* tail) {
    const std::size_t n = std::strlen(tail);
    return name.size() >= n && name.compare(name.size() - n, n, tail) == 0;
  };
  if (ends_with(".gz")) name.resize(name.size() - 3);
  return ends_with(".a2m") || ends_with(".a3m");
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
  pdb_chains.clear();
  pdb_chain.clear();
  pdb_residue_numbers.clear();
  if (pdb_file.empty()) return;
  pdb_chains = read_pdb_chains(pdb_file);
  if (pdb_chains.empty()) fail(pdb_file + ": no chain found (no ATOM record)");
  pdb_chain = pdb_chains[0].name;
  pdb_residue_numbers = pdb_chains[0].numbers;
}

template <typename T>
void LSequence<T>::map_reference_on_structure() {
  if (pdb_file.empty()) return;
  if (pdb_chains.empty()) get_aa_idx_in_pdb();
  std::string reference;
  for (char c : ref_seq)
    if (c != '-') reference += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (reference.empty()) return;  // nothing to place; the trim stops on it
  const ChainMatch match = pick_chain(reference, pdb_chains, chain);
  if (match.chain < 0) {
    std::string names;
    for (const PdbChain& c : pdb_chains)
      if (names.find(c.name) == std::string::npos) names += (names.empty() ? "" : ", ") + c.name;
    fail(pdb_file + " has no chain " + chain + " (its chains: " + names + ")");
  }
  pdb_chain = pdb_chains[match.chain].name;
  pdb_residue_numbers = match.numbers;
  const std::string facts = std::to_string(match.aligned) + " of " + std::to_string(reference.size()) +
                            " reference residues aligned, " + num2string(100 * match.identity(), 1) +
                            "% identical";
  print_text("The reference maps on chain " + pdb_chain + " of " + pdb_file + " (" + facts + ")");
  // The reference should be the structure's own sequence: anything less
  // means that labels and views follow a loose alignment.
  if (match.identity() < 0.9 || 2 * match.aligned < static_cast<int>(reference.size()))
    seqio::warn("chain " + pdb_chain + " matches the reference poorly (" + facts +
                "); residue numbers follow this alignment. Is the reference the structure's protein? " +
                "-chain picks a chain");
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
  std::string seq;
  for (seqio::Line& raw : seqio::read_lines(file, true)) {
    std::string& line = raw.text;
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

  std::vector<std::string> records;
  for (const seqio::Line& raw : seqio::read_lines(file)) {
    std::string line = raw.text;
    trim_all(line);
    if (line.empty()) continue;
    if (line[0] == '>') {
      seq_names.push_back(line);
      records.emplace_back();
    } else {
      if (records.empty())
        fail(file + " line " + std::to_string(raw.number) + ": sequence text before the first \">\" name line");
      records.back() += line;
    }
  }
  if (records.empty()) fail(file + " holds no sequence (no \">\" name line)");

  // A2M/A3M rows carry their insert states as lower-case letters and '.',
  // which makes them longer than the match columns: only those go.
  bool ragged = false;
  for (const std::string& r : records) ragged = ragged || r.size() != records[0].size();
  const bool inserts = ragged && is_insert_format(file);
  read_inserts = inserts;
  if (inserts)
    for (std::string& r : records)
      r.erase(std::remove_if(r.begin(), r.end(),
                             [](char c) { return c == '.' || std::islower(static_cast<unsigned char>(c)); }),
              r.end());

  // Every letter outside the alphabet becomes a gap.
  const int8_t* code = residue_code_table();
  for (std::string& text : records) {
    std::vector<int> idx(text.size());
    for (std::size_t k = 0; k < text.size(); ++k) {
      const int c = code[static_cast<unsigned char>(text[k])];
      if (c < 0) text[k] = '-';
      idx[k] = c < 0 ? 0 : c;
    }
    sequences.push_back(std::move(text));
    msa_idx.push_back(std::move(idx));
  }

  if (sequences[0].empty()) fail(file + ": the reference sequence " + seq_names[0] + " is empty");
  num_of_seq = static_cast<int>(sequences.size());
  num_of_site = static_cast<int>(sequences[0].size());
  for (int i = 1; i < num_of_seq; ++i) {
    const int length = static_cast<int>(sequences[i].size());
    if (length == num_of_site) continue;
    fail(file + ": sequence " + std::to_string(i + 1) + " " + seq_names[i] + " has " + std::to_string(length) +
         " sites, " + (length < num_of_site ? "fewer" : "more") + " than the " + std::to_string(num_of_site) +
         " of the reference" +
         (inserts ? " once its inserts are left out"
                  : length > num_of_site ? "; rows of an alignment have one length (A2M/A3M insert letters are "
                                           "read as such in files named .a2m or .a3m)"
                                         : ""));
  }
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
  const std::vector<seqio::Line> lines = seqio::read_lines(file, true);
  seq_names.clear();
  sequences.clear();
  // Records are not joined across blocks, so a name that comes back after a
  // blank line (a Stockholm file in blocks) would split its sequence.
  std::map<std::string, std::pair<int, long>> first_seen;  // block and line
  int block = 0;
  bool block_open = false;
  for (seqio::Line raw : lines) {
    std::string& line = raw.text;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.find_first_not_of(" \t") == std::string::npos || line.compare(0, 2, "//") == 0) {
      block += block_open;
      block_open = false;
    }
    if (line.size() < 4 || line[0] == '#') continue;
    const std::size_t blank = line.find(' ');
    if (blank == std::string::npos)
      fail(file + " line " + std::to_string(raw.number) + ": no blank between name and sequence");
    const std::size_t start = line.find_first_not_of(' ', blank);
    const std::string name = line.substr(0, blank);
    const auto seen = first_seen.emplace(name, std::make_pair(block, raw.number)).first->second;
    if (seen.first != block)
      fail(file + " line " + std::to_string(raw.number) + ": " + name + " already stands in an earlier block (line " +
           std::to_string(seen.second) +
           "): the alignment is split into blocks, which this converter does not join. Write it with one line "
           "per sequence first (Pfam format, e.g. esl-reformat pfam " + file + ")");
    block_open = true;
    seq_names.push_back(name);
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
