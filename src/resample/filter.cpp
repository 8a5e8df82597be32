// Filtered 4:2:0 chroma re-sampling: 4:2:0 -> 4:2:2 with four-tap or
// three-to-one vertical interpolation, and 4:2:0 -> 4:2:0 with one-two-one
// smoothing. The filters are stated in resample/filter.h.
//
// The AVX2 kernels take 32 chroma samples per step, then 16, then finish a
// row with the per-sample forms. Two shapes of kernel:
// - Byte rows (planar chroma, and the packed output, whose interleaved
//   CbCr bytes are filtered alike since the filter is vertical): the bytes
//   of two rows are paired up by unpacking within 128-bit lanes, weighted
//   with one byte multiply-add per pair into 16-bit sums, and packed back
//   with unsigned saturation, which restores byte order and bounds the
//   result to 0..255.
// - Interleaved rows into planes: 32 bytes of CbCr pairs already are 16
//   16-bit lanes, Cb in the low byte and Cr in the high byte, so masking and
//   shifting gives the two channels widened; the filter runs on the lanes and
//   packing to bytes both bounds the results and splits the planes.
// Luma rows go through RowCopy with ordinary stores.
#include "resample/filter.h"

#include "frame/isa.h"
#if KEL_X86_64
#include <immintrin.h>
#endif

#include <cstddef>
#include <cstdint>

#include "frame/checks.h"
#include "frame/dispatch.h"
#include "frame/isa.h"
#include "frame/plane.h"
#include "frame/simd_avx2.h"
#include "kelcc.h"

namespace kel::resample {
namespace {

inline const uint8_t* RowAt(const uint8_t* p, int step, int i) {
  return p + static_cast<ptrdiff_t>(i) * step;
}
inline uint8_t* RowAt(uint8_t* p, int step, int i) {
  return p + static_cast<ptrdiff_t>(i) * step;
}

// Whether [p, p + n) and [q, q + m) share a byte.
inline bool Overlap(const uint8_t* p, size_t n, const uint8_t* q, size_t m) {
  const auto a = reinterpret_cast<uintptr_t>(p);
  const auto b = reinterpret_cast<uintptr_t>(q);
  return a < b + m && b < a + n;
}

// ---- AVX2 building blocks ------------------------------------------------

// Weights (wa, wb) for the multiply-add of bytes a, b paired up.
#if KEL_X86_64
KEL_AVX2_INLINE __m256i Weights(int wa, int wb) {
  return simd::Set16((wb << 8) | (wa & 0xFF));
}
// wa a + wb b per byte position, as 16-bit sums: lanes of the low and the
// high 8 bytes of each 128-bit lane.
KEL_AVX2_INLINE __m256i MaddLo(__m256i a, __m256i b, __m256i w) {
  return _mm256_maddubs_epi16(_mm256_unpacklo_epi8(a, b), w);
}
KEL_AVX2_INLINE __m256i MaddHi(__m256i a, __m256i b, __m256i w) {
  return _mm256_maddubs_epi16(_mm256_unpackhi_epi8(a, b), w);
}

// (9 (b + c) - a - d + 8) >> 4, clamped: the sums lie in -502..4598.
KEL_AVX2_INLINE __m256i Interp4Bytes(__m256i a, __m256i b, __m256i c,
                                     __m256i d) {
  const __m256i k9 = Weights(9, 9), kNeg = Weights(-1, -1);
  const __m256i k8 = simd::Set16(8);
  __m256i lo = _mm256_add_epi16(MaddLo(b, c, k9), MaddLo(a, d, kNeg));
  __m256i hi = _mm256_add_epi16(MaddHi(b, c, k9), MaddHi(a, d, kNeg));
  lo = _mm256_srai_epi16(_mm256_add_epi16(lo, k8), 4);
  hi = _mm256_srai_epi16(_mm256_add_epi16(hi, k8), 4);
  return _mm256_packus_epi16(lo, hi);
}
// (3 nearer + farther) >> 2: the sums lie in 0..1020.
KEL_AVX2_INLINE __m256i Near3Bytes(__m256i nearer, __m256i farther) {
  const __m256i k31 = Weights(3, 1);
  const __m256i lo = _mm256_srli_epi16(MaddLo(nearer, farther, k31), 2);
  const __m256i hi = _mm256_srli_epi16(MaddHi(nearer, farther, k31), 2);
  return _mm256_packus_epi16(lo, hi);
}

// The Cb (low) and Cr (high) bytes of 16-bit lanes of pairs, widened.
KEL_AVX2_INLINE __m256i LowBytes(__m256i v) {
  return _mm256_and_si256(v, simd::Set16(0x00FF));
}
KEL_AVX2_INLINE __m256i HighBytes(__m256i v) { return _mm256_srli_epi16(v, 8); }

// The same filters on 16-bit lanes holding 0..255, for interleaved rows
// split into their Cb and Cr lanes; results are bounded when packed.
KEL_AVX2_INLINE __m256i Interp4Lanes(__m256i a, __m256i b, __m256i c,
                                     __m256i d) {
  __m256i s = _mm256_mullo_epi16(_mm256_add_epi16(b, c), simd::Set16(9));
  s = _mm256_sub_epi16(s, _mm256_add_epi16(a, d));
  return _mm256_srai_epi16(_mm256_add_epi16(s, simd::Set16(8)), 4);
}
KEL_AVX2_INLINE __m256i Smooth121Lanes(__m256i a, __m256i b, __m256i c) {
  const __m256i s =
      _mm256_add_epi16(_mm256_add_epi16(a, c), _mm256_slli_epi16(b, 1));
  return _mm256_srli_epi16(s, 2);
}

// Cb and Cr lanes of 32 pairs (two vectors each) stored as samples.
KEL_AVX2_INLINE void StoreLanes32(__m256i cb0, __m256i cb1, __m256i cr0,
                                  __m256i cr1, uint8_t* cb, uint8_t* cr) {
  simd::Store(cb, simd::PackU8(cb0, cb1));
  simd::Store(cr, simd::PackU8(cr0, cr1));
}
// Cb and Cr lanes of 16 pairs stored as samples.
KEL_AVX2_INLINE void StoreLanes16(__m256i vcb, __m256i vcr, uint8_t* cb,
                                  uint8_t* cr) {
  const __m256i p = simd::PackU8(vcb, vcr);
  simd::Store128(cb, _mm256_castsi256_si128(p));
  simd::Store128(cr, _mm256_extracti128_si256(p, 1));
}

// 16 bytes in the low half of a register (the high half is zero).
KEL_AVX2_INLINE __m256i Load16(const uint8_t* p) {
  return _mm256_zextsi128_si256(simd::Load128(p));
}

// ---- 4:2:0 -> 4:2:2, four taps --------------------------------------------

// The rows of one chroma row pair: `even` repeats row b, `odd` interpolates
// between b and c (a above b, d below c). Returns the samples done.
KEL_AVX2 int FourTapRowsAvx2(const uint8_t* a, const uint8_t* b,
                             const uint8_t* c, const uint8_t* d, uint8_t* even,
                             uint8_t* odd, int n) {
  int x = 0;
  for (; x + 32 <= n; x += 32) {
    const __m256i vb = simd::Load(b + x);
    simd::Store(even + x, vb);
    simd::Store(odd + x, Interp4Bytes(simd::Load(a + x), vb, simd::Load(c + x),
                                      simd::Load(d + x)));
  }
  if (x + 16 <= n) {
    const __m256i vb = Load16(b + x);
    simd::Store128(even + x, _mm256_castsi256_si128(vb));
    const __m256i v =
        Interp4Bytes(Load16(a + x), vb, Load16(c + x), Load16(d + x));
    simd::Store128(odd + x, _mm256_castsi256_si128(v));
    x += 16;
  }
  return x;
}
#endif  // KEL_X86_64

template <class Isa>
void FourTapRows(const uint8_t* a, const uint8_t* b, const uint8_t* c,
                 const uint8_t* d, uint8_t* even, uint8_t* odd, int n) {
  int x = 0;
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>) x = FourTapRowsAvx2(a, b, c, d, even, odd, n);
#endif
  for (; x < n; ++x) {
    even[x] = b[x];
    odd[x] = Interp4(a[x], b[x], c[x], d[x]);
  }
}

// 16 pairs from byte `off` on: the Cb and Cr lanes of row b and of the
// interpolated row.
#if KEL_X86_64
struct PairLanes {
  __m256i bcb, bcr, icb, icr;
};
KEL_AVX2_INLINE PairLanes FourTapPairUnit(const uint8_t* a, const uint8_t* b,
                                          const uint8_t* c, const uint8_t* d,
                                          int off) {
  const __m256i ra = simd::Load(a + off), rb = simd::Load(b + off);
  const __m256i rc = simd::Load(c + off), rd = simd::Load(d + off);
  PairLanes v;
  v.bcb = LowBytes(rb);
  v.bcr = HighBytes(rb);
  v.icb = Interp4Lanes(LowBytes(ra), v.bcb, LowBytes(rc), LowBytes(rd));
  v.icr = Interp4Lanes(HighBytes(ra), v.bcr, HighBytes(rc), HighBytes(rd));
  return v;
}

// The same from rows of interleaved pairs, into Cb and Cr planes. Here the
// pairs are already 16-bit lanes, so the filter runs on the split lanes.
KEL_AVX2 int FourTapPairsAvx2(const uint8_t* a, const uint8_t* b,
                              const uint8_t* c, const uint8_t* d,
                              uint8_t* evenCb, uint8_t* evenCr, uint8_t* oddCb,
                              uint8_t* oddCr, int pairs) {
  int x = 0;
  for (; x + 32 <= pairs; x += 32) {
    const PairLanes v0 = FourTapPairUnit(a, b, c, d, 2 * x);
    const PairLanes v1 = FourTapPairUnit(a, b, c, d, 2 * x + 32);
    StoreLanes32(v0.bcb, v1.bcb, v0.bcr, v1.bcr, evenCb + x, evenCr + x);
    StoreLanes32(v0.icb, v1.icb, v0.icr, v1.icr, oddCb + x, oddCr + x);
  }
  if (x + 16 <= pairs) {
    const PairLanes v = FourTapPairUnit(a, b, c, d, 2 * x);
    StoreLanes16(v.bcb, v.bcr, evenCb + x, evenCr + x);
    StoreLanes16(v.icb, v.icr, oddCb + x, oddCr + x);
    x += 16;
  }
  return x;
}
#endif  // KEL_X86_64

template <class Isa>
void FourTapPairs(const uint8_t* a, const uint8_t* b, const uint8_t* c,
                  const uint8_t* d, uint8_t* evenCb, uint8_t* evenCr,
                  uint8_t* oddCb, uint8_t* oddCr, int pairs) {
  int x = 0;
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>)
    x = FourTapPairsAvx2(a, b, c, d, evenCb, evenCr, oddCb, oddCr, pairs);
#endif
  for (; x < pairs; ++x) {
    const int k = 2 * x;
    evenCb[x] = b[k];
    evenCr[x] = b[k + 1];
    oddCb[x] = Interp4(a[k], b[k], c[k], d[k]);
    oddCr[x] = Interp4(a[k + 1], b[k + 1], c[k + 1], d[k + 1]);
  }
}

template <class Isa>
void CopyLuma(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int w,
              int h) {
  // Narrow rows that follow each other without a gap in both planes are
  // copied as one row, saving a call per row; wide rows gain nothing.
  const uint64_t total = static_cast<uint64_t>(w) * static_cast<uint64_t>(h);
  if (srcStep == w && dstStep == w && w < 512 && total <= UINT32_MAX) {
    frame::RowCopy<Isa>(src, dst, static_cast<uint32_t>(total), false);
    return;
  }
  for (int y = 0; y < h; ++y)
    frame::RowCopy<Isa>(RowAt(src, srcStep, y), RowAt(dst, dstStep, y),
                        static_cast<uint32_t>(w), false);
}

// Row i of n chroma rows, the nearest one for indices outside 0..n-1.
inline const uint8_t* EdgeRow(const uint8_t* p, int step, int i, int n) {
  return RowAt(p, step, std::clamp(i, 0, n - 1));
}

// Planar source; `cbPlane` and `crPlane` are the source's plane indices.
template <class Isa, int cbPlane, int crPlane>
KelResult Filter420To422P3(const Kel8u* const pSrc[3], const int srcStep[3],
                           Kel8u* const pDst[3], const int dstStep[3],
                           KelImageSize roiSize) {
  ArgCheck check;
  check.NotNull(pSrc, srcStep, pDst, dstStep)
      .Planes(pSrc, 3)
      .Planes(pDst, 3)
      .MinSize(roiSize, 2, 8);
  if (check.Failed()) return check.Result();
  const int w = roiSize.width & ~1, h = roiSize.height & ~1;
  const int n = h / 2, cw = w / 2;

  CopyLuma<Isa>(pSrc[0], srcStep[0], pDst[0], dstStep[0], w, h);
  const int srcPlane[2] = {cbPlane, crPlane};
  for (int p = 0; p < 2; ++p) {
    const uint8_t* src = pSrc[srcPlane[p]];
    const int sStep = srcStep[srcPlane[p]];
    uint8_t* dst = pDst[p + 1];
    const int dStep = dstStep[p + 1];
    for (int i = 0; i < n; ++i) {
      FourTapRows<Isa>(EdgeRow(src, sStep, i - 1, n), RowAt(src, sStep, i),
                       EdgeRow(src, sStep, i + 1, n),
                       EdgeRow(src, sStep, i + 2, n), RowAt(dst, dStep, 2 * i),
                       RowAt(dst, dStep, 2 * i + 1), cw);
    }
  }
  return kelOk;
}

template <class Isa>
KelResult YCbCr420ToYCbCr422FilterP3R(const Kel8u* const pSrc[3],
                                      const int srcStep[3],
                                      Kel8u* const pDst[3],
                                      const int dstStep[3],
                                      KelImageSize roiSize) {
  return Filter420To422P3<Isa, 1, 2>(pSrc, srcStep, pDst, dstStep, roiSize);
}

template <class Isa>
KelResult YCrCb420ToYCbCr422FilterP3R(const Kel8u* const pSrc[3],
                                      const int srcStep[3],
                                      Kel8u* const pDst[3],
                                      const int dstStep[3],
                                      KelImageSize roiSize) {
  return Filter420To422P3<Isa, 2, 1>(pSrc, srcStep, pDst, dstStep, roiSize);
}

// The entries from a luma plane and a plane of Cb, Cr pairs to three
// planes: checks, the luma copy, then chromaRows(i, n, cw) for each of the
// n chroma source rows. The size is taken in whole pairs of columns and
// whole groups of kRowGroup rows.
template <class Isa, int kRowGroup, class ChromaRows>
KelResult FilterFromP2(const Kel8u* pSrcY, int srcYStep, const Kel8u* pSrcCbCr,
                       Kel8u* const pDst[3], const int dstStep[3],
                       KelImageSize roiSize, ChromaRows chromaRows) {
  ArgCheck check;
  check.NotNull(pSrcY, pSrcCbCr, pDst, dstStep)
      .Planes(pDst, 3)
      .MinSize(roiSize, 2, kRowGroup);
  if (check.Failed()) return check.Result();
  const int w = roiSize.width & ~1, h = roiSize.height / kRowGroup * kRowGroup;
  CopyLuma<Isa>(pSrcY, srcYStep, pDst[0], dstStep[0], w, h);
  for (int i = 0; i < h / 2; ++i) chromaRows(i, h / 2, w / 2);
  return kelOk;
}

// Interleaved source; the height is taken in whole groups of eight rows.
template <class Isa>
KelResult YCbCr420ToYCbCr422FilterP2P3R(const Kel8u* pSrcY, int srcYStep,
                                        const Kel8u* pSrcCbCr, int srcCbCrStep,
                                        Kel8u* const pDst[3],
                                        const int dstStep[3],
                                        KelImageSize roiSize) {
  auto rows = [&](int i, int n, int cw) {
    FourTapPairs<Isa>(EdgeRow(pSrcCbCr, srcCbCrStep, i - 1, n),
                      RowAt(pSrcCbCr, srcCbCrStep, i),
                      EdgeRow(pSrcCbCr, srcCbCrStep, i + 1, n),
                      EdgeRow(pSrcCbCr, srcCbCrStep, i + 2, n),
                      RowAt(pDst[1], dstStep[1], 2 * i),
                      RowAt(pDst[2], dstStep[2], 2 * i),
                      RowAt(pDst[1], dstStep[1], 2 * i + 1),
                      RowAt(pDst[2], dstStep[2], 2 * i + 1), cw);
  };
  return FilterFromP2<Isa, 8>(pSrcY, srcYStep, pSrcCbCr, pDst, dstStep, roiSize,
                              rows);
}

// ---- 4:2:0 -> packed 4:2:2, three to one -----------------------------------

// One packed row Y0 Cb Y1 Cr from a luma row and the two chroma rows of its
// filter; returns the pixels done.
#if KEL_X86_64
KEL_AVX2 int PackNear3RowAvx2(const uint8_t* y, const uint8_t* nearer,
                              const uint8_t* farther, uint8_t* dst, int w) {
  int x = 0;
  for (; x + 32 <= w; x += 32) {
    // Interleaving luma with the CbCr pairs byte by byte gives Y0 Cb Y1 Cr.
    const __m256i c =
        Near3Bytes(simd::Load(nearer + x), simd::Load(farther + x));
    const __m256i vy = simd::Load(y + x);
    const __m256i p0 = _mm256_unpacklo_epi8(vy, c);
    const __m256i p1 = _mm256_unpackhi_epi8(vy, c);
    simd::Store(dst + 2 * x, _mm256_permute2x128_si256(p0, p1, 0x20));
    simd::Store(dst + 2 * x + 32, _mm256_permute2x128_si256(p0, p1, 0x31));
  }
  return x;
}
#endif  // KEL_X86_64

template <class Isa>
void PackNear3Row(const uint8_t* y, const uint8_t* nearer,
                  const uint8_t* farther, uint8_t* dst, int w) {
  int x = 0;
  // A destination row that overlaps a source row is written by the
  // per-sample loop alone, so the result does not depend on the vector width.
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>) {
    const size_t n = static_cast<size_t>(w);
    if (!Overlap(dst, 2 * n, y, n) && !Overlap(dst, 2 * n, nearer, n) &&
        !Overlap(dst, 2 * n, farther, n))
      x = PackNear3RowAvx2(y, nearer, farther, dst, w);
  }
#endif
  for (; x < w; x += 2) {
    const uint8_t y0 = y[x], y1 = y[x + 1];
    const uint8_t cb = Near3(nearer[x], farther[x]);
    const uint8_t cr = Near3(nearer[x + 1], farther[x + 1]);
    dst[2 * x] = y0;
    dst[2 * x + 1] = cb;
    dst[2 * x + 2] = y1;
    dst[2 * x + 3] = cr;
  }
}

template <class Isa>
KelResult YCbCr420ToYCbCr422FilterP2C2R(const Kel8u* pSrcY, int srcYStep,
                                        const Kel8u* pSrcCbCr, int srcCbCrStep,
                                        Kel8u* pDst, int dstStep,
                                        KelImageSize roiSize, int layout) {
  ArgCheck check;
  check.NotNull(pSrcY, pSrcCbCr, pDst).MinSize(roiSize, 2, 2);
  if (check.Failed()) return check.Result();
  SliceContext ctx{};
  if (!DecodeSlice(layout, &ctx)) return kelOk;
  const int w = roiSize.width & ~1, h = roiSize.height & ~1;
  const int n = h / 2;
  // Chroma rows that may be read: -1 and n only when the slice has them.
  const int first = ctx.above ? -1 : 0, last = ctx.below ? n : n - 1;
  for (int r = 0; r < h; ++r) {
    const int i = r / 2;
    const int j = std::clamp((r & 1) ? i + 1 : i - 1, first, last);
    PackNear3Row<Isa>(
        RowAt(pSrcY, srcYStep, r), RowAt(pSrcCbCr, srcCbCrStep, i),
        RowAt(pSrcCbCr, srcCbCrStep, j), RowAt(pDst, dstStep, r), w);
  }
  return kelOk;
}

// ---- 4:2:0 -> 4:2:0 YCrCb, one-two-one -------------------------------------

// 16 pairs from byte `off` on, smoothed: Cb lanes in *vcb, Cr in *vcr.
#if KEL_X86_64
KEL_AVX2_INLINE void Smooth121PairUnit(const uint8_t* a, const uint8_t* b,
                                       const uint8_t* c, int off, __m256i* vcb,
                                       __m256i* vcr) {
  const __m256i ra = simd::Load(a + off), rb = simd::Load(b + off);
  const __m256i rc = simd::Load(c + off);
  *vcb = Smooth121Lanes(LowBytes(ra), LowBytes(rb), LowBytes(rc));
  *vcr = Smooth121Lanes(HighBytes(ra), HighBytes(rb), HighBytes(rc));
}

// Smoothed row of interleaved pairs into a Cr row and a Cb row.
KEL_AVX2 int Smooth121PairsAvx2(const uint8_t* a, const uint8_t* b,
                                const uint8_t* c, uint8_t* cr, uint8_t* cb,
                                int pairs) {
  int x = 0;
  __m256i cb0, cr0, cb1, cr1;
  for (; x + 32 <= pairs; x += 32) {
    Smooth121PairUnit(a, b, c, 2 * x, &cb0, &cr0);
    Smooth121PairUnit(a, b, c, 2 * x + 32, &cb1, &cr1);
    StoreLanes32(cb0, cb1, cr0, cr1, cb + x, cr + x);
  }
  if (x + 16 <= pairs) {
    Smooth121PairUnit(a, b, c, 2 * x, &cb0, &cr0);
    StoreLanes16(cb0, cr0, cb + x, cr + x);
    x += 16;
  }
  return x;
}
#endif  // KEL_X86_64

template <class Isa>
void Smooth121Pairs(const uint8_t* a, const uint8_t* b, const uint8_t* c,
                    uint8_t* cr, uint8_t* cb, int pairs) {
  int x = 0;
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>) x = Smooth121PairsAvx2(a, b, c, cr, cb, pairs);
#endif
  for (; x < pairs; ++x) {
    cb[x] = Smooth121(a[2 * x], b[2 * x], c[2 * x]);
    cr[x] = Smooth121(a[2 * x + 1], b[2 * x + 1], c[2 * x + 1]);
  }
}

template <class Isa>
KelResult YCbCr420ToYCrCb420FilterP2P3R(const Kel8u* pSrcY, int srcYStep,
                                        const Kel8u* pSrcCbCr, int srcCbCrStep,
                                        Kel8u* const pDst[3],
                                        const int dstStep[3],
                                        KelImageSize roiSize) {
  auto rows = [&](int i, int n, int cw) {
    Smooth121Pairs<Isa>(EdgeRow(pSrcCbCr, srcCbCrStep, i - 1, n),
                        RowAt(pSrcCbCr, srcCbCrStep, i),
                        EdgeRow(pSrcCbCr, srcCbCrStep, i + 1, n),
                        RowAt(pDst[1], dstStep[1], i),
                        RowAt(pDst[2], dstStep[2], i), cw);
  };
  return FilterFromP2<Isa, 2>(pSrcY, srcYStep, pSrcCbCr, pDst, dstStep, roiSize,
                              rows);
}

}  // namespace
}  // namespace kel::resample

KEL_IMPLEMENT(keliYCbCr420ToYCbCr422_Filter_8u_P3R,
              kel::resample::YCbCr420ToYCbCr422FilterP3R)
KEL_IMPLEMENT(keliYCrCb420ToYCbCr422_Filter_8u_P3R,
              kel::resample::YCrCb420ToYCbCr422FilterP3R)
KEL_IMPLEMENT(keliYCbCr420ToYCbCr422_Filter_8u_P2P3R,
              kel::resample::YCbCr420ToYCbCr422FilterP2P3R)
KEL_IMPLEMENT(keliYCbCr420ToYCbCr422_Filter_8u_P2C2R,
              kel::resample::YCbCr420ToYCbCr422FilterP2C2R)
KEL_IMPLEMENT(keliYCbCr420ToYCrCb420_Filter_8u_P2P3R,
              kel::resample::YCbCr420ToYCrCb420FilterP2P3R)
