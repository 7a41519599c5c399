// Refusal and invocation blocks shared by all commands.
#include "common/wrapper.h"

#include "common/registry.h"
#include "util/console.h"

namespace tevo {

int refuse(const std::string& missing, const CommandUsage& usage) {
  if (usage.announce) print_info("", 1);
  print_info(missing, 4);
  print_info("", 21);
  print_text(usage.line, kGreen);
  if (!usage.options.empty()) {
    print_info("", 31);
    for (const std::string& option : usage.options) print_text(option, kGreen);
  }
  reval = -1;
  return reval;
}

void print_invocation(const std::string& command,
                      const std::vector<std::pair<std::string, std::string>>& flags) {
  print_info("", 51);
  print_text("tevo " + command, kBlue);
  for (const auto& flag : flags) print_text("-" + flag.first + " " + flag.second, kBlue);
}

}  // namespace tevo
