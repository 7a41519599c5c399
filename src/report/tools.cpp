// PATH look-up and quiet runs of gnuplot, python3, Rscript and pymol.
#include "report/tools.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <map>

namespace tevo {

namespace {
constexpr int kToolSeconds = 600;
}  // namespace

std::string find_tool(const std::string& name) {
  const char* path = std::getenv("PATH");
  if (!path || name.empty()) return "";
  std::string list = path;
  std::size_t start = 0;
  while (start <= list.size()) {
    std::size_t end = list.find(':', start);
    if (end == std::string::npos) end = list.size();
    std::string dir = list.substr(start, end - start);
    if (dir.empty()) dir = ".";
    const std::string candidate = dir + "/" + name;
    struct stat info;
    if (stat(candidate.c_str(), &info) == 0 && S_ISREG(info.st_mode) && access(candidate.c_str(), X_OK) == 0)
      return candidate;
    start = end + 1;
  }
  return "";
}

std::string shell_quote(const std::string& word) {
  std::string out = "'";
  for (const char c : word) {
    if (c == '\'') out += "'\\''";
    else out += c;
  }
  return out + "'";
}

std::string find_python_with_matplotlib() {
  static std::map<std::string, std::string> cache;  // PATH -> interpreter
  const char* env = std::getenv("PATH");
  const std::string key = env ? env : "";
  const auto hit = cache.find(key);
  if (hit != cache.end()) return hit->second;
  std::string found;
  std::size_t start = 0;
  while (start <= key.size() && found.empty()) {
    std::size_t end = key.find(':', start);
    if (end == std::string::npos) end = key.size();
    const std::string candidate = (end > start ? key.substr(start, end - start) : ".") + "/python3";
    struct stat info;
    if (stat(candidate.c_str(), &info) == 0 && access(candidate.c_str(), X_OK) == 0) {
      const std::string probe = shell_quote(candidate) + " -c 'import matplotlib' >/dev/null 2>&1";
      if (std::system(probe.c_str()) == 0) found = candidate;
    }
    start = end + 1;
  }
  cache[key] = found;
  return found;
}

std::string dir_of(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string base_of(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool run_tool(const std::string& program, const std::string& args, const std::string& script) {
  if (program.empty()) return false;
  // The tool's own directory goes first on PATH: wrapper scripts such as
  // Debian's pymol call "python3" and must find the one they came with.
  // A tool that hangs (a viewer waiting for a display) is stopped after
  // kToolSeconds where coreutils' timeout is at hand.
  const std::string limit = find_tool("timeout");
  const std::string guard = limit.empty() ? "" : shell_quote(limit) + " " + std::to_string(kToolSeconds) + " ";
  const std::string command = "cd " + shell_quote(dir_of(script)) + " && PATH=" + shell_quote(dir_of(program)) +
                              ":\"$PATH\" " + guard + shell_quote(program) + " " + args + " " +
                              shell_quote(base_of(script)) + " </dev/null >/dev/null 2>&1";
  return std::system(command.c_str()) == 0;
}

}  // namespace tevo
