#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/stats.h"
#include "support/test_support.h"
#include "tools/stats_text.h"

namespace mirvo {
namespace {

using mirvo_test::ReadFile;
using mirvo_test::TempDir;
using mirvo_test::WriteFile;

const char* const kMarkers[8] = {"*r_sum[768]", "*b_sum[768]", "*g_or_gr_sum[768]", "*y_or_gb_sum[768]",
                                 "*r_cnt[768]", "*b_cnt[768]", "*g_or_gr_cnt[768]", "*y_or_gb_cnt[768]"};

// A simulator-style file: section k holds the values k * 1000 + cell in hex.
std::string SimFile(const std::vector<int>& order = {0, 1, 2, 3, 4, 5, 6, 7}) {
  std::string text = "simulator dump\n";
  for (int k : order) {
    text += std::string(kMarkers[k]) + " =\n";
    for (int i = 0; i < 768; ++i) {
      char value[16];
      std::snprintf(value, sizeof value, "%X", k * 1000 + i);
      text += value;
      text += i % 16 == 15 ? "\n" : " ";
    }
  }
  return text;
}

int Load(Stats& stats, const std::string& path) { return stats.LoadSimStatsElmrak(path.c_str()); }

TEST(StatsDump, TextDumpIsByteExact) {
  Stats stats;
  stats.ConfigureStatsSize(2, 1);
  stats.cells[0].sum[R] = 0x1F4;
  stats.cells[0].cnt[R] = 4;
  stats.cells[1].sum[B] = 0xFFFFFFFFu;
  stats.cells[1].cnt[Gb] = 0xFFFF;
  stats.cells[0].sat_cnt[R] = 9;  // not written
  TempDir dir;
  ASSERT_EQ(stats.SaveAsText(dir.File("s.txt").c_str()), kOk);
  EXPECT_EQ(ReadFile(dir.File("s.txt")),
            "\n******** Stats BG Tintless ********\n"
            "*HW Unpacked Buffer : Length =        768"
            "\n*r_sum[768] =\n0x1f4\t0x0\t"
            "\n*b_sum[768] =\n0x0\t0xffffffff\t"
            "\n*g_or_gr_sum[768] =\n0x0\t0x0\t"
            "\n*y_or_gb_sum[768] =\n0x0\t0x0\t"
            "\n*r_cnt[768] =\n0x4\t0x0\t"
            "\n*b_cnt[768] =\n0x0\t0x0\t"
            "\n*g_or_gr_cnt[768] =\n0x0\t0x0\t"
            "\n*y_or_gb_cnt[768] =\n0x0\t0xffff\t");
  EXPECT_EQ(stats.SaveAsText((dir.path() + "/no/dir.txt").c_str()), kFileError);

  // A 2 x 1 grid's dump does not load back: the loader wants 768 values per
  // section and runs into the next header.
  Stats back;
  EXPECT_THROW(Load(back, dir.File("s.txt")), std::invalid_argument);
  std::string why;
  EXPECT_EQ(StatsValidateTextFile(dir.File("s.txt").c_str(), &why), kFileError);
  EXPECT_EQ(why, "*r_sum[768]: token 3 \"*b_sum[768]\" is not a hexadecimal number");
}

TEST(StatsDump, MeanImageIsBggrQuadPerCell) {
  Stats stats;
  stats.ConfigureStatsSize(2, 1);
  StatsCell& a = stats.cells[0];
  a.sum[R] = 0x1F4, a.cnt[R] = 4;  // 125
  a.sum[Gr] = 7, a.cnt[Gr] = 2;    // 3
  a.sum[Gb] = 9, a.cnt[Gb] = 0;    // no samples: 0
  a.sum[B] = 70000, a.cnt[B] = 1;  // truncated to 16 bits: 4464
  stats.cells[1].sum[B] = 5, stats.cells[1].cnt[B] = 5;
  TempDir dir;
  ASSERT_EQ(stats.Save(dir.File("mean.raw").c_str()), kOk);
  const uint16_t expected[8] = {4464, 3,   1, 0,   // B Gr of both cells
                                0,    125, 0, 0};  // Gb R
  EXPECT_EQ(ReadFile(dir.File("mean.raw")), std::string(reinterpret_cast<const char*>(expected), sizeof expected));

  EXPECT_EQ(stats.Save((dir.path() + "/no/dir.raw").c_str()), kFileError);
}

TEST(StatsSimLoader, ReadsSectionsIntoTheirChannels) {
  TempDir dir;
  WriteFile(dir.File("sim.txt"), SimFile());
  Stats stats;
  ASSERT_EQ(Load(stats, dir.File("sim.txt")), 0);
  const StatsCell& a = stats.cells[5];
  const StatsCell& z = stats.cells[767];
  EXPECT_EQ((std::vector<uint32_t>{a.sum[R], a.sum[B], a.sum[Gr], z.sum[Gb], a.cnt[R], a.cnt[B], a.cnt[Gr], z.cnt[Gb]}),
            (std::vector<uint32_t>{5, 1005, 2005, 3767, 4005, 5005, 6005, 7767}));

  // Markers may go on after the bracket; tokens carry attached separators;
  // sums take 32 bits, counts keep their low 16 bits.
  std::string text = SimFile();
  text.replace(text.find("\n3E8 ") + 1, 3, "0xffffffff");  // first B sum
  text.replace(text.find("*r_cnt[768] ="), 13, "*r_cnt[768] = /* counts */");
  text.replace(text.find("\nFA0 ") + 1, 3, "0x1F4,");  // first R count
  text.replace(text.find(" FA1 ") + 1, 3, "10000");    // second R count
  WriteFile(dir.File("sim.txt"), text);
  ASSERT_EQ(Load(stats, dir.File("sim.txt")), 0);
  EXPECT_EQ(stats.cells[0].sum[B], 0xFFFFFFFFu);
  EXPECT_EQ(stats.cells[0].cnt[R], 500);
  EXPECT_EQ(stats.cells[1].cnt[R], 0);
}

// Each broken file: the loader's result and perror message, and the
// validator's reason.
TEST(StatsSimLoader, FailuresMessagesAndValidatorReasons) {
  TempDir dir;
  Stats stats;
  EXPECT_EQ(Load(stats, dir.File("missing.txt")), -100);
  EXPECT_EQ(stats.cols, 32);
  std::string why;
  for (const auto& [path, reason] :
       {std::pair{dir.File("missing.txt"), "cannot open file"}, std::pair{dir.path(), "not a regular file"}}) {
    EXPECT_EQ(StatsValidateTextFile(path.c_str(), &why), kFileError);
    EXPECT_EQ(why, reason);
  }
  const std::string no_space = SimFile().substr(0, SimFile().size() - 1);  // the last value ends the file
  const std::string wrong_size = mirvo_test::Replaced(SimFile(), "*g_or_gr_sum[768]", "*g_or_gr_sum[767]");
  // Every one of them ends in the end-of-file state.
  struct Case {
    std::string name, text, reason;
  } const cases[] = {
      {"b_before_r", SimFile({1, 0, 2, 3, 4, 5, 6, 7}), "section marker \"*b_sum[768]\" not found"},
      {"no_space", no_space, "*y_or_gb_cnt[768]: value 768 ends the file with no white space behind it"},
      {"wrong_size", wrong_size, "section marker \"*g_or_gr_sum[768]\" not found"},
      {"marker_last", kMarkers[0], "marker \"*r_sum[768]\" is on the last line with no line feed behind it"},
      {"short", SimFile().substr(0, SimFile().find("*b_sum") - 8), "*r_sum[768]: file ends after 766 of 768 values"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    WriteFile(dir.File(c.name), c.text);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Load(stats, dir.File(c.name)), -100);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err.rfind("stream eofbit. error state", 0), 0u) << err;
    EXPECT_EQ(StatsValidateTextFile(dir.File(c.name).c_str(), &why), kFileError);
    EXPECT_EQ(why, c.reason);
  }
  EXPECT_EQ(stats.cells[9].sum[R], 9u);  // read before the failure

  // A token without a hex digit throws; the validator names it.
  for (const char* token : {"zz", "1FFFFFFFFFFFFFFFF"}) {
    std::string bad = SimFile();
    bad.replace(bad.find("\n3E8 ") + 1, 3, token);  // first B sum
    WriteFile(dir.File("bad"), bad);
    EXPECT_THROW(Load(stats, dir.File("bad")), std::logic_error);
    EXPECT_EQ(StatsValidateTextFile(dir.File("bad").c_str(), &why), kFileError);
    EXPECT_EQ(why, std::string("*b_sum[768]: token 1 \"") + token + "\" is " +
                       (token[0] == 'z' ? "not a hexadecimal number" : "out of range"));
  }
}

// The validator accepts exactly what the loader loads without throwing.
TEST(StatsValidate, AgreesWithLoaderOnMutatedFiles) {
  const int accepted = mirvo_test::CountAcceptedMutations(
      SimFile(), 11, 300, " \nx-0*\tG", 40,
      [](const char* path, std::string* why) { return StatsValidateTextFile(path, why) == kOk; },
      [](const char* path) {
        Stats stats;
        return stats.LoadSimStatsElmrak(path) == 0;
      });
  EXPECT_GT(accepted, 20);
  EXPECT_LT(accepted, 280);
}

// A dump whose value k of every section is `value(k)`, separated by `gap`.
std::string DumpText(const std::function<std::string(int)>& value, const std::string& gap = "\t") {
  std::string text = "\n******** Stats ********\n";
  for (const StatsTextSection& section : kStatsTextSections) {
    text += StatsTextMarker(section) + " =\n";
    for (int k = 0; k < kStatsTextValues; ++k) text += value(k) + gap;
    text += "\n";
  }
  return text;
}

// The strict reader's reason, empty when it accepts.
std::string StatsTextProblem(const std::string& text) {
  Stats stats;
  return StatsParseText(text, &stats).reason;
}

TEST(StatsParseText, WholeValuesWithinTheirFields) {
  EXPECT_EQ(StatsTextProblem(DumpText([](int k) { return "0x" + std::to_string(k % 10); })), "");
  // Every white space the stream readers skip; upper-case digits and prefix; a comma behind.
  EXPECT_EQ(StatsTextProblem(DumpText([](int) { return "0XfFfF,"; }, " \v\f\r")), "");
  // Leading zeros do not make a value large; 17 significant digits do.
  EXPECT_EQ(StatsTextProblem(DumpText([](int) { return "0x00000000000000000000ffff"; })), "");
  // Beyond 64 bits the loader's conversion itself fails.
  const std::string too_big = StatsTextProblem(DumpText([](int k) { return k == 5 ? "10000000000000000" : "1"; }));
  EXPECT_EQ(too_big, "*r_sum[768]: token 6 \"10000000000000000\" is out of range");
  EXPECT_NE(StatsTextProblem(DumpText([](int) { return "0x100000000"; })).find("32-bit sum"), std::string::npos);
  // 0x10000 fits a sum but not a count.
  EXPECT_EQ(StatsTextProblem(DumpText([](int) { return "0x10000"; })),
            "*r_cnt[768]: value 1 \"0x10000\" is out of range for a 16-bit count");
  for (const char* bad : {"0x", "0xg", "12g", "1.5", "-1", "x12"}) {
    SCOPED_TRACE(bad);
    EXPECT_NE(StatsTextProblem(DumpText([&](int k) { return k == 767 ? bad : "1"; })).find(" 768 "), std::string::npos);
  }
  EXPECT_NE(StatsTextProblem(DumpText([](int) { return "1"; }) + "1\n").find("more than 768"), std::string::npos);
}

}  // namespace
}  // namespace mirvo
