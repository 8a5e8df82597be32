// YCbCr to RGB and BGR: every export against a per-pixel model built from
// the scalar forms (padded, misaligned, guarded, bottom-up and exact-size
// planes), under both sets of implementations.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "kelcc.h"
#include "support/dispatch_modes.h"
#include "support/image.h"
#include "ycbcr/forms.h"

namespace {

using kel::test::GuardedPlane;
using namespace kel::ycbcr;

enum class Src { kPacked444, kAc4, kPlanar, kSemi, kPacked422 };
enum class Dst { kC3, kC4, kP3, kAc4 };
using Form = Rgb8 (*)(int, int, int);

// Any export called with pointer and step arrays; a semi-planar source uses
// entries 0 (luma) and 1 (chroma pairs).
using Invoke =
    std::function<KelResult(const uint8_t* const*, const int*, uint8_t* const*,
                            int, KelImageSize, uint8_t)>;

// Entry 0 where the export takes one pointer or step, else the array.
template <class P, class A>
P Arg(A arr) {
  if constexpr (std::is_convertible_v<A, P>)
    return arr;
  else
    return arr[0];
}

template <size_t I, class... A>
using Nth = std::tuple_element_t<I, std::tuple<A...>>;

// One adapter for every signature shape; a Kel8u parameter is the alpha.
template <class... A>
Invoke Wrap(KelResult (*f)(A...)) {
  return [f](const uint8_t* const* s, const int* ss, uint8_t* const* d, int ds,
             KelImageSize r, uint8_t a) {
    auto tail = [&](auto... head) {
      if constexpr ((std::is_same_v<A, Kel8u> || ...))
        return f(head..., r, a);
      else
        return f(head..., r);
    };
    if constexpr (std::is_same_v<Nth<2, A...>, const Kel8u*>)
      return tail(s[0], ss[0], s[1], ss[1], Arg<Nth<4, A...>>(d), ds);
    else
      return tail(Arg<Nth<0, A...>>(s), Arg<Nth<1, A...>>(ss),
                  Arg<Nth<2, A...>>(d), ds);
  };
}

// What a member does, for the model: layout, sampling and order come from
// the name; the form and the 2^16 remainder (last (width / 2) mod 8 pairs)
// are given per member.
struct Member {
  std::string name;
  Form body;
  bool remainder16;
  Invoke call;
  Src src = Src::kPlanar;
  int subX = 1, subY = 1;
  std::string order = "";  // packed 4:2:2 byte order
  bool crFirst = false, bgr = false, filtered = false;
  Dst dst = Dst::kP3;
  bool OneStep() const { return src == Src::kPlanar && subX == 1; }
};

Member Describe(std::string name, Invoke call, Form body = InverseR,
                bool remainder16 = false) {
  Member m{name, body, remainder16, std::move(call)};
  const std::string from = name.substr(0, name.find("To"));
  const std::string layout = name.substr(name.find("_8u_") + 4);
  if (from.find("422") != std::string::npos) m.subX = 2;
  if (from.find("420") != std::string::npos) m.subX = m.subY = 2;
  if (from.find("411") != std::string::npos) m.subX = 4;
  m.crFirst = from.starts_with("YCrCb");
  m.order = m.crFirst ? "YVYU" : from.starts_with("CbYCr") ? "UYVY" : "YUYV";
  m.src = layout == "C3R"            ? Src::kPacked444
          : layout == "AC4R"         ? Src::kAc4
          : layout.starts_with("C2") ? Src::kPacked422
          : layout.starts_with("P2") ? Src::kSemi
                                     : Src::kPlanar;
  m.dst = layout == "AC4R"          ? Dst::kAc4
          : layout.ends_with("C3R") ? Dst::kC3
          : layout.ends_with("C4R") ? Dst::kC4
                                    : Dst::kP3;
  m.bgr = name.find("ToBGR") != std::string::npos;
  m.filtered = name.find("_Filter") != std::string::npos;
  return m;
}

// Forms P, Q, R, S, folded R (F) and 2^16 (W); form R and no 2^16
// remainder unless given.
#define M(fn, ...) Describe(#fn, Wrap(&keli##fn) __VA_OPT__(, ) __VA_ARGS__)
const std::vector<Member>& Members() {
  const Form P = InverseP, Q = InverseQ, R = InverseR, S = InverseS,
             F = InverseRFolded, W = Inverse16;
  // clang-format off
  static const std::vector<Member> m = {
      M(YCbCrToRGB_8u_C3R),               M(YCbCrToRGB_8u_AC4R, S),
      M(YCbCrToRGB_8u_P3R, P),            M(YCbCrToRGB_8u_P3C3R),
      M(YCbCrToRGB_8u_P3C4R, Q),          M(YCbCrToBGR_8u_P3C3R),
      M(YCbCrToBGR_8u_P3C4R, Q),          M(YCbCr422ToRGB_8u_C2C3R),
      M(YCbCr422ToRGB_8u_C2C4R),          M(YCbCr422ToRGB_8u_C2P3R),
      M(YCbCr422ToRGB_8u_P3C3R, R, true), M(YCbCr422ToBGR_8u_C2C3R),
      M(YCbCr422ToBGR_8u_C2C4R),          M(YCbCr422ToBGR_8u_P3C3R, W),
      M(YCrCb422ToRGB_8u_C2C3R),          M(YCrCb422ToRGB_8u_C2C4R),
      M(YCrCb422ToRGB_8u_C2P3R),          M(YCrCb422ToBGR_8u_C2C3R),
      M(YCrCb422ToBGR_8u_C2C4R),          M(CbYCr422ToRGB_8u_C2C3R),
      M(CbYCr422ToBGR_8u_C2C4R, Q),       M(YCbCr420ToRGB_8u_P3C3R, R, true),
      M(YCbCr420ToRGB_8u_P2C3R, R, true), M(YCbCr420ToRGB_8u_P2C4R, R, true),
      M(YCbCr420ToBGR_8u_P3C3R, R, true), M(YCbCr420ToBGR_8u_P3C4R, F),
      M(YCbCr420ToBGR_8u_P2C3R, R, true), M(YCbCr420ToBGR_8u_P2C4R, R, true),
      M(YCrCb420ToRGB_8u_P3C4R, Q, true), M(YCrCb420ToRGB_8u_P2C3R, R, true),
      M(YCrCb420ToRGB_8u_P2C4R, W),       M(YCrCb420ToBGR_8u_P2C3R, R, true),
      M(YCrCb420ToBGR_8u_P2C4R, W),       M(YCrCb420ToBGR_Filter_8u_P3C4R),
      M(YCbCr411ToBGR_8u_P3C3R),          M(YCbCr411ToBGR_8u_P3C4R)};
  // clang-format on
  return m;
}
#undef M

// The bytes per row and rows of each source and destination plane.
struct Shape {
  int rowBytes, rows;
};
std::vector<Shape> SrcShapes(const Member& m, int w, int h) {
  const int cw = w / m.subX, ch = h / m.subY;
  if (m.src == Src::kPlanar) return {{w, h}, {cw, ch}, {cw, ch}};
  if (m.src == Src::kSemi) return {{w, h}, {2 * cw, ch}};
  return {{(m.src == Src::kPacked444 ? 3 : m.src == Src::kAc4 ? 4 : 2) * w, h}};
}
std::vector<Shape> DstShapes(const Member& m, int w, int h) {
  if (m.dst == Dst::kP3) return {{w, h}, {w, h}, {w, h}};
  return {{(m.dst == Dst::kC3 ? 3 : 4) * w, h}};
}

// Source and destination images of one call, with guards and canaries;
// and the same planes allocated to the exact byte, in which sanitizer builds
// catch any read or write past a plane (the guards only see writes).
struct Case {
  const Member& m;
  int w, h;
  std::vector<std::unique_ptr<GuardedPlane>> src, dst;
  const uint8_t* srcPtr[3] = {};
  int srcStep[3] = {};
  uint8_t* dstPtr[3] = {};
  int dstStep = 0;
  std::vector<std::vector<uint8_t>> exact;
  const uint8_t* exactSrc[3] = {};
  int exactStep[3] = {};
  uint8_t* exactDst[3] = {};
  bool flip;  // bottom-up: the first row last, negative steps

  Case(const Member& member, int width, int height, std::mt19937& rng,
       bool bottomUp = false)
      : m(member), w(width), h(height), flip(bottomUp) {
    // Planes that share one step get the same slack.
    std::uniform_int_distribution<int> slack(0, 40), misalign(0, 31);
    const int srcSlack = slack(rng), dstSlack = slack(rng);
    auto add = [&](auto& v, const Shape& s, int rowSlack) {
      v.push_back(std::make_unique<GuardedPlane>(s.rowBytes, s.rows, rowSlack,
                                                 misalign(rng)));
      v.back()->FillRandom(rng);
      exact.emplace_back(std::max(1, s.rowBytes * s.rows));
      return v.size() - 1;
    };
    for (const Shape& s : SrcShapes(m, w, h)) {
      const size_t i = add(src, s, m.OneStep() ? srcSlack : slack(rng));
      srcPtr[i] = Row(i, 0), srcStep[i] = (flip ? -1 : 1) * src[i]->step();
      exactSrc[i] = exact.back().data(), exactStep[i] = s.rowBytes;
    }
    for (const Shape& s : DstShapes(m, w, h)) {
      const size_t i = add(dst, s, dstSlack);
      dstPtr[i] = dst[i]->row(flip ? h - 1 : 0);
      dstStep = (flip ? -1 : 1) * dst[i]->step();
      exactDst[i] = exact.back().data();
    }
  }
  // Row y of source plane i as the call sees it.
  const uint8_t* Row(size_t i, int y) const {
    return src[i]->row(flip ? src[i]->rows() - 1 - y : y);
  }

  // Sample k (0 = Y, 1 = Cb, 2 = Cr) of pixel (x, y) as stored.
  int Sample(int k, int x, int y) const {
    const std::string& o = m.order;
    if (m.src == Src::kPacked444 || m.src == Src::kAc4)
      return Row(0, y)[(m.src == Src::kAc4 ? 4 : 3) * x + k];
    if (m.src == Src::kPacked422) {  // a pair's second Y is the order's second
      const size_t at =
          k ? o.find("UV"[k - 1]) : o.find('Y', x % 2 ? o.find('Y') + 1 : 0);
      return Row(0, y)[4 * (x / 2) + at];
    }
    if (k == 0) return Row(0, y)[x];
    if (m.src == Src::kSemi)
      return Row(1, y / 2)[2 * (x / 2) + ((k == 2) != m.crFirst)];
    return Row(m.crFirst ? 3 - k : k, y / m.subY)[x / m.subX];
  }
  int Chroma(int k, int x, int y) const {
    if (!m.filtered) return Sample(k, x, y);
    // 3/4 of the own chroma row, 1/4 of the nearer one (or the own again).
    const int near = std::clamp(y / 2 + (y % 2 ? 1 : -1), 0, h / 2 - 1);
    return (3 * Sample(k, x, y) + Sample(k, x, 2 * near) + 2) / 4;
  }

  // The destinations the model expects. Pixels outside whole chroma blocks
  // (odd last column or row, last width mod 4 columns of 4:1:1) keep their
  // bytes.
  std::vector<std::vector<uint8_t>> Expected(uint8_t alpha) const {
    std::vector<std::vector<uint8_t>> out;
    for (const auto& d : dst) out.push_back(d->Image());
    const int rows = h / m.subY * m.subY, cols = w / m.subX * m.subX;
    const int bodyEnd = m.remainder16 ? w / 2 / 8 * 16 : cols;
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < cols; ++x) {
        const Form f = x < bodyEnd ? m.body : Inverse16;
        const Rgb8 c = f(Sample(0, x, y), Chroma(1, x, y), Chroma(2, x, y));
        const uint8_t rgb[3] = {c.r, c.g, c.b};
        const size_t at = size_t(flip ? h - 1 - y : y) * w + x;
        if (m.dst == Dst::kP3) {
          for (int k = 0; k < 3; ++k) out[k][at] = rgb[k];
        } else {
          uint8_t* p = &out[0][at * (m.dst == Dst::kC3 ? 3 : 4)];
          for (int k = 0; k < 3; ++k) p[k] = rgb[m.bgr ? 2 - k : k];
          if (m.dst == Dst::kC4) p[3] = alpha;
        }
      }
    }
    return out;
  }
};

TEST(YCbCrToRgb, EveryMemberMatchesTheModel) {
  auto rng = kel::test::TestRng();
  // Every width around the 16- and 32-pixel blocks, odd and even heights,
  // and a few wide images with long bodies; every third width bottom-up.
  std::vector<std::pair<int, int>> sizes = {{129, 4}, {161, 3}, {333, 5}};
  for (int w = 1; w <= 70; ++w)
    for (int h = 1; h <= 4; ++h) sizes.push_back({w, h});
  for (const Member& m : Members()) {
    kel::test::ForEachDispatch([&] {
      for (auto [w, h] : sizes) {
        SCOPED_TRACE(m.name + " " + std::to_string(w) + "x" +
                     std::to_string(h));
        Case c(m, w, h, rng, w % 3 == 0 && h > 1);
        const uint8_t alpha = static_cast<uint8_t>(rng());
        const auto expected = c.Expected(alpha);
        const bool odd =
            (m.subY == 2 && (w % 2 || h % 2)) || (m.subX == 4 && w % 4);
        EXPECT_EQ(
            m.call(c.srcPtr, c.srcStep, c.dstPtr, c.dstStep, {w, h}, alpha),
            odd ? kelWarnOddSize : kelOk);
        for (size_t i = 0; i < c.dst.size(); ++i) {
          const int bytes = c.dst[i]->rowBytes();
          EXPECT_TRUE(
              kel::test::SameBytes(expected[i], c.dst[i]->Image(), bytes))
              << "destination " << i;
          EXPECT_TRUE(c.dst[i]->CanaryIntactOutside(bytes, h));
        }
        m.call(c.exactSrc, c.exactStep, c.exactDst, c.dst[0]->rowBytes(),
               {w, h}, alpha);
        if (HasFailure()) return;
      }
    });
  }
}

// Null pointers before the size, plane pointers inside arrays after it;
// nothing is written on any error. Pointers are named "S", "T", "D" (the
// source, step and destination arrays) or "s1", "d2" (one plane).
TEST(YCbCrToRgb, ArgumentChecksComeInOrderAndWriteNothing) {
  for (const Member& m : Members()) {
    SCOPED_TRACE(m.name);
    const bool planar = m.src == Src::kPlanar, p3 = m.dst == Dst::kP3;
    std::vector<std::string> spoils = {planar ? "S" : "s0", p3 ? "D" : "d0"};
    if (planar && !m.OneStep()) spoils.push_back("T");
    if (m.src == Src::kSemi) spoils.push_back("s1");
    for (const char* i : {"0", "1", "2"}) {
      if (planar) spoils.push_back(std::string("s") + i);
      if (p3) spoils.push_back(std::string("d") + i);
    }
    kel::test::ForEachDispatch([&] {
      std::mt19937 rng(11);
      Case c(m, 8, 4, rng);
      std::vector<std::vector<uint8_t>> before;
      for (const auto& d : c.dst) before.push_back(d->Snapshot());
      auto run = [&](KelImageSize roi, const std::string& spoil = "") {
        const uint8_t* sp[3] = {c.srcPtr[0], c.srcPtr[1], c.srcPtr[2]};
        uint8_t* dp[3] = {c.dstPtr[0], c.dstPtr[1], c.dstPtr[2]};
        if (spoil[0] == 's') sp[spoil[1] - '0'] = nullptr;
        if (spoil[0] == 'd') dp[spoil[1] - '0'] = nullptr;
        return m.call(spoil == "S" ? nullptr : sp,
                      spoil == "T" ? nullptr : c.srcStep,
                      spoil == "D" ? nullptr : dp, c.dstStep, roi, 0x80);
      };
      const KelImageSize bad[] = {{0, 4}, {8, 0}, {-1, 4}, {8, -3}};
      for (const KelImageSize roi : bad) EXPECT_EQ(run(roi), kelErrSize);
      for (const auto& spoil : spoils) {
        const bool inArray = spoil[0] == 's' ? planar : spoil[0] == 'd' && p3;
        EXPECT_EQ(run({8, 4}, spoil), kelErrNullPtr) << spoil;
        EXPECT_EQ(run({0, 4}, spoil), inArray ? kelErrSize : kelErrNullPtr)
            << spoil << " vs size";
      }
      for (size_t i = 0; i < c.dst.size(); ++i)
        EXPECT_TRUE(c.dst[i]->Unchanged(before[i]));
    });
  }
}

}  // namespace
