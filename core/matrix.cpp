#include "core/matrix.h"

#include <sstream>

namespace mirvo {

template <typename T>
std::string Matrix<T>::ToString() const {
  std::ostringstream out;
  // Element 0 is written unconditionally; an empty grid writes nothing.
  if (data.empty()) return std::string();
  out << data[0];
  for (size_t i = 1; i < data.size(); ++i) out << ' ' << data[i];
  return out.str();
}

// Bytes are written as raw characters (a flag 1 becomes the byte 0x01), which
// is what unsigned char insertion does; spelled out so the intent is plain.
template <>
std::string Matrix<unsigned char>::ToString() const {
  std::string s;
  if (data.empty()) return s;
  s.reserve(data.size() * 2);
  s.push_back(static_cast<char>(data[0]));
  for (size_t i = 1; i < data.size(); ++i) {
    s.push_back(' ');
    s.push_back(static_cast<char>(data[i]));
  }
  return s;
}

template struct Matrix<float>;
template struct Matrix<unsigned int>;
template struct Matrix<unsigned short>;
template struct Matrix<unsigned char>;

}  // namespace mirvo
