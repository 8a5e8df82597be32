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
#include "frame/pixels.h"
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
  static constexpr float kOffset = 0.0f;
};
template <class T>
constexpr float HlsOffset() {
  return HlsScale<T>::kOffset;
}

enum class Hue { kRgbToHls, kHlsToRgb, kRgbToHsv, kHsvToRgb };

}  // namespace kel::spaces

#define KEL_LANE_FORMS "spaces/hls_hsv_forms.inc"
#define KEL_LANE_FAMILY kel::spaces
#include "frame/lane_passes.h"

namespace kel::spaces {

// Pixels of a row in the vector body.
constexpr int HueBodyPixels(int width) { return width & ~3; }

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
      GatherRow<Isa, 3>(src, y, x0, n, in);
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
      ScatterRow<Isa, 3>(dst, y, x0, n, out);
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
      PixelView<const T, kN, false>(pSrc, ElementStepBytes<T>(srcStep)),
      PixelView<T, kN, false>(pDst, ElementStepBytes<T>(dstStep)), roi);
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
      PixelView<const uint8_t, SrcSide::kCount, SrcSide::kIsPlanar, kToHls>(
          pSrc, srcStep),
      PixelView<uint8_t, DstSide::kCount, DstSide::kIsPlanar, !kToHls>(pDst,
                                                                       dstStep),
      roi);
  return kelOk;
}

}  // namespace kel::spaces
