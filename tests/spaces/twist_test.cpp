// Colour twist: every member against a per-pixel model of the documented
// grouping, clamping and rounding, in place and not, with AC4 alpha left
// alone; the worked examples; the caller's rounding mode kept across every
// integer call, error returns included; the check order.
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "kelcc.h"
#include "support/dispatch_modes.h"
#include "support/image.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

using kel::test::ForEachDispatch;
using kel::test::GuardedPlane;
using Matrix3 = float[3][4];

enum class Lay { kC3, kAC4, kC4, kP3 };

// The model of one destination channel.
template <class T>
float Twisted(const float* row, float s0, float s1, float s2) {
  const float a = row[3] + row[0] * s0;
  const float b = row[2] * s2 + row[1] * s1;
  float v = a + b;
  if constexpr (std::is_floating_point_v<T>) return v;
  const float hi = static_cast<float>(std::numeric_limits<T>::max());
  const float lo = static_cast<float>(std::numeric_limits<T>::min());
  v = v < hi ? v : hi;  // NaN becomes the maximum
  v = v > lo ? v : lo;
  return std::nearbyint(v);  // the model runs in round-to-nearest
}

// One image: three planes or one interleaved plane of T.
template <class T>
struct Img {
  Lay lay;
  int w, h, n;
  std::vector<GuardedPlane> planes;
  Img(Lay l, int width, int height, std::mt19937& rng)
      : lay(l), w(width), h(height), n(l == Lay::kC3 || l == Lay::kP3 ? 3 : 4) {
    const int e = sizeof(T);
    if (l == Lay::kP3) {  // the three planes share one step
      const int slack = e * static_cast<int>(rng() % 5);
      for (int i = 0; i < 3; ++i) planes.emplace_back(w * e, h, slack, 0);
    } else {
      planes.emplace_back(w * n * e, h, e * static_cast<int>(rng() % 5), 0);
    }
    for (auto& p : planes) p.FillRandom(rng);
    if constexpr (std::is_floating_point_v<T>) {
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
          for (int c = 0; c < n; ++c)
            Set(x, y, c, std::uniform_real_distribution<float>(-1, 2)(rng));
    }
  }
  T* At(int x, int y, int c) {
    if (lay == Lay::kP3) return reinterpret_cast<T*>(planes[c].row(y)) + x;
    return reinterpret_cast<T*>(planes[0].row(y)) + x * n + c;
  }
  float Get(int x, int y, int c) { return static_cast<float>(*At(x, y, c)); }
  void Set(int x, int y, int c, float v) { *At(x, y, c) = static_cast<T>(v); }
  int step() const { return planes[0].step(); }
  std::vector<T*> Ptrs() {
    std::vector<T*> v;
    for (auto& p : planes) v.push_back(reinterpret_cast<T*>(p.data()));
    return v;
  }
};

// Calls member `f` of any shape: not in place (src, dst) or in place.
template <class T, class F>
KelResult Call(F f, Img<T>& src, Img<T>* dst, KelImageSize roi,
               const float (*m)[4]) {
  auto s = src.Ptrs();
  if (dst == nullptr) {
    if constexpr (std::is_invocable_v<F, T*, int, KelImageSize,
                                      const float(*)[4]>)
      return f(s[0], src.step(), roi, m);
    else if constexpr (std::is_invocable_v<F, T* const*, int, KelImageSize,
                                           const float(*)[4]>)
      return f(s.data(), src.step(), roi, m);
  } else {
    auto d = dst->Ptrs();
    if constexpr (std::is_invocable_v<F, const T*, int, T*, int, KelImageSize,
                                      const float(*)[4]>)
      return f(s[0], src.step(), d[0], dst->step(), roi, m);
    else if constexpr (std::is_invocable_v<F, const T* const*, int, T* const*,
                                           int, KelImageSize,
                                           const float(*)[4]>) {
      const T* cs[3] = {s[0], s[1], s[2]};
      return f(cs, src.step(), d.data(), dst->step(), roi, m);
    }
  }
  ADD_FAILURE() << "no call shape";
  return kelErrBadArg;
}

template <class T, class F>
void CheckMember(const char* name, F f, Lay lay, bool inPlace) {
  SCOPED_TRACE(name);
  std::mt19937 rng = kel::test::TestRng();
  for (int w : {1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 33, 64, 255, 257, 300}) {
    const int h = 1 + static_cast<int>(rng() % 3);
    float m[3][4];
    for (auto& row : m)
      for (int k = 0; k < 4; ++k)
        row[k] = std::uniform_real_distribution<float>(
            k == 3 ? -300.0f : -2.0f, k == 3 ? 300.0f : 2.0f)(rng);
    ForEachDispatch([&] {
      Img<T> src(lay, w, h, rng), dst(lay, w, h, rng);
      Img<T> before = src;  // the source (and in-place image) as given
      Img<T> old = dst;
      Img<T>& out = inPlace ? src : dst;
      ASSERT_EQ(Call<T>(f, src, inPlace ? nullptr : &dst, {w, h}, m), kelOk);
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
          const float s0 = before.Get(x, y, 0), s1 = before.Get(x, y, 1),
                      s2 = before.Get(x, y, 2);
          for (int c = 0; c < 3; ++c) {
            const float want = Twisted<T>(m[c], s0, s1, s2);
            const float got = out.Get(x, y, c);
            ASSERT_TRUE(got == want || (std::isnan(got) && std::isnan(want)))
                << "pixel " << x << "," << y << " channel " << c << ": " << got
                << " want " << want << " (width " << w << ")";
          }
          if (lay == Lay::kAC4) {  // the fourth element keeps what it held
            ASSERT_EQ(
                std::memcmp(out.At(x, y, 3),
                            (inPlace ? before : old).At(x, y, 3), sizeof(T)),
                0);
          }
        }
      for (auto& p : out.planes)
        ASSERT_TRUE(p.CanaryIntactOutside(p.rowBytes(), h));
    });
  }
}

TEST(ColorTwist, EveryMemberAgainstTheModel) {
  CheckMember<Kel8u>("8u_C3R", keliColorTwist32f_8u_C3R, Lay::kC3, false);
  CheckMember<Kel8u>("8u_C3IR", keliColorTwist32f_8u_C3IR, Lay::kC3, true);
  CheckMember<Kel8u>("8u_AC4R", keliColorTwist32f_8u_AC4R, Lay::kAC4, false);
  CheckMember<Kel8u>("8u_AC4IR", keliColorTwist32f_8u_AC4IR, Lay::kAC4, true);
  CheckMember<Kel8u>("8u_P3R", keliColorTwist32f_8u_P3R, Lay::kP3, false);
  CheckMember<Kel8u>("8u_IP3R", keliColorTwist32f_8u_IP3R, Lay::kP3, true);
  CheckMember<Kel16u>("16u_C3R", keliColorTwist32f_16u_C3R, Lay::kC3, false);
  CheckMember<Kel16u>("16u_C3IR", keliColorTwist32f_16u_C3IR, Lay::kC3, true);
  CheckMember<Kel16u>("16u_AC4R", keliColorTwist32f_16u_AC4R, Lay::kAC4, false);
  CheckMember<Kel16u>("16u_AC4IR", keliColorTwist32f_16u_AC4IR, Lay::kAC4,
                      true);
  CheckMember<Kel16u>("16u_P3R", keliColorTwist32f_16u_P3R, Lay::kP3, false);
  CheckMember<Kel16u>("16u_IP3R", keliColorTwist32f_16u_IP3R, Lay::kP3, true);
  CheckMember<Kel16s>("16s_C3R", keliColorTwist32f_16s_C3R, Lay::kC3, false);
  CheckMember<Kel16s>("16s_C3IR", keliColorTwist32f_16s_C3IR, Lay::kC3, true);
  CheckMember<Kel16s>("16s_AC4R", keliColorTwist32f_16s_AC4R, Lay::kAC4, false);
  CheckMember<Kel16s>("16s_AC4IR", keliColorTwist32f_16s_AC4IR, Lay::kAC4,
                      true);
  CheckMember<Kel16s>("16s_P3R", keliColorTwist32f_16s_P3R, Lay::kP3, false);
  CheckMember<Kel16s>("16s_IP3R", keliColorTwist32f_16s_IP3R, Lay::kP3, true);
  CheckMember<Kel32f>("32f_C3R", keliColorTwist_32f_C3R, Lay::kC3, false);
  CheckMember<Kel32f>("32f_C3IR", keliColorTwist_32f_C3IR, Lay::kC3, true);
  CheckMember<Kel32f>("32f_AC4R", keliColorTwist_32f_AC4R, Lay::kAC4, false);
  CheckMember<Kel32f>("32f_AC4IR", keliColorTwist_32f_AC4IR, Lay::kAC4, true);
  CheckMember<Kel32f>("32f_P3R", keliColorTwist_32f_P3R, Lay::kP3, false);
  CheckMember<Kel32f>("32f_IP3R", keliColorTwist_32f_IP3R, Lay::kP3, true);
}

// The 4 x 4 member: fused multiply-adds around the plain channel-1 product;
// a fourth row (0, 0, 0, 1) copies alpha exactly.
TEST(ColorTwist, FourByFourFloats) {
  std::mt19937 rng = kel::test::TestRng();
  float m[4][4];
  for (auto& row : m)
    for (float& v : row) v = std::uniform_real_distribution<float>(-2, 2)(rng);
  m[3][0] = m[3][1] = m[3][2] = 0.0f, m[3][3] = 1.0f;
  ForEachDispatch([&] {
    for (int w : {1, 2, 3, 9, 64, 301}) {
      Img<Kel32f> src(Lay::kC4, w, 2, rng), dst(Lay::kC4, w, 2, rng);
      ASSERT_EQ(keliColorTwist_32f_C4R(src.Ptrs()[0], src.step(), dst.Ptrs()[0],
                                       dst.step(), {w, 2}, m),
                kelOk);
      for (int y = 0; y < 2; ++y)
        for (int x = 0; x < w; ++x) {
          const float s0 = src.Get(x, y, 0), s1 = src.Get(x, y, 1),
                      s2 = src.Get(x, y, 2), s3 = src.Get(x, y, 3);
          for (int c = 0; c < 4; ++c) {
            const float want = std::fma(
                s3, m[c][3],
                std::fma(s2, m[c][2], std::fma(s0, m[c][0], s1 * m[c][1])));
            ASSERT_EQ(dst.Get(x, y, c), want) << x << "," << y << "," << c;
          }
          ASSERT_EQ(dst.Get(x, y, 3), s3);
        }
      ASSERT_TRUE(dst.planes[0].CanaryIntactOutside(16 * w, 2));
    }
  });
}

TEST(ColorTwist, WorkedExamples) {
  const float identityHalf[3][4] = {
      {1, 0, 0, 0.5f}, {0, 1, 0, 0.5f}, {0, 0, 1, 0.5f}};
  const float scale[3][4] = {{1.5f, 0, 0, 0}, {0, -1, 0, -3}, {0, 0, 1, 0}};
  ForEachDispatch([&] {
    Kel8u px[9] = {0, 1, 2, 1, 2, 0, 2, 0, 1};
    Kel8u out[9] = {};
    ASSERT_EQ(keliColorTwist32f_8u_C3R(px, 9, out, 9, {3, 1}, identityHalf),
              kelOk);
    const Kel8u halves[9] = {0, 2, 2, 2, 2, 0, 2, 0, 2};
    EXPECT_EQ(std::memcmp(out, halves, 9), 0);  // ties go to even
    Kel8u big[3] = {201, 7, 9};  // 1.5 * 201 = 301.5 -> 255; -10 -> 0
    ASSERT_EQ(keliColorTwist32f_8u_C3IR(big, 3, {1, 1}, scale), kelOk);
    EXPECT_EQ(big[0], 255);
    EXPECT_EQ(big[1], 0);
    Kel16s s[3] = {26667, 0, 0};  // 1.5 * 26667 = 40000.5 -> 32767
    ASSERT_EQ(keliColorTwist32f_16s_C3IR(s, 6, {1, 1}, scale), kelOk);
    EXPECT_EQ(s[0], 32767);
    EXPECT_EQ(s[1], -3);
    float nanRow[3][4] = {{std::numeric_limits<float>::quiet_NaN(), 0, 0, 0},
                          {0, 1, 0, 0},
                          {0, 0, 1, 0}};
    Kel16u u[3] = {5, 6, 7};
    ASSERT_EQ(keliColorTwist32f_16u_C3IR(u, 6, {1, 1}, nanRow), kelOk);
    EXPECT_EQ(u[0], 65535);
    float f[3] = {1, 2, 3};
    ASSERT_EQ(keliColorTwist_32f_C3IR(f, 12, {1, 1}, nanRow), kelOk);
    EXPECT_TRUE(std::isnan(f[0]));
  });
}

// The caller's rounding mode is the same after every integer call, error
// returns included, and the results still round to nearest even.
TEST(ColorTwist, CallersRoundingModeIsKept) {
  const float identityHalf[3][4] = {
      {1, 0, 0, 0.5f}, {0, 1, 0, 0.5f}, {0, 0, 1, 0.5f}};
  for (int mode : {FE_TOWARDZERO, FE_UPWARD, FE_DOWNWARD}) {
    ASSERT_EQ(std::fesetround(mode), 0);
#if defined(__x86_64__)
    const unsigned before = _mm_getcsr();
#endif
    Kel8u px[3] = {1, 2, 3};
    Kel16u w[3] = {1, 2, 3};
    const KelResult ok8 =
        keliColorTwist32f_8u_C3IR(px, 3, {1, 1}, identityHalf);
    const KelResult ok16 =
        keliColorTwist32f_16u_C3IR(w, 6, {1, 1}, identityHalf);
    const KelResult bad =
        keliColorTwist32f_8u_C3IR(px, 0, {1, 1}, identityHalf);
    const KelResult null =
        keliColorTwist32f_16s_C3IR(nullptr, 6, {1, 1}, identityHalf);
    const int after = std::fegetround();
#if defined(__x86_64__)
    const unsigned afterWord = _mm_getcsr();
#endif
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(after, mode);
#if defined(__x86_64__)
    EXPECT_EQ(afterWord & ~0x3Fu, before & ~0x3Fu);
#endif
    EXPECT_EQ(ok8, kelOk);
    EXPECT_EQ(ok16, kelOk);
    EXPECT_EQ(bad, kelErrStep);
    EXPECT_EQ(null, kelErrNullPtr);
    EXPECT_EQ(px[0], 2);  // 1.5 -> 2, 2.5 -> 2, 3.5 -> 4
    EXPECT_EQ(px[1], 2);
    EXPECT_EQ(px[2], 4);
    EXPECT_EQ(w[2], 4);
  }
}

// Pointers (matrix last), plane pointers, size, then steps; nothing written.
TEST(ColorTwist, ChecksInOrder) {
  const float m[3][4] = {};
  Kel8u a[12] = {}, b[12] = {};
  Kel8u* planes[3] = {a, a + 4, a + 8};
  Kel8u* nullPlane[3] = {a, nullptr, a + 8};
  const Kel8u* srcPlanes[3] = {b, b + 4, b + 8};
  EXPECT_EQ(keliColorTwist32f_8u_C3R(nullptr, 0, a, 0, {0, 0}, m),
            kelErrNullPtr);
  EXPECT_EQ(keliColorTwist32f_8u_C3R(b, 0, a, 0, {0, 0}, nullptr),
            kelErrNullPtr);
  EXPECT_EQ(keliColorTwist32f_8u_P3R(srcPlanes, 0, nullPlane, 0, {0, 0}, m),
            kelErrNullPtr);
  EXPECT_EQ(keliColorTwist32f_8u_P3R(srcPlanes, 0, planes, 0, {0, 1}, m),
            kelErrSize);
  EXPECT_EQ(keliColorTwist32f_8u_P3R(srcPlanes, 4, planes, 0, {1, 1}, m),
            kelErrStep);
  EXPECT_EQ(keliColorTwist32f_8u_IP3R(planes, 0, {1, 1}, m), kelErrStep);
  for (Kel8u v : a) EXPECT_EQ(v, 0);
}

}  // namespace
