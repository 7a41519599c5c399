// Gnuplot scripts of the alignment analyses. Each script reads the table it
// draws and renders a PNG beside it when gnuplot is run on it.
#include "sequence/sequence_charts.h"

#include "sequence/table_out.h"

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

}  // namespace

void chart_trimmed_alignment(const std::string& base, int rows, int cols) {
  const std::string name = file_part(base);
  std::string s;
  s += "set terminal pngcairo size 1600,800;\n";
  s += "set output '" + name + ".png';\n";
  s += "set datafile separator ',';\n";
  s += "set lmargin at screen 0.15; set rmargin at screen 0.85;\n";
  s += "set tmargin at screen 0.8; set bmargin at screen 0.15;\n";
  s += "set xlabel 'Position'; set ylabel 'Sequence'; set cblabel 'Amino Acid';\n";
  s += "set xrange [-0.5:" + std::to_string(cols) + "-0.5]; set yrange [-0.5:" + std::to_string(rows) +
       "-0.5];\n";
  s += "set cbrange [0:20];\n";
  s += "set cbtics ('-' 0,'A' 1,'R' 2,'N' 3,'D' 4,'C' 5,'Q' 6,'E' 7,'G' 8,'H' 9,'I' 10,'L' 11,"
       "'K' 12,'M' 13,'F' 14,'P' 15,'S' 16,'T' 17,'W' 18,'Y' 19,'V' 20);\n";
  s += residue_palette_line();
  s += "plot '" + name + ".csv' matrix rowheaders columnheaders using 1:2:3 with image notitle;\n";
  seqio::write_string(base + "_heatmap.gp", s, "w");
}

void chart_site_conservation(const std::string& base, int sites) {
  const std::string name = file_part(base);
  std::string s;
  s += "set terminal pngcairo size 1600,600;\n";
  s += "set output '" + name + ".png';\n";
  s += "set datafile separator ',';\n";
  s += "set style fill solid 0.8; set boxwidth 0.8;\n";
  s += "set xlabel 'Amino acid'; set ylabel 'D_i';\n";
  s += "set xrange [-1:" + std::to_string(sites) + "];\n";
  s += "plot '" + name + ".csv' skip 1 using 2:3 with boxes notitle;\n";
  seqio::write_string(base + ".gp", s, "w");
}

void chart_sequence_similarity(const std::string& base) {
  const std::string name = file_part(base);
  std::string s;
  s += "set terminal pngcairo size 1200,800;\n";
  s += "set output '" + name + ".png';\n";
  s += "set datafile separator ',';\n";
  s += "set colorbox user origin 0.908, 0.1 size 0.03, 0.25 noborder;\n";
  s += "set style fill solid 0.8; set boxwidth 0.008;\n";
  s += "set xlabel 'Identity'; set ylabel 'Number of sequences';\n";
  s += "plot '" + name + ".csv' skip 1 using 1:2 with boxes notitle;\n";
  seqio::write_string(base + ".gp", s, "w");
}

}  // namespace tevo
