// Table readers and writers over delimited text, line lists, output names
// and file headers. Tables are read in large blocks and parsed in place.
#include "util/files.h"

#include <sys/stat.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>

#include "util/bz2_stream.h"
#include "util/console.h"
#include "util/identity.h"

namespace tevo {

// ---- Numbers from text --------------------------------------------------------

namespace {

constexpr double kPow10[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                             1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

inline bool is_digit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

double parse_double(const char* text) {
  // Exact short path (Clinger 1990): a mantissa below 2^53 and a power of
  // ten up to 1e22 are both exact doubles, so one multiplication or division
  // rounds correctly, as strtod does. Everything else goes to strtod.
  const char* p = text;
  bool negative = false;
  if (*p == '-' || *p == '+') negative = *p++ == '-';
  const char* digits_start = p;
  while (*p == '0') ++p;  // leading zeros carry no digit
  const char* significant = p;
  std::uint64_t mantissa = 0;  // may wrap past 19 digits; then strtod is used instead
  for (; is_digit(*p); ++p) mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
  long digits = p - significant;
  int exponent = 0;
  bool any = p > digits_start;
  if (*p == '.') {
    const char* fraction = ++p;
    if (digits == 0)
      while (*p == '0') ++p;  // zeros right of the point before the first digit
    const char* first = p;
    for (; is_digit(*p); ++p) mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
    digits += p - first;
    exponent = -static_cast<int>(std::min<long>(p - fraction, 100000));
    any = any || p > fraction;
  }
  if (digits > 19) return std::strtod(text, nullptr);
  if (!any) return std::strtod(text, nullptr);
  if (*p == 'e' || *p == 'E') {
    const char* q = p + 1;
    bool minus = false;
    if (*q == '-' || *q == '+') minus = *q++ == '-';
    if (is_digit(*q)) {
      int value = 0;
      for (; is_digit(*q); ++q)
        if (value < 100000) value = value * 10 + (*q - '0');
      exponent += minus ? -value : value;
      p = q;
    }
  }
  if (*p != '\0') return std::strtod(text, nullptr);  // hex, trailing text: strtod decides
  if (mantissa == 0) return negative ? -0.0 : 0.0;
  if (mantissa > (std::uint64_t(1) << 53) || exponent < -22 || exponent > 22)
    return std::strtod(text, nullptr);
  double value = static_cast<double>(mantissa);
  value = exponent < 0 ? value / kPow10[-exponent] : value * kPow10[exponent];
  return negative ? -value : value;
}

template <>
double narrow_number<double>(double value) {
  return value;
}

template <>
float narrow_number<float>(double value) {
  constexpr double kMax = std::numeric_limits<float>::max();
  if (value > kMax) return std::numeric_limits<float>::infinity();
  if (value < -kMax) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(value);
}

template <>
int narrow_number<int>(double value) {
  if (std::isnan(value)) return 0;
  if (value >= 2147483647.0) return INT_MAX;
  if (value <= -2147483648.0) return INT_MIN;
  return static_cast<int>(value);
}

// ---- Line and table reading ---------------------------------------------------

namespace {

constexpr std::size_t kBlock = std::size_t(4) << 20;

}  // namespace

bool LineReader::open(const std::string& file, bool bzip2) {
  file_ = file;
  fp_ = std::fopen(file.c_str(), bzip2 ? "rb" : "r");
  if (fp_ == nullptr) return false;
  struct stat st;
  const bool known = fstat(fileno(fp_), &st) == 0;
  if (known && S_ISDIR(st.st_mode)) {
    std::fclose(fp_);
    fp_ = nullptr;
    return false;
  }
  // Small plain files get a buffer of their own size; it grows if needed.
  capacity_ = kBlock + 1;
  if (!bzip2 && known && S_ISREG(st.st_mode)) file_size_ = static_cast<std::size_t>(st.st_size);
  if (!bzip2 && known && S_ISREG(st.st_mode))
    capacity_ = std::min<std::size_t>(capacity_, std::max<std::size_t>(static_cast<std::size_t>(st.st_size) + 2, 256));
  if (bzip2) {
    bz_ = bz2_stream_open(fp_, file);  // owns fp_ from here on
    fp_ = nullptr;
    if (bz_ == nullptr) return false;
  }
  buffer_ = new char[capacity_];
  return true;
}

LineReader::~LineReader() {
  delete[] buffer_;
  if (fp_ != nullptr) std::fclose(fp_);
  bz2_stream_close(bz_);
}

std::size_t LineReader::fill(char* into, std::size_t room) {
  if (bz_ != nullptr) return bz2_stream_read(bz_, into, room);
  if (fp_ == nullptr) return 0;
  const std::size_t got = std::fread(into, 1, room, fp_);
  if (got < room && std::ferror(fp_)) {
    print_info(file_ + ": read error (" + std::strerror(errno) + ")", 9);
    std::exit(1);
  }
  return got;
}

bool LineReader::next(char** begin, char** end) {
  for (;;) {
    char* buf = buffer_;
    if (pos_ < end_) {
      char* start = buf + pos_;
      char* feed = static_cast<char*>(std::memchr(start, '\n', end_ - pos_));
      if (feed != nullptr) {
        *begin = start;
        *end = feed;
        consumed_ += static_cast<std::size_t>(feed - start) + 1;
        pos_ = static_cast<std::size_t>(feed - buf) + 1;
        ++line_;
        return true;
      }
    }
    if (eof_) {
      if (pos_ >= end_) return false;
      *begin = buf + pos_;  // a last line without a line feed; the spare byte follows
      *end = buf + end_;
      pos_ = end_;
      ++line_;
      return true;
    }
    const std::size_t rest = end_ - pos_;
    if (pos_ > 0) {
      std::memmove(buf, buf + pos_, rest);
      pos_ = 0;
      end_ = rest;
    }
    if (end_ + 1 >= capacity_) {  // one line fills the buffer: make room
      char* wider = new char[capacity_ * 2];
      std::memcpy(wider, buf, end_);
      delete[] buffer_;
      buffer_ = buf = wider;
      capacity_ *= 2;
    }
    const std::size_t got = fill(buf + end_, capacity_ - 1 - end_);
    if (got == 0) eof_ = true;
    end_ += got;
  }
}

void fail_to_load(const std::string& file) {
  std::printf("\n-- \033[1;31mError: I cannot load data from: <%s>\033[0m\n", file.c_str());
  std::fflush(stdout);
  std::exit(1);
}

TableReader::TableReader(const std::string& file, char delimiter, bool bzip2) : delimiter_(delimiter) {
  if (!lines_.open(file, bzip2)) fail_to_load(file);
}

std::size_t TableReader::expected_rows(std::size_t rows_so_far) const {
  if (lines_.file_size() == 0 || lines_.consumed() == 0) return 0;
  const double per_row = static_cast<double>(lines_.consumed()) / static_cast<double>(rows_so_far);
  return static_cast<std::size_t>(static_cast<double>(lines_.file_size()) / per_row * 1.02) + 16;
}

bool TableReader::next() {
  char *b, *e;
  while (lines_.next(&b, &e)) {
    if (b == e || *b == '#') continue;
    fields_.clear();
    lengths_.clear();
    const char delimiter = delimiter_;
    char* s = b;
    for (;;) {
      // Fields are short: one plain scan finds the delimiter or an embedded NUL.
      char* d = s;
      while (d < e && *d != delimiter && *d != '\0') ++d;
      char* hi = d;
      if (d < e && *d == '\0') {  // the field ends at the NUL; its rest is dropped
        d = static_cast<char*>(std::memchr(d, delimiter, static_cast<std::size_t>(e - d)));
        if (d == nullptr) d = e;
      }
      if (d > s) {  // empty fields are dropped
        char* lo = s;
        // Every trimmed character is at most ' ': test once before the passes.
        if (lo < hi && static_cast<unsigned char>(*lo) <= ' ')
          for (char c : {'\t', '\v', '\f', ' '})
            while (lo < hi && *lo == c) ++lo;
        if (hi > lo && static_cast<unsigned char>(hi[-1]) <= ' ')
          for (char c : {'\t', '\n', '\v', '\f', '\r', ' '})
            while (hi > lo && hi[-1] == c) --hi;
        *hi = '\0';  // hi <= d: the delimiter, a trimmed byte or the line end
        fields_.push_back(lo);
        lengths_.push_back(static_cast<std::size_t>(hi - lo));
      }
      if (d == e) break;
      s = d + 1;
    }
    return true;
  }
  return false;
}

template <typename T>
void read_matrix_from_file(std::vector<std::vector<T>>& matrix, const std::string& file, char delimiter,
                           std::vector<long>* lines) {
  TableReader reader(file, delimiter);
  while (reader.next()) {
    const int n = reader.size();
    std::vector<T> row(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) row[i] = narrow_number<T>(reader.value(i));
    matrix.push_back(std::move(row));
    if (lines != nullptr) lines->push_back(reader.line());
    if (matrix.size() == 4096) {  // size the table once instead of doubling it
      const std::size_t expect = reader.expected_rows(4096);
      if (expect > matrix.capacity()) matrix.reserve(expect);
      if (lines != nullptr && expect > lines->capacity()) lines->reserve(expect);
    }
  }
}

bool for_each_number_token(const std::string& file, const std::function<void(const char*, long)>& take) {
  LineReader lines;
  if (!lines.open(file, false)) return false;
  static const char kSeparators[] = " \t,\r\v\f";
  char *b, *e;
  while (lines.next(&b, &e)) {
    if (b == e || *b == '#') continue;
    *e = '\0';
    char* p = b;
    while (p < e) {
      p += std::strspn(p, kSeparators);
      if (p >= e) break;
      char* stop = p + std::strcspn(p, kSeparators);
      const char saved = *stop;
      *stop = '\0';
      take(p, lines.line());
      *stop = saved;
      p = stop;
    }
  }
  return true;
}

template <typename T>
long read_matrix_from_file(T* out, const std::string& file, const std::string& name, long capacity) {
  std::printf("-- Loading %s probilities ... ", name.c_str());
  std::fflush(stdout);
  long count = 0;
  const bool opened = for_each_number_token(file, [&](const char* token, long line) {
    if (count >= capacity) {
      std::printf("\n");
      print_info(file + " line " + std::to_string(line) + ": more than " + std::to_string(capacity) + " numbers", 9);
      std::exit(1);
    }
    out[count++] = narrow_number<T>(parse_double(token));
  });
  if (!opened) {
    std::printf("Error: I cannot open file: %s\n", file.c_str());
    std::exit(1);
  }
  std::printf("done.\n");
  return count;
}

template <typename T>
void read_matrix_from_bz2file(std::vector<std::vector<T>>& matrix, const std::string& file, char delimiter) {
  TableReader reader(file, delimiter, true);
  while (reader.next()) {
    std::vector<T> row(static_cast<std::size_t>(reader.size()));
    for (int i = 0; i < reader.size(); ++i) row[i] = narrow_number<T>(reader.value(i));
    matrix.push_back(std::move(row));
  }
}

std::vector<std::string> read_matrix_from_bz2file(const std::string& file, char line_end) {
  std::string text;
  Bz2Handle* handle = bz2_open(file);
  if (handle == nullptr) fail_to_load(file);
  bz2_read(text, handle);
  bz2_close(handle);
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t stop = text.find(line_end, start);
    if (stop == std::string::npos) stop = text.size();
    if (stop > start && text[start] != '#') lines.emplace_back(text, start, stop - start);
    start = stop + 1;
  }
  return lines;
}

template <typename T>
void read_matrix_w_index(std::vector<std::vector<T>>& matrix, std::vector<std::string>& labels,
                         const std::string& file, int skip, char delimiter) {
  const int text_fields = std::max(skip, 1);
  TableReader reader(file, delimiter);
  while (reader.next()) {
    const int n = reader.size();
    const int label = std::min(text_fields, n) - 1;
    labels.emplace_back(label >= 0 ? std::string(reader.text(label)) : std::string());
    std::vector<T> row;
    for (int i = text_fields; i < n; ++i) row.push_back(narrow_number<T>(reader.value(i)));
    matrix.push_back(std::move(row));
  }
}

template <typename T>
void read_matrix_from_atgc_file(std::vector<std::string>& labels, std::vector<std::vector<T>>& matrix,
                                const std::string& file, char delimiter) {
  TableReader reader(file, delimiter);
  while (reader.next()) {
    if (reader.line() == 1) continue;  // the heading
    const int n = reader.size();
    labels.emplace_back(n > 0 ? std::string(reader.text(0)) : std::string());
    std::vector<T> row;
    for (int i = 1; i < n; ++i) row.push_back(narrow_number<T>(reader.value(i)));
    matrix.push_back(std::move(row));
  }
}

// ---- Writing ------------------------------------------------------------------

namespace {

std::FILE* open_for_writing(const std::string& name, const char* mode) {
  std::FILE* fp = std::fopen(name.c_str(), mode);
  if (fp == nullptr) {
    print_info(name + " (" + std::strerror(errno) + ")", 7);
    std::exit(1);
  }
  return fp;
}

// A write that failed on the way (full disk, I/O error) shows up in the
// stream's error flag or in fclose; either ends the run.
void close_written(std::FILE* fp, const std::string& name, bool truncated_on_open) {
  errno = 0;
  const bool failed_before = std::ferror(fp) != 0;
  const int before = errno;
  const int closed = std::fclose(fp);
  const int after = errno;
  if (!failed_before && closed == 0) return;
  const int code = after != 0 ? after : before;
  print_info(name + " (" + (code != 0 ? std::strerror(code) : "write failed") + ")", 7);
  struct stat st;
  // No half-written file is left behind (devices and pipes are not files to remove).
  if (truncated_on_open && stat(name.c_str(), &st) == 0 && S_ISREG(st.st_mode)) std::remove(name.c_str());
  std::exit(1);
}

bool truncates(const std::string& mode) { return !mode.empty() && mode[0] == 'w'; }

struct CellFormat {
  std::string cell;   // "%.<d><letter>"
  std::string bare;   // "%1.<letter>"
  std::string dense;  // mode 1: cell, or "%<letter>" for integers
  bool integer = false;
};

CellFormat make_format(const std::string& letter, int decimals) {
  static const char* const kReal[] = {"f", "F", "e", "E", "g", "G", "a", "A"};
  CellFormat f;
  std::string l = letter;
  f.integer = (l == "i" || l == "d");
  if (!f.integer && std::find(std::begin(kReal), std::end(kReal), l) == std::end(kReal)) l = "f";
  f.cell = "%." + std::to_string(std::max(decimals, 0)) + l;
  f.bare = "%1." + l;
  f.dense = f.integer ? "%" + l : f.cell;
  return f;
}

template <typename T>
void put_number(std::FILE* fp, const std::string& format, bool integer, T value) {
  if (integer)
    std::fprintf(fp, format.c_str(), narrow_number<int>(static_cast<double>(value)));
  else
    std::fprintf(fp, format.c_str(), static_cast<double>(value));
}

void put_header(std::FILE* fp, const std::string& header, const std::string& mark) {
  if (header.empty()) return;
  std::string text = header, prefix = mark;
  copyright(text, prefix);
  std::fprintf(fp, "%s\n", text.c_str());
}

}  // namespace

void copyright(std::string& text, std::string& prefix) {
  prefix += " ";
  text = prefix + text + "\n" + prefix + "TEVANA (Tevo version " + kVersion + ") \n" + prefix + kContact + "\n";
}

void copyright(std::string& text, const char* prefix) {
  std::string p = prefix;
  copyright(text, p);
}

template <typename T>
void write_matrix(std::string& file, const T* const* m, int rows, int cols, int mode, const std::string& header,
                  const std::string& delimiter, const std::string& extension, const std::string& letter,
                  int decimals, const int* row_ids, const int* col_ids) {
  file += extension;
  std::FILE* fp = open_for_writing(file, "w");
  put_header(fp, header, "#");
  if (rows < 1) {
    std::fputc('\n', fp);
    close_written(fp, file, true);
    return;
  }
  const CellFormat f = make_format(letter, decimals);
  const char* sep = delimiter.c_str();
  for (int i = 0; i < rows; ++i) {
    const T* row = m[i];
    for (int j = 0; j < cols; ++j) {
      const T v = row[j];
      switch (mode) {
        case 0:
          put_number(fp, (j == 0 || v == 0) ? f.bare : f.cell, f.integer, v);
          if (j < cols - 1)
            std::fputs(sep, fp);
          else
            std::fputc('\n', fp);
          break;
        case 1:
          put_number(fp, f.dense, f.integer, v);
          if (j < cols - 1)
            std::fputs(sep, fp);
          else
            std::fputc('\n', fp);
          break;
        case 2:
        case 4:
          if (v == 0) break;
          if (mode == 2)
            std::fprintf(fp, "%i%s%i%s", row_ids ? row_ids[i] : i + 1, sep, col_ids ? col_ids[j] : j + 1, sep);
          else
            std::fprintf(fp, "%i%s%i%s", i, sep, j, sep);
          put_number(fp, f.dense, f.integer, v);
          std::fputc('\n', fp);
          break;
        default:
          break;
      }
    }
  }
  std::fputc('\n', fp);
  close_written(fp, file, true);
}

template <typename T>
void write_matrix_w_index(const std::string& file, const T* const* m, int rows, int cols,
                          const std::vector<std::string>& index, const std::vector<std::string>& labels,
                          const std::string& delimiter, const std::string& extension, const std::string& letter,
                          int decimals, const std::string& header) {
  const std::string name = file + extension;
  std::FILE* fp = open_for_writing(name, "w");
  put_header(fp, header, "#");
  if (!index.empty()) {
    for (std::size_t k = 0; k < index.size(); ++k) {
      if (k > 0) std::fputs(delimiter.c_str(), fp);
      std::fputs(index[k].c_str(), fp);
    }
    std::fputc('\n', fp);
  }
  const CellFormat f = make_format(letter, decimals);
  for (int i = 0; i < rows; ++i) {
    if (!labels.empty())
      std::fprintf(fp, "%s,", static_cast<std::size_t>(i) < labels.size() ? labels[i].c_str() : "");
    for (int j = 0; j < cols; ++j) {
      if (j > 0) std::fputs(delimiter.c_str(), fp);
      put_number(fp, f.dense, f.integer, m[i][j]);
    }
    std::fputc('\n', fp);
  }
  close_written(fp, name, true);
}

template <typename T>
void write_vector(const std::string& file, const T* v, int n, const std::string& header, const std::string&,
                  const std::string& extension, const std::string& letter, const std::string& mode, int decimals,
                  const std::string& title) {
  const std::string name = file + extension;
  std::FILE* fp = open_for_writing(name, mode.c_str());
  put_header(fp, header, "#");
  if (!title.empty()) std::fprintf(fp, "%s\n", title.c_str());
  const CellFormat f = make_format(letter, decimals);
  for (int i = 0; i < n; ++i) {
    put_number(fp, f.dense, f.integer, v[i]);
    std::fputc('\n', fp);
  }
  close_written(fp, name, truncates(mode));
}

void write_string(const std::string& name, const std::string& text, const std::string& mode,
                  const std::string& header, const std::string& mark, const std::string& end,
                  const std::string& extension) {
  const std::string path = name + extension;
  std::FILE* fp = std::fopen(path.c_str(), mode.c_str());
  if (fp == nullptr) {
    print_info(path, 5);
    std::exit(1);
  }
  put_header(fp, header, mark);
  std::fwrite(text.data(), 1, text.size(), fp);
  std::fwrite(end.data(), 1, end.size(), fp);
  close_written(fp, path, truncates(mode));
}

// ---- Lines and files ----------------------------------------------------------

std::string read_lines(const std::string& line, int) {
  if (line.empty() || line[0] == '#') return std::string();
  return line;
}

std::vector<std::string> read_file_filtered(const std::string& file,
                                            std::string (*filter)(const std::string&, void*), void* arg) {
  LineReader reader;
  if (!reader.open(file, false)) {
    print_info(file, 5);
    std::exit(1);
  }
  std::vector<std::string> lines;
  char *b, *e;
  while (reader.next(&b, &e)) {
    std::string kept = filter(std::string(b, e), arg);
    if (!kept.empty()) lines.push_back(std::move(kept));
  }
  return lines;
}

void get_num_of_lines_in_file(long* count, const std::string& file, int skip) {
  LineReader reader;
  if (!reader.open(file, false)) {
    print_info(file, 5);
    std::exit(1);
  }
  long n = 0;
  char *b, *e;
  while (reader.next(&b, &e))
    if (reader.line() > skip && e > b) ++n;
  *count = n;
}

void refuse_directory(const std::string& path) {
  struct stat info;
  if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
    print_text("Error: " + path + " is a directory, not a file", kRed);
    std::exit(1);
  }
}

void get_file_list(std::vector<std::string>& names, const std::string& directory) {
  namespace fs = boost::filesystem;
  boost::system::error_code error;
  fs::directory_iterator it(directory, error), stop;
  if (error) {
    print_info(directory + " (" + error.message() + ")", 5);
    std::exit(1);
  }
  std::vector<std::string> found;
  for (; it != stop; it.increment(error)) {
    if (error) break;
    found.push_back(it->path().string());
  }
  std::sort(found.begin(), found.end());
  names.insert(names.end(), found.begin(), found.end());
}

void define_output_file_name(std::string& out, const std::string& input, const std::string& directory,
                             const std::string& suffix) {
  const std::size_t slash = input.find_last_of("/\\");
  std::string stem = slash == std::string::npos ? input : input.substr(slash + 1);
  const std::size_t dot = stem.find_last_of('.');
  if (dot != std::string::npos) stem.erase(dot);
  out = directory + stem + "_" + suffix;
}

void dirt_check(std::string& path) {
  const std::size_t last = path.find_last_of("/\\");
  if (last == std::string::npos || last != path.size() - 1) path += "/";
}

// ---- Instantiations -----------------------------------------------------------

#define TEVO_FILES_TYPE(T)                                                                                      \
  template void read_matrix_from_file<T>(std::vector<std::vector<T>>&, const std::string&, char,                \
                                         std::vector<long>*);                                                   \
  template long read_matrix_from_file<T>(T*, const std::string&, const std::string&, long);                     \
  template void read_matrix_from_bz2file<T>(std::vector<std::vector<T>>&, const std::string&, char);            \
  template void read_matrix_w_index<T>(std::vector<std::vector<T>>&, std::vector<std::string>&,                 \
                                       const std::string&, int, char);                                          \
  template void read_matrix_from_atgc_file<T>(std::vector<std::string>&, std::vector<std::vector<T>>&,          \
                                              const std::string&, char);                                        \
  template void write_matrix<T>(std::string&, const T* const*, int, int, int, const std::string&,               \
                                const std::string&, const std::string&, const std::string&, int, const int*,    \
                                const int*);                                                                    \
  template void write_matrix_w_index<T>(const std::string&, const T* const*, int, int,                          \
                                        const std::vector<std::string>&, const std::vector<std::string>&,       \
                                        const std::string&, const std::string&, const std::string&, int,        \
                                        const std::string&);                                                    \
  template void write_vector<T>(const std::string&, const T*, int, const std::string&, const std::string&,      \
                                const std::string&, const std::string&, const std::string&, int,                \
                                const std::string&);

TEVO_FILES_TYPE(float)
TEVO_FILES_TYPE(double)
TEVO_FILES_TYPE(int)

}  // namespace tevo
