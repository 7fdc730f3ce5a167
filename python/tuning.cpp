#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cmath>
#include <cstring>
#include <sstream>

#include "arg_types.h"
#include "arrays.h"
#include "bindings.h"
#include "io/default_tuning.h"
#include "io/tuning_file.h"
#include "workbench/files/loaders.h"

namespace mirvo_py {
namespace {

using mirvo::LearnedTintProfile;
using mirvo::MirvoParams;
using mirvo::TuningParams;

// A tuning record read through `path` must hold finite numbers only: the
// reader takes "nan" and "inf" as numbers, the engine would spread them.
void CheckFiniteRecord(const std::string& path, const MirvoParams& p) {
  const float floats[] = {p.tuning.min_level_thd, p.tuning.max_level_thd, p.tuning.sat_ratio_thd,   p.tuning.smooth_thd,
                          p.tuning.limit_thd,     p.tuning.prj_delta_thd, p.tuning.tint_update_gain};
  for (float v : floats)
    if (!std::isfinite(v)) throw py::value_error(path + ": not a valid tuning header file: a threshold is not finite");
  const float* profile = &p.learned_tint_profile.BUL[0][0];
  for (size_t i = 0; i < sizeof(LearnedTintProfile) / sizeof(float); ++i)
    if (!std::isfinite(profile[i]))
      throw py::value_error(path +
                            ": not a valid tuning header file: the learned profile holds a value that is not finite");
}

template <typename Cls>
void FloatField(Cls& cls, const char* name, float TuningParams::*field, const char* doc) {
  cls.def_property(
      name, [field](const MirvoParams& p) { return static_cast<double>(p.tuning.*field); },
      [field, name](MirvoParams& p, double v) { p.tuning.*field = CheckedFloat32(name, v); }, doc);
}

template <typename Cls>
void SwitchField(Cls& cls, const char* name, int32_t TuningParams::*field, const char* doc) {
  cls.def_property(
      name, [field](const MirvoParams& p) { return p.tuning.*field; },
      [field](MirvoParams& p, int32_t v) { p.tuning.*field = v; }, doc);
}

// Profile grids are views into the record (writable, kept alive by it);
// assigning checks shape, dtype and finiteness, then copies.
template <typename Cls, typename Member>
void ProfileField(Cls& cls, const char* name, Member LearnedTintProfile::*field, std::vector<py::ssize_t> shape,
                  const char* doc) {
  cls.def_property(
      name,
      [field, shape](py::object self) {
        MirvoParams& p = self.cast<MirvoParams&>();
        return py::array_t<float>(shape, reinterpret_cast<float*>(&(p.learned_tint_profile.*field)), self);
      },
      [field, shape, name](MirvoParams& p, const ArrayLike& value) {
        auto a = CheckedFiniteFloats(value.obj, name, shape);
        std::memcpy(&(p.learned_tint_profile.*field), a.data(), sizeof(Member));
      },
      doc);
}

}  // namespace

void BindTuning(py::module_& m) {
  py::class_<MirvoParams> cls(m, "Tuning",
                              "The engine's tuning record: nine thresholds and switches, and the learned tint profile\n"
                              "of the full, uncropped sensor. Tuning() is a copy of the built-in default tuning.\n"
                              "Profile grids are float32 views into the record: edit them in place or assign arrays.");
  cls.def(py::init([]() { return MirvoParams(mirvo::DefaultMirvoParams()); }));
  cls.def(
      "copy", [](const MirvoParams& p) { return MirvoParams(p); }, "An independent copy of the record.");
  cls.def("__copy__", [](const MirvoParams& p) { return MirvoParams(p); });
  cls.def(
      "__deepcopy__", [](const MirvoParams& p, py::dict) { return MirvoParams(p); }, py::arg("memo"));
  cls.def_property(
      "version",
      [](const MirvoParams& p) { return py::make_tuple(p.version[0], p.version[1], p.version[2], p.version[3]); },
      [](MirvoParams& p, std::array<uint8_t, 4> v) { std::memcpy(p.version, v.data(), 4); },
      "The four version bytes (a tuning file sets all four to its one version number).");
  FloatField(cls, "min_level_thd", &TuningParams::min_level_thd, "Lower level limit of a reliable cell (0.001).");
  FloatField(cls, "max_level_thd", &TuningParams::max_level_thd, "Upper level limit of a reliable cell (0.99).");
  FloatField(cls, "sat_ratio_thd", &TuningParams::sat_ratio_thd,
             "Saturated-pixel ratio limit of a reliable cell (0.6).");
  FloatField(cls, "smooth_thd", &TuningParams::smooth_thd, "Edge threshold of the gradient weights (0.04).");
  FloatField(cls, "limit_thd", &TuningParams::limit_thd, "Clamp of the estimated tint gradients (0.01).");
  SwitchField(cls, "filter_input_stats", &TuningParams::filter_input_stats,
              "1 switches on the 3x3 Gaussian smoothing of the integrated tint (0).");
  FloatField(cls, "prj_delta_thd", &TuningParams::prj_delta_thd, "Dead band of the temporal filter (0.15).");
  FloatField(cls, "tint_update_gain", &TuningParams::tint_update_gain, "Gain of the temporal filter (0.3).");
  SwitchField(cls, "enable_temporal_filter", &TuningParams::enable_temporal_filter,
              "Non-zero switches on temporal blending of the tint (1).");
  ProfileField(cls, "BUL", &LearnedTintProfile::BUL, {13, 17},
               "Learned tint, u = log(R/G), float32 (13, 17) on the table lattice.");
  ProfileField(cls, "BVL", &LearnedTintProfile::BVL, {13, 17},
               "Learned tint, v = log(B/G), float32 (13, 17) on the table lattice.");
  ProfileField(cls, "BgUHXY", &LearnedTintProfile::BgUHXY, {mirvo::kNumEdges},
               "Learned u gradients, float32 (1480,): 24 x 31 horizontal edges, then 23 x 32 vertical ones.");
  ProfileField(cls, "BgVHXY", &LearnedTintProfile::BgVHXY, {mirvo::kNumEdges},
               "Learned v gradients, float32 (1480,), in the same edge order.");
  cls.def("__repr__", [](const MirvoParams& p) {
    const TuningParams& t = p.tuning;
    char buf[320];
    std::snprintf(buf, sizeof buf,
                  "mirvo.Tuning(version=%u, min_level_thd=%g, max_level_thd=%g, sat_ratio_thd=%g, smooth_thd=%g, "
                  "limit_thd=%g, filter_input_stats=%d, prj_delta_thd=%g, tint_update_gain=%g, "
                  "enable_temporal_filter=%d)",
                  p.version[0], t.min_level_thd, t.max_level_thd, t.sat_ratio_thd, t.smooth_thd, t.limit_thd,
                  t.filter_input_stats, t.prj_delta_thd, t.tint_update_gain, t.enable_temporal_filter);
    return std::string(buf);
  });

  m.def(
      "default_tuning", []() { return MirvoParams(mirvo::DefaultMirvoParams()); },
      "A copy of the built-in default tuning record.");
  m.def(
      "load_tuning",
      [](const PathLike& path_arg) {
        const std::string path = FsPath(path_arg.obj);
        MirvoParams p(mirvo::DefaultMirvoParams());
        mirvo::workbench::LoadTuningFile(path, &p);
        CheckFiniteRecord(path, p);
        return p;
      },
      py::arg("path"),
      "Reads a tuning header file. Raises OSError when it cannot be read, ValueError when it is not a\n"
      "complete tuning file of finite numbers.");
  m.def(
      "save_tuning",
      [](const PathLike& path_arg, const MirvoParams& tuning) {
        const std::string path = FsPath(path_arg.obj);
        std::ostringstream text;
        mirvo::TuningWriteText(text, tuning);
        WriteFileChecked(path, text.str());
      },
      py::arg("path"), py::arg("tuning"),
      "Writes a tuning header file that load_tuning reads back exactly (floats with 9 significant digits).");
}

}  // namespace mirvo_py
