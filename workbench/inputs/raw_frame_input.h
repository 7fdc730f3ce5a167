#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "workbench/inputs/frame_input.h"

namespace mirvo::workbench {

// A headerless raw frame file: wrong in one way only that can be seen before
// decoding, its size. The two file layouts differ in their byte count and
// their row decoder.
class RawFrameInput : public FrameInput {
 public:
  explicit RawFrameInput(const RawLayout& layout) : layout_(layout) {}

  const RawLayout* layout() const override { return &layout_; }
  void Check(const std::string& path) const override;
  void ReadFrame(const std::string& path, BayerRaw* frame) const override;
  void ReadStats(const std::string& path, Stats* stats) const override;

  // Bytes a file of this layout holds.
  virtual uint64_t FileBytes() const = 0;
  // "4032x3024 unpacked 16-bit", for messages.
  virtual std::string Describe() const = 0;
  // The mosaic, height rows of width samples, into `dst` (after Check).
  virtual void ReadMosaic(const std::string& path, uint16_t* dst) const = 0;

 protected:
  virtual bool mipi() const = 0;
  RawLayout layout_;
};

// The raw input of this layout, unpacked or MIPI RAW10 (MakeRawInput's).
std::unique_ptr<RawFrameInput> MakeRawFrameInput(const RawLayout& layout, bool mipi);

}  // namespace mirvo::workbench
