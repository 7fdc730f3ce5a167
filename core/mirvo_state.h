#pragma once

#include <map>
#include <ostream>
#include <string>

#include "core/error_code.h"
#include "core/export.h"
#include "core/matrix.h"

namespace mirvo {

// Diagnostic store: named copies of grids and scalars recorded by the pipeline
// while debugging is on, written to one text file on request. Ordered maps, so
// the dump lists keys in byte-wise order.
class MIRVO_EXPORT MirvoState {
 public:
  void Set(std::string name, const Matrix<float>& m);
  void Set(std::string name, const Matrix<unsigned int>& m);
  void Set(std::string name, const Matrix<unsigned short>& m);
  void Set(std::string name, const Matrix<unsigned char>& m);
  void Set(std::string name, const float& value);
  void Clear();

  // Writes the dump: scalars first ("key=\nvalue\n"), then float, uint,
  // ushort and uchar grids, each as "\nkey=\n<ToString()>\n", flushing
  // after each entry. Byte grids are written as raw bytes.
  // DiagnosticDumpParseText (core/diagnostic_dump.h) reads it back.
  void Write(std::ostream& out) const;
  // Write into the file at `path` (mode "w"); kFileError, with a log line,
  // when it cannot be opened or a write fails.
  errCode SaveAll(const std::string& path) const;

  const std::map<std::string, Matrix<float>>& float_matrices() const { return float_matrices_; }
  const std::map<std::string, Matrix<unsigned int>>& uint_matrices() const { return uint_matrices_; }
  const std::map<std::string, Matrix<unsigned short>>& ushort_matrices() const { return ushort_matrices_; }
  const std::map<std::string, Matrix<unsigned char>>& uchar_matrices() const { return uchar_matrices_; }
  const std::map<std::string, float>& scalars() const { return scalars_; }

 private:
  std::map<std::string, Matrix<float>> float_matrices_;
  std::map<std::string, Matrix<unsigned int>> uint_matrices_;
  std::map<std::string, Matrix<unsigned short>> ushort_matrices_;
  std::map<std::string, Matrix<unsigned char>> uchar_matrices_;
  std::map<std::string, float> scalars_;
};

}  // namespace mirvo
