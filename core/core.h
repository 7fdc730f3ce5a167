#pragma once

#include <string>

#include "core/crop_info.h"
#include "core/export.h"
#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "core/stats.h"
#include "engine/mirvo_hybrid.h"

namespace mirvo {

// The object the camera stack holds, one per camera. Calling order: Core(),
// LoadMirvoParams, SetSensorCrop when the crop changes, then per frame
// SetStats, SetInputLscTable, Execute, GetOutputLscTable. One thread at a time.
class MIRVO_EXPORT Core : public MirvoHybrid {
 public:
  Core();
  ~Core();

  // `params` is kept by pointer and read again on every crop change and
  // override reset: it must outlive the Core and stay unchanged.
  bool LoadMirvoParams(const MirvoParams& params);
  void SetSensorCrop(const CropInfo& crop);
  bool SetStats(const Stats& stats);
  bool SetInputLscTable(const LscTable& table);
  bool Execute();
  bool GetOutputLscTable(LscTable* out);
  MirvoParams* GetMutableMirvoParams();
  MirvoDebugParams* GetMutableDebugParams();

  // Override map state machine, reading the override file from the path set
  // below (the device path unless changed).
  bool LoadOverrideMap();
  // Workstation use: read the override file from another path.
  bool LoadOverrideMap(const std::string& path);
  void SetOverrideMapPath(const std::string& path);

 private:
  MirvoParams params_;
  const MirvoParams* source_params_;
  MirvoDebugParams debug_params_;
  CropInfo crop_info_;
  std::string override_path_;
};

}  // namespace mirvo
