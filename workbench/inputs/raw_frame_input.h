#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "workbench/inputs/frame_input.h"

namespace mirvo::workbench {

// A headerless raw frame file: wrong in one way only that can be seen before
// decoding, its size. The two file layouts, unpacked 16-bit and MIPI RAW10,
// differ in their byte count and their row decoder.
class RawFrameInput final : public FrameInput {
 public:
  RawFrameInput(const RawLayout& layout, bool mipi) : layout_(layout), mipi_(mipi) {}

  const char* kind() const override { return mipi_ ? "raw10" : "raw"; }
  const RawLayout* layout() const override { return &layout_; }
  void Check(const std::string& path) const override;
  void ReadFrame(const std::string& path, BayerRaw* frame) const override;
  void ReadStats(const std::string& path, Stats* stats) const override;

  // Bytes a file of this layout holds.
  uint64_t FileBytes() const;
  // "4032x3024 unpacked 16-bit", for messages.
  std::string Describe() const;
  // The mosaic, height rows of width samples, into `dst` (after Check).
  void ReadMosaic(const std::string& path, uint16_t* dst) const;

 private:
  RawLayout layout_;
  bool mipi_;
};

// The raw input of this layout, unpacked or MIPI RAW10 (MakeRawInput's).
std::unique_ptr<RawFrameInput> MakeRawFrameInput(const RawLayout& layout, bool mipi);

}  // namespace mirvo::workbench
