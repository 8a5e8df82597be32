// RGB and BGR to YCbCr through the public calls: every export against a
// reference built from the per-pixel forms, with padded steps, misaligned
// planes and guard bytes, in both dispatch modes; worked examples; checks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "kelcc.h"
#include "support/dispatch_modes.h"
#include "support/image.h"
#include "ycbcr/forms.h"

namespace {

using kel::test::ForEachDispatch;
using kel::test::GuardedPlane;
using Planes = std::vector<std::unique_ptr<GuardedPlane>>;
namespace f = kel::ycbcr;

enum class Src { kC3, kC4, kP3 };
// 4:4:4 packed without and with the fourth byte, planes with one step;
// 4:2:2 packed; planes with a step each; luma + chroma pairs.
enum class Out { kC3, kAC4, kP3Shared, kC2, kP3, kP2 };
// Every export called one way: source planes and step, destination planes
// and steps (any pointer may be null).
using Call3 = std::function<KelResult(const Kel8u* const*, int, Kel8u* const*,
                                      const int*, KelImageSize)>;

struct Export {
  const char* name;
  Call3 call;
  Src src;
  bool bgr;
  Out out;
  int sampling;         // 444, 422, 420 or 411
  const char* c2;       // packed 4:2:2 byte order, e.g. "YUYV" for Y0 Cb Y1 Cr
  bool crFirst, formB;  // planes Y, Cr, Cb; block form B in vector blocks
};

// Everything but the arithmetic follows from the name.
Export Describe(const char* name, Call3 fn) {
  const std::string n = name, layout = n.substr(n.find("_8u_") + 4);
  const std::string to = n.substr(n.find("To") + 2);
  Export e{name, fn,    Src::kC3, n.starts_with("BGR"), Out::kC3, 444,
           "",   false, false};
  for (int s : {422, 420, 411})
    if (to.find(std::to_string(s)) != std::string::npos) e.sampling = s;
  e.src = layout.starts_with("P3")   ? Src::kP3
          : layout.starts_with("C3") ? Src::kC3
                                     : Src::kC4;
  e.c2 = to.starts_with("YCrCb")   ? "YVYU"
         : to.starts_with("CbYCr") ? "UYVY"
                                   : "YUYV";
  e.crFirst = to.starts_with("YCrCb") && e.sampling == 420;
  e.out = layout == "AC4R"          ? Out::kAC4
          : layout == "C3R"         ? Out::kC3
          : layout.ends_with("C2R") ? Out::kC2
          : layout.ends_with("P2R") ? Out::kP2
          : e.sampling == 444       ? Out::kP3Shared
                                    : Out::kP3;
  e.formB = e.src == Src::kP3 && e.out == Out::kP3Shared;
  return e;
}

// The array itself where the export takes an array, else its first entry.
template <class P, class A>
P Pick(A all) {
  if constexpr (std::is_convertible_v<A, P>)
    return all;
  else
    return all[0];
}
template <class S, class D, class T>
Call3 Adapt(KelResult (*f)(S, int, D, T, KelImageSize)) {
  return [f](const Kel8u* const* s, int step, Kel8u* const* d, const int* t,
             KelImageSize roi) {
    return f(Pick<S>(s), step, Pick<D>(d), Pick<T>(t), roi);
  };
}
Call3 Adapt(KelResult (*f)(const Kel8u*, int, Kel8u*, int, Kel8u*, int,
                           KelImageSize)) {
  return [f](const Kel8u* const* s, int step, Kel8u* const* d, const int* t,
             KelImageSize roi) {
    return f(s[0], step, d[0], t[0], d[1], t[1], roi);
  };
}
#define EXP(name) Describe(#name, Adapt(&keli##name))
const Export kExports[] = {
    EXP(RGBToYCbCr_8u_C3R),       EXP(RGBToYCbCr_8u_AC4R),
    EXP(RGBToYCbCr_8u_C3P3R),     EXP(RGBToYCbCr_8u_AC4P3R),
    EXP(RGBToYCbCr_8u_P3R),       EXP(RGBToYCbCr422_8u_C3C2R),
    EXP(RGBToYCbCr422_8u_C3P3R),  EXP(RGBToYCbCr422_8u_P3C2R),
    EXP(RGBToYCrCb422_8u_C3C2R),  EXP(RGBToYCrCb422_8u_P3C2R),
    EXP(RGBToCbYCr422_8u_C3C2R),  EXP(BGRToYCbCr422_8u_C3C2R),
    EXP(BGRToYCbCr422_8u_AC4C2R), EXP(BGRToYCbCr422_8u_C3P3R),
    EXP(BGRToYCbCr422_8u_AC4P3R), EXP(BGRToCbYCr422_8u_AC4C2R),
    EXP(RGBToYCbCr420_8u_C3P3R),  EXP(RGBToYCbCr420_8u_C3P2R),
    EXP(RGBToYCbCr420_8u_C4P2R),  EXP(RGBToYCrCb420_8u_AC4P3R),
    EXP(BGRToYCbCr420_8u_C3P3R),  EXP(BGRToYCbCr420_8u_AC4P3R),
    EXP(BGRToYCbCr420_8u_C3P2R),  EXP(BGRToYCbCr420_8u_AC4P2R),
    EXP(BGRToYCrCb420_8u_C3P3R),  EXP(BGRToYCrCb420_8u_AC4P3R),
    EXP(BGRToYCbCr411_8u_C3P3R),  EXP(BGRToYCbCr411_8u_AC4P3R),
};
#undef EXP

void PrintTo(const Export& e, std::ostream* os) { *os << e.name; }

int SrcBytes(Src s) { return s == Src::kC3 ? 3 : s == Src::kC4 ? 4 : 1; }
int OutBytes(Out o) {
  return o == Out::kC3 ? 3 : o == Out::kAC4 ? 4 : o == Out::kC2 ? 2 : 1;
}

// Guarded planes of the given shapes (row bytes, rows) with random
// misalignment and slack, one slack for all if `sharedStep`.
Planes MakePlanes(const std::vector<std::pair<int, int>>& shapes,
                  bool sharedStep, std::mt19937& rng) {
  std::uniform_int_distribution<int> slack(0, 40), mis(0, 63);
  const int shared = slack(rng);
  Planes p;
  for (auto [bytes, rows] : shapes) {
    p.push_back(std::make_unique<GuardedPlane>(
        bytes, rows, sharedStep ? shared : slack(rng), mis(rng)));
    p.back()->FillRandom(rng);
  }
  return p;
}

Planes MakeSrc(const Export& e, int w, int h, std::mt19937& rng) {
  return MakePlanes(std::vector<std::pair<int, int>>(e.src == Src::kP3 ? 3 : 1,
                                                     {SrcBytes(e.src) * w, h}),
                    true, rng);
}

Planes MakeDst(const Export& e, int w, int h, std::mt19937& rng) {
  const int cw = e.sampling == 444 ? w : e.sampling == 411 ? w / 4 : w / 2;
  const int ch = e.sampling == 420 ? h / 2 : h;
  std::vector<std::pair<int, int>> shapes = {{OutBytes(e.out) * w, h}};
  if (e.out == Out::kP3Shared || e.out == Out::kP3)
    shapes.insert(shapes.end(), 2, {cw, ch});
  if (e.out == Out::kP2) shapes.push_back({w & ~1, h / 2});
  return MakePlanes(shapes, e.out == Out::kP3Shared, rng);
}

// Calls e on the planes; `spoil` names one pointer to pass as null: "S",
// "D", "T" the source, destination and step arrays, "s1" or "d0" one plane.
KelResult Call(const Export& e, const Planes& src, Planes& dst,
               KelImageSize roi, const std::string& spoil = "") {
  const Kel8u* s[3] = {};
  Kel8u* d[3] = {};
  int steps[3] = {};
  for (size_t i = 0; i < src.size(); ++i) s[i] = src[i]->data();
  for (size_t i = 0; i < dst.size(); ++i)
    d[i] = dst[i]->data(), steps[i] = dst[i]->step();
  if (spoil[0] == 's') s[spoil[1] - '0'] = nullptr;
  if (spoil[0] == 'd') d[spoil[1] - '0'] = nullptr;
  return e.call(spoil == "S" ? nullptr : s, src[0]->step(),
                spoil == "D" ? nullptr : d, spoil == "T" ? nullptr : steps,
                roi);
}

// ---- Reference -------------------------------------------------------------

struct Px {
  int r, g, b;
};

Px PixelAt(const Export& e, const Planes& src, int x, int y) {
  if (e.src == Src::kP3)
    return {src[0]->row(y)[x], src[1]->row(y)[x], src[2]->row(y)[x]};
  const uint8_t* p = src[0]->row(y) + SrcBytes(e.src) * x;
  return e.bgr ? Px{p[2], p[1], p[0]} : Px{p[0], p[1], p[2]};
}

// What the destination planes should hold after the call: their previous
// contents with the encoded samples written in.
std::vector<std::vector<uint8_t>> Expected(const Export& e, const Planes& src,
                                           const Planes& dst, int w, int h) {
  std::vector<std::vector<uint8_t>> out;
  for (const auto& d : dst) out.push_back(d->Image());
  auto at = [&](int plane, int x, int y) -> uint8_t& {
    return out[plane][static_cast<size_t>(y) * dst[plane]->rowBytes() + x];
  };
  const int n = OutBytes(e.out);
  const bool packed444 = e.out == Out::kC3 || e.out == Out::kAC4;
  auto putY = [&](int x, int y, uint8_t v) {
    at(0, n * x + (e.out == Out::kC2 && e.c2[0] != 'Y'), y) = v;
  };
  auto putC = [&](int cx, int cy, int cb, int cr) {
    const auto b = static_cast<uint8_t>(cb), r = static_cast<uint8_t>(cr);
    if (packed444) {
      at(0, n * cx + 1, cy) = b, at(0, n * cx + 2, cy) = r;
    } else if (e.out == Out::kC2) {
      for (int i = 0; i < 4; ++i)
        if (e.c2[i] != 'Y') at(0, 4 * cx + i, cy) = e.c2[i] == 'U' ? b : r;
    } else if (e.out == Out::kP2) {
      at(1, 2 * cx, cy) = b, at(1, 2 * cx + 1, cy) = r;
    } else {
      at(e.crFirst ? 2 : 1, cx, cy) = b, at(e.crFirst ? 1 : 2, cx, cy) = r;
    }
  };
  const int nv = w / 16 * 16;  // pixels of a row in vector blocks
  auto luma = [&](const Px& p, bool vec) {
    if (!vec) return f::ExactY(p.r, p.g, p.b);
    return e.formB ? f::FormBY(p.r, p.g, p.b) : f::FormAY(p.r, p.g, p.b);
  };
  // Chroma from sums over a block of k pixels: form A on 128 / k times the
  // sum in vector blocks, one-eighth rounding in the remainder.
  auto chroma = [&](int sr, int sg, int sb, int k, bool vec, bool cr) -> int {
    const int c[2][3] = {{-9699, -19071, 28770}, {28770, -24117, -4653}};
    const int* m = c[cr ? 1 : 0];
    if (vec)
      return cr ? f::FormACr(128 / k * sr, 128 / k * sg, 128 / k * sb)
                : f::FormACb(128 / k * sr, 128 / k * sg, 128 / k * sb);
    const int shift = k == 1 ? 16 : k == 2 ? 17 : 18;
    return static_cast<uint8_t>(
        (m[0] * sr + m[1] * sg + m[2] * sb + (1025 << (shift - 3))) >> shift);
  };
  const int bw = e.sampling == 444 ? 1 : e.sampling == 411 ? 4 : 2;
  const int bh = e.sampling == 420 ? 2 : 1;
  for (int by = 0; by + bh <= h; by += bh) {
    for (int bx = 0; bx + bw <= w; bx += bw) {
      const bool vec = bx < nv;
      int sr = 0, sg = 0, sb = 0;
      for (int y = by; y < by + bh; ++y) {
        for (int x = bx; x < bx + bw; ++x) {
          const Px p = PixelAt(e, src, x, y);
          putY(x, y, luma(p, vec));
          sr += p.r, sg += p.g, sb += p.b;
        }
      }
      if (e.sampling == 444 && !vec) {
        putC(bx, by, f::ExactCb(sr, sg, sb), f::ExactCr(sr, sg, sb));
      } else if (e.sampling == 444 && e.formB) {
        putC(bx, by, f::FormBChroma(sr, sg, sb, -9699, -19071, 28770),
             f::FormBChroma(sr, sg, sb, 28770, -24117, -4653));
      } else {
        putC(bx / bw, by / bh, chroma(sr, sg, sb, bw * bh, vec, false),
             chroma(sr, sg, sb, bw * bh, vec, true));
      }
      if (e.out == Out::kAC4 && vec) at(0, 4 * bx + 3, by) = 0;
    }
    // The odd last column of 4:2:2: luma, and a half pair in packed rows.
    if (e.sampling == 422 && w % 2 == 1) {
      const Px p = PixelAt(e, src, w - 1, by);
      putY(w - 1, by, f::ExactY(p.r, p.g, p.b));
      if (e.out == Out::kC2)
        at(0, 2 * (w - 1) + (e.c2[0] == 'Y'), by) =
            f::HalfPairCb(p.r, p.g, p.b);
    }
  }
  return out;
}

int ExpectedResult(const Export& e, KelImageSize roi) {
  if (e.crFirst && (roi.width < 2 || roi.height < 2)) return kelErrSize;
  if (e.sampling == 420 && (roi.width % 2 || roi.height % 2)) return 35;
  if (e.sampling == 411 && roi.width % 4) return 35;
  return 0;
}

// ---- Whole calls -----------------------------------------------------------

class EncodeTest : public ::testing::TestWithParam<Export> {};

TEST_P(EncodeTest, MatchesTheForms) {
  const Export& e = GetParam();
  auto rng = kel::test::TestRng();
  auto check = [&](int w, int h) {
    SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
    const auto src = MakeSrc(e, w, h, rng);
    auto dst = MakeDst(e, w, h, rng);
    const auto expected = Expected(e, src, dst, w, h);
    ASSERT_EQ(Call(e, src, dst, {w, h}), ExpectedResult(e, {w, h}));
    for (size_t i = 0; i < dst.size(); ++i) {
      EXPECT_TRUE(kel::test::SameBytes(expected[i], dst[i]->Image(),
                                       dst[i]->rowBytes()))
          << "plane " << i;
      EXPECT_TRUE(
          dst[i]->CanaryIntactOutside(dst[i]->rowBytes(), dst[i]->rows()));
    }
  };
  ForEachDispatch([&] {
    for (int h = 1; h <= 5; ++h)
      for (int w = 1; w <= 70; ++w) check(w, h);
    for (int w : {127, 128, 129, 301}) check(w, 6);
  });
}

TEST_P(EncodeTest, BlackAndWhiteGiveTheRangeEnds) {
  const Export& e = GetParam();
  for (const int v : {0, 255}) {
    ForEachDispatch([&] {
      auto rng = kel::test::TestRng();
      auto src = MakeSrc(e, 40, 4, rng);
      for (auto& s : src) s->Fill(static_cast<uint8_t>(v));
      auto dst = MakeDst(e, 40, 4, rng);
      for (auto& d : dst) d->Fill(77);
      ASSERT_EQ(Call(e, src, dst, {40, 4}), 0);
      const uint8_t y = v ? 235 : 16;
      const size_t n = OutBytes(e.out), yAt = n == 2 && e.c2[0] != 'Y';
      for (size_t i = 0; i < dst.size(); ++i) {
        const auto img = dst[i]->Image();
        for (size_t k = 0; k < img.size(); ++k) {
          if (n == 4 && k % 4 == 3) continue;  // the fourth byte
          const bool isY = i == 0 && k % n == yAt;
          ASSERT_EQ(img[k], isY ? y : 128) << "plane " << i << " byte " << k;
        }
      }
    });
  }
}

// Null pointers first, then the size, then the plane pointers (the Cr-first
// 4:2:0 members check plane pointers with the others and need 2x2); nothing
// is written on any error.
TEST_P(EncodeTest, ChecksArgumentsInOrderAndWritesNothingOnError) {
  const Export& e = GetParam();
  auto rng = kel::test::TestRng();
  const auto src = MakeSrc(e, 8, 4, rng);
  auto dst = MakeDst(e, 8, 4, rng);
  std::vector<std::vector<uint8_t>> before;
  for (auto& d : dst) before.push_back(d->Snapshot());
  // Top-level pointers (checked before the size), then plane pointers
  // inside arrays, named as for Call().
  const bool planarIn = e.src == Src::kP3;
  const bool planarOut = e.out == Out::kP3 || e.out == Out::kP3Shared;
  std::vector<std::string> top = {planarIn ? "S" : "s0"}, planes;
  for (size_t i = 0; i < (planarOut ? 0 : dst.size()); ++i)
    top.push_back(std::string{'d', char('0' + i)});
  if (planarOut) top.push_back("D");
  if (e.out == Out::kP3) top.push_back("T");
  for (int i = 0; i < 3; ++i) {
    if (planarIn) planes.push_back(std::string{'s', char('0' + i)});
    if (planarOut) planes.push_back(std::string{'d', char('0' + i)});
  }
  auto call = [&](KelImageSize roi, const std::string& spoil = "") {
    const KelResult r = Call(e, src, dst, roi, spoil);
    for (size_t i = 0; i < dst.size(); ++i)
      EXPECT_TRUE(dst[i]->Unchanged(before[i])) << "plane " << i;
    return r;
  };
  const KelImageSize bad[] = {{0, 4}, {8, 0}, {-3, 4}, {8, -1}, {0, 0}};
  ForEachDispatch([&] {
    for (const auto& n : top) {
      EXPECT_EQ(call({8, 4}, n), kelErrNullPtr) << n;
      for (const KelImageSize roi : bad) EXPECT_EQ(call(roi, n), kelErrNullPtr);
    }
    for (const KelImageSize roi : bad) EXPECT_EQ(call(roi), kelErrSize);
    if (e.crFirst) {
      EXPECT_EQ(call({1, 4}), kelErrSize);
      EXPECT_EQ(call({8, 1}), kelErrSize);
    }
    for (const auto& n : planes) {
      EXPECT_EQ(call({8, 4}, n), kelErrNullPtr) << n;
      EXPECT_EQ(call({0, 4}, n), e.crFirst ? kelErrNullPtr : kelErrSize) << n;
    }
  });
}

INSTANTIATE_TEST_SUITE_P(AllExports, EncodeTest, ::testing::ValuesIn(kExports),
                         [](const auto& info) { return info.param.name; });

// ---- Worked examples -------------------------------------------------------

// A one-row C3 image of w pixels all equal to (r, g, b).
std::vector<uint8_t> Row(int w, int r, int g, int b) {
  std::vector<uint8_t> v(3 * static_cast<size_t>(w));
  for (size_t i = 0; i < v.size(); i += 3)
    v[i] = uint8_t(r), v[i + 1] = uint8_t(g), v[i + 2] = uint8_t(b);
  return v;
}

TEST(EncodeExamples, LumaOf0_1_51DependsOnThePlaceInTheRow) {
  ForEachDispatch([] {
    // Pixels 0..15 are a vector block (form A: 21), pixel 16 the remainder
    // (exact form: 22).
    const auto src = Row(17, 0, 1, 51);
    std::vector<uint8_t> dst(3 * 17);
    ASSERT_EQ(keliRGBToYCbCr_8u_C3R(src.data(), 51, dst.data(), 51, {17, 1}),
              kelOk);
    for (int x = 0; x < 16; ++x) EXPECT_EQ(dst[3 * x], 21) << x;
    EXPECT_EQ(dst[48], 22);
    // The planar member uses form B in its blocks, which gives 22 as well.
    std::vector<uint8_t> r(16, 0), g(16, 1), b(16, 51), y(16), cb(16), cr(16);
    const Kel8u* planes[3] = {r.data(), g.data(), b.data()};
    Kel8u* out[3] = {y.data(), cb.data(), cr.data()};
    ASSERT_EQ(keliRGBToYCbCr_8u_P3R(planes, 16, out, 16, {16, 1}), kelOk);
    EXPECT_EQ(y, std::vector<uint8_t>(16, 22));
  });
}

TEST(EncodeExamples, BlockChromaDiffersByOneBetweenBlockAndRemainder) {
  // A 2x2 block whose form A chroma and one-eighth-rounded chroma differ,
  // at the start of an 18-pixel row (vector block) and at its end.
  std::mt19937 rng(7);
  int v[12], sr, sg, sb;
  do {
    for (int& b : v) b = static_cast<int>(rng() & 255);
    sr = v[0] + v[3] + v[6] + v[9], sg = v[1] + v[4] + v[7] + v[10],
    sb = v[2] + v[5] + v[8] + v[11];
  } while (f::FormACb(32 * sr, 32 * sg, 32 * sb) == f::BlockSumCb4(sr, sg, sb));
  const int w = 18;
  std::vector<uint8_t> src(3 * w * 2, 128);
  for (int i = 0; i < 12; ++i) {
    const int at = 3 * w * (i / 6) + i % 6;
    src[at] = src[at + 3 * 16] = static_cast<uint8_t>(v[i]);
  }
  ForEachDispatch([&] {
    std::vector<uint8_t> y(w * 2), cb(w / 2 + 1, 0xEE), cr(w / 2 + 1);
    Kel8u* planes[3] = {y.data(), cb.data(), cr.data()};
    const int steps[3] = {w, w / 2, w / 2};
    ASSERT_EQ(
        keliRGBToYCbCr420_8u_C3P3R(src.data(), 3 * w, planes, steps, {w, 2}),
        kelOk);
    EXPECT_EQ(cb[0], f::FormACb(32 * sr, 32 * sg, 32 * sb));
    EXPECT_EQ(cb[8], f::BlockSumCb4(sr, sg, sb));
    EXPECT_EQ(std::abs(cb[0] - cb[8]), 1);
    EXPECT_EQ(cb[9], 0xEE);
  });
}

TEST(EncodeExamples, PackedWidthFiveEndsWithAHalfPair) {
  auto src = Row(5, 10, 200, 30);
  src[12] = 250, src[13] = 5, src[14] = 90;  // the last pixel differs
  const uint8_t y = f::ExactY(10, 200, 30), y4 = f::ExactY(250, 5, 90);
  const uint8_t cb2 = static_cast<uint8_t>(
      (-9699 * 20 - 19071 * 400 + 28770 * 60 + 16793600) >> 17);
  const uint8_t cr2 = static_cast<uint8_t>(
      (28770 * 20 - 24117 * 400 - 4653 * 60 + 16793600) >> 17);
  const uint8_t half = f::HalfPairCb(250, 5, 90);
  ForEachDispatch([&] {
    std::vector<uint8_t> dst(12, 0xEE);
    ASSERT_EQ(
        keliRGBToYCbCr422_8u_C3C2R(src.data(), 15, dst.data(), 10, {5, 1}),
        kelOk);
    const std::vector<uint8_t> want = {y, cb2, y,  cr2,  y,    cb2,
                                       y, cr2, y4, half, 0xEE, 0xEE};
    EXPECT_EQ(dst, want);
  });
}

// Steps are used as given: a negative step walks the rows upwards, so a
// bottom-up image gives the rows of the top-down one in reverse.
TEST(EncodeExamples, NegativeStepsWalkUpwards) {
  const int w = 37, h = 6;
  auto rng = kel::test::TestRng();
  std::vector<uint8_t> src(3 * w * h), flipped(src.size());
  for (auto& b : src) b = static_cast<uint8_t>(rng());
  for (int y = 0; y < h; ++y)
    std::memcpy(&flipped[3 * w * (h - 1 - y)], &src[3 * w * y], 3 * w);
  ForEachDispatch([&] {
    // Luma and chroma of the top-down and the bottom-up call.
    std::vector<uint8_t> luma[2], chroma[2];
    for (int i = 0; i < 2; ++i) {
      luma[i].resize(w * h), chroma[i].resize(w * h / 2);
      ASSERT_EQ(
          keliRGBToYCbCr420_8u_C3P2R(i ? &flipped[3 * w * (h - 1)] : src.data(),
                                     i ? -3 * w : 3 * w, luma[i].data(), w,
                                     chroma[i].data(), w - 1, {w, h}),
          kelWarnOddSize);
    }
    EXPECT_EQ(luma[0], luma[1]);
    EXPECT_EQ(chroma[0], chroma[1]);
  });
}

}  // namespace
