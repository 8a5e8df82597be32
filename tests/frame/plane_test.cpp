// Plane copy and fill kernels: bytes, guards, the paths the cache policy
// picks (seen through the test hooks), errors.
#include "frame/plane.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "frame/dispatch.h"
#include "support/image.h"

namespace {

using kel::frame::ByteCopyPath;
using kel::frame::FillPath;
using kel::frame::PlaneCopyPath;
using kel::frame::RowCopyPath;
using kel::test::GuardedPlane;

#ifdef __SANITIZE_ADDRESS__
constexpr bool kSlowBuild = true;
#else
constexpr bool kSlowBuild = false;
#endif

// Runs body under the portable tag and, where available, the AVX2 tag.
template <class Body>
void ForEachIsa(Body&& body) {
  body.template operator()<kel::Portable>();
  if (!kel::frame::CpuHasAvx2()) return;
  SCOPED_TRACE("AVX2");
  body.template operator()<kel::Avx2>();
}

// While an Observed lives, the cache query reports `cache` (or fails for
// kFails) and the kernels' paths are traced.
constexpr int32_t kFails = -1;
int32_t g_cacheSize = kFails;
struct Observed {
  explicit Observed(int32_t cache = kFails)
      : scope({[](int32_t* sizeB) {
                 *sizeB = g_cacheSize;
                 return g_cacheSize == kFails ? 1 : 0;
               },
               &trace}) {
    g_cacheSize = cache;
  }
  kel::frame::PlaneTrace trace;
  kel::frame::ScopedPlaneHooks scope;
};

// A page-aligned buffer of pseudo-random bytes.
struct PageBuffer {
  explicit PageBuffer(size_t bytes) : v(bytes + 4096) {
    for (size_t i = 0; i < bytes; ++i) p[i] = uint8_t((i * 2654435761u) >> 13);
  }
  std::vector<uint8_t> v;
  uint8_t* p = v.data() + 4096 - reinterpret_cast<uintptr_t>(v.data()) % 4096;
};

// From 64 bytes before d to 64 after its last row, the bytes are `guard`
// but for the h rows of n bytes (steps ss and ds; ds 0 for one row written
// again and again), which equal those at s.
::testing::AssertionResult CopiedWithin(const uint8_t* s, const uint8_t* d,
                                        size_t n, uint8_t guard, int h = 1,
                                        ptrdiff_t ss = 0, ptrdiff_t ds = 0) {
  const ptrdiff_t rows = ds == 0 ? 1 : h, end = ds * (rows - 1) + ptrdiff_t(n);
  for (ptrdiff_t i = -64; i < end + 64; ++i) {
    const ptrdiff_t y = i < 0 || ds == 0 ? 0 : std::min(i / ds, rows - 1);
    const ptrdiff_t x = i - y * ds;
    if (d[i] != (x >= 0 && x < ptrdiff_t(n) ? s[y * ss + x] : guard))
      return ::testing::AssertionFailure() << "byte " << i;
  }
  return ::testing::AssertionSuccess();
}

// Every path of the plane copy, and of the byte copy that runs contiguous
// planes, between page-aligned buffers (offsets are from 512 bytes in).
TEST(PlaneCopy8u, EveryPathSizeClassAndAlignment) {
  using P = PlaneCopyPath;
  using B = ByteCopyPath;
  struct Case {
    int32_t w, h, srcStep, dstStep, srcOff, dstOff, cache, queries;
    P path;
    B run = B::kNone;
  };
  const int page = 8192, floor = kel::frame::kByteCopyQueryFloor;
  std::vector<Case> cases = {
      // Up to 3 MiB no query; above, a small cache streams; width 511 never.
      {1024, 3072, 1056, 1088, 0, 0, 1 << 16, 0, P::kForwardAligned},
      {3145729, 1, 3145793, 3145793, 0, 3, 1 << 16, 1, P::kStreamUnaligned},
      {511, 8200, 512, 512, 0, 0, 1 << 16, 0, P::kNarrowRows},
      // 8 MiB cache: from 4 MiB streams; a failed query never streams.
      {1024, 4095, 1120, 1088, 0, 0, 8 << 20, 1, P::kForwardAligned},
      {1024, 4096, 1120, 1088, 0, 0, 8 << 20, 1, P::kStreamAligned},
      {1024, 4096, 1120, 1088, 0, 0, kFails, 1, P::kForwardAligned},
      // Streaming to a destination off 64 bytes, or a width off 32.
      {4096, 1100, 4101, 4160, 0, 32, 8 << 20, 1, P::kStreamUnaligned},
      {4100, 1100, 4105, 4164, 0, 0, 8 << 20, 1, P::kStreamUnaligned},
      // Contiguous planes are one byte copy (more below).
      {100, 3, 100, 100, 0, 5, 1 << 20, 0, P::kOneRun, B::kShort},
      {4096, 1100, 4096, 4096, 0, 5, 1 << 20, 1, P::kOneRun, B::kStream},
      // Equal steps whose destination sits 0 to 159 bytes past the source's
      // page offset run backward.
      {2080, 6, page, page, 0, 0, kFails, 0, P::kBackwardAligned},
      {2080, 6, page, page, 0, 128, kFails, 0, P::kBackwardAligned},
      {2080, 6, page, page, 0, 160, kFails, 0, P::kForwardAligned},
      {2080, 6, page, page, 32, 0, kFails, 0, P::kForwardAligned},
      {2080, 6, page, page + 32, 0, 0, kFails, 0, P::kForwardAligned},
      // Zero steps: more than 2^31 - 1 bytes stream without a query, also
      // 20-byte rows that end before the destination is aligned.
      {65536, 32768, 0, 0, 0, 67, kFails, 0, P::kStreamUnaligned},
      {20, INT32_MAX / 20 + 1, 0, 0, 0, 67, kFails, 0, P::kStreamUnaligned},
  };
  // Small planes around each width class; unequal steps never run backward.
  for (int w : {1, 15, 31, 32, 33, 63, 64, 65, 129, 511, 512, 513, 543, 544})
    for (int mis : {0, 1, 32, 45})
      for (int slack : {0, 7, 64})
        cases.push_back({w, 3, w + slack + 3, w + slack, mis * 7 % 64, mis,
                         kFails, 0,
                         w < 512 ? P::kNarrowRows
                         : mis % 32 == 0 && slack % 32 == 0 && w % 32 == 0
                             ? P::kForwardAligned
                             : P::kForwardUnaligned});
  // Single rows are one byte copy: above its floor it asks, and streams from
  // half the cache. The destination 0-159 bytes past the source's page
  // offset (the alias range) or more.
  auto run = [&](int32_t n, int32_t cache, int32_t queries, B path,
                 int srcOff = 9, int dstOff = 1000) {
    cases.push_back(
        {n, 1, n, n, srcOff, dstOff, cache, queries, P::kOneRun, path});
  };
  run(floor, 1 << 16, 0, B::kRep);
  run(floor + 1, 1 << 16, 1, B::kStream);
  run(floor + 1, kFails, 1, B::kRep);
  run(floor + 100, 2 * (floor + 100), 1, B::kStream);
  run(floor + 100, 2 * (floor + 102), 1, B::kRep);
  for (int n :
       {1,  2,  3,   4,   7,   8,   15,  16,  17,  31,    32,    33,    63,
        64, 65, 127, 128, 129, 255, 256, 257, 300, 16447, 32767, 32768, 32769})
    for (int srcMis : {0, 1, 8, 16, 33})
      for (int dstMis : {0, 31, 159, 160, 4000 + srcMis % 3})
        run(n, kFails, 0,
            n < 32768      ? B::kShort
            : dstMis < 160 ? B::kPageAlias
                           : B::kRep,
            srcMis, srcMis + dstMis);
  PageBuffer src(9 << 20), dst(9 << 20);
  ForEachIsa([&]<class Isa>() {
    for (const Case& c : cases) {
      if (kSlowBuild && c.w == 20) continue;
      SCOPED_TRACE(::testing::Message() << c.w << "x" << c.h << " steps "
                                        << c.srcStep << " " << c.dstStep);
      const uint8_t* s = src.p + 512 + c.srcOff;
      uint8_t* d = dst.p + 512 + c.dstOff;
      const int rows = c.dstStep == 0 ? 1 : c.h;
      std::memset(d - 64, 0xC3, size_t(c.dstStep) * (rows - 1) + c.w + 128);
      Observed seen(c.cache);
      ASSERT_EQ(
          kel::frame::PlaneCopy8u<Isa>(s, c.srcStep, d, c.dstStep, {c.w, c.h}),
          kelOk);
      EXPECT_TRUE(CopiedWithin(s, d, c.w, 0xC3, c.h, c.srcStep, c.dstStep));
      EXPECT_EQ(seen.trace.planeCopy, c.path);
      EXPECT_EQ(seen.trace.byteCopy, c.run);
      EXPECT_EQ(seen.trace.cacheQueries, c.queries);
    }
  });
}

// Word32Copy pieces are (first element, bytes), wide-row pieces (offset,
// bytes): at most 2^31 - 32 bytes, and 1 GiB.
TEST(PlaneKernels, LongTransfersSplitIntoPiecesThatFitInt32) {
  using Pieces = std::vector<std::pair<int64_t, int32_t>>;
  auto pieces = [](bool wideRow, int64_t n) {
    Pieces p;
    auto add = [&](int64_t at, int32_t bytes) { p.push_back({at, bytes}); };
    if (wideRow)
      kel::frame::ForEachWideRowPiece(n, add);
    else
      kel::frame::ForEachWord32Piece(int32_t(n), add);
    return p;
  };
  const int32_t full = 2147483616, g = 1 << 30;
  const int64_t piece = 536870904;
  EXPECT_EQ(pieces(false, 536870911), (Pieces{{0, 2147483644}}));
  EXPECT_EQ(pieces(false, 536870912), (Pieces{{0, full}, {piece, 32}}));
  EXPECT_EQ(pieces(false, INT32_MAX), (Pieces{{0, full},
                                              {piece, full},
                                              {2 * piece, full},
                                              {3 * piece, full},
                                              {4 * piece, 124}}));
  EXPECT_EQ(pieces(true, g), (Pieces{{0, g}}));
  EXPECT_EQ(pieces(true, int64_t{3} * g + 7),
            (Pieces{{0, g}, {g, g}, {2LL * g, g}, {3LL * g, 7}}));
}

TEST(PlaneKernels, CheckedEntryPointsErrorsInOrderAndCopies) {
  ForEachIsa([&]<class Isa>() {
    using namespace kel::frame;
    GuardedPlane src(16, 2), dst(16, 2);
    std::mt19937 rng = kel::test::TestRng();
    src.FillRandom(rng);
    uint8_t* d = dst.data();
    const uint8_t* s = src.data();
    const auto before = dst.Snapshot();
    const int64_t good[2] = {8, 2}, noRows[2] = {8, 0}, noBytes[2] = {0, 2};
    EXPECT_EQ(PlaneCopy8u<Isa>(nullptr, 8, d, 8, {0, 0}), kelErrNullPtr);
    EXPECT_EQ(PlaneCopy8u<Isa>(s, 8, nullptr, 8, {8, 2}), kelErrNullPtr);
    EXPECT_EQ(PlaneCopy8u<Isa>(s, 8, d, 8, {0, 2}), kelErrSize);
    EXPECT_EQ(PlaneCopy8u<Isa>(s, 8, d, 8, {8, -1}), kelErrSize);
    EXPECT_EQ(PlaneCopy8uWide<Isa>(nullptr, 1, d, 1, noRows), kelErrNullPtr);
    EXPECT_EQ(PlaneCopy8uWide<Isa>(s, 1, nullptr, 1, good), kelErrNullPtr);
    EXPECT_EQ(PlaneCopy8uWide<Isa>(s, 1, d, 1, nullptr), kelErrNullPtr);
    EXPECT_EQ(PlaneCopy8uWide<Isa>(s, 1, d, 1, noRows), kelErrSize);
    EXPECT_EQ(PlaneCopy8uWide<Isa>(s, 1, d, 1, noBytes), kelErrSize);
    for (auto copy : {&ByteCopyChecked<Isa>, &Word32Copy<Isa>}) {
      EXPECT_EQ(copy(nullptr, d, -1), kelErrNullPtr);
      EXPECT_EQ(copy(s, nullptr, 4), kelErrNullPtr);
      EXPECT_EQ(copy(s, d, 0), kelErrSize);
      EXPECT_EQ(copy(s, d, -5), kelErrSize);
    }
    EXPECT_EQ(PlaneFill8u<Isa>(1, nullptr, 8, {0, 0}), kelErrNullPtr);
    EXPECT_EQ(PlaneFill8u<Isa>(1, d, 8, {8, 0}), kelErrSize);
    EXPECT_EQ(Word32Fill<Isa>(1, nullptr, 0), kelErrNullPtr);
    EXPECT_EQ(Word32Fill<Isa>(1, d, -2), kelErrSize);
    EXPECT_TRUE(dst.Unchanged(before));
    // The copies pass their lengths on: 3 bytes, 2 words, 2 bytes.
    EXPECT_EQ(ByteCopyChecked<Isa>(s, d, 3), kelOk);
    EXPECT_EQ(Word32Copy<Isa>(s + 3, d + 3, 2), kelOk);
    EXPECT_EQ(ByteCopy<Isa>(s + 11, d + 11, 2), d + 11);
    EXPECT_EQ(std::memcmp(s, d, 13), 0);
    EXPECT_TRUE(dst.CanaryIntactOutside(13, 1));
    // The wide copy, here with a negative source step.
    GuardedPlane big(1000, 5, 77), flipped(1000, 5, 24, 9);
    big.FillRandom(rng);
    const int64_t size[2] = {1000, 5};
    EXPECT_EQ(PlaneCopy8uWide<Isa>(big.row(4), -int64_t{big.step()},
                                   flipped.data(), flipped.step(), size),
              kelOk);
    for (int y = 0; y < 5; ++y)
      EXPECT_EQ(std::memcmp(flipped.row(y), big.row(4 - y), 1000), 0);
    EXPECT_TRUE(flipped.CanaryIntactOutside(1000, 5));
  });
}

TEST(RowCopy, EveryLengthAlignmentAndLoop) {
  PageBuffer src(8192), dst(8192);
  ForEachIsa([&]<class Isa>() {
    for (uint32_t n :
         {0u, 1u, 7u, 8u, 15u, 63u, 64u, 65u, 79u, 127u, 128u, 1000u, 4097u}) {
      // Every source offset against six destination offsets, both stores.
      for (int m = 0; m < 16 * 6 * 2; ++m) {
        const uint8_t* s = src.p + 64 + m % 16;
        uint8_t* d = dst.p + 64 + m / 16 % 6 * 3;
        std::memset(dst.p, 0x4B, 8192);
        kel::frame::RowCopy<Isa>(s, d, n, m >= 96);
        ASSERT_TRUE(CopiedWithin(s, d, n, 0x4B)) << n << " case " << m;
      }
    }
    // The loop follows the source alignment once the destination is aligned.
    struct Case {
      int srcOff, dstOff;
      uint32_t n;
      bool streaming;
      RowCopyPath path;
    } cases[] = {
        {0, 0, 63, false, RowCopyPath::kTailOnly},
        {0, 1, 78, false, RowCopyPath::kTailOnly},  // 63 left once aligned
        {1, 1, 79, false, RowCopyPath::kAlignedLoads},
        {0, 1, 79, false, RowCopyPath::kUnalignedLoads},
        {0, 0, 64, true, RowCopyPath::kStream},
        {0, 8, 256, false, RowCopyPath::kHalfLoads},  // source advances by 8
    };
    for (const Case& c : cases) {
      Observed seen;
      kel::frame::RowCopy<Isa>(src.p + c.srcOff, dst.p + c.dstOff, c.n,
                               c.streaming);
      EXPECT_EQ(seen.trace.rowCopy, c.path) << c.srcOff << " " << c.dstOff;
    }
  });
}

// Byte fills of planes and, where h is 0, 32-bit fills of w elements.
TEST(PlaneKernels, FillsAtEveryWidthAndAlignmentFollowThePolicy) {
  const int32_t floor = kel::frame::kPlaneFillQueryFloor, cache = 3 << 20;
  const int32_t words = kel::frame::kWord32FillQueryFloor / 4;
  struct Case {
    int32_t w, h, cache, queries;
    FillPath path;
    int mis = 5;
  };
  // Planes of more than 3 rows refill one (step 0); the policy sees them all.
  std::vector<Case> cases = {
      {floor, 1, 1 << 16, 0, FillPath::kCached},
      {floor + 1, 1, 1 << 16, 1, FillPath::kStream},
      {floor + 1, 1, kFails, 1, FillPath::kCached},
      {1024, 7168, 7 << 20, 1, FillPath::kStream},  // = cache
      {1023, 7175, 7 << 20, 1, FillPath::kCached},  // below
      {1024, 7168, 0, 1, FillPath::kStream},
      // Bit lengths 17 + 15 reach 32: streamed without a query; 20 + 11 (or
      // 10) do not.
      {1 << 16, 1 << 14, INT32_MAX, 0, FillPath::kStream},
      {(1 << 20) - 1, kSlowBuild ? 1023 : 2047, INT32_MAX, 1,
       FillPath::kCached},
      // 32-bit fills stream only 4-aligned, above the floor and the cache.
      {words, 0, 1 << 16, 0, FillPath::kCached, 0},
      {words + 1, 0, 1 << 16, 1, FillPath::kStream, 0},
      {words + 1, 0, 1 << 16, 0, FillPath::kCached, 1},
      {words + 1, 0, 0, 1, FillPath::kCached, 0},  // no cache size
      {cache / 4, 0, cache, 1, FillPath::kCached, 0},
      {cache / 4 + 1, 0, cache, 1, FillPath::kStream, 0},
      // 15 elements to a 64-byte boundary, an odd number of blocks, 15 left.
      {cache / 4 + 46, 0, cache, 1, FillPath::kStream, 4},
  };
  for (int w : {1, 2, 3, 7, 8, 15, 16, 17, 31, 32, 33, 63, 64, 65, 129, 255,
                256, 257, 1000})
    for (int mis : {0, 1, 2, 4, 15, 32, 60, 63})
      for (int h : {0, 3})
        cases.push_back({w, h, kFails, 0, FillPath::kCached, mis});
  ForEachIsa([&]<class Isa>() {
    for (size_t i = 0; i < cases.size(); ++i) {
      const Case& c = cases[i];
      SCOPED_TRACE(::testing::Message() << c.w << "x" << c.h << " +" << c.mis);
      const uint8_t v = i % 3 == 0 ? 0 : i % 3 == 1 ? 255 : 0x5A;
      const uint32_t word = c.h == 0 ? 0x80FF017Fu : v * 0x01010101u;
      const int bytes = c.h == 0 ? 4 * c.w : c.w, rows = c.h == 3 ? 3 : 1;
      GuardedPlane dst(bytes, rows, c.mis % 2 * 9, c.mis);
      Observed seen(c.cache);
      ASSERT_EQ(c.h == 0 ? kel::frame::Word32Fill<Isa>(word, dst.data(), c.w)
                         : kel::frame::PlaneFill8u<Isa>(
                               v, dst.data(), c.h == rows ? dst.step() : 0,
                               {c.w, c.h}),
                kelOk);
      EXPECT_EQ(seen.trace.cacheQueries, c.queries);
      EXPECT_EQ(c.h == 0 ? seen.trace.word32Fill : seen.trace.planeFill,
                c.path);
      std::vector<uint8_t> want(size_t(bytes) * rows);
      for (size_t k = 0; k < want.size(); ++k)
        want[k] = uint8_t(word >> k % 4 * 8);
      EXPECT_TRUE(kel::test::SameBytes(want, dst.Image(), bytes));
      EXPECT_TRUE(dst.CanaryIntactOutside(bytes, rows));
    }
  });
}

}  // namespace
