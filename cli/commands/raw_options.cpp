#include "commands/raw_options.h"

#include <cmath>

#include "tools/bayer_raw.h"
#include "workbench/error.h"
#include "workbench/inputs/raw_geometry.h"

namespace mirvo_cli {
namespace {

// The program's names for the raw options in the shared rules' messages.
const mirvo::workbench::RawArgNames& OptionNames() {
  static const mirvo::workbench::RawArgNames names{"--width", "--height", "--bits", "--pattern", "--mipi", "--grid"};
  return names;
}

// Runs one of the shared checks; its refusal is a usage error of `args`.
template <class Check>
void Checked(const Args& args, Check check) {
  try {
    check();
  } catch (const mirvo::workbench::WorkbenchError& e) {
    args.Fail(e.what());
  }
}

}  // namespace

void AddRawOptionSpecs(std::vector<OptionSpec>* specs) {
  for (const char* name : {"--width", "--height", "--bits", "--pattern", "--black-level", "--grid"})
    specs->push_back({name, OptionKind::kValue});
  specs->push_back({"--mipi", OptionKind::kFlag});
}

RawOptions ParseRawOptions(const Args& args) {
  RawOptions raw;
  const auto& names = OptionNames();
  raw.width = static_cast<int>(args.RequireInt("--width", 2, 65534));
  raw.height = static_cast<int>(args.RequireInt("--height", 2, 65534));
  Checked(args, [&] {
    mirvo::workbench::CheckEvenFrame(raw.width, raw.height, names);
    mirvo::workbench::CheckFrameArea(raw.width, raw.height);
  });
  raw.bits = static_cast<int>(args.RequireInt("--bits", 1, mirvo::workbench::kMaxRawBits));
  raw.pattern = args.Require("--pattern");
  Checked(args, [&] { mirvo::workbench::CheckBayerPattern(raw.pattern, names); });
  raw.mipi = args.Has("--mipi");
  if (raw.mipi) Checked(args, [&] { mirvo::workbench::CheckMipiLayout(raw.width, raw.bits, names); });
  if (args.Has("--black-level")) {
    const std::vector<std::string> parts = SplitCommas(args.Get("--black-level"));
    if (parts.size() != 1 && parts.size() != 4) args.Fail("--black-level: give one value or four (a,b,c,d)");
    for (size_t i = 0; i < 4; ++i) {
      long v = 0;
      const std::string& text = parts[parts.size() == 1 ? 0 : i];
      if (!ParseLong(text, &v) || v < 0 || v > 16382)
        args.Fail("--black-level: '" + text + "' is not a level from 0 to 16382 (14-bit units)");
      raw.black_level[i] = static_cast<uint16_t>(v);
    }
  }
  const GridOptions grid = ParseGridOption(args);
  raw.grid_cols = grid.cols;
  raw.grid_rows = grid.rows;
  Checked(args, [&] { mirvo::workbench::CheckStatsGrid(raw.width, raw.height, raw.grid_cols, raw.grid_rows, names); });
  return raw;
}

GridOptions ParseGridOption(const Args& args) {
  GridOptions grid;
  if (args.Has("--grid")) {
    const std::string g = args.Get("--grid");
    const size_t x = g.find('x');
    long cols = 0, rows = 0;
    if (x == std::string::npos || !ParseLong(g.substr(0, x), &cols) || !ParseLong(g.substr(x + 1), &rows) || cols < 1 ||
        rows < 1 || cols > 1024 || rows > 1024)
      args.Fail("--grid: '" + g + "' is not COLSxROWS (for example 32x24)");
    grid.cols = static_cast<int>(cols);
    grid.rows = static_cast<int>(rows);
  }
  return grid;
}

uint64_t RawFileSize(const RawOptions& raw) { return mirvo::RawFrameBytes(raw.width, raw.height, raw.mipi); }

std::unique_ptr<mirvo::workbench::FrameInput> MakeFrameInput(const RawOptions* raw) {
  if (raw == nullptr) return mirvo::workbench::MakeStatsDumpInput();
  mirvo::workbench::RawLayout layout;
  layout.width = raw->width;
  layout.height = raw->height;
  layout.bits = raw->bits;
  layout.pattern = raw->pattern;
  for (int i = 0; i < 4; ++i) layout.black_level[i] = raw->black_level[i];
  layout.grid_cols = raw->grid_cols;
  layout.grid_rows = raw->grid_rows;
  return mirvo::workbench::MakeRawInput(layout, raw->mipi);
}

mirvo::CropInfo ParseCrop(const Args& args, const std::string& text) {
  static const char* const kNames[6] = {"in_w", "in_h", "offs_x", "offs_y", "out_w", "out_h"};
  const std::vector<std::string> parts = SplitCommas(text);
  double v[6];
  if (parts.size() != 6) args.Fail("--crop: give six numbers in_w,in_h,offs_x,offs_y,out_w,out_h");
  // Pixels of a sensor: checked before the conversion to float, which, as
  // the crop's integer table positions later, is undefined out of range.
  for (int i = 0; i < 6; ++i) {
    if (!ParseDouble(parts[i], &v[i])) args.Fail("--crop: '" + parts[i] + "' is not a number");
    const double lo = i == 2 || i == 3 ? 0 : 1;
    if (!(v[i] >= lo && v[i] <= kMaxCropPixels))
      args.Fail(std::string("--crop: ") + kNames[i] + " " + parts[i] + " is out of range (" + (lo == 0 ? "0" : "1") +
                " to " + std::to_string(static_cast<int>(kMaxCropPixels)) + " pixels)");
  }
  // The crop lies on the sensor.
  for (int axis = 0; axis < 2; ++axis)
    if (v[2 + axis] + v[4 + axis] > v[axis])
      args.Fail(std::string("--crop: ") + kNames[2 + axis] + " + " + kNames[4 + axis] + " reaches beyond " +
                kNames[axis] + " " + parts[axis]);
  mirvo::CropInfo crop;
  crop.in_w = static_cast<float>(v[0]);
  crop.in_h = static_cast<float>(v[1]);
  crop.offs_x = static_cast<float>(v[2]);
  crop.offs_y = static_cast<float>(v[3]);
  crop.out_w = static_cast<float>(v[4]);
  crop.out_h = static_cast<float>(v[5]);
  return crop;
}

}  // namespace mirvo_cli
