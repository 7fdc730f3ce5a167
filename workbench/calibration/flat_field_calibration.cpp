#include "workbench/calibration/flat_field_calibration.h"

#include <algorithm>
#include <cstdio>

namespace mirvo::workbench {
namespace {

std::string Fixed(double v, int decimals) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", decimals, v);
  return text;
}

std::string TooDark(const std::string& what, const FlatFieldFit& fit) {
  return what + ": too dark to measure: the green level is " + PercentText(std::max(0.0, fit.median_green / 16383.0)) +
         " of the range above black (at least " + PercentText(kMinFlatLevel) + ")";
}

// Why a capture (or the average of several) cannot serve as a flat field; empty if it can.
std::string Judge(const std::string& what, const FlatFieldFit& fit) {
  const FlatFieldVerdict v = JudgeFlatField(fit);
  switch (v.problem) {
    case FlatFieldProblem::kNone:
      return std::string();
    case FlatFieldProblem::kClipped:
      return what + ": " + PercentText(v.value) + " of the samples are clipped (at most " + PercentText(v.limit) +
             "); lower the exposure";
    case FlatFieldProblem::kTooDark:
      return TooDark(what, fit);
    case FlatFieldProblem::kNotFlat:
      return what + ": not a flat field: " +
             (v.limit == kMaxFlatResidual
                  ? "10 % of the blocks lie " + PercentText(v.value) + " or more off a smooth surface (at most " +
                        PercentText(v.limit) + ")"
                  : PercentText(v.value) + " of the blocks lie far off a smooth surface (at most " +
                        PercentText(v.limit) + ")") +
             "; texture or objects in view?";
  }
  return std::string();
}

}  // namespace

std::string PercentText(double share) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3g %%", share * 100.0);
  return text;
}

FlatFieldCalibration::FlatFieldCalibration() = default;
FlatFieldCalibration::~FlatFieldCalibration() = default;

std::string FlatFieldCalibration::AddCapture(const BayerRaw& raw, const uint16_t black_level[4],
                                             const std::string& name) {
  auto blocks = std::make_unique<FlatFieldBlocks>();
  if (MeasureFlatField(raw, black_level, blocks.get()) != kOk)
    return name + ": frame too small to calibrate (at least " + std::to_string(2 * kFlatBlockCols) + " x " +
           std::to_string(2 * kFlatBlockRows) + " pixels)";
  auto fit = std::make_unique<FlatFieldFit>();
  if (!FitFlatField(blocks.get(), 1, fit.get())) return TooDark(name, *fit);
  const std::string refused = Judge(name, *fit);
  if (!refused.empty()) return refused;
  if (first_) {
    double colour = 0.0, luma = 0.0;
    CaptureDifference(*first_, *fit, &colour, &luma);
    if (colour > kMaxCaptureColourDiff || luma > kMaxCaptureLumaDiff)
      return name + ": disagrees with " + names_[0] + ": shading differs by " + Fixed(colour, 3) +
             " in log R/G or B/G (at most " + Fixed(kMaxCaptureColourDiff, 2) + ") and " + Fixed(luma, 3) +
             " in log G (at most " + Fixed(kMaxCaptureLumaDiff, 2) + "); one light, one module per call";
  } else {
    first_ = std::move(fit);
  }
  blocks_.push_back(*blocks);
  names_.push_back(name);
  return std::string();
}

std::string FlatFieldCalibration::Finish(float luminance_strength, LscTable* table, FlatFieldFit* fit) const {
  if (blocks_.empty()) return "no capture to calibrate from";
  if (!FitFlatField(blocks_.data(), blocks_.size(), fit)) return TooDark(names_[0], *fit);
  const std::string refused = Judge(blocks_.size() == 1 ? names_[0] : "the average of the captures", *fit);
  if (!refused.empty()) return refused;
  *table = GainsFromFit(*fit, luminance_strength);
  return std::string();
}

}  // namespace mirvo::workbench
