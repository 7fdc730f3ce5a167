// Pictures of raw frames: the preview renderer and the residual colour
// shading it overlays, as NumPy arrays.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstring>
#include <optional>

#include "arg_types.h"
#include "arrays.h"
#include "bindings.h"
#include "frame_args.h"
#include "workbench/error.h"
#include "workbench/preview/preview_render.h"
#include "workbench/preview/residual_overlay.h"

namespace mirvo_py {
namespace {

using mirvo::workbench::BayerPlanes;

// The checked frame split into planes, with the levels as the statistics
// builder pairs them (B, Gr, Gb, R in 14-bit units) in the frame's units.
struct Frame {
  mirvo::BayerRaw raw;
  BayerPlanes planes;
};

void LoadFrame(const ArrayLike& frame_obj, const std::string& pattern, int bits, py::handle black_level, Frame* out) {
  auto frame = CheckedArray<uint16_t>(frame_obj.obj, "frame", {-1, -1});
  const int height = static_cast<int>(frame.shape(0)), width = static_cast<int>(frame.shape(1));
  CheckFrameSize(width, height);
  CheckPattern(pattern);
  CheckRange("bits", bits, 1, 14);
  if (width < 64 || height < 48) throw py::value_error("frame: at least 64x48 pixels, one quad per statistics cell");
  const auto levels = FourInts(black_level, "black_level", 0, 16382);
  {
    py::gil_scoped_release unlocked;
    FrameToPlanes(frame.data(), width, height, bits, pattern, &out->raw);
  }
  const uint16_t stats_levels[4] = {static_cast<uint16_t>(levels[0]), static_cast<uint16_t>(levels[1]),
                                    static_cast<uint16_t>(levels[2]), static_cast<uint16_t>(levels[3])};
  out->planes = mirvo::workbench::PlanesOf(out->raw, stats_levels);
}

std::optional<mirvo::LscTable> LoadTable(const py::object& obj, const char* name) {
  if (obj.is_none()) return std::nullopt;
  auto a = CheckedFiniteFloats(obj, name, {4, 13, 17});
  mirvo::LscTable t;
  std::memcpy(&t, a.data(), sizeof(t));
  return t;
}

const mirvo::LscTable* Ptr(const std::optional<mirvo::LscTable>& t) { return t ? &*t : nullptr; }

}  // namespace

void BindRender(py::module_& m) {
  m.def(
      "render",
      [](const ArrayLike& frame, const std::string& pattern, int bits, py::object black_level, py::object table,
         std::optional<std::array<float, 3>> white_balance, std::optional<int> width, py::object look_table) {
        Frame f;
        LoadFrame(frame, pattern, bits, black_level, &f);
        const auto t = LoadTable(table, "table");
        const auto lt = look_table.is_none() ? t : LoadTable(look_table, "look_table");
        if (width && *width < 1) throw py::value_error("width: must be at least 1");
        mirvo::workbench::LookOptions options;
        options.as_shot_neutral = white_balance;
        mirvo::workbench::RgbImage img;
        try {
          py::gil_scoped_release unlocked;
          const mirvo::workbench::PreviewLook look = mirvo::workbench::ChooseLook(f.planes, Ptr(lt), options);
          img = mirvo::workbench::RenderPreview(f.planes, Ptr(t), look, width.value_or(0));
        } catch (const mirvo::workbench::WorkbenchError& e) {
          throw py::value_error(e.what());
        }
        return ArrayCopy<uint8_t>(img.pixels.data(), {img.height, img.width, 3});
      },
      py::arg("frame"), py::arg("pattern"), py::arg("bits"), py::arg("black_level") = 0, py::arg("table") = py::none(),
      py::arg("white_balance") = py::none(), py::arg("width") = py::none(), py::arg("look_table") = py::none(),
      "Renders a uint16 (height, width) Bayer frame as sRGB uint8 (height/2, width/2, 3), one pixel per quad:\n"
      "black removed (black_level as in stats_from_raw), each plane times the table's gains (float32\n"
      "(4, 13, 17); None: no correction), white balanced on white_balance (the camera's neutral R, G, B,\n"
      "as a DNG's AsShotNeutral) or else on the frame's grey cells, the brightest 1 % at 90 %, sRGB curve;\n"
      "scaled down to `width` if given. White balance and exposure are chosen with look_table (default:\n"
      "table): render before and after with the same look_table and they differ only by the table.");
  m.def(
      "residual_shading",
      [](const ArrayLike& frame, const std::string& pattern, int bits, py::object black_level, py::object table) {
        Frame f;
        LoadFrame(frame, pattern, bits, black_level, &f);
        const auto t = LoadTable(table, "table");
        mirvo::workbench::ResidualShading r;
        try {
          py::gil_scoped_release unlocked;
          r = mirvo::workbench::MeasureResidual(f.planes, Ptr(t));
        } catch (const mirvo::workbench::WorkbenchError& e) {
          throw py::value_error(e.what());
        }
        return py::make_tuple(ArrayCopy<float>(r.u.data(), {r.rows, r.cols}),
                              ArrayCopy<float>(r.v.data(), {r.rows, r.cols}));
      },
      py::arg("frame"), py::arg("pattern"), py::arg("bits"), py::arg("black_level") = 0, py::arg("table") = py::none(),
      "The colour shading left in the frame after `table`: per statistics cell, float32 (24, 32) arrays\n"
      "(u, v) of log R/G and log B/G about their means over the reliable grey cells (natural logs, the\n"
      "units of the tint maps); NaN where a cell is not a reliable grey one.");
}

}  // namespace mirvo_py
