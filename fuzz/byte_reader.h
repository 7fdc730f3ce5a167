#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace mirvo_fuzz {

// Takes plain values off the front of a fuzz input; past its end every byte
// reads as zero, so any input length gives a complete set of values.
class ByteReader {
 public:
  ByteReader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  template <typename T>
  T Take() {
    T v{};
    unsigned char bytes[sizeof(T)] = {};
    for (size_t i = 0; i < sizeof(T); ++i) bytes[i] = pos_ < size_ ? data_[pos_++] : 0;
    std::memcpy(&v, bytes, sizeof(T));
    return v;
  }
  bool empty() const { return pos_ >= size_; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

}  // namespace mirvo_fuzz
