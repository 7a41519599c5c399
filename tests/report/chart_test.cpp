// Chart pieces: escaping, round ticks, and the SVG of each chart type.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "report/chart.h"
#include "report_test_util.h"

using namespace tevo;
using report_test::count;
using report_test::has;
using report_test::svg_texts;
using report_test::xml_problem;

namespace {

bool has(const std::vector<std::string>& list, const std::string& word) {
  return std::find(list.begin(), list.end(), word) != list.end();
}

Chart chart_of(const std::string& type, std::vector<std::vector<double>> data) {
  Chart chart;
  chart.type = type;
  chart.data = std::move(data);
  return chart;
}

Chart line_chart() {
  Chart chart = chart_of("line", {});
  chart.title = "Per base <quality> & \"GC\"";
  chart.xlabel = "Position";
  chart.ylabel = "D<sub>i</sub>";
  chart.series = {"A<T", "C&G"};
  for (int i = 0; i < 30; ++i) chart.data.push_back({i + 1.0, std::sin(i / 5.0), i * 0.5});
  return chart;
}

// The "d" attribute of the first path.
std::string first_path(const std::string& svg) {
  const std::size_t d = svg.find("<path d=\"");
  return svg.substr(d, svg.find('"', d + 9) - d);
}

}  // namespace

TEST(ReportText, EscapingAndCaptionMarkup) {
  EXPECT_EQ(xml_escape("a<b & \"c\" 'd'>"), "a&lt;b &amp; &quot;c&quot; &#39;d&#39;&gt;");
  // Captions keep the program's own markup and entities ...
  EXPECT_EQ(caption_html("Contacts (< 7.50 &Aring;, C<sub>&alpha;</sub>)."),
            "Contacts (&lt; 7.50 &Aring;, C<sub>&alpha;</sub>).");
  EXPECT_EQ(caption_html("<b>MSA (<span style=\"color:#00cc00\">good quality</span>)</b>: 3"),
            "<b>MSA (<span style=\"color:#00cc00\">good quality</span>)</b>: 3");
  // ... and nothing else: scripts, attributes and odd colours are text.
  EXPECT_EQ(caption_html("<script>x()</script>"), "&lt;script&gt;x()&lt;/script&gt;");
  EXPECT_EQ(caption_html("<span style=\"color:red;background:url(x)\">t</span>"),
            "&lt;span style=&quot;color:red;background:url(x)&quot;&gt;t");
  // Unclosed tags are closed, stray closers dropped, bare & escaped.
  EXPECT_EQ(caption_html("<b><i>x"), "<b><i>x</i></b>");
  EXPECT_EQ(caption_html("x</b> R&D &#955; &#x3bb;"), "x R&amp;D &#955; &#x3bb;");
  EXPECT_EQ(label_plain("D<sub>i</sub> in &Aring; &amp; more"), "Di in \xC3\x85 & more");
}

TEST(ReportTicks, RoundStepsCoverTheRange) {
  const double ranges[][2] = {{0, 1}, {-3.7, 12.2}, {1e-5, 3e-5}, {990, 1010}, {-1, -0.2}, {5, 5}, {0, 2e6}};
  for (const auto& range : ranges) {
    double step = 0;
    const std::vector<double> ticks = nice_ticks(range[0], range[1], 6, &step);
    ASSERT_GE(ticks.size(), 2u) << range[0];
    EXPECT_LE(ticks.size(), 13u) << range[0];
    const double mantissa = step / std::pow(10.0, std::floor(std::log10(step)));
    EXPECT_TRUE(std::fabs(mantissa - 1) < 1e-9 || std::fabs(mantissa - 2) < 1e-9 || std::fabs(mantissa - 5) < 1e-9)
        << step;
    for (std::size_t k = 1; k < ticks.size(); ++k) EXPECT_NEAR(ticks[k] - ticks[k - 1], step, step * 1e-6);
    for (const double t : ticks) EXPECT_NEAR(std::round(t / step), t / step, 1e-6) << t;
  }
  double step = 0;
  bool zero = false;
  for (double t : nice_ticks(-0.3, 0.3, 5, &step)) zero |= tick_label(t, step) == "0";  // not "-5.55e-17"
  EXPECT_TRUE(zero);
  EXPECT_EQ(tick_label(0.30000000000000004, 0.1), "0.3");
  EXPECT_EQ(tick_label(2.5e-5, 5e-6), "2.5e-5");
  EXPECT_EQ(tick_label(3e6, 1e6), "3e6");
  EXPECT_EQ(log_ticks(0.01, 1000), (std::vector<double>{0.01, 0.1, 1, 10, 100, 1000}));
  EXPECT_EQ(log_ticks(1, 50), (std::vector<double>{1, 2, 5, 10, 20, 50}));
  EXPECT_TRUE(log_ticks(0, 10).empty());
}

TEST(ReportSvg, LineChartIsWellFormedWithEscapedLabelsTicksAndLegend) {
  const std::string svg = render_svg(line_chart());
  EXPECT_EQ(xml_problem(svg), "");
  const auto texts = svg_texts(svg);
  for (const char* t : {"Per base &lt;quality&gt; &amp; &quot;GC&quot;", "A&lt;T", "C&amp;G", "Di"})
    EXPECT_TRUE(has(texts, t)) << t;
  EXPECT_TRUE(has(svg, "baseline-shift=\"sub\""));
  // x 1..30 and y -1..14.5 end on the enclosing round ticks
  for (const char* tick : {"0", "5", "30", "-2", "16"}) EXPECT_TRUE(has(texts, tick)) << tick;
  EXPECT_FALSE(has(texts, "35"));
  EXPECT_EQ(count(svg, "stroke-linejoin"), 2);  // one path per series
  Chart quiet = line_chart();
  quiet.legend = false;
  EXPECT_FALSE(has(svg_texts(render_svg(quiet)), "A&lt;T"));
}

TEST(ReportSvg, LogScaleSkipsValuesThatCannotBeDrawn) {
  Chart chart = chart_of("line", {{1, 0.001}, {2, 0}, {3, -4}, {4, 10}, {5, 1000}, {6, NAN}});
  chart.ylog = true;
  const std::string svg = render_svg(chart);
  EXPECT_EQ(xml_problem(svg), "");
  for (const char* tick : {"0.001", "0.01", "1", "1000"}) EXPECT_TRUE(has(svg_texts(svg), tick)) << tick;
  // two drawable runs: (1) and (4, 5); the zero and negative value break the line
  EXPECT_EQ(count(first_path(svg), "M"), 2);
  EXPECT_EQ(count(first_path(svg), "L"), 1);
  EXPECT_FALSE(has(svg, "nan"));
}

TEST(ReportSvg, ScatterBarAndEmptyCharts) {
  Chart scatter = chart_of("scatter", {{0, 1}, {1, 2}, {2, NAN}, {3, 4}});
  scatter.groups = {"x", "y", "x", "<z>"};
  std::string svg = render_svg(scatter);
  EXPECT_EQ(xml_problem(svg), "");
  EXPECT_EQ(count(svg, "<circle"), 3 + 3);  // points + three legend marks
  EXPECT_TRUE(has(svg_texts(svg), "&lt;z&gt;"));

  Chart bar = chart_of("bar", {{2.5}, {-1}, {4}});
  bar.row_labels = {"A", "C", "D"};
  svg = render_svg(bar);
  EXPECT_EQ(xml_problem(svg), "");
  EXPECT_EQ(count(svg, "<rect x="), 3);
  for (const char* t : {"A", "C", "D", "-1", "4"}) EXPECT_TRUE(has(svg_texts(svg), t)) << t;

  svg = render_svg(chart_of("line", {}));
  EXPECT_EQ(xml_problem(svg), "");
  EXPECT_TRUE(has(svg_texts(svg), "no data to draw"));
}

TEST(ReportSvg, HeatMapsContinuousCategoricalAndRaster) {
  Chart heat = chart_of("heatmap", {{0, 0.5, 1}, {0.25, NAN, 0.75}});
  heat.legend_low = "Weak";
  heat.legend_high = "Strong";
  heat.row_labels = {"r<1>", "r2"};
  std::string svg = render_svg(heat);
  EXPECT_EQ(xml_problem(svg), "");
  EXPECT_EQ(count(svg, "<title>"), 5);  // one tooltip per finite cell
  for (const char* t : {"Weak", "Strong", "r&lt;1&gt;"}) EXPECT_TRUE(has(svg_texts(svg), t)) << t;
  EXPECT_TRUE(has(svg, sequential_colour(1)));
  EXPECT_TRUE(has(svg, sequential_colour(0)));

  Chart msa = chart_of("heatmap", {{1, 2, 0}, {1, 20, 2}});
  for (const char c : std::string("-ACDEFGHIKLMNPQRSTVWY")) msa.value_labels.push_back(std::string(1, c));
  svg = render_svg(msa);
  EXPECT_EQ(xml_problem(svg), "");
  // the legend lists the states present, no others
  for (const char* t : {"-", "A", "C", "Y"}) EXPECT_TRUE(has(svg_texts(svg), t)) << t;
  EXPECT_FALSE(has(svg_texts(svg), "W"));
  EXPECT_TRUE(has(svg, residue_palette()[20]));

  Chart big = chart_of("heatmap", std::vector<std::vector<double>>(300, std::vector<double>(200)));
  for (int r = 0; r < 300; ++r)
    for (int c = 0; c < 200; ++c) big.data[r][c] = r * c;
  svg = render_svg(big);
  EXPECT_EQ(xml_problem(svg), "");
  EXPECT_EQ(count(svg, "data:image/png;base64,iVBORw0KGgo"), 1);  // PNG signature in base64
  EXPECT_LT(svg.size(), 400000u);
}

TEST(ReportSvg, ChordKeepsPositiveLinksStrongestOnTop) {
  Chart chord = chart_of("chord", {{0, 0.9, 0, -1}, {0.9, 0, 0.1, 0}, {0, 0.1, 0, 0.5}, {-1, 0, 0.5, 0}});
  chord.row_labels = {"K1", "E2", "R3", "D4"};
  const std::string svg = render_svg(chord);
  EXPECT_EQ(xml_problem(svg), "");
  EXPECT_EQ(count(svg, "<title>"), 3);
  const std::size_t strongest = svg.find("K1 - E2"), weakest = svg.find("E2 - R3");
  ASSERT_NE(strongest, std::string::npos);
  EXPECT_LT(weakest, strongest);
  for (const char* name : {"K1", "E2", "R3", "D4"}) EXPECT_TRUE(has(svg_texts(svg), name));
}

TEST(ReportScripts, JsonAndEachToolGetTheirDataAndQuotedNames) {
  Chart chart = line_chart();
  chart.data = {{1, NAN, INFINITY}, {2.5, -3, 1e-12}};
  const std::string json = chart_json(chart);
  EXPECT_TRUE(has(json, "[1, null, null]"));
  EXPECT_TRUE(has(json, "[2.5, -3, 1e-12]"));
  EXPECT_TRUE(has(json, "\"Per base <quality> & \\\"GC\\\"\""));

  chart = line_chart();
  chart.title = "it's \"q\"";
  const std::string gp = gnuplot_script(chart, "x.png");
  EXPECT_TRUE(has(gp, "set title 'it''s \"q\"'"));
  EXPECT_TRUE(has(gp, "$values << EOD\n1 0 0\n"));
  EXPECT_EQ(count(gp, " with lines lw 2"), 2);
  EXPECT_NE(python_script(chart, "x.png").find("ax.set_title(\"it's \\\"q\\\"\")"), std::string::npos);
  const std::string r = r_script(chart, "x.png");
  EXPECT_TRUE(has(r, "main = \"it's \\\"q\\\"\""));
  EXPECT_TRUE(has(r, "nrow = 30, ncol = 3"));
  const std::string map = gnuplot_script(chart_of("mtx_3col", {{0, 1}, {1, 0}}), "c.png");
  EXPECT_TRUE(has(map, "$cells << EOD\n1 0 1\n0 1 1\nEOD"));
}

TEST(ReportSvg, LongCurvesAreReducedToWhatThePixelsShow) {
  Chart chart = chart_of("line", {});
  for (int i = 0; i < 100000; ++i) chart.data.push_back({static_cast<double>(i), i == 54321 ? 50.0 : std::sin(i / 300.0)});
  const std::string svg = render_svg(chart);
  EXPECT_EQ(xml_problem(svg), "");
  const std::string path = first_path(svg);
  EXPECT_LT(count(path, "L"), 4 * 720);  // at most four points a pixel column
  EXPECT_GT(count(path, "L"), 720);
  // the single spike survives: its y is near the top of the plot area (y = 40)
  double top = 1e9;
  for (std::size_t at = path.find(' '); at != std::string::npos; at = path.find(' ', at + 1))
    top = std::min(top, std::atof(path.c_str() + at + 1));
  EXPECT_LT(top, 60);
}
