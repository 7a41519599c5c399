// End-to-end runner for the `tevo` binary.
#include "cli/cli_runner.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <boost/filesystem.hpp>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace fs = boost::filesystem;

namespace tevo_test {

namespace {

std::string quote(const std::string& word) {
  std::string quoted = "'";
  for (char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string slurp(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

}  // namespace

// Drops colour sequences: ESC "[" digits and ";" up to the final "m".
std::string strip_ansi(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::size_t end = i + 2;
    if (text.compare(i, 2, "\x1b[") == 0) {
      while (end < text.size() && (std::isdigit(static_cast<unsigned char>(text[end])) || text[end] == ';')) ++end;
      if (end < text.size() && text[end] == 'm') {
        i = end;
        continue;
      }
    }
    plain += text[i];
  }
  return plain;
}

std::string test_data(const std::string& relative) { return std::string(TEVO_TEST_DATA) + "/" + relative; }

CliSandbox::CliSandbox() {
  const fs::path base = fs::temp_directory_path() / fs::unique_path("tevo-cli-%%%%-%%%%-%%%%");
  fs::create_directories(base);
  dir_ = base.string();
}

CliSandbox::~CliSandbox() {
  boost::system::error_code ignored;
  fs::remove_all(dir_, ignored);
}

CliRun CliSandbox::run(const std::vector<std::string>& args, const std::string& env) const {
  std::string command = "cd " + quote(dir_) + " && " + env + " " + quote(TEVO_BINARY);
  for (const std::string& arg : args) command += " " + quote(arg);
  command += " > .stdout 2> .stderr < /dev/null";
  const int raw = std::system(command.c_str());
  CliRun run{WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw), strip_ansi(slurp(dir_ + "/.stdout")),
             slurp(dir_ + "/.stderr"), dir_};
  fs::remove(dir_ + "/.stdout");
  fs::remove(dir_ + "/.stderr");
  return run;
}

std::string CliSandbox::write(const std::string& relative, const std::string& content) const {
  const fs::path path = fs::path(dir_) / relative;
  fs::create_directories(path.parent_path());
  std::ofstream(path.string(), std::ios::binary) << content;
  return path.string();
}

std::map<std::string, std::string> CliSandbox::files(const std::string& relative) const {
  std::map<std::string, std::string> found;
  const fs::path root = fs::path(dir_) / relative;
  if (!fs::is_directory(root)) return found;
  for (fs::recursive_directory_iterator it(root), end; it != end; ++it)
    if (fs::is_regular_file(it->path()))
      found[fs::relative(it->path(), root).string()] = slurp(it->path().string());
  return found;
}

bool CliSandbox::exists(const std::string& relative) const { return fs::exists(fs::path(dir_) / relative); }

std::string CliSandbox::read(const std::string& relative) const { return slurp(dir_ + "/" + relative); }

}  // namespace tevo_test
