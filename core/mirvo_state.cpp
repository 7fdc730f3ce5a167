#include "core/mirvo_state.h"

#include <fstream>
#include <ostream>

#include "core/log_tag.h"

namespace mirvo {

void MirvoState::Set(std::string name, const Matrix<float>& m) { float_matrices_[std::move(name)] = m; }
void MirvoState::Set(std::string name, const Matrix<unsigned int>& m) { uint_matrices_[std::move(name)] = m; }
void MirvoState::Set(std::string name, const Matrix<unsigned short>& m) { ushort_matrices_[std::move(name)] = m; }
void MirvoState::Set(std::string name, const Matrix<unsigned char>& m) { uchar_matrices_[std::move(name)] = m; }
void MirvoState::Set(std::string name, const float& value) { scalars_[std::move(name)] = value; }

void MirvoState::Clear() {
  float_matrices_.clear();
  uint_matrices_.clear();
  ushort_matrices_.clear();
  uchar_matrices_.clear();
  scalars_.clear();
}

namespace {

template <typename T>
void WriteGrids(std::ostream& out, const std::map<std::string, Matrix<T>>& grids) {
  for (const auto& [name, grid] : grids) out << '\n' << name << "=\n" << grid.ToString() << '\n' << std::flush;
}

}  // namespace

void MirvoState::Write(std::ostream& out) const {
  for (const auto& [name, value] : scalars_) out << name << "=\n" << value << '\n' << std::flush;
  WriteGrids(out, float_matrices_);
  WriteGrids(out, uint_matrices_);
  WriteGrids(out, ushort_matrices_);
  WriteGrids(out, uchar_matrices_);
}

errCode MirvoState::SaveAll(const std::string& path) const {
  std::ofstream out(path);
  if (!out.is_open()) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Cannot open file: %s", path.c_str());
    return kFileError;
  }
  Write(out);
  out.close();
  // Only a failed write or flush counts; a failing close sets failbit alone
  // and is deliberately not reported.
  if (out.bad()) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Cannot save file: %s", path.c_str());
    return kFileError;
  }
  return kOk;
}

}  // namespace mirvo
