// Rules every strict text reader shares: inputs the path-taking loaders would
// take silently wrong (a NUL byte cutting a number short, a decimal comma read
// as the number before it, a tuning section given twice of which only the
// first counts) and declared sizes with no data behind them are refused with
// a one-line reason.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "core/diagnostic_dump.h"
#include "core/parse_result.h"
#include "core/stats.h"
#include "io/default_tuning.h"
#include "io/lsc_table_file.h"
#include "io/override_map.h"
#include "io/tuning_file.h"
#include "support/engine_scene.h"
#include "support/test_support.h"
#include "tools/stats_text.h"

namespace mirvo {
namespace {

using Parse = std::function<ParseResult(const std::string&)>;

// The strict reader of one kind of text, into a record of its own.
template <class Record, ParseResult (*Read)(const std::string&, Record*)>
ParseResult Strict(const std::string& text) {
  Record record;
  return Read(text, &record);
}
const Parse ParseTable = Strict<LscTable, LscTableParseText>;
const Parse ParseTuning = Strict<MirvoParams, TuningParseText>;
const Parse ParseStats = Strict<Stats, StatsParseText>;
const Parse ParseOverride = Strict<std::vector<OverrideEntry>, OverrideMapParseText>;
const Parse ParseDiagnostics = Strict<DiagnosticDump, DiagnosticDumpParseText>;

std::string TableText() {
  std::ostringstream out;
  LscTableWriteText(out, mirvo_test::UniformTable(1.25f, 1.0f, 1.0f, 1.5f));
  return out.str();
}

std::string TuningText() {
  std::ostringstream out;
  TuningWriteText(out, DefaultMirvoParams());
  return out.str();
}

std::string StatsText() {
  Stats stats;
  stats.ConfigureStatsSize(32, 24);
  for (int i = 0; i < 768; ++i)
    for (int c = 0; c < 4; ++c) {
      stats.cells[i].sum[c] = 4000 + i;
      stats.cells[i].cnt[c] = 16;
    }
  std::ostringstream out;
  StatsWriteText(out, stats);
  return out.str();
}

const char kOverrideText[] = "smooth_thd=0.05\nlimit_thd = 0.02\n";

struct Case {
  const char* name;
  Parse parse;
  std::string good;
  std::string from;  // replaced once, at its first occurrence; empty: `to` is appended
  std::string to;
  const char* reason;  // the reason the strict reader gives
};

std::string Apply(const Case& c) { return c.from.empty() ? c.good + c.to : mirvo_test::Replaced(c.good, c.from, c.to); }

TEST(StrictText, RefusesWhatTheLoadersTakeSilentlyWrong) {
  const std::string nul("\0", 1);
  const std::string table = TableText(), tuning = TuningText(), stats = StatsText();
  const Case cases[] = {
      // A NUL byte inside a number: the C conversions stop at it.
      {"table NUL", ParseTable, table, "1.25000f, 1.25000f", "1.25000f, 1.2" + nul + "5000f",
       "plane R: value 2 \"1.2?5000f,\" is not a finite number"},
      {"tuning NUL", ParseTuning, tuning, "0.0399999991,", "0.03" + nul + "99999991,", "NUL byte on line 14"},
      {"stats NUL", ParseStats, stats, "0xfa0\t", "0xf" + nul + "a0\t",
       "*r_sum[768]: value 1 \"0xf?a0\" is not a hexadecimal number"},
      {"override NUL", ParseOverride, kOverrideText, "0.05", "0." + nul + "05",
       "not a text file (control byte at offset 13)"},
      // A decimal comma: sscanf and strtof read "0,04" as 0.
      {"tuning value comma", ParseTuning, tuning, "0.0399999991,", "0,0399999991,",
       "[TuningParams]: smooth_thd line \"  0,0399999991, /* smoot...\" has a decimal comma"},
      {"tuning grid comma", ParseTuning, tuning, "{0.0171490386,", "{0,0171490386,",
       "[BUL]: value 1 \"{0,0171490386,\" has a decimal comma"},
      {"override comma", ParseOverride, kOverrideText, "0.05", "0,05",
       "line 1: value \"0,05\" of smooth_thd is not a finite number"},
      {"table comma", ParseTable, table, "1.25000f, 1.25000f", "1,25000f, 1.25000f",
       "plane R: value 1 \"1,25000f,\" is not a finite number"},
      // A section given twice: the loader reads the first and skips the rest.
      {"tuning twice", ParseTuning, tuning, "", "\n/* [TuningParams] */\n",
       "section [TuningParams] appears twice (lines 9 and 158)"},
      {"version twice", ParseTuning, tuning, "/* [TuningParams] */", "/* [Version] */\n/* [TuningParams] */",
       "section [Version] appears twice (lines 4 and 9)"},
      {"grid twice", ParseTuning, tuning, "", "// [BgUHXY]\n", "section [BgUHXY] appears twice (lines 57 and 157)"},
      // Declared sizes the text does not hold.
      {"grid beyond the bound", ParseDiagnostics, "", "", "\ng[1][4194305]=\n1\n",
       "line 2: grid key g[1][4194305] does not end in [rows][cols]"},
      {"grid without its values", ParseDiagnostics, "", "", "\ng[2048][2048]=\n1 2 3\n",
       "line 3: grid g[2048][2048] does not hold 4194304 values"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_TRUE(c.parse(c.good)) << c.parse(c.good).reason;
    const ParseResult result = c.parse(Apply(c));
    EXPECT_FALSE(result);
    EXPECT_EQ(result.reason, c.reason);
  }
}

// The path-taking loaders' stream check: one perror line per state, tested
// end-of-file first; a bad stream also counts as failed, so the message for
// the bad flag alone is never printed.
TEST(StreamFault, OneMessagePerStateEndOfFileFirst) {
  struct Case {
    std::ios::iostate state;
    const char* message;  // nullptr: no fault
  };
  const Case cases[] = {
      {std::ios::goodbit, nullptr},
      {std::ios::eofbit, "stream eofbit. error state: "},
      {std::ios::eofbit | std::ios::failbit, "stream eofbit. error state: "},
      {std::ios::failbit, "stream failbit (or badbit). error state: "},
      {std::ios::badbit, "stream failbit (or badbit). error state: "},
  };
  for (const Case& c : cases) {
    std::istringstream in("1 2");
    in.setstate(c.state);
    testing::internal::CaptureStderr();
    const bool fault = PrintStreamFault(in);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(fault, c.message != nullptr) << c.state;
    if (c.message == nullptr) {
      EXPECT_EQ(err, "");
    } else {
      EXPECT_EQ(err.rfind(c.message, 0), 0u) << err;
      EXPECT_EQ(err.find('\n'), err.size() - 1) << err;
    }
  }
}

}  // namespace
}  // namespace mirvo
