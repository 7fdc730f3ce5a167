#pragma once

#include <array>
#include <nlohmann/json.hpp>
#include <string>
#include <variant>
#include <vector>

#include "workbench/summary/run_summary_model.h"
#include "workbench/summary/summary_reader.h"

namespace mirvo::workbench {

// The fields of a frame record, declared once: the JSON object, the CSV line
// and the reading of summary.json all follow this table, in its order.
struct FrameField {
  using Member = std::variant<int FrameRecord::*, std::string FrameRecord::*, float FrameRecord::*,
                              std::array<float, 4> FrameRecord::*, bool FrameRecord::*>;
  const char* key;           // in the JSON object; also the CSV column
  Member member;             // a float array is one column per plane: PREFIX_R ... PREFIX_B
  const char* csv_prefix;    // for a float array; nullptr otherwise
  int lo, hi;                // an int's range when read; lo == kOwnIndex: exactly the record's place
  bool optional;             // added after the first summaries: absent reads as false
  bool unless_guarded_null;  // written as null unless the frame is guarded, read only if it is
};

inline constexpr int kOwnIndex = -1;

const std::vector<FrameField>& FrameFields();

// A frame record as its JSON object (non-finite numbers become null).
nlohmann::ordered_json FrameJson(const FrameRecord& f);
// The CSV header line and one frame's line (each ending in '\n'); booleans
// are 1 or 0, non-finite numbers "nan", text quoted when it needs to be.
std::string FrameCsvHeader();
std::string FrameCsvLine(const FrameRecord& f);
// Reads record `k` of "frames"; throws WorkbenchError naming the file and field.
FrameRecord ReadFrameJson(const SummaryReader& in, const nlohmann::ordered_json& j, int k);

}  // namespace mirvo::workbench
