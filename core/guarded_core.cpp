#include "core/guarded_core.h"

#include <cmath>
#include <cstring>

#include "core/log_tag.h"

namespace mirvo {

namespace {

constexpr int kRows = 24;
constexpr int kCols = 32;
constexpr int kGains = sizeof(LscTable) / sizeof(float);
constexpr int kPlaneGains = 13 * 17;
const char* const kPlaneNames[4] = {"R", "Gr", "Gb", "B"};

bool Unmeasured(const StatsCell& cell) {
  return cell.cnt[R] == 0 || cell.cnt[Gr] == 0 || cell.cnt[Gb] == 0 || cell.cnt[B] == 0;
}

// A cell too dark to measure: a mean of 1/65535 is below the darkness
// threshold of any tuning with a positive min_level_thd (at 14 bits, above
// 1e-9), so the engine rejects the cell and the edges to its neighbours. All
// counts are non-zero and all means equal, so no division by zero happens and
// the cell's log chroma is exactly ln 1 = 0 even under a tuning that rejects
// nothing.
void MakeDark(StatsCell& cell) {
  for (int ch = 0; ch < 4; ++ch) {
    cell.sum[ch] = 1;
    cell.cnt[ch] = 65535;
    cell.sat_cnt[ch] = 0;
  }
}

struct TableCheck {
  int bad = 0;    // gains that are not finite or out of range
  int first = 0;  // flat index of the first of them
};

TableCheck CheckTable(const LscTable& table, float lo, float hi) {
  const float* g = &table.r_gain[0][0];
  TableCheck check;
  for (int i = 0; i < kGains; ++i) {
    // Written so that NaN fails too.
    if (!(std::isfinite(g[i]) && g[i] >= lo && g[i] <= hi)) {
      if (check.bad == 0) check.first = i;
      ++check.bad;
    }
  }
  return check;
}

void FillTable(LscTable& table, float gain) {
  float* g = &table.r_gain[0][0];
  for (int i = 0; i < kGains; ++i) g[i] = gain;
}

}  // namespace

GuardedCore::GuardedCore() : candidate_(), last_good_() { sanitised_.ConfigureStatsSize(kCols, kRows); }

bool GuardedCore::SetGainRange(float min_gain, float max_gain) {
  if (!std::isfinite(min_gain) || !std::isfinite(max_gain) || min_gain < 0.0f || min_gain > max_gain) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "%s : invalid gain range [%g, %g]", "SetGainRange", min_gain,
                        max_gain);
    return false;
  }
  min_gain_ = min_gain;
  max_gain_ = max_gain;
  return true;
}

bool GuardedCore::LoadMirvoParams(const MirvoParams& params) { return core_.LoadMirvoParams(params); }

void GuardedCore::SetSensorCrop(const CropInfo& crop) { core_.SetSensorCrop(crop); }

bool GuardedCore::SetStats(const Stats& stats) {
  // Other grids go through untouched: the engine rejects them itself.
  if (stats.cols != kCols || stats.rows != kRows) return core_.SetStats(stats);
  if (stats.cells == nullptr) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "%s : stats.cells = nullptr", "SetStats");
    return false;
  }
  int unmeasured = 0;
  for (int i = 0; i < kRows * kCols; ++i) unmeasured += Unmeasured(stats.cells[i]);
  if (unmeasured == 0) return core_.SetStats(stats);

  sanitised_.bit_depth = stats.bit_depth;
  std::memcpy(sanitised_.black_level, stats.black_level, sizeof(stats.black_level));
  std::memcpy(sanitised_.black_level_gain, stats.black_level_gain, sizeof(stats.black_level_gain));
  std::memcpy(sanitised_.cells, stats.cells, sizeof(StatsCell) * kRows * kCols);
  for (int i = 0; i < kRows * kCols; ++i)
    if (Unmeasured(sanitised_.cells[i])) MakeDark(sanitised_.cells[i]);
  ++sanitised_frames_;
  sanitised_cells_ += unmeasured;
  return core_.SetStats(sanitised_);
}

bool GuardedCore::SetInputLscTable(const LscTable& table) { return core_.SetInputLscTable(table); }

bool GuardedCore::Execute() { return core_.Execute(); }

bool GuardedCore::GetOutputLscTable(LscTable* out) {
  if (!core_.GetOutputLscTable(&candidate_)) return false;
  const TableCheck check = CheckTable(candidate_, min_gain_, max_gain_);
  last_frame_guarded_ = check.bad > 0;
  if (!last_frame_guarded_) {
    std::memcpy(&last_good_, &candidate_, sizeof(LscTable));
    has_last_good_ = true;
    std::memcpy(out, &candidate_, sizeof(LscTable));
    return true;
  }

  const char* fallback = "last good";
  if (has_last_good_) {
    std::memcpy(out, &last_good_, sizeof(LscTable));
  } else if (CheckTable(core_.base_table_, min_gain_, max_gain_).bad == 0) {
    fallback = "base";
    std::memcpy(out, &core_.base_table_, sizeof(LscTable));
  } else {
    // Neither: a table that changes nothing, brought into the range.
    fallback = "unity";
    FillTable(*out, std::fmin(std::fmax(1.0f, min_gain_), max_gain_));
  }
  ++guarded_frames_;
  const float* g = &candidate_.r_gain[0][0];
  const int plane = check.first / kPlaneGains;
  const int node = check.first % kPlaneGains;
  __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                      "%s : %d of %d gains not finite or outside [%g, %g], first %s[%d][%d] = %g; %s table returned, "
                      "engine state reset",
                      "GetOutputLscTable", check.bad, kGains, min_gain_, max_gain_, kPlaneNames[plane], node / 17,
                      node % 17, g[check.first], fallback);
  ResetEngineState();
  return true;
}

void GuardedCore::Reset() {
  ResetEngineState();
  candidate_ = LscTable();
  last_good_ = LscTable();
  has_last_good_ = false;
  last_frame_guarded_ = false;
  guarded_frames_ = 0;
  sanitised_frames_ = 0;
  sanitised_cells_ = 0;
}

void GuardedCore::ResetEngineState() {
  // Everything a frame computes, the temporal filter's grids and projections
  // above all. What the host set stays until the host replaces it (the base
  // table with its gain grids, the statistics), and so do the configuration
  // pointers and the diagnostic store; the nine integration paths are private
  // scratch that every frame overwrites before reading. Matrix assignment
  // between grids of one shape reuses the storage: nothing is allocated.
  typedef Matrix<float> MirvoHybrid::*Grid;
  typedef float(MirvoHybrid::*EdgeVector)[kNumEdges];
  typedef float MirvoHybrid::*Scalar;
  static const Grid kGrids[] = {&MirvoHybrid::WX,
                                &MirvoHybrid::WY,
                                &MirvoHybrid::GradH_UX,
                                &MirvoHybrid::GradH_UY,
                                &MirvoHybrid::GradH_VX,
                                &MirvoHybrid::GradH_VY,
                                &MirvoHybrid::log_tint_u,
                                &MirvoHybrid::log_tint_v,
                                &MirvoHybrid::GradL_UX,
                                &MirvoHybrid::GradL_UY,
                                &MirvoHybrid::GradL_VX,
                                &MirvoHybrid::GradL_VY,
                                &MirvoHybrid::temporal_tint_u_,
                                &MirvoHybrid::temporal_tint_v_};
  static const EdgeVector kVectors[] = {&MirvoHybrid::weight_vec_, &MirvoHybrid::grad_u_vec_, &MirvoHybrid::grad_v_vec_,
                                        &MirvoHybrid::residue_u_vec_, &MirvoHybrid::residue_v_vec_};
  static const Scalar kScalars[] = {&MirvoHybrid::prj_u_, &MirvoHybrid::prj_v_, &MirvoHybrid::prev_prj_u_,
                                    &MirvoHybrid::prev_prj_v_, &MirvoHybrid::temporal_update_gain_};
  MirvoHybrid& e = core_;
  for (Grid g : kGrids) e.*g = fresh_.*g;
  for (EdgeVector v : kVectors) std::memcpy(e.*v, fresh_.*v, sizeof(e.*v));
  for (Scalar x : kScalars) e.*x = fresh_.*x;
  e.mirvo_table_ = fresh_.mirvo_table_;
}

}  // namespace mirvo
