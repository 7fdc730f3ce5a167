#pragma once

#include <string>

#include "core/error_code.h"
#include "core/export.h"
#include "core/mirvo_params.h"

namespace mirvo {

// Reads a tuning header file (sections "[Version]", "[TuningParams]", "[BUL]",
// "[BVL]", "[BgUHXY]", "[BgVHXY]") into params. kOk or kFileError; values read
// before a failure stay in params.
// HAZARD: a grid token that trims to nothing or does not start with a number
// makes std::stof throw std::invalid_argument (or std::out_of_range), which is
// not caught here. Tools call TuningValidateHeaderFile first.
MIRVO_EXPORT errCode LoadTuningHeaderFile(const char* path, MirvoParams& params);

// Checks without throwing that LoadTuningHeaderFile will read `path` to the
// end and return kOk. On failure returns kFileError and, if `why` is given,
// a one-line reason (without the path).
MIRVO_EXPORT errCode TuningValidateHeaderFile(const char* path, std::string* why = nullptr);

// Writes params as a tuning header file that LoadTuningHeaderFile reads back
// (floats with 9 significant digits, so the record round-trips exactly).
MIRVO_EXPORT errCode SaveTuningHeaderFile(const char* path, const MirvoParams& params);

// Holder of a tuning record: the compiled-in default until a file is loaded.
class MIRVO_EXPORT MirvoTuning {
 public:
  MirvoTuning();
  ~MirvoTuning();
  MirvoTuning(const MirvoTuning&) = delete;
  MirvoTuning& operator=(const MirvoTuning&) = delete;

  void SetTuningTable();  // interface placeholder; does nothing
  MirvoParams* GetTuningTable();
  errCode LoadHeaderFile(const char* path);

 private:
  bool owns_table_;
  MirvoParams* table_;
};

}  // namespace mirvo
