#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "core/error_code.h"
#include "core/export.h"

namespace mirvo {

// A raw Bayer frame split into four quarter-resolution planes. The green of
// the quad's top row always lands in plane_gr_, the bottom-row green in
// plane_gb_, whatever the pattern.
class MIRVO_EXPORT BayerRaw {
 public:
  BayerRaw() = default;
  ~BayerRaw();
  BayerRaw(const BayerRaw&) = delete;
  BayerRaw& operator=(const BayerRaw&) = delete;

  // pattern: "RGGB", "GRBG", "BGGR" or "GBRG" (exact, case-sensitive).
  // kOk, kFileError on open/read failure, kInvalidInput on an unknown pattern
  // (the half sizes are updated before the pattern check, as documented).
  errCode ReadRawImage(const char* path, int width, int height, int bit_depth, const char* pattern, bool mipi);
  // Splits a frame already in memory (height rows of width samples) as
  // ReadRawImage splits a file. kInvalidInput on an unknown pattern, a null
  // frame or a negative size, with the planes untouched.
  errCode SplitFrame(const uint16_t* frame, int width, int height, int bit_depth, const char* pattern);
  // Writes the planes as an unpacked BGGR frame.
  errCode SaveRaw(const char* path) const;

  int32_t half_height_ = 0;
  int32_t half_width_ = 0;
  int32_t bit_depth_ = 0;
  uint16_t* plane_r_ = nullptr;
  uint16_t* plane_gr_ = nullptr;
  uint16_t* plane_gb_ = nullptr;
  uint16_t* plane_b_ = nullptr;

 private:
  // The planes of the quad positions (top-left, top-right, bottom-left,
  // bottom-right) for `pattern`; false for an unknown one.
  bool QuadPlanes(const char* pattern, uint16_t** (&quad)[4]);
  // Planes of half_height_ x half_width_ samples, reused when the size holds.
  void PreparePlanes();

  size_t plane_capacity_ = 0;  // samples allocated per plane, for reuse
};

// Bytes of a raw frame file as BayerRaw::ReadRawImage reads it: height rows
// of width 16-bit samples, or with `mipi` of RAW10 groups padded to 8 bytes.
MIRVO_EXPORT uint64_t RawFrameBytes(int width, int height, bool mipi);

// Reads height rows of width little-endian 16-bit samples. 0 or -100.
MIRVO_EXPORT int ReadUnpackedRaw(FILE* file, int height, int width, uint16_t* dst);
// Unpacks height rows of MIPI RAW10 (5 bytes per 4 pixels, rows padded to a
// multiple of 8 bytes). 0 or -100.
MIRVO_EXPORT int ReadRaw10Mipi(FILE* file, int height, int width, uint16_t* dst);

}  // namespace mirvo
