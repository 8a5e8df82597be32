// Re-entrancy: every export runs from several threads at once, each thread
// on its own buffers and in its own rounding mode, and must give the bytes
// that the same call gives alone in that mode; each thread's floating-point
// control word must be what it set. Built with ThreadSanitizer by
// `scripts/run-tests.sh --tsan`.
#include <gtest/gtest.h>

#include <atomic>
#include <cfenv>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "frame/isa.h"
#include "harness/frame.h"
#include "harness/geometry.h"

#if KEL_X86_64
#include <immintrin.h>
#endif

namespace {

using kel::harness::AllGeometry;
using kel::harness::Frame;
using kel::harness::Geometry;

constexpr int kThreads = 4;
constexpr int kModes[kThreads] = {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD,
                                  FE_TOWARDZERO};

// The control part of the floating-point environment: the rounding mode,
// and on x86-64 the whole MXCSR control word (status flags masked off).
uint32_t Control() {
#if KEL_X86_64
  return _mm_getcsr() & ~0x3Fu;
#else
  return static_cast<uint32_t>(std::fegetround());
#endif
}

// The destination bytes of one call of `g` in rounding mode `mode`, on the
// planes made from `seed`.
std::vector<std::vector<uint8_t>> Result(const Geometry& g, KelImageSize roi,
                                         uint32_t seed, int mode,
                                         KelResult* result, bool* controlKept) {
  std::mt19937 rng(seed);
  Frame f(g, roi, rng);
  std::fesetround(mode);
  const uint32_t before = Control();
  *result = g.call(f.args);
  *controlKept = Control() == before;
  std::fesetround(FE_TONEAREST);
  return f.Images();
}

TEST(Threads, EveryExportIsReentrant) {
  int exports = 0;
  long calls = 0;
  for (const Geometry& g : AllGeometry()) {
    if (!g.ok) continue;
    ++exports;
    const KelImageSize roi{37 + g.slot % 50, 6};
    const uint32_t seed = 1000 + static_cast<uint32_t>(g.slot);
    std::vector<std::vector<std::vector<uint8_t>>> alone(kThreads);
    KelResult aloneResult[kThreads];
    for (int t = 0; t < kThreads; ++t) {
      bool kept = false;
      alone[t] = Result(g, roi, seed + t, kModes[t], &aloneResult[t], &kept);
      ASSERT_TRUE(kept) << g.name << " changed the rounding mode";
    }
    std::atomic<int> ready{0};
    std::vector<std::string> failures(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        ready.fetch_add(1);
        while (ready.load() < kThreads) {
        }
        for (int round = 0; round < 3; ++round) {
          KelResult r;
          bool kept = false;
          const auto got = Result(g, roi, seed + t, kModes[t], &r, &kept);
          if (!kept) failures[t] = "control word changed";
          if (r != aloneResult[t]) failures[t] = "result differs";
          if (got != alone[t]) failures[t] = "bytes differ";
        }
      });
    }
    for (auto& th : threads) th.join();
    calls += kThreads * 4;
    for (int t = 0; t < kThreads; ++t)
      EXPECT_EQ(failures[t], "") << g.name << " in thread " << t;
  }
  std::printf("%d exports run from %d threads at once, %ld calls\n", exports,
              kThreads, calls);
}

}  // namespace
