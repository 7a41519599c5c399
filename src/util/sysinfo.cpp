// Machine facts from sysconf, sysinfo and /proc/cpuinfo.
#include "util/sysinfo.h"

#include <sys/sysinfo.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace tevo {

int Info::get_CPU_count() { return static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)); }

int Info::get_CPU_frequency() {
  std::ifstream in("/proc/cpuinfo");
  std::string line;
  while (std::getline(in, line)) {
    if (line.compare(0, 7, "cpu MHz") != 0) continue;
    const std::size_t colon = line.find(':');
    const std::string value = colon == std::string::npos ? "" : line.substr(colon + 1);
    std::printf("-- CPU (MHz): %s\n", value.c_str());
    return std::atoi(value.c_str());
  }
  return 0;
}

// Shifted by 20 bits regardless of sysinfo's mem_unit, as the banner always has.
int Info::get_RAM_size() {
  struct sysinfo si;
  return sysinfo(&si) == 0 ? static_cast<int>(si.totalram >> 20) : 0;
}

int Info::get_RAM_free() {
  struct sysinfo si;
  return sysinfo(&si) == 0 ? static_cast<int>(si.freeram >> 20) : 0;
}

int Info::get_RAM_usage() {
  struct sysinfo si;
  if (sysinfo(&si) != 0 || si.totalram == 0) return 0;
  const float used = 100.0f - static_cast<float>(si.freeram) / static_cast<float>(si.totalram) * 100.0f;
  return static_cast<int>(used);
}

void Info::print_sysinfo() {
  const int cpus = get_CPU_count();
  const int mhz = get_CPU_frequency();
  const int size = get_RAM_size();
  const int free = get_RAM_free();
  const int usage = get_RAM_usage();
  std::printf("-- CPUs: %i\n", cpus);
  std::printf("-- Frequencies: %i MHz\n", mhz);
  std::printf("-- RAM size: %i MB\n", size);
  std::printf("-- RAM free: %i MB\n", free);
  std::printf("-- RAM usage: %i MB\n", usage);
}

}  // namespace tevo
