// Structure writers: a PyMOL script and an offline SVG trace page.
#include "report/pymol.h"

#include <limits.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "report/structure_view.h"
#include "report/tools.h"

namespace tevo {

namespace {

std::string absolute(const std::string& path) {
  char buffer[PATH_MAX];
  if (realpath(path.c_str(), buffer)) return buffer;
  return path;
}

std::string residue_list(const std::vector<int>& numbers) {
  std::string out;
  for (const int n : numbers) {
    if (!out.empty()) out += "+";
    // negative residue numbers must be escaped in PyMOL selections
    out += n < 0 ? "\\" + std::to_string(n) : std::to_string(n);
  }
  return out;
}

std::string f1(double v) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.1f", v);
  return buffer;
}

// Eigenvectors of a symmetric 3x3 matrix by Jacobi rotations (Press et al.,
// Numerical Recipes, 3rd ed., section 11.1), sorted by descending eigenvalue.
void principal_axes(double a[3][3], double axes[3][3]) {
  double v[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  for (int sweep = 0; sweep < 50; ++sweep) {
    const double off = std::fabs(a[0][1]) + std::fabs(a[0][2]) + std::fabs(a[1][2]);
    if (off < 1e-12) break;
    for (int p = 0; p < 2; ++p)
      for (int q = p + 1; q < 3; ++q) {
        if (std::fabs(a[p][q]) < 1e-300) continue;
        const double theta = (a[q][q] - a[p][p]) / (2 * a[p][q]);
        const double t = (theta >= 0 ? 1 : -1) / (std::fabs(theta) + std::sqrt(theta * theta + 1));
        const double c = 1 / std::sqrt(t * t + 1), s = t * c;
        for (int k = 0; k < 3; ++k) {  // columns p, q
          const double akp = a[k][p], akq = a[k][q];
          a[k][p] = c * akp - s * akq;
          a[k][q] = s * akp + c * akq;
        }
        for (int k = 0; k < 3; ++k) {  // rows p, q
          const double apk = a[p][k], aqk = a[q][k];
          a[p][k] = c * apk - s * aqk;
          a[q][k] = s * apk + c * aqk;
        }
        for (int k = 0; k < 3; ++k) {
          const double vkp = v[k][p], vkq = v[k][q];
          v[k][p] = c * vkp - s * vkq;
          v[k][q] = s * vkp + c * vkq;
        }
      }
  }
  int order[3] = {0, 1, 2};
  std::sort(order, order + 3, [&](int i, int j) { return a[i][i] > a[j][j]; });
  for (int e = 0; e < 3; ++e)
    for (int k = 0; k < 3; ++k) axes[e][k] = v[k][order[e]];
}

struct Point {
  double u, v, depth;
};

std::string trace_view(const std::vector<TraceResidue>& trace, const std::vector<std::string>& colours,
                       const std::vector<Point>& points, double ox, double oy, double size, const std::string& caption) {
  double umin = 1e300, umax = -1e300, vmin = 1e300, vmax = -1e300, dmin = 1e300, dmax = -1e300;
  for (const Point& p : points) {
    umin = std::min(umin, p.u), umax = std::max(umax, p.u);
    vmin = std::min(vmin, p.v), vmax = std::max(vmax, p.v);
    dmin = std::min(dmin, p.depth), dmax = std::max(dmax, p.depth);
  }
  const double span = std::max({umax - umin, vmax - vmin, 1.0});
  const double scale = (size - 40) / span;
  auto sx = [&](const Point& p) { return ox + size / 2 + (p.u - (umin + umax) / 2) * scale; };
  auto sy = [&](const Point& p) { return oy + size / 2 - (p.v - (vmin + vmax) / 2) * scale; };
  auto near = [&](const Point& p) { return dmax > dmin ? (p.depth - dmin) / (dmax - dmin) : 0.5; };
  struct Segment {
    std::size_t a, b;
    double depth;
  };
  std::vector<Segment> segments;
  for (std::size_t k = 0; k + 1 < trace.size(); ++k) {
    if (trace[k].chain != trace[k + 1].chain) continue;
    const double dx = trace[k].x - trace[k + 1].x, dy = trace[k].y - trace[k + 1].y, dz = trace[k].z - trace[k + 1].z;
    if (dx * dx + dy * dy + dz * dz > 4.5 * 4.5) continue;  // a chain break
    segments.push_back({k, k + 1, (points[k].depth + points[k + 1].depth) / 2});
  }
  std::sort(segments.begin(), segments.end(), [](const Segment& a, const Segment& b) { return a.depth < b.depth; });
  std::string out = "<g class=\"view\">\n<rect x=\"" + f1(ox) + "\" y=\"" + f1(oy) + "\" width=\"" + f1(size) +
                    "\" height=\"" + f1(size) + "\" fill=\"#fbfbfb\" stroke=\"#ddd\"/>\n";
  // far segments first; nearer ones are wider and darker (depth cueing)
  for (const Segment& s : segments) {
    const double t = near(points[s.a]) * 0.5 + near(points[s.b]) * 0.5;
    for (int half = 0; half < 2; ++half) {
      const std::size_t from = half ? s.b : s.a;
      const Point& p = points[from];
      const Point mid{(points[s.a].u + points[s.b].u) / 2, (points[s.a].v + points[s.b].v) / 2, 0};
      const std::string colour = colours[from].empty() ? "#9AA3AD" : colours[from];
      out += "<line x1=\"" + f1(sx(p)) + "\" y1=\"" + f1(sy(p)) + "\" x2=\"" + f1(sx(mid)) + "\" y2=\"" + f1(sy(mid)) +
             "\" stroke=\"" + colour + "\" stroke-width=\"" + f1(2 + 3 * t) + "\" stroke-opacity=\"" +
             f1(0.45 + 0.55 * t) + "\" stroke-linecap=\"round\"/>\n";
    }
  }
  for (std::size_t k = 0; k < trace.size(); ++k) {
    if (colours[k].empty()) continue;
    const TraceResidue& r = trace[k];
    std::string tip = r.name + " " + std::to_string(r.number);
    if (r.chain != ' ') tip += " chain " + std::string(1, r.chain);
    out += "<circle cx=\"" + f1(sx(points[k])) + "\" cy=\"" + f1(sy(points[k])) + "\" r=\"" + f1(3 + 2 * near(points[k])) +
           "\" fill=\"" + colours[k] + "\" stroke=\"#333\" stroke-width=\"0.6\"><title>" + xml_escape(tip) +
           "</title></circle>\n";
  }
  out += "<text x=\"" + f1(ox + 8) + "\" y=\"" + f1(oy + 18) + "\" font-size=\"12\" fill=\"#555\">" +
         xml_escape(caption) + "</text>\n</g>\n";
  return out;
}

}  // namespace

template <typename T>
Pymol<T>::Pymol(const std::string& output, const std::string& jobname) : ChartWriter(output, jobname) {}

template <typename T>
bool Pymol<T>::plotting(const std::string& pdb, const std::vector<std::vector<int>>& groups,
                        const std::vector<std::string>& names, const std::string& chain) {
  ResidueGroups set{groups, names, colours, chain};
  const std::vector<TraceResidue> trace = read_ca_trace(pdb);  // also checks that the file opens
  residue_colours(trace, set);
  std::string s = "# PyMOL script: pymol -cq " + base_of(stem) + ".pml writes " + base_of(stem) + ".png\n";
  s += "load " + absolute(pdb) + ", structure\n";
  s += "hide everything\nshow cartoon\nset cartoon_transparency, 0.1\nbg_color white\n";
  s += "color grey80, structure\n";
  const std::string chains = chain.empty() ? "" : [&] {
    std::string out = " and chain ";
    for (std::size_t k = 0; k < chain.size(); ++k) out += (k ? "+" : "") + std::string(1, chain[k]);
    return out;
  }();
  for (std::size_t g = 0; g < set.residues.size(); ++g) {
    if (set.residues[g].empty()) continue;
    const std::string name = selection_name(set.names[g], g);
    s += "select " + name + ", structure" + chains + " and resi " + residue_list(set.residues[g]) + "\n";
    s += "color 0x" + set.colours[g].substr(1) + ", " + name + "\n";
    s += "show sticks, " + name + " and not name N+C+O\n";
  }
  s += "deselect\norient structure\nset ray_opaque_background, 1\n";
  s += "png " + base_of(stem) + ".png, width=1200, height=900, dpi=150, ray=1\n";
  const std::string path = stem + ".pml";
  write_text_file(path, s);
  return run_tool(find_tool("pymol"), "-cq", path);
}

template <typename T>
NGL<T>::NGL(const std::string& output, const std::string& jobname) : ChartWriter(output, jobname) {}

template <typename T>
std::string NGL<T>::plotting(const std::string& pdb, const std::vector<std::vector<int>>& groups,
                             const std::vector<std::string>& names, const std::string& chain) {
  ResidueGroups set{groups, names, colours, chain};
  const std::vector<TraceResidue> trace = read_ca_trace(pdb);
  const std::vector<std::string> residue_colour = residue_colours(trace, set);
  const std::string title = chart.title.empty() ? "Structure of " + base_of(pdb) : chart.title;
  const double size = 420;
  // Legend in a row under the title, the two views side by side below it.
  double legend_row = 48;
  std::string legend;
  {
    double lx = 12;
    for (std::size_t g = 0; g <= set.residues.size(); ++g) {
      const bool rest = g == set.residues.size();
      const std::string label = rest ? "other residues" : set.names[g] + " (" + std::to_string(set.residues[g].size()) + ")";
      const double width = 30 + 7.2 * label.size();
      if (lx + width > 2 * size + 20) lx = 12, legend_row += 20;
      if (rest)
        legend += "<line x1=\"" + f1(lx) + "\" x2=\"" + f1(lx + 12) + "\" y1=\"" + f1(legend_row - 4) + "\" y2=\"" +
                  f1(legend_row - 4) + "\" stroke=\"#9AA3AD\" stroke-width=\"4\"/>\n";
      else
        legend += "<circle cx=\"" + f1(lx + 6) + "\" cy=\"" + f1(legend_row - 4) + "\" r=\"6\" fill=\"" + set.colours[g] +
                  "\" stroke=\"#333\" stroke-width=\"0.6\"/>\n";
      legend += "<text x=\"" + f1(lx + 18) + "\" y=\"" + f1(legend_row) + "\">" + xml_escape(label) + "</text>\n";
      lx += width;
    }
  }
  const double top = legend_row + 14;
  std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + f1(2 * size + 30) + "\" height=\"" +
                    f1(top + size + 30) + "\" font-family=\"DejaVu Sans, Helvetica, Arial, sans-serif\" role=\"img\">\n";
  svg += "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
  svg += "<text x=\"10\" y=\"24\" font-size=\"17\" font-weight=\"bold\">" + xml_escape(title) + "</text>\n";
  if (trace.empty()) {
    svg += "<text x=\"10\" y=\"" + f1(top + 30) + "\" font-size=\"14\" fill=\"#888\">no alpha-carbon atoms in " +
           xml_escape(base_of(pdb)) + "</text>\n";
  } else {
    double centre[3] = {0, 0, 0};
    for (const auto& r : trace) centre[0] += r.x, centre[1] += r.y, centre[2] += r.z;
    for (double& c : centre) c /= trace.size();
    double cov[3][3] = {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
    for (const auto& r : trace) {
      const double d[3] = {r.x - centre[0], r.y - centre[1], r.z - centre[2]};
      for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) cov[i][j] += d[i] * d[j];
    }
    double axes[3][3];
    principal_axes(cov, axes);
    std::vector<Point> front, side;
    for (const auto& r : trace) {
      const double d[3] = {r.x - centre[0], r.y - centre[1], r.z - centre[2]};
      double p[3];
      for (int e = 0; e < 3; ++e) p[e] = d[0] * axes[e][0] + d[1] * axes[e][1] + d[2] * axes[e][2];
      front.push_back({p[0], p[1], p[2]});
      side.push_back({p[2], p[1], -p[0]});  // turned 90 degrees about the second axis
    }
    svg += "<g font-size=\"12\">\n" + legend + "</g>\n";
    svg += trace_view(trace, residue_colour, front, 10, top, size, "front");
    svg += trace_view(trace, residue_colour, side, size + 20, top, size, "side (turned 90\xC2\xB0)");
    svg += "<text x=\"10\" y=\"" + f1(top + size + 20) + "\" font-size=\"11\" fill=\"#666\">" +
           xml_escape(std::to_string(trace.size()) + " residues, alpha-carbon trace along the principal axes; "
                      "nearer parts are drawn wider and darker") +
           "</text>\n";
  }
  svg += "</svg>\n";
  std::string page = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" + xml_escape(title) +
                     "</title>\n<style>body{margin:16px;font-family:DejaVu Sans,Helvetica,Arial,sans-serif;color:#222}"
                     ".chart{overflow-x:auto}</style>\n</head>\n<body>\n<div class=\"chart\">\n" +
                     std::string(kChartBegin) + "\n" + svg + kChartEnd + "\n</div>\n</body>\n</html>\n";
  write_text_file(stem + ".html", page);
  return stem + ".html";
}

template class Pymol<float>;
template class Pymol<double>;
template class NGL<float>;
template class NGL<double>;

}  // namespace tevo
