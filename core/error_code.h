#pragma once

#include <cstdint>

namespace mirvo {

// Status of the library's fallible operations: 0 is success, every failure is
// negative. Callers log any non-zero value as a signed decimal.
enum errCode : int32_t {
  kOk = 0,
  kInvalidInput = -10,
  kFileError = -100,
  kAllocationError = -1000,
};

}  // namespace mirvo
