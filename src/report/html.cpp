// The job's report page and the plot of a matrix file.
#include "report/html.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "report/chart.h"
#include "report/gnuplot.h"
#include "report/javas.h"
#include "report/tools.h"
#include "util/identity.h"

namespace tevo {

namespace {

std::vector<std::string> list_files(const std::string& dir) {
  std::vector<std::string> names;
  DIR* handle = opendir(dir.c_str());
  if (!handle) return names;
  while (const dirent* entry = readdir(handle)) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    struct stat info;
    if (stat((dir + "/" + name).c_str(), &info) == 0 && S_ISREG(info.st_mode)) names.push_back(name);
  }
  closedir(handle);
  std::sort(names.begin(), names.end());
  return names;
}

std::string read_all(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

long long file_size(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : 0;
}

std::string size_text(long long bytes) {
  char buffer[32];
  if (bytes < 1024) std::snprintf(buffer, sizeof buffer, "%lld B", bytes);
  else if (bytes < 1024 * 1024) std::snprintf(buffer, sizeof buffer, "%.1f kB", bytes / 1024.0);
  else std::snprintf(buffer, sizeof buffer, "%.1f MB", bytes / (1024.0 * 1024.0));
  return buffer;
}

std::string extension(const std::string& name) {
  const std::size_t dot = name.find_last_of('.');
  return dot == std::string::npos ? "" : name.substr(dot);
}

// Percent-encoding for a link to a file name.
std::string href(const std::string& name) {
  std::string out;
  for (const char c : name) {
    const unsigned char u = static_cast<unsigned char>(c);
    if (std::isalnum(u) || c == '.' || c == '_' || c == '-' || c == '~') out += c;
    else {
      char buffer[4];
      std::snprintf(buffer, sizeof buffer, "%%%02X", u);
      out += buffer;
    }
  }
  return out;
}

// The <svg> of a chart page written by this program, or "".
std::string lift_chart(const std::string& page) {
  const std::size_t a = page.find(kChartBegin);
  if (a == std::string::npos) return "";
  const std::size_t b = page.find(kChartEnd, a);
  if (b == std::string::npos) return "";
  const std::size_t start = a + std::string(kChartBegin).size();
  return page.substr(start, b - start);
}

// First lines of a delimited text file as an HTML table.
std::string preview_table(const std::string& path, std::size_t max_rows = 15, std::size_t max_cols = 12) {
  std::ifstream in(path);
  std::string line, out;
  std::size_t rows = 0;
  bool more = false;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    if (rows == max_rows) {
      more = true;
      break;
    }
    const char delimiter = line.find(',') != std::string::npos ? ',' : line.find('\t') != std::string::npos ? '\t' : ' ';
    std::vector<std::string> fields;
    std::stringstream cells(line);
    std::string field;
    while (std::getline(cells, field, delimiter))
      if (delimiter != ' ' || !field.empty()) fields.push_back(field);
    out += "<tr>";
    for (std::size_t k = 0; k < fields.size() && k < max_cols; ++k) out += "<td>" + xml_escape(fields[k]) + "</td>";
    if (fields.size() > max_cols) out += "<td>&hellip;</td>";
    out += "</tr>\n";
    ++rows;
  }
  if (out.empty()) return "";
  return "<div class=\"table\"><table>\n" + out + "</table>" + (more ? "<p class=\"more\">first " +
         std::to_string(max_rows) + " rows shown</p>" : "") + "</div>\n";
}

const char* kStyle =
    "body{margin:0;font-family:DejaVu Sans,Helvetica,Arial,sans-serif;color:#222;background:#f4f5f7;line-height:1.45}\n"
    "header{background:#23395d;color:#fff;padding:18px 28px}\nheader h1{margin:0 0 6px;font-size:24px}\n"
    "header table{border-collapse:collapse;font-size:14px}\nheader td{padding:1px 14px 1px 0}\n"
    "header td:first-child{color:#b9c6dc}\nmain{max-width:1180px;margin:0 auto;padding:16px 24px 40px}\n"
    "nav{background:#fff;border:1px solid #dde1e7;border-radius:6px;padding:10px 18px;margin:14px 0}\n"
    "nav ol{margin:4px 0;padding-left:22px}\nsection{background:#fff;border:1px solid #dde1e7;border-radius:6px;"
    "padding:14px 20px;margin:16px 0}\nsection h2{margin:0 0 6px;font-size:19px;color:#23395d}\n"
    ".caption{margin:4px 0 10px}\n.notes{margin:6px 0;padding-left:20px}\n"
    ".figure{overflow-x:auto;margin:8px 0}\n.figure img{max-width:min(100%,800px);border:1px solid #eee}\n"
    ".kind-1 .figure{max-height:720px;overflow:auto}\n.files{font-size:13px;color:#555}\n"
    ".files a{margin-right:14px}\n.table{overflow-x:auto}\ntable.data,.table table{border-collapse:collapse;font-size:13px}\n"
    ".table td,table.data td,table.data th{border:1px solid #dde1e7;padding:2px 8px;text-align:right}\n"
    ".more{font-size:12px;color:#777}\nfooter{text-align:center;color:#777;font-size:12px;padding:18px}\n";

}  // namespace

std::vector<std::string> block_files(const std::vector<std::string>& files, const std::string& jobname,
                                     const std::string& base, bool prefix) {
  std::vector<std::string> found;
  const std::string name = base_of(base);
  if (name.empty()) return found;
  std::vector<std::string> stems = {name};
  if (name.compare(0, jobname.size() + 1, jobname + "_") != 0) stems.push_back(jobname + "_" + name);
  for (const std::string& file : files) {
    for (const std::string& stem : stems) {
      if (file.size() <= stem.size() || file.compare(0, stem.size(), stem) != 0) continue;
      const char next = file[stem.size()];
      const bool exact = next == '.' && file.find('.', stem.size() + 1) == std::string::npos;
      if ((prefix && next == '_') || (!prefix && exact)) {
        found.push_back(file);
        break;
      }
    }
  }
  return found;
}

template <typename T>
HTML<T>::HTML(const std::string& output_, const std::string& jobname_)
    : output(output_), jobname(jobname_), path(output_ + "index.html") {}

template <typename T>
void HTML<T>::set_job(const JobInfo& info) {
  job = info;
}

template <typename T>
std::string HTML<T>::table(T** m, int rows, int cols, const std::vector<std::string>& col_labels,
                           const std::vector<std::string>& row_labels, int limit) {
  std::string out = "<table class=\"data\">\n";
  if (!col_labels.empty()) {
    out += "<tr>";
    if (!row_labels.empty()) out += "<th></th>";
    for (const auto& label : col_labels) out += "<th>" + caption_html(label) + "</th>";
    out += "</tr>\n";
  }
  for (int r = 0; m && r < rows && r < limit; ++r) {
    out += "<tr>";
    if (!row_labels.empty()) out += "<th>" + (r < static_cast<int>(row_labels.size()) ? caption_html(row_labels[r]) : "") + "</th>";
    for (int c = 0; c < cols; ++c) {
      char buffer[32];
      const double v = m[r] ? static_cast<double>(m[r][c]) : NAN;
      std::snprintf(buffer, sizeof buffer, "%.6g", v);
      out += std::string("<td>") + buffer + "</td>";
    }
    out += "</tr>\n";
  }
  out += "</table>\n";
  if (rows > limit) out += "<p class=\"more\">first " + std::to_string(limit) + " of " + std::to_string(rows) + " rows shown</p>\n";
  return out;
}

template <typename T>
int HTML<T>::report() {
  const std::string dir = output.empty() ? "." : output;
  const std::vector<std::string> files = list_files(dir);
  // The job's own record first, then records named "<something>_<jobname>.log".
  records.clear();
  std::vector<RecordBlock> blocks;
  const std::string own = jobname + ".log";
  if (std::find(files.begin(), files.end(), own) != files.end()) records.push_back(own);
  for (const std::string& file : files)
    if (file != own && file.size() > own.size() + 1 && file.compare(file.size() - own.size() - 1, std::string::npos, "_" + own) == 0)
      records.push_back(file);
  for (const std::string& record : records)
    for (const RecordBlock& block : read_record(dir + "/" + record)) blocks.push_back(block);

  std::vector<std::vector<std::string>> owned(blocks.size());
  std::set<std::string> claimed;
  for (std::size_t b = 0; b < blocks.size(); ++b) {
    owned[b] = block_files(files, jobname, blocks[b].base, false);
    claimed.insert(owned[b].begin(), owned[b].end());
  }
  for (std::size_t b = 0; b < blocks.size(); ++b)
    for (const std::string& file : block_files(files, jobname, blocks[b].base, true))
      if (!claimed.count(file)) owned[b].push_back(file);
  for (const auto& list : owned) claimed.insert(list.begin(), list.end());

  const std::time_t now = std::time(nullptr);
  char when[64];
  std::strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S", std::localtime(&now));
  const std::string heading = job.taskname.empty() ? jobname : job.taskname;
  std::string page = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                     "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
                     xml_escape(heading + " - tevo report") + "</title>\n<style>\n" + kStyle + "</style>\n</head>\n<body>\n";
  page += "<header>\n<h1>" + xml_escape(heading) + "</h1>\n<table>\n";
  const std::vector<std::pair<std::string, std::string>> facts = {
      {"Job", jobname},
      {"Job ID", job.jobid.empty() ? "-" : job.jobid},
      {"User", job.username},
      {"Jobs on the server", job.completed + " completed, " + job.waiting + " waiting, " + job.running + " running"},
      {"Report made", when}};
  for (const auto& fact : facts) page += "<tr><td>" + xml_escape(fact.first) + "</td><td>" + xml_escape(fact.second) + "</td></tr>\n";
  page += "</table>\n</header>\n<main>\n";
  if (blocks.empty()) {
    page += "<section><h2>No record</h2><p class=\"caption\">This job left no record. Run its commands with "
            "<code>-hlog 1</code> to keep the record, then make the report again.</p></section>\n";
  } else if (blocks.size() > 1) {
    page += "<nav><b>Contents</b><ol>\n";
    for (std::size_t b = 0; b < blocks.size(); ++b)
      page += "<li><a href=\"#block-" + std::to_string(b + 1) + "\">" +
              caption_html(blocks[b].title.empty() ? "Notes" : blocks[b].title) + "</a></li>\n";
    page += "</ol></nav>\n";
  }
  for (std::size_t b = 0; b < blocks.size(); ++b) {
    const RecordBlock& block = blocks[b];
    page += "<section id=\"block-" + std::to_string(b + 1) + "\" class=\"kind-" + std::to_string(block.view_kind()) + "\">\n";
    page += "<h2>" + caption_html(block.title.empty() ? "Notes" : block.title) + "</h2>\n";
    if (!block.caption.empty()) page += "<p class=\"caption\">" + caption_html(block.caption) + "</p>\n";
    if (!block.notes.empty()) {
      page += "<ul class=\"notes\">\n";
      for (const std::string& note : block.notes) page += "<li>" + caption_html(note) + "</li>\n";
      page += "</ul>\n";
    }
    bool drawn = false;
    for (const std::string& file : owned[b]) {
      if (extension(file) == ".html" && file != "index.html") {
        const std::string svg = lift_chart(read_all(dir + "/" + file));
        if (!svg.empty()) {
          page += "<div class=\"figure\">\n" + svg + "</div>\n";
          drawn = true;
        }
      }
    }
    // Pictures from scripts go beside the chart where the block asks for them
    // (view kinds 2 and 3), and stand in for it where there is no chart.
    const bool pictures = !drawn || block.view_kind() >= 2;
    for (const std::string& file : owned[b])
      if (pictures && extension(file) == ".png") {
        page += "<div class=\"figure\"><img src=\"" + href(file) + "\" alt=\"" + xml_escape(file) + "\"></div>\n";
        drawn = true;
      }
    if (!drawn)
      for (const std::string& file : owned[b])
        if (extension(file) == ".csv" || extension(file) == ".tsv" || extension(file) == ".txt") {
          page += preview_table(dir + "/" + file);
          break;
        }
    if (!owned[b].empty()) {
      page += "<p class=\"files\">Files: ";
      for (const std::string& file : owned[b])
        page += "<a href=\"" + href(file) + "\">" + xml_escape(file) + "</a> ";
      page += "</p>\n";
    }
    page += "</section>\n";
  }
  std::vector<std::string> others;
  for (const std::string& file : files)
    if (!claimed.count(file) && file != "index.html" && extension(file) != ".log") others.push_back(file);
  if (!others.empty()) {
    page += "<section class=\"others\">\n<h2>Other files</h2>\n<ul class=\"files\">\n";
    for (const std::string& file : others)
      page += "<li><a href=\"" + href(file) + "\">" + xml_escape(file) + "</a> (" + size_text(file_size(dir + "/" + file)) + ")</li>\n";
    page += "</ul>\n</section>\n";
  }
  page += "</main>\n<footer>Made by " + std::string(kProgramName) + " " + kVersion + " &middot; " +
          xml_escape(kContact) + "</footer>\n</body>\n</html>\n";
  write_text_file(path, page);
  return static_cast<int>(blocks.size());
}

std::vector<std::string> plot_table(const std::string& output, const std::string& jobname, const std::string& source,
                                    const TextTable& table, const std::string& kind) {
  std::string name = base_of(source);
  const std::size_t dot = name.find_last_of('.');
  if (dot != std::string::npos && dot > 0) name = name.substr(0, dot);
  const std::string postfix = name + "_" + kind;
  const int rows = static_cast<int>(table.rows.size()), cols = static_cast<int>(table.cols);
  std::vector<double*> pointers(rows);
  std::vector<std::vector<double>> copy = table.rows;
  for (int r = 0; r < rows; ++r) pointers[r] = copy[r].data();

  std::vector<std::string> names = {name, "", ""};
  if (kind == "heatmap") {
    names = {name, "column", "row"};
  } else if (cols == 1) {
    names = {name, table.row_header.empty() ? "row" : table.row_header,
             table.col_names.empty() ? "value" : table.col_names[0]};
  } else {
    names[1] = table.col_names.empty() ? "column 1" : table.col_names[0];
    for (int c = 1; c < cols; ++c)
      names.push_back(table.col_names.empty() ? "column " + std::to_string(c + 1) : table.col_names[c]);
    if (cols == 2) names[2] = names[3];
  }
  Javas<double> chart(output, jobname);
  int width = 720, height = 420;
  if (kind == "heatmap") {
    const int cell = std::max(2, std::min(36, 640 / std::max(1, std::max(rows, cols))));
    width = cols * cell;
    height = rows * cell;
  }
  const int angle = kind == "bar" && rows > 30 ? -90 : 0;
  chart.set_param(rows, cols, 40, 30, 60, 70, width, height, angle);
  chart.set_postfix(postfix);
  chart.set_labels(table.row_names, kind == "heatmap" ? table.col_names : std::vector<std::string>());
  if (kind == "bar" && !table.row_names.empty()) chart.chart.row_labels = table.row_names;
  std::vector<std::string> written = {chart.plotting(kind, pointers.data(), names)};

  Gnuplot<double> script(output, jobname);
  script.set_postfix(postfix);
  script.chart = chart.chart;
  script.open(postfix);
  script.script = gnuplot_script(script.chart, base_of(script.stem) + ".png");
  const bool drawn = script.close();  // false when gnuplot is not installed
  written.push_back(script.stem + ".gp");
  if (drawn && file_size(script.stem + ".png") > 0) written.push_back(script.stem + ".png");

  RecordBlock block;
  block.layout = "1-1-1-0";
  block.title = "Plot of " + base_of(source);
  block.caption = (kind == "heatmap" ? "A heat map" : "A " + kind + " chart") + " of " + base_of(source) + " (" +
                  std::to_string(rows) + (rows == 1 ? " row, " : " rows, ") + std::to_string(cols) +
                  (cols == 1 ? " column)." : " columns).");
  block.base = postfix;
  append_record_block(record_path(output, jobname), block);
  return written;
}

template class HTML<float>;
template class HTML<double>;

}  // namespace tevo
