#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <optional>
#include <sstream>

#include "arg_types.h"
#include "arrays.h"
#include "bindings.h"
#include "core/lsc_table.h"
#include "io/lsc_table_file.h"
#include "workbench/files/loaders.h"
#include "workbench/import/lsc_import.h"

namespace mirvo_py {

void BindTables(py::module_& m) {
  m.def(
      "load_table",
      [](const PathLike& path_arg) {
        const std::string path = FsPath(path_arg.obj);
        py::array_t<float> table({4, 13, 17});
        *reinterpret_cast<mirvo::LscTable*>(table.mutable_data()) = mirvo::workbench::LoadTableFile(path);
        // "nan" and "inf" read as numbers; no gain table holds them.
        CheckedFiniteFloats(table, (path + ": LSC table").c_str(), {4, 13, 17});
        return table;
      },
      py::arg("path"),
      "Reads an LSC table header file into float32 (4, 13, 17), planes R, Gr, Gb, B. Raises OSError when\n"
      "the file cannot be read, ValueError when it is not a complete table of finite gains.");
  m.def(
      "save_table",
      [](const PathLike& path_arg, const ArrayLike& table) {
        const std::string path = FsPath(path_arg.obj);
        auto a = CheckedFiniteFloats(table.obj, "table", {4, 13, 17});
        std::ostringstream text;
        mirvo::LscTableWriteText(text, *reinterpret_cast<const mirvo::LscTable*>(a.data()));
        WriteFileChecked(path, text.str());
      },
      py::arg("path"), py::arg("table"),
      "Writes float32 (4, 13, 17) (planes R, Gr, Gb, B) as an LSC table header file. Gains are written\n"
      "with 5 decimals, so a table read back equals the saved one to 5 decimals. OSError when any write\n"
      "or the close fails.");
  m.def(
      "import_table",
      [](const PathLike& path_arg, std::optional<int> ct) {
        const std::string path = FsPath(path_arg.obj);
        if (ct && (*ct < 1000 || *ct > 100000))
          throw py::value_error("ct: " + std::to_string(*ct) + " is not within 1000..100000");
        py::array_t<float> table({4, 13, 17});
        try {
          *reinterpret_cast<mirvo::LscTable*>(table.mutable_data()) =
              mirvo::workbench::AsStored(mirvo::workbench::ImportLscFile(path, ct.value_or(0)).table);
        } catch (const mirvo::workbench::ColourTemperatureNeeded& e) {
          throw py::value_error(std::string(e.what()) + "; choose one with ct=K");
        }
        return table;
      },
      py::arg("path"), py::arg("ct") = py::none(),
      "Imports a JSON lens shading calibration (the layouts mirvo table --import reads) as float32\n"
      "(4, 13, 17), exactly the table mirvo table --import writes: gains to 5 decimals. With several\n"
      "colour temperatures in the file, ct (kelvin) chooses one or interpolates between two. OSError\n"
      "when the file cannot be read, ValueError when it holds no known layout or needs a ct.");
}

}  // namespace mirvo_py
