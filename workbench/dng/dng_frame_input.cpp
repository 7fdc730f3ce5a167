#include "workbench/dng/dng_frame_input.h"

#include "workbench/dng/dng_reader.h"
#include "workbench/files/file_error.h"
#include "workbench/inputs/raw_geometry.h"

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
  void ReadFrame(const std::string& path, BayerRaw* frame) const override { SplitDngFrame(ReadDng(path), frame); }
  void ReadStats(const std::string& path, Stats* stats) const override {
    const DngFrame dng = ReadDng(path);
    try {
      CheckStatsGrid(dng.width, dng.height, layout_.grid_cols, layout_.grid_rows, RawArgNames());
    } catch (const WorkbenchError& e) {
      throw FileError(path, e.what());
    }
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
