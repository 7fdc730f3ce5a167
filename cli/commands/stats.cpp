#include <cstdio>

#include "analysis/stats_reliability.h"
#include "base/cli_error.h"
#include "base/standard_output.h"
#include "checks/input_check.h"
#include "commands/args.h"
#include "commands/commands.h"
#include "commands/dng_input.h"
#include "commands/raw_options.h"
#include "files/output_files.h"
#include "files/output_plan.h"
#include "io/default_tuning.h"
#include "workbench/dng/dng_frame_input.h"

namespace mirvo_cli {
namespace {

const char kHelp[] =
    "usage: mirvo stats --raw FILE --width W --height H --bits B --pattern P [--mipi]\n"
    "                   [--black-level a,b,c,d] [--grid COLSxROWS] --out FILE [--mean-image FILE]\n"
    "       mirvo stats --dng FILE [--grid COLSxROWS] --out FILE [--mean-image FILE]\n"
    "\n"
    "Builds the statistics of one raw Bayer frame as the camera's statistics block\n"
    "would and writes them as a statistics text dump (the input of mirvo run --stats).\n"
    "Prints one line: the grid and the share of cells the engine would not trust\n"
    "with the built-in tuning, by reason (low level, high level, saturated).\n"
    "\n"
    "  --raw FILE         raw frame, unpacked 16-bit little-endian or, with --mipi, RAW10\n"
    "  --dng FILE         a Bayer DNG instead: its active area, CFA order, levels and bit\n"
    "                     depth come from the file (no geometry options)\n"
    "  --width W, --height H  frame size in pixels (even)\n"
    "  --bits B           bits per sample, 1 to 14\n"
    "  --pattern P        RGGB, GRBG, BGGR or GBRG\n"
    "  --black-level L    black levels in 14-bit units, one value or a,b,c,d (default 0)\n"
    "  --grid COLSxROWS   statistics grid (default 32x24)\n"
    "  --out FILE         the statistics text dump\n"
    "  --mean-image FILE  also the per-cell channel means as a tiny BGGR raw frame\n";

int Run(const std::vector<std::string>& argv) {
  std::vector<OptionSpec> specs = {{"--raw", OptionKind::kValue},
                                   {"--dng", OptionKind::kValue},
                                   {"--out", OptionKind::kValue},
                                   {"--mean-image", OptionKind::kValue}};
  AddRawOptionSpecs(&specs);
  const Args args("stats", specs, argv);
  args.RejectPositional();
  const bool dng = args.Has("--dng");
  if (dng && args.Has("--raw")) args.Fail("--raw and --dng are separate inputs");
  if (dng) RejectGeometryWithDng(args);
  const std::string raw_path = dng ? args.Get("--dng") : args.Require("--raw");
  const std::string out = args.Require("--out");
  std::vector<std::string> outputs = {out};
  if (args.Has("--mean-image")) outputs.push_back(args.Get("--mean-image"));
  mirvo::Stats stats;
  if (dng) {
    const GridOptions grid = ParseGridOption(args);
    CheckOutputPlan({raw_path}, outputs);
    mirvo::workbench::MakeDngInput(grid.cols, grid.rows)->ReadStats(raw_path, &stats);
  } else {
    const RawOptions raw = ParseRawOptions(args);
    CheckOutputPlan({raw_path}, outputs);
    MakeFrameInput(&raw)->ReadStats(raw_path, &stats);
  }
  WriteStatsDump(out, stats);
  if (args.Has("--mean-image")) WriteMeanImage(args.Get("--mean-image"), stats);
  const CellReliability cells = AssessCells(stats, mirvo::DefaultMirvoParams().tuning);
  Print("%s: %s\n", out.c_str(), ReliabilityLine(stats, cells).c_str());
  return kExitOk;
}

}  // namespace

const Command kCommandStats = {"stats", "build the statistics dump of one raw frame", kHelp, Run};

}  // namespace mirvo_cli
