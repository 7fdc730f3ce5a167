#!/usr/bin/env bash
# Times the command-line program's targets on this machine:
#   - `mirvo run` over 1,000 statistics dumps (target: under 1 s), and the
#     cost of its default run summary (limit: 5% of that run),
#   - `mirvo run --raw` over 30 RAW10 frames of 4032x3024, decoding with one
#     thread and with one per core.
# Builds the host flavour if needed; leaves nothing behind.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/build.sh host >/dev/null
mirvo="$PWD/build/host/cli/mirvo"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

now() { date +%s.%N; }
# Best of three wall-clock runs of the given command with `--out-dir` added,
# in seconds. Each run writes to a new directory and nothing is deleted in
# between: right after thousands of deletions, ext4 here takes about 0.6 ms
# to allocate each new file for a while, which would time the file system's
# inode allocator rather than the program.
best_of_three() {
  local best=""
  for _ in 1 2 3; do
    local t0 t1 out
    out=$(mktemp -d "$work/out.XXXXXX")
    t0=$(now)
    "$@" --out-dir "$out" >/dev/null
    t1=$(now)
    best=$(awk -v a="$t0" -v b="$t1" -v best="$best" 'BEGIN { t = b - a; if (best == "" || t < best) best = t; printf "%.3f", best }')
  done
  echo "$best"
}

# Statistics dumps: 20 frames of the demo scene, each dumped once, used 50
# times over (the engine's work per frame does not depend on repetition).
"$mirvo" demo --frames 20 --save-raw --no-png --no-sync --out-dir "$work/demo" >/dev/null
for raw in "$work"/demo/frame_*.raw; do
  "$mirvo" stats --raw "$raw" --width 1008 --height 756 --bits 10 --pattern RGGB --black-level 1024 \
    --out "${raw%.raw}.txt"
done
dumps=()
for i in $(seq 0 999); do dumps+=("$work/demo/frame_$(printf %03d $((i % 20))).txt"); done

stats_sync=$(best_of_three "$mirvo" run --base "$work/demo/base.h" --stats "${dumps[@]}")
stats_nosync=$(best_of_three "$mirvo" run --base "$work/demo/base.h" --stats "${dumps[@]}" --no-sync)
# The run summary is on by default; its cost is the difference to a run without it.
stats_nosummary=$(best_of_three "$mirvo" run --base "$work/demo/base.h" --stats "${dumps[@]}" --no-sync --no-summary)

# Raw frames: any bytes are valid RAW10 samples.
frames=()
for i in $(seq 0 29); do
  head -c $((4032 * 5 / 4 * 3024)) /dev/urandom >"$work/raw_$i.raw10"
  frames+=("$work/raw_$i.raw10")
done
raw_args=(run --base "$work/demo/base.h" --raw "${frames[@]}" --width 4032 --height 3024 --bits 10 --pattern RGGB
  --mipi --black-level 1024 --no-sync)
raw_one=$(best_of_three "$mirvo" "${raw_args[@]}" --jobs 1)
raw_all=$(best_of_three "$mirvo" "${raw_args[@]}")

echo "machine: $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //'), load $(cut -d' ' -f1 /proc/loadavg)"
awk -v s="$stats_sync" -v n="$stats_nosync" -v ns="$stats_nosummary" -v r1="$raw_one" -v ra="$raw_all" -v cores="$(nproc)" 'BEGIN {
  printf "run, 1,000 statistics dumps, synced outputs:    %6.3f s  (%.2fx the 1 s target)\n", s, s / 1.0
  printf "run, 1,000 statistics dumps, --no-sync:         %6.3f s  (%.2fx the 1 s target)\n", n, n / 1.0
  printf "  the same with --no-summary:                     %6.3f s  (summary costs %+.1f%%, limit 5%%)\n", ns, (n / ns - 1) * 100
  printf "run --raw, 30 RAW10 12 MP frames, --jobs 1:     %6.3f s  (%.1f ms a frame)\n", r1, r1 / 30 * 1000
  printf "run --raw, 30 RAW10 12 MP frames, %d decoders:   %6.3f s  (%.1f ms a frame, %.2fx faster)\n", cores, ra, ra / 30 * 1000, r1 / ra
}'
