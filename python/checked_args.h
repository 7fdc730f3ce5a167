#pragma once

#include <Python.h>
#include <fcntl.h>
#include <pybind11/pybind11.h>
#include <unistd.h>

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <string>

#include "core/mirvo_params.h"
#include "core/stats.h"

// Checks at the module's boundary that the C++ types cannot make themselves.
namespace mirvo_py {

// A Python float stored as float32: finite as float32, not just as double
// (1e39 would become infinity). Raises ValueError naming the argument.
inline float CheckedFloat32(const char* name, double v) {
  if (!(std::fabs(v) <= FLT_MAX))
    throw pybind11::value_error(std::string(name) + ": expected a finite float32 number, got " +
                                pybind11::repr(pybind11::float_(v)).cast<std::string>());
  return static_cast<float>(v);
}

// Every float of a tuning record finite: the record's profile grids are
// writable views, so a NaN can arrive after any check at assignment.
inline void CheckFiniteTuning(const mirvo::MirvoParams& p) {
  const mirvo::TuningParams& t = p.tuning;
  const float floats[] = {t.min_level_thd, t.max_level_thd, t.sat_ratio_thd,   t.smooth_thd,
                          t.limit_thd,     t.prj_delta_thd, t.tint_update_gain};
  for (float v : floats)
    if (!std::isfinite(v)) throw pybind11::value_error("tuning: a threshold is not finite");
  const char* names[] = {"BUL", "BVL", "BgUHXY", "BgVHXY"};
  const float* grids[] = {&p.learned_tint_profile.BUL[0][0], &p.learned_tint_profile.BVL[0][0],
                          p.learned_tint_profile.BgUHXY, p.learned_tint_profile.BgVHXY};
  const size_t sizes[] = {13 * 17, 13 * 17, mirvo::kNumEdges, mirvo::kNumEdges};
  for (int g = 0; g < 4; ++g)
    for (size_t i = 0; i < sizes[g]; ++i)
      if (!std::isfinite(grids[g][i]))
        throw pybind11::value_error(std::string("tuning: ") + names[g] + " holds a value that is not finite");
}

// Writes `bytes` as the file `path`, checking the open, every write and the
// close (where a full disk may show only then); OSError with errno and the
// file name otherwise, as Python's own file functions raise it.
inline void WriteFileChecked(const std::string& path, const std::string& bytes) {
  const auto raise = [&path](int err) {
    errno = err;
    PyErr_SetFromErrnoWithFilename(PyExc_OSError, path.c_str());
    throw pybind11::error_already_set();
  };
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) raise(errno);
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int err = n < 0 ? errno : ENOSPC;
      ::close(fd);
      raise(err);
    }
    done += static_cast<size_t>(n);
  }
  if (::close(fd) != 0) raise(errno);
}

}  // namespace mirvo_py

namespace pybind11 {
namespace detail {

// An object made by Cls.__new__(Cls) without __init__ has no C++ value; the
// default caster would allocate uninitialised memory for it on first use.
// This caster refuses it with TypeError wherever the object is used: as self
// of any method or property, or as an argument.
template <typename T>
struct InitialisedCaster : type_caster_base<T> {
  bool load(handle src, bool convert) {
    if (src && isinstance<T>(src)) {
      auto* inst = reinterpret_cast<instance*>(src.ptr());
      const value_and_holder v_h = inst->get_value_and_holder(get_type_info(typeid(T)), false);
      if (!v_h || !v_h.holder_constructed() || v_h.value_ptr() == nullptr)
        throw type_error(std::string(Py_TYPE(src.ptr())->tp_name) +
                         " object was never initialised (made by __new__ without __init__)");
    }
    return type_caster_base<T>::load(src, convert);
  }
};

}  // namespace detail
}  // namespace pybind11

// Refuses uninitialised objects of T. At global scope, after T is declared and
// before any binding code of the translation unit uses T.
#define MIRVO_PY_REFUSE_UNINITIALISED(T)           \
  namespace pybind11 {                             \
  namespace detail {                               \
  template <>                                      \
  struct type_caster<T> : InitialisedCaster<T> {}; \
  }                                                \
  }

MIRVO_PY_REFUSE_UNINITIALISED(mirvo::Stats)
MIRVO_PY_REFUSE_UNINITIALISED(mirvo::MirvoParams)
