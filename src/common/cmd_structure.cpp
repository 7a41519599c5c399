// Protein structure commands: PDB conversion, residue contacts, and the
// extended chain built from a sequence.
#include <cstdio>
#include <cstdlib>

#include "common/commands.h"
#include "common/registry.h"
#include "common/wrapper.h"
#include "protein/extended.h"
#include "protein/protein.h"
#include "tevo.h"
#include "util/console.h"
#include "util/strings.h"

namespace tevo {

namespace {

// The part of a path between its last "/" and its last "." (the whole file
// name when it has no extension).
std::string base_name(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
  const std::size_t dot = path.find_last_of('.');
  if (dot == std::string::npos || dot < start) return path.substr(start);
  return path.substr(start, dot - start);
}

void placed(const std::string& what, const std::string& path) {
  std::printf("-- I placed the %s file at: \n-- <%s>\n", what.c_str(), path.c_str());
}

}  // namespace

int pdb_parser() {
  if (FLAGS_pdb.empty())
    return refuse("PDB file",
                  {"tevo pdb_parser -type <INT> -pdb <STRING> -backbone <BOOL|optional> -re "
                   "<BOOL|optional> -n <INT|optional> -output <STRING|optional>",
                   {"-type 0 is to get FASTA", "-type 1 is to reformat PDB",
                    "-type 2 is to output both FASTA and PDB", "-type 3 is to output the assembled PDB",
                    "-re 0 is not to reorder amino acids", "-re 1 is to reorder them",
                    "-n is to define the index of the first amino acid",
                    "-backbone is to reduce into only backbone (N-CA-C-O-CB)"}});
  const std::string base = base_name(FLAGS_pdb);
  print_invocation("pdb_parser", {{"jobname", FLAGS_jobname},
                                  {"pdb", FLAGS_pdb},
                                  {"type", num2string(FLAGS_type, 0)},
                                  {"re", num2string(FLAGS_re, 0)},
                                  {"n", num2string(FLAGS_n, 0)},
                                  {"threads", num2string(FLAGS_threads, 0)},
                                  {"output", FLAGS_output}});
  // An undefined first number (-1) starts renumbering at 1.
  Protein<double> protein(FLAGS_output, FLAGS_jobname, FLAGS_re, FLAGS_n < 0 ? 1 : FLAGS_n);
  protein.read_pdb(FLAGS_pdb, FLAGS_backbone, "", true);
  const std::string fasta = FLAGS_output + base + ".fasta";
  const std::string pdb = FLAGS_output + base + "_tevo.pdb";
  if (FLAGS_type == 0 || FLAGS_type == 2) {
    protein.write_fasta(fasta);
    placed("FASTA", fasta);
  }
  if (FLAGS_type == 1 || FLAGS_type == 2) {
    protein.write_pdb(pdb);
    placed("simplified PDB", pdb);
  }
  if (FLAGS_type == 3) {
    // The assembled form: coordinates pass through the flat array and back.
    protein.write_pdb(pdb);
    if (protein.get_num_of_chains() > 0) {
      protein.tevo_create_protein_bonds(protein.chains, 0, false);
      protein.get_all_aotm_coords();
      protein.set_all_aotm_coords();
      protein.tevo_update_all_torsional_angles();
    }
    protein.write_pdb(pdb);
    placed("simplified PDB", pdb);
  }
  protein.finish();
  reval = 0;
  return reval;
}

int pdb_contact() {
  if (FLAGS_pdb.empty())
    return refuse("PDB file", {"tevo pdb_contact -pdb <STRING> -output <STRING|optional>",
                               {"-chain <STRING|A|B|C|...>", "-atom_type <STRING|CA|CB>",
                                "-re <INT>: reorder, default is " + num2string(FLAGS_re, 0) + ")",
                                "-threshold <DOUBLE>: default is " +
                                    num2string(FLAGS_threshold, 2) + ")"}});
  if (FLAGS_threshold == -1.0) FLAGS_threshold = 7.5;
  if (FLAGS_n < 0) FLAGS_n = 1;
  std::vector<std::pair<std::string, std::string>> echo = {
      {"jobname", FLAGS_jobname}, {"threshold", num2string(FLAGS_threshold, 2)}};
  if (!FLAGS_chain.empty()) echo.emplace_back("chain", FLAGS_chain);
  echo.insert(echo.end(), {{"atom_type", FLAGS_atom_type},
                           {"re", num2string(FLAGS_re, 0)},
                           {"n", num2string(FLAGS_n, 0)},
                           {"pdb", FLAGS_pdb},
                           {"output", FLAGS_output}});
  print_invocation("pdb_contact", echo);
  print_text("About the given PDB file: " + base_name(FLAGS_pdb));
  Protein<double> protein(FLAGS_output, FLAGS_jobname, FLAGS_re, FLAGS_n);
  protein.read_pdb(FLAGS_pdb, FLAGS_backbone, FLAGS_chain, true);
  protein.calc_residue_contact("residue_contact", FLAGS_threshold, FLAGS_atom_type);
  protein.finish();
  reval = 0;
  return reval;
}

int fasta2pdb() {
  if (FLAGS_fastx.empty())
    return refuse("FASTA file", {"tevo fasta2pdb -fastx <STRING> -output <STRING|optional>", {}});
  print_invocation("fasta2pdb", {{"jobname", FLAGS_jobname}, {"fastx", FLAGS_fastx}, {"output", FLAGS_output}});
  std::vector<std::string> names, seqs;
  long stray = 0;
  if (!read_protein_fasta(FLAGS_fastx, names, seqs, stray)) {
    print_info(FLAGS_fastx, 5);
    std::exit(1);
  }
  if (stray > 0) {
    print_info(FLAGS_fastx + " line " + std::to_string(stray) + ": sequence text before the first \">\"", 9);
    std::exit(1);
  }
  if (seqs.empty()) {
    print_info(FLAGS_fastx + ": no FASTA record", 9);
    std::exit(1);
  }
  const std::string base = base_name(FLAGS_fastx);
  for (std::size_t k = 0; k < seqs.size(); ++k) {
    std::string seq = seqs[k];
    if (!seq.empty() && seq.back() == '*') seq.pop_back();  // stop mark of translated sequences
    if (seq.empty()) {
      print_info(FLAGS_fastx + " record " + std::to_string(k + 1) + " (" + names[k] + "): empty sequence", 9);
      std::exit(1);
    }
    int bad = -1;
    Protein<double> protein(FLAGS_output, FLAGS_jobname, false, 1);
    protein.add_chain(build_extended_chain<double>(seq, "A", bad));
    if (bad >= 0) {
      print_info(FLAGS_fastx + " record " + std::to_string(k + 1) + " (" + names[k] + "): '" +
                     std::string(1, seq[bad]) + "' at position " + std::to_string(bad + 1) +
                     " is not an amino acid",
                 9);
      std::exit(1);
    }
    print_text("Sequence " + std::to_string(k + 1) + ": " + names[k] + " (" +
               std::to_string(seq.size()) + " residues)");
    const std::string path =
        FLAGS_output + base + (seqs.size() > 1 ? "_" + std::to_string(k + 1) : "") + ".pdb";
    protein.write_pdb(path);
    placed("PDB", path);
    protein.finish();
  }
  reval = 0;
  return reval;
}

}  // namespace tevo
