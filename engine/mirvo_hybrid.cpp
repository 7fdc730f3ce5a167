#include "engine/mirvo_hybrid.h"

#include <cstdio>
#include <cstring>

#include "core/log_tag.h"
#include "engine/grid_kernels.h"
#include "io/lsc_table_file.h"

namespace mirvo {

namespace {

bool IsShape(const Matrix<float>& m, int cols, int rows) { return m.cols == cols && m.rows == rows; }

// The engine's own grids and their shapes (columns, rows): the constructor
// gives them these, and a frame runs only while they still have them.
struct GridShape {
  Matrix<float> MirvoHybrid::*grid;
  int cols;
  int rows;
};
constexpr GridShape kGridShapes[] = {
    {&MirvoHybrid::WX, 31, 24},
    {&MirvoHybrid::WY, 32, 23},
    {&MirvoHybrid::GradH_UX, 31, 24},
    {&MirvoHybrid::GradH_UY, 32, 23},
    {&MirvoHybrid::GradH_VX, 31, 24},
    {&MirvoHybrid::GradH_VY, 32, 23},
    {&MirvoHybrid::log_tint_u, 17, 13},
    {&MirvoHybrid::log_tint_v, 17, 13},
    {&MirvoHybrid::temporal_tint_u_, 17, 13},
    {&MirvoHybrid::temporal_tint_v_, 17, 13},
    {&MirvoHybrid::GradL_UX, 16, 13},
    {&MirvoHybrid::GradL_UY, 17, 12},
    {&MirvoHybrid::GradL_VX, 16, 13},
    {&MirvoHybrid::GradL_VY, 17, 12},
};

void RecordBaseTable(MirvoState& state, const LscTable& table) {
  state.Set("base_table_R[13][17]", Matrix<float>(table.r_gain));
  state.Set("base_table_Gr[13][17]", Matrix<float>(table.gr_gain));
  state.Set("base_table_Gb[13][17]", Matrix<float>(table.gb_gain));
  state.Set("base_table_B[13][17]", Matrix<float>(table.b_gain));
}

}  // namespace

// Every grid gets its final shape here, so no stage ever has to allocate. The
// tables, vectors and projections are zeroed although each frame writes them
// before reading: it keeps an unconfigured engine deterministic.
MirvoHybrid::MirvoHybrid()
    : pdebug_params_(nullptr),
      pconfig_params_(nullptr),
      base_table_(),
      mirvo_table_(),
      weight_vec_(),
      grad_u_vec_(),
      grad_v_vec_(),
      prj_u_(0.0f),
      prj_v_(0.0f),
      prev_prj_u_(0.0f),
      prev_prj_v_(0.0f),
      temporal_update_gain_(1.0f),
      residue_u_vec_(),
      residue_v_vec_(),
      integration_paths_() {
  for (const GridShape& g : kGridShapes) this->*g.grid = Matrix<float>(g.cols, g.rows, 0.0f);
}

MirvoHybrid::~MirvoHybrid() = default;

void MirvoHybrid::SetMirvoParams(const MirvoParams& params) { pconfig_params_ = &params; }

void MirvoHybrid::SetMirvoDebugParams(MirvoDebugParams& params) { pdebug_params_ = &params; }

void MirvoHybrid::SetLscBaseTable(const LscTable& table) {
  std::memcpy(&base_table_, &table, sizeof(LscTable));
  if (pdebug_params_->debug_enable) RecordBaseTable(state_, base_table_);
  lsc_gain_.Init(base_table_);
}

int MirvoHybrid::LoadLscBaseTable(const char* path) {
  if (LscTableLoadHeaderFile(path, base_table_) != kOk) {
    std::fprintf(stderr, "Error in loading rolloff file: %s\n", path);
    std::fflush(stderr);
    return -1;
  }
  if (pdebug_params_ != nullptr && pdebug_params_->debug_enable) RecordBaseTable(state_, base_table_);
  lsc_gain_.Init(base_table_);
  return 0;
}

void MirvoHybrid::ApplyLscBaseTable() {
  if (!CheckGridShapes()) return;
  internal::AddLogGains(lsc_gain_.lsc_log_RG_gain, log_stats_.log_u_input);
  internal::AddLogGains(lsc_gain_.lsc_log_BG_gain, log_stats_.log_v_input);
}

LscTable* MirvoHybrid::GetMirvoTable() { return &mirvo_table_; }

// The grids are public so that tools can read them; a caller that resizes
// one gets this error instead of a frame.
bool MirvoHybrid::CheckGridShapes() const {
  bool ok = IsShape(log_stats_.log_u_input, 32, 24) && IsShape(log_stats_.log_v_input, 32, 24) &&
            IsShape(lsc_gain_.lsc_log_RG_gain, 32, 24) && IsShape(lsc_gain_.lsc_log_BG_gain, 32, 24);
  for (const GridShape& g : kGridShapes) ok = ok && IsShape(this->*g.grid, g.cols, g.rows);
  if (!ok) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                        "Mirvo grids were reshaped. The engine runs only on the shapes it was built with");
  }
  return ok;
}

errCode MirvoHybrid::SaveDisgnosticData(const std::string& path) { return state_.SaveAll(path); }

}  // namespace mirvo
