#pragma once

#include <string>

#include "core/lsc_table.h"

namespace mirvo_cli {

// Gains a base table may hold. The engine takes the logarithms of R/G and
// B/G and multiplies the planes; with gains in this range (real tables hold
// about 1 to 10) the ratios and logarithms stay finite. Zero or negative
// gains have no logarithm and would give NaN tables.
inline constexpr float kMinBaseGain = 1e-6f;
inline constexpr float kMaxBaseGain = 1e6f;

// A simulator rolloff file holds gains as 32-bit integers with 10 fractional
// bits; larger gains cannot be converted.
inline constexpr float kMaxSimulatorGain = 2097151.0f;

// Throw DataError naming `path` (the table's file) and the first gain out of
// range, before any of them reaches a conversion.
void CheckBaseTableGains(const std::string& path, const mirvo::LscTable& table);
void CheckSimulatorGains(const std::string& path, const mirvo::LscTable& table);

}  // namespace mirvo_cli
