// Each chart type rendered by a real browser (headless Chromium, where it
// is installed): the page must paint axes, labels and coloured marks.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "report/html.h"
#include "report/javas.h"
#include "report/pymol.h"
#include "report/record.h"
#include "report/tools.h"
#include "report_test_util.h"

using namespace tevo;
using report_test::Table;

namespace {

unsigned long be32(const std::string& s, std::size_t at) {
  unsigned long v = 0;
  for (int k = 0; k < 4; ++k) v = v << 8 | static_cast<unsigned char>(s[at + k]);
  return v;
}

// Dark (text, axes) and coloured (series, cells, links) pixels of an 8-bit
// RGB or RGBA, non-interlaced PNG (what the browser writes); -1 if not one.
struct Ink {
  long dark = -1, coloured = -1;
};

Ink ink_of_png(const std::string& file, int* width) {
  Ink ink;
  if (file.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0) return ink;
  std::string idat;
  int channels = 0, height = 0;
  for (std::size_t at = 8; at + 12 <= file.size(); at += 12 + be32(file, at)) {
    const std::string type = file.substr(at + 4, 4);
    if (type == "IHDR") {
      *width = static_cast<int>(be32(file, at + 8));
      height = static_cast<int>(be32(file, at + 12));
      const int depth = file[at + 16], colour = file[at + 17], interlace = file[at + 20];
      if (depth != 8 || interlace != 0 || (colour != 2 && colour != 6)) return ink;
      channels = colour == 2 ? 3 : 4;
    } else if (type == "IDAT") {
      idat += file.substr(at + 8, be32(file, at));
    }
  }
  const std::size_t stride = static_cast<std::size_t>(*width) * channels;
  std::vector<unsigned char> raw((stride + 1) * height), prev(stride, 0), line(stride);
  uLongf size = raw.size();
  if (!channels || uncompress(raw.data(), &size, reinterpret_cast<const Bytef*>(idat.data()), idat.size()) != Z_OK)
    return ink;
  ink = {0, 0};
  for (int y = 0; y < height; ++y) {
    const unsigned char filter = raw[y * (stride + 1)], *src = &raw[y * (stride + 1) + 1];
    for (std::size_t i = 0; i < stride; ++i) {  // undo the PNG row filters
      const bool left = i >= static_cast<std::size_t>(channels);
      const int a = left ? line[i - channels] : 0, b = prev[i], c = left ? prev[i - channels] : 0;
      const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
      const int predictor = filter == 1 ? a : filter == 2 ? b : filter == 3 ? (a + b) / 2
                          : filter == 4 ? (pa <= pb && pa <= pc ? a : pb <= pc ? b : c) : 0;
      line[i] = static_cast<unsigned char>(src[i] + predictor);
    }
    for (std::size_t x = 0; x < stride; x += channels) {
      const int hi = std::max({line[x], line[x + 1], line[x + 2]}), lo = std::min({line[x], line[x + 1], line[x + 2]});
      ink.dark += hi < 90;
      ink.coloured += hi - lo > 60;
    }
    prev = line;
  }
  return ink;
}

Ink screenshot(const std::string& page, const std::string& png) {
  report_test::Scratch profile;
  const std::string command = "timeout 90 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
                              "--disable-background-networking --disable-component-update --disable-sync --user-data-dir=" +
                              shell_quote(profile.dir()) + " --screenshot=" + shell_quote(png) +
                              " --window-size=1000,800 " + shell_quote("file://" + page) + " >/dev/null 2>&1";
  EXPECT_EQ(std::system(command.c_str()), 0) << page;
  int width = 0;
  const Ink ink = ink_of_png(report_test::slurp(png), &width);
  EXPECT_EQ(width, 1000) << png;
  return ink;
}

}  // namespace

TEST(ReportBrowser, EveryChartTypePaintsInHeadlessChromium) {
  if (find_tool("chromium").empty()) GTEST_SKIP() << "chromium is not installed";
  report_test::Scratch scratch;
  const std::string dir = scratch.dir();
  Table<double> cells(24, 24, [](int r, int c) {
    return r == c ? 0 : std::exp(-std::abs(r - c) / 3.0) * (1 + std::sin(r * c * 0.3)) / 2;
  });
  Table<double> curves(24, 3, [](int r, int c) {
    return c == 0 ? r + 1.0 : c == 1 ? 50 * std::exp(-r / 6.0) + 2 * std::sin(r) : 10 + r * 0.8 + 3 * std::cos(r / 2.0);
  });
  Table<double> msa(12, 40, [](int r, int c) { return static_cast<double>((r * 3 + c * 7) % 21); });
  std::vector<std::string> labels;
  for (int k = 0; k < 24; ++k) labels.push_back(std::string(1, "ACDEFGHIKLMNPQRSTVWY"[k % 20]) + std::to_string(k + 1));
  const std::vector<std::string> sides = {"top", "right", "bottom", "left"};
  auto make = [&](const std::string& type, const std::string& postfix) {
    const bool table = type == "line" || type == "scatter" || type == "bar";
    Javas<double> js(dir, "job", sides);
    js.set_param(24, table ? 3 : 24, 30, 25, 75, 60, 600, 400, 0);
    js.set_postfix(postfix);
    js.set_labels(labels, labels);
    js.set_legend("Weak", "Strong");
    return js.plotting(type, (table ? curves : cells).rows.data(),
                       {"Chart of " + type, "Amino acid", "Score <i>s</i>", "first", "second"});
  };
  std::vector<std::pair<std::string, std::string>> pages;
  for (const std::string type : {"line", "scatter", "bar", "heatmap", "chord"})
    pages.push_back({type, make(type, type == "chord" ? "_chord" : type)});
  Javas<double> alignment(dir, "job");
  alignment.set_postfix("msa_trimmed");
  pages.push_back({"alignment", alignment.write_mtx_in_javas("heatmap", msa.rows.data(), 12, 40, "Position", "Sequence",
                                                              "Amino Acid", "-ACDEFGHIKLMNPQRSTVWY", {50, 60, 75, 60, 120, 50},
                                                              {1, 1, 2})});
  NGL<double> ngl(dir, "job");
  ngl.set_postfix("structure");
  pages.push_back({"structure", ngl.plotting(TEVO_TEST_DATA "/report/1ubq_ca.pdb", {{1, 2, 3, 4, 5, 6, 7}, {40, 41, 42, 43}},
                                             {"strand", "loop"})});
  append_record_block(record_path(dir, "job"), "1-1-1-0", "Line", "A <b>line</b> chart.", "line");
  append_record_block(record_path(dir, "job"), "1-1-1-3", "Structure", "Groups on the structure.", "structure");
  HTML<double> report(dir, "job");
  report.report();
  pages.push_back({"report", report.path});

  for (const auto& page : pages) {
    const std::string png = dir + page.first + ".png";
    const Ink seen = screenshot(page.second, png);
    // Axis lines and labels put dark pixels on the page, the data coloured ones.
    EXPECT_GT(seen.dark, 400) << page.first;
    EXPECT_GT(seen.coloured, 800) << page.first;
    if (const char* keep = std::getenv("TEVO_KEEP_SCREENSHOTS")) {
      const std::string copy = "cp " + shell_quote(png) + " " + shell_quote(std::string(keep) + "/" + page.first + ".png");
      EXPECT_EQ(std::system(copy.c_str()), 0);
    }
  }
}
