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

struct BadFile {
  const char* name;
  // The file's content from the good table's text; null: a directory or nothing.
  std::function<std::string(const std::string& table)> make;
  bool directory;
  const char* reason;
  int os_error;
};

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

const BadFile kBadFiles[] = {
    {"empty", [](const std::string&) { return std::string(); }, false, "is empty, expected an LSC table header file",
     0},
    // The first row of 17 numbers is cut after its 9th.
    {"truncated", [](const std::string& t) { return t.substr(0, t.find("2.31836f")); }, false,
     "not a valid LSC table header file: plane R: expected 221 numbers, found 8", 0},
    {"missing_marker", [](const std::string& t) { return Replace(t, "/* B Gain */", "/* B gain */"); }, false,
     "not a valid LSC table header file: missing marker \"/* B Gain */\"", 0},
    {"nan_gain", [](const std::string& t) { return Replace(t, "3.99902f", "nan"); }, false,
     "not a valid LSC table header file: plane R: value 1 \"nan,\" is not a finite number", 0},
    {"nul_byte", [](const std::string& t) { return Replace(t, "3.99902f", std::string("3.9\0902f", 8)); }, false,
     "not a valid LSC table header file: plane R: value 1 \"3.9?902f,\" is not a finite number", 0},
    {"decimal_comma", [](const std::string& t) { return Replace(t, "3.99902f", "3,99902f"); }, false,
     "not a valid LSC table header file: plane R: value 1 \"3,99902f,\" is not a finite number", 0},
    {"oversized", [](const std::string& t) { return t + std::string((1 << 20) + 1 - t.size(), ' '); }, false,
     "file of 1048577 bytes is too large for an LSC table header file (at most 1048576)", 0},
    {"directory", nullptr, true, "is a directory, expected an LSC table header file", EISDIR},
    {"missing", nullptr, false, "cannot open an LSC table header file: No such file or directory", ENOENT},
};

class CheckedLoaders : public ::testing::TestWithParam<BadFile> {};

TEST_P(CheckedLoaders, RefuseWithTheFileAndOneReason) {
  const BadFile& bad = GetParam();
  mirvo_test::TempDir dir;
  const std::string path = dir.File(bad.name);
  if (bad.directory) {
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  }
  if (bad.make) mirvo_test::WriteFile(path, bad.make(mirvo_test::ReadFile(mirvo_test::DataPath("ov8858_d50_lsc.h"))));
  try {
    LoadTableFile(path);
    FAIL() << "loaded";
  } catch (const FileError& e) {
    EXPECT_EQ(e.path(), path);
    EXPECT_EQ(e.reason(), bad.reason);
    EXPECT_EQ(std::string(e.what()), path + ": " + bad.reason);
    EXPECT_EQ(e.os_error(), bad.os_error);
  }
}

INSTANTIATE_TEST_SUITE_P(BadFiles, CheckedLoaders, ::testing::ValuesIn(kBadFiles),
                         [](const auto& info) { return std::string(info.param.name); });

// Every loader applies the same file rules with its own kind and limit, and
// the raw inputs check a frame's size against their layout.
TEST(CheckedLoaders, EachKindNamesItselfAndItsLimit) {
  mirvo_test::TempDir dir;
  const std::string empty = dir.File("empty");
  mirvo_test::WriteFile(empty, "");
  const std::string big = dir.File("big");
  mirvo_test::WriteFile(big, std::string((16 << 20) + 1, 'x'));
  MirvoParams params;
  Stats stats;
  const std::pair<std::function<void(const std::string&)>, std::string> kinds[] = {
      {[&](const std::string& p) { LoadTuningFile(p, &params); }, "a tuning header file"},
      {[&](const std::string& p) { LoadStatsFile(p, &stats); }, "a statistics dump"},
      {[&](const std::string& p) { MakeStatsDumpInput()->Check(p); }, "a statistics dump"},
      {[&](const std::string& p) { LoadOverrideFile(p); }, "an override map file"},
      {[&](const std::string& p) { LoadDiagnosticFile(p); }, "a diagnostic dump"},
  };
  for (const auto& [load, what] : kinds) {
    EXPECT_THROW(
        try { load(empty); } catch (const FileError& e) {
          EXPECT_EQ(e.reason(), "is empty, expected " + what);
          throw;
        },
        FileError);
  }
  for (const auto& [load, what] : {kinds[0], kinds[1]}) {
    try {
      load(big);
      ADD_FAILURE() << what;
    } catch (const FileError& e) {
      EXPECT_EQ(e.reason(), "file of 16777217 bytes is too large for " + what + " (at most 16777216)");
    }
  }
  RawLayout layout;
  layout.width = 8;
  layout.height = 4;
  layout.bits = 10;
  layout.pattern = "RGGB";
  const std::pair<bool, std::string> raws[] = {{false, "8x4 unpacked 16-bit"}, {true, "8x4 RAW10 MIPI"}};
  for (const auto& [mipi, describe] : raws) {
    const auto input = MakeRawInput(layout, mipi);
    try {
      input->Check(big);
      ADD_FAILURE() << describe;
    } catch (const FileError& e) {
      EXPECT_EQ(e.reason(), "raw frame of 16777217 bytes, expected " + std::string("64") + " for " + describe);
    }
  }
}

}  // namespace
}  // namespace mirvo::workbench
