#pragma once

#include <string>

namespace mirvo_cli {

// Strict second looks at text inputs the library's validators accepted. The
// library readers convert each token up to its first character that is not
// part of a number and ignore whatever follows their last value, so a mangled
// token ("1.2x3f"), a value too large for its field, a file cut inside its
// last number or one holding more values than they take would load silently.
// Each returns an empty string when the text is fine, else the problem.

// LSC table header file: 4 planes of 221 finite gains, each plane closed by
// "},", nothing but white space after the last one.
std::string TableTextProblem(const std::string& text);

// Tuning header file: finite numbers on the value lines and in the grids and
// blocks, each grid and block closed by a brace right after its last value.
std::string TuningTextProblem(const std::string& text);

// Statistics text dump: 8 sections of exactly 768 hexadecimal numbers, sums
// within 32 bits and counts within 16 bits.
std::string StatsTextProblem(const std::string& text);

// A token for a message: quoted, at most 24 characters, unprintable bytes as '?'.
std::string QuoteToken(const std::string& token);

}  // namespace mirvo_cli
