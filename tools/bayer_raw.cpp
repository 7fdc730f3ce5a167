#include "tools/bayer_raw.h"

#include <cstring>
#include <memory>
#include <vector>

namespace mirvo {
namespace {

// Splits one image row pair into four plane rows. The destinations are given
// per quad position, so the loop itself is pattern-free and vectorises
// (de-interleaving loads) wherever the compiler's cost model allows.
void SplitRowPair(const uint16_t* __restrict top, const uint16_t* __restrict bottom, int half_width,
                  uint16_t* __restrict top_left, uint16_t* __restrict top_right, uint16_t* __restrict bottom_left,
                  uint16_t* __restrict bottom_right) {
  for (int j = 0; j < half_width; ++j) {
    top_left[j] = top[2 * j];
    top_right[j] = top[2 * j + 1];
    bottom_left[j] = bottom[2 * j];
    bottom_right[j] = bottom[2 * j + 1];
  }
}

// Bytes of padding after a RAW10 row of `width` pixels.
int Raw10RowPadding(int width) {
  const int payload = (width * 5) / 4;
  return payload % 8 == 0 ? 0 : 8 - payload % 8;
}

// Unpacks `groups` whole 5-byte groups; pixels past `width` are dropped so a
// width that is not a multiple of 4 cannot write outside the row. `src` must
// have 3 readable bytes after the last group: each group is fetched as one
// 64-bit little-endian word, which is what makes this loop fast.
void UnpackRaw10Groups(const uint8_t* src, int groups, int width, uint16_t* dst) {
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "RAW10 word unpacking assumes little-endian");
  const int full = width / 4 < groups ? width / 4 : groups;
  for (int g = 0; g < full; ++g) {
    uint64_t w;
    std::memcpy(&w, src + 5 * g, sizeof w);
    const uint32_t low = static_cast<uint32_t>(w >> 32);
    dst[4 * g + 0] = static_cast<uint16_t>(((w & 0xFFu) << 2) | (low & 3u));
    dst[4 * g + 1] = static_cast<uint16_t>((((w >> 8) & 0xFFu) << 2) | ((low >> 2) & 3u));
    dst[4 * g + 2] = static_cast<uint16_t>((((w >> 16) & 0xFFu) << 2) | ((low >> 4) & 3u));
    dst[4 * g + 3] = static_cast<uint16_t>((((w >> 24) & 0xFFu) << 2) | ((low >> 6) & 3u));
  }
  for (int g = full; g < groups; ++g) {
    const uint8_t* b = src + 5 * g;
    for (int i = 0; i < 4 && 4 * g + i < width; ++i) {
      dst[4 * g + i] = static_cast<uint16_t>((b[i] << 2) | ((b[4] >> (2 * i)) & 3u));
    }
  }
}

// Unpacks one RAW10 row straight into two plane rows: even pixels to `left`,
// odd ones to `right`. Each group gives one pair to each side, built in the
// halves of a 32-bit word (little-endian, so the low half is the lower
// column): the high bytes b0, b2 (or b1, b3) masked into place, and the low
// bits of the fifth byte copied 12 bits up so that pixel 2's (or 3's) two bits
// land at bit 16. A last group that is cut by the width gives its first pair
// only, as the row-then-split order would; the pixel after it has no partner.
// `src` must have 3 readable bytes after the row's last group.
void UnpackRaw10RowToPlanes(const uint8_t* src, int width, uint16_t* __restrict left, uint16_t* __restrict right) {
  const int full = width / 4;
  for (int g = 0; g < full; ++g) {
    uint64_t w;
    std::memcpy(&w, src + 5 * g, sizeof w);
    const uint32_t high = static_cast<uint32_t>(w);
    const uint32_t low = static_cast<uint32_t>(w >> 32) & 0xFFu;
    const uint32_t spread = low | (low << 12);
    const uint32_t even = ((high & 0x00FF00FFu) << 2) | (spread & 0x00030003u);
    const uint32_t odd = (((high >> 8) & 0x00FF00FFu) << 2) | ((spread >> 2) & 0x00030003u);
    std::memcpy(left + 2 * g, &even, sizeof even);
    std::memcpy(right + 2 * g, &odd, sizeof odd);
  }
  if (width % 4 >= 2) {
    const uint8_t* b = src + 5 * full;
    left[2 * full] = static_cast<uint16_t>((b[0] << 2) | (b[4] & 3u));
    right[2 * full] = static_cast<uint16_t>((b[1] << 2) | ((b[4] >> 2) & 3u));
  }
}

// A packed RAW10 frame read in one go into a buffer kept per thread between
// calls, with slack for the word-wise unpacking of the last group.
struct PackedFrame {
  const uint8_t* bytes;
  size_t got;        // bytes that arrived
  size_t row_bytes;  // groups and padding of one row
  size_t group_bytes;
  int groups;
};

// Whole 5-byte groups of a RAW10 row of `width` pixels.
int Raw10Groups(int width) { return width > 0 ? (width + 3) / 4 : 0; }

// Bytes of one RAW10 row: its groups and the padding after them.
size_t Raw10RowBytes(int width) {
  return static_cast<size_t>(Raw10Groups(width)) * 5 + static_cast<size_t>(Raw10RowPadding(width));
}

PackedFrame ReadPackedFrame(FILE* file, int height, int width) {
  const int groups = Raw10Groups(width);
  const size_t group_bytes = static_cast<size_t>(groups) * 5;
  const size_t row_bytes = Raw10RowBytes(width);
  const size_t total = row_bytes * static_cast<size_t>(height);
  thread_local std::vector<uint8_t> packed;
  if (packed.size() < total + 8) {
    packed.clear();
    packed.shrink_to_fit();
    packed.resize(total + 8);
  }
  return {packed.data(), std::fread(packed.data(), 1, total, file), row_bytes, group_bytes, groups};
}

}  // namespace

BayerRaw::~BayerRaw() {
  delete[] plane_r_;
  delete[] plane_gr_;
  delete[] plane_gb_;
  delete[] plane_b_;
}

int ReadUnpackedRaw(FILE* file, int height, int width, uint16_t* dst) {
  const size_t row_bytes = static_cast<size_t>(width) * 2;
  const size_t rows = height > 0 ? static_cast<size_t>(height) : 0;
  return std::fread(dst, row_bytes, rows, file) == rows ? 0 : -100;
}

int ReadRaw10Mipi(FILE* file, int height, int width, uint16_t* dst) {
  if (height < 1) return 0;
  const PackedFrame frame = ReadPackedFrame(file, height, width);
  for (int y = 0; y < height; ++y) {
    const size_t begin = static_cast<size_t>(y) * frame.row_bytes;
    uint16_t* out = dst + static_cast<size_t>(y) * static_cast<size_t>(width);
    if (frame.got < begin + frame.row_bytes) {
      // A short file still unpacks the groups of its last row that did
      // arrive, as a group-by-group reader would have before failing.
      const size_t part = frame.got - begin;
      UnpackRaw10Groups(frame.bytes + begin, static_cast<int>(part < frame.group_bytes ? part / 5 : frame.groups),
                        width, out);
      return -100;
    }
    UnpackRaw10Groups(frame.bytes + begin, frame.groups, width, out);
  }
  return 0;
}

uint64_t RawFrameBytes(int width, int height, bool mipi) {
  if (width <= 0 || height <= 0) return 0;
  const uint64_t row = mipi ? Raw10RowBytes(width) : static_cast<uint64_t>(width) * 2;
  return row * static_cast<uint64_t>(height);
}

bool BayerRaw::QuadPlanes(const char* pattern, uint16_t** (&quad)[4]) {
  // Plane for each quad position: top-left, top-right, bottom-left, bottom-right.
  if (pattern != nullptr && std::strcmp(pattern, "RGGB") == 0) {
    quad[0] = &plane_r_, quad[1] = &plane_gr_, quad[2] = &plane_gb_, quad[3] = &plane_b_;
  } else if (pattern != nullptr && std::strcmp(pattern, "GRBG") == 0) {
    quad[0] = &plane_gr_, quad[1] = &plane_r_, quad[2] = &plane_b_, quad[3] = &plane_gb_;
  } else if (pattern != nullptr && std::strcmp(pattern, "BGGR") == 0) {
    quad[0] = &plane_b_, quad[1] = &plane_gr_, quad[2] = &plane_gb_, quad[3] = &plane_r_;
  } else if (pattern != nullptr && std::strcmp(pattern, "GBRG") == 0) {
    quad[0] = &plane_gr_, quad[1] = &plane_b_, quad[2] = &plane_r_, quad[3] = &plane_gb_;
  } else {
    return false;
  }
  return true;
}

void BayerRaw::PreparePlanes() {
  const size_t plane_size =
      static_cast<size_t>(half_height_ > 0 ? half_height_ : 0) * static_cast<size_t>(half_width_ > 0 ? half_width_ : 0);
  // Planes of the same size are reused rather than released and allocated
  // again; the contents are overwritten in full either way.
  if (plane_r_ == nullptr || plane_capacity_ != plane_size) {
    for (uint16_t** plane : {&plane_r_, &plane_gr_, &plane_gb_, &plane_b_}) {
      delete[] * plane;
      *plane = new uint16_t[plane_size > 0 ? plane_size : 1];
    }
    plane_capacity_ = plane_size;
  }
}

errCode BayerRaw::SplitFrame(const uint16_t* frame, int width, int height, int bit_depth, const char* pattern) {
  uint16_t** quad[4];
  if (frame == nullptr || width < 0 || height < 0 || !QuadPlanes(pattern, quad)) return kInvalidInput;
  half_height_ = height / 2;
  half_width_ = width / 2;
  bit_depth_ = bit_depth;
  PreparePlanes();
  for (int k = 0; k < half_height_; ++k) {
    const size_t offset = static_cast<size_t>(k) * static_cast<size_t>(half_width_);
    const uint16_t* top = frame + static_cast<size_t>(2 * k) * static_cast<size_t>(width);
    SplitRowPair(top, top + width, half_width_, *quad[0] + offset, *quad[1] + offset, *quad[2] + offset,
                 *quad[3] + offset);
  }
  return kOk;
}

errCode BayerRaw::ReadRawImage(const char* path, int width, int height, int bit_depth, const char* pattern, bool mipi) {
  FILE* file = std::fopen(path, "rb");
  if (file == nullptr) return kFileError;

  // The whole frame arrives before any plane changes, so a failed read
  // leaves the planes as they were. An unpacked frame goes to a staging
  // frame; a packed one stays packed and is unpacked straight into the
  // planes, which saves a round trip of the full-size frame through memory.
  const size_t count = width > 0 && height > 0 ? static_cast<size_t>(width) * static_cast<size_t>(height) : 0;
  // Staging frame, kept per thread between calls: a sequence of frames of one
  // size then reads at memory speed instead of faulting in fresh pages each
  // time. Never zero-filled since it is read over.
  thread_local std::vector<uint16_t> staging;
  if (!mipi && staging.size() < (count > 0 ? count : 1)) {
    staging.clear();
    staging.shrink_to_fit();
    staging.resize(count > 0 ? count : 1);
  }
  const uint16_t* const frame = staging.data();
  PackedFrame packed = {nullptr, 0, 0, 0, 0};
  bool complete = true;
  if (!mipi) {
    complete = ReadUnpackedRaw(file, height, width, staging.data()) == 0;
  } else if (height >= 1) {
    packed = ReadPackedFrame(file, height, width);
    complete = packed.got == packed.row_bytes * static_cast<size_t>(height);
  }
  std::fclose(file);
  if (!complete) return kFileError;

  // The half sizes change before the pattern is checked; on an unknown
  // pattern the planes keep their old contents and sizes.
  half_height_ = height / 2;
  half_width_ = width / 2;

  uint16_t** quad[4];
  if (!QuadPlanes(pattern, quad)) return kInvalidInput;
  bit_depth_ = bit_depth;
  PreparePlanes();
  for (int k = 0; k < half_height_; ++k) {
    const size_t offset = static_cast<size_t>(k) * static_cast<size_t>(half_width_);
    if (mipi) {
      const uint8_t* top = packed.bytes + static_cast<size_t>(2 * k) * packed.row_bytes;
      UnpackRaw10RowToPlanes(top, width, *quad[0] + offset, *quad[1] + offset);
      UnpackRaw10RowToPlanes(top + packed.row_bytes, width, *quad[2] + offset, *quad[3] + offset);
    } else {
      const uint16_t* top = frame + static_cast<size_t>(2 * k) * static_cast<size_t>(width);
      SplitRowPair(top, top + width, half_width_, *quad[0] + offset, *quad[1] + offset, *quad[2] + offset,
                   *quad[3] + offset);
    }
  }
  return kOk;
}

errCode BayerRaw::SaveRaw(const char* path) const {
  FILE* file = std::fopen(path, "wb");
  if (file == nullptr) return kFileError;
  if (plane_r_ != nullptr && plane_gr_ != nullptr && plane_gb_ != nullptr && plane_b_ != nullptr && half_width_ > 0) {
    std::vector<uint16_t> row(2 * static_cast<size_t>(half_width_));
    for (int k = 0; k < half_height_; ++k) {
      const size_t offset = static_cast<size_t>(k) * static_cast<size_t>(half_width_);
      for (int j = 0; j < half_width_; ++j) {
        row[2 * j] = plane_b_[offset + j];
        row[2 * j + 1] = plane_gr_[offset + j];
      }
      std::fwrite(row.data(), sizeof(uint16_t), row.size(), file);
      for (int j = 0; j < half_width_; ++j) {
        row[2 * j] = plane_gb_[offset + j];
        row[2 * j + 1] = plane_r_[offset + j];
      }
      std::fwrite(row.data(), sizeof(uint16_t), row.size(), file);
    }
  }
  std::fclose(file);
  return kOk;
}

}  // namespace mirvo
