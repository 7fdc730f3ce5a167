#include <cstdio>

#include "base/cli_error.h"
#include "checks/input_check.h"
#include "commands/args.h"
#include "commands/commands.h"
#include "commands/dng_input.h"
#include "commands/raw_options.h"
#include "files/output_plan.h"
#include "pipeline/preview_pairs.h"
#include "render/preview_pictures.h"
#include "workbench/error.h"
#include "workbench/preview/preview_render.h"
#include "workbench/preview/residual_overlay.h"

namespace mirvo_cli {
namespace {

const char kHelp[] =
    "usage: mirvo preview (--raw FILE --width W --height H --bits B --pattern P [--mipi]\n"
    "                      [--black-level a,b,c,d] | --dng FILE)\n"
    "                     [--table T.h] [--out-width PX] --out IMG\n"
    "\n"
    "Renders one raw frame as a person would look at it: one pixel per Bayer quad,\n"
    "black removed, each channel multiplied by the table's gains (interpolated from\n"
    "the 13 x 17 lattice; without --table no correction), white balanced on the\n"
    "frame's grey cells, exposed so that the brightest 1 % reach 90 %, with the sRGB\n"
    "curve. Writes JPEG when IMG ends in .jpg or .jpeg, PNG otherwise. Prints the\n"
    "colour shading left in the frame (RMS of log R/G and log B/G over the grey cells).\n"
    "\n"
    "  --raw FILE         raw frame, unpacked 16-bit little-endian or, with --mipi, RAW10\n"
    "  --dng FILE         a Bayer DNG: frame, levels and white balance (its as-shot\n"
    "                     neutral) from the file; without --table its own GainMaps,\n"
    "                     as the ISP applied them (none: no correction)\n"
    "  --width W, --height H  frame size in pixels (even)\n"
    "  --bits B           bits per sample, 1 to 14\n"
    "  --pattern P        RGGB, GRBG, BGGR or GBRG\n"
    "  --black-level L    black levels in 14-bit units, one value or a,b,c,d (default 0)\n"
    "  --table T.h        the LSC table to render with (default: none, gains of 1)\n"
    "  --out-width PX     scale down to this width (default: one pixel per quad)\n"
    "  --out IMG          the picture\n";

int Run(const std::vector<std::string>& argv) {
  std::vector<OptionSpec> specs = {{"--raw", OptionKind::kValue},
                                   {"--dng", OptionKind::kValue},
                                   {"--table", OptionKind::kValue},
                                   {"--out-width", OptionKind::kValue},
                                   {"--out", OptionKind::kValue}};
  AddRawOptionSpecs(&specs);
  const Args args("preview", specs, argv);
  args.RejectPositional();
  const bool use_dng = args.Has("--dng");
  if (use_dng == args.Has("--raw")) args.Fail("give one of --raw FILE or --dng FILE");
  RawOptions raw;
  if (use_dng)
    RejectGeometryWithDng(args);
  else
    raw = ParseRawOptions(args);
  const std::string raw_path = args.Require(use_dng ? "--dng" : "--raw");
  const int out_width = static_cast<int>(args.GetInt("--out-width", 0, 1, 65536));
  const std::string out = args.Require("--out");
  std::vector<std::string> inputs = {raw_path};
  if (args.Has("--table")) inputs.push_back(args.Get("--table"));
  CheckOutputPlan(inputs, {out});

  mirvo::LscTable table = {};
  const bool has_table = args.Has("--table");
  if (has_table) table = LoadTableFile(args.Get("--table"));
  PreviewFrame frame;
  bool has_gain_map = false;
  if (use_dng)
    has_gain_map = LoadDngPreviewFrame(raw_path, &frame, has_table ? nullptr : &table);
  else
    LoadRawPreviewFrame(raw_path, raw, &frame);
  const mirvo::workbench::BayerPlanes& planes = frame.planes;
  const mirvo::LscTable* t = has_table || has_gain_map ? &table : nullptr;
  try {
    mirvo::workbench::LookOptions options;
    options.as_shot_neutral = frame.neutral;
    const mirvo::workbench::ResidualShading residual = mirvo::workbench::MeasureResidual(planes, t);
    const mirvo::workbench::PreviewLook look = mirvo::workbench::ChooseLook(planes, t, options, &residual);
    const mirvo::workbench::RgbImage picture = mirvo::workbench::RenderPreview(planes, t, look, out_width);
    WritePicture(picture, out);
    std::printf("%s: %dx%d; colour shading left %.2f %% RMS over %d grey cells\n", out.c_str(), picture.width,
                picture.height, residual.rms * 100.0, residual.grey_cells);
  } catch (const mirvo::workbench::WorkbenchError& e) {
    throw DataError(raw_path + ": " + e.what());
  }
  return kExitOk;
}

}  // namespace

const Command kCommandPreview = {"preview", "render one raw frame or DNG as a picture, with or without a table", kHelp,
                                 Run};

}  // namespace mirvo_cli
