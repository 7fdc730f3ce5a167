#include <cstdio>
#include <cstring>
#include <memory>

#include "base/cli_error.h"
#include "checks/input_check.h"
#include "checks/table_ranges.h"
#include "commands/args.h"
#include "commands/commands.h"
#include "files/output_plan.h"
#include "files/tuning_output.h"
#include "io/default_tuning.h"
#include "workbench/calibration/profile_learning.h"

namespace mirvo_cli {
namespace {

const char kHelp[] =
    "usage: mirvo learn --table FILE --table FILE [--table FILE...] [--reference FILE]\n"
    "                   [--tuning FILE] --out TUNING.h\n"
    "\n"
    "Learns the tint profile of a camera module from its base tables calibrated under\n"
    "different illuminants (mirvo calibrate, or mirvo table --import). At every node\n"
    "the tint an illuminant leaves under the reference table is the reference's log\n"
    "colour ratio minus the table's own; the profile (BUL for log R/G, BVL for log\n"
    "B/G) is the dominant shape of these tints, mean removed, scaled so that the\n"
    "largest one projects to 1. The gradient blocks are derived from it by the\n"
    "library's full-frame crop. Writes a tuning header file for mirvo run --tuning\n"
    "and the device.\n"
    "\n"
    "  --table FILE...    LSC table header files of one module, two or more\n"
    "  --reference FILE   the table the device uses as its base (default: the first)\n"
    "  --tuning FILE      thresholds to keep (default: the built-in tuning's)\n"
    "  --out TUNING.h     the tuning header file\n";

int Run(const std::vector<std::string>& argv) {
  const Args args("learn",
                  {{"--table", OptionKind::kList},
                   {"--reference", OptionKind::kValue},
                   {"--tuning", OptionKind::kValue},
                   {"--out", OptionKind::kValue}},
                  argv);
  args.RejectPositional();
  const std::vector<std::string>& files = args.List("--table");
  if (files.size() < 2) args.Fail("give at least two tables (--table FILE --table FILE)");
  const std::string out = args.Require("--out");
  size_t reference = 0;
  if (args.Has("--reference")) {
    const std::string ref = args.Get("--reference");
    reference = files.size();
    for (size_t k = 0; k < files.size() && reference == files.size(); ++k)
      if (files[k] == ref) reference = k;
    if (reference == files.size()) args.Fail("--reference: '" + ref + "' is not one of the --table files");
  }
  std::vector<std::string> inputs = files;
  if (args.Has("--tuning")) inputs.push_back(args.Get("--tuning"));
  CheckOutputPlan(inputs, {out});
  auto params = std::make_unique<mirvo::MirvoParams>(mirvo::DefaultMirvoParams());
  if (args.Has("--tuning")) LoadTuningFile(args.Get("--tuning"), params.get());

  std::vector<mirvo::LscTable> tables;
  // Base tables, as run takes them: the profile is made of their log ratios.
  for (const std::string& f : files) {
    tables.push_back(LoadTableFile(f));
    CheckBaseTableGains(f, tables.back());
  }
  mirvo::workbench::ProfileLearningReport report;
  const std::string refused =
      mirvo::workbench::LearnTintProfileFromTables(tables, files, reference, &params->learned_tint_profile, &report);
  if (!refused.empty()) throw DataError(refused);
  WriteTuningFile(out, *params);
  std::printf("%s: learned tint profile from %zu tables, reference %s\n", out.c_str(), files.size(),
              files[reference].c_str());
  std::printf("energy of the differences explained: u (log R/G) %.1f %%, v (log B/G) %.1f %%\n",
              100.0 * report.explained_u, 100.0 * report.explained_v);
  for (size_t k = 0; k < files.size(); ++k)
    std::printf("  %s: projection u %+.3f, v %+.3f\n", files[k].c_str(), report.projection_u[k],
                report.projection_v[k]);
  return kExitOk;
}

}  // namespace

const Command kCommandLearn = {"learn", "learn the tint profile from base tables of several illuminants", kHelp, Run};

}  // namespace mirvo_cli
