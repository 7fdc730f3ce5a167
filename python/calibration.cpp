#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "arg_types.h"
#include "arrays.h"
#include "bindings.h"
#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "frame_args.h"
#include "io/default_tuning.h"
#include "workbench/calibration/flat_field_calibration.h"
#include "workbench/calibration/profile_learning.h"

namespace mirvo_py {
namespace {

using Frame = py::array_t<uint16_t, py::array::c_style>;
using Table = py::array_t<float, py::array::c_style>;

// What the calibration found: the figures the program prints after a table.
struct CalibrationReport {
  mirvo::workbench::CalibrationSummary summary;
  double clipped_share, residual_rms, residual_p90, outlier_share;
  size_t captures;
};

// Named arrays of one argument that takes one array, a stack of them (one
// more leading axis) or a sequence of them. A lone array is `name`, the
// others `name[k]`.
template <typename T, typename Check>
std::vector<std::pair<std::string, T>> OneOrMany(py::handle obj, const char* name, size_t item_dims, Check check) {
  std::vector<std::pair<std::string, T>> items;
  const bool sequence = !py::isinstance<py::array>(obj) && py::isinstance<py::sequence>(obj) &&
                        !py::isinstance<py::str>(obj) && !py::isinstance<py::bytes>(obj);
  if (!sequence) {
    py::array a = py::module_::import("numpy").attr("asarray")(obj);
    if (a.ndim() == static_cast<py::ssize_t>(item_dims)) {
      items.emplace_back(name, check(a, name));
      return items;
    }
    if (a.ndim() != static_cast<py::ssize_t>(item_dims) + 1) {
      std::vector<py::ssize_t> given(a.shape(), a.shape() + a.ndim());
      throw py::value_error(std::string(name) + ": expected " + std::to_string(item_dims) + " dimensions or " +
                            std::to_string(item_dims + 1) + " (a stack), got shape " + ShapeText(given));
    }
    obj = a;
  }
  const size_t n = py::len(obj);
  for (size_t k = 0; k < n; ++k) {
    const std::string item = std::string(name) + "[" + std::to_string(k) + "]";
    items.emplace_back(item, check(obj[py::int_(k)], item.c_str()));
  }
  if (items.empty()) throw py::value_error(std::string(name) + ": expected one array or more, got none");
  return items;
}

std::tuple<py::array_t<float>, CalibrationReport> Calibrate(const ArrayLike& frames_arg, const std::string& pattern,
                                                            int bits, py::object black_level,
                                                            double luminance_strength) {
  CheckPattern(pattern);
  CheckRange("bits", bits, 1, 14);
  const auto levels = FourInts(black_level, "black_level", 0, 16382);
  if (!(luminance_strength >= 0.0 && luminance_strength <= 1.0))
    throw py::value_error("luminance_strength: " + py::repr(py::float_(luminance_strength)).cast<std::string>() +
                          " is not a number from 0 to 1");
  // Every capture has the first one's size, as one camera mode gives them.
  std::vector<py::ssize_t> shape = {-1, -1};
  auto frames = OneOrMany<Frame>(frames_arg.obj, "frames", 2, [&shape](py::handle a, const char* name) {
    Frame f = CheckedArray<uint16_t>(a, name, shape);
    shape = {f.shape(0), f.shape(1)};
    CheckFrameSize(static_cast<int>(f.shape(1)), static_cast<int>(f.shape(0)));
    return f;
  });
  uint16_t black[4];
  for (int i = 0; i < 4; ++i) black[i] = static_cast<uint16_t>(levels[i]);

  std::string refused;
  mirvo::LscTable table;
  auto fit = std::make_unique<mirvo::workbench::FlatFieldFit>();
  {
    py::gil_scoped_release unlocked;
    mirvo::workbench::FlatFieldCalibration calibration;
    for (size_t k = 0; k < frames.size() && refused.empty(); ++k) {
      const Frame& f = frames[k].second;
      mirvo::BayerRaw raw;
      FrameToPlanes(f.data(), static_cast<int>(f.shape(1)), static_cast<int>(f.shape(0)), bits, pattern, &raw);
      refused = calibration.AddCapture(raw, black, frames[k].first);
    }
    if (refused.empty()) refused = calibration.Finish(static_cast<float>(luminance_strength), &table, fit.get());
  }
  if (!refused.empty()) throw py::value_error(refused);
  const CalibrationReport report = {mirvo::workbench::SummariseFit(*fit),
                                    fit->clipped_share,
                                    fit->residual_rms,
                                    fit->residual_p90,
                                    fit->outlier_share,
                                    frames.size()};
  return {ArrayCopy(&table.r_gain[0][0], {4, 13, 17}), report};
}

std::tuple<mirvo::MirvoParams, mirvo::workbench::ProfileLearningReport> LearnProfile(const ArrayLike& tables_arg,
                                                                                     long long reference,
                                                                                     const mirvo::MirvoParams* tuning) {
  auto arrays = OneOrMany<Table>(tables_arg.obj, "tables", 3, [](py::handle a, const char* name) {
    return CheckedFiniteFloats(a, name, {4, 13, 17});
  });
  if (arrays.size() < 2)
    throw py::value_error("tables: expected two tables or more (one per illuminant), got " +
                          std::to_string(arrays.size()));
  CheckRange("reference", reference, 0, static_cast<long long>(arrays.size()) - 1);
  std::vector<mirvo::LscTable> tables(arrays.size());
  std::vector<std::string> names;
  for (size_t k = 0; k < arrays.size(); ++k) {
    std::memcpy(&tables[k], arrays[k].second.data(), sizeof(mirvo::LscTable));
    names.push_back(arrays[k].first);
  }
  auto params = std::make_unique<mirvo::MirvoParams>(tuning ? *tuning : mirvo::DefaultMirvoParams());
  mirvo::workbench::ProfileLearningReport report;
  std::string refused;
  {
    py::gil_scoped_release unlocked;
    refused = mirvo::workbench::LearnTintProfileFromTables(tables, names, static_cast<size_t>(reference),
                                                           &params->learned_tint_profile, &report);
  }
  if (!refused.empty()) throw py::value_error(refused);
  return {*params, report};
}

}  // namespace

void BindCalibration(py::module_& m) {
  py::class_<CalibrationReport> summary(m, "CalibrationSummary",
                                        "What calibrate() found, the figures mirvo calibrate prints: shading of the\n"
                                        "fitted flat field, clipping and how well a smooth surface explains it.");
  summary.def_property_readonly(
      "falloff_ev",
      [](const CalibrationReport& r) {
        const double* f = r.summary.falloff_ev;
        return py::make_tuple(f[0], f[1], f[2], f[3]);
      },
      "Corner fall-off per channel (R, Gr, Gb, B) in EV: log2 of the centre over the mean of the four corners.");
  summary.def_property_readonly(
      "rg_peak_to_peak", [](const CalibrationReport& r) { return r.summary.rg_peak_to_peak; },
      "Colour shading: peak to peak of log R/G over the nodes.");
  summary.def_property_readonly(
      "bg_peak_to_peak", [](const CalibrationReport& r) { return r.summary.bg_peak_to_peak; },
      "Colour shading: peak to peak of log B/G over the nodes.");
  summary.def_readonly("clipped_share", &CalibrationReport::clipped_share,
                       "Share of the samples at the white level, all captures.");
  summary.def_readonly("residual_rms", &CalibrationReport::residual_rms,
                       "RMS of the blocks kept off the smooth surface (log units), the largest channel's.");
  summary.def_readonly("residual_p90", &CalibrationReport::residual_p90,
                       "90th percentile of |block - smooth surface| over all channels (log units).");
  summary.def_readonly("outlier_share", &CalibrationReport::outlier_share,
                       "Share of the blocks the surface leaves out, the largest channel's.");
  summary.def_readonly("captures", &CalibrationReport::captures, "Captures averaged.");
  summary.def("__repr__", [](const CalibrationReport& r) {
    char text[320];
    const double* f = r.summary.falloff_ev;
    std::snprintf(text, sizeof text,
                  "mirvo.CalibrationSummary(captures=%zu, falloff_ev=(%.2f, %.2f, %.2f, %.2f), "
                  "rg_peak_to_peak=%.4f, bg_peak_to_peak=%.4f, clipped_share=%.3g, residual_rms=%.3g, "
                  "residual_p90=%.3g, outlier_share=%.3g)",
                  r.captures, f[0], f[1], f[2], f[3], r.summary.rg_peak_to_peak, r.summary.bg_peak_to_peak,
                  r.clipped_share, r.residual_rms, r.residual_p90, r.outlier_share);
    return std::string(text);
  });

  py::class_<mirvo::workbench::ProfileLearningReport> learned(
      m, "ProfileLearningReport", "How well a learned profile describes the tables it was learned from.");
  learned.def_readonly("explained_u", &mirvo::workbench::ProfileLearningReport::explained_u,
                       "Share of the energy of the tables' u (log R/G) differences the profile explains.");
  learned.def_readonly("explained_v", &mirvo::workbench::ProfileLearningReport::explained_v,
                       "Share of the energy of the tables' v (log B/G) differences the profile explains.");
  learned.def_readonly("projection_u", &mirvo::workbench::ProfileLearningReport::projection_u,
                       "Per table, the projection of its u difference onto BUL (reference 0, largest +-1).");
  learned.def_readonly("projection_v", &mirvo::workbench::ProfileLearningReport::projection_v,
                       "Per table, the projection of its v difference onto BVL.");
  learned.def("__repr__", [](const mirvo::workbench::ProfileLearningReport& r) {
    char text[128];
    std::snprintf(text, sizeof text, "mirvo.ProfileLearningReport(explained_u=%.4f, explained_v=%.4f, tables=%zu)",
                  r.explained_u, r.explained_v, r.projection_u.size());
    return std::string(text);
  });

  m.def("calibrate", &Calibrate, py::arg("frames"), py::arg("pattern"), py::arg("bits"), py::arg("black_level") = 0,
        py::arg("luminance_strength") = 1.0,
        "Makes the base LSC table from raw flat-field captures under one light, as mirvo calibrate does.\n"
        "frames: uint16 (height, width), a stack (n, height, width) or a sequence of equal-sized frames\n"
        "(averaged); black_level in 14-bit units (one int or four, paired B, Gr, Gb, R); luminance_strength\n"
        "0..1 is the share of the vignetting corrected (colour shading is always corrected in full).\n"
        "Returns (table float32 (4, 13, 17) R, Gr, Gb, B, CalibrationSummary). A capture that cannot serve\n"
        "(clipped, too dark, not a flat field, unlike the first) raises ValueError with the program's reason.");
  m.def("learn_profile", &LearnProfile, py::arg("tables"), py::arg("reference") = 0,
        py::arg("tuning") = static_cast<const mirvo::MirvoParams*>(nullptr),
        "Learns the tint profile from base tables of one module under different illuminants, as mirvo learn\n"
        "does. tables: float32 (n, 4, 13, 17) or a sequence of (4, 13, 17), n >= 2; reference: the index of\n"
        "the table the device uses; tuning: the thresholds to keep (default the built-in ones).\n"
        "Returns (Tuning with BUL, BVL and the gradient blocks learned, ProfileLearningReport). Tables of\n"
        "another geometry, or whose colour ratios do not differ, raise ValueError with the program's reason.");
}

}  // namespace mirvo_py
