#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "core/export.h"

namespace mirvo {

// Dense row-major grid: element (r, c) is data[r * cols + c]. Instantiated for
// float, unsigned int, unsigned short and unsigned char.
template <typename T>
struct MIRVO_EXPORT Matrix {
  int cols = 0;
  int rows = 0;
  std::vector<T> data;

  Matrix() = default;
  // Note the argument order: columns first, as the members are declared.
  Matrix(int cols_, int rows_, T fill = T())
      : cols(cols_), rows(rows_), data(static_cast<size_t>(cols_) * rows_, fill) {}

  // Converting constructor from a fixed array (13 x 17 floats for table
  // planes, 24 x 32 bytes for reliability flags). Elements are converted by
  // plain widening, with no scaling.
  template <int Rows, int Cols, typename U>
  explicit Matrix(const U (&a)[Rows][Cols]) : cols(Cols), rows(Rows), data(static_cast<size_t>(Rows) * Cols) {
    for (int r = 0; r < Rows; ++r)
      for (int c = 0; c < Cols; ++c) data[static_cast<size_t>(r) * Cols + c] = static_cast<T>(a[r][c]);
  }

  // Reshapes without reallocating when the element count fits the capacity.
  void Resize(int cols_, int rows_) {
    cols = cols_;
    rows = rows_;
    data.resize(static_cast<size_t>(cols_) * rows_);
  }

  int size() const { return cols * rows; }
  T* operator[](int r) { return data.data() + static_cast<size_t>(r) * cols; }
  const T* operator[](int r) const { return data.data() + static_cast<size_t>(r) * cols; }
  T& operator()(int r, int c) { return data[static_cast<size_t>(r) * cols + c]; }
  const T& operator()(int r, int c) const { return data[static_cast<size_t>(r) * cols + c]; }

  // Text form used by the diagnostic dump: all elements in storage order,
  // separated by single blanks. Floats print as %g would, integers in decimal,
  // and unsigned char elements as raw bytes (not as numbers).
  std::string ToString() const;
};

template <>
std::string Matrix<unsigned char>::ToString() const;

extern template struct Matrix<float>;
extern template struct Matrix<unsigned int>;
extern template struct Matrix<unsigned short>;
extern template struct Matrix<unsigned char>;

}  // namespace mirvo
