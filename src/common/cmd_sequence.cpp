// Commands of the alignment subsystem: format conversion, trimming and the
// statistics of a trimmed alignment. The worker is LSequence<double>, built
// with the job directory as its first argument so that every file it writes
// starts with <job directory><jobname>, beside the job record.
#include "common/commands.h"
#include "common/registry.h"
#include "common/wrapper.h"
#include "sequence/sequence.h"
#include "tevo.h"
#include "util/console.h"
#include "util/strings.h"

namespace tevo {

namespace {

void converter_usage() {
  print_info("", 21);
  print_text("tevo sequence_convertor -type <INT> -msa <STRING> -output <STRING|optional>", kGreen);
  print_info("", 31);
  print_text("-type  <INT>: 1 for jackhmmer output, 2 for PSIBLAST output", kGreen);
}

}  // namespace

int sequence_converter() {
  const int type = FLAGS_type;
  const bool known = type >= 1 && type <= 3;
  if (!FLAGS_msa.empty() && known) {
    print_invocation("sequence_convertor", {{"jobname", FLAGS_jobname},
                                            {"type", num2string(type, 0)},
                                            {"msa", FLAGS_msa}});
    LSequence<double> seq(FLAGS_output, FLAGS_jobname, 1);
    if (type == 1) {
      seq.jackhmmer2fasta(FLAGS_msa);
    } else if (type == 2) {
      print_info("please align them before using them as input of tevo", 11);
      seq.blast2fasta(FLAGS_msa);
    } else {
      seq.a3m_to_a2m(FLAGS_msa);
    }
    seq.finish();
    reval = 0;
    return reval;
  }
  if (FLAGS_msa.empty()) {
    if (!known) {
      print_info("", 2);
      print_info("jackhmmer/psi-blast output sequence file", 4);
      print_info("which type?", 9);
    } else if (type == 1) {
      print_info("", 1);
      print_info("jackhmmer output sequence file", 4);
      print_info("Note: please use HMMER jackhmmer to get the alignment!", 11);
      print_info("jackhmmer -E 0.01 --popen 0.25 --pextend 0.4 -A <OUTPUT.sto> <QUERY_SEQUENCE> <DATABASE>",
                 11);
    } else if (type == 2) {
      print_info("", 1);
      print_info("blast output sequence file", 4);
      print_info("Note: please use NCBI-BLAST to get the alignment!", 11);
      print_info("psiblast -db <NR_DATABASE> -outfmt '6 sseqid qseq' -out <OUTPUT.blast> <QUERY_SEQUENCE>",
                 11);
    } else {
      print_info("", 1);
    }
  } else {
    print_info("", 1);
    print_info("which type?", 9);
  }
  converter_usage();
  reval = -1;
  return reval;
}

int sequence_trim() {
  if (FLAGS_msa.empty())
    return refuse("multiple sequence alignment (MSA) file",
                  {"tevo sequence_trim -msa <STRING> -output <STRING|optional>",
                   {"-threads  <INT>", "-gap_frac <DOUBLE> percentage of gaps in each sequence",
                    "-site_gap_frac <DOUBLE> percentage of gaps at each site of aligned sequences",
                    "-offset   <STRING> offeset for amino acid index"},
                   true});
  print_invocation("sequence_trim", {{"jobname", FLAGS_jobname},
                                     {"msa", FLAGS_msa},
                                     {"gap_frac", num2string(FLAGS_gap_frac)},
                                     {"site_gap_frac", num2string(FLAGS_site_gap_frac)}});
  LSequence<double> seq(FLAGS_output, FLAGS_jobname, FLAGS_offset);
  seq.init(FLAGS_pdb);
  seq.set_chain(FLAGS_chain);
  seq.set_gap_frac(FLAGS_gap_frac);
  seq.set_site_gap_frac(FLAGS_site_gap_frac);
  seq.sequence_trim(FLAGS_msa, FLAGS_pdb, false, false);
  seq.finish();
  reval = 0;
  return reval;
}

int sequence_stats() {
  if (FLAGS_msa.empty())
    return refuse("multiple sequence alignment (MSA) file",
                  {"tevo sequence_stats -msa <STRING>' -output <STRING|optional>",
                   {"-threads  <INT>", "-pdb      <STRING>",
                    "-gap_frac <DOUBLE> percentage of gaps in each sequence",
                    "-site_gap_frac <DOUBLE> percentage of gaps at each site of aligned sequences",
                    "-offset   <STRING> offeset for amino acid index"},
                   true});
  std::vector<std::pair<std::string, std::string>> shown = {
      {"jobname", FLAGS_jobname}, {"threads", num2string(FLAGS_threads, 0)}, {"msa", FLAGS_msa}};
  if (!FLAGS_pdb.empty()) shown.push_back({"pdb", FLAGS_pdb});
  shown.push_back({"gap_frac", num2string(FLAGS_gap_frac)});
  shown.push_back({"site_gap_frac", num2string(FLAGS_site_gap_frac)});
  print_invocation("sequence_stats", shown);
  LSequence<double> seq(FLAGS_output, FLAGS_jobname, FLAGS_offset);
  seq.init(FLAGS_pdb);
  seq.set_chain(FLAGS_chain);
  seq.set_gap_frac(FLAGS_gap_frac);
  seq.set_site_gap_frac(FLAGS_site_gap_frac);
  seq.sequence_trim(FLAGS_msa, FLAGS_pdb, true, false);
  seq.calc_sequence_similarity(FLAGS_msa, 1000);
  seq.calc_site_conservation();
  seq.sequence_reweight(0.2, 1.0);
  seq.finish();
  reval = 0;
  return reval;
}

int sequence_eca() {
  if (FLAGS_msa.empty())
    return refuse("multiple sequence alignment (MSA) file",
                  {"tevo sequence_eca -msa <string> -output <string>",
                   {"-threads  <INT>", "-max_iter <INT>", "-pdb      <STRING>", "-mat      <STRING>",
                    "-gap_frac <DOUBLE> percentage of gaps in each sequence",
                    "-site_gap_frac <DOUBLE> percentage of gaps at each site of aligned sequences",
                    "-threshold <DOUBLE> degree of conservation at a site",
                    "-offset   <STRING> offeset for amino acid index"},
                   true});
  if (FLAGS_pdb.empty()) {
    print_info("no protein tertiary structure for mapping estimated residue communities!", 11);
    print_info("", 21);
  }
  std::vector<std::pair<std::string, std::string>> shown = {
      {"jobname", FLAGS_jobname},
      {"threads", num2string(FLAGS_threads, 0)},
      {"max_iter", num2string(FLAGS_max_iter, 0)},
      {"threshold", num2string(FLAGS_threshold)},
      {"gap_frac", num2string(FLAGS_gap_frac)},
      {"site_gap_frac", num2string(FLAGS_site_gap_frac)},
      {"offset", num2string(FLAGS_offset, 0)},
      {"msa", FLAGS_msa}};
  if (!FLAGS_pdb.empty()) shown.push_back({"pdb", FLAGS_pdb});
  if (!FLAGS_mat.empty()) shown.push_back({"mat", FLAGS_mat});
  shown.push_back({"output", FLAGS_output});
  print_invocation("sequence_eca", shown);
  LSequence<double> seq(FLAGS_output, FLAGS_jobname, FLAGS_offset);
  seq.init(FLAGS_pdb);
  seq.set_chain(FLAGS_chain);
  seq.set_max_iter(FLAGS_max_iter);
  seq.set_gap_frac(FLAGS_gap_frac);
  seq.set_site_gap_frac(FLAGS_site_gap_frac);
  seq.set_threshold(FLAGS_threshold);
  seq.calc_couplings(FLAGS_msa, true, FLAGS_pdb, FLAGS_mat, true);
  seq.finish();
  reval = 0;
  return reval;
}

}  // namespace tevo
