// The table of the 55 commands, and the lookup by name.
#include "common/registry.h"

#include <cstdio>
#include <cstdlib>

#include "common/banners.h"
#include "common/commands.h"
#include "util/console.h"

namespace tevo {

int reval = 0;

// One row per command. A command still to be built points at
// command_pending; building it is replacing that one word.
BrewMap g_brew_map = {
    {"device", device},
    {"lipid", command_pending},
    {"sff2fastq", sff2fastq},
    {"base_call", command_pending},
    {"atgc_assembly", command_pending},
    {"atgc_stats", atgc_stats},
    {"atgc_quality", atgc_quality},
    {"read_filter", read_filter},
    {"kmer_generator", kmer_generator},
    {"kmer_counter", kmer_counter},
    {"atgc_correct", atgc_correct},
    {"atgc_dna2aa", atgc_dna2aa},
    {"synteny", synteny},
    {"gene_exp", gene_exp},
    {"cnv", cnv},
    {"sequence_converter", sequence_converter},
    {"sequence_mix", command_pending},
    {"sequence_trim", sequence_trim},
    {"sequence_stats", sequence_stats},
    {"sequence_eca", sequence_eca},
    {"sequence_energy", command_pending},
    {"mutant_energy", command_pending},
    {"point_mutation", command_pending},
    {"sequence_design", command_pending},
    {"residue_contact", command_pending},
    {"sequence_ddg", sequence_ddg},
    {"fasta2contact", command_pending},
    {"fasta2pdb", fasta2pdb},
    {"pdb_parser", pdb_parser},
    {"pdb_voxel", command_pending},
    {"pdb_contact", pdb_contact},
    {"sidechain", command_pending},
    {"fold", fold},
    {"fold_energy", fold_energy},
    {"folding", command_pending},
    {"modyfing", command_pending},
    {"phasing", phasing},
    {"rama_map", rama_map},
    {"vtf2pdb", command_pending},
    {"selectivity_sector", command_pending},
    {"opt_chpso", command_pending},
    {"opt_jde", command_pending},
    {"nested_sampler", nested_sampler},
    {"mcmc", mcmc},
    {"stats_pearson", stats_pearson},
    {"stats_ica", command_pending},
    {"stats_tsne", command_pending},
    {"optifel", command_pending},
    {"nirecor", command_pending},
    {"nirecor_regression", command_pending},
    {"pross", pross},
    {"plot", plot},
    {"html", html},
    {"about", about},
    {"usage", usage},
};

BrewFunction GetBrewFunction(const std::string& name) {
  const auto found = g_brew_map.find(name);
  if (found != g_brew_map.end()) return found->second;
  print_text("Available commands: ");
  for (const auto& entry : g_brew_map) std::printf("    %s\n", entry.first.c_str());
  print_info("unknown command!", 9);
  print_info("I don't understand what '" + name + "' is!", 9);
  std::exit(1);
}

}  // namespace tevo
