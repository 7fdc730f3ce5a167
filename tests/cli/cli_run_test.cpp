// Runs the mirvo program on generated inputs and compares its outputs with
// what the library produces when driven directly, frame by frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "core/core.h"
#include "io/default_tuning.h"
#include "io/tuning_file.h"
#include "run_program.h"
#include "tools/bayer_raw.h"

namespace {

using mirvo_cli_test::LoadTable;
using mirvo_cli_test::Result;
using mirvo_cli_test::RunMirvo;
using mirvo_test::ReadFile;
using mirvo_test::TempDir;

const int kFrames = 3;
const char kRawOptions[] = " --width 520 --height 384 --bits 10 --pattern RGGB --black-level 1024";

std::string Frame(const std::string& dir, const char* name, int k, const char* ext) {
  char buf[64];
  std::snprintf(buf, sizeof(buf), "/%s_%03d%s", name, k, ext);
  return dir + buf;
}

enum class Source { kDumps, kRaw, kMipi };

// One row: what the program is given and what the library is given alike.
struct Row {
  const char* name;
  Source source;
  std::string options;  // beyond the base table, the frames and the output
  bool tuned = false;   // the fixtures' tuning, crop and override map
  bool debug = false;
};

class CliRun : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    in_ = new TempDir;
    mirvo_cli_test::WriteFixtures(in_->path());
  }
  static void TearDownTestSuite() { delete in_; }
  static std::string In(const std::string& name) { return in_->File(name); }
  static std::string Frames(const char* name, const char* ext) {
    std::string list;
    for (int k = 0; k < kFrames; ++k) list += " " + Frame(in_->path(), name, k, ext);
    return list;
  }

  // What the camera stack would get: one Core, frames in order; each
  // frame's table (and with `debug` its dump) as the library writes it.
  std::vector<std::string> Library(const Row& row) {
    mirvo::MirvoParams params = mirvo::DefaultMirvoParams();
    if (row.tuned) {
      EXPECT_EQ(mirvo::LoadTuningHeaderFile(In("tuning.h").c_str(), params), mirvo::kOk);
    }
    mirvo::Core core;
    core.LoadMirvoParams(params);
    core.GetMutableDebugParams()->debug_enable = row.debug;
    if (row.tuned) {
      core.SetSensorCrop({4032, 3024, 504, 378, 3024, 2268});
      core.SetOverrideMapPath(In("override.txt"));
      core.GetMutableDebugParams()->override_mode = 2;
      EXPECT_TRUE(core.LoadOverrideMap());
    }
    const mirvo::LscTable base = LoadTable(In("base.h"));
    const uint16_t levels[4] = {1024, 1024, 1024, 1024};
    std::vector<std::string> files;
    for (int k = 0; k < kFrames; ++k) {
      mirvo::Stats s;
      const bool mipi = row.source == Source::kMipi;
      mirvo::BayerRaw raw;
      if (row.source == Source::kDumps) {
        EXPECT_EQ(s.LoadSimStatsElmrak(Frame(in_->path(), "stats", k, ".txt").c_str()), 0);
      } else {
        EXPECT_EQ(
            raw.ReadRawImage(Frame(in_->path(), mipi ? "mipi" : "raw", k, ".raw").c_str(), 520, 384, 10, "RGGB", mipi),
            mirvo::kOk);
        s.CreateFromRaw(raw, levels, 32, 24);
      }
      EXPECT_TRUE(core.SetStats(s));
      core.SetInputLscTable(base);
      core.Execute();
      mirvo::LscTable out{};
      EXPECT_TRUE(core.GetOutputLscTable(&out));
      EXPECT_EQ(mirvo::LscTableSaveHeaderFile(out_.File("expected.h").c_str(), out), mirvo::kOk);
      files.push_back(ReadFile(out_.File("expected.h")));
      if (!row.debug) continue;
      EXPECT_EQ(core.SaveDisgnosticData(out_.File("expected_diag.txt")), mirvo::kOk);
      files.push_back(ReadFile(out_.File("expected_diag.txt")));
    }
    return files;
  }

  static TempDir* in_;
  TempDir out_;
};
TempDir* CliRun::in_ = nullptr;

// Which keys a dump holds is pinned by EngineTest.DiagnosticsRecordEveryStage;
// here the program must write what the library writes. RAW10 and unpacked
// frames giving the same statistics is the table view script's.
TEST_F(CliRun, EveryInputAndOptionReproducesTheLibrarysTables) {
  const Row rows[] = {
      {"dumps", Source::kDumps, ""},
      // Decoded on one thread and on several.
      {"raw", Source::kRaw, std::string(kRawOptions) + " --jobs 1"},
      {"RAW10", Source::kMipi, std::string(kRawOptions) + " --mipi --jobs 3"},
      {"tuned", Source::kDumps,
       " --tuning " + In("tuning.h") + " --crop 4032,3024,504,378,3024,2268 --override " + In("override.txt"), true},
      {"debug", Source::kDumps, " --debug --png", false, true},
      {"guard", Source::kDumps, " --guard"},
  };
  const std::vector<std::string> plain = Library(rows[0]);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string out = out_.File(row.name);
    const std::string frames = row.source == Source::kDumps
                                   ? " --stats" + Frames("stats", ".txt")
                                   : " --raw" + Frames(row.source == Source::kRaw ? "raw" : "mipi", ".raw");
    const Result r = RunMirvo(out_, "run --base " + In("base.h") + frames + row.options + " --out-dir " + out);
    ASSERT_EQ(r.status, 0) << r.err;
    // No progress line without a terminal, just the summary.
    EXPECT_EQ(r.err, "");
    const std::string guarded = row.options == " --guard" ? "0 guarded, " : "";
    EXPECT_EQ(r.out, "3 frames, " + guarded + "tables in " + out + "\n");
    const std::vector<std::string> want = Library(row);
    const size_t per_frame = row.debug ? 2 : 1;
    for (size_t k = 0; k < want.size(); ++k) {
      const bool dump = k % per_frame == 1;
      EXPECT_EQ(ReadFile(Frame(out, dump ? "diag" : "table", k / per_frame, dump ? ".txt" : ".h")), want[k]) << k;
    }
    // The temporal filter ran across the frames; every option tells.
    EXPECT_NE(want[0], want[(kFrames - 1) * per_frame]);
    EXPECT_TRUE(!row.tuned || want[kFrames - 1] != plain[kFrames - 1]);
    // Pictures beside the tables (their layout is the parts test's).
    for (const char* picture : {"tint", "table"})
      EXPECT_EQ(ReadFile(Frame(out, picture, 0, ".png")).substr(0, 4), row.debug ? "\x89PNG" : "") << picture;
  }
}

// Frames the engine cannot make a finite table of, a key the override map
// does not know, and a base table beyond the guard's range: exit 0, the
// problem said once per frame, and with the guard the tables sound (with
// the base table out of range too, the unity table).
TEST_F(CliRun, WarningsAndTheGuard) {
  mirvo::LscTable steep = LoadTable(In("base.h"));
  steep.r_gain[0][0] = 100.0f;
  ASSERT_EQ(mirvo::LscTableSaveHeaderFile(In("steep.h").c_str(), steep), mirvo::kOk);
  mirvo_test::WriteFile(In("unknown.txt"), "smooth_thd=0.05\nsmoth_thd=0.07\n");
  const std::string zero = " --stats " + In("zero_counts.txt") + " " + In("zero_counts.txt");
  const std::string zero_line = "frame 0 (" + In("zero_counts.txt") + "): 64 statistics cells have zero counts";
  enum Tables { kAny, kFinite, kUnity };
  const struct {
    std::string args, out;
    std::vector<std::string> err;
    int lines;
    Tables tables;
  } rows[] = {
      {"--override " + In("unknown.txt") + " --stats " + In("stats_000.txt"),
       "1 frame, tables in ",
       {"mirvo: warning: " + In("unknown.txt") + ": line 2: unknown key 'smoth_thd' is ignored\n"},
       1,
       kAny},
      // The NaN log values of the empty cells poison the whole table.
      {zero, "2 frames, tables in ", {zero_line, "frame 1", "gains that are not finite"}, 4, kAny},
      {"--guard" + zero,
       "2 frames, 0 guarded, tables in ",
       {zero_line + "; the guard hands them to the engine as dark cells", "frame 1"},
       2,
       kFinite},
      {"--guard --stats" + Frames("stats", ".txt"),
       "3 frames, 3 guarded, tables in ",
       {"frame 2 (" + In("stats_002.txt") + "): output table rejected by the guard",
        "unity table returned, engine state reset"},
       6,
       kUnity},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.args);
    const std::string out = out_.File("out");
    const std::string base = row.tables == kUnity ? In("steep.h") : In("base.h");
    const Result r = RunMirvo(out_, "run --base " + base + " " + row.args + " --out-dir " + out);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, row.out + out + "\n");
    for (const std::string& line : row.err) EXPECT_NE(r.err.find(line), std::string::npos) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), row.lines) << r.err;
    if (row.tables == kAny) continue;
    const mirvo::LscTable t = LoadTable(Frame(out, "table", 1, ".h"));
    for (const float g : std::vector<float>(&t.r_gain[0][0], &t.r_gain[0][0] + 884))
      ASSERT_TRUE(row.tables == kUnity ? g == 1.0f : std::isfinite(g)) << g;
  }
  EXPECT_NE(ReadFile(out_.File("out/summary.json")).find("\"guard\":true,\"guarded_frames\":3,"), std::string::npos);
}

}  // namespace
