#include "workbench/dng/opcode_list.h"

#include <cmath>
#include <cstring>
#include <string>

#include "workbench/dng/byte_order.h"
#include "workbench/error.h"

namespace mirvo {
namespace workbench {
namespace {

constexpr size_t kGainMapHeaderBytes = 76;

uint32_t GetU32(const uint8_t* p) { return LoadU32(p, true); }

double GetF64(const uint8_t* p) {
  const uint64_t bits = static_cast<uint64_t>(GetU32(p)) << 32 | GetU32(p + 4);
  double d;
  std::memcpy(&d, &bits, 8);
  return d;
}

void PutU32(std::vector<uint8_t>* out, uint32_t v) {
  out->resize(out->size() + 4);
  StoreU32(out->data() + out->size() - 4, v, true);
}

void PutF64(std::vector<uint8_t>* out, double d) {
  uint64_t bits;
  std::memcpy(&bits, &d, 8);
  PutU32(out, static_cast<uint32_t>(bits >> 32));
  PutU32(out, static_cast<uint32_t>(bits));
}

[[noreturn]] void Bad(const std::string& what) { throw WorkbenchError("malformed opcode list: " + what); }

}  // namespace

std::vector<Opcode> ParseOpcodeList(const uint8_t* data, size_t size) {
  if (size < 4) Bad("shorter than its count");
  const uint32_t count = GetU32(data);
  // Each opcode has a 16-byte header, which bounds the count before anything
  // is reserved.
  if (count > (size - 4) / 16) Bad(std::to_string(count) + " opcodes cannot fit in " + std::to_string(size) + " bytes");
  std::vector<Opcode> list(count);
  size_t pos = 4;
  for (uint32_t i = 0; i < count; ++i) {
    if (size - pos < 16) Bad("opcode " + std::to_string(i + 1) + " is cut short");
    Opcode& op = list[i];
    op.id = GetU32(data + pos);
    op.version = GetU32(data + pos + 4);
    op.flags = GetU32(data + pos + 8);
    const uint32_t bytes = GetU32(data + pos + 12);
    pos += 16;
    if (bytes > size - pos) Bad("opcode " + std::to_string(i + 1) + " runs past the end of the list");
    op.params.assign(data + pos, data + pos + bytes);
    pos += bytes;
  }
  if (pos != size) Bad(std::to_string(size - pos) + " bytes after the last opcode");
  return list;
}

std::vector<uint8_t> WriteOpcodeList(const std::vector<Opcode>& opcodes) {
  std::vector<uint8_t> out;
  PutU32(&out, static_cast<uint32_t>(opcodes.size()));
  for (const Opcode& op : opcodes) {
    PutU32(&out, op.id);
    PutU32(&out, op.version);
    PutU32(&out, op.flags);
    PutU32(&out, static_cast<uint32_t>(op.params.size()));
    out.insert(out.end(), op.params.begin(), op.params.end());
  }
  return out;
}

GainMap ParseGainMap(const Opcode& op) {
  const std::vector<uint8_t>& p = op.params;
  if (p.size() < kGainMapHeaderBytes) Bad("GainMap parameters cut short");
  GainMap m;
  uint32_t* const ints[10] = {&m.top,    &m.left,      &m.bottom,    &m.right,    &m.plane,
                              &m.planes, &m.row_pitch, &m.col_pitch, &m.points_v, &m.points_h};
  for (int i = 0; i < 10; ++i) *ints[i] = GetU32(p.data() + 4 * i);
  m.spacing_v = GetF64(p.data() + 40);
  m.spacing_h = GetF64(p.data() + 48);
  m.origin_v = GetF64(p.data() + 56);
  m.origin_h = GetF64(p.data() + 64);
  m.map_planes = GetU32(p.data() + 72);
  if (m.points_v == 0 || m.points_h == 0 || m.map_planes == 0) Bad("GainMap with no points");
  const uint64_t values = uint64_t{m.points_v} * m.points_h * m.map_planes;
  if (values > (p.size() - kGainMapHeaderBytes) / 4 || kGainMapHeaderBytes + 4 * values != p.size())
    Bad("GainMap of " + std::to_string(m.points_v) + "x" + std::to_string(m.points_h) + "x" +
        std::to_string(m.map_planes) + " points in " + std::to_string(p.size()) + " parameter bytes");
  if (m.bottom <= m.top || m.right <= m.left) Bad("GainMap over an empty area");
  if (m.planes == 0 || m.row_pitch == 0 || m.col_pitch == 0) Bad("GainMap with zero planes or pitch");
  for (double d : {m.spacing_v, m.spacing_h, m.origin_v, m.origin_h})
    if (!std::isfinite(d)) Bad("GainMap spacing or origin not finite");
  if ((m.points_v > 1 && !(m.spacing_v > 0)) || (m.points_h > 1 && !(m.spacing_h > 0)))
    Bad("GainMap spacing not positive");
  m.gains.resize(values);
  for (uint64_t i = 0; i < values; ++i) {
    const uint32_t bits = GetU32(p.data() + kGainMapHeaderBytes + 4 * i);
    std::memcpy(&m.gains[i], &bits, 4);
    if (!std::isfinite(m.gains[i])) Bad("GainMap gain not finite");
  }
  return m;
}

Opcode MakeGainMapOpcode(const GainMap& m, uint32_t flags) {
  Opcode op;
  op.id = kOpcodeGainMap;
  op.version = kOpcodeVersion13;
  op.flags = flags;
  for (uint32_t v :
       {m.top, m.left, m.bottom, m.right, m.plane, m.planes, m.row_pitch, m.col_pitch, m.points_v, m.points_h})
    PutU32(&op.params, v);
  for (double d : {m.spacing_v, m.spacing_h, m.origin_v, m.origin_h}) PutF64(&op.params, d);
  PutU32(&op.params, m.map_planes);
  for (float g : m.gains) {
    uint32_t bits;
    std::memcpy(&bits, &g, 4);
    PutU32(&op.params, bits);
  }
  return op;
}

}  // namespace workbench
}  // namespace mirvo
