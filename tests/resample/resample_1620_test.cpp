// 4:2:0 <-> 16:2:0 and 4:2:0 <-> 4:1:1 re-sampling: every conversion
// against a per-sample model at widths around each vector step, aligned and
// unaligned planes, canaries, errors and their order.
#include <gtest/gtest.h>

#include <vector>

#include "kelcc.h"
#include "support/dispatch_modes.h"
#include "support/image.h"

namespace {

using kel::test::ForEachDispatch;
using kel::test::GuardedPlane;

enum Sampling { k420, k1620, k411 };

struct Family {
  decltype(&keliYCbCr420To1620_8u_P3R) fn;
  const char* name;
  Sampling from, to;
};
const Family kFamilies[] = {
    {keliYCbCr420To1620_8u_P3R, "420To1620", k420, k1620},
    {keliYCbCr1620To420_8u_P3R, "1620To420", k1620, k420},
    {keliYCbCr411To420_8u_P3R, "411To420", k411, k420},
    {keliYCbCr420To411_8u_P3R, "420To411", k420, k411},
};

// Chroma plane size of a sampling for a w x h luma region.
std::pair<int, int> ChromaSize(Sampling s, int w, int h) {
  return s == k420 ? std::pair{w / 2, h / 2}
                   : std::pair{w / 4, s == k1620 ? h / 4 : h};
}

// Three guarded planes. Aligned images have every plane and step a multiple
// of 16 bytes; the others are misaligned and padded by odd amounts.
struct Image3 {
  Image3(Sampling s, int w, int h, bool aligned, int salt) {
    planes.reserve(3);
    for (int p = 0; p < 3; ++p) {
      auto [pw, ph] = p == 0 ? std::pair{w, h} : ChromaSize(s, w, h);
      const int slack = aligned ? 16 + (16 - pw % 16) % 16 : 3 + 2 * p + salt;
      planes.emplace_back(pw, ph, slack, aligned ? 0 : 1 + 5 * p + salt);
      in[p] = ptrs[p] = planes[p].data();
      steps[p] = planes[p].step();
    }
  }
  std::vector<GuardedPlane> planes;
  Kel8u* ptrs[3];
  const Kel8u* in[3];
  int steps[3];
};

// The chroma of conversion `f` for a w x h region, sample by sample. Rows
// of n = w / 4 samples leave the last 1 to 16 samples, or n mod 8 for 4:1:1
// destinations, to the remainder; averages in the vector body round up.
std::vector<uint8_t> Model(const Family& f, const GuardedPlane& src, int w,
                           int h) {
  const int n = w / 4, body = f.to == k411 ? n / 8 * 8 : (n - 1) / 16 * 16;
  auto S = [&](int r, int k) { return int{src.row(r)[k]}; };
  auto avg = [](int a, int b, bool up) { return (a + b + up) >> 1; };
  // Row r doubled across: each sample, then its average with the next one
  // (at the right edge, the sample again).
  auto across = [&](int r, int x) {
    const int k = x / 2;
    return x % 2 == 0 || k + 1 == n ? S(r, k)
                                    : avg(S(r, k), S(r, k + 1), k < body);
  };
  auto [dw, dh] = ChromaSize(f.to, w, h);
  std::vector<uint8_t> d;
  for (int y = 0; y < dh; ++y) {
    for (int x = 0; x < dw; ++x) {
      // From 16:2:0 and to 4:1:1, source row r gives rows 2r and 2r + 1,
      // the average with row r + 1 (below the last row, the samples again).
      const bool from1620 = f.from == k1620;
      const int r = y / 2, k = from1620 ? x / 2 : x, at = from1620 ? k : 2 * k;
      auto row = [&](int i) { return from1620 ? across(i, x) : S(i, at); };
      d.push_back(f.to == k1620     ? S(2 * y, 2 * x)
                  : f.from == k411  ? across(2 * y, x)
                  : y % 2 == 0      ? row(r)
                  : r + 1 == dh / 2 ? S(r, at)
                                    : avg(row(r), row(r + 1), k < body));
    }
  }
  return d;
}

TEST(Resample1620, EveryConversionMatchesTheModelAtEveryWidth) {
  std::mt19937 rng = kel::test::TestRng();
  ForEachDispatch([&] {
    for (const Family& f : kFamilies) {
      for (int n = 1; n <= 146; ++n) {
        for (bool aligned : {true, false}) {
          // Every third width with the smallest height: one chroma row
          // pair, whose second row is the bottom edge.
          const int block = f.to == k411 ? 2 : 4;
          const int w = 4 * n, h = n % 3 == 0 ? block : 3 * block;
          SCOPED_TRACE(::testing::Message() << f.name << " " << w << "x" << h
                                            << (aligned ? " aligned" : ""));
          Image3 src(f.from, w, h, aligned, n % 3);
          Image3 dst(f.to, w, h, aligned, n % 5);
          for (auto& p : src.planes) p.FillRandom(rng);
          src.planes[1].row(0)[0] = 0;  // both extremes on purpose
          src.planes[2].row(0)[0] = 255;
          ASSERT_EQ(f.fn(src.in, src.steps, dst.ptrs, dst.steps, {w, h}),
                    kelOk);
          for (int p = 0; p < 3; ++p) {  // luma is copied
            const GuardedPlane& d = dst.planes[p];
            ASSERT_TRUE(d.CanaryIntactOutside(d.rowBytes(), d.rows()));
            ASSERT_TRUE(kel::test::SameBytes(
                p == 0 ? src.planes[0].Image() : Model(f, src.planes[p], w, h),
                d.Image(), d.rowBytes()))
                << "plane " << p;
          }
        }
      }
    }
  });
}

// Pointers (arrays, steps, every plane) are checked before the size, a size
// that is not whole blocks is rejected, and nothing is written on an error.
TEST(Resample1620, ErrorsWriteNothing) {
  ForEachDispatch([&] {
    for (const Family& f : kFamilies) {
      SCOPED_TRACE(f.name);
      auto expect = [&](KelResult code, KelImageSize roi, int nullSlot) {
        Image3 src(f.from, 12, 12, false, 0), dst(f.to, 12, 12, false, 0);
        std::vector<std::vector<uint8_t>> before;
        for (auto& p : dst.planes) before.push_back(p.Snapshot());
        if (nullSlot >= 4 && nullSlot < 7) src.in[nullSlot - 4] = nullptr;
        if (nullSlot >= 7) dst.ptrs[nullSlot - 7] = nullptr;
        EXPECT_EQ(f.fn(nullSlot == 0 ? nullptr : src.in,
                       nullSlot == 1 ? nullptr : src.steps,
                       nullSlot == 2 ? nullptr : dst.ptrs,
                       nullSlot == 3 ? nullptr : dst.steps, roi),
                  code)
            << roi.width << "x" << roi.height << ", null " << nullSlot;
        if (code == kelOk) return;
        for (int p = 0; p < 3; ++p)
          EXPECT_TRUE(dst.planes[p].Unchanged(before[p]));
      };
      for (int slot = 0; slot < 10; ++slot) expect(kelErrNullPtr, {6, 6}, slot);
      // Which conversions take each size: none, those to 4:1:1 (whole 4 x 2
      // blocks) or all (whole 4 x 4 blocks).
      const int sizes[][3] = {{6, 8, 0}, {8, 6, 1}, {4, 2, 1}, {8, 3, 0},
                              {3, 8, 0}, {0, 4, 0}, {4, 0, 0}, {-4, 4, 0},
                              {4, 4, 2}, {12, 8, 2}};
      for (auto [w, h, takes] : sizes)
        expect(takes == 2 || (takes == 1 && f.to == k411) ? kelOk : kelErrSize,
               {w, h}, -1);
    }
  });
}

}  // namespace
