#include "workbench/dng/dng_frame_input.h"

#include "workbench/dng/dng_reader.h"
#include "workbench/files/file_error.h"

namespace mirvo::workbench {
namespace {

class DngInput final : public FrameInput {
 public:
  DngInput(int cols, int rows) {
    layout_.grid_cols = cols;
    layout_.grid_rows = rows;
  }
  const char* kind() const override { return "dng"; }
  void Check(const std::string& path) const override { ReadDngHeader(path); }
  const RawLayout* layout() const override { return &layout_; }
  void ReadFrame(const std::string& path, BayerRaw* frame) const override {
    const DngFrame dng = ReadDng(path);
    if (frame->SplitFrame(dng.samples.data(), dng.width, dng.height, dng.bit_depth, dng.pattern.c_str()) != kOk)
      throw FileError(path, "frame cannot be split into Bayer planes");
  }
  void ReadStats(const std::string& path, Stats* stats) const override {
    const DngFrame dng = ReadDng(path);
    const long cell_w = dng.width / 2 / layout_.grid_cols, cell_h = dng.height / 2 / layout_.grid_rows;
    if (cell_w < 1 || cell_h < 1) throw FileError(path, "the frame is too small for the statistics grid");
    if (cell_w * cell_h > 65535)
      throw FileError(path, "cells of " + std::to_string(cell_w * cell_h) +
                                " samples overflow the 16-bit counts; use a finer grid");
    DngStats(dng, layout_.grid_cols, layout_.grid_rows, stats);
  }

 private:
  RawLayout layout_;
};

}  // namespace

std::unique_ptr<FrameInput> MakeDngInput(int grid_cols, int grid_rows) {
  return std::make_unique<DngInput>(grid_cols, grid_rows);
}

}  // namespace mirvo::workbench
