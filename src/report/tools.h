// Outside plotting programs: found on PATH without printing anything, and
// run quietly in the directory of the script they draw.
#pragma once

#include <string>

namespace tevo {

// Full path of an executable `name` on PATH, or "" when there is none.
std::string find_tool(const std::string& name);

// The first python3 on PATH that can import matplotlib, or "".
std::string find_python_with_matplotlib();

// Single-quoted word for /bin/sh.
std::string shell_quote(const std::string& word);

// Runs `program args... script` with the working directory set to the
// script's directory, output discarded; true when it exited with 0.
bool run_tool(const std::string& program, const std::string& args, const std::string& script);

// The directory part of a path ("" -> "."), and the name part.
std::string dir_of(const std::string& path);
std::string base_of(const std::string& path);

}  // namespace tevo
