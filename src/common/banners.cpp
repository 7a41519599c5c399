// Long and short banners, machine facts, and the usage text hand-off.
#include "common/banners.h"

#include <gflags/gflags.h>

#include <cstdio>
#include <ctime>
#include <string>

#include "common/registry.h"
#include "util/identity.h"
#include "util/sysinfo.h"

namespace tevo {

namespace {

const char* const MONTHS[12] = {"Jan.", "Feb.", "Mar.", "Apr.", "May",  "Jun.",
                                "Jul.", "Aug.", "Sep.", "Oct.", "Nov.", "Dec."};

// The date of the run, taken once when the program starts.
const std::time_t now = std::time(nullptr);
const std::tm ctm = *std::localtime(&now);

int run_year() { return ctm.tm_year + 1900; }

std::string legal_notice() {
  return "(C) " + std::to_string(kFirstYear) + "-" + std::to_string(run_year()) + " " + kMaker +
         ", " + kLicence;
}

}  // namespace

void about_tevo() {
  const std::string rule = "-- " + std::string(55, '-');
  std::puts("");
  std::puts(rule.c_str());
  std::printf("## %s   :: %s\n", kProgramName, kMotto);
  std::printf("## Version : TEVANA (TEVO v%s)      \n", kVersion);
  std::puts("## Released: Aug. 3, 2017.                   ");
  std::printf("## Author  : %s\n", kMaker);
  std::printf("## Contact : %s\n", kContact);
  std::printf("## Webpage : %s/tevo                         \n", kServer);
  std::printf("## Legal   : %s\n", legal_notice().c_str());
  std::printf("## Online tutorials: %s\n", kDocumentation);
  std::puts(rule.c_str());
  std::puts("");
}

void info() {
  const std::string rule = "-- " + std::string(43, '-');
  std::puts("");
  std::puts(rule.c_str());
  std::printf("## TEVO :: %s\n", kMotto);
  std::printf("## TEVANA :: Tevo v%s (%s %d)\n", kVersion, MONTHS[ctm.tm_mon], run_year());
  std::printf("## %s\n", legal_notice().c_str());
  std::printf("## %s/tevo\n", kServer);
  std::puts(rule.c_str());
}

void set_gflag_info() {
  gflags::SetVersionString(kVersion);
  gflags::SetUsageMessage(kUsageText);
}

int about() {
  about_tevo();
  return 0;
}

int usage() {
  GetBrewFunction("about")();
  gflags::ShowUsageWithFlagsRestrict("tevo", "tevo analytics");
  return 0;
}

int device() {
  info();
  Info::print_sysinfo();
  return 0;
}

}  // namespace tevo
