// The command table: every command is a function of no arguments that
// returns 0 when done and -1 when it refused to run.
#pragma once

#include <map>
#include <string>

namespace tevo {

typedef int (*BrewFunction)();
typedef std::map<std::string, BrewFunction> BrewMap;

extern BrewMap g_brew_map;  // name -> command, iterated in byte order of the names
extern int reval;           // result of the last command: 0 done, -1 refused

// The command registered under `name`; prints the list and exits 1 on a miss.
BrewFunction GetBrewFunction(const std::string& name);

}  // namespace tevo
