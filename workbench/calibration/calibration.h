#pragma once

#include <cstddef>

#include "core/lsc_table.h"
#include "workbench/calibration/flat_field.h"
#include "workbench/calibration/shading_fit.h"

namespace mirvo::workbench {

// Limits beyond which a capture cannot serve as a flat field.
inline constexpr double kMaxClippedShare = 0.001;      // share of samples at the white level
inline constexpr double kMinFlatLevel = 0.05;          // median green above black, share of the 14-bit range
inline constexpr double kMaxFlatResidual = 0.02;       // 90th percentile of |log level - smooth surface|
inline constexpr double kMaxOutlierShare = 0.05;       // blocks the smooth surface leaves out
inline constexpr double kMaxCaptureColourDiff = 0.02;  // log R/G or log B/G between captures of one call
inline constexpr double kMaxCaptureLumaDiff = 0.05;    // log G between captures, exposure aside

// The smooth shading of one capture (or of several averaged): per channel
// (R, Gr, Gb, B) the natural log of the level at the 13 x 17 nodes.
struct FlatFieldFit {
  float log_level[4][13][17];
  double residual_p90;   // over all channels: 90th percentile of |residual| in log units
  double residual_rms;   // RMS residual of the samples kept, the largest of the four channels
  double outlier_share;  // blocks left out, the largest share of the four channels
  double clipped_share;
  double median_green;  // 14-bit units above black
};

// Fits the four channels of `count` measurements of the same flat field,
// averaged after each was brought to the same exposure. False when a channel
// has too few blocks above black to fit.
bool FitFlatField(const FlatFieldBlocks* blocks, size_t count, FlatFieldFit* fit);

enum class FlatFieldProblem { kNone, kClipped, kTooDark, kNotFlat };
struct FlatFieldVerdict {
  FlatFieldProblem problem = FlatFieldProblem::kNone;
  double value = 0.0;  // the measured figure (share, level or residual)
  double limit = 0.0;  // the limit it crossed
};
// Whether one fitted capture can serve as a flat field, and why not.
FlatFieldVerdict JudgeFlatField(const FlatFieldFit& fit);

// Largest difference between two captures' shading at the nodes, each
// channel's exposure removed: in log R/G or log B/G (`colour`) and in log G.
void CaptureDifference(const FlatFieldFit& a, const FlatFieldFit& b, double* colour, double* luma);

// The base table that flattens the fitted field: every plane the inverse of
// its channel's shading, normalised to a smallest gain of 1. The green
// correction is applied to the power `luminance_strength` (0..1), the R/G and
// B/G correction in full.
LscTable GainsFromFit(const FlatFieldFit& fit, float luminance_strength);

// What the calibration found, for the summary.
struct CalibrationSummary {
  double falloff_ev[4];    // per channel: log2(centre / mean of the four corners)
  double rg_peak_to_peak;  // log R/G over the nodes
  double bg_peak_to_peak;  // log B/G over the nodes
};
CalibrationSummary SummariseFit(const FlatFieldFit& fit);

// The flat field as the table corrects it: each block's level times the
// table's gain at the block centre, divided by the channel's mean
// (kFlatBlocks values per channel, row-major).
void CorrectedFlatField(const FlatFieldBlocks& blocks, const LscTable& table, float (*out)[kFlatBlocks]);

}  // namespace mirvo::workbench
