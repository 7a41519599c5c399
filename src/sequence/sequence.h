// LSequence: one multiple sequence alignment with its trimmed form, sequence
// weights and site statistics; the readers, writers and format converters of
// alignment text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sequence/structure_map.h"  // PdbChain
#include "util/random.h"  // MT19937

namespace tevo {

// Stem of a path: the part behind the last "/" or "\", cut at its last ".".
std::string get_file_name(const std::string& path);

// Whether `file` is named as A2M or A3M text (".a2m", ".a3m", also with ".gz"),
// whose lower-case letters and '.' are insert states.
bool is_insert_format(const std::string& file);

// Number of sites at which two byte rows agree, over n bytes.
int count_equal_sites(const uint8_t* a, const uint8_t* b, int n);

// Whether rows a and b agree at `need` sites or more out of n; stops as soon
// as the answer is known.
bool has_identity_at_least(const uint8_t* a, const uint8_t* b, int n, int need);

// Row a against the m rows b, b + stride, ...: hit[j] = 1 where the two agree
// at `need` sites or more. Returns the number of hits. stride: bytes per row.
int rows_at_least(const uint8_t* a, const uint8_t* b, int m, int stride, int need, uint8_t* hit);

// Row a against the m rows b, b + stride, ...: equal[j] = sites that agree.
void rows_equal(const uint8_t* a, const uint8_t* b, int m, int stride, int* equal);

template <typename T>
class LSequence {
 public:
  LSequence(std::string jobname, std::string output, int offset);
  ~LSequence();
  LSequence(const LSequence&) = delete;
  LSequence& operator=(const LSequence&) = delete;

  void init(std::string pdb_file);
  void set_job_info(std::string jobname, std::string output);
  void set_seed(MT19937<T>* seed) { rng = seed; }
  void set_max_iter(int n) { max_iter = n; }
  void set_gap_frac(T v) { gap_frac = v; }
  void set_site_gap_frac(T v) { site_gap_frac = v; }
  void set_temperature(T v) { temperature = v; }
  void set_threshold(T v) { threshold = v; }
  // Chain of the structure to map the reference on; empty: the best match.
  void set_chain(const std::string& name) { chain = name; }
  int get_num_of_seq() const { return num_of_seq; }
  int get_num_of_aa() const { return num_of_aa; }
  int get_num_of_site() const { return num_of_site; }
  int get_num_of_amino_acids() const { return num_of_aa; }
  std::string get_ref_seq() const { return ref_seq; }

  // Alignment text in and out.
  void read_fasta(std::string file);
  void read_msa(std::string file, bool print_summary);
  void sequence_write(std::string file);
  void is_sequence_valid();
  void sequence2index(std::vector<int>& out, std::string& seq);
  void index2sequence(std::string& out, std::vector<int>& idx);

  // Converters of outside search-tool output.
  void jackhmmer2fasta(std::string file);
  void blast2fasta(std::string file);
  void a3m_to_a2m(std::string file);

  // Trimming and reweighting.
  void sequence_trim(std::string msa_file, std::string pdb, bool report, bool spare_flag);
  void sequence_filter_seqs(T gap_frac_bound);
  void sequence_filter_site_gaps(T site_gap_frac_bound);
  void sequence_reweight(T theta, T sample);

  // Site statistics.
  void sequence_entropy(T& result, std::vector<T> p, std::vector<T> q, T alpha);
  void calc_site_conservation();
  void calc_sequence_similarity(std::string msa_file, int spare);

  // Coupling analysis: a pairwise Potts model fitted by pseudo-likelihood,
  // pair scores with the average product correction, residue communities.
  void calc_couplings(std::string msa, bool communities, std::string pdb, std::string mat, bool select_sites);
  void calc_aa_prob_from_msa();
  void optimize_coupling_parameters();
  // The objective of the fit; data points to a PottsData<T>.
  static T plm_negative_log_posterior(int n, const T* x, T* g, void* data);
  void sequence_potential_write();
  // The closing line of a fit: converged, stopped at max_iter or earlier, and the final objective.
  void print_fit_end() const;
  void calc_evolutionary_couplings(std::string name, bool chart, bool report);
  // Communities from eigenvectors 2 and 4 of `coupling` (sets threshold to
  // 0.05); report: append the record blocks. Fewer than 4 selected sites or
  // no scores: a warning and nothing else. See docs/communities.md.
  void calc_residue_communities(std::string pdb, bool report);

  // Reads the chains of pdb_file; the residue numbers are those of the first
  // chain until map_reference_on_structure picks the chain of the reference.
  void get_aa_idx_in_pdb();
  // Aligns the gapless reference to the chains (or to `chain`), keeps the
  // best in pdb_chain and numbers every reference residue by it; warns when
  // the match is poor.
  void map_reference_on_structure();
  void finish();

  // Labels of the trimmed sites: residue letter + residue number.
  std::vector<std::string> site_labels() const;
  // The same for the first `sites` trimmed sites.
  std::vector<std::string> site_labels(int sites) const;
  // Label and residue number of each site of the coupling fit (site_list).
  std::vector<std::string> selected_site_labels() const;
  std::vector<int> selected_residue_numbers() const;
  // Residue number of each of the first `sites` trimmed sites: the structure's
  // number of the reference residue, or offset + site index without one.
  std::vector<int> site_numbers(int sites) const;
  // Replaces `coupling` by a copy of m ([L][L]) owned by this object and
  // freed with the others; for callers that have scores from elsewhere.
  void set_coupling_matrix(const T* const* m, int L);

  // ---- Fields (public, read by the commands and tests) ----
  std::string jobname;   // job directory prefix
  std::string output;    // output name
  std::string prefix;    // jobname + output: start of every written file
  std::string fasta_name;
  std::string pdb_file;
  int max_iter = 2000;
  int num_of_aa = 0;
  int num_of_seq = 0;
  int num_of_trimmed_seq = 0;
  int num_of_valid_seq = 0;
  int num_of_site = 0;
  int num_of_trimmed_site = 0;
  int offset = 1;
  std::string ref_seq;
  std::string trimmed_ref_seq;
  std::vector<std::string> seq_names;
  std::vector<std::string> sequences;
  std::vector<std::vector<int>> msa_idx;
  bool read_inserts = false;  // the last read_msa left out A2M/A3M insert states
  std::vector<int> seq_map;
  std::vector<int> ref_columns;
  std::vector<int> site_map;
  int32_t** msa = nullptr;          // [num_of_seq][num_of_site], owned, rows share one block
  int32_t** trimmed_msa = nullptr;  // [num_of_trimmed_seq][num_of_trimmed_site], owned
  T gap_frac = 0.2;
  T site_gap_frac = 1.0;
  T effective_samples = 0;
  T temperature = 1.0;
  T identity_cut = 0.99;
  T threshold = 0;
  T* weights = nullptr;  // [num_of_trimmed_seq], owned

  // Filled by calc_site_conservation.
  T** site_conservation = nullptr;    // [num_of_trimmed_site][2], owned
  T** aa_relative_entropy = nullptr;  // [20][num_of_trimmed_site], owned
  // Filled by calc_sequence_similarity: [100][2], owned.
  T** similarity = nullptr;

  std::string chain;                     // wanted chain (-chain); empty: the best match
  std::vector<PdbChain> pdb_chains;      // chains of pdb_file
  std::string pdb_chain;                 // the chain the reference is mapped on
  std::vector<int> pdb_residue_numbers;  // residue number of each reference residue

  // How the coupling fit ended: an end state of LBFGS and the final objective.
  int fit_status = -100;
  T fit_value = 0;

  // Filled by calc_couplings. L = num_of_trimmed_site once sites are selected;
  // site_list holds their indices among the trimmed sites before selection.
  std::vector<int> selected_sites;
  int32_t* site_list = nullptr;  // [L], owned
  int num_of_pairs = 0;
  int num_of_params = 0;
  T* params = nullptr;     // [num_of_params], owned; layout in potts.h
  T* aa_freq = nullptr;    // [21 L], owned
  T* pair_freq = nullptr;  // [441 num_of_pairs], owned
  T lambda_h = T(0.01);
  T lambda_j = T(100.0);
  T** coupling_full = nullptr;  // [num_of_site][num_of_site], owned
  T** coupling = nullptr;       // [L][L], owned
  MT19937<T>* rng = nullptr;             // not owned

 private:
  // trimmed_msa as bytes, one row every stride_ bytes (a multiple of 32; the
  // padding holds 0xFF in every row, so it always agrees): the pair loops' form.
  std::vector<uint8_t> packed_;
  int stride_ = 0;
  int msa_rows_ = 0;
  int trimmed_rows_ = 0;
  int stats_sites_ = 0;  // rows of site_conservation
  int full_sites_ = 0;   // rows of coupling_full
  int coupling_sites_ = 0;  // rows of coupling
  void free_couplings();
  void free_msa();
  void free_trimmed();
  void free_stats();
  void free_conservation();
  void pack_trimmed();
  int need_sites(T theta) const;
};

// Numbers separated by commas or blanks ("#" lines skipped), in reading
// order: the parameter file of the coupling fit.
template <typename T>
std::vector<T> read_eca_matrix_from_file(const std::string& file);

extern template class LSequence<float>;
extern template class LSequence<double>;

}  // namespace tevo
