// The program-wide flags. They are defined once in src/common/flags.cpp and
// read by every subsystem as FLAGS_<name>.
#pragma once

#include <gflags/gflags.h>

// Job and run control
DECLARE_bool(lhttp);
DECLARE_int32(hlog);
DECLARE_string(gpu);
DECLARE_int32(threads);
DECLARE_string(cur_path);
DECLARE_string(dirt);
DECLARE_string(output);
DECLARE_string(www);
DECLARE_string(jobname);
// Numbers that steer a computation; -1 marks "not defined" for n, type, phase, nout
DECLARE_int32(type);
DECLARE_int32(phase);
DECLARE_int32(kmer);
DECLARE_int32(n);
DECLARE_int32(max_iter);
DECLARE_int32(intv);
DECLARE_int32(ntrial);
DECLARE_int32(npop);
DECLARE_int32(nvar);
DECLARE_int32(nrule);
DECLARE_int32(nout);
DECLARE_int32(offset);
DECLARE_double(min);
DECLARE_double(max);
DECLARE_double(threshold);  // -1.0: not defined, each command picks its own
DECLARE_bool(gz);
DECLARE_bool(re);
DECLARE_bool(backbone);
// Input files
DECLARE_string(fastx);
DECLARE_string(sff);
DECLARE_string(mat);
DECLARE_string(msa);
DECLARE_string(pdb);
DECLARE_string(dseq);
// Alignment filters and simulation
DECLARE_double(gap_frac);
DECLARE_double(site_gap_frac);
DECLARE_double(cnsv_frac);
DECLARE_double(temperature);
DECLARE_string(index);
DECLARE_string(chain);
DECLARE_string(atom_type);
DECLARE_string(cfg);
DECLARE_string(vtf);
DECLARE_double(alpha);
DECLARE_double(beta);
DECLARE_double(rho);
DECLARE_double(tau);
DECLARE_double(perplexity);
// Learning
DECLARE_string(solver);
DECLARE_int32(echo);
DECLARE_int32(mbs);
DECLARE_int32(win);
DECLARE_double(lrate);
DECLARE_string(param);
// Reports and the web front end
DECLARE_string(kind);
DECLARE_string(taskname);
DECLARE_string(username);
DECLARE_string(jobid);
DECLARE_string(jobcpt);
DECLARE_string(jobwat);
DECLARE_string(jobrun);
