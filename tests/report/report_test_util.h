// Helpers of the report tests: a scratch directory, file reading, and a
// well-formedness check of the XML that the chart writers produce.
#pragma once

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace report_test {

class Scratch {
 public:
  Scratch() {
    char name[] = "/tmp/tevo-report-XXXXXX";
    dir_ = mkdtemp(name) ? std::string(name) + "/" : "/tmp/";
  }
  ~Scratch() { std::system(("rm -rf '" + dir_ + "'").c_str()); }
  const std::string& dir() const { return dir_; }

 private:
  std::string dir_;
};

inline std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

inline bool exists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

inline bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

inline int count(const std::string& text, const std::string& word) {
  int n = 0;
  for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++n;
  return n;
}

// Rows of a table as the T** the writers take.
template <typename T>
struct Table {
  std::vector<std::vector<T>> cells;
  std::vector<T*> rows;
  Table(int n, int m, T (*f)(int, int)) : cells(n, std::vector<T>(m)) {
    for (int r = 0; r < n; ++r) {
      for (int c = 0; c < m; ++c) cells[r][c] = f(r, c);
      rows.push_back(cells[r].data());
    }
  }
  T** data() { return rows.data(); }
};

// Empty when `xml` is one well-formed element tree (tags balanced, attribute
// values quoted, no raw "<" or stray "&" in text); else what went wrong.
inline std::string xml_problem(const std::string& xml) {
  std::vector<std::string> open;
  std::size_t i = 0;
  int roots = 0;
  while (i < xml.size()) {
    const char c = xml[i];
    if (c == '&') {
      const std::size_t semi = xml.find(';', i);
      if (semi == std::string::npos || semi - i > 10) return "stray & at " + std::to_string(i);
      i = semi + 1;
      continue;
    }
    if (c != '<' && ++i) continue;
    if (xml.compare(i, 4, "<!--") == 0) {
      const std::size_t end = xml.find("-->", i);
      if (end == std::string::npos) return "open comment";
      i = end + 3;
      continue;
    }
    const std::size_t end = xml.find('>', i);
    if (end == std::string::npos) return "open tag at " + std::to_string(i);
    std::string tag = xml.substr(i + 1, end - i - 1);
    if (tag.find('<') != std::string::npos) return "< inside tag at " + std::to_string(i);
    if (count(tag, "\"") % 2) return "unbalanced quotes in <" + tag + ">";
    i = end + 1;
    if (!tag.empty() && tag[0] == '/') {
      const std::string name = tag.substr(1);
      if (open.empty() || open.back() != name) return "</" + name + "> closes " + (open.empty() ? "nothing" : open.back());
      open.pop_back();
      continue;
    }
    const bool self = !tag.empty() && tag.back() == '/';
    const std::string name = tag.substr(0, tag.find_first_of(" \t\n/"));
    if (name.empty()) return "empty tag name";
    if (open.empty()) ++roots;
    if (!self) open.push_back(name);
  }
  if (!open.empty()) return "unclosed <" + open.back() + ">";
  if (roots != 1) return std::to_string(roots) + " root elements";
  return "";
}

// The <svg>...</svg> of a chart page.
inline std::string svg_of(const std::string& page) {
  const std::size_t a = page.find("<svg"), b = page.rfind("</svg>");
  return a == std::string::npos || b == std::string::npos ? "" : page.substr(a, b + 6 - a);
}

// Texts of all <text> elements of an SVG.
inline std::vector<std::string> svg_texts(const std::string& svg) {
  std::vector<std::string> texts;
  for (std::size_t at = svg.find("<text"); at != std::string::npos; at = svg.find("<text", at + 1)) {
    const std::size_t start = svg.find('>', at) + 1, end = svg.find("</text>", start);
    std::string plain;  // tspans dropped, their text kept
    bool tag = false;
    for (const char c : svg.substr(start, end - start)) {
      if (c == '<' || c == '>') tag = c == '<';
      else if (!tag) plain += c;
    }
    texts.push_back(plain);
  }
  return texts;
}

}  // namespace report_test
