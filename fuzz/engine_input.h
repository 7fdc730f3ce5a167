#pragma once

#include "byte_reader.h"
#include "core/core.h"
#include "core/crop_info.h"
#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "core/stats.h"

namespace mirvo_fuzz {

// What a misbehaving camera stack could hand the engine: hostile tuning (zero,
// negative, non-finite thresholds), a crop, diagnostics on or off, statistics
// (zero counts, saturation beyond the count, sums at the 32-bit limit, any bit
// depth, now and then a grid the engine must reject) and a base table holding
// zeros, negatives, NaN and infinities; then a short sequence of frames, each
// with its own damage. The statistics and the table are drawn from a few bytes
// (seed cells laid out in blocks under a per-channel vignetting, a radial or a
// tiled table), so an input is some 50 bytes and every byte matters.
struct EngineInput {
  mirvo::TuningParams tuning;
  bool debug = false;
  bool sequence = false;  // more frames than one
  mirvo::CropInfo crop;
  mirvo::Stats* stats = nullptr;  // one of the two below
  mirvo::LscTable table;
  // Cell buffers for the engine's grid and for any other, so that inputs
  // switching between them reallocate nothing.
  mirvo::Stats engine_grid;
  mirvo::Stats other_grid;
  bool EngineGrid() const { return stats->cols == 32 && stats->rows == 24; }
};

// One frame's change to the previous frame's input, in four bytes: a cell
// whose channel count drops to zero, a base gain replaced by a hostile value,
// one channel's sums scaled (the scene's colour moves).
struct FrameChange {
  uint8_t what = 0;
  uint16_t where = 0;
  uint8_t value = 0;
};

// Fills `*e` from the front of the input; reuses its cell buffers.
void TakeEngineInput(ByteReader& in, EngineInput* e);

// The frames of the input: the first always (from zeros past the end); in a
// sequence one more for every further four bytes, at most `max`. Returns how
// many.
int TakeFrames(ByteReader& in, const EngineInput& e, FrameChange* frames, int max);

// Hands the input's tuning, diagnostics switch and crop to an engine that
// has been loaded with `*source` once and reset since the last input: the
// tuning goes into both records (the override reset reads the source's), the
// debug record starts as a new engine's, and a grid the engine rejects leaves
// it with a new engine's statistics rather than the last input's.
void PrepareEngine(const EngineInput& e, mirvo::MirvoParams* source, mirvo::Core* core);

// Applies a frame's change to the statistics (kept for the frames after it)
// and to `*table`, a copy of the input's base table.
void ApplyFrameChange(const FrameChange& f, EngineInput* e, mirvo::LscTable* table);

// libFuzzer's own mutation, then some mutants with diagnostics or a sequence
// of frames lose them (both targets' custom mutator).
size_t MutateEngineInput(uint8_t* data, size_t size, size_t max_size, unsigned int seed);

}  // namespace mirvo_fuzz
