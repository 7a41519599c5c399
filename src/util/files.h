// Delimited text tables in and out (plain and bzip2), whole-file and
// line-list readers, output names and the comment block of written files.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tevo {

// ---- Numbers from text --------------------------------------------------------

// strtod of a NUL-terminated field: an unreadable field is 0. Plain decimals
// of up to 19 digits with a power of ten of at most 22 take an exact short
// path (one correctly rounded operation, so the same result as strtod).
double parse_double(const char* text);

// A converted field narrowed to T. For int: truncation toward zero, clamped
// to the int range; NaN gives 0.
template <typename T>
T narrow_number(double value);

// ---- Reading tables -----------------------------------------------------------

struct Bz2Stream;

// Reads a text file, plain or bzip2, in large blocks and hands out its lines
// (without the line feed) with their 1-based line numbers.
class LineReader {
 public:
  // Returns false when the file cannot be opened (nothing is printed).
  bool open(const std::string& file, bool bzip2);
  LineReader() = default;
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader();
  // The next line, writable and followed by one spare byte; false at the end.
  // A read or decompression error prints "Error: ..." and exits with status 1.
  bool next(char** begin, char** end);
  long line() const { return line_; }
  const std::string& file() const { return file_; }
  std::size_t file_size() const { return file_size_; }  // 0: unknown (pipe, bzip2)
  std::size_t consumed() const { return consumed_; }    // bytes handed out so far

 private:
  std::size_t fill(char* into, std::size_t room);
  std::string file_;
  std::size_t file_size_ = 0, consumed_ = 0;
  std::FILE* fp_ = nullptr;
  Bz2Stream* bz_ = nullptr;
  char* buffer_ = nullptr;  // [capacity_], owned; not zero-filled
  std::size_t capacity_ = 0;
  std::size_t pos_ = 0, end_ = 0;
  bool eof_ = false;
  long line_ = 0;
};

// Rows of a delimited table. Lines that are empty or begin with "#" are
// skipped; a line is split at every `delimiter`, empty fields are dropped,
// the others are trimmed by the passes of trim_all (cut at a NUL, then the
// left and right runs) and converted as by strtod. Rows keep their own length.
class TableReader {
 public:
  // Prints "Error: I cannot load data from: <file>" in bold red and exits
  // with status 1 when the file cannot be opened.
  TableReader(const std::string& file, char delimiter, bool bzip2 = false);
  bool next();  // the next row; false at the end of the file
  int size() const { return static_cast<int>(fields_.size()); }
  std::string_view text(int i) const { return {fields_[i], lengths_[i]}; }
  double value(int i) const { return parse_double(fields_[i]); }
  long line() const { return lines_.line(); }  // 1-based line of the current row
  const std::string& file() const { return lines_.file(); }
  // Rows to expect in the whole file, judged from the rows read so far (0: unknown).
  std::size_t expected_rows(std::size_t rows_so_far) const;

 private:
  LineReader lines_;
  char delimiter_;
  std::vector<const char*> fields_;  // NUL-terminated, inside the reader's buffer
  std::vector<std::size_t> lengths_;
};

// The bold red load failure of the table readers, then exit(1).
[[noreturn]] void fail_to_load(const std::string& file);

// The whole table, appended to `matrix`. `lines`, when given, receives the
// 1-based source line of each row. T: float, double, int.
template <typename T>
void read_matrix_from_file(std::vector<std::vector<T>>& matrix, const std::string& file,
                           char delimiter = '\t', std::vector<long>* lines = nullptr);

// Calls take(token, line) for every token of `file` separated by blanks, tabs
// or commas (NUL-terminated; line 1-based); empty lines and lines that begin
// with "#" are skipped. False when the file cannot be opened.
bool for_each_number_token(const std::string& file, const std::function<void(const char*, long)>& take);

// Numbers separated by blanks, tabs or commas into `out` in reading order,
// with "-- Loading <name> probilities ... " and "done." around it. More than
// `capacity` numbers is an error (exit 1). Returns the count read.
template <typename T>
long read_matrix_from_file(T* out, const std::string& file, const std::string& name, long capacity);

template <typename T>
void read_matrix_from_bz2file(std::vector<std::vector<T>>& matrix, const std::string& file,
                              char delimiter = '\t');

// The lines of a bzip2 file split at `line_end`; empty lines and lines that
// begin with "#" are left out.
std::vector<std::string> read_matrix_from_bz2file(const std::string& file, char line_end = '\n');

// A table with one text label per row: the first `skip` fields (at least one)
// are text, the label being the last of them; the numbers follow.
template <typename T>
void read_matrix_w_index(std::vector<std::vector<T>>& matrix, std::vector<std::string>& labels,
                         const std::string& file, int skip = 0, char delimiter = '\t');

// A table whose first field is text: the first data line is a heading and
// is skipped; field 0 goes to `labels`, the other fields to `matrix`.
template <typename T>
void read_matrix_from_atgc_file(std::vector<std::string>& labels, std::vector<std::vector<T>>& matrix,
                                const std::string& file, char delimiter = '\t');

// ---- Writing ------------------------------------------------------------------

// Rewrites `text` as three comment lines: prefix + text, the program and
// version, the contact address. A blank is appended to `prefix` itself.
void copyright(std::string& text, std::string& prefix);
void copyright(std::string& text, const char* prefix);

// Writes m[rows][cols] to `file` + `extension` (the extension is appended to
// the caller's string). A non-empty `header` becomes a copyright block with
// the mark "#". Cells use "%.<decimals><letter>"; by `mode`:
//   0: dense, cells of column 0 and cells exactly 0 as "%1.<letter>";
//   1: dense ("%i" when letter is "i");
//   2: sparse, "row<d>col<d>value" lines of the non-zero cells, 1-based or
//      from row_ids / col_ids;   4: the same with 0-based positions;
//   other: no cells.
// The file ends in an empty line. An unwritable file or a failed write
// (such as a full disk) prints "Error: cannot write out ..." and exits 1.
template <typename T>
void write_matrix(std::string& file, const T* const* m, int rows, int cols, int mode = 0,
                  const std::string& header = "", const std::string& delimiter = ",",
                  const std::string& extension = ".csv", const std::string& letter = "f", int decimals = 5,
                  const int* row_ids = nullptr, const int* col_ids = nullptr);
template <typename T>
void write_matrix(std::string&& file, const T* const* m, int rows, int cols, int mode = 0,
                  const std::string& header = "", const std::string& delimiter = ",",
                  const std::string& extension = ".csv", const std::string& letter = "f", int decimals = 5,
                  const int* row_ids = nullptr, const int* col_ids = nullptr) {
  write_matrix<T>(file, m, rows, cols, mode, header, delimiter, extension, letter, decimals, row_ids,
                  col_ids);
}

// A table with a heading line of `index` cells (none if empty) and, when
// `labels` is not empty, a label before each row written "%s,". Cells as
// mode 1 of write_matrix.
template <typename T>
void write_matrix_w_index(const std::string& file, const T* const* m, int rows, int cols,
                          const std::vector<std::string>& index, const std::vector<std::string>& labels,
                          const std::string& delimiter = ",", const std::string& extension = ".csv",
                          const std::string& letter = "f", int decimals = 5, const std::string& header = "");

// One element a line, formatted as mode 1 of write_matrix, after an optional
// copyright block (`header`) and `title` line. `delimiter` is not used by a
// single column; it is kept so that calls mirror write_matrix.
template <typename T>
void write_vector(const std::string& file, const T* v, int n, const std::string& header = "",
                  const std::string& delimiter = ",", const std::string& extension = ".csv",
                  const std::string& letter = "f", const std::string& mode = "w", int decimals = 5,
                  const std::string& title = "");

// Writes `text` then `end` to `name` + `extension`, opened with `mode`
// ("w", "a+", ...), after a copyright block of `header` with `mark` when the
// header is not empty. An unopenable file prints "Error: cannot open <name>".
void write_string(const std::string& name, const std::string& text, const std::string& mode = "w",
                  const std::string& header = "", const std::string& mark = "#",
                  const std::string& end = "", const std::string& extension = "");

// ---- Lines and files ----------------------------------------------------------

// The usual filter of read_file: the line, or "" when it is empty or begins
// with "#". `arg` is not used.
std::string read_lines(const std::string& line, int arg = 0);

// All lines of `file` passed through `filter`; "" results are dropped.
std::vector<std::string> read_file_filtered(const std::string& file,
                                            std::string (*filter)(const std::string&, void*), void* arg);

template <typename A = int>
std::vector<std::string> read_file(const std::string& file,
                                   std::string (*filter)(const std::string&, A) = read_lines, A arg = A()) {
  struct Call {
    std::string (*filter)(const std::string&, A);
    A* arg;
  } call{filter, &arg};
  return read_file_filtered(
      file,
      [](const std::string& line, void* c) {
        Call* self = static_cast<Call*>(c);
        return self->filter(line, *self->arg);
      },
      &call);
}

// Non-empty lines after the first `skip` lines.
void get_num_of_lines_in_file(long* count, const std::string& file, int skip = 0);

// A reader's guard against a folder given where a file is expected: prints
// "Error: <path> is a directory, not a file" and exits 1 when it is one.
void refuse_directory(const std::string& path);

// Appends the entries of `directory` (full paths, sorted).
void get_file_list(std::vector<std::string>& names, const std::string& directory);

// out = directory + (input's name without folder and last extension) + "_" + suffix.
void define_output_file_name(std::string& out, const std::string& input, const std::string& directory,
                             const std::string& suffix);

// Appends "/" unless the last "/" or "\" is already the last character.
void dirt_check(std::string& path);

// ---- bzip2 --------------------------------------------------------------------

struct Bz2Handle;

// Opens a bzip2 file; an unopenable file prints "Error: cannot open <file>"
// and exits 1; null if the library refuses the stream.
Bz2Handle* bz2_open(const std::string& file);
// Appends the whole decompressed stream to `text`, 1024 bytes at a time.
// Data that is not bzip2, or is corrupt or cut short, is an error (exit 1).
void bz2_read(std::string& text, Bz2Handle* handle);
void bz2_close(Bz2Handle* handle);
// The whole decompressed file; "Error: cannot read <file>" if unopenable.
void read_bz2_file(std::string& text, const std::string& file);

}  // namespace tevo
