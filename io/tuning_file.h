#pragma once

#include <ostream>
#include <string>

#include "core/error_code.h"
#include "core/export.h"
#include "core/mirvo_params.h"
#include "core/parse_result.h"

namespace mirvo {

// Tuning header file: a C header whose comment lines name the sections
// "[Version]", "[TuningParams]", "[BUL]", "[BVL]", "[BgUHXY]" and "[BgVHXY]",
// in this order, each followed by its numbers (see the reader below).

// Reads a tuning header file into params. kOk or kFileError; values read
// before a failure stay in params. Stream faults are printed with perror,
// undecodable value lines logged.
// HAZARD: a grid token that trims to nothing or does not start with a number
// makes std::stof throw std::invalid_argument (or std::out_of_range), which is
// not caught here. Tools read with TuningParseText instead.
MIRVO_EXPORT errCode LoadTuningHeaderFile(const char* path, MirvoParams& params);

// The strict reader: reads `text` exactly as LoadTuningHeaderFile reads a
// file, and fails with a reason wherever that would fail or throw, and
// wherever it would take a value silently wrong: a value line or grid token
// that is not one whole finite number (text glued on, a decimal comma such
// as "0,05"), a grid or block with more values than it takes or cut inside
// its last one (a closing brace must follow), a section named twice, a NUL
// byte. On success `params` holds what the loader would load. Never throws,
// prints or logs.
MIRVO_EXPORT ParseResult TuningParseText(const std::string& text, MirvoParams* params);

// TuningParseText over the file at `path`: kOk, or kFileError with the
// one-line reason (without the path) in `why` if given.
MIRVO_EXPORT errCode TuningValidateHeaderFile(const char* path, std::string* why = nullptr);

// Writes params as a tuning header file that TuningParseText accepts and
// LoadTuningHeaderFile reads back (floats with 9 significant digits, so the
// record round-trips exactly).
MIRVO_EXPORT void TuningWriteText(std::ostream& out, const MirvoParams& params);

// TuningWriteText into the file at `path`; kFileError if it cannot be
// opened, written or closed.
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
