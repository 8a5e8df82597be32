// Gray: every colour-to-gray member against a model of its body and tail
// formulas (each taken at the columns where it belongs), the worked
// examples, gray back to colour, the luma bytes of packed 4:2:2, and the
// checks; under both sets of implementations.
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

const float kDefault[3] = {0.299f, 0.587f, 0.114f};

// What the processor's conversion gives in the current mode.
int64_t Cvt(float v) {
  const float r = std::nearbyint(v);
  if (std::isnan(r) || r < -2147483648.0f || r >= 2147483648.0f)
    return std::numeric_limits<int32_t>::min();
  return static_cast<int64_t>(r);
}

// The model: pixel (x0, x1, x2) at a body or tail column.
uint8_t Model8u(int x0, int x1, int x2, const float* w, bool body) {
  uint32_t c[3];
  for (int i = 0; i < 3; ++i) {
    const float q = std::fma(32768.0f, w[i], 0.5f);
    c[i] = static_cast<uint32_t>(std::clamp(q, 0.0f, 65535.0f));
  }
  if (!body)
    return static_cast<uint8_t>((x0 * c[0] + x1 * c[1] + x2 * c[2] + 16384) >>
                                15);
  const uint32_t p0 = (x0 * 256u * c[0]) >> 16, p1 = (x1 * 256u * c[1]) >> 16,
                 p2 = (x2 * 256u * c[2]) >> 16;
  uint32_t s = std::min(p2 + p1, 65535u);
  s = std::min(s + p0, 65535u);
  s = std::min(s + 64u, 65535u);
  return static_cast<uint8_t>(std::min(s / 128u, 255u));
}
uint16_t Model16u(int x0, int x1, int x2, const float* w, bool body) {
  const float g =
      std::fma(w[2], float(x2), std::fma(w[0], float(x0), x1 * w[1]));
  const int64_t v = Cvt(g);
  return body ? static_cast<uint16_t>(std::clamp<int64_t>(v, 0, 65535))
              : static_cast<uint16_t>(v);
}
int16_t Model16s(int x0, int x1, int x2, const float* w, bool body) {
  const float X0 = x0 + 32768, X1 = x1 + 32768, X2 = x2 + 32768;
  if (body) {
    const int64_t v =
        Cvt(std::fma(w[2], X2, std::fma(w[0], X0, w[1] * X1))) - 32768;
    return static_cast<int16_t>(std::clamp<int64_t>(v, -32768, 32767));
  }
  return static_cast<int16_t>(
      static_cast<uint32_t>(Cvt((X0 * w[0] + X1 * w[1]) + X2 * w[2])) - 32768u);
}
template <class F>
F ModelFloat(F x0, F x1, F x2, const F* w) {
  const F g = std::fma(w[2], x2, std::fma(w[0], x0, x1 * w[1]));
  return std::isnan(g) ? std::numeric_limits<F>::quiet_NaN() : g;
}

template <class T>
T RandomSample(std::mt19937& rng) {
  if constexpr (std::is_floating_point_v<T>)
    return static_cast<T>(std::uniform_real_distribution<double>(-0.5, 2)(rng));
  const int k = static_cast<int>(rng() % 8);
  if (k == 0) return std::numeric_limits<T>::min();
  if (k == 1) return std::numeric_limits<T>::max();
  return static_cast<T>(rng());
}

// One member: every width 1..70 and a few long rows, two heights, padded
// rows, default and random weights (plain and out of 0..1).
template <class T, class W, class F, class M>
void Sweep(const char* name, F call, int n, int block, M model) {
  SCOPED_TRACE(name);
  std::mt19937 rng = kel::test::TestRng();
  std::vector<int> widths;
  for (int w = 1; w <= 70; ++w) widths.push_back(w);
  for (int w : {127, 128, 129, 300}) widths.push_back(w);
  ForEachDispatch([&] {
    for (int w : widths) {
      const int h = 1 + w % 2;
      GuardedPlane src(w * n * int(sizeof(T)), h, 8, 0);
      GuardedPlane dst(w * int(sizeof(T)), h, 8, 0);
      for (int y = 0; y < h; ++y)
        for (int i = 0; i < w * n; ++i)
          reinterpret_cast<T*>(src.row(y))[i] = RandomSample<T>(rng);
      W weights[3];
      const bool useDefault = w % 3 == 0;
      for (int i = 0; i < 3; ++i)
        weights[i] = useDefault ? W(kDefault[i])
                                : W(std::uniform_real_distribution<double>(
                                      w % 5 == 0 ? -0.5 : 0.0, 0.8)(rng));
      ASSERT_EQ(call(reinterpret_cast<const T*>(src.data()), src.step(),
                     reinterpret_cast<T*>(dst.data()), dst.step(), {w, h},
                     useDefault && w % 2 ? nullptr : weights),
                kelOk);
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
          const T* p = reinterpret_cast<const T*>(src.row(y)) + n * x;
          const T got = reinterpret_cast<const T*>(dst.row(y))[x];
          const T want = model(p[0], p[1], p[2], weights, x < w - w % block);
          ASSERT_EQ(std::memcmp(&got, &want, sizeof(T)), 0)
              << "pixel " << x << "," << y << " of width " << w;
        }
      ASSERT_TRUE(dst.CanaryIntactOutside(w * int(sizeof(T)), h));
    }
  });
}

TEST(Gray, EveryColorToGrayMemberAgainstTheModel) {
  auto m8 = [](int a, int b, int c, const float* w, bool body) {
    return Model8u(a, b, c, w, body);
  };
  auto m16u = [](int a, int b, int c, const float* w, bool body) {
    return Model16u(a, b, c, w, body);
  };
  auto m16s = [](int a, int b, int c, const float* w, bool body) {
    return Model16s(a, b, c, w, body);
  };
  auto m32 = [](float a, float b, float c, const float* w, bool) {
    return ModelFloat(a, b, c, w);
  };
  auto m64 = [](double a, double b, double c, const double* w, bool) {
    return ModelFloat(a, b, c, w);
  };
  Sweep<Kel8u, float>("8u_C3C1R", keliColorToGray_8u_C3C1R, 3, 32, m8);
  Sweep<Kel8u, float>("8u_AC4C1R", keliColorToGray_8u_AC4C1R, 4, 32, m8);
  Sweep<Kel16u, float>("16u_C3C1R", keliColorToGray_16u_C3C1R, 3, 16, m16u);
  Sweep<Kel16u, float>("16u_AC4C1R", keliColorToGray_16u_AC4C1R, 4, 16, m16u);
  Sweep<Kel16s, float>("16s_C3C1R", keliColorToGray_16s_C3C1R, 3, 4, m16s);
  Sweep<Kel16s, float>("16s_AC4C1R", keliColorToGray_16s_AC4C1R, 4, 4, m16s);
  Sweep<Kel32f, float>("32f_C3C1R", keliColorToGray_32f_C3C1R, 3, 1, m32);
  Sweep<Kel32f, float>("32f_AC4C1R", keliColorToGray_32f_AC4C1R, 4, 1, m32);
  Sweep<Kel64f, double>("64f_C3C1R", keliColorToGray_64f_C3C1R, 3, 1, m64);
  Sweep<Kel64f, double>("64f_AC4C1R", keliColorToGray_64f_AC4C1R, 4, 1, m64);
}

// RGBToGray is ColorToGray with the default weights (64f: the float
// defaults widened, not the decimal values).
TEST(Gray, DefaultsAndWorkedExamples) {
  ForEachDispatch([] {
    // 33 pixels of (0, 17, 180): 30 in the 32-pixel body, 31 in the tail.
    std::vector<Kel8u> row(33 * 3), out(33), viaNull(33);
    for (int x = 0; x < 33; ++x) row[3 * x + 1] = 17, row[3 * x + 2] = 180;
    ASSERT_EQ(keliRGBToGray_8u_C3C1R(row.data(), 99, out.data(), 33, {33, 1}),
              kelOk);
    EXPECT_EQ(out[0], 30);
    EXPECT_EQ(out[31], 30);
    EXPECT_EQ(out[32], 31);
    ASSERT_EQ(keliColorToGray_8u_C3C1R(row.data(), 99, viaNull.data(), 33,
                                       {33, 1}, nullptr),
              kelOk);
    EXPECT_EQ(out, viaNull);
    const Kel8u white[3] = {255, 255, 255};
    Kel8u g = 0;
    ASSERT_EQ(keliRGBToGray_8u_C3C1R(white, 3, &g, 1, {1, 1}), kelOk);
    EXPECT_EQ(g, 255);
    const Kel16s lo[3] = {-32768, -32768, -32768},
                 hi[3] = {32767, 32767, 32767};
    Kel16s s = 0;
    ASSERT_EQ(keliRGBToGray_16s_C3C1R(lo, 6, &s, 2, {1, 1}), kelOk);
    EXPECT_EQ(s, -32768);
    ASSERT_EQ(keliRGBToGray_16s_C3C1R(hi, 6, &s, 2, {1, 1}), kelOk);
    EXPECT_EQ(s, 32767);
    const double ones[3] = {1, 1, 1};
    double d = 0;
    ASSERT_EQ(keliColorToGray_64f_C3C1R(ones, 24, &d, 8, {1, 1}, nullptr),
              kelOk);
    EXPECT_EQ(d, std::fma(double(0.114f), 1.0,
                          std::fma(double(0.299f), 1.0, 1.0 * double(0.587f))));
    // A zero step processes the same row twice.
    Kel8u two[2] = {1, 1};
    ASSERT_EQ(keliRGBToGray_8u_C3C1R(white, 0, two, 1, {1, 2}), kelOk);
    EXPECT_EQ(two[0], 255);
    EXPECT_EQ(two[1], 255);
  });
}

// Gray to three or four channels, and luma out of packed 4:2:2.
TEST(Gray, SpreadAndLuma) {
  std::mt19937 rng = kel::test::TestRng();
  ForEachDispatch([&] {
    for (int w : {1, 2, 15, 16, 17, 33, 64, 65, 301}) {
      GuardedPlane g(w, 2, 3, 1), c3(3 * w, 2, 5, 0), c4(4 * w, 2, 0, 2);
      g.FillRandom(rng);
      ASSERT_EQ(keliGrayToRGB_8u_C1C3R(g.data(), g.step(), c3.data(), c3.step(),
                                       {w, 2}),
                kelOk);
      ASSERT_EQ(keliGrayToRGB_8u_C1C4R(g.data(), g.step(), c4.data(), c4.step(),
                                       {w, 2}, 7),
                kelOk);
      for (int y = 0; y < 2; ++y)
        for (int x = 0; x < w; ++x) {
          const Kel8u v = g.row(y)[x];
          for (int c = 0; c < 3; ++c) {
            ASSERT_EQ(c3.row(y)[3 * x + c], v);
            ASSERT_EQ(c4.row(y)[4 * x + c], v);
          }
          ASSERT_EQ(c4.row(y)[4 * x + 3], 7);
        }
      EXPECT_TRUE(c3.CanaryIntactOutside(3 * w, 2));
      EXPECT_TRUE(c4.CanaryIntactOutside(4 * w, 2));
      const Kel32f f[2] = {0.25f, -1.0f};
      Kel32f f4[8];
      ASSERT_EQ(keliGrayToRGB_32f_C1C4R(f, 8, f4, 32, {2, 1}, 0.5f), kelOk);
      EXPECT_EQ(f4[4], -1.0f);
      EXPECT_EQ(f4[7], 0.5f);
      GuardedPlane yuy(2 * w + 2, 1, 0, 0), luma(w, 1, 0, 0);
      yuy.FillRandom(rng);
      ASSERT_EQ(keliYCbCr422ToGray_8u_C2C1R(yuy.data(), yuy.step(), luma.data(),
                                            luma.step(), {w, 1}),
                kelOk);
      for (int x = 0; x < w; ++x) ASSERT_EQ(luma.data()[x], yuy.data()[2 * x]);
      EXPECT_TRUE(luma.CanaryIntactOutside(w, 1));
    }
  });
}

TEST(Gray, ChecksAndNothingWritten) {
  Kel8u src[12] = {}, dst[4] = {9, 9, 9, 9};
  EXPECT_EQ(keliRGBToGray_8u_C3C1R(nullptr, 3, dst, 1, {0, 0}), kelErrNullPtr);
  EXPECT_EQ(keliColorToGray_8u_C3C1R(src, 3, nullptr, 1, {1, 1}, nullptr),
            kelErrNullPtr);
  EXPECT_EQ(keliRGBToGray_8u_C3C1R(src, 3, dst, 1, {0, 1}), kelErrSize);
  EXPECT_EQ(keliGrayToRGB_8u_C1C3R(src, 1, dst, 3, {1, -1}), kelErrSize);
  EXPECT_EQ(keliYCbCr422ToGray_8u_C2C1R(src, 2, dst, 1, {-1, 1}), kelErrSize);
  for (Kel8u v : dst) EXPECT_EQ(v, 9);
}

}  // namespace
