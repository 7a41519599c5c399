// The command functions of the table in registry.cpp. Each checks its flags,
// prints its invocation, drives one worker and returns 0, or -1 if refused.
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

}  // namespace tevo
