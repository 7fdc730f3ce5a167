#include "io/tuning_file.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>

#include "io/default_tuning.h"
#include "support/test_support.h"

namespace mirvo {
namespace {

using mirvo_test::LogCapture;
using mirvo_test::ReadFile;
using mirvo_test::Replaced;
using mirvo_test::TempDir;
using mirvo_test::WriteFile;

// A hand-written tuning header: BUL holds 0..220, BVL 1000..1220, BgUHXY
// i / 2 and BgVHXY -i, laid out freely within what the reader accepts.
std::string TuningText() {
  std::string text =
      "// tuning for a test module\n/* [Version] */\nstatic const unsigned char v[4] = {\n  3, 3, 3, 3,\n};\n";
  text += "\n/* [TuningParams] */\nstatic const struct tp t = {\n";
  for (const char* v : {"0.002,", "0.98, // max", "0.5", "0.03", "0.02", "1,", "0.25", "0.125", "0"}) {
    text += std::string("  ") + v + "\n";
  }
  text += "};\n\n/* [BUL] */\nstatic const float bul[13][17] = {\n";
  for (int r = 0; r < 13; ++r) {
    text += "  {";
    for (int c = 0; c < 17; ++c) text += std::to_string(r * 17 + c) + (c < 16 ? ", " : "},\n");
  }
  text += "};\n//[BVL]\nstatic const float bvl[13][17] = {\n";
  for (int i = 0; i < 221; ++i) text += std::to_string(1000 + i) + (i % 17 == 16 ? "\n" : " ");
  text += "};\n  /* [BgUHXY] */\n{\n";
  for (int i = 0; i < 1480; ++i) text += std::to_string(i / 2) + (i % 2 ? ".5," : ",") + (i % 40 == 39 ? "\n" : " ");
  text += "}\n/**[BgVHXY]\n";
  for (int i = 0; i < 1480; ++i) text += (i ? "-" : "") + std::to_string(i) + (i % 40 == 39 ? "\n" : " ");
  return text + "};\n";
}

MirvoParams Filled(unsigned char byte) {
  MirvoParams params;
  std::memset(&params, byte, sizeof params);
  return params;
}

TEST(TuningFile, ReadsEverySectionInOrder) {
  TempDir dir;
  WriteFile(dir.File("t.h"), TuningText());
  MirvoParams params = Filled(0x7F);
  ASSERT_EQ(LoadTuningHeaderFile(dir.File("t.h").c_str(), params), kOk);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(params.version[i], 3);
  const TuningParams want = {0.002f, 0.98f, 0.5f, 0.03f, 0.02f, 1, 0.25f, 0.125f, 0};
  EXPECT_TRUE(mirvo_test::SameBytes(params.tuning, want));
  const LearnedTintProfile& p = params.learned_tint_profile;
  for (int i = 0; i < 221; ++i) {
    ASSERT_EQ(p.BUL[i / 17][i % 17], static_cast<float>(i));
    ASSERT_EQ(p.BVL[i / 17][i % 17], static_cast<float>(1000 + i));
  }
  for (int i = 0; i < 1480; ++i) {
    ASSERT_EQ(p.BgUHXY[i], static_cast<float>(i) / 2.0f);  // the lone "{" adds nothing
    ASSERT_EQ(p.BgVHXY[i], -static_cast<float>(i));
  }
}

TEST(TuningFile, NumbersAndDecoration) {
  TempDir dir;
  struct Case {
    const char* name;
    std::string from, to;
    int version;
    float bul0, bul16;
  };
  const Case cases[] = {
      {"fraction truncates", "  3, 3, 3, 3,", "2.9", 2, 0.0f, 16.0f},
      {"low eight bits", "  3, 3, 3, 3,", "300 /* wraps */", 44, 0.0f, 16.0f},
      {"negative", "  3, 3, 3, 3,", "-1", 255, 0.0f, 16.0f},
      {"braces and commas", "{0, 1,", "{0.5, 1,", 3, 0.5f, 16.0f},
      {"closing brace", " 16},", " 0.25},", 3, 0.0f, 0.25f},
      {"hex and exponent", "{0, 1,", "{0x1p-2, 1,", 3, 0.25f, 16.0f},
      // A section line may stand behind comment characters.
      {"bare section line", "/* [TuningParams] */", "[TuningParams]", 3, 0.0f, 16.0f},
      {"behind a star", "/* [TuningParams] */", " * [TuningParams]", 3, 0.0f, 16.0f},
      {"behind slashes, text after", "/* [TuningParams] */", "//[TuningParams] of the module", 3, 0.0f, 16.0f},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    WriteFile(dir.File("t.h"), Replaced(TuningText(), c.from, c.to));
    MirvoParams params = Filled(0);
    ASSERT_EQ(LoadTuningHeaderFile(dir.File("t.h").c_str(), params), kOk);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(params.version[i], c.version);
    EXPECT_EQ(params.learned_tint_profile.BUL[0][0], c.bul0);
    EXPECT_EQ(params.learned_tint_profile.BUL[0][16], c.bul16);
  }

  // The file may end right after the last gradient value.
  std::string text = TuningText();
  text.pop_back();
  WriteFile(dir.File("t.h"), text);
  MirvoParams params;
  EXPECT_EQ(LoadTuningHeaderFile(dir.File("t.h").c_str(), params), kOk);
  EXPECT_EQ(params.learned_tint_profile.BgVHXY[1479], -1479.0f);
}

TEST(TuningFile, FailuresLogAndKeepWhatWasRead) {
  TempDir dir;
  LogCapture log;
  MirvoParams params = Filled(0x11);
  EXPECT_EQ(LoadTuningHeaderFile(dir.File("missing.h").c_str(), params), kFileError);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(params.version[0], 0x11);

  // The fourth value line is no number: it is stored as 0, then the load stops.
  WriteFile(dir.File("t.h"), Replaced(TuningText(), "  0.03\n", "  smooth\n"));
  EXPECT_EQ(LoadTuningHeaderFile(dir.File("t.h").c_str(), params), kFileError);
  EXPECT_EQ(mirvo_test::LogText(log), "E/MirvoCore: Line:   smooth is not decoded\n");
  EXPECT_EQ(params.tuning.sat_ratio_thd, 0.5f);
  EXPECT_EQ(params.tuning.smooth_thd, 0.0f);
  uint32_t untouched;
  std::memcpy(&untouched, &params.tuning.limit_thd, 4);
  EXPECT_EQ(untouched, 0x11111111u);

  // Running out of gradient values: the stream check reports end of file.
  WriteFile(dir.File("t.h"), TuningText().substr(0, TuningText().rfind(" -1470")));
  testing::internal::CaptureStderr();
  EXPECT_EQ(LoadTuningHeaderFile(dir.File("t.h").c_str(), params), kFileError);
  EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("stream eofbit. error state", 0), 0u);
  EXPECT_EQ(params.learned_tint_profile.BgVHXY[1469], -1469.0f);
}

// Each broken file: what the reader does (kFileError or an exception from
// std::stof) and the reason the validator gives instead.
TEST(TuningFile, ValidatorNamesTheFault) {
  TempDir dir;
  struct Case {
    const char* from;
    const char* to;
    bool throws;
    const char* reason;
  } const cases[] = {
      {"/* [TuningParams] */", "/*\t[TuningParams] */", false, "section [TuningParams] not found"},
      {"//[BVL]", "// BVL", false, "section [BVL] not found"},
      {"  3, 3, 3, 3,", "  v3", false, "[Version]: value line does not start with a number"},
      {"  0.03\n", "  smooth\n", false, "[TuningParams]: line 4 does not start with a number (smooth_thd)"},
      {" -1470", "", false, "[BgVHXY]: file ends after 1470 of 1480 values"},
      {"static const float bvl", "", false, "[BVL]: file ends after 0 of 221 values"},
      {" 1040 ", "\n", false, "[BVL]: file ends after 40 of 221 values"},
      {" 36,", " abc,", true, "[BUL]: token 37 \"abc,\" is not a number"},
      {"{0, 1,", "{ 0, 1,", true, "[BUL]: token 1 \"{\" is not a number"},
      {"1001 ", "1e60 ", true, "[BVL]: token 2 \"1e60\" is out of float range"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.reason);
    const std::string text = TuningText();
    const bool cut = *c.to == '\0' || *c.to == '\n';  // cut there, ending in `to`
    WriteFile(dir.File("v.h"), cut ? text.substr(0, text.rfind(c.from)) + c.to : Replaced(text, c.from, c.to));
    MirvoParams params;
    LogCapture quiet;
    testing::internal::CaptureStderr();
    if (c.throws) {
      EXPECT_THROW(LoadTuningHeaderFile(dir.File("v.h").c_str(), params), std::logic_error);
    } else {
      EXPECT_EQ(LoadTuningHeaderFile(dir.File("v.h").c_str(), params), kFileError);
    }
    testing::internal::GetCapturedStderr();
    std::string why;
    EXPECT_EQ(TuningValidateHeaderFile(dir.File("v.h").c_str(), &why), kFileError);
    EXPECT_EQ(why, c.reason);
  }
  const std::string none = dir.File("none.h");
  for (const auto& [path, reason] : {std::pair{none.c_str(), "cannot open file"},
                                     {dir.path().c_str(), "not a regular file"},
                                     {nullptr, "no path given"}}) {
    std::string why;
    EXPECT_EQ(TuningValidateHeaderFile(path, &why), kFileError);
    EXPECT_EQ(why, reason);
  }
}

// The validator accepts exactly the files that load with kOk and no exception.
TEST(TuningFile, ValidatorAgreesWithReaderOnMutatedFiles) {
  const int accepted = mirvo_test::CountAcceptedMutations(
      TuningText(), 5, 400, " \nx{},\t[", 30,
      [](const char* path, std::string* why) { return TuningValidateHeaderFile(path, why) == kOk; },
      [](const char* path) {
        MirvoParams params;
        return LoadTuningHeaderFile(path, params) == kOk;
      });
  EXPECT_GT(accepted, 30);
  EXPECT_LT(accepted, 380);
}

// The writer's exact text is pinned by the checked-in default tuning (see
// default_tuning_test); here every bit must come back.
TEST(TuningFile, WriterRoundTripsEveryBit) {
  MirvoParams params;
  std::mt19937 rng(3);
  for (unsigned char& b : params.version) b = 200;
  params.tuning = {1e-30f, 3.4e38f, -0.0f, 1.0f / 3.0f, 7e-8f, -12345, 0.15f, 2.5e-3f, 16777216};
  float* floats = &params.learned_tint_profile.BUL[0][0];
  for (int i = 0; i < 3402; ++i) {
    uint32_t bits = rng();
    std::memcpy(&floats[i], &bits, 4);
    // Subnormals are written as zeros (see below): not in the bit-exact trip.
    if (!std::isnormal(floats[i])) floats[i] = static_cast<float>(i) - 1700.5f;
  }
  floats[0] = -0.0f;
  floats[1] = -std::numeric_limits<float>::max();
  floats[2] = std::numeric_limits<float>::infinity();
  floats[3] = 1.17549435e-38f;  // smallest normal
  TempDir dir;
  EXPECT_EQ(SaveTuningHeaderFile((dir.path() + "/no/dir.h").c_str(), params), kFileError);
  ASSERT_EQ(SaveTuningHeaderFile(dir.File("w.h").c_str(), params), kOk);
  // The loader takes the infinity; the strict reader refuses it, as it
  // refuses every gain the engine cannot use.
  std::string why;
  EXPECT_EQ(TuningValidateHeaderFile(dir.File("w.h").c_str(), &why), kFileError);
  EXPECT_EQ(why, "[BUL]: value 3 \"inf,\" is not a finite number");
  MirvoParams back = Filled(0x55);
  ASSERT_EQ(LoadTuningHeaderFile(dir.File("w.h").c_str(), back), kOk);
  EXPECT_EQ(std::memcmp(&back, &params, sizeof params), 0);

  // A subnormal comes back as a zero of its sign, which every platform's
  // reader accepts.
  params.learned_tint_profile.BgVHXY[7] = -std::numeric_limits<float>::denorm_min();
  params.learned_tint_profile.BgVHXY[8] = 1e-40f;
  ASSERT_EQ(SaveTuningHeaderFile(dir.File("w.h").c_str(), params), kOk);
  ASSERT_EQ(LoadTuningHeaderFile(dir.File("w.h").c_str(), back), kOk);
  EXPECT_EQ(back.learned_tint_profile.BgVHXY[7], 0.0f);
  EXPECT_TRUE(std::signbit(back.learned_tint_profile.BgVHXY[7]));
  EXPECT_EQ(back.learned_tint_profile.BgVHXY[8], 0.0f);
  EXPECT_FALSE(std::signbit(back.learned_tint_profile.BgVHXY[8]));
}

TEST(TuningFile, HolderStartsOnDefaultAndAllocatesOnce) {
  MirvoTuning tuning;
  EXPECT_EQ(tuning.GetTuningTable(), &DefaultMirvoParams());
  tuning.SetTuningTable();
  EXPECT_EQ(tuning.GetTuningTable(), &DefaultMirvoParams());

  TempDir dir;
  WriteFile(dir.File("t.h"), TuningText());
  ASSERT_EQ(tuning.LoadHeaderFile(dir.File("t.h").c_str()), kOk);
  MirvoParams* const owned = tuning.GetTuningTable();
  EXPECT_NE(owned, &DefaultMirvoParams());
  EXPECT_EQ(owned->version[0], 3);

  WriteFile(dir.File("t.h"), Replaced(TuningText(), "  3, 3, 3, 3,", "  4"));
  ASSERT_EQ(tuning.LoadHeaderFile(dir.File("t.h").c_str()), kOk);
  EXPECT_EQ(tuning.GetTuningTable(), owned);
  EXPECT_EQ(owned->version[2], 4);
  EXPECT_EQ(tuning.LoadHeaderFile(dir.File("missing.h").c_str()), kFileError);
  EXPECT_EQ(tuning.GetTuningTable(), owned);
}

}  // namespace
}  // namespace mirvo
