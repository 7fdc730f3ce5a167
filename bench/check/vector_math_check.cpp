// Exhaustive check of the vector logf/expf against the C library: every one
// of the 2^32 float bit patterns through both, compared bit for bit, on
// every vector path the machine can take. Slow (about a minute natively, far
// longer under an emulator); exits non-zero on mismatches, the first of which
// it prints. An optional first argument N checks only every N-th block of
// 64 inputs, for a quick look; an optional second one sets the number of
// threads (1 runs on the main thread, for emulators without thread support).
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "core/vector_math.h"

namespace {

struct Result {
  uint64_t log_mismatches = 0;
  uint64_t exp_mismatches = 0;
};

constexpr int kBlock = 64;

typedef float (*LibraryFunction)(float);
typedef void (*VectorFunction)(int path, const float* in, float* out, int n);

// One block through one function on one path, compared bit for bit with the
// C library; the first mismatches are printed. `first` is the bit pattern of
// in[0].
void CheckBlock(const char* name, LibraryFunction library, VectorFunction vector, int path, uint64_t first,
                const float (&in)[kBlock], uint64_t* mismatches) {
  float got[kBlock];
  vector(path, in, got, kBlock);
  for (int l = 0; l < kBlock; ++l) {
    const float want = library(in[l]);
    if (std::memcmp(&want, &got[l], sizeof want) != 0 && (*mismatches)++ < 8) {
      std::printf("%s(%a) [%08x]: library %a, vector %a\n", name, static_cast<double>(in[l]),
                  static_cast<unsigned>(first + static_cast<uint64_t>(l)), static_cast<double>(want),
                  static_cast<double>(got[l]));
    }
  }
}

void CheckRange(int path, uint64_t begin, uint64_t end, uint64_t stride, Result* result) {
  float in[kBlock];
  for (uint64_t b = begin; b < end; b += kBlock * stride) {
    for (int l = 0; l < kBlock; ++l) {
      const uint32_t bits = static_cast<uint32_t>(b + static_cast<uint64_t>(l));
      std::memcpy(&in[l], &bits, sizeof bits);
    }
    CheckBlock("logf", logf, mirvo::internal::LogfArrayOnPath, path, b, in, &result->log_mismatches);
    CheckBlock("expf", expf, mirvo::internal::ExpfArrayOnPath, path, b, in, &result->exp_mismatches);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const uint64_t stride = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1;
  // Every path the build and machine can run, including one the start-up
  // check turned down: that is a mismatch too.
  const int path = mirvo::internal::VectorMathPathAvailable();
  const int chosen = mirvo::internal::VectorMathPath();
  if (path == 0) {
    std::printf("no vector path in this build on this machine: nothing to check\n");
    return 0;
  }
  std::printf("widest path %d, in use %d\n", path, chosen);
  const unsigned cores = std::thread::hardware_concurrency() > 0 ? std::thread::hardware_concurrency() : 1;
  const unsigned threads = argc > 2 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)) : cores;
  const uint64_t total = uint64_t{1} << 32;
  if (threads == 0) return 2;
  const uint64_t chunk = total / threads / 64 * 64;
  uint64_t log_bad = 0;
  uint64_t exp_bad = 0;
  // Every path this machine can take, down to four lanes.
  for (int p = path; p >= 1; --p) {
    std::vector<Result> results(threads);
    std::vector<std::thread> workers;
    for (unsigned t = 0; t < threads; ++t) {
      const uint64_t begin = chunk * t;
      const uint64_t end = t + 1 == threads ? total : begin + chunk;
      if (threads == 1) {
        CheckRange(p, begin, end, stride > 0 ? stride : 1, &results[t]);
      } else {
        workers.emplace_back(CheckRange, p, begin, end, stride > 0 ? stride : 1, &results[t]);
      }
    }
    uint64_t path_log_bad = 0;
    uint64_t path_exp_bad = 0;
    for (unsigned t = 0; t < threads; ++t) {
      if (threads > 1) workers[t].join();
      path_log_bad += results[t].log_mismatches;
      path_exp_bad += results[t].exp_mismatches;
    }
    std::printf("path %d (%d lanes), %s: logf %llu mismatches, expf %llu mismatches\n", p, p == 2 ? 8 : 4,
                stride > 1 ? "sampled inputs" : "all 2^32 inputs", static_cast<unsigned long long>(path_log_bad),
                static_cast<unsigned long long>(path_exp_bad));
    log_bad += path_log_bad;
    exp_bad += path_exp_bad;
  }
  return log_bad == 0 && exp_bad == 0 && chosen == path ? 0 : 1;
}
