#include "core/core.h"

#include <cstring>

#include "core/log_tag.h"
#include "io/override_map.h"
#include "resample/learned_tint_profile.h"

namespace mirvo {

namespace {

void ResetDebugParams(MirvoDebugParams& debug) {
  debug.debug_enable = false;
  debug.tint_visualization_gain = 1.0f;
  debug.override_mode = 0;
  debug.crop = CropInfo();
}

}  // namespace

Core::Core() : MirvoHybrid(), params_(), source_params_(nullptr), override_path_(kOverrideMapPath) {}

Core::~Core() = default;

bool Core::LoadMirvoParams(const MirvoParams& params) {
  ResetDebugParams(debug_params_);
  SetMirvoDebugParams(debug_params_);
  SetMirvoParams(params_);
  std::memcpy(params_.version, params.version, sizeof(params_.version));
  crop_info_ = CropInfo();
  Crop(crop_info_, params.learned_tint_profile, &params_.learned_tint_profile);
  source_params_ = &params;
  params_.tuning = params.tuning;
  return true;
}

void Core::SetSensorCrop(const CropInfo& crop) {
  if (SameCrop(crop, crop_info_)) return;
  crop_info_ = crop;
  // Always from the caller's full-sensor profile, never from an earlier crop.
  Crop(crop_info_, source_params_->learned_tint_profile, &params_.learned_tint_profile);
  if (debug_params_.debug_enable) {
    __android_log_print(ANDROID_LOG_DEBUG, kLogTag, "New CropInfo: %1.1f, %1.1f, %1.1f, %1.1f, %1.1f, %1.1f",
                        crop_info_.in_w, crop_info_.in_h, crop_info_.offs_x, crop_info_.offs_y, crop_info_.out_w,
                        crop_info_.out_h);
  }
}

bool Core::SetStats(const Stats& stats) {
  const errCode err = MirvoHybrid::SetStats(stats);
  if (err == kOk) return true;
  __android_log_print(ANDROID_LOG_ERROR, kLogTag, "%s : errCode = %d", "SetStats", static_cast<int>(err));
  return false;
}

bool Core::SetInputLscTable(const LscTable& table) {
  SetLscBaseTable(table);
  return true;
}

bool Core::Execute() {
  // A failed override still leaves a usable tuning: run the frame regardless.
  if (debug_params_.debug_enable && !LoadOverrideMap()) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "%s : LoadOverrideMap fail", "Execute");
  }
  GenerateDlscTable();
  return true;
}

bool Core::GetOutputLscTable(LscTable* out) {
  const LscTable* table = GetMirvoTable();
  if (table == nullptr) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "%s : mirvo_table = nullptr", "GetOutputLscTable");
    return false;
  }
  std::memcpy(out, table, sizeof(LscTable));
  return true;
}

MirvoParams* Core::GetMutableMirvoParams() { return &params_; }

MirvoDebugParams* Core::GetMutableDebugParams() { return &debug_params_; }

bool Core::LoadOverrideMap() { return LoadOverrideMap(override_path_); }

bool Core::LoadOverrideMap(const std::string& path) {
  if (source_params_ == nullptr) return false;
  // The mode moves on before the file is read, so a bad file is not retried
  // every frame; the host asks again by setting the mode back to 2.
  switch (debug_params_.override_mode) {
    case 0:
      params_.tuning = source_params_->tuning;
      debug_params_.tint_visualization_gain = 1.0f;
      debug_params_.override_mode = 1;
      debug_params_.crop = CropInfo();
      return true;
    case 2: {
      params_.tuning = source_params_->tuning;
      debug_params_.tint_visualization_gain = 1.0f;
      debug_params_.override_mode = 3;
      debug_params_.crop = CropInfo();
      DebugParamUpdater updater;
      updater.Init(path, &params_.tuning, &debug_params_);
      const bool ok = updater.Update();
      if (ok) {
        __android_log_print(ANDROID_LOG_DEBUG, kLogTag, "LoadOverrideMap:smoth_thd=%f, lim_thd=%f",
                            params_.tuning.smooth_thd, params_.tuning.limit_thd);
      }
      return ok;
    }
    default:
      return true;
  }
}

void Core::SetOverrideMapPath(const std::string& path) { override_path_ = path; }

}  // namespace mirvo
