// The AVX2 blocks of the encoders against the scalar forms: every RGB triple
// through the 4:4:4 blocks (form A and form B), and many random blocks,
// extremes included, through the 2- and 4-pixel chroma sums.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "frame/dispatch.h"
#include "ycbcr/forms.h"
#include "ycbcr/rgb_to_ycbcr.h"

// The AVX2 blocks exist on x86-64 only.
#if KEL_X86_64
namespace {

namespace y = kel::ycbcr;

#define REQUIRE_AVX2() \
  if (!kel::frame::CpuHasAvx2()) GTEST_SKIP() << "no AVX2 on this CPU"

// One row holds every (g, b) for a fixed r.
constexpr int kRow = 65536;

// Sanitizer builds sample every 15th r (all g, b); the others sweep all.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kRStep = 15;
#else
constexpr int kRStep = 1;
#endif

TEST(EncodeForms, FormAOverEveryTriple) {
  REQUIRE_AVX2();
  std::vector<uint8_t> buf(3 * kRow + 48), py(kRow), pcb(kRow), pcr(kRow);
  // Rows alternately start on a 32-byte boundary and 16 bytes past one (the
  // row then begins with its 16-pixel block).
  uint8_t* const aligned =
      buf.data() + (-reinterpret_cast<uintptr_t>(buf.data()) & 31);
  for (int r = 0; r < 256; r += kRStep) {
    uint8_t* const src = aligned + 16 * (r & 1);
    for (int i = 0; i < kRow; ++i)
      src[3 * i] = static_cast<uint8_t>(r),
              src[3 * i + 1] = static_cast<uint8_t>(i >> 8),
              src[3 * i + 2] = static_cast<uint8_t>(i);
    y::avx2::Row444<y::C3Rgb, y::Planar444, false>(
        {src}, {py.data(), pcb.data(), pcr.data()}, kRow);
    for (int i = 0; i < kRow; ++i) {
      const int g = i >> 8, b = i & 255;
      ASSERT_EQ(py[i], y::FormAY(r, g, b)) << r << "," << g << "," << b;
      ASSERT_EQ(pcb[i], y::FormACb(128 * r, 128 * g, 128 * b))
          << r << "," << g << "," << b;
      ASSERT_EQ(pcr[i], y::FormACr(128 * r, 128 * g, 128 * b))
          << r << "," << g << "," << b;
    }
  }
}

TEST(EncodeForms, FormBOverEveryTriple) {
  REQUIRE_AVX2();
  std::vector<uint8_t> pr(kRow), pg(kRow), pb(kRow), py(kRow), pcb(kRow),
      pcr(kRow);
  for (int i = 0; i < kRow; ++i)
    pg[i] = static_cast<uint8_t>(i >> 8), pb[i] = static_cast<uint8_t>(i);
  for (int r = 0; r < 256; r += kRStep) {
    std::fill(pr.begin(), pr.end(), static_cast<uint8_t>(r));
    y::avx2::Row444<y::PlanarRgb, y::Planar444, true>(
        {pr.data(), pg.data(), pb.data()}, {py.data(), pcb.data(), pcr.data()},
        kRow);
    for (int i = 0; i < kRow; ++i) {
      const int g = i >> 8, b = i & 255;
      ASSERT_EQ(py[i], y::FormBY(r, g, b)) << r << "," << g << "," << b;
      ASSERT_EQ(pcb[i], y::FormBChroma(r, g, b, -9699, -19071, 28770))
          << r << "," << g << "," << b;
      ASSERT_EQ(pcr[i], y::FormBChroma(r, g, b, 28770, -24117, -4653))
          << r << "," << g << "," << b;
    }
  }
}

// Random bytes with the extremes 0 and 255 drawn often, so that sums reach
// their ends.
std::vector<uint8_t> RandomBytes(size_t n, std::mt19937& rng) {
  std::uniform_int_distribution<int> pick(0, 9), byte(0, 255);
  std::vector<uint8_t> v(n);
  for (auto& b : v) {
    const int k = pick(rng);
    b = static_cast<uint8_t>(k == 0 ? 0 : k == 1 ? 255 : byte(rng));
  }
  return v;
}

constexpr int kW = 1024;  // pixels per row, all in vector blocks
constexpr int kRows = 64;

TEST(EncodeForms, TwoPixelSumsOfRandomBlocks) {
  REQUIRE_AVX2();
  std::mt19937 rng(422);
  const auto src = RandomBytes(4 * kW * kRows, rng);
  std::vector<uint8_t> py(kW), pcb(kW / 2), pcr(kW / 2);
  for (int row = 0; row < kRows; ++row) {
    const uint8_t* s = src.data() + 4 * kW * row;
    y::avx2::Row422<y::C4Bgr, y::Planar422>(
        {s}, {py.data(), pcb.data(), pcr.data()}, kW);
    for (int k = 0; k < kW / 2; ++k) {
      const uint8_t* p = s + 8 * k;  // B, G, R, A twice
      const int sr = 64 * (p[2] + p[6]), sg = 64 * (p[1] + p[5]),
                sb = 64 * (p[0] + p[4]);
      ASSERT_EQ(pcb[k], y::FormACb(sr, sg, sb))
          << "row " << row << " pair " << k;
      ASSERT_EQ(pcr[k], y::FormACr(sr, sg, sb))
          << "row " << row << " pair " << k;
      ASSERT_EQ(py[2 * k], y::FormAY(p[2], p[1], p[0]));
      ASSERT_EQ(py[2 * k + 1], y::FormAY(p[6], p[5], p[4]));
    }
  }
}

TEST(EncodeForms, FourPixelSumsOfRandomBlocks) {
  REQUIRE_AVX2();
  std::mt19937 rng(420);
  const auto src = RandomBytes(3 * kW * kRows, rng);
  std::vector<uint8_t> y0(kW), y1(kW), c(kW), q(kW), qcb(kW / 4), qcr(kW / 4);
  for (int row = 0; row + 1 < kRows; row += 2) {
    const uint8_t* s0 = src.data() + 3 * kW * row;
    const uint8_t* s1 = s0 + 3 * kW;
    // 2x2 blocks (two-plane output) and 4x1 blocks of the first row.
    y::avx2::Row420<y::C3Rgb, y::SemiPlanar420>(
        {s0}, {s1}, {y0.data(), y1.data(), c.data()}, kW);
    y::avx2::Row411<y::C3Rgb>({s0}, {q.data(), qcb.data(), qcr.data()}, kW);
    auto at = [](const uint8_t* s, int x, int ch) { return s[3 * x + ch]; };
    for (int k = 0; k < kW / 2; ++k) {
      int sum[3] = {};
      for (int ch = 0; ch < 3; ++ch)
        sum[ch] = at(s0, 2 * k, ch) + at(s0, 2 * k + 1, ch) +
                  at(s1, 2 * k, ch) + at(s1, 2 * k + 1, ch);
      ASSERT_EQ(c[2 * k], y::FormACb(32 * sum[0], 32 * sum[1], 32 * sum[2]))
          << "rows " << row << " block " << k;
      ASSERT_EQ(c[2 * k + 1], y::FormACr(32 * sum[0], 32 * sum[1], 32 * sum[2]))
          << "rows " << row << " block " << k;
    }
    for (int k = 0; k < kW / 4; ++k) {
      int sum[3] = {};
      for (int i = 0; i < 4; ++i)
        for (int ch = 0; ch < 3; ++ch) sum[ch] += at(s0, 4 * k + i, ch);
      ASSERT_EQ(qcb[k], y::FormACb(32 * sum[0], 32 * sum[1], 32 * sum[2]))
          << "row " << row << " quad " << k;
      ASSERT_EQ(qcr[k], y::FormACr(32 * sum[0], 32 * sum[1], 32 * sum[2]))
          << "row " << row << " quad " << k;
    }
  }
}

}  // namespace
#endif  // KEL_X86_64
