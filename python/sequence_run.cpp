#include <pybind11/stl.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <mutex>

#include "base/cli_error.h"
#include "bindings.h"
#include "commands/in_process.h"

namespace mirvo_py {
namespace {

// As the program's main does: raw frames come and go at tens of megabytes
// each; keep that memory in the heap instead of mapping and faulting it in
// afresh for every frame. Dask's workers start with a small trim threshold
// (MALLOC_TRIM_THRESHOLD_), which without this costs several times the frame.
void KeepFrameMemory() {
#ifdef __GLIBC__
  static std::once_flag once;
  std::call_once(once, [] {
    mallopt(M_MMAP_THRESHOLD, 256 << 20);
    mallopt(M_TRIM_THRESHOLD, 512 << 20);
  });
#endif
}

}  // namespace

void BindSequenceRun(py::module_& m) {
  // Private: mirvo.corpus runs each sequence through it. The GIL is released,
  // so sequences run in parallel threads of one process too.
  m.def(
      "_run_sequence",
      [](const std::vector<std::string>& args) {
        try {
          py::gil_scoped_release release;
          KeepFrameMemory();
          mirvo_cli::RunInProcess(args);
        } catch (const mirvo_cli::CliError& e) {
          throw py::value_error(mirvo_cli::Printable(e.what()));
        }
      },
      py::arg("args"), "Runs `mirvo run ARGS` in this process; ValueError with the program's line on failure.");
}

}  // namespace mirvo_py
