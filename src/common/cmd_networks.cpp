// Neural network commands.
#include <cctype>

#include "common/commands.h"
#include "common/registry.h"
#include "common/wrapper.h"
#include "net/pross.h"
#include "tevo.h"
#include "util/console.h"
#include "util/files.h"
#include "util/strings.h"

namespace tevo {
namespace {

// -solver as a number of the usage list (1 sgd ... 4 adam) or a name; "" if neither.
std::string solver_name(std::string word) {
  for (char& c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (word == "1") return "sgd";
  if (word == "2") return "rmsprop";
  if (word == "3") return "adagrad";
  if (word == "4") return "adam";
  if (word == "sgd" || word == "rmsprop" || word == "adagrad" || word == "adam") return word;
  return "";
}

int refuse_pross() {
  print_info("", 21);
  print_text("tevo pross -phase <INT> -dirt <STRING> -cfg <STRING>", kGreen);
  print_text("Support optimizers: 1) SGD, 2) RMSPROP, 3) ADAGRAD, and 4) Adam", kGreen);
  reval = -1;
  return reval;
}

}  // namespace

int pross() {
  const bool phase_ok = FLAGS_phase == 0 || FLAGS_phase == 1;
  if (FLAGS_dirt.empty() || FLAGS_cfg.empty() || !phase_ok) {
    print_text("found error(s) and as listed below!", kRed);
    if (FLAGS_dirt.empty()) print_info("data", 4);
    if (FLAGS_cfg.empty()) print_info("model configuration", 4);
    if (!phase_ok) print_text("have no idea what to do!", kRed);
    return refuse_pross();
  }
  const std::string solver = solver_name(FLAGS_solver);
  if (solver.empty() || FLAGS_win < 1) {
    print_text("found error(s) and as listed below!", kRed);
    if (solver.empty()) print_info("unknown solver \"" + FLAGS_solver + "\"", 9);
    if (FLAGS_win < 1) print_info("the window -win must hold at least one row", 9);
    return refuse_pross();
  }
  print_invocation("pross", {{"jobname", FLAGS_jobname},
                             {"threads", num2string(FLAGS_threads, 0)},
                             {"win", num2string(FLAGS_win, 0)},
                             {"index", FLAGS_index},
                             {"cfg", FLAGS_cfg},
                             {"dirt", FLAGS_dirt},
                             {"echo", num2string(FLAGS_echo, 0)},
                             {"n", num2string(FLAGS_n, 0)},
                             {"mbs", num2string(FLAGS_mbs, 0)},
                             {"solver", FLAGS_solver},
                             {"lrate", num2string(FLAGS_lrate, 6)}});
  dirt_check(FLAGS_dirt);
  Pross<float> model(FLAGS_output, FLAGS_jobname);
  model.init();
  model.set_info(FLAGS_threads, FLAGS_echo, FLAGS_mbs, solver, static_cast<float>(FLAGS_lrate), FLAGS_cfg);
  model.set_phase(FLAGS_phase == 1);
  model.set_list(FLAGS_index);
  model.set_dirt(FLAGS_dirt);
  model.set_window(FLAGS_win);
  model.set_number(FLAGS_n);
  model.actuate();
  model.finish();
  reval = 0;
  return reval;
}

}  // namespace tevo
