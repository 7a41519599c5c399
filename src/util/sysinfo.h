// Facts about the machine for the `device` command.
#pragma once

namespace tevo {

class Info {
 public:
  static int get_CPU_count();      // processors online
  static int get_CPU_frequency();  // MHz of the first "cpu MHz" line, 0 if none
  static int get_RAM_size();       // MB
  static int get_RAM_free();       // MB
  static int get_RAM_usage();      // percent in use, truncated
  static void print_sysinfo();
};

}  // namespace tevo
