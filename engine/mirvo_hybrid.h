#pragma once

#include <string>

#include "core/error_code.h"
#include "core/export.h"
#include "core/lsc_table.h"
#include "core/matrix.h"
#include "core/mirvo_params.h"
#include "core/mirvo_state.h"
#include "core/stats.h"
#include "engine/log_stats.h"
#include "resample/lsc_gain.h"

namespace mirvo {

namespace internal {
// The fit's sums, defined with the vector kernels (engine/edge_kernels.h),
// which stay out of the installed interface.
struct FitSums;
// u and v of one lattice node side by side: the two integrations run in the
// lanes of one small vector, each lane with exactly the scalar arithmetic.
typedef float FloatPair __attribute__((vector_size(2 * sizeof(float))));
}  // namespace internal

// The shading estimation engine. Every grid has a fixed size from
// construction on, so a frame with diagnostics off allocates nothing.
// Members are public so tools and tests can inspect every intermediate grid.
class MirvoHybrid {
 public:
  MIRVO_EXPORT MirvoHybrid();
  MIRVO_EXPORT ~MirvoHybrid();
  MirvoHybrid(const MirvoHybrid&) = delete;
  MirvoHybrid& operator=(const MirvoHybrid&) = delete;

  // Configuration: both store pointers; the records must outlive the engine.
  MIRVO_EXPORT void SetMirvoParams(const MirvoParams& params);
  MIRVO_EXPORT void SetMirvoDebugParams(MirvoDebugParams& params);

  // Base table: copied, recorded with debugging on, and turned into log gains.
  MIRVO_EXPORT void SetLscBaseTable(const LscTable& table);
  // Offline path: reads an LSC table header file (see LscTableLoadHeaderFile
  // for the missing-marker hazard). 0, or -1 after a message on stderr.
  MIRVO_EXPORT int LoadLscBaseTable(const char* path);
  // Adds the base table's log gains onto the log-chroma statistics.
  MIRVO_EXPORT void ApplyLscBaseTable();
  MIRVO_EXPORT LscTable* GetMirvoTable();

  // Statistics intake and the gradient mask.
  MIRVO_EXPORT errCode SetStats(const Stats& stats);
  MIRVO_EXPORT void RemoveUnreliableStats();

  // Stages, in the order GenerateDlscTable runs them.
  MIRVO_EXPORT void EstimateGradient();
  MIRVO_EXPORT void FitLearnedTintProfile();
  MIRVO_EXPORT void TemporalFilter(float prj_u, float prj_v);
  MIRVO_EXPORT void IntegratorSum();
  MIRVO_EXPORT void IntegrateGradientResidue();
  MIRVO_EXPORT void LogToLinear();
  MIRVO_EXPORT void GenerateDlscTable();
  MIRVO_EXPORT void MergeTintBaseTables();

  MIRVO_EXPORT errCode SaveDisgnosticData(const std::string& path);

  MirvoState state_;
  MirvoDebugParams* pdebug_params_;
  const MirvoParams* pconfig_params_;
  LscTable base_table_;
  LscGain lsc_gain_;
  LogStats log_stats_;
  LscTable mirvo_table_;
  Matrix<float> WX;
  Matrix<float> WY;
  float weight_vec_[kNumEdges];
  float grad_u_vec_[kNumEdges];
  float grad_v_vec_[kNumEdges];
  float prj_u_;
  float prj_v_;
  float prev_prj_u_;
  float prev_prj_v_;
  float temporal_update_gain_;
  float residue_u_vec_[kNumEdges];
  float residue_v_vec_[kNumEdges];
  Matrix<float> GradH_UX;
  Matrix<float> GradH_UY;
  Matrix<float> GradH_VX;
  Matrix<float> GradH_VY;
  Matrix<float> log_tint_u;
  Matrix<float> log_tint_v;
  Matrix<float> temporal_tint_u_;
  Matrix<float> temporal_tint_v_;
  Matrix<float> GradL_UX;
  Matrix<float> GradL_UY;
  Matrix<float> GradL_VX;
  Matrix<float> GradL_VY;

 private:
  // Whether every grid still has the shape the constructor gave it (the
  // stages are written for those shapes only); logs an error when not.
  bool CheckGridShapes() const;
  // Pieces of the stages that the frame driver runs fused when diagnostics
  // are off (nothing is recorded between them then).
  // EstimateGradient + mask + the flattening and sums of the fit.
  internal::FitSums WeightMaskAndSum();
  // Projections (with the temporal filter) from the fit's sums.
  void SetProjections(const internal::FitSums& sums);
  // The fit's residues, and the clamp of them into the gradient grids.
  void ResiduesAndClamp();

  // The nine path integrations of IntegratorSum, u and v side by side; a
  // member so that a frame neither allocates nor needs 16 KB of stack.
  internal::FloatPair integration_paths_[9][13][17];
};

// Engine internals, exposed for unit tests only.
namespace internal {
// Carries statistics-grid differences gx (24 x 31) and gy (23 x 32) onto the
// lattice differences lx (13 x 16) and ly (12 x 17).
void Matrix24x32ToMatrix13x17(const Matrix<float>& gx, const Matrix<float>& gy, Matrix<float>& lx, Matrix<float>& ly);
// Path-integrates lx/ly from start node [r0][c0] into out (zero there).
void Integrator(int c0, int r0, const Matrix<float>& lx, const Matrix<float>& ly, Matrix<float>& out);
}  // namespace internal

}  // namespace mirvo
