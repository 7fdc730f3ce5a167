#include "frame_args.h"

#include <pybind11/pybind11.h>

#include "workbench/inputs/raw_geometry.h"

namespace mirvo_py {
// One value for all four, or a sequence of four, each within [lo, hi].
std::array<long long, 4> FourInts(py::handle obj, const char* name, long long lo, long long hi) {
  std::array<long long, 4> v{};
  const std::string range = " within " + std::to_string(lo) + ".." + std::to_string(hi);
  if (py::isinstance<py::int_>(obj)) {
    v.fill(obj.cast<long long>());
  } else {
    if (!py::isinstance<py::sequence>(obj) || py::len(obj) != 4)
      throw py::type_error(std::string(name) + ": expected an int or a sequence of 4 ints" + range);
    py::sequence seq = py::reinterpret_borrow<py::sequence>(obj);
    for (size_t i = 0; i < 4; ++i) {
      if (!py::isinstance<py::int_>(seq[i]) && !py::hasattr(seq[i], "__index__"))
        throw py::type_error(std::string(name) + ": expected ints, got " + py::repr(seq[i]).cast<std::string>());
      v[i] = py::int_(seq[i]).cast<long long>();
    }
  }
  for (long long x : v)
    if (x < lo || x > hi) throw py::value_error(std::string(name) + ": " + std::to_string(x) + " is not" + range);
  return v;
}

void CheckPattern(const std::string& pattern) { mirvo::workbench::CheckBayerPattern(pattern, {}); }

void CheckRange(const char* name, long long v, long long lo, long long hi) {
  if (v < lo || v > hi)
    throw py::value_error(std::string(name) + ": " + std::to_string(v) + " is not within " + std::to_string(lo) + ".." +
                          std::to_string(hi));
}

void CheckFrameSize(int width, int height) {
  CheckRange("width", width, 2, 65534);
  CheckRange("height", height, 2, 65534);
  mirvo::workbench::CheckEvenFrame(width, height, {});
  mirvo::workbench::CheckFrameArea(width, height);
}

void CheckBits(int bits) { mirvo::workbench::CheckRawBits(bits, {}); }

void CheckMipi(int width, int bits) { mirvo::workbench::CheckMipiLayout(width, bits, {}); }

void CheckGrid(int width, int height, int cols, int rows) {
  CheckRange("grid columns", cols, 1, 1024);
  CheckRange("grid rows", rows, 1, 1024);
  mirvo::workbench::CheckStatsGrid(width, height, cols, rows, {});
}

void FrameToPlanes(const uint16_t* frame, int width, int height, int bits, const std::string& pattern,
                   mirvo::BayerRaw* out) {
  // The pattern was checked by CheckPattern, the size by CheckFrameSize.
  if (out->SplitFrame(frame, width, height, bits, pattern.c_str()) != mirvo::kOk)
    throw py::value_error("pattern: unknown Bayer pattern '" + pattern + "'");
}

}  // namespace mirvo_py
