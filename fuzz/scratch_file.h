#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/parse_result.h"

namespace mirvo_fuzz {

// Writes the input to a per-process scratch file and returns its path; the
// readers under test take paths, not buffers.
const std::string& WriteScratch(const uint8_t* data, size_t size);

// True if a strict reader rejected its input; a rejection must come with a
// one-line reason, else the run fails.
bool Rejected(const mirvo::ParseResult& result);

// Aborts with a message so libFuzzer records the input as a crash.
[[noreturn]] void Fail(const char* what);

}  // namespace mirvo_fuzz
