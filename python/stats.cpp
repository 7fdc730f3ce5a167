#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <sstream>

#include "arg_types.h"
#include "arrays.h"
#include "bindings.h"
#include "core/stats.h"
#include "frame_args.h"
#include "tools/bayer_raw.h"
#include "tools/stats_text.h"
#include "workbench/files/loaders.h"
#include "workbench/inputs/raw_frame_input.h"

namespace mirvo_py {
namespace {

using mirvo::Stats;
using mirvo::StatsCell;

// Cell arrays (rows, cols, 4) are strided views into the interleaved 32-byte
// cells: edits through them reach the statistics the engine reads.
template <typename T>
py::array_t<T> CellView(py::object self, size_t offset) {
  Stats& s = self.cast<Stats&>();
  const py::ssize_t cell = sizeof(StatsCell);
  char* base = reinterpret_cast<char*>(s.cells) + offset;
  return py::array_t<T>({static_cast<py::ssize_t>(s.rows), static_cast<py::ssize_t>(s.cols), py::ssize_t{4}},
                        {cell * s.cols, cell, static_cast<py::ssize_t>(sizeof(T))}, reinterpret_cast<T*>(base), self);
}

std::unique_ptr<Stats> MakeStats(const ArrayLike& sums, const ArrayLike& counts, const ArrayLike& sat_counts,
                                 int bit_depth, py::object black_level, py::object black_level_gain) {
  // Copied into the cell layout anyway, so any view is taken.
  auto s = CheckedArray<uint32_t>(sums.obj, "sums", {-1, -1, 4}, false);
  const py::ssize_t rows = s.shape(0), cols = s.shape(1);
  if (rows < 1 || cols < 1)
    throw py::value_error("sums: expected at least one cell, got shape " + ShapeText({rows, cols, 4}));
  auto c = CheckedArray<uint16_t>(counts.obj, "counts", {rows, cols, 4}, false);
  py::array_t<uint16_t, py::array::c_style> sat;
  if (!sat_counts.obj.is_none()) sat = CheckedArray<uint16_t>(sat_counts.obj, "sat_counts", {rows, cols, 4}, false);
  CheckRange("bit_depth", bit_depth, 1, 16);
  const auto levels = FourInts(black_level, "black_level", 0, 65535);
  std::array<double, 4> gains{};
  {
    py::sequence seq = py::isinstance<py::sequence>(black_level_gain)
                           ? py::reinterpret_borrow<py::sequence>(black_level_gain)
                           : py::sequence();
    if (!py::isinstance<py::sequence>(black_level_gain) || py::len(seq) != 4)
      throw py::type_error("black_level_gain: expected a sequence of 4 floats");
    for (size_t i = 0; i < 4; ++i) {
      gains[i] = CheckedFloat32("black_level_gain", seq[i].cast<double>());
    }
  }
  auto stats = std::make_unique<Stats>();
  stats->ConfigureStatsSize(static_cast<int>(cols), static_cast<int>(rows));
  stats->bit_depth = bit_depth;
  for (int i = 0; i < 4; ++i) {
    stats->black_level[i] = static_cast<uint16_t>(levels[i]);
    stats->black_level_gain[i] = static_cast<float>(gains[i]);
  }
  const uint32_t* ps = s.data();
  const uint16_t* pc = c.data();
  const uint16_t* pz = sat_counts.obj.is_none() ? nullptr : sat.data();
  for (py::ssize_t i = 0; i < rows * cols; ++i) {
    StatsCell& cell = stats->cells[i];
    std::memcpy(cell.sum, ps + 4 * i, sizeof cell.sum);
    std::memcpy(cell.cnt, pc + 4 * i, sizeof cell.cnt);
    if (pz != nullptr) std::memcpy(cell.sat_cnt, pz + 4 * i, sizeof cell.sat_cnt);
  }
  return stats;
}

}  // namespace

void BindStats(py::module_& m) {
  py::class_<Stats> cls(m, "Stats",
                        "Per-cell Bayer statistics of one frame on a grid of rows x cols cells (the engine takes\n"
                        "24 x 32). Channels are in R, Gr, Gb, B order. sums, counts and sat_counts are writable\n"
                        "views of shape (rows, cols, 4) into the statistics themselves.");
  cls.def(py::init(&MakeStats), py::arg("sums"), py::arg("counts"), py::arg("sat_counts") = py::none(),
          py::arg("bit_depth") = 14, py::arg("black_level") = py::make_tuple(0, 0, 0, 0),
          py::arg("black_level_gain") = py::make_tuple(1.0, 1.0, 1.0, 1.0),
          "sums: uint32 (rows, cols, 4); counts, sat_counts: uint16 (rows, cols, 4) (sat_counts default 0).\n"
          "Other integer dtypes are taken when every value fits; anything else raises TypeError.");
  cls.def_property_readonly(
      "sums", [](py::object self) { return CellView<uint32_t>(self, offsetof(StatsCell, sum)); },
      "uint32 (rows, cols, 4): sum of the pixel values per channel.");
  cls.def_property_readonly(
      "counts", [](py::object self) { return CellView<uint16_t>(self, offsetof(StatsCell, cnt)); },
      "uint16 (rows, cols, 4): pixels summed per channel.");
  cls.def_property_readonly(
      "sat_counts", [](py::object self) { return CellView<uint16_t>(self, offsetof(StatsCell, sat_cnt)); },
      "uint16 (rows, cols, 4): saturated pixels per channel.");
  cls.def_property_readonly(
      "grid", [](const Stats& s) { return py::make_tuple(s.rows, s.cols); }, "(rows, cols) of the cell grid.");
  cls.def_property_readonly("bit_depth", [](const Stats& s) { return s.bit_depth; });
  cls.def_property_readonly("black_level", [](const Stats& s) {
    return py::make_tuple(s.black_level[0], s.black_level[1], s.black_level[2], s.black_level[3]);
  });
  cls.def_property_readonly("black_level_gain", [](const Stats& s) {
    return py::make_tuple(s.black_level_gain[0], s.black_level_gain[1], s.black_level_gain[2], s.black_level_gain[3]);
  });
  cls.def("__repr__", [](const Stats& s) {
    return "mirvo.Stats(grid=(" + std::to_string(s.rows) + ", " + std::to_string(s.cols) +
           "), bit_depth=" + std::to_string(s.bit_depth) + ")";
  });

  m.def(
      "load_stats",
      [](const PathLike& path_arg) {
        const std::string path = FsPath(path_arg.obj);
        auto stats = std::make_unique<Stats>();
        mirvo::workbench::LoadStatsFile(path, stats.get());
        // The dump carries no black levels: they read as none removed.
        for (int i = 0; i < 4; ++i) stats->black_level[i] = 0, stats->black_level_gain[i] = 1.0f;
        return stats;
      },
      py::arg("path"),
      "Reads a statistics text dump (24 x 32 cells, sums and counts; saturation counts read as 0, black\n"
      "levels as 0, bit depth 14). OSError when it cannot be read, ValueError when it would not load.");
  m.def(
      "save_stats",
      [](const PathLike& path_arg, const Stats& stats) {
        const std::string path = FsPath(path_arg.obj);
        if (stats.rows != 24 || stats.cols != 32)
          throw py::value_error("stats: a statistics dump holds 24 x 32 cells, got " + std::to_string(stats.rows) +
                                " x " + std::to_string(stats.cols));
        std::ostringstream text;
        mirvo::StatsWriteText(text, stats);
        WriteFileChecked(path, text.str());
      },
      py::arg("path"), py::arg("stats"),
      "Writes the sums and counts as a statistics text dump (saturation counts and black levels are not\n"
      "part of the format). OSError when any write or the close fails.");
  m.def(
      "read_raw",
      [](const PathLike& path_arg, int width, int height, int bits, const std::string& pattern, bool mipi) {
        const std::string path = FsPath(path_arg.obj);
        CheckFrameSize(width, height);
        CheckRange("bits", bits, 1, 16);
        CheckPattern(pattern);
        if (mipi) CheckMipi(width, bits);
        mirvo::workbench::RawLayout layout;
        layout.width = width;
        layout.height = height;
        layout.bits = bits;
        layout.pattern = pattern;
        const auto input = mirvo::workbench::MakeRawFrameInput(layout, mipi);
        input->Check(path);
        py::array_t<uint16_t> frame({height, width});
        uint16_t* dst = frame.mutable_data();
        std::exception_ptr failure;
        {
          py::gil_scoped_release unlocked;
          try {
            input->ReadMosaic(path, dst);
          } catch (...) {
            failure = std::current_exception();
          }
        }
        if (failure) std::rethrow_exception(failure);
        return frame;
      },
      py::arg("path"), py::arg("width"), py::arg("height"), py::arg("bits"), py::arg("pattern"),
      py::arg("mipi") = false,
      "Reads a headerless raw Bayer frame (unpacked little-endian 16-bit, or MIPI RAW10 with mipi=True)\n"
      "into uint16 (height, width). The file size must match exactly.");
  m.def(
      "stats_from_raw",
      [](const ArrayLike& frame_obj, const std::string& pattern, int bits, py::object black_level,
         std::array<int, 2> grid) {
        auto frame = CheckedArray<uint16_t>(frame_obj.obj, "frame", {-1, -1});
        const int height = static_cast<int>(frame.shape(0)), width = static_cast<int>(frame.shape(1));
        CheckFrameSize(width, height);
        CheckPattern(pattern);
        CheckBits(bits);
        const auto levels = FourInts(black_level, "black_level", 0, 16382);
        const int cols = grid[0], rows = grid[1];
        CheckGrid(width, height, cols, rows);
        uint16_t lv[4];
        for (int i = 0; i < 4; ++i) lv[i] = static_cast<uint16_t>(levels[i]);
        auto stats = std::make_unique<Stats>();
        {
          py::gil_scoped_release unlocked;
          mirvo::BayerRaw raw;
          FrameToPlanes(frame.data(), width, height, bits, pattern, &raw);
          stats->CreateFromRaw(raw, lv, cols, rows);
        }
        return stats;
      },
      py::arg("frame"), py::arg("pattern"), py::arg("bits"), py::arg("black_level") = 0,
      py::arg("grid") = std::array<int, 2>{32, 24},
      "Builds statistics from a uint16 (height, width) frame as the camera's statistics block would:\n"
      "black_level in 14-bit units (one int or four, paired B, Gr, Gb, R), grid as (cols, rows).");
}

}  // namespace mirvo_py
