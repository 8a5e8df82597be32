// Lanes: one text of single-precision arithmetic for the portable and the
// AVX2 kernels.
//
// A per-pixel formula is written once, as a template over its lane type V,
// in a `.inc` file that its family includes twice: once with
// KEL_LANE_FN defined empty, for V = float (the portable forms), and once,
// on x86-64, with KEL_LANE_FN defined as KEL_AVX2_INLINE, for V = F8 (eight
// pixels at a time). Both passes spell the same operations in the same order,
// and every operation below has the same IEEE result for a float and for each
// lane of an F8, so the two kernels give identical bits by construction:
//
//   + - * /       correctly rounded
//   Fma(a, b, c)  a * b + c with one rounding
//   Min(a, b)     a < b ? a : b   (b when either is NaN)
//   Max(a, b)     a > b ? a : b   (b when either is NaN)
//   Lt, Le, Eq    ordered comparisons (false when either is NaN)
//   Select(m, a, b)  m ? a : b
//   Trunc(a)      rounds toward zero
//   RoundCur(a)   rounds in the caller's current rounding mode
//   CanonNaN(a)   a, or the positive quiet NaN 0x7FC00000 for any NaN
//
// Which operand's NaN an operation passes on is not fixed once a compiler
// may swap the operands of + and *, so float results that can be NaN go
// through CanonNaN before they are stored.
//
// Nothing is contracted (the library is built with -ffp-contract=off); a
// fused multiply-add is always written as Fma.
#pragma once

#include <cmath>
#include <limits>

#include "frame/isa.h"

#if KEL_X86_64
#include <immintrin.h>
#endif

namespace kel::lanes {

// ---- float ----------------------------------------------------------------

inline float Fma(float a, float b, float c) { return std::fma(a, b, c); }
inline float Min(float a, float b) { return a < b ? a : b; }
inline float Max(float a, float b) { return a > b ? a : b; }
inline bool Lt(float a, float b) { return a < b; }
inline bool Le(float a, float b) { return a <= b; }
inline bool Eq(float a, float b) { return a == b; }
inline bool Or(bool a, bool b) { return a || b; }
inline float Select(bool m, float a, float b) { return m ? a : b; }
inline float Trunc(float a) { return std::trunc(a); }
inline float RoundCur(float a) { return std::nearbyint(a); }
inline float CanonNaN(float a) {
  return a == a ? a : std::numeric_limits<float>::quiet_NaN();
}

// Lanes per value, and loading and storing a value's lanes from floats
// (the second argument of LoadF only selects the lane type).
template <class V>
inline constexpr int kLaneCount = 1;
inline float LoadF(const float* p, float) { return *p; }
inline void StoreF(float* p, float v) { *p = v; }

// Clamps to [lo, hi] (the minimum first, with the limit second, so NaN gives
// hi); ClampTo clamps to [0, hi].
inline float Clamp(float a, float lo, float hi) { return Max(Min(a, hi), lo); }
inline float ClampTo(float a, float hi) { return Clamp(a, 0.0f, hi); }

#if KEL_X86_64

// ---- eight floats ---------------------------------------------------------

struct F8 {
  __m256 v;
  KEL_AVX2_INLINE F8() : v(_mm256_setzero_ps()) {}
  KEL_AVX2_INLINE F8(__m256 x) : v(x) {}
  KEL_AVX2_INLINE F8(float c) : v(_mm256_set1_ps(c)) {}
};
// A lane mask: all ones where true.
struct M8 {
  __m256 v;
};

KEL_AVX2_INLINE F8 operator+(F8 a, F8 b) { return _mm256_add_ps(a.v, b.v); }
KEL_AVX2_INLINE F8 operator-(F8 a, F8 b) { return _mm256_sub_ps(a.v, b.v); }
KEL_AVX2_INLINE F8 operator*(F8 a, F8 b) { return _mm256_mul_ps(a.v, b.v); }
KEL_AVX2_INLINE F8 operator/(F8 a, F8 b) { return _mm256_div_ps(a.v, b.v); }
KEL_AVX2_INLINE F8 operator-(F8 a) {
  return _mm256_xor_ps(a.v, _mm256_set1_ps(-0.0f));
}
KEL_AVX2_INLINE F8 Fma(F8 a, F8 b, F8 c) {
  return _mm256_fmadd_ps(a.v, b.v, c.v);
}
KEL_AVX2_INLINE F8 Min(F8 a, F8 b) { return _mm256_min_ps(a.v, b.v); }
KEL_AVX2_INLINE F8 Max(F8 a, F8 b) { return _mm256_max_ps(a.v, b.v); }
KEL_AVX2_INLINE M8 Lt(F8 a, F8 b) {
  return {_mm256_cmp_ps(a.v, b.v, _CMP_LT_OQ)};
}
KEL_AVX2_INLINE M8 Le(F8 a, F8 b) {
  return {_mm256_cmp_ps(a.v, b.v, _CMP_LE_OQ)};
}
KEL_AVX2_INLINE M8 Eq(F8 a, F8 b) {
  return {_mm256_cmp_ps(a.v, b.v, _CMP_EQ_OQ)};
}
KEL_AVX2_INLINE M8 Or(M8 a, M8 b) { return {_mm256_or_ps(a.v, b.v)}; }
KEL_AVX2_INLINE F8 Select(M8 m, F8 a, F8 b) {
  return _mm256_blendv_ps(b.v, a.v, m.v);
}
KEL_AVX2_INLINE F8 Trunc(F8 a) {
  return _mm256_round_ps(a.v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}
KEL_AVX2_INLINE F8 RoundCur(F8 a) {
  return _mm256_round_ps(a.v, _MM_FROUND_CUR_DIRECTION);
}
template <>
inline constexpr int kLaneCount<F8> = 8;
KEL_AVX2_INLINE F8 LoadF(const float* p, F8) { return _mm256_loadu_ps(p); }
KEL_AVX2_INLINE void StoreF(float* p, F8 v) { _mm256_storeu_ps(p, v.v); }

KEL_AVX2_INLINE F8 CanonNaN(F8 a) {
  const __m256 nan = _mm256_castsi256_ps(_mm256_set1_epi32(0x7FC00000));
  return _mm256_blendv_ps(a.v, nan, _mm256_cmp_ps(a.v, a.v, _CMP_UNORD_Q));
}
KEL_AVX2_INLINE F8 Clamp(F8 a, float lo, float hi) {
  return Max(Min(a, F8(hi)), F8(lo));
}
KEL_AVX2_INLINE F8 ClampTo(F8 a, float hi) {
  return Max(Min(a, F8(hi)), F8(0.0f));
}

#endif  // KEL_X86_64

}  // namespace kel::lanes
