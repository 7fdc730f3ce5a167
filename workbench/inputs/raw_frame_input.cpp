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
      frame->ReadRawImage(path.c_str(), layout_.width, layout_.height, layout_.bits, layout_.pattern.c_str(), mipi());
  if (rc != kOk) throw FileError(path, "cannot read raw frame (error " + std::to_string(rc) + ")");
}

void RawFrameInput::ReadStats(const std::string& path, Stats* stats) const {
  BayerRaw frame;
  ReadFrame(path, &frame);
  stats->CreateFromRaw(frame, layout_.black_level, layout_.grid_cols, layout_.grid_rows);
}

namespace {

template <int (*Decode)(FILE*, int, int, uint16_t*)>
void DecodeFile(const std::string& path, const RawLayout& layout, uint16_t* dst) {
  FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) throw FileError(path, "cannot read raw frame", errno);
  const int rc = Decode(file, layout.height, layout.width, dst);
  std::fclose(file);
  if (rc != 0) throw FileError(path, "cannot read raw frame (error " + std::to_string(rc) + ")");
}

std::string Size(const RawLayout& layout) { return std::to_string(layout.width) + "x" + std::to_string(layout.height); }

class UnpackedRawInput final : public RawFrameInput {
 public:
  using RawFrameInput::RawFrameInput;
  const char* kind() const override { return "raw"; }
  uint64_t FileBytes() const override { return RawFrameBytes(layout_.width, layout_.height, false); }
  std::string Describe() const override { return Size(layout_) + " unpacked 16-bit"; }
  void ReadMosaic(const std::string& path, uint16_t* dst) const override {
    DecodeFile<ReadUnpackedRaw>(path, layout_, dst);
  }

 private:
  bool mipi() const override { return false; }
};

class Raw10Input final : public RawFrameInput {
 public:
  using RawFrameInput::RawFrameInput;
  const char* kind() const override { return "raw10"; }
  uint64_t FileBytes() const override { return RawFrameBytes(layout_.width, layout_.height, true); }
  std::string Describe() const override { return Size(layout_) + " RAW10 MIPI"; }
  void ReadMosaic(const std::string& path, uint16_t* dst) const override {
    DecodeFile<ReadRaw10Mipi>(path, layout_, dst);
  }

 private:
  bool mipi() const override { return true; }
};

}  // namespace

std::unique_ptr<RawFrameInput> MakeRawFrameInput(const RawLayout& layout, bool mipi) {
  if (mipi) return std::make_unique<Raw10Input>(layout);
  return std::make_unique<UnpackedRawInput>(layout);
}

std::unique_ptr<FrameInput> MakeRawInput(const RawLayout& layout, bool mipi) { return MakeRawFrameInput(layout, mipi); }

}  // namespace mirvo::workbench
