#pragma once

#include <pybind11/pybind11.h>

// Argument types that take any Python object, as py::object does, but show
// in signatures and docstrings what the function expects, not "handle".
namespace mirvo_py {

struct ArrayLike {  // checked by CheckedArray
  pybind11::object obj;
};
struct PathLike {  // str or os.PathLike, read with os.fspath
  pybind11::object obj;
};

}  // namespace mirvo_py

namespace pybind11 {
namespace detail {

template <typename T, typename Name>
struct ObjectCaster {
  PYBIND11_TYPE_CASTER(T, Name::text);
  bool load(handle src, bool) {
    value.obj = reinterpret_borrow<object>(src);
    return true;
  }
  static handle cast(const T& src, return_value_policy, handle) { return src.obj.inc_ref(); }
};

struct ArrayLikeName {
  static constexpr auto text = const_name("numpy.typing.ArrayLike");
};
struct PathLikeName {
  static constexpr auto text = const_name("os.PathLike");
};

template <>
struct type_caster<mirvo_py::ArrayLike> : ObjectCaster<mirvo_py::ArrayLike, ArrayLikeName> {};
template <>
struct type_caster<mirvo_py::PathLike> : ObjectCaster<mirvo_py::PathLike, PathLikeName> {};

}  // namespace detail
}  // namespace pybind11
