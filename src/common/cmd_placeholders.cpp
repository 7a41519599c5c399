// Registered placeholders: they pass through the job set-up and compute nothing.
#include "common/commands.h"
#include "common/registry.h"
#include "common/wrapper.h"
#include "tevo.h"
#include "util/console.h"
#include "util/strings.h"

namespace tevo {

namespace {

// cnv, gene_exp and synteny share one shape: -fastx required, nothing computed.
int fastq_placeholder(const std::string& command) {
  if (FLAGS_fastx.empty())
    return refuse("FASTQ file", {"tevo " + command +
                                 " -fastx <STRING> -min <INT> -max <INT> -output <STRING|optional>",
                                 {}});
  print_invocation(command,
                   {{"jobname", FLAGS_jobname}, {"fastx", FLAGS_fastx}, {"output", FLAGS_output}});
  reval = 0;
  return reval;
}

}  // namespace

int cnv() { return fastq_placeholder("cnv"); }
int gene_exp() { return fastq_placeholder("gene_exp"); }
int synteny() { return fastq_placeholder("synteny"); }

int phasing() {
  if (FLAGS_fastx.empty())
    return refuse("FASTA file",
                  {"tevo phasing -fastx <STRING> -cfg <STRING> -output <STRING|optional>", {}, true});
  print_invocation("phasing",
                   {{"jobname", FLAGS_jobname}, {"fastx", FLAGS_fastx}, {"output", FLAGS_output}});
  reval = 0;
  return reval;
}

int sequence_ddg() {
  if (FLAGS_index.empty())
    return refuse("index file for the proteins",
                  {"tevo sequence_ddg -index <STRING> -w <INT> -flag <BOOL> -output <STRING|optional>",
                   {},
                   true});
  print_info("", 51);
  reval = 0;
  return reval;
}

int mcmc() {
  print_invocation("mcmc", {{"jobname", FLAGS_jobname},
                            {"max_iter", num2string(FLAGS_max_iter, 0)},
                            {"nvar", num2string(FLAGS_nvar, 0)}});
  print_text("It is coming soon ...", kRed);
  return reval;
}

int fold() {
  print_info("this function is coming soon ...", 11);
  return -1;
}

}  // namespace tevo
