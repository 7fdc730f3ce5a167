#pragma once

#include <string>
#include <unordered_map>

#include "core/mirvo_params.h"

namespace mirvo {

// Path of the override file on the device's persistent camera partition.
inline constexpr char kOverrideMapPath[] = "/mnt/vendor/persist/camera/param_override_map.txt";

// Applies "key=value" lines of an override file to chosen tuning and debug
// fields. Targets are not owned and must outlive the updater.
class DebugParamUpdater {
 public:
  DebugParamUpdater();
  ~DebugParamUpdater();

  void Init(const std::string& path, TuningParams* tuning, MirvoDebugParams* debug);
  // False only for an empty path or an unopenable file.
  bool Update();

 private:
  std::string path_;
  std::unordered_map<std::string, int*> int_params_;
  std::unordered_map<std::string, float*> float_params_;
};

}  // namespace mirvo
