#pragma once

#include "core/crop_info.h"
#include "core/error_code.h"
#include "core/export.h"
#include "core/mirvo_params.h"

namespace mirvo {

// The profile file's reader and writer are in io/learned_profile_file.h.

// Re-samples the full-sensor profile `in` onto the sensor crop; the gradient
// blocks of *out are derived afresh from in's tint grids. in and out must be
// different objects.
MIRVO_EXPORT void Crop(const CropInfo& crop, const LearnedTintProfile& in, LearnedTintProfile* out);

}  // namespace mirvo
