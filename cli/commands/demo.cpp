#include <cstdio>
#include <memory>

#include "analysis/shading_metric.h"
#include "base/cli_error.h"
#include "checks/input_check.h"
#include "commands/args.h"
#include "commands/commands.h"
#include "demo/demo_preview.h"
#include "demo/demo_scene.h"
#include "files/atomic_file.h"
#include "files/output_files.h"
#include "files/output_plan.h"
#include "io/default_tuning.h"
#include "pipeline/engine_session.h"
#include "pipeline/frame_loop.h"
#include "pipeline/frame_source.h"
#include "pipeline/preview_pairs.h"
#include "pipeline/run_summary.h"
#include "tools/bayer_raw.h"

namespace mirvo_cli {
namespace {

const char kHelp[] =
    "usage: mirvo demo [--out-dir DIR] [--frames N] [--debug] [--no-png] [--save-raw] [--no-sync]\n"
    "\n"
    "Runs the engine, with the built-in tuning, on a synthetic capture sequence: raw\n"
    "Bayer frames (1008x756, RGGB, 10 bits, black level 64) of a textured wall with a\n"
    "few coloured objects, seen through a lens with vignetting and a known colour\n"
    "shading, with sensor noise. The base table corrects the vignetting but only part\n"
    "of the colour shading, as a table calibrated under another light would. Per frame\n"
    "it prints the engine's profile projections and the residual colour shading of a\n"
    "flat field corrected by the base table (before) and by the engine's table\n"
    "(after): the RMS over the 24 x 32 cells of log R/G and log B/G about their means.\n"
    "\n"
    "  --out-dir DIR  where to write (default mirvo-demo): base.h, and per frame k\n"
    "                 stats_k.txt, table_k.h, tint_k.png and table_k.png, as mirvo run\n"
    "                 writes them (mirvo run --base DIR/base.h --stats DIR/stats_*.txt\n"
    "                 reproduces the tables), and the run's summary.json and\n"
    "                 summary.csv, and preview/: the first, last and notable frames\n"
    "                 before and after the correction (mirvo report DIR draws them)\n"
    "  --frames N     number of frames (default 8)\n"
    "  --debug        also write diag_k.txt, the diagnostic dump of every frame\n"
    "  --no-png       do not draw pictures\n"
    "  --save-raw     also write the raw frames as frame_k.raw (unpacked 16-bit RGGB)\n"
    "  --no-sync      do not wait for each output to reach the disk\n";

int Run(const std::vector<std::string>& argv) {
  const Args args("demo",
                  {{"--out-dir", OptionKind::kValue},
                   {"--frames", OptionKind::kValue},
                   {"--debug", OptionKind::kFlag},
                   {"--no-png", OptionKind::kFlag},
                   {"--save-raw", OptionKind::kFlag},
                   {"--no-sync", OptionKind::kFlag}},
                  argv);
  args.RejectPositional();
  const int frames = static_cast<int>(args.GetInt("--frames", 8, 1, 10000));
  const bool save_raw = args.Has("--save-raw");
  SetDurableWrites(!args.Has("--no-sync"));
  SessionOptions options;
  options.out_dir = args.Get("--out-dir", "mirvo-demo");
  options.debug = args.Has("--debug");
  options.png = !args.Has("--no-png");
  options.summary = true;
  options.demo_files = true;
  options.save_raw = save_raw;

  const DemoCamera camera;
  const mirvo::MirvoParams& params = mirvo::DefaultMirvoParams();
  const DemoLens lens(params.learned_tint_profile, static_cast<double>(camera.height) / camera.width);
  const LensGains gains = ComputeLensGains(camera, lens);
  CheckOutputPlan({}, SessionOutputPaths(options, static_cast<size_t>(frames)));
  MakeDirectories(options.out_dir);
  // The engine gets the base table as stored (5 decimals), so that mirvo run
  // on the written files reproduces the demo's tables exactly.
  WriteTableFile(options.out_dir + "/base.h", lens.BaseTable());
  const mirvo::LscTable base = LoadTableFile(options.out_dir + "/base.h");

  std::printf("demo: %d frames of %dx%d RGGB, %d bits, black level %d; built-in tuning; output in %s\n", frames,
              camera.width, camera.height, camera.bits, camera.black_level, options.out_dir.c_str());
  // Frames are rendered and reduced to statistics ahead, on all cores; the
  // engine takes them in order.
  FrameSource source(
      static_cast<size_t>(frames),
      [&](size_t k, mirvo::Stats* stats) {
        const DemoFrame frame = RenderDemoFrame(camera, gains, static_cast<int>(k));
        const std::vector<uint16_t> mosaic = Mosaic(frame);
        if (save_raw)
          WriteFileAtomically(FramePath(options.out_dir, "frame", static_cast<int>(k), ".raw"),
                              std::string(reinterpret_cast<const char*>(mosaic.data()), mosaic.size() * 2));
        // Split as a raw file of the frame would be, so the statistics are
        // those mirvo stats gives for the saved frame.
        mirvo::BayerRaw raw;
        raw.SplitFrame(mosaic.data(), 2 * frame.half_width, 2 * frame.half_height, camera.bits, "RGGB");
        const uint16_t black = static_cast<uint16_t>(camera.black_level << (14 - camera.bits));
        const uint16_t levels[4] = {black, black, black, black};
        stats->CreateFromRaw(raw, levels, 32, 24);
        WriteStatsDump(FramePath(options.out_dir, "stats", static_cast<int>(k), ".txt"), *stats);
      },
      FrameSource::DefaultWorkers(), 4);

  EngineSession session(params, options);
  std::vector<std::string> inputs;
  for (int k = 0; k < frames; ++k) inputs.push_back(FramePath(options.out_dir, "stats", k, ".txt"));
  RunSummary summary(
      MakeRunRecord("demo", "synthetic", inputs, options.out_dir + "/base.h", "", options, params.tuning));
  const double before = ResidualColourShading(lens, base);
  double after = before;
  std::vector<std::string> labels;
  for (int k = 0; k < frames; ++k) labels.push_back("demo frame " + std::to_string(k));
  const std::vector<mirvo::LscTable> bases = {base};
  RunFrameLoop(source, session, &summary,
               {bases, inputs, labels, [&](int k) {
                  after = ResidualColourShading(lens, session.output());
                  std::printf("frame %03d: prj_u %+.4f, prj_v %+.4f; residual colour shading %.2f%% -> %.2f%%\n", k,
                              session.core().prj_u_, session.core().prj_v_, before, after);
                  std::fflush(stdout);
                }});
  summary.Write(options.out_dir);
  if (options.png)
    WritePreviewPairs(options.out_dir, summary.Data(), {base},
                      [&](int k, PreviewFrame* frame) { LoadDemoPreviewFrame(camera, gains, k, frame); });
  std::printf("residual colour shading: before %.2f%%, after %.2f%%\n", before, after);
  return kExitOk;
}

}  // namespace

const Command kCommandDemo = {"demo", "run the engine on a synthetic capture sequence (no input files needed)", kHelp,
                              Run};

}  // namespace mirvo_cli
