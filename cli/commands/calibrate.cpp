#include <cstdio>
#include <memory>

#include "base/cli_error.h"
#include "base/standard_output.h"
#include "checks/input_check.h"
#include "commands/args.h"
#include "commands/commands.h"
#include "commands/dng_input.h"
#include "commands/raw_options.h"
#include "files/output_files.h"
#include "files/output_plan.h"
#include "render/flat_field_picture.h"
#include "render/pictures.h"
#include "render/png_writer.h"
#include "tools/bayer_raw.h"
#include "workbench/calibration/calibration.h"
#include "workbench/calibration/flat_field_calibration.h"
#include "workbench/dng/dng_reader.h"

namespace mirvo_cli {
namespace {

const char kHelp[] =
    "usage: mirvo calibrate --raw FILE... --width W --height H --bits B --pattern P [--mipi]\n"
    "                       [--black-level a,b,c,d] [--luminance-strength S] [--png] --out TABLE.h\n"
    "       mirvo calibrate --dng FILE... [--luminance-strength S] [--png] --out TABLE.h\n"
    "\n"
    "Makes the base LSC table of a camera module from raw captures of an evenly lit\n"
    "flat field under one illuminant (several captures are averaged): the table whose\n"
    "gains make every channel of the flat field flat. The field is measured robustly\n"
    "on 64 x 48 blocks (dust and defect pixels do not count), a smooth surface is\n"
    "fitted per channel and evaluated at the table nodes, node (r, c) at pixel\n"
    "(c x W/16, r x H/12). Each plane is normalised to a smallest gain of 1.\n"
    "\n"
    "Captures are refused, and nothing is written, when more than 0.1 % of the\n"
    "samples are clipped, the green level is below 5 % of the range above black, the\n"
    "field is not flat (what a smooth surface cannot explain exceeds 2 % in 10 % of\n"
    "the blocks, or 5 % of the blocks lie off it) or the captures of one call differ\n"
    "by more than 0.02 in log R/G or log B/G (0.05 in log G).\n"
    "\n"
    "  --raw FILE...      flat-field frames, unpacked 16-bit little-endian or, with --mipi, RAW10\n"
    "  --dng FILE...      flat-field Bayer DNGs instead (geometry and levels from the files)\n"
    "  --width W, --height H  frame size in pixels (even)\n"
    "  --bits B           bits per sample, 1 to 14\n"
    "  --pattern P        RGGB, GRBG, BGGR or GBRG\n"
    "  --black-level L    black levels in 14-bit units, one value or a,b,c,d (default 0),\n"
    "                     paired with the planes as mirvo stats pairs them\n"
    "  --luminance-strength S  share of the vignetting to correct, 0 to 1 (default 1);\n"
    "                     the colour shading is always corrected in full\n"
    "  --png              also TABLE_gains.png (the four gain planes) and\n"
    "                     TABLE_flat.png (the flat field after correction)\n"
    "  --out TABLE.h      the base table (LSC table header file)\n";

const char* const kChannels[4] = {"R", "Gr", "Gb", "B"};

void AddCapture(const std::string& path, const RawOptions& raw, mirvo::workbench::FlatFieldCalibration* calibration) {
  mirvo::BayerRaw frame;
  MakeFrameInput(&raw)->ReadFrame(path, &frame);
  const std::string refused = calibration->AddCapture(frame, raw.black_level, path);
  if (!refused.empty()) throw DataError(refused);
}

// A DNG capture: its active area, levels and bit depth as the file states them.
void AddDngCapture(const std::string& path, mirvo::workbench::FlatFieldCalibration* calibration, int* width,
                   int* height) {
  const mirvo::workbench::DngFrame dng = mirvo::workbench::ReadDng(path);
  mirvo::BayerRaw frame;
  mirvo::workbench::SplitDngFrame(dng, &frame);
  const std::string refused = calibration->AddCapture(frame, dng.stats_black, path);
  if (!refused.empty()) throw DataError(refused);
  *width = dng.width;
  *height = dng.height;
}

std::string Stem(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  const size_t dot = path.find_last_of('.');
  return dot != std::string::npos && (slash == std::string::npos || dot > slash) ? path.substr(0, dot) : path;
}

int Run(const std::vector<std::string>& argv) {
  std::vector<OptionSpec> specs = {{"--raw", OptionKind::kList},
                                   {"--dng", OptionKind::kList},
                                   {"--out", OptionKind::kValue},
                                   {"--luminance-strength", OptionKind::kValue},
                                   {"--png", OptionKind::kFlag}};
  AddRawOptionSpecs(&specs);
  const Args args("calibrate", specs, argv);
  args.RejectPositional();
  const bool use_dng = args.Has("--dng");
  if (use_dng && args.Has("--raw")) args.Fail("--raw and --dng are separate inputs");
  const std::vector<std::string>& files = args.List(use_dng ? "--dng" : "--raw");
  if (files.empty()) args.Fail("missing --raw or --dng (one or more flat-field captures)");
  if (args.Has("--grid")) args.Fail("--grid: the measurement grid is fixed");
  if (use_dng) RejectGeometryWithDng(args);
  const RawOptions raw = use_dng ? RawOptions() : ParseRawOptions(args);
  double strength = 1.0;
  if (args.Has("--luminance-strength") &&
      (!ParseDouble(args.Get("--luminance-strength"), &strength) || !(strength >= 0.0 && strength <= 1.0)))
    args.Fail("--luminance-strength: '" + args.Get("--luminance-strength") + "' is not a number from 0 to 1");
  const std::string out = args.Require("--out");
  const std::string stem = Stem(out);
  std::vector<std::string> outputs = {out};
  if (args.Has("--png")) outputs.insert(outputs.end(), {stem + "_gains.png", stem + "_flat.png"});
  CheckOutputPlan(files, outputs);

  // Captures are read one at a time: a refused one stops the run before the next is read.
  auto calibration = std::make_unique<mirvo::workbench::FlatFieldCalibration>();
  int width = raw.width, height = raw.height;
  for (const std::string& file : files) {
    if (use_dng)
      AddDngCapture(file, calibration.get(), &width, &height);
    else
      AddCapture(file, raw, calibration.get());
  }
  mirvo::LscTable table;
  mirvo::workbench::FlatFieldFit fit;
  const std::string refused = calibration->Finish(static_cast<float>(strength), &table, &fit);
  if (!refused.empty()) throw DataError(refused);
  const mirvo::workbench::CalibrationSummary s = mirvo::workbench::SummariseFit(fit);

  WriteTableFile(out, table);
  Print("%s: base table from %zu flat-field capture%s of %dx%d, luminance strength %g\n", out.c_str(), files.size(),
        files.size() == 1 ? "" : "s", width, height, strength);
  Print("corner fall-off (EV):");
  for (int ch = 0; ch < 4; ++ch) Print(" %s %.2f", kChannels[ch], s.falloff_ev[ch]);
  Print("\ncolour shading, peak to peak: log R/G %.4f, log B/G %.4f\n", s.rg_peak_to_peak, s.bg_peak_to_peak);
  Print("clipped samples: %s\n", mirvo::workbench::PercentText(fit.clipped_share).c_str());
  Print("fit residual: %s RMS, 90 %% of the blocks within %s, %s of the blocks left out\n",
        mirvo::workbench::PercentText(fit.residual_rms).c_str(),
        mirvo::workbench::PercentText(fit.residual_p90).c_str(),
        mirvo::workbench::PercentText(fit.outlier_share).c_str());
  if (args.Has("--png")) {
    const std::string name = stem.substr(stem.find_last_of('/') + 1);
    WritePng(TablePicture(table, name), stem + "_gains.png");
    std::unique_ptr<float[][mirvo::workbench::kFlatBlocks]> corrected(new float[4][mirvo::workbench::kFlatBlocks]);
    mirvo::workbench::CorrectedFlatField(calibration->blocks(0), table, corrected.get());
    WritePng(FlatFieldPicture(corrected.get(), name + " corrected"), stem + "_flat.png");
  }
  return kExitOk;
}

}  // namespace

const Command kCommandCalibrate = {"calibrate", "make a base LSC table from flat-field raw captures", kHelp, Run};

}  // namespace mirvo_cli
