#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include "arg_types.h"
#include "arrays.h"
#include "bindings.h"
#include "workbench/dng/dng_reader.h"
#include "workbench/dng/dng_writer.h"
#include "workbench/error.h"
#include "workbench/files/file_error.h"

namespace mirvo_py {
namespace {

// The workbench's one-line reason, as OSError when the file could not be
// reached or written, ValueError when its content is refused.
[[noreturn]] void Raise(const mirvo::workbench::WorkbenchError& e) {
  const auto* file = dynamic_cast<const mirvo::workbench::FileError*>(&e);
  PyErr_SetString(file != nullptr && file->os_error() != 0 ? PyExc_OSError : PyExc_ValueError, e.what());
  throw py::error_already_set();
}

py::dict MapDict(const mirvo::workbench::GainMap& m) {
  py::dict d;
  d["area"] = py::make_tuple(m.top, m.left, m.bottom, m.right);
  d["plane"] = m.plane;
  d["planes"] = m.planes;
  d["pitch"] = py::make_tuple(m.row_pitch, m.col_pitch);
  d["spacing"] = py::make_tuple(m.spacing_v, m.spacing_h);
  d["origin"] = py::make_tuple(m.origin_v, m.origin_h);
  d["gains"] =
      ArrayCopy<float>(m.gains.data(), {static_cast<py::ssize_t>(m.points_v), static_cast<py::ssize_t>(m.points_h),
                                        static_cast<py::ssize_t>(m.map_planes)});
  return d;
}

}  // namespace

void BindDng(py::module_& m) {
  m.def(
      "read_dng",
      [](const PathLike& path_arg) {
        const std::string path = FsPath(path_arg.obj);
        mirvo::workbench::DngFrame f;
        try {
          py::gil_scoped_release release;
          f = mirvo::workbench::ReadDng(path);
        } catch (const mirvo::workbench::WorkbenchError& e) {
          Raise(e);
        }
        py::dict d;
        d["frame"] = ArrayCopy<uint16_t>(f.samples.data(), {f.height, f.width});
        d["pattern"] = f.pattern;
        d["bit_depth"] = f.bit_depth;
        d["shift"] = f.shift;
        d["black_level"] = py::make_tuple(f.black[0], f.black[1], f.black[2], f.black[3]);
        d["stats_black_level"] = py::make_tuple(f.stats_black[0], f.stats_black[1], f.stats_black[2], f.stats_black[3]);
        d["white_level"] = f.white_level;
        d["active_area"] = py::make_tuple(f.top, f.left, f.top + f.height, f.left + f.width);
        d["as_shot_neutral"] =
            f.has_neutral ? py::object(py::make_tuple(f.as_shot_neutral[0], f.as_shot_neutral[1], f.as_shot_neutral[2]))
                          : py::none();
        d["gain_map"] =
            f.has_gain_map ? py::object(ArrayCopy<float>(&f.gain_map.r_gain[0][0], {4, 13, 17})) : py::none();
        py::list maps;
        for (const mirvo::workbench::GainMap& g : f.gain_maps) maps.append(MapDict(g));
        d["gain_maps"] = maps;
        d["gain_map_list"] = f.gain_map_list;
        return d;
      },
      py::arg("path"),
      "Reads a Bayer DNG into a dict: 'frame' uint16 (height, width), the active area (samples deeper\n"
      "than 14 bits shifted right by 'shift'); 'pattern' (CFA order at the active area's corner);\n"
      "'bit_depth'; 'black_level' per 2x2 position in file units and 'stats_black_level' (B, Gr, Gb, R in\n"
      "14-bit units, as stats_from_raw takes them); 'white_level'; 'active_area' (top, left, bottom,\n"
      "right); 'as_shot_neutral' or None; 'gain_map' float32 (4, 13, 17) (planes R, Gr, Gb, B, from the\n"
      "file's GainMaps) or None; 'gain_maps' the native maps. Raises OSError when the file cannot be\n"
      "read, ValueError naming the file and the reason when it is not a supported Bayer DNG.");
  m.def(
      "write_dng_gain_map",
      [](const PathLike& src_arg, const PathLike& dst_arg, const ArrayLike& table) {
        const std::string src = FsPath(src_arg.obj), dst = FsPath(dst_arg.obj);
        auto a = CheckedFiniteFloats(table.obj, "table", {4, 13, 17});
        const mirvo::LscTable t = *reinterpret_cast<const mirvo::LscTable*>(a.data());
        try {
          py::gil_scoped_release release;
          mirvo::workbench::WriteDngGainMap(src, dst, t);
        } catch (const mirvo::workbench::WorkbenchError& e) {
          Raise(e);
        }
      },
      py::arg("src"), py::arg("dst"), py::arg("table"),
      "Writes a copy of the Bayer DNG src to dst whose OpcodeList2 GainMaps are the table's four planes\n"
      "(float32 (4, 13, 17), R, Gr, Gb, B; 13 x 17 points per Bayer position), every other byte and opcode\n"
      "kept; dst is replaced only when complete. read_dng(dst)['gain_map'] equals the table exactly.");
}

}  // namespace mirvo_py
