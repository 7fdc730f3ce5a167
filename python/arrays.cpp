#include "arrays.h"

#include <cmath>
#include <cstring>
#include <type_traits>

namespace mirvo_py {
namespace {

bool ShapeMatches(const py::array& a, const std::vector<py::ssize_t>& shape) {
  if (a.ndim() != static_cast<py::ssize_t>(shape.size())) return false;
  for (size_t i = 0; i < shape.size(); ++i)
    if (shape[i] >= 0 && a.shape(static_cast<py::ssize_t>(i)) != shape[i]) return false;
  return true;
}

std::string GivenShape(const py::array& a) {
  std::vector<py::ssize_t> shape(a.shape(), a.shape() + a.ndim());
  return ShapeText(shape);
}

std::string DtypeName(const py::dtype& d) { return py::str(static_cast<const py::handle&>(d)).cast<std::string>(); }

}  // namespace

std::string ShapeText(const std::vector<py::ssize_t>& shape) {
  std::string s = "(";
  for (size_t i = 0; i < shape.size(); ++i) {
    if (i > 0) s += ", ";
    s += shape[i] < 0 ? std::string("any") : std::to_string(shape[i]);
  }
  return s + (shape.size() == 1 ? ",)" : ")");
}

template <typename T>
py::array_t<T, py::array::c_style> CheckedArray(py::handle obj, const char* name, const std::vector<py::ssize_t>& shape,
                                                bool in_place) {
  py::array a = py::isinstance<py::array>(obj) ? py::reinterpret_borrow<py::array>(obj)
                                               : py::module_::import("numpy").attr("asarray")(obj).cast<py::array>();
  if (!ShapeMatches(a, shape))
    throw py::value_error(std::string(name) + ": expected shape " + ShapeText(shape) + ", got " + GivenShape(a));
  if (!(a.flags() & py::array::c_style) && !in_place)
    a = py::module_::import("numpy").attr("ascontiguousarray")(a).cast<py::array>();
  if (!(a.flags() & py::array::c_style))
    throw py::value_error(std::string(name) + ": expected a C-contiguous array, got a strided view of shape " +
                          GivenShape(a) + "; pass numpy.ascontiguousarray(" + name + ")");
  const py::dtype want = py::dtype::of<T>();
  const py::dtype given = a.dtype();
  if (given.is(want) || given.equal(want)) return py::reinterpret_borrow<py::array_t<T, py::array::c_style>>(a);

  // Another dtype: converted when the values come through unchanged (int64
  // counts that fit 16 bits, float64 gains that are float32 numbers), refused
  // when any value would change or the kind makes no sense (bool, float into
  // integer, strings, objects).
  const char kind = given.kind();
  const bool numeric = kind == 'i' || kind == 'u' || kind == 'f';
  const bool float_into_int = kind == 'f' && !std::is_floating_point<T>::value;
  const std::string refused = std::string(name) + ": expected dtype " + DtypeName(want) + ", got " + DtypeName(given);
  if (!numeric || float_into_int) throw py::type_error(refused);
  py::module_ np = py::module_::import("numpy");
  py::array converted = a.attr("astype")(want);
  const bool exact = std::is_floating_point<T>::value
                         ? np.attr("array_equal")(converted, a, py::arg("equal_nan") = true).template cast<bool>()
                         : np.attr("array_equal")(converted, a).template cast<bool>();
  if (!exact) throw py::type_error(refused + " with values that " + DtypeName(want) + " cannot hold exactly");
  return py::reinterpret_borrow<py::array_t<T, py::array::c_style>>(converted);
}

template py::array_t<float, py::array::c_style> CheckedArray<float>(py::handle, const char*,
                                                                    const std::vector<py::ssize_t>&, bool);
template py::array_t<uint16_t, py::array::c_style> CheckedArray<uint16_t>(py::handle, const char*,
                                                                          const std::vector<py::ssize_t>&, bool);
template py::array_t<uint32_t, py::array::c_style> CheckedArray<uint32_t>(py::handle, const char*,
                                                                          const std::vector<py::ssize_t>&, bool);

py::array_t<float, py::array::c_style> CheckedFiniteFloats(py::handle obj, const char* name,
                                                           const std::vector<py::ssize_t>& shape) {
  py::array_t<float, py::array::c_style> a = CheckedArray<float>(obj, name, shape);
  const float* data = a.data();
  const py::ssize_t n = a.size();
  for (py::ssize_t i = 0; i < n; ++i) {
    if (std::isfinite(data[i])) continue;
    // Index of the first bad value, for the message.
    std::string where;
    py::ssize_t rest = i;
    for (py::ssize_t d = a.ndim() - 1; d >= 0; --d) {
      where = std::to_string(rest % a.shape(d)) + (where.empty() ? "" : ", ") + where;
      rest /= a.shape(d);
    }
    throw py::value_error(std::string(name) + ": expected finite values, got " +
                          (std::isnan(data[i]) ? "nan" : (data[i] > 0 ? "inf" : "-inf")) + " at [" + where + "]");
  }
  return a;
}

template <typename T>
py::array_t<T> ArrayCopy(const T* src, const std::vector<py::ssize_t>& shape) {
  py::array_t<T> out(shape);
  std::memcpy(out.mutable_data(), src, static_cast<size_t>(out.size()) * sizeof(T));
  return out;
}

template py::array_t<float> ArrayCopy<float>(const float*, const std::vector<py::ssize_t>&);
template py::array_t<uint8_t> ArrayCopy<uint8_t>(const uint8_t*, const std::vector<py::ssize_t>&);
template py::array_t<uint16_t> ArrayCopy<uint16_t>(const uint16_t*, const std::vector<py::ssize_t>&);
template py::array_t<uint32_t> ArrayCopy<uint32_t>(const uint32_t*, const std::vector<py::ssize_t>&);

}  // namespace mirvo_py
