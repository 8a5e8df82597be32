// Filtered 4:2:0 chroma re-sampling: the four-tap 4:2:2 members, the
// slice-aware packed 4:2:2 member and the smoothed 4:2:0 YCrCb member,
// against models written here from the filters' definitions (in floating
// point, a different route to the same integers).
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
using Row = std::vector<int>;
using Rows = std::vector<Row>;

// Every `stride`-th byte from `first` on, of the first `w` bytes of the
// first `h` rows of a plane (a stride of 2 de-interleaves).
Rows Read(const GuardedPlane& p, int w, int h, int first = 0, int stride = 1) {
  Rows r(static_cast<size_t>(h));
  for (int y = 0; y < h; ++y)
    for (int x = first; x < w; x += stride) r[y].push_back(p.row(y)[x]);
  return r;
}

// `rows` rows of `width` samples f(row, x).
template <class F>
Rows Make(int rows, size_t width, F f) {
  Rows out(static_cast<size_t>(rows), Row(width));
  for (int r = 0; r < rows; ++r)
    for (size_t x = 0; x < width; ++x) out[r][x] = f(r, x);
  return out;
}

int Clamp255(double v) {
  return static_cast<int>(std::clamp(std::floor(v), 0.0, 255.0));
}

// Row i of c; indices past the edges take the nearest row.
const Row& At(const Rows& c, int i) {
  return c[std::clamp(i, 0, static_cast<int>(c.size()) - 1)];
}

// 4:2:0 -> 4:2:2 with the four-tap filter: even rows repeat the chroma row,
// odd rows interpolate.
Rows ModelFourTap(const Rows& c) {
  return Make(2 * c.size(), c[0].size(), [&](int r, size_t x) {
    const int i = r / 2;
    if (r % 2 == 0) return c[i][x];
    return Clamp255((9.0 * (At(c, i)[x] + At(c, i + 1)[x]) - At(c, i - 1)[x] -
                     At(c, i + 2)[x] + 8.0) /
                    16.0);
  });
}

// 4:2:0 -> 4:2:2 by chroma siting: luma row r is centred at r + 0.5, chroma
// row k at 2k + 1; an output row takes the linear interpolation between the
// two chroma rows around its centre, truncated.
Rows ModelSited(const Rows& c) {
  return Make(2 * c.size(), c[0].size(), [&](int r, size_t x) {
    const double centre = r + 0.5;
    const int lo = static_cast<int>(std::floor((centre - 1.0) / 2.0));
    const double t = (centre - (2.0 * lo + 1.0)) / 2.0;  // weight of lo + 1
    return Clamp255((1.0 - t) * At(c, lo)[x] + t * At(c, lo + 1)[x]);
  });
}

// 4:2:0 one-two-one vertical smoothing.
Rows ModelSmoothed(const Rows& c) {
  return Make(c.size(), c[0].size(), [&](int i, size_t x) {
    return Clamp255((At(c, i - 1)[x] + 2.0 * c[i][x] + At(c, i + 1)[x]) / 4.0);
  });
}

::testing::AssertionResult SameRows(const Rows& want, const Rows& got) {
  if (want == got) return ::testing::AssertionSuccess();
  size_t y = 0;
  while (y < want.size() && y < got.size() && want[y] == got[y]) ++y;
  return ::testing::AssertionFailure() << "row " << y << " differs";
}

// Widths around the 16- and 32-sample chroma blocks (32 and 64 luma
// pixels), odd ones included; heights from the smallest allowed up.
const int kWidths[] = {2,  3,  14, 16, 30, 31,  32,  34,  62,  63,
                       64, 66, 94, 96, 98, 126, 128, 130, 192, 258};
const int kHeights[] = {2, 3, 4, 5, 6, 8, 9, 10, 15, 16, 20, 28, 66};

// Layout variety per case: misalignment 0..31 and a row slack 0..37; luma
// rows follow each other without a gap when the height is a multiple of 3
// (source and destination: narrow planes are then copied as one row).
int Misalign(int w, int h, int plane) {
  return (w * 7 + h * 3 + plane * 5) % 32;
}
int Slack(int w, int h, int plane) { return (w + h * 11 + plane * 13) % 38; }

// The members with planar results, by source; kInterleaved and kSmoothed
// read a CbCr plane (kSmoothed writes Cr to plane 1).
enum class Source { kPlanarCbCr, kPlanarCrCb, kInterleaved, kSmoothed };

// Luma w x h, chroma plane 1 of `c1Bytes` and plane 2 of (w + 1) / 2 bytes
// by `chromaRows`; `salt` varies their layouts.
struct Planes {
  Planes(int w, int h, int c1Bytes, int chromaRows, int salt)
      : y(w, h, h % 3 ? Slack(w, h, salt) : 0, Misalign(w, h, salt)),
        c1(c1Bytes, chromaRows, Slack(w, h, salt + 1),
           Misalign(w, h, salt + 1)),
        c2((w + 1) / 2, chromaRows, Slack(w, h, salt + 2),
           Misalign(w, h, salt + 2)) {}
  GuardedPlane y, c1, c2;
};

// A 4:2:0 source, planar or interleaved, with random data.
Planes RandomSource(Source kind, int w, int h, std::mt19937& rng) {
  const int cw = (w + 1) / 2;
  Planes s(w, h, kind >= Source::kInterleaved ? 2 * cw : cw, (h + 1) / 2, 0);
  for (GuardedPlane* p : {&s.y, &s.c1, &s.c2}) p->FillRandom(rng);
  return s;
}

// Calls the member of `kind`. The pointer argument numbered `nullArg` is
// passed as null: 0..3 the source, step, destination and step arrays, 4..6
// the source planes, 7..9 the destination planes.
KelResult CallPlanar(Source kind, const Planes& s, Planes& d, KelImageSize roi,
                     int nullArg = -1) {
  const Kel8u* src[3] = {s.y.data(), s.c1.data(), s.c2.data()};
  const int steps[3] = {s.y.step(), s.c1.step(), s.c2.step()};
  Kel8u* dst[3] = {d.y.data(), d.c1.data(), d.c2.data()};
  const int dSteps[3] = {d.y.step(), d.c1.step(), d.c2.step()};
  for (int i = 0; i < 3; ++i) {
    if (nullArg == 4 + i) src[i] = nullptr;
    if (nullArg == 7 + i) dst[i] = nullptr;
  }
  auto arg = [&](int i, auto* p) { return i == nullArg ? nullptr : p; };
  if (kind < Source::kInterleaved)
    return (kind == Source::kPlanarCbCr ? keliYCbCr420ToYCbCr422_Filter_8u_P3R
                                        : keliYCrCb420ToYCbCr422_Filter_8u_P3R)(
        arg(0, src), arg(1, steps), arg(2, dst), arg(3, dSteps), roi);
  return (kind == Source::kInterleaved
              ? keliYCbCr420ToYCbCr422_Filter_8u_P2P3R
              : keliYCbCr420ToYCrCb420_Filter_8u_P2P3R)(
      src[0], steps[0], src[1], steps[1], arg(2, dst), arg(3, dSteps), roi);
}

// Converts a w x h region and checks every destination byte against the
// model, and every byte around the processed region against its canary.
void CheckPlanar(Source kind, const Planes& s, int w, int h) {
  SCOPED_TRACE(::testing::Message() << "size " << w << " x " << h);
  const int wt = w & ~1, ht = kind == Source::kInterleaved ? h & ~7 : h & ~1;
  const int cw = wt / 2, n = ht / 2;
  const bool smoothed = kind == Source::kSmoothed;
  const int ch = smoothed ? n : ht;  // chroma rows written
  // The source chroma of destination planes 1 and 2.
  const bool pairs = kind >= Source::kInterleaved;
  const bool swap = kind == Source::kPlanarCrCb || smoothed;
  const Rows c1 =
      pairs ? Read(s.c1, 2 * cw, n, swap, 2) : Read(swap ? s.c2 : s.c1, cw, n);
  const Rows c2 =
      pairs ? Read(s.c1, 2 * cw, n, !swap, 2) : Read(swap ? s.c1 : s.c2, cw, n);
  auto model = smoothed ? ModelSmoothed : ModelFourTap;
  ForEachDispatch([&] {
    Planes d(w, h, (w + 1) / 2, smoothed ? (h + 1) / 2 : h, 3);
    ASSERT_EQ(CallPlanar(kind, s, d, {w, h}), kelOk);
    EXPECT_TRUE(SameRows(Read(s.y, wt, ht), Read(d.y, wt, ht)));
    EXPECT_TRUE(SameRows(model(c1), Read(d.c1, cw, ch)));
    EXPECT_TRUE(SameRows(model(c2), Read(d.c2, cw, ch)));
    EXPECT_TRUE(d.y.CanaryIntactOutside(wt, ht));
    EXPECT_TRUE(d.c1.CanaryIntactOutside(cw, ch));
    EXPECT_TRUE(d.c2.CanaryIntactOutside(cw, ch));
  });
}

class Planar : public ::testing::TestWithParam<Source> {};

TEST_P(Planar, MatchesModelAtEveryWidthAndHeight) {
  auto rng = kel::test::TestRng();
  const int minHeight = GetParam() == Source::kSmoothed ? 2 : 8;
  for (int h : kHeights)
    for (int w : kWidths) {
      if (h < minHeight) continue;
      CheckPlanar(GetParam(), RandomSource(GetParam(), w, h, rng), w, h);
    }
}

// Every pointer (null reported even with a size that fails too), then the
// size; nothing is written on an error.
TEST_P(Planar, ChecksPointersThenTheSizeAndWritesNothing) {
  const int minHeight = GetParam() == Source::kSmoothed ? 2 : 8;
  auto rng = kel::test::TestRng();
  const Planes s = RandomSource(GetParam(), 32, 8, rng);
  ForEachDispatch([&] {
    Planes d(32, 8, 16, 8, 3);
    const auto y = d.y.Snapshot(), c1 = d.c1.Snapshot(), c2 = d.c2.Snapshot();
    for (int arg = 0; arg < 10; ++arg) {
      // Plane and step arrays of the source are not arguments of the pairs.
      if (GetParam() >= Source::kInterleaved && (arg < 2 || arg == 6)) continue;
      EXPECT_EQ(CallPlanar(GetParam(), s, d, {0, 0}, arg), kelErrNullPtr)
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

// A picture (luma, CbCr plane c1) through the siting model, packed Y0 Cb Y1 Cr
// (the model works column by column, so on Cb and Cr interleaved).
Rows ExpectedPacked(const Planes& pic) {
  const int w = pic.y.rowBytes(), h = pic.y.rows();
  const Rows luma = Read(pic.y, w, h),
             sited = ModelSited(Read(pic.c1, w, h / 2));
  return Make(h, 2 * w, [&](int r, size_t k) {
    return k % 2 == 0 ? luma[r][k / 2] : sited[r][k / 2];
  });
}

// Converts rows [top, top + rows) of the picture as one slice and checks
// them against rows of `expected`; nothing else may change. `roiHeight` may
// exceed `rows` by one (an odd height is trimmed).
void CheckSlice(const Planes& pic, const Rows& expected, int top, int rows,
                int roiHeight, int position) {
  SCOPED_TRACE(::testing::Message() << "slice of rows " << top << ".."
                                    << top + rows << " position " << position);
  const int w = pic.y.rowBytes();
  GuardedPlane d(2 * w, roiHeight, Slack(w, rows, 8), Misalign(w, top, 8));
  ASSERT_EQ(keliYCbCr420ToYCbCr422_Filter_8u_P2C2R(
                pic.y.row(top), pic.y.step(), pic.c1.row(top / 2),
                pic.c1.step(), d.data(), d.step(), {w, roiHeight}, position),
            kelOk);
  EXPECT_TRUE(SameRows(Rows(&expected[top], &expected[top] + rows),
                       Read(d, 2 * w, rows)));
  EXPECT_TRUE(d.CanaryIntactOutside(2 * w, rows));
}

// Whole pictures under every spelling of the whole position; then top,
// middle and bottom slices of a 28-row picture, which read the context rows
// their position allows (the picture's neighbouring rows, or none at its
// edges, where reading one would pick up guard bytes) and reproduce the
// whole picture's rows exactly.
TEST(SlicedPacked422, WholePicturesAndSlicesMatchSitingModel) {
  auto rng = kel::test::TestRng();
  // First row, rows, region height (one more: odd, trimmed), position.
  const int slices[][4] = {
      {0, 8, 8, kelSliceTop},      {0, 2, 2, kelSliceTop},
      {8, 10, 10, kelSliceMiddle}, {18, 2, 2, kelSliceMiddle},
      {4, 20, 21, kelSliceMiddle}, {20, 8, 8, kelSliceBottom},
      {26, 2, 2, kelSliceBottom}};
  for (int h : kHeights)
    for (int w : kWidths) {
      if ((w | h) & 1) continue;
      SCOPED_TRACE(::testing::Message() << "size " << w << " x " << h);
      const Planes pic = RandomSource(Source::kInterleaved, w, h, rng);
      const Rows expected = ExpectedPacked(pic);
      ForEachDispatch([&] {
        for (int position : {21, 23, 31, -1})
          CheckSlice(pic, expected, 0, h, h, position);
        if (h == 28)
          for (auto [top, rows, roiHeight, position] : slices)
            CheckSlice(pic, expected, top, rows, roiHeight, position);
      });
    }
}

// Each packed row starts 8 bytes into the luma row it is made from.
TEST(SlicedPacked422, RowsWrittenOverTheirSourceGiveTheSameBytesInEitherMode) {
  auto rng = kel::test::TestRng();
  const int w = 96, h = 8;
  std::vector<uint8_t> initial(2 * w * (h + 1)), chroma(w * h / 2);
  for (auto& b : initial) b = static_cast<uint8_t>(rng());
  for (auto& b : chroma) b = static_cast<uint8_t>(rng());
  std::vector<std::vector<uint8_t>> results;
  ForEachDispatch([&] {
    results.push_back(initial);
    uint8_t* buf = results.back().data();
    ASSERT_EQ(keliYCbCr420ToYCbCr422_Filter_8u_P2C2R(buf, 2 * w, chroma.data(),
                                                     w, buf + 8, 2 * w, {w, h},
                                                     kelSliceWhole),
              kelOk);
  });
  for (const auto& r : results) EXPECT_TRUE(r == results.front());
}

// Pointers, then the size, then the position: a position that is not one of
// the four leaves the destination alone and still returns kelOk.
TEST(SlicedPacked422, ChecksAndUnknownPositionsWriteNothing) {
  auto rng = kel::test::TestRng();
  const Planes pic = RandomSource(Source::kInterleaved, 64, 8, rng);
  GuardedPlane d(128, 8);
  const auto snap = d.Snapshot();
  auto call = [&](int nullArg, KelImageSize roi, int position) {
    return keliYCbCr420ToYCbCr422_Filter_8u_P2C2R(
        nullArg == 0 ? nullptr : pic.y.data(), pic.y.step(),
        nullArg == 1 ? nullptr : pic.c1.data(), pic.c1.step(),
        nullArg == 2 ? nullptr : d.data(), d.step(), roi, position);
  };
  ForEachDispatch([&] {
    for (int position : {int{kelSliceWhole}, 2}) {
      for (int nullArg = 0; nullArg < 3; ++nullArg)
        EXPECT_EQ(call(nullArg, {0, 0}, position), kelErrNullPtr) << nullArg;
      for (KelImageSize roi : {KelImageSize{1, 4}, KelImageSize{8, 1}})
        EXPECT_EQ(call(-1, roi, position), kelErrSize);
    }
    // Each lacks one of the bits 1, 4, 16 or is a single bit of another.
    for (int position : {0, 3, 5, 17, 20, 32, -2})
      EXPECT_EQ(call(-1, {64, 8}, position), kelOk) << position;
    EXPECT_TRUE(d.Unchanged(snap));
  });
}

}  // namespace
