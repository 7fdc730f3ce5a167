// The checked loaders both front ends use, on one table of bad files: each
// is refused with one line naming the file and the problem, and the files
// that could not be reached carry the errno the module raises OSError with.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <functional>
#include <string>

#include "test_support.h"
#include "workbench/files/loaders.h"
#include "workbench/inputs/frame_input.h"

namespace mirvo::workbench {
namespace {

// The reason `load` refuses `path` with (its path checked), or "loaded".
std::string Refusal(const std::function<void(const std::string&)>& load, const std::string& path,
                    int* os_error = nullptr) {
  try {
    load(path);
  } catch (const FileError& e) {
    EXPECT_EQ(std::string(e.what()), path + ": " + e.reason());
    EXPECT_EQ(e.path(), path);
    if (os_error) *os_error = e.os_error();
    return e.reason();
  }
  return "loaded";
}

struct BadFile {
  const char* name;
  std::string (*make)(const std::string& table);  // null: a directory (EISDIR) or nothing
  const char* reason;
  int os_error;
};

#define INVALID "not a valid LSC table header file: "
const BadFile kBadFiles[] = {
    {"empty", [](const std::string&) { return std::string(); }, "is empty, expected an LSC table header file", 0},
    // The first row of 17 numbers is cut after its 9th.
    {"truncated", [](const std::string& t) { return t.substr(0, t.find("2.31836f")); },
     INVALID "plane R: expected 221 numbers, found 8", 0},
    {"missing_marker", [](const std::string& t) { return mirvo_test::Replaced(t, "/* B Gain */", "/* B gain */"); },
     INVALID "missing marker \"/* B Gain */\"", 0},
    {"nan_gain", [](const std::string& t) { return mirvo_test::Replaced(t, "3.99902f", "nan"); },
     INVALID "plane R: value 1 \"nan,\" is not a finite number", 0},
    {"nul_byte", [](const std::string& t) { return mirvo_test::Replaced(t, "3.99902f", std::string("3.9\0902f", 8)); },
     INVALID "plane R: value 1 \"3.9?902f,\" is not a finite number", 0},
    {"decimal_comma", [](const std::string& t) { return mirvo_test::Replaced(t, "3.99902f", "3,99902f"); },
     INVALID "plane R: value 1 \"3,99902f,\" is not a finite number", 0},
    {"oversized", [](const std::string& t) { return t + std::string((1 << 20) + 1 - t.size(), ' '); },
     "file of 1048577 bytes is too large for an LSC table header file (at most 1048576)", 0},
    {"directory", nullptr, "is a directory, expected an LSC table header file", EISDIR},
    {"missing", nullptr, "cannot open an LSC table header file: No such file or directory", ENOENT},
};

class CheckedLoaders : public ::testing::TestWithParam<BadFile> {};

TEST_P(CheckedLoaders, RefuseWithTheFileAndOneReason) {
  const BadFile& bad = GetParam();
  mirvo_test::TempDir dir;
  const std::string path = dir.File(bad.name);
  if (bad.os_error == EISDIR) {
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  }
  if (bad.make) mirvo_test::WriteFile(path, bad.make(mirvo_test::ReadFile(mirvo_test::DataPath("ov8858_d50_lsc.h"))));
  int os_error = -1;
  EXPECT_EQ(Refusal([](const std::string& p) { LoadTableFile(p); }, path, &os_error), bad.reason);
  EXPECT_EQ(os_error, bad.os_error);
}

INSTANTIATE_TEST_SUITE_P(BadFiles, CheckedLoaders, ::testing::ValuesIn(kBadFiles),
                         [](const auto& info) { return std::string(info.param.name); });

// Every loader applies the same file rules with its own kind and limit, and
// the raw inputs check a frame's size against their layout.
TEST(CheckedLoaders, EachKindNamesItselfAndItsLimit) {
  mirvo_test::TempDir dir;
  const std::string empty = dir.File("empty"), big = dir.File("big");
  mirvo_test::WriteFile(empty, "");
  mirvo_test::WriteFile(big, std::string((16 << 20) + 1, 'x'));
  MirvoParams params;
  Stats stats;
  const struct {
    std::function<void(const std::string&)> load;
    std::string what;  // the kind the reasons name
    bool limited;      // at most 16 MiB
  } kinds[] = {
      {[&](const std::string& p) { LoadTuningFile(p, &params); }, "a tuning header file", true},
      {[&](const std::string& p) { LoadStatsFile(p, &stats); }, "a statistics dump", true},
      {[&](const std::string& p) { MakeStatsDumpInput()->Check(p); }, "a statistics dump", false},
      {[&](const std::string& p) { LoadOverrideFile(p); }, "an override map file", false},
      {[&](const std::string& p) { LoadDiagnosticFile(p); }, "a diagnostic dump", false},
  };
  for (const auto& kind : kinds) {
    EXPECT_EQ(Refusal(kind.load, empty), "is empty, expected " + kind.what);
    if (kind.limited) {
      EXPECT_EQ(Refusal(kind.load, big),
                "file of 16777217 bytes is too large for " + kind.what + " (at most 16777216)");
    }
  }
  RawLayout layout;
  layout.width = 8, layout.height = 4, layout.bits = 10, layout.pattern = "RGGB";
  for (bool mipi : {false, true}) {
    EXPECT_EQ(
        Refusal([&](const std::string& p) { MakeRawInput(layout, mipi)->Check(p); }, big),
        std::string("raw frame of 16777217 bytes, expected 64 for 8x4 ") + (mipi ? "RAW10 MIPI" : "unpacked 16-bit"));
  }
}

}  // namespace
}  // namespace mirvo::workbench
