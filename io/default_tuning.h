#pragma once

#include "core/mirvo_params.h"

namespace mirvo {

// The compiled-in default tuning record: InitMirvoParams defaults and the
// built-in learned tint profile (see tools/gen_default_profile.py).
const MirvoParams& DefaultMirvoParams();

}  // namespace mirvo
