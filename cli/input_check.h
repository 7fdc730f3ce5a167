#pragma once

#include <string>

#include "core/lsc_table.h"
#include "core/mirvo_params.h"
#include "core/stats.h"
#include "raw_options.h"

namespace mirvo_cli {

// Every input goes through these before a library loader sees it: the loaders
// assume well-formed files (one never returns on a table without a marker,
// others throw on malformed tokens). Failures throw DataError with one line
// naming the file and the problem.

// The path names an existing, readable regular file; returns its size.
uint64_t CheckInputFile(const std::string& path, const std::string& what);

// LSC table header file, validated then loaded.
mirvo::LscTable LoadTableFile(const std::string& path);

// Tuning header file, validated then loaded into `params`.
void LoadTuningFile(const std::string& path, mirvo::MirvoParams* params);

// Statistics text dump, validated then loaded into `stats`.
void LoadStatsFile(const std::string& path, mirvo::Stats* stats);

// Raw frame file: present, and exactly the size its dimensions imply.
void CheckRawFile(const std::string& path, const RawOptions& raw);

// Raw frame read and reduced to statistics on the options' grid.
void StatsFromRawFile(const std::string& path, const RawOptions& raw, mirvo::Stats* stats);

// Override map: readable text whose known keys carry numbers. Lines the
// library would ignore (unknown keys) are reported on stderr as warnings.
void CheckOverrideFile(const std::string& path);

}  // namespace mirvo_cli
