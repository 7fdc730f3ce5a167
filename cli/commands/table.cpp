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
#include "workbench/import/lsc_import.h"

namespace mirvo_cli {
namespace {

const char kHelp[] =
    "usage: mirvo table FILE.h [--sim OUT] [--png OUT.png] [--json]\n"
    "       mirvo table --import FILE.json [--ct K] --out TABLE.h\n"
    "\n"
    "Prints a summary of an LSC table header file: per plane the smallest and largest\n"
    "gain, the centre gain, the mean corner gain and the corner falloff (centre over\n"
    "corners, the relative illumination the plane corrects), then the same for the\n"
    "colour ratios R/G and B/G.\n"
    "\n"
    "  --sim OUT      also export the table as a simulator rolloff file\n"
    "  --png OUT.png  also draw the four planes as heatmaps\n"
    "  --json         print the table as JSON instead of the summary\n"
    "\n"
    "With --import, converts a lens shading calibration from JSON into an LSC table\n"
    "header file: per-colour-temperature R/G and B/G cell tables with a luminance\n"
    "table, four-channel gain tables on nodes, three-channel meshes, or the output of\n"
    "--json. The calibration is resampled onto the table lattice, node (r, c) at pixel\n"
    "(c x W/16, r x H/12), and each plane normalised to a smallest gain of 1.\n"
    "  --ct K         colour temperature in kelvin: one of the file's, or between two of\n"
    "                 them (interpolated in 1/K); needed when the file holds several\n"
    "  --out TABLE.h  the LSC table header file to write\n";

int RunImport(const Args& args) {
  if (!args.positional().empty()) args.Fail("--import takes no table file ('" + args.positional()[0] + "')");
  if (args.Has("--sim") || args.Has("--png") || args.Has("--json")) args.Fail("--import writes only --out");
  const std::string path = args.Get("--import");
  const int ct = args.Has("--ct") ? static_cast<int>(args.GetInt("--ct", 0, 1000, 100000)) : 0;
  const std::string out = args.Require("--out");
  CheckOutputPlan({path}, {out});
  mirvo::workbench::ImportedTable imported;
  try {
    imported = mirvo::workbench::ImportLscFile(path, ct);
  } catch (const mirvo::workbench::ColourTemperatureNeeded& e) {
    throw UsageError(std::string("mirvo table: ") + e.what() + "; choose one with --ct K");
  }
  WriteTableFile(out, imported.table);
  std::printf("%s: LSC table imported from %s (%s%s%s)\n", out.c_str(), path.c_str(), imported.layout.c_str(),
              imported.note.empty() ? "" : ", ", imported.note.c_str());
  return kExitOk;
}

int Run(const std::vector<std::string>& argv) {
  const Args args("table",
                  {{"--sim", OptionKind::kValue},
                   {"--png", OptionKind::kValue},
                   {"--json", OptionKind::kFlag},
                   {"--import", OptionKind::kValue},
                   {"--ct", OptionKind::kValue},
                   {"--out", OptionKind::kValue}},
                  argv);
  if (args.Has("--import")) return RunImport(args);
  if (args.Has("--ct") || args.Has("--out")) args.Fail("--ct and --out go with --import");
  const std::string path = args.OnePositional("table file");
  std::vector<std::string> outputs;
  for (const char* name : {"--sim", "--png"})
    if (args.Has(name)) outputs.push_back(args.Get(name));
  CheckOutputPlan({path}, outputs);
  const mirvo::LscTable table = LoadTableFile(path);
  if (args.Has("--sim")) CheckSimulatorGains(path, table);
  if (args.Has("--json"))
    std::fputs(mirvo::workbench::TableToJson(table).c_str(), stdout);
  else
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
