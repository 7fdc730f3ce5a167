#include <pybind11/stl.h>

#include "base/cli_error.h"
#include "bindings.h"
#include "commands/in_process.h"
#include "files/atomic_file.h"

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
  // Private: mirvo.corpus writes its rows and summaries as the program
  // writes its outputs (mode, durability, no temporary left behind).
  m.def(
      "_write_file_atomically",
      [](py::handle path, const py::bytes& data) {
        const std::string target = FsPath(path);
        const std::string bytes = data;
        try {
          py::gil_scoped_release release;
          mirvo_cli::WriteFileAtomically(target, bytes);
        } catch (const mirvo_cli::CliError& e) {
          PyErr_SetString(PyExc_OSError, mirvo_cli::Printable(e.what()).c_str());
          throw py::error_already_set();
        }
      },
      py::arg("path"), py::arg("data"), "Writes `data` to `path` whole or not at all; OSError with the reason.");
}

}  // namespace mirvo_py
