#pragma once

#include <cstddef>

namespace mirvo_fuzz {

// Allocations made through operator new by the calling thread so far (every
// fuzz target links the counting replacements; libFuzzer's own monitor thread
// allocates too, hence per thread).
size_t Allocations();

}  // namespace mirvo_fuzz
