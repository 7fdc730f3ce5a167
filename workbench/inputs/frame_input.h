#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/stats.h"
#include "tools/bayer_raw.h"

namespace mirvo::workbench {

// Geometry and levels of raw Bayer frames, and the statistics grid they are
// reduced to.
struct RawLayout {
  int width = 0;
  int height = 0;
  int bits = 0;
  std::string pattern;
  uint16_t black_level[4] = {0, 0, 0, 0};  // 14-bit units, paired as the statistics builder pairs them
  int grid_cols = 32;
  int grid_rows = 24;
};

// One kind of input: a source of frames. It checks a file before any output
// is touched, knows the geometry and levels of its frames, and produces the
// frame and its statistics. The program's options and the module's arguments
// only choose and configure one (MakeFrameInput). Failures throw FileError
// naming the file.
class FrameInput {
 public:
  virtual ~FrameInput() = default;

  // The input's kind as options and summaries name it: "stats", "raw", "raw10".
  virtual const char* kind() const = 0;

  // Whether `path` can serve, as far as can be told without decoding it.
  virtual void Check(const std::string& path) const = 0;

  // The raw frame layout, or null for an input that holds statistics only.
  virtual const RawLayout* layout() const { return nullptr; }

  // The frame split into its planes (after Check). Inputs without a frame
  // throw WorkbenchError.
  virtual void ReadFrame(const std::string& path, BayerRaw* frame) const;

  // The frame's statistics: on the layout's grid for a frame, as stored for
  // statistics (checked in full on the way).
  virtual void ReadStats(const std::string& path, Stats* stats) const = 0;
};

// Statistics text dumps.
std::unique_ptr<FrameInput> MakeStatsDumpInput();
// Headerless raw frames: unpacked little-endian 16-bit, or MIPI RAW10.
std::unique_ptr<FrameInput> MakeRawInput(const RawLayout& layout, bool mipi);

}  // namespace mirvo::workbench
