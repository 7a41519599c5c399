// Where the program finds its deployment data (configurations and parameter
// tables): "<root>/cfg/...". The root is fixed when the program is built.
#pragma once

#include <string>

namespace tevo {

// The installed share directory when this executable is the installed one,
// otherwise the source tree's data/ folder (a build that is not installed,
// and the tests).
const std::string& data_root();

// A parameter file named in a configuration: `name` below "<root>/cfg/", or
// `name` itself when it is an absolute path.
std::string cfg_path(const std::string& name);

}  // namespace tevo
