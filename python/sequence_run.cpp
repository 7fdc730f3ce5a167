#include <pybind11/stl.h>

#include "base/cli_error.h"
#include "bindings.h"
#include "commands/in_process.h"

namespace mirvo_py {

void BindSequenceRun(py::module_& m) {
  // Private: mirvo.corpus runs each sequence through it. The GIL is released,
  // so sequences run in parallel threads of one process too.
  m.def(
      "_run_sequence",
      [](const std::vector<std::string>& args) {
        try {
          py::gil_scoped_release release;
          mirvo_cli::RunInProcess(args);
        } catch (const mirvo_cli::CliError& e) {
          throw py::value_error(mirvo_cli::Printable(e.what()));
        }
      },
      py::arg("args"), "Runs `mirvo run ARGS` in this process; ValueError with the program's line on failure.");
}

}  // namespace mirvo_py
