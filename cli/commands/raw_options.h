#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "commands/args.h"
#include "core/crop_info.h"
#include "workbench/inputs/frame_input.h"

namespace mirvo_cli {

// How to read raw Bayer frames and build their statistics.
struct RawOptions {
  int width = 0;
  int height = 0;
  int bits = 0;
  std::string pattern;
  bool mipi = false;
  uint16_t black_level[4] = {0, 0, 0, 0};  // 14-bit units, as the statistics builder takes them
  int grid_cols = 32;
  int grid_rows = 24;
};

// Reads --width --height --bits --pattern [--mipi] [--black-level] [--grid]
// and checks them against each other. Throws UsageError.
RawOptions ParseRawOptions(const Args& args);

// Bytes a frame of these dimensions occupies in its file layout.
uint64_t RawFileSize(const RawOptions& raw);

// The input the options choose: raw frames in their layout, or statistics
// dumps when `raw` is null.
std::unique_ptr<mirvo::workbench::FrameInput> MakeFrameInput(const RawOptions* raw);

// Largest sensor side a crop may name, in pixels.
inline constexpr double kMaxCropPixels = 65536;

// "in_w,in_h,offs_x,offs_y,out_w,out_h": sizes from 1 and offsets from 0 to
// kMaxCropPixels, the crop inside the sensor. Throws UsageError.
mirvo::CropInfo ParseCrop(const Args& args, const std::string& text);

// Option specs shared by the commands that read raw frames.
void AddRawOptionSpecs(std::vector<OptionSpec>* specs);

}  // namespace mirvo_cli
