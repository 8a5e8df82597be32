// YCbCr to RGB and BGR: argument checks and the exports, each an
// instantiation of the kernel family in ycbcr_to_rgb.h.
//
// Design notes for the members whose arithmetic is ours to choose:
//   - The packed 4:2:2 to planar RGB members and the 4:1:1 members use
//     inverse form R for every pixel, like the other packed and planar
//     members of the family, with no 2^16 remainder.
//   - An odd last column of a 4:2:2 image has no chroma pair of its own, so
//     it is left untouched, as in 4:2:0; the 4:1:1 members likewise leave
//     the last width mod 4 columns untouched (and report the odd size).
//   - The 4:2:2 planar member with a 2^16 remainder takes it over the same
//     last (width / 2) mod 8 pixel pairs of each row as the 4:2:0 members.
//   - The planar sources with one step per plane check the step array
//     pointer with the other top-level pointers.
//   - The packed 4:4:4 member with a fourth byte (inverse form S) leaves
//     that byte of the destination as it was (ConvertAc4S).
//   - The filtered 4:2:0 member interpolates chroma vertically between
//     chroma rows before inverse form R (FilteredPlanarSrc).
#include "ycbcr/ycbcr_to_rgb.h"

#include "frame/checks.h"
#include "frame/dispatch.h"

namespace kel::ycbcr::dec {

// ---- Packed 4:4:4 with alpha, inverse form S ------------------------------

#if KEL_X86_64
KEL_AVX2 static int Ac4SBlocks(const uint8_t* s, uint8_t* d, int width) {
  const __m256i byte = _mm256_set1_epi32(0xFF);
  const __m256i offset = _mm256_set1_epi32(128);
  const __m256i zero = _mm256_setzero_si256();
  int x = 0;
  for (; x + 8 <= width; x += 8) {
    const __m256i v = simd::Load(s + 4 * x);
    const __m256i y = _mm256_and_si256(v, byte);
    const __m256i u = _mm256_sub_epi32(
        _mm256_and_si256(_mm256_srli_epi32(v, 8), byte), offset);
    const __m256i w = _mm256_sub_epi32(
        _mm256_and_si256(_mm256_srli_epi32(v, 16), byte), offset);
    __m256i r, g, b;
    FormS::Rgb32(y, u, w, &r, &g, &b);
    r = _mm256_min_epi32(_mm256_max_epi32(r, zero), byte);
    g = _mm256_min_epi32(_mm256_max_epi32(g, zero), byte);
    b = _mm256_min_epi32(_mm256_max_epi32(b, zero), byte);
    const __m256i alpha = _mm256_andnot_si256(_mm256_set1_epi32(0x00FFFFFF),
                                              simd::Load(d + 4 * x));
    const __m256i rgb = _mm256_or_si256(
        _mm256_or_si256(r, _mm256_slli_epi32(g, 8)), _mm256_slli_epi32(b, 16));
    simd::Store(d + 4 * x, _mm256_or_si256(rgb, alpha));
  }
  return x;
}
#endif  // KEL_X86_64

template <class Isa>
void ConvertAc4S(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                 int width, int height) {
  for (int row = 0; row < height; ++row) {
    const uint8_t* s = RowOf(src, srcStep, row);
    uint8_t* d = RowOf(dst, dstStep, row);
    int x = 0;
#if KEL_X86_64
    if constexpr (kIsAvx2<Isa>) x = Ac4SBlocks(s, d, width);
#endif
    for (; x < width; ++x) {
      const Rgb8 c = InverseS(s[4 * x], s[4 * x + 1], s[4 * x + 2]);
      d[4 * x] = c.r;
      d[4 * x + 1] = c.g;
      d[4 * x + 2] = c.b;
    }
  }
}
template void ConvertAc4S<Portable>(const uint8_t*, int, uint8_t*, int, int,
                                    int);
template void ConvertAc4S<Avx2>(const uint8_t*, int, uint8_t*, int, int, int);

// ---- Entries, one per source layout ----------------------------------------

constexpr bool kRgb = false, kBgr = true;
constexpr bool kCbFirst = false, kCrFirst = true;
constexpr bool kBody = false, kRem16 = true;

template <class Isa>
KelResult YCbCrToRgbAc4(const Kel8u* pSrc, int srcStep, Kel8u* pDst,
                        int dstStep, KelImageSize roi) {
  ArgCheck c;
  if (c.NotNull(pSrc, pDst).MinSize(roi).Failed()) return c.Result();
  ConvertAc4S<Isa>(pSrc, srcStep, pDst, dstStep, roi.width, roi.height);
  return kelOk;
}

// Packed 4:4:4 to packed RGB.
template <class Form>
struct Packed444Entry {
  template <class Isa>
  static KelResult Run(const Kel8u* pSrc, int srcStep, Kel8u* pDst, int dstStep,
                       KelImageSize roi) {
    ArgCheck c;
    if (c.NotNull(pSrc, pDst).MinSize(roi).Failed()) return c.Result();
    Convert<Isa, Form, false>(Packed444Src{pSrc, srcStep},
                              PackedC3Dst<kRgb>{pDst, dstStep}, roi.width,
                              roi.height);
    return kelOk;
  }
};

// 4:4:4 planes with one shared step, to planes, C3 or C4.
template <class Form, bool kOrder>
struct Planar444Entry {
  using Src = PlanarSrc<1, false>;
  static Src Source(const Kel8u* const pSrc[3], int step) {
    const int steps[3] = {step, step, step};
    return Src(pSrc, steps);
  }
  template <class Isa>
  static KelResult Run(const Kel8u* const pSrc[3], int srcStep,
                       Kel8u* const pDst[3], int dstStep, KelImageSize roi) {
    ArgCheck c;
    c.NotNull(pSrc, pDst).MinSize(roi).Planes(pSrc, 3).Planes(pDst, 3);
    if (c.Failed()) return c.Result();
    Convert<Isa, Form, false>(Source(pSrc, srcStep),
                              PlanarDst{{pDst[0], pDst[1], pDst[2]}, dstStep},
                              roi.width, roi.height);
    return kelOk;
  }
  template <class Isa>
  static KelResult Run(const Kel8u* const pSrc[3], int srcStep, Kel8u* pDst,
                       int dstStep, KelImageSize roi) {
    ArgCheck c;
    if (c.NotNull(pSrc, pDst).MinSize(roi).Planes(pSrc, 3).Failed())
      return c.Result();
    Convert<Isa, Form, false>(Source(pSrc, srcStep),
                              PackedC3Dst<kOrder>{pDst, dstStep}, roi.width,
                              roi.height);
    return kelOk;
  }
  template <class Isa>
  static KelResult Run(const Kel8u* const pSrc[3], int srcStep, Kel8u* pDst,
                       int dstStep, KelImageSize roi, Kel8u aval) {
    ArgCheck c;
    if (c.NotNull(pSrc, pDst).MinSize(roi).Planes(pSrc, 3).Failed())
      return c.Result();
    Convert<Isa, Form, false>(Source(pSrc, srcStep),
                              PackedC4Dst<kOrder>{pDst, dstStep, aval},
                              roi.width, roi.height);
    return kelOk;
  }
};

// The odd-size warning of a subsampled source.
template <class Src>
KelResult WholeBlocks(KelImageSize roi) {
  if constexpr (Src::kGroupRows == 2 || std::is_same_v<Src, FilteredPlanarSrc>)
    return OddSizeResult(roi, 2, 2);
  else if constexpr (Src::kSubXv == 4)
    return OddSizeResult(roi, 4, 1);
  else
    return kelOk;
}

// Packed output of any subsampled source.
template <class Isa, class Form, bool kRemainder, bool kOrder, class Src>
KelResult ToPacked(const Src& src, Kel8u* pDst, int dstStep, KelImageSize roi) {
  Convert<Isa, Form, kRemainder>(src, PackedC3Dst<kOrder>{pDst, dstStep},
                                 roi.width, roi.height);
  return WholeBlocks<Src>(roi);
}
template <class Isa, class Form, bool kRemainder, bool kOrder, class Src>
KelResult ToPacked(const Src& src, Kel8u* pDst, int dstStep, KelImageSize roi,
                   Kel8u aval) {
  Convert<Isa, Form, kRemainder>(src, PackedC4Dst<kOrder>{pDst, dstStep, aval},
                                 roi.width, roi.height);
  return WholeBlocks<Src>(roi);
}

// Planes Y, Cb, Cr (or Y, Cr, Cb) with one step each, at 4:2:2 (kSubX 2),
// 4:2:0 (kSubX 2 and row pairs) or 4:1:1 (kSubX 4).
template <int kSubX, bool kPairRows, bool kChroma, class Form, bool kRemainder,
          bool kOrder>
struct PlanarEntry {
  using Src = PlanarSrc<kSubX, kPairRows>;
  template <class Isa, class... Alpha>
  static KelResult Run(const Kel8u* const pSrc[3], const int srcStep[3],
                       Kel8u* pDst, int dstStep, KelImageSize roi,
                       Alpha... aval) {
    ArgCheck c;
    if (c.NotNull(pSrc, srcStep, pDst).MinSize(roi).Planes(pSrc, 3).Failed())
      return c.Result();
    return ToPacked<Isa, Form, kRemainder, kOrder>(
        Src(pSrc, srcStep, kChroma == kCrFirst), pDst, dstStep, roi, aval...);
  }
};

// 4:2:0 planes Y, Cr, Cb with filtered chroma, to BGR with alpha.
template <class Isa>
KelResult FilteredYCrCb420ToBgrC4(const Kel8u* const pSrc[3],
                                  const int srcStep[3], Kel8u* pDst,
                                  int dstStep, KelImageSize roi, Kel8u aval) {
  ArgCheck c;
  if (c.NotNull(pSrc, srcStep, pDst).MinSize(roi).Planes(pSrc, 3).Failed())
    return c.Result();
  return ToPacked<Isa, FormRShifted, kBody, kBgr>(
      FilteredPlanarSrc(pSrc, srcStep, roi.height, kCrFirst), pDst, dstStep,
      roi, aval);
}

// 4:2:0 luma plane and chroma-pair plane.
template <bool kChroma, class Form, bool kRemainder, bool kOrder>
struct SemiPlanarEntry {
  template <class Isa, class... Alpha>
  static KelResult Run(const Kel8u* pSrcY, int srcYStep, const Kel8u* pSrcCbCr,
                       int srcCbCrStep, Kel8u* pDst, int dstStep,
                       KelImageSize roi, Alpha... aval) {
    ArgCheck c;
    if (c.NotNull(pSrcY, pSrcCbCr, pDst).MinSize(roi).Failed())
      return c.Result();
    return ToPacked<Isa, Form, kRemainder, kOrder>(
        SemiPlanarSrc<kChroma>{pSrcY, srcYStep, pSrcCbCr, srcCbCrStep}, pDst,
        dstStep, roi, aval...);
  }
};

// Packed 4:2:2 in the byte order given by kYAt and kCbFirst.
template <int kYAt, bool kChroma, class Form, bool kOrder>
struct Packed422Entry {
  using Src = Packed422Src<kYAt, kChroma == kCbFirst>;
  template <class Isa, class... Alpha>
  static KelResult Run(const Kel8u* pSrc, int srcStep, Kel8u* pDst, int dstStep,
                       KelImageSize roi, Alpha... aval) {
    ArgCheck c;
    if (c.NotNull(pSrc, pDst).MinSize(roi).Failed()) return c.Result();
    return ToPacked<Isa, Form, kBody, kOrder>(Src{pSrc, srcStep}, pDst, dstStep,
                                              roi, aval...);
  }
  template <class Isa>
  static KelResult Run(const Kel8u* pSrc, int srcStep, Kel8u* const pDst[3],
                       int dstStep, KelImageSize roi) {
    ArgCheck c;
    if (c.NotNull(pSrc, pDst).MinSize(roi).Planes(pDst, 3).Failed())
      return c.Result();
    Convert<Isa, Form, kBody>(Src{pSrc, srcStep},
                              PlanarDst{{pDst[0], pDst[1], pDst[2]}, dstStep},
                              roi.width, roi.height);
    return kelOk;
  }
};

// ---- The members -----------------------------------------------------------

using ToRgbC3 = Packed444Entry<FormR>;
using PlanarToRgbP = Planar444Entry<FormP, kRgb>;
using PlanarToRgbR = Planar444Entry<FormR, kRgb>;
using PlanarToRgbQ = Planar444Entry<FormQ, kRgb>;
using PlanarToBgrR = Planar444Entry<FormR, kBgr>;
using PlanarToBgrQ = Planar444Entry<FormQ, kBgr>;

using Yuy2ToRgb = Packed422Entry<0, kCbFirst, FormR, kRgb>;
using Yuy2ToBgr = Packed422Entry<0, kCbFirst, FormR, kBgr>;
using YvyuToRgb = Packed422Entry<0, kCrFirst, FormR, kRgb>;
using YvyuToBgr = Packed422Entry<0, kCrFirst, FormR, kBgr>;
using UyvyToRgb = Packed422Entry<1, kCbFirst, FormR, kRgb>;
using UyvyToBgrQ = Packed422Entry<1, kCbFirst, FormQ, kBgr>;
using P422ToRgb = PlanarEntry<2, false, kCbFirst, FormR, kRem16, kRgb>;
using P422ToBgr16 = PlanarEntry<2, false, kCbFirst, Form16, kBody, kBgr>;

using P420ToRgb = PlanarEntry<2, true, kCbFirst, FormR, kRem16, kRgb>;
using P420ToBgr = PlanarEntry<2, true, kCbFirst, FormR, kRem16, kBgr>;
using P420ToBgrFolded =
    PlanarEntry<2, true, kCbFirst, FormRFolded, kBody, kBgr>;
using P420CrToRgbQ = PlanarEntry<2, true, kCrFirst, FormQ, kRem16, kRgb>;
using Nv12ToRgb = SemiPlanarEntry<kCbFirst, FormR, kRem16, kRgb>;
using Nv12ToBgr = SemiPlanarEntry<kCbFirst, FormR, kRem16, kBgr>;
using Nv21ToRgb = SemiPlanarEntry<kCrFirst, FormR, kRem16, kRgb>;
using Nv21ToBgr = SemiPlanarEntry<kCrFirst, FormR, kRem16, kBgr>;
using Nv21ToRgb16 = SemiPlanarEntry<kCrFirst, Form16, kBody, kRgb>;
using Nv21ToBgr16 = SemiPlanarEntry<kCrFirst, Form16, kBody, kBgr>;

using P411ToBgr = PlanarEntry<4, false, kCbFirst, FormR, kBody, kBgr>;

}  // namespace kel::ycbcr::dec

#define KEL_DEC_(name, entry) KEL_IMPLEMENT(name, kel::ycbcr::dec::entry)

KEL_DEC_(keliYCbCrToRGB_8u_C3R, ToRgbC3::Run)
KEL_DEC_(keliYCbCrToRGB_8u_AC4R, YCbCrToRgbAc4)
KEL_DEC_(keliYCbCrToRGB_8u_P3R, PlanarToRgbP::Run)
KEL_DEC_(keliYCbCrToRGB_8u_P3C3R, PlanarToRgbR::Run)
KEL_DEC_(keliYCbCrToRGB_8u_P3C4R, PlanarToRgbQ::Run)
KEL_DEC_(keliYCbCrToBGR_8u_P3C3R, PlanarToBgrR::Run)
KEL_DEC_(keliYCbCrToBGR_8u_P3C4R, PlanarToBgrQ::Run)

KEL_DEC_(keliYCbCr422ToRGB_8u_C2C3R, Yuy2ToRgb::Run)
KEL_DEC_(keliYCbCr422ToRGB_8u_C2C4R, Yuy2ToRgb::Run)
KEL_DEC_(keliYCbCr422ToRGB_8u_C2P3R, Yuy2ToRgb::Run)
KEL_DEC_(keliYCbCr422ToRGB_8u_P3C3R, P422ToRgb::Run)
KEL_DEC_(keliYCbCr422ToBGR_8u_C2C3R, Yuy2ToBgr::Run)
KEL_DEC_(keliYCbCr422ToBGR_8u_C2C4R, Yuy2ToBgr::Run)
KEL_DEC_(keliYCbCr422ToBGR_8u_P3C3R, P422ToBgr16::Run)
KEL_DEC_(keliYCrCb422ToRGB_8u_C2C3R, YvyuToRgb::Run)
KEL_DEC_(keliYCrCb422ToRGB_8u_C2C4R, YvyuToRgb::Run)
KEL_DEC_(keliYCrCb422ToRGB_8u_C2P3R, YvyuToRgb::Run)
KEL_DEC_(keliYCrCb422ToBGR_8u_C2C3R, YvyuToBgr::Run)
KEL_DEC_(keliYCrCb422ToBGR_8u_C2C4R, YvyuToBgr::Run)
KEL_DEC_(keliCbYCr422ToRGB_8u_C2C3R, UyvyToRgb::Run)
KEL_DEC_(keliCbYCr422ToBGR_8u_C2C4R, UyvyToBgrQ::Run)

KEL_DEC_(keliYCbCr420ToRGB_8u_P3C3R, P420ToRgb::Run)
KEL_DEC_(keliYCbCr420ToRGB_8u_P2C3R, Nv12ToRgb::Run)
KEL_DEC_(keliYCbCr420ToRGB_8u_P2C4R, Nv12ToRgb::Run)
KEL_DEC_(keliYCbCr420ToBGR_8u_P3C3R, P420ToBgr::Run)
KEL_DEC_(keliYCbCr420ToBGR_8u_P3C4R, P420ToBgrFolded::Run)
KEL_DEC_(keliYCbCr420ToBGR_8u_P2C3R, Nv12ToBgr::Run)
KEL_DEC_(keliYCbCr420ToBGR_8u_P2C4R, Nv12ToBgr::Run)
KEL_DEC_(keliYCrCb420ToRGB_8u_P3C4R, P420CrToRgbQ::Run)
KEL_DEC_(keliYCrCb420ToRGB_8u_P2C3R, Nv21ToRgb::Run)
KEL_DEC_(keliYCrCb420ToRGB_8u_P2C4R, Nv21ToRgb16::Run)
KEL_DEC_(keliYCrCb420ToBGR_8u_P2C3R, Nv21ToBgr::Run)
KEL_DEC_(keliYCrCb420ToBGR_8u_P2C4R, Nv21ToBgr16::Run)
KEL_DEC_(keliYCrCb420ToBGR_Filter_8u_P3C4R, FilteredYCrCb420ToBgrC4)
KEL_DEC_(keliYCbCr411ToBGR_8u_P3C3R, P411ToBgr::Run)
KEL_DEC_(keliYCbCr411ToBGR_8u_P3C4R, P411ToBgr::Run)
