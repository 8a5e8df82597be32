// Gray: colour to one gray plane with the default or the caller's weights,
// gray back to three or four channels, and the luma bytes of packed 4:2:2.
//
// Each sample type states its gray form for the row body and for the row
// tail, side by side (they differ for 8u, 16u and 16s, by design; the split
// is a property of the family: 32-pixel blocks for 8u, 16 for 16u, 4 for
// 16s). The AVX2 set runs the same forms compiled for AVX2 and FMA, where
// the compiler takes eight or more pixels at a time; every operation is the
// same IEEE or integer operation, so both sets give the same bits.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#if defined(__x86_64__)
#include <immintrin.h>
#endif
#include <type_traits>

#include "frame/checks.h"
#include "frame/isa.h"
#include "frame/pixels.h"
#include "kelcc.h"

namespace kel::spaces {

// The default weights 0.299, 0.587, 0.114 in single precision; the 64f
// members widen these same values.
inline constexpr float kGrayWeights[3] = {0.299f, 0.587f, 0.114f};

// Q15 weights of the 8u members: trunc(32768 w + 0.5), the product and sum
// fused. Weights outside 0..2 do not fit the unsigned 16-bit products of
// the body: they are clamped to 0..65535 (so a negative weight counts as 0),
// the same in body and tail.
inline uint32_t Q15(float w) {
  const float c = std::fma(32768.0f, w, 0.5f);
  const float clamped = c < 65535.0f ? (c > 0.0f ? c : 0.0f) : 65535.0f;
  return static_cast<uint32_t>(clamped);
}

// A float converted to a 32-bit integer in the current rounding mode, as
// the processor's conversion does it: values outside the int32 range and
// NaN give INT32_MIN.
inline int32_t ToIntCurrent(float v) {
  const float r = std::nearbyint(v);
  if (!(r >= -2147483648.0f && r < 2147483648.0f))
    return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(r);
}

template <class T>
struct GrayForm;

// 8u, on Q15 weights. Body: high halves of 16 x 16 products of x * 256,
// saturating 16-bit sums, then s / 128 capped at 255. Tail: the exact
// rounded Q15 sum, low 8 bits.
template <>
struct GrayForm<uint8_t> {
  static constexpr int kBlock = 32;
  using Weights = uint32_t;
  static uint8_t Body(uint32_t x0, uint32_t x1, uint32_t x2,
                      const uint32_t* c) {
    auto hi = [](uint32_t x, uint32_t k) { return (x * 256u * k) >> 16; };
    auto sat = [](uint32_t s) { return s < 65535u ? s : 65535u; };
    uint32_t s = sat(hi(x2, c[2]) + hi(x1, c[1]));
    s = sat(s + hi(x0, c[0]));
    s = sat(s + 64u);
    const uint32_t g = s >> 7;
    return static_cast<uint8_t>(g < 255u ? g : 255u);
  }
  static uint8_t Tail(uint32_t x0, uint32_t x1, uint32_t x2,
                      const uint32_t* c) {
    return static_cast<uint8_t>((x0 * c[0] + x1 * c[1] + x2 * c[2] + 16384u) >>
                                15);
  }
};

// 16u. Both parts: fma(w2, x2, fma(w0, x0, x1 w1)), converted in the current
// rounding mode; the body clamps to 0..65535, the tail keeps the low 16 bits.
template <>
struct GrayForm<uint16_t> {
  static constexpr int kBlock = 16;
  using Weights = float;
  static float Sum(float x0, float x1, float x2, const float* w) {
    return std::fma(w[2], x2, std::fma(w[0], x0, x1 * w[1]));
  }
  static uint16_t Body(uint16_t x0, uint16_t x1, uint16_t x2, const float* w) {
    const int32_t g = ToIntCurrent(Sum(x0, x1, x2, w));
    return static_cast<uint16_t>(g < 0 ? 0 : g > 65535 ? 65535 : g);
  }
  static uint16_t Tail(uint16_t x0, uint16_t x1, uint16_t x2, const float* w) {
    return static_cast<uint16_t>(ToIntCurrent(Sum(x0, x1, x2, w)));
  }
};

// 16s, offset into the unsigned range. Body (groups of four):
// fma(w2, X2, fma(w0, X0, w1 X1)), converted, less 32768, clamped. Tail:
// (X0 w0 + X1 w1) + X2 w2 with separate operations, converted, less 32768,
// low 16 bits.
template <>
struct GrayForm<int16_t> {
  static constexpr int kBlock = 4;
  using Weights = float;
  static int16_t Body(int16_t x0, int16_t x1, int16_t x2, const float* w) {
    const float X0 = static_cast<float>(x0 + 32768),
                X1 = static_cast<float>(x1 + 32768),
                X2 = static_cast<float>(x2 + 32768);
    const int64_t g = static_cast<int64_t>(ToIntCurrent(
                          std::fma(w[2], X2, std::fma(w[0], X0, w[1] * X1)))) -
                      32768;
    return static_cast<int16_t>(g < -32768 ? -32768 : g > 32767 ? 32767 : g);
  }
  static int16_t Tail(int16_t x0, int16_t x1, int16_t x2, const float* w) {
    const float X0 = static_cast<float>(x0 + 32768),
                X1 = static_cast<float>(x1 + 32768),
                X2 = static_cast<float>(x2 + 32768);
    const int32_t g = ToIntCurrent((X0 * w[0] + X1 * w[1]) + X2 * w[2]);
    return static_cast<int16_t>(static_cast<uint32_t>(g) - 32768u);
  }
};

// 32f and 64f: one expression everywhere, no clamping. A NaN result is
// stored as the positive quiet NaN (which operand's NaN an operation passes
// on is not something the kernels can keep the same).
template <class F>
struct GrayFloatForm {
  static constexpr int kBlock = 1;
  using Weights = F;
  static F Body(F x0, F x1, F x2, const F* w) {
    const F g = std::fma(w[2], x2, std::fma(w[0], x0, x1 * w[1]));
    return g == g ? g : std::numeric_limits<F>::quiet_NaN();
  }
  static F Tail(F x0, F x1, F x2, const F* w) { return Body(x0, x1, x2, w); }
};
template <>
struct GrayForm<float> : GrayFloatForm<float> {};
template <>
struct GrayForm<double> : GrayFloatForm<double> {};

// Rows of colour to rows of gray; kN elements per source pixel (3, or 4 with
// the fourth ignored). Rows are `ss` and `ds` bytes apart.
template <class T, int kN>
inline void GrayRows(const T* src, ptrdiff_t ss, T* dst, ptrdiff_t ds, int w,
                     int h, const typename GrayForm<T>::Weights* k) {
  using F = GrayForm<T>;
  const int body = w - w % F::kBlock;
  for (int y = 0; y < h; ++y) {
    const T* s =
        reinterpret_cast<const T*>(reinterpret_cast<const char*>(src) + y * ss);
    T* d = reinterpret_cast<T*>(reinterpret_cast<char*>(dst) + y * ds);
    for (int x = 0; x < body; ++x)
      d[x] = F::Body(s[kN * x], s[kN * x + 1], s[kN * x + 2], k);
    for (int x = body; x < w; ++x)
      d[x] = F::Tail(s[kN * x], s[kN * x + 1], s[kN * x + 2], k);
  }
}

#if KEL_X86_64
// Channel c of sixteen 3-byte pixels (48 bytes in three 16-byte chunks;
// byte q of chunk k belongs to channel (k + q) mod 3): a byte blend of the
// chunks picks channel c's bytes (kPick: 0x80 where chunk 1 is taken, in
// the second byte where chunk 2 is), and one shuffle orders them by pixel.
struct GrayC3Masks {
  alignas(32) int8_t pick1[3][32];
  alignas(32) int8_t pick2[3][32];
  alignas(32) int8_t order[3][32];
  constexpr GrayC3Masks() : pick1(), pick2(), order() {
    for (int c = 0; c < 3; ++c)
      for (int i = 0; i < 32; ++i) {
        const int q = i % 16;
        const int k = ((c - q) % 3 + 3) % 3;  // the chunk holding channel c
        pick1[c][i] = static_cast<int8_t>(k == 1 ? -128 : 0);
        pick2[c][i] = static_cast<int8_t>(k == 2 ? -128 : 0);
        // Pixel j's channel-c byte sits at 3j + c = 16k' + q'.
        const int p = 3 * q + c;
        order[c][i] = static_cast<int8_t>(p % 16);
      }
  }
};
inline constexpr GrayC3Masks kGrayC3Masks{};

// The 8u body form on 32 pixels of 3 bytes: channel bytes times 256 in
// 16-bit lanes, high halves of the Q15 products, saturating sums.
KEL_AVX2 inline void Gray8uC3Block(const uint8_t* s, uint8_t* d,
                                   const __m256i* k) {
  const __m256i v[3] = {
      _mm256_inserti128_si256(
          _mm256_castsi128_si256(
              _mm_loadu_si128(reinterpret_cast<const __m128i*>(s))),
          _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 48)), 1),
      _mm256_inserti128_si256(
          _mm256_castsi128_si256(
              _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16))),
          _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 64)), 1),
      _mm256_inserti128_si256(
          _mm256_castsi128_si256(
              _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 32))),
          _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 80)), 1)};
  const __m256i zero = _mm256_setzero_si256();
  __m256i lo = zero, hi = zero;
  // Channel 2 first, then 1, then 0, each sum saturating.
  for (int c = 2; c >= 0; --c) {
    const __m256i pick = _mm256_blendv_epi8(
        _mm256_blendv_epi8(v[0], v[1],
                           _mm256_load_si256(reinterpret_cast<const __m256i*>(
                               kGrayC3Masks.pick1[c]))),
        v[2],
        _mm256_load_si256(
            reinterpret_cast<const __m256i*>(kGrayC3Masks.pick2[c])));
    const __m256i ch = _mm256_shuffle_epi8(
        pick, _mm256_load_si256(
                  reinterpret_cast<const __m256i*>(kGrayC3Masks.order[c])));
    lo = _mm256_adds_epu16(
        lo, _mm256_mulhi_epu16(_mm256_unpacklo_epi8(zero, ch), k[c]));
    hi = _mm256_adds_epu16(
        hi, _mm256_mulhi_epu16(_mm256_unpackhi_epi8(zero, ch), k[c]));
  }
  const __m256i half = _mm256_set1_epi16(64);
  lo = _mm256_srli_epi16(_mm256_adds_epu16(lo, half), 7);
  hi = _mm256_srli_epi16(_mm256_adds_epu16(hi, half), 7);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(d),
                      _mm256_packus_epi16(lo, hi));
}

// Rows of 3-byte pixels: the 32-pixel blocks of the body in vectors, the
// rest by the forms.
KEL_AVX2 inline void Gray8uC3RowsAvx2(const uint8_t* src, ptrdiff_t ss,
                                      uint8_t* dst, ptrdiff_t ds, int w, int h,
                                      const uint32_t* c) {
  const __m256i k[3] = {_mm256_set1_epi16(static_cast<int16_t>(c[0])),
                        _mm256_set1_epi16(static_cast<int16_t>(c[1])),
                        _mm256_set1_epi16(static_cast<int16_t>(c[2]))};
  const int body = w - w % 32;
  for (int y = 0; y < h; ++y) {
    const uint8_t* s = src + y * ss;
    uint8_t* d = dst + y * ds;
    for (int x = 0; x < body; x += 32) Gray8uC3Block(s + 3 * x, d + x, k);
    for (int x = body; x < w; ++x)
      d[x] = GrayForm<uint8_t>::Tail(s[3 * x], s[3 * x + 1], s[3 * x + 2], c);
  }
}

// Rows of 3-float pixels, eight at a time: two blends and a lane
// permutation per channel, then the same fused form.
KEL_AVX2 inline void Gray32fC3RowsAvx2(const float* src, ptrdiff_t ss,
                                       float* dst, ptrdiff_t ds, int w, int h,
                                       const float* wt) {
  const __m256 w0 = _mm256_set1_ps(wt[0]), w1 = _mm256_set1_ps(wt[1]),
               w2 = _mm256_set1_ps(wt[2]);
  const __m256i i0 = _mm256_setr_epi32(0, 3, 6, 1, 4, 7, 2, 5);
  const __m256i i1 = _mm256_setr_epi32(1, 4, 7, 2, 5, 0, 3, 6);
  const __m256i i2 = _mm256_setr_epi32(2, 5, 0, 3, 6, 1, 4, 7);
  const __m256 nan = _mm256_castsi256_ps(_mm256_set1_epi32(0x7FC00000));
  for (int y = 0; y < h; ++y) {
    const float* s = reinterpret_cast<const float*>(
        reinterpret_cast<const char*>(src) + y * ss);
    float* d = reinterpret_cast<float*>(reinterpret_cast<char*>(dst) + y * ds);
    int x = 0;
    for (; x + 8 <= w; x += 8) {
      const __m256 a = _mm256_loadu_ps(s + 3 * x),
                   b = _mm256_loadu_ps(s + 3 * x + 8),
                   c = _mm256_loadu_ps(s + 3 * x + 16);
      const __m256 x0 = _mm256_permutevar8x32_ps(
          _mm256_blend_ps(_mm256_blend_ps(a, b, 0x92), c, 0x24), i0);
      const __m256 x1 = _mm256_permutevar8x32_ps(
          _mm256_blend_ps(_mm256_blend_ps(a, b, 0x24), c, 0x49), i1);
      const __m256 x2 = _mm256_permutevar8x32_ps(
          _mm256_blend_ps(_mm256_blend_ps(a, b, 0x49), c, 0x92), i2);
      const __m256 g = _mm256_fmadd_ps(
          w2, x2, _mm256_fmadd_ps(w0, x0, _mm256_mul_ps(x1, w1)));
      _mm256_storeu_ps(
          d + x, _mm256_blendv_ps(g, nan, _mm256_cmp_ps(g, g, _CMP_UNORD_Q)));
    }
    for (; x < w; ++x)
      d[x] = GrayForm<float>::Tail(s[3 * x], s[3 * x + 1], s[3 * x + 2], wt);
  }
}

template <class T, int kN>
KEL_AVX2 __attribute__((flatten)) void GrayRowsAvx2(
    const T* src, ptrdiff_t ss, T* dst, ptrdiff_t ds, int w, int h,
    const typename GrayForm<T>::Weights* k) {
  if constexpr (std::is_same_v<T, uint8_t> && kN == 3)
    Gray8uC3RowsAvx2(src, ss, dst, ds, w, h, k);
  else if constexpr (std::is_same_v<T, float> && kN == 3)
    Gray32fC3RowsAvx2(src, ss, dst, ds, w, h, k);
  else
    GrayRows<T, kN>(src, ss, dst, ds, w, h, k);
}
#endif

// Byte step of a gray member: 16s members use whole elements.
template <class T>
constexpr ptrdiff_t GrayStep(int step) {
  if constexpr (std::is_same_v<T, int16_t>) return ElementStepBytes<T>(step);
  return step;
}

// The weights a member runs with: the caller's, or the defaults for null,
// in the form's representation.
template <class T, class W>
void GrayWeights(const W* given, typename GrayForm<T>::Weights* k) {
  for (int i = 0; i < 3; ++i) {
    const W w = given ? given[i] : static_cast<W>(kGrayWeights[i]);
    if constexpr (std::is_same_v<T, uint8_t>)
      k[i] = Q15(static_cast<float>(w));
    else
      k[i] = static_cast<typename GrayForm<T>::Weights>(w);
  }
}

template <class Isa, class T, int kN, class W = float>
KelResult ColorToGray(const T* pSrc, int srcStep, T* pDst, int dstStep,
                      KelImageSize roi, const W* weights) {
  ArgCheck c;
  c.NotNull(pSrc, pDst).MinSize(roi);
  if (c.Failed()) return c.Result();
  typename GrayForm<T>::Weights k[3];
  GrayWeights<T>(weights, k);
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>) {
    GrayRowsAvx2<T, kN>(pSrc, GrayStep<T>(srcStep), pDst, GrayStep<T>(dstStep),
                        roi.width, roi.height, k);
    return kelOk;
  }
#endif
  GrayRows<T, kN>(pSrc, GrayStep<T>(srcStep), pDst, GrayStep<T>(dstStep),
                  roi.width, roi.height, k);
  return kelOk;
}

template <class Isa, class T, int kN>
KelResult RGBToGray(const T* pSrc, int srcStep, T* pDst, int dstStep,
                    KelImageSize roi) {
  return ColorToGray<Isa, T, kN, float>(pSrc, srcStep, pDst, dstStep, roi,
                                        nullptr);
}

// Gray to kN channels: (g, g, g) or (g, g, g, alpha).
template <class T, int kN>
inline void SpreadRows(const T* src, ptrdiff_t ss, T* dst, ptrdiff_t ds, int w,
                       int h, T alpha) {
  for (int y = 0; y < h; ++y) {
    const T* s =
        reinterpret_cast<const T*>(reinterpret_cast<const char*>(src) + y * ss);
    T* d = reinterpret_cast<T*>(reinterpret_cast<char*>(dst) + y * ds);
    for (int x = 0; x < w; ++x) {
      d[kN * x] = d[kN * x + 1] = d[kN * x + 2] = s[x];
      if constexpr (kN == 4) d[kN * x + 3] = alpha;
    }
  }
}
#if KEL_X86_64
// 8-bit gray to 3 bytes per pixel, sixteen pixels per 48 bytes: three byte
// shuffles of the sixteen gray bytes.
KEL_AVX2 inline void Spread8uC3RowsAvx2(const uint8_t* src, ptrdiff_t ss,
                                        uint8_t* dst, ptrdiff_t ds, int w,
                                        int h) {
  alignas(16) static constexpr int8_t kMasks[3][16] = {
      {0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5},
      {5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10},
      {10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15}};
  const __m256i m0 = _mm256_broadcastsi128_si256(
      _mm_load_si128(reinterpret_cast<const __m128i*>(kMasks[0])));
  const __m256i m1 = _mm256_broadcastsi128_si256(
      _mm_load_si128(reinterpret_cast<const __m128i*>(kMasks[1])));
  const __m256i m2 = _mm256_broadcastsi128_si256(
      _mm_load_si128(reinterpret_cast<const __m128i*>(kMasks[2])));
  const int blocks = w - w % 32;
  for (int y = 0; y < h; ++y) {
    const uint8_t* s = src + y * ss;
    uint8_t* d = dst + y * ds;
    int x = 0;
    for (; x < blocks; x += 32) {
      const __m256i g =
          _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + x));
      const __m256i a = _mm256_shuffle_epi8(g, m0),
                    b = _mm256_shuffle_epi8(g, m1),
                    c = _mm256_shuffle_epi8(g, m2);
      uint8_t* o = d + 3 * x;
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(o),
                          _mm256_permute2x128_si256(a, b, 0x20));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(o + 32),
                          _mm256_permute2x128_si256(c, a, 0x30));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(o + 64),
                          _mm256_permute2x128_si256(b, c, 0x31));
    }
    for (; x < w; ++x) d[3 * x] = d[3 * x + 1] = d[3 * x + 2] = s[x];
  }
}

template <class T, int kN>
KEL_AVX2 __attribute__((flatten)) void SpreadRowsAvx2(const T* src,
                                                      ptrdiff_t ss, T* dst,
                                                      ptrdiff_t ds, int w,
                                                      int h, T alpha) {
  if constexpr (std::is_same_v<T, uint8_t> && kN == 3)
    Spread8uC3RowsAvx2(src, ss, dst, ds, w, h);
  else
    SpreadRows<T, kN>(src, ss, dst, ds, w, h, alpha);
}
#endif

template <class Isa, class T, int kN>
KelResult GrayToColor(const T* pSrc, int srcStep, T* pDst, int dstStep,
                      KelImageSize roi, T alpha) {
  ArgCheck c;
  c.NotNull(pSrc, pDst).MinSize(roi);
  if (c.Failed()) return c.Result();
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>) {
    SpreadRowsAvx2<T, kN>(pSrc, srcStep, pDst, dstStep, roi.width, roi.height,
                          alpha);
    return kelOk;
  }
#endif
  SpreadRows<T, kN>(pSrc, srcStep, pDst, dstStep, roi.width, roi.height, alpha);
  return kelOk;
}

template <class Isa, class T>
KelResult GrayToRGB3(const T* pSrc, int srcStep, T* pDst, int dstStep,
                     KelImageSize roi) {
  return GrayToColor<Isa, T, 3>(pSrc, srcStep, pDst, dstStep, roi, T{});
}

// The luma bytes of packed 4:2:2 (luma first): byte 2x of each row.
template <class Isa>
KelResult YCbCr422ToGray(const Kel8u* pSrc, int srcStep, Kel8u* pDst,
                         int dstStep, KelImageSize roi) {
  ArgCheck c;
  c.NotNull(pSrc, pDst).MinSize(roi);
  if (c.Failed()) return c.Result();
  for (int y = 0; y < roi.height; ++y) {
    const Kel8u* s = pSrc + static_cast<ptrdiff_t>(y) * srcStep;
    Kel8u* d = pDst + static_cast<ptrdiff_t>(y) * dstStep;
    for (int x = 0; x < roi.width; ++x) d[x] = s[2 * x];
  }
  return kelOk;
}

}  // namespace kel::spaces
