#include <pybind11/numpy.h>

#include <cmath>
#include <memory>
#include <mutex>

#include "arg_types.h"
#include "arrays.h"
#include "bindings.h"
#include "core/core.h"
#include "core/guarded_core.h"
#include "io/default_tuning.h"

namespace mirvo_py {
namespace {

using mirvo::MirvoParams;

// The program's crop limit: sensor pixels, checked before the conversion to float.
constexpr double kMaxCropPixels = 65536;

// A Core, guarded or not, with the tuning record it points to: the record is
// declared first so that it outlives the engine, as LoadMirvoParams requires.
struct PyCore {
  PyCore(const MirvoParams& tuning, bool guarded) : params(tuning) {
    if (guarded) {
      guard = std::make_unique<mirvo::GuardedCore>();
      guard->LoadMirvoParams(params);
    } else {
      plain = std::make_unique<mirvo::Core>();
      plain->LoadMirvoParams(params);
    }
  }
  mirvo::Core& core() { return guard ? guard->core() : *plain; }

  MirvoParams params;
  std::unique_ptr<mirvo::Core> plain;
  std::unique_ptr<mirvo::GuardedCore> guard;
  // process() runs without the GIL; a Core takes one thread at a time.
  std::mutex busy;
  bool has_frame = false;
};

}  // namespace
}  // namespace mirvo_py

MIRVO_PY_REFUSE_UNINITIALISED(mirvo_py::PyCore)

namespace mirvo_py {
namespace {

py::array_t<float> Process(PyCore& self, const mirvo::Stats& stats, const ArrayLike& base_table) {
  // The table is read in place: a float32 C-ordered array is the LscTable.
  auto table = CheckedFiniteFloats(base_table.obj, "base_table", {4, 13, 17});
  const auto* base = reinterpret_cast<const mirvo::LscTable*>(table.data());
  py::array_t<float> out({4, 13, 17});
  auto* out_table = reinterpret_cast<mirvo::LscTable*>(out.mutable_data());
  const char* failed = nullptr;
  int code = mirvo::kOk;
  {
    py::gil_scoped_release unlocked;
    std::lock_guard<std::mutex> lock(self.busy);
    // The engine's SetStats, as Core::SetStats calls it, for its status code:
    // the exception below carries what the facade would have logged. The guard hands the engine the statistics with
    // unmeasured cells made dark; it refuses what the engine would, without the code.
    if (self.guard) {
      if (!self.guard->SetStats(stats)) code = mirvo::kInvalidInput;
    } else {
      code = self.plain->MirvoHybrid::SetStats(stats);
    }
    if (code != mirvo::kOk) {
      failed = "SetStats";
    } else if (self.guard) {
      self.guard->SetInputLscTable(*base);
      self.guard->Execute();
      if (!self.guard->GetOutputLscTable(out_table)) failed = "GetOutputLscTable";
      self.has_frame = true;
    } else {
      self.plain->SetInputLscTable(*base);
      self.plain->Execute();
      if (!self.plain->GetOutputLscTable(out_table)) failed = "GetOutputLscTable";
      self.has_frame = true;
    }
  }
  if (failed != nullptr && code != mirvo::kOk) throw std::runtime_error(LibraryFailure(failed, code));
  if (failed != nullptr) throw std::runtime_error(std::string(failed) + ": mirvo_table = nullptr");
  return out;
}

template <typename T>
void AddGrids(py::dict& out, const std::map<std::string, mirvo::Matrix<T>>& grids) {
  for (const auto& [key, grid] : grids) out[py::str(key)] = ArrayCopy<T>(grid.data.data(), {grid.rows, grid.cols});
}

py::dict Diagnostics(PyCore& self) {
  std::lock_guard<std::mutex> lock(self.busy);
  const mirvo::MirvoState& state = self.core().state_;
  py::dict out;
  for (const auto& [key, value] : state.scalars()) out[py::str(key)] = static_cast<double>(value);
  AddGrids(out, state.float_matrices());
  AddGrids(out, state.uint_matrices());
  AddGrids(out, state.ushort_matrices());
  AddGrids(out, state.uchar_matrices());
  return out;
}

void SetCrop(PyCore& self, double in_w, double in_h, double offs_x, double offs_y, double out_w, double out_h) {
  const double v[6] = {in_w, in_h, offs_x, offs_y, out_w, out_h};
  const char* names[6] = {"in_w", "in_h", "offs_x", "offs_y", "out_w", "out_h"};
  // As the program checks --crop: pixels of a sensor, the crop on the sensor.
  for (int i = 0; i < 6; ++i) {
    const double lo = i == 2 || i == 3 ? 0 : 1;
    if (!(v[i] >= lo && v[i] <= kMaxCropPixels))
      throw py::value_error(std::string(names[i]) + ": " + py::repr(py::float_(v[i])).cast<std::string>() +
                            " is out of range (" + (lo == 0 ? "0" : "1") + " to 65536 pixels)");
  }
  for (int axis = 0; axis < 2; ++axis)
    if (v[2 + axis] + v[4 + axis] > v[axis])
      throw py::value_error(std::string(names[2 + axis]) + " + " + names[4 + axis] + " reaches beyond " + names[axis]);
  mirvo::CropInfo crop;
  crop.in_w = static_cast<float>(in_w);
  crop.in_h = static_cast<float>(in_h);
  crop.offs_x = static_cast<float>(offs_x);
  crop.offs_y = static_cast<float>(offs_y);
  crop.out_w = static_cast<float>(out_w);
  crop.out_h = static_cast<float>(out_h);
  std::lock_guard<std::mutex> lock(self.busy);
  if (self.guard)
    self.guard->SetSensorCrop(crop);
  else
    self.plain->SetSensorCrop(crop);
}

// The getter of a property of the last frame: None before the first one.
template <typename Read>
auto LastFrame(Read read) {
  return [read](PyCore& self) -> py::object {
    std::lock_guard<std::mutex> lock(self.busy);
    if (!self.has_frame) return py::none();
    return read(self.core());
  };
}

}  // namespace

void BindCore(py::module_& m) {
  py::class_<PyCore> cls(m, "Core",
                         "The per-frame engine, as the camera stack drives it. Core(tuning) copies the tuning and\n"
                         "loads it (LoadMirvoParams); then set_sensor_crop when the crop changes, and process() per\n"
                         "frame. The temporal filter carries state from frame to frame, so use one Core per\n"
                         "sequence of frames.");
  cls.def(py::init([](py::object tuning, bool guard) {
            if (tuning.is_none()) return std::make_unique<PyCore>(mirvo::DefaultMirvoParams(), guard);
            const MirvoParams& p = tuning.cast<const MirvoParams&>();
            CheckFiniteTuning(p);
            return std::make_unique<PyCore>(p, guard);
          }),
          py::arg("tuning") = py::none(), py::arg("guard") = false,
          "Core(tuning=None, guard=False): None takes the built-in default tuning; ValueError when the\n"
          "tuning holds a value that is not finite. guard=True runs the engine behind the output guard, as\n"
          "the program's run --guard: statistics cells without a count are made dark, and a table that is\n"
          "not finite or leaves the gain range is replaced by the last good one.");
  cls.def("set_sensor_crop", &SetCrop, py::arg("in_w"), py::arg("in_h"), py::arg("offs_x"), py::arg("offs_y"),
          py::arg("out_w"), py::arg("out_h"),
          "Sets the sensor crop in pixels (full sensor in_w x in_h, crop rectangle at offs_x, offs_y of\n"
          "out_w x out_h); the learned profile is cropped afresh from the tuning's full-sensor profile.");
  cls.def("process", &Process, py::arg("stats"), py::arg("base_table"),
          "Runs one frame: SetStats, SetInputLscTable, Execute, GetOutputLscTable. stats must be on the\n"
          "24 x 32 grid; base_table is float32 (4, 13, 17) (R, Gr, Gb, B), finite. Returns the output\n"
          "table, float32 (4, 13, 17). Raises RuntimeError with the operation and errCode when the library\n"
          "refuses the frame. The GIL is released while the engine runs.");
  cls.def_property(
      "debug",
      [](PyCore& self) {
        std::lock_guard<std::mutex> lock(self.busy);
        return self.core().GetMutableDebugParams()->debug_enable;
      },
      [](PyCore& self, bool on) {
        std::lock_guard<std::mutex> lock(self.busy);
        self.core().GetMutableDebugParams()->debug_enable = on;
      },
      "Diagnostics switch: while on, every frame records its intermediate grids for diagnostics().");
  cls.def("diagnostics", &Diagnostics,
          "The diagnostic store as a dict: key as the dump names it (\"GradH_UX[24][31]\") to an array of\n"
          "the grid's shape (float32, uint32, uint16 or uint8 as recorded), scalars (\"prj_u\") to floats.\n"
          "Empty until a frame ran with debug on.");
  cls.def_property_readonly(
      "projections", LastFrame([](const mirvo::Core& core) -> py::object {
        return py::make_tuple(static_cast<double>(core.prj_u_), static_cast<double>(core.prj_v_));
      }),
      "(prj_u, prj_v): projections of the last frame's tint onto the learned profile; None before a frame.");
  cls.def_property_readonly("temporal_update_gain", LastFrame([](const mirvo::Core& core) -> py::object {
                              return py::float_(static_cast<double>(core.temporal_update_gain_));
                            }),
                            "Gain of the temporal filter in the last frame; None before a frame.");
  cls.def_property_readonly(
      "guarded_frames",
      [](PyCore& self) -> py::object {
        std::lock_guard<std::mutex> lock(self.busy);
        if (!self.guard) return py::none();
        return py::int_(self.guard->guarded_frames());
      },
      "Tables the guard replaced so far; None without the guard.");
}

}  // namespace mirvo_py
