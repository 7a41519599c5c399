// Buffered line reading over zlib (plain files pass through unchanged) and
// all-or-nothing output files.
#include "atgc/fastx_io.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>

#include "util/console.h"

namespace tevo {

namespace {

std::mutex g_parts_lock;
std::set<std::string>& unfinished_parts() {
  static std::set<std::string> parts;
  return parts;
}

constexpr std::size_t kBlock = 1 << 20;

}  // namespace

void reads_fail(const std::string& text) {
  print_info(text, 9);
  std::fflush(stdout);
  {
    std::lock_guard<std::mutex> hold(g_parts_lock);
    for (const std::string& part : unfinished_parts()) std::remove(part.c_str());
    unfinished_parts().clear();
  }
  std::exit(1);
}

GzLineReader::GzLineReader(const std::string& file) : file_(file) {
  gzFile gz = gzopen(file.c_str(), "rb");
  if (gz == nullptr) return;
  gzbuffer(gz, 256 * 1024);
  gz_ = gz;
  // A regular file that is not gzip is read in place from a mapping: no copy
  // through a buffer. Anything else (gzip, pipes, empty files) is buffered.
  const int fd = open(file.c_str(), O_RDONLY);
  if (fd >= 0) {
    struct stat info {};
    unsigned char magic[2] = {0, 0};
    if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0 &&
        !(pread(fd, magic, 2, 0) == 2 && magic[0] == 0x1f && magic[1] == 0x8b)) {
      void* map = mmap(nullptr, static_cast<std::size_t>(info.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
      if (map != MAP_FAILED) {
        madvise(map, static_cast<std::size_t>(info.st_size), MADV_SEQUENTIAL);
        map_ = static_cast<const char*>(map);
        map_size_ = static_cast<std::size_t>(info.st_size);
        end_ = map_size_;
        eof_ = true;
      }
    }
    close(fd);
  }
  if (map_ == nullptr) buffer_.resize(4 * kBlock);
}

GzLineReader::~GzLineReader() {
  if (map_ != nullptr) munmap(const_cast<char*>(map_), map_size_);
  if (gz_ != nullptr) gzclose(static_cast<gzFile>(gz_));
}

// Gives back the mapped pages that lie well behind the reading position, so a
// large file does not stay in the process's resident memory.
void GzLineReader::release_behind() {
  constexpr std::size_t kKeep = 8u << 20;
  if (begin_ < released_ + 2 * kKeep) return;
  const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t upto = (begin_ - kKeep) / page * page;
  madvise(const_cast<char*>(map_) + released_, upto - released_, MADV_DONTNEED);
  released_ = upto;
}

bool GzLineReader::fill() {
  if (eof_) return false;
  if (begin_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  if (buffer_.size() - end_ < kBlock) buffer_.resize(buffer_.size() * 2);
  gzFile gz = static_cast<gzFile>(gz_);
  const int got = gzread(gz, buffer_.data() + end_, static_cast<unsigned>(buffer_.size() - end_));
  if (got < 0) {
    int code = 0;
    const char* why = gzerror(gz, &code);
    reads_fail(file_ + " after line " + std::to_string(line_) + ": corrupt gzip data (" + why + ")");
  }
  if (got == 0) {
    int code = 0;
    const char* why = gzerror(gz, &code);
    if (code != Z_OK)
      reads_fail(file_ + " after line " + std::to_string(line_) + ": the gzip stream is cut short (" +
                 why + ")");
    eof_ = true;
    return false;
  }
  end_ += static_cast<std::size_t>(got);
  return true;
}

bool GzLineReader::is_plain() const {
  // gzdirect can only tell once the first bytes have been looked at.
  if (map_ != nullptr) return true;
  return gz_ != nullptr && (begin_ < end_ || eof_) && gzdirect(static_cast<gzFile>(gz_)) == 1;
}

std::uint64_t GzLineReader::file_size() const {
  struct stat info {};
  return stat(file_.c_str(), &info) == 0 && S_ISREG(info.st_mode) ? static_cast<std::uint64_t>(info.st_size) : 0;
}

std::uint64_t GzLineReader::file_offset() const {
  if (map_ != nullptr) return begin_;
  if (gz_ == nullptr) return 0;
  const z_off_t at = gzoffset(static_cast<gzFile>(gz_));
  return at < 0 ? 0 : static_cast<std::uint64_t>(at);
}

int GzLineReader::peek() {
  if (begin_ == end_ && !fill()) return -1;
  return static_cast<unsigned char>(data()[begin_]);
}

bool GzLineReader::next(const char*& line, std::size_t& length) {
  if (map_ != nullptr && begin_ >= released_ + (16u << 20)) release_behind();
  std::size_t scanned = begin_;
  for (;;) {
    const char* base = data();
    const void* hit = std::memchr(base + scanned, '\n', end_ - scanned);
    if (hit != nullptr) {
      const char* stop = static_cast<const char*>(hit);
      line = base + begin_;
      length = static_cast<std::size_t>(stop - line);
      begin_ = static_cast<std::size_t>(stop - base) + 1;
      consumed_ += length + 1;
      break;
    }
    const std::size_t offset = end_ - begin_;
    if (!fill()) {
      if (begin_ == end_) return false;
      line = data() + begin_;  // last line without a line feed
      length = end_ - begin_;
      begin_ = end_;
      consumed_ += length;
      break;
    }
    scanned = begin_ + offset;
  }
  if (length > 0 && line[length - 1] == '\r') --length;
  ++line_;
  return true;
}

OutputFile::OutputFile(const std::string& name, const std::string& mode)
    : name_(name), part_(name + ".part") {
  if (mode.size() > 1 && mode[1] == 'b') {
    gz_ = gzopen(part_.c_str(), mode.c_str());
  } else {
    plain_ = std::fopen(part_.c_str(), "w");
  }
  if (is_open()) {
    std::lock_guard<std::mutex> hold(g_parts_lock);
    unfinished_parts().insert(part_);
    pending_.reserve(kBlock);
  }
}

OutputFile::~OutputFile() {
  if (!is_open()) return;
  if (plain_ != nullptr) std::fclose(plain_);
  if (gz_ != nullptr) gzclose(static_cast<gzFile>(gz_));
  std::remove(part_.c_str());
  std::lock_guard<std::mutex> hold(g_parts_lock);
  unfinished_parts().erase(part_);
}

void OutputFile::flush() {
  if (pending_.empty()) return;
  if (plain_ != nullptr) {
    failed_ |= std::fwrite(pending_.data(), 1, pending_.size(), plain_) != pending_.size();
  } else {
    failed_ |= gzwrite(static_cast<gzFile>(gz_), pending_.data(),
                       static_cast<unsigned>(pending_.size())) != static_cast<int>(pending_.size());
  }
  pending_.clear();
}

void OutputFile::write(const char* data, std::size_t n) {
  if (pending_.size() + n > kBlock) flush();
  pending_.insert(pending_.end(), data, data + n);
}

void OutputFile::commit() {
  if (!is_open()) return;
  flush();
  if (plain_ != nullptr) {
    failed_ |= std::fclose(plain_) != 0;
    plain_ = nullptr;
  }
  if (gz_ != nullptr) {
    failed_ |= gzclose(static_cast<gzFile>(gz_)) != Z_OK;
    gz_ = nullptr;
  }
  {
    std::lock_guard<std::mutex> hold(g_parts_lock);
    unfinished_parts().erase(part_);
  }
  if (failed_ || std::rename(part_.c_str(), name_.c_str()) != 0) {
    std::remove(part_.c_str());
    reads_fail("cannot write out " + name_);
  }
}

}  // namespace tevo
