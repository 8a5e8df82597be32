// Plane and row copy and fill kernels with the cache policy.
//
// Each public kernel first decides its path (the same decision for both
// instruction-set tags), then runs that path: the AVX2 loops below, or plain
// copies and fills for the portable tag.
#include "frame/plane.h"

#include "frame/isa.h"

#if KEL_X86_64
#include <immintrin.h>
#include <x86intrin.h>
#endif

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <utility>

#include "kelcore/kelcore.h"

namespace kel::frame {
namespace {

std::atomic<const PlaneHooks*> g_hooks{nullptr};

// One kernel call's view of the hooks, read once before any loop.
class Policy {
 public:
  Policy() : hooks_(g_hooks.load(std::memory_order_acquire)) {}

  // Asks for the size of the largest cache; false when the query fails.
  bool CacheSize(int32_t* sizeB) const {
    CacheQueryFn query = &kelGetMaxCacheSizeB;
    if (hooks_ != nullptr) {
      if (hooks_->query != nullptr) query = hooks_->query;
      if (hooks_->trace != nullptr) ++hooks_->trace->cacheQueries;
    }
    return query(sizeB) == 0;
  }

  void Record(PlaneCopyPath p) const {
    if (PlaneTrace* t = trace()) t->planeCopy = p;
  }
  void Record(ByteCopyPath p) const {
    if (PlaneTrace* t = trace()) t->byteCopy = p;
  }
  void Record(RowCopyPath p) const {
    if (PlaneTrace* t = trace()) t->rowCopy = p;
  }
  void RecordPlaneFill(FillPath p) const {
    if (PlaneTrace* t = trace()) t->planeFill = p;
  }
  void RecordWord32Fill(FillPath p) const {
    if (PlaneTrace* t = trace()) t->word32Fill = p;
  }

 private:
  PlaneTrace* trace() const {
    return hooks_ != nullptr ? hooks_->trace : nullptr;
  }
  const PlaneHooks* hooks_;
};

inline uintptr_t Addr(const void* p) { return reinterpret_cast<uintptr_t>(p); }

// Number of significant bits of a non-negative value.
inline int BitLength(int v) {
  return v == 0 ? 0 : 32 - __builtin_clz(static_cast<unsigned>(v));
}

// ---------------------------------------------------------------------------
// Path decisions.

PlaneCopyPath PlanPlaneCopy(const Policy& policy, const uint8_t* src,
                            int srcStep, const uint8_t* dst, int dstStep, int w,
                            int h) {
  const int64_t total = int64_t{w} * h;
  bool stream = false;
  if (total > INT32_MAX) {
    stream = true;  // too large to ask about: stream without a query
  } else if (w == srcStep && w == dstStep) {
    return PlaneCopyPath::kOneRun;
  } else if (w < kPlaneCopyNarrowWidth) {
    return PlaneCopyPath::kNarrowRows;
  } else if (total > kPlaneCopyQueryFloor) {
    int32_t cache = 0;
    stream = policy.CacheSize(&cache) && total >= (cache >> 1);
  }
  const uintptr_t d = Addr(dst);
  if (stream) {
    return d % 64 == 0 && dstStep % 64 == 0 && w % 32 == 0
               ? PlaneCopyPath::kStreamAligned
               : PlaneCopyPath::kStreamUnaligned;
  }
  if (d % 32 != 0 || dstStep % 32 != 0 || w % 32 != 0)
    return PlaneCopyPath::kForwardUnaligned;
  const int64_t pageDelta =
      static_cast<int64_t>(d % 4096) - static_cast<int64_t>(Addr(src) % 4096);
  return srcStep == dstStep && pageDelta >= 0 && pageDelta < kPageAliasRange
             ? PlaneCopyPath::kBackwardAligned
             : PlaneCopyPath::kForwardAligned;
}

ByteCopyPath PlanByteCopy(const Policy& policy, const void* src,
                          const void* dst, int32_t n) {
  if (n < kShortCopyLimit) return ByteCopyPath::kShort;
  if (n > kByteCopyQueryFloor) {
    int32_t cache = 0;
    if (policy.CacheSize(&cache) && n >= (cache >> 1))
      return ByteCopyPath::kStream;
  }
  const uint32_t pageDelta = static_cast<uint32_t>(Addr(dst) % 4096) -
                             static_cast<uint32_t>(Addr(src) % 4096);
  return pageDelta < kPageAliasRange ? ByteCopyPath::kPageAlias
                                     : ByteCopyPath::kRep;
}

RowCopyPath PlanRowCopy(const uint8_t* src, const uint8_t* dst, uint32_t n,
                        bool streaming) {
  if (n < 64) return RowCopyPath::kTailOnly;
  const uint32_t misalign = Addr(dst) % 16;
  if (misalign != 0) {
    const uint32_t advance = 16 - misalign;
    if (n - advance < 64) return RowCopyPath::kTailOnly;
    src += advance;
  }
  if (streaming) return RowCopyPath::kStream;
  if (Addr(src) % 8 != 0) return RowCopyPath::kUnalignedLoads;
  if (Addr(src) % 16 != 0) return RowCopyPath::kHalfLoads;
  return RowCopyPath::kAlignedLoads;
}

#if KEL_X86_64
// ---------------------------------------------------------------------------
// String moves: the forward copy of ByteCopy outside the page-alias range.
// Moves the widest unit that source and destination share in their low
// address bits, with the direction flag clear for the duration.

inline void MovePiece(const uint8_t*& s, uint8_t*& d, size_t k) {
  std::memcpy(d, s, k);
  s += k;
  d += k;
}

template <int kUnit>
void RepMove(const uint8_t* s, uint8_t* d, size_t n) {
  // Head: bring the destination to a unit boundary with 1-, 2-, 4-byte moves.
  for (size_t k = 1; k < static_cast<size_t>(kUnit); k <<= 1) {
    if ((Addr(d) & k) != 0 && n >= k) {
      MovePiece(s, d, k);
      n -= k;
    }
  }
  size_t units = n / kUnit;
  if constexpr (kUnit == 8) {
    asm volatile("rep movsq" : "+D"(d), "+S"(s), "+c"(units) : : "memory");
  } else if constexpr (kUnit == 4) {
    asm volatile("rep movsl" : "+D"(d), "+S"(s), "+c"(units) : : "memory");
  } else if constexpr (kUnit == 2) {
    asm volatile("rep movsw" : "+D"(d), "+S"(s), "+c"(units) : : "memory");
  } else {
    asm volatile("rep movsb" : "+D"(d), "+S"(s), "+c"(units) : : "memory");
  }
  // Tail: 4-, 2-, 1-byte moves.
  for (size_t k = 4; k >= 1; k >>= 1) {
    if ((n & k) != 0 && k < static_cast<size_t>(kUnit)) MovePiece(s, d, k);
  }
}

void RepCopy(const uint8_t* s, uint8_t* d, size_t n) {
  constexpr unsigned long long kDirectionFlag = 0x400;
  const bool down = (__readeflags() & kDirectionFlag) != 0;
  if (down) asm volatile("cld" : : : "memory");
  const uintptr_t shared = Addr(s) ^ Addr(d);
  if (shared % 8 == 0) {
    RepMove<8>(s, d, n);
  } else if (shared % 4 == 0) {
    RepMove<4>(s, d, n);
  } else if (shared % 2 == 0) {
    RepMove<2>(s, d, n);
  } else {
    RepMove<1>(s, d, n);
  }
  if (down) asm volatile("std" : : : "memory");
}

// ---------------------------------------------------------------------------
// AVX2 loops: 32-byte vectors, 64 bytes per step, unaligned loads.

namespace avx2 {

#if KEL_X86_64
KEL_AVX2_INLINE __m256i Ld(const uint8_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
KEL_AVX2_INLINE void StU(uint8_t* p, __m256i v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}
KEL_AVX2_INLINE void StA(uint8_t* p, __m256i v) {
  _mm256_store_si256(reinterpret_cast<__m256i*>(p), v);
}
KEL_AVX2_INLINE void StS(uint8_t* p, __m256i v) {
  _mm256_stream_si256(reinterpret_cast<__m256i*>(p), v);
}
KEL_AVX2_INLINE void Copy32U(const uint8_t* s, uint8_t* d) { StU(d, Ld(s)); }
KEL_AVX2_INLINE void Copy32A(const uint8_t* s, uint8_t* d) { StA(d, Ld(s)); }
KEL_AVX2_INLINE void Copy64U(const uint8_t* s, uint8_t* d) {
  const __m256i a = Ld(s), b = Ld(s + 32);
  StU(d, a);
  StU(d + 32, b);
}
KEL_AVX2_INLINE void Copy64A(const uint8_t* s, uint8_t* d) {
  const __m256i a = Ld(s), b = Ld(s + 32);
  StA(d, a);
  StA(d + 32, b);
}
KEL_AVX2_INLINE void Copy64S(const uint8_t* s, uint8_t* d) {
  const __m256i a = Ld(s), b = Ld(s + 32);
  StS(d, a);
  StS(d + 32, b);
}
KEL_AVX2_INLINE void Copy16U(const uint8_t* s, uint8_t* d) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(d),
                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(s)));
}
template <int kBytes>
KEL_AVX2_INLINE void CopyPiece(const uint8_t* s, uint8_t* d) {
  if constexpr (kBytes == 32) {
    Copy32U(s, d);
  } else if constexpr (kBytes == 16) {
    Copy16U(s, d);
  } else {
    std::memcpy(d, s, kBytes);
  }
}

// Copies n < 256 bytes by size class: two overlapping pieces of the class's
// unit, one at the start and one at the end.
KEL_AVX2_INLINE void SmallCopy(const uint8_t* s, uint8_t* d, size_t n) {
  if (n >= 128) {
    const __m256i a = Ld(s), b = Ld(s + 32), c = Ld(s + 64), e = Ld(s + 96);
    const uint8_t* se = s + n - 128;
    const __m256i f = Ld(se), g = Ld(se + 32), i = Ld(se + 64), j = Ld(se + 96);
    uint8_t* de = d + n - 128;
    StU(d, a), StU(d + 32, b), StU(d + 64, c), StU(d + 96, e);
    StU(de, f), StU(de + 32, g), StU(de + 64, i), StU(de + 96, j);
  } else if (n >= 64) {
    Copy64U(s, d);
    Copy64U(s + n - 64, d + n - 64);
  } else if (n >= 32) {
    const __m256i a = Ld(s), b = Ld(s + n - 32);
    StU(d, a);
    StU(d + n - 32, b);
  } else if (n >= 16) {
    Copy16U(s, d);
    Copy16U(s + n - 16, d + n - 16);
  } else if (n >= 8) {
    CopyPiece<8>(s, d);
    CopyPiece<8>(s + n - 8, d + n - 8);
  } else if (n >= 4) {
    CopyPiece<4>(s, d);
    CopyPiece<4>(s + n - 4, d + n - 4);
  } else if (n >= 2) {
    CopyPiece<2>(s, d);
    CopyPiece<2>(s + n - 2, d + n - 2);
  } else if (n == 1) {
    *d = *s;
  }
}

// ShortCopy: any length; small sizes by class, larger ones with the
// destination aligned to 32 bytes, backwards from 16 KiB up.
KEL_AVX2 void ShortCopy(const uint8_t* s, uint8_t* d, size_t n) {
  if (n < 256) {
    SmallCopy(s, d, n);
    return;
  }
  if (const size_t mis = Addr(d) % 32; mis != 0) {
    Copy32U(s, d);
    const size_t advance = 32 - mis;
    s += advance, d += advance, n -= advance;
  }
  if (n >= 16384) {
    if (const size_t r = n % 64; r != 0) {
      Copy64U(s + n - 64, d + n - 64);
      n -= r;
    }
    for (size_t i = n; i >= 64; i -= 64) Copy64A(s + i - 64, d + i - 64);
    return;
  }
  if (Addr(s) % 16 != 0) {
    for (; n >= 256; n -= 256, s += 256, d += 256) {
      for (int k = 0; k < 256; k += 16) {
        _mm_store_si128(
            reinterpret_cast<__m128i*>(d + k),
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + k)));
      }
    }
  } else {
    for (; n >= 256; n -= 256, s += 256, d += 256) {
      for (int k = 0; k < 256; k += 64) Copy64A(s + k, d + k);
    }
  }
  SmallCopy(s, d, n);
}

// ByteCopy's page-alias path: the last bytes up to a 64-byte boundary of the
// destination first, then 64-byte blocks from the end backwards, then the
// head.
KEL_AVX2 void BackwardCopy(const uint8_t* s, uint8_t* d, size_t n) {
  if (const size_t t = (Addr(d) + n) % 64; t != 0) {
    ShortCopy(s + n - t, d + n - t, t);
    n -= t;
  }
  const size_t r = n % 64;
  for (size_t i = n; i > r; i -= 64) Copy64A(s + i - 64, d + i - 64);
  if (r != 0) ShortCopy(s, d, r);
}

// ByteCopy's streaming path.
KEL_AVX2 void StreamCopy(const uint8_t* s, uint8_t* d, size_t n) {
  if (const size_t mis = Addr(d) % 64; mis != 0) {
    const size_t head = 64 - mis;
    ShortCopy(s, d, head);
    s += head, d += head, n -= head;
  }
  const size_t blocks = n & ~size_t{63};
  for (size_t i = 0; i < blocks; i += 64) Copy64S(s + i, d + i);
  if (n > blocks) ShortCopy(s + blocks, d + blocks, n - blocks);
  _mm_sfence();
}

// Narrow rows (w < 512) with kUnits whole 64-byte units; any other width of
// the class ends with an overlapping 64-byte piece.
template <int kUnits>
KEL_AVX2 void NarrowRows(const uint8_t* s, ptrdiff_t ss, uint8_t* d,
                         ptrdiff_t ds, int w, int h) {
  for (int y = 0; y < h; ++y, s += ss, d += ds) {
    if constexpr (kUnits == 0) {
      SmallCopy(s, d, static_cast<size_t>(w));
    } else {
      for (int k = 0; k < kUnits; ++k) Copy64U(s + 64 * k, d + 64 * k);
      if ((w & 63) != 0) Copy64U(s + w - 64, d + w - 64);
    }
  }
}
#endif  // KEL_X86_64

// NarrowRows for 0..7 whole units, by the number of units.
using NarrowRowsFn = void (*)(const uint8_t*, ptrdiff_t, uint8_t*, ptrdiff_t,
                              int, int);
template <size_t... kUnits>
constexpr std::array<NarrowRowsFn, sizeof...(kUnits)> NarrowRowsTable(
    std::index_sequence<kUnits...>) {
  return {&NarrowRows<static_cast<int>(kUnits)>...};
}
inline constexpr auto kNarrowRows =
    NarrowRowsTable(std::make_index_sequence<8>());

// kStream: the whole 64-byte units with streaming stores, then a fence.
#if KEL_X86_64
template <bool kStream>
KEL_AVX2 void ForwardAlignedRows(const uint8_t* s, ptrdiff_t ss, uint8_t* d,
                                 ptrdiff_t ds, int w, int h) {
  const int blocks = w & ~63;
  for (int y = 0; y < h; ++y, s += ss, d += ds) {
    for (int i = 0; i < blocks; i += 64) {
      if constexpr (kStream) {
        Copy64S(s + i, d + i);
      } else {
        Copy64A(s + i, d + i);
      }
    }
    if ((w & 32) != 0) Copy32A(s + blocks, d + blocks);
  }
  if constexpr (kStream) _mm_sfence();
}

// From the last row to the first, each row from its end to its start, so a
// load never closely follows a store to the same low 12 address bits.
KEL_AVX2 void BackwardAlignedRows(const uint8_t* s, ptrdiff_t ss, uint8_t* d,
                                  ptrdiff_t ds, int w, int h) {
  const int odd = w & 32;
  for (int y = h - 1; y >= 0; --y) {
    const uint8_t* sr = s + y * ss;
    uint8_t* dr = d + y * ds;
    for (int i = w - 64; i >= odd; i -= 64) Copy64A(sr + i, dr + i);
    if (odd != 0) Copy32A(sr, dr);
  }
}

KEL_AVX2 void ForwardUnalignedRows(const uint8_t* s, ptrdiff_t ss, uint8_t* d,
                                   ptrdiff_t ds, int w, int h) {
  for (int y = 0; y < h; ++y, s += ss, d += ds) {
    const uint8_t* sr = s;
    uint8_t* dr = d;
    size_t n = static_cast<size_t>(w);
    if (const size_t mis = Addr(dr) % 64; mis != 0) {
      Copy64U(sr, dr);
      const size_t advance = 64 - mis;
      sr += advance, dr += advance, n -= advance;
    }
    for (; n >= 64; n -= 64, sr += 64, dr += 64) Copy64A(sr, dr);
    if (n != 0) Copy64U(sr + n - 64, dr + n - 64);
  }
}

// Copies k bytes when the destination has its k bit set, so that the
// pieces 1, 2, 4, ... in turn align it; false when the row ends first.
template <int k>
KEL_AVX2_INLINE bool AlignPiece(const uint8_t*& s, uint8_t*& d, size_t& n) {
  if ((Addr(d) & k) == 0) return true;
  if (n < k) return false;
  CopyPiece<k>(s, d);
  s += k, d += k, n -= k;
  return true;
}

// Copies the n < 64 bytes left, largest piece first.
KEL_AVX2_INLINE void TailPieces(const uint8_t* s, uint8_t* d, size_t n) {
  if ((n & 32) != 0) CopyPiece<32>(s, d), s += 32, d += 32;
  if ((n & 16) != 0) CopyPiece<16>(s, d), s += 16, d += 16;
  if ((n & 8) != 0) CopyPiece<8>(s, d), s += 8, d += 8;
  if ((n & 4) != 0) CopyPiece<4>(s, d), s += 4, d += 4;
  if ((n & 2) != 0) CopyPiece<2>(s, d), s += 2, d += 2;
  if ((n & 1) != 0) *d = *s;
}

// Ordinary stores of 1, 2, 4, 8, 16, 32 bytes until the destination is
// 64-byte aligned; then 64-byte streaming blocks; then the tail.
KEL_AVX2 void StreamUnalignedRows(const uint8_t* s, ptrdiff_t ss, uint8_t* d,
                                  ptrdiff_t ds, int w, int h) {
  for (int y = 0; y < h; ++y, s += ss, d += ds) {
    const uint8_t* sr = s;
    uint8_t* dr = d;
    size_t n = static_cast<size_t>(w);
    if (AlignPiece<1>(sr, dr, n) && AlignPiece<2>(sr, dr, n) &&
        AlignPiece<4>(sr, dr, n) && AlignPiece<8>(sr, dr, n) &&
        AlignPiece<16>(sr, dr, n) && AlignPiece<32>(sr, dr, n)) {
      for (; n >= 64; n -= 64, sr += 64, dr += 64) Copy64S(sr, dr);
    }
    TailPieces(sr, dr, n);
  }
  _mm_sfence();
}

// RowCopy with 16-byte vectors; `path` is the decision of PlanRowCopy.
KEL_AVX2 void RowCopy16(const uint8_t* s, uint8_t* d, size_t n,
                        RowCopyPath path) {
  if (path != RowCopyPath::kTailOnly) {
    if (const size_t mis = Addr(d) % 16; mis != 0) {
      Copy16U(s, d);
      const size_t advance = 16 - mis;
      s += advance, d += advance, n -= advance;
    }
    auto* out = reinterpret_cast<__m128i*>(d);
    if (path == RowCopyPath::kStream) {
      for (; n >= 64; n -= 64, s += 64, d += 64, out += 4) {
        const auto* in = reinterpret_cast<const __m128i*>(s);
        const __m128i a = _mm_loadu_si128(in), b = _mm_loadu_si128(in + 1),
                      c = _mm_loadu_si128(in + 2), e = _mm_loadu_si128(in + 3);
        _mm_stream_si128(out, a), _mm_stream_si128(out + 1, b);
        _mm_stream_si128(out + 2, c), _mm_stream_si128(out + 3, e);
      }
      _mm_sfence();
    } else if (path == RowCopyPath::kUnalignedLoads) {
      for (; n >= 64; n -= 64, s += 64, d += 64, out += 4) {
        const auto* in = reinterpret_cast<const __m128i*>(s);
        for (int k = 0; k < 4; ++k)
          _mm_store_si128(out + k, _mm_loadu_si128(in + k));
      }
    } else if (path == RowCopyPath::kHalfLoads) {
      for (; n >= 64; n -= 64, s += 64, d += 64, out += 4) {
        for (int k = 0; k < 4; ++k) {
          const __m128i lo =
              _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s + 16 * k));
          const __m128d v =
              _mm_loadh_pd(_mm_castsi128_pd(lo),
                           reinterpret_cast<const double*>(s + 16 * k + 8));
          _mm_store_si128(out + k, _mm_castpd_si128(v));
        }
      }
    } else {
      for (; n >= 64; n -= 64, s += 64, d += 64, out += 4) {
        const auto* in = reinterpret_cast<const __m128i*>(s);
        for (int k = 0; k < 4; ++k)
          _mm_store_si128(out + k, _mm_load_si128(in + k));
      }
    }
  }
  for (; n >= 8; n -= 8, s += 8, d += 8) CopyPiece<8>(s, d);
  if ((n & 4) != 0) CopyPiece<4>(s, d), s += 4, d += 4;
  if ((n & 2) != 0) CopyPiece<2>(s, d), s += 2, d += 2;
  if ((n & 1) != 0) *d = *s;
}

// Stores the first k bytes of the broadcast value.
template <int k>
KEL_AVX2_INLINE void StorePiece(uint8_t* d, __m256i v) {
  if constexpr (k == 32) {
    StU(d, v);
  } else if constexpr (k == 16) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm256_castsi256_si128(v));
  } else {
    const uint64_t x =
        static_cast<uint64_t>(_mm_cvtsi128_si64(_mm256_castsi256_si128(v)));
    std::memcpy(d, &x, k);
  }
}

// Stores k bytes of the value when the destination has its k bit set;
// false when the row ends first.
template <int k>
KEL_AVX2_INLINE bool AlignFill(uint8_t*& d, size_t& n, __m256i v) {
  if ((Addr(d) & k) == 0) return true;
  if (n < k) return false;
  StorePiece<k>(d, v);
  d += k, n -= k;
  return true;
}

// 64 bytes of the value at a 64-byte aligned destination.
template <bool kStream>
KEL_AVX2_INLINE void FillBlock(uint8_t* p, __m256i v) {
  if constexpr (kStream) {
    StS(p, v), StS(p + 32, v);
  } else {
    StA(p, v), StA(p + 32, v);
  }
}

// Byte fill of one row: stores up to a 64-byte boundary, 128 bytes per
// step (then one 64-byte step), then the tail.
template <bool kStream>
KEL_AVX2_INLINE void FillRow(uint8_t* d, size_t n, __m256i v) {
  if (AlignFill<1>(d, n, v) && AlignFill<2>(d, n, v) && AlignFill<4>(d, n, v) &&
      AlignFill<8>(d, n, v) && AlignFill<16>(d, n, v) &&
      AlignFill<32>(d, n, v)) {
    for (; n >= 128; n -= 128, d += 128)
      FillBlock<kStream>(d, v), FillBlock<kStream>(d + 64, v);
    if (n >= 64) FillBlock<kStream>(d, v), d += 64, n -= 64;
  }
  if ((n & 32) != 0) StorePiece<32>(d, v), d += 32;
  if ((n & 16) != 0) StorePiece<16>(d, v), d += 16;
  if ((n & 8) != 0) StorePiece<8>(d, v), d += 8;
  if ((n & 4) != 0) StorePiece<4>(d, v), d += 4;
  if ((n & 2) != 0) StorePiece<2>(d, v), d += 2;
  if ((n & 1) != 0) StorePiece<1>(d, v);
}

template <bool kStream>
KEL_AVX2 void FillRows(uint8_t value, uint8_t* d, ptrdiff_t ds, size_t w,
                       int h) {
  const __m256i v = _mm256_set1_epi8(static_cast<char>(value));
  for (int y = 0; y < h; ++y, d += ds) FillRow<kStream>(d, w, v);
  if constexpr (kStream) _mm_sfence();
}

KEL_AVX2 void Word32FillCached(uint32_t x, uint8_t* d, size_t count) {
  if (Addr(d) % 4 != 0) {
    for (size_t i = 0; i < count; ++i, d += 4) std::memcpy(d, &x, 4);
    return;
  }
  const __m256i v = _mm256_set1_epi32(static_cast<int>(x));
  size_t n = count * 4;
  if (n >= 256) {
    StU(d, v);
    const size_t advance = (32 - Addr(d) % 32) % 32;
    d += advance, n -= advance;
    for (; n >= 128; n -= 128, d += 128)
      StA(d, v), StA(d + 32, v), StA(d + 64, v), StA(d + 96, v);
    for (; n >= 32; n -= 32, d += 32) StA(d, v);
    if (n != 0) StU(d + n - 32, v);  // overlaps stored elements
    return;
  }
  for (; n >= 32; n -= 32, d += 32) StU(d, v);
  if ((n & 16) != 0) StorePiece<16>(d, v), d += 16;
  if ((n & 8) != 0) StorePiece<8>(d, v), d += 8;
  if ((n & 4) != 0) StorePiece<4>(d, v);
}

KEL_AVX2 void Word32FillStream(uint32_t x, uint8_t* d, size_t count) {
  const __m256i v = _mm256_set1_epi32(static_cast<int>(x));
  if (const size_t mis = Addr(d) % 64; mis != 0) {
    StU(d, v), StU(d + 32, v);
    const size_t advance = (64 - mis) / 4;
    d += advance * 4, count -= advance;
  }
  size_t blocks = count / 16;  // 64-byte blocks
  for (; blocks >= 2; blocks -= 2, d += 128)
    StS(d, v), StS(d + 32, v), StS(d + 64, v), StS(d + 96, v);
  if (blocks != 0) StS(d, v), StS(d + 32, v), d += 64;
  if ((count & 8) != 0) StS(d, v), d += 32;
  if ((count & 4) != 0) {
    _mm_stream_si128(reinterpret_cast<__m128i*>(d), _mm256_castsi256_si128(v));
    d += 16;
  }
  if ((count & 2) != 0) StorePiece<8>(d, v), d += 8;
  if ((count & 1) != 0) StorePiece<4>(d, v);
  _mm_sfence();
}
#endif  // KEL_X86_64

}  // namespace avx2
#endif  // KEL_X86_64

// ---------------------------------------------------------------------------
// Path execution per tag.

template <class Isa>
void ShortCopyIsa(const uint8_t* s, uint8_t* d, size_t n) {
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>) {
    avx2::ShortCopy(s, d, n);
  } else
#endif
  {
    std::memcpy(d, s, n);
  }
}

template <class Isa>
void ByteCopyWith(const Policy& policy, const uint8_t* s, uint8_t* d,
                  int32_t n) {
  const ByteCopyPath path = PlanByteCopy(policy, s, d, n);
  policy.Record(path);
  const size_t len = static_cast<size_t>(n);
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>) {
    switch (path) {
      case ByteCopyPath::kStream:
        avx2::StreamCopy(s, d, len);
        break;
      case ByteCopyPath::kPageAlias:
        avx2::BackwardCopy(s, d, len);
        break;
      case ByteCopyPath::kRep:
        RepCopy(s, d, len);
        break;
      default:
        avx2::ShortCopy(s, d, len);
        break;
    }
  } else
#endif
  {
    std::memcpy(d, s, len);
  }
}

template <class Isa>
KelResult ByteCopyCheckedWith(const Policy& policy, const void* src, void* dst,
                              int32_t n) {
  if (src == nullptr || dst == nullptr) return kelErrNullPtr;
  if (n < 1) return kelErrSize;
  const auto* s = static_cast<const uint8_t*>(src);
  auto* d = static_cast<uint8_t*>(dst);
  if (n < kShortCopyLimit) {
    policy.Record(ByteCopyPath::kShort);
    ShortCopyIsa<Isa>(s, d, static_cast<size_t>(n));
  } else {
    ByteCopyWith<Isa>(policy, s, d, n);
  }
  return kelOk;
}

template <class Isa>
void PlaneRows(PlaneCopyPath path, const uint8_t* s, ptrdiff_t ss, uint8_t* d,
               ptrdiff_t ds, int w, int h) {
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>) {
    switch (path) {
      case PlaneCopyPath::kNarrowRows:
        return avx2::kNarrowRows[std::min(w >> 6, 7)](s, ss, d, ds, w, h);
      case PlaneCopyPath::kForwardAligned:
        return avx2::ForwardAlignedRows<false>(s, ss, d, ds, w, h);
      case PlaneCopyPath::kBackwardAligned:
        return avx2::BackwardAlignedRows(s, ss, d, ds, w, h);
      case PlaneCopyPath::kStreamAligned:
        return avx2::ForwardAlignedRows<true>(s, ss, d, ds, w, h);
      case PlaneCopyPath::kStreamUnaligned:
        return avx2::StreamUnalignedRows(s, ss, d, ds, w, h);
      default:
        return avx2::ForwardUnalignedRows(s, ss, d, ds, w, h);
    }
  } else
#endif
  {
    if (path == PlaneCopyPath::kBackwardAligned) {
      for (int y = h - 1; y >= 0; --y)
        std::memcpy(d + y * ds, s + y * ss, static_cast<size_t>(w));
      return;
    }
    for (int y = 0; y < h; ++y, s += ss, d += ds)
      std::memcpy(d, s, static_cast<size_t>(w));
  }
}

}  // namespace

const PlaneHooks* SetPlaneHooks(const PlaneHooks* hooks) {
  return g_hooks.exchange(hooks, std::memory_order_acq_rel);
}

// ---------------------------------------------------------------------------
// The kernels.

template <class Isa>
KelResult PlaneCopy8u(const uint8_t* src, int srcStep, uint8_t* dst,
                      int dstStep, KelImageSize size) {
  if (src == nullptr || dst == nullptr) return kelErrNullPtr;
  const int w = size.width, h = size.height;
  if (w < 1 || h < 1) return kelErrSize;
  const Policy policy;
  const PlaneCopyPath path =
      PlanPlaneCopy(policy, src, srcStep, dst, dstStep, w, h);
  policy.Record(path);
  if (path == PlaneCopyPath::kOneRun) {
    ByteCopyWith<Isa>(policy, src, dst, w * h);  // fits: checked by the plan
  } else {
    PlaneRows<Isa>(path, src, srcStep, dst, dstStep, w, h);
  }
  return kelOk;
}

template <class Isa>
KelResult PlaneCopy8uWide(const uint8_t* src, int64_t srcStep, uint8_t* dst,
                          int64_t dstStep, const int64_t size[2]) {
  if (src == nullptr || dst == nullptr || size == nullptr) return kelErrNullPtr;
  const int64_t length = size[0], rows = size[1];
  if (length < 1 || rows < 1) return kelErrSize;
  const Policy policy;
  KelResult result = kelOk;
  for (int64_t y = 0; y < rows; ++y, src += srcStep, dst += dstStep) {
    if (length > kWideRowPiece) {
      KelResult rowResult = kelOk;
      ForEachWideRowPiece(length, [&](int64_t offset, int32_t bytes) {
        const KelResult r =
            ByteCopyCheckedWith<Isa>(policy, src + offset, dst + offset, bytes);
        if (r < 0) rowResult = r;
      });
      result = rowResult;
    } else {
      result = ByteCopyCheckedWith<Isa>(policy, src, dst,
                                        static_cast<int32_t>(length));
    }
  }
  return result;
}

template <class Isa>
void* ByteCopy(const void* src, void* dst, int32_t n) {
  const Policy policy;
  ByteCopyWith<Isa>(policy, static_cast<const uint8_t*>(src),
                    static_cast<uint8_t*>(dst), n);
  return dst;
}

template <class Isa>
KelResult ByteCopyChecked(const void* src, void* dst, int32_t n) {
  const Policy policy;
  return ByteCopyCheckedWith<Isa>(policy, src, dst, n);
}

template <class Isa>
KelResult Word32Copy(const void* src, void* dst, int32_t count) {
  if (src == nullptr || dst == nullptr) return kelErrNullPtr;
  if (count < 1) return kelErrSize;
  const Policy policy;
  const auto* s = static_cast<const uint8_t*>(src);
  auto* d = static_cast<uint8_t*>(dst);
  ForEachWord32Piece(count, [&](int64_t first, int32_t bytes) {
    ByteCopyCheckedWith<Isa>(policy, s + first * 4, d + first * 4, bytes);
  });
  return kelOk;
}

template <class Isa>
void RowCopy(const uint8_t* src, uint8_t* dst, uint32_t n, bool streaming) {
  const Policy policy;
  const RowCopyPath path = PlanRowCopy(src, dst, n, streaming);
  policy.Record(path);
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>) {
    avx2::RowCopy16(src, dst, n, path);
  } else
#endif
  {
    std::memcpy(dst, src, n);
  }
}

template <class Isa>
KelResult PlaneFill8u(uint8_t value, uint8_t* dst, int dstStep,
                      KelImageSize size) {
  if (dst == nullptr) return kelErrNullPtr;
  const int w = size.width, h = size.height;
  if (w < 1 || h < 1) return kelErrSize;
  const Policy policy;
  size_t rowBytes = static_cast<size_t>(w);
  int rows = h;
  bool stream = false;
  if (BitLength(w) + BitLength(h) >= 32) {
    stream = true;  // the product may not fit: stream without a query
  } else {
    const int32_t total = w * h;
    if (w == dstStep) rowBytes = static_cast<size_t>(total), rows = 1;
    if (total > kPlaneFillQueryFloor) {
      int32_t cache = 0;
      stream = policy.CacheSize(&cache) && total >= cache;
    }
  }
  policy.RecordPlaneFill(stream ? FillPath::kStream : FillPath::kCached);
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>) {
    if (stream) {
      avx2::FillRows<true>(value, dst, dstStep, rowBytes, rows);
    } else {
      avx2::FillRows<false>(value, dst, dstStep, rowBytes, rows);
    }
  } else
#endif
  {
    for (int y = 0; y < rows; ++y, dst += dstStep)
      std::memset(dst, value, rowBytes);
  }
  return kelOk;
}

template <class Isa>
KelResult Word32Fill(uint32_t value, void* dst, int32_t count) {
  if (dst == nullptr) return kelErrNullPtr;
  if (count < 1) return kelErrSize;
  const Policy policy;
  // The byte count as the 32-bit product, wrapped when it does not fit.
  const int32_t bytes = static_cast<int32_t>(static_cast<uint32_t>(count) * 4u);
  bool stream = false;
  if (bytes > kWord32FillQueryFloor && Addr(dst) % 4 == 0) {
    int32_t cache = 0;
    stream = policy.CacheSize(&cache) && cache > 0 && bytes > cache;
  }
  policy.RecordWord32Fill(stream ? FillPath::kStream : FillPath::kCached);
  auto* d = static_cast<uint8_t*>(dst);
  const size_t n = static_cast<size_t>(count);
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>) {
    if (stream) {
      avx2::Word32FillStream(value, d, n);
    } else {
      avx2::Word32FillCached(value, d, n);
    }
  } else
#endif
  {
    for (size_t i = 0; i < n; ++i) std::memcpy(d + 4 * i, &value, 4);
  }
  return kelOk;
}

#define KEL_INSTANTIATE_(Isa)                                                \
  template KelResult PlaneCopy8u<Isa>(const uint8_t*, int, uint8_t*, int,    \
                                      KelImageSize);                         \
  template KelResult PlaneCopy8uWide<Isa>(const uint8_t*, int64_t, uint8_t*, \
                                          int64_t, const int64_t[2]);        \
  template void* ByteCopy<Isa>(const void*, void*, int32_t);                 \
  template KelResult ByteCopyChecked<Isa>(const void*, void*, int32_t);      \
  template KelResult Word32Copy<Isa>(const void*, void*, int32_t);           \
  template void RowCopy<Isa>(const uint8_t*, uint8_t*, uint32_t, bool);      \
  template KelResult PlaneFill8u<Isa>(uint8_t, uint8_t*, int, KelImageSize); \
  template KelResult Word32Fill<Isa>(uint32_t, void*, int32_t);
KEL_INSTANTIATE_(Portable)
KEL_INSTANTIATE_(Avx2)
#undef KEL_INSTANTIATE_

}  // namespace kel::frame
