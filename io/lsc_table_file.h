#pragma once

#include <ostream>
#include <string>

#include "core/error_code.h"
#include "core/export.h"
#include "core/lsc_table.h"
#include "core/parse_result.h"

namespace mirvo {

// LSC table header file: for each plane R, Gr, Gb, B a marker line
// ("/* R Gain */", "/* GR Gain */", "/* GB Gain */", "/* B Gain */"), a "{"
// line, 13 rows of 17 gains in fixed notation with 5 decimals, each followed
// by "f, " (the plane's last by "f" alone), and a "}," line.

// Writes `table` in that layout to `out`, flushing at every line end.
MIRVO_EXPORT void LscTableWriteText(std::ostream& out, const LscTable& table);

// The strict reader: `text` must hold the four blocks in order, each marker
// followed by a skipped line and exactly 221 finite gains (optionally with
// the "f" suffix and a trailing comma), closed by "},", and nothing but white
// space after the B block; no NUL bytes. On success fills `table` with the
// values LscTableLoadHeaderFile would load from the same text; on failure
// `table` may be partly written. Never hangs, throws or prints.
MIRVO_EXPORT ParseResult LscTableParseText(const std::string& text, LscTable* table);

// Writes the file at `path` (text mode "w"). -100 on a null path or an
// unopenable file; once opened, 0 whatever happens to the writes.
MIRVO_EXPORT errCode LscTableSaveHeaderFile(const char* path, const LscTable& table);

// Reads a file laid out as LscTableSaveHeaderFile writes it.
// HAZARD: the marker searches do not test for end of file, so a file that
// lacks one of the four marker lines makes this function read forever and
// never return. Hand it only files that LscTableParseText accepted (or load
// from the checked text with LscTableParseText directly).
MIRVO_EXPORT errCode LscTableLoadHeaderFile(const char* path, LscTable& table);

// LscTableParseText over the file at `path`: kOk, or kFileError with the
// one-line reason (without the path) in `why` if given.
MIRVO_EXPORT errCode LscTableValidateHeaderFile(const char* path, std::string* why = nullptr);

}  // namespace mirvo
