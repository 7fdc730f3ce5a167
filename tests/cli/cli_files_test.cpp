// The program's rules for its files: what may be an output, temporaries
// that a signal cannot leave behind, picture names, and the ranges numbers
// must lie in before they are converted.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "base/cli_error.h"
#include "checks/table_ranges.h"
#include "commands/args.h"
#include "commands/raw_options.h"
#include "files/output_plan.h"
#include "files/paths.h"
#include "files/pending_files.h"
#include "render/picture_names.h"
#include "test_support.h"

namespace {

using namespace mirvo_cli;
using mirvo_test::ReadFile;
using mirvo_test::TempDir;
using mirvo_test::WriteFile;

std::string Real(const std::string& path) {
  char buf[PATH_MAX];
  return realpath(path.c_str(), buf) ? buf : path;
}

// What `run` threw, "" when it did not.
template <typename F>
std::string ErrorOf(F run) {
  try {
    run();
  } catch (const CliError& e) {
    return e.what();
  }
  return "";
}

// --- names of one file ---

TEST(NormalisedPath, EverySpellingOfOneFileAgrees) {
  TempDir dir;
  std::filesystem::create_directory(dir.File("a"));
  std::filesystem::create_directory_symlink(dir.File("a"), dir.File("link"));
  WriteFile(dir.File("a/old"), "x");
  const std::string base = Real(dir.path());
  // Existing and new files, through ".", "..", doubled slashes, a linked
  // directory and directories that do not exist yet.
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"a/new", "/a/new"},
      {"a/./new", "/a/new"},
      {"a//new", "/a/new"},
      {"a/x/../new", "/a/new"},
      {"link/new", "/a/new"},
      {"link/../a/old", "/a/old"},
      {"a/old", "/a/old"},
      {"b/c/new", "/b/c/new"},
      {"b/./c/../c/new", "/b/c/new"},
      {"link/missing/new", "/a/missing/new"},
  };
  for (const auto& [path, want] : cases) EXPECT_EQ(NormalisedPath(dir.File(path)), base + want) << path;
  EXPECT_EQ(NormalisedPath("/"), "/");
  EXPECT_EQ(NormalisedPath("."), Real("."));
  EXPECT_EQ(DirName("x"), ".");
  EXPECT_EQ(DirName("/x"), "/");
  EXPECT_EQ(BaseName("a/b/c"), "c");
}

// --- what may be an output ---

TEST(OutputPlan, OutputsAreNewOrRegularFilesOfTheirOwn) {
  TempDir dir;
  const std::string d = dir.path();
  WriteFile(dir.File("in.h"), "input");
  WriteFile(dir.File("old.h"), "earlier output");
  ASSERT_EQ(link(dir.File("in.h").c_str(), dir.File("hard.h").c_str()), 0);
  std::filesystem::create_symlink(dir.File("in.h"), dir.File("soft.h"));
  std::filesystem::create_directory_symlink(d, dir.File("alias"));
  std::filesystem::create_directory(dir.File("sub"));
  ASSERT_EQ(mkfifo(dir.File("fifo").c_str(), 0600), 0);
  struct Case {
    std::vector<std::string> inputs, outputs;
    std::string error;  // "" when the plan is fine
  };
  const std::vector<Case> cases = {
      {{d + "/in.h"}, {d + "/out.h", d + "/old.h", d + "/new/deep.h"}, ""},
      // The same input twice, or missing inputs, are not this check's business.
      {{d + "/in.h", d + "/in.h", d + "/nope"}, {d + "/out.h"}, ""},
      {{d + "/in.h"}, {d + "/in.h"}, d + "/in.h: is also the input " + d + "/in.h"},
      {{d + "/in.h"}, {d + "/hard.h"}, d + "/hard.h: is also the input " + d + "/in.h"},
      {{d + "/soft.h"}, {d + "/in.h"}, d + "/in.h: is also the input " + d + "/soft.h"},
      {{d + "/in.h"}, {d + "/alias/in.h"}, d + "/alias/in.h: is also the input"},
      {{}, {d + "/soft.h"}, d + "/soft.h: is a symbolic link; outputs are written only as regular files"},
      {{}, {d + "/fifo"}, d + "/fifo: is a FIFO; outputs are written only as regular files"},
      {{}, {"/dev/null"}, "/dev/null: is a character device; outputs are written only as regular files"},
      {{}, {d + "/sub"}, d + "/sub: is a directory, cannot write a file there"},
      // Two outputs of one call: existing, new, and new through other spellings.
      {{}, {d + "/old.h", d + "/alias/old.h"}, d + "/alias/old.h: is the same file as the output " + d + "/old.h"},
      {{}, {d + "/x.h", d + "/y.h", d + "/x.h"}, d + "/x.h: is the same file as the output " + d + "/x.h"},
      {{}, {d + "/new/x.h", d + "/new/../new/./x.h"}, "is the same file as the output " + d + "/new/x.h"},
      {{}, {d + "/x.h", d + "/alias/x.h"}, d + "/alias/x.h: is the same file as the output " + d + "/x.h"},
  };
  for (const Case& c : cases) {
    const std::string error = ErrorOf([&] { CheckOutputPlan(c.inputs, c.outputs); });
    if (c.error.empty())
      EXPECT_EQ(error, "") << c.outputs[0];
    else
      EXPECT_NE(error.find(c.error), std::string::npos) << "got: " << error;
  }
  EXPECT_EQ(ReadFile(dir.File("in.h")), "input");
  EXPECT_FALSE(std::filesystem::exists(dir.File("new"))) << "checking writes nothing";
}

// --- temporaries ---

TEST(PendingFiles, CreatedNewInAFixedTable) {
  TempDir dir;
  const std::string path = dir.File(".t.tmp");
  int slot = -1;
  const mode_t mask = umask(022);
  const int fd = CreatePendingFile(path, &slot);
  umask(mask);
  ASSERT_GE(fd, 0);
  close(fd);
  struct stat st;
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0644u) << "the usual mode of a new file";
  // A taken name is not opened, and not left in the table.
  int other = -1;
  EXPECT_EQ(CreatePendingFile(path, &other), -1);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(CreatePendingFile(dir.File("no/such/dir"), &other), -1);
  EXPECT_EQ(errno, ENOENT);
  ForgetPendingFile(slot);
  // The table is fixed; once full it says so, and a forgotten slot is free again.
  std::vector<int> slots;
  for (int i = 0;; ++i) {
    int s = -1;
    const int f = CreatePendingFile(dir.File("f" + std::to_string(i)), &s);
    if (f < 0) {
      EXPECT_EQ(errno, EMFILE);
      break;
    }
    close(f);
    slots.push_back(s);
    ASSERT_LT(i, 10000);
  }
  EXPECT_GE(slots.size(), 64u) << "room for every thread's output";
  EXPECT_EQ(std::set<int>(slots.begin(), slots.end()).size(), slots.size());
  ForgetPendingFile(slots.back());
  int again = -1;
  const int f = CreatePendingFile(dir.File("again"), &again);
  EXPECT_GE(f, 0);
  EXPECT_EQ(again, slots.back());
  close(f);
  ForgetPendingFile(again);
  for (size_t i = 0; i + 1 < slots.size(); ++i) ForgetPendingFile(slots[i]);
  EXPECT_EQ(CreatePendingFile(std::string(5000, 'x'), &again), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
}

// --- picture names ---

TEST(PictureNames, NoTwoPicturesShareAFile) {
  PictureNames names;
  const std::vector<std::pair<std::string, std::string>> cases = {
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
  for (const auto& [grid, file] : cases) EXPECT_EQ(names.Next(grid), file) << grid;
  const std::string longest = names.Next(std::string(1000, 'w'));
  EXPECT_LE(longest.size(), 200u);
  EXPECT_NE(names.Next(std::string(1000, 'w')), longest);
}

// --- numbers before conversions ---

TEST(Ranges, CropIsOnTheSensorInPixels) {
  const Args a("run", {}, {});
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"4032,3024,0,0,4032,3024", ""},
      {"4032,3024,1008,756,2016,1512", ""},
      {"0.5,3024,0,0,0.5,3024", "in_w 0.5 is out of range (1 to 65536 pixels)"},
      {"1e-50,3024,0,0,4032,3024", "in_w 1e-50 is out of range (1 to 65536 pixels)"},
      {"1e30,3024,0,0,4032,3024", "in_w 1e30 is out of range (1 to 65536 pixels)"},
      {"4032,3024,0,0,1e30,3024", "out_w 1e30 is out of range (1 to 65536 pixels)"},
      {"4032,3024,-1,0,4032,3024", "offs_x -1 is out of range (0 to 65536 pixels)"},
      {"4032,65537,0,0,4032,3024", "in_h 65537 is out of range (1 to 65536 pixels)"},
      {"4032,3024,0,0,4032,0", "out_h 0 is out of range (1 to 65536 pixels)"},
      {"4032,3024,1,0,4032,3024", "offs_x + out_w reaches beyond in_w 4032"},
      {"4032,3024,0,1000,4032,2025", "offs_y + out_h reaches beyond in_h 3024"},
  };
  for (const auto& c : cases) {
    const std::string& text = c.first;
    const std::string& error = c.second;
    const std::string got = ErrorOf([&] { ParseCrop(a, text); });
    if (error.empty())
      EXPECT_EQ(got, "") << text;
    else
      EXPECT_EQ(got, "mirvo run: --crop: " + error) << text;
  }
}

TEST(Ranges, TableGainsBeforeTheEngineOrTheSimulatorFile) {
  struct Case {
    int plane, row, col;
    float gain;
    std::string base_error, sim_error;  // "" when accepted
  };
  const std::vector<Case> cases = {
      {0, 0, 0, 1.5f, "", ""},
      {0, 0, 0, 0.0f, "gain 0 of plane R at row 1, column 1 is outside 1e-06 to 1e+06", ""},
      {2, 12, 16, -1.0f, "gain -1 of plane Gb at row 13, column 17", "gain -1 of plane Gb at row 13, column 17"},
      {3, 6, 8, 1e7f, "gain 1e+07 of plane B at row 7, column 9", "outside 0 to 2.09715e+06"},
      {1, 3, 4, 2e6f, "gain 2e+06 of plane Gr", ""},
      {1, 3, 4, 3e6f, "gain 3e+06 of plane Gr", "gain 3e+06 of plane Gr"},
      {0, 1, 1, 1e-7f, "gain 1e-07 of plane R", ""},
  };
  for (const Case& c : cases) {
    mirvo::LscTable t;
    float* planes[4] = {&t.r_gain[0][0], &t.gr_gain[0][0], &t.gb_gain[0][0], &t.b_gain[0][0]};
    for (float* p : planes) std::fill(p, p + 13 * 17, 1.0f);
    planes[c.plane][c.row * 17 + c.col] = c.gain;
    const std::string base = ErrorOf([&] { CheckBaseTableGains("base.h", t); });
    const std::string sim = ErrorOf([&] { CheckSimulatorGains("t.h", t); });
    if (c.base_error.empty())
      EXPECT_EQ(base, "") << c.gain;
    else
      EXPECT_EQ(base.rfind("base.h: " + c.base_error, 0), 0u) << base;
    if (c.sim_error.empty()) {
      EXPECT_EQ(sim, "") << c.gain;
    } else {
      EXPECT_EQ(sim.rfind("t.h: ", 0), 0u) << sim;
      EXPECT_NE(sim.find(c.sim_error), std::string::npos) << sim;
    }
  }
}

}  // namespace
