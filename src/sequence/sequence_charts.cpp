// Charts of the alignment analyses through the report writers.
#include "sequence/sequence_charts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "protein/residues.h"  // AA_STR
#include "report/gnuplot.h"
#include "report/javas.h"
#include "report/pyplot.h"

namespace tevo {

const char* const kResidueColours[21] = {
    "#F5F5F5", "#EB8500", "#7B68EE", "#FF6347", "#8B0000", "#00CCCC", "#FFA07A",
    "#FF0000", "#FFA500", "#FF4500", "#6593F5", "#0080FF", "#9370DB", "#3CB371",
    "#00FF7F", "#00B300", "#FFD700", "#FFFF00", "#ADFF2F", "#7CFC00", "#00FFFF"};

std::string residue_palette_line() {
  std::string line = "set palette model RGB defined (";
  for (int k = 0; k < 21; ++k) {
    if (k > 0) line += ",";
    line += std::to_string(k) + " '" + kResidueColours[k] + "'";
  }
  return line + ");\n";
}

namespace {

std::string file_part(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Layout of a square site-by-site chart: room for the residue labels, a
// plot side growing with the sites, labels turned upright when crowded.
std::vector<int> square_layout(int n) {
  const int side = std::max(360, std::min(12 * n, 1600));
  return {20, 90, 60, 70, side, side, n > 30 ? -90 : 0};
}

// Heat map with the colour legend "Weak" to "Strong" and the chord view of
// the same matrix (<stem>.html, <chord_stem>.html).
template <typename T>
void heatmap_and_chord(Javas<T>& heat, const std::string& chord_stem, T** m, int n,
                       const std::vector<std::string>& labels) {
  heat.set_param(n, n, square_layout(n));
  heat.set_labels(labels, labels);
  heat.set_legend("Weak", "Strong");
  heat.plotting("heatmap", m, {"", "Amino acid", "Amino acid"});
  Javas<T> chord("", "");
  chord.set_file_name(chord_stem);
  chord.set_param(n, n, square_layout(n));
  chord.set_labels(labels, labels);
  chord.set_legend("Weak", "Strong");
  chord.plotting("chord", m, {"", "Amino acid", "Amino acid"});
}

}  // namespace

void chart_trimmed_alignment(const std::string& base, const int32_t* const* m, int rows, int cols,
                             const std::vector<std::string>& site_labels) {
  // The page takes a real-valued matrix; float halves the copy of a large alignment.
  float** copy = new float*[rows > 0 ? rows : 1];
  float* block = new float[static_cast<std::size_t>(rows) * cols + 1];
  for (int i = 0; i < rows; ++i) {
    copy[i] = block + static_cast<std::size_t>(i) * cols;
    for (int j = 0; j < cols; ++j) copy[i][j] = static_cast<float>(m[i][j]);
  }
  Javas<float> js("", "");
  js.set_file_name(base);
  std::vector<std::string> row_labels(rows);
  for (int i = 0; i < rows; ++i) row_labels[i] = "seq" + std::to_string(i + 1);
  js.set_labels(row_labels, site_labels);
  js.write_mtx_in_javas("heatmap", copy, rows, cols, "Position", "Sequence", "Amino Acid", AA_STR,
                        {50, 60, 75, 60, 3 * cols, 50}, {1, 1, 2});
  delete[] block;
  delete[] copy;

  // The script reads the table written beside it rather than carrying the
  // alignment a second time.
  Gnuplot<float> gp("", "");
  gp.set_file_name(base);
  gp.open();
  gp.style(1600, 800, 0.8f, 0.15f, 0.15f, 0.85f);
  std::string s;
  s += "set datafile separator ',';\n";
  s += "set xlabel 'Position'; set ylabel 'Sequence'; set cblabel 'Amino Acid';\n";
  s += "set xrange [-0.5:" + std::to_string(cols) + "-0.5]; set yrange [-0.5:" + std::to_string(rows) +
       "-0.5];\n";
  s += "set xtics out nomirror; set ytics out nomirror;\n";
  s += "set cbrange [-0.5:20.5];\n";
  s += "set cbtics ('-' 0";
  for (int k = 0; k < 20; ++k) s += ",'" + std::string(1, AA_STR[k]) + "' " + std::to_string(k + 1);
  s += ");\n";
  s += residue_palette_line();
  s += "plot '" + file_part(base) + ".csv' matrix rowheaders columnheaders using 1:2:3 with image notitle;\n";
  gp.send_cmd_line(s);
  gp.close();
}

template <typename T>
void chart_site_conservation(const std::string& prefix, T** conservation, T** entropy, int sites,
                             const std::vector<std::string>& site_labels) {
  const std::string base = prefix + "_degree_of_conservation";
  Pyplot<T> py(prefix, "");
  py.plot_fig_script("degree_of_conservation", "bar", conservation, sites, 2, "Amino acid", "D_i",
                     site_labels);
  Pyplot<T> rel(prefix, "");
  std::vector<std::string> residues(20);
  for (int a = 0; a < 20; ++a) residues[a] = std::string(1, AA_STR[a]);
  rel.set_labels(residues, site_labels);
  rel.plot_fig_script("degree_of_conservation_relative_entropy", "heatmap", entropy, 20, sites, "Site",
                      "Amino acid", residues);

  Javas<T> js("", "");
  js.set_file_name(base);
  js.set_param(sites, 2, {20, 70, 35, 60, std::max(600, 4 * sites), 300, -90});
  js.set_labels(site_labels, {});
  js.plotting("bar", conservation, {"", "Amino acid", "D<sub>i</sub>"}, {}, {"false", ""});
}

template <typename T>
void chart_sequence_similarity(const std::string& base, T** table) {
  Javas<T> js("", "");
  js.set_file_name(base);
  js.set_param(100, 2, {20, 70, 35, 60, 800, 300, 0});
  js.plotting("bar", table, {"", "Identity", "Number of sequences"}, {}, {"false", ""});
  Gnuplot<T> gp("", "");
  gp.set_file_name(base);
  gp.plotting("bar", table, 100, 2, "Identity", "Number of sequences", {}, {},
              "set colorbox user origin 0.908, 0.1 size 0.03, 0.25 noborder;\n");
}

template <typename T>
void chart_evolutionary_couplings(const std::string& base, T** coupling, int L,
                                  const std::vector<std::string>& labels) {
  if (coupling == nullptr || L <= 0) return;
  // Json is a Javas page that also leaves its data as <base>.json.
  Json<T> js("", "");
  js.set_file_name(base);
  heatmap_and_chord<T>(js, base + "_chord", coupling, L, labels);

  Pyplot<T> py("", "");
  py.set_file_name(base);
  py.set_labels(labels, labels);
  py.heatmap(coupling, L, L, "Amino acid", "Amino acid");
  Rscript<T> r("", "");
  r.set_file_name(base);
  r.set_labels(labels, labels);
  r.heatmap(coupling, L, L, "Amino acid", "Amino acid");  // scale: the matrix's min to max

  // gnuplot centres a signed matrix on 0 by itself; the scale is set to the
  // matrix's own range instead (left alone when it is a single value).
  double lo = INFINITY, hi = -INFINITY;
  for (int i = 0; i < L; ++i)
    for (int j = 0; j < L; ++j)
      if (std::isfinite(static_cast<double>(coupling[i][j]))) {
        lo = std::min(lo, static_cast<double>(coupling[i][j]));
        hi = std::max(hi, static_cast<double>(coupling[i][j]));
      }
  std::string range;
  if (lo < hi) {
    char line[96];
    std::snprintf(line, sizeof line, "set cbrange [%.17g:%.17g];\n", lo, hi);
    range = line;
  }
  Gnuplot<T> gp("", "");
  gp.set_file_name(base);
  gp.set_labels(labels, labels);
  gp.plotting("heatmap", coupling, L, L, "Amino acid", "Amino acid", {}, {}, range);
}

template <typename T>
void chart_residue_communities(const std::string& base, T** p, T** csum, int n,
                               const std::vector<std::string>& labels) {
  if (n <= 0) return;
  Javas<T> heat("", "");
  heat.set_file_name(base + "_mtx");
  heatmap_and_chord<T>(heat, base + "_chord", p, n, labels);
  Javas<T> bars("", "");
  bars.set_file_name(base + "_mtx_csum");
  bars.set_param(n, 2, {20, 70, 35, 60, std::max(600, 14 * n), 300, n > 30 ? -90 : 0});
  bars.set_labels(labels, {});
  bars.plotting("bar", csum, {"", "Amino acid", "Score (sum)"}, {}, {"false", ""});
}

template void chart_evolutionary_couplings<float>(const std::string&, float**, int,
                                                  const std::vector<std::string>&);
template void chart_evolutionary_couplings<double>(const std::string&, double**, int,
                                                   const std::vector<std::string>&);
template void chart_residue_communities<float>(const std::string&, float**, float**, int,
                                               const std::vector<std::string>&);
template void chart_residue_communities<double>(const std::string&, double**, double**, int,
                                                const std::vector<std::string>&);
template void chart_site_conservation<float>(const std::string&, float**, float**, int,
                                             const std::vector<std::string>&);
template void chart_site_conservation<double>(const std::string&, double**, double**, int,
                                              const std::vector<std::string>&);
template void chart_sequence_similarity<float>(const std::string&, float**);
template void chart_sequence_similarity<double>(const std::string&, double**);

}  // namespace tevo
