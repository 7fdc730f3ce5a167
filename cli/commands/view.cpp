#include <algorithm>
#include <cstdio>
#include <vector>

#include "base/cli_error.h"
#include "checks/input_check.h"
#include "commands/args.h"
#include "commands/commands.h"
#include "core/diagnostic_dump.h"
#include "files/atomic_file.h"
#include "files/output_plan.h"
#include "render/heatmap.h"
#include "render/picture_names.h"
#include "render/png_writer.h"

namespace mirvo_cli {
namespace {

const char kHelp[] =
    "usage: mirvo view DIAG.txt --out-dir DIR\n"
    "\n"
    "Draws every grid of a diagnostic dump (as mirvo run --debug writes them) as a\n"
    "heatmap PNG in DIR, named after the grid (GradH_UX.png for GradH_UX[24][31]),\n"
    "with the key as title and a colour scale of its value range. Signed grids (log\n"
    "chroma and log gains, gradients, log tints) are drawn in blue (negative) to red\n"
    "(positive) about white at zero; the others from dark blue (low) to yellow (high).\n"
    "Prints the dump's scalars.\n";

// Longest grid side drawn. With the reader's bound on values per grid, a
// picture then holds at most some tens of MiB of pixels.
constexpr int kMaxPictureCells = 4096;

int Run(const std::vector<std::string>& argv) {
  const Args args("view", {{"--out-dir", OptionKind::kValue}}, argv);
  const std::string path = args.OnePositional("diagnostic dump");
  const std::string out_dir = args.Require("--out-dir");
  const mirvo::DiagnosticDump dump = mirvo::workbench::LoadDiagnosticFile(path);
  // A picture's size follows the grid's longer side, not its value count: a
  // long thin grid would make a picture far larger than the dump itself.
  for (const mirvo::DiagnosticGrid& grid : dump.grids) {
    if (std::max(grid.rows, grid.cols) > kMaxPictureCells)
      throw DataError(path + ": grid " + grid.key + " is too large to draw (at most " +
                      std::to_string(kMaxPictureCells) + " rows or columns)");
  }

  // Every picture's name is known, and checked, before the first is written.
  PictureNames names;
  std::vector<std::string> files;
  for (const mirvo::DiagnosticGrid& grid : dump.grids) files.push_back(out_dir + "/" + names.Next(grid.name));
  CheckOutputPlan({path}, files);

  for (const auto& [key, value] : dump.scalars) std::printf("%s = %s\n", key.c_str(), FormatValue(value).c_str());
  MakeDirectories(out_dir);
  for (size_t i = 0; i < dump.grids.size(); ++i) {
    const mirvo::DiagnosticGrid& grid = dump.grids[i];
    GridView view;
    view.title = grid.key;
    view.rows = grid.rows;
    view.cols = grid.cols;
    view.values = grid.values;
    view.signed_values = IsSignedGridName(grid.name);
    WritePng(RenderHeatmap(view, AutoCellSize(grid.rows, grid.cols)), files[i]);
  }
  std::printf("%zu picture%s in %s\n", dump.grids.size(), dump.grids.size() == 1 ? "" : "s", out_dir.c_str());
  return kExitOk;
}

}  // namespace

const Command kCommandView = {"view", "draw every grid of a diagnostic dump as a heatmap", kHelp, Run};

}  // namespace mirvo_cli
