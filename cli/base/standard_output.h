#pragma once

#include <string>

namespace mirvo_cli {

// Standard output is an output like any file: every write to it is checked,
// and a closed, full or broken one ends the call with one line and status 1
// instead of the text being lost in silence.

// The program found descriptor 1 closed at start and put a descriptor that
// refuses writes in its place; the failure then says so.
void MarkStandardOutputClosed();

// printf and fputs to stdout that throw DataError when the text cannot be
// written (including when an earlier buffered write was lost).
void Print(const char* format, ...) __attribute__((format(printf, 1, 2)));
void PrintText(const std::string& text);

// Flushes stdout; throws DataError when anything written to it was lost.
void FinishStandardOutput();

}  // namespace mirvo_cli
