#pragma once

// Marks the declarations that make up the library's interface. The library is
// compiled with hidden visibility, so everything else (stage helpers, the
// vector kernels, file-local parsers) stays private to libmirvo_core and can
// change without breaking a camera HAL linked against it. The attribute is
// the same when building and when using the library, as ELF needs no import
// marking.
#if defined(__GNUC__) || defined(__clang__)
#define MIRVO_EXPORT __attribute__((visibility("default")))
#else
#define MIRVO_EXPORT
#endif
