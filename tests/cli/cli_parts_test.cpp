// Unit tests of the mirvo program's parts: options, outputs, pictures,
// table summaries and the demo's lens.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/stat.h>

#include <cmath>
#include <cstring>
#include <filesystem>

#include "analysis/shading_metric.h"
#include "analysis/table_summary.h"
#include "base/cli_error.h"
#include "commands/args.h"
#include "commands/raw_options.h"
#include "demo/demo_scene.h"
#include "engine_scene.h"
#include "files/atomic_file.h"
#include "io/default_tuning.h"
#include "render/colormap.h"
#include "render/font.h"
#include "render/heatmap.h"
#include "render/png_writer.h"
#include "run_program.h"
#include "test_support.h"

namespace {

using namespace mirvo_cli;
using mirvo_test::ReadFile;
using mirvo_test::TempDir;
using Argv = std::vector<std::string>;

// The usage error (exit status 2) `parse` throws.
template <typename F>
std::string UsageOf(F parse) {
  const std::string error = mirvo_cli_test::ErrorOf(parse);
  EXPECT_EQ(error.rfind("2: mirvo ", 0), 0u) << error;
  return error;
}

TEST(Args, ParsesEachKindAndRejectsWhatItCannotUse) {
  const std::vector<OptionSpec> specs = {
      {"--flag", OptionKind::kFlag}, {"--width", OptionKind::kValue}, {"--files", OptionKind::kList}};
  const Args a("run", specs, {"pos", "--width=12", "--flag", "--files", "a", "-b", "--", "--x"});
  EXPECT_TRUE(a.Has("--flag"));
  EXPECT_EQ(a.GetInt("--width", 0, 0, 100), 12);
  EXPECT_EQ(a.List("--files"), (Argv{"a", "-b"}));
  EXPECT_EQ(a.positional(), (Argv{"pos", "--x"}));
  // More of them through the program in the attack and help scripts.
  const std::pair<Argv, const char*> rows[] = {{{"--width", "99999999999999999999"}, "is not an integer"},
                                               {{"--files"}, "--files needs at least one file"},
                                               {{"--flag=1"}, "--flag takes no value"}};
  for (const auto& [argv, message] : rows)
    EXPECT_NE(UsageOf([&, &argv = argv] { Args("run", specs, argv).GetInt("--width", 0, 0, 100); }).find(message),
              std::string::npos);
  EXPECT_TRUE(WantsHelp({"--stats", "a", "-h"}));
  EXPECT_FALSE(WantsHelp({"--", "--help"}));
  EXPECT_FALSE(WantsHelp({"--helpful"}));
  double d = 0;
  long l = 0;
  EXPECT_TRUE(ParseDouble("1e-3", &d) && d == 1e-3 && ParseLong("-42", &l) && l == -42);
  for (const char* bad : {"1.5.", " 4"}) EXPECT_FALSE(ParseDouble(bad, &d) || ParseLong(bad, &l)) << bad;
  EXPECT_EQ(SplitCommas("a,,b"), (Argv{"a", "", "b"}));
}

// Options of a 100x50 10-bit frame: the file size they give, or the error.
// The frame rules shared with the Python module are the workbench's: one row
// (--mipi) shows they are wired; more are in the attack script.
TEST(RawOptions, FileSizesLevelsAndImpossibleFrames) {
  std::vector<OptionSpec> specs;
  AddRawOptionSpecs(&specs);
  auto parse = [&](const char* width, const char* bits, Argv extra) {
    Argv argv = {"--width", width, "--height", "50", "--bits", bits, "--pattern", "GRBG"};
    argv.insert(argv.end(), extra.begin(), extra.end());
    return ParseRawOptions(Args("stats", specs, argv));
  };
  EXPECT_EQ(RawFileSize(parse("100", "10", {})), 100u * 50 * 2);
  EXPECT_EQ(RawFileSize(parse("100", "10", {"--mipi"})), 128u * 50);    // 125 bytes, padded to 8
  EXPECT_EQ(RawFileSize(parse("4032", "10", {"--mipi"})), 5040u * 50);  // no padding
  const RawOptions one = parse("100", "10", {"--black-level", "64", "--grid", "10x5"});
  EXPECT_EQ(one.black_level[3], 64);
  EXPECT_EQ(one.grid_cols * 100 + one.grid_rows, 1005);
  EXPECT_EQ(parse("100", "10", {"--black-level", "1,2,3,4"}).black_level[3], 4);
  const std::pair<Argv, const char*> rows[] = {
      {{"--black-level", "1,2"}, "give one value or four"},
      {{"--black-level", "16383"}, "is not a level from 0 to 16382"},
      {{"--grid", "32"}, "is not COLSxROWS"},
      {{"--mipi"}, "--mipi: "},  // RAW10 needs 10 bits
  };
  for (const auto& [extra, message] : rows)
    EXPECT_NE(UsageOf([&, &extra = extra] { parse("100", "12", extra); }).find(message), std::string::npos) << message;
}

// Failures name the target: the calibration files script.
TEST(AtomicOutput, ReplacesOnlyOnCommit) {
  SetDurableWrites(true);
  TempDir dir;
  const std::string target = dir.File("out.txt");
  mirvo_test::WriteFile(target, "old");
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
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1) << "no temporary left";
  MakeDirectories(dir.File("a/b/c"));
  EXPECT_TRUE(std::filesystem::is_directory(dir.File("a/b/c")));
  EXPECT_THROW(WriteFileAtomically(dir.File("a"), "x"), DataError);
  EXPECT_THROW(MakeDirectories(dir.File("out.txt/sub")), DataError);
  EXPECT_THROW(MakeDirectories(target), DataError);
}

// --- pictures ---

TEST(Pictures, GlyphsAreDistinctAndTextIsDrawnAndClipped) {
  EXPECT_EQ(Glyph(' ')[3], 0);
  EXPECT_EQ(std::memcmp(Glyph('\x7f'), Glyph('?'), kGlyphHeight), 0);
  for (char a = 33; a < 127; ++a) {
    for (int r = 0; r < kGlyphHeight; ++r) EXPECT_LT(Glyph(a)[r], 32) << a;
    for (char b = static_cast<char>(a + 1); b < 127; ++b)
      EXPECT_NE(std::memcmp(Glyph(a), Glyph(b), kGlyphHeight), 0) << a << " looks like " << b;
  }
  Image img(40, 10, {255, 255, 255});
  EXPECT_EQ(img.DrawText(1, 1, "I", 1, {0, 0, 0}), 5);
  EXPECT_EQ(img.At(3, 1).r, 0);  // the top bar of the I
  EXPECT_EQ(img.At(1, 4).r, 255);
  img.DrawText(35, 5, "WWW", 3, {0, 0, 0});  // runs off the edge without harm
  EXPECT_EQ(Image::TextWidth("ab", 2), 22);
}

TEST(Pictures, ColorMapsDarkToBrightAndCentredOnZero) {
  for (int i = 0; i < 20; ++i) EXPECT_LE(ColorMap(i / 20.0).g, ColorMap((i + 1) / 20.0).g) << "lightness rises";
  const Rgb lo = ColorMap(0), hi = ColorMap(1);
  EXPECT_LT(lo.r + lo.g + lo.b, hi.r + hi.g + hi.b);
  for (double outside : {-5.0, double(NAN), 7.0}) EXPECT_EQ(ColorMap(outside).g, outside > 1 ? hi.g : lo.g);
  const std::pair<double, int> rows[] = {{0.0, 0xf7f7f7},  {-1.0, 0x053061}, {1.0, 0x67001f},
                                         {-7.0, 0x053061}, {NAN, 0x053061},  {0.2, 0xfddbc7}};
  for (const auto& [s, want] : rows) {
    const Rgb got = DivergingColorMap(s);
    EXPECT_EQ(got.r << 16 | got.g << 8 | got.b, want) << s;
  }
}

// Cell colours follow the values, the non-finite ones are marked, and signed
// grids are drawn symmetric about zero.
TEST(Pictures, HeatmapsColourCellsByValue) {
  GridView g{"k[2][3]", 2, 3, {1, 2, 3, 4, NAN, INFINITY}};
  const ValueRange r = FiniteRange(g.values);
  EXPECT_EQ(r.min * 100 + r.max * 10 + r.finite, 144);
  // Cells start right of the margin, below the title.
  auto cell = [](const Image& img, int size, int row, int col) {
    return img.At(13 + col * size + size / 2, 12 + 14 + 10 + row * size + size / 2);
  };
  const Image img = RenderHeatmap(g, 10);
  EXPECT_EQ(cell(img, 10, 0, 0).g, ColorMap(0).g);
  EXPECT_EQ(cell(img, 10, 1, 0).g, ColorMap(1).g);
  EXPECT_EQ(cell(img, 10, 1, 1).r, kInvalidColor.r);
  EXPECT_EQ(cell(img, 10, 1, 1).g, kInvalidColor.g);
  EXPECT_EQ(FormatValue(0.000123456), "0.0001235");
  GridView s{"log_tint_u", 1, 2, {-0.5, 1.0}};
  s.signed_values = true;
  const Image signed_img = RenderHeatmap(s, 20);
  // The scale runs from -1 to +1: -0.5 is a mid blue, +1 the darkest red.
  EXPECT_EQ(cell(signed_img, 20, 0, 0).b, DivergingColorMap(-0.5).b);
  EXPECT_EQ(cell(signed_img, 20, 0, 1).r, 103);
  for (const char* name : {"lsc_log_RG_gain", "GradL_VY", "log_u_input"}) EXPECT_TRUE(IsSignedGridName(name)) << name;
  for (const char* name : {"linear_tint_u", "WX", "is_reliable_dx_"}) EXPECT_FALSE(IsSignedGridName(name)) << name;
}

TEST(Pictures, PngIsWhatLibpngDecodes) {
  Image img(7, 3, {10, 20, 30});
  img.Set(6, 2, {200, 100, 0});
  const std::string data = EncodePng(img);
  png_image png;
  std::memset(&png, 0, sizeof(png));
  png.version = PNG_IMAGE_VERSION;
  ASSERT_TRUE(png_image_begin_read_from_memory(&png, data.data(), data.size()));
  EXPECT_EQ(png.width * 10 + png.height, 73u);
  png.format = PNG_FORMAT_RGB;
  std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(png));
  ASSERT_TRUE(png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr));
  EXPECT_EQ(pixels, img.pixels());
}

// --- tables and the demo's lens ---

// Each plane's minimum, maximum, corners and falloff are pinned on a real
// table by the table view script; here the colour ratio lines.
TEST(TableSummary, ColourRatios) {
  const std::string text = TableSummary(mirvo_test::UniformTable(3.0f, 1.5f, 1.5f, 1.5f));
  EXPECT_NE(text.find("R/G      2.00000   2.00000"), std::string::npos) << text;
  EXPECT_NE(text.find("B/G      1.00000"), std::string::npos) << text;
}

// The base table flattens the vignetting and the calibrated part of the
// colour; the residual measures what a table leaves: near nothing for the
// lens's own shading, the same for a uniform colour cast.
TEST(Demo, BaseTableAndResidualOfTheLens) {
  const DemoLens lens(mirvo::DefaultMirvoParams().learned_tint_profile, 0.75);
  const mirvo::LscTable base = lens.BaseTable();
  mirvo::LscTable perfect = base, cast = base;
  for (int r = 0; r < 13; ++r)
    for (int c = 0; c < 17; ++c) {
      const double x = c / 16.0, y = r / 12.0;
      EXPECT_NEAR(base.gr_gain[r][c] * lens.Vignetting(x, y), 1.0, 1e-6);
      EXPECT_NEAR(std::log(base.r_gain[r][c] / base.gr_gain[r][c]) + lens.CalibratedU(x, y), 0.0, 1e-6);
      perfect.r_gain[r][c] = perfect.gr_gain[r][c] * std::exp(-lens.ShadingU(x, y));
      perfect.b_gain[r][c] = perfect.gr_gain[r][c] * std::exp(-lens.ShadingV(x, y));
      cast.r_gain[r][c] *= 1.3f;
    }
  EXPECT_LT(lens.Vignetting(0, 0), 0.7);
  EXPECT_EQ(lens.Vignetting(0.5, 0.5), 1.0);
  const double before = ResidualColourShading(lens, base);
  EXPECT_GT(before, 0.3);
  EXPECT_LT(ResidualColourShading(lens, perfect), 0.05 * before) << "only the bilinear placement remains";
  EXPECT_NEAR(ResidualColourShading(lens, cast), before, 1e-4);
}

}  // namespace
