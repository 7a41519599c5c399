// Line access to plain or gzip text, fatal input errors that name the file
// and line, and output files that only appear under their name once complete.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace tevo {

// Prints "-- Error: <text>", removes the unfinished outputs and exits with 1.
[[noreturn]] void reads_fail(const std::string& text);

// Reads lines of a plain or gzip file through one growing buffer. Lines are
// returned without their "\n" and without a trailing "\r".
class GzLineReader {
 public:
  explicit GzLineReader(const std::string& file);
  ~GzLineReader();
  GzLineReader(const GzLineReader&) = delete;
  GzLineReader& operator=(const GzLineReader&) = delete;

  bool is_open() const { return gz_ != nullptr; }
  // True for a file read as it is (not gzip).
  bool is_plain() const;
  // Size of the file on disk, 0 if unknown.
  std::uint64_t file_size() const;
  // False at the end of the file; a corrupt or cut gzip stream is fatal.
  bool next(const char*& line, std::size_t& length);
  // First byte of the file, or -1 for an empty file.
  int peek();
  std::uint64_t line_number() const { return line_; }
  // Bytes handed out so far, line ends included.
  std::uint64_t consumed() const { return consumed_; }
  // Bytes taken from the file itself (compressed bytes for gzip).
  std::uint64_t file_offset() const;
  const std::string& name() const { return file_; }

 private:
  bool fill();

  void release_behind();
  const char* data() const { return map_ != nullptr ? map_ : buffer_.data(); }

  std::string file_;
  void* gz_ = nullptr;            // gzFile
  // A plain file is mapped whole and read in place; [begin_, end_) index the map.
  const char* map_ = nullptr;
  std::size_t map_size_ = 0, released_ = 0;  // released_: bytes of the map given back
  std::vector<char> buffer_;      // raw bytes of gzip input, [begin_, end_) not yet returned
  std::size_t begin_ = 0, end_ = 0;
  bool eof_ = false;
  std::uint64_t line_ = 0;
  std::uint64_t consumed_ = 0;
};

// An output file written under "<name>.part" and renamed on commit(). If the
// run ends before that (a reader failure, a destructor), the part is removed.
class OutputFile {
 public:
  // mode: "w" plain text, "wb1".."wb9" gzip at that level.
  OutputFile(const std::string& name, const std::string& mode);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  bool is_open() const { return plain_ != nullptr || gz_ != nullptr; }
  void write(const char* data, std::size_t n);
  void put(char c) { write(&c, 1); }
  void puts(const std::string& text) { write(text.data(), text.size()); }
  // Closes, checks for write errors and gives the file its name.
  void commit();
  const std::string& name() const { return name_; }

 private:
  void flush();

  std::string name_, part_;
  std::FILE* plain_ = nullptr;
  void* gz_ = nullptr;  // gzFile
  std::vector<char> pending_;
  bool failed_ = false;
};

}  // namespace tevo
