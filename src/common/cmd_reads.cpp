// Commands on sequencing reads: conversion, statistics, filtering,
// correction, k-mers and translation.
#include "atgc/atgc.h"
#include "atgc/translate.h"
#include "common/commands.h"
#include "common/registry.h"
#include "common/wrapper.h"
#include "omics/kmer.h"
#include "omics/omics.h"
#include "tevo.h"
#include "util/console.h"
#include "util/files.h"  // define_output_file_name

namespace tevo {

int sff2fastq() {
  if (FLAGS_sff.empty())
    return refuse("SFF file", {"tevo sff2fastq -sff <STRING> -output <STRING|optional>", {}});
  // The invocation shows -fastx under the name -sff; kept as the program always printed it.
  print_invocation("sff2fastq", {{"sff", FLAGS_fastx}, {"output", FLAGS_output}});
  std::string fastq;
  define_output_file_name(fastq, FLAGS_sff, FLAGS_output, "sff_cvt.fastq");
  Omics<double> omics(FLAGS_output, FLAGS_jobname);
  omics.sff2fastq(FLAGS_sff, fastq, 1);
  reval = 0;
  return reval;
}

int atgc_stats() {
  if (FLAGS_fastx.empty())
    return refuse("FAST5 file", {"tevo atgc_stats -fastx <STRING> -type <INT> -output <STRING|optional>", {}});
  print_invocation("atgc_stats", {{"jobname", FLAGS_jobname}, {"fastx", FLAGS_fastx}, {"output", FLAGS_output}});
  ATGC<double> atgc(FLAGS_output, FLAGS_jobname);
  atgc.init();
  atgc.read_fastx(FLAGS_fastx);
  atgc.stats_report();
  reval = 0;
  return reval;
}

int atgc_quality() {
  const std::string& fastq = FLAGS_fastx;
  if (fastq.empty())
    return refuse("FASTQ file",
                  {"tevo atgc_quality -fastx <STRING> -type <INT> (optional) -output <STRING|optional>", {}});
  print_invocation("atgc_quality", {{"jobname", FLAGS_jobname}, {"fastx", fastq}, {"output", FLAGS_output}});
  ATGC<double> atgc(FLAGS_output, FLAGS_jobname);
  atgc.init();
  atgc.read_fastx(fastq);
  atgc.stats_report();
  atgc.read_quality(fastq, FLAGS_output + "tevo_quality.fastq.gz", FLAGS_n < 0 ? 0 : FLAGS_n);
  reval = 0;
  return reval;
}

int read_filter() {
  if (FLAGS_fastx.empty())
    return refuse("FASTQ file", {"tevo read_filter -fastx <STRING> -n <INT> -output <STRING|optional>",
                                 {"Note: n is the allowed number of ambiguous characters, default is 0"}});
  print_invocation("read_filter", {{"jobname", FLAGS_jobname},
                                   {"fastx", FLAGS_fastx},
                                   {"n", std::to_string(FLAGS_n)},
                                   {"output", FLAGS_output}});
  ATGC<double> atgc(FLAGS_output, FLAGS_jobname);
  atgc.init();
  atgc.read_filter(FLAGS_fastx, FLAGS_output + "tevo_filtered.fastq.gz", FLAGS_n);
  atgc.read_quality(FLAGS_fastx, FLAGS_output + "tevo_quality.fastq.gz", FLAGS_n);
  atgc.read_trim(FLAGS_fastx, FLAGS_output + "tevo_trimed.fastq.gz", 13);
  reval = 0;
  return reval;
}

int atgc_correct() {
  if (FLAGS_fastx.empty())
    return refuse("FASTQ file", {"tevo atgc_correct -fastx <STRING> -output <STRING|optional>", {}});
  print_invocation("atgc_correct", {{"jobname", FLAGS_jobname}, {"fastx", FLAGS_fastx}, {"output", FLAGS_output}});
  ATGC<double> atgc(FLAGS_output, FLAGS_jobname);
  atgc.init();
  atgc.error_correct(FLAGS_fastx);
  atgc.finish();
  reval = 0;
  return reval;
}

int kmer_generator() {
  const CommandUsage usage{"tevo kmer_generator -fastx <STRING> -min <INT> -max <INT> -output <STRING|optional>", {}};
  if (FLAGS_min < 0) {
    print_info("Minimum value is not defined", 9);
    print_info("", 21);
    print_text(usage.line, kGreen);
    reval = -1;
    return reval;
  }
  if (FLAGS_fastx.empty()) return refuse("FASTQ file", usage);
  const int min = static_cast<int>(FLAGS_min), max = static_cast<int>(FLAGS_max);
  print_invocation("kmer_generator", {{"jobname", FLAGS_jobname},
                                      {"fastx", FLAGS_fastx},
                                      {"min", std::to_string(min)},
                                      {"max", std::to_string(max)},
                                      {"output", FLAGS_output}});
  Kmer<double> kmer(FLAGS_output, FLAGS_jobname);
  kmer.generate_kmer_frequency(min, max);
  reval = 0;
  return reval;
}

int kmer_counter() {
  if (FLAGS_fastx.empty())
    return refuse("FASTQ file", {"tevo kmer_counter -fastx <STRING> -output <STRING|optional>", {}});
  print_invocation("kmer_counter", {{"jobname", FLAGS_jobname}, {"fastx", FLAGS_fastx}, {"output", FLAGS_output}});
  ATGC<double> atgc(FLAGS_output, FLAGS_jobname);
  atgc.init();
  atgc.kmer_counter(FLAGS_fastx);
  reval = 0;
  return reval;
}

int atgc_dna2aa() {
  if (FLAGS_fastx.empty())
    return refuse("FASTA file", {"tevo atgc_dna2aa -fastx <STRING> -output <STRING|optional>", {}});
  print_invocation("atgc_dna2aa", {{"jobname", FLAGS_jobname}, {"fastx", FLAGS_fastx}, {"output", FLAGS_output}});
  std::string protein;
  define_output_file_name(protein, FLAGS_fastx, FLAGS_output, "protein.fasta");
  const std::size_t records = translate_file(FLAGS_fastx, protein);
  print_text("Translated " + std::to_string(records) + " sequences; placed the proteins at:");
  print_text(protein);
  reval = 0;
  return reval;
}

}  // namespace tevo
