#include "commands/raw_options.h"

#include <cmath>

#include "tools/bayer_raw.h"

namespace mirvo_cli {
namespace {

bool KnownPattern(const std::string& p) { return p == "RGGB" || p == "GRBG" || p == "BGGR" || p == "GBRG"; }

}  // namespace

void AddRawOptionSpecs(std::vector<OptionSpec>* specs) {
  for (const char* name : {"--width", "--height", "--bits", "--pattern", "--black-level", "--grid"})
    specs->push_back({name, OptionKind::kValue});
  specs->push_back({"--mipi", OptionKind::kFlag});
}

RawOptions ParseRawOptions(const Args& args) {
  RawOptions raw;
  // Planes are half the frame in each direction, so both sides must be even.
  raw.width = static_cast<int>(args.RequireInt("--width", 2, 65534));
  raw.height = static_cast<int>(args.RequireInt("--height", 2, 65534));
  if (raw.width % 2 || raw.height % 2) args.Fail("--width and --height must be even");
  if (static_cast<uint64_t>(raw.width) * raw.height > (1ull << 28))
    args.Fail("frame of " + std::to_string(raw.width) + "x" + std::to_string(raw.height) + " pixels is too large");
  // Samples are scaled up to 14 bits by a left shift, so deeper raws cannot be taken.
  raw.bits = static_cast<int>(args.RequireInt("--bits", 1, 14));
  raw.pattern = args.Require("--pattern");
  if (!KnownPattern(raw.pattern))
    args.Fail("--pattern: unknown Bayer pattern '" + raw.pattern + "' (RGGB, GRBG, BGGR or GBRG)");
  raw.mipi = args.Has("--mipi");
  if (raw.mipi) {
    if (raw.width % 4) args.Fail("--mipi: RAW10 rows hold groups of 4 pixels, --width must be a multiple of 4");
    if (raw.bits != 10) args.Fail("--mipi: RAW10 samples have 10 bits, --bits must be 10");
  }
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
  if (args.Has("--grid")) {
    const std::string g = args.Get("--grid");
    const size_t x = g.find('x');
    long cols = 0, rows = 0;
    if (x == std::string::npos || !ParseLong(g.substr(0, x), &cols) || !ParseLong(g.substr(x + 1), &rows) || cols < 1 ||
        rows < 1 || cols > 1024 || rows > 1024)
      args.Fail("--grid: '" + g + "' is not COLSxROWS (for example 32x24)");
    raw.grid_cols = static_cast<int>(cols);
    raw.grid_rows = static_cast<int>(rows);
  }
  const long cell_w = raw.width / 2 / raw.grid_cols;
  const long cell_h = raw.height / 2 / raw.grid_rows;
  if (cell_w < 1 || cell_h < 1) args.Fail("--grid: the frame is too small for this many cells");
  // Counts are 16-bit and sums 32-bit per cell.
  if (cell_w * cell_h > 65535)
    args.Fail("--grid: cells of " + std::to_string(cell_w * cell_h) +
              " samples overflow the 16-bit counts; use a finer grid");
  return raw;
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
