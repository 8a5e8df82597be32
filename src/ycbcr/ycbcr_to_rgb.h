// YCbCr to RGB and BGR: one kernel family for every sampling and layout.
//
// A conversion is put together from three parts:
//
//   - a source, which knows the sampling (4:4:4, 4:2:2, 4:2:0, 4:1:1) and
//     the layout (planes, a luma plane plus a plane of chroma pairs, packed
//     4:2:2 in one of its byte orders, packed 4:4:4); Cr-first sources are
//     the Cb-first ones with their chroma exchanged;
//   - a form, the fixed-point arithmetic of one member (forms.h states each
//     one per pixel; the structs below add its vector body);
//   - a destination: packed RGB or BGR with three or four bytes per pixel,
//     or three planes.
//
// Every row is split the same way on every processor: the body, which
// uses the member's form, then for the members that have one a remainder of
// the last (width / 2) mod 8 pixel pairs in the rounded 2^16 form. The
// portable build runs the scalar forms over the whole row; the AVX2 build
// runs the body in blocks of 32 pixels and the rest of the body with the
// same scalar form, so both give the same bytes.
//
// Subsampled images convert whole chroma blocks only: an odd last column
// (4:2:2, 4:2:0), the last width mod 4 columns (4:1:1) and an odd last row
// (4:2:0) are left untouched.
#pragma once

#include "frame/isa.h"
#if KEL_X86_64
#include <immintrin.h>
#endif

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/isa.h"
#include "frame/simd_avx2.h"
#include "ycbcr/forms.h"

namespace kel::ycbcr::dec {

inline const uint8_t* RowOf(const uint8_t* p, int step, int row) {
  return p + static_cast<ptrdiff_t>(step) * row;
}
inline uint8_t* RowOf(uint8_t* p, int step, int row) {
  return p + static_cast<ptrdiff_t>(step) * row;
}

// ---- Vector helpers ------------------------------------------------------

// A byte-shuffle mask, the same in both 128-bit lanes; -1 writes zero.
struct Mask32 {
  alignas(32) int8_t b[32];
};

#if KEL_X86_64
KEL_AVX2_INLINE __m256i MaskVec(const Mask32& m) { return simd::Load(m.b); }

// Two 16-byte loads side by side: `lo` in the low lane, `hi` in the high.
KEL_AVX2_INLINE __m256i Load2x128(const void* lo, const void* hi) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(simd::Load128(lo)),
                                 simd::Load128(hi), 1);
}

// 128 * (v - offset) in 16-bit lanes: the scaled difference of the forms.
KEL_AVX2_INLINE __m256i Scaled(__m256i v, int offset) {
  return _mm256_slli_epi16(_mm256_sub_epi16(v, simd::Set16(offset)), 7);
}

// The per-chroma-sample terms of a form, in 16-bit lanes. Their meaning
// belongs to the form; sources only move them around.
struct Terms {
  __m256i a, b, c;
};
#endif  // KEL_X86_64

// Each term duplicated, for the pixels of 2-pixel chroma blocks: lanes
// [t0..t7 | t8..t15] become [t0 t0 .. t3 t3 | t8 t8 .. t11 t11] (DupLo) and
// [t4 t4 .. t7 t7 | t12 t12 .. t15 t15] (DupHi).
#if KEL_X86_64
KEL_AVX2_INLINE Terms DupLo(const Terms& t) {
  return {_mm256_unpacklo_epi16(t.a, t.a), _mm256_unpacklo_epi16(t.b, t.b),
          _mm256_unpacklo_epi16(t.c, t.c)};
}
KEL_AVX2_INLINE Terms DupHi(const Terms& t) {
  return {_mm256_unpackhi_epi16(t.a, t.a), _mm256_unpackhi_epi16(t.b, t.b),
          _mm256_unpackhi_epi16(t.c, t.c)};
}
#endif  // KEL_X86_64

// ---- Forms ---------------------------------------------------------------
//
// Each form has
//   Scalar(Y, Cb, Cr)          the per-pixel definition from forms.h;
//   Chroma(cb, cr) -> Terms    its chroma part, from Cb and Cr in 16-bit
//                              lanes, once per chroma sample;
//   Rgb(y, terms, &r, &g, &b)  the per-pixel part, from Y in 16-bit lanes,
//                              giving 16-bit results that the caller clamps
//                              to 0..255 with an unsigned saturating pack.
//
// For 8-bit inputs none of the 16-bit sums of the 2^12 and 2^13 forms comes
// near the 16-bit limits (|sum| < 9000), so the saturating additions never
// saturate and the rounding term can be added to the luma part once. The
// exhaustive tests over all 2^24 inputs hold the vector body to the scalar
// definition.

// Inverse form P: 2^13, truncating (the 4:4:4 planar member).
struct FormP {
  static Rgb8 Scalar(int y, int cb, int cr) { return InverseP(y, cb, cr); }
#if KEL_X86_64
  KEL_AVX2_INLINE static Terms Chroma(__m256i cb, __m256i cr) {
    const __m256i u = Scaled(cb, 128), v = Scaled(cr, 128);
    return {simd::MulHiS16(v, simd::Set16(13074)),
            _mm256_add_epi16(simd::MulHiS16(v, simd::Set16(-6660)),
                             simd::MulHiS16(u, simd::Set16(-3203))),
            simd::MulHiS16(u, simd::Set16(16523))};
  }
  KEL_AVX2_INLINE static void Rgb(__m256i y, const Terms& t, __m256i* r,
                                  __m256i* g, __m256i* b) {
    const __m256i yp = simd::MulHiS16(Scaled(y, 16), simd::Set16(9536));
    *r = _mm256_srai_epi16(simd::AddSatS16(yp, t.a), 4);
    *g = _mm256_srai_epi16(simd::AddSatS16(yp, t.b), 4);
    *b = _mm256_srai_epi16(simd::AddSatS16(yp, t.c), 4);
  }
#endif  // KEL_X86_64
};

// Inverse forms Q (2^13) and R (2^12, the workhorse of the family):
// rounded. (s + 2^(k-1)) >> k is one rounding multiply by 2^(15-k), which
// runs beside the shuffles instead of competing with them.
template <Rgb8 (*kScalar)(int, int, int), int kLuma, int kVr, int kVg, int kUg,
          int kUb, int kShift>
struct RoundedForm {
  static Rgb8 Scalar(int y, int cb, int cr) { return kScalar(y, cb, cr); }
#if KEL_X86_64
  KEL_AVX2_INLINE static Terms Chroma(__m256i cb, __m256i cr) {
    const __m256i u = Scaled(cb, 128), v = Scaled(cr, 128);
    return {simd::MulHiS16(v, simd::Set16(kVr)),
            _mm256_add_epi16(simd::MulHiS16(v, simd::Set16(kVg)),
                             simd::MulHiS16(u, simd::Set16(kUg))),
            simd::MulHiS16(u, simd::Set16(kUb))};
  }
  KEL_AVX2_INLINE static void Rgb(__m256i y, const Terms& t, __m256i* r,
                                  __m256i* g, __m256i* b) {
    const __m256i yp = simd::MulHiS16(Scaled(y, 16), simd::Set16(kLuma));
    const __m256i round = simd::Set16(1 << (15 - kShift));
    *r = _mm256_mulhrs_epi16(simd::AddSatS16(yp, t.a), round);
    *g = _mm256_mulhrs_epi16(_mm256_sub_epi16(yp, t.b), round);
    *b = _mm256_mulhrs_epi16(simd::AddSatS16(yp, t.c), round);
  }
#endif  // KEL_X86_64
};
using FormQ = RoundedForm<InverseQ, 9535, 13074, 6660, 3211, 16523, 4>;
using FormR = RoundedForm<InverseR, 4769, 6537, 3330, 1605, 8263, 3>;

// Form R rounding with an addition and shifts instead of the multiply: the
// same bits. The filtered 4:2:0 member is faster this way (its chroma
// filter already keeps the multiply ports busy).
struct FormRShifted : FormR {
#if KEL_X86_64
  KEL_AVX2_INLINE static void Rgb(__m256i y, const Terms& t, __m256i* r,
                                  __m256i* g, __m256i* b) {
    const __m256i yp = _mm256_add_epi16(
        simd::MulHiS16(Scaled(y, 16), simd::Set16(4769)), simd::Set16(4));
    *r = _mm256_srai_epi16(simd::AddSatS16(yp, t.a), 3);
    *g = _mm256_srai_epi16(_mm256_sub_epi16(yp, t.b), 3);
    *b = _mm256_srai_epi16(simd::AddSatS16(yp, t.c), 3);
  }
#endif  // KEL_X86_64
};

// Inverse form R with the offsets folded into its constants: it takes the
// samples as stored (128 Y, 128 Cb, 128 Cr fit signed 16-bit lanes).
struct FormRFolded {
  static Rgb8 Scalar(int y, int cb, int cr) {
    return InverseRFolded(y, cb, cr);
  }
#if KEL_X86_64
  KEL_AVX2_INLINE static Terms Chroma(__m256i cb, __m256i cr) {
    const __m256i u = _mm256_slli_epi16(cb, 7), v = _mm256_slli_epi16(cr, 7);
    return {
        _mm256_sub_epi16(simd::MulHiS16(v, simd::Set16(6537)),
                         simd::Set16(1779)),
        _mm256_sub_epi16(simd::AddSatS16(simd::MulHiS16(u, simd::Set16(1605)),
                                         simd::MulHiS16(v, simd::Set16(3330))),
                         simd::Set16(1089)),
        _mm256_sub_epi16(simd::MulHiS16(u, simd::Set16(8263)),
                         simd::Set16(2211))};
  }
  KEL_AVX2_INLINE static void Rgb(__m256i y, const Terms& t, __m256i* r,
                                  __m256i* g, __m256i* b) {
    const __m256i yp =
        simd::MulHiS16(_mm256_slli_epi16(y, 7), simd::Set16(4769));
    *r = _mm256_srai_epi16(simd::AddSatS16(yp, t.a), 3);
    *g = _mm256_srai_epi16(_mm256_sub_epi16(yp, t.b), 3);
    *b = _mm256_srai_epi16(simd::AddSatS16(yp, t.c), 3);
  }
#endif  // KEL_X86_64
};

// Signed 16-bit lanes widened to 32 bits, in the order of the in-lane
// unpacks: lanes 0..3 of each half (Lo), lanes 4..7 (Hi).
#if KEL_X86_64
KEL_AVX2_INLINE __m256i SignedLo32(__m256i x) {
  return _mm256_srai_epi32(_mm256_unpacklo_epi16(x, x), 16);
}
KEL_AVX2_INLINE __m256i SignedHi32(__m256i x) {
  return _mm256_srai_epi32(_mm256_unpackhi_epi16(x, x), 16);
}
#endif  // KEL_X86_64

// The 2^16 forms work in 32-bit lanes. Their terms are just Cb - 128 and
// Cr - 128; Rgb widens each half of the 16-bit lanes, computes, and packs
// back with signed saturation (every result lies well inside 16 bits, and
// the final unsigned pack clamps to 0..255 as the table of the scalar form
// does).
template <bool kRounded>
struct Form2p16 {
  static Rgb8 Scalar(int y, int cb, int cr) {
    if constexpr (kRounded) {
      return Inverse16(y, cb, cr);
    } else {
      return InverseS(y, cb, cr);
    }
  }
#if KEL_X86_64
  KEL_AVX2_INLINE static Terms Chroma(__m256i cb, __m256i cr) {
    return {_mm256_sub_epi16(cb, simd::Set16(128)),
            _mm256_sub_epi16(cr, simd::Set16(128)), _mm256_setzero_si256()};
  }
  // Y, Cb - 128 and Cr - 128 in 32-bit lanes to R, G, B in 32-bit lanes.
  KEL_AVX2_INLINE static void Rgb32(__m256i y, __m256i u, __m256i v, __m256i* r,
                                    __m256i* g, __m256i* b) {
    const __m256i yy = _mm256_add_epi32(
        _mm256_mullo_epi32(y, _mm256_set1_epi32(76284)),
        _mm256_set1_epi32(kRounded ? 32768 - 1220544 : -1220544));
    *r = _mm256_srai_epi32(
        _mm256_add_epi32(yy, _mm256_mullo_epi32(v, _mm256_set1_epi32(104595))),
        16);
    *g = _mm256_srai_epi32(
        _mm256_sub_epi32(_mm256_sub_epi32(yy, _mm256_mullo_epi32(
                                                  v, _mm256_set1_epi32(53281))),
                         _mm256_mullo_epi32(u, _mm256_set1_epi32(25690))),
        16);
    *b = _mm256_srai_epi32(
        _mm256_add_epi32(yy, _mm256_mullo_epi32(u, _mm256_set1_epi32(132186))),
        16);
  }
  KEL_AVX2_INLINE static void Rgb(__m256i y, const Terms& t, __m256i* r,
                                  __m256i* g, __m256i* b) {
    const __m256i zero = _mm256_setzero_si256();
    __m256i r0, g0, b0, r1, g1, b1;
    Rgb32(_mm256_unpacklo_epi16(y, zero), SignedLo32(t.a), SignedLo32(t.b), &r0,
          &g0, &b0);
    Rgb32(_mm256_unpackhi_epi16(y, zero), SignedHi32(t.a), SignedHi32(t.b), &r1,
          &g1, &b1);
    *r = _mm256_packs_epi32(r0, r1);
    *g = _mm256_packs_epi32(g0, g1);
    *b = _mm256_packs_epi32(b0, b1);
  }
#endif  // KEL_X86_64
};
using Form16 = Form2p16<true>;
using FormS = Form2p16<false>;

// ---- Vector blocks of 32 pixels -------------------------------------------
//
// A block holds Y of 32 pixels of a row in two vectors of 16-bit lanes,
// lo = pixels [0..7 | 16..23] and hi = pixels [8..15 | 24..31] (the order
// of the in-lane byte unpacks, which the final unsigned pack undoes), and
// the form's terms for the same lanes.

// Terms of 32 pixels from subsampled chroma in 16-bit lanes. PairTerms
// takes one sample per pixel pair, 16 samples [c0..c7 | c8..c15]; QuadTerms
// one per four pixels, c0..c3 in the first four lanes of the low half and
// c4..c7 in those of the high half. (Chroma with one sample per pixel needs
// no duplication: its sources call Form::Chroma on each half.)
#if KEL_X86_64
template <class Form>
KEL_AVX2_INLINE void PairTerms(__m256i cb, __m256i cr, Terms* lo, Terms* hi) {
  const Terms t = Form::Chroma(cb, cr);
  *lo = DupLo(t);
  *hi = DupHi(t);
}
template <class Form>
KEL_AVX2_INLINE void QuadTerms(__m256i cb, __m256i cr, Terms* lo, Terms* hi) {
  const Terms t = DupLo(Form::Chroma(cb, cr));
  *lo = DupLo(t);
  *hi = DupHi(t);
}

// 16 bytes zero-extended to 16-bit lanes [b0..b7 | b8..b15].
KEL_AVX2_INLINE __m256i Widen16(const uint8_t* p) {
  return simd::WidenU8(simd::Load128(p));
}
// 8 bytes zero-extended, b0..b3 in the low lane, b4..b7 in the high lane.
KEL_AVX2_INLINE __m256i Widen8Split(const uint8_t* p) {
  const __m128i w =
      _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
  return _mm256_permute4x64_epi64(_mm256_castsi128_si256(w), 0x50);
}
// Bytes [0..7 | 16..23] (half 0) or [8..15 | 24..31] (half 1) of 32,
// zero-extended: one half of SplitBytes.
KEL_AVX2_INLINE __m256i WidenHalf(const uint8_t* p, int half) {
  const __m256i v = simd::Load(p);
  return half ? _mm256_unpackhi_epi8(v, _mm256_setzero_si256())
              : _mm256_unpacklo_epi8(v, _mm256_setzero_si256());
}
KEL_AVX2_INLINE void SplitBytes(__m256i v, __m256i* lo, __m256i* hi) {
  *lo = _mm256_unpacklo_epi8(v, _mm256_setzero_si256());
  *hi = _mm256_unpackhi_epi8(v, _mm256_setzero_si256());
}
#endif  // KEL_X86_64

// ---- Sources -------------------------------------------------------------
//
// A source describes the image; At(row) gives the view of one row group
// (two luma rows sharing a chroma row for 4:2:0, else one row). A view has
//   Y(k, x), Cb(k, x), Cr(k, x)   the samples of pixel x of luma row k of
//                                 the group, for the scalar path;
//   Load<Form>(x, yLo, yHi, lo, hi)  a vector block at pixel x.

// Planar Y, Cb, Cr. kSubX is the horizontal chroma sampling (1, 2 or 4);
// kPairRows makes row pairs share one chroma row (4:2:0).
template <int kSubX, bool kPairRows>
struct PlanarSrc {
  static constexpr int kSubXv = kSubX;
  static constexpr int kGroupRows = kPairRows ? 2 : 1;
  const uint8_t* p[3];
  int step[3];

  PlanarSrc(const uint8_t* const planes[3], const int steps[3],
            bool crFirst = false)
      : p{planes[0], planes[crFirst ? 2 : 1], planes[crFirst ? 1 : 2]},
        step{steps[0], steps[crFirst ? 2 : 1], steps[crFirst ? 1 : 2]} {}

  struct View {
    const uint8_t* y[kGroupRows];
    const uint8_t* cb;
    const uint8_t* cr;
    int Y(int k, int x) const { return y[k][x]; }
    int Cb(int, int x) const { return cb[x / kSubX]; }
    int Cr(int, int x) const { return cr[x / kSubX]; }

#if KEL_X86_64
    template <class Form>
    KEL_AVX2_INLINE void Load(int x, __m256i* yLo, __m256i* yHi, Terms* lo,
                              Terms* hi) const {
      for (int k = 0; k < kGroupRows; ++k)
        SplitBytes(simd::Load(y[k] + x), &yLo[k], &yHi[k]);
      if constexpr (kSubX == 1) {
        __m256i cbLo, cbHi, crLo, crHi;
        SplitBytes(simd::Load(cb + x), &cbLo, &cbHi);
        SplitBytes(simd::Load(cr + x), &crLo, &crHi);
        *lo = Form::Chroma(cbLo, crLo);
        *hi = Form::Chroma(cbHi, crHi);
      } else if constexpr (kSubX == 2) {
        PairTerms<Form>(Widen16(cb + x / 2), Widen16(cr + x / 2), lo, hi);
      } else {
        QuadTerms<Form>(Widen8Split(cb + x / 4), Widen8Split(cr + x / 4), lo,
                        hi);
      }
    }
    // One half of a 4:4:4 block: pixels [0..7 | 16..23] (half 0) or
    // [8..15 | 24..31] (half 1).
    template <class Form>
    requires(kSubX == 1 && !kPairRows) KEL_AVX2_INLINE
        void LoadHalf(int x, int half, __m256i* yv, Terms* t) const {
      *yv = WidenHalf(y[0] + x, half);
      *t = Form::Chroma(WidenHalf(cb + x, half), WidenHalf(cr + x, half));
    }
#endif  // KEL_X86_64
  };

  View At(int row) const {
    View v;
    for (int k = 0; k < kGroupRows; ++k) v.y[k] = RowOf(p[0], step[0], row + k);
    const int crow = kPairRows ? row / 2 : row;
    v.cb = RowOf(p[1], step[1], crow);
    v.cr = RowOf(p[2], step[2], crow);
    return v;
  }
  static int Rows(int height) { return kPairRows ? height & ~1 : height; }
};

// 4:2:0 planes whose chroma is filtered vertically before use.
//
// 4:2:0 chroma is sited between the two luma rows of its row pair, so
// replicating it shifts colour edges by half a chroma row. Here each luma row
// takes three quarters of its own chroma row and one quarter of the nearer
// neighbouring chroma row (the one above for the upper row of a pair, the one
// below for the lower row): (2c + c + n + 2) >> 2, the weights of linear
// interpolation at the luma row's position. At the top and bottom of the
// image the neighbour is the row itself, so flat chroma passes unchanged.
// Horizontally chroma is replicated, as in every other member.
struct FilteredPlanarSrc {
  static constexpr int kSubXv = 2;
  static constexpr int kGroupRows = 1;
  const uint8_t* p[3];
  int step[3];
  int chromaRows;

  FilteredPlanarSrc(const uint8_t* const planes[3], const int steps[3],
                    int height, bool crFirst)
      : p{planes[0], planes[crFirst ? 2 : 1], planes[crFirst ? 1 : 2]},
        step{steps[0], steps[crFirst ? 2 : 1], steps[crFirst ? 1 : 2]},
        chromaRows(height / 2) {}

  static int Filter(int own, int near) {
    return (2 * own + own + near + 2) >> 2;
  }

  struct View {
    const uint8_t* y;
    const uint8_t* cb[2];  // own chroma row, nearer neighbour
    const uint8_t* cr[2];
    int Y(int, int x) const { return y[x]; }
    int Cb(int, int x) const { return Filter(cb[0][x / 2], cb[1][x / 2]); }
    int Cr(int, int x) const { return Filter(cr[0][x / 2], cr[1][x / 2]); }

#if KEL_X86_64
    KEL_AVX2_INLINE static __m256i Filtered(const uint8_t* own,
                                            const uint8_t* near) {
      const __m256i o = Widen16(own), n = Widen16(near);
      const __m256i sum =
          _mm256_add_epi16(_mm256_add_epi16(o, o), _mm256_add_epi16(o, n));
      return _mm256_srli_epi16(_mm256_add_epi16(sum, simd::Set16(2)), 2);
    }
    template <class Form>
    KEL_AVX2_INLINE void Load(int x, __m256i* yLo, __m256i* yHi, Terms* lo,
                              Terms* hi) const {
      SplitBytes(simd::Load(y + x), yLo, yHi);
      PairTerms<Form>(Filtered(cb[0] + x / 2, cb[1] + x / 2),
                      Filtered(cr[0] + x / 2, cr[1] + x / 2), lo, hi);
    }
#endif  // KEL_X86_64
  };

  View At(int row) const {
    const int own = row / 2;
    const int near =
        (row & 1) ? std::min(own + 1, chromaRows - 1) : std::max(own - 1, 0);
    return {RowOf(p[0], step[0], row),
            {RowOf(p[1], step[1], own), RowOf(p[1], step[1], near)},
            {RowOf(p[2], step[2], own), RowOf(p[2], step[2], near)}};
  }
  static int Rows(int height) { return height & ~1; }
};

// 4:2:0 as a luma plane and a plane of interleaved chroma pairs, Cb first
// (or Cr first).
template <bool kCrFirst>
struct SemiPlanarSrc {
  static constexpr int kSubXv = 2;
  static constexpr int kGroupRows = 2;
  const uint8_t* py;
  int yStep;
  const uint8_t* pc;
  int cStep;

  struct View {
    const uint8_t* y[2];
    const uint8_t* c;
    int Y(int k, int x) const { return y[k][x]; }
    int Cb(int, int x) const { return c[(x & ~1) + (kCrFirst ? 1 : 0)]; }
    int Cr(int, int x) const { return c[(x & ~1) + (kCrFirst ? 0 : 1)]; }

#if KEL_X86_64
    template <class Form>
    KEL_AVX2_INLINE void Load(int x, __m256i* yLo, __m256i* yHi, Terms* lo,
                              Terms* hi) const {
      SplitBytes(simd::Load(y[0] + x), &yLo[0], &yHi[0]);
      SplitBytes(simd::Load(y[1] + x), &yLo[1], &yHi[1]);
      const __m256i pairs = simd::Load(c + x);  // 16 pairs, 16-bit lanes
      const __m256i first = _mm256_and_si256(pairs, simd::Set16(0xFF));
      const __m256i second = _mm256_srli_epi16(pairs, 8);
      if constexpr (kCrFirst) {
        PairTerms<Form>(second, first, lo, hi);
      } else {
        PairTerms<Form>(first, second, lo, hi);
      }
    }
#endif  // KEL_X86_64
  };

  View At(int row) const {
    return {{RowOf(py, yStep, row), RowOf(py, yStep, row + 1)},
            RowOf(pc, cStep, row / 2)};
  }
  static int Rows(int height) { return height & ~1; }
};

// Packed 4:2:2: four bytes per pixel pair. kYAt is the offset of the first
// luma byte (0 for Y0 C Y1 C', 1 for C Y0 C' Y1); kCbFirst tells whether the
// first chroma byte of the pair is Cb.
template <int kYAt, bool kCbFirst>
struct Packed422Src {
  static constexpr int kSubXv = 2;
  static constexpr int kGroupRows = 1;
  const uint8_t* p;
  int step;

  struct View {
    const uint8_t* s;
    int Y(int, int x) const { return s[2 * x + kYAt]; }
    int Cb(int, int x) const {
      return s[4 * (x / 2) + (1 - kYAt) + (kCbFirst ? 0 : 2)];
    }
    int Cr(int, int x) const {
      return s[4 * (x / 2) + (1 - kYAt) + (kCbFirst ? 2 : 0)];
    }

#if KEL_X86_64
    template <class Form>
    KEL_AVX2_INLINE void Load(int x, __m256i* yLo, __m256i* yHi, Terms* lo,
                              Terms* hi) const {
      // 16-bit lanes holding one pixel each (its Y and one chroma byte), in
      // block order.
      const uint8_t* b = s + 2 * x;
      const __m256i l = Load2x128(b, b + 32), h = Load2x128(b + 16, b + 48);
      const __m256i low = simd::Set16(0xFF);
      __m256i cl, ch;
      if constexpr (kYAt == 0) {
        *yLo = _mm256_and_si256(l, low);
        *yHi = _mm256_and_si256(h, low);
        cl = _mm256_srli_epi16(l, 8);
        ch = _mm256_srli_epi16(h, 8);
      } else {
        *yLo = _mm256_srli_epi16(l, 8);
        *yHi = _mm256_srli_epi16(h, 8);
        cl = _mm256_and_si256(l, low);
        ch = _mm256_and_si256(h, low);
      }
      // Pairs [0..3 | 8..11] and [4..7 | 12..15] in 32-bit lanes, first
      // chroma byte low: packing them gives [c0..c7 | c8..c15].
      const __m256i lowWord = _mm256_set1_epi32(0xFFFF);
      const __m256i first = _mm256_packus_epi32(_mm256_and_si256(cl, lowWord),
                                                _mm256_and_si256(ch, lowWord));
      const __m256i second = _mm256_packus_epi32(_mm256_srli_epi32(cl, 16),
                                                 _mm256_srli_epi32(ch, 16));
      if constexpr (kCbFirst) {
        PairTerms<Form>(first, second, lo, hi);
      } else {
        PairTerms<Form>(second, first, lo, hi);
      }
    }
#endif  // KEL_X86_64
  };

  View At(int row) const { return {RowOf(p, step, row)}; }
  static int Rows(int height) { return height; }
};

// Interleaving three byte vectors into packed 3-byte pixels, 16 pixels per
// lane. Byte i of channel c goes to byte 3i + c of the lane's 48; as 3 is
// prime to 16, one shuffle per channel puts every byte at its final offset
// modulo 16 (SpreadC3Mask), and each 16-byte part of the output is then a
// blend of the three spread channels (the channel of output byte o being
// o mod 3).
constexpr Mask32 SpreadC3Mask(int ch) {
  Mask32 m{};
  for (int lane = 0; lane < 2; ++lane)
    for (int i = 0; i < 16; ++i)
      m.b[16 * lane + (3 * i + ch) % 16] = static_cast<int8_t>(i);
  return m;
}
constexpr Mask32 PartChannelMask(int part, int ch) {
  Mask32 m{};
  for (int lane = 0; lane < 2; ++lane)
    for (int j = 0; j < 16; ++j)
      m.b[16 * lane + j] =
          static_cast<int8_t>((16 * part + j) % 3 == ch ? -128 : 0);
  return m;
}

// Gathering packed 3-byte pixels into 16-bit lanes, 8 pixels (24 bytes) per
// lane. The 24 bytes arrive as two overlapping 16-byte views, A = bytes
// 0..15 and B = bytes 8..23 of the group. For each channel there is a word
// blend of A and B that holds all 8 of the channel's bytes at distinct
// places (ByteSource), so one byte shuffle then puts them in 16-bit lanes.
// The word blends run on any vector port; only the shuffle does not.
//
// kWordFromB[ch] has bit w set when word w of the blend comes from B.
inline constexpr int kWordFromB[3] = {0x64, 0xB2, 0xD9};

// Where byte `at` (0..23) of a group sits in the blend for channel ch, or
// -1 if the blend does not hold it.
constexpr int ByteSource(int ch, int at) {
  if (at < 16 && !((kWordFromB[ch] >> (at / 2)) & 1)) return at;
  if (at >= 8 && ((kWordFromB[ch] >> ((at - 8) / 2)) & 1)) return at - 8;
  return -1;
}
constexpr bool BlendsHoldEveryChannel() {
  for (int ch = 0; ch < 3; ++ch)
    for (int k = 0; k < 8; ++k)
      if (ByteSource(ch, 3 * k + ch) < 0) return false;
  return true;
}
static_assert(BlendsHoldEveryChannel());

// Channel ch of the group's 8 pixels, zero-extended to 16-bit lanes.
constexpr Mask32 GatherC3Mask(int ch) {
  Mask32 m{};
  for (int lane = 0; lane < 2; ++lane) {
    for (int k = 0; k < 8; ++k) {
      m.b[16 * lane + 2 * k] = static_cast<int8_t>(ByteSource(ch, 3 * k + ch));
      m.b[16 * lane + 2 * k + 1] = -1;
    }
  }
  return m;
}

// Packed 4:4:4 Y, Cb, Cr, three bytes per pixel.
struct Packed444Src {
  static constexpr int kSubXv = 1;
  static constexpr int kGroupRows = 1;
  const uint8_t* p;
  int step;

  struct View {
    const uint8_t* s;
    int Y(int, int x) const { return s[3 * x]; }
    int Cb(int, int x) const { return s[3 * x + 1]; }
    int Cr(int, int x) const { return s[3 * x + 2]; }

    // Views A and B of the groups at g (low lane) and g + 48 (high lane),
    // from four 32-byte loads joined by dword blends.
#if KEL_X86_64
    KEL_AVX2_INLINE static void Views(const uint8_t* g, __m256i* a,
                                      __m256i* b) {
      *a = _mm256_blend_epi32(simd::Load(g), simd::Load(g + 32), 0xF0);
      *b = _mm256_blend_epi32(simd::Load(g + 8), simd::Load(g + 40), 0xF0);
    }
    template <int kCh>
    KEL_AVX2_INLINE static __m256i Channel(__m256i a, __m256i b) {
      static constexpr Mask32 kGather = GatherC3Mask(kCh);
      constexpr int kFromB = kWordFromB[kCh];
      return _mm256_shuffle_epi8(_mm256_blend_epi16(a, b, kFromB),
                                 MaskVec(kGather));
    }
    KEL_AVX2_INLINE static void Channels(__m256i a, __m256i b, __m256i* y,
                                         __m256i* cb, __m256i* cr) {
      *y = Channel<0>(a, b);
      *cb = Channel<1>(a, b);
      *cr = Channel<2>(a, b);
    }

    // Half 0 of the block at pixel x is pixels [0..7 | 16..23], from the
    // groups at bytes 0 and 48; half 1 is [8..15 | 24..31], from bytes 24
    // and 72. The last load of half 1 ends at byte 96, the block's end.
    template <class Form>
    KEL_AVX2_INLINE void LoadHalf(int x, int half, __m256i* y, Terms* t) const {
      __m256i a, b, cb, cr;
      Views(s + 3 * x + 24 * half, &a, &b);
      Channels(a, b, y, &cb, &cr);
      *t = Form::Chroma(cb, cr);
    }
#endif  // KEL_X86_64
  };

  View At(int row) const { return {RowOf(p, step, row)}; }
  static int Rows(int height) { return height; }
};

// ---- Destinations --------------------------------------------------------
//
// At(row) gives a row view with Put(x, rgb) for one pixel and
// Write32(x, r, g, b) for 32 pixels whose channels are bytes in pixel order.

#if KEL_X86_64
KEL_AVX2_INLINE void StoreC3(uint8_t* d, __m256i c0, __m256i c1, __m256i c2) {
  static constexpr Mask32 kSpread[3] = {SpreadC3Mask(0), SpreadC3Mask(1),
                                        SpreadC3Mask(2)};
  static constexpr Mask32 kPick[3][2] = {
      {PartChannelMask(0, 1), PartChannelMask(0, 2)},
      {PartChannelMask(1, 1), PartChannelMask(1, 2)},
      {PartChannelMask(2, 1), PartChannelMask(2, 2)}};
  const __m256i s0 = _mm256_shuffle_epi8(c0, MaskVec(kSpread[0]));
  const __m256i s1 = _mm256_shuffle_epi8(c1, MaskVec(kSpread[1]));
  const __m256i s2 = _mm256_shuffle_epi8(c2, MaskVec(kSpread[2]));
  __m256i o[3];
  for (int part = 0; part < 3; ++part) {
    o[part] =
        _mm256_blendv_epi8(_mm256_blendv_epi8(s0, s1, MaskVec(kPick[part][0])),
                           s2, MaskVec(kPick[part][1]));
  }
  // Each lane now holds 48 bytes of output in three parts: lane 0 is pixels
  // 0..15, lane 1 pixels 16..31.
  simd::Store(d, _mm256_permute2x128_si256(o[0], o[1], 0x20));
  simd::Store(d + 32, _mm256_permute2x128_si256(o[2], o[0], 0x30));
  simd::Store(d + 64, _mm256_permute2x128_si256(o[1], o[2], 0x31));
}
#endif  // KEL_X86_64

// Packed three bytes per pixel, R G B or B G R.
template <bool kBgr>
struct PackedC3Dst {
  uint8_t* p;
  int step;
  struct View {
    uint8_t* d;
    void Put(int x, Rgb8 c) const {
      d[3 * x] = kBgr ? c.b : c.r;
      d[3 * x + 1] = c.g;
      d[3 * x + 2] = kBgr ? c.r : c.b;
    }
#if KEL_X86_64
    KEL_AVX2_INLINE void Write32(int x, __m256i r, __m256i g, __m256i b) const {
      if constexpr (kBgr) {
        StoreC3(d + 3 * x, b, g, r);
      } else {
        StoreC3(d + 3 * x, r, g, b);
      }
    }
#endif  // KEL_X86_64
  };
  View At(int row) const { return {RowOf(p, step, row)}; }
};

// Packed four bytes per pixel, R G B A or B G R A, A the caller's value.
template <bool kBgr>
struct PackedC4Dst {
  uint8_t* p;
  int step;
  uint8_t alpha;
  struct View {
    uint8_t* d;
    uint8_t alpha;
    void Put(int x, Rgb8 c) const {
      d[4 * x] = kBgr ? c.b : c.r;
      d[4 * x + 1] = c.g;
      d[4 * x + 2] = kBgr ? c.r : c.b;
      d[4 * x + 3] = alpha;
    }
#if KEL_X86_64
    KEL_AVX2_INLINE void Write32(int x, __m256i r, __m256i g, __m256i b) const {
      const __m256i c0 = kBgr ? b : r, c2 = kBgr ? r : b;
      const __m256i a = _mm256_set1_epi8(static_cast<char>(alpha));
      const __m256i lo01 = _mm256_unpacklo_epi8(c0, g);
      const __m256i lo23 = _mm256_unpacklo_epi8(c2, a);
      const __m256i hi01 = _mm256_unpackhi_epi8(c0, g);
      const __m256i hi23 = _mm256_unpackhi_epi8(c2, a);
      const __m256i q0 = _mm256_unpacklo_epi16(lo01, lo23);  // 0..3 | 16..19
      const __m256i q1 = _mm256_unpackhi_epi16(lo01, lo23);  // 4..7 | 20..23
      const __m256i q2 = _mm256_unpacklo_epi16(hi01, hi23);  // 8.. | 24..
      const __m256i q3 = _mm256_unpackhi_epi16(hi01, hi23);  // 12.. | 28..
      uint8_t* o = d + 4 * x;
      simd::Store(o, _mm256_permute2x128_si256(q0, q1, 0x20));
      simd::Store(o + 32, _mm256_permute2x128_si256(q2, q3, 0x20));
      simd::Store(o + 64, _mm256_permute2x128_si256(q0, q1, 0x31));
      simd::Store(o + 96, _mm256_permute2x128_si256(q2, q3, 0x31));
    }
#endif  // KEL_X86_64
  };
  View At(int row) const { return {RowOf(p, step, row), alpha}; }
};

// Three planes R, G, B with one step.
struct PlanarDst {
  uint8_t* p[3];
  int step;
  struct View {
    uint8_t* d[3];
    void Put(int x, Rgb8 c) const {
      d[0][x] = c.r;
      d[1][x] = c.g;
      d[2][x] = c.b;
    }
#if KEL_X86_64
    KEL_AVX2_INLINE void Write32(int x, __m256i r, __m256i g, __m256i b) const {
      simd::Store(d[0] + x, r);
      simd::Store(d[1] + x, g);
      simd::Store(d[2] + x, b);
    }
#endif  // KEL_X86_64
  };
  View At(int row) const {
    return {{RowOf(p[0], step, row), RowOf(p[1], step, row),
             RowOf(p[2], step, row)}};
  }
};

// ---- The row walk --------------------------------------------------------

// Sources whose block halves are independent (4:4:4) convert one half
// before loading the other, which keeps fewer vectors live, and store each
// block one iteration late, so that the output interleave of one block
// overlaps the arithmetic of the next instead of ending a long dependency
// chain.
#if KEL_X86_64
template <class Src, class Form>
concept HalfBlocks = requires(const typename Src::View& s, __m256i* y,
                              Terms* t) {
  s.template LoadHalf<Form>(0, 0, y, t);
};
#endif

// Body blocks of 32 pixels; returns the first pixel not converted.
#if KEL_X86_64
template <class Form, class Src, class Dst>
KEL_AVX2 int Blocks32(const typename Src::View& src,
                      const typename Dst::View* dst,
                      int end) requires(!HalfBlocks<Src, Form>) {
  constexpr int kRows = Src::kGroupRows;
  // Local copies of the row pointers: the stores cannot change them, so
  // they stay in registers across the loop.
  const typename Src::View s = src;
  typename Dst::View d[kRows];
  for (int k = 0; k < kRows; ++k) d[k] = dst[k];
  int x = 0;
  for (; x + 32 <= end; x += 32) {
    __m256i yLo[kRows], yHi[kRows];
    Terms lo, hi;
    s.template Load<Form>(x, yLo, yHi, &lo, &hi);
    for (int k = 0; k < kRows; ++k) {
      __m256i r0, g0, b0, r1, g1, b1;
      Form::Rgb(yLo[k], lo, &r0, &g0, &b0);
      Form::Rgb(yHi[k], hi, &r1, &g1, &b1);
      d[k].Write32(x, _mm256_packus_epi16(r0, r1), _mm256_packus_epi16(g0, g1),
                   _mm256_packus_epi16(b0, b1));
    }
  }
  return x;
}
#endif  // KEL_X86_64

// The 4:4:4 body. With GCC this loop is also scheduled before register
// allocation (not done by default on x86), which measurably helps the
// out-of-order core keep all vector ports busy here.
#if defined(__GNUC__) && !defined(__clang__)
#define KEL_DEC_SCHEDULED \
  __attribute__((optimize("schedule-insns", "sched-pressure")))
#else
#define KEL_DEC_SCHEDULED
#endif
#if KEL_X86_64
// One 32-pixel block of a half-block source, both halves converted.
template <class Form, class View>
KEL_AVX2_INLINE void HalfBlockPair(const View& s, int at, __m256i* r,
                                   __m256i* g, __m256i* b) {
  __m256i y, r0, g0, b0, r1, g1, b1;
  Terms t;
  s.template LoadHalf<Form>(at, 0, &y, &t);
  Form::Rgb(y, t, &r0, &g0, &b0);
  s.template LoadHalf<Form>(at, 1, &y, &t);
  Form::Rgb(y, t, &r1, &g1, &b1);
  *r = _mm256_packus_epi16(r0, r1);
  *g = _mm256_packus_epi16(g0, g1);
  *b = _mm256_packus_epi16(b0, b1);
}

template <class Form, class Src, class Dst>
KEL_DEC_SCHEDULED KEL_AVX2 int Blocks32(
    const typename Src::View& src, const typename Dst::View* dst,
    int end) requires HalfBlocks<Src, Form> {
  if (end < 32) return 0;
  const typename Src::View s = src;
  const typename Dst::View d = dst[0];
  __m256i r, g, b;
  HalfBlockPair<Form>(s, 0, &r, &g, &b);
  int x = 32;
  for (; x + 32 <= end; x += 32) {
    __m256i rn, gn, bn;
    HalfBlockPair<Form>(s, x, &rn, &gn, &bn);
    d.Write32(x - 32, r, g, b);
    r = rn;
    g = gn;
    b = bn;
  }
  d.Write32(x - 32, r, g, b);
  return x;
}
#endif  // KEL_X86_64

// Converts the region. With kRemainder16 the last (width / 2) mod 8 pixel
// pairs of each row take the rounded 2^16 form.
template <class Isa, class Form, bool kRemainder16, class Src, class Dst>
void Convert(const Src& src, const Dst& dst, int width, int height) {
  constexpr int kRows = Src::kGroupRows;
  const int whole = width & ~(Src::kSubXv - 1);
  const int bodyEnd = kRemainder16 ? width & ~15 : whole;
  const int rows = Src::Rows(height);
  for (int row = 0; row < rows; row += kRows) {
    const typename Src::View s = src.At(row);
    typename Dst::View d[kRows];
    for (int k = 0; k < kRows; ++k) d[k] = dst.At(row + k);
    int x = 0;
#if KEL_X86_64
    if constexpr (kIsAvx2<Isa>) x = Blocks32<Form, Src, Dst>(s, d, bodyEnd);
#endif
    for (int k = 0; k < kRows; ++k) {
      for (int i = x; i < bodyEnd; ++i)
        d[k].Put(i, Form::Scalar(s.Y(k, i), s.Cb(k, i), s.Cr(k, i)));
      for (int i = bodyEnd; i < whole; ++i)
        d[k].Put(i, Inverse16(s.Y(k, i), s.Cb(k, i), s.Cr(k, i)));
    }
  }
}

// Packed 4:4:4 with a fourth byte, inverse form S. The fourth byte of the
// destination is not written: like every layout named AC4, the alpha channel
// is not processed, so the destination keeps its own.
template <class Isa>
void ConvertAc4S(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                 int width, int height);

// A row of n 4:4:4 planar pixels to packed RGB in form F, with the same path
// as the exports (vector blocks, then scalar): the exhaustive tests use it.
template <class Isa, class Form>
void PlanarRowToRgb(const uint8_t* y, const uint8_t* cb, const uint8_t* cr,
                    uint8_t* rgb, int n) {
  const uint8_t* planes[3] = {y, cb, cr};
  const int steps[3] = {0, 0, 0};
  Convert<Isa, Form, false>(PlanarSrc<1, false>(planes, steps),
                            PackedC3Dst<false>{rgb, 0}, n, 1);
}

}  // namespace kel::ycbcr::dec
