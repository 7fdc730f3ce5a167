#include <pybind11/numpy.h>

#include <sstream>

#include "arg_types.h"
#include "arrays.h"
#include "bindings.h"
#include "core/lsc_table.h"
#include "file_readers.h"
#include "io/lsc_table_file.h"

namespace mirvo_py {

void BindTables(py::module_& m) {
  m.def(
      "load_table",
      [](const PathLike& path_arg) {
        const std::string path = FsPath(path_arg.obj);
        py::array_t<float> table({4, 13, 17});
        LoadTableFile(path, reinterpret_cast<mirvo::LscTable*>(table.mutable_data()));
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
}

}  // namespace mirvo_py
