// Unit tests of the run summary, its files, the report's parts and the
// statistics reliability line.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "analysis/stats_reliability.h"
#include "base/cli_error.h"
#include "core/core.h"
#include "engine_scene.h"
#include "io/default_tuning.h"
#include "pipeline/run_summary.h"
#include "report/base64.h"
#include "report/corpus_index.h"
#include "report/report_page.h"
#include "report/summary_format.h"
#include "report/svg_plot.h"
#include "test_support.h"

namespace {

using namespace mirvo_cli;

// Frames through one engine. Unguarded, four: a dark cell (its two edges
// unreliable) under a base table of gain 2, then base tables the merge
// rescales (smallest gain 0.5), and an empty cell in frame 2 whose NaN stays
// in the temporal state. Guarded, three under the rescaled base table: frame
// 1 stands for a frame the guard replaced, its table a copy of the first
// output (whose greens differ from the base's as a rescaled table's would).
RunSummaryData Summarise(bool guard) {
  const mirvo::MirvoParams& params = mirvo::DefaultMirvoParams();
  mirvo::Core core;
  core.LoadMirvoParams(params);
  SessionOptions options;
  options.guard = guard;
  RunSummary summary(MakeRunRecord("run", "stats", {"a", "b", "c", "d"}, "base.h", "", options, params.tuning));
  mirvo::LscTable first{};
  for (int k = 0; k < (guard ? 3 : 4); ++k) {
    mirvo::Stats stats;
    mirvo_test::MakeGreyStats(stats, 1000, 100);
    if (!guard && k == 0) mirvo_test::SetCell(stats.cells[0], 0, 0, 0, 100);
    if (!guard && k == 2) mirvo_test::SetCell(stats.cells[5], 0, 0, 0, 0);
    const mirvo::LscTable base = mirvo_test::UniformTable(!guard && k == 0 ? 2.0f : 0.5f);
    EXPECT_TRUE(core.SetStats(stats));
    core.SetInputLscTable(base);
    core.Execute();
    mirvo::LscTable out;
    core.GetOutputLscTable(&out);
    if (k == 0) first = out;
    const bool replaced = guard && k == 1;
    summary.AddFrame(k, std::string(1, static_cast<char>('a' + k)), core, base, replaced ? first : out,
                     replaced ? "1 gain outside [0.015625, 64]" : "");
  }
  return summary.Data();
}
RunSummaryData FourFrameRun() { return Summarise(false); }

TEST(RunSummary, RecordsEachFrameFromTheEngineStateAndKeepsNotableOnesWhole) {
  const RunSummaryData s = FourFrameRun();
  ASSERT_EQ(s.frames.size(), 4u);
  EXPECT_EQ(s.run.tuning, "built-in");
  const FrameRecord& f0 = s.frames[0];
  EXPECT_EQ(f0.unreliable_dx * 10 + f0.unreliable_dy, 11);
  EXPECT_FALSE(f0.rescaled);
  EXPECT_EQ(f0.rescale, 1.0f);
  EXPECT_EQ(f0.gain_min[1], 2.0f);
  EXPECT_EQ(f0.gain_max[1], 2.0f);
  EXPECT_FALSE(f0.jump);  // no change: the filter's gain stays at its floor
  EXPECT_EQ(f0.temporal_gain, mirvo::DefaultMirvoParams().tuning.tint_update_gain * (-0.8f + 1.0f));
  EXPECT_TRUE(s.frames[1].rescaled);
  EXPECT_EQ(s.frames[1].rescale, 0.5f);
  EXPECT_EQ(s.frames[1].gain_min[2], 1.0f);
  EXPECT_EQ(s.frames[1].nonfinite_gains, 0);
  for (int k : {2, 3}) {
    EXPECT_TRUE(s.frames[k].nonfinite_projection) << k;
    EXPECT_EQ(s.frames[k].nonfinite_gains, 2 * 221) << k;  // R and B
  }
  const std::vector<std::vector<std::string>> reasons = {
      {"first"}, {"rescale"}, {"non-finite"}, {"non-finite", "last"}};
  ASSERT_EQ(s.grids.size(), 4u);
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(s.grids[k].index, k);
    EXPECT_EQ(s.grids[k].reasons, reasons[k]) << k;
  }
  EXPECT_EQ(s.grids[1].table[3][0], 1.0f);
  EXPECT_EQ(s.grids[0].linear_tint_u[100], 1.0f);
  const std::vector<std::string> w = RunWarnings(s);
  ASSERT_EQ(w.size(), 2u);
  EXPECT_EQ(w[0].rfind("2 frames with gains in the output table that are not finite", 0), 0u) << w[0];
  EXPECT_NE(w[1].find("(first: frame 2)"), std::string::npos) << w[1];
}

// The guarded frame's record, warning and CSV line are the report script's;
// here that the frames beside it, rescaled both, are no switch to keep whole.
TEST(RunSummary, TheGuardedFrameIsNoRescaleSwitch) {
  const RunSummaryData s = Summarise(true);
  EXPECT_TRUE(s.frames[1].guarded);
  EXPECT_FALSE(s.frames[1].rescaled);
  EXPECT_TRUE(s.frames[2].rescaled);
  for (const FrameGrids& grids : s.grids)
    EXPECT_EQ(std::count(grids.reasons.begin(), grids.reasons.end(), "rescale"), 0) << grids.index;
}

// Written and read again, a summary writes the same text: every value, NaN
// and the guard's fields kept. Older summaries without the guard's fields read as unguarded,
// numbers beyond the float range as infinities. The guard's fields and the
// CSV's columns are the report script's.
TEST(SummaryFormat, JsonAndCsv) {
  for (const bool guard : {true, false}) {
    const std::string json = SummaryJson(Summarise(guard));
    EXPECT_EQ(SummaryJson(ParseSummaryJson(json, "summary.json")), json);
  }
  std::string text = SummaryJson(FourFrameRun());
  for (const std::string field : {",\"guarded\":false,\"guard_reason\":null", "\"guard\":false,\"guarded_frames\":0,"})
    for (size_t at; (at = text.find(field)) != std::string::npos;) text.erase(at, field.size());
  text.replace(text.find("\"prj_delta_thd\":0.15"), 20, "\"prj_delta_thd\":-1e300");
  const RunSummaryData old = ParseSummaryJson(text, "old.json");
  EXPECT_FALSE(old.run.guard);
  EXPECT_FALSE(old.frames.at(3).guarded);
  EXPECT_EQ(old.run.prj_delta_thd, -INFINITY);
  RunSummaryData s = FourFrameRun();
  s.frames[0].input = "a,\"b\"";
  EXPECT_NE(SummaryCsv(s).find("\n0,\"a,\"\"b\"\"\",0,0,"), std::string::npos) << SummaryCsv(s);
}

std::string Repeated(const std::string& s, int n) {
  std::string out;
  for (int i = 0; i < n; ++i) out += s;
  return out;
}

TEST(SummaryFormat, RefusesBadSummariesNamingTheProblem) {
  const std::string good = SummaryJson(FourFrameRun());
  auto replaced = [&](const std::string& from, const std::string& to) { return mirvo_test::Replaced(good, from, to); };
  const struct {
    bool corpus;
    std::string text;
    const char* message;
  } rows[] = {
      {false, "{\"format\": ", "not valid JSON at byte 12 near '{\"format\": '"},
      {false, "[1, 2]", "not a run summary"},
      // Built to exhaust the reader: its nesting and memory limits.
      {false, std::string(100000, '[') + std::string(100000, ']'), "JSON nested deeper than 64 levels"},
      {false, "[" + Repeated("[],", 100000) + "[]]",
       "JSON would take 6 MB in memory, more than 16 times the file's size"},
      {false, replaced("\"format_version\": 1", "\"format_version\": 2"), "summary format version 2"},
      {false, replaced("\"frames\":4", "\"frames\":5"), "does not hold the 5 frame records"},
      {false, replaced("\"input\":\"a\"", "\"input\":7"), "frames[0].input is not a string"},
      {false, replaced("\"unreliable_dx\":1", "\"unreliable_dx\":745"), "frames[0].unreliable_dx is not an integer"},
      {false, replaced("\"frame\":3", "\"frame\":4"), "grids[3].frame is not an integer from 0 to 3"},
      {false, replaced("\"prj_delta_thd\"", "\"prj_delta\""), "run lacks \"prj_delta_thd\""},
      {true, "[]", "not a corpus summary"},
      {true, R"({"sequences": [{"sequence": "a"}]})", "a row without 'sequence' and 'status'"},
      {true, R"({"sequences": [{"sequence": "../a", "status": "ok"}]})", "'../a' is not a sequence folder name"},
      {true, R"({"sequences": [{"sequence": "a", "status": "ok", "frames": 1e12}]})", "a frame count out of range"},
      {true, R"({"sequences": [{"sequence": "a", "status": "ok", "prj_u": "x"}]})", "'prj_u' is not a number"},
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(r.message);
    try {
      r.corpus ? (void)ParseCorpusSummary(r.text, "d/s.json") : (void)ParseSummaryJson(r.text, "d/s.json");
      ADD_FAILURE() << "accepted";
    } catch (const DataError& e) {
      EXPECT_EQ(std::string(e.what()).rfind("d/s.json: ", 0), 0u) << e.what();
      EXPECT_NE(std::string(e.what()).find(r.message), std::string::npos) << e.what();
    }
  }
}

// The page stands alone (no script, nothing fetched), escapes what it quotes,
// and carries its pictures and its plots' parts.
TEST(Report, PageAndItsParts) {
  const std::string html = ReportHtml(FourFrameRun(), "run<1>");
  EXPECT_NE(html.find("run&lt;1&gt;"), std::string::npos);
  for (const char* remote : {"<script", "src=\"http", "href=\"http", "url("})
    EXPECT_EQ(html.find(remote), std::string::npos) << remote;
  size_t images = 0;
  for (size_t at = 0; (at = html.find("src=\"data:image/png;base64,", at)) != std::string::npos; ++at) ++images;
  EXPECT_EQ(images, 4u);

  // Long runs are decimated, not truncated: one spike among 100,000 frames
  // sets the range, its top tick 5.
  LinePlot plot{"t", "y", 100000, {{"s", "#000", std::vector<double>(100000, 1.0)}}, {}};
  plot.series[0].y[54321] = 5.0;
  const std::string svg = LinePlotSvg(plot);
  EXPECT_LT(svg.size(), 40000u);
  EXPECT_NE(svg.find(">5</text>"), std::string::npos);

  const std::pair<std::string, const char*> base64[] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foobar", "Zm9vYmFy"}, {"\xff\xfe", "//4="}};
  for (const auto& [in, out] : base64) EXPECT_EQ(Base64(in), out);

  const struct {
    double lo, hi;
    int count;
    std::vector<double> want;
  } ticks[] = {{0, 1, 5, {0, 0.2, 0.4, 0.6, 0.8, 1}},
               {0, 9999, 8, {0, 2000, 4000, 6000, 8000}},
               {-0.03, 0.03, 4, {-0.02, 0, 0.02}},
               {0.95, 1.05, 4, {0.95, 1.0, 1.05}}};
  for (const auto& t : ticks) {
    const std::vector<double> got = NiceTicks(t.lo, t.hi, t.count);
    ASSERT_EQ(got.size(), t.want.size()) << t.lo << " " << t.hi;
    for (size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], t.want[i], 1e-12) << t.lo << " " << t.hi;
  }
}

TEST(StatsReliability, CountsCellsByReason) {
  mirvo::TuningParams tuning = mirvo::DefaultMirvoParams().tuning;
  mirvo::Stats stats;
  mirvo_test::MakeGreyStats(stats, 1000, 100);                  // 14 bits: lo 16.383, hi 16219.17
  mirvo_test::SetCell(stats.cells[0], 16, 1000, 1000, 100);     // red too dark
  mirvo_test::SetCell(stats.cells[1], 1000, 16300, 1000, 100);  // green too bright
  mirvo_test::SetCell(stats.cells[2], 16, 16300, 1000, 100);    // both
  mirvo_test::SetCell(stats.cells[3], 17, 16219, 1000, 100);    // just inside both bounds
  mirvo_test::SetCell(stats.cells[4], 0, 0, 0, 0);              // empty: NaN means pass
  const CellReliability r = AssessCells(stats, tuning);
  EXPECT_EQ(ReliabilityLine(stats, r),
            "32x24 cells, 14 bits; unreliable 0.4% (3 cells): low level 0.3%, high level 0.3%, saturated 0.0%; 1 "
            "cells with zero counts");
  // The saturation limit is trunc(16383 x ratio x count): 1 for this ratio and count.
  tuning.sat_ratio_thd = 0.00001f;
  for (int k : {1, 2}) {
    mirvo_test::SetCell(stats.cells[9 + k], 1000, 1000, 1000, 10);
    stats.cells[9 + k].sat_cnt[mirvo::B] = static_cast<uint16_t>(k);
  }
  EXPECT_EQ(AssessCells(stats, tuning).saturated, 1);
}

}  // namespace
