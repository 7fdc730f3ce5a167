#include <cstdio>

#include "analysis/table_summary.h"
#include "base/cli_error.h"
#include "checks/input_check.h"
#include "checks/table_ranges.h"
#include "commands/args.h"
#include "commands/commands.h"
#include "files/output_files.h"
#include "files/output_plan.h"
#include "render/pictures.h"
#include "render/png_writer.h"

namespace mirvo_cli {
namespace {

const char kHelp[] =
    "usage: mirvo table FILE.h [--sim OUT] [--png OUT.png]\n"
    "\n"
    "Prints a summary of an LSC table header file: per plane the smallest and largest\n"
    "gain, the centre gain, the mean corner gain and the corner falloff (centre over\n"
    "corners, the relative illumination the plane corrects), then the same for the\n"
    "colour ratios R/G and B/G.\n"
    "\n"
    "  --sim OUT      also export the table as a simulator rolloff file\n"
    "  --png OUT.png  also draw the four planes as heatmaps\n";

int Run(const std::vector<std::string>& argv) {
  const Args args("table", {{"--sim", OptionKind::kValue}, {"--png", OptionKind::kValue}}, argv);
  if (args.positional().size() != 1) args.Fail("give exactly one table file (see mirvo table --help)");
  const std::string path = args.positional()[0];
  std::vector<std::string> outputs;
  for (const char* name : {"--sim", "--png"})
    if (args.Has(name)) outputs.push_back(args.Get(name));
  CheckOutputPlan({path}, outputs);
  const mirvo::LscTable table = LoadTableFile(path);
  if (args.Has("--sim")) CheckSimulatorGains(path, table);
  std::printf("%s: LSC table, 4 planes of 13 x 17 gains\n%s", path.c_str(), TableSummary(table).c_str());
  if (args.Has("--sim")) WriteSimRolloffFile(args.Get("--sim"), table);
  if (args.Has("--png")) {
    std::string name = path.substr(path.find_last_of('/') + 1);
    WritePng(TablePicture(table, name), args.Get("--png"));
  }
  return kExitOk;
}

}  // namespace

const Command kCommandTable = {"table", "summarise an LSC table header file, export or draw it", kHelp, Run};

}  // namespace mirvo_cli
