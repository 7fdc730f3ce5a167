// DNG opcode lists: the parser never crashes; a list it takes writes back to
// the same bytes, and every GainMap in it either parses to as many gains as
// its grid has points or is refused with one line.
#include <cstring>
#include <string>

#include "scratch_file.h"
#include "workbench/dng/opcode_list.h"
#include "workbench/error.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace mirvo::workbench;
  std::vector<Opcode> list;
  try {
    list = ParseOpcodeList(data, size);
  } catch (const WorkbenchError& e) {
    if (std::strchr(e.what(), '\n') != nullptr || e.what()[0] == 0) mirvo_fuzz::Fail("refusal not one line");
    return 0;
  }
  const std::vector<uint8_t> back = WriteOpcodeList(list);
  if (back.size() != size || std::memcmp(back.data(), data, size) != 0) mirvo_fuzz::Fail("list does not write back");
  for (const Opcode& op : list) {
    if (op.id != kOpcodeGainMap) continue;
    try {
      const GainMap m = ParseGainMap(op);
      if (m.gains.size() != uint64_t{m.points_v} * m.points_h * m.map_planes) mirvo_fuzz::Fail("gain count");
      if (MakeGainMapOpcode(m, op.flags).params != op.params) mirvo_fuzz::Fail("GainMap does not write back");
    } catch (const WorkbenchError&) {
    }
  }
  return 0;
}
