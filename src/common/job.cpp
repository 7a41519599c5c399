// The job run behind `main`.
#include "common/job.h"

#include <glog/logging.h>
#include <omp.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "common/banners.h"
#include "common/registry.h"
#include "tevo.h"
#include "util/console.h"
#include "util/identity.h"
#include "util/random.h"
#include "util/strings.h"
#include "util/timer.h"

namespace fs = boost::filesystem;

namespace tevo {

namespace {

std::string trim_classic_space(const std::string& name) {
  const char* space = " \t\n\v\f\r";
  const std::size_t last = name.find_last_not_of(space);
  if (last == std::string::npos) return "";
  return name.substr(0, last + 1).substr(name.find_first_not_of(space));
}

int count_matches(const std::string& command) {
  int count = 0;
  for (const auto& entry : g_brew_map)
    if (trim_classic_space(entry.first) == command) ++count;
  return count;
}

[[noreturn]] void unknown_command(const std::string& command) {
  print_info("", 0);
  print_info("", 1);
  print_info("I cannot find your command <" + command + ">!", 9);
  print_text("The commands in Tevo are listed:", kGreen);
  for (const auto& entry : g_brew_map) print_text(entry.first, kGreen);
  print_text("Note: please double-check!", kBlue);
  print_text("");
  std::exit(1);
}

void print_clock(const char* format) {
  const std::time_t t = std::time(nullptr);
  std::printf(format, std::asctime(std::localtime(&t)));
}

// Creates one directory level. A failure (missing parent, no permission)
// ends the run with a message instead of an uncaught exception.
void make_directory(const std::string& path) {
  boost::system::error_code error;
  fs::create_directory(path, error);
  if (error) {
    print_info("cannot create the directory " + path + ": " + error.message(), 9);
    std::exit(1);
  }
}

// Directory of the job: <cwd>/tevo-output/<jobname>/ or <output>/<jobname>/.
void prepare_job_directory() {
  char* cwd = getcwd(nullptr, 0);
  const std::string here = std::string(cwd ? cwd : ".") + "/";
  std::free(cwd);
  if (FLAGS_output.empty()) {
    FLAGS_output = here + "tevo-output/";
    make_directory(FLAGS_output);
  }
  const std::size_t last = FLAGS_output.find_last_of("/\\");
  if (last == std::string::npos || last != FLAGS_output.size() - 1) FLAGS_output += "/";
  FLAGS_output += FLAGS_jobname + "/";
  make_directory(FLAGS_output);
}

void set_threads() {
  const int available = omp_get_max_threads();
  if (FLAGS_threads > available) FLAGS_threads = available;
  if (FLAGS_threads < 1) FLAGS_threads = 1;
  omp_set_num_threads(FLAGS_threads);
  print_text("Theads used: " + std::to_string(FLAGS_threads) + " of " + std::to_string(available));
}

void print_summary(const std::string& command, Timer& timer) {
  print_text("");
  print_text("Completed: " + command, kGreen);
  const float seconds = timer.elapsed();
  print_text("Running time summary (seconds)", kGreen);
  print_text("Calculation:  " + num2string(seconds, 5), kGreen);
  print_text("Total:  " + num2string(seconds, 5), kGreen);
  timer.restart();
  print_text("");
  print_clock("-- Time Completed: %s\n");
  print_text("I saved all output files in this directory:");
  print_text("<" + FLAGS_output + ">");
}

}  // namespace

void GlobalInit(int* argc, char*** argv) {
  gflags::ParseCommandLineFlags(argc, argv, true);
  google::InitGoogleLogging((*argv)[0]);
  google::InstallFailureSignalHandler();
}

int run_main(int argc, char** argv) {
  FLAGS_alsologtostderr = 1;
  set_gflag_info();
  GlobalInit(&argc, &argv);

  if (argc < 2) {
    if (argc == 1) GetBrewFunction("about")();
    print_info("", 0);
    print_text("What can I do for you?", kGreen);
    print_text("Would you like to get more details, please try ", kGreen);
    print_text("tevo -help\n", kGreen);
    return 0;
  }

  const std::string command = argv[1];
  if (count_matches(command) != 1) unknown_command(command);
  if (command == "about" || command == "usage" || command == "device") {
    GetBrewFunction(command)();
    std::exit(0);
  }

  info();
  set_seed(12345);
  Timer timer;
  timer.restart();
  print_clock("-- Time Started: %s--\n");
  print_text("Working on: " + command);
  if (FLAGS_jobname.empty()) {
    print_info("default name is used for the job", 11);
    FLAGS_jobname = "tevana_" + command;
  }
  prepare_job_directory();
  set_threads();

  // The job record; commands that keep one append to it.
  const std::string log_path = FLAGS_output + FLAGS_jobname + ".log";

  const int result = GetBrewFunction(command)();

  if (FLAGS_hlog == 0) std::remove(log_path.c_str());
  if (result != -1) print_summary(command, timer);
  if (FLAGS_lhttp) {
    const std::string open = std::string("open ") + kServer + "/job/" + FLAGS_jobname;
    if (std::system(open.c_str()) != 0) { /* no desktop to hand the page to */ }
  }
  return 0;
}

}  // namespace tevo
