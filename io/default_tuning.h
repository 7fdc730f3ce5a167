#pragma once

#include "core/mirvo_params.h"

namespace mirvo {

// The compiled-in default tuning record: InitMirvoParams defaults and the
// built-in learned tint profile (its generator and origin are described in data/README.md).
const MirvoParams& DefaultMirvoParams();

}  // namespace mirvo
