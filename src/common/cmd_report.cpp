// Report commands: the job's web page and the plot of a matrix file.
#include <cstdlib>

#include "common/commands.h"
#include "common/registry.h"
#include "common/wrapper.h"
#include "report/html.h"
#include "report/matrix_text.h"
#include "tevo.h"
#include "util/console.h"

namespace tevo {

int html() {
  print_invocation("html", {{"jobname", FLAGS_jobname},
                            {"output", FLAGS_output},
                            {"jobid", FLAGS_jobid},
                            {"taskname", FLAGS_taskname},
                            {"username", FLAGS_username},
                            {"jobcpt", FLAGS_jobcpt},
                            {"jobwat", FLAGS_jobwat},
                            {"jobrun", FLAGS_jobrun}});
  HTML<double> page(FLAGS_output, FLAGS_jobname);
  JobInfo job;
  job.jobid = FLAGS_jobid;
  job.taskname = FLAGS_taskname;
  job.username = FLAGS_username;
  job.completed = FLAGS_jobcpt;
  job.waiting = FLAGS_jobwat;
  job.running = FLAGS_jobrun;
  page.set_job(job);
  const int blocks = page.report();
  print_text("Report of " + std::to_string(blocks) + " record blocks: " + page.path);
  if (FLAGS_hlog == 0) print_info("the job record is removed at the end of this run; keep it with -hlog 1", 11);
  reval = 0;
  return reval;
}

int plot() {
  const CommandUsage usage{"tevo plot -mat <STRING> -kind <STRING|line|scatter|bar|heatmap> -output <STRING|optional>",
                           {"-jobname <STRING> name of the job",
                            "-hlog    <INT>    1 keeps the job record for 'tevo html'"},
                           true};
  if (FLAGS_mat.empty()) return refuse("matrix file", usage);
  if (FLAGS_kind.empty()) return refuse("kind of plotting", usage);
  const std::string& kind = FLAGS_kind;
  if (kind != "line" && kind != "scatter" && kind != "bar" && kind != "heatmap") {
    print_info("", 1);
    print_info("unknown kind of plotting <" + kind + ">: use line, scatter, bar or heatmap", 9);
    print_info("", 21);
    print_text(usage.line, kGreen);
    reval = -1;
    return reval;
  }
  print_invocation("plot", {{"jobname", FLAGS_jobname}, {"mat", FLAGS_mat}, {"kind", kind}, {"output", FLAGS_output}});
  TextTable table;
  std::string error;
  if (!read_text_table(FLAGS_mat, &table, &error)) {
    print_info(error, 9);
    std::exit(1);
  }
  print_text("Drawing a " + kind + " chart of " + std::to_string(table.rows.size()) + " rows and " +
             std::to_string(table.cols) + " columns");
  for (const std::string& file : plot_table(FLAGS_output, FLAGS_jobname, FLAGS_mat, table, kind))
    print_text("Wrote " + file);
  reval = 0;
  return reval;
}

}  // namespace tevo
