// The plane copy and fill kernels: bytes at every size class and alignment,
// the cache policy's thresholds and paths (through the test hooks), errors.
#include "frame/plane.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "frame/dispatch.h"
#include "support/image.h"

namespace {

using kel::frame::ByteCopyPath;
using kel::frame::FillPath;
using kel::frame::PlaneCopyPath;
using kel::frame::PlaneHooks;
using kel::frame::PlaneTrace;
using kel::frame::RowCopyPath;
using kel::frame::ScopedPlaneHooks;
using kel::test::GuardedPlane;

#ifdef __SANITIZE_ADDRESS__
constexpr bool kSlowBuild = true;
#else
constexpr bool kSlowBuild = false;
#endif

// Runs body.template operator()<Isa>() for the portable tag and, where the
// processor has it, the AVX2 tag.
template <class Body>
void ForEachIsa(Body&& body) {
  {
    SCOPED_TRACE("portable");
    body.template operator()<kel::Portable>();
  }
  if (kel::frame::CpuHasAvx2()) {
    SCOPED_TRACE("AVX2");
    body.template operator()<kel::Avx2>();
  }
}

// Cache queries under test control.
int32_t g_cacheSize = 0;
int ReportCache(int32_t* sizeB) {
  *sizeB = g_cacheSize;
  return 0;
}
int FailQuery(int32_t*) { return 1; }

// Installs a query and records into a fresh trace for one scope.
struct Observed {
  explicit Observed(kel::frame::CacheQueryFn query) : scope({query, &trace}) {}
  PlaneTrace trace;
  ScopedPlaneHooks scope;
};

// A page-aligned buffer of random bytes.
struct PageBuffer {
  explicit PageBuffer(size_t bytes)
      : p(static_cast<uint8_t*>(
            std::aligned_alloc(4096, (bytes + 4095) / 4096 * 4096))) {
    std::mt19937 rng(static_cast<uint32_t>(bytes));
    for (size_t i = 0; i < bytes; ++i) p[i] = static_cast<uint8_t>(rng());
  }
  ~PageBuffer() { std::free(p); }
  uint8_t* p;
};

bool AllBytesAre(const std::vector<uint8_t>& bytes, uint8_t v) {
  return std::all_of(bytes.begin(), bytes.end(),
                     [v](uint8_t b) { return b == v; });
}

// Copies src's image into a fresh destination with PlaneCopy8u; checks the
// bytes and the canaries; returns the path taken.
template <class Isa>
PlaneCopyPath CopyPlaneAndCheck(const GuardedPlane& src, GuardedPlane& dst,
                                PlaneTrace& trace) {
  const int w = src.rowBytes(), h = src.rows();
  EXPECT_EQ(kel::frame::PlaneCopy8u<Isa>(src.data(), src.step(), dst.data(),
                                         dst.step(), {w, h}),
            kelOk);
  EXPECT_TRUE(kel::test::SameBytes(src.Image(), dst.Image(), w));
  EXPECT_TRUE(dst.CanaryIntactOutside(w, h));
  return trace.planeCopy;
}

TEST(PlaneCopy8u, EveryWidthClassAndAlignmentCopiesExactly) {
  std::mt19937 rng = kel::test::TestRng();
  std::vector<int> widths;
  for (int w = 1; w <= 70; ++w) widths.push_back(w);
  for (int c = 128; c <= 1088; c += 64)
    for (int d : {-33, -32, -1, 0, 1, 31, 32}) widths.push_back(c + d);
  ForEachIsa([&]<class Isa>() {
    for (int w : widths) {
      for (int mis : {0, 1, 32, 45}) {
        for (int slack : {0, 7, 64}) {
          SCOPED_TRACE(::testing::Message() << "w " << w << " misalign " << mis
                                            << " slack " << slack);
          GuardedPlane src(w, 3, slack + 3, (mis * 7) % 64),
              dst(w, 3, slack, mis);
          src.FillRandom(rng);
          Observed seen(&FailQuery);
          const PlaneCopyPath path =
              CopyPlaneAndCheck<Isa>(src, dst, seen.trace);
          EXPECT_EQ(seen.trace.cacheQueries, 0);
          if (w < 512) {
            EXPECT_EQ(path, PlaneCopyPath::kNarrowRows);
          } else if (mis % 32 != 0 || dst.step() % 32 != 0 || w % 32 != 0) {
            EXPECT_EQ(path, PlaneCopyPath::kForwardUnaligned);
          } else {
            EXPECT_EQ(path, PlaneCopyPath::kForwardAligned);  // steps differ
          }
        }
      }
    }
  });
}

TEST(PlaneCopy8u, ContiguousPlanesAreOneRunOfAnySize) {
  ForEachIsa([&]<class Isa>() {
    g_cacheSize = 1 << 20;  // small enough that a run above 4 MiB streams
    for (auto [w, h] : {std::pair{100, 3}, {1000, 40}, {4096, 1100}}) {
      PageBuffer src(size_t(w) * h + 4096), dst(size_t(w) * h + 4096);
      Observed seen(&ReportCache);
      ASSERT_EQ(
          kel::frame::PlaneCopy8u<Isa>(src.p + 5, w, dst.p + 600, w, {w, h}),
          kelOk);
      EXPECT_EQ(seen.trace.planeCopy, PlaneCopyPath::kOneRun);
      EXPECT_EQ(std::memcmp(src.p + 5, dst.p + 600, size_t(w) * h), 0);
      const bool large = int64_t{w} * h > kel::frame::kByteCopyQueryFloor;
      EXPECT_EQ(seen.trace.byteCopy, w * h < 32768 ? ByteCopyPath::kShort
                                     : large       ? ByteCopyPath::kStream
                                                   : ByteCopyPath::kRep);
    }
  });
}

TEST(PlaneCopy8u, Width511NeverStreamsOrAsks) {
  ForEachIsa([&]<class Isa>() {
    g_cacheSize = 1 << 16;
    GuardedPlane src(511, 8200, 1), dst(511, 8200, 1);  // 4.2 MB
    std::mt19937 rng = kel::test::TestRng();
    src.FillRandom(rng);
    Observed seen(&ReportCache);
    EXPECT_EQ(CopyPlaneAndCheck<Isa>(src, dst, seen.trace),
              PlaneCopyPath::kNarrowRows);
    EXPECT_EQ(seen.trace.cacheQueries, 0);
  });
}

TEST(PlaneCopy8u, QueryOnlyAboveThreeMebibytesAndStreamFromHalfTheCache) {
  struct Case {
    int w, h, srcSlack, dstSlack, dstMisalign;
    int32_t cache;
    int queries;
    PlaneCopyPath path;
  } cases[] = {
      // 3,145,728 bytes: no query, although any answer would stream.
      {1024, 3072, 32, 64, 0, 1 << 16, 0, PlaneCopyPath::kForwardAligned},
      // 3,145,729 bytes: asked, and streamed.
      {3145729, 1, 64, 64, 3, 1 << 16, 1, PlaneCopyPath::kStreamUnaligned},
      // An 8 MiB cache: 4 MiB and more stream, less stays cached.
      {1024, 4095, 96, 64, 0, 8 << 20, 1, PlaneCopyPath::kForwardAligned},
      {1024, 4096, 96, 64, 0, 8 << 20, 1, PlaneCopyPath::kStreamAligned},
      // Streaming rows whose destination is not 64-byte aligned, or whose
      // width is not a multiple of 32.
      {4096, 1100, 5, 64, 32, 8 << 20, 1, PlaneCopyPath::kStreamUnaligned},
      {4100, 1100, 5, 64, 0, 8 << 20, 1, PlaneCopyPath::kStreamUnaligned},
      {4163, 1100, 5, 64, 17, 8 << 20, 1, PlaneCopyPath::kStreamUnaligned},
  };
  std::mt19937 rng = kel::test::TestRng();
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.w << "x" << c.h);
    GuardedPlane src(c.w, c.h, c.srcSlack);
    GuardedPlane dst(c.w, c.h, c.dstSlack, c.dstMisalign);
    src.FillRandom(rng);
    g_cacheSize = c.cache;
    ForEachIsa([&]<class Isa>() {
      dst.Fill(0);
      Observed seen(&ReportCache);
      EXPECT_EQ(CopyPlaneAndCheck<Isa>(src, dst, seen.trace), c.path);
      EXPECT_EQ(seen.trace.cacheQueries, c.queries);
    });
  }
}

TEST(PlaneCopy8u, FailedQueryCopies100MiBWithOrdinaryStores) {
  const int w = 10240, h = 10240, step = w + 64;
  std::vector<uint8_t> src(size_t(step) * h), dst(size_t(step) * h + 64, 0x5A);
  for (size_t i = 0; i < src.size(); ++i)
    src[i] = static_cast<uint8_t>((i * 2654435761u) >> 13);
  ForEachIsa([&]<class Isa>() {
    std::fill(dst.begin(), dst.end(), uint8_t{0x5A});
    Observed seen(&FailQuery);
    ASSERT_EQ(kel::frame::PlaneCopy8u<Isa>(src.data(), step, dst.data() + 32,
                                           step, {w, h}),
              kelOk);
    EXPECT_EQ(seen.trace.cacheQueries, 1);
    EXPECT_NE(seen.trace.planeCopy, PlaneCopyPath::kNone);
    EXPECT_NE(seen.trace.planeCopy, PlaneCopyPath::kStreamAligned);
    EXPECT_NE(seen.trace.planeCopy, PlaneCopyPath::kStreamUnaligned);
    for (int y = 0; y < h; y += 1)
      ASSERT_EQ(
          std::memcmp(&src[size_t(y) * step], &dst[size_t(y) * step + 32], w),
          0)
          << "row " << y;
    EXPECT_EQ(dst[31], 0x5A);
    EXPECT_EQ(dst[size_t(h - 1) * step + 32 + w], 0x5A);
  });
}

TEST(PlaneCopy8u, PageAliasRangeRunsBackwardWithTheSameBytes) {
  const int w = 2080, h = 6, step = 4096 * 2;  // w has the 32 bit set
  PageBuffer src(size_t(step) * h + 8192), dst(size_t(step) * h + 8192);
  ForEachIsa([&]<class Isa>() {
    // Page offset of the destination minus that of the source, and whether
    // that selects the backward loop.
    for (auto [delta, backward] : {std::pair{0, true},
                                   {32, true},
                                   {128, true},
                                   {160, false},
                                   {-32, false},
                                   {4064, false}}) {
      const int srcOff = 512, dstOff = srcOff + delta;
      std::memset(dst.p, 0xC3, size_t(step) * h + 8192);
      Observed seen(&FailQuery);
      ASSERT_EQ(kel::frame::PlaneCopy8u<Isa>(src.p + srcOff, step,
                                             dst.p + dstOff, step, {w, h}),
                kelOk);
      EXPECT_EQ(seen.trace.planeCopy, backward ? PlaneCopyPath::kBackwardAligned
                                               : PlaneCopyPath::kForwardAligned)
          << delta;
      for (int y = 0; y < h; ++y) {
        const uint8_t* d = dst.p + dstOff + ptrdiff_t(y) * step;
        EXPECT_EQ(std::memcmp(src.p + srcOff + ptrdiff_t(y) * step, d, w), 0);
        EXPECT_EQ(d[-1], 0xC3);
        EXPECT_EQ(d[w], 0xC3);
      }
    }
    // Different steps never take the backward loop.
    Observed seen(&FailQuery);
    kel::frame::PlaneCopy8u<Isa>(src.p, step, dst.p, step + 32, {w, h});
    EXPECT_EQ(seen.trace.planeCopy, PlaneCopyPath::kForwardAligned);
  });
}

TEST(PlaneCopy8u, BeyondInt32BytesStreamsWithoutAsking) {
  // 65536 x 32768 bytes: more than 2^31 - 1; zero steps keep the buffers
  // small (every row copies the same bytes again).
  const int w = 65536, h = 32768;
  std::vector<uint8_t> src(w + 64), dst(w + 64, 0x11);
  for (int i = 0; i < w; ++i) src[i] = static_cast<uint8_t>(i * 7 + 1);
  ForEachIsa([&]<class Isa>() {
    Observed seen(&ReportCache);
    ASSERT_EQ(
        kel::frame::PlaneCopy8u<Isa>(src.data(), 0, dst.data() + 3, 0, {w, h}),
        kelOk);
    EXPECT_EQ(seen.trace.cacheQueries, 0);
    EXPECT_EQ(seen.trace.planeCopy, PlaneCopyPath::kStreamUnaligned);
    EXPECT_EQ(std::memcmp(src.data(), dst.data() + 3, w), 0);
  });
}

TEST(PlaneCopy8u, ErrorsInOrderAndNothingWritten) {
  ForEachIsa([&]<class Isa>() {
    GuardedPlane src(8, 2), dst(8, 2);
    const auto before = dst.Snapshot();
    EXPECT_EQ(kel::frame::PlaneCopy8u<Isa>(nullptr, 8, dst.data(), 8, {0, 0}),
              kelErrNullPtr);
    EXPECT_EQ(kel::frame::PlaneCopy8u<Isa>(src.data(), 8, nullptr, 8, {8, 2}),
              kelErrNullPtr);
    EXPECT_EQ(
        kel::frame::PlaneCopy8u<Isa>(src.data(), 8, dst.data(), 8, {0, 2}),
        kelErrSize);
    EXPECT_EQ(
        kel::frame::PlaneCopy8u<Isa>(src.data(), 8, dst.data(), 8, {8, -1}),
        kelErrSize);
    EXPECT_TRUE(dst.Unchanged(before));
  });
}

TEST(ByteCopy, EverySizeClassAndAlignmentCopiesExactly) {
  std::vector<int> sizes;
  for (int n = 1; n <= 300; ++n) sizes.push_back(n);
  for (int n : {511, 512, 4095, 16383, 16384, 16385, 16447, 16448, 20000, 32767,
                32768, 32769, 100000})
    sizes.push_back(n);
  PageBuffer src(200000), dst(200000);
  ForEachIsa([&]<class Isa>() {
    Observed seen(&FailQuery);
    for (int n : sizes) {
      for (int srcMis : {0, 1, 8, 16, 33}) {
        // Destination offsets past the source's page offset: inside the
        // page-alias range (0, 31) and outside it (300, 4000).
        for (int dstMis : {0, 31, 300, 4000 + srcMis % 3}) {
          const int dstOff = 2048 + srcMis + dstMis;
          std::memset(dst.p + dstOff - 64, 0xE7, size_t(n) + 128);
          ASSERT_EQ(kel::frame::ByteCopy<Isa>(src.p + 2048 + srcMis,
                                              dst.p + dstOff, n),
                    dst.p + dstOff);
          ASSERT_EQ(std::memcmp(src.p + 2048 + srcMis, dst.p + dstOff, n), 0)
              << "n " << n << " src +" << srcMis << " dst +" << dstMis;
          for (int g = 1; g <= 64; ++g) {
            ASSERT_EQ(dst.p[dstOff - g], 0xE7);
            ASSERT_EQ(dst.p[dstOff + n - 1 + g], 0xE7);
          }
          const ByteCopyPath expected = n < 32768 ? ByteCopyPath::kShort
                                        : dstMis < 160 && dstMis >= 0
                                            ? ByteCopyPath::kPageAlias
                                            : ByteCopyPath::kRep;
          ASSERT_EQ(seen.trace.byteCopy, expected) << n << " " << dstMis;
        }
      }
    }
    EXPECT_EQ(seen.trace.cacheQueries, 0);
  });
}

TEST(ByteCopy, StreamsFromHalfTheCacheAboveFourMebibytes) {
  const int32_t floor = kel::frame::kByteCopyQueryFloor;
  PageBuffer src(size_t(floor) * 2 + 16384), dst(size_t(floor) * 2 + 16384);
  ForEachIsa([&]<class Isa>() {
    g_cacheSize = 1 << 16;
    struct Case {
      int32_t n;
      int32_t cache;
      kel::frame::CacheQueryFn query;
      int queries;
      ByteCopyPath path;
    } cases[] = {
        {floor, 1 << 16, &ReportCache, 0, ByteCopyPath::kRep},
        {floor + 1, 1 << 16, &ReportCache, 1, ByteCopyPath::kStream},
        {floor + 1, 1 << 16, &FailQuery, 1, ByteCopyPath::kRep},
        {floor + 100, 2 * (floor + 100), &ReportCache, 1,
         ByteCopyPath::kStream},
        {floor + 100, 2 * (floor + 102), &ReportCache, 1, ByteCopyPath::kRep},
        {2 * floor + 77, 1 << 16, &ReportCache, 1, ByteCopyPath::kStream},
    };
    for (const Case& c : cases) {
      g_cacheSize = c.cache;
      std::memset(dst.p, 0x3C, size_t(c.n) + 8192);
      Observed seen(c.query);
      kel::frame::ByteCopy<Isa>(src.p + 9, dst.p + 1000, c.n);
      EXPECT_EQ(seen.trace.cacheQueries, c.queries) << c.n;
      EXPECT_EQ(seen.trace.byteCopy, c.path) << c.n << " " << c.cache;
      EXPECT_EQ(std::memcmp(src.p + 9, dst.p + 1000, c.n), 0);
      EXPECT_EQ(dst.p[999], 0x3C);
      EXPECT_EQ(dst.p[1000 + c.n], 0x3C);
    }
  });
}

TEST(ByteCopy, CheckedAndWord32CopyRejectInOrderAndWriteNothing) {
  ForEachIsa([&]<class Isa>() {
    uint8_t src[64] = {1, 2, 3}, dst[64] = {};
    EXPECT_EQ(kel::frame::ByteCopyChecked<Isa>(nullptr, dst, 0), kelErrNullPtr);
    EXPECT_EQ(kel::frame::ByteCopyChecked<Isa>(src, nullptr, 4), kelErrNullPtr);
    EXPECT_EQ(kel::frame::ByteCopyChecked<Isa>(src, dst, 0), kelErrSize);
    EXPECT_EQ(kel::frame::ByteCopyChecked<Isa>(src, dst, -5), kelErrSize);
    EXPECT_EQ(kel::frame::Word32Copy<Isa>(nullptr, dst, -1), kelErrNullPtr);
    EXPECT_EQ(kel::frame::Word32Copy<Isa>(src, nullptr, 1), kelErrNullPtr);
    EXPECT_EQ(kel::frame::Word32Copy<Isa>(src, dst, 0), kelErrSize);
    for (uint8_t b : dst) EXPECT_EQ(b, 0);
    EXPECT_EQ(kel::frame::ByteCopyChecked<Isa>(src, dst, 3), kelOk);
    EXPECT_EQ(dst[2], 3);
    EXPECT_EQ(dst[3], 0);
  });
}

TEST(Word32Copy, CopiesWholeElementsAtAnyAlignment) {
  PageBuffer src((1 << 22) + 4096), dst((1 << 22) + 4096);
  ForEachIsa([&]<class Isa>() {
    for (int count : {1, 2, 3, 7, 8, 9, 63, 64, 65, 1000, 8191, 8192, 8193,
                      (1 << 20) - 3}) {
      for (int mis : {0, 1, 2, 4}) {
        std::memset(dst.p, 0x99, size_t(count) * 4 + 64);
        ASSERT_EQ(
            kel::frame::Word32Copy<Isa>(src.p + mis, dst.p + 8 + mis, count),
            kelOk);
        EXPECT_EQ(std::memcmp(src.p + mis, dst.p + 8 + mis, size_t(count) * 4),
                  0);
        EXPECT_EQ(dst.p[7 + mis], 0x99);
        EXPECT_EQ(dst.p[8 + mis + size_t(count) * 4], 0x99);
      }
    }
  });
}

TEST(Word32Copy, LongCopiesSplitIntoPiecesThatFitInt32) {
  using Pieces = std::vector<std::pair<int64_t, int32_t>>;
  auto split = [](int32_t count) {
    Pieces p;
    kel::frame::ForEachWord32Piece(count, [&](int64_t first, int32_t bytes) {
      p.push_back({first, bytes});
    });
    return p;
  };
  EXPECT_EQ(split(1), (Pieces{{0, 4}}));
  EXPECT_EQ(split(536870911), (Pieces{{0, 2147483644}}));
  EXPECT_EQ(split(536870912), (Pieces{{0, 2147483616}, {536870904, 32}}));
  EXPECT_EQ(split(1073741815),
            (Pieces{{0, 2147483616}, {536870904, 2147483644}}));
  EXPECT_EQ(
      split(1073741823),
      (Pieces{{0, 2147483616}, {536870904, 2147483616}, {1073741808, 60}}));
  EXPECT_EQ(
      split(1073741824),
      (Pieces{{0, 2147483616}, {536870904, 2147483616}, {1073741808, 64}}));
  // Every count: pieces are contiguous, cover count * 4 bytes, and each one
  // but the last is the full piece.
  for (int32_t count : {536870913, 1610612735, 1610612736, 2147483647}) {
    const Pieces p = split(count);
    int64_t next = 0;
    for (size_t i = 0; i < p.size(); ++i) {
      EXPECT_EQ(p[i].first, next);
      EXPECT_GT(p[i].second, 0);
      if (i + 1 < p.size()) {
        EXPECT_EQ(p[i].second, 2147483616);
      }
      next += p[i].second / 4;
    }
    EXPECT_EQ(next, count);
    EXPECT_LE(p.back().second / 4, 536870911);
  }
}

TEST(PlaneCopy8uWide, CopiesRowsWithWideStepsAndSplitsLongRows) {
  ForEachIsa([&]<class Isa>() {
    std::mt19937 rng = kel::test::TestRng();
    GuardedPlane src(1000, 5, 77), dst(1000, 5, 24, 9);
    src.FillRandom(rng);
    const int64_t size[2] = {1000, 5};
    EXPECT_EQ(kel::frame::PlaneCopy8uWide<Isa>(src.data(), src.step(),
                                               dst.data(), dst.step(), size),
              kelOk);
    EXPECT_TRUE(kel::test::SameBytes(src.Image(), dst.Image(), 1000));
    EXPECT_TRUE(dst.CanaryIntactOutside(1000, 5));
    // Bottom-up with negative steps.
    GuardedPlane flipped(1000, 5);
    EXPECT_EQ(
        kel::frame::PlaneCopy8uWide<Isa>(src.row(4), -int64_t{src.step()},
                                         flipped.data(), flipped.step(), size),
        kelOk);
    for (int y = 0; y < 5; ++y)
      EXPECT_EQ(std::memcmp(flipped.row(y), src.row(4 - y), 1000), 0);

    const auto before = dst.Snapshot();
    const int64_t noRows[2] = {1000, 0}, noBytes[2] = {0, 5};
    EXPECT_EQ(
        kel::frame::PlaneCopy8uWide<Isa>(nullptr, 1, dst.data(), 1, noRows),
        kelErrNullPtr);
    EXPECT_EQ(kel::frame::PlaneCopy8uWide<Isa>(src.data(), 1, nullptr, 1, size),
              kelErrNullPtr);
    EXPECT_EQ(
        kel::frame::PlaneCopy8uWide<Isa>(src.data(), 1, dst.data(), 1, nullptr),
        kelErrNullPtr);
    EXPECT_EQ(
        kel::frame::PlaneCopy8uWide<Isa>(src.data(), 1, dst.data(), 1, noRows),
        kelErrSize);
    EXPECT_EQ(
        kel::frame::PlaneCopy8uWide<Isa>(src.data(), 1, dst.data(), 1, noBytes),
        kelErrSize);
    EXPECT_TRUE(dst.Unchanged(before));
  });

  using Pieces = std::vector<std::pair<int64_t, int32_t>>;
  auto split = [](int64_t length) {
    Pieces p;
    kel::frame::ForEachWideRowPiece(length, [&](int64_t off, int32_t bytes) {
      p.push_back({off, bytes});
    });
    return p;
  };
  const int32_t g = 1 << 30;
  EXPECT_EQ(split(5), (Pieces{{0, 5}}));
  EXPECT_EQ(split(g), (Pieces{{0, g}}));
  EXPECT_EQ(split(int64_t{g} + 1), (Pieces{{0, g}, {g, 1}}));
  EXPECT_EQ(split(int64_t{5} * g + 7), (Pieces{{0, g},
                                               {g, g},
                                               {2LL * g, g},
                                               {3LL * g, g},
                                               {4LL * g, g},
                                               {5LL * g, 7}}));
}

TEST(RowCopy, EveryLengthAndAlignmentCopiesExactly) {
  PageBuffer src(8192), dst(8192);
  ForEachIsa([&]<class Isa>() {
    for (uint32_t n : {0u, 1u, 7u, 8u, 15u, 63u, 64u, 65u, 79u, 80u, 127u, 128u,
                       200u, 1000u, 4097u}) {
      for (int sm = 0; sm < 16; ++sm) {
        for (int dm = 0; dm < 16; dm += 3) {
          for (bool streaming : {false, true}) {
            std::memset(dst.p, 0x4B, 8192);
            kel::frame::RowCopy<Isa>(src.p + 64 + sm, dst.p + 64 + dm, n,
                                     streaming);
            ASSERT_EQ(std::memcmp(src.p + 64 + sm, dst.p + 64 + dm, n), 0)
                << n << " " << sm << " " << dm;
            ASSERT_EQ(dst.p[63 + dm], 0x4B);
            ASSERT_EQ(dst.p[64 + dm + n], 0x4B);
          }
        }
      }
    }
  });
}

TEST(RowCopy, LoopFollowsTheSourceAlignmentAfterTheDestinationIsAligned) {
  PageBuffer src(4096), dst(4096);
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
      {16, 32, 256, false, RowCopyPath::kAlignedLoads},
      {8, 0, 256, false, RowCopyPath::kHalfLoads},
      {0, 8, 256, false, RowCopyPath::kHalfLoads},  // source advances by 8
      {3, 0, 256, false, RowCopyPath::kUnalignedLoads},
  };
  ForEachIsa([&]<class Isa>() {
    for (const Case& c : cases) {
      Observed seen(&FailQuery);
      kel::frame::RowCopy<Isa>(src.p + c.srcOff, dst.p + c.dstOff, c.n,
                               c.streaming);
      EXPECT_EQ(seen.trace.rowCopy, c.path) << c.srcOff << " " << c.dstOff;
      EXPECT_EQ(std::memcmp(src.p + c.srcOff, dst.p + c.dstOff, c.n), 0);
    }
  });
}

TEST(PlaneFill8u, EveryWidthAndAlignmentFillsExactly) {
  ForEachIsa([&]<class Isa>() {
    for (int w : {1,   2,   3,   5,   17,  31,  32,  33,  63,  64,  65,
                  127, 128, 129, 191, 192, 255, 256, 257, 511, 1000}) {
      for (int mis : {0, 1, 3, 15, 32, 63}) {
        for (int slack : {0, 9}) {
          for (uint8_t v : {uint8_t{0}, uint8_t{255}, uint8_t{0x5A}}) {
            GuardedPlane dst(w, 3, slack, mis);
            ASSERT_EQ(
                kel::frame::PlaneFill8u<Isa>(v, dst.data(), dst.step(), {w, 3}),
                kelOk);
            ASSERT_TRUE(AllBytesAre(dst.Image(), v)) << w << " " << mis;
            ASSERT_TRUE(dst.CanaryIntactOutside(w, 3));
          }
        }
      }
    }
  });
}

TEST(PlaneFill8u, CachePolicyThresholds) {
  ForEachIsa([&]<class Isa>() {
    const int32_t floor = kel::frame::kPlaneFillQueryFloor;
    struct Case {
      int w, h, slack;
      int32_t cache;
      int queries;
      FillPath path;
    } cases[] = {
        {floor, 1, 0, 1 << 16, 0, FillPath::kCached},  // at the floor
        {floor + 1, 1, 64, 1 << 16, 1, FillPath::kStream},
        {1024, 7168, 3, 7 << 20, 1, FillPath::kStream},  // = cache
        {1023, 7175, 3, 7 << 20, 1, FillPath::kCached},  // just below
        {1024, 7168, 3, 0, 1, FillPath::kStream},
    };
    for (const Case& c : cases) {
      g_cacheSize = c.cache;
      // Planes of several rows refill one row (step 0): the policy sees the
      // whole plane, the buffer stays small.
      GuardedPlane dst(c.w, 1, c.slack, 5);
      Observed seen(&ReportCache);
      ASSERT_EQ(kel::frame::PlaneFill8u<Isa>(
                    0xEE, dst.data(), c.h == 1 ? dst.step() : 0, {c.w, c.h}),
                kelOk);
      EXPECT_EQ(seen.trace.cacheQueries, c.queries) << c.w << "x" << c.h;
      EXPECT_EQ(seen.trace.planeFill, c.path) << c.w << "x" << c.h;
      EXPECT_TRUE(AllBytesAre(dst.Image(), 0xEE));
      EXPECT_TRUE(dst.CanaryIntactOutside(c.w, 1));
    }
    // Failure of the query keeps ordinary stores.
    GuardedPlane dst(floor + 1, 1, 64);
    Observed seen(&FailQuery);
    kel::frame::PlaneFill8u<Isa>(1, dst.data(), dst.step(), {floor + 1, 1});
    EXPECT_EQ(seen.trace.planeFill, FillPath::kCached);
    EXPECT_TRUE(dst.CanaryIntactOutside(floor + 1, 1));
  });
}

TEST(PlaneFill8u, SizesWhoseBitLengthsReach32StreamWithoutAsking) {
  // Zero steps: every row fills the same bytes again.
  std::vector<uint8_t> buf((1 << 20) + 128, 0x77);
  ForEachIsa([&]<class Isa>() {
    struct Case {
      int w, h, queries;
      FillPath path;
    } cases[] = {
        {1 << 16, 1 << 14, 0, FillPath::kStream},  // 17 + 15 bits
        {(1 << 20) - 1, kSlowBuild ? 1023 : 2047, 1,
         FillPath::kCached},  // 20 + 11 (10) bits
    };
    for (const Case& c : cases) {
      g_cacheSize = INT32_MAX;
      Observed seen(&ReportCache);
      ASSERT_EQ(
          kel::frame::PlaneFill8u<Isa>(0x21, buf.data() + 64, 0, {c.w, c.h}),
          kelOk);
      EXPECT_EQ(seen.trace.cacheQueries, c.queries);
      EXPECT_EQ(seen.trace.planeFill, c.path);
      EXPECT_EQ(buf[63], 0x77);
      EXPECT_EQ(buf[64 + c.w], 0x77);
      for (int i = 0; i < c.w; ++i) ASSERT_EQ(buf[64 + i], 0x21);
      std::fill(buf.begin(), buf.end(), uint8_t{0x77});
    }
  });
}

TEST(Word32Fill, FillsElementsAtAnyAlignmentAndFollowsThePolicy) {
  PageBuffer buf((4 << 20) + 4096);
  const uint32_t value = 0x80FF017Fu;
  auto check = [&](int off, int32_t count) {
    const uint8_t* d = buf.p + off;
    for (int32_t i = 0; i < count; ++i) {
      uint32_t x;
      std::memcpy(&x, d + 4 * size_t(i), 4);
      if (x != value) return ::testing::AssertionFailure() << "element " << i;
    }
    if (d[-1] != 0xAB || d[4 * size_t(count)] != 0xAB)
      return ::testing::AssertionFailure() << "guard overwritten";
    return ::testing::AssertionSuccess();
  };
  ForEachIsa([&]<class Isa>() {
    g_cacheSize = 3 << 20;
    for (int32_t count :
         {1, 2, 3, 4, 7, 8, 15, 16, 17, 63, 64, 65, 100, 1000}) {
      for (int off : {64, 65, 66, 68, 80, 96, 124}) {
        std::memset(buf.p, 0xAB, size_t(count) * 4 + 256);
        Observed seen(&ReportCache);
        ASSERT_EQ(kel::frame::Word32Fill<Isa>(value, buf.p + off, count),
                  kelOk);
        EXPECT_TRUE(check(off, count)) << count << " at " << off;
        EXPECT_EQ(seen.trace.cacheQueries, 0);
      }
    }
    const int32_t floorCount = kel::frame::kWord32FillQueryFloor / 4;
    const int32_t cacheCount = (3 << 20) / 4;
    struct Case {
      int32_t count;
      int off;
      int32_t cache;
      int queries;
      FillPath path;
    } cases[] = {
        {floorCount, 64, 1 << 16, 0, FillPath::kCached},
        {floorCount + 1, 64, 1 << 16, 1, FillPath::kStream},
        {floorCount + 1, 65, 1 << 16, 0, FillPath::kCached},  // not 4-aligned
        {floorCount + 1, 64, 0, 1, FillPath::kCached},        // no cache
        {cacheCount, 64, 3 << 20, 1, FillPath::kCached},
        {cacheCount + 1, 68, 3 << 20, 1, FillPath::kStream},
        {cacheCount + 15, 100, 3 << 20, 1, FillPath::kStream},
        {cacheCount + 14, 64, 3 << 20, 1, FillPath::kStream},
        {cacheCount + 8, 112, 3 << 20, 1, FillPath::kStream},
    };
    for (const Case& c : cases) {
      g_cacheSize = c.cache;
      std::memset(buf.p, 0xAB, size_t(c.count) * 4 + 256);
      Observed seen(&ReportCache);
      ASSERT_EQ(kel::frame::Word32Fill<Isa>(value, buf.p + c.off, c.count),
                kelOk);
      EXPECT_EQ(seen.trace.cacheQueries, c.queries) << c.count;
      EXPECT_EQ(seen.trace.word32Fill, c.path) << c.count;
      EXPECT_TRUE(check(c.off, c.count)) << c.count << " at " << c.off;
    }
    EXPECT_EQ(kel::frame::Word32Fill<Isa>(value, nullptr, 0), kelErrNullPtr);
    EXPECT_EQ(kel::frame::Word32Fill<Isa>(value, buf.p, 0), kelErrSize);
    EXPECT_EQ(kel::frame::PlaneFill8u<Isa>(1, nullptr, 1, {0, 0}),
              kelErrNullPtr);
    EXPECT_EQ(kel::frame::PlaneFill8u<Isa>(1, buf.p, 1, {1, 0}), kelErrSize);
  });
}

TEST(PlaneHooks, RealQueryIsUsedWhenNoneIsInstalled) {
  // With the trace only, the kernels still ask kelGetMaxCacheSizeB.
  PlaneTrace trace;
  ScopedPlaneHooks scope({nullptr, &trace});
  std::vector<uint8_t> buf(8 << 20);
  kel::frame::PlaneFill8u<kel::Portable>(0, buf.data(), 4096, {4096, 2048});
  EXPECT_EQ(trace.cacheQueries, 1);
  EXPECT_NE(trace.planeFill, FillPath::kNone);
}

}  // namespace
