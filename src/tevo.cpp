// tevo: one command per run, chosen by the first word that is not a flag.
#include "common/job.h"

int main(int argc, char** argv) { return tevo::run_main(argc, argv); }
