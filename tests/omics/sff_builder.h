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
  // A whole file: header with `flows` letters and key "TCAG", then the reads.
  static std::string file(const std::vector<Read>& reads, int flows = 8, std::uint32_t magic = 0x2e736666,
                          unsigned version = 1) {
    Builder b;
    b.u32(magic);
    b.u32(version);
    b.u32(0);  // index offset: 8 bytes
    b.u32(0);
    b.u32(0);  // index length
    b.u32(static_cast<std::uint32_t>(reads.size()));
    b.u16((31 + flows + 4 + 7) / 8 * 8);  // header length
    b.u16(4);
    b.u16(static_cast<unsigned>(flows));
    b.u8(1);
    b.bytes_ += ("TACG" + std::string(flows > 4 ? flows - 4 : 0, 'A')).substr(0, flows) + "TCAG";
    b.pad();
    for (const Read& r : reads) {
      b.u16((16 + static_cast<unsigned>(r.name.size()) + 7) / 8 * 8);
      b.u16(static_cast<unsigned>(r.name.size()));
      b.u32(static_cast<std::uint32_t>(r.bases.size()));
      for (int clip : {r.clip_qual_left, r.clip_qual_right, r.clip_adapter_left, r.clip_adapter_right})
        b.u16(static_cast<unsigned>(clip));
      b.bytes_ += r.name;
      b.pad();
      for (int f = 0; f < flows; ++f) b.u16(100 + f);
      b.bytes_ += std::string(r.bases.size(), '\1') + r.bases;  // flow indices, then the bases
      for (int q : r.quality) b.u8(static_cast<unsigned>(q));
      b.pad();
    }
    return b.bytes_;
  }

 private:
  void u8(unsigned v) { bytes_ += static_cast<char>(v & 0xff); }
  void u16(unsigned v) { u8(v >> 8); u8(v); }
  void u32(std::uint32_t v) { u16(v >> 16); u16(v & 0xffff); }
  void pad() { while (bytes_.size() % 8) u8(0); }
  std::string bytes_;
};

}  // namespace sff_test
