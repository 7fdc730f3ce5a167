// Runs the mirvo program on generated inputs and compares its outputs with
// what the library produces when driven directly, frame by frame.
#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cli_fixtures.h"
#include "core/core.h"
#include "io/default_tuning.h"
#include "io/lsc_table_file.h"
#include "io/tuning_file.h"
#include "run_program.h"
#include "test_support.h"
#include "tools/bayer_raw.h"

namespace {

using mirvo_test::ReadFile;
using mirvo_test::TempDir;

using mirvo_cli_test::Result;

Result RunMirvo(const TempDir& tmp, const std::string& args) {
  return mirvo_cli_test::RunProgram(MIRVO_EXE, tmp, args);
}

std::string Frame(const std::string& dir, const char* name, int k, const char* ext) {
  char buf[64];
  std::snprintf(buf, sizeof(buf), "/%s_%03d%s", name, k, ext);
  return dir + buf;
}

std::string FrameList(const std::string& dir, const char* name, const char* ext) {
  std::string list;
  for (int k = 0; k < mirvo_cli_test::kFrames; ++k) list += " " + Frame(dir, name, k, ext);
  return list;
}

// What the camera stack would get: one Core, frames in order.
struct Direct {
  mirvo::MirvoParams params = mirvo::DefaultMirvoParams();
  bool has_crop = false;
  mirvo::CropInfo crop;
  std::string override_path;
  bool debug = false;
};

struct Expected {
  std::vector<std::string> tables;
  std::vector<std::string> dumps;
};

Expected DriveCore(const Direct& d, std::vector<mirvo::Stats>& frames, const std::string& base_path,
                   const TempDir& tmp) {
  mirvo::LscTable base{};
  EXPECT_EQ(mirvo::LscTableLoadHeaderFile(base_path.c_str(), base), mirvo::kOk);
  mirvo::Core core;
  core.LoadMirvoParams(d.params);
  if (d.debug) core.GetMutableDebugParams()->debug_enable = true;
  if (d.has_crop) core.SetSensorCrop(d.crop);
  if (!d.override_path.empty()) {
    core.SetOverrideMapPath(d.override_path);
    core.GetMutableDebugParams()->override_mode = 2;
    EXPECT_TRUE(core.LoadOverrideMap());
  }
  Expected e;
  for (mirvo::Stats& s : frames) {
    EXPECT_TRUE(core.SetStats(s));
    core.SetInputLscTable(base);
    core.Execute();
    mirvo::LscTable out{};
    EXPECT_TRUE(core.GetOutputLscTable(&out));
    EXPECT_EQ(mirvo::LscTableSaveHeaderFile(tmp.File("expected.h").c_str(), out), mirvo::kOk);
    e.tables.push_back(ReadFile(tmp.File("expected.h")));
    if (d.debug) {
      EXPECT_EQ(core.SaveDisgnosticData(tmp.File("expected_diag.txt")), mirvo::kOk);
      e.dumps.push_back(ReadFile(tmp.File("expected_diag.txt")));
    }
  }
  return e;
}

std::vector<mirvo::Stats> LoadDumps(const std::string& dir) {
  std::vector<mirvo::Stats> frames(mirvo_cli_test::kFrames);
  for (int k = 0; k < mirvo_cli_test::kFrames; ++k)
    EXPECT_EQ(frames[k].LoadSimStatsElmrak(Frame(dir, "stats", k, ".txt").c_str()), 0);
  return frames;
}

std::vector<mirvo::Stats> StatsFromRaw(const std::string& dir, const char* name, bool mipi) {
  std::vector<mirvo::Stats> frames(mirvo_cli_test::kFrames);
  const uint16_t levels[4] = {1024, 1024, 1024, 1024};
  for (int k = 0; k < mirvo_cli_test::kFrames; ++k) {
    mirvo::BayerRaw raw;
    EXPECT_EQ(raw.ReadRawImage(Frame(dir, name, k, ".raw").c_str(), mirvo_cli_test::kRawWidth,
                               mirvo_cli_test::kRawHeight, 10, "RGGB", mipi),
              mirvo::kOk);
    frames[k].CreateFromRaw(raw, levels, 32, 24);
  }
  return frames;
}

void ExpectTables(const Expected& e, const std::string& out_dir) {
  ASSERT_EQ(e.tables.size(), static_cast<size_t>(mirvo_cli_test::kFrames));
  for (int k = 0; k < mirvo_cli_test::kFrames; ++k)
    EXPECT_EQ(ReadFile(Frame(out_dir, "table", k, ".h")), e.tables[k]) << "frame " << k;
}

class CliRun : public ::testing::Test {
 protected:
  void SetUp() override { mirvo_cli_test::WriteFixtures(in_.path()); }
  std::string In(const std::string& name) const { return in_.File(name); }
  std::string Out() const { return out_.File("out"); }

  TempDir in_;
  TempDir out_;
};

TEST_F(CliRun, StatsDumpsReproduceTheLibrarysTables) {
  const Result r = RunMirvo(
      out_, "run --base " + In("base.h") + " --stats" + FrameList(in_.path(), "stats", ".txt") + " --out-dir " + Out());
  ASSERT_EQ(r.status, 0) << r.err;
  // No progress line without a terminal, just the summary.
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "3 frames, tables in " + Out() + "\n");
  std::vector<mirvo::Stats> frames = LoadDumps(in_.path());
  ExpectTables(DriveCore(Direct(), frames, In("base.h"), out_), Out());
  // The temporal filter ran across the frames: later tables differ.
  EXPECT_NE(ReadFile(Frame(Out(), "table", 0, ".h")), ReadFile(Frame(Out(), "table", 2, ".h")));
}

TEST_F(CliRun, RawFramesReproduceTheLibrarysTables) {
  const std::string raw_opts = " --width 520 --height 384 --bits 10 --pattern RGGB --black-level 1024";
  const Result r = RunMirvo(out_, "run --base " + In("base.h") + " --raw" + FrameList(in_.path(), "raw", ".raw") +
                                      raw_opts + " --out-dir " + Out());
  ASSERT_EQ(r.status, 0) << r.err;
  std::vector<mirvo::Stats> frames = StatsFromRaw(in_.path(), "raw", false);
  const Expected e = DriveCore(Direct(), frames, In("base.h"), out_);
  ExpectTables(e, Out());

  // The same frames packed as RAW10, decoded by one thread and by several.
  for (const char* jobs : {"1", "3"}) {
    const std::string dir = out_.File(std::string("mipi") + jobs);
    const Result m = RunMirvo(out_, "run --base " + In("base.h") + " --raw" + FrameList(in_.path(), "mipi", ".raw") +
                                        raw_opts + " --mipi --jobs " + jobs + " --out-dir " + dir);
    ASSERT_EQ(m.status, 0) << m.err;
    ExpectTables(e, dir);
  }
}

TEST_F(CliRun, TuningCropAndOverrideReachTheEngine) {
  const std::string crop = "4032,3024,504,378,3024,2268";
  const Result r = RunMirvo(out_, "run --base " + In("base.h") + " --tuning " + In("tuning.h") + " --crop " + crop +
                                      " --override " + In("override.txt") + " --stats" +
                                      FrameList(in_.path(), "stats", ".txt") + " --out-dir " + Out());
  ASSERT_EQ(r.status, 0) << r.err;
  Direct d;
  ASSERT_EQ(mirvo::LoadTuningHeaderFile(In("tuning.h").c_str(), d.params), mirvo::kOk);
  d.has_crop = true;
  d.crop = {4032, 3024, 504, 378, 3024, 2268};
  d.override_path = In("override.txt");
  std::vector<mirvo::Stats> frames = LoadDumps(in_.path());
  ExpectTables(DriveCore(d, frames, In("base.h"), out_), Out());

  // Each option changes the result on its own.
  std::vector<mirvo::Stats> again = LoadDumps(in_.path());
  const Expected plain = DriveCore(Direct(), again, In("base.h"), out_);
  EXPECT_NE(ReadFile(Frame(Out(), "table", 2, ".h")), plain.tables[2]);
}

TEST_F(CliRun, UnknownOverrideKeysAreWarnedAboutOnce) {
  mirvo_test::WriteFile(In("unknown.txt"), "smooth_thd=0.05\nsmoth_thd=0.07\n");
  const Result r = RunMirvo(out_, "run --override " + In("unknown.txt") + " --base " + In("base.h") + " --stats " +
                                      In("stats_000.txt") + " --out-dir " + Out());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "mirvo: warning: " + In("unknown.txt") + ": line 2: unknown key 'smoth_thd' is ignored\n");
}

TEST_F(CliRun, DebugWritesTheLibrarysDumps) {
  const Result r = RunMirvo(out_, "run --debug --base " + In("base.h") + " --stats" +
                                      FrameList(in_.path(), "stats", ".txt") + " --out-dir " + Out());
  ASSERT_EQ(r.status, 0) << r.err;
  Direct d;
  d.debug = true;
  std::vector<mirvo::Stats> frames = LoadDumps(in_.path());
  const Expected e = DriveCore(d, frames, In("base.h"), out_);
  ExpectTables(e, Out());
  // Which keys a dump holds is pinned by EngineTest.DiagnosticsRecordEveryStage.
  for (int k = 0; k < mirvo_cli_test::kFrames; ++k)
    EXPECT_EQ(ReadFile(Frame(Out(), "diag", k, ".txt")), e.dumps[k]) << "frame " << k;
}

TEST_F(CliRun, ZeroCountsAndNonFiniteGainsAreReportedOncePerFrame) {
  const Result r = RunMirvo(out_, "run --base " + In("base.h") + " --stats " + In("zero_counts.txt") + " " +
                                      In("zero_counts.txt") + " --out-dir " + Out());
  ASSERT_EQ(r.status, 0) << r.err;
  size_t zero_lines = 0, pos = 0;
  while ((pos = r.err.find("zero counts", pos)) != std::string::npos) ++zero_lines, ++pos;
  EXPECT_EQ(zero_lines, 2u) << r.err;
  EXPECT_NE(r.err.find("frame 0 (" + In("zero_counts.txt") + "): 64 statistics cells have zero counts"),
            std::string::npos)
      << r.err;
  // The NaN log values of those cells poison the whole table.
  EXPECT_NE(r.err.find("gains that are not finite"), std::string::npos) << r.err;
}

bool PngSize(const std::string& path, unsigned* w, unsigned* h) {
  png_image img;
  std::memset(&img, 0, sizeof(img));
  img.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&img, path.c_str())) return false;
  *w = img.width;
  *h = img.height;
  png_image_free(&img);
  return true;
}

TEST_F(CliRun, PngPicturesOfTintAndTable) {
  const Result r =
      RunMirvo(out_, "run --png --base " + In("base.h") + " --stats " + In("stats_000.txt") + " --out-dir " + Out());
  ASSERT_EQ(r.status, 0) << r.err;
  unsigned w = 0, h = 0;
  ASSERT_TRUE(PngSize(Frame(Out(), "tint", 0, ".png"), &w, &h));
  EXPECT_GT(w, 2u * 17 * 20);  // two lattices, enlarged
  ASSERT_TRUE(PngSize(Frame(Out(), "table", 0, ".png"), &w, &h));
  EXPECT_GT(h, 2u * 13 * 20);  // two rows of planes
}

mirvo::LscTable LoadTable(const std::string& path) {
  mirvo::LscTable t{};
  EXPECT_EQ(mirvo::LscTableLoadHeaderFile(path.c_str(), t), mirvo::kOk) << path;
  return t;
}

// The `guarded` column of DIR/summary.csv, one character a frame.
std::string GuardedColumn(const std::string& dir) {
  const std::string csv = ReadFile(dir + "/summary.csv");
  std::string flags;
  size_t line = csv.find('\n');
  EXPECT_NE(csv.rfind(",guarded,guard_reason\n", line), std::string::npos) << csv.substr(0, line);
  while (line != std::string::npos && line + 1 < csv.size()) {
    const size_t end = csv.find('\n', line + 1);
    const std::string record = csv.substr(line + 1, end - line - 1);
    // guarded is the 21st field; only guard_reason (which may be quoted) follows it.
    size_t at = 0;
    for (int field = 0; field < 20; ++field) at = record.find(',', at) + 1;
    flags += record[at];
    line = end;
  }
  return flags;
}

TEST_F(CliRun, GuardLeavesSoundFramesAlone) {
  const Result r = RunMirvo(out_, "run --guard --base " + In("base.h") + " --stats" +
                                      FrameList(in_.path(), "stats", ".txt") + " --out-dir " + Out());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "3 frames, 0 guarded, tables in " + Out() + "\n");
  EXPECT_EQ(GuardedColumn(Out()), "000");
  std::vector<mirvo::Stats> frames = LoadDumps(in_.path());
  ExpectTables(DriveCore(Direct(), frames, In("base.h"), out_), Out());
}

TEST_F(CliRun, GuardKeepsZeroCountFramesFinite) {
  const Result r = RunMirvo(out_, "run --guard --base " + In("base.h") + " --stats " + In("zero_counts.txt") + " " +
                                      In("zero_counts.txt") + " --out-dir " + Out());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "2 frames, 0 guarded, tables in " + Out() + "\n");
  EXPECT_NE(r.err.find("64 statistics cells have zero counts; the guard hands them to the engine as dark cells"),
            std::string::npos)
      << r.err;
  EXPECT_EQ(r.err.find("not finite"), std::string::npos) << r.err;
  for (int k = 0; k < 2; ++k) {
    const mirvo::LscTable t = LoadTable(Frame(Out(), "table", k, ".h"));
    const float* g = &t.r_gain[0][0];
    for (int i = 0; i < 884; ++i) ASSERT_TRUE(std::isfinite(g[i])) << "frame " << k << " gain " << i;
  }
}

// A base table beyond the guard's range: no table is ever good, and with the
// base table out of range too every frame gets the unity table.
TEST_F(CliRun, GuardReplacesTablesOutOfRange) {
  mirvo::LscTable base = LoadTable(In("base.h"));
  base.r_gain[0][0] = 100.0f;
  ASSERT_EQ(mirvo::LscTableSaveHeaderFile(In("steep.h").c_str(), base), mirvo::kOk);
  const Result r = RunMirvo(out_, "run --guard --base " + In("steep.h") + " --stats" +
                                      FrameList(in_.path(), "stats", ".txt") + " --out-dir " + Out());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "3 frames, 3 guarded, tables in " + Out() + "\n");
  EXPECT_NE(r.err.find("frame 2 (" + In("stats_002.txt") + "): output table rejected by the guard"), std::string::npos)
      << r.err;
  EXPECT_NE(r.err.find("unity table returned, engine state reset"), std::string::npos) << r.err;
  EXPECT_EQ(GuardedColumn(Out()), "111");
  EXPECT_NE(ReadFile(Out() + "/summary.json").find("\"guard\":true,\"guarded_frames\":3,"), std::string::npos);
  const mirvo::LscTable unity = LoadTable(Frame(Out(), "table", 2, ".h"));
  const float* g = &unity.r_gain[0][0];
  for (int i = 0; i < 884; ++i) ASSERT_EQ(g[i], 1.0f) << "gain " << i;
}

}  // namespace
