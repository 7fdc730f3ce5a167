#include "core/cpu_features.h"

namespace mirvo {
namespace internal {

namespace {
bool portable_paths_forced = false;
}  // namespace

void ForcePortablePaths(bool on) { portable_paths_forced = on; }

bool PortablePathsForced() { return portable_paths_forced; }

}  // namespace internal
}  // namespace mirvo
