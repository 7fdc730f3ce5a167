#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/lsc_table.h"
#include "tools/bayer_raw.h"
#include "workbench/calibration/calibration.h"

namespace mirvo::workbench {

// The base table from flat-field captures of one module under one light, as
// the workstation program and the Python module make it: each capture is
// measured, fitted and judged on its own and against the first, then all are
// averaged, judged again and turned into gains. A refusal is one line that
// names the capture by the name it was added under, ready to show the user.
class FlatFieldCalibration {
 public:
  FlatFieldCalibration();
  ~FlatFieldCalibration();

  // Measures one capture (black levels in 14-bit units, paired with the
  // planes as the statistics builder pairs them). Empty, or the reason it
  // cannot serve: too small, clipped, too dark, not flat, or unlike the first.
  std::string AddCapture(const BayerRaw& raw, const uint16_t black_level[4], const std::string& name);

  // After one capture or more: the fit of their average and the table that
  // flattens it (`luminance_strength` 0..1, as GainsFromFit takes it). Empty,
  // or the reason the average cannot serve.
  std::string Finish(float luminance_strength, LscTable* table, FlatFieldFit* fit) const;

  size_t captures() const { return blocks_.size(); }
  const FlatFieldBlocks& blocks(size_t k) const { return blocks_[k]; }

 private:
  std::vector<FlatFieldBlocks> blocks_;
  std::vector<std::string> names_;
  std::unique_ptr<FlatFieldFit> first_;
};

// A share as the summaries print it: "0.0123 %" (three significant digits).
std::string PercentText(double share);

}  // namespace mirvo::workbench
