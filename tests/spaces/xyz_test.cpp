// XYZ: every export against a model of the documented forms (8u body and
// remainder at the columns where each belongs, the fused 32f forms with
// their clamps, the 16-bit forms as chosen), the worked examples and the
// checks, under both sets of implementations.
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "kelcc.h"
#include "support/dispatch_modes.h"
#include "support/image.h"

namespace {

using kel::test::ForEachDispatch;
using kel::test::GuardedPlane;

int Sat8(int v) { return std::clamp(v, 0, 255); }

void Model8u(bool toXyz, bool body, int a, int b, int c, int* o) {
  if (toXyz && body) {
    o[0] = Sat8((13515 * a + 11717 * b + 5912 * c) >> 15);
    o[1] = Sat8((6969 * a + 23434 * b + 2365 * c) >> 15);
    o[2] = Sat8((634 * a + 3906 * b + 31137 * c) >> 15);
  } else if (toXyz) {
    o[0] = (27030 * a + 23434 * b + 11824 * c) >> 16;
    o[1] = (13937 * a + 46868 * b + 4729 * c) >> 16;
    o[2] = std::min((1267 * a + 7811 * b + 62274 * c) >> 16, 255);
  } else if (body) {
    o[0] = Sat8((26546 * a - 12591 * b - 4083 * c) >> 13);
    o[1] = Sat8((-7939 * a + 15368 * b + 340 * c) >> 13);
    o[2] = Sat8((456 * a - 1671 * b + 8661 * c) >> 13);
  } else {
    o[0] = Sat8((212368 * a - 100738 * b - 32671 * c) >> 16);
    o[1] = Sat8((-63521 * a + 122944 * b + 2723 * c) >> 16);
    o[2] = Sat8((3646 * a - 13372 * b + 69291 * c) >> 16);
  }
}

// The fused forms; hi is 1 (32f) or 65535 (16-bit, every channel clamped).
float Unit(float v, float hi) { return v < 0 ? 0 : std::min(hi, v); }
void ModelFloat(bool toXyz, float hi, float a, float b, float c, float* o) {
  if (toXyz) {
    o[0] = std::fma(0.180423f, c, std::fma(0.412453f, a, 0.35758f * b));
    o[1] = std::fma(0.072169f, c, std::fma(0.212671f, a, 0.71516f * b));
    o[2] =
        Unit(std::fma(0.950227f, c, std::fma(0.019334f, a, 0.119193f * b)), hi);
    if (hi > 1) o[0] = Unit(o[0], hi), o[1] = Unit(o[1], hi);
  } else {
    o[0] = Unit(
        std::fma(-c, 0.498535f, std::fma(a, 3.240479f, -(1.53715f * b))), hi);
    o[1] = Unit(std::fma(0.041556f, c, std::fma(-0.969256f, a, 1.875991f * b)),
                hi);
    o[2] = Unit(
        std::fma(1.057311f, c, std::fma(0.055648f, a, -(0.204043f * b))), hi);
  }
  if (hi > 1)
    for (int i = 0; i < 3; ++i) o[i] = std::nearbyint(o[i]);
}

template <class T, class F>
void Check(const char* name, F f, bool toXyz, int n) {
  SCOPED_TRACE(name);
  std::mt19937 rng = kel::test::TestRng();
  ForEachDispatch([&] {
    for (int w : {1, 2, 15, 16, 17, 31, 32, 33, 47, 64, 70, 257}) {
      const int h = 2;
      GuardedPlane src(w * n * int(sizeof(T)), h, 4 * int(sizeof(T)), 0);
      GuardedPlane dst(w * n * int(sizeof(T)), h, 0, 0);
      src.FillRandom(rng);
      dst.FillRandom(rng);
      std::vector<uint8_t> alpha(size_t(w) * h * sizeof(T));
      for (int y = 0; y < h && n == 4; ++y)
        for (int x = 0; x < w; ++x)
          std::memcpy(alpha.data() + (y * w + x) * sizeof(T),
                      reinterpret_cast<const T*>(dst.row(y)) + 4 * x + 3,
                      sizeof(T));
      for (int y = 0; y < h && std::is_floating_point_v<T>; ++y)
        for (int i = 0; i < w * n; ++i)
          reinterpret_cast<float*>(src.row(y))[i] =
              std::uniform_real_distribution<float>(-0.2f, 1.3f)(rng);
      ASSERT_EQ(f(reinterpret_cast<const T*>(src.data()), src.step(),
                  reinterpret_cast<T*>(dst.data()), dst.step(), {w, h}),
                kelOk);
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
          const T* s = reinterpret_cast<const T*>(src.row(y)) + n * x;
          const T* d = reinterpret_cast<const T*>(dst.row(y)) + n * x;
          for (int ch = 0; ch < 3; ++ch) {
            double want;
            if constexpr (std::is_same_v<T, Kel8u>) {
              int o[3];
              Model8u(toXyz, x < (w & ~15), s[0], s[1], s[2], o);
              want = o[ch];
            } else {
              const float off = std::is_same_v<T, Kel16s> ? 32768.0f : 0.0f;
              const float hi = std::is_floating_point_v<T> ? 1.0f : 65535.0f;
              float o[3];
              ModelFloat(toXyz, hi, s[0] + off, s[1] + off, s[2] + off, o);
              want = o[ch] - off;
            }
            ASSERT_EQ(double(d[ch]), want)
                << "pixel " << x << "," << y << " channel " << ch << " width "
                << w;
          }
        }
      for (int y = 0; y < h && n == 4; ++y)  // the fourth element is kept
        for (int x = 0; x < w; ++x)
          ASSERT_EQ(
              std::memcmp(reinterpret_cast<const T*>(dst.row(y)) + 4 * x + 3,
                          alpha.data() + (y * w + x) * sizeof(T), sizeof(T)),
              0);
      ASSERT_TRUE(dst.CanaryIntactOutside(w * n * int(sizeof(T)), h));
    }
  });
}

TEST(Xyz, EveryMemberAgainstTheModel) {
  Check<Kel8u>("RGBToXYZ_8u_C3R", keliRGBToXYZ_8u_C3R, true, 3);
  Check<Kel8u>("RGBToXYZ_8u_AC4R", keliRGBToXYZ_8u_AC4R, true, 4);
  Check<Kel8u>("XYZToRGB_8u_C3R", keliXYZToRGB_8u_C3R, false, 3);
  Check<Kel8u>("XYZToRGB_8u_AC4R", keliXYZToRGB_8u_AC4R, false, 4);
  Check<Kel16u>("RGBToXYZ_16u_C3R", keliRGBToXYZ_16u_C3R, true, 3);
  Check<Kel16u>("RGBToXYZ_16u_AC4R", keliRGBToXYZ_16u_AC4R, true, 4);
  Check<Kel16u>("XYZToRGB_16u_C3R", keliXYZToRGB_16u_C3R, false, 3);
  Check<Kel16u>("XYZToRGB_16u_AC4R", keliXYZToRGB_16u_AC4R, false, 4);
  Check<Kel16s>("RGBToXYZ_16s_C3R", keliRGBToXYZ_16s_C3R, true, 3);
  Check<Kel16s>("RGBToXYZ_16s_AC4R", keliRGBToXYZ_16s_AC4R, true, 4);
  Check<Kel16s>("XYZToRGB_16s_C3R", keliXYZToRGB_16s_C3R, false, 3);
  Check<Kel16s>("XYZToRGB_16s_AC4R", keliXYZToRGB_16s_AC4R, false, 4);
  Check<Kel32f>("RGBToXYZ_32f_C3R", keliRGBToXYZ_32f_C3R, true, 3);
  Check<Kel32f>("RGBToXYZ_32f_AC4R", keliRGBToXYZ_32f_AC4R, true, 4);
  Check<Kel32f>("XYZToRGB_32f_C3R", keliXYZToRGB_32f_C3R, false, 3);
  Check<Kel32f>("XYZToRGB_32f_AC4R", keliXYZToRGB_32f_AC4R, false, 4);
}

TEST(Xyz, WorkedExamples) {
  ForEachDispatch([] {
    // 17 white pixels: Y is 255 in the 16-pixel body and 254 after it.
    std::vector<Kel8u> white(17 * 3, 255), xyz(17 * 3);
    ASSERT_EQ(keliRGBToXYZ_8u_C3R(white.data(), 51, xyz.data(), 51, {17, 1}),
              kelOk);
    EXPECT_EQ(xyz[1], 255);
    EXPECT_EQ(xyz[16 * 3 + 1], 254);
    EXPECT_EQ(xyz[2], 255);  // Z saturates
    const Kel32f one[3] = {1, 1, 1};
    Kel32f out[3];
    ASSERT_EQ(keliRGBToXYZ_32f_C3R(one, 12, out, 12, {1, 1}), kelOk);
    EXPECT_NEAR(out[0], 0.950456f, 1e-6f);
    EXPECT_NEAR(out[1], 1.0f, 1e-6f);
    EXPECT_EQ(out[2], 1.0f);
    const Kel32f bright[3] = {2, 2, 2};
    ASSERT_EQ(keliRGBToXYZ_32f_C3R(bright, 12, out, 12, {1, 1}), kelOk);
    EXPECT_GT(out[0], 1.0f);
    EXPECT_GT(out[1], 1.0f);
    ASSERT_EQ(keliXYZToRGB_32f_C3R(one, 12, out, 12, {1, 1}), kelOk);
    EXPECT_EQ(out[0], 1.0f);
    for (float v : out) EXPECT_GE(v, 0.0f);
  });
}

TEST(Xyz, ChecksAndNothingWritten) {
  Kel8u src[12] = {}, dst[12] = {};
  EXPECT_EQ(keliRGBToXYZ_8u_C3R(src, 3, nullptr, 3, {0, 0}), kelErrNullPtr);
  EXPECT_EQ(keliXYZToRGB_16u_C3R(nullptr, 6, reinterpret_cast<Kel16u*>(dst), 6,
                                 {1, 1}),
            kelErrNullPtr);
  EXPECT_EQ(keliRGBToXYZ_8u_C3R(src, 3, dst, 3, {1, 0}), kelErrSize);
  EXPECT_EQ(keliRGBToXYZ_8u_C3R(src, 0, dst, 0, {1, 2}),
            kelOk);  // no step check
  for (int i = 3; i < 12; ++i) EXPECT_EQ(dst[i], 0);
}

}  // namespace
