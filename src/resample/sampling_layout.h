// Byte layouts of YCbCr rows and the vector helpers that pack and unpack
// them.
//
// A packed 4:2:2 row (C2) carries two pixels in every 4 bytes. Two byte
// orders exist: luma first (Y0 C0 Y1 C1) and chroma first (C0 Y0 C1 Y1),
// where C0 and C1 are Cb and Cr, or Cr and Cb for the Cr-first orders. A
// semi-planar chroma row (P2) alternates Cb and Cr.
//
// The vector helpers are KEL_AVX2_INLINE: call them only from KEL_AVX2 code.
// Each works on whole vectors and keeps bytes in memory order, so a kernel
// built from them writes what the obvious byte loop writes.
#pragma once

#include "frame/isa.h"
#if KEL_X86_64
#include <immintrin.h>
#endif

#include <cstdint>

#include "frame/isa.h"

namespace kel::resample {

// Byte order of a packed 4:2:2 group.
enum class Packing {
  kLumaFirst,    // Y0 C0 Y1 C1
  kChromaFirst,  // C0 Y0 C1 Y1
};

// Offsets of Y0 and C0 within a group; Y1 and C1 follow 2 bytes later.
constexpr int LumaOffset(Packing p) { return p == Packing::kLumaFirst ? 0 : 1; }
constexpr int ChromaOffset(Packing p) {
  return p == Packing::kLumaFirst ? 1 : 0;
}

namespace vec {

// Interleaves the bytes of a and b: lo = a0 b0 a1 b1 ... a15 b15,
// hi = a16 b16 ... a31 b31.
#if KEL_X86_64
KEL_AVX2_INLINE void Zip8(__m256i a, __m256i b, __m256i& lo, __m256i& hi) {
  const __m256i l = _mm256_unpacklo_epi8(a, b);
  const __m256i h = _mm256_unpackhi_epi8(a, b);
  lo = _mm256_permute2x128_si256(l, h, 0x20);
  hi = _mm256_permute2x128_si256(l, h, 0x31);
}

// Splits the 64 bytes v0, v1 into their even-indexed and odd-indexed bytes.
KEL_AVX2_INLINE void Unzip8(__m256i v0, __m256i v1, __m256i& even,
                            __m256i& odd) {
  const __m256i split =
      _mm256_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15, 0,
                       2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15);
  // Per 128-bit lane: eight even bytes, then eight odd bytes.
  const __m256i a = _mm256_shuffle_epi8(v0, split);
  const __m256i b = _mm256_shuffle_epi8(v1, split);
  even = _mm256_permute4x64_epi64(_mm256_unpacklo_epi64(a, b), 0xD8);
  odd = _mm256_permute4x64_epi64(_mm256_unpackhi_epi64(a, b), 0xD8);
}

// Interleaves two 16-byte halves: a0 b0 a1 b1 ... a15 b15.
KEL_AVX2_INLINE __m256i Zip8Half(__m128i a, __m128i b) {
  return _mm256_or_si256(_mm256_cvtepu8_epi16(a),
                         _mm256_slli_epi16(_mm256_cvtepu8_epi16(b), 8));
}

// Each of 16 bytes twice: a0 a0 a1 a1 ... a15 a15.
KEL_AVX2_INLINE __m256i Double8(__m128i a) { return Zip8Half(a, a); }

// Splits 32 bytes of alternating samples into 16 even and 16 odd ones.
KEL_AVX2_INLINE void Unzip8Half(__m256i v, __m128i& even, __m128i& odd) {
  const __m256i split =
      _mm256_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15, 0,
                       2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15);
  const __m256i s =
      _mm256_permute4x64_epi64(_mm256_shuffle_epi8(v, split), 0xD8);
  even = _mm256_castsi256_si128(s);
  odd = _mm256_extracti128_si256(s, 1);
}

// The even (kOdd false) or odd bytes of the 64 bytes v0, v1, taken as the
// low or high halves of 16-bit lanes and packed back to bytes. Per 128-bit
// lane the pack joins the halves of v0 and v1, so the result holds bytes
// [0-7 16-23 | 8-15 24-31] of the 32 picked.
template <bool kOdd>
KEL_AVX2_INLINE __m256i PackHalves(__m256i v0, __m256i v1) {
  if constexpr (kOdd) {
    return _mm256_packus_epi16(_mm256_srli_epi16(v0, 8),
                               _mm256_srli_epi16(v1, 8));
  } else {
    const __m256i low = _mm256_set1_epi16(0x00FF);
    return _mm256_packus_epi16(_mm256_and_si256(v0, low),
                               _mm256_and_si256(v1, low));
  }
}

// 32 luma bytes of 32 packed pixels (64 bytes in v0, v1).
template <Packing P>
KEL_AVX2_INLINE __m256i LumaOfC2(__m256i v0, __m256i v1) {
  return _mm256_permute4x64_epi64(
      PackHalves<P == Packing::kChromaFirst>(v0, v1), 0xD8);
}

// 64 packed pixels (128 bytes in v[0..3]) to 64 luma bytes (y0, y1) and
// 32 samples of each chroma byte position (c0, c1).
template <Packing P>
KEL_AVX2_INLINE void UnpackC2(const __m256i v[4], __m256i& y0, __m256i& y1,
                              __m256i& c0, __m256i& c1) {
  constexpr bool kChromaOdd = P == Packing::kLumaFirst;
  y0 = LumaOfC2<P>(v[0], v[1]);
  y1 = LumaOfC2<P>(v[2], v[3]);
  // Chroma pairs of groups [0-3 8-11 | 4-7 12-15] and [16-19 24-27 |
  // 20-23 28-31]; picking again gives 4-sample dwords in the order
  // [0 2 4 6 | 1 3 5 7] of the 8 runs of 4 groups.
  const __m256i a = PackHalves<kChromaOdd>(v[0], v[1]);
  const __m256i b = PackHalves<kChromaOdd>(v[2], v[3]);
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  c0 = _mm256_permutevar8x32_epi32(PackHalves<false>(a, b), order);
  c1 = _mm256_permutevar8x32_epi32(PackHalves<true>(a, b), order);
}

// The inverse of UnpackC2: 64 luma bytes and 32 samples of each chroma
// position to 64 packed pixels in v[0..3].
//
// The in-lane byte unpacks pair the low (or high) 8 bytes of each 128-bit
// lane. Luma is first put in the order [0-7 16-23 | 8-15 24-31] of each 32,
// and chroma dwords are spread so that the unpacked chroma pairs come out
// the same way; then each unpack gives 32 consecutive output bytes.
template <Packing P>
KEL_AVX2_INLINE void PackC2(__m256i y0, __m256i y1, __m256i c0, __m256i c1,
                            __m256i v[4]) {
  const __m256i spread = _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7);
  c0 = _mm256_permutevar8x32_epi32(c0, spread);
  c1 = _mm256_permutevar8x32_epi32(c1, spread);
  // Chroma pairs of pixels [0-7 16-23 | 8-15 24-31] and of the next 32.
  const __m256i a = _mm256_unpacklo_epi8(c0, c1);
  const __m256i b = _mm256_unpackhi_epi8(c0, c1);
  y0 = _mm256_permute4x64_epi64(y0, 0xD8);
  y1 = _mm256_permute4x64_epi64(y1, 0xD8);
  if constexpr (P == Packing::kLumaFirst) {
    v[0] = _mm256_unpacklo_epi8(y0, a);
    v[1] = _mm256_unpackhi_epi8(y0, a);
    v[2] = _mm256_unpacklo_epi8(y1, b);
    v[3] = _mm256_unpackhi_epi8(y1, b);
  } else {
    v[0] = _mm256_unpacklo_epi8(a, y0);
    v[1] = _mm256_unpackhi_epi8(a, y0);
    v[2] = _mm256_unpacklo_epi8(b, y1);
    v[3] = _mm256_unpackhi_epi8(b, y1);
  }
}
#endif  // KEL_X86_64

}  // namespace vec
}  // namespace kel::resample
