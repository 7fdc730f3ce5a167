#include "workbench/dng/tiff_structure.h"

#include <algorithm>
#include <cstring>

#include "workbench/dng/byte_order.h"
#include "workbench/error.h"

namespace mirvo {
namespace workbench {
namespace {

// Enough for any camera file; a bound, so that a crafted chain cannot make
// the walk long.
constexpr size_t kMaxIfds = 64;
constexpr int kMaxDepth = 3;

}  // namespace

size_t TiffTypeSize(uint16_t type) {
  switch (type) {
    case 1:
    case 2:
    case 6:
    case 7:
      return 1;  // BYTE ASCII SBYTE UNDEFINED
    case 3:
    case 8:
      return 2;  // SHORT SSHORT
    case 4:
    case 9:
    case 11:
    case 13:
      return 4;  // LONG SLONG FLOAT IFD
    case 5:
    case 10:
    case 12:
      return 8;  // RATIONAL SRATIONAL DOUBLE
    default:
      return 0;
  }
}

const TiffEntry* TiffIfd::Find(uint16_t tag) const {
  for (const TiffEntry& e : entries)
    if (e.tag == tag) return &e;
  return nullptr;
}

TiffStructure::TiffStructure(const uint8_t* data, size_t size) : data_(data), size_(size) {
  if (size < 8) throw WorkbenchError("not a TIFF/DNG file (shorter than its header)");
  if (data[0] == 'I' && data[1] == 'I') {
    big_endian_ = false;
  } else if (data[0] == 'M' && data[1] == 'M') {
    big_endian_ = true;
  } else {
    throw WorkbenchError("not a TIFF/DNG file (no byte-order mark)");
  }
  if (U16(2) != 42) throw WorkbenchError("not a classic TIFF/DNG file (version " + std::to_string(U16(2)) + ")");
  WalkChain(U32(4), 4, 0);
  if (ifds_.empty()) throw WorkbenchError("TIFF file without an image directory");
}

uint16_t TiffStructure::U16(size_t pos) const { return LoadU16(data_ + pos, big_endian_); }

uint32_t TiffStructure::U32(size_t pos) const { return LoadU32(data_ + pos, big_endian_); }

TiffIfd TiffStructure::ReadIfd(uint32_t offset, uint32_t pointer_pos) const {
  if (offset < 8 || offset > size_ - 2)
    throw WorkbenchError("image directory at " + std::to_string(offset) + " lies outside the file");
  const uint32_t count = U16(offset);
  if (offset + 2ull + 12ull * count + 4ull > size_)
    throw WorkbenchError("image directory at " + std::to_string(offset) + " runs past the end of the file");
  TiffIfd ifd;
  ifd.offset = offset;
  ifd.pointer_pos = pointer_pos;
  ifd.entries.reserve(count);
  for (uint32_t i = 0; i < count; ++i) {
    TiffEntry e;
    e.entry_pos = offset + 2 + 12 * i;
    e.tag = U16(e.entry_pos);
    e.type = U16(e.entry_pos + 2);
    e.count = U32(e.entry_pos + 4);
    e.bytes = static_cast<uint64_t>(TiffTypeSize(e.type)) * e.count;
    e.data_pos = e.bytes <= 4 ? e.entry_pos + 8 : U32(e.entry_pos + 8);
    // Unknown types are kept but never read; known ones must lie in the file.
    if (TiffTypeSize(e.type) != 0 && e.data_pos + e.bytes > size_)
      throw WorkbenchError("tag " + std::to_string(e.tag) + " points past the end of the file");
    ifd.entries.push_back(e);
  }
  return ifd;
}

void TiffStructure::WalkChain(uint32_t offset, uint32_t pointer_pos, int depth) {
  while (offset != 0) {
    if (ifds_.size() >= kMaxIfds) throw WorkbenchError("more than 64 image directories");
    for (const TiffIfd& seen : ifds_)
      if (seen.offset == offset) throw WorkbenchError("image directories form a loop");
    ifds_.push_back(ReadIfd(offset, pointer_pos));
    const TiffIfd ifd = ifds_.back();
    const TiffEntry* sub = ifd.Find(kTagSubIfds);
    if (sub != nullptr && depth < kMaxDepth && (sub->type == 4 || sub->type == 13)) {
      for (uint32_t i = 0; i < sub->count && i < kMaxIfds; ++i)
        WalkChain(U32(sub->data_pos + 4ull * i), sub->data_pos + 4 * i, depth + 1);
    }
    pointer_pos = ifd.offset + 2 + 12 * static_cast<uint32_t>(ifd.entries.size());
    offset = U32(pointer_pos);
    // Only IFD0 is a chain that matters; SubIFDs' next pointers are followed
    // too, as some writers chain them.
  }
}

std::vector<double> TiffStructure::Numbers(const TiffEntry& e, size_t limit) const {
  std::vector<double> out;
  const size_t n = std::min<size_t>(e.count, limit);
  const size_t unit = TiffTypeSize(e.type);
  if (unit == 0) return out;
  out.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    const size_t p = e.data_pos + i * unit;
    switch (e.type) {
      case 1:
      case 7:
        out.push_back(data_[p]);
        break;
      case 6:
        out.push_back(static_cast<int8_t>(data_[p]));
        break;
      case 3:
        out.push_back(U16(p));
        break;
      case 8:
        out.push_back(static_cast<int16_t>(U16(p)));
        break;
      case 4:
      case 13:
        out.push_back(U32(p));
        break;
      case 9:
        out.push_back(static_cast<int32_t>(U32(p)));
        break;
      case 5: {
        const uint32_t d = U32(p + 4);
        out.push_back(d == 0 ? 0.0 : static_cast<double>(U32(p)) / d);
        break;
      }
      case 10: {
        const int32_t d = static_cast<int32_t>(U32(p + 4));
        out.push_back(d == 0 ? 0.0 : static_cast<double>(static_cast<int32_t>(U32(p))) / d);
        break;
      }
      case 11: {
        const uint32_t bits = U32(p);
        float f;
        std::memcpy(&f, &bits, 4);
        out.push_back(f);
        break;
      }
      case 12: {
        const uint64_t bits =
            static_cast<uint64_t>(U32(p + (big_endian_ ? 0 : 4))) << 32 | U32(p + (big_endian_ ? 4 : 0));
        double d;
        std::memcpy(&d, &bits, 8);
        out.push_back(d);
        break;
      }
      default:
        return {};
    }
  }
  return out;
}

double TiffStructure::Number(const TiffIfd& ifd, uint16_t tag, double fallback) const {
  const TiffEntry* e = ifd.Find(tag);
  if (e == nullptr) return fallback;
  const std::vector<double> v = Numbers(*e, 1);
  return v.empty() ? fallback : v[0];
}

const TiffIfd* TiffStructure::RawIfd() const {
  const TiffIfd* best = nullptr;
  double best_pixels = -1;
  for (const TiffIfd& ifd : ifds_) {
    const double photometric = Number(ifd, kTagPhotometric, 0);
    if (Number(ifd, kTagNewSubFileType, 0) != 0) continue;
    if (photometric != kPhotometricCfa && photometric != kPhotometricLinearRaw) continue;
    const double pixels = Number(ifd, kTagImageWidth, 0) * Number(ifd, kTagImageLength, 0);
    if (pixels > best_pixels) best = &ifd, best_pixels = pixels;
  }
  return best;
}

}  // namespace workbench
}  // namespace mirvo
