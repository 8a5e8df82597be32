// CIE XYZ from and to linear RGB with the D65 matrix of BT.709 primaries.
//
// 32f, 16u and 16s run the fused single-precision forms of
// spaces/xyz_forms.inc over the typed pixel views (16-bit types in their
// integer scale, 16s offset into 0..65535, every channel clamped to the
// type's range and rounded to nearest even whatever the caller's mode). 8u
// uses integer matrices: Q15 (to XYZ) or Q13 (to RGB) rows in the vector
// body of each row, the first 16 * floor(width / 16) pixels, and the rows
// scaled by 2^16 in the remainder; both are kept as they are, so a white
// pixel's Y is 255 in the body and 254 in the remainder. AC4 members leave
// the destination's fourth element as it was.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/checks.h"
#include "frame/isa.h"
#include "frame/lanes.h"
#include "frame/pixels.h"
#include "frame/rounding.h"
#include "kelcc.h"

#define KEL_LANE_FORMS "spaces/xyz_forms.inc"
#define KEL_LANE_FAMILY kel::spaces
#include "frame/lane_passes.h"

namespace kel::spaces {

// Pixels of an 8u row in vector blocks.
constexpr int XyzBodyPixels(int width) { return width & ~15; }

inline uint8_t Clamp8(int32_t v) {
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

// The 8u forms: body (Q15 or Q13 rows) and remainder (rows scaled by 2^16).
template <bool kToXyz>
struct Xyz8u {
  static void Body(int a, int b, int c, uint8_t* o) {
    if constexpr (kToXyz) {
      o[0] = Clamp8((13515 * a + 11717 * b + 5912 * c) >> 15);
      o[1] = Clamp8((6969 * a + 23434 * b + 2365 * c) >> 15);
      o[2] = Clamp8((634 * a + 3906 * b + 31137 * c) >> 15);
    } else {
      o[0] = Clamp8((26546 * a - 12591 * b - 4083 * c) >> 13);
      o[1] = Clamp8((-7939 * a + 15368 * b + 340 * c) >> 13);
      o[2] = Clamp8((456 * a - 1671 * b + 8661 * c) >> 13);
    }
  }
  static void Remainder(int a, int b, int c, uint8_t* o) {
    if constexpr (kToXyz) {
      const uint32_t ua = a, ub = b, uc = c;
      o[0] = static_cast<uint8_t>((27030 * ua + 23434 * ub + 11824 * uc) >> 16);
      o[1] = static_cast<uint8_t>((13937 * ua + 46868 * ub + 4729 * uc) >> 16);
      o[2] = static_cast<uint8_t>(
          std::min<uint32_t>((1267 * ua + 7811 * ub + 62274 * uc) >> 16, 255));
    } else {
      o[0] = Clamp8((212368 * a - 100738 * b - 32671 * c) >> 16);
      o[1] = Clamp8((-63521 * a + 122944 * b + 2723 * c) >> 16);
      o[2] = Clamp8((3646 * a - 13372 * b + 69291 * c) >> 16);
    }
  }
};

template <bool kToXyz, int kN>
inline void Xyz8uRows(const uint8_t* src, ptrdiff_t ss, uint8_t* dst,
                      ptrdiff_t ds, int w, int h) {
  const int body = XyzBodyPixels(w);
  for (int y = 0; y < h; ++y) {
    const uint8_t* s = src + y * ss;
    uint8_t* d = dst + y * ds;
    for (int x = 0; x < body; ++x)
      Xyz8u<kToXyz>::Body(s[kN * x], s[kN * x + 1], s[kN * x + 2], d + kN * x);
    for (int x = body; x < w; ++x)
      Xyz8u<kToXyz>::Remainder(s[kN * x], s[kN * x + 1], s[kN * x + 2],
                               d + kN * x);
  }
}
#if KEL_X86_64
template <bool kToXyz, int kN>
KEL_AVX2 __attribute__((flatten)) void Xyz8uRowsAvx2(const uint8_t* src,
                                                     ptrdiff_t ss, uint8_t* dst,
                                                     ptrdiff_t ds, int w,
                                                     int h) {
  Xyz8uRows<kToXyz, kN>(src, ss, dst, ds, w, h);
}
#endif

// The float forms over typed rows.
template <class Isa, class T, bool kToXyz, int kN>
void XyzFloatRows(const T* src, int ss, T* dst, int ds, KelImageSize roi) {
  constexpr bool kFloat = std::is_floating_point_v<T>;
  constexpr float kOffset = std::is_same_v<T, int16_t> ? 32768.0f : 0.0f;
  const PixelView<const T, kN, false> sv(src, ss);
  const PixelView<T, kN, false> dv(dst, ds);
  constexpr int kChunk = 256;
  alignas(32) float buf[6][kChunk + 8] = {};
  float* in[3] = {buf[0], buf[1], buf[2]};
  float* out[3] = {buf[3], buf[4], buf[5]};
  for (int y = 0; y < roi.height; ++y) {
    for (int x0 = 0; x0 < roi.width; x0 += kChunk) {
      const int n = std::min(kChunk, roi.width - x0);
      GatherRow<Isa, 3>(sv, y, x0, n, in);
      bool done = false;
#if KEL_X86_64
      if constexpr (kIsAvx2<Isa>) {
        avx2::XyzChunk<kToXyz, kFloat>(in, out, n, kOffset);
        done = true;
      }
#endif
      if (!done) scalar::XyzChunk<kToXyz, kFloat>(in, out, n, kOffset);
      ScatterRow<Isa, 3>(dv, y, x0, n, out);
    }
  }
}

// Checks: pointers, then size; steps are not checked.
template <class Isa, class T, bool kToXyz, int kN>
KelResult Xyz(const T* pSrc, int srcStep, T* pDst, int dstStep,
              KelImageSize roi) {
  ArgCheck c;
  c.NotNull(pSrc, pDst).MinSize(roi);
  if (c.Failed()) return c.Result();
  if constexpr (std::is_same_v<T, uint8_t>) {
#if KEL_X86_64
    if constexpr (kIsAvx2<Isa>) {
      Xyz8uRowsAvx2<kToXyz, kN>(pSrc, srcStep, pDst, dstStep, roi.width,
                                roi.height);
      return kelOk;
    }
#endif
    Xyz8uRows<kToXyz, kN>(pSrc, srcStep, pDst, dstStep, roi.width, roi.height);
  } else if constexpr (std::is_floating_point_v<T>) {
    XyzFloatRows<Isa, T, kToXyz, kN>(pSrc, srcStep, pDst, dstStep, roi);
  } else {
    const RoundToNearest nearest;
    XyzFloatRows<Isa, T, kToXyz, kN>(pSrc, srcStep, pDst, dstStep, roi);
  }
  return kelOk;
}

}  // namespace kel::spaces
