// HLS and HSV: the two hue families.
//
// Every member computes per pixel in single precision, by the forms of
// spaces/hls_hsv_forms.inc. A row is converted in chunks: the pixels are
// gathered into three float rows (colour side in R, G, B order, the hue side
// in H, L, S or H, S, V order), the form runs over them, and the results are
// scattered back to the destination layout. So every layout (C3, AC4, P3,
// AC4P4, AP4C4, AP4) and channel order moves bytes around the same forms.
//
// Row structure: the first 4 * floor(width / 4) pixels of a row are the
// vector body, the rest (at most three pixels) the row tail. Three members
// compute slightly differently in the two parts, and both parts are part of
// the results: HLS to RGB 8u (constant factors against divisions), HSV to
// RGB (fused against separate multiply-adds) and BGR to HLS 8u (the
// saturation reciprocal without its Newton step). The split does not depend
// on the instruction set: the AVX2 kernels run the body forms eight pixels at
// a time, the portable build one at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/checks.h"
#include "frame/isa.h"
#include "frame/lanes.h"
#include "kelcc.h"

namespace kel::spaces {

// The scales of each sample type. Integer types carry their values in the
// type's integer scale; 16s is offset by 32768 on the way in and out.
template <class T>
struct HlsScale;
template <>
struct HlsScale<uint8_t> {
  static constexpr bool kFloat = false, kFused = true;
  static constexpr float kFs = 255.0f, kHalf = 127.5f, kTwice = 510.0f;
  static constexpr float kHueScale = 0.70833331f;  // 255 / 360
  static constexpr float kHueRecip = 1.4117647f;   // 360 / 255
  static constexpr float kLevelRecip = 0.003921569f;
  static constexpr float kOffset = 0.0f;
};
template <>
struct HlsScale<uint16_t> {
  static constexpr bool kFloat = false, kFused = false;
  static constexpr float kFs = 65535.0f, kHalf = 32767.5f, kTwice = 131070.0f;
  static constexpr float kHueScale = 182.04167f;    // 65535 / 360
  static constexpr float kHueRecip = 0.005493248f;  // 360 / 65535
  static constexpr float kLevelRecip = 1.5259022e-5f;
  static constexpr float kOffset = 0.0f;
};
template <>
struct HlsScale<int16_t> : HlsScale<uint16_t> {
  static constexpr float kOffset = 32768.0f;
};
template <>
struct HlsScale<float> {
  static constexpr bool kFloat = true, kFused = true;
  static constexpr float kFs = 1.0f;
};

enum class Hue { kRgbToHls, kHlsToRgb, kRgbToHsv, kHsvToRgb };

}  // namespace kel::spaces

#define KEL_LANE_NS kel::spaces::scalar
#define KEL_LANE_FN inline
#define KEL_LANE_LOOP inline
#define KEL_LANE_V float
#include "spaces/hls_hsv_forms.inc"
#undef KEL_LANE_NS
#undef KEL_LANE_FN
#undef KEL_LANE_LOOP
#undef KEL_LANE_V
#if KEL_X86_64
#define KEL_LANE_NS kel::spaces::avx2
#define KEL_LANE_FN KEL_AVX2_INLINE
#define KEL_LANE_LOOP KEL_AVX2
#define KEL_LANE_V ::kel::lanes::F8
#include "spaces/hls_hsv_forms.inc"
#undef KEL_LANE_NS
#undef KEL_LANE_FN
#undef KEL_LANE_LOOP
#undef KEL_LANE_V
#endif

namespace kel::spaces {

// Pixels of a row in the vector body.
constexpr int HueBodyPixels(int width) { return width & ~3; }

// ---- Sample conversion ----------------------------------------------------

template <class T>
inline float LoadSample(T v) {
  if constexpr (std::is_same_v<T, float>)
    return v;
  else
    return static_cast<float>(v) + HlsScale<T>::kOffset;
}

// Integer results arrive integral and within [0, full scale].
template <class T>
inline T StoreSample(float v) {
  if constexpr (std::is_same_v<T, float>)
    return v;
  else
    return static_cast<T>(static_cast<int32_t>(v) -
                          static_cast<int32_t>(HlsScale<T>::kOffset));
}

// Byte steps in whole elements: 16-bit members halve them and 32f members
// divide them by four, with an arithmetic shift.
template <class T>
constexpr ptrdiff_t ElementStep(int step) {
  return step >> (sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : 2);
}

// ---- Layouts ---------------------------------------------------------------

// kN interleaved channels (3, or 4 with alpha last), or kN planes (the
// fourth the alpha plane). kSwap: the first and third channels are stored
// exchanged (the colour side of the BGR members).
template <class T, int kN, bool kPlanar, bool kSwap = false>
struct HueView {
  using Plane = T*;
  using Elem = std::remove_const_t<T>;
  static constexpr int kCount = kN;
  static constexpr bool kIsPlanar = kPlanar, kIsSwapped = kSwap;
  Plane p[kPlanar ? kN : 1];
  ptrdiff_t step;

  HueView(T* base, ptrdiff_t s) : p{base}, step(s) {}
  HueView(T* const* planes, ptrdiff_t s) : step(s) {
    for (int i = 0; i < kN; ++i) p[i] = planes[i];
  }

  static constexpr int Slot(int c) { return kSwap ? 2 - c : c; }
  T* At(int plane, int y) const {
    return p[kPlanar ? plane : 0] + static_cast<ptrdiff_t>(y) * step;
  }
  // Element of channel c (storage order) of pixel x in row y.
  T& Ref(int y, int x, int c) const {
    if constexpr (kPlanar)
      return At(c, y)[x];
    else
      return At(0, y)[x * kN + c];
  }

  void Gather(int y, int x0, int n, float* const out[3]) const {
    for (int c = 0; c < 3; ++c)
      for (int i = 0; i < n; ++i)
        out[c][i] = LoadSample(Ref(y, x0 + i, Slot(c)));
  }
  void Scatter(int y, int x0, int n, const float* const in[3]) const {
    for (int c = 0; c < 3; ++c)
      for (int i = 0; i < n; ++i)
        Ref(y, x0 + i, Slot(c)) = StoreSample<T>(in[c][i]);
  }
};

// ---- AVX2 moves for 8-bit three-channel pixels
// -------------------------------

#if KEL_X86_64
// Byte shuffle masks picking storage channel `slot` of eight interleaved
// 3-byte pixels: from the first 16 bytes (kHigh false) or the next 8.
struct C3Masks {
  alignas(16) int8_t m[3][2][16];
  constexpr C3Masks() : m() {
    for (int c = 0; c < 3; ++c)
      for (int i = 0; i < 16; ++i) {
        const int pos = c + 3 * i;
        m[c][0][i] = static_cast<int8_t>(i < 8 && pos < 16 ? pos : -128);
        m[c][1][i] = static_cast<int8_t>(i < 8 && pos >= 16 ? pos - 16 : -128);
      }
  }
};
inline constexpr C3Masks kC3Masks{};

// Eight pixels of a 3-byte row to the three float rows (canonical order).
template <bool kSwap>
KEL_AVX2 void GatherC3x8(const uint8_t* p, float* const out[3], int i) {
  const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  const __m128i hi = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 16));
  for (int c = 0; c < 3; ++c) {
    const int slot = kSwap ? 2 - c : c;
    const __m128i mlo =
        _mm_load_si128(reinterpret_cast<const __m128i*>(kC3Masks.m[slot][0]));
    const __m128i mhi =
        _mm_load_si128(reinterpret_cast<const __m128i*>(kC3Masks.m[slot][1]));
    const __m128i v =
        _mm_or_si128(_mm_shuffle_epi8(lo, mlo), _mm_shuffle_epi8(hi, mhi));
    _mm256_storeu_ps(out[c] + i, _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(v)));
  }
}

// Eight pixels from the three float rows (integral, 0..255) to a 3-byte row.
template <bool kSwap>
KEL_AVX2 void ScatterC3x8(uint8_t* p, const float* const in[3], int i) {
  const __m256i a = _mm256_cvttps_epi32(_mm256_loadu_ps(in[kSwap ? 2 : 0] + i));
  const __m256i b = _mm256_cvttps_epi32(_mm256_loadu_ps(in[1] + i));
  const __m256i c = _mm256_cvttps_epi32(_mm256_loadu_ps(in[kSwap ? 0 : 2] + i));
  // Per 128-bit lane: 4 bytes of a, of b, of c and of c again.
  const __m256i bytes =
      _mm256_packus_epi16(_mm256_packus_epi32(a, b), _mm256_packus_epi32(c, c));
  const __m256i mask = _mm256_setr_epi8(
      0, 4, 8, 1, 5, 9, 2, 6, 10, 3, 7, 11, -128, -128, -128, -128, 0, 4, 8, 1,
      5, 9, 2, 6, 10, 3, 7, 11, -128, -128, -128, -128);
  const __m256i px = _mm256_shuffle_epi8(bytes, mask);
  const __m128i first = _mm256_castsi256_si128(px);
  const __m128i second = _mm256_extracti128_si256(px, 1);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(p), first);
  const int32_t t0 = _mm_extract_epi32(first, 2);
  __builtin_memcpy(p + 8, &t0, 4);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(p + 12), second);
  const int32_t t1 = _mm_extract_epi32(second, 2);
  __builtin_memcpy(p + 20, &t1, 4);
}

// Eight 3-float pixels to three float rows and back: two blends and one
// lane permutation per channel. Channel c of pixel k sits at element 3k + c
// of the three vectors a, b, c.
KEL_AVX2 inline void GatherC3x8f(const float* p, float* const out[3], int i) {
  const __m256 a = _mm256_loadu_ps(p), b = _mm256_loadu_ps(p + 8),
               c = _mm256_loadu_ps(p + 16);
  const __m256 t0 = _mm256_blend_ps(_mm256_blend_ps(a, b, 0x92), c, 0x24);
  const __m256 t1 = _mm256_blend_ps(_mm256_blend_ps(a, b, 0x24), c, 0x49);
  const __m256 t2 = _mm256_blend_ps(_mm256_blend_ps(a, b, 0x49), c, 0x92);
  _mm256_storeu_ps(
      out[0] + i,
      _mm256_permutevar8x32_ps(t0, _mm256_setr_epi32(0, 3, 6, 1, 4, 7, 2, 5)));
  _mm256_storeu_ps(
      out[1] + i,
      _mm256_permutevar8x32_ps(t1, _mm256_setr_epi32(1, 4, 7, 2, 5, 0, 3, 6)));
  _mm256_storeu_ps(
      out[2] + i,
      _mm256_permutevar8x32_ps(t2, _mm256_setr_epi32(2, 5, 0, 3, 6, 1, 4, 7)));
}
KEL_AVX2 inline void ScatterC3x8f(float* p, const float* const in[3], int i) {
  const __m256 x = _mm256_permutevar8x32_ps(
      _mm256_loadu_ps(in[0] + i), _mm256_setr_epi32(0, 3, 6, 1, 4, 7, 2, 5));
  const __m256 y = _mm256_permutevar8x32_ps(
      _mm256_loadu_ps(in[1] + i), _mm256_setr_epi32(5, 0, 3, 6, 1, 4, 7, 2));
  const __m256 z = _mm256_permutevar8x32_ps(
      _mm256_loadu_ps(in[2] + i), _mm256_setr_epi32(2, 5, 0, 3, 6, 1, 4, 7));
  _mm256_storeu_ps(p, _mm256_blend_ps(_mm256_blend_ps(x, y, 0x92), z, 0x24));
  _mm256_storeu_ps(p + 8,
                   _mm256_blend_ps(_mm256_blend_ps(x, y, 0x24), z, 0x49));
  _mm256_storeu_ps(p + 16,
                   _mm256_blend_ps(_mm256_blend_ps(x, y, 0x49), z, 0x92));
}
#endif

// Which eight-pixel mover a view has in the set Isa: 1 for interleaved
// 3-byte pixels, 2 for interleaved 3-float pixels, else 0 (element by
// element only).
template <class Isa, class View>
constexpr int kMover8 =
    !kIsAvx2<Isa> || View::kCount != 3 || View::kIsPlanar ? 0
    : sizeof(typename View::Elem) == 1                    ? 1
    : std::is_same_v<typename View::Elem, float>          ? 2
                                                          : 0;

// A row's pixels x0 .. x0 + n - 1 to float rows and back: eight at a time
// where the view has a mover, the rest element by element.
template <class Isa, class View>
void GatherRow(const View& v, int y, int x0, int n, float* const out[3]) {
  int i = 0;
#if KEL_X86_64
  for (; kMover8<Isa, View> != 0 && i + 8 <= n; i += 8) {
    if constexpr (kMover8<Isa, View> == 1)
      GatherC3x8<View::kIsSwapped>(&v.Ref(y, x0 + i, 0), out, i);
    else if constexpr (kMover8<Isa, View> == 2)
      GatherC3x8f(&v.Ref(y, x0 + i, 0), out, i);
  }
#endif
  float* const rest[3] = {out[0] + i, out[1] + i, out[2] + i};
  v.Gather(y, x0 + i, n - i, rest);
}
template <class Isa, class View>
void ScatterRow(const View& v, int y, int x0, int n, const float* const in[3]) {
  int i = 0;
#if KEL_X86_64
  for (; kMover8<Isa, View> != 0 && i + 8 <= n; i += 8) {
    if constexpr (kMover8<Isa, View> == 1)
      ScatterC3x8<View::kIsSwapped>(&v.Ref(y, x0 + i, 0), in, i);
    else if constexpr (kMover8<Isa, View> == 2)
      ScatterC3x8f(&v.Ref(y, x0 + i, 0), in, i);
  }
#endif
  const float* const rest[3] = {in[0] + i, in[1] + i, in[2] + i};
  v.Scatter(y, x0 + i, n - i, rest);
}

// ---- Row driver ------------------------------------------------------------

template <class Isa, class T, Hue kOp, bool kBgr, bool kCopyAlpha, class Src,
          class Dst>
inline void HueRows(const Src& src, const Dst& dst, KelImageSize roi) {
  constexpr int kChunk = 256;
  alignas(32) float buf[6][kChunk] = {};
  float* const in[3] = {buf[0], buf[1], buf[2]};
  float* const out[3] = {buf[3], buf[4], buf[5]};
  const int w = roi.width, body = HueBodyPixels(w);
  for (int y = 0; y < roi.height; ++y) {
    for (int x0 = 0; x0 < w; x0 += kChunk) {
      const int n = std::min(kChunk, w - x0);
      const int nb = std::clamp(body - x0, 0, n);
      GatherRow<Isa>(src, y, x0, n, in);
      bool done = false;
#if KEL_X86_64
      if constexpr (kIsAvx2<Isa>) {
        avx2::Chunk<T, kOp, true, kBgr>(in, out, nb);
        done = true;
      }
#endif
      if (!done) scalar::Chunk<T, kOp, true, kBgr>(in, out, nb);
      const float* const tin[3] = {in[0] + nb, in[1] + nb, in[2] + nb};
      float* const tout[3] = {out[0] + nb, out[1] + nb, out[2] + nb};
      scalar::Chunk<T, kOp, false, kBgr>(tin, tout, n - nb);
      ScatterRow<Isa>(dst, y, x0, n, out);
    }
    if constexpr (kCopyAlpha) {
      for (int x = 0; x < w; ++x) dst.Ref(y, x, 3) = src.Ref(y, x, 3);
    }
  }
}

// The row driver; the AVX2 set compiles the whole of it (gathers and
// scatters included) for AVX2.
#if KEL_X86_64
template <class T, Hue kOp, bool kBgr, bool kCopyAlpha, class Src, class Dst>
KEL_AVX2 __attribute__((flatten)) void HueRowsAvx2(const Src& src,
                                                   const Dst& dst,
                                                   KelImageSize roi) {
  HueRows<Avx2, T, kOp, kBgr, kCopyAlpha>(src, dst, roi);
}
#endif
template <class Isa, class T, Hue kOp, bool kBgr, bool kCopyAlpha, class Src,
          class Dst>
void ConvertHueRows(const Src& src, const Dst& dst, KelImageSize roi) {
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>)
    return HueRowsAvx2<T, kOp, kBgr, kCopyAlpha>(src, dst, roi);
#endif
  HueRows<Isa, T, kOp, kBgr, kCopyAlpha>(src, dst, roi);
}

// ---- Entry frames ----------------------------------------------------------

// RGB and the hue space in the same interleaved layout (C3, or AC4 with the
// destination alpha left alone). Checks: pointers, then size.
template <class Isa, class T, Hue kOp, int kN>
KelResult HuePacked(const T* pSrc, int srcStep, T* pDst, int dstStep,
                    KelImageSize roi) {
  ArgCheck c;
  c.NotNull(pSrc, pDst).MinSize(roi);
  if (c.Failed()) return c.Result();
  ConvertHueRows<Isa, T, kOp, false, false>(
      HueView<const T, kN, false>(pSrc, ElementStep<T>(srcStep)),
      HueView<T, kN, false>(pDst, ElementStep<T>(dstStep)), roi);
  return kelOk;
}

// Layout of one side of a BGR member: kN channels or planes.
template <int kN, bool kPlanar>
struct BgrSide {
  static constexpr int kCount = kN;
  static constexpr bool kIsPlanar = kPlanar;
};
using SideC3 = BgrSide<3, false>;
using SideC4 = BgrSide<4, false>;
using SideP3 = BgrSide<3, true>;
using SideP4 = BgrSide<4, true>;

template <class Side, bool kConst>
using BgrArg = std::conditional_t<
    Side::kIsPlanar,
    std::conditional_t<kConst, const Kel8u* const*, Kel8u* const*>,
    std::conditional_t<kConst, const Kel8u*, Kel8u*>>;

// The 8-bit BGR members between layouts. kToHls: BGR to HLS (the colour side
// is the source), else HLS to BGR. kStepsFirst: pointers, plane pointers,
// steps, then size (the planar and alpha-plane members); else pointers,
// size, steps. Alpha is copied when both sides carry it.
template <class Isa, bool kToHls, class SrcSide, class DstSide,
          bool kStepsFirst>
KelResult BgrHls(BgrArg<SrcSide, true> pSrc, int srcStep,
                 BgrArg<DstSide, false> pDst, int dstStep, KelImageSize roi) {
  ArgCheck c;
  c.NotNull(pSrc, pDst);
  if constexpr (SrcSide::kIsPlanar) c.Planes(pSrc, SrcSide::kCount);
  if constexpr (DstSide::kIsPlanar) c.Planes(pDst, DstSide::kCount);
  if constexpr (kStepsFirst)
    c.PositiveSteps(srcStep, dstStep).MinSize(roi);
  else
    c.MinSize(roi).PositiveSteps(srcStep, dstStep);
  if (c.Failed()) return c.Result();
  constexpr bool kAlpha = SrcSide::kCount == 4 && DstSide::kCount == 4 &&
                          (SrcSide::kIsPlanar || DstSide::kIsPlanar);
  constexpr Hue kOp = kToHls ? Hue::kRgbToHls : Hue::kHlsToRgb;
  ConvertHueRows<Isa, uint8_t, kOp, true, kAlpha>(
      HueView<const uint8_t, SrcSide::kCount, SrcSide::kIsPlanar, kToHls>(
          pSrc, srcStep),
      HueView<uint8_t, DstSide::kCount, DstSide::kIsPlanar, !kToHls>(pDst,
                                                                     dstStep),
      roi);
  return kelOk;
}

}  // namespace kel::spaces
