#include <cstdio>

#include "analysis/table_summary.h"
#include "base/cli_error.h"
#include "base/standard_output.h"
#include "checks/input_check.h"
#include "checks/table_ranges.h"
#include "commands/args.h"
#include "commands/commands.h"
#include "files/output_files.h"
#include "files/output_plan.h"
#include "render/pictures.h"
#include "render/png_writer.h"
#include "workbench/dng/dng_reader.h"
#include "workbench/dng/dng_writer.h"
#include "workbench/import/lsc_import.h"

namespace mirvo_cli {
namespace {

const char kHelp[] =
    "usage: mirvo table FILE.h [--sim OUT] [--png OUT.png] [--json]\n"
    "       mirvo table --import FILE.json [--ct K] --out TABLE.h\n"
    "       mirvo table --from-dng FILE.dng --out TABLE.h\n"
    "       mirvo table FILE.h --into-dng IN.dng --out OUT.dng\n"
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
    "  --out TABLE.h  the LSC table header file to write\n"
    "\n"
    "With --from-dng, writes the GainMaps a DNG carries (OpcodeList2, else\n"
    "OpcodeList3) as an LSC table: the maps' points are placed at their own spacing\n"
    "and origin in the active area and resampled onto the lattice when they are not\n"
    "its nodes. With --into-dng, writes a copy of IN.dng whose OpcodeList2 GainMaps\n"
    "are the table's four planes (13 x 17 points per Bayer position, the layout\n"
    "Android writes), every other byte and opcode of the file kept.\n";

int RunFromDng(const Args& args) {
  if (!args.positional().empty()) args.Fail("--from-dng takes no table file ('" + args.positional()[0] + "')");
  const std::string path = args.Get("--from-dng");
  const std::string out = args.Require("--out");
  CheckOutputPlan({path}, {out});
  const mirvo::workbench::DngFrame frame = mirvo::workbench::ReadDng(path);
  if (!frame.has_gain_map) throw DataError(path + ": no GainMap in OpcodeList2 or OpcodeList3");
  WriteTableFile(out, frame.gain_map);
  std::printf("%s: LSC table from the %zu GainMaps of %s (OpcodeList%d)\n", out.c_str(), frame.gain_maps.size(),
              path.c_str(), frame.gain_map_list);
  return kExitOk;
}

int RunIntoDng(const Args& args) {
  const std::string path = args.OnePositional("table file");
  const std::string dng = args.Get("--into-dng");
  const std::string out = args.Require("--out");
  CheckOutputPlan({path, dng}, {out});
  const mirvo::LscTable table = LoadTableFile(path);
  mirvo::workbench::WriteDngGainMap(dng, out, table);
  std::printf("%s: %s with the GainMaps of %s\n", out.c_str(), dng.c_str(), path.c_str());
  return kExitOk;
}

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
  Print("%s: LSC table imported from %s (%s%s%s)\n", out.c_str(), path.c_str(), imported.layout.c_str(),
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
                   {"--from-dng", OptionKind::kValue},
                   {"--into-dng", OptionKind::kValue},
                   {"--out", OptionKind::kValue}},
                  argv);
  int modes = 0;
  for (const char* mode : {"--import", "--from-dng", "--into-dng"}) modes += args.Has(mode);
  if (modes > 1) args.Fail("--import, --from-dng and --into-dng are separate uses");
  if (modes == 1 && (args.Has("--sim") || args.Has("--png") || args.Has("--json")))
    args.Fail("--import, --from-dng and --into-dng write only --out");
  if (args.Has("--ct") && !args.Has("--import")) args.Fail("--ct goes with --import");
  if (args.Has("--import")) return RunImport(args);
  if (args.Has("--from-dng")) return RunFromDng(args);
  if (args.Has("--into-dng")) return RunIntoDng(args);
  if (args.Has("--out")) args.Fail("--out goes with --import, --from-dng or --into-dng");
  const std::string path = args.OnePositional("table file");
  std::vector<std::string> outputs;
  for (const char* name : {"--sim", "--png"})
    if (args.Has(name)) outputs.push_back(args.Get(name));
  CheckOutputPlan({path}, outputs);
  const mirvo::LscTable table = LoadTableFile(path);
  if (args.Has("--sim")) CheckSimulatorGains(path, table);
  if (args.Has("--json"))
    PrintText(mirvo::workbench::TableToJson(table));
  else
    Print("%s: LSC table, 4 planes of 13 x 17 gains\n%s", path.c_str(), TableSummary(table).c_str());
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
