// DNA to protein with the standard genetic code, reading frame 1.
#pragma once

#include <cstddef>
#include <string>

namespace tevo {

// Appends the protein of `dna` (upper or lower case, "U" read as "T") to
// `protein`: one letter per whole codon, "*" for stops, "X" for a codon with
// any other letter. A last partial codon is not translated.
void translate_dna(const char* dna, std::size_t n, std::string& protein);

// Translates every record of a FASTA or FASTQ file (plain or gzip) and writes
// them as FASTA to `output`; returns the number of records.
std::size_t translate_file(const std::string& input, const std::string& output);

}  // namespace tevo
