// The data root: chosen once per process between the two build-time paths.
#include "folding/data_root.h"

#include <unistd.h>

#include <climits>

namespace tevo {

namespace {

std::string executable_dir() {
  char buf[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", buf, sizeof(buf) - 1);
  if (n <= 0) return "";
  std::string path(buf, static_cast<std::size_t>(n));
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? "" : path.substr(0, slash);
}

}  // namespace

const std::string& data_root() {
  static const std::string root =
      executable_dir() == TEVO_INSTALL_BINDIR ? std::string(TEVO_INSTALL_DATA_DIR) : std::string(TEVO_SOURCE_DATA_DIR);
  return root;
}

std::string cfg_path(const std::string& name) {
  if (!name.empty() && name[0] == '/') return name;
  return data_root() + "/cfg/" + name;
}

}  // namespace tevo
