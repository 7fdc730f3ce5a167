#pragma once

#include <pybind11/pybind11.h>

#include <array>
#include <cstdint>
#include <string>

#include "tools/bayer_raw.h"

namespace mirvo_py {

namespace py = pybind11;

// Checks of the arguments that describe raw frames, shared by every function
// that takes one; each raises ValueError or TypeError naming the argument.

// One value for all four, or a sequence of four, each within [lo, hi].
std::array<long long, 4> FourInts(py::handle obj, const char* name, long long lo, long long hi);
// "RGGB", "GRBG", "BGGR" or "GBRG".
void CheckPattern(const std::string& pattern);
void CheckRange(const char* name, long long v, long long lo, long long hi);
// Even sizes of 2 to 65534 pixels: whole Bayer quads.
void CheckFrameSize(int width, int height);
// 1 to 14 bits: samples are scaled up to 14 bits by a left shift.
void CheckBits(int bits);
// MIPI RAW10: a width of whole 4-pixel groups, 10 bits.
void CheckMipi(int width, int bits);
// A grid of cols x rows cells (1 to 1024 each) that the frame fills.
void CheckGrid(int width, int height, int cols, int rows);

// Splits a row-major (height, width) mosaic into `raw`'s four planes as the
// library's raw reader would (the top-row green is always Gr). Needs no GIL.
void FrameToPlanes(const uint16_t* frame, int width, int height, int bits, const std::string& pattern,
                   mirvo::BayerRaw* raw);

}  // namespace mirvo_py
