// Typed pixel views: rows of 8u, 16u, 16s, 32f (or 64f) pixels in
// interleaved (C3, C4/AC4) or planar (P3, P4/AP4) layout, walked by byte
// steps, and their moves to and from rows of floats.
//
// Families that compute per pixel in single precision gather a chunk of a
// row into one float row per channel, run their per-pixel forms over the
// float rows (see frame/lanes.h), and scatter the results back. The view
// hides the layout, the channel order and the sample type, so every layout
// of a family is the same kernel. Samples load as their exact float value;
// integer results must arrive integral and within the type's range (the
// family clamps and rounds), and are stored as they are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/isa.h"

#if KEL_X86_64
#include <immintrin.h>
#endif

namespace kel {

template <class T>
inline float LoadSample(T v) {
  return static_cast<float>(v);
}
template <class T>
inline T StoreSample(float v) {
  if constexpr (std::is_floating_point_v<T>)
    return static_cast<T>(v);
  else
    return static_cast<T>(static_cast<int32_t>(v));
}

// Byte step of a member that uses its byte steps in whole elements: 16-bit
// members halve them and 32-bit members divide them by four, with an
// arithmetic shift.
template <class T>
constexpr ptrdiff_t ElementStepBytes(int step) {
  constexpr int kShift = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : 2;
  return static_cast<ptrdiff_t>(step >> kShift) *
         static_cast<ptrdiff_t>(sizeof(T));
}

// kN interleaved channels (the fourth, if any, last), or kN planes. kSwap:
// the first and third channels are stored exchanged (BGR order on an RGB
// form). Rows are `step` bytes apart.
template <class T, int kN, bool kPlanar, bool kSwap = false>
struct PixelView {
  using Elem = std::remove_const_t<T>;
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  static constexpr int kCount = kN;
  static constexpr bool kIsPlanar = kPlanar, kIsSwapped = kSwap;
  T* p[kPlanar ? kN : 1];
  ptrdiff_t step;

  PixelView(T* base, ptrdiff_t s) : p{base}, step(s) {}
  PixelView(T* const* planes, ptrdiff_t s) : step(s) {
    for (int i = 0; i < kN; ++i) p[i] = planes[i];
  }

  static constexpr int Slot(int c) { return kSwap && c < 3 ? 2 - c : c; }
  T* At(int plane, int y) const {
    return reinterpret_cast<T*>(
        reinterpret_cast<Byte*>(p[kPlanar ? plane : 0]) +
        static_cast<ptrdiff_t>(y) * step);
  }
  // Element of channel c (storage order) of pixel x in row y.
  T& Ref(int y, int x, int c) const {
    if constexpr (kPlanar)
      return At(c, y)[x];
    else
      return At(0, y)[x * kN + c];
  }

  // Channels 0 .. kCh - 1 of pixels x0 .. x0 + n - 1 to float rows (in
  // form order) and back.
  template <int kCh>
  void Gather(int y, int x0, int n, float* const out[]) const {
    for (int c = 0; c < kCh; ++c)
      for (int i = 0; i < n; ++i)
        out[c][i] = LoadSample(Ref(y, x0 + i, Slot(c)));
  }
  template <int kCh>
  void Scatter(int y, int x0, int n, const float* const in[]) const {
    for (int c = 0; c < kCh; ++c)
      for (int i = 0; i < n; ++i)
        Ref(y, x0 + i, Slot(c)) = StoreSample<Elem>(in[c][i]);
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
template <class Isa, int kCh, class View>
constexpr int kMover8 =
    !kIsAvx2<Isa> || kCh != 3 || View::kCount != 3 || View::kIsPlanar ? 0
    : sizeof(typename View::Elem) == 1                                ? 1
    : std::is_same_v<typename View::Elem, float>                      ? 2
                                                                      : 0;

// A row's pixels x0 .. x0 + n - 1 to float rows and back: eight at a time
// where the view has a mover, the rest element by element.
template <class Isa, int kCh, class View>
void GatherRow(const View& v, int y, int x0, int n, float* const out[]) {
  int i = 0;
#if KEL_X86_64
  for (; kMover8<Isa, kCh, View> != 0 && i + 8 <= n; i += 8) {
    if constexpr (kMover8<Isa, kCh, View> == 1)
      GatherC3x8<View::kIsSwapped>(&v.Ref(y, x0 + i, 0), out, i);
    else if constexpr (kMover8<Isa, kCh, View> == 2)
      GatherC3x8f(&v.Ref(y, x0 + i, 0), out, i);
  }
#endif
  float* rest[kCh];
  for (int c = 0; c < kCh; ++c) rest[c] = out[c] + i;
  v.template Gather<kCh>(y, x0 + i, n - i, rest);
}
template <class Isa, int kCh, class View>
void ScatterRow(const View& v, int y, int x0, int n, const float* const in[]) {
  int i = 0;
#if KEL_X86_64
  for (; kMover8<Isa, kCh, View> != 0 && i + 8 <= n; i += 8) {
    if constexpr (kMover8<Isa, kCh, View> == 1)
      ScatterC3x8<View::kIsSwapped>(&v.Ref(y, x0 + i, 0), in, i);
    else if constexpr (kMover8<Isa, kCh, View> == 2)
      ScatterC3x8f(&v.Ref(y, x0 + i, 0), in, i);
  }
#endif
  const float* rest[kCh];
  for (int c = 0; c < kCh; ++c) rest[c] = in[c] + i;
  v.template Scatter<kCh>(y, x0 + i, n - i, rest);
}

}  // namespace kel
