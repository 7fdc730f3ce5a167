#include "dng_maker.h"

#include <cstdio>
#include <cstring>
#include <map>

namespace dng_test {
namespace {

struct Writer {
  bool big;
  std::vector<uint8_t> b;
  void U8(uint8_t v) { b.push_back(v); }
  void U16(uint16_t v) { big ? (U8(v >> 8), U8(v & 255)) : (U8(v & 255), U8(v >> 8)); }
  void U32(uint32_t v) { big ? (U16(v >> 16), U16(v & 65535)) : (U16(v & 65535), U16(v >> 16)); }
};

void Be32(std::vector<uint8_t>* o, uint32_t v) {
  for (int s = 24; s >= 0; s -= 8) o->push_back(static_cast<uint8_t>(v >> s));
}
void BeF64(std::vector<uint8_t>* o, double d) {
  uint64_t u;
  std::memcpy(&u, &d, 8);
  Be32(o, static_cast<uint32_t>(u >> 32));
  Be32(o, static_cast<uint32_t>(u));
}

}  // namespace

std::vector<uint8_t> MakeDng(const DngSpec& s) {
  // tag -> (type, count, value bytes in file order)
  struct Field {
    uint16_t type;
    uint32_t count;
    std::vector<uint8_t> bytes;
  };
  std::map<uint16_t, Field> tags;
  const auto ints = [&](uint16_t tag, uint16_t type, std::vector<uint32_t> v) {
    Writer w{s.big_endian, {}};
    for (uint32_t x : v)
      type == 3 ? w.U16(static_cast<uint16_t>(x)) : type == 1 ? w.U8(static_cast<uint8_t>(x)) : w.U32(x);
    tags[tag] = {type, static_cast<uint32_t>(v.size()), w.b};
  };
  const auto rationals = [&](uint16_t tag, uint16_t type, std::vector<int32_t> v) {
    Writer w{s.big_endian, {}};
    for (int32_t x : v) w.U32(static_cast<uint32_t>(x)), w.U32(1);
    tags[tag] = {type, static_cast<uint32_t>(v.size()), w.b};
  };
  const auto text = [&](uint16_t tag, const std::string& t) {
    tags[tag] = {2, static_cast<uint32_t>(t.size() + 1), std::vector<uint8_t>(t.begin(), t.end())};
    tags[tag].bytes.push_back(0);
  };
  const uint32_t frame_bytes = static_cast<uint32_t>(s.width * s.height * 2);
  ints(254, 4, {0});
  ints(256, 4, {static_cast<uint32_t>(s.width)});
  ints(257, 4, {static_cast<uint32_t>(s.height)});
  ints(258, 3, {s.bits});
  ints(259, 3, {1});
  ints(262, 3, {s.photometric});
  text(271, "mirvo");
  text(272, "synthetic");
  ints(273, 4, {0});  // patched below
  ints(277, 3, {s.samples_per_pixel});
  ints(278, 4, {static_cast<uint32_t>(s.height)});
  ints(279, 4, {s.strip_bytes < 0 ? frame_bytes : static_cast<uint32_t>(s.strip_bytes)});
  ints(284, 3, {1});
  ints(33421, 3, {2, 2});
  // CFAPattern counts from the stored image's corner, the spec's pattern
  // from the ActiveArea's.
  std::vector<uint32_t> cfa;
  for (int q = 0; q < 4; ++q) {
    const char c = s.pattern[((q / 2 + s.active[0]) % 2) * 2 + (q % 2 + s.active[1]) % 2];
    cfa.push_back(c == 'R' ? 0 : c == 'G' ? 1 : c == 'B' ? 2 : 3);
  }
  ints(33422, 1, cfa);
  ints(50706, 1, {1, 4, 0, 0});
  ints(50707, 1, {1, 3, 0, 0});
  text(50708, "mirvo synthetic");
  if (s.black_2x2.empty()) {
    ints(50714, 4, {s.black});
  } else {
    ints(50713, 3, {2, 2});
    ints(50714, 4, s.black_2x2);
  }
  ints(50717, 4, {s.white});
  rationals(50721, 10, {1, 0, 0, 0, 1, 0, 0, 0, 1});
  rationals(50728, 5, {1, 1, 1});
  ints(50778, 3, {21});
  if (s.active[2] > 0)
    ints(50829, 4,
         {static_cast<uint32_t>(s.active[0]), static_cast<uint32_t>(s.active[1]), static_cast<uint32_t>(s.active[2]),
          static_cast<uint32_t>(s.active[3])});
  if (!s.opcode_list2.empty()) tags[51009] = {7, static_cast<uint32_t>(s.opcode_list2.size()), s.opcode_list2};

  Writer w{s.big_endian, {}};
  w.U8(s.big_endian ? 'M' : 'I'), w.U8(s.big_endian ? 'M' : 'I'), w.U16(42), w.U32(8);
  const uint32_t dir_bytes = 2 + 12 * static_cast<uint32_t>(tags.size()) + 4;
  uint32_t data_at = 8 + dir_bytes;
  for (auto& t : tags) data_at += t.second.bytes.size() > 4 ? (t.second.bytes.size() + 1) / 2 * 2 : 0;
  ints(273, 4, {data_at});  // pixels after the values
  w.U16(static_cast<uint16_t>(tags.size()));
  std::vector<uint8_t> values;
  for (auto& t : tags) {
    w.U16(t.first), w.U16(t.second.type), w.U32(t.second.count);
    if (t.second.bytes.size() <= 4) {
      std::vector<uint8_t> v = t.second.bytes;
      v.resize(4, 0);
      w.b.insert(w.b.end(), v.begin(), v.end());
    } else {
      w.U32(8 + dir_bytes + static_cast<uint32_t>(values.size()));
      values.insert(values.end(), t.second.bytes.begin(), t.second.bytes.end());
      if (values.size() % 2) values.push_back(0);
    }
  }
  w.U32(0);
  w.b.insert(w.b.end(), values.begin(), values.end());
  for (uint16_t v : s.samples) w.U16(v);
  return w.b;
}

void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return;
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
}

std::vector<uint8_t> AndroidGainMaps(const std::string& pattern, int width, int height, int rows, int cols,
                                     const std::vector<std::vector<float>>& gains) {
  std::vector<uint8_t> o;
  Be32(&o, 4);
  for (int p = 0; p < 4; ++p) {
    // R, the top row's green, the bottom row's green, B.
    int q = 0;
    while (!(p == 0 ? pattern[q] == 'R' : p == 3 ? pattern[q] == 'B' : pattern[q] == 'G' && (q < 2) == (p == 1))) ++q;
    Be32(&o, 9), Be32(&o, 0x01030000), Be32(&o, 1), Be32(&o, 76 + 4 * rows * cols);
    for (uint32_t v : {q / 2, q % 2, height, width, 0, 1, 2, 2, rows, cols}) Be32(&o, static_cast<uint32_t>(v));
    BeF64(&o, 1.0 / (rows - 1)), BeF64(&o, 1.0 / (cols - 1)), BeF64(&o, 0), BeF64(&o, 0);
    Be32(&o, 1);
    for (float g : gains[p]) {
      uint32_t u;
      std::memcpy(&u, &g, 4);
      Be32(&o, u);
    }
  }
  return o;
}

}  // namespace dng_test
