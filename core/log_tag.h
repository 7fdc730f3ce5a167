#pragma once

#include <android/log.h>

namespace mirvo {

// Every log line of the library goes through __android_log_print with this tag.
inline constexpr char kLogTag[] = "MirvoCore";

}  // namespace mirvo
