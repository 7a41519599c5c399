// Omics<T>: conversion of 454 Standard Flowgram Format files to FASTQ.
// The format is big-endian; every field is read and byte-swapped alone.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace tevo {

struct sff_common_header {
  std::uint32_t magic = 0;
  unsigned char version[4] = {0, 0, 0, 0};
  std::uint64_t index_offset = 0;
  std::uint32_t index_len = 0;
  std::uint32_t numreads = 0;
  std::uint16_t header_len = 0;
  std::uint16_t key_len = 0;
  std::uint16_t flow_len = 0;
  std::uint8_t flowgram_fmt = 0;
  std::string flow_chars;  // [flow_len]
  std::string key_seq;     // [key_len]
};

struct sff_read_header {
  std::uint16_t header_len = 0;
  std::uint16_t name_len = 0;
  std::uint32_t nbases = 0;
  std::uint16_t clip_qual_left = 0;
  std::uint16_t clip_qual_right = 0;
  std::uint16_t clip_adapter_left = 0;
  std::uint16_t clip_adapter_right = 0;
  std::string name;  // [name_len]
};

struct sff_read_data {
  std::vector<std::uint16_t> flowgram;  // [flow_len]
  std::vector<std::uint8_t> flow_index;  // [nbases]
  std::string bases;                     // [nbases]
  std::vector<std::uint8_t> quality;     // [nbases], Phred scores
};

constexpr std::uint32_t SFF_MAGIC = 0x2e736666;  // ".sff"
extern const unsigned char SFF_VERSION[4];

// Byte stream of an SFF file; a short read is fatal and names the place.
struct SffFile {
  std::FILE* file = nullptr;
  std::string name;
  std::uint64_t size = 0;      // bytes in the file
  std::uint64_t offset = 0;    // bytes consumed so far
  std::string where = "the common header";
};

template <typename T>
class Omics {
 public:
  Omics() = default;
  Omics(const std::string& output, const std::string& jobname) : output_dir(output), jobname(jobname) {}

  // Converts `sff` to FASTQ `fastq`; `trim` 1 applies the clip values.
  void sff2fastq(const std::string& sff, const std::string& fastq, int trim);

  static void read_sff_common_header(SffFile& in, sff_common_header& header);
  static void verify_sff_common_header(const sff_common_header& header);
  static void read_sff_read_header(SffFile& in, sff_read_header& header);
  static void read_sff_read_data(SffFile& in, sff_read_data& data, std::uint16_t flow_len,
                                 std::uint32_t nbases);
  static void read_padding(SffFile& in, std::uint64_t n);
  static void get_clip_values(const sff_read_header& header, int trim, int& left, int& right);
  static std::string get_read_bases(const sff_read_data& data, int left, int right);
  static std::vector<std::uint8_t> get_read_quality_values(const sff_read_data& data, int left, int right);
  // Writes "@name\nbases\n+name\n" and the qualities as min(q, 93) + 33.
  static void construct_fastq_entry(std::string& out, const std::string& name, const std::string& bases,
                                    const std::vector<std::uint8_t>& quality);

  std::string output_dir, jobname;
};

extern template class Omics<float>;
extern template class Omics<double>;

}  // namespace tevo
