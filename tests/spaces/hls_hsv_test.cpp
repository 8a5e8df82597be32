// HLS and HSV: every export against a per-pixel model that follows the
// documented steps branch by branch (independent of the library's
// select-based lane forms), over every 8-bit triple in the row body and in
// the row tail, and on random and extreme 16-bit and float pixels in every
// layout, under both sets of implementations.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "frame/dispatch.h"
#include "kelcc.h"
#include "support/dispatch_modes.h"
#include "support/image.h"

namespace {

using kel::test::ForEachDispatch;
using kel::test::GuardedPlane;

// ---- The model ----------------------------------------------------------

enum class Op { kToHls, kFromHls, kToHsv, kFromHsv };
enum class Ty { k8u, k16u, k16s, k32f };

struct Scale {
  float fs, half, twice, hueScale;
};
Scale ScaleOf(Ty t) {
  if (t == Ty::k8u) return {255.0f, 127.5f, 510.0f, 0.70833331f};
  return {65535.0f, 32767.5f, 131070.0f, 182.04167f};
}

float Newton(float x) {
  const float r = 1.0f / x;
  return 2.0f * r - x * r * r;
}

// Clamped to [0, fs], then truncated or rounded in the current mode.
float Trunc(float v, float fs) { return std::trunc(std::clamp(v, 0.0f, fs)); }
float Round(float v, float fs) {
  return std::nearbyint(std::clamp(v, 0.0f, fs));
}

struct Px {
  float c[3];
};

// Integer members see their samples in 0..FS (16s offset by 32768).
Px ToHls(Ty t, Px in, bool exactSat) {
  const float R = in.c[0], G = in.c[1], B = in.c[2];
  const float M = std::max(std::max(R, G), B), m = std::min(std::min(R, G), B);
  const float lf = (M + m) * 0.5f;
  if (t == Ty::k32f) {
    if (M - m <= 1.1920929e-7f) return {{0.0f, lf, 0.0f}};
    const float D = lf <= 0.5f ? M + m : 2.0f - (M + m);
    float h;
    if (R == M)
      h = (G - B) * 60.0f / (M - m);
    else if (G == M)
      h = (B - R) * 60.0f / (M - m) + 120.0f;
    else
      h = (R - G) * 60.0f / (M - m) + 240.0f;
    if (h < 0.0f) h += 360.0f;
    return {{h / 360.0f, lf, (M - m) / D}};
  }
  const Scale k = ScaleOf(t);
  const float L = std::trunc(lf);
  if (M - m == 0.0f) return {{0.0f, L, 0.0f}};
  const float D = lf <= k.half ? M + m : k.twice - (M + m);
  const float S =
      Trunc((M - m) * (exactSat ? 1.0f / D : Newton(D)) * k.fs, k.fs);
  const float q = Newton(M - m);
  float h;
  if (R == M)
    h = (G - B) * 60.0f * q;
  else if (G == M)
    h = (B - R) * 60.0f * q + 120.0f;
  else
    h = (R - G) * 60.0f * q + 240.0f;
  if (h < 0.0f) h += 360.0f;
  return {{Trunc(h * k.hueScale, k.fs), L, S}};
}

Px FromHls(Ty t, Px in, bool body) {
  const bool fused = t == Ty::k8u || t == Ty::k32f;
  float h, l, s;
  if (t == Ty::k32f) {
    h = 360.0f * in.c[0], l = in.c[1], s = in.c[2];
  } else if (t == Ty::k8u && body) {
    h = in.c[0] * 1.4117647f, l = in.c[1] * 0.003921569f,
    s = in.c[2] * 0.003921569f;
  } else if (t == Ty::k8u) {
    h = (360.0f * in.c[0]) / 255.0f, l = in.c[1] / 255.0f, s = in.c[2] / 255.0f;
  } else {
    h = in.c[0] * 0.005493248f, l = in.c[1] * 1.5259022e-5f,
    s = in.c[2] * 1.5259022e-5f;
  }
  if (s == 0.0f) {
    const float v = t == Ty::k8u ? Trunc(255.0f * l, 255.0f) : in.c[1];
    return {{v, v, v}};
  }
  float m2;
  if (l <= 0.5f)
    m2 = fused ? std::fma(l, s, l) : l + l * s;
  else
    m2 = fused ? std::fma(-s, l, l + s) : l + s - l * s;
  const float m1 = fused ? std::fma(l, 2.0f, -m2) : l + l - m2;
  auto value = [&](float x) {
    float v;
    if (x < 60.0f)
      v = fused ? m1 + (m2 - m1) * x / 60.0f
                : (x * 0.016666668f) * (m2 - m1) + m1;
    else if (x < 180.0f)
      v = m2;
    else if (x < 240.0f)
      v = fused ? m1 + (m2 - m1) * (240.0f - x) / 60.0f
                : ((240.0f - x) * 0.016666668f) * (m2 - m1) + m1;
    else
      v = m1;
    if (t == Ty::k32f) return v;
    if (t == Ty::k8u) return Trunc(255.0f * v, 255.0f);
    return Round(v * 65535.0f, 65535.0f);
  };
  float hr = h + 120.0f, hb = h - 120.0f;
  if (hr > 360.0f) hr -= 360.0f;
  if (hb < 0.0f) hb += 360.0f;
  return {{value(hr), value(h), value(hb)}};
}

Px ToHsv(Ty t, Px in) {
  const float R = in.c[0], G = in.c[1], B = in.c[2];
  const float V = std::max(std::max(R, G), B), m = std::min(std::min(R, G), B);
  const float d = V - m;
  if (V == 0.0f || d == 0.0f) return {{0.0f, 0.0f, V}};
  if (t == Ty::k16u) {
    const float S = Trunc(std::fma(65535.0f, d / V, 0.5f), 65535.0f);
    const float k = 1.0f / d;
    const float cR = (V - R) * k, cG = (V - G) * k, cB = (V - B) * k;
    float h;
    if (B == V)
      h = (4.0f - cR) + cG;
    else if (G == V)
      h = (2.0f + cR) - cB;
    else
      h = cB - cG;
    if (h + 1.1920929e-7f < 0.0f) h += 6.0f;
    return {{Trunc((65535.0f * h) / 6.0f + 0.5f, 65535.0f), S, V}};
  }
  const float S = Round((1.0f / V) * d * 255.0f, 255.0f);
  const float r = 1.0f / d;
  float h = 0.0f;
  if (R == V) h = (V - B) * r - (V - G) * r;
  if (G == V) h = ((V - R) * r - (V - B) * r) + 2.0f;
  if (B == V) h = ((V - G) * r - (V - R) * r) + 4.0f;
  const float hp = h * 42.5f;
  return {{Round(hp < 0.0f ? hp + 255.0f : hp, 255.0f), S, V}};
}

Px FromHsv(Ty t, Px in, bool body) {
  const float fs = t == Ty::k8u ? 255.0f : 65535.0f;
  const float hk = t == Ty::k8u ? 1.4117647f : 0.005493248f;
  const float sk = t == Ty::k8u ? 0.003921569f : 1.5259022e-5f;
  const float H = in.c[0], S = in.c[1], V = in.c[2];
  if (S == 0.0f) return {{V, V, V}};
  const float hp = H < fs ? H * 0.016666668f : 0.0f;
  const float hs = hp * hk;
  const float i = std::trunc(hs);
  const float vs = V * (S * sk);
  float f, p, q, tt;
  if (body) {
    f = std::fma(hp, hk, -i);
    p = std::fma(-V, S * sk, V);
    q = std::fma(-f, vs, V);
    tt = std::fma(f, vs, p);
  } else {
    f = hs - i, p = V - vs, q = V - f * vs, tt = p + f * vs;
  }
  p = Round(p, fs), q = Round(q, fs), tt = Round(tt, fs);
  switch (static_cast<int>(i)) {
    case 0:
      return {{V, tt, p}};
    case 1:
      return {{q, V, p}};
    case 2:
      return {{p, V, tt}};
    case 3:
      return {{p, q, V}};
    case 4:
      return {{tt, p, V}};
    case 5:
      return {{V, p, q}};
    default:
      return {{0.0f, 0.0f, 0.0f}};
  }
}

// ---- Members ------------------------------------------------------------

// A layout side: interleaved channels or planes; alpha is the fourth.
struct Side {
  int n;
  bool planar;
};
constexpr Side kC3{3, false}, kC4{4, false}, kP3{3, true}, kP4{4, true};

// A call of any member on plane pointers and one step per side.
using Call = std::function<KelResult(const void* const*, int, void* const*, int,
                                     KelImageSize)>;

template <class S, class D>
Call Wrap(KelResult (*f)(S, int, D, int, KelImageSize)) {
  return [f](const void* const* s, int ss, void* const* d, int ds,
             KelImageSize r) {
    S src;
    D dst;
    if constexpr (std::is_pointer_v<std::remove_pointer_t<S>>)
      src = reinterpret_cast<S>(s);
    else
      src = static_cast<S>(s[0]);
    if constexpr (std::is_pointer_v<std::remove_pointer_t<D>>)
      dst = reinterpret_cast<D>(d);
    else
      dst = static_cast<D>(d[0]);
    return f(src, ss, dst, ds, r);
  };
}

struct Member {
  const char* name;
  Call call;
  Op op;
  Ty ty;
  Side src, dst;
  bool bgr = false;
  bool stepsFirst = false;  // steps before size (BGR planar members)
  bool stepsChecked = false;
};

int Bytes(Ty t) { return t == Ty::k8u ? 1 : t == Ty::k32f ? 4 : 2; }

#define M_(fn, ...) \
  Member { #fn, Wrap(&fn), __VA_ARGS__ }
const std::vector<Member>& Members() {
  using O = Op;
  using T = Ty;
  static const std::vector<Member> m = {
      M_(keliRGBToHLS_8u_C3R, O::kToHls, T::k8u, kC3, kC3),
      M_(keliRGBToHLS_8u_AC4R, O::kToHls, T::k8u, kC4, kC4),
      M_(keliRGBToHLS_16u_C3R, O::kToHls, T::k16u, kC3, kC3),
      M_(keliRGBToHLS_16u_AC4R, O::kToHls, T::k16u, kC4, kC4),
      M_(keliRGBToHLS_16s_C3R, O::kToHls, T::k16s, kC3, kC3),
      M_(keliRGBToHLS_16s_AC4R, O::kToHls, T::k16s, kC4, kC4),
      M_(keliRGBToHLS_32f_C3R, O::kToHls, T::k32f, kC3, kC3),
      M_(keliRGBToHLS_32f_AC4R, O::kToHls, T::k32f, kC4, kC4),
      M_(keliHLSToRGB_8u_C3R, O::kFromHls, T::k8u, kC3, kC3),
      M_(keliHLSToRGB_8u_AC4R, O::kFromHls, T::k8u, kC4, kC4),
      M_(keliHLSToRGB_16u_C3R, O::kFromHls, T::k16u, kC3, kC3),
      M_(keliHLSToRGB_16u_AC4R, O::kFromHls, T::k16u, kC4, kC4),
      M_(keliHLSToRGB_16s_C3R, O::kFromHls, T::k16s, kC3, kC3),
      M_(keliHLSToRGB_16s_AC4R, O::kFromHls, T::k16s, kC4, kC4),
      M_(keliHLSToRGB_32f_C3R, O::kFromHls, T::k32f, kC3, kC3),
      M_(keliHLSToRGB_32f_AC4R, O::kFromHls, T::k32f, kC4, kC4),
      M_(keliBGRToHLS_8u_AC4R, O::kToHls, T::k8u, kC4, kC4, true, false, true),
      M_(keliBGRToHLS_8u_C3P3R, O::kToHls, T::k8u, kC3, kP3, true, true, true),
      M_(keliBGRToHLS_8u_P3C3R, O::kToHls, T::k8u, kP3, kC3, true, true, true),
      M_(keliBGRToHLS_8u_P3R, O::kToHls, T::k8u, kP3, kP3, true, true, true),
      M_(keliBGRToHLS_8u_AC4P4R, O::kToHls, T::k8u, kC4, kP4, true, true, true),
      M_(keliBGRToHLS_8u_AP4C4R, O::kToHls, T::k8u, kP4, kC4, true, true, true),
      M_(keliBGRToHLS_8u_AP4R, O::kToHls, T::k8u, kP4, kP4, true, true, true),
      M_(keliHLSToBGR_8u_C3P3R, O::kFromHls, T::k8u, kC3, kP3, true, true,
         true),
      M_(keliHLSToBGR_8u_P3C3R, O::kFromHls, T::k8u, kP3, kC3, true, true,
         true),
      M_(keliHLSToBGR_8u_P3R, O::kFromHls, T::k8u, kP3, kP3, true, true, true),
      M_(keliHLSToBGR_8u_AC4P4R, O::kFromHls, T::k8u, kC4, kP4, true, true,
         true),
      M_(keliHLSToBGR_8u_AP4C4R, O::kFromHls, T::k8u, kP4, kC4, true, true,
         true),
      M_(keliHLSToBGR_8u_AP4R, O::kFromHls, T::k8u, kP4, kP4, true, true, true),
      M_(keliRGBToHSV_8u_C3R, O::kToHsv, T::k8u, kC3, kC3),
      M_(keliRGBToHSV_8u_AC4R, O::kToHsv, T::k8u, kC4, kC4),
      M_(keliRGBToHSV_16u_C3R, O::kToHsv, T::k16u, kC3, kC3),
      M_(keliRGBToHSV_16u_AC4R, O::kToHsv, T::k16u, kC4, kC4),
      M_(keliHSVToRGB_8u_C3R, O::kFromHsv, T::k8u, kC3, kC3),
      M_(keliHSVToRGB_8u_AC4R, O::kFromHsv, T::k8u, kC4, kC4),
      M_(keliHSVToRGB_16u_C3R, O::kFromHsv, T::k16u, kC3, kC3),
      M_(keliHSVToRGB_16u_AC4R, O::kFromHsv, T::k16u, kC4, kC4),
  };
  return m;
}
#undef M_

// The model's pixel for a member, on samples in the member's own encoding.
Px Model(const Member& m, Px in, bool body) {
  const bool colourIn = m.op == Op::kToHls || m.op == Op::kToHsv;
  const float off = m.ty == Ty::k16s ? 32768.0f : 0.0f;
  if (m.bgr && colourIn) std::swap(in.c[0], in.c[2]);
  for (float& v : in.c) v += off;
  Px out;
  switch (m.op) {
    case Op::kToHls:
      out = ToHls(m.ty, in, m.bgr && body);
      break;
    case Op::kFromHls:
      out = FromHls(m.ty, in, body);
      break;
    case Op::kToHsv:
      out = ToHsv(m.ty, in);
      break;
    case Op::kFromHsv:
      out = FromHsv(m.ty, in, body);
      break;
  }
  for (float& v : out.c) v -= off;
  if (m.bgr && !colourIn) std::swap(out.c[0], out.c[2]);
  return out;
}

// ---- Images -------------------------------------------------------------

// One side of a call: its planes (one for interleaved) and the element
// access by pixel and channel.
struct Image {
  Side side;
  Ty ty;
  int w, h;
  std::vector<GuardedPlane> planes;

  Image(Side s, Ty t, int width, int height, int slack, int misalign)
      : side(s), ty(t), w(width), h(height) {
    const int per = s.planar ? 1 : s.n;
    for (int i = 0; i < (s.planar ? s.n : 1); ++i)
      planes.emplace_back(width * per * Bytes(t), height, slack * Bytes(t),
                          misalign * Bytes(t));
  }
  int step() const { return planes[0].step(); }
  uint8_t* At(int x, int y, int c) {
    GuardedPlane& p = planes[side.planar ? c : 0];
    return p.row(y) + (side.planar ? x : x * side.n + c) * Bytes(ty);
  }
  float Get(int x, int y, int c) {
    const uint8_t* p = At(x, y, c);
    switch (ty) {
      case Ty::k8u:
        return *p;
      case Ty::k16u: {
        uint16_t v;
        std::memcpy(&v, p, 2);
        return v;
      }
      case Ty::k16s: {
        int16_t v;
        std::memcpy(&v, p, 2);
        return v;
      }
      default: {
        float v;
        std::memcpy(&v, p, 4);
        return v;
      }
    }
  }
  void Set(int x, int y, int c, float f) {
    uint8_t* p = At(x, y, c);
    switch (ty) {
      case Ty::k8u:
        *p = static_cast<uint8_t>(f);
        break;
      case Ty::k16u: {
        const auto v = static_cast<uint16_t>(f);
        std::memcpy(p, &v, 2);
        break;
      }
      case Ty::k16s: {
        const auto v = static_cast<int16_t>(f);
        std::memcpy(p, &v, 2);
        break;
      }
      default:
        std::memcpy(p, &f, 4);
    }
  }
  std::vector<const void*> Src() const {
    std::vector<const void*> v;
    for (const auto& p : planes) v.push_back(p.data());
    return v;
  }
  std::vector<void*> Dst() {
    std::vector<void*> v;
    for (auto& p : planes) v.push_back(p.data());
    return v;
  }
  std::vector<std::vector<uint8_t>> Snap() const {
    std::vector<std::vector<uint8_t>> s;
    for (const auto& p : planes) s.push_back(p.Snapshot());
    return s;
  }
};

// A random sample: the extremes and mid codes often, else uniform.
float RandomSample(Ty t, std::mt19937& rng) {
  std::uniform_int_distribution<int> pick(0, 9);
  const int k = pick(rng);
  switch (t) {
    case Ty::k8u:
      return k == 0 ? 0 : k == 1 ? 255 : static_cast<float>(rng() & 255);
    case Ty::k16u:
      return k == 0 ? 0 : k == 1 ? 65535 : static_cast<float>(rng() & 0xFFFF);
    case Ty::k16s:
      return k == 0 ? -32768
             : k == 1
                 ? 32767
                 : static_cast<float>(static_cast<int16_t>(rng() & 0xFFFF));
    default:
      return k == 0   ? 0.0f
             : k == 1 ? 1.0f
                      : std::uniform_real_distribution<float>(0.0f, 1.0f)(rng);
  }
}

bool SameSample(Ty t, float a, float b) {
  if (t != Ty::k32f) return a == b;
  return std::memcmp(&a, &b, 4) == 0;
}

// ---- Tests ----------------------------------------------------------------

// Every member at widths 1..70 and a few long rows, several heights, padded
// and misaligned rows: each pixel against the model (body forms for the
// first 4 * floor(width / 4) pixels), nothing written outside the region,
// the alpha of AC4 destinations untouched and alpha planes carried over.
TEST(HlsHsv, EveryMemberAgainstTheModel) {
  std::mt19937 rng = kel::test::TestRng();
  std::vector<int> widths;
  for (int w = 1; w <= 70; ++w) widths.push_back(w);
  for (int w : {255, 256, 257, 300, 515, 1027}) widths.push_back(w);
  ForEachDispatch([&] {
    for (const Member& m : Members()) {
      SCOPED_TRACE(m.name);
      for (int w : widths) {
        const int h = 1 + static_cast<int>(rng() % 3);
        Image src(m.src, m.ty, w, h, static_cast<int>(rng() % 5),
                  static_cast<int>(rng() % 3));
        Image dst(m.dst, m.ty, w, h, static_cast<int>(rng() % 5),
                  static_cast<int>(rng() % 3));
        for (int y = 0; y < h; ++y)
          for (int x = 0; x < w; ++x)
            for (int c = 0; c < m.src.n; ++c)
              src.Set(x, y, c, RandomSample(m.ty, rng));
        // The destination's alpha, to be kept by AC4 destinations.
        std::vector<uint32_t> oldAlpha(static_cast<size_t>(w) * h);
        for (int y = 0; y < h && m.dst.n == 4; ++y)
          for (int x = 0; x < w; ++x) {
            dst.Set(x, y, 3, RandomSample(m.ty, rng));
            std::memcpy(&oldAlpha[y * w + x], dst.At(x, y, 3), Bytes(m.ty));
          }
        const KelImageSize roi{w, h};
        // Both sides of the planar members share one step.
        ASSERT_EQ(m.call(src.Src().data(), src.step(), dst.Dst().data(),
                         dst.step(), roi),
                  kelOk);
        for (int y = 0; y < h; ++y) {
          for (int x = 0; x < w; ++x) {
            const bool body = x < (w & ~3);
            const Px in{{src.Get(x, y, 0), src.Get(x, y, 1), src.Get(x, y, 2)}};
            const Px want = Model(m, in, body);
            for (int c = 0; c < 3; ++c)
              ASSERT_TRUE(SameSample(m.ty, dst.Get(x, y, c), want.c[c]))
                  << "pixel " << x << "," << y << " channel " << c << " of "
                  << w << "x" << h << ": got " << dst.Get(x, y, c) << ", want "
                  << want.c[c];
          }
        }
        const bool alpha =
            m.src.n == 4 && m.dst.n == 4 && (m.src.planar || m.dst.planar);
        for (size_t i = 0; i < dst.planes.size(); ++i)
          EXPECT_TRUE(dst.planes[i].CanaryIntactOutside(
              (m.dst.planar ? w : w * m.dst.n) * Bytes(m.ty), h));
        for (int y = 0; y < h && m.dst.n == 4; ++y)
          for (int x = 0; x < w; ++x)
            ASSERT_EQ(
                std::memcmp(dst.At(x, y, 3),
                            alpha ? static_cast<const void*>(src.At(x, y, 3))
                                  : &oldAlpha[y * w + x],
                            Bytes(m.ty)),
                0)
                << "alpha of pixel " << x << "," << y;
        if (::testing::Test::HasFailure()) return;
      }
    }
  });
}

// Sanitizer builds take every 17th first sample; the others all 256.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kFirstStep = 17;
#else
constexpr int kFirstStep = 1;
#endif

const Member& Find(const std::string& name) {
  for (const Member& m : Members())
    if (name == m.name) return m;
  ADD_FAILURE() << "no member " << name;
  return Members()[0];
}

// Every 8-bit triple through the 8u members whose source is interleaved:
// once in rows of 4096 pixels (all body) and once in rows of 3 (all tail),
// under both sets of implementations, against the model. Where the body and
// tail forms differ, the sweep also shows that they do differ for some
// triples (so each is seen where it belongs).
TEST(HlsHsv, Every8BitTripleInBodyAndTail) {
  for (const char* name : {"keliRGBToHLS_8u_C3R", "keliHLSToRGB_8u_C3R",
                           "keliRGBToHSV_8u_C3R", "keliHSVToRGB_8u_C3R",
                           "keliBGRToHLS_8u_C3P3R", "keliHLSToBGR_8u_C3P3R"}) {
    const Member& m = Find(name);
    SCOPED_TRACE(name);
    long formsDiffer = 0;
    for (int a = 0; a < 256; a += kFirstStep) {
      // Row layouts: 16 rows of 4096, or 21846 rows of 3 (two pad pixels).
      for (int w : {4096, 3}) {
        const int h = (65536 + w - 1) / w;
        Image src(m.src, m.ty, w, h, 0, 0), got(m.dst, m.ty, w, h, 0, 0);
        for (int i = 0; i < w * h; ++i)
          for (int c = 0; c < 3; ++c)
            src.Set(i % w, i / w, c,
                    c == 0   ? a
                    : c == 1 ? (i >> 8) & 255
                             : i & 255);
        ForEachDispatch([&] {
          ASSERT_EQ(m.call(src.Src().data(), src.step(), got.Dst().data(),
                           got.step(), {w, h}),
                    kelOk);
          for (int i = 0; i < 65536; ++i) {
            const int x = i % w, y = i / w;
            const Px in{{src.Get(x, y, 0), src.Get(x, y, 1), src.Get(x, y, 2)}};
            const Px want = Model(m, in, w == 4096);
            for (int c = 0; c < 3; ++c)
              ASSERT_EQ(got.Get(x, y, c), want.c[c])
                  << "triple " << in.c[0] << "," << in.c[1] << "," << in.c[2]
                  << (w == 4096 ? " in the body" : " in the tail");
            if (w == 3) {
              const Px other = Model(m, in, true);
              formsDiffer += other.c[0] != want.c[0] ||
                             other.c[1] != want.c[1] || other.c[2] != want.c[2];
            }
          }
        });
        if (::testing::Test::HasFailure()) return;
      }
    }
    const bool twoForms = m.op == Op::kFromHls || m.op == Op::kFromHsv ||
                          (m.op == Op::kToHls && m.bgr);
    // (Sanitizer builds sample too few triples to meet a difference.)
    if (!twoForms) {
      EXPECT_EQ(formsDiffer, 0);
    } else if (kFirstStep == 1) {
      EXPECT_GT(formsDiffer, 0) << "body and tail forms never differ";
    }
  }
}

// The worked examples of the two families.
TEST(HlsHsv, WorkedExamples) {
  auto one = [](auto fn, auto px) {
    decltype(px) out{};
    EXPECT_EQ(fn(px.data(), 8, out.data(), 8, KelImageSize{1, 1}), kelOk);
    return out;
  };
  using P8 = std::array<Kel8u, 3>;
  using P16 = std::array<Kel16u, 3>;
  ForEachDispatch([&] {
    EXPECT_EQ(one(keliRGBToHLS_8u_C3R, P8{77, 77, 77}), (P8{0, 77, 0}));
    const P8 red = one(keliRGBToHLS_8u_C3R, P8{255, 0, 0});
    EXPECT_EQ(red[0], 0);
    EXPECT_EQ(red[1], 127);
    EXPECT_EQ(one(keliRGBToHLS_8u_C3R, P8{0, 0, 255})[0], 170);
    EXPECT_EQ(one(keliRGBToHLS_8u_C3R, P8{255, 0, 1})[0], 254);
    const auto gray16s =
        one(keliRGBToHLS_16s_C3R, std::array<Kel16s, 3>{5, 5, 5});
    EXPECT_EQ(gray16s[0], -32768);
    EXPECT_EQ(gray16s[2], -32768);
    EXPECT_EQ(one(keliHLSToRGB_16u_C3R, P16{12345, 40000, 0}),
              (P16{40000, 40000, 40000}));
    EXPECT_EQ(one(keliRGBToHSV_8u_C3R, P8{0, 0, 0}), (P8{0, 0, 0}));
    EXPECT_EQ(one(keliRGBToHSV_8u_C3R, P8{9, 9, 9}), (P8{0, 0, 9}));
    EXPECT_EQ(one(keliRGBToHSV_16u_C3R, P16{0, 0, 65535})[0], 43690);
    // Full-scale hue reads back as hue 0 (sector 0: V first).
    EXPECT_EQ(one(keliHSVToRGB_8u_C3R, P8{255, 255, 200})[0], 200);
    EXPECT_EQ(one(keliHSVToRGB_8u_C3R, P8{255, 255, 200}),
              one(keliHSVToRGB_8u_C3R, P8{0, 255, 200}));
    EXPECT_EQ(one(keliHSVToRGB_16u_C3R, P16{65535, 65535, 50000}),
              one(keliHSVToRGB_16u_C3R, P16{0, 65535, 50000}));
    EXPECT_EQ(one(keliHSVToRGB_8u_C3R, P8{100, 0, 37}), (P8{37, 37, 37}));
  });
}

// Argument checks, in each member's order, with nothing written.
TEST(HlsHsv, ErrorsWriteNothing) {
  for (const Member& m : Members()) {
    SCOPED_TRACE(m.name);
    Image src(m.src, m.ty, 4, 2, 0, 0), dst(m.dst, m.ty, 4, 2, 0, 0);
    const auto before = dst.Snap();
    auto s = src.Src();
    auto d = dst.Dst();
    const int ss = src.step(), ds = dst.step();
    auto run = [&](KelImageSize roi, int sStep, int dStep) {
      return m.call(s.data(), sStep, d.data(), dStep, roi);
    };
    const bool sp = m.src.planar, dp = m.dst.planar;
    // A null top-level pointer wins over everything.
    {
      const void* const nullSrc[4] = {};
      void* const nullDst[4] = {};
      EXPECT_EQ(m.call(sp ? nullptr : nullSrc, 0, d.data(), 0, {0, 0}),
                kelErrNullPtr);
      EXPECT_EQ(m.call(s.data(), 0, dp ? nullptr : nullDst, 0, {0, 0}),
                kelErrNullPtr);
    }
    // A null plane pointer, each in turn.
    for (size_t i = 0; sp && i < s.size(); ++i) {
      auto saved = s[i];
      s[i] = nullptr;
      EXPECT_EQ(run({4, 2}, ss, ds), kelErrNullPtr) << "source plane " << i;
      s[i] = saved;
    }
    for (size_t i = 0; dp && i < d.size(); ++i) {
      auto saved = d[i];
      d[i] = nullptr;
      EXPECT_EQ(run({4, 2}, ss, ds), kelErrNullPtr)
          << "destination plane " << i;
      d[i] = saved;
    }
    for (KelImageSize bad : {KelImageSize{0, 2}, KelImageSize{4, 0},
                             KelImageSize{-1, 2}, KelImageSize{4, -1},
                             KelImageSize{std::numeric_limits<int>::min(), 1}})
      EXPECT_EQ(run(bad, ss, ds), kelErrSize);
    if (m.stepsChecked) {
      EXPECT_EQ(run({4, 2}, 0, ds), kelErrStep);
      EXPECT_EQ(run({4, 2}, ss, -ds), kelErrStep);
      EXPECT_EQ(run({0, 2}, ss, 0), m.stepsFirst ? kelErrStep : kelErrSize);
    } else {
      // Unchecked steps: a zero step walks the first row again.
      EXPECT_EQ(run({4, 1}, 0, 0), kelOk);
      for (size_t i = 0; i < dst.planes.size(); ++i)
        ASSERT_TRUE(dst.planes[i].CanaryIntactOutside(
            (dp ? 4 : 4 * m.dst.n) * Bytes(m.ty), 2));
      continue;
    }
    const auto after = dst.Snap();
    EXPECT_EQ(before, after);
  }
}

// Every member computes in the caller's rounding mode (the arithmetic as
// well as the rounding conversions of HLS to RGB 16u/16s, HSV 8u and HSV to
// RGB) and leaves the mode as it found it: under round toward zero each
// pixel still matches the model run in the same mode, and the members that
// round their outputs give different results than under round to nearest.
TEST(HlsHsv, OutputsFollowTheCallersRoundingMode) {
  std::mt19937 rng = kel::test::TestRng();
  const int saved = std::fegetround();
  for (const Member& m : Members()) {
    if (m.ty == Ty::k32f || m.src.planar || m.dst.planar || m.bgr) continue;
    SCOPED_TRACE(m.name);
    const int w = 67, h = 3;
    Image src(m.src, m.ty, w, h, 0, 0);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        for (int c = 0; c < 3; ++c) src.Set(x, y, c, RandomSample(m.ty, rng));
    std::vector<float> outs[2];
    for (int mode : {FE_TONEAREST, FE_TOWARDZERO}) {
      ForEachDispatch([&] {
        Image dst(m.dst, m.ty, w, h, 0, 0);
        ASSERT_EQ(std::fesetround(mode), 0);
        ASSERT_EQ(m.call(src.Src().data(), src.step(), dst.Dst().data(),
                         dst.step(), {w, h}),
                  kelOk);
        const int after = std::fegetround();
        std::vector<float> out;
        for (int y = 0; y < h; ++y)
          for (int x = 0; x < w; ++x) {
            const Px in{{src.Get(x, y, 0), src.Get(x, y, 1), src.Get(x, y, 2)}};
            const Px want = Model(m, in, x < (w & ~3));
            for (int c = 0; c < 3; ++c) {
              ASSERT_EQ(dst.Get(x, y, c), want.c[c]) << x << "," << y;
              out.push_back(want.c[c]);
            }
          }
        std::fesetround(saved);
        EXPECT_EQ(after, mode);
        outs[mode == FE_TOWARDZERO] = out;
      });
    }
    const bool rounds = m.op == Op::kFromHsv || m.op == Op::kToHsv
                            ? m.ty == Ty::k8u || m.op == Op::kFromHsv
                            : m.op == Op::kFromHls && m.ty != Ty::k8u;
    if (rounds) {
      EXPECT_NE(outs[0], outs[1]);
    }
  }
  std::fesetround(saved);
}

// Float members: the AVX2 and portable kernels agree to the bit on any
// input, NaN, infinities, negative zero and denormals included (every NaN
// result is the one positive quiet NaN).
TEST(HlsHsv, FloatKernelsAgreeOnSpecialValues) {
  if (!kel::frame::CpuHasAvx2()) GTEST_SKIP() << "no AVX2 on this CPU";
  const float specials[] = {0.0f,
                            -0.0f,
                            1.0f,
                            0.5f,
                            1e-40f,
                            -1e-40f,
                            2.0f,
                            -1.0f,
                            std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity(),
                            std::numeric_limits<float>::quiet_NaN(),
                            1.1920929e-7f,
                            0.49999997f};
  std::mt19937 rng = kel::test::TestRng();
  for (const char* name : {"keliRGBToHLS_32f_C3R", "keliHLSToRGB_32f_C3R"}) {
    const Member& m = Find(name);
    const int w = 1003, h = 2;
    Image src(m.src, m.ty, w, h, 0, 0);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        for (int c = 0; c < 3; ++c)
          src.Set(x, y, c,
                  rng() % 2
                      ? specials[rng() % std::size(specials)]
                      : std::uniform_real_distribution<float>(-2, 2)(rng));
    std::vector<std::vector<uint8_t>> results;
    ForEachDispatch([&] {
      Image dst(m.dst, m.ty, w, h, 0, 0);
      ASSERT_EQ(m.call(src.Src().data(), src.step(), dst.Dst().data(),
                       dst.step(), {w, h}),
                kelOk);
      results.push_back(dst.planes[0].Image());
    });
    ASSERT_EQ(results.size(), 2u);
    EXPECT_TRUE(kel::test::SameBytes(results[0], results[1], w * 12)) << name;
  }
}

}  // namespace
