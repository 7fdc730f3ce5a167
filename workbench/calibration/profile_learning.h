#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "core/error_code.h"
#include "core/lsc_table.h"
#include "core/mirvo_params.h"

namespace mirvo::workbench {

// How well a learned profile describes the calibrations it was learned from.
struct ProfileLearningReport {
  // Share of the energy of the tables' differences from the reference that
  // the profile explains, for u (log R/G) and v (log B/G).
  double explained_u = 0.0;
  double explained_v = 0.0;
  // Per table, in the order given, the projection of its difference onto the
  // profile (the reference projects to 0, the largest difference to +-1).
  std::vector<double> projection_u;
  std::vector<double> projection_v;
};

// Largest |difference| at the nodes between two tables' demeaned log green
// (the mean of both green planes), the shape of the lens's fall-off. Tables
// of one module under different illuminants agree closely in it.
double GreenShapeDifference(const LscTable& a, const LscTable& b);

// Learns the tint profile from `count` base tables of one module calibrated
// under different illuminants, `reference` being the one the device uses.
// At every node the tint an illuminant leaves under the reference table is
// the reference's log colour ratio minus the table's own; the profile is the
// dominant shape of these tints (the one difference for two tables, the
// first principal component for more), mean removed, signed and scaled so
// that the largest difference projects to +1, for u and v separately. The
// gradient blocks are derived from BUL and BVL by the full-frame Crop.
// kInvalidInput when fewer than two tables differ in their colour ratios,
// `reference` is out of range or a gain is not positive and finite.
errCode LearnTintProfile(const LscTable* tables, size_t count, size_t reference, LearnedTintProfile* profile,
                         ProfileLearningReport* report);

// Tables whose vignetting differs by more than a factor of two (log units)
// are not of one module and crop; real calibrations of one module under
// different lights differ by up to 0.4.
inline constexpr double kMaxGreenShapeDiff = 0.7;

// LearnTintProfile behind the checks the workstation program and the Python
// module make first: every gain positive, every table's vignetting close to
// the reference's (GreenShapeDifference), the colour ratios of at least two
// tables different. `names` name the tables in the refusal, which comes back
// as one line ready to show the user; empty when the profile was learned.
// `reference` must be below tables.size() and tables.size() at least 2.
std::string LearnTintProfileFromTables(const std::vector<LscTable>& tables, const std::vector<std::string>& names,
                                       size_t reference, LearnedTintProfile* profile, ProfileLearningReport* report);

}  // namespace mirvo::workbench
