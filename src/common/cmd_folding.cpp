// Folding commands: the energy of a structure, and Ramachandran maps for the
// sampler built from a set of structures.
#include <cmath>
#include <cstdlib>
#include <fstream>

#include "common/commands.h"
#include "common/registry.h"
#include "common/wrapper.h"
#include "folding/complex.h"
#include "folding/rama_map.h"
#include "protein/extended.h"
#include "tevo.h"
#include "util/console.h"
#include "util/files.h"
#include "util/strings.h"

namespace tevo {

namespace {

// PDB paths of a list file, one a line ("#" comments and blank lines
// skipped). A path that does not exist as written is taken relative to the
// list's own folder.
std::vector<std::string> pdb_list(const std::string& list) {
  refuse_directory(list);
  std::ifstream in(list);
  if (!in) {
    print_info(list, 5);
    std::exit(1);
  }
  const std::size_t slash = list.find_last_of('/');
  const std::string folder = slash == std::string::npos ? "" : list.substr(0, slash + 1);
  std::vector<std::string> paths;
  for (std::string line; std::getline(in, line);) {
    trim_all(line);
    if (line.empty() || line[0] == '#') continue;
    if (line[0] != '/' && !std::ifstream(line) && std::ifstream(folder + line)) line = folder + line;
    paths.push_back(line);
  }
  if (paths.empty()) {
    print_info(list + ": no PDB file listed", 9);
    std::exit(1);
  }
  return paths;
}

}  // namespace

int fold_energy() {
  const CommandUsage usage{"tevo fold_energy -pdb <STRING> -cfg <STRING> -output <STRING|optional>", {}};
  if (FLAGS_pdb.empty()) return refuse("PDB file", usage);
  if (FLAGS_cfg.empty()) return refuse("configuration file", usage);
  print_invocation("fold_energy",
                   {{"jobname", FLAGS_jobname}, {"pdb", FLAGS_pdb}, {"cfg", FLAGS_cfg}, {"output", FLAGS_output}});
  refuse_directory(FLAGS_cfg);
  if (!std::ifstream(FLAGS_cfg)) {
    print_info(FLAGS_cfg, 5);
    std::exit(1);
  }
  Complex<double> complex(FLAGS_output, FLAGS_jobname);
  complex.init();
  complex.set_file_name(FLAGS_pdb, FLAGS_fastx, FLAGS_cfg);
  complex.driver();
  complex.calc_energy();
  complex.finish();
  reval = 0;
  return reval;
}

int rama_map() {
  const CommandUsage usage{
      "tevo rama_map -pdb <STRING> | -index <STRING> -alpha <DOUBLE|optional> -fastx <STRING|optional> "
      "-output <STRING|optional>",
      {"-pdb: one structure; -index: a file listing PDB files, one a line",
       "-alpha: bin size in degrees, a divisor of 360 from 5 up (default 5)",
       "-fastx: the sequence whose residues get maps (default: the first chain read)"}};
  if (FLAGS_pdb.empty() && FLAGS_index.empty()) return refuse("PDB file", usage);
  const double alpha = FLAGS_alpha > 0 ? FLAGS_alpha : 5.0;
  print_invocation("rama_map", {{"jobname", FLAGS_jobname},
                                {"pdb", FLAGS_pdb},
                                {"index", FLAGS_index},
                                {"alpha", num2string(alpha, 2)},
                                {"fastx", FLAGS_fastx},
                                {"output", FLAGS_output}});
  RamaMap<double> maps(FLAGS_output, FLAGS_jobname);
  if (alpha != std::floor(alpha) || !maps.set_bin_size(static_cast<int>(alpha))) {
    print_info("-alpha " + num2string(alpha, 2) + ": the bin size must be a whole divisor of 360 from 5 up", 9);
    std::exit(1);
  }
  std::vector<std::string> paths = FLAGS_index.empty() ? std::vector<std::string>() : pdb_list(FLAGS_index);
  if (!FLAGS_pdb.empty()) paths.insert(paths.begin(), FLAGS_pdb);
  if (!FLAGS_fastx.empty()) {
    std::vector<std::string> names, seqs;
    long stray = 0;
    refuse_directory(FLAGS_fastx);
    if (!read_protein_fasta(FLAGS_fastx, names, seqs, stray)) {
      print_info(FLAGS_fastx, 5);
      std::exit(1);
    }
    if (seqs.empty() || seqs[0].empty()) {
      print_info(FLAGS_fastx + ": no FASTA record", 9);
      std::exit(1);
    }
    maps.set_target(seqs[0]);
  }
  for (std::size_t k = 0; k < paths.size(); ++k) {
    progress_bar<int>("Reading structures", static_cast<int>(k + 1), static_cast<int>(paths.size()), "", -999);
    maps.add_structure(paths[k]);
  }
  std::printf("\n");
  if (maps.residues_read == 0) {
    print_info("no residue with both torsions in the given structures", 9);
    std::exit(1);
  }
  maps.build();
  maps.write();
  print_text("Angles of " + std::to_string(maps.residues_read) + " residues in " + std::to_string(maps.chains_read) +
             " chains; maps of " + std::to_string(maps.index.size()) + " residues " +
             (maps.by_position ? "position by position" : "by residue type"));
  std::printf("-- I placed the Ramachandran maps at: \n-- <%s.rama_index>\n-- <%s.rama_map>\n", maps.stem.c_str(),
              maps.stem.c_str());
  reval = 0;
  return reval;
}

}  // namespace tevo
