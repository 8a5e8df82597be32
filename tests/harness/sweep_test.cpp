// The robustness sweep over every export: random regions, steps with slack,
// misaligned planes and guard bytes around every plane. For each call the
// portable and the AVX2 slots must give the same bytes and the same result,
// nothing outside the planes' extents may change, and every error case
// (each null pointer in turn, sizes 0, -1 and the most negative, each
// invalid scalar) must return its code and write nothing.
//
// A failure names the export, the region, the steps and the seed; rerun one
// export with, for example,
//   KELCC_SWEEP_SEED=1234 KELCC_SWEEP_EXPORT=keliRGBToHLS_8u_C3R
//   build/tests/sweep_test
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "frame/dispatch.h"
#include "harness/frame.h"
#include "harness/geometry.h"
#include "support/image.h"

namespace {

using kel::harness::AllGeometry;
using kel::harness::CallArgs;
using kel::harness::Frame;
using kel::harness::Geometry;
using kel::test::GuardedPlane;

// Sanitizer builds sweep fewer regions per export.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kRegions = 12;
#else
constexpr int kRegions = 40;
#endif

uint64_t SeedFromEnv() {
  const char* s = std::getenv("KELCC_SWEEP_SEED");
  return s ? std::strtoull(s, nullptr, 10) : 20261124;
}
bool Selected(const std::string& name) {
  const char* s = std::getenv("KELCC_SWEEP_EXPORT");
  return s == nullptr || name == s;
}

struct Tally {
  int exports = 0;
  long calls = 0;
  long guardBytes = 0;
};
Tally g_tally;

KelResult Call(const Geometry& g, const CallArgs& a) {
  ++g_tally.calls;
  return g.call(a);
}

// Success when no byte outside the planes' extents changed, counting the
// guard bytes checked.
::testing::AssertionResult GuardsIntact(
    const Frame& f, const std::vector<std::vector<uint8_t>>& before) {
  for (size_t i = 0; i < f.planes.size(); ++i) {
    const auto& s = f.g.planes[i];
    const GuardedPlane& p = *f.planes[i];
    g_tally.guardBytes += static_cast<long>(p.Snapshot().size()) -
                          static_cast<long>(s.RowBytes(f.roi)) * s.Rows(f.roi);
    auto r = p.CanaryIntactOutside(static_cast<int>(s.RowBytes(f.roi)),
                                   s.Rows(f.roi));
    if (!r) return r << " (plane " << i << ")";
    // Members that take whole chroma blocks leave the pixels of a partial
    // block as they were.
    if (s.side == 1 && (f.g.blockW > 1 || f.g.blockH > 1)) {
      const KelImageSize whole{f.roi.width - f.roi.width % f.g.blockW,
                               f.roi.height - f.roi.height % f.g.blockH};
      r = p.UnchangedOutside(before[i], static_cast<int>(s.RowBytes(whole)),
                             s.Rows(whole));
      if (!r) return r << " (plane " << i << ", outside the whole blocks)";
    }
  }
  return ::testing::AssertionSuccess();
}

TEST(Sweep, EveryExportHasGeometry) {
  int missing = 0;
  for (const Geometry& g : AllGeometry()) {
    if (!g.ok) {
      ADD_FAILURE() << g.name << ": no geometry (" << g.why << ")";
      ++missing;
    }
  }
  EXPECT_EQ(missing, 0);
  EXPECT_EQ(AllGeometry().size(),
            static_cast<size_t>(kel::frame::kExportCount));
}

// Random regions through both slot sets: same bytes, same result, guards
// intact, and warnings only for sampled exports whose region is not a whole
// number of chroma blocks.
TEST(Sweep, BothSlotSetsAgreeAndStayInside) {
  const uint64_t seed = SeedFromEnv();
  const bool avx2 = kel::frame::CpuHasAvx2();
  for (const Geometry& g : AllGeometry()) {
    if (!g.ok || !Selected(g.name)) continue;
    ++g_tally.exports;
    std::mt19937 rng(static_cast<uint32_t>(seed * 7919 + g.slot));
    for (int k = 0; k < kRegions + 3; ++k) {
      KelImageSize roi;
      if (k < kRegions) {
        roi = {1 + static_cast<int>(rng() % 300),
               1 + static_cast<int>(rng() % 20)};
      } else {
        roi = {1000 + static_cast<int>(rng() % 3000),
               1 + static_cast<int>(rng() % 2)};
      }
      Frame f(g, roi, rng);
      const auto before = f.Snapshot();
      kel::frame::SelectImplementations(false);
      const KelResult portable = Call(g, f.args);
      ASSERT_TRUE(GuardsIntact(f, before)) << f.Describe(seed) << ", portable";
      const auto portableBytes = f.Snapshot();
      if (avx2) {
        f.Restore(before);
        kel::frame::SelectImplementations(true);
        const KelResult vector = Call(g, f.args);
        ASSERT_EQ(vector, portable) << f.Describe(seed);
        ASSERT_TRUE(GuardsIntact(f, before)) << f.Describe(seed) << ", AVX2";
        for (size_t i = 0; i < f.planes.size(); ++i)
          ASSERT_TRUE(f.planes[i]->Unchanged(portableBytes[i]))
              << f.Describe(seed) << ": AVX2 and portable differ in plane "
              << i;
      }
      const bool whole =
          roi.width % g.blockW == 0 && roi.height % g.blockH == 0;
      const bool refused = roi.width % g.wholeW != 0 ||
                           roi.height % g.wholeH != 0 || roi.width < g.wholeW ||
                           roi.height < g.wholeH;
      if (refused) {
        ASSERT_EQ(portable, kelErrSize) << f.Describe(seed);
        for (size_t i = 0; i < f.planes.size(); ++i)
          ASSERT_TRUE(f.planes[i]->Unchanged(before[i])) << f.Describe(seed);
      } else if (portable == kelWarnOddSize) {
        ASSERT_FALSE(whole) << f.Describe(seed) << ": odd-size warning";
      } else if (portable < 0) {
        // Members that need whole blocks or filter taps refuse regions below
        // their minimum; none asks for more than 4 columns or 8 rows.
        ASSERT_TRUE(roi.width < 4 || roi.height < 8)
            << f.Describe(seed) << ": error " << portable;
        ASSERT_EQ(portable, kelErrSize) << f.Describe(seed);
        for (size_t i = 0; i < f.planes.size(); ++i)
          ASSERT_TRUE(f.planes[i]->Unchanged(before[i])) << f.Describe(seed);
      } else {
        ASSERT_EQ(portable, kelOk) << f.Describe(seed);
      }
    }
  }
  kel::frame::SelectImplementations(kel::frame::CpuHasAvx2());
}

// Every error case returns its code and writes nothing, in both slot sets.
TEST(Sweep, ErrorsWriteNothing) {
  const uint64_t seed = SeedFromEnv();
  const int kInt = std::numeric_limits<int>::min();
  for (const Geometry& g : AllGeometry()) {
    if (!g.ok || !Selected(g.name)) continue;
    std::mt19937 rng(static_cast<uint32_t>(seed * 104729 + g.slot));
    Frame f(g, {8, 4}, rng);
    const auto before = f.Snapshot();
    auto expectNothing = [&](KelResult want, const CallArgs& a,
                             const std::string& what) {
      for (bool avx2 : {false, true}) {
        if (avx2 && !kel::frame::CpuHasAvx2()) continue;
        kel::frame::SelectImplementations(avx2);
        EXPECT_EQ(Call(g, a), want) << f.Describe(seed) << ": " << what;
        for (size_t i = 0; i < f.planes.size(); ++i)
          ASSERT_TRUE(f.planes[i]->Unchanged(before[i]))
              << f.Describe(seed) << ": " << what << " wrote plane " << i;
      }
    };
    // Each null pointer in turn: top-level pointers and arrays, then the
    // plane pointers inside the arrays.
    for (int i = 0; i < g.ptrCount; ++i) {
      CallArgs a = f.args;
      a.ptrs[i] = nullptr;
      expectNothing(kelErrNullPtr, a, "null pointer " + std::to_string(i));
    }
    for (int i = 0; i < g.arrayCount; ++i) {
      CallArgs a = f.args;
      a.arrays[i] = nullptr;
      expectNothing(kelErrNullPtr, a, "null array " + std::to_string(i));
    }
    for (const auto& s : g.planes) {
      if (!s.inArray) continue;
      std::vector<void*> copy = f.arrays[s.param];
      copy[s.index] = nullptr;
      CallArgs a = f.args;
      a.arrays[s.param] = copy.data();
      expectNothing(kelErrNullPtr, a,
                    "null plane " + std::to_string(s.index) + " of array " +
                        std::to_string(s.param));
    }
    for (size_t i = 0; i < g.matrices.size(); ++i) {
      if (g.matrices[i].nullAllowed) continue;
      CallArgs a = f.args;
      a.matrices[i] = nullptr;
      expectNothing(kelErrNullPtr, a, "null matrix " + std::to_string(i));
    }
    // Sizes.
    for (int bad : {0, -1, kInt}) {
      CallArgs a = f.args;
      a.roi = {bad, 4};
      expectNothing(kelErrSize, a, "width " + std::to_string(bad));
      a.roi = {8, bad};
      expectNothing(kelErrSize, a, "height " + std::to_string(bad));
    }
    // Invalid scalars.
    for (size_t i = 0; i < g.scalars.size(); ++i) {
      for (int64_t v : g.scalars[i].invalid) {
        CallArgs a = f.args;
        a.scalars[i] = v;
        expectNothing(g.scalars[i].invalidResult, a,
                      g.scalars[i].name + " " + std::to_string(v));
      }
    }
  }
  kel::frame::SelectImplementations(kel::frame::CpuHasAvx2());
}

// The figures of the sweep, printed last.
class Figures : public ::testing::Environment {
 public:
  void TearDown() override {
    std::printf("%d exports covered, %ld calls, %ld guard bytes checked\n",
                g_tally.exports, g_tally.calls, g_tally.guardBytes);
  }
};
const auto* const kFigures = ::testing::AddGlobalTestEnvironment(new Figures);

}  // namespace
