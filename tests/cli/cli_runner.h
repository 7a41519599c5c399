// Runs the built `tevo` in a fresh temporary directory and collects what a
// user would see: exit status, console text without colours, job files.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace tevo_test {

struct CliRun {
  int status = -1;
  std::string out;  // standard output, ANSI colour codes removed
  std::string err;  // standard error (logging lines)
  std::string dir;  // the temporary working directory of the run
};

class CliSandbox {
 public:
  CliSandbox();   // makes a fresh directory
  ~CliSandbox();  // removes it

  // Runs `tevo args...` inside the sandbox directory.
  CliRun run(const std::vector<std::string>& args, const std::string& env = "") const;

  // Writes a file (relative to the sandbox) and returns its absolute path.
  std::string write(const std::string& relative, const std::string& content) const;

  // Files below `relative` (recursive), as relative path -> content.
  std::map<std::string, std::string> files(const std::string& relative) const;

  bool exists(const std::string& relative) const;
  std::string read(const std::string& relative) const;
  const std::string& path() const { return dir_; }

 private:
  std::string dir_;
};

std::string strip_ansi(const std::string& text);

// Path of a fixture under tests/data.
std::string test_data(const std::string& relative);

}  // namespace tevo_test
