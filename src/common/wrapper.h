// The shared shape of a command: refuse with the usage when a required flag
// is missing, otherwise print the invocation before any work starts.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace tevo {

struct CommandUsage {
  std::string line;                  // "tevo <command> -flag <TYPE> ..."
  std::vector<std::string> options;  // printed under "Options:" when present
  bool announce = false;             // lead with "I found an error and list it below!"
};

// Prints "Error: where to locate the <missing>?", the usage block, sets
// reval to -1 and returns -1.
int refuse(const std::string& missing, const CommandUsage& usage);

// Prints "Invocation:", "tevo <command>" and one "-<flag> <value>" line each.
void print_invocation(const std::string& command,
                      const std::vector<std::pair<std::string, std::string>>& flags);

}  // namespace tevo
