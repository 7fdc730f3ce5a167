#include "engine_input.h"

#include "io/default_tuning.h"

namespace mirvo_fuzz {

void TakeEngineInput(ByteReader& in, EngineInput* e) {
  mirvo::MirvoParams& params = e->params;
  params = mirvo::DefaultMirvoParams();
  const uint8_t which = in.Take<uint8_t>();
  if (which & 1) params.tuning.smooth_thd = in.Take<float>();
  if (which & 2) params.tuning.limit_thd = in.Take<float>();
  if (which & 4) params.tuning.prj_delta_thd = in.Take<float>();
  if (which & 8) params.tuning.min_level_thd = in.Take<float>();
  if (which & 16) params.tuning.sat_ratio_thd = in.Take<float>();
  params.tuning.filter_input_stats = in.Take<uint8_t>() % 3;
  params.tuning.enable_temporal_filter = in.Take<uint8_t>() & 1;
  // Diagnostics on for one input in four: they allocate a record of every
  // stage per frame, which cost twice the frame itself (fuzz_diagnostic_dump
  // covers the record's text on its own).
  e->debug = (which & 0xA0) == 0xA0;

  e->crop = mirvo::CropInfo();
  if (which & 64) {
    e->crop.offs_x = static_cast<float>(in.Take<uint16_t>() % 4032);
    e->crop.out_w = static_cast<float>(1 + in.Take<uint16_t>() % 4032);
  }

  // Grid: usually the engine's 24 x 32, sometimes something it must reject.
  const uint8_t shape = in.Take<uint8_t>();
  const int cols = (shape & 0xC0) == 0xC0 ? shape % 40 : 32;
  const int rows = (shape & 0xC0) == 0xC0 ? (shape >> 2) % 30 : 24;
  // Reallocating the cells for every input cost more than the frames did.
  if (e->stats.cells == nullptr || e->stats.cols != cols || e->stats.rows != rows)
    e->stats.ConfigureStatsSize(cols, rows);
  e->stats.bit_depth = in.Take<uint8_t>() % 32;
  mirvo::StatsCell seed[8];
  for (auto& cell : seed) cell = in.Take<mirvo::StatsCell>();
  for (int i = 0; i < cols * rows; ++i) e->stats.cells[i] = seed[i % 8];

  float pattern[8];
  for (float& f : pattern) f = in.Take<float>();
  float* t = &e->table.r_gain[0][0];
  for (int i = 0; i < 884; ++i) t[i] = pattern[i % 8];
}

}  // namespace mirvo_fuzz
