// Unit tests of the run summary, the report's parts, the colour maps and the
// statistics reliability line.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "analysis/stats_reliability.h"
#include "base/cli_error.h"
#include "core/core.h"
#include "engine_scene.h"
#include "io/default_tuning.h"
#include "pipeline/run_summary.h"
#include "render/colormap.h"
#include "render/heatmap.h"
#include "report/base64.h"
#include "report/corpus_index.h"
#include "report/report_page.h"
#include "report/summary_format.h"
#include "report/svg_plot.h"

namespace {

using namespace mirvo_cli;

std::string Repeated(const std::string& s, int n) {
  std::string out;
  for (int i = 0; i < n; ++i) out += s;
  return out;
}

// --- collecting a run ---

// Four frames through one engine: a plain frame, a base table the merge
// rescales, then a frame with an empty cell whose NaN stays in the temporal
// state for the last frame too.
RunSummaryData FourFrameRun() {
  const mirvo::MirvoParams& params = mirvo::DefaultMirvoParams();
  mirvo::Core core;
  core.LoadMirvoParams(params);
  SessionOptions options;
  RunSummary summary(MakeRunRecord("run", "stats", {"a", "b", "c", "d"}, "base.h", "", options, params.tuning));
  for (int k = 0; k < 4; ++k) {
    mirvo::Stats stats;
    mirvo_test::MakeGreyStats(stats, 1000, 100);
    if (k == 0) mirvo_test::SetCell(stats.cells[0], 0, 0, 0, 100);  // dark: its two edges are unreliable
    if (k == 2) mirvo_test::SetCell(stats.cells[5], 0, 0, 0, 0);    // empty: NaN log chroma
    const mirvo::LscTable base = mirvo_test::UniformTable(k == 0 ? 2.0f : 0.5f);
    EXPECT_TRUE(core.SetStats(stats));
    core.SetInputLscTable(base);
    core.Execute();
    mirvo::LscTable out;
    core.GetOutputLscTable(&out);
    summary.AddFrame(k, std::string(1, static_cast<char>('a' + k)), core, base, out);
  }
  return summary.Data();
}

TEST(RunSummary, RecordsEachFrameFromTheEngineState) {
  const RunSummaryData s = FourFrameRun();
  ASSERT_EQ(s.frames.size(), 4u);
  EXPECT_EQ(s.run.frames, 4);
  EXPECT_EQ(s.run.tuning, "built-in");
  const FrameRecord& f0 = s.frames[0];
  EXPECT_EQ(f0.input, "a");
  EXPECT_EQ(f0.unreliable_dx, 1);
  EXPECT_EQ(f0.unreliable_dy, 1);
  EXPECT_FALSE(f0.rescaled);
  EXPECT_EQ(f0.rescale, 1.0f);
  EXPECT_EQ(f0.gain_min[1], 2.0f);
  EXPECT_EQ(f0.gain_max[1], 2.0f);
  EXPECT_FALSE(f0.jump);  // no change: the filter's gain stays at its floor
  EXPECT_EQ(f0.temporal_gain, mirvo::DefaultMirvoParams().tuning.tint_update_gain * (-0.8f + 1.0f));
  // Smallest gain 0.5: all planes divided by it.
  EXPECT_TRUE(s.frames[1].rescaled);
  EXPECT_EQ(s.frames[1].rescale, 0.5f);
  EXPECT_EQ(s.frames[1].gain_min[2], 1.0f);
  EXPECT_EQ(s.frames[1].nonfinite_gains, 0);
  for (int k : {2, 3}) {
    EXPECT_TRUE(s.frames[k].nonfinite_projection) << k;
    EXPECT_EQ(s.frames[k].nonfinite_gains, 2 * 221) << k;  // R and B
  }
}

TEST(RunSummary, KeepsTheFirstTheLastAndNotableFramesWhole) {
  const RunSummaryData s = FourFrameRun();
  ASSERT_EQ(s.grids.size(), 4u);
  const std::vector<std::vector<std::string>> reasons = {
      {"first"}, {"rescale"}, {"non-finite"}, {"non-finite", "last"}};
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(s.grids[k].index, k);
    EXPECT_EQ(s.grids[k].reasons, reasons[k]) << k;
  }
  EXPECT_EQ(s.grids[1].table[3][0], 1.0f);
  EXPECT_EQ(s.grids[0].linear_tint_u[100], 1.0f);
}

// Three frames whose base table the merge rescales; the middle one stands
// for a frame the guard replaced (its table is a copy of the first output,
// whose greens differ from the base's like a rescaled table's would).
RunSummaryData GuardedRun() {
  const mirvo::MirvoParams& params = mirvo::DefaultMirvoParams();
  mirvo::Core core;
  core.LoadMirvoParams(params);
  SessionOptions options;
  options.guard = true;
  RunSummary summary(MakeRunRecord("run", "stats", {"a", "b", "c"}, "base.h", "", options, params.tuning));
  const mirvo::LscTable base = mirvo_test::UniformTable(0.5f);
  mirvo::LscTable first{};
  for (int k = 0; k < 3; ++k) {
    mirvo::Stats stats;
    mirvo_test::MakeGreyStats(stats, 1000, 100);
    EXPECT_TRUE(core.SetStats(stats));
    core.SetInputLscTable(base);
    core.Execute();
    mirvo::LscTable out;
    core.GetOutputLscTable(&out);
    if (k == 0) first = out;
    summary.AddFrame(k, std::string(1, static_cast<char>('a' + k)), core, base, k == 1 ? first : out,
                     k == 1 ? "1 gain outside [0.015625, 64]; first R[0][0] = 70" : "");
  }
  return summary.Data();
}

TEST(RunSummary, FlagsExactlyTheGuardedFramesAndLeavesTheirRescaleOpen) {
  const RunSummaryData s = GuardedRun();
  EXPECT_TRUE(s.run.guard);
  EXPECT_EQ(s.run.guarded_frames, 1);
  for (int k : {0, 2}) {
    EXPECT_FALSE(s.frames[k].guarded) << k;
    EXPECT_EQ(s.frames[k].guard_reason, "") << k;
    EXPECT_TRUE(s.frames[k].rescaled) << k;
    EXPECT_EQ(s.frames[k].rescale, 0.5f) << k;
  }
  const FrameRecord& g = s.frames[1];
  EXPECT_TRUE(g.guarded);
  EXPECT_EQ(g.guard_reason, "1 gain outside [0.015625, 64]; first R[0][0] = 70");
  EXPECT_FALSE(g.rescaled);
  EXPECT_TRUE(std::isnan(g.rescale));
  EXPECT_FALSE(g.jump);
  // Rescaled before and after the guarded frame: no switch to keep.
  for (const FrameGrids& grids : s.grids)
    EXPECT_EQ(std::count(grids.reasons.begin(), grids.reasons.end(), "rescale"), 0) << grids.index;

  const RunSummaryData back = ParseSummaryJson(SummaryJson(s), "summary.json");
  EXPECT_TRUE(back.run.guard);
  EXPECT_EQ(back.run.guarded_frames, 1);
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(back.frames[k].guarded, s.frames[k].guarded) << k;
    EXPECT_EQ(back.frames[k].guard_reason, s.frames[k].guard_reason) << k;
  }
  const std::string csv = SummaryCsv(s);
  EXPECT_NE(csv.find(",jump,guarded,guard_reason\n"), std::string::npos);
  EXPECT_NE(csv.find(",0,nan,"), std::string::npos);
  EXPECT_NE(csv.find(",0,1,\"1 gain outside [0.015625, 64]; first R[0][0] = 70\"\n2,"), std::string::npos) << csv;

  const std::vector<std::string> w = RunWarnings(s);
  ASSERT_EQ(w.size(), 1u);
  EXPECT_EQ(w[0],
            "Frame 1 (b) guarded: the table the engine made had 1 gain outside [0.015625, 64]; first R[0][0] = 70; "
            "the guard wrote its fallback and reset the engine.");
}

// Summaries written before the guard existed still read, unguarded.
TEST(SummaryFormat, ReadsSummariesWithoutTheGuardFields) {
  std::string text = SummaryJson(FourFrameRun());
  for (const std::string field : {",\"guarded\":false,\"guard_reason\":null", "\"guard\":false,\"guarded_frames\":0,"})
    for (size_t at; (at = text.find(field)) != std::string::npos;) text.erase(at, field.size());
  const RunSummaryData s = ParseSummaryJson(text, "old.json");
  EXPECT_FALSE(s.run.guard);
  ASSERT_EQ(s.frames.size(), 4u);
  EXPECT_FALSE(s.frames[3].guarded);
}

// --- the summary file ---

// Equal, counting NaN as equal to NaN.
bool Same(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }
template <size_t N>
bool Same(const std::array<float, N>& a, const std::array<float, N>& b) {
  for (size_t i = 0; i < N; ++i)
    if (!Same(a[i], b[i])) return false;
  return true;
}

TEST(SummaryFormat, JsonRoundTripKeepsEveryValueAndNaN) {
  const RunSummaryData s = FourFrameRun();
  const RunSummaryData back = ParseSummaryJson(SummaryJson(s), "summary.json");
  ASSERT_EQ(back.frames.size(), s.frames.size());
  for (size_t k = 0; k < s.frames.size(); ++k) {
    const FrameRecord& a = s.frames[k];
    const FrameRecord& b = back.frames[k];
    EXPECT_EQ(b.input, a.input);
    EXPECT_TRUE(Same(a.prj_u, b.prj_u)) << k;
    EXPECT_TRUE(Same(a.temporal_gain, b.temporal_gain)) << k;
    EXPECT_TRUE(Same(a.gain_min, b.gain_min)) << k;
    EXPECT_TRUE(Same(a.gain_max, b.gain_max)) << k;
    EXPECT_EQ(b.rescale, a.rescale);
    EXPECT_EQ(b.unreliable_dx, a.unreliable_dx);
    EXPECT_EQ(b.nonfinite_gains, a.nonfinite_gains);
  }
  ASSERT_EQ(back.grids.size(), s.grids.size());
  for (size_t i = 0; i < s.grids.size(); ++i) {
    EXPECT_TRUE(Same(back.grids[i].linear_tint_v, s.grids[i].linear_tint_v)) << i;
    for (int p = 0; p < 4; ++p) EXPECT_TRUE(Same(back.grids[i].table[p], s.grids[i].table[p])) << i;
  }
  EXPECT_EQ(back.grids[3].reasons, s.grids[3].reasons);
  EXPECT_EQ(back.run.inputs, s.run.inputs);
  EXPECT_EQ(back.run.crop, s.run.crop);
  // Numbers beyond the float range read as infinities.
  std::string text = SummaryJson(s);
  text.replace(text.find("\"prj_delta_thd\":0.15"), 20, "\"prj_delta_thd\":-1e300");
  EXPECT_EQ(ParseSummaryJson(text, "s").run.prj_delta_thd, -INFINITY);
}

TEST(SummaryFormat, CsvHasAHeaderAndOneLinePerFrame) {
  RunSummaryData s = FourFrameRun();
  s.frames[0].input = "a,\"b\"";
  const std::string csv = SummaryCsv(s);
  EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 5);
  EXPECT_NE(csv.find("\n0,\"a,\"\"b\"\"\",0,0,"), std::string::npos);
  EXPECT_NE(csv.find(",nan,"), std::string::npos);
}

TEST(SummaryFormat, RefusesBadSummariesNamingTheProblem) {
  const std::string good = SummaryJson(FourFrameRun());
  auto replaced = [&](const std::string& from, const std::string& to) {
    std::string t = good;
    const size_t at = t.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return t.replace(at, from.size(), to);
  };
  const struct {
    std::string text;
    const char* message;
  } cases[] = {
      {"{\"format\": ", "not valid JSON at byte 12 near '{\"format\": '"},
      {"[1, 2]", "not a run summary"},
      // Built to exhaust the reader: its nesting and memory limits.
      {std::string(100000, '[') + std::string(100000, ']'), "JSON nested deeper than 64 levels"},
      {"[" + Repeated("[],", 100000) + "[]]", "JSON would take 6 MB in memory, more than 16 times the file's size"},
      {replaced("\"format_version\": 1", "\"format_version\": 2"), "summary format version 2"},
      {replaced("\"frames\":4", "\"frames\":5"), "does not hold the 5 frame records"},
      {replaced("\"input\":\"a\"", "\"input\":7"), "frames[0].input is not a string"},
      {replaced("\"unreliable_dx\":1", "\"unreliable_dx\":745"), "frames[0].unreliable_dx is not an integer"},
      {replaced("\"frame\":3", "\"frame\":4"), "grids[3].frame is not an integer from 0 to 3"},
      {replaced("\"prj_delta_thd\"", "\"prj_delta\""), "run lacks \"prj_delta_thd\""},
  };
  for (const auto& c : cases) {
    try {
      ParseSummaryJson(c.text, "d/summary.json");
      ADD_FAILURE() << "accepted: " << c.message;
    } catch (const DataError& e) {
      EXPECT_EQ(std::string(e.what()).rfind("d/summary.json: ", 0), 0u) << e.what();
      EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
    }
  }
}

TEST(CorpusIndex, RefusesBadCorpusSummariesNamingTheProblem) {
  const struct {
    const char* text;
    const char* message;
  } cases[] = {
      {"[]", "not a corpus summary"},
      {R"({"sequences": [{"sequence": "a"}]})", "a row without 'sequence' and 'status'"},
      {R"({"sequences": [{"sequence": "../a", "status": "ok"}]})", "'../a' is not a sequence folder name"},
      {R"({"sequences": [{"sequence": "a", "status": "ok", "frames": 1e12}]})", "a frame count out of range"},
      {R"({"sequences": [{"sequence": "a", "status": "ok", "prj_u": "x"}]})", "'prj_u' is not a number"},
  };
  for (const auto& c : cases) {
    try {
      ParseCorpusSummary(c.text, "d/corpus_summary.json");
      ADD_FAILURE() << "accepted: " << c.message;
    } catch (const DataError& e) {
      EXPECT_EQ(std::string(e.what()).rfind("d/corpus_summary.json: ", 0), 0u) << e.what();
      EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
    }
  }
}

// --- the page and its parts ---

TEST(Report, WarnsOfNonFiniteOutputs) {
  const std::vector<std::string> w = RunWarnings(FourFrameRun());
  ASSERT_EQ(w.size(), 2u);
  EXPECT_EQ(w[0].rfind("2 frames with gains in the output table that are not finite", 0), 0u) << w[0];
  EXPECT_NE(w[1].find("(first: frame 2)"), std::string::npos) << w[1];
}

TEST(Report, PageIsSelfContained) {
  const std::string html = ReportHtml(FourFrameRun(), "run<1>");
  EXPECT_EQ(html.find("<script"), std::string::npos);
  EXPECT_EQ(html.find("http://www.w3.org/2000/svg\" class") != std::string::npos, true);
  EXPECT_EQ(html.find("src=\"http"), std::string::npos);
  EXPECT_EQ(html.find("url("), std::string::npos);
  EXPECT_NE(html.find("run&lt;1&gt;"), std::string::npos);
  size_t images = 0;
  for (size_t at = 0; (at = html.find("src=\"data:image/png;base64,", at)) != std::string::npos; ++at) ++images;
  EXPECT_EQ(images, 4u);
}

TEST(Report, LongRunsAreDecimatedNotTruncated) {
  LinePlot plot{"t", "y", 100000, {{"s", "#000", std::vector<double>(100000, 1.0)}}, {}};
  plot.series[0].y[54321] = 5.0;  // one spike among 100,000 frames
  const std::string svg = LinePlotSvg(plot);
  EXPECT_LT(svg.size(), 40000u);
  // The spike sets the range: the top tick is 5.
  EXPECT_NE(svg.find(">5</text>"), std::string::npos);
}

TEST(Report, Base64MatchesTheStandardVectors) {
  const std::pair<const char*, const char*> cases[] = {{"", ""},
                                                       {"f", "Zg=="},
                                                       {"fo", "Zm8="},
                                                       {"foo", "Zm9v"},
                                                       {"foob", "Zm9vYg=="},
                                                       {"fooba", "Zm9vYmE="},
                                                       {"foobar", "Zm9vYmFy"}};
  for (const auto& [in, out] : cases) EXPECT_EQ(Base64(in), out);
  EXPECT_EQ(Base64(std::string("\xff\xfe", 2)), "//4=");
}

TEST(Report, TicksAreRoundAndCoverTheRange) {
  const struct {
    double lo, hi;
    int count;
    std::vector<double> want;
  } cases[] = {{0, 1, 5, {0, 0.2, 0.4, 0.6, 0.8, 1}},
               {0, 9999, 8, {0, 2000, 4000, 6000, 8000}},
               {-0.03, 0.03, 4, {-0.02, 0, 0.02}},
               {0.95, 1.05, 4, {0.95, 1.0, 1.05}}};
  for (const auto& c : cases) {
    const std::vector<double> got = NiceTicks(c.lo, c.hi, c.count);
    ASSERT_EQ(got.size(), c.want.size()) << c.lo << " " << c.hi;
    for (size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], c.want[i], 1e-12) << c.lo << " " << c.hi;
  }
}

// --- colour maps ---

TEST(ColorMaps, DivergingMapIsCentredOnZero) {
  const struct {
    double s;
    Rgb want;
  } cases[] = {{0.0, {247, 247, 247}}, {-1.0, {5, 48, 97}}, {1.0, {103, 0, 31}},
               {-7.0, {5, 48, 97}},    {NAN, {5, 48, 97}},  {0.2, {253, 219, 199}}};
  for (const auto& c : cases) {
    const Rgb got = DivergingColorMap(c.s);
    EXPECT_EQ(got.r, c.want.r) << c.s;
    EXPECT_EQ(got.g, c.want.g) << c.s;
    EXPECT_EQ(got.b, c.want.b) << c.s;
  }
}

TEST(ColorMaps, SignedGridsAreDrawnSymmetricAboutZero) {
  GridView g;
  g.rows = 1;
  g.cols = 2;
  g.values = {-0.5, 1.0};
  g.signed_values = true;
  const Image img = RenderHeatmap(g, 20);
  // The scale runs from -1 to +1, so -0.5 is a mid blue and +1 the darkest red.
  const Rgb low = img.At(12 + 1 + 10, 12 + 14 + 10 + 10);
  const Rgb high = img.At(12 + 1 + 30, 12 + 14 + 10 + 10);
  const Rgb want_low = DivergingColorMap(-0.5);
  EXPECT_EQ(low.b, want_low.b);
  EXPECT_EQ(low.r, want_low.r);
  EXPECT_EQ(high.r, 103);
  for (const char* name : {"log_tint_u", "lsc_log_RG_gain", "GradH_UX", "GradL_VY", "log_u_input"})
    EXPECT_TRUE(IsSignedGridName(name)) << name;
  for (const char* name : {"linear_tint_u", "output_table_R", "WX", "is_reliable_dx_"})
    EXPECT_FALSE(IsSignedGridName(name)) << name;
}

// --- statistics reliability ---

TEST(StatsReliability, CountsCellsByReason) {
  const mirvo::TuningParams& tuning = mirvo::DefaultMirvoParams().tuning;
  mirvo::Stats stats;
  mirvo_test::MakeGreyStats(stats, 1000, 100);                  // 14 bits: lo 16.383, hi 16219.17
  mirvo_test::SetCell(stats.cells[0], 16, 1000, 1000, 100);     // red too dark
  mirvo_test::SetCell(stats.cells[1], 1000, 16300, 1000, 100);  // green too bright
  mirvo_test::SetCell(stats.cells[2], 16, 16300, 1000, 100);    // both
  mirvo_test::SetCell(stats.cells[3], 17, 16219, 1000, 100);    // just inside both bounds
  mirvo_test::SetCell(stats.cells[4], 0, 0, 0, 0);              // empty: NaN means pass
  const CellReliability r = AssessCells(stats, tuning);
  EXPECT_EQ(r.cells, 768);
  EXPECT_EQ(r.unreliable, 3);
  EXPECT_EQ(r.low_level, 2);
  EXPECT_EQ(r.high_level, 2);
  EXPECT_EQ(r.saturated, 0);
  EXPECT_EQ(r.zero_count, 1);
  EXPECT_EQ(ReliabilityLine(stats, r),
            "32x24 cells, 14 bits; unreliable 0.4% (3 cells): low level 0.3%, high level 0.3%, saturated 0.0%; 1 "
            "cells with zero counts");
  // The saturation limit is trunc(16383 x ratio x count): 1 for this ratio and count.
  mirvo::TuningParams strict = tuning;
  strict.sat_ratio_thd = 0.00001f;
  stats.cells[10].sat_cnt[mirvo::B] = 2;
  stats.cells[11].sat_cnt[mirvo::B] = 1;
  mirvo_test::SetCell(stats.cells[11], 1000, 1000, 1000, 10);
  stats.cells[11].sat_cnt[mirvo::B] = 1;
  mirvo_test::SetCell(stats.cells[10], 1000, 1000, 1000, 10);
  stats.cells[10].sat_cnt[mirvo::B] = 2;
  EXPECT_EQ(AssessCells(stats, strict).saturated, 1);
}

}  // namespace
