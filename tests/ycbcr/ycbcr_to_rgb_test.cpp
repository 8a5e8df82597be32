// YCbCr to RGB and BGR: every export against a per-pixel model built from
// the scalar forms, under both sets of implementations.
#include "ycbcr/ycbcr_to_rgb.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kelcc.h"
#include "support/dispatch_modes.h"
#include "support/image.h"
#include "ycbcr/forms.h"

namespace {

using kel::test::GuardedPlane;
using kel::ycbcr::Rgb8;

enum class Src { kPacked444, kAc4, kPlanar444, kPlanar, kSemi, kPacked422 };
enum class Dst { kC3, kC4, kP3, kAc4 };
using Form = Rgb8 (*)(int, int, int);

// Pointers and steps handed to an export. For packed images only entry 0 is
// used; a semi-planar source uses entries 0 (luma) and 1 (chroma pairs).
struct Io {
  const uint8_t* const* src;
  const int* srcStep;
  uint8_t* const* dst;
  int dstStep;
};
using Invoke = std::function<KelResult(const Io&, KelImageSize, uint8_t)>;

// One adapter per signature shape.
Invoke Wrap(KelResult (*f)(const Kel8u*, int, Kel8u*, int, KelImageSize)) {
  return [f](const Io& io, KelImageSize r, uint8_t) {
    return f(io.src[0], io.srcStep[0], io.dst[0], io.dstStep, r);
  };
}
Invoke Wrap(KelResult (*f)(const Kel8u*, int, Kel8u*, int, KelImageSize,
                           Kel8u)) {
  return [f](const Io& io, KelImageSize r, uint8_t a) {
    return f(io.src[0], io.srcStep[0], io.dst[0], io.dstStep, r, a);
  };
}
Invoke Wrap(KelResult (*f)(const Kel8u*, int, Kel8u* const*, int,
                           KelImageSize)) {
  return [f](const Io& io, KelImageSize r, uint8_t) {
    return f(io.src[0], io.srcStep[0], io.dst, io.dstStep, r);
  };
}
Invoke Wrap(KelResult (*f)(const Kel8u* const*, int, Kel8u* const*, int,
                           KelImageSize)) {
  return [f](const Io& io, KelImageSize r, uint8_t) {
    return f(io.src, io.srcStep[0], io.dst, io.dstStep, r);
  };
}
Invoke Wrap(KelResult (*f)(const Kel8u* const*, int, Kel8u*, int,
                           KelImageSize)) {
  return [f](const Io& io, KelImageSize r, uint8_t) {
    return f(io.src, io.srcStep[0], io.dst[0], io.dstStep, r);
  };
}
Invoke Wrap(KelResult (*f)(const Kel8u* const*, int, Kel8u*, int, KelImageSize,
                           Kel8u)) {
  return [f](const Io& io, KelImageSize r, uint8_t a) {
    return f(io.src, io.srcStep[0], io.dst[0], io.dstStep, r, a);
  };
}
Invoke Wrap(KelResult (*f)(const Kel8u* const*, const int*, Kel8u*, int,
                           KelImageSize)) {
  return [f](const Io& io, KelImageSize r, uint8_t) {
    return f(io.src, io.srcStep, io.dst[0], io.dstStep, r);
  };
}
Invoke Wrap(KelResult (*f)(const Kel8u* const*, const int*, Kel8u*, int,
                           KelImageSize, Kel8u)) {
  return [f](const Io& io, KelImageSize r, uint8_t a) {
    return f(io.src, io.srcStep, io.dst[0], io.dstStep, r, a);
  };
}
Invoke Wrap(KelResult (*f)(const Kel8u*, int, const Kel8u*, int, Kel8u*, int,
                           KelImageSize)) {
  return [f](const Io& io, KelImageSize r, uint8_t) {
    return f(io.src[0], io.srcStep[0], io.src[1], io.srcStep[1], io.dst[0],
             io.dstStep, r);
  };
}
Invoke Wrap(KelResult (*f)(const Kel8u*, int, const Kel8u*, int, Kel8u*, int,
                           KelImageSize, Kel8u)) {
  return [f](const Io& io, KelImageSize r, uint8_t a) {
    return f(io.src[0], io.srcStep[0], io.src[1], io.srcStep[1], io.dst[0],
             io.dstStep, r, a);
  };
}

// What a member does, stated plainly for the model.
struct Member {
  std::string name;
  Src src;
  int subX, subY;     // chroma sampling
  const char* order;  // byte order of packed 4:2:2 ("YUYV", "YVYU", "UYVY")
  bool crFirst;       // planar and semi-planar sources: Cr before Cb
  Dst dst;
  bool bgr;
  Form body;
  bool remainder16;  // last (width / 2) mod 8 pairs in the 2^16 form
  bool filtered;     // vertically filtered chroma
  Invoke call;
};

using namespace kel::ycbcr;

#define M(fn, ...) \
  Member { #fn, __VA_ARGS__, Wrap(&fn) }
const std::vector<Member>& Members() {
  static const std::vector<Member> m = {
      M(keliYCbCrToRGB_8u_C3R, Src::kPacked444, 1, 1, "", false, Dst::kC3,
        false, InverseR, false, false),
      M(keliYCbCrToRGB_8u_AC4R, Src::kAc4, 1, 1, "", false, Dst::kAc4, false,
        InverseS, false, false),
      M(keliYCbCrToRGB_8u_P3R, Src::kPlanar444, 1, 1, "", false, Dst::kP3,
        false, InverseP, false, false),
      M(keliYCbCrToRGB_8u_P3C3R, Src::kPlanar444, 1, 1, "", false, Dst::kC3,
        false, InverseR, false, false),
      M(keliYCbCrToRGB_8u_P3C4R, Src::kPlanar444, 1, 1, "", false, Dst::kC4,
        false, InverseQ, false, false),
      M(keliYCbCrToBGR_8u_P3C3R, Src::kPlanar444, 1, 1, "", false, Dst::kC3,
        true, InverseR, false, false),
      M(keliYCbCrToBGR_8u_P3C4R, Src::kPlanar444, 1, 1, "", false, Dst::kC4,
        true, InverseQ, false, false),
      M(keliYCbCr422ToRGB_8u_C2C3R, Src::kPacked422, 2, 1, "YUYV", false,
        Dst::kC3, false, InverseR, false, false),
      M(keliYCbCr422ToRGB_8u_C2C4R, Src::kPacked422, 2, 1, "YUYV", false,
        Dst::kC4, false, InverseR, false, false),
      M(keliYCbCr422ToRGB_8u_C2P3R, Src::kPacked422, 2, 1, "YUYV", false,
        Dst::kP3, false, InverseR, false, false),
      M(keliYCbCr422ToRGB_8u_P3C3R, Src::kPlanar, 2, 1, "", false, Dst::kC3,
        false, InverseR, true, false),
      M(keliYCbCr422ToBGR_8u_C2C3R, Src::kPacked422, 2, 1, "YUYV", false,
        Dst::kC3, true, InverseR, false, false),
      M(keliYCbCr422ToBGR_8u_C2C4R, Src::kPacked422, 2, 1, "YUYV", false,
        Dst::kC4, true, InverseR, false, false),
      M(keliYCbCr422ToBGR_8u_P3C3R, Src::kPlanar, 2, 1, "", false, Dst::kC3,
        true, Inverse16, false, false),
      M(keliYCrCb422ToRGB_8u_C2C3R, Src::kPacked422, 2, 1, "YVYU", false,
        Dst::kC3, false, InverseR, false, false),
      M(keliYCrCb422ToRGB_8u_C2C4R, Src::kPacked422, 2, 1, "YVYU", false,
        Dst::kC4, false, InverseR, false, false),
      M(keliYCrCb422ToRGB_8u_C2P3R, Src::kPacked422, 2, 1, "YVYU", false,
        Dst::kP3, false, InverseR, false, false),
      M(keliYCrCb422ToBGR_8u_C2C3R, Src::kPacked422, 2, 1, "YVYU", false,
        Dst::kC3, true, InverseR, false, false),
      M(keliYCrCb422ToBGR_8u_C2C4R, Src::kPacked422, 2, 1, "YVYU", false,
        Dst::kC4, true, InverseR, false, false),
      M(keliCbYCr422ToRGB_8u_C2C3R, Src::kPacked422, 2, 1, "UYVY", false,
        Dst::kC3, false, InverseR, false, false),
      M(keliCbYCr422ToBGR_8u_C2C4R, Src::kPacked422, 2, 1, "UYVY", false,
        Dst::kC4, true, InverseQ, false, false),
      M(keliYCbCr420ToRGB_8u_P3C3R, Src::kPlanar, 2, 2, "", false, Dst::kC3,
        false, InverseR, true, false),
      M(keliYCbCr420ToRGB_8u_P2C3R, Src::kSemi, 2, 2, "", false, Dst::kC3,
        false, InverseR, true, false),
      M(keliYCbCr420ToRGB_8u_P2C4R, Src::kSemi, 2, 2, "", false, Dst::kC4,
        false, InverseR, true, false),
      M(keliYCbCr420ToBGR_8u_P3C3R, Src::kPlanar, 2, 2, "", false, Dst::kC3,
        true, InverseR, true, false),
      M(keliYCbCr420ToBGR_8u_P3C4R, Src::kPlanar, 2, 2, "", false, Dst::kC4,
        true, InverseRFolded, false, false),
      M(keliYCbCr420ToBGR_8u_P2C3R, Src::kSemi, 2, 2, "", false, Dst::kC3, true,
        InverseR, true, false),
      M(keliYCbCr420ToBGR_8u_P2C4R, Src::kSemi, 2, 2, "", false, Dst::kC4, true,
        InverseR, true, false),
      M(keliYCrCb420ToRGB_8u_P3C4R, Src::kPlanar, 2, 2, "", true, Dst::kC4,
        false, InverseQ, true, false),
      M(keliYCrCb420ToRGB_8u_P2C3R, Src::kSemi, 2, 2, "", true, Dst::kC3, false,
        InverseR, true, false),
      M(keliYCrCb420ToRGB_8u_P2C4R, Src::kSemi, 2, 2, "", true, Dst::kC4, false,
        Inverse16, false, false),
      M(keliYCrCb420ToBGR_8u_P2C3R, Src::kSemi, 2, 2, "", true, Dst::kC3, true,
        InverseR, true, false),
      M(keliYCrCb420ToBGR_8u_P2C4R, Src::kSemi, 2, 2, "", true, Dst::kC4, true,
        Inverse16, false, false),
      M(keliYCrCb420ToBGR_Filter_8u_P3C4R, Src::kPlanar, 2, 2, "", true,
        Dst::kC4, true, InverseR, false, true),
      M(keliYCbCr411ToBGR_8u_P3C3R, Src::kPlanar, 4, 1, "", false, Dst::kC3,
        true, InverseR, false, false),
      M(keliYCbCr411ToBGR_8u_P3C4R, Src::kPlanar, 4, 1, "", false, Dst::kC4,
        true, InverseR, false, false),
  };
  return m;
}
#undef M

// The bytes per row and rows of each source and destination plane.
struct Shape {
  int rowBytes, rows;
};
std::vector<Shape> SrcShapes(const Member& m, int w, int h) {
  const int cw = w / m.subX, ch = h / m.subY;
  switch (m.src) {
    case Src::kPacked444:
      return {{3 * w, h}};
    case Src::kAc4:
      return {{4 * w, h}};
    case Src::kPacked422:
      return {{2 * w, h}};
    case Src::kPlanar444:
      return {{w, h}, {w, h}, {w, h}};
    case Src::kPlanar:
      return {{w, h}, {cw, ch}, {cw, ch}};
    case Src::kSemi:
      return {{w, h}, {2 * cw, ch}};
  }
  return {};
}
std::vector<Shape> DstShapes(const Member& m, int w, int h) {
  switch (m.dst) {
    case Dst::kC3:
      return {{3 * w, h}};
    case Dst::kC4:
    case Dst::kAc4:
      return {{4 * w, h}};
    case Dst::kP3:
      return {{w, h}, {w, h}, {w, h}};
  }
  return {};
}

// Source and destination images of one call, with guards and canaries.
struct Case {
  const Member& m;
  int w, h;
  std::vector<std::unique_ptr<GuardedPlane>> src, dst;
  const uint8_t* srcPtr[3] = {};
  int srcStep[3] = {};
  uint8_t* dstPtr[3] = {};

  Case(const Member& member, int width, int height, std::mt19937& rng)
      : m(member), w(width), h(height) {
    std::uniform_int_distribution<int> slackDist(0, 40), misalignDist(0, 31);
    auto plane = [&](std::vector<std::unique_ptr<GuardedPlane>>& v,
                     int rowBytes, int rows, int slack) {
      v.push_back(std::make_unique<GuardedPlane>(rowBytes, rows, slack,
                                                 misalignDist(rng)));
    };
    // Planes that share one step get the same slack.
    const int srcSlack = slackDist(rng), dstSlack = slackDist(rng);
    for (const Shape& s : SrcShapes(m, w, h))
      plane(src, s.rowBytes, s.rows,
            m.src == Src::kPlanar444 ? srcSlack : slackDist(rng));
    for (const Shape& s : DstShapes(m, w, h))
      plane(dst, s.rowBytes, s.rows, dstSlack);
    for (size_t i = 0; i < src.size(); ++i) {
      src[i]->FillRandom(rng);
      srcPtr[i] = src[i]->data();
      srcStep[i] = src[i]->step();
    }
    for (size_t i = 0; i < dst.size(); ++i) {
      dst[i]->FillRandom(rng);
      dstPtr[i] = dst[i]->data();
    }
  }

  Io io() const { return {srcPtr, srcStep, dstPtr, dst[0]->step()}; }

  // The samples of pixel (x, y) as the model reads them.
  int Chroma(int plane, int x, int y) const {  // plane 1 = Cb, 2 = Cr
    auto at = [&](int i, int cx, int cy) { return int(src[i]->row(cy)[cx]); };
    switch (m.src) {
      case Src::kPacked444:
        return at(0, 3 * x + plane, y);
      case Src::kAc4:
        return at(0, 4 * x + plane, y);
      case Src::kPlanar444:
        return at(plane, x, y);
      case Src::kPacked422: {
        const char want = plane == 1 ? 'U' : 'V';
        const int pos = int(std::string(m.order).find(want));
        return at(0, 4 * (x / 2) + pos, y);
      }
      case Src::kSemi: {
        const bool second = (plane == 2) != m.crFirst;
        return at(1, 2 * (x / 2) + (second ? 1 : 0), y / 2);
      }
      case Src::kPlanar: {
        const int p = m.crFirst ? 3 - plane : plane;
        if (!m.filtered) return at(p, x / m.subX, y / m.subY);
        const int own = y / 2, rows = h / 2;
        const int near =
            (y % 2 == 1) ? std::min(own + 1, rows - 1) : std::max(own - 1, 0);
        return (3 * at(p, x / 2, own) + at(p, x / 2, near) + 2) / 4;
      }
    }
    return 0;
  }
  int Luma(int x, int y) const {
    switch (m.src) {
      case Src::kPacked444:
        return src[0]->row(y)[3 * x];
      case Src::kAc4:
        return src[0]->row(y)[4 * x];
      case Src::kPacked422: {
        const std::string o = m.order;
        const size_t first = o.find('Y'), second = o.find('Y', first + 1);
        return src[0]->row(y)[4 * (x / 2) + (x % 2 ? second : first)];
      }
      default:
        return src[0]->row(y)[x];
    }
  }

  // The destination images the model expects, from the images as they
  // were before the call. Pixels outside whole chroma blocks (an odd last
  // column or row, the last width mod 4 columns of 4:1:1) keep their bytes:
  // they have no chroma sample of their own.
  std::vector<std::vector<uint8_t>> Expected(uint8_t alpha) const {
    std::vector<std::vector<uint8_t>> out;
    for (const auto& d : dst) out.push_back(d->Image());
    const int rows = m.subY == 2 ? h / 2 * 2 : h;
    const int cols = w / m.subX * m.subX;
    const int pairs = w / 2;
    const int bodyEnd = m.remainder16 ? 2 * (pairs - pairs % 8) : cols;
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < cols; ++x) {
        const Form f = x < bodyEnd ? m.body : Inverse16;
        const Rgb8 c = f(Luma(x, y), Chroma(1, x, y), Chroma(2, x, y));
        const uint8_t first = m.bgr ? c.b : c.r, last = m.bgr ? c.r : c.b;
        switch (m.dst) {
          case Dst::kC3: {
            uint8_t* p = &out[0][size_t(y) * 3 * w + 3 * x];
            p[0] = first, p[1] = c.g, p[2] = last;
            break;
          }
          case Dst::kC4:
          case Dst::kAc4: {
            uint8_t* p = &out[0][size_t(y) * 4 * w + 4 * x];
            p[0] = first, p[1] = c.g, p[2] = last;
            if (m.dst == Dst::kC4) p[3] = alpha;
            break;
          }
          case Dst::kP3:
            out[0][size_t(y) * w + x] = c.r;
            out[1][size_t(y) * w + x] = c.g;
            out[2][size_t(y) * w + x] = c.b;
            break;
        }
      }
    }
    return out;
  }

  KelResult ExpectedResult() const {
    if (m.subY == 2 && (w % 2 || h % 2)) return kelWarnOddSize;
    if (m.subX == 4 && w % 4) return kelWarnOddSize;
    return kelOk;
  }
};

// Runs member `m` on a random w x h image in the current mode and checks
// every destination byte, the bytes around them and the result.
void CheckAgainstModel(const Member& m, int w, int h, std::mt19937& rng) {
  Case c(m, w, h, rng);
  const uint8_t alpha = static_cast<uint8_t>(rng());
  const auto expected = c.Expected(alpha);
  std::vector<std::vector<uint8_t>> srcBefore;
  for (const auto& s : c.src) srcBefore.push_back(s->Snapshot());
  const KelResult r = m.call(c.io(), {w, h}, alpha);
  SCOPED_TRACE(m.name + " " + std::to_string(w) + "x" + std::to_string(h));
  EXPECT_EQ(r, c.ExpectedResult());
  for (size_t i = 0; i < c.dst.size(); ++i) {
    const int rowBytes = c.dst[i]->rowBytes();
    EXPECT_TRUE(kel::test::SameBytes(expected[i], c.dst[i]->Image(), rowBytes))
        << "destination plane " << i;
    EXPECT_TRUE(c.dst[i]->CanaryIntactOutside(rowBytes, h));
  }
  for (size_t i = 0; i < c.src.size(); ++i)
    EXPECT_TRUE(c.src[i]->Unchanged(srcBefore[i])) << "source plane " << i;
}

#if defined(__SANITIZE_ADDRESS__)
constexpr int kWidthStride = 3;
#else
constexpr int kWidthStride = 1;
#endif

TEST(YCbCrToRgb, EveryMemberMatchesTheModelAtSmallSizes) {
  auto rng = kel::test::TestRng();
  for (const Member& m : Members()) {
    kel::test::ForEachDispatch([&] {
      for (int w = 1; w <= 70; w += kWidthStride)
        for (int h = 1; h <= 5; ++h) {
          CheckAgainstModel(m, w, h, rng);
          if (HasFailure()) return;
        }
    });
  }
}

TEST(YCbCrToRgb, EveryMemberMatchesTheModelAtLargerSizes) {
  auto rng = kel::test::TestRng();
  const std::pair<int, int> sizes[] = {{100, 6},  {127, 7}, {128, 8},
                                       {129, 9},  {143, 4}, {161, 3},
                                       {200, 11}, {255, 2}, {333, 5}};
  for (const Member& m : Members()) {
    kel::test::ForEachDispatch([&] {
      for (auto [w, h] : sizes) {
        CheckAgainstModel(m, w, h, rng);
        if (HasFailure()) return;
      }
    });
  }
}

// ---- Worked examples ----------------------------------------------------

// Runs `m` on w x h images whose every pixel is (y, cb, cr) and returns the
// first destination image (all planes side by side for planar output).
struct Flat {
  std::vector<uint8_t> out;
  KelResult result;
};
Flat RunFlat(const Member& m, int w, int h, int y, int cb, int cr,
             uint8_t alpha, const std::vector<int>& lumaColumns = {}) {
  std::mt19937 rng(7);
  Case c(m, w, h, rng);
  // Write the samples through the layout: every byte that the model reads
  // as luma gets y, chroma bytes get cb or cr.
  auto set = [&](int i, int x, int row, int v) {
    c.src[i]->row(row)[x] = static_cast<uint8_t>(v);
  };
  for (int row = 0; row < h; ++row) {
    for (int x = 0; x < w; ++x) {
      const int yv = lumaColumns.empty() ? y : lumaColumns[x];
      switch (m.src) {
        case Src::kPacked444:
          set(0, 3 * x, row, yv), set(0, 3 * x + 1, row, cb),
              set(0, 3 * x + 2, row, cr);
          break;
        case Src::kAc4:
          set(0, 4 * x, row, yv), set(0, 4 * x + 1, row, cb),
              set(0, 4 * x + 2, row, cr);
          break;
        case Src::kPacked422: {
          const std::string o = m.order;
          const size_t y0 = o.find('Y');
          set(0, 4 * (x / 2) + int(x % 2 ? o.find('Y', y0 + 1) : y0), row, yv);
          set(0, 4 * (x / 2) + int(o.find('U')), row, cb);
          set(0, 4 * (x / 2) + int(o.find('V')), row, cr);
          break;
        }
        default:
          set(0, x, row, yv);
          break;
      }
    }
  }
  if (m.src == Src::kPlanar444 || m.src == Src::kPlanar) {
    c.src[1]->Fill(static_cast<uint8_t>(m.crFirst ? cr : cb));
    c.src[2]->Fill(static_cast<uint8_t>(m.crFirst ? cb : cr));
  } else if (m.src == Src::kSemi) {
    for (int row = 0; row < c.src[1]->rows(); ++row)
      for (int x = 0; x + 1 < c.src[1]->rowBytes(); x += 2) {
        set(1, x, row, m.crFirst ? cr : cb);
        set(1, x + 1, row, m.crFirst ? cb : cr);
      }
  }
  Flat f;
  f.result = m.call(c.io(), {w, h}, alpha);
  for (const auto& d : c.dst) {
    const auto img = d->Image();
    f.out.insert(f.out.end(), img.begin(), img.end());
  }
  return f;
}

int BytesPerPixel(const Member& m) {
  return m.dst == Dst::kC3 ? 3 : m.dst == Dst::kP3 ? 1 : 4;
}

TEST(YCbCrToRgb, BlackAndWhiteClampInEveryMember) {
  for (const Member& m : Members()) {
    SCOPED_TRACE(m.name);
    kel::test::ForEachDispatch([&] {
      for (int y : {0, 255}) {
        const Flat f = RunFlat(m, 48, 2, y, 128, 128, 0x80);
        for (size_t i = 0; i < f.out.size(); ++i) {
          if (BytesPerPixel(m) == 4 && i % 4 == 3) continue;
          ASSERT_EQ(f.out[i], y) << "byte " << i;
        }
      }
    });
  }
}

TEST(YCbCrToRgb, StudioRangeBlockEndsGiveFullRangeEnds) {
  // A 2x2 block with Y=16 on the left and Y=235 on the right; repeated
  // along the row so that it lands in vector blocks and in the remainder.
  for (const Member& m : Members()) {
    if (m.subY != 2) continue;
    SCOPED_TRACE(m.name);
    kel::test::ForEachDispatch([&] {
      for (int w : {2, 14, 48}) {
        std::vector<int> cols(w);
        for (int x = 0; x < w; ++x) cols[x] = x % 2 ? 235 : 16;
        const Flat f = RunFlat(m, w, 2, 0, 128, 128, 0x80, cols);
        const int bpp = BytesPerPixel(m);
        for (int row = 0; row < 2; ++row)
          for (int x = 0; x < w; ++x)
            for (int k = 0; k < 3; ++k)
              ASSERT_EQ(f.out[size_t(row) * w * bpp + x * bpp + k],
                        x % 2 ? 255 : 0)
                  << "width " << w << " pixel " << x << "," << row;
      }
    });
  }
}

TEST(YCbCrToRgb, AlphaValueFillsEveryFourthByte) {
  for (const Member& m : Members()) {
    if (m.dst != Dst::kC4) continue;
    SCOPED_TRACE(m.name);
    kel::test::ForEachDispatch([&] {
      for (int w : {4, 36, 68}) {
        const Flat f = RunFlat(m, w, 4, 100, 90, 200, 0x80);
        for (size_t i = 3; i < f.out.size(); i += 4) ASSERT_EQ(f.out[i], 0x80);
      }
    });
  }
}

const Member& Named(const std::string& name) {
  for (const Member& m : Members())
    if (m.name == name) return m;
  ADD_FAILURE() << "no member " << name;
  return Members()[0];
}

TEST(YCbCrToRgb, HeightOneIn420WithAlphaWritesNothing) {
  for (const char* name :
       {"keliYCbCr420ToBGR_8u_P3C4R", "keliYCrCb420ToRGB_8u_P3C4R",
        "keliYCrCb420ToBGR_Filter_8u_P3C4R", "keliYCbCr420ToRGB_8u_P2C4R"}) {
    SCOPED_TRACE(name);
    kel::test::ForEachDispatch([&] {
      std::mt19937 rng(3);
      Case c(Named(name), 40, 1, rng);
      const auto before = c.dst[0]->Snapshot();
      EXPECT_EQ(c.m.call(c.io(), {40, 1}, 0x80), kelWarnOddSize);
      EXPECT_TRUE(c.dst[0]->Unchanged(before));
    });
  }
}

TEST(YCbCrToRgb, Width3In420ConvertsTwoColumns) {
  kel::test::ForEachDispatch([&] {
    const Flat f =
        RunFlat(Named("keliYCbCr420ToBGR_8u_P3C3R"), 3, 2, 235, 128, 128, 0);
    EXPECT_EQ(f.result, kelWarnOddSize);
    std::mt19937 rng(7);  // the untouched third column keeps its bytes
    Case untouched(Named("keliYCbCr420ToBGR_8u_P3C3R"), 3, 2, rng);
    const auto img = untouched.dst[0]->Image();
    for (int row = 0; row < 2; ++row) {
      for (int i = 0; i < 6; ++i) EXPECT_EQ(f.out[row * 9 + i], 255);
      for (int i = 6; i < 9; ++i)
        EXPECT_EQ(f.out[row * 9 + i], img[row * 9 + i]);
    }
  });
}

// ---- Choices of this library ---------------------------------------------

// The filtered member: each luma row takes 3/4 of its chroma row and 1/4 of
// the nearer neighbour; the outermost rows use their own row twice.
TEST(YCbCrToRgb, FilteredChromaInterpolatesBetweenChromaRows) {
  const Member& m = Named("keliYCrCb420ToBGR_Filter_8u_P3C4R");
  kel::test::ForEachDispatch([&] {
    for (int w : {2, 40}) {
      std::mt19937 rng(5);
      Case c(m, w, 6, rng);
      c.src[0]->Fill(126);
      c.src[1]->Fill(128);  // Cr
      const uint8_t cbRows[3] = {128, 160, 96};
      for (int r = 0; r < 3; ++r)
        std::fill(c.src[2]->row(r), c.src[2]->row(r) + w / 2, cbRows[r]);
      ASSERT_EQ(m.call(c.io(), {w, 6}, 0), kelOk);
      // Cb seen by luma rows 0..5, worked out by hand.
      const int cbSeen[6] = {128, 136, 152, 144, 112, 96};
      for (int row = 0; row < 6; ++row) {
        const Rgb8 e = InverseR(126, cbSeen[row], 128);
        for (int x = 0; x < w; ++x) {
          const uint8_t* p = c.dst[0]->row(row) + 4 * x;
          ASSERT_EQ(p[0], e.b) << "row " << row;
          ASSERT_EQ(p[1], e.g) << "row " << row;
          ASSERT_EQ(p[2], e.r) << "row " << row;
        }
      }
    }
  });
}

// The AC4 destination keeps its own fourth byte.
TEST(YCbCrToRgb, Ac4KeepsTheDestinationAlpha) {
  const Member& m = Named("keliYCbCrToRGB_8u_AC4R");
  kel::test::ForEachDispatch([&] {
    std::mt19937 rng(9);
    Case c(m, 37, 3, rng);
    const auto before = c.dst[0]->Image();
    ASSERT_EQ(m.call(c.io(), {37, 3}, 0), kelOk);
    const auto after = c.dst[0]->Image();
    for (size_t i = 3; i < after.size(); i += 4) ASSERT_EQ(after[i], before[i]);
  });
}

// Planes allocated to the exact byte, so that the sanitizer builds catch
// any read or write past a plane; both implementations give the same bytes.
TEST(YCbCrToRgb, AccessesStayInsideExactPlanes) {
  std::mt19937 rng = kel::test::TestRng();
  const bool initial = kel::frame::UsingAvx2();
  for (const Member& m : Members()) {
    for (int w : {1, 2, 3, 4, 5, 15, 16, 17, 31, 32, 33, 34, 63, 64, 65}) {
      for (int h : {1, 2, 3}) {
        SCOPED_TRACE(m.name + " " + std::to_string(w) + "x" +
                     std::to_string(h));
        const auto srcShapes = SrcShapes(m, w, h);
        const auto dstShapes = DstShapes(m, w, h);
        std::vector<std::vector<uint8_t>> src, dst[2];
        const uint8_t* sp[3] = {};
        int steps[3] = {};
        for (size_t i = 0; i < srcShapes.size(); ++i) {
          const Shape s = srcShapes[i];
          // Planes that share a step get the luma plane's.
          steps[i] = m.src == Src::kPlanar444 ? w : s.rowBytes;
          src.emplace_back(std::max(1, s.rowBytes * s.rows));
          for (auto& b : src.back()) b = static_cast<uint8_t>(rng());
          sp[i] = src.back().data();
        }
        for (int mode = 0; mode < 2; ++mode) {
          if (mode == 1 && !kel::frame::CpuHasAvx2()) break;
          kel::frame::SelectImplementations(mode == 1);
          uint8_t* dp[3] = {};
          for (size_t i = 0; i < dstShapes.size(); ++i) {
            const Shape s = dstShapes[i];
            dst[mode].emplace_back(std::max(1, s.rowBytes * s.rows), 0x5A);
            dp[i] = dst[mode].back().data();
          }
          const Io io{sp, steps, dp, dstShapes[0].rowBytes};
          m.call(io, {w, h}, 0x33);
        }
        kel::frame::SelectImplementations(initial);
        if (kel::frame::CpuHasAvx2()) {
          for (size_t i = 0; i < dstShapes.size(); ++i)
            ASSERT_EQ(dst[0][i], dst[1][i]) << "plane " << i;
        }
      }
    }
  }
}

// ---- Argument checks ------------------------------------------------------

// Every pointer a member takes, in the order the checks meet them: the
// top-level ones (checked before the size), then the plane pointers.
struct PointerSlots {
  std::vector<std::function<void(Io&, const uint8_t**, uint8_t**)>> top, planes;
};
PointerSlots SlotsOf(const Member& m) {
  PointerSlots s;
  const bool planarSrc = m.src == Src::kPlanar444 || m.src == Src::kPlanar;
  if (planarSrc) {
    s.top.push_back(
        [](Io& io, const uint8_t**, uint8_t**) { io.src = nullptr; });
    if (m.src == Src::kPlanar)
      s.top.push_back(
          [](Io& io, const uint8_t**, uint8_t**) { io.srcStep = nullptr; });
    for (int i = 0; i < 3; ++i)
      s.planes.push_back(
          [i](Io&, const uint8_t** sp, uint8_t**) { sp[i] = nullptr; });
  } else {
    const int n = m.src == Src::kSemi ? 2 : 1;
    for (int i = 0; i < n; ++i)
      s.top.push_back(
          [i](Io&, const uint8_t** sp, uint8_t**) { sp[i] = nullptr; });
  }
  if (m.dst == Dst::kP3) {
    s.top.push_back(
        [](Io& io, const uint8_t**, uint8_t**) { io.dst = nullptr; });
    for (int i = 0; i < 3; ++i)
      s.planes.push_back(
          [i](Io&, const uint8_t**, uint8_t** dp) { dp[i] = nullptr; });
  } else {
    s.top.push_back(
        [](Io&, const uint8_t**, uint8_t** dp) { dp[0] = nullptr; });
  }
  return s;
}

TEST(YCbCrToRgb, ArgumentChecksComeInOrderAndWriteNothing) {
  for (const Member& m : Members()) {
    SCOPED_TRACE(m.name);
    kel::test::ForEachDispatch([&] {
      std::mt19937 rng(11);
      Case c(m, 8, 4, rng);
      std::vector<std::vector<uint8_t>> before;
      for (const auto& d : c.dst) before.push_back(d->Snapshot());
      const PointerSlots slots = SlotsOf(m);
      auto run = [&](KelImageSize roi, auto&& spoil) {
        const uint8_t* sp[3] = {c.srcPtr[0], c.srcPtr[1], c.srcPtr[2]};
        uint8_t* dp[3] = {c.dstPtr[0], c.dstPtr[1], c.dstPtr[2]};
        Io io{sp, c.srcStep, dp, c.dst[0]->step()};
        spoil(io, sp, dp);
        return m.call(io, roi, 0x80);
      };
      auto none = [](Io&, const uint8_t**, uint8_t**) {};
      const KelImageSize bad[] = {{0, 4}, {8, 0}, {-1, 4}, {8, -3}};
      for (const KelImageSize roi : bad) EXPECT_EQ(run(roi, none), kelErrSize);
      for (const auto& spoil : slots.top) {
        EXPECT_EQ(run({8, 4}, spoil), kelErrNullPtr);
        EXPECT_EQ(run({0, 0}, spoil), kelErrNullPtr);  // before the size
      }
      for (const auto& spoil : slots.planes) {
        EXPECT_EQ(run({8, 4}, spoil), kelErrNullPtr);
        EXPECT_EQ(run({0, 4}, spoil), kelErrSize);  // after the size
      }
      for (size_t i = 0; i < c.dst.size(); ++i)
        EXPECT_TRUE(c.dst[i]->Unchanged(before[i]));
    });
  }
}

// Steps are used as given, negative ones included: a bottom-up walk of the
// same image gives the same rows upside down.
TEST(YCbCrToRgb, NegativeStepsWalkUpwards) {
  const Member& m = Named("keliYCbCr420ToRGB_8u_P2C3R");
  kel::test::ForEachDispatch([&] {
    std::mt19937 rng(13);
    Case c(m, 64, 4, rng);
    std::vector<uint8_t> down(64 * 3 * 4), up(64 * 3 * 4);
    uint8_t* d0 = down.data();
    Io io{c.srcPtr, c.srcStep, &d0, 64 * 3};
    ASSERT_EQ(m.call(io, {64, 4}, 0), kelOk);
    // Luma rows and chroma rows both reversed: pairs (3,2) and (1,0) share
    // chroma rows 1 and 0.
    const uint8_t* s[2] = {c.src[0]->row(3), c.src[1]->row(1)};
    const int st[2] = {-c.srcStep[0], -c.srcStep[1]};
    uint8_t* d1 = up.data() + 3 * 64 * 3;
    Io rev{s, st, &d1, -64 * 3};
    ASSERT_EQ(m.call(rev, {64, 4}, 0), kelOk);
    // Row pair (3, 2) uses chroma row 1, as (2, 3) does going down.
    EXPECT_TRUE(kel::test::SameBytes(down, up, 64 * 3));
  });
}

}  // namespace
