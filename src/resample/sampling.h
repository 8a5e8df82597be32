// Chroma movers: conversions between the 4:2:2, 4:2:0 and 4:1:1 sampling
// formats, the YCbCr, YCrCb and CbYCr component orders, and the planar (P3),
// semi-planar (P2) and packed (C2) layouts.
//
// Nothing is computed. Luma is copied; each chroma sample of the result is
// one sample of the source, picked by the pair of sampling formats:
//
//   4:2:2 -> 4:2:0   result row i is source row 2i (odd rows dropped)
//   4:2:0 -> 4:2:2   source row i goes to result rows 2i and 2i+1
//   4:2:2 -> 4:1:1   result sample j is source sample 2j
//   4:1:1 -> 4:2:2   source sample j goes to result samples 2j and 2j+1
//   4:2:0 -> 4:1:1   sample 2k of row i goes to column k of row 2i, sample
//                    2k+1 to column k of row 2i+1; 4:1:1 -> 4:2:0 undoes it
//   same sampling    samples copied, only layout or order changes
//
// One template, Mover<From, To>, does every conversion; an export is one
// line naming its two formats. Every chroma row is moved by MoveChroma from
// a Reader (source layout + the rule above) to a Sink (destination layout).
// The portable path runs the per-sample Get/Put loop, which is the
// definition; the AVX2 path moves 32 result samples per step with the same
// readers and sinks and writes the same bytes.
//
// Region sizes below a whole chroma block are rejected (-6); larger ones are
// trimmed silently to whole blocks and the trimmed columns and rows are left
// untouched. Steps are not checked. Luma rows go through frame::RowCopy;
// a few members stream their luma (and packed results) above a fixed pixel
// count. Members that interleave fall back to the sample loop for a row whose
// destination bytes meet its source bytes, so such calls write the same
// bytes under both instruction sets. When every plane's step equals its row
// length and rows keep their places, the planes are moved as one long row.
#pragma once

#include "frame/isa.h"
#if KEL_X86_64
#include <immintrin.h>
#endif

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "frame/checks.h"
#include "frame/isa.h"
#include "frame/plane.h"
#include "kelcc.h"
#include "resample/sampling_layout.h"

namespace kel::resample {

enum class Sampling { k422, k420, k411 };
enum class Layout { kP3, kP2, kC2 };

// A YCbCr format as an export name spells it.
struct Format {
  Sampling sampling;
  Layout layout;
  Packing packing = Packing::kLumaFirst;  // C2 only
  bool crFirst = false;  // P3: plane 1 is Cr; C2: C0 is Cr. P2 is always CbCr.
};

inline constexpr Format kYCbCr422P3{Sampling::k422, Layout::kP3};
inline constexpr Format kYCrCb422P3{Sampling::k422, Layout::kP3,
                                    Packing::kLumaFirst, true};
inline constexpr Format kYCbCr422C2{Sampling::k422, Layout::kC2};
inline constexpr Format kYCrCb422C2{Sampling::k422, Layout::kC2,
                                    Packing::kLumaFirst, true};
inline constexpr Format kCbYCr422C2{Sampling::k422, Layout::kC2,
                                    Packing::kChromaFirst};
inline constexpr Format kYCbCr420P3{Sampling::k420, Layout::kP3};
inline constexpr Format kYCrCb420P3{Sampling::k420, Layout::kP3,
                                    Packing::kLumaFirst, true};
inline constexpr Format kYCbCr420P2{Sampling::k420, Layout::kP2};
inline constexpr Format kYCbCr411P3{Sampling::k411, Layout::kP3};
inline constexpr Format kYCbCr411P2{Sampling::k411, Layout::kP2};

// Which source samples make a result chroma row.
enum class Rule {
  kCopy,  // sample j
  kEven,  // sample 2j
  kOdd,   // sample 2j + 1
  kDup,   // sample j / 2
  kZip,   // sample j / 2 of row a (j even) or of row b (j odd)
};

// The first sample index j in [0, 32) at which p + bytesPerSample * j is
// 32-byte aligned, or -1 when there is none.
inline int AlignedFrom(const void* p, int bytesPerSample) {
  const int mis = static_cast<int>(reinterpret_cast<uintptr_t>(p) % 32);
  const int need = (32 - mis) % 32;
  return need % bytesPerSample == 0 ? need / bytesPerSample : -1;
}

// A half-open byte range, for the overlap test of interleaving sinks.
struct Span {
  const uint8_t* lo;
  const uint8_t* hi;
  bool Meets(Span o) const { return lo < o.hi && o.lo < hi; }
};
inline Span SpanOf(const uint8_t* p, ptrdiff_t n) { return {p, p + n}; }

// ---------------------------------------------------------------------------
// Source chroma rows. At(k) gives sample k; Load32/Load16 give samples
// k .. k+31 / k .. k+15; Meets(s, m) tells whether samples 0 .. m-1 lie in
// bytes of s.

struct PlanarRow {
  const uint8_t* cb;
  const uint8_t* cr;

  void At(int k, uint8_t& b, uint8_t& r) const {
    b = cb[k];
    r = cr[k];
  }
  bool Meets(Span s, int m) const {
    return SpanOf(cb, m).Meets(s) || SpanOf(cr, m).Meets(s);
  }
#if KEL_X86_64
  KEL_AVX2_INLINE void Load32(int k, __m256i& b, __m256i& r) const {
    b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(cb + k));
    r = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(cr + k));
  }
  KEL_AVX2_INLINE void Load16(int k, __m128i& b, __m128i& r) const {
    b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cb + k));
    r = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cr + k));
  }
  KEL_AVX2_INLINE void Load8(int k, __m128i& b, __m128i& r) const {
    b = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(cb + k));
    r = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(cr + k));
  }
#endif  // KEL_X86_64
};

struct PairRow {
  const uint8_t* p;  // Cb Cr Cb Cr ...

  void At(int k, uint8_t& b, uint8_t& r) const {
    b = p[2 * k];
    r = p[2 * k + 1];
  }
  bool Meets(Span s, int m) const { return SpanOf(p, 2 * m).Meets(s); }
#if KEL_X86_64
  KEL_AVX2_INLINE void Load32(int k, __m256i& b, __m256i& r) const {
    const uint8_t* q = p + 2 * k;
    vec::Unzip8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(q)),
                _mm256_loadu_si256(reinterpret_cast<const __m256i*>(q + 32)), b,
                r);
  }
  KEL_AVX2_INLINE void Load16(int k, __m128i& b, __m128i& r) const {
    vec::Unzip8Half(
        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 2 * k)), b, r);
  }
  KEL_AVX2_INLINE void Load8(int k, __m128i& b, __m128i& r) const {
    const __m128i v = _mm_shuffle_epi8(
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 2 * k)),
        _mm_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15));
    b = v;
    r = _mm_unpackhi_epi64(v, v);
  }
#endif  // KEL_X86_64
};

// With kSplitLuma the row also hands its luma to `y` as it goes, so that a
// packed row is read once for both.
template <Packing P, bool kCrFirst, bool kSplitLuma = false>
struct PackedRow {
  const uint8_t* p;  // 4 bytes per chroma sample
  uint8_t* y = nullptr;

  void At(int k, uint8_t& b, uint8_t& r) const {
    const uint8_t c0 = p[4 * k + ChromaOffset(P)];
    const uint8_t c1 = p[4 * k + ChromaOffset(P) + 2];
    if constexpr (kSplitLuma) {
      y[2 * k] = p[4 * k + LumaOffset(P)];
      y[2 * k + 1] = p[4 * k + LumaOffset(P) + 2];
    }
    b = kCrFirst ? c1 : c0;
    r = kCrFirst ? c0 : c1;
  }
  bool Meets(Span s, int m) const { return SpanOf(p, 4 * m).Meets(s); }
#if KEL_X86_64
  KEL_AVX2_INLINE void Load32(int k, __m256i& b, __m256i& r) const {
    const auto* q = reinterpret_cast<const __m256i*>(p + 4 * k);
    const __m256i v[4] = {_mm256_loadu_si256(q), _mm256_loadu_si256(q + 1),
                          _mm256_loadu_si256(q + 2), _mm256_loadu_si256(q + 3)};
    __m256i y0, y1, c0, c1;
    vec::UnpackC2<P>(v, y0, y1, c0, c1);
    if constexpr (kSplitLuma) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(y + 2 * k), y0);
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(y + 2 * k + 32), y1);
    }
    b = kCrFirst ? c1 : c0;
    r = kCrFirst ? c0 : c1;
  }
  KEL_AVX2_INLINE void Load16(int k, __m128i& b, __m128i& r) const {
    const auto* q = reinterpret_cast<const __m256i*>(p + 4 * k);
    const __m256i v0 = _mm256_loadu_si256(q), v1 = _mm256_loadu_si256(q + 1);
    if constexpr (kSplitLuma) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(y + 2 * k),
                          vec::LumaOfC2<P>(v0, v1));
    }
    __m128i c0, c1;
    vec::Unzip8Half(
        _mm256_permute4x64_epi64(
            vec::PackHalves<P == Packing::kLumaFirst>(v0, v1), 0xD8),
        c0, c1);
    b = kCrFirst ? c1 : c0;
    r = kCrFirst ? c0 : c1;
  }
#endif  // KEL_X86_64
};

struct NoRow {};

// A source chroma row (two for kZip) read by one rule. Readers of one row
// are two pointers wide, so they travel in registers.
template <Rule kRule, class Row>
struct Reader {
  static constexpr bool kZip = kRule == Rule::kZip;
  Row a;
  [[no_unique_address]] std::conditional_t<kZip, Row, NoRow> b{};  // odd j

  // Whether Fetch may start at an odd result sample.
  static constexpr bool kAnyStart = kRule != Rule::kDup && !kZip;

  void Get(int j, uint8_t& cb, uint8_t& cr) const {
    if constexpr (kRule == Rule::kCopy) {
      a.At(j, cb, cr);
    } else if constexpr (kRule == Rule::kEven) {
      a.At(2 * j, cb, cr);
    } else if constexpr (kRule == Rule::kOdd) {
      a.At(2 * j + 1, cb, cr);
    } else if constexpr (kRule == Rule::kDup) {
      a.At(j / 2, cb, cr);
    } else {
      (j % 2 == 0 ? a : b).At(j / 2, cb, cr);
    }
  }

  // Whether reading for n result samples touches `s`.
  bool Meets(Span s, int n) const {
    if constexpr (kRule == Rule::kCopy) {
      return a.Meets(s, n);
    } else if constexpr (kRule == Rule::kEven || kRule == Rule::kOdd) {
      return a.Meets(s, 2 * n);
    } else if constexpr (kRule == Rule::kDup) {
      return a.Meets(s, (n + 1) / 2);
    } else {
      return a.Meets(s, (n + 1) / 2) || b.Meets(s, (n + 1) / 2);
    }
  }

  // Result samples j .. j+31; j is even for kDup and kZip.
#if KEL_X86_64
  KEL_AVX2_INLINE void Fetch(int j, __m256i& cb, __m256i& cr) const {
    if constexpr (kRule == Rule::kCopy) {
      a.Load32(j, cb, cr);
    } else if constexpr (kRule == Rule::kEven || kRule == Rule::kOdd) {
      __m256i b0, r0, b1, r1, even, odd;
      a.Load32(2 * j, b0, r0);
      a.Load32(2 * j + 32, b1, r1);
      vec::Unzip8(b0, b1, even, odd);
      cb = kRule == Rule::kEven ? even : odd;
      vec::Unzip8(r0, r1, even, odd);
      cr = kRule == Rule::kEven ? even : odd;
    } else if constexpr (kRule == Rule::kDup) {
      __m128i b0, r0;
      a.Load16(j / 2, b0, r0);
      cb = vec::Double8(b0);
      cr = vec::Double8(r0);
    } else {
      __m128i b0, r0, b1, r1;
      a.Load16(j / 2, b0, r0);
      b.Load16(j / 2, b1, r1);
      cb = vec::Zip8Half(b0, b1);
      cr = vec::Zip8Half(r0, r1);
    }
  }

  // Result samples j .. j+15, for rows shorter than one full step.
  KEL_AVX2_INLINE void Fetch16(int j, __m128i& cb, __m128i& cr) const {
    if constexpr (kRule == Rule::kCopy) {
      a.Load16(j, cb, cr);
    } else if constexpr (kRule == Rule::kEven || kRule == Rule::kOdd) {
      __m256i b0, r0;
      __m128i even, odd;
      a.Load32(2 * j, b0, r0);
      vec::Unzip8Half(b0, even, odd);
      cb = kRule == Rule::kEven ? even : odd;
      vec::Unzip8Half(r0, even, odd);
      cr = kRule == Rule::kEven ? even : odd;
    } else if constexpr (kRule == Rule::kDup) {
      __m128i b0, r0;
      a.Load8(j / 2, b0, r0);
      cb = _mm_unpacklo_epi8(b0, b0);
      cr = _mm_unpacklo_epi8(r0, r0);
    } else {
      __m128i b0, r0, b1, r1;
      a.Load8(j / 2, b0, r0);
      b.Load8(j / 2, b1, r1);
      cb = _mm_unpacklo_epi8(b0, b1);
      cr = _mm_unpacklo_epi8(r0, r1);
    }
  }
#endif  // KEL_X86_64
};

// ---------------------------------------------------------------------------
// Destination chroma rows. Put(j) writes result sample j; Store32 writes
// samples j .. j+31. Interleaving sinks report the bytes they write, and
// the luma they read, for the overlap test.

struct PlanarSink {
  uint8_t* cb;
  uint8_t* cr;
  static constexpr bool kInterleaves = false;

  void Put(int j, uint8_t b, uint8_t r) const {
    cb[j] = b;
    cr[j] = r;
  }
  template <class R>
  bool Overlaps(const R&, int) const {
    return false;
  }
#if KEL_X86_64
  KEL_AVX2_INLINE void Store32(int j, __m256i b, __m256i r, bool) const {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(cb + j), b);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(cr + j), r);
  }
  KEL_AVX2_INLINE void Store16(int j, __m128i b, __m128i r) const {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(cb + j), b);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(cr + j), r);
  }
#endif  // KEL_X86_64
  int AlignedFrom() const { return resample::AlignedFrom(cb, 1); }
};

struct PairSink {
  uint8_t* p;
  static constexpr bool kInterleaves = true;

  void Put(int j, uint8_t b, uint8_t r) const {
    p[2 * j] = b;
    p[2 * j + 1] = r;
  }
  template <class R>
  bool Overlaps(const R& reader, int n) const {
    return reader.Meets(SpanOf(p, 2 * n), n);
  }
#if KEL_X86_64
  KEL_AVX2_INLINE void Store32(int j, __m256i b, __m256i r, bool) const {
    __m256i lo, hi;
    vec::Zip8(b, r, lo, hi);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p + 2 * j), lo);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p + 2 * j + 32), hi);
  }
  KEL_AVX2_INLINE void Store16(int j, __m128i b, __m128i r) const {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p + 2 * j),
                        vec::Zip8Half(b, r));
  }
#endif  // KEL_X86_64
  int AlignedFrom() const { return resample::AlignedFrom(p, 2); }
};

// Packed 4:2:2 destination: each chroma sample j joins luma 2j and 2j+1.
template <Packing P, bool kCrFirst>
struct PackedSink {
  const uint8_t* y;
  uint8_t* d;
  static constexpr bool kInterleaves = true;

  void Put(int j, uint8_t b, uint8_t r) const {
    const uint8_t y0 = y[2 * j], y1 = y[2 * j + 1];
    uint8_t* g = d + 4 * j;
    g[LumaOffset(P)] = y0;
    g[ChromaOffset(P)] = kCrFirst ? r : b;
    g[LumaOffset(P) + 2] = y1;
    g[ChromaOffset(P) + 2] = kCrFirst ? b : r;
  }
  template <class R>
  bool Overlaps(const R& reader, int n) const {
    const Span out = SpanOf(d, 4 * n);
    return out.Meets(SpanOf(y, 2 * n)) || reader.Meets(out, n);
  }
  // With `stream`, the four stores bypass the caches (d + 4j must then be
  // 32-byte aligned).
#if KEL_X86_64
  KEL_AVX2_INLINE void Store32(int j, __m256i b, __m256i r, bool stream) const {
    const auto* ly = reinterpret_cast<const __m256i*>(y + 2 * j);
    __m256i v[4];
    vec::PackC2<P>(_mm256_loadu_si256(ly), _mm256_loadu_si256(ly + 1),
                   kCrFirst ? r : b, kCrFirst ? b : r, v);
    auto* q = reinterpret_cast<__m256i*>(d + 4 * j);
    for (int i = 0; i < 4; ++i) {
      if (stream)
        _mm256_stream_si256(q + i, v[i]);
      else
        _mm256_storeu_si256(q + i, v[i]);
    }
  }
  KEL_AVX2_INLINE void Store16(int j, __m128i b, __m128i r) const {
    const __m256i uv = vec::Zip8Half(kCrFirst ? r : b, kCrFirst ? b : r);
    const __m256i l = _mm256_permute4x64_epi64(
        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(y + 2 * j)), 0xD8);
    const __m256i c = _mm256_permute4x64_epi64(uv, 0xD8);
    auto* q = reinterpret_cast<__m256i*>(d + 4 * j);
    if constexpr (P == Packing::kLumaFirst) {
      _mm256_storeu_si256(q, _mm256_unpacklo_epi8(l, c));
      _mm256_storeu_si256(q + 1, _mm256_unpackhi_epi8(l, c));
    } else {
      _mm256_storeu_si256(q, _mm256_unpacklo_epi8(c, l));
      _mm256_storeu_si256(q + 1, _mm256_unpackhi_epi8(c, l));
    }
  }
#endif  // KEL_X86_64
  int AlignedFrom() const { return resample::AlignedFrom(d, 4); }
};

// ---------------------------------------------------------------------------
// Row kernels.

template <class Reader, class Sink>
void MoveChromaScalar(const Reader& r, const Sink& s, int j, int n) {
  for (; j < n; ++j) {
    uint8_t cb, cr;
    r.Get(j, cb, cr);
    s.Put(j, cb, cr);
  }
}

// 32 result samples per step. Rows of 16 to 31 samples take two overlapping
// steps of 16, shorter ones go sample by sample. Otherwise the first step
// stores unaligned, the following ones start where the destination is 32-byte
// aligned (overlapping the first), and a row that does not end on a step
// boundary ends with one step that overlaps the previous one. Streaming stores
// need the aligned steps.
#if KEL_X86_64
template <class Reader, class Sink>
KEL_AVX2 void MoveChromaAvx2(const Reader r, const Sink s, int n, bool stream) {
  if (n < 32) {
    if (n < 16) return MoveChromaScalar(r, s, 0, n);
    __m128i cb, cr;  // two steps of 16, overlapping
    r.Fetch16(0, cb, cr);
    s.Store16(0, cb, cr);
    r.Fetch16(n - 16, cb, cr);
    s.Store16(n - 16, cb, cr);
    return;
  }
  int j = s.AlignedFrom();
  // Aligned steps need whole source vectors and room for one step.
  if ((j % 2 != 0 && !Reader::kAnyStart) || j + 32 > n) j = -1;
  stream = stream && j >= 0;
  __m256i cb, cr;
  if (j != 0) {
    r.Fetch(0, cb, cr);
    s.Store32(0, cb, cr, false);
    j = j < 0 ? 32 : j;
  }
  for (; j + 32 <= n; j += 32) {
    r.Fetch(j, cb, cr);
    s.Store32(j, cb, cr, stream);
  }
  if (j < n) {
    r.Fetch(n - 32, cb, cr);
    s.Store32(n - 32, cb, cr, false);
  }
  if (stream) _mm_sfence();
}
#endif  // KEL_X86_64

// Moves n result chroma samples of one row. Interleaving sinks whose bytes
// meet the bytes they read take the sample loop, which defines what such a
// call writes.
// How the rows of one call are written: with streaming stores or not, and
// whether any destination plane may meet a source plane at all (when none
// can, rows skip their own overlap test).
struct RowMode {
  bool stream;
  bool mayOverlap;
};

template <class Isa, class Reader, class Sink>
void MoveChroma(const Reader& r, const Sink& s, int n,
                [[maybe_unused]] RowMode mode) {
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>) {
    if (!(Sink::kInterleaves && mode.mayOverlap && s.Overlaps(r, n)))
      return MoveChromaAvx2(r, s, n, mode.stream);
  }
#endif
  MoveChromaScalar(r, s, 0, n);
}

// Luma of a packed row: w pixels to w bytes.
template <Packing P>
void UnpackLumaScalar(const uint8_t* src, uint8_t* dst, int x, int w) {
  for (; x < w; ++x) dst[x] = src[2 * x + LumaOffset(P)];
}

#if KEL_X86_64
template <Packing P>
KEL_AVX2_INLINE void UnpackLuma32(const uint8_t* src, uint8_t* dst) {
  const auto* q = reinterpret_cast<const __m256i*>(src);
  _mm256_storeu_si256(
      reinterpret_cast<__m256i*>(dst),
      vec::LumaOfC2<P>(_mm256_loadu_si256(q), _mm256_loadu_si256(q + 1)));
}

// Stepped as MoveChromaAvx2: an unaligned first step, aligned steps, an
// overlapping last step.
template <Packing P>
KEL_AVX2 void UnpackLumaAvx2(const uint8_t* src, uint8_t* dst, int w) {
  if (w < 32) return UnpackLumaScalar<P>(src, dst, 0, w);
  int x = AlignedFrom(dst, 1);
  if (x != 0) UnpackLuma32<P>(src, dst);
  for (; x + 32 <= w; x += 32) UnpackLuma32<P>(src + 2 * x, dst + x);
  if (x < w) UnpackLuma32<P>(src + 2 * (w - 32), dst + w - 32);
}
#endif  // KEL_X86_64

template <class Isa, Packing P>
void UnpackLuma(const uint8_t* src, uint8_t* dst, int w) {
#if KEL_X86_64
  if constexpr (kIsAvx2<Isa>) return UnpackLumaAvx2<P>(src, dst, w);
#endif
  UnpackLumaScalar<P>(src, dst, 0, w);
}

// Packed to packed: the 4 bytes of each group rearranged; destination byte
// i of a group is source byte From(i).
template <Format F, Format T>
struct Regroup {
  static constexpr int Y(Format f, int i) {
    return LumaOffset(f.packing) + 2 * i;
  }
  static constexpr int Cb(Format f) {
    return ChromaOffset(f.packing) + (f.crFirst ? 2 : 0);
  }
  static constexpr int Cr(Format f) {
    return ChromaOffset(f.packing) + (f.crFirst ? 0 : 2);
  }
  static constexpr int From(int i) {
    return i == Y(T, 0)   ? Y(F, 0)
           : i == Y(T, 1) ? Y(F, 1)
           : i == Cb(T)   ? Cb(F)
                          : Cr(F);
  }

  // Groups g .. n-1. Each group is read whole before it is written, so a
  // call with the same source and destination works in place.
  static void Scalar(const uint8_t* src, uint8_t* dst, int g, int n) {
    for (; g < n; ++g) {
      const uint8_t s[4] = {src[4 * g], src[4 * g + 1], src[4 * g + 2],
                            src[4 * g + 3]};
      for (int i = 0; i < 4; ++i) dst[4 * g + i] = s[From(i)];
    }
  }

#if KEL_X86_64
  static KEL_AVX2 void Avx2(const uint8_t* src, uint8_t* dst, int n,
                            bool stream) {
    const __m256i order = _mm256_setr_epi8(
        From(0), From(1), From(2), From(3), 4 + From(0), 4 + From(1),
        4 + From(2), 4 + From(3), 8 + From(0), 8 + From(1), 8 + From(2),
        8 + From(3), 12 + From(0), 12 + From(1), 12 + From(2), 12 + From(3),
        From(0), From(1), From(2), From(3), 4 + From(0), 4 + From(1),
        4 + From(2), 4 + From(3), 8 + From(0), 8 + From(1), 8 + From(2),
        8 + From(3), 12 + From(0), 12 + From(1), 12 + From(2), 12 + From(3));
    // Groups before the first aligned one go one by one.
    int g = AlignedFrom(dst, 4);
    if (g < 0 || n < 8) {
      g = 0;
      stream = false;
    }
    Scalar(src, dst, 0, g);
    for (; g + 8 <= n; g += 8) {
      const __m256i v = _mm256_shuffle_epi8(
          _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 4 * g)),
          order);
      auto* q = reinterpret_cast<__m256i*>(dst + 4 * g);
      if (stream)
        _mm256_stream_si256(q, v);
      else
        _mm256_storeu_si256(q, v);
    }
    if (stream) _mm_sfence();
    Scalar(src, dst, g, n);
  }
#endif  // KEL_X86_64

  // n groups. Rows that overlap without being the same row go group by
  // group, as the portable path does.
  template <class Isa>
  static void Row(const uint8_t* src, uint8_t* dst, int n,
                  [[maybe_unused]] bool stream) {
#if KEL_X86_64
    if constexpr (kIsAvx2<Isa>) {
      if (src == dst || !SpanOf(src, 4 * n).Meets(SpanOf(dst, 4 * n)))
        return Avx2(src, dst, n, stream);
    }
#endif
    Scalar(src, dst, 0, n);
  }
};

// ---------------------------------------------------------------------------
// Images and the conversion.

// The planes of one image: Y, then chroma (P3: planes 1 and 2 in name
// order; P2: the CbCr plane), or the single packed plane.
template <class T>
struct Planes {
  T* p[3];
  int step[3];

  T* Row(int plane, int y) const {
    return p[plane] + static_cast<ptrdiff_t>(y) * step[plane];
  }
};

// Chroma row y of the source; a packed row with kSplitLuma also writes its
// luma to `lumaOut`.
template <Format F, bool kSplitLuma = false>
auto SourceRow(const Planes<const uint8_t>& src, int y,
               uint8_t* lumaOut = nullptr) {
  if constexpr (F.layout == Layout::kP3) {
    const uint8_t* c1 = src.Row(1, y);
    const uint8_t* c2 = src.Row(2, y);
    return F.crFirst ? PlanarRow{c2, c1} : PlanarRow{c1, c2};
  } else if constexpr (F.layout == Layout::kP2) {
    return PairRow{src.Row(1, y)};
  } else {
    return PackedRow<F.packing, F.crFirst, kSplitLuma>{src.Row(0, y), lumaOut};
  }
}

template <Format T>
auto SinkRow(const Planes<const uint8_t>& src, const Planes<uint8_t>& dst,
             int y) {
  if constexpr (T.layout == Layout::kP3) {
    uint8_t* c1 = dst.Row(1, y);
    uint8_t* c2 = dst.Row(2, y);
    return T.crFirst ? PlanarSink{c2, c1} : PlanarSink{c1, c2};
  } else if constexpr (T.layout == Layout::kP2) {
    return PairSink{dst.Row(1, y)};
  } else {
    // Packed results are 4:2:2: chroma row y joins source luma row y.
    return PackedSink<T.packing, T.crFirst>{src.Row(0, y), dst.Row(0, y)};
  }
}

constexpr bool Has(Format f, Format t, Sampling s) {
  return f.sampling == s || t.sampling == s;
}

constexpr int PlaneCount(Format f) {
  return f.layout == Layout::kP3 ? 3 : f.layout == Layout::kP2 ? 2 : 1;
}

// Bytes in a row of each plane of a format, for w trimmed luma columns.
constexpr int64_t RowBytes(Format f, int plane, int w) {
  const int64_t cw = f.sampling == Sampling::k411 ? w / 4 : w / 2;
  if (f.layout == Layout::kC2) return 2 * int64_t{w};
  if (plane == 0) return w;
  return f.layout == Layout::kP2 ? 2 * cw : cw;
}

template <class T>
bool Contiguous(Format f, const Planes<T>& im, int w) {
  for (int i = 0; i < PlaneCount(f); ++i)
    if (im.step[i] != RowBytes(f, i, w)) return false;
  return true;
}

// The bytes plane i of an image spans over its rows (any step sign).
template <class T>
Span PlaneSpan(Format f, const Planes<T>& im, int i, int w, int h) {
  const int rows = i > 0 && f.sampling == Sampling::k420 ? h / 2 : h;
  const ptrdiff_t last = static_cast<ptrdiff_t>(rows - 1) * im.step[i];
  const uint8_t* p = im.p[i];
  return {last < 0 ? p + last : p,
          (last < 0 ? p : p + last) + RowBytes(f, i, w)};
}

// `kStreamAbove` > 0: when w x h of the region as passed (before trimming)
// exceeds it, luma rows (and packed results) are written with streaming
// stores.
template <Format F, Format T, int64_t kStreamAbove = 0>
struct Mover {
  static_assert(F.layout != Layout::kC2 || F.sampling == Sampling::k422);
  static_assert(T.layout != Layout::kC2 || T.sampling == Sampling::k422);

  static constexpr Sampling kFrom = F.sampling, kTo = T.sampling;
  static constexpr bool k411 = Has(F, T, Sampling::k411);
  static constexpr bool k420 = Has(F, T, Sampling::k420);
  static constexpr int kMinWidth = k411 ? 4 : 2;
  static constexpr int kMinHeight = k420 ? 2 : 1;
  // Packed rows whose chroma is copied give their luma on the same pass.
  static constexpr bool kSplitLuma =
      F.layout == Layout::kC2 && T.layout != Layout::kC2 &&
      (kTo == Sampling::k422 || kTo == Sampling::k420);
  // Result chroma row i comes from source row i (or, between 4:2:0 forms,
  // all rows keep their places): planes without gaps between rows can be
  // moved as one long row.
  static constexpr bool kRowsKeepPlaces = kFrom == kTo || !k420;

  template <class Isa>
  static KelResult Convert(const Planes<const uint8_t>& src,
                           const Planes<uint8_t>& dst, KelImageSize roi) {
    const int w = roi.width & ~(kMinWidth - 1);
    const int h = roi.height & ~(kMinHeight - 1);
    RowMode mode{
        kStreamAbove > 0 &&
            static_cast<int64_t>(roi.width) * roi.height > kStreamAbove,
        false};
    for (int i = 0; i < PlaneCount(T); ++i)
      for (int k = 0; k < PlaneCount(F); ++k)
        mode.mayOverlap |=
            PlaneSpan(T, dst, i, w, h).Meets(PlaneSpan(F, src, k, w, h));
    const int n = kTo == Sampling::k411 ? w / 4 : w / 2;

    if constexpr (kRowsKeepPlaces) {
      if (static_cast<int64_t>(w) * h <= (int64_t{1} << 28) &&
          Contiguous(F, src, w) && Contiguous(T, dst, w)) {
        const int chromaRows = k420 ? h / 2 : h;
        Unit<Isa>(src, dst, 0, 1, w * h, n * chromaRows, mode);
        return kelOk;
      }
    }
    for (int y = 0; y < h; y += kMinHeight)
      Unit<Isa>(src, dst, y, kMinHeight, w, n, mode);
    return kelOk;
  }

  // Luma rows y .. y+rows-1, of w pixels, and the result chroma rows that
  // go with them, of n samples.
  template <class Isa>
  static void Unit(const Planes<const uint8_t>& src, const Planes<uint8_t>& dst,
                   int y, int rows, int w, int n, RowMode mode) {
    if constexpr (F.layout == Layout::kC2 && T.layout == Layout::kC2) {
      Regroup<F, T>::template Row<Isa>(src.Row(0, y), dst.Row(0, y), w / 2,
                                       mode.stream);
    } else {
      // A packed source row that gives its luma on the chroma pass goes
      // first, so that the source is read front to back.
      if constexpr (kSplitLuma) ChromaUnit<Isa>(src, dst, y, n, mode);
      if constexpr (T.layout != Layout::kC2) {
        for (int i = y; i < y + rows; ++i) {
          if constexpr (F.layout == Layout::kC2) {
            if (!(kSplitLuma && i == y))
              UnpackLuma<Isa, F.packing>(src.Row(0, i), dst.Row(0, i), w);
          } else {
            frame::RowCopy<Isa>(src.Row(0, i), dst.Row(0, i),
                                static_cast<uint32_t>(w), mode.stream);
          }
        }
      }
      if constexpr (!kSplitLuma) ChromaUnit<Isa>(src, dst, y, n, mode);
    }
  }

  // The result chroma rows of the unit of luma rows starting at y.
  template <class Isa>
  static void ChromaUnit(const Planes<const uint8_t>& src,
                         const Planes<uint8_t>& dst, int y, int n,
                         RowMode mode) {
    auto move = [&](auto reader, int outRow) {
      MoveChroma<Isa>(reader, SinkRow<T>(src, dst, outRow), n, mode);
    };
    using Row = decltype(SourceRow<F>(src, 0));
    if constexpr (kFrom == Sampling::k422 && kTo == Sampling::k420) {
      using Split = decltype(SourceRow<F, kSplitLuma>(src, 0));
      move(Reader<Rule::kCopy, Split>{SourceRow<F, kSplitLuma>(src, y,
                                                               dst.Row(0, y))},
           y / 2);
    } else if constexpr (kFrom == Sampling::k420 && kTo == Sampling::k422) {
      const Reader<Rule::kCopy, Row> r{SourceRow<F>(src, y / 2)};
      move(r, y);
      move(r, y + 1);
    } else if constexpr (kFrom == Sampling::k422 && kTo == Sampling::k411) {
      move(Reader<Rule::kEven, Row>{SourceRow<F>(src, y)}, y);
    } else if constexpr (kFrom == Sampling::k411 && kTo == Sampling::k422) {
      move(Reader<Rule::kDup, Row>{SourceRow<F>(src, y)}, y);
    } else if constexpr (kFrom == Sampling::k420 && kTo == Sampling::k411) {
      const Row row = SourceRow<F>(src, y / 2);
      move(Reader<Rule::kEven, Row>{row}, y);
      move(Reader<Rule::kOdd, Row>{row}, y + 1);
    } else if constexpr (kFrom == Sampling::k411 && kTo == Sampling::k420) {
      move(Reader<Rule::kZip, Row>{SourceRow<F>(src, y),
                                   SourceRow<F>(src, y + 1)},
           y / 2);
    } else {
      static_assert(kFrom == kTo);
      const int row = k420 ? y / 2 : y;
      using Split = decltype(SourceRow<F, kSplitLuma>(src, 0));
      uint8_t* luma = kSplitLuma ? dst.Row(0, y) : nullptr;
      move(Reader<Rule::kCopy, Split>{SourceRow<F, kSplitLuma>(src, row, luma)},
           row);
    }
  }

  // The exported signatures, one per pair of layouts. Every pointer,
  // the step arrays and the plane pointers included, is checked before the
  // region size.
  template <class Isa>
  static KelResult Run(const Kel8u* const pSrc[3], const int srcStep[3],
                       Kel8u* const pDst[3], const int dstStep[3],
                       KelImageSize roi) requires(F.layout == Layout::kP3 &&
                                                  T.layout == Layout::kP3) {
    ArgCheck c;
    c.NotNull(pSrc, srcStep, pDst, dstStep)
        .Planes(pSrc, 3)
        .Planes(pDst, 3)
        .MinSize(roi, kMinWidth, kMinHeight);
    if (c.Failed()) return c.Result();
    return Convert<Isa>(
        {{pSrc[0], pSrc[1], pSrc[2]}, {srcStep[0], srcStep[1], srcStep[2]}},
        {{pDst[0], pDst[1], pDst[2]}, {dstStep[0], dstStep[1], dstStep[2]}},
        roi);
  }

  template <class Isa>
  static KelResult Run(const Kel8u* const pSrc[3], const int srcStep[3],
                       Kel8u* pDstY, int dstYStep, Kel8u* pDstCbCr,
                       int dstCbCrStep,
                       KelImageSize roi) requires(F.layout == Layout::kP3 &&
                                                  T.layout == Layout::kP2) {
    ArgCheck c;
    c.NotNull(pSrc, srcStep, pDstY, pDstCbCr)
        .Planes(pSrc, 3)
        .MinSize(roi, kMinWidth, kMinHeight);
    if (c.Failed()) return c.Result();
    return Convert<Isa>(
        {{pSrc[0], pSrc[1], pSrc[2]}, {srcStep[0], srcStep[1], srcStep[2]}},
        {{pDstY, pDstCbCr, nullptr}, {dstYStep, dstCbCrStep, 0}}, roi);
  }

  template <class Isa>
  static KelResult Run(const Kel8u* const pSrc[3], const int srcStep[3],
                       Kel8u* pDst, int dstStep,
                       KelImageSize roi) requires(F.layout == Layout::kP3 &&
                                                  T.layout == Layout::kC2) {
    ArgCheck c;
    c.NotNull(pSrc, srcStep, pDst)
        .Planes(pSrc, 3)
        .MinSize(roi, kMinWidth, kMinHeight);
    if (c.Failed()) return c.Result();
    return Convert<Isa>(
        {{pSrc[0], pSrc[1], pSrc[2]}, {srcStep[0], srcStep[1], srcStep[2]}},
        {{pDst, nullptr, nullptr}, {dstStep, 0, 0}}, roi);
  }

  template <class Isa>
  static KelResult Run(const Kel8u* pSrcY, int srcYStep, const Kel8u* pSrcCbCr,
                       int srcCbCrStep, Kel8u* const pDst[3],
                       const int dstStep[3],
                       KelImageSize roi) requires(F.layout == Layout::kP2 &&
                                                  T.layout == Layout::kP3) {
    ArgCheck c;
    c.NotNull(pSrcY, pSrcCbCr, pDst, dstStep)
        .Planes(pDst, 3)
        .MinSize(roi, kMinWidth, kMinHeight);
    if (c.Failed()) return c.Result();
    return Convert<Isa>(
        {{pSrcY, pSrcCbCr, nullptr}, {srcYStep, srcCbCrStep, 0}},
        {{pDst[0], pDst[1], pDst[2]}, {dstStep[0], dstStep[1], dstStep[2]}},
        roi);
  }

  template <class Isa>
  static KelResult Run(const Kel8u* pSrcY, int srcYStep, const Kel8u* pSrcCbCr,
                       int srcCbCrStep, Kel8u* pDst, int dstStep,
                       KelImageSize roi) requires(F.layout == Layout::kP2 &&
                                                  T.layout == Layout::kC2) {
    ArgCheck c;
    c.NotNull(pSrcY, pSrcCbCr, pDst).MinSize(roi, kMinWidth, kMinHeight);
    if (c.Failed()) return c.Result();
    return Convert<Isa>(
        {{pSrcY, pSrcCbCr, nullptr}, {srcYStep, srcCbCrStep, 0}},
        {{pDst, nullptr, nullptr}, {dstStep, 0, 0}}, roi);
  }

  template <class Isa>
  static KelResult Run(const Kel8u* pSrc, int srcStep, Kel8u* const pDst[3],
                       const int dstStep[3],
                       KelImageSize roi) requires(F.layout == Layout::kC2 &&
                                                  T.layout == Layout::kP3) {
    ArgCheck c;
    c.NotNull(pSrc, pDst, dstStep)
        .Planes(pDst, 3)
        .MinSize(roi, kMinWidth, kMinHeight);
    if (c.Failed()) return c.Result();
    return Convert<Isa>(
        {{pSrc, nullptr, nullptr}, {srcStep, 0, 0}},
        {{pDst[0], pDst[1], pDst[2]}, {dstStep[0], dstStep[1], dstStep[2]}},
        roi);
  }

  template <class Isa>
  static KelResult Run(const Kel8u* pSrc, int srcStep, Kel8u* pDstY,
                       int dstYStep, Kel8u* pDstCbCr, int dstCbCrStep,
                       KelImageSize roi) requires(F.layout == Layout::kC2 &&
                                                  T.layout == Layout::kP2) {
    ArgCheck c;
    c.NotNull(pSrc, pDstY, pDstCbCr).MinSize(roi, kMinWidth, kMinHeight);
    if (c.Failed()) return c.Result();
    return Convert<Isa>(
        {{pSrc, nullptr, nullptr}, {srcStep, 0, 0}},
        {{pDstY, pDstCbCr, nullptr}, {dstYStep, dstCbCrStep, 0}}, roi);
  }

  template <class Isa>
  static KelResult Run(const Kel8u* pSrc, int srcStep, Kel8u* pDst, int dstStep,
                       KelImageSize roi) requires(F.layout == Layout::kC2 &&
                                                  T.layout == Layout::kC2) {
    ArgCheck c;
    c.NotNull(pSrc, pDst).MinSize(roi, kMinWidth, kMinHeight);
    if (c.Failed()) return c.Result();
    return Convert<Isa>({{pSrc, nullptr, nullptr}, {srcStep, 0, 0}},
                        {{pDst, nullptr, nullptr}, {dstStep, 0, 0}}, roi);
  }
};

}  // namespace kel::resample
