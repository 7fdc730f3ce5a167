// Per-frame cost of the engine, whole and stage by stage, each reported with
// its ratio to a floor measured in the same run ("x_floor" counter): the
// logf/expf calls the case makes, called alone, for the whole frame and the
// stages that take logs or exponentials (LogStats::Init also pays the trivial
// pass over the cells), and the trivial pass over the 768 statistics cells
// for the others.
#include <benchmark/benchmark.h>

#include "baselines.h"
#include "bench_fixtures.h"
#include "core/core.h"
#include "core/cpu_features.h"
#include "core/vector_math.h"
#include "io/default_tuning.h"

namespace mirvo_bench {
namespace {

constexpr int kFrames = 16;

// Which logf/expf path the library takes on this machine.
const char* PathLabel() {
  switch (mirvo::internal::VectorMathPath()) {
    case 2:
      return "vector logf/expf, 8 lanes";
    case 1:
      return "vector logf/expf, 4 lanes";
    default:
      return "portable";
  }
}

struct EngineFixture {
  mirvo::MirvoParams params = mirvo::DefaultMirvoParams();
  mirvo::Core core;
  mirvo::Stats stats[kFrames];
  mirvo::LscTable tables[kFrames];
  mirvo::LscTable out;
  explicit EngineFixture(bool debug) {
    core.LoadMirvoParams(params);
    core.GetMutableDebugParams()->debug_enable = debug;
    for (int i = 0; i < kFrames; ++i) {
      MakeFrameStats(i, &stats[i]);
      MakeBaseTable(i, &tables[i]);
    }
    RunFrame(0);
  }
  void RunFrame(int i) {
    core.SetStats(stats[i % kFrames]);
    core.SetInputLscTable(tables[i % kFrames]);
    core.Execute();
    core.GetOutputLscTable(&out);
  }
};

void BM_Frame(benchmark::State& state) {
  const bool debug = state.range(0) != 0;
  EngineFixture f(debug);
  int i = 0;
  Measure(state, MathFloorSeconds(), [&] { f.RunFrame(i++); });
  state.SetLabel(PathLabel());
}
BENCHMARK(BM_Frame)->Arg(0)->ArgName("debug");

// The same frames on the portable paths (the C library's scalar logf/expf
// and four-lane loops): the device's path where no vector logf/expf is
// built. The label names the path each row took.
void BM_FramePortable(benchmark::State& state) {
  mirvo::internal::ForcePortablePaths(true);
  EngineFixture f(false);
  int i = 0;
  Measure(state, MathFloorSeconds(), [&] { f.RunFrame(i++); });
  mirvo::internal::ForcePortablePaths(false);
  state.SetLabel("portable");
}
BENCHMARK(BM_FramePortable);
BENCHMARK(BM_Frame)->Arg(1)->ArgName("debug")->Unit(benchmark::kMicrosecond);

void BM_Stage_LogStatsInit(benchmark::State& state) {
  EngineFixture f(false);
  const auto& t = f.params.tuning;
  int i = 0;
  Measure(state, CellPassSeconds() + MathFloorSeconds(1536, 0), [&] {
    benchmark::DoNotOptimize(
        f.core.log_stats_.Init(f.stats[i++ % kFrames], t.min_level_thd, t.max_level_thd, t.sat_ratio_thd));
  });
}
BENCHMARK(BM_Stage_LogStatsInit);

void BM_Stage_LscGainInit(benchmark::State& state) {
  EngineFixture f(false);
  int i = 0;
  Measure(state, MathFloorSeconds(1536, 0), [&] { f.core.lsc_gain_.Init(f.tables[i++ % kFrames]); });
}
BENCHMARK(BM_Stage_LscGainInit);

// The estimation alone (GenerateDlscTable, as Execute runs it with
// diagnostics off), on fresh statistics each time since it adds the base
// table's gains into them: the intake is timed with it and its logs are in
// the floor.
void BM_Stage_GenerateDlscTable(benchmark::State& state) {
  EngineFixture f(false);
  const auto& t = f.params.tuning;
  int i = 0;
  Measure(state, CellPassSeconds() + MathFloorSeconds(1536, 442), [&] {
    f.core.log_stats_.Init(f.stats[i++ % kFrames], t.min_level_thd, t.max_level_thd, t.sat_ratio_thd);
    f.core.GenerateDlscTable();
  });
}
BENCHMARK(BM_Stage_GenerateDlscTable);

// Stages after the intake run on the state of a real frame; each is
// idempotent enough on repeat to time in isolation.
void TimeStage(benchmark::State& state, void (mirvo::MirvoHybrid::*stage)()) {
  EngineFixture f(false);
  Measure(state, CellPassSeconds(), [&] { (f.core.*stage)(); });
}

void BM_Stage_EstimateGradient(benchmark::State& state) { TimeStage(state, &mirvo::MirvoHybrid::EstimateGradient); }
BENCHMARK(BM_Stage_EstimateGradient);

void BM_Stage_FitLearnedTintProfile(benchmark::State& state) {
  TimeStage(state, &mirvo::MirvoHybrid::FitLearnedTintProfile);
}
BENCHMARK(BM_Stage_FitLearnedTintProfile);

void BM_Stage_LatticeConversion(benchmark::State& state) {
  EngineFixture f(false);
  auto& e = f.core;
  Measure(state, CellPassSeconds(), [&] {
    mirvo::internal::Matrix24x32ToMatrix13x17(e.GradH_UX, e.GradH_UY, e.GradL_UX, e.GradL_UY);
    mirvo::internal::Matrix24x32ToMatrix13x17(e.GradH_VX, e.GradH_VY, e.GradL_VX, e.GradL_VY);
  });
}
BENCHMARK(BM_Stage_LatticeConversion);

void BM_Stage_IntegratorSum(benchmark::State& state) { TimeStage(state, &mirvo::MirvoHybrid::IntegratorSum); }
BENCHMARK(BM_Stage_IntegratorSum);

void BM_Stage_LogToLinear(benchmark::State& state) {
  EngineFixture f(false);
  Measure(state, MathFloorSeconds(0, 442), [&] {
    // Keep the input in range: linear values fed back would drift.
    for (float& v : f.core.log_tint_u.data) v = 0.01f;
    for (float& v : f.core.log_tint_v.data) v = -0.01f;
    f.core.LogToLinear();
  });
}
BENCHMARK(BM_Stage_LogToLinear);

void BM_Stage_MergeTintBaseTables(benchmark::State& state) {
  TimeStage(state, &mirvo::MirvoHybrid::MergeTintBaseTables);
}
BENCHMARK(BM_Stage_MergeTintBaseTables);

}  // namespace
}  // namespace mirvo_bench
