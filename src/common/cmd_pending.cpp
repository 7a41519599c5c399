// Stand-in for registered commands whose worker is not in this build.
#include "common/commands.h"
#include "common/registry.h"
#include "util/console.h"

namespace tevo {

int command_pending() {
  print_info("this command is not available in this build yet", 11);
  reval = -1;
  return reval;
}

}  // namespace tevo
