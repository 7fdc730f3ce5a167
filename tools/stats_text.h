#pragma once

#include <istream>
#include <ostream>
#include <string>

#include "core/channel.h"
#include "core/error_code.h"
#include "core/export.h"
#include "core/parse_result.h"
#include "core/stats.h"

namespace mirvo {

// Statistics text: the simulator's statistics files and the dumps that
// Stats::SaveAsText writes share one layout, eight sections of 768
// hexadecimal values, sums before counts, each in the channel order R, B,
// Gr, Gb. A section starts on the line that begins with its marker.
inline constexpr int kStatsTextValues = 768;

struct StatsTextSection {
  const char* prefix;  // the marker is prefix + "768]"
  Channel channel;
  bool counts;
};

inline constexpr StatsTextSection kStatsTextSections[8] = {
    {"*r_sum[", R, false}, {"*b_sum[", B, false}, {"*g_or_gr_sum[", Gr, false}, {"*y_or_gb_sum[", Gb, false},
    {"*r_cnt[", R, true},  {"*b_cnt[", B, true},  {"*g_or_gr_cnt[", Gr, true},  {"*y_or_gb_cnt[", Gb, true},
};

inline std::string StatsTextMarker(const StatsTextSection& section) {
  return section.prefix + std::to_string(kStatsTextValues) + "]";
}

// Writes the text dump of `stats` (banner, length line, eight sections of
// "0x<hex>\t" values over the record's grid, headers always saying 768).
MIRVO_EXPORT void StatsWriteText(std::ostream& out, const Stats& stats);

// Writes the per-cell channel means as an unpacked BGGR frame of 2 x cols by
// 2 x rows little-endian 16-bit samples (the mean image of Stats::Save).
MIRVO_EXPORT void StatsWriteMeanImage(std::ostream& out, const Stats& stats);

// The strict reader: the eight markers in order, each followed by exactly 768
// whole hexadecimal numbers (an optional "0x" and separators such as a comma
// behind the digits), sums within 32 bits and counts within 16, white space
// after the last one and no further number after any section; no NUL bytes.
// On success `stats` holds a 32 x 24 record with the values
// Stats::LoadSimStatsElmrak would load from the same text (bit depth 14,
// black levels untouched). Never throws or prints.
MIRVO_EXPORT ParseResult StatsParseText(const std::string& text, Stats* stats);

// StatsParseText over the file at `path`: kOk, or kFileError with the
// one-line reason (without the path) in `why` if given.
MIRVO_EXPORT errCode StatsValidateTextFile(const char* path, std::string* why = nullptr);

namespace internal {

// One section as Stats::LoadSimStatsElmrak reads it: lines up to the one
// starting with `marker`, then 768 tokens into sum or cnt[channel] of cells
// 0..767. With `why` null it is the loader: stream errors are printed with
// perror and a token without a hexadecimal number throws (std::stoul). With
// `why` set it is the strict reader and explains the first fault instead.
errCode ReadStatsSection(std::istream& in, const std::string& marker, bool counts, Channel channel, StatsCell* cells,
                         std::string* why);

}  // namespace internal
}  // namespace mirvo
