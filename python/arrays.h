#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>
#include <vector>

namespace mirvo_py {

namespace py = pybind11;

// Arrays from Python are checked, not trusted. Each check names the argument
// and says what was expected and what was given:
//   wrong number of dimensions or shape  -> ValueError
//   a strided or Fortran-ordered view    -> ValueError where the library
//                                           reads the memory in place
//                                           (`in_place`), else a C-ordered copy
//   another dtype                        -> converted when every value comes
//                                           through unchanged, else TypeError
// The result is `obj` itself when it already fits, so a float32 C-ordered
// table reaches the library without a copy.
template <typename T>
py::array_t<T, py::array::c_style> CheckedArray(py::handle obj, const char* name, const std::vector<py::ssize_t>& shape,
                                                bool in_place = true);

// Like CheckedArray<float>, then refuses NaN and infinities, naming the first
// one's index. Gains and tuning grids must be finite numbers.
py::array_t<float, py::array::c_style> CheckedFiniteFloats(py::handle obj, const char* name,
                                                           const std::vector<py::ssize_t>& shape);

// "(4, 13, 17)", for messages.
std::string ShapeText(const std::vector<py::ssize_t>& shape);

// A new C-ordered array of `shape` that owns a copy of `count` elements at `src`.
template <typename T>
py::array_t<T> ArrayCopy(const T* src, const std::vector<py::ssize_t>& shape);

}  // namespace mirvo_py
