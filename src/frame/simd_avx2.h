// Named AVX2 building blocks shared by the kernels.
//
// Every function here is KEL_AVX2_INLINE: it may only be called from code
// that is itself compiled for AVX2 (KEL_AVX2 functions).
#pragma once

#include "frame/isa.h"
#if KEL_X86_64

#include <immintrin.h>

#include <cstdint>

#include "frame/isa.h"

namespace kel::simd {

KEL_AVX2_INLINE __m256i Load(const void* p) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(p));
}
KEL_AVX2_INLINE __m128i Load128(const void* p) {
  return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
KEL_AVX2_INLINE void Store(void* p, __m256i v) {
  _mm256_storeu_si256(static_cast<__m256i*>(p), v);
}
KEL_AVX2_INLINE void Store128(void* p, __m128i v) {
  _mm_storeu_si128(static_cast<__m128i*>(p), v);
}
KEL_AVX2_INLINE __m256i Set16(int v) {
  return _mm256_set1_epi16(static_cast<int16_t>(v));
}

// High 16 bits of 16 x 16-bit products.
KEL_AVX2_INLINE __m256i MulHiU16(__m256i a, __m256i b) {
  return _mm256_mulhi_epu16(a, b);
}
KEL_AVX2_INLINE __m256i MulHiS16(__m256i a, __m256i b) {
  return _mm256_mulhi_epi16(a, b);
}
KEL_AVX2_INLINE __m256i AddSatU16(__m256i a, __m256i b) {
  return _mm256_adds_epu16(a, b);
}
KEL_AVX2_INLINE __m256i AddSatS16(__m256i a, __m256i b) {
  return _mm256_adds_epi16(a, b);
}

// Widening of 16 bytes to 16 unsigned 16-bit lanes.
KEL_AVX2_INLINE __m256i WidenU8(__m128i v) { return _mm256_cvtepu8_epi16(v); }

// Narrowing of two vectors of 16-bit lanes to bytes with unsigned
// saturation, lanes kept in order (a's 16 values, then b's).
KEL_AVX2_INLINE __m256i PackU8(__m256i a, __m256i b) {
  return _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
}

}  // namespace kel::simd

#endif  // KEL_X86_64
