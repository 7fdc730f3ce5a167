#pragma once

#include "core/crop_info.h"
#include "core/error_code.h"
#include "core/export.h"
#include "core/mirvo_params.h"

namespace mirvo {

// Reads a profile text file: four header lines ("BUL", "BVL", "BgUHXY",
// "BgVHXY") each followed by 221, 221, 1480 and 1480 numbers. Returns 0,
// -100 when the file cannot be opened, or the plain value -1 when the first
// header starts with "BUL" or the second with "BVL" (the header test is
// inverted on purpose). Short or malformed files are not detected.
MIRVO_EXPORT int LoadLearnedTintProfile(const char* path, LearnedTintProfile& profile);

// Re-samples the full-sensor profile `in` onto the sensor crop; the gradient
// blocks of *out are derived afresh from in's tint grids. in and out must be
// different objects.
MIRVO_EXPORT void Crop(const CropInfo& crop, const LearnedTintProfile& in, LearnedTintProfile* out);

}  // namespace mirvo
