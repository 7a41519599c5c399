// Each chart type rendered by a real browser (headless Chromium, where it
// is installed): the page must paint axes, labels and coloured marks.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cmath>
#include <cstdlib>

#include "report/html.h"
#include "report/javas.h"
#include "report/pymol.h"
#include "report/record.h"
#include "report/tools.h"
#include "report_test_util.h"

using namespace tevo;

namespace {

struct Pixels {
  int width = 0, height = 0;
  std::vector<unsigned char> rgb;  // 3 bytes a pixel
};

unsigned long be32(const std::string& s, std::size_t at) {
  return (static_cast<unsigned long>(static_cast<unsigned char>(s[at])) << 24) |
         (static_cast<unsigned char>(s[at + 1]) << 16) | (static_cast<unsigned char>(s[at + 2]) << 8) |
         static_cast<unsigned char>(s[at + 3]);
}

// Decodes an 8-bit RGB or RGBA, non-interlaced PNG (what the browser writes).
bool decode_png(const std::string& file, Pixels* out) {
  if (file.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0) return false;
  std::string idat;
  int channels = 0;
  for (std::size_t at = 8; at + 8 <= file.size();) {
    const unsigned long length = be32(file, at);
    const std::string type = file.substr(at + 4, 4);
    if (at + 12 + length > file.size()) return false;
    if (type == "IHDR") {
      out->width = static_cast<int>(be32(file, at + 8));
      out->height = static_cast<int>(be32(file, at + 12));
      const int depth = file[at + 16], colour = file[at + 17], interlace = file[at + 20];
      if (depth != 8 || interlace != 0 || (colour != 2 && colour != 6)) return false;
      channels = colour == 2 ? 3 : 4;
    } else if (type == "IDAT") {
      idat += file.substr(at + 8, length);
    }
    at += 12 + length;
  }
  if (!channels) return false;
  const std::size_t stride = static_cast<std::size_t>(out->width) * channels;
  std::vector<unsigned char> raw((stride + 1) * out->height);
  uLongf size = raw.size();
  if (uncompress(raw.data(), &size, reinterpret_cast<const Bytef*>(idat.data()), idat.size()) != Z_OK) return false;
  std::vector<unsigned char> prev(stride, 0), line(stride);
  out->rgb.resize(static_cast<std::size_t>(out->width) * out->height * 3);
  for (int y = 0; y < out->height; ++y) {
    const unsigned char filter = raw[y * (stride + 1)];
    const unsigned char* src = &raw[y * (stride + 1) + 1];
    for (std::size_t i = 0; i < stride; ++i) {
      const int a = i >= static_cast<std::size_t>(channels) ? line[i - channels] : 0, b = prev[i],
                c = i >= static_cast<std::size_t>(channels) ? prev[i - channels] : 0;
      int predictor = 0;
      switch (filter) {
        case 1: predictor = a; break;
        case 2: predictor = b; break;
        case 3: predictor = (a + b) / 2; break;
        case 4: {
          const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
          predictor = pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
          break;
        }
        default: predictor = 0;
      }
      line[i] = static_cast<unsigned char>(src[i] + predictor);
    }
    for (int x = 0; x < out->width; ++x)
      for (int k = 0; k < 3; ++k) out->rgb[(static_cast<std::size_t>(y) * out->width + x) * 3 + k] = line[x * channels + k];
    prev = line;
  }
  return true;
}

struct Ink {
  long dark = 0;      // text and axes
  long coloured = 0;  // series, cells, links
};

Ink ink(const Pixels& p) {
  Ink ink;
  for (std::size_t i = 0; i + 2 < p.rgb.size(); i += 3) {
    const int r = p.rgb[i], g = p.rgb[i + 1], b = p.rgb[i + 2];
    const int hi = std::max({r, g, b}), lo = std::min({r, g, b});
    if (hi < 90) ++ink.dark;
    if (hi - lo > 60) ++ink.coloured;
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
  Pixels pixels;
  EXPECT_TRUE(decode_png(report_test::slurp(png), &pixels)) << png;
  EXPECT_EQ(pixels.width, 1000);
  return ink(pixels);
}

}  // namespace

TEST(ReportBrowser, EveryChartTypePaintsInHeadlessChromium) {
  if (find_tool("chromium").empty()) GTEST_SKIP() << "chromium is not installed";
  report_test::Scratch scratch;
  const std::string dir = scratch.dir();
  std::vector<std::vector<double>> cells(24, std::vector<double>(24));
  std::vector<double*> rows;
  for (int r = 0; r < 24; ++r) {
    for (int c = 0; c < 24; ++c)
      cells[r][c] = r == c ? 0 : std::exp(-std::abs(r - c) / 3.0) * (1 + std::sin(r * c * 0.3)) / 2;
    rows.push_back(cells[r].data());
  }
  std::vector<std::vector<double>> curves(24, std::vector<double>(3));
  std::vector<double*> curve_rows;
  for (int r = 0; r < 24; ++r) {
    curves[r] = {r + 1.0, 50 * std::exp(-r / 6.0) + 2 * std::sin(r), 10 + r * 0.8 + 3 * std::cos(r / 2.0)};
    curve_rows.push_back(curves[r].data());
  }
  std::vector<std::string> labels;
  for (int k = 0; k < 24; ++k) labels.push_back(std::string(1, "ACDEFGHIKLMNPQRSTVWY"[k % 20]) + std::to_string(k + 1));
  const std::vector<std::string> sides = {"top", "right", "bottom", "left"};
  auto make = [&](const std::string& type, const std::string& postfix) {
    Javas<double> js(dir, "job", sides);
    js.set_param(24, type == "line" || type == "scatter" || type == "bar" ? 3 : 24, 30, 25, 75, 60, 600, 400, 0);
    js.set_postfix(postfix);
    js.set_labels(labels, labels);
    js.set_legend("Weak", "Strong");
    const bool table = type == "line" || type == "scatter" || type == "bar";
    return js.plotting(type, table ? curve_rows.data() : rows.data(), {"Chart of " + type, "Amino acid", "Score <i>s</i>", "first", "second"});
  };
  std::vector<std::pair<std::string, std::string>> pages = {{"line", make("line", "line")},
                                                            {"scatter", make("scatter", "scatter")},
                                                            {"bar", make("bar", "bar")},
                                                            {"heatmap", make("heatmap", "heatmap")},
                                                            {"chord", make("chord", "_chord")}};
  std::vector<std::vector<double>> msa(12, std::vector<double>(40));
  std::vector<double*> msa_rows;
  for (int r = 0; r < 12; ++r) {
    for (int c = 0; c < 40; ++c) msa[r][c] = (r * 3 + c * 7) % 21;
    msa_rows.push_back(msa[r].data());
  }
  Javas<double> alignment(dir, "job");
  alignment.set_postfix("msa_trimmed");
  pages.push_back({"alignment", alignment.write_mtx_in_javas("heatmap", msa_rows.data(), 12, 40, "Position", "Sequence",
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
