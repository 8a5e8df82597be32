// The colour twist: a caller-given 3 x 4 matrix (three rows of three
// factors and an offset) applied to every pixel of 8u, 16u, 16s and 32f
// images, and a 4 x 4 matrix applied to four-channel floats.
//
// Every layout (C3, AC4 with its fourth element left alone, C4, P3 with its
// planes anywhere, and the in-place forms) moves pixels through the typed
// views of frame/pixels.h around one per-pixel form (spaces/twist_forms.inc).
// In-place members read a chunk of whole pixels before writing any of them.
// The integer members round to nearest even whatever the caller's rounding
// mode, and leave that mode as they found it (frame/rounding.h).
#pragma once

#include <algorithm>
#include <limits>
#include <type_traits>

#include "frame/checks.h"
#include "frame/isa.h"
#include "frame/lanes.h"
#include "frame/pixels.h"
#include "frame/rounding.h"
#include "kelcc.h"

#define KEL_LANE_FORMS "spaces/twist_forms.inc"
#define KEL_LANE_FAMILY kel::spaces
#include "frame/lane_passes.h"

namespace kel::spaces {

// The region through the matrix, row by row in chunks of pixels.
template <class Isa, class T, int kCh, class Src, class Dst>
void TwistRows(const Src& src, const Dst& dst, KelImageSize roi,
               const float* matrix) {
  constexpr int kChunk = 256;
  alignas(32) float buf[2 * kCh][kChunk + 8] = {};
  float* in[kCh];
  float* out[kCh];
  for (int c = 0; c < kCh; ++c) in[c] = buf[c], out[c] = buf[kCh + c];
  for (int y = 0; y < roi.height; ++y) {
    for (int x0 = 0; x0 < roi.width; x0 += kChunk) {
      const int n = std::min(kChunk, roi.width - x0);
      GatherRow<Isa, kCh>(src, y, x0, n, in);
      bool done = false;
#if KEL_X86_64
      if constexpr (kIsAvx2<Isa>) {
        avx2::TwistChunk<T, kCh>(matrix, in, out, n);
        done = true;
      }
#endif
      if (!done) scalar::TwistChunk<T, kCh>(matrix, in, out, n);
      ScatterRow<Isa, kCh>(dst, y, x0, n, out);
    }
  }
}

// Integer members round to nearest even whatever the caller's mode.
struct NoGuard {};
template <class T>
using TwistGuard =
    std::conditional_t<std::is_floating_point_v<T>, NoGuard, RoundToNearest>;

using Matrix = const Kel32f (*)[4];

// Interleaved members, kN elements per pixel (3, or 4 with the fourth left
// alone unless kCh is 4: all four through the 4 x 4 matrix). Checks:
// pointers (the matrix last), size, steps.
template <class Isa, class T, int kN, int kCh = 3>
KelResult TwistC(const T* pSrc, int srcStep, T* pDst, int dstStep,
                 KelImageSize roi, Matrix twist) {
  [[maybe_unused]] const TwistGuard<T> guard;
  ArgCheck c;
  c.NotNull(pSrc, pDst, twist).MinSize(roi).PositiveSteps(srcStep, dstStep);
  if (c.Failed()) return c.Result();
  TwistRows<Isa, T, kCh>(PixelView<const T, kN, false>(pSrc, srcStep),
                         PixelView<T, kN, false>(pDst, dstStep), roi,
                         &twist[0][0]);
  return kelOk;
}

template <class Isa, class T, int kN>
KelResult TwistCI(T* pSrcDst, int step, KelImageSize roi, Matrix twist) {
  [[maybe_unused]] const TwistGuard<T> guard;
  ArgCheck c;
  c.NotNull(pSrcDst, twist).MinSize(roi).PositiveSteps(step);
  if (c.Failed()) return c.Result();
  TwistRows<Isa, T, 3>(PixelView<const T, kN, false>(pSrcDst, step),
                       PixelView<T, kN, false>(pSrcDst, step), roi,
                       &twist[0][0]);
  return kelOk;
}

// Planar members: three planes per image, one step; then the plane pointers
// are checked, sources first.
template <class Isa, class T>
KelResult TwistP3(const T* const pSrc[3], int srcStep, T* const pDst[3],
                  int dstStep, KelImageSize roi, Matrix twist) {
  [[maybe_unused]] const TwistGuard<T> guard;
  ArgCheck c;
  c.NotNull(pSrc, pDst, twist)
      .Planes(pSrc, 3)
      .Planes(pDst, 3)
      .MinSize(roi)
      .PositiveSteps(srcStep, dstStep);
  if (c.Failed()) return c.Result();
  TwistRows<Isa, T, 3>(PixelView<const T, 3, true>(pSrc, srcStep),
                       PixelView<T, 3, true>(pDst, dstStep), roi, &twist[0][0]);
  return kelOk;
}

template <class Isa, class T>
KelResult TwistIP3(T* const pSrcDst[3], int step, KelImageSize roi,
                   Matrix twist) {
  [[maybe_unused]] const TwistGuard<T> guard;
  ArgCheck c;
  c.NotNull(pSrcDst, twist).Planes(pSrcDst, 3).MinSize(roi).PositiveSteps(step);
  if (c.Failed()) return c.Result();
  const T* const src[3] = {pSrcDst[0], pSrcDst[1], pSrcDst[2]};
  TwistRows<Isa, T, 3>(PixelView<const T, 3, true>(src, step),
                       PixelView<T, 3, true>(pSrcDst, step), roi, &twist[0][0]);
  return kelOk;
}

}  // namespace kel::spaces
