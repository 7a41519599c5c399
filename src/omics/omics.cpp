// SFF to FASTQ. Layout of each block: fixed big-endian fields, variable
// strings, then zero padding to a multiple of 8 bytes.
#include "omics/omics.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>

#include "atgc/fastx_io.h"
#include "util/console.h"

namespace tevo {

const unsigned char SFF_VERSION[4] = {0, 0, 0, 1};

namespace {

void read_bytes(SffFile& in, void* to, std::uint64_t n) {
  if (n == 0) return;
  if (in.offset + n > in.size || std::fread(to, 1, n, in.file) != n)
    reads_fail(in.name + ": the SFF file ends inside " + in.where + " (byte " +
               std::to_string(in.offset) + ")");
  in.offset += n;
}

std::uint16_t read_u16(SffFile& in) {
  unsigned char b[2];
  read_bytes(in, b, 2);
  return static_cast<std::uint16_t>(b[0] << 8 | b[1]);
}

std::uint32_t read_u32(SffFile& in) {
  unsigned char b[4];
  read_bytes(in, b, 4);
  return static_cast<std::uint32_t>(b[0]) << 24 | static_cast<std::uint32_t>(b[1]) << 16 |
         static_cast<std::uint32_t>(b[2]) << 8 | b[3];
}

std::uint64_t read_u64(SffFile& in) {
  const std::uint64_t high = read_u32(in);
  return high << 32 | read_u32(in);
}

}  // namespace

template <typename T>
void Omics<T>::read_padding(SffFile& in, std::uint64_t n) {
  if (n % 8 == 0) return;
  unsigned char pad[8];
  read_bytes(in, pad, 8 - n % 8);
}

template <typename T>
void Omics<T>::read_sff_common_header(SffFile& in, sff_common_header& h) {
  in.where = "the common header";
  h.magic = read_u32(in);
  read_bytes(in, h.version, 4);
  h.index_offset = read_u64(in);
  h.index_len = read_u32(in);
  h.numreads = read_u32(in);
  h.header_len = read_u16(in);
  h.key_len = read_u16(in);
  h.flow_len = read_u16(in);
  read_bytes(in, &h.flowgram_fmt, 1);
  h.flow_chars.assign(h.flow_len, '\0');
  read_bytes(in, &h.flow_chars[0], h.flow_len);
  h.key_seq.assign(h.key_len, '\0');
  read_bytes(in, &h.key_seq[0], h.key_len);
  read_padding(in, in.offset);
}

template <typename T>
void Omics<T>::verify_sff_common_header(const sff_common_header& h) {
  if (h.magic != SFF_MAGIC) {
    std::printf("--   \033[1;31mThe header of the given SFF has a magic value '0x%x' \033[0m\n", h.magic);
    std::printf("--   \033[1;31mBut just processe an SFF of magic value '0x%x' \033[0m\n", SFF_MAGIC);
    std::fflush(stdout);
    std::exit(1);
  }
  if (!std::equal(h.version, h.version + 4, SFF_VERSION)) {
    std::printf("--   \033[1;31mThe header version of the given SFF file is ");
    for (unsigned char b : h.version) std::printf("0x%02x ", b);
    std::printf("\033[0m\n--   \033[1;31mBut just can process an SFF of version ");
    for (unsigned char b : SFF_VERSION) std::printf("0x%02x ", b);
    std::printf("\033[0m\n");
    std::fflush(stdout);
    std::exit(1);
  }
}

template <typename T>
void Omics<T>::read_sff_read_header(SffFile& in, sff_read_header& h) {
  h.header_len = read_u16(in);
  h.name_len = read_u16(in);
  h.nbases = read_u32(in);
  h.clip_qual_left = read_u16(in);
  h.clip_qual_right = read_u16(in);
  h.clip_adapter_left = read_u16(in);
  h.clip_adapter_right = read_u16(in);
  h.name.assign(h.name_len, '\0');
  read_bytes(in, &h.name[0], h.name_len);
  read_padding(in, 16u + h.name_len);
}

template <typename T>
void Omics<T>::read_sff_read_data(SffFile& in, sff_read_data& d, std::uint16_t flow_len, std::uint32_t nbases) {
  // Sizes come from the file: check them against what is left before allocating.
  const std::uint64_t need = 2ull * flow_len + 3ull * nbases;
  if (in.offset + need > in.size)
    reads_fail(in.name + ": the SFF file ends inside " + in.where + " (byte " + std::to_string(in.offset) +
               ", " + std::to_string(nbases) + " bases announced)");
  d.flowgram.resize(flow_len);
  for (auto& f : d.flowgram) f = read_u16(in);
  d.flow_index.resize(nbases);
  read_bytes(in, d.flow_index.data(), nbases);
  d.bases.assign(nbases, '\0');
  read_bytes(in, &d.bases[0], nbases);
  d.quality.resize(nbases);
  read_bytes(in, d.quality.data(), nbases);
  read_padding(in, need);
}

template <typename T>
void Omics<T>::get_clip_values(const sff_read_header& h, int trim, int& left, int& right) {
  const int nbases = static_cast<int>(h.nbases);
  if (trim == 0) {
    left = 0;
    right = nbases;
    return;
  }
  const int larger = std::max(h.clip_qual_left, h.clip_adapter_left);
  left = larger == 0 ? 0 : larger - 1;
  if (h.clip_qual_right != 0 && h.clip_adapter_right != 0) {
    right = std::min(h.clip_qual_right, h.clip_adapter_right);
  } else if (h.clip_qual_right != 0) {
    right = h.clip_qual_right < nbases ? h.clip_qual_right : nbases;
  } else if (h.clip_adapter_right != 0) {
    right = h.clip_adapter_right <= nbases ? h.clip_adapter_right : nbases;
  } else {
    right = nbases;
  }
}

template <typename T>
std::string Omics<T>::get_read_bases(const sff_read_data& d, int left, int right) {
  if (right <= left) return std::string();
  const int end = std::min<int>(right, static_cast<int>(d.bases.size()));
  return left < end ? d.bases.substr(left, end - left) : std::string();
}

template <typename T>
std::vector<std::uint8_t> Omics<T>::get_read_quality_values(const sff_read_data& d, int left, int right) {
  if (right <= left) return {};
  const int end = std::min<int>(right, static_cast<int>(d.quality.size()));
  if (left >= end) return {};
  return std::vector<std::uint8_t>(d.quality.begin() + left, d.quality.begin() + end);
}

template <typename T>
void Omics<T>::construct_fastq_entry(std::string& out, const std::string& name, const std::string& bases,
                                     const std::vector<std::uint8_t>& quality) {
  out += '@';
  out += name;
  out += '\n';
  out += bases;
  out += "\n+";
  out += name;
  out += '\n';
  for (std::uint8_t q : quality) out += static_cast<char>(std::min<int>(q, 93) + 33);
  out += '\n';
}

template <typename T>
void Omics<T>::sff2fastq(const std::string& sff, const std::string& fastq, int trim) {
  SffFile in;
  in.name = sff;
  in.file = std::fopen(sff.c_str(), "rb");
  if (in.file == nullptr) {
    print_info(sff, 1);
    reads_fail("cannot open " + sff);
  }
  struct stat info {};
  if (fstat(fileno(in.file), &info) == 0) in.size = static_cast<std::uint64_t>(info.st_size);

  sff_common_header header;
  read_sff_common_header(in, header);
  verify_sff_common_header(header);

  print_text("Summary of the given SFF file: ", kBlue);
  std::printf("\033[34m");
  std::printf("     magic        : 0x%x\n", header.magic);
  std::printf("     index_offset : 0x%lx\n", static_cast<unsigned long>(header.index_offset));
  std::printf("     index_len    : 0x%x\n", header.index_len);
  std::printf("     numreads     : 0x%x\n", header.numreads);
  std::printf("     header_len   : 0x%x\n", header.header_len);
  std::printf("     key_len      : 0x%x\n", header.key_len);
  std::printf("     flow_len     : 0x%x\n", header.flow_len);
  std::printf("     flowgram_fmt : 0x%x\n", header.flowgram_fmt);
  std::printf("     flow_chars   : ");
  for (std::size_t i = 0; i < header.flow_chars.size(); ++i) {
    std::putchar(header.flow_chars[i]);
    if ((i + 1) % 50 == 0)
      std::printf(i + 1 == header.flow_chars.size() ? "\n" : "\n                    ");
  }
  if (header.flow_chars.size() % 50 != 0) std::putchar('\n');
  std::printf("     key_seq      : %s\n", header.key_seq.c_str());
  std::printf("\033[0m");
  std::fflush(stdout);

  OutputFile out(fastq, "w");
  if (!out.is_open()) {
    print_info(fastq, 1);
    reads_fail("cannot write out " + fastq);
  }
  sff_read_header read_header;
  sff_read_data data;
  std::string entry;
  for (std::uint32_t r = 0; r < header.numreads; ++r) {
    // An index block may sit between the reads; step over it.
    if (header.index_len > 0 && in.offset == header.index_offset) {
      in.where = "the index block";
      std::vector<unsigned char> skip(std::min<std::uint64_t>(header.index_len, in.size));
      read_bytes(in, skip.data(), header.index_len);
      read_padding(in, header.index_len);
    }
    in.where = "read " + std::to_string(r + 1) + " of " + std::to_string(header.numreads);
    read_sff_read_header(in, read_header);
    read_sff_read_data(in, data, header.flow_len, read_header.nbases);
    int left = 0, right = 0;
    get_clip_values(read_header, trim, left, right);
    entry.clear();
    construct_fastq_entry(entry, read_header.name, get_read_bases(data, left, right),
                          get_read_quality_values(data, left, right));
    out.puts(entry);
  }
  std::uint64_t end = in.offset;
  if (header.index_len > 0 && header.index_offset >= end) end = header.index_offset + header.index_len;
  if (in.size > end + 8)  // more than the padding of the last block
    print_info(sff + " holds " + std::to_string(in.size - end) +
                   " bytes behind its reads and index that were not read (concatenated files?)",
               11);
  std::fclose(in.file);
  out.commit();
}

template class Omics<float>;
template class Omics<double>;

}  // namespace tevo
