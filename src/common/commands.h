// The command functions of the table in registry.cpp. Each checks its flags,
// prints its invocation, drives one worker and returns 0, or -1 if refused.
// One file per subsystem holds them: cmd_<subsystem>.cpp.
#pragma once

namespace tevo {

// Registered commands whose work is not in this build: a warning and -1.
int command_pending();

// Placeholders: they pass through the job set-up and compute nothing.
int cnv();
int gene_exp();
int synteny();
int phasing();
int sequence_ddg();
int mcmc();
int fold();

// Sequencing reads (cmd_reads.cpp)
int sff2fastq();
int atgc_stats();
int atgc_quality();
int read_filter();
int atgc_correct();
int kmer_generator();
int kmer_counter();
int atgc_dna2aa();

// Protein structure (cmd_structure.cpp)
int pdb_parser();
int pdb_contact();
int fasta2pdb();

// Folding and dynamics (cmd_folding.cpp)
int fold_energy();
int rama_map();

// Optimisers and samplers (cmd_optimizer.cpp)
int nested_sampler();

// Statistics (cmd_stats.cpp)
int stats_pearson();

// Alignments and coupling analysis (cmd_sequence.cpp)
int sequence_converter();
int sequence_trim();
int sequence_stats();
int sequence_eca();

// Neural networks and swarm-trained models (cmd_learning.cpp)

// Neural networks (cmd_networks.cpp)
int pross();

// Reports (cmd_report.cpp)
int html();
int plot();

}  // namespace tevo
