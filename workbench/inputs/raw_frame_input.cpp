#include "workbench/inputs/raw_frame_input.h"

#include <cerrno>
#include <cstdio>

#include "workbench/files/checked_file.h"

namespace mirvo::workbench {

void RawFrameInput::Check(const std::string& path) const {
  const uint64_t size = CheckInputFile(path, "a raw frame", ~0ull);
  if (size != FileBytes())
    throw FileError(path, "raw frame of " + std::to_string(size) + " bytes, expected " + std::to_string(FileBytes()) +
                              " for " + Describe());
}

void RawFrameInput::ReadFrame(const std::string& path, BayerRaw* frame) const {
  Check(path);
  const errCode rc =
      frame->ReadRawImage(path.c_str(), layout_.width, layout_.height, layout_.bits, layout_.pattern.c_str(), mipi_);
  if (rc != kOk) throw FileError(path, "cannot read raw frame (error " + std::to_string(rc) + ")");
}

void RawFrameInput::ReadStats(const std::string& path, Stats* stats) const {
  BayerRaw frame;
  ReadFrame(path, &frame);
  stats->CreateFromRaw(frame, layout_.black_level, layout_.grid_cols, layout_.grid_rows);
}

uint64_t RawFrameInput::FileBytes() const { return RawFrameBytes(layout_.width, layout_.height, mipi_); }

std::string RawFrameInput::Describe() const {
  return std::to_string(layout_.width) + "x" + std::to_string(layout_.height) +
         (mipi_ ? " RAW10 MIPI" : " unpacked 16-bit");
}

void RawFrameInput::ReadMosaic(const std::string& path, uint16_t* dst) const {
  FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) throw FileError(path, "cannot read raw frame", errno);
  const int rc = (mipi_ ? ReadRaw10Mipi : ReadUnpackedRaw)(file, layout_.height, layout_.width, dst);
  std::fclose(file);
  if (rc != 0) throw FileError(path, "cannot read raw frame (error " + std::to_string(rc) + ")");
}

std::unique_ptr<RawFrameInput> MakeRawFrameInput(const RawLayout& layout, bool mipi) {
  return std::make_unique<RawFrameInput>(layout, mipi);
}

std::unique_ptr<FrameInput> MakeRawInput(const RawLayout& layout, bool mipi) { return MakeRawFrameInput(layout, mipi); }

}  // namespace mirvo::workbench
