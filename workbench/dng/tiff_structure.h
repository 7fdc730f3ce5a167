#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace mirvo {
namespace workbench {

// Tags this layer reads or writes.
enum TiffTag : uint16_t {
  kTagNewSubFileType = 254,
  kTagImageWidth = 256,
  kTagImageLength = 257,
  kTagBitsPerSample = 258,
  kTagCompression = 259,
  kTagPhotometric = 262,
  kTagStripOffsets = 273,
  kTagSamplesPerPixel = 277,
  kTagRowsPerStrip = 278,
  kTagStripByteCounts = 279,
  kTagTileWidth = 322,
  kTagTileLength = 323,
  kTagTileOffsets = 324,
  kTagTileByteCounts = 325,
  kTagSubIfds = 330,
  kTagCfaRepeatPatternDim = 33421,
  kTagCfaPattern = 33422,
  kTagDngVersion = 50706,
  kTagLinearizationTable = 50712,
  kTagBlackLevelRepeatDim = 50713,
  kTagBlackLevel = 50714,
  kTagWhiteLevel = 50717,
  kTagAsShotNeutral = 50728,
  kTagActiveArea = 50829,
  kTagOpcodeList1 = 51008,
  kTagOpcodeList2 = 51009,
  kTagOpcodeList3 = 51022,
};

inline constexpr uint16_t kPhotometricCfa = 32803;
inline constexpr uint16_t kPhotometricLinearRaw = 34892;

struct TiffEntry {
  uint16_t tag = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  uint32_t entry_pos = 0;  // where the 12-byte entry sits in the file
  uint32_t data_pos = 0;   // where its value bytes sit (inside the entry when they fit)
  uint64_t bytes = 0;      // size of the value bytes
};

struct TiffIfd {
  uint32_t offset = 0;
  uint32_t pointer_pos = 0;  // the 4 bytes in the file that hold `offset`
  std::vector<TiffEntry> entries;

  const TiffEntry* Find(uint16_t tag) const;
};

// The IFD tree of a classic TIFF (the DNG container) held in memory: the IFD0
// chain and the SubIFDs below it, each entry checked to lie inside the file.
// Throws WorkbenchError with the reason (without the file name).
class TiffStructure {
 public:
  TiffStructure(const uint8_t* data, size_t size);

  bool big_endian() const { return big_endian_; }
  const std::vector<TiffIfd>& ifds() const { return ifds_; }
  const uint8_t* data() const { return data_; }
  size_t size() const { return size_; }

  uint16_t U16(size_t pos) const;
  uint32_t U32(size_t pos) const;
  // Numeric values of an entry (integers, rationals, floats); empty for
  // other types. At most `limit` values are read.
  std::vector<double> Numbers(const TiffEntry& entry, size_t limit = 1 << 20) const;
  // The first value of `tag` in `ifd`, or `fallback` when absent.
  double Number(const TiffIfd& ifd, uint16_t tag, double fallback) const;

  // The main raw image: NewSubFileType 0 with CFA or LinearRaw photometry,
  // the largest such; null when the file holds none.
  const TiffIfd* RawIfd() const;

 private:
  void WalkChain(uint32_t offset, uint32_t pointer_pos, int depth);
  TiffIfd ReadIfd(uint32_t offset, uint32_t pointer_pos) const;

  const uint8_t* data_;
  size_t size_;
  bool big_endian_ = false;
  std::vector<TiffIfd> ifds_;
};

// Bytes one value of a TIFF field type takes (0 for an unknown type).
size_t TiffTypeSize(uint16_t type);

}  // namespace workbench
}  // namespace mirvo
