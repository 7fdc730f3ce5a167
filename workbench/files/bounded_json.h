#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

namespace mirvo::workbench {

// What a JSON input may cost. The document is measured by a first pass that
// stores nothing; only a text within every limit is then parsed into a tree.
struct JsonLimits {
  uint64_t max_bytes;  // of the text
  int max_depth;       // nested arrays and objects
  // The tree may take at most this many times the text's size (estimated
  // from the first pass: 16 bytes per value, 48 more per array or object, 64
  // more per object member, plus the strings' bytes).
  int max_memory_factor = 16;
};

// The limits of the JSON the tools read (run summaries, calibrations): 64
// levels (a summary nests 4 deep, a calibration 5), 16 times the file size.
inline constexpr int kJsonMaxDepth = 64;
inline constexpr int kJsonMemoryFactor = 16;

// Parses `text`, the contents of `path`. Throws FileError naming the
// file: "PATH: not valid JSON at byte N near '...'" (an excerpt of at most 40
// characters, never the whole token), "PATH: JSON nested deeper than 64
// levels", "PATH: JSON would take N MB in memory, more than 16 times the
// file's size", "PATH: file is too large", or "PATH: out of memory reading
// the JSON".
nlohmann::json ParseBoundedJson(const std::string& text, const std::string& path, const JsonLimits& limits);

}  // namespace mirvo::workbench
