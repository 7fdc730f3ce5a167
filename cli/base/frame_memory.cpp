#include "base/frame_memory.h"

#include <malloc.h>

#include <mutex>

namespace mirvo_cli {

void KeepFrameMemory() {
#ifdef __GLIBC__
  static std::once_flag once;
  std::call_once(once, [] {
    mallopt(M_MMAP_THRESHOLD, 256 << 20);
    mallopt(M_TRIM_THRESHOLD, 512 << 20);
  });
#endif
}

}  // namespace mirvo_cli
