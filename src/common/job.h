// The run of one job: flags, command lookup, job directory, threads, seed,
// the command itself, and the closing summary.
#pragma once

namespace tevo {

void GlobalInit(int* argc, char*** argv);

// The whole of `main`; returns the process exit status.
int run_main(int argc, char** argv);

}  // namespace tevo
