#pragma once

namespace mirvo::workbench {

// Result of fitting a smooth surface to samples scattered over the table lattice.
struct ShadingSurfaceFit {
  float node[13][17];   // the surface at the 13 x 17 table nodes
  double residual_rms;  // RMS of sample minus surface over the samples kept
  int outliers;         // samples left out as not explained by the surface
};

// Fits a smooth surface (a cubic B-spline on the lattice's own knots, with a
// small curvature penalty) to the values on a grid of `rows` x `cols` sample
// points at lattice positions x[c] (0..16) and y[r] (0..12). Samples with
// weight 0 are ignored. The fit is repeated twice without the samples that lie
// far off it, so dust and defects do not pull the surface; `residual`
// (rows x cols, may be null) receives every sample's distance from the final
// surface. The nodes at the lattice's border are evaluated from the same
// surface, not copied from the nearest samples. Returns false when fewer
// samples than the surface has coefficients are usable.
bool FitShadingSurface(const float* values, const float* weights, const float* x, int cols, const float* y, int rows,
                       ShadingSurfaceFit* fit, float* residual);

// The smooth surface of node values evaluated at lattice position (x, y), by
// the same bicubic interpolation the library uses for the tint profile.
float LatticeValueAt(const float (&node)[13][17], float x, float y);

}  // namespace mirvo::workbench
