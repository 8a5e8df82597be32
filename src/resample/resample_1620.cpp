// 4:2:0 <-> 16:2:0 and 4:2:0 <-> 4:1:1 re-sampling of three-plane images.
//
// Luma is copied with PlaneCopy8u; each chroma plane goes through the
// conversion's chroma kernel. The region must be whole blocks: it is
// rejected, not trimmed.
#include "resample/resample_1620.h"

#include "frame/isa.h"
#if KEL_X86_64
#include <immintrin.h>
#endif

#include <cstddef>

#include "frame/checks.h"
#include "frame/dispatch.h"
#include "frame/plane.h"
#include "frame/simd_avx2.h"

namespace kel::resample {
namespace {

enum class Conversion { k420To1620, k1620To420, k411To420, k420To411 };

// ---------------------------------------------------------------------------
// AVX2 row bodies. kAligned: the rows and steps are multiples of 16, and the
// loads at sample offsets and the stores use 16-byte aligned accesses.

namespace avx2 {

#if KEL_X86_64
template <bool kAligned>
KEL_AVX2_INLINE __m256i Load32(const uint8_t* p) {
  if constexpr (kAligned) {
    const auto* q = reinterpret_cast<const __m128i*>(p);
    return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_load_si128(q)),
                                   _mm_load_si128(q + 1), 1);
  } else {
    return simd::Load(p);
  }
}
template <bool kAligned>
KEL_AVX2_INLINE __m128i Load16(const uint8_t* p) {
  if constexpr (kAligned) {
    return _mm_load_si128(reinterpret_cast<const __m128i*>(p));
  } else {
    return simd::Load128(p);
  }
}
template <bool kAligned>
KEL_AVX2_INLINE void Store32(uint8_t* p, __m256i v) {
  if constexpr (kAligned) {
    auto* q = reinterpret_cast<__m128i*>(p);
    _mm_store_si128(q, _mm256_castsi256_si128(v));
    _mm_store_si128(q + 1, _mm256_extracti128_si256(v, 1));
  } else {
    simd::Store(p, v);
  }
}
template <bool kAligned>
KEL_AVX2_INLINE void Store16(uint8_t* p, __m128i v) {
  if constexpr (kAligned) {
    _mm_store_si128(reinterpret_cast<__m128i*>(p), v);
  } else {
    simd::Store128(p, v);
  }
}

// Stores 32 bytes a and 32 bytes b interleaved (a0 b0 a1 b1 ...) as 64 bytes.
template <bool kAligned>
KEL_AVX2_INLINE void StoreZip32(uint8_t* p, __m256i a, __m256i b) {
  const __m256i lo = _mm256_unpacklo_epi8(a, b);
  const __m256i hi = _mm256_unpackhi_epi8(a, b);
  Store32<kAligned>(p, _mm256_permute2x128_si256(lo, hi, 0x20));
  Store32<kAligned>(p + 32, _mm256_permute2x128_si256(lo, hi, 0x31));
}
template <bool kAligned>
KEL_AVX2_INLINE void StoreZip16(uint8_t* p, __m128i a, __m128i b) {
  Store16<kAligned>(p, _mm_unpacklo_epi8(a, b));
  Store16<kAligned>(p + 16, _mm_unpackhi_epi8(a, b));
}

// The even bytes of 64 bytes at p, in order.
template <bool kAligned>
KEL_AVX2_INLINE __m256i Even32(const uint8_t* p) {
  const __m256i mask = _mm256_set1_epi16(0x00FF);
  return simd::PackU8(_mm256_and_si256(Load32<kAligned>(p), mask),
                      _mm256_and_si256(Load32<kAligned>(p + 32), mask));
}
// The even bytes of 16 bytes at p, in the low 8 bytes.
template <bool kAligned>
KEL_AVX2_INLINE __m128i Even8(const uint8_t* p) {
  const __m128i x = _mm_and_si128(Load16<kAligned>(p), _mm_set1_epi16(0x00FF));
  return _mm_packus_epi16(x, x);
}

// Each body returns the number of samples it produced; the scalar form
// completes the row from there.

template <bool kAligned>
KEL_AVX2 int Body411To420Row(const uint8_t* s, uint8_t* d, int n) {
  int i = 0;
  for (; n - i > 64; i += 64) {
    for (int j = i; j < i + 64; j += 32) {
      const __m256i a = Load32<kAligned>(s + j);
      const __m256i right = simd::Load(s + j + 1);
      StoreZip32<kAligned>(d + 2 * j, a, _mm256_avg_epu8(a, right));
    }
  }
  for (; n - i > 16; i += 16) {
    const __m128i a = Load16<kAligned>(s + i);
    const __m128i right = simd::Load128(s + i + 1);
    StoreZip16<kAligned>(d + 2 * i, a, _mm_avg_epu8(a, right));
  }
  return i;
}

template <bool kAligned>
KEL_AVX2 int Body1620To420Rows(const uint8_t* s0, const uint8_t* s1,
                               uint8_t* d0, uint8_t* d1, int n) {
  int i = 0;
  for (; n - i >= 33; i += 32) {
    const __m256i a = Load32<kAligned>(s0 + i);
    const __m256i across = _mm256_avg_epu8(a, simd::Load(s0 + i + 1));
    StoreZip32<kAligned>(d0 + 2 * i, a, across);
    if (s1 == nullptr) {
      StoreZip32<kAligned>(d1 + 2 * i, a, a);
      continue;
    }
    const __m256i b = Load32<kAligned>(s1 + i);
    const __m256i acrossBelow = _mm256_avg_epu8(b, simd::Load(s1 + i + 1));
    StoreZip32<kAligned>(d1 + 2 * i, _mm256_avg_epu8(a, b),
                         _mm256_avg_epu8(across, acrossBelow));
  }
  for (; n - i >= 17; i += 16) {
    const __m128i a = Load16<kAligned>(s0 + i);
    const __m128i across = _mm_avg_epu8(a, simd::Load128(s0 + i + 1));
    StoreZip16<kAligned>(d0 + 2 * i, a, across);
    if (s1 == nullptr) {
      StoreZip16<kAligned>(d1 + 2 * i, a, a);
      continue;
    }
    const __m128i b = Load16<kAligned>(s1 + i);
    const __m128i acrossBelow = _mm_avg_epu8(b, simd::Load128(s1 + i + 1));
    StoreZip16<kAligned>(d1 + 2 * i, _mm_avg_epu8(a, b),
                         _mm_avg_epu8(across, acrossBelow));
  }
  return i;
}

template <bool kAligned>
KEL_AVX2 int Body420To411Rows(const uint8_t* s0, const uint8_t* s1, uint8_t* d0,
                              uint8_t* d1, int n) {
  int i = 0;
  for (; n - i >= 32; i += 32) {
    const __m256i a = Even32<kAligned>(s0 + 2 * i);
    Store32<kAligned>(d0 + i, a);
    Store32<kAligned>(
        d1 + i,
        s1 == nullptr ? a : _mm256_avg_epu8(a, Even32<kAligned>(s1 + 2 * i)));
  }
  for (; n - i >= 8; i += 8) {
    const __m128i a = Even8<kAligned>(s0 + 2 * i);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(d0 + i), a);
    _mm_storel_epi64(
        reinterpret_cast<__m128i*>(d1 + i),
        s1 == nullptr ? a : _mm_avg_epu8(a, Even8<kAligned>(s1 + 2 * i)));
  }
  return i;
}

template <bool kAligned>
KEL_AVX2 int Body420To1620Row(const uint8_t* s, uint8_t* d, int n) {
  int i = 0;
  for (; n - i >= 32; i += 32)
    Store32<kAligned>(d + i, Even32<kAligned>(s + 2 * i));
  return i;
}
#endif  // KEL_X86_64

}  // namespace avx2

// ---------------------------------------------------------------------------
// Chroma plane kernels: one chroma plane, given the luma height and width.

template <class Isa, bool kAligned>
void ChromaPlane(Conversion c, const uint8_t* src, ptrdiff_t ss, uint8_t* dst,
                 ptrdiff_t ds, int h, int w) {
  const int n = w / 4;  // 16:2:0 and 4:1:1 chroma samples per row
  [[maybe_unused]] constexpr bool kVector = kIsAvx2<Isa>;
  switch (c) {
    case Conversion::k420To1620: {
      for (int q = 0; q < h / 4; ++q) {
        const uint8_t* s = src + 2 * q * ss;
        uint8_t* d = dst + q * ds;
        int from = 0;
#if KEL_X86_64
        if constexpr (kVector) from = avx2::Body420To1620Row<kAligned>(s, d, n);
#endif
        Row420To1620(s, d, n, from);
      }
      break;
    }
    case Conversion::k1620To420: {
      const int body = Body1620To420(n);
      const int rows = h / 4;
      for (int q = 0; q < rows; ++q) {
        const uint8_t* s0 = src + q * ss;
        const uint8_t* s1 = q + 1 < rows ? s0 + ss : nullptr;
        uint8_t* d0 = dst + 2 * q * ds;
        uint8_t* d1 = d0 + ds;
        int from = 0;
#if KEL_X86_64
        if constexpr (kVector)
          from = avx2::Body1620To420Rows<kAligned>(s0, s1, d0, d1, n);
#endif
        Rows1620To420(s0, s1, d0, d1, n, from, body);
      }
      break;
    }
    case Conversion::k411To420: {
      const int body = Body411To420(n);
      for (int r = 0; r < h / 2; ++r) {
        const uint8_t* s = src + 2 * r * ss;  // odd rows are dropped
        uint8_t* d = dst + r * ds;
        int from = 0;
#if KEL_X86_64
        if constexpr (kVector) from = avx2::Body411To420Row<kAligned>(s, d, n);
#endif
        Row411To420(s, d, n, from, body);
      }
      break;
    }
    case Conversion::k420To411: {
      const int body = Body420To411(n);
      const int rows = h / 2;
      for (int r = 0; r < rows; ++r) {
        const uint8_t* s0 = src + r * ss;
        const uint8_t* s1 = r + 1 < rows ? s0 + ss : nullptr;
        uint8_t* d0 = dst + 2 * r * ds;
        uint8_t* d1 = d0 + ds;
        int from = 0;
#if KEL_X86_64
        if constexpr (kVector)
          from = avx2::Body420To411Rows<kAligned>(s0, s1, d0, d1, n);
#endif
        Rows420To411(s0, s1, d0, d1, n, from, body);
      }
      break;
    }
  }
}

// The aligned variant when the pointers and both steps are multiples of 16.
template <class Isa>
void Chroma(Conversion c, const uint8_t* src, int srcStep, uint8_t* dst,
            int dstStep, int h, int w) {
  const bool aligned = (reinterpret_cast<uintptr_t>(src) | srcStep |
                        reinterpret_cast<uintptr_t>(dst) | dstStep) %
                           16 ==
                       0;
  if (aligned) {
    ChromaPlane<Isa, true>(c, src, srcStep, dst, dstStep, h, w);
  } else {
    ChromaPlane<Isa, false>(c, src, srcStep, dst, dstStep, h, w);
  }
}

template <class Isa, Conversion c>
KelResult Resample(const Kel8u* const pSrc[3], const int srcStep[3],
                   Kel8u* const pDst[3], const int dstStep[3],
                   KelImageSize roi) {
  // The step arrays are pointer arguments too and are checked with the
  // plane arrays; their values are not checked.
  ArgCheck check;
  check.NotNull(pSrc, srcStep, pDst, dstStep).Planes(pSrc, 3).Planes(pDst, 3);
  const int w = roi.width, h = roi.height;
  const int blockHeight = c == Conversion::k420To411 ? 2 : 4;
  check.Require(
      w >= 4 && h >= blockHeight && w % 4 == 0 && h % blockHeight == 0,
      kelErrSize);
  if (check.Failed()) return check.Result();

  frame::PlaneCopy8u<Isa>(pSrc[0], srcStep[0], pDst[0], dstStep[0], roi);
  for (int p = 1; p <= 2; ++p)
    Chroma<Isa>(c, pSrc[p], srcStep[p], pDst[p], dstStep[p], h, w);
  return kelOk;
}

}  // namespace

template <class Isa>
KelResult YCbCr420To1620(const Kel8u* const pSrc[3], const int srcStep[3],
                         Kel8u* const pDst[3], const int dstStep[3],
                         KelImageSize roi) {
  return Resample<Isa, Conversion::k420To1620>(pSrc, srcStep, pDst, dstStep,
                                               roi);
}
template <class Isa>
KelResult YCbCr1620To420(const Kel8u* const pSrc[3], const int srcStep[3],
                         Kel8u* const pDst[3], const int dstStep[3],
                         KelImageSize roi) {
  return Resample<Isa, Conversion::k1620To420>(pSrc, srcStep, pDst, dstStep,
                                               roi);
}
template <class Isa>
KelResult YCbCr411To420(const Kel8u* const pSrc[3], const int srcStep[3],
                        Kel8u* const pDst[3], const int dstStep[3],
                        KelImageSize roi) {
  return Resample<Isa, Conversion::k411To420>(pSrc, srcStep, pDst, dstStep,
                                              roi);
}
template <class Isa>
KelResult YCbCr420To411(const Kel8u* const pSrc[3], const int srcStep[3],
                        Kel8u* const pDst[3], const int dstStep[3],
                        KelImageSize roi) {
  return Resample<Isa, Conversion::k420To411>(pSrc, srcStep, pDst, dstStep,
                                              roi);
}

}  // namespace kel::resample

KEL_IMPLEMENT(keliYCbCr420To1620_8u_P3R, kel::resample::YCbCr420To1620)
KEL_IMPLEMENT(keliYCbCr1620To420_8u_P3R, kel::resample::YCbCr1620To420)
KEL_IMPLEMENT(keliYCbCr411To420_8u_P3R, kel::resample::YCbCr411To420)
KEL_IMPLEMENT(keliYCbCr420To411_8u_P3R, kel::resample::YCbCr420To411)
