// Internal: a decompressing reader over one bzip2 file, used by the table
// reader and by the bz2_* functions.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace tevo {

struct Bz2Stream {
  std::string file;
  std::FILE* fp = nullptr;
  void* bz = nullptr;  // BZFILE*
  bool done = false;
  bool any_stream = false;  // a whole stream has been read
};

// Starts decompressing `fp` (owned from here on). Null if the library refuses.
Bz2Stream* bz2_stream_open(std::FILE* fp, const std::string& file);
// Up to `room` decompressed bytes; 0 at the end. Corrupt, cut-short or
// non-bzip2 data prints "Error: ..." and exits with status 1.
std::size_t bz2_stream_read(Bz2Stream* s, char* into, std::size_t room);
void bz2_stream_close(Bz2Stream* s);

}  // namespace tevo
