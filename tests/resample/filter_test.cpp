// Filtered 4:2:0 chroma re-sampling: the four-tap 4:2:2 members, the
// slice-aware packed 4:2:2 member and the smoothed 4:2:0 YCrCb member.
// Expectations come from models written here from the filters' definitions
// (in floating point where that is a different route to the same integers).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "kelcc.h"
#include "support/dispatch_modes.h"
#include "support/image.h"

namespace {

using kel::test::ForEachDispatch;
using kel::test::GuardedPlane;
using Rows = std::vector<std::vector<int>>;

// The first `w` bytes of the first `h` rows of a plane.
Rows Read(const GuardedPlane& p, int w, int h) {
  Rows r(static_cast<size_t>(h));
  for (int y = 0; y < h; ++y) r[y].assign(p.row(y), p.row(y) + w);
  return r;
}

// Every `stride`-th sample from `first` on, per row (de-interleaving).
Rows Channel(const Rows& rows, int first, int stride) {
  Rows out;
  for (const auto& row : rows) {
    std::vector<int> c;
    for (size_t x = first; x < row.size(); x += stride) c.push_back(row[x]);
    out.push_back(c);
  }
  return out;
}

int Clamp255(double v) {
  return static_cast<int>(std::clamp(std::floor(v), 0.0, 255.0));
}

// 4:2:0 -> 4:2:2 with the four-tap filter: even rows repeat the chroma row,
// odd rows interpolate; rows beyond the edges repeat the edge row.
Rows ModelFourTap(const Rows& c) {
  const int n = static_cast<int>(c.size());
  auto at = [&](int k) -> const std::vector<int>& {
    return c[std::min(std::max(k, 0), n - 1)];
  };
  Rows out;
  for (int i = 0; i < n; ++i) {
    out.push_back(c[i]);
    std::vector<int> mid(c[i].size());
    for (size_t x = 0; x < mid.size(); ++x)
      mid[x] = Clamp255((9.0 * (at(i)[x] + at(i + 1)[x]) - at(i - 1)[x] -
                         at(i + 2)[x] + 8.0) /
                        16.0);
    out.push_back(mid);
  }
  return out;
}

// 4:2:0 -> 4:2:2 by chroma siting: luma row r is centred at r + 0.5, chroma
// row k at 2k + 1; an output row takes the linear interpolation between the
// two chroma rows around its centre, truncated. Rows past the picture's
// edges repeat the edge row.
Rows ModelSited(const Rows& c) {
  const int n = static_cast<int>(c.size());
  Rows out;
  for (int r = 0; r < 2 * n; ++r) {
    const double centre = r + 0.5;
    const int lo = static_cast<int>(std::floor((centre - 1.0) / 2.0));
    const double t = (centre - (2.0 * lo + 1.0)) / 2.0;  // weight of lo + 1
    const auto& a = c[std::clamp(lo, 0, n - 1)];
    const auto& b = c[std::clamp(lo + 1, 0, n - 1)];
    std::vector<int> row(a.size());
    for (size_t x = 0; x < row.size(); ++x)
      row[x] = Clamp255((1.0 - t) * a[x] + t * b[x]);
    out.push_back(row);
  }
  return out;
}

// 4:2:0 one-two-one vertical smoothing, edge rows repeated.
Rows ModelSmoothed(const Rows& c) {
  const int n = static_cast<int>(c.size());
  Rows out;
  for (int i = 0; i < n; ++i) {
    const auto& a = c[std::max(i - 1, 0)];
    const auto& b = c[i];
    const auto& d = c[std::min(i + 1, n - 1)];
    std::vector<int> row(b.size());
    for (size_t x = 0; x < row.size(); ++x)
      row[x] = Clamp255((a[x] + 2.0 * b[x] + d[x]) / 4.0);
    out.push_back(row);
  }
  return out;
}

// Packed Y0 Cb Y1 Cr rows from luma rows and interleaved CbCr rows.
Rows Pack(const Rows& y, const Rows& cbcr) {
  Rows out;
  for (size_t r = 0; r < y.size(); ++r) {
    std::vector<int> row;
    for (size_t x = 0; x < y[r].size(); ++x) {
      row.push_back(y[r][x]);
      row.push_back(cbcr[r][x]);
    }
    out.push_back(row);
  }
  return out;
}

::testing::AssertionResult SameRows(const Rows& expected, const Rows& actual) {
  if (expected.size() != actual.size())
    return ::testing::AssertionFailure()
           << expected.size() << " rows expected, " << actual.size() << " read";
  for (size_t y = 0; y < expected.size(); ++y)
    for (size_t x = 0; x < expected[y].size(); ++x)
      if (expected[y][x] != actual[y][x])
        return ::testing::AssertionFailure()
               << "at (" << x << ", " << y << "): expected " << expected[y][x]
               << ", got " << actual[y][x];
  return ::testing::AssertionSuccess();
}

// Widths around the 16- and 32-sample blocks of the chroma rows (32 and
// 64 luma pixels), odd ones included; heights 8..20 and a few larger.
const std::vector<int> kWidths = {2,   3,   4,   14,  16,  18,  30, 31, 32,
                                  34,  46,  62,  63,  64,  66,  94, 96, 98,
                                  126, 128, 130, 190, 192, 194, 258};
std::vector<int> Heights() {
  std::vector<int> h;
  for (int i = 8; i <= 20; ++i) h.push_back(i);
  for (int i : {31, 48, 66}) h.push_back(i);
  return h;
}

// Layout variety per case: misalignment 0..31 and a row slack 0..37.
int Misalign(int w, int h, int plane) {
  return (w * 7 + h * 3 + plane * 5) % 32;
}
int Slack(int w, int h, int plane) { return (w + h * 11 + plane * 13) % 38; }

// ---- Members with planar destinations
// ----------------------------------------

// The three four-tap 4:2:2 members by source, and the smoothed 4:2:0 YCrCb
// member (interleaved source, Cr to plane 1).
enum class Source { kPlanarCbCr, kPlanarCrCb, kInterleaved, kSmoothed };

// Source planes of a 4:2:0 image, planar or interleaved, with random data.
// With `gapless`, the luma rows follow each other without slack.
struct Source420 {
  Source420(Source kind, int w, int h, std::mt19937& rng, bool gapless = false)
      : y(w, h, gapless ? 0 : Slack(w, h, 0), Misalign(w, h, 0)),
        c1(kind >= Source::kInterleaved ? 2 * ((w + 1) / 2) : (w + 1) / 2,
           (h + 1) / 2, Slack(w, h, 1), Misalign(w, h, 1)),
        c2((w + 1) / 2, (h + 1) / 2, Slack(w, h, 2), Misalign(w, h, 2)) {
    y.FillRandom(rng);
    c1.FillRandom(rng);
    c2.FillRandom(rng);
  }
  GuardedPlane y, c1, c2;
};

// Destination planes of a 4:2:2 (or 4:2:0) planar image.
struct Dest3 {
  Dest3(int w, int h, int chromaRows, bool gapless = false)
      : y(w, h, gapless ? 0 : Slack(w, h, 3), Misalign(w, h, 3)),
        c1((w + 1) / 2, chromaRows, Slack(w, h, 4), Misalign(w, h, 4)),
        c2((w + 1) / 2, chromaRows, Slack(w, h, 5), Misalign(w, h, 5)) {}
  Kel8u* planes[3];
  int steps[3];
  void Bind() {
    planes[0] = y.data(), planes[1] = c1.data(), planes[2] = c2.data();
    steps[0] = y.step(), steps[1] = c1.step(), steps[2] = c2.step();
  }
  GuardedPlane y, c1, c2;
};

// Calls the member of `kind`. The pointer argument numbered `nullArg` is
// passed as null: 0..3 the source, step, destination and step arrays, 4..6
// the source planes, 7..9 the destination planes.
KelResult CallPlanar(Source kind, Source420& s, Dest3& d, KelImageSize roi,
                     int nullArg = -1) {
  d.Bind();
  const Kel8u* src[3] = {s.y.data(), s.c1.data(), s.c2.data()};
  const int steps[3] = {s.y.step(), s.c1.step(), s.c2.step()};
  Kel8u* dst[3] = {d.planes[0], d.planes[1], d.planes[2]};
  if (nullArg >= 4 && nullArg < 7) src[nullArg - 4] = nullptr;
  if (nullArg >= 7) dst[nullArg - 7] = nullptr;
  const Kel8u* const* srcArr = nullArg == 0 ? nullptr : src;
  const int* srcSteps = nullArg == 1 ? nullptr : steps;
  Kel8u* const* dstArr = nullArg == 2 ? nullptr : dst;
  const int* dstSteps = nullArg == 3 ? nullptr : d.steps;
  switch (kind) {
    case Source::kPlanarCbCr:
      return keliYCbCr420ToYCbCr422_Filter_8u_P3R(srcArr, srcSteps, dstArr,
                                                  dstSteps, roi);
    case Source::kPlanarCrCb:
      return keliYCrCb420ToYCbCr422_Filter_8u_P3R(srcArr, srcSteps, dstArr,
                                                  dstSteps, roi);
    case Source::kInterleaved:
      return keliYCbCr420ToYCbCr422_Filter_8u_P2P3R(
          src[0], steps[0], src[1], steps[1], dstArr, dstSteps, roi);
    default:
      return keliYCbCr420ToYCrCb420_Filter_8u_P2P3R(
          src[0], steps[0], src[1], steps[1], dstArr, dstSteps, roi);
  }
}

// Converts a w x h region and checks every destination byte against the
// model, and every byte around the processed region against its canary.
void CheckFourTap(Source kind, Source420& s, int w, int h,
                  bool gapless = false) {
  SCOPED_TRACE(::testing::Message() << "size " << w << " x " << h);
  const int wt = w & ~1, ht = kind == Source::kInterleaved ? h & ~7 : h & ~1;
  const int cw = wt / 2, n = ht / 2;
  const bool smoothed = kind == Source::kSmoothed;
  const int ch = smoothed ? n : ht;  // chroma rows written
  Rows cb, cr;
  if (kind >= Source::kInterleaved) {
    const Rows pairs = Read(s.c1, 2 * cw, n);
    cb = Channel(pairs, smoothed ? 1 : 0, 2);
    cr = Channel(pairs, smoothed ? 0 : 1, 2);
  } else {
    cb = Read(kind == Source::kPlanarCbCr ? s.c1 : s.c2, cw, n);
    cr = Read(kind == Source::kPlanarCbCr ? s.c2 : s.c1, cw, n);
  }
  ForEachDispatch([&] {
    Dest3 d(w, h, smoothed ? (h + 1) / 2 : h, gapless);
    ASSERT_EQ(CallPlanar(kind, s, d, {w, h}), kelOk);
    auto model = smoothed ? ModelSmoothed : ModelFourTap;
    EXPECT_TRUE(SameRows(Read(s.y, wt, ht), Read(d.y, wt, ht)));
    EXPECT_TRUE(SameRows(model(cb), Read(d.c1, cw, ch)));
    EXPECT_TRUE(SameRows(model(cr), Read(d.c2, cw, ch)));
    EXPECT_TRUE(d.y.CanaryIntactOutside(wt, ht));
    EXPECT_TRUE(d.c1.CanaryIntactOutside(cw, ch));
    EXPECT_TRUE(d.c2.CanaryIntactOutside(cw, ch));
  });
}

class Planar : public ::testing::TestWithParam<Source> {};

TEST_P(Planar, MatchesModelAtEveryWidthAndHeight) {
  auto rng = kel::test::TestRng();
  std::vector<int> heights = Heights();
  if (GetParam() == Source::kSmoothed)
    heights.insert(heights.end(), {2, 3, 4, 5, 6});
  for (int h : heights)
    for (int w : kWidths) {
      Source420 s(GetParam(), w, h, rng);
      CheckFourTap(GetParam(), s, w, h);
    }
  // Luma planes without gaps between rows, the whole region or less.
  for (int w : {2, 64, 66, 510, 512}) {
    SCOPED_TRACE("gapless luma");
    Source420 s(GetParam(), w, 16, rng, true);
    CheckFourTap(GetParam(), s, w, 16, true);
    CheckFourTap(GetParam(), s, w, 9, true);
  }
}

// Every pointer (null even with a size that would fail too), then the
// size; nothing is written on an error.
TEST_P(Planar, ChecksPointersThenTheSizeAndWritesNothing) {
  const bool interleaved = GetParam() >= Source::kInterleaved;
  const int minHeight = GetParam() == Source::kSmoothed ? 2 : 8;
  auto rng = kel::test::TestRng();
  Source420 s(GetParam(), 32, 8, rng);
  ForEachDispatch([&] {
    Dest3 d(32, 8, 8);
    const auto y = d.y.Snapshot(), c1 = d.c1.Snapshot(), c2 = d.c2.Snapshot();
    for (int arg = 0; arg < 10; ++arg) {
      if (interleaved && (arg < 2 || arg == 6)) continue;  // not arguments
      for (KelImageSize roi : {KelImageSize{32, 8}, KelImageSize{0, 0}})
        EXPECT_EQ(CallPlanar(GetParam(), s, d, roi, arg), kelErrNullPtr)
            << "pointer " << arg;
    }
    for (KelImageSize roi :
         {KelImageSize{32, minHeight - 1}, {1, 8}, {-2, 8}, {32, -8}})
      EXPECT_EQ(CallPlanar(GetParam(), s, d, roi), kelErrSize)
          << roi.width << " x " << roi.height;
    EXPECT_TRUE(d.y.Unchanged(y) && d.c1.Unchanged(c1) && d.c2.Unchanged(c2));
    EXPECT_EQ(CallPlanar(GetParam(), s, d, {2, minHeight}), kelOk);
  });
}

INSTANTIATE_TEST_SUITE_P(Members, Planar,
                         ::testing::Values(Source::kPlanarCbCr,
                                           Source::kPlanarCrCb,
                                           Source::kInterleaved,
                                           Source::kSmoothed));

TEST(FourTap, EdgeRowsRepeatTheNearestChromaRow) {
  for (Source kind :
       {Source::kPlanarCbCr, Source::kPlanarCrCb, Source::kInterleaved}) {
    // Four chroma rows 10, 50, 90, 200 over a 64 x 8 region, worked by hand.
    auto rng = kel::test::TestRng();
    const int w = 64, h = 8;
    Source420 s(kind, w, h, rng);
    const int values[4] = {10, 50, 90, 200};
    for (GuardedPlane* p : {&s.c1, &s.c2})
      for (int y = 0; y < 4; ++y)
        std::fill_n(p->row(y), p->rowBytes(), values[y]);
    ForEachDispatch([&] {
      Dest3 d(w, h, h);
      ASSERT_EQ(CallPlanar(kind, s, d, {w, h}), kelOk);
      // Rows 0 2 4 6 copy the source; row 1 uses C[-1] = C[0]:
      // (9 (10 + 50) - 10 - 90 + 8) >> 4 = 28; row 3: (9 (50 + 90) - 10 - 200
      // + 8) >> 4 = 66; row 5 uses C[4] = C[3]: (9 (90 + 200) - 50 - 200 + 8)
      // >> 4 = 148; row 7 is (17 * 200 - 90 + 8) >> 4 = 207.
      const int expected[8] = {10, 28, 50, 66, 90, 148, 200, 207};
      for (GuardedPlane* p : {&d.c1, &d.c2})
        for (int y = 0; y < 8; ++y)
          for (int x = 0; x < w / 2; ++x)
            ASSERT_EQ(p->row(y)[x], expected[y]) << "row " << y << " col " << x;
    });
  }
}

// ---- 4:2:0 -> packed 4:2:2 with a slice position ----------------------------

// A whole picture: luma and interleaved chroma planes with random data.
struct Picture {
  Picture(int w, int h, std::mt19937& rng)
      : y(w, h, Slack(w, h, 6), Misalign(w, h, 6)),
        c(w, h / 2, Slack(w, h, 7), Misalign(w, h, 7)) {
    y.FillRandom(rng);
    c.FillRandom(rng);
  }
  // The whole picture through the siting model.
  Rows Expected() const {
    // The siting model works column by column, so Cb and Cr interleaved.
    return Pack(Read(y, y.rowBytes(), y.rows()),
                ModelSited(Read(c, y.rowBytes(), c.rows())));
  }
  GuardedPlane y, c;
};

// Converts rows [top, top + rows) of the picture as one slice into a
// destination that has two context rows above and below the region, and
// checks the region against rows of `expected`; nothing but the region may
// change. `roiHeight` may exceed `rows` by one (an odd height is trimmed).
void CheckSlice(const Picture& pic, const Rows& expected, int top, int rows,
                int roiHeight, int position, std::mt19937& rng) {
  SCOPED_TRACE(::testing::Message() << "slice of rows " << top << ".."
                                    << top + rows << " position " << position);
  const int w = pic.y.rowBytes();
  GuardedPlane d(2 * w, roiHeight + 4, Slack(w, rows, 8), Misalign(w, top, 8));
  d.FillRandom(rng);
  const Rows before = Read(d, 2 * w, roiHeight + 4);
  ASSERT_EQ(keliYCbCr420ToYCbCr422_Filter_8u_P2C2R(
                pic.y.row(top), pic.y.step(), pic.c.row(top / 2), pic.c.step(),
                d.row(2), d.step(), {w, roiHeight}, position),
            kelOk);
  const Rows after = Read(d, 2 * w, roiHeight + 4);
  for (int r = 0; r < roiHeight + 4; ++r) {
    const bool inRegion = r >= 2 && r < 2 + rows;
    const auto& want = inRegion ? expected[top + r - 2] : before[r];
    ASSERT_EQ(want, after[r]) << "destination row " << r - 2
                              << (inRegion ? "" : " (outside the region)");
  }
  EXPECT_TRUE(d.CanaryIntactOutside(2 * w, roiHeight + 4));
}

// Whole pictures under every spelling of the whole position; then top,
// middle and bottom slices of a 28-row picture, which read the context rows
// their position allows and reproduce the whole picture's rows exactly.
TEST(SlicedPacked422, WholePicturesAndSlicesMatchSitingModel) {
  auto rng = kel::test::TestRng();
  std::vector<int> heights = {2, 4, 6, 28};
  for (int h : Heights()) heights.push_back(h & ~1);
  for (int h : heights)
    for (int w : kWidths) {
      if (w & 1) continue;
      SCOPED_TRACE(::testing::Message() << "size " << w << " x " << h);
      Picture pic(w, h, rng);
      const Rows expected = pic.Expected();
      ForEachDispatch([&] {
        for (int position : {21, 23, 31, -1})
          CheckSlice(pic, expected, 0, h, h, position, rng);
        if (h != 28) return;
        CheckSlice(pic, expected, 0, 8, 8, kelSliceTop, rng);
        CheckSlice(pic, expected, 0, 2, 2, kelSliceTop, rng);
        CheckSlice(pic, expected, 8, 10, 10, kelSliceMiddle, rng);
        CheckSlice(pic, expected, 18, 2, 2, kelSliceMiddle, rng);
        CheckSlice(pic, expected, 4, 20, 21, kelSliceMiddle, rng);  // odd
        CheckSlice(pic, expected, 20, 8, 8, kelSliceBottom, rng);
        CheckSlice(pic, expected, 26, 2, 2, kelSliceBottom, rng);
      });
    }
}

TEST(SlicedPacked422, EdgeRowsFollowTheSlicePosition) {
  // One column of chroma rows 0, 100, 200 (and 40 above, 240 below the
  // region) worked by hand: the first and last rows show which neighbours
  // each position reads.
  const int w = 2, h = 6;
  GuardedPlane y(w, h + 4), c(w, h / 2 + 2);
  y.Fill(7);
  const int chroma[5] = {40, 0, 100, 200, 240};
  for (int i = 0; i < 5; ++i) std::fill_n(c.row(i), w, chroma[i]);
  struct Case {
    int position, first, last;
  };
  // First row: (3 * 0 + above) >> 2; last row: (3 * 200 + below) >> 2.
  const Case cases[] = {{kelSliceTop, 0, 210},
                        {kelSliceMiddle, 10, 210},
                        {kelSliceBottom, 10, 200},
                        {kelSliceWhole, 0, 200}};
  ForEachDispatch([&] {
    for (const Case& k : cases) {
      SCOPED_TRACE(k.position);
      GuardedPlane d(2 * w, h);
      ASSERT_EQ(keliYCbCr420ToYCbCr422_Filter_8u_P2C2R(
                    y.row(2), y.step(), c.row(1), c.step(), d.data(), d.step(),
                    {w, h}, k.position),
                kelOk);
      // Rows 1..4: 25, 75, 125, 175 whatever the position.
      const int want[6] = {k.first, 25, 75, 125, 175, k.last};
      for (int r = 0; r < h; ++r) {
        EXPECT_EQ(d.row(r)[0], 7);
        EXPECT_EQ(d.row(r)[1], want[r]) << "row " << r;
        EXPECT_EQ(d.row(r)[3], want[r]) << "row " << r;
      }
    }
  });
}

TEST(SlicedPacked422, RowsWrittenOverTheirSourceGiveTheSameBytesInEitherMode) {
  // Each packed row starts 8 bytes into the luma row it is made from.
  auto rng = kel::test::TestRng();
  const int w = 96, h = 8;
  std::vector<uint8_t> initial(2 * w * (h + 1)), chroma(w * h / 2);
  for (auto& b : initial) b = static_cast<uint8_t>(rng());
  for (auto& b : chroma) b = static_cast<uint8_t>(rng());
  std::vector<std::vector<uint8_t>> results;
  ForEachDispatch([&] {
    std::vector<uint8_t> buf = initial;
    ASSERT_EQ(keliYCbCr420ToYCbCr422_Filter_8u_P2C2R(
                  buf.data(), 2 * w, chroma.data(), w, buf.data() + 8, 2 * w,
                  {w, h}, kelSliceWhole),
              kelOk);
    results.push_back(buf);
  });
  for (const auto& r : results) EXPECT_TRUE(r == results.front());
}

// Pointers, then the size, then the position: a position that is not one of
// the four leaves the destination alone and still returns kelOk.
TEST(SlicedPacked422, ChecksAndUnknownPositionsWriteNothing) {
  auto rng = kel::test::TestRng();
  Picture pic(64, 8, rng);
  GuardedPlane d(128, 8);
  const auto snap = d.Snapshot();
  auto call = [&](int nullArg, KelImageSize roi, int position) {
    return keliYCbCr420ToYCbCr422_Filter_8u_P2C2R(
        nullArg == 0 ? nullptr : pic.y.data(), pic.y.step(),
        nullArg == 1 ? nullptr : pic.c.data(), pic.c.step(),
        nullArg == 2 ? nullptr : d.data(), d.step(), roi, position);
  };
  ForEachDispatch([&] {
    for (int position : {int{kelSliceWhole}, 2}) {
      for (int nullArg = 0; nullArg < 3; ++nullArg)
        for (KelImageSize roi : {KelImageSize{64, 8}, KelImageSize{0, 0}})
          EXPECT_EQ(call(nullArg, roi, position), kelErrNullPtr) << nullArg;
      for (KelImageSize roi : {KelImageSize{1, 4}, KelImageSize{8, 1}})
        EXPECT_EQ(call(-1, roi, position), kelErrSize);
    }
    for (int position : {2, 0, 3, 5, 8, 17, 20, 32, 64, -2, -22})
      EXPECT_EQ(call(-1, {64, 8}, position), kelOk) << position;
    EXPECT_TRUE(d.Unchanged(snap));
  });
}

}  // namespace
