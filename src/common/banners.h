// The banners and help of the program, and the commands that print only them.
#pragma once

namespace tevo {

extern const char kUsageText[];  // 3937 bytes, handed to the flag library

void about_tevo();      // long banner
void info();            // short banner, printed at the start of every job
void set_gflag_info();  // version and usage text for "-version" and "-help"

int about();
int usage();
int device();

}  // namespace tevo
