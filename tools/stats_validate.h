#pragma once

// StatsValidateTextFile and the strict reader it runs are declared with the
// rest of the statistics text grammar; this name is kept for includers.
#include "tools/stats_text.h"
