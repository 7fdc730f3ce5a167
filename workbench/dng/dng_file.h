#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/dng/tiff_structure.h"

namespace mirvo {
namespace workbench {

// A whole file in memory. Throws WorkbenchError "PATH: reason".
std::vector<uint8_t> ReadWholeFile(const std::string& path);

// A whole file mapped read-only: the decoder reads the pixels straight from
// the page cache, with no copy of the file. Throws WorkbenchError "PATH: reason".
class MappedFile {
 public:
  explicit MappedFile(const std::string& path);
  ~MappedFile();
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  const uint8_t* data() const { return data_; }
  size_t size() const { return size_; }

 private:
  const uint8_t* data_ = nullptr;
  size_t size_ = 0;
};

// What the raw image directory of a DNG says, checked before any pixel is
// decoded: a Bayer CFA image of sane size whose pixel data lies in the file.
struct DngLayout {
  const TiffIfd* ifd = nullptr;
  uint32_t width = 0, height = 0;  // stored image
  uint32_t bits = 0;
  uint16_t compression = 0;
  int top = 0, left = 0, bottom = 0, right = 0;  // ActiveArea (the whole image when absent)
  std::string pattern;                           // CFA order at the ActiveArea's origin
};

// Throws WorkbenchError with the reason (without the file name).
DngLayout CheckDngLayout(const TiffStructure& tiff);

// The 2 x 2 order of `pattern` seen from (dy, dx), both from 0.
std::string ShiftPattern(const std::string& pattern, int dy, int dx);

// The opcode list stored under `tag` in `ifd` as raw bytes (empty when absent).
std::vector<uint8_t> OpcodeListBytes(const TiffStructure& tiff, const TiffIfd& ifd, uint16_t tag);

}  // namespace workbench
}  // namespace mirvo
