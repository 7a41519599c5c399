// Writes SFF files byte by byte for the tests: big-endian fields, padding to 8.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sff_test {

struct Read {
  std::string name, bases;
  std::vector<int> quality;
  int clip_qual_left = 0, clip_qual_right = 0, clip_adapter_left = 0, clip_adapter_right = 0;
};

class Builder {
 public:
  void u8(unsigned v) { bytes_ += static_cast<char>(v & 0xff); }
  void u16(unsigned v) { u8(v >> 8); u8(v); }
  void u32(std::uint32_t v) { u16(v >> 16); u16(v & 0xffff); }
  void u64(std::uint64_t v) { u32(static_cast<std::uint32_t>(v >> 32)); u32(static_cast<std::uint32_t>(v)); }
  void text(const std::string& s) { bytes_ += s; }
  void pad() { while (bytes_.size() % 8) u8(0); }
  std::string& bytes() { return bytes_; }

  // A whole file: header with `flow` letters and key "TCAG", then the reads.
  static std::string file(const std::vector<Read>& reads, int flows = 8, std::uint32_t magic = 0x2e736666,
                          unsigned version = 1) {
    Builder b;
    const std::string flow_chars = std::string("TACG").substr(0, 4) + std::string(flows > 4 ? flows - 4 : 0, 'A');
    const std::string key = "TCAG";
    const unsigned header_len = (31 + flows + 4 + 7) / 8 * 8;
    b.u32(magic);
    b.u32(version);
    b.u64(0);
    b.u32(0);
    b.u32(static_cast<std::uint32_t>(reads.size()));
    b.u16(header_len);
    b.u16(4);
    b.u16(static_cast<unsigned>(flows));
    b.u8(1);
    b.text(flow_chars.substr(0, static_cast<std::size_t>(flows)));
    b.text(key);
    b.pad();
    for (const Read& r : reads) {
      b.u16((16 + static_cast<unsigned>(r.name.size()) + 7) / 8 * 8);
      b.u16(static_cast<unsigned>(r.name.size()));
      b.u32(static_cast<std::uint32_t>(r.bases.size()));
      b.u16(static_cast<unsigned>(r.clip_qual_left));
      b.u16(static_cast<unsigned>(r.clip_qual_right));
      b.u16(static_cast<unsigned>(r.clip_adapter_left));
      b.u16(static_cast<unsigned>(r.clip_adapter_right));
      b.text(r.name);
      b.pad();
      for (int f = 0; f < flows; ++f) b.u16(100 + f);
      for (std::size_t i = 0; i < r.bases.size(); ++i) b.u8(1);
      b.text(r.bases);
      for (int q : r.quality) b.u8(static_cast<unsigned>(q));
      b.pad();
    }
    return b.bytes();
  }

 private:
  std::string bytes_;
};

}  // namespace sff_test
