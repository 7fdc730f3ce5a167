#include <cstdio>
#include <memory>

#include "base/cli_error.h"
#include "checks/input_check.h"
#include "checks/table_ranges.h"
#include "commands/args.h"
#include "commands/commands.h"
#include "commands/dng_input.h"
#include "commands/raw_options.h"
#include "files/atomic_file.h"
#include "files/output_plan.h"
#include "io/default_tuning.h"
#include "pipeline/engine_session.h"
#include "pipeline/frame_inputs.h"
#include "pipeline/frame_loop.h"
#include "pipeline/frame_source.h"
#include "pipeline/preview_pairs.h"
#include "pipeline/progress.h"
#include "pipeline/run_summary.h"
#include "workbench/dng/dng_frame_input.h"
#include "workbench/dng/dng_reader.h"

namespace mirvo_cli {
namespace {

const char kHelp[] =
    "usage: mirvo run [--base FILE] [--tuning FILE]\n"
    "                 (--stats FILE... | --raw FILE... --width W --height H --bits B --pattern P\n"
    "                  [--mipi] [--black-level a,b,c,d] [--grid COLSxROWS] | --dng FILE...)\n"
    "                 [--crop in_w,in_h,offs_x,offs_y,out_w,out_h] [--override FILE]\n"
    "                 [--guard] [--debug] [--png] [--no-summary] [--preview] [--jobs N] [--no-sync] --out-dir DIR\n"
    "\n"
    "Runs the engine over a sequence of frames, in the order given, with one engine\n"
    "instance, so the temporal filter runs across them. For frame k (from 000) it\n"
    "writes DIR/table_k.h, the corrected LSC table.\n"
    "\n"
    "inputs:\n"
    "  --base FILE        LSC table header file the ISP uses (the base table); needed\n"
    "                     except with --dng, where each frame's own GainMaps (the table\n"
    "                     the ISP applied) are its base\n"
    "  --tuning FILE      tuning header file (default: the built-in tuning)\n"
    "  --stats FILE...    statistics text dumps, one per frame\n"
    "  --raw FILE...      raw Bayer frames, one per frame, decoded ahead in parallel\n"
    "  --dng FILE...      Bayer DNG frames: geometry, levels and bit depth from each file\n"
    "  --width W, --height H  frame size in pixels (even)\n"
    "  --bits B           bits per sample, 1 to 14\n"
    "  --pattern P        RGGB, GRBG, BGGR or GBRG\n"
    "  --mipi             frames are MIPI RAW10 packed (else unpacked 16-bit little-endian)\n"
    "  --black-level L    black levels in 14-bit units, one value or a,b,c,d (default 0)\n"
    "  --grid COLSxROWS   statistics grid (default and only value the engine takes: 32x24)\n"
    "  --crop ...         sensor crop in pixels (default 4032,3024,0,0,4032,3024)\n"
    "  --override FILE    override map file (key=value lines) applied to the tuning\n"
    "  --guard            drive the engine through the output guard a camera stack can\n"
    "                     opt into: unmeasured cells become dark, a table with a gain\n"
    "                     that is not finite or outside [1/64, 64] is replaced by the\n"
    "                     last good one and the engine starts afresh\n"
    "\n"
    "outputs:\n"
    "  --out-dir DIR      output directory (created if missing)\n"
    "  --debug            also write DIR/diag_k.txt, the diagnostic dump of every frame\n"
    "  --png              also write DIR/tint_k.png and DIR/table_k.png\n"
    "  --summary          write DIR/summary.json and DIR/summary.csv, the per-frame\n"
    "                     records of the run (default; mirvo report DIR draws them)\n"
    "  --no-summary       do not write them\n"
    "  --preview          with --raw or --dng: also keep DIR/preview/, the frames the\n"
    "                     summary keeps rendered before (base table: with --dng and no\n"
    "                     --base, the frame's GainMaps) and after (output table) with the\n"
    "                     colour shading left in each (DNG: white balance from the\n"
    "                     file's as-shot neutral); mirvo report shows them\n"
    "  --jobs N           threads decoding frames ahead (default: one per core)\n"
    "  --no-sync          do not wait for each output to reach the disk (faster)\n"
    "\n"
    "Outputs appear complete or not at all. Progress is shown on a terminal.\n";

int Run(const std::vector<std::string>& argv) {
  std::vector<OptionSpec> specs = {
      {"--base", OptionKind::kValue},     {"--tuning", OptionKind::kValue},    {"--stats", OptionKind::kList},
      {"--raw", OptionKind::kList},       {"--dng", OptionKind::kList},        {"--crop", OptionKind::kValue},
      {"--override", OptionKind::kValue}, {"--debug", OptionKind::kFlag},      {"--png", OptionKind::kFlag},
      {"--out-dir", OptionKind::kValue},  {"--jobs", OptionKind::kValue},      {"--no-sync", OptionKind::kFlag},
      {"--summary", OptionKind::kFlag},   {"--no-summary", OptionKind::kFlag}, {"--guard", OptionKind::kFlag}};
  specs.push_back({"--preview", OptionKind::kFlag});
  AddRawOptionSpecs(&specs);
  const Args args("run", specs, argv);
  args.RejectPositional();
  const bool use_raw = args.Has("--raw");
  const bool use_dng = args.Has("--dng");
  if (int{use_raw} + int{use_dng} + int{args.Has("--stats")} != 1)
    args.Fail("give one of --stats FILE..., --raw FILE... or --dng FILE...");
  RawOptions raw;
  if (use_dng) {
    RejectGeometryWithDng(args);
    if (args.Has("--grid")) args.Fail("--grid cannot go with --dng: the engine takes only 32x24 statistics");
  } else if (use_raw) {
    raw = ParseRawOptions(args);
    if (raw.grid_cols != 32 || raw.grid_rows != 24) args.Fail("--grid: the engine takes only 32x24 statistics");
  } else {
    for (const char* name :
         {"--width", "--height", "--bits", "--pattern", "--mipi", "--black-level", "--grid", "--preview"})
      if (args.Has(name)) args.Fail(std::string(name) + " applies to --raw frames only");
  }
  if (args.Has("--summary") && args.Has("--no-summary")) args.Fail("give --summary or --no-summary, not both");
  if (args.Has("--preview") && args.Has("--no-summary"))
    args.Fail("--preview keeps the summary's frames; drop --no-summary");
  // DNG frames carry the table the ISP applied; without --base each is its
  // frame's base.
  const std::string base_path = use_dng && !args.Has("--base") ? "" : args.Require("--base");
  SessionOptions options;
  options.out_dir = args.Require("--out-dir");
  options.debug = args.Has("--debug");
  options.png = args.Has("--png");
  options.guard = args.Has("--guard");
  options.summary = !args.Has("--no-summary");
  options.override_path = args.Get("--override");
  if (args.Has("--crop")) {
    options.has_crop = true;
    options.crop = ParseCrop(args, args.Get("--crop"));
  }
  const int jobs = static_cast<int>(args.GetInt("--jobs", FrameSource::DefaultWorkers(), 1, 64));
  SetDurableWrites(!args.Has("--no-sync"));
  const std::vector<std::string>& frames = use_dng   ? args.List("--dng")
                                           : use_raw ? args.List("--raw")
                                                     : args.List("--stats");

  // Inputs first, so a bad file fails the run before any output is touched.
  std::vector<std::string> inputs = frames;
  for (const char* name : {"--base", "--tuning", "--override"})
    if (args.Has(name)) inputs.push_back(args.Get(name));
  CheckOutputPlan(inputs, SessionOutputPaths(options, frames.size()));
  std::vector<mirvo::LscTable> bases(1);
  if (!base_path.empty()) {
    bases[0] = LoadTableFile(base_path);
    CheckBaseTableGains(base_path, bases[0]);
  }
  // Without --base each frame's GainMap is its base; with it, the frame
  // input below checks the files.
  if (use_dng && base_path.empty()) {
    bases.resize(frames.size());
    for (size_t i = 0; i < frames.size(); ++i) {
      const mirvo::workbench::DngHeader header = mirvo::workbench::ReadDngHeader(frames[i]);
      if (!header.has_gain_map) throw DataError(frames[i] + ": no GainMap to take as the base table; give --base");
      bases[i] = header.gain_map;
      CheckBaseTableGains(frames[i], bases[i]);
    }
  }
  auto params = std::make_unique<mirvo::MirvoParams>(mirvo::DefaultMirvoParams());
  if (args.Has("--tuning")) LoadTuningFile(args.Get("--tuning"), params.get());
  if (!options.override_path.empty()) CheckOverrideFile(options.override_path);
  std::shared_ptr<const mirvo::workbench::FrameInput> input =
      use_dng ? mirvo::workbench::MakeDngInput() : MakeFrameInput(use_raw ? &raw : nullptr);
  FrameInputs frame_inputs(frames, input, jobs, FrameInputs::DumpBudget());
  MakeDirectories(options.out_dir);

  // Outputs are written behind the engine, by twice as many threads as cores
  // since syncing mostly waits on the disk. Declared first, so that on an
  // error the frames already run still get their complete files.
  OutputQueue outputs(2 * FrameSource::DefaultWorkers(), 64);
  EngineSession session(*params, options, &outputs);
  FrameSource source(
      frames.size(), [&](size_t i, mirvo::Stats* stats) { frame_inputs.Prepare(i, stats); }, jobs,
      static_cast<size_t>(jobs) * 2 + 2);
  std::unique_ptr<RunSummary> summary;
  if (options.summary)
    summary =
        std::make_unique<RunSummary>(MakeRunRecord("run",
                                                   use_dng   ? "dng"
                                                   : use_raw ? "raw"
                                                             : "stats",
                                                   frames, base_path, args.Get("--tuning"), options, params->tuning));
  Progress progress(static_cast<int>(frames.size()));
  RunFrameLoop(source, session, summary.get(), {bases, frames, frames, [&progress](int k) { progress.Update(k + 1); }});
  outputs.Finish();
  if (summary) summary->Write(options.out_dir);
  if (summary && args.Has("--preview"))
    WritePreviewPairs(options.out_dir, summary->Data(), bases, [&](int k, PreviewFrame* frame) {
      if (use_dng)
        LoadDngPreviewFrame(frames[static_cast<size_t>(k)], frame);
      else
        LoadRawPreviewFrame(frames[static_cast<size_t>(k)], raw, frame);
    });
  progress.Clear();
  std::printf("%zu frame%s, ", frames.size(), frames.size() == 1 ? "" : "s");
  if (options.guard) std::printf("%ld guarded, ", session.guarded_frames());
  std::printf("tables in %s\n", options.out_dir.c_str());
  return kExitOk;
}

}  // namespace

const Command kCommandRun = {"run", "run the engine over statistics dumps or raw frames", kHelp, Run};

}  // namespace mirvo_cli
