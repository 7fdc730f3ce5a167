#include "pipeline/run_summary.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "files/atomic_file.h"

namespace mirvo_cli {
namespace {

// The planes of a table lie one after the other in Channel order (the record
// is 884 packed floats), so plane p starts 221 floats after plane p - 1.
const float* PlaneData(const mirvo::LscTable& t, int p) { return &t.r_gain[0][0] + p * kLatticeNodes; }

void CopyLattice(const mirvo::Matrix<float>& m, LatticeGrid* out) {
  std::copy_n(m.data.begin(), std::min<size_t>(m.data.size(), kLatticeNodes), out->begin());
}

FrameGrids Grids(int k, const mirvo::Core& core, const mirvo::LscTable& output) {
  FrameGrids g;
  g.index = k;
  // After the frame the engine's tint grids hold the linear tint it merged.
  CopyLattice(core.log_tint_u, &g.linear_tint_u);
  CopyLattice(core.log_tint_v, &g.linear_tint_v);
  for (int p = 0; p < 4; ++p) std::memcpy(g.table[p].data(), PlaneData(output, p), sizeof(float) * kLatticeNodes);
  return g;
}

}  // namespace

FrameRecord MakeFrameRecord(int k, const std::string& input, const mirvo::Core& core, const mirvo::LscTable& base,
                            const mirvo::LscTable& output, const std::string& guard_reason) {
  FrameRecord f;
  f.index = k;
  f.input = input;
  f.guarded = !guard_reason.empty();
  f.guard_reason = guard_reason;
  f.prj_u = core.prj_u_;
  f.prj_v = core.prj_v_;
  f.temporal_gain = core.temporal_update_gain_;
  f.nonfinite_projection = !std::isfinite(f.prj_u) || !std::isfinite(f.prj_v);
  for (int p = 0; p < 4; ++p) {
    const float* g = PlaneData(output, p);
    float lo = NAN, hi = NAN;
    for (int i = 0; i < kLatticeNodes; ++i) {
      if (!std::isfinite(g[i])) {
        ++f.nonfinite_gains;
        continue;
      }
      if (!(g[i] >= lo)) lo = g[i];
      if (!(g[i] <= hi)) hi = g[i];
    }
    f.gain_min[p] = lo;
    f.gain_max[p] = hi;
  }
  // The merge copies the green planes unless it divides all four planes by
  // the smallest gain, so a changed green gain tells a rescale and its divisor.
  // A guarded frame's table is a replacement, not the merge's: not evaluated.
  const float* base_gr = &base.gr_gain[0][0];
  const float* out_gr = &output.gr_gain[0][0];
  if (f.guarded) f.rescale = NAN;
  for (int i = 0; i < kLatticeNodes && !f.guarded; ++i) {
    if (std::memcmp(&base_gr[i], &out_gr[i], sizeof(float)) != 0) {
      f.rescaled = true;
      f.rescale = base_gr[i] / out_gr[i];
      break;
    }
  }
  for (int r = 0; r < 24; ++r)
    for (int c = 0; c < 31; ++c) f.unreliable_dx += core.log_stats_.is_reliable_dx_[r][c] == 0;
  for (int r = 0; r < 23; ++r)
    for (int c = 0; c < 32; ++c) f.unreliable_dy += core.log_stats_.is_reliable_dy_[r][c] == 0;
  return f;
}

RunRecord MakeRunRecord(const std::string& command, const std::string& input_kind,
                        const std::vector<std::string>& inputs, const std::string& base_path,
                        const std::string& tuning_path, const SessionOptions& options,
                        const mirvo::TuningParams& tuning) {
  RunRecord r;
  r.program_version = MIRVO_VERSION;
  r.command = command;
  r.input_kind = input_kind;
  r.inputs = inputs;
  r.base = base_path;
  r.tuning = tuning_path.empty() ? "built-in" : tuning_path;
  r.crop_given = options.has_crop;
  const mirvo::CropInfo& c = options.crop;
  r.crop = {c.in_w, c.in_h, c.offs_x, c.offs_y, c.out_w, c.out_h};
  r.override_map = options.override_path;
  r.temporal_filter = tuning.enable_temporal_filter != 0;
  r.prj_delta_thd = tuning.prj_delta_thd;
  r.tint_update_gain = tuning.tint_update_gain;
  r.guard = options.guard;
  return r;
}

RunSummary::RunSummary(RunRecord run) : start_(std::chrono::steady_clock::now()) {
  data_.run = std::move(run);
  data_.frames.reserve(data_.run.inputs.size());
}

void RunSummary::Keep(const std::string& reason, float score, const FrameGrids& grids, std::vector<Kept>* list) {
  Kept kept{grids, score};
  kept.grids.reasons = {reason};
  if (static_cast<int>(list->size()) < kKeepPerReason) {
    list->push_back(std::move(kept));
    return;
  }
  auto least =
      std::min_element(list->begin(), list->end(), [](const Kept& a, const Kept& b) { return a.score < b.score; });
  if (score > least->score) *least = std::move(kept);
}

void RunSummary::AddFrame(int k, const std::string& input, const mirvo::Core& core, const mirvo::LscTable& base,
                          const mirvo::LscTable& output, const std::string& guard_reason) {
  FrameRecord f = MakeFrameRecord(k, input, core, base, output, guard_reason);
  const FrameRecord* prev = data_.frames.empty() ? nullptr : &data_.frames.back();
  // How far the projections moved; the first frame is measured from zero, as
  // the temporal filter measures it.
  const float change =
      std::fabs(f.prj_u - (prev ? prev->prj_u : 0.0f)) + std::fabs(f.prj_v - (prev ? prev->prj_v : 0.0f));
  // A jump: the projections moved by at least twice prj_delta_thd, the change
  // the temporal filter follows at its full gain. With the filter on, the
  // gain tells it from the unfiltered change, which the state does not keep.
  const mirvo::TuningParams& tuning = core.pconfig_params_->tuning;
  if (tuning.enable_temporal_filter != 0 && tuning.tint_update_gain > 0.0f) {
    f.jump = f.temporal_gain >= tuning.tint_update_gain * 0.9999f;
  } else {
    f.jump = change >= 2.0f * tuning.prj_delta_thd;
  }
  // A guarded frame's projections are those of the engine just reset: the
  // change is the restart, not the scene.
  if (f.guarded) f.jump = false;

  // Every frame may turn out to be the last, so its grids (5 KB) are copied.
  // Guarded frames say nothing about the merge, so the change is measured
  // from the last frame that does.
  const bool rescale_change = !f.guarded && last_rescaled_ >= 0 && last_rescaled_ != int{f.rescaled};
  if (!f.guarded) last_rescaled_ = f.rescaled;
  const FrameGrids grids = Grids(k, core, output);
  if (data_.frames.empty()) first_ = grids;
  // Of non-finite outputs and rescale changes the first ones matter (later
  // ones follow from them); of jumps the largest.
  if (f.nonfinite_gains > 0 || f.nonfinite_projection) Keep("non-finite", -static_cast<float>(k), grids, &nonfinite_);
  if (f.jump) Keep("jump", std::isfinite(change) ? change : 0.0f, grids, &jumps_);
  if (rescale_change) Keep("rescale", -static_cast<float>(k), grids, &rescale_changes_);
  last_ = grids;
  data_.frames.push_back(std::move(f));
}

RunSummaryData RunSummary::Data() const {
  RunSummaryData out = data_;
  out.run.frames = static_cast<int>(data_.frames.size());
  out.run.guarded_frames = 0;
  for (const FrameRecord& f : data_.frames) out.run.guarded_frames += f.guarded;
  if (data_.frames.empty()) return out;
  std::vector<FrameGrids> all;
  auto add = [&](const FrameGrids& g, const std::string& reason) {
    for (FrameGrids& have : all) {
      if (have.index == g.index) {
        have.reasons.push_back(reason);
        return;
      }
    }
    all.push_back(g);
    all.back().reasons = {reason};
  };
  add(first_, "first");
  for (const auto* list : {&nonfinite_, &jumps_, &rescale_changes_})
    for (const Kept& kept : *list) add(kept.grids, kept.grids.reasons[0]);
  add(last_, "last");
  std::sort(all.begin(), all.end(), [](const FrameGrids& a, const FrameGrids& b) { return a.index < b.index; });
  out.grids = std::move(all);
  return out;
}

void RunSummary::Write(const std::string& dir) {
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  data_.run.seconds_total = seconds;
  data_.run.seconds_per_frame = data_.frames.empty() ? 0.0 : seconds / static_cast<double>(data_.frames.size());
  const RunSummaryData data = Data();
  WriteFileAtomically(SummaryJsonPath(dir), SummaryJson(data));
  WriteFileAtomically(SummaryCsvPath(dir), SummaryCsv(data));
}

}  // namespace mirvo_cli
