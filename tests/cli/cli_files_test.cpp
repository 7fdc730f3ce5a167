// The program's rules for its files: what may be an output, temporaries
// that a signal cannot leave behind, picture names, and the ranges numbers
// must lie in before they are converted. Each rule against every command is
// the attack script's; here are the cases it cannot reach.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <set>

#include "base/cli_error.h"
#include "checks/table_ranges.h"
#include "commands/args.h"
#include "commands/raw_options.h"
#include "engine_scene.h"
#include "files/output_plan.h"
#include "files/paths.h"
#include "files/pending_files.h"
#include "render/picture_names.h"
#include "run_program.h"
#include "test_support.h"

namespace {

using namespace mirvo_cli;
using mirvo_cli_test::ErrorOf;
using mirvo_test::TempDir;
namespace fs = std::filesystem;

// `got` is "" when `want` is, else names `prefix` first and holds `want`.
void ExpectError(const std::string& got, const std::string& prefix, const char* want) {
  if (!*want) {
    EXPECT_EQ(got, "");
  } else {
    EXPECT_EQ(got.rfind(prefix + ": ", 0), 0u) << got;
    EXPECT_NE(got.find(want), std::string::npos) << got;
  }
}

// Existing and new files, through ".", "..", doubled slashes, a linked
// directory and directories that do not exist yet; two outputs that are one
// file though neither exists.
TEST(Paths, EverySpellingOfOneFileAgrees) {
  TempDir dir;
  fs::create_directory(dir.File("a"));
  fs::create_directory_symlink(dir.File("a"), dir.File("link"));
  mirvo_test::WriteFile(dir.File("a/old"), "x");
  char buf[PATH_MAX];
  const std::string base = realpath(dir.path().c_str(), buf);
  const std::pair<const char*, const char*> rows[] = {
      {"a/./new", "/a/new"},
      {"a//new", "/a/new"},
      {"a/x/../new", "/a/new"},
      {"link/new", "/a/new"},
      {"link/../a/old", "/a/old"},
      {"b/./c/../c/new", "/b/c/new"},
      {"link/missing/new", "/a/missing/new"},
  };
  for (const auto& [path, want] : rows) EXPECT_EQ(NormalisedPath(dir.File(path)), base + want) << path;
  EXPECT_EQ(NormalisedPath("/"), "/");
  EXPECT_EQ(NormalisedPath("."), realpath(".", buf));
  EXPECT_EQ(DirName("x") + DirName("/x") + BaseName("a/b/c"), "./c");

  // An input twice or missing is the input checks' business.
  const std::string d = dir.path(), same = "is the same file as the output ";
  const struct {
    std::vector<std::string> inputs, outputs;
    std::string error;
  } plans[] = {
      {{d + "/a/old", d + "/a/old", d + "/nope"}, {d + "/new/deep.h"}, ""},
      {{},
       {d + "/new/x.h", d + "/new/../new/./x.h"},
       "1: " + d + "/new/../new/./x.h: " + same + d + "/new/x.h; each output needs a file of its own"},
      {{},
       {d + "/a/x.h", d + "/link/x.h"},
       "1: " + d + "/link/x.h: " + same + d + "/a/x.h; each output needs a file of its own"},
  };
  for (const auto& p : plans) EXPECT_EQ(ErrorOf([&] { CheckOutputPlan(p.inputs, p.outputs); }), p.error);
  EXPECT_FALSE(fs::exists(dir.File("new"))) << "checking writes nothing";
}

TEST(PendingFiles, CreatedNewInAFixedTable) {
  TempDir dir;
  int slot = -1;
  const mode_t mask = umask(022);
  const int fd = CreatePendingFile(dir.File("t"), &slot);
  umask(mask);
  ASSERT_GE(fd, 0);
  close(fd);
  struct stat st;
  ASSERT_EQ(stat(dir.File("t").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0644u) << "the usual mode of a new file";
  // A name that cannot be created is not left in the table.
  int other = -1;
  const std::pair<std::string, int> refused[] = {
      {dir.File("t"), EEXIST}, {dir.File("no/such/dir"), ENOENT}, {std::string(5000, 'x'), ENAMETOOLONG}};
  for (const auto& [path, error] : refused) {
    EXPECT_EQ(CreatePendingFile(path, &other), -1);
    EXPECT_EQ(errno, error) << path.substr(0, 40);
  }
  ForgetPendingFile(slot);
  // The table is fixed; once full it says so, and a forgotten slot is free again.
  std::vector<int> slots;
  for (int i = 0, f; (f = CreatePendingFile(dir.File("f" + std::to_string(i)), &other)) >= 0; ++i) {
    close(f);
    slots.push_back(other);
    ASSERT_LT(i, 10000);
  }
  EXPECT_EQ(errno, EMFILE);
  EXPECT_GE(slots.size(), 64u) << "room for every thread's output";
  EXPECT_EQ(std::set<int>(slots.begin(), slots.end()).size(), slots.size());
  ForgetPendingFile(slots.back());
  const int f = CreatePendingFile(dir.File("again"), &other);
  EXPECT_GE(f, 0);
  EXPECT_EQ(other, slots.back());
  close(f);
  for (int s : slots) ForgetPendingFile(s);
}

TEST(PictureNames, NoTwoPicturesShareAFile) {
  PictureNames names;
  const std::pair<std::string, std::string> rows[] = {
      {"GradH_UX", "GradH_UX.png"},
      {"GradH_UX", "GradH_UX_2.png"},
      {"GradH_UX_2", "GradH_UX_2_2.png"},
      {"gradh_ux", "gradh_ux_3.png"},
      {"a.b", "a_b.png"},
      {"a_b", "a_b_2.png"},
      {"", "grid.png"},
      {"../x", "___x.png"},
      {"grid", "grid_2.png"},
  };
  for (const auto& [grid, file] : rows) EXPECT_EQ(names.Next(grid), file) << grid;
  const std::string longest = names.Next(std::string(1000, 'w'));
  EXPECT_LE(longest.size(), 200u);
  EXPECT_NE(names.Next(std::string(1000, 'w')), longest);
}

TEST(Ranges, CropIsOnTheSensorInPixels) {
  const Args a("run", {}, {});
  const mirvo::CropInfo c = ParseCrop(a, "4032,3024,10,20,2000,1500");
  EXPECT_EQ(c.offs_x * 1e4 + c.offs_y, 10 * 1e4 + 20);
  EXPECT_EQ(c.out_w * 1e4 + c.out_h, 2000 * 1e4 + 1500);
  const std::pair<const char*, const char*> rows[] = {
      {"4032,3024,0,0,4032,3024", ""},
      {"1,2,3", "give six numbers"},
      {"4032,3024,0,x,4032,3024", "'x' is not a number"},
      {"0.5,3024,0,0,0.5,3024", "in_w 0.5 is out of range (1 to 65536 pixels)"},
      {"1e-50,3024,0,0,4032,3024", "in_w 1e-50 is out of range (1 to 65536 pixels)"},
      {"4032,3024,0,0,1e30,3024", "out_w 1e30 is out of range (1 to 65536 pixels)"},
      {"4032,3024,-1,0,4032,3024", "offs_x -1 is out of range (0 to 65536 pixels)"},
      {"4032,65537,0,0,4032,3024", "in_h 65537 is out of range (1 to 65536 pixels)"},
      {"4032,3024,1,0,4032,3024", "offs_x + out_w reaches beyond in_w 4032"},
      {"4032,3024,0,1000,4032,2025", "offs_y + out_h reaches beyond in_h 3024"},
  };
  for (const auto& [text, error] : rows)
    ExpectError(ErrorOf([&, &text = text] { ParseCrop(a, text); }), "2: mirvo run: --crop", error);
}

// A base table's gains must suit the engine, a simulator file's its format.
TEST(Ranges, TableGainsBeforeTheEngineOrTheSimulatorFile) {
  const struct {
    int plane, row, col;
    float gain;
    const char *base_error, *sim_error;  // "" when accepted
  } rows[] = {
      {0, 0, 0, 1.5f, "", ""},
      {0, 0, 0, 0.0f, "gain 0 of plane R at row 1, column 1 is outside 1e-06 to 1e+06", ""},
      {2, 12, 16, -1.0f, "gain -1 of plane Gb at row 13, column 17", "gain -1 of plane Gb at row 13, column 17"},
      {3, 6, 8, 1e7f, "gain 1e+07 of plane B at row 7, column 9", "outside 0 to 2.09715e+06"},
      {1, 3, 4, 2e6f, "gain 2e+06 of plane Gr", ""},
      {1, 3, 4, 3e6f, "gain 3e+06 of plane Gr", "gain 3e+06 of plane Gr"},
      {0, 1, 1, 1e-7f, "gain 1e-07 of plane R", ""},
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(r.gain);
    mirvo::LscTable t = mirvo_test::UniformTable(1.0f);
    float(*planes[4])[17] = {t.r_gain, t.gr_gain, t.gb_gain, t.b_gain};
    planes[r.plane][r.row][r.col] = r.gain;
    ExpectError(ErrorOf([&] { CheckBaseTableGains("base.h", t); }), "1: base.h", r.base_error);
    ExpectError(ErrorOf([&] { CheckSimulatorGains("t.h", t); }), "1: t.h", r.sim_error);
  }
}

}  // namespace
