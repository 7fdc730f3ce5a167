#include "dng_maker.h"

#include <cstring>
#include <fstream>
#include <map>

namespace dng_test {
namespace {

// Appends v as `bytes` bytes, most significant first when `big`.
void Put(std::vector<uint8_t>* o, bool big, uint64_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) o->push_back(static_cast<uint8_t>(v >> 8 * (big ? bytes - 1 - i : i)));
}

}  // namespace

std::vector<uint8_t> MakeDng(const DngSpec& s) {
  struct Field {
    uint16_t type;  // 1 BYTE, 2 ASCII, 3 SHORT, 4 LONG, 5 RATIONAL, 7 UNDEFINED, 10 SRATIONAL
    uint32_t count;
    std::vector<uint8_t> bytes;  // in file order
  };
  std::map<uint16_t, Field> tags;
  const bool big = s.big_endian;
  const auto put = [&](uint16_t tag, uint16_t type, const std::vector<uint32_t>& values) {
    Field f{type, static_cast<uint32_t>(values.size()), {}};
    for (uint32_t v : values) {
      Put(&f.bytes, big, v, type == 1 ? 1 : type == 3 ? 2 : 4);
      if (type == 5 || type == 10) Put(&f.bytes, big, 1, 4);  // the denominator
    }
    tags[tag] = f;
  };
  const uint32_t width = static_cast<uint32_t>(s.width), height = static_cast<uint32_t>(s.height);
  put(254, 4, {0});
  put(256, 4, {width});
  put(257, 4, {height});
  put(258, 3, {s.bits});
  put(259, 3, {1});
  put(262, 3, {s.photometric});
  tags[271] = {2, 6, {'m', 'i', 'r', 'v', 'o', 0}};
  put(273, 4, {0});  // where the pixels start: set below
  put(277, 3, {s.samples_per_pixel});
  put(278, 4, {height});
  put(279, 4, {s.strip_bytes < 0 ? width * height * 2 : static_cast<uint32_t>(s.strip_bytes)});
  put(284, 3, {1});
  put(33421, 3, {2, 2});
  // CFAPattern counts from the stored image's corner, the spec's pattern from the ActiveArea's.
  std::vector<uint32_t> cfa;
  for (int q = 0; q < 4; ++q) {
    const char c = s.pattern[((q / 2 + s.active[0]) % 2) * 2 + (q % 2 + s.active[1]) % 2];
    cfa.push_back(c == 'R' ? 0 : c == 'G' ? 1 : c == 'B' ? 2 : 3);
  }
  put(33422, 1, cfa);
  put(50706, 1, {1, 4, 0, 0});
  put(50714, 4, {s.black});
  put(50717, 4, {s.white});
  put(50721, 10, {1, 0, 0, 0, 1, 0, 0, 0, 1});
  put(50728, 5, {1, 1, 1});
  if (s.active[2] > 0) put(50829, 4, std::vector<uint32_t>(s.active, s.active + 4));
  if (!s.opcode_list2.empty()) tags[51009] = {7, static_cast<uint32_t>(s.opcode_list2.size()), s.opcode_list2};

  // Header, one directory, the values longer than 4 bytes (each at an even offset), the pixels.
  const uint32_t values_at = 8 + 2 + 12 * static_cast<uint32_t>(tags.size()) + 4;
  uint32_t pixels_at = values_at;
  for (const auto& t : tags) pixels_at += t.second.bytes.size() > 4 ? (t.second.bytes.size() + 1) / 2 * 2 : 0;
  put(273, 4, {pixels_at});
  std::vector<uint8_t> out, values;
  Put(&out, big, big ? 0x4D4D : 0x4949, 2), Put(&out, big, 42, 2), Put(&out, big, 8, 4);
  Put(&out, big, tags.size(), 2);
  for (auto& [tag, f] : tags) {
    Put(&out, big, tag, 2), Put(&out, big, f.type, 2), Put(&out, big, f.count, 4);
    if (f.bytes.size() <= 4) {
      f.bytes.resize(4, 0);
      out.insert(out.end(), f.bytes.begin(), f.bytes.end());
    } else {
      Put(&out, big, values_at + values.size(), 4);
      values.insert(values.end(), f.bytes.begin(), f.bytes.end());
      values.resize((values.size() + 1) / 2 * 2, 0);
    }
  }
  Put(&out, big, 0, 4);
  out.insert(out.end(), values.begin(), values.end());
  for (uint16_t v : s.samples) Put(&out, big, v, 2);
  return out;
}

void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

std::vector<uint8_t> AndroidGainMaps(const std::string& pattern, int width, int height, int rows, int cols,
                                     const std::vector<std::vector<float>>& gains) {
  std::vector<uint8_t> o;
  const auto be = [&o](uint64_t v, int bytes) { Put(&o, true, v, bytes); };
  const auto f64 = [&be](double d) {
    uint64_t u;
    std::memcpy(&u, &d, 8);
    be(u, 8);
  };
  be(4, 4);
  for (int p = 0; p < 4; ++p) {
    // R, the top row's green, the bottom row's green, B.
    int q = 0;
    while (!(p == 0 ? pattern[q] == 'R' : p == 3 ? pattern[q] == 'B' : pattern[q] == 'G' && (q < 2) == (p == 1))) ++q;
    be(9, 4), be(0x01030000, 4), be(1, 4), be(76 + 4 * rows * cols, 4);  // GainMap, version, flags, size
    for (int v : {q / 2, q % 2, height, width, 0, 1, 2, 2, rows, cols}) be(static_cast<uint32_t>(v), 4);
    f64(1.0 / (rows - 1)), f64(1.0 / (cols - 1)), f64(0), f64(0);
    be(1, 4);
    for (float g : gains[p]) {
      uint32_t u;
      std::memcpy(&u, &g, 4);
      be(u, 4);
    }
  }
  return o;
}

}  // namespace dng_test
