#include "pipeline/engine_session.h"

#include <cmath>
#include <cstdio>

#include "base/cli_error.h"
#include "files/output_files.h"
#include "pipeline/progress.h"
#include "render/pictures.h"
#include "render/png_writer.h"

namespace mirvo_cli {

int CountZeroCountCells(const mirvo::Stats& stats) {
  int n = 0;
  if (!stats.cells) return 0;
  for (int i = 0; i < stats.cols * stats.rows; ++i) {
    const mirvo::StatsCell& cell = stats.cells[i];
    if (cell.cnt[0] == 0 || cell.cnt[1] == 0 || cell.cnt[2] == 0 || cell.cnt[3] == 0) ++n;
  }
  return n;
}

int CountNonFiniteGains(const mirvo::LscTable& table) {
  const float* g = &table.r_gain[0][0];
  int n = 0;
  for (size_t i = 0; i < sizeof(table) / sizeof(float); ++i) n += !std::isfinite(g[i]);
  return n;
}

std::string TableRangeReason(const mirvo::LscTable& table, float lo, float hi) {
  static const char* const kPlanes[4] = {"R", "Gr", "Gb", "B"};
  const float* g = &table.r_gain[0][0];
  constexpr int kPlane = 13 * 17;
  int nonfinite = 0, outside = 0, first = -1;
  for (int i = 0; i < 4 * kPlane; ++i) {
    const bool bad_value = !std::isfinite(g[i]);
    const bool out_of_range = !bad_value && (g[i] < lo || g[i] > hi);
    nonfinite += bad_value;
    outside += out_of_range;
    if ((bad_value || out_of_range) && first < 0) first = i;
  }
  if (first < 0) return "";
  char where[96];
  const int node = first % kPlane;
  std::snprintf(where, sizeof(where), "; first %s[%d][%d] = %g", kPlanes[first / kPlane], node / 17, node % 17,
                static_cast<double>(g[first]));
  char range[64];
  std::snprintf(range, sizeof(range), " outside [%g, %g]", static_cast<double>(lo), static_cast<double>(hi));
  std::string reason;
  auto gains = [](int n) { return std::to_string(n) + (n == 1 ? " gain" : " gains"); };
  if (nonfinite > 0) reason = gains(nonfinite) + " not finite";
  if (outside > 0) reason += (reason.empty() ? "" : ", ") + gains(outside) + range;
  return reason + where;
}

std::string EngineSession::LastGuardReason() const {
  if (!last_frame_guarded()) return "";
  return TableRangeReason(guarded_.last_engine_table(), guarded_.min_gain(), guarded_.max_gain());
}

std::vector<std::string> SessionOutputPaths(const SessionOptions& options, size_t frames) {
  std::vector<std::string> paths;
  for (size_t k = 0; k < frames; ++k) {
    const int frame = static_cast<int>(k);
    paths.push_back(FramePath(options.out_dir, "table", frame, ".h"));
    if (options.debug) paths.push_back(FramePath(options.out_dir, "diag", frame, ".txt"));
    if (options.png) {
      paths.push_back(FramePath(options.out_dir, "tint", frame, ".png"));
      paths.push_back(FramePath(options.out_dir, "table", frame, ".png"));
    }
    if (options.demo_files) {
      paths.push_back(FramePath(options.out_dir, "stats", frame, ".txt"));
      if (options.save_raw) paths.push_back(FramePath(options.out_dir, "frame", frame, ".raw"));
    }
  }
  if (options.demo_files) paths.push_back(options.out_dir + "/base.h");
  if (options.summary) {
    paths.push_back(SummaryJsonPath(options.out_dir));
    paths.push_back(SummaryCsvPath(options.out_dir));
  }
  return paths;
}

EngineSession::EngineSession(const mirvo::MirvoParams& params, const SessionOptions& options, OutputQueue* outputs)
    : options_(options), outputs_(outputs) {
  mirvo::Core& engine = core();
  engine.LoadMirvoParams(params);
  // LoadMirvoParams resets the debug record and the crop, so both follow it.
  if (options_.debug) engine.GetMutableDebugParams()->debug_enable = true;
  if (options_.has_crop) engine.SetSensorCrop(options_.crop);
  if (!options_.override_path.empty()) {
    // Override mode 2 with our own path; applied now, so it also holds
    // without --debug (Execute consults the map only while debugging).
    engine.SetOverrideMapPath(options_.override_path);
    engine.GetMutableDebugParams()->override_mode = 2;
    if (!engine.LoadOverrideMap()) throw DataError(options_.override_path + ": cannot apply override map");
  }
}

bool EngineSession::SetStats(const mirvo::Stats& stats) {
  return options_.guard ? guarded_.SetStats(stats) : core().SetStats(stats);
}

bool EngineSession::GetOutputLscTable(mirvo::LscTable* out) {
  return options_.guard ? guarded_.GetOutputLscTable(out) : core().GetOutputLscTable(out);
}

void EngineSession::RunFrame(int k, const mirvo::Stats& stats, const mirvo::LscTable& base, const std::string& source) {
  mirvo::Core& engine = core();
  const int zero = CountZeroCountCells(stats);
  if (zero > 0) {
    ClearProgressLine();
    std::fprintf(stderr, "mirvo: warning: frame %d (%s): %d statistics cells have zero counts; %s\n", k, source.c_str(),
                 zero,
                 options_.guard ? "the guard hands them to the engine as dark cells"
                                : "their NaN log values reach the projections and stay in the temporal state");
  }
  if (!SetStats(stats))
    throw DataError(source + ": statistics of " + std::to_string(stats.cols) + "x" + std::to_string(stats.rows) +
                    " cells rejected by the engine (it takes 32x24)");
  engine.SetInputLscTable(base);
  engine.Execute();
  if (!GetOutputLscTable(&output_)) throw DataError(source + ": the engine produced no output table");

  const std::string table_path = FramePath(options_.out_dir, "table", k, ".h");
  const int bad = CountNonFiniteGains(output_);
  if (bad > 0) {
    ClearProgressLine();
    std::fprintf(stderr,
                 "mirvo: warning: frame %d (%s): output table %s holds %d gains that are not finite; the camera "
                 "would program them into hardware\n",
                 k, source.c_str(), table_path.c_str(), bad);
  }
  if (options_.guard && guarded_.last_frame_guarded()) {
    ClearProgressLine();
    std::fprintf(stderr, "mirvo: warning: frame %d (%s): output table rejected by the guard; %s holds the fallback\n",
                 k, source.c_str(), table_path.c_str());
  }
  if (options_.debug) WriteDiagnosticDump(FramePath(options_.out_dir, "diag", k, ".txt"), engine);

  // The rest works on copies, so it can run while the engine takes the next frame.
  // Nothing of the session is captured: the queue may outlive it.
  auto write = [k, table_path, png = options_.png, dir = options_.out_dir, table = output_, tint_u = engine.log_tint_u,
                tint_v = engine.log_tint_v] {
    WriteTableFile(table_path, table);
    if (png) {
      const std::string frame = "frame " + std::to_string(k);
      WritePng(TintPicture(tint_u, tint_v, frame), FramePath(dir, "tint", k, ".png"));
      WritePng(TablePicture(table, frame + " output"), FramePath(dir, "table", k, ".png"));
    }
  };
  if (outputs_)
    outputs_->Submit(std::move(write));
  else
    write();
}

}  // namespace mirvo_cli
