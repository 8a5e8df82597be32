// AVX2 blocks of the RGB to YCbCr encoders.
//
// A block is 32 pixels (16 for the last vector block of a row). Its pixels
// are first gathered into three vectors of channel bytes in pixel order
// (lane 0 pixels 0..15, lane 1 pixels 16..31; a 16-pixel block repeats its
// pixels in lane 1 and stores lane 0 only), then widened to 16-bit lanes
// holding 256 times the channel value: [pixels 0..7 | 16..23] and
// [8..15 | 24..31], so that packing the two halves restores pixel order.
// (The 4:4:4 blocks of packed RGB shuffle the gathered bytes straight into
// those 16-bit lanes.)
// Block sums for subsampled chroma come straight from the channel bytes by
// pairwise multiply-add, so they are exact.
//
// Every function gives the bits of the scalar forms in forms.h and
// rgb_to_ycbcr_rows.h: block form A (or B) for luma and chroma of single
// pixels, form A chroma on 64 S (two-pixel sums) and 32 S (four-pixel sums).
#pragma once

#include "frame/isa.h"
#if KEL_X86_64

#include <immintrin.h>

#include <cstdint>
#include <type_traits>

#include "frame/isa.h"
#include "frame/simd_avx2.h"
#include "ycbcr/rgb_to_ycbcr_rows.h"

namespace kel::ycbcr::avx2 {

// ---- Constant byte masks -------------------------------------------------

struct ByteMask {
  alignas(32) int8_t v[32];
};

// Three-way de-interleave: sorted byte j of channel c sits at byte
// (3j + c) mod 16 of the blended chunk.
constexpr ByteMask C3Gather(int c) {
  ByteMask m{};
  for (int i = 0; i < 32; ++i)
    m.v[i] = static_cast<int8_t>((3 * (i % 16) + c) % 16);
  return m;
}
// Byte q of chunk k (of three 16-byte chunks) belongs to channel
// (16k + q) mod 3 = (k + q) mod 3, so the bytes of chunk k that belong to
// channel c are those with q mod 3 = (c - k) mod 3: three masks serve
// every chunk and channel (C3Phase((c - k + 3) % 3)).
constexpr ByteMask C3Phase(int j) {
  ByteMask m{};
  for (int i = 0; i < 32; ++i) m.v[i] = (i % 16) % 3 == j ? -128 : 0;
  return m;
}
// Three-way de-interleave straight into 16-bit lanes of 256 v: word i of
// each lane is pixel i (half 0) or i + 8 (half 1) of the lane's sixteen.
constexpr ByteMask C3Words(int c, int half) {
  ByteMask m{};
  for (int i = 0; i < 32; ++i) {
    const int j = i % 16;
    m.v[i] = j % 2 == 0
                 ? -128
                 : static_cast<int8_t>((3 * (j / 2 + 8 * half) + c) % 16);
  }
  return m;
}
// Three-way interleave: puts byte j of channel c at byte (3j + c) mod 16.
constexpr ByteMask C3Scatter(int c) {
  ByteMask m{};
  for (int i = 0; i < 32; ++i)
    m.v[i] = static_cast<int8_t>((11 * (i % 16 + 16 - c)) % 16);  // 11 = 3^-1
  return m;
}
// Four-way de-interleave inside each 16-byte lane: channel c of the four
// pixels to bytes 4c..4c+3.
constexpr ByteMask C4Group() {
  ByteMask m{};
  for (int i = 0; i < 32; ++i)
    m.v[i] = static_cast<int8_t>((i % 4) * 4 + (i % 16) / 4);
  return m;
}

// Four-way de-interleave inside each lane with the channel runs in the
// order c0 c1 c2 c3 (swapped = 0) or c1 c0 c3 c2 (swapped = 1), see
// LoadC4Whole.
constexpr ByteMask C4Grouped(int swapped) {
  ByteMask m{};
  for (int i = 0; i < 32; ++i) {
    const int j = i % 16, c = (j / 4) ^ swapped;
    m.v[i] = static_cast<int8_t>(4 * (j % 4) + c);
  }
  return m;
}
// 16-bit units in the order 0, 4, 1, 5, 2, 6, 3, 7 inside each lane.
constexpr ByteMask WordsInterleaved() {
  ByteMask m{};
  for (int i = 0; i < 32; ++i) {
    const int j = i % 16, w = j / 2;
    m.v[i] = static_cast<int8_t>(2 * ((w % 2) * 4 + w / 2) + j % 2);
  }
  return m;
}

// 16-bit values the kernels splat across a vector.
inline constexpr int16_t kWordValues[] = {8422,
                                          16515,
                                          3212,
                                          2112,
                                          16843,
                                          static_cast<int16_t>(33030),
                                          6423,
                                          128,
                                          16,
                                          -9699,
                                          -19071,
                                          28770,
                                          -24117,
                                          -4653,
                                          16448,
                                          64,
                                          255,
                                          0x2020,
                                          0x4040,
                                          static_cast<int16_t>(0xFF00),
                                          256,
                                          0x1010,
                                          static_cast<int16_t>(0x8080)};
constexpr int kWordCount = sizeof(kWordValues) / sizeof(kWordValues[0]);

// Order of 32-bit units that restores pixel order after LoadC4Whole.
inline constexpr int32_t kWholeOrder[8] = {0, 4, 1, 5, 2, 6, 3, 7};

// Every constant of the kernels, in one block.
struct Constants {
  alignas(32) int16_t words[kWordCount][16];
  alignas(32) int32_t wholeOrder[8];
  ByteMask c4Grouped[2];
  ByteMask wordsInterleaved;
  ByteMask c3Gather[3];
  ByteMask c3Words[3][2];
  ByteMask c3Phase[3];
  ByteMask c3Scatter[3];
  ByteMask c4Group;
};

constexpr Constants MakeConstants() {
  Constants k{};
  for (int i = 0; i < kWordCount; ++i)
    for (int j = 0; j < 16; ++j) k.words[i][j] = kWordValues[i];
  for (int c = 0; c < 3; ++c) {
    k.c3Gather[c] = C3Gather(c);
    k.c3Words[c][0] = C3Words(c, 0);
    k.c3Words[c][1] = C3Words(c, 1);
    k.c3Scatter[c] = C3Scatter(c);
    k.c3Phase[c] = C3Phase(c);
  }
  k.c4Group = C4Group();
  for (int j = 0; j < 8; ++j) k.wholeOrder[j] = kWholeOrder[j];
  for (int i = 0; i < 2; ++i) k.c4Grouped[i] = C4Grouped(i);
  k.wordsInterleaved = WordsInterleaved();
  return k;
}
inline constexpr Constants kConstants = MakeConstants();

// The constants are read through a base pointer the compiler cannot see
// through, so that they stay memory operands at fixed offsets from one
// register: the kernels need more constants than there are vector
// registers, and rebuilding a broadcast inside the loop costs far more than
// a load.
KEL_AVX2_INLINE const Constants& K() {
  const Constants* p = &kConstants;
  __asm__("" : "+r"(p));
  return *p;
}

KEL_AVX2_INLINE __m256i Mask(const ByteMask& m) {
  return _mm256_load_si256(reinterpret_cast<const __m256i*>(m.v));
}

constexpr int WordIndex(int v) {
  for (int i = 0; i < kWordCount; ++i)
    if (kWordValues[i] == static_cast<int16_t>(v)) return i;
  return -1;
}
// Sixteen 16-bit lanes of V.
template <int V>
KEL_AVX2_INLINE __m256i K16() {
  static_assert(WordIndex(V) >= 0, "add the value to kWordValues");
  return _mm256_load_si256(
      reinterpret_cast<const __m256i*>(K().words[WordIndex(V)]));
}

// Byte select: b where the mask byte's top bit is set, else a. Written out
// so that the compiler keeps the one instruction instead of re-deriving the
// mask with a comparison first.
KEL_AVX2_INLINE __m256i BlendBytes(__m256i a, __m256i b, __m256i mask) {
  __m256i r;
  __asm__("vpblendvb %3, %2, %1, %0" : "=x"(r) : "x"(a), "x"(b), "x"(mask));
  return r;
}

// The constants used several times in every block, loaded once per row so
// that they stay in registers; the others are memory operands (see K()),
// which would otherwise keep the load ports busier than the arithmetic.
struct Hot {
  __m256i kr, kg, kb, add, odd, pair;
  __m256i phase[3];  // C3Phase(0..2)
};
// M: the multiplier of the chroma pair sums (32 or 64; 0 if unused).
template <int M>
KEL_AVX2_INLINE Hot LoadHot() {
  Hot h{K16<8422>(),
        K16<16515>(),
        K16<3212>(),
        K16<2112>(),
        K16<static_cast<int16_t>(0xFF00)>(),
        _mm256_setzero_si256(),
        {Mask(K().c3Phase[0]), Mask(K().c3Phase[1]), Mask(K().c3Phase[2])}};
  if constexpr (M != 0) h.pair = K16<M * 0x0101>();
  return h;
}

// ---- Loads -----------------------------------------------------------------

// Channel bytes of a block in pixel order.
struct Rgb8 {
  __m256i r, g, b;
};

// 16 bytes at p + a into lane 0 and at p + b into lane 1 (32-pixel blocks),
// or the 16 bytes at p + a into both lanes (16-pixel blocks).
template <int N>
KEL_AVX2_INLINE __m256i LoadLanes(const uint8_t* p, int a, int b) {
  if constexpr (N == 32) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(simd::Load128(p + a)),
                                   simd::Load128(p + b), 1);
  } else {
    return _mm256_broadcastsi128_si256(simd::Load128(p + a));
  }
}

// The bytes of each channel of 32 packed RGB pixels, gathered into one vector
// in a scrambled order. Chunks of 16 bytes: lane 0 holds bytes 0..47, lane 1
// bytes 48..95. In every chunk the bytes of one channel fall on distinct
// positions mod 16, so one blend of the three chunks gathers a channel.
struct C3Chunks {
  __m256i c[3];
};
template <int N>
KEL_AVX2_INLINE C3Chunks BlendC3(const uint8_t* p, const Hot& h) {
  __m256i a, b, c;
  if constexpr (N == 32) {
    // Three whole loads hold [a0 b0], [c0 a1], [b1 c1]: two 32-bit blends
    // and one lane swap put chunk k of both lanes together.
    const __m256i v0 = simd::Load(p), v1 = simd::Load(p + 32),
                  v2 = simd::Load(p + 64);
    a = _mm256_blend_epi32(v0, v1, 0xF0);
    b = _mm256_permute2x128_si256(v0, v2, 0x21);
    c = _mm256_blend_epi32(v1, v2, 0xF0);
  } else {
    a = LoadLanes<N>(p, 0, 0), b = LoadLanes<N>(p, 16, 0),
    c = LoadLanes<N>(p, 32, 0);
  }
  C3Chunks t;
#pragma GCC unroll 3
  for (int k = 0; k < 3; ++k)
    t.c[k] = BlendBytes(BlendBytes(a, b, h.phase[(k + 2) % 3]), c,
                        h.phase[(k + 1) % 3]);
  return t;
}

// Channel bytes of 4-byte pixels, or of planar rows, in pixel order.
template <int N, class Src>
KEL_AVX2_INLINE Rgb8 LoadRgb(const typename Src::RowView& s, int x) {
  __m256i c0, c1, c2;
  if constexpr (std::is_same_v<Src, PlanarRgb>) {
    c0 = LoadLanes<N>(s.r + x, 0, 16);
    c1 = LoadLanes<N>(s.g + x, 0, 16);
    c2 = LoadLanes<N>(s.b + x, 0, 16);
    return {c0, c1, c2};
  } else {
    // Four pixels per 16 bytes: group the channels inside each lane, then
    // interleave 32-bit and 64-bit runs back into pixel order.
    const uint8_t* p = s.p + 4 * x;
    const __m256i g = Mask(K().c4Group);
    const __m256i l0 = _mm256_shuffle_epi8(LoadLanes<N>(p, 0, 64), g);
    const __m256i l1 = _mm256_shuffle_epi8(LoadLanes<N>(p, 16, 80), g);
    const __m256i l2 = _mm256_shuffle_epi8(LoadLanes<N>(p, 32, 96), g);
    const __m256i l3 = _mm256_shuffle_epi8(LoadLanes<N>(p, 48, 112), g);
    const __m256i lo01 = _mm256_unpacklo_epi32(l0, l1);  // c0 0..7, c1 0..7
    const __m256i hi01 = _mm256_unpackhi_epi32(l0, l1);  // c2 0..7
    const __m256i lo23 = _mm256_unpacklo_epi32(l2, l3);
    const __m256i hi23 = _mm256_unpackhi_epi32(l2, l3);
    c0 = _mm256_unpacklo_epi64(lo01, lo23);
    c1 = _mm256_unpackhi_epi64(lo01, lo23);
    c2 = _mm256_unpacklo_epi64(hi01, hi23);
  }
  if constexpr (Src::kIsBgr) return {c2, c1, c0};
  return {c0, c1, c2};
}

// The channel bytes of 32 four-byte pixels (16: vectors 2 and 3 repeat 0
// and 1) from whole 32-byte loads, in the order
// [0..3 8..11 16..19 24..27 | 4..7 12..15 20..23 28..31]: vector k holds
// pixels 8k..8k+7, its lanes are grouped by channel, and 32-bit unpacks and
// blends gather each channel with no cross-lane step. Kernels using it put
// their results back in pixel order with kWholeOrder.
template <int N, class Src>
KEL_AVX2_INLINE Rgb8 LoadC4Whole(const typename Src::RowView& s, int x) {
  const uint8_t* p = s.p + 4 * x;
  __m256i v[4];
#pragma GCC unroll 4
  for (int k = 0; k < N / 8; ++k)
    v[k] = _mm256_shuffle_epi8(simd::Load(p + 32 * k),
                               Mask(K().c4Grouped[k >> 1]));
  if constexpr (N == 16) v[2] = v[0], v[3] = v[1];
  // Per lane: vectors 0, 1 hold channel runs c0 c1 c2 c3, vectors 2, 3 hold
  // c1 c0 c3 c2, so that after pairing 32-bit runs each channel is a blend.
  const __m256i t0 = _mm256_unpacklo_epi32(v[0], v[1]);  // c0 c0 | c1 c1
  const __m256i t1 = _mm256_unpackhi_epi32(v[0], v[1]);  // c2 c2 | c3 c3
  const __m256i t2 = _mm256_unpacklo_epi32(v[2], v[3]);  // c1 c1 | c0 c0
  const __m256i t3 = _mm256_unpackhi_epi32(v[2], v[3]);  // c3 c3 | c2 c2
  const __m256i c0 = _mm256_blend_epi32(t0, t2, 0xCC);
  const __m256i c1 =
      _mm256_shuffle_epi32(_mm256_blend_epi32(t0, t2, 0x33), 0x4E);
  const __m256i c2 = _mm256_blend_epi32(t1, t3, 0xCC);
  if constexpr (Src::kIsBgr) return {c2, c1, c0};
  return {c0, c1, c2};
}

// ---- Gathering: the first stage of a block --------------------------------
//
// A block's loads and first shuffles form a long chain ahead of its
// arithmetic. The rows issue the gathering of each 32-pixel block one block
// ahead (see RunBlocks), so that it is not stuck behind the previous
// block's arithmetic in the out-of-order window.
//
// What gathering leaves: the blended chunks of packed 3-byte pixels, the
// channel bytes of other sources (kWhole: four-byte pixels in the order of
// LoadC4Whole, for the 4:2:0 blocks).
template <class Src>
using Gathered = std::conditional_t<Src::kPixelBytes == 3, C3Chunks, Rgb8>;

template <int N, class Src, bool kWhole = false>
KEL_AVX2_INLINE Gathered<Src> Gather(const typename Src::RowView& s, int x,
                                     const Hot& h) {
  if constexpr (Src::kPixelBytes == 3) {
    return BlendC3<N>(s.p + 3 * x, h);
  } else if constexpr (kWhole && Src::kPixelBytes == 4) {
    return LoadC4Whole<N, Src>(s, x);
  } else {
    return LoadRgb<N, Src>(s, x);
  }
}

// Channel bytes of a gathered block.
template <class Src>
KEL_AVX2_INLINE Rgb8 Bytes(const Gathered<Src>& g) {
  if constexpr (Src::kPixelBytes == 3) {
    __m256i ch[3];
#pragma GCC unroll 3
    for (int k = 0; k < 3; ++k)
      ch[k] = _mm256_shuffle_epi8(g.c[k], Mask(K().c3Gather[k]));
    if constexpr (Src::kIsBgr) return {ch[2], ch[1], ch[0]};
    return {ch[0], ch[1], ch[2]};
  } else {
    return g;
  }
}

KEL_AVX2_INLINE __m256i WholeOrder(__m256i v) {
  return _mm256_permutevar8x32_epi32(
      v, _mm256_load_si256(reinterpret_cast<const __m256i*>(K().wholeOrder)));
}

// 256 times the channel values of a block in 16-bit lanes: pixels
// [0..7 | 16..23] in lo, [8..15 | 24..31] in hi.
struct Rgb16 {
  __m256i lo[3], hi[3];  // R, G, B
};
KEL_AVX2_INLINE __m256i Widen256Lo(__m256i v);
KEL_AVX2_INLINE __m256i Widen256Hi(__m256i v);

template <class Src>
KEL_AVX2_INLINE Rgb16 Words(const Gathered<Src>& g) {
  Rgb16 w;
  if constexpr (Src::kPixelBytes == 3) {
    // Packed RGB: shuffle the blended chunks straight into lanes.
#pragma GCC unroll 3
    for (int k = 0; k < 3; ++k) {
      const int c = Src::kIsBgr ? 2 - k : k;
      w.lo[c] = _mm256_shuffle_epi8(g.c[k], Mask(K().c3Words[k][0]));
      w.hi[c] = _mm256_shuffle_epi8(g.c[k], Mask(K().c3Words[k][1]));
    }
  } else {
    const __m256i v[3] = {g.r, g.g, g.b};
#pragma GCC unroll 3
    for (int c = 0; c < 3; ++c)
      w.lo[c] = Widen256Lo(v[c]), w.hi[c] = Widen256Hi(v[c]);
  }
  return w;
}

// ---- Arithmetic on 16-bit lanes -------------------------------------------

// 256 v in 16-bit lanes: pixels [0..7 | 16..23] and [8..15 | 24..31].
KEL_AVX2_INLINE __m256i Widen256Lo(__m256i v) {
  return _mm256_unpacklo_epi8(_mm256_setzero_si256(), v);
}
KEL_AVX2_INLINE __m256i Widen256Hi(__m256i v) {
  return _mm256_unpackhi_epi8(_mm256_setzero_si256(), v);
}

// The three terms of block form A luma, summed: (T + 2112) >> 7 is the luma,
// and equals ((T + 64) >> 7) + 16. T is at most 28038.
KEL_AVX2_INLINE __m256i LumaTerms(__m256i r, __m256i g, __m256i b,
                                  const Hot& h) {
  return _mm256_add_epi16(
      _mm256_add_epi16(simd::MulHiU16(r, h.kr), simd::MulHiU16(g, h.kg)),
      simd::MulHiU16(b, h.kb));
}

// Block form A luma from 256 R, 256 G, 256 B; clamp left to the pack.
// The sum of block form A luma before its final shift (at most 30150, so
// the saturating adds of the scalar form never saturate and plain 16-bit
// adds give the same sum).
KEL_AVX2_INLINE __m256i LumaSumA(__m256i r, __m256i g, __m256i b,
                                 const Hot& h) {
  return _mm256_add_epi16(LumaTerms(r, g, b, h), h.add);
}
KEL_AVX2_INLINE __m256i LumaA(__m256i r, __m256i g, __m256i b, const Hot& h) {
  return _mm256_srli_epi16(LumaSumA(r, g, b, h), 7);
}

// Block form B luma from 256 R, 256 G, 256 B; clamp left to the pack.
KEL_AVX2_INLINE __m256i LumaB(__m256i r, __m256i g, __m256i b) {
  __m256i s = simd::AddSatU16(simd::MulHiU16(r, K16<16843>()),
                              simd::MulHiU16(g, K16<33030>()));
  s = simd::AddSatU16(simd::AddSatU16(s, simd::MulHiU16(b, K16<6423>())),
                      K16<128>());
  return simd::AddSatU16(_mm256_srli_epi16(s, 8), K16<16>());
}

struct Coef {
  int r, g, b;
};
inline constexpr Coef kCb{-9699, -19071, 28770};
inline constexpr Coef kCr{28770, -24117, -4653};

// Block form A chroma from values scaled to 128 times the block mean; the
// sum wraps and is shifted as unsigned. On 8-bit channels the result never
// leaves 16..240 (each term is monotonic in its channel; the extremes are
// 2118 >> 7 and 30776 >> 7), so callers may merge words without a clamp.
template <Coef c>
KEL_AVX2_INLINE __m256i ChromaA(__m256i sr, __m256i sg, __m256i sb) {
  __m256i s = _mm256_add_epi16(simd::MulHiS16(sr, K16<c.r>()),
                               simd::MulHiS16(sg, K16<c.g>()));
  s = _mm256_add_epi16(_mm256_add_epi16(s, simd::MulHiS16(sb, K16<c.b>())),
                       K16<16448>());
  return _mm256_srli_epi16(s, 7);
}

// The three terms of block form A chroma, summed: S + 16448 stays within
// 2118..30776, so the chroma is ((S + 64) >> 7) + 128.
template <Coef c>
KEL_AVX2_INLINE __m256i ChromaTerms(__m256i sr, __m256i sg, __m256i sb) {
  return _mm256_add_epi16(_mm256_add_epi16(simd::MulHiS16(sr, K16<c.r>()),
                                           simd::MulHiS16(sg, K16<c.g>())),
                          simd::MulHiS16(sb, K16<c.b>()));
}

// Block form B chroma from 128 R, 128 G, 128 B (signed result; the pack
// clamps it).
template <Coef c>
KEL_AVX2_INLINE __m256i ChromaB(__m256i r, __m256i g, __m256i b) {
  __m256i s = simd::AddSatS16(simd::MulHiS16(r, K16<c.r>()),
                              simd::MulHiS16(g, K16<c.g>()));
  s = simd::AddSatS16(simd::AddSatS16(s, simd::MulHiS16(b, K16<c.b>())),
                      K16<64>());
  return simd::AddSatS16(_mm256_srai_epi16(s, 7), K16<128>());
}

// Bytes in pixel order from two halves [0..7 | 16..23], [8..15 | 24..31].
KEL_AVX2_INLINE __m256i Pack(__m256i lo, __m256i hi) {
  return _mm256_packus_epi16(lo, hi);
}

// Luma bytes of a block in block form A. Even and odd pixels are widened
// in place (256 v of the even bytes by a shift, of the odd bytes by a mask);
// the odd sums shifted left by 1 carry their luma in the high byte, which a
// byte blend merges with the even luma (at most 235, so no clamp is needed).
KEL_AVX2_INLINE __m256i LumaBytesA(const Rgb8& in, const Hot& h) {
  const __m256i even =
      LumaA(_mm256_slli_epi16(in.r, 8), _mm256_slli_epi16(in.g, 8),
            _mm256_slli_epi16(in.b, 8), h);
  const __m256i odd =
      LumaSumA(_mm256_and_si256(in.r, h.odd), _mm256_and_si256(in.g, h.odd),
               _mm256_and_si256(in.b, h.odd), h);
  return BlendBytes(even, _mm256_slli_epi16(odd, 1), h.odd);
}

// M times the sums of horizontally adjacent pixels, pairs [0..7 | 8..15]
// (M = 32 or 64: at most 32640, so the multiply-add never saturates).
KEL_AVX2_INLINE __m256i PairSums(__m256i v, const Hot& h) {
  return _mm256_maddubs_epi16(v, h.pair);
}

// 32 times the sums of four adjacent pixels: [0..3 0..3 | 4..7 4..7].
KEL_AVX2_INLINE __m256i QuadSums32(__m256i v, const Hot& h) {
  const __m256i p = PairSums(v, h);
  return _mm256_hadd_epi16(p, p);
}

// ---- Stores ----------------------------------------------------------------

template <int N>
KEL_AVX2_INLINE void StoreLanes(uint8_t* p, __m256i v) {
  if constexpr (N == 32) {
    simd::Store(p, v);
  } else {
    simd::Store128(p, _mm256_castsi256_si128(v));
  }
}

// Y, Cb, Cr bytes in pixel order to a 4:4:4 destination.
template <int N, class Dst>
KEL_AVX2_INLINE void Store444(const typename Dst::RowView& d, int x, __m256i y,
                              __m256i cb, __m256i cr, const Hot& h) {
  if constexpr (std::is_same_v<Dst, Planar444>) {
    StoreLanes<N>(d.y + x, y);
    StoreLanes<N>(d.cb + x, cb);
    StoreLanes<N>(d.cr + x, cr);
  } else if constexpr (Dst::kPixelBytes == 3) {
    // Each channel is pre-scattered to its positions mod 16, then every
    // output chunk is a blend of the three.
    uint8_t* p = d.p + 3 * x;
    const __m256i v[3] = {_mm256_shuffle_epi8(y, Mask(K().c3Scatter[0])),
                          _mm256_shuffle_epi8(cb, Mask(K().c3Scatter[1])),
                          _mm256_shuffle_epi8(cr, Mask(K().c3Scatter[2]))};
    __m256i o[3];
#pragma GCC unroll 3
    for (int k = 0; k < 3; ++k)
      o[k] = BlendBytes(BlendBytes(v[0], v[1], h.phase[(4 - k) % 3]), v[2],
                        h.phase[(5 - k) % 3]);
    if constexpr (N == 32) {
      simd::Store(p, _mm256_permute2x128_si256(o[0], o[1], 0x20));
      simd::Store(p + 32, _mm256_permute2x128_si256(o[2], o[0], 0x30));
      simd::Store(p + 64, _mm256_permute2x128_si256(o[1], o[2], 0x31));
    } else {
#pragma GCC unroll 3
      for (int k = 0; k < 3; ++k)
        simd::Store128(p + 16 * k, _mm256_castsi256_si128(o[k]));
    }
  } else {
    // Y, Cb, Cr, 0.
    uint8_t* p = d.p + 4 * x;
    const __m256i zero = _mm256_setzero_si256();
    const __m256i ycbLo = _mm256_unpacklo_epi8(y, cb);
    const __m256i ycbHi = _mm256_unpackhi_epi8(y, cb);
    const __m256i crLo = _mm256_unpacklo_epi8(cr, zero);
    const __m256i crHi = _mm256_unpackhi_epi8(cr, zero);
    const __m256i q0 = _mm256_unpacklo_epi16(ycbLo, crLo);  // 0..3 | 16..19
    const __m256i q1 = _mm256_unpackhi_epi16(ycbLo, crLo);
    const __m256i q2 = _mm256_unpacklo_epi16(ycbHi, crHi);
    const __m256i q3 = _mm256_unpackhi_epi16(ycbHi, crHi);
    simd::Store(p, _mm256_permute2x128_si256(q0, q1, 0x20));
    simd::Store(p + 32, _mm256_permute2x128_si256(q2, q3, 0x20));
    if constexpr (N == 32) {
      simd::Store(p + 64, _mm256_permute2x128_si256(q0, q1, 0x31));
      simd::Store(p + 96, _mm256_permute2x128_si256(q2, q3, 0x31));
    }
  }
}

// Chroma words of blocks [0..7 | 8..15] as interleaved bytes, first then
// second: [f0 s0 f1 s1 ... f7 s7 | f8 s8 ... f15 s15]. Form A chroma of
// 8-bit channels never leaves 16..240 (each term is monotonic in its sum;
// the extremes are 2118 >> 7 and 30776 >> 7), so the words need no clamp.
KEL_AVX2_INLINE __m256i InterleaveChroma(__m256i first, __m256i second) {
  return _mm256_or_si256(first, _mm256_slli_epi16(second, 8));
}

// Cb and Cr words of blocks [0..7 | 8..15] to two chroma planes: N / 2
// samples each.
template <int N>
KEL_AVX2_INLINE void StoreChromaPlanes(uint8_t* cb, uint8_t* cr, __m256i cbw,
                                       __m256i crw) {
  const __m256i p = _mm256_packus_epi16(cbw, crw);  // cb 0..7 cr 0..7 | ...
  if constexpr (N == 32) {
    const __m256i q = _mm256_permute4x64_epi64(p, 0xD8);
    simd::Store128(cb, _mm256_castsi256_si128(q));
    simd::Store128(cr, _mm256_extracti128_si256(q, 1));
  } else {
    const __m128i q = _mm256_castsi256_si128(p);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(cb), q);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(cr), _mm_unpackhi_epi64(q, q));
  }
}

// Luma bytes and the chroma words of the pairs to a 4:2:2 destination.
template <int N, class Dst>
KEL_AVX2_INLINE void Store422(const typename Dst::RowView& d, int x, __m256i y,
                              __m256i cbw, __m256i crw) {
  if constexpr (std::is_same_v<Dst, Planar422>) {
    StoreLanes<N>(d.y + x, y);
    StoreChromaPlanes<N>(d.cb + x / 2, d.cr + x / 2, cbw, crw);
  } else {
    const __m256i c =
        Dst::kCrFirst ? InterleaveChroma(crw, cbw) : InterleaveChroma(cbw, crw);
    // Pairs [0..3 | 8..11] and [4..7 | 12..15].
    const __m256i lo = Dst::kChromaFirst ? _mm256_unpacklo_epi8(c, y)
                                         : _mm256_unpacklo_epi8(y, c);
    const __m256i hi = Dst::kChromaFirst ? _mm256_unpackhi_epi8(c, y)
                                         : _mm256_unpackhi_epi8(y, c);
    uint8_t* p = d.p + 2 * x;
    simd::Store(p, _mm256_permute2x128_si256(lo, hi, 0x20));
    if constexpr (N == 32)
      simd::Store(p + 32, _mm256_permute2x128_si256(lo, hi, 0x31));
  }
}

// Two luma rows and the chroma words of the 2x2 blocks to a 4:2:0
// destination.
template <int N, class Dst>
KEL_AVX2_INLINE void Store420(const typename Dst::RowView& d, int x, __m256i y0,
                              __m256i y1, __m256i cbw, __m256i crw) {
  StoreLanes<N>(d.y0 + x, y0);
  StoreLanes<N>(d.y1 + x, y1);
  if constexpr (std::is_same_v<Dst, Planar420>) {
    StoreChromaPlanes<N>(d.cb + x / 2, d.cr + x / 2, cbw, crw);
  } else {
    StoreLanes<N>(d.c + x, InterleaveChroma(cbw, crw));
  }
}

// ---- Blocks ----------------------------------------------------------------

template <int N, class Src, class Dst, bool kFormB>
KEL_AVX2_INLINE void Block444(const Gathered<Src>& gathered,
                              const typename Dst::RowView& d, int x,
                              const Hot& hot) {
  const Rgb16 in = Words<Src>(gathered);
  __m256i y[2], cb[2], cr[2];
#pragma GCC unroll 2
  for (int h = 0; h < 2; ++h) {
    const __m256i r = h ? in.hi[0] : in.lo[0];
    const __m256i g = h ? in.hi[1] : in.lo[1];
    const __m256i b = h ? in.hi[2] : in.lo[2];
    const __m256i r7 = _mm256_srli_epi16(r, 1), g7 = _mm256_srli_epi16(g, 1),
                  b7 = _mm256_srli_epi16(b, 1);
    if constexpr (kFormB) {
      y[h] = LumaB(r, g, b);
      cb[h] = ChromaB<kCb>(r7, g7, b7);
      cr[h] = ChromaB<kCr>(r7, g7, b7);
    } else {
      const __m256i k = K16<256>();
      y[h] = _mm256_mulhrs_epi16(LumaTerms(r, g, b, hot), k);
      cb[h] = _mm256_mulhrs_epi16(ChromaTerms<kCb>(r7, g7, b7), k);
      cr[h] = _mm256_mulhrs_epi16(ChromaTerms<kCr>(r7, g7, b7), k);
    }
  }
  if constexpr (kFormB) {
    Store444<N, Dst>(d, x, Pack(y[0], y[1]), Pack(cb[0], cb[1]),
                     Pack(cr[0], cr[1]), hot);
  } else {
    const __m256i k80 = K16<static_cast<int16_t>(0x8080)>();
    Store444<N, Dst>(d, x, _mm256_add_epi8(Pack(y[0], y[1]), K16<0x1010>()),
                     _mm256_xor_si256(_mm256_packs_epi16(cb[0], cb[1]), k80),
                     _mm256_xor_si256(_mm256_packs_epi16(cr[0], cr[1]), k80),
                     hot);
  }
}

template <int N, class Src, class Dst>
KEL_AVX2_INLINE void Block422(const Gathered<Src>& g,
                              const typename Dst::RowView& d, int x,
                              const Hot& h) {
  const Rgb8 in = Bytes<Src>(g);
  const __m256i sr = PairSums(in.r, h), sg = PairSums(in.g, h),
                sb = PairSums(in.b, h);
  Store422<N, Dst>(d, x, LumaBytesA(in, h), ChromaA<kCb>(sr, sg, sb),
                   ChromaA<kCr>(sr, sg, sb));
}

template <int N, class Src, class Dst>
KEL_AVX2_INLINE void Block420(const Gathered<Src>& g0, const Gathered<Src>& g1,
                              const typename Dst::RowView& d, int x,
                              const Hot& h) {
  const Rgb8 a = Bytes<Src>(g0), b = Bytes<Src>(g1);
  if constexpr (Src::kPixelBytes == 4) {
    // Whole loads: pixels, pairs and blocks in the order of LoadC4Whole.
    const __m256i sr = _mm256_add_epi16(PairSums(a.r, h), PairSums(b.r, h));
    const __m256i sg = _mm256_add_epi16(PairSums(a.g, h), PairSums(b.g, h));
    const __m256i sb = _mm256_add_epi16(PairSums(a.b, h), PairSums(b.b, h));
    const __m256i cbw = ChromaA<kCb>(sr, sg, sb),
                  crw = ChromaA<kCr>(sr, sg, sb);
    StoreLanes<N>(d.y0 + x, WholeOrder(LumaBytesA(a, h)));
    StoreLanes<N>(d.y1 + x, WholeOrder(LumaBytesA(b, h)));
    if constexpr (std::is_same_v<Dst, Planar420>) {
      // Blocks [0 1 4 5 8 9 12 13 | 2 3 6 7 10 11 14 15] as words: Cb of
      // both lanes to lane 0, Cr to lane 1, then pairs interleaved.
      const __m256i q = _mm256_shuffle_epi8(
          _mm256_permute4x64_epi64(_mm256_packus_epi16(cbw, crw), 0xD8),
          Mask(K().wordsInterleaved));
      if constexpr (N == 32) {
        simd::Store128(d.cb + x / 2, _mm256_castsi256_si128(q));
        simd::Store128(d.cr + x / 2, _mm256_extracti128_si256(q, 1));
      } else {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d.cb + x / 2),
                         _mm256_castsi256_si128(q));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d.cr + x / 2),
                         _mm256_extracti128_si256(q, 1));
      }
    } else {
      StoreLanes<N>(d.c + x, WholeOrder(InterleaveChroma(cbw, crw)));
    }
    return;
  }
  const __m256i sr = _mm256_add_epi16(PairSums(a.r, h), PairSums(b.r, h));
  const __m256i sg = _mm256_add_epi16(PairSums(a.g, h), PairSums(b.g, h));
  const __m256i sb = _mm256_add_epi16(PairSums(a.b, h), PairSums(b.b, h));
  Store420<N, Dst>(d, x, LumaBytesA(a, h), LumaBytesA(b, h),
                   ChromaA<kCb>(sr, sg, sb), ChromaA<kCr>(sr, sg, sb));
}

template <int N, class Src>
KEL_AVX2_INLINE void Block411(const Gathered<Src>& g,
                              const Planar411::RowView& d, int x,
                              const Hot& h) {
  const Rgb8 in = Bytes<Src>(g);
  const __m256i sr = QuadSums32(in.r, h), sg = QuadSums32(in.g, h),
                sb = QuadSums32(in.b, h);
  StoreLanes<N>(d.y + x, LumaBytesA(in, h));
  // Bytes [cb 0..3, cb 0..3, cr 0..3, cr 0..3 | cb 4..7, ...]: dwords 0, 4
  // are Cb 0..7 and dwords 2, 6 are Cr 0..7.
  const __m256i p =
      _mm256_packus_epi16(ChromaA<kCb>(sr, sg, sb), ChromaA<kCr>(sr, sg, sb));
  const __m128i q = _mm256_castsi256_si128(_mm256_permutevar8x32_epi32(
      p, _mm256_setr_epi32(0, 4, 2, 6, 0, 0, 0, 0)));
  if constexpr (N == 32) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(d.cb + x / 4), q);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(d.cr + x / 4),
                     _mm_unpackhi_epi64(q, q));
  } else {
    const int cb = _mm_cvtsi128_si32(q), cr = _mm_extract_epi32(q, 2);
    __builtin_memcpy(d.cb + x / 4, &cb, 4);
    __builtin_memcpy(d.cr + x / 4, &cr, 4);
  }
}

// ---- Rows: the vector part of a row, n pixels (a multiple of 16) -----------
//
// Blocks of 32 pixels and at most one of 16. Every pixel of the vector part
// gets the same forms wherever its block falls, so a 16-pixel block may come
// first: in 4:4:4 rows from packed 3-byte pixels that start 16 bytes past a
// 32-byte boundary, it puts the source and the destination (3-byte pixels
// or byte planes, which usually share that offset) on whole 32-byte
// boundaries for the rest of the row. That is free when the row has a
// 16-pixel block anyway and pays for an extra one from about 512 pixels.
// (In subsampled rows the chroma planes would move off their boundaries
// instead.)
template <class Src>
KEL_AVX2_INLINE bool HeadBlock(const typename Src::RowView& s, int n) {
  if constexpr (Src::kPixelBytes == 3) {
    return (reinterpret_cast<uintptr_t>(s.p) & 31) == 16 &&
           (n % 32 != 0 || n >= 512);
  } else {
    return false;
  }
}

// Runs the blocks of [x, n): the gathering of each 32-pixel block is
// issued one block ahead of its arithmetic (see Gather). Blocks supply
// Gather<N>(x), returning what Finish<N>(gathered, x) needs.
template <class Blocks>
KEL_AVX2_INLINE void RunBlocks(const Blocks& k, int x, int n) {
  if (x + 32 <= n) {
    auto g = k.template Gather<32>(x);
    for (; x + 64 <= n; x += 32) {
      const auto next = k.template Gather<32>(x + 32);
      k.template Finish<32>(g, x);
      g = next;
    }
    k.template Finish<32>(g, x);
    x += 32;
  }
  if (x < n) k.template Finish<16>(k.template Gather<16>(x), x);
}

// The blocks of rows that read one source row.
enum class OneRow { k444A, k444B, k422, k411 };
template <OneRow kKind, class Src, class Dst>
struct OneRowBlocks {
  typename Src::RowView s;
  typename Dst::RowView d;
  Hot h;
  template <int N>
  KEL_AVX2_INLINE Gathered<Src> Gather(int x) const {
    return avx2::Gather<N, Src>(s, x, h);
  }
  template <int N>
  KEL_AVX2_INLINE void Finish(const Gathered<Src>& g, int x) const {
    if constexpr (kKind == OneRow::k422) {
      Block422<N, Src, Dst>(g, d, x, h);
    } else if constexpr (kKind == OneRow::k411) {
      Block411<N, Src>(g, d, x, h);
    } else {
      Block444<N, Src, Dst, kKind == OneRow::k444B>(g, d, x, h);
    }
  }
};

// The blocks of 4:2:0 rows, which read two source rows.
template <class Src, class Dst>
struct Blocks420 {
  typename Src::RowView s0, s1;
  typename Dst::RowView d;
  Hot h;
  struct Two {
    Gathered<Src> a, b;
  };
  template <int N>
  KEL_AVX2_INLINE Two Gather(int x) const {
    return {avx2::Gather<N, Src, true>(s0, x, h),
            avx2::Gather<N, Src, true>(s1, x, h)};
  }
  template <int N>
  KEL_AVX2_INLINE void Finish(const Two& g, int x) const {
    Block420<N, Src, Dst>(g.a, g.b, d, x, h);
  }
};

template <class Src, class Dst, bool kFormB>
KEL_AVX2 void Row444(typename Src::RowView s, typename Dst::RowView d, int n) {
  constexpr OneRow kKind = kFormB ? OneRow::k444B : OneRow::k444A;
  const OneRowBlocks<kKind, Src, Dst> k{s, d, LoadHot<0>()};
  int x = 0;
  if (HeadBlock<Src>(s, n))
    k.template Finish<16>(k.template Gather<16>(0), 0), x = 16;
  RunBlocks(k, x, n);
}

template <class Src, class Dst>
KEL_AVX2 void Row422(typename Src::RowView s, typename Dst::RowView d, int n) {
  RunBlocks(OneRowBlocks<OneRow::k422, Src, Dst>{s, d, LoadHot<64>()}, 0, n);
}

template <class Src, class Dst>
KEL_AVX2 void Row420(typename Src::RowView s0, typename Src::RowView s1,
                     typename Dst::RowView d, int n) {
  RunBlocks(Blocks420<Src, Dst>{s0, s1, d, LoadHot<32>()}, 0, n);
}

template <class Src>
KEL_AVX2 void Row411(typename Src::RowView s, Planar411::RowView d, int n) {
  RunBlocks(OneRowBlocks<OneRow::k411, Src, Planar411>{s, d, LoadHot<32>()}, 0,
            n);
}

}  // namespace kel::ycbcr::avx2

#endif  // KEL_X86_64
