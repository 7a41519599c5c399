// bzip2 decompression over stdio files: the stream reader behind the table
// readers and the bz2_* functions. Several concatenated streams (as written
// by parallel compressors) read as one.
#include <bzlib.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "util/bz2_stream.h"
#include "util/console.h"
#include "util/files.h"

namespace tevo {

struct Bz2Handle {
  Bz2Stream* stream;
};

namespace {

[[noreturn]] void bz2_fail(const std::string& file, const std::string& why) {
  print_info(file + ": " + why, 9);
  std::exit(1);
}

}  // namespace

Bz2Stream* bz2_stream_open(std::FILE* fp, const std::string& file) {
  int err = BZ_OK;
  BZFILE* bz = BZ2_bzReadOpen(&err, fp, 0, 0, nullptr, 0);
  if (err != BZ_OK || bz == nullptr) {
    if (bz != nullptr) BZ2_bzReadClose(&err, bz);
    std::fclose(fp);
    return nullptr;
  }
  Bz2Stream* s = new Bz2Stream;
  s->file = file;
  s->fp = fp;
  s->bz = bz;
  return s;
}

std::size_t bz2_stream_read(Bz2Stream* s, char* into, std::size_t room) {
  std::size_t total = 0;
  while (total < room && !s->done) {
    int err = BZ_OK;
    const int want = static_cast<int>(std::min<std::size_t>(room - total, std::size_t(1) << 30));
    const int got = BZ2_bzRead(&err, static_cast<BZFILE*>(s->bz), into + total, want);
    if ((err == BZ_OK || err == BZ_STREAM_END) && got > 0) total += static_cast<std::size_t>(got);
    if (err == BZ_OK) continue;
    if (err == BZ_STREAM_END) {
      s->any_stream = true;
      void* unused = nullptr;
      int n_unused = 0;
      BZ2_bzReadGetUnused(&err, static_cast<BZFILE*>(s->bz), &unused, &n_unused);
      char keep[BZ_MAX_UNUSED];
      if (n_unused > 0) std::memcpy(keep, unused, static_cast<std::size_t>(n_unused));
      BZ2_bzReadClose(&err, static_cast<BZFILE*>(s->bz));
      s->bz = nullptr;
      if (n_unused == 0) {
        const int c = std::fgetc(s->fp);
        if (c == EOF) {
          s->done = true;
          break;
        }
        std::ungetc(c, s->fp);
      }
      s->bz = BZ2_bzReadOpen(&err, s->fp, 0, 0, n_unused > 0 ? keep : nullptr, n_unused);
      if (err != BZ_OK) bz2_fail(s->file, "cannot continue with the next bzip2 stream");
      continue;
    }
    switch (err) {
      case BZ_DATA_ERROR_MAGIC:
        if (s->any_stream) {  // bytes after the last whole stream are ignored, as bzip2 does
          s->done = true;
          break;
        }
        bz2_fail(s->file, "not a bzip2 file");
      case BZ_UNEXPECTED_EOF: bz2_fail(s->file, "the bzip2 data is cut short");
      case BZ_DATA_ERROR: bz2_fail(s->file, "the bzip2 data is corrupt");
      case BZ_IO_ERROR: bz2_fail(s->file, "read error");
      case BZ_MEM_ERROR: bz2_fail(s->file, "out of memory while decompressing");
      default: bz2_fail(s->file, "bzip2 error " + std::to_string(err));
    }
  }
  return total;
}

void bz2_stream_close(Bz2Stream* s) {
  if (s == nullptr) return;
  int err = BZ_OK;
  if (s->bz != nullptr) BZ2_bzReadClose(&err, static_cast<BZFILE*>(s->bz));
  if (s->fp != nullptr) std::fclose(s->fp);
  delete s;
}

Bz2Handle* bz2_open(const std::string& file) {
  std::FILE* fp = std::fopen(file.c_str(), "r");
  if (fp == nullptr) {
    print_info(file, 5);
    std::exit(1);
  }
  Bz2Stream* s = bz2_stream_open(fp, file);
  return s == nullptr ? nullptr : new Bz2Handle{s};
}

void bz2_read(std::string& text, Bz2Handle* handle) {
  if (handle == nullptr) return;
  char block[1024];
  std::size_t got;
  while ((got = bz2_stream_read(handle->stream, block, sizeof block)) > 0) text.append(block, got);
}

void bz2_close(Bz2Handle* handle) {
  if (handle == nullptr) return;
  bz2_stream_close(handle->stream);
  delete handle;
}

void read_bz2_file(std::string& text, const std::string& file) {
  std::FILE* fp = std::fopen(file.c_str(), "rb");
  if (fp == nullptr) {
    print_info(file, 6);
    std::exit(1);
  }
  Bz2Stream* s = bz2_stream_open(fp, file);
  if (s == nullptr) {
    print_info(file, 6);
    std::exit(1);
  }
  std::vector<char> block(1 << 20);
  std::size_t got;
  while ((got = bz2_stream_read(s, block.data(), block.size())) > 0) text.append(block.data(), got);
  bz2_stream_close(s);
}

}  // namespace tevo
