// RGB and BGR to YCbCr: the encoder family.
//
// One row structure serves every sampling. The first 16 * floor(width / 16)
// pixels of a row are vector blocks (blocks of 32 pixels, then at most one
// of 16); the rest is the per-pixel remainder. In the vector blocks luma
// uses block form A (block form B for the planar 4:4:4 member) and chroma
// block form A, on the pixel itself or on the lossless channel sums of its
// 2- or 4-pixel block scaled to 128 times the block mean. In the remainder
// luma uses the exact form and chroma the exact form (4:4:4) or the
// block-sum form with one-eighth rounding (subsampled). The vector part is
// an AVX2 kernel or, in the portable build, the same forms pixel by pixel.
//
// Whole blocks only: 4:2:0 converts floor(height / 2) row pairs and
// floor(width / 2) column pairs, 4:1:1 floor(width / 4) quads, and the
// pixels of an incomplete block are left untouched (the call returns the
// odd-size warning). 4:2:2 has no incomplete rows; an odd last column is
// the half pair of the packed forms and plain luma in the planar form (see
// rgb_to_ycbcr_rows.h).
#pragma once

#include <type_traits>
#include <utility>

#include "frame/checks.h"
#include "frame/isa.h"
#include "kelcc.h"
#include "ycbcr/forms.h"
#include "ycbcr/rgb_to_ycbcr_avx2.h"
#include "ycbcr/rgb_to_ycbcr_rows.h"

namespace kel::ycbcr {

// Pixels of a row that fall in vector blocks.
constexpr int VectorPixels(int width) { return width & ~15; }

// ---- Row loops -------------------------------------------------------------

template <class Isa, bool kFormB, class Src, class Dst>
void Encode444Rows(const Src& src, const Dst& dst, KelImageSize roi) {
  const int w = roi.width, nv = VectorPixels(w);
  for (int row = 0; row < roi.height; ++row) {
    const typename Src::RowView s = src.Row(row);
    const typename Dst::RowView d = dst.Row(row);
    int x = 0;
#if KEL_X86_64
    if constexpr (kIsAvx2<Isa>) {
      if (nv > 0) avx2::Row444<Src, Dst, kFormB>(s, d, nv);
      x = nv;
    } else
#endif
    {
      for (; x < nv; ++x) {
        const Rgb p = s.At(x);
        if constexpr (kFormB) {
          d.Put(x, FormBY(p.r, p.g, p.b),
                FormBChroma(p.r, p.g, p.b, -9699, -19071, 28770),
                FormBChroma(p.r, p.g, p.b, 28770, -24117, -4653), true);
        } else {
          d.Put(x, FormAY(p.r, p.g, p.b),
                FormACb(128 * p.r, 128 * p.g, 128 * p.b),
                FormACr(128 * p.r, 128 * p.g, 128 * p.b), true);
        }
      }
    }
    for (; x < w; ++x) {
      const Rgb p = s.At(x);
      d.Put(x, ExactY(p.r, p.g, p.b), ExactCb(p.r, p.g, p.b),
            ExactCr(p.r, p.g, p.b), false);
    }
  }
}

template <class Isa, class Src, class Dst>
void Encode422Rows(const Src& src, const Dst& dst, KelImageSize roi) {
  const int w = roi.width, nv = VectorPixels(w);
  for (int row = 0; row < roi.height; ++row) {
    const typename Src::RowView s = src.Row(row);
    const typename Dst::RowView d = dst.Row(row);
    int x = 0;
#if KEL_X86_64
    if constexpr (kIsAvx2<Isa>) {
      if (nv > 0) avx2::Row422<Src, Dst>(s, d, nv);
      x = nv;
    }
#endif
    for (; x + 1 < w; x += 2) {
      const bool vector = x < nv;
      const Rgb a = s.At(x), b = s.At(x + 1);
      const int sr = a.r + b.r, sg = a.g + b.g, sb = a.b + b.b;
      if (vector) {
        d.Pair(x, FormAY(a.r, a.g, a.b), FormAY(b.r, b.g, b.b),
               FormACb(64 * sr, 64 * sg, 64 * sb),
               FormACr(64 * sr, 64 * sg, 64 * sb));
      } else {
        d.Pair(x, ExactY(a.r, a.g, a.b), ExactY(b.r, b.g, b.b),
               BlockSumCb2(sr, sg, sb), BlockSumCr2(sr, sg, sb));
      }
    }
    if (x < w) {
      const Rgb p = s.At(x);
      d.HalfPair(x, ExactY(p.r, p.g, p.b), HalfPairCb(p.r, p.g, p.b));
    }
  }
}

template <class Isa, class Src, class Dst>
void Encode420Rows(const Src& src, const Dst& dst, KelImageSize roi) {
  const int w = roi.width & ~1, nv = VectorPixels(roi.width);
  for (int pair = 0; pair < roi.height / 2; ++pair) {
    const typename Src::RowView s0 = src.Row(2 * pair);
    const typename Src::RowView s1 = src.Row(2 * pair + 1);
    const typename Dst::RowView d = dst.Row(pair);
    int x = 0;
#if KEL_X86_64
    if constexpr (kIsAvx2<Isa>) {
      if (nv > 0) avx2::Row420<Src, Dst>(s0, s1, d, nv);
      x = nv;
    }
#endif
    for (; x < w; x += 2) {
      const bool vector = x < nv;
      const Rgb p[4] = {s0.At(x), s0.At(x + 1), s1.At(x), s1.At(x + 1)};
      uint8_t y[4];
      int sr = 0, sg = 0, sb = 0;
      for (int i = 0; i < 4; ++i) {
        y[i] = vector ? FormAY(p[i].r, p[i].g, p[i].b)
                      : ExactY(p[i].r, p[i].g, p[i].b);
        sr += p[i].r, sg += p[i].g, sb += p[i].b;
      }
      if (vector) {
        d.Block(x, y, FormACb(32 * sr, 32 * sg, 32 * sb),
                FormACr(32 * sr, 32 * sg, 32 * sb));
      } else {
        d.Block(x, y, BlockSumCb4(sr, sg, sb), BlockSumCr4(sr, sg, sb));
      }
    }
  }
}

template <class Isa, class Src>
void Encode411Rows(const Src& src, const Planar411& dst, KelImageSize roi) {
  const int w = roi.width & ~3, nv = VectorPixels(roi.width);
  for (int row = 0; row < roi.height; ++row) {
    const typename Src::RowView s = src.Row(row);
    const Planar411::RowView d = dst.Row(row);
    int x = 0;
#if KEL_X86_64
    if constexpr (kIsAvx2<Isa>) {
      if (nv > 0) avx2::Row411<Src>(s, d, nv);
      x = nv;
    }
#endif
    for (; x < w; x += 4) {
      const bool vector = x < nv;
      uint8_t y[4];
      int sr = 0, sg = 0, sb = 0;
      for (int i = 0; i < 4; ++i) {
        const Rgb p = s.At(x + i);
        y[i] = vector ? FormAY(p.r, p.g, p.b) : ExactY(p.r, p.g, p.b);
        sr += p.r, sg += p.g, sb += p.b;
      }
      if (vector) {
        d.Quad(x, y, FormACb(32 * sr, 32 * sg, 32 * sb),
               FormACr(32 * sr, 32 * sg, 32 * sb));
      } else {
        d.Quad(x, y, BlockSumCb4(sr, sg, sb), BlockSumCr4(sr, sg, sb));
      }
    }
  }
}

// ---- Entry points, one per signature shape --------------------------------
//
// Each checks its arguments in the library order (pointers, size, plane
// pointers; steps are used as given) and runs one row loop. An array of
// per-plane steps is a pointer argument like the others and is checked with
// them. Src is a source view type (channel order and pixel size), Dst a
// destination view type.

// Packed to packed 4:4:4 (block form A).
template <class Isa, class Src, class Dst>
KelResult Encode444Packed(const Kel8u* pSrc, int srcStep, Kel8u* pDst,
                          int dstStep, KelImageSize roiSize) {
  ArgCheck c;
  c.NotNull(pSrc, pDst).MinSize(roiSize);
  if (c.Failed()) return c.Result();
  Encode444Rows<Isa, false>(Src{pSrc, srcStep}, Dst{pDst, dstStep}, roiSize);
  return kelOk;
}

// Packed to three planes with one step, 4:4:4 (block form A).
template <class Isa, class Src>
KelResult Encode444ToPlanes(const Kel8u* pSrc, int srcStep,
                            Kel8u* const pDst[3], int dstStep,
                            KelImageSize roiSize) {
  ArgCheck c;
  c.NotNull(pSrc, pDst).MinSize(roiSize).Planes(pDst, 3);
  if (c.Failed()) return c.Result();
  Encode444Rows<Isa, false>(Src{pSrc, srcStep},
                            Planar444{pDst[0], pDst[1], pDst[2], dstStep},
                            roiSize);
  return kelOk;
}

// Planes to planes, 4:4:4 (block form B). Unaligned loads cost nothing
// extra on aligned data, so aligned planes take the same path.
template <class Isa>
KelResult Encode444Planar(const Kel8u* const pSrc[3], int srcStep,
                          Kel8u* const pDst[3], int dstStep,
                          KelImageSize roiSize) {
  ArgCheck c;
  c.NotNull(pSrc, pDst).MinSize(roiSize).Planes(pSrc, 3).Planes(pDst, 3);
  if (c.Failed()) return c.Result();
  Encode444Rows<Isa, true>(PlanarRgb{pSrc[0], pSrc[1], pSrc[2], srcStep},
                           Planar444{pDst[0], pDst[1], pDst[2], dstStep},
                           roiSize);
  return kelOk;
}

// Packed to packed 4:2:2.
template <class Isa, class Src, Order422 kOrder>
KelResult Encode422Packed(const Kel8u* pSrc, int srcStep, Kel8u* pDst,
                          int dstStep, KelImageSize roiSize) {
  ArgCheck c;
  c.NotNull(pSrc, pDst).MinSize(roiSize);
  if (c.Failed()) return c.Result();
  Encode422Rows<Isa>(Src{pSrc, srcStep}, Packed422<kOrder>{pDst, dstStep},
                     roiSize);
  return kelOk;
}

// Planes (one step) to packed 4:2:2.
template <class Isa, Order422 kOrder>
KelResult Encode422PlanesToPacked(const Kel8u* const pSrc[3], int srcStep,
                                  Kel8u* pDst, int dstStep,
                                  KelImageSize roiSize) {
  ArgCheck c;
  c.NotNull(pSrc, pDst).MinSize(roiSize).Planes(pSrc, 3);
  if (c.Failed()) return c.Result();
  Encode422Rows<Isa>(PlanarRgb{pSrc[0], pSrc[1], pSrc[2], srcStep},
                     Packed422<kOrder>{pDst, dstStep}, roiSize);
  return kelOk;
}

// Packed to three subsampled planes with their own steps (Dst: Planar422,
// Planar420 or Planar411). The Cr-first 4:2:0 members check their plane
// pointers with the other pointers, need at least one whole 2x2 block, and
// run the Cb-first kernel with the chroma planes exchanged.
template <class Isa, class Src, class Dst, bool kCrFirst = false>
KelResult EncodeToPlanes(const Kel8u* pSrc, int srcStep, Kel8u* const pDst[3],
                         const int dstStep[3], KelImageSize roiSize) {
  ArgCheck c;
  if constexpr (kCrFirst) {
    c.NotNull(pSrc, pDst, dstStep).Planes(pDst, 3).MinSize(roiSize, 2, 2);
  } else {
    c.NotNull(pSrc, pDst, dstStep).MinSize(roiSize).Planes(pDst, 3);
  }
  if (c.Failed()) return c.Result();
  Dst dst{pDst[0], pDst[1], pDst[2], dstStep[0], dstStep[1], dstStep[2]};
  if constexpr (kCrFirst) {
    std::swap(dst.cb, dst.cr);
    std::swap(dst.cbStep, dst.crStep);
  }
  const Src src{pSrc, srcStep};
  if constexpr (std::is_same_v<Dst, Planar422>) {
    Encode422Rows<Isa>(src, dst, roiSize);
    return kelOk;
  } else if constexpr (std::is_same_v<Dst, Planar420>) {
    Encode420Rows<Isa>(src, dst, roiSize);
    return OddSizeResult(roiSize, 2, 2);
  } else {
    Encode411Rows<Isa>(src, dst, roiSize);
    return OddSizeResult(roiSize, 4, 1);
  }
}

// Packed to a luma plane and a plane of Cb, Cr pairs, 4:2:0.
template <class Isa, class Src>
KelResult Encode420ToP2(const Kel8u* pSrc, int srcStep, Kel8u* pDstY,
                        int dstYStep, Kel8u* pDstCbCr, int dstCbCrStep,
                        KelImageSize roiSize) {
  ArgCheck c;
  c.NotNull(pSrc, pDstY, pDstCbCr).MinSize(roiSize);
  if (c.Failed()) return c.Result();
  Encode420Rows<Isa>(Src{pSrc, srcStep},
                     SemiPlanar420{pDstY, pDstCbCr, dstYStep, dstCbCrStep},
                     roiSize);
  return OddSizeResult(roiSize, 2, 2);
}

}  // namespace kel::ycbcr
