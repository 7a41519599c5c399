// The three read filters over (gzip) FASTQ: ambiguous bases, quality, and
// trimming of low-quality 3' ends. Each writes a gzip FASTQ.
#include <glog/logging.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>

#include "atgc/atgc.h"
#include "atgc/fastx_io.h"
#include "util/console.h"

namespace tevo {

namespace {

using Lines = std::vector<std::vector<char>>;

// Level 1: the outputs are working files, and the fastest level keeps each
// stage close to the cost of reading its input.
const char* kGzipMode = "wb1";

void load_fastq_lines(Lines& lines, const std::string& input) {
  if (!ATGC<double>::read_gzfile(lines, input)) {
    print_info(input, 5);
    std::exit(1);
  }
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  if (!lines.empty() && (lines[0].empty() || lines[0][0] != '@'))
    reads_fail(input + " line 1: a FASTQ record must begin with \"@\"");
  if (lines.size() % 4 != 0)
    reads_fail(input + " line " + std::to_string(lines.size()) + ": the last record is cut short");
  for (std::size_t i = 0; i < lines.size(); i += 4) {
    if (lines[i].empty() || lines[i][0] != '@')
      reads_fail(input + " line " + std::to_string(i + 1) + ": a FASTQ record must begin with \"@\"");
    if (lines[i + 2].empty() || lines[i + 2][0] != '+')
      reads_fail(input + " line " + std::to_string(i + 3) + ": expected the \"+\" line");
    if (lines[i + 3].size() != lines[i + 1].size()) {
      print_info("the lengths of the quality and sequence are different!", 9);
      reads_fail(input + " line " + std::to_string(i + 4) + ": quality and sequence lengths differ");
    }
  }
}

void write_line(OutputFile& out, const std::vector<char>& line, std::size_t n) {
  out.write(line.data(), n);
  out.put('\n');
}

void write_record(OutputFile& out, const Lines& lines, std::size_t i, std::size_t keep) {
  write_line(out, lines[i], lines[i].size());
  write_line(out, lines[i + 1], keep);
  write_line(out, lines[i + 2], lines[i + 2].size());
  write_line(out, lines[i + 3], keep);
}

std::int64_t count_n(const std::vector<char>& sequence) {
  return std::count_if(sequence.begin(), sequence.end(), [](char c) { return c == 'N' || c == 'n'; });
}

void placed(const std::string& output, std::chrono::steady_clock::time_point start) {
  print_text("Placed the trimed file at:");
  print_text(output);
  LOG(INFO) << "Wrote " << output << " in "
            << std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() << " seconds.";
}

OutputFile* open_gzip(const std::string& output) {
  auto* out = new OutputFile(output, kGzipMode);
  if (!out->is_open()) reads_fail("cannot write out " + output);
  return out;
}

// Loads the records and passes every quality line through the converter,
// which settles the Phred offset of the file.
template <typename T>
void load_fastq_with_quality(ATGC<T>& atgc, Lines& lines, const std::string& input) {
  load_fastq_lines(lines, input);
  atgc.init();
  for (std::size_t i = 3; i < lines.size(); i += 4)
    if (!atgc.quality_converter(lines[i].data(), lines[i].size()))
      reads_fail(input + " line " + std::to_string(i + 1) + ": a quality character lies outside \"!\" to \"~\"");
  atgc.guess_phred();
}

}  // namespace

template <typename T>
void ATGC<T>::read_filter(const std::string& input, const std::string& output, int n) {
  const auto start = std::chrono::steady_clock::now();
  Lines lines;
  load_fastq_lines(lines, input);
  std::unique_ptr<OutputFile> out(open_gzip(output));
  for (std::size_t i = 0; i < lines.size(); i += 4)
    if (count_n(lines[i + 1]) <= n) write_record(*out, lines, i, lines[i + 1].size());
  out->commit();
  placed(output, start);
}

template <typename T>
void ATGC<T>::read_quality(const std::string& input, const std::string& output, int n) {
  const auto start = std::chrono::steady_clock::now();
  Lines lines;
  load_fastq_with_quality(*this, lines, input);
  if (phred != 33) {
    print_info("the original Phred scores are not in Illumina format!", 11);
    return;
  }
  std::unique_ptr<OutputFile> out(open_gzip(output));
  for (std::size_t i = 0; i < lines.size(); i += 4) {
    const std::vector<char>& q = lines[i + 3];
    std::uint64_t sum = 0;
    for (char c : q) sum += static_cast<unsigned char>(c) - 33u;
    const bool good = q.empty() || sum >= 20u * q.size();
    if (good && count_n(lines[i + 1]) <= n) write_record(*out, lines, i, q.size());
  }
  out->commit();
  placed(output, start);
}

template <typename T>
void ATGC<T>::read_trim(const std::string& input, const std::string& output, int n) {
  const auto start = std::chrono::steady_clock::now();
  Lines lines;
  load_fastq_with_quality(*this, lines, input);
  std::unique_ptr<OutputFile> out(open_gzip(output));
  const int lowest = phred + n;
  for (std::size_t i = 0; i < lines.size(); i += 4) {
    const std::vector<char>& q = lines[i + 3];
    std::size_t keep = q.size();
    while (keep > 0 && static_cast<unsigned char>(q[keep - 1]) < lowest) --keep;
    if (keep > 0) write_record(*out, lines, i, keep);
  }
  out->commit();
  placed(output, start);
}

template class ATGC<float>;
template class ATGC<double>;

}  // namespace tevo
