#pragma once

#include "byte_reader.h"
#include "core/crop_info.h"
#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "core/stats.h"

namespace mirvo_fuzz {

// What a misbehaving camera stack could hand the engine: hostile tuning (zero
// and negative thresholds), a crop, diagnostics on or off, statistics (zero
// counts, sums at the 32-bit limit, any bit depth, now and then a grid the
// engine must reject) and a base table holding zeros, negatives, NaN and
// infinities. Short seed patterns tiled over the grids keep inputs small.
struct EngineInput {
  mirvo::MirvoParams params;
  bool debug = false;
  mirvo::CropInfo crop;
  mirvo::Stats stats;
  mirvo::LscTable table;
  bool EngineGrid() const { return stats.cols == 32 && stats.rows == 24; }
};

// Fills `*e` from the front of the input.
void TakeEngineInput(ByteReader& in, EngineInput* e);

}  // namespace mirvo_fuzz
