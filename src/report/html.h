// HTML<T>: the job's report page <output>index.html, built from the job
// record: a job header, one section per record block with its caption,
// its charts (lifted from the chart pages), pictures or a table preview,
// and links to every file of the job.
#pragma once

#include <string>
#include <vector>

#include "report/matrix_text.h"
#include "report/record.h"

namespace tevo {

struct JobInfo {
  std::string jobid, taskname = "Untitled", username = "Anonymous";
  std::string completed = "0", waiting = "0", running = "0";
};

template <typename T>
class HTML {
 public:
  // `output` is the job directory (ending in "/").
  HTML(const std::string& output, const std::string& jobname);
  void set_job(const JobInfo& job);

  // Reads <jobname>.log and any "<name>_<jobname>.log" of the directory and
  // writes the page; returns the number of blocks shown.
  int report();

  // An HTML table of a rows x cols matrix, at most `limit` rows shown.
  static std::string table(T** m, int rows, int cols, const std::vector<std::string>& col_labels = {},
                           const std::vector<std::string>& row_labels = {}, int limit = 50);

  std::string output, jobname;
  std::string path;                  // the page
  std::vector<std::string> records;  // record files read
  JobInfo job;
};

// Files of the job directory that belong to a block: those named `stem`
// + extension for stem = base or <jobname>_<base>.
std::vector<std::string> block_files(const std::vector<std::string>& files, const std::string& jobname,
                                     const std::string& base, bool prefix);

// Plots a table read from `source` as "line", "scatter", "bar" or
// "heatmap": a chart page and a gnuplot script (and its PNG when gnuplot is
// installed), named <output><jobname>_<source stem>_<kind>; appends a block
// to the job record. Returns the files written.
std::vector<std::string> plot_table(const std::string& output, const std::string& jobname, const std::string& source,
                                    const TextTable& table, const std::string& kind);

extern template class HTML<float>;
extern template class HTML<double>;

}  // namespace tevo
