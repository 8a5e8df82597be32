// RGB and BGR to YCbCr through the public calls: every export against a
// reference built from the per-pixel forms (padded, misaligned, guarded and
// bottom-up planes) in both dispatch modes; worked examples; checks.
#include <gtest/gtest.h>

#include <algorithm>
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

// Source and destination planes of a w x h call, guarded, with random
// bytes, misalignment and slack; planes that share a step share the slack.
struct Io {
  Planes src, dst;
};
// The planes of a w x h call, sources first: add(source, row bytes, rows,
// shares the first plane's step) for each.
template <class Add>
void EachPlane(const Export& e, int w, int h, Add add) {
  const int cw = e.sampling == 444 ? w : e.sampling == 411 ? w / 4 : w / 2;
  const int ch = e.sampling == 420 ? h / 2 : h;
  const bool sharedOut = e.out == Out::kP3Shared;
  for (int i = 0; i < (e.src == Src::kP3 ? 3 : 1); ++i)
    add(true, SrcBytes(e.src) * w, h, true);
  add(false, OutBytes(e.out) * w, h, sharedOut);
  if (sharedOut || e.out == Out::kP3)
    for (int i = 0; i < 2; ++i) add(false, cw, ch, sharedOut);
  if (e.out == Out::kP2) add(false, w & ~1, h / 2, false);
}

Io MakeIo(const Export& e, int w, int h, std::mt19937& rng) {
  std::uniform_int_distribution<int> slack(0, 40), mis(0, 63);
  const int shared = slack(rng);
  Io io;
  EachPlane(e, w, h, [&](bool source, int bytes, int rows, bool sharedStep) {
    Planes& p = source ? io.src : io.dst;
    p.push_back(std::make_unique<GuardedPlane>(
        bytes, rows, sharedStep ? shared : slack(rng), mis(rng)));
    p.back()->FillRandom(rng);
  });
  return io;
}

// Calls e on the planes, the source bottom-up if `flip`; `spoil` names one
// pointer to pass as null: "S", "D", "T" the source, destination and step
// arrays, "s1" or "d0" one plane.
KelResult Call(const Export& e, const Planes& src, Planes& dst,
               KelImageSize roi, const std::string& spoil = "",
               bool flip = false) {
  const Kel8u* s[3] = {};
  Kel8u* d[3] = {};
  int steps[3] = {};
  for (size_t i = 0; i < src.size(); ++i)
    s[i] = flip ? src[i]->row(roi.height - 1) : src[i]->data();
  for (size_t i = 0; i < dst.size(); ++i)
    d[i] = dst[i]->data(), steps[i] = dst[i]->step();
  if (spoil[0] == 's') s[spoil[1] - '0'] = nullptr;
  if (spoil[0] == 'd') d[spoil[1] - '0'] = nullptr;
  return e.call(spoil == "S" ? nullptr : s, (flip ? -1 : 1) * src[0]->step(),
                spoil == "D" ? nullptr : d, spoil == "T" ? nullptr : steps,
                roi);
}

// ---- Reference -------------------------------------------------------------

const int kCoef[2][3] = {{-9699, -19071, 28770}, {28770, -24117, -4653}};

struct Px {
  int r, g, b;
};

// Pixel (x, y) as the call sees it, rows counted upwards if `flip`.
Px PixelAt(const Export& e, const Planes& src, int x, int y, bool flip) {
  if (flip) y = src[0]->rows() - 1 - y;
  if (e.src == Src::kP3)
    return {src[0]->row(y)[x], src[1]->row(y)[x], src[2]->row(y)[x]};
  const uint8_t* p = src[0]->row(y) + SrcBytes(e.src) * x;
  return e.bgr ? Px{p[2], p[1], p[0]} : Px{p[0], p[1], p[2]};
}

// What the destination planes should hold after the call: their previous
// contents with the encoded samples written in.
std::vector<std::vector<uint8_t>> Expected(const Export& e, const Planes& src,
                                           const Planes& dst, int w, int h,
                                           bool flip) {
  std::vector<std::vector<uint8_t>> out;
  for (const auto& d : dst) out.push_back(d->Image());
  auto at = [&](int plane, int x, int y) -> uint8_t& {
    return out[plane][static_cast<size_t>(y) * dst[plane]->rowBytes() + x];
  };
  const int n = OutBytes(e.out);
  auto putY = [&](int x, int y, uint8_t v) {
    at(0, n * x + (e.out == Out::kC2 && e.c2[0] != 'Y'), y) = v;
  };
  // Where Cb (i = 0) or Cr (i = 1) of chroma block (cx, cy) goes.
  auto chromaAt = [&](int i, int cx, int cy) -> uint8_t& {
    const int c2At = static_cast<int>(std::string(e.c2).find("UV"[i]));
    if (e.out == Out::kC2) return at(0, 4 * cx + c2At, cy);
    if (e.out == Out::kP2) return at(1, 2 * cx + i, cy);
    if (n > 2) return at(0, n * cx + 1 + i, cy);  // packed 4:4:4
    return at(1 + (i != e.crFirst), cx, cy);
  };
  const int nv = w / 16 * 16;  // pixels of a row in vector blocks
  auto luma = [&](const Px& p, bool vec) {
    if (!vec) return f::ExactY(p.r, p.g, p.b);
    return e.formB ? f::FormBY(p.r, p.g, p.b) : f::FormAY(p.r, p.g, p.b);
  };
  const int bw = e.sampling == 444 ? 1 : e.sampling == 411 ? 4 : 2;
  const int bh = e.sampling == 420 ? 2 : 1;
  for (int by = 0; by + bh <= h; by += bh) {
    for (int bx = 0; bx + bw <= w; bx += bw) {
      const bool vec = bx < nv;
      int sr = 0, sg = 0, sb = 0;
      for (int y = by; y < by + bh; ++y) {
        for (int x = bx; x < bx + bw; ++x) {
          const Px p = PixelAt(e, src, x, y, flip);
          putY(x, y, luma(p, vec));
          sr += p.r, sg += p.g, sb += p.b;
        }
      }
      // Chroma: exact per pixel or form B in 4:4:4 where they apply, else
      // form A on 128 / k times the sum of k pixels in vector blocks and
      // one-eighth rounding in the remainder.
      const int k = bw * bh, q = 128 / k, shift = 16 + k / 2;
      for (int i = 0; i < 2; ++i) {
        const int* m = kCoef[i];
        uint8_t& c = chromaAt(i, bx / bw, by / bh);
        if (e.sampling == 444 && !vec)
          c = i ? f::ExactCr(sr, sg, sb) : f::ExactCb(sr, sg, sb);
        else if (e.formB)
          c = f::FormBChroma(sr, sg, sb, m[0], m[1], m[2]);
        else if (vec)
          c = f::FormAChroma(q * sr, q * sg, q * sb, m[0], m[1], m[2]);
        else
          c = static_cast<uint8_t>(
              (m[0] * sr + m[1] * sg + m[2] * sb + (1025 << (shift - 3))) >>
              shift);
      }
      if (e.out == Out::kAC4 && vec) at(0, 4 * bx + 3, by) = 0;
    }
    // The odd last column of 4:2:2: luma, and a half pair in packed rows.
    if (e.sampling == 422 && w % 2 == 1) {
      const Px p = PixelAt(e, src, w - 1, by, flip);
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
    auto [src, dst] = MakeIo(e, w, h, rng);
    const bool flip = w % 3 == 0;  // a negative source step
    const auto expected = Expected(e, src, dst, w, h, flip);
    ASSERT_EQ(Call(e, src, dst, {w, h}, "", flip), ExpectedResult(e, {w, h}));
    for (size_t i = 0; i < dst.size(); ++i) {
      const int bytes = dst[i]->rowBytes();
      EXPECT_TRUE(kel::test::SameBytes(expected[i], dst[i]->Image(), bytes))
          << "plane " << i;
      EXPECT_TRUE(dst[i]->CanaryIntactOutside(bytes, dst[i]->rows()));
    }
    // Again on planes allocated to the exact byte, so that the sanitizer
    // builds see any read or write past a plane (guards only see writes).
    std::vector<std::vector<uint8_t>> planes;
    const Kel8u* s[3] = {};
    Kel8u* d[3] = {};
    int steps[3] = {}, ns = 0, nd = 0;
    EachPlane(e, w, h, [&](bool source, int bytes, int rows, bool) {
      uint8_t* p = planes.emplace_back(std::max(1, bytes * rows)).data();
      if (source) {
        s[ns++] = p;
      } else {
        steps[nd] = bytes, d[nd++] = p;
      }
    });
    EXPECT_EQ(e.call(s, SrcBytes(e.src) * w, d, steps, {w, h}),
              ExpectedResult(e, {w, h}));
  };
  ForEachDispatch([&] {
    for (int h = 1; h <= 5; ++h)
      for (int w = 1; w <= 70; ++w) check(w, h);
    for (int w : {127, 128, 129, 301}) check(w, 6);
  });
}

// Black and white give luma 16 and 235 and chroma 128, in the vector blocks
// and the remainder, wherever each layout puts its samples.
TEST_P(EncodeTest, BlackAndWhiteGiveTheRangeEnds) {
  const Export& e = GetParam();
  auto rng = kel::test::TestRng();
  const size_t n = OutBytes(e.out), yAt = n == 2 && e.c2[0] != 'Y';
  for (const uint8_t v : {0, 255}) {
    ForEachDispatch([&] {
      auto [src, dst] = MakeIo(e, 40, 4, rng);
      for (auto& s : src) s->Fill(v);
      ASSERT_EQ(Call(e, src, dst, {40, 4}), 0);
      for (size_t i = 0; i < dst.size(); ++i) {
        const auto img = dst[i]->Image();
        for (size_t k = 0; k < img.size(); ++k) {
          if (n == 4 && k % 4 == 3) continue;  // the fourth byte
          ASSERT_EQ(img[k], i == 0 && k % n == yAt ? (v ? 235 : 16) : 128)
              << "plane " << i << " byte " << k;
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
  auto [src, dst] = MakeIo(e, 8, 4, rng);
  std::vector<std::vector<uint8_t>> before;
  for (auto& d : dst) before.push_back(d->Snapshot());
  // Pointers checked before the size, then plane pointers in arrays, named
  // as for Call().
  const bool pIn = e.src == Src::kP3, pOut = dst.size() == 3;
  std::vector<std::string> top = {pIn ? "S" : "s0", pOut ? "D" : "d0"}, planes;
  if (e.out == Out::kP2) top.push_back("d1");
  if (e.out == Out::kP3) top.push_back("T");
  for (const char* i : {"0", "1", "2"}) {
    if (pIn) planes.push_back(std::string("s") + i);
    if (pOut) planes.push_back(std::string("d") + i);
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

TEST(EncodeExamples, LumaOf0_1_51DependsOnThePlaceInTheRow) {
  ForEachDispatch([] {
    // Pixels 0..15 are a vector block (form A: 21), pixel 16 the remainder
    // (exact form: 22).
    std::vector<uint8_t> src, dst(3 * 17);
    for (int x = 0; x < 17; ++x) src.insert(src.end(), {0, 1, 51});
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

// Worked out from the equations: Y 122.3, Cb 81.7, Cr 56.7 for (10, 200,
// 30); Y 91.5 and Cb 129.02 for (250, 5, 90), the half pair that ends the
// row. Chroma takes one-eighth rounding in the remainder.
TEST(EncodeExamples, PackedWidthFiveEndsWithAHalfPair) {
  const std::vector<uint8_t> src = {10, 200, 30,  10, 200, 30, 10, 200,
                                    30, 10,  200, 30, 250, 5,  90};
  ForEachDispatch([&] {
    std::vector<uint8_t> dst(12, 0xEE);
    ASSERT_EQ(
        keliRGBToYCbCr422_8u_C3C2R(src.data(), 15, dst.data(), 10, {5, 1}),
        kelOk);
    EXPECT_EQ(dst, std::vector<uint8_t>({122, 81, 122, 56, 122, 81, 122, 56, 92,
                                         129, 0xEE, 0xEE}));
  });
}

}  // namespace
