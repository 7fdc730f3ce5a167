// Unit tests of the mirvo program's parts.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/stat.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <thread>

#include "analysis/shading_metric.h"
#include "analysis/table_summary.h"
#include "base/cli_error.h"
#include "cli_fixtures.h"
#include "commands/args.h"
#include "commands/raw_options.h"
#include "demo/demo_scene.h"
#include "engine_scene.h"
#include "files/atomic_file.h"
#include "io/default_tuning.h"
#include "pipeline/frame_inputs.h"
#include "pipeline/frame_source.h"
#include "pipeline/output_queue.h"
#include "pipeline/progress.h"
#include "render/colormap.h"
#include "render/font.h"
#include "render/heatmap.h"
#include "render/png_writer.h"
#include "test_support.h"
#include "tools/stats_text.h"
#include "workbench/files/file_error.h"

namespace {

using namespace mirvo_cli;
using mirvo_test::ReadFile;
using mirvo_test::TempDir;
using mirvo_test::WriteFile;

// --- arguments ---

const std::vector<OptionSpec> kSpecs = {
    {"--flag", OptionKind::kFlag}, {"--width", OptionKind::kValue}, {"--files", OptionKind::kList}};

TEST(Args, ParsesEachKind) {
  const Args a("run", kSpecs, {"pos", "--width=12", "--flag", "--files", "a", "-b", "--", "--x"});
  EXPECT_TRUE(a.Has("--flag"));
  EXPECT_EQ(a.GetInt("--width", 0, 0, 100), 12);
  EXPECT_EQ(a.List("--files"), (std::vector<std::string>{"a", "-b"}));
  EXPECT_EQ(a.positional(), (std::vector<std::string>{"pos", "--x"}));
}

TEST(Args, RejectsWhatItCannotUse) {
  auto fails = [](std::vector<std::string> argv, const char* message) {
    try {
      const Args a("run", kSpecs, argv);
      a.GetInt("--width", 0, 0, 100);
      ADD_FAILURE() << "accepted";
    } catch (const UsageError& e) {
      EXPECT_NE(std::string(e.what()).find(message), std::string::npos) << e.what();
      EXPECT_EQ(e.exit_status(), 2);
    }
  };
  fails({"--width"}, "mirvo run: --width needs a value");
  fails({"--width", "1", "--width", "2"}, "--width given twice");
  fails({"--width", "12x"}, "'12x' is not an integer");
  fails({"--width", "101"}, "out of range");
  fails({"--files"}, "--files needs at least one file");
  fails({"--nope"}, "unknown option --nope");
  fails({"--flag=1"}, "--flag takes no value");
}

TEST(Args, HelpAnywhereBeforeTheEndOfOptions) {
  EXPECT_TRUE(WantsHelp({"--stats", "a", "-h"}));
  EXPECT_TRUE(WantsHelp({"--help"}));
  EXPECT_FALSE(WantsHelp({"--", "--help"}));
  EXPECT_FALSE(WantsHelp({"--helpful"}));
}

TEST(Args, NumberParsing) {
  long l = 0;
  double d = 0;
  EXPECT_TRUE(ParseLong("-42", &l));
  EXPECT_EQ(l, -42);
  EXPECT_FALSE(ParseLong(" 4", &l));
  EXPECT_FALSE(ParseLong("99999999999999999999", &l));
  EXPECT_TRUE(ParseDouble("1e-3", &d));
  EXPECT_DOUBLE_EQ(d, 1e-3);
  EXPECT_FALSE(ParseDouble("nan", &d));
  EXPECT_FALSE(ParseDouble("1.5.", &d));
  EXPECT_EQ(SplitCommas("a,,b"), (std::vector<std::string>{"a", "", "b"}));
}

// --- raw options ---

RawOptions Raw(std::vector<std::string> extra) {
  std::vector<OptionSpec> specs;
  AddRawOptionSpecs(&specs);
  std::vector<std::string> argv = {"--width", "100", "--height", "50", "--bits", "10", "--pattern", "GRBG"};
  argv.insert(argv.end(), extra.begin(), extra.end());
  return ParseRawOptions(Args("stats", specs, argv));
}

TEST(RawOptions, FileSizesOfBothLayouts) {
  EXPECT_EQ(RawFileSize(Raw({})), 100u * 50 * 2);
  // 100 pixels: 125 bytes of payload, padded to 128.
  EXPECT_EQ(RawFileSize(Raw({"--mipi"})), 128u * 50);
  RawOptions r = Raw({"--mipi"});
  r.width = 4032;
  EXPECT_EQ(RawFileSize(r), 5040u * 50);
}

TEST(RawOptions, BlackLevelsAndGrid) {
  const RawOptions one = Raw({"--black-level", "64", "--grid", "10x5"});
  EXPECT_EQ(one.black_level[3], 64);
  EXPECT_EQ(one.grid_cols, 10);
  EXPECT_EQ(one.grid_rows, 5);
  const RawOptions four = Raw({"--black-level", "1,2,3,4"});
  EXPECT_EQ(four.black_level[0], 1);
  EXPECT_EQ(four.black_level[3], 4);
}

TEST(RawOptions, RejectsImpossibleFrames) {
  for (const std::vector<std::string>& bad : {std::vector<std::string>{"--black-level", "1,2"},
                                              {"--black-level", "16383"},
                                              {"--grid", "32"},
                                              {"--grid", "60x24"}}) {
    EXPECT_THROW(Raw(bad), UsageError) << bad[0] << " " << bad[1];
  }
  std::vector<OptionSpec> specs;
  AddRawOptionSpecs(&specs);
  // RAW10 needs 10 bits and whole groups of 4 pixels per row.
  for (const char* bits_width : {"12x100", "10x102"}) {
    const std::string bw = bits_width;
    const std::vector<std::string> argv = {"--width",       bw.substr(3), "--height", "50",    "--bits",
                                           bw.substr(0, 2), "--pattern",  "RGGB",     "--mipi"};
    try {
      ParseRawOptions(Args("s", specs, argv));
      ADD_FAILURE() << bits_width;
    } catch (const UsageError& e) {
      EXPECT_NE(std::string(e.what()).find("--mipi:"), std::string::npos) << e.what();
    }
  }
  EXPECT_THROW(
      ParseRawOptions(Args("s", specs, {"--width", "101", "--height", "50", "--bits", "10", "--pattern", "RGGB"})),
      UsageError);
  EXPECT_THROW(
      ParseRawOptions(Args("s", specs, {"--width", "100", "--height", "50", "--bits", "16", "--pattern", "RGGB"})),
      UsageError);
  EXPECT_THROW(
      ParseRawOptions(Args("s", specs, {"--width", "100", "--height", "50", "--bits", "10", "--pattern", "RGBG"})),
      UsageError);
}

TEST(RawOptions, Crop) {
  const Args a("run", {}, {});
  const mirvo::CropInfo c = ParseCrop(a, "4032,3024,10,20,2000,1500");
  EXPECT_EQ(c.offs_y, 20.0f);
  EXPECT_EQ(c.out_h, 1500.0f);
  EXPECT_THROW(ParseCrop(a, "1,2,3"), UsageError);
  EXPECT_THROW(ParseCrop(a, "4032,3024,0,0,0,1500"), UsageError);
}

// --- atomic outputs ---

TEST(AtomicOutput, ReplacesOnlyOnCommit) {
  SetDurableWrites(true);
  TempDir dir;
  const std::string target = dir.File("out.txt");
  WriteFile(target, "old");
  {
    AtomicOutput out(target);
    out.Write("new");
    EXPECT_EQ(ReadFile(target), "old");
    EXPECT_EQ(ReadFile(out.temp_path()), "new");
  }  // dropped without commit
  EXPECT_EQ(ReadFile(target), "old");
  WriteFileAtomically(target, "new");
  EXPECT_EQ(ReadFile(target), "new");
  struct stat st;
  ASSERT_EQ(stat(target.c_str(), &st), 0);
  EXPECT_NE(st.st_mode & 0044, 0u) << "readable like any other output";
  // Nothing else is left in the directory.
  int entries = 0;
  for (auto& e : std::filesystem::directory_iterator(dir.path())) entries += e.is_regular_file();
  EXPECT_EQ(entries, 1);
}

TEST(AtomicOutput, FailuresNameTheTarget) {
  TempDir dir;
  try {
    AtomicOutput out(dir.File("missing/out.txt"));
    ADD_FAILURE();
  } catch (const DataError& e) {
    EXPECT_NE(std::string(e.what()).find("missing/out.txt: cannot create a file in"), std::string::npos);
  }
  std::filesystem::create_directory(dir.File("taken"));
  EXPECT_THROW(WriteFileAtomically(dir.File("taken"), "x"), DataError);
  EXPECT_TRUE(std::filesystem::is_directory(dir.File("taken")));
}

TEST(AtomicOutput, MakeDirectoriesCreatesParents) {
  TempDir dir;
  MakeDirectories(dir.File("a/b/c"));
  EXPECT_TRUE(std::filesystem::is_directory(dir.File("a/b/c")));
  WriteFile(dir.File("file"), "");
  EXPECT_THROW(MakeDirectories(dir.File("file/sub")), DataError);
  EXPECT_THROW(MakeDirectories(dir.File("file")), DataError);
}

// --- pictures ---

TEST(Font, GlyphsAreDistinctAndInRange) {
  EXPECT_EQ(Glyph(' ')[3], 0);
  EXPECT_EQ(std::memcmp(Glyph('\x7f'), Glyph('?'), kGlyphHeight), 0);
  for (char a = 33; a < 127; ++a) {
    for (int r = 0; r < kGlyphHeight; ++r) EXPECT_LT(Glyph(a)[r], 32) << a;
    for (char b = static_cast<char>(a + 1); b < 127; ++b)
      EXPECT_NE(std::memcmp(Glyph(a), Glyph(b), kGlyphHeight), 0) << a << " looks like " << b;
  }
}

TEST(ColorMap, DarkToBrightAndClamped) {
  const Rgb lo = ColorMap(0), hi = ColorMap(1);
  EXPECT_LT(lo.r + lo.g + lo.b, hi.r + hi.g + hi.b);
  int last = -1;
  for (int i = 0; i <= 20; ++i) {
    const Rgb c = ColorMap(i / 20.0);
    // Lightness rises monotonically (green carries most of it).
    EXPECT_GE(c.g, last);
    last = c.g;
  }
  EXPECT_EQ(ColorMap(-5).g, lo.g);
  EXPECT_EQ(ColorMap(NAN).g, lo.g);
  EXPECT_EQ(ColorMap(7).g, hi.g);
}

TEST(Image, TextIsDrawnAndClipped) {
  Image img(40, 10, {255, 255, 255});
  EXPECT_EQ(img.DrawText(1, 1, "I", 1, {0, 0, 0}), 5);
  EXPECT_EQ(img.At(3, 1).r, 0);  // the top bar of the I
  EXPECT_EQ(img.At(1, 4).r, 255);
  img.DrawText(35, 5, "WWW", 3, {0, 0, 0});  // runs off the edge without harm
  EXPECT_EQ(Image::TextWidth("ab", 2), 22);
}

TEST(Heatmap, RangeLegendAndInvalidCells) {
  GridView g{"k[2][3]", 2, 3, {1, 2, 3, 4, NAN, INFINITY}};
  const ValueRange r = FiniteRange(g.values);
  EXPECT_EQ(r.min, 1);
  EXPECT_EQ(r.max, 4);
  EXPECT_EQ(r.finite, 4);
  const int cell = 10;
  const Image img = RenderHeatmap(g, cell);
  // The cell colours follow the values; the non-finite ones are marked.
  auto cell_color = [&](int row, int col) {
    // Cells start right of the margin, below the title.
    return img.At(13 + col * cell + cell / 2, 12 + 14 + 10 + row * cell + cell / 2);
  };
  const Rgb first = cell_color(0, 0), last = cell_color(1, 0);
  EXPECT_EQ(first.g, ColorMap(0).g);
  EXPECT_EQ(last.g, ColorMap(1).g);
  EXPECT_EQ(cell_color(1, 1).r, kInvalidColor.r);
  EXPECT_EQ(cell_color(1, 1).g, kInvalidColor.g);
  EXPECT_EQ(FormatValue(0.000123456), "0.0001235");
}

TEST(Png, EncodesWhatLibpngDecodes) {
  Image img(7, 3, {10, 20, 30});
  img.Set(6, 2, {200, 100, 0});
  const std::string data = EncodePng(img);
  png_image png;
  std::memset(&png, 0, sizeof(png));
  png.version = PNG_IMAGE_VERSION;
  ASSERT_TRUE(png_image_begin_read_from_memory(&png, data.data(), data.size()));
  EXPECT_EQ(png.width, 7u);
  EXPECT_EQ(png.height, 3u);
  png.format = PNG_FORMAT_RGB;
  std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(png));
  ASSERT_TRUE(png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr));
  EXPECT_EQ(pixels, img.pixels());
}

// --- frames in order ---

// Dumps within the budget are kept from their check; beyond it they are
// checked first and loaded again, with the same statistics either way, and
// a dump that changed in between is refused when its frame comes.
TEST(FrameInputs, BeyondTheBudgetDumpsAreCheckedThenLoadedAgain) {
  mirvo_test::TempDir dir;
  mirvo_cli_test::WriteFixtures(dir.path());
  std::vector<std::string> paths;
  for (int k = 0; k < 3; ++k) paths.push_back(dir.File("stats_00" + std::to_string(k) + ".txt"));
  paths.push_back(dir.File("stats_000.txt"));
  const uint64_t per_dump = FrameInputs::BytesPerDump();
  FrameInputs kept(paths, mirvo::workbench::MakeStatsDumpInput(), 2, 4 * per_dump);
  FrameInputs reloaded(paths, mirvo::workbench::MakeStatsDumpInput(), 2, 4 * per_dump - 1);
  EXPECT_TRUE(kept.kept());
  EXPECT_FALSE(reloaded.kept());
  for (size_t i = 0; i < paths.size(); ++i) {
    mirvo::Stats a, b;
    kept.Prepare(i, &a);
    reloaded.Prepare(i, &b);
    ASSERT_EQ(a.cols * a.rows, 32 * 24);
    ASSERT_EQ(b.cols * b.rows, 32 * 24);
    EXPECT_EQ(std::memcmp(a.cells, b.cells, sizeof(mirvo::StatsCell) * 32 * 24), 0) << i;
  }

  // A bad last dump fails the check of both paths, before any frame.
  const std::string bad = dir.File("bad.txt");
  mirvo_test::WriteFile(bad, mirvo_test::ReadFile(paths[0]).substr(0, 20000));
  std::vector<std::string> with_bad = paths;
  with_bad.push_back(bad);
  for (uint64_t budget : {uint64_t{1} << 30, uint64_t{0}})
    EXPECT_THROW(FrameInputs(with_bad, mirvo::workbench::MakeStatsDumpInput(), 2, budget), mirvo::workbench::FileError)
        << budget;

  // Rewritten after the check, even with valid content: refused.
  const std::string moving = dir.File("moving.txt");
  mirvo_test::WriteFile(moving, mirvo_test::ReadFile(paths[1]));
  FrameInputs inputs({paths[0], moving}, mirvo::workbench::MakeStatsDumpInput(), 1, 0);
  std::filesystem::remove(moving);
  mirvo_test::WriteFile(moving, mirvo_test::ReadFile(paths[2]));
  mirvo::Stats stats;
  inputs.Prepare(0, &stats);
  try {
    inputs.Prepare(1, &stats);
    ADD_FAILURE() << "a changed dump was taken";
  } catch (const DataError& e) {
    EXPECT_EQ(std::string(e.what()),
              moving + ": changed since it was checked at the start of the run; frame 1 and later not run");
  }
}

TEST(FrameSource, HandsOutFramesInOrderFromManyThreads) {
  std::atomic<int> running{0}, peak{0};
  FrameSource source(
      40,
      [&](size_t i, mirvo::Stats* s) {
        const int now = ++running;
        int p = peak.load();
        while (now > p && !peak.compare_exchange_weak(p, now)) {
        }
        // Later frames finish first.
        std::this_thread::sleep_for(std::chrono::microseconds(500 * (3 - static_cast<int>(i % 4))));
        s->ConfigureStatsSize(static_cast<int>(i) + 1, 1);
        --running;
      },
      4, 6);
  for (int i = 0; i < 40; ++i) EXPECT_EQ(source.Take().cols, i + 1);
  EXPECT_GT(peak.load(), 1) << "frames were prepared in parallel";
}

TEST(FrameSource, ErrorsArriveWithTheirFrame) {
  FrameSource source(
      10,
      [](size_t i, mirvo::Stats* s) {
        if (i == 3) throw DataError("frame3.raw: broken");
        if (i == 5) throw std::runtime_error("boom");
        s->ConfigureStatsSize(1, 1);
      },
      2, 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(source.Take().cols, 1);
  try {
    source.Take();
    ADD_FAILURE();
  } catch (const CliError& e) {
    EXPECT_STREQ(e.what(), "frame3.raw: broken");
    EXPECT_EQ(e.exit_status(), 1);
  }
  // Frames after the failed one are abandoned; asking for one does not hang.
  for (int i = 0; i < 2; ++i) EXPECT_THROW(source.Take(), CliError);
}

TEST(FrameSource, UnexpectedExceptionsArriveWhole) {
  FrameSource source(
      1, [](size_t, mirvo::Stats*) { throw std::runtime_error("boom"); }, 1, 1);
  try {
    source.Take();
    ADD_FAILURE();
  } catch (const CliError&) {
    ADD_FAILURE() << "turned into a CliError";
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "boom");
  }
}

// --- outputs behind the engine ---

TEST(OutputQueue, RunsEveryTaskBeforeFinishReturns) {
  std::atomic<int> done{0};
  OutputQueue queue(3, 2);
  for (int i = 0; i < 50; ++i)
    queue.Submit([&done] {
      std::this_thread::sleep_for(std::chrono::microseconds(100));
      ++done;
    });
  queue.Finish();
  EXPECT_EQ(done.load(), 50);
}

TEST(OutputQueue, WithoutThreadsTasksRunAtOnce) {
  int done = 0;
  OutputQueue queue(0, 1);
  queue.Submit([&done] { ++done; });
  EXPECT_EQ(done, 1);
  EXPECT_THROW(queue.Submit([] { throw DataError("x.h: disk full"); }), DataError);
}

TEST(OutputQueue, TheFirstFailureIsReportedAndLaterTasksDropped) {
  std::atomic<int> done{0};
  OutputQueue queue(1, 100);
  queue.Submit([] { throw DataError("table_003.h: write failed"); });
  try {
    for (int i = 0; i < 20; ++i) {
      queue.Submit([&done] { ++done; });
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    queue.Finish();
    ADD_FAILURE() << "no failure reported";
  } catch (const CliError& e) {
    EXPECT_STREQ(e.what(), "table_003.h: write failed");
    EXPECT_EQ(e.exit_status(), 1);
  }
  EXPECT_LT(done.load(), 20);
}

TEST(OutputQueue, PendingTasksFinishWhenTheQueueIsDropped) {
  std::atomic<int> done{0};
  {
    OutputQueue queue(2, 100);
    for (int i = 0; i < 10; ++i)
      queue.Submit([&done] {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++done;
      });
  }
  EXPECT_EQ(done.load(), 10) << "outputs of frames already run are completed";
}

// --- progress ---

TEST(Progress, TextAndQuietWhenDisabled) {
  EXPECT_EQ(Progress::Text(3, 10, 1.5), "frame 3/10, 2.0 fps");
  EXPECT_EQ(Progress::Text(0, 10, 0), "frame 0/10, 0.0 fps");
  TempDir dir;
  std::FILE* f = std::fopen(dir.File("p").c_str(), "w");
  {
    Progress quiet(5, false, f);
    quiet.Update(5);
  }
  {
    Progress shown(2, true, f);
    shown.Update(1);
    shown.Update(2);  // the last frame is always drawn
  }
  std::fclose(f);
  const std::string text = ReadFile(dir.File("p"));
  EXPECT_EQ(text.find("frame 2/2"), text.rfind("frame"));
  EXPECT_NE(text.find("\rframe 1/2"), std::string::npos);
  EXPECT_EQ(text.back(), '\r') << "the line is cleared at the end";
}

// --- tables ---

TEST(TableSummary, FalloffOfAPlane) {
  float plane[13][17];
  for (auto& row : plane)
    for (float& v : row) v = 2.0f;
  plane[6][8] = 1.0f;
  plane[0][0] = 4.0f;
  const PlaneSummary s = SummarisePlane(plane);
  EXPECT_EQ(s.min, 1.0);
  EXPECT_EQ(s.max, 4.0);
  EXPECT_EQ(s.corner_mean, 2.5);
  EXPECT_DOUBLE_EQ(s.corner_falloff, 40.0);
  const std::string text = TableSummary(mirvo_test::UniformTable(3.0f, 1.5f, 1.5f, 1.5f));
  EXPECT_NE(text.find("R/G      2.00000   2.00000"), std::string::npos) << text;
  EXPECT_NE(text.find("B/G      1.00000"), std::string::npos) << text;
}

// --- demo ---

TEST(Demo, BaseTableFlattensTheVignettingAndPartOfTheColour) {
  const DemoLens lens(mirvo::DefaultMirvoParams().learned_tint_profile, 0.75);
  const mirvo::LscTable base = lens.BaseTable();
  for (int r : {0, 6, 12})
    for (int c : {0, 8, 16}) {
      const double x = c / 16.0, y = r / 12.0;
      EXPECT_NEAR(base.gr_gain[r][c] * lens.Vignetting(x, y), 1.0, 1e-6);
      const double rg = std::log(base.r_gain[r][c] / base.gr_gain[r][c]);
      EXPECT_NEAR(rg + lens.CalibratedU(x, y), 0.0, 1e-6);
      EXPECT_NEAR(lens.ShadingU(x, y), lens.CalibratedU(x, y) + lens.ResidualU(x, y), 1e-12);
    }
  EXPECT_LT(lens.Vignetting(0, 0), 0.7);
  EXPECT_EQ(lens.Vignetting(0.5, 0.5), 1.0);
}

TEST(Demo, ResidualMeasuresWhatTheTableLeaves) {
  const DemoLens lens(mirvo::DefaultMirvoParams().learned_tint_profile, 0.75);
  mirvo::LscTable perfect = lens.BaseTable();
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      perfect.r_gain[r][c] = perfect.gr_gain[r][c] * std::exp(-lens.ShadingU(c / 16.0, r / 12.0));
      perfect.b_gain[r][c] = perfect.gr_gain[r][c] * std::exp(-lens.ShadingV(c / 16.0, r / 12.0));
    }
  const double before = ResidualColourShading(lens, lens.BaseTable());
  const double after = ResidualColourShading(lens, perfect);
  EXPECT_GT(before, 0.3);
  EXPECT_LT(after, 0.05 * before) << "only the bilinear placement between nodes remains";
  // A uniform colour cast is no shading at all.
  mirvo::LscTable cast = lens.BaseTable();
  for (auto& row : cast.r_gain)
    for (float& v : row) v *= 1.3f;
  EXPECT_NEAR(ResidualColourShading(lens, cast), before, 1e-4);
}

TEST(Demo, FramesAreDeterministicAndLaidOutRGGB) {
  DemoCamera cam;
  cam.width = 64;
  cam.height = 48;
  const DemoLens lens(mirvo::DefaultMirvoParams().learned_tint_profile, 0.75);
  const LensGains gains = ComputeLensGains(cam, lens);
  const DemoFrame a = RenderDemoFrame(cam, gains, 2), b = RenderDemoFrame(cam, gains, 2);
  const DemoFrame c = RenderDemoFrame(cam, gains, 3);
  EXPECT_EQ(a.r, b.r);
  EXPECT_NE(a.r, c.r);
  ASSERT_EQ(a.half_width, 32);
  const std::vector<uint16_t> m = Mosaic(a);
  EXPECT_EQ(m[0], a.r[0]);
  EXPECT_EQ(m[1], a.gr[0]);
  EXPECT_EQ(m[64], a.gb[0]);
  EXPECT_EQ(m[65], a.b[0]);
  EXPECT_EQ(m[64 * 3 + 2], a.gb[32 + 1]);
  for (uint16_t v : m) {
    EXPECT_GE(v, 30);  // black level 64 minus noise
    EXPECT_LE(v, 1023);
  }
}

}  // namespace
