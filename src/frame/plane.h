// Plane and row copy and fill kernels shared by several families.
//
// Small and medium transfers use ordinary stores with loops specialised by
// alignment; a transfer that is both above a fixed floor and large compared
// with the processor's largest cache uses streaming (non-temporal) stores
// followed by a store fence. The cache size comes from kelGetMaxCacheSizeB
// and is asked anew on every call that passes the floor; a failed query keeps
// the ordinary stores. Widths and steps are in bytes.
//
// Every kernel exists for both instruction-set tags and both write the same
// bytes. The tags take the same path decisions; the AVX2 tag runs the loops
// with 32-byte vectors (16-byte ones for RowCopy), the portable tag runs each
// path with plain copies and fills.
//
// Source and destination of a copy must not overlap.
#pragma once

#include <cstdint>

#include "frame/isa.h"
#include "kelcc.h"

namespace kel::frame {

// 2-D copy of `size.width` bytes in each of `size.height` rows. -8 for a null
// pointer, -6 for a width or height below 1, else 0. Steps are not checked.
template <class Isa>
KelResult PlaneCopy8u(const uint8_t* src, int srcStep, uint8_t* dst,
                      int dstStep, KelImageSize size);

// 2-D copy with 64-bit steps and size: size[0] bytes per row, size[1] rows.
// Rows longer than 1 GiB are copied in pieces. -8 for a null pointer (the
// size pointer included), -6 for a size below 1, else the result of the last
// row.
template <class Isa>
KelResult PlaneCopy8uWide(const uint8_t* src, int64_t srcStep, uint8_t* dst,
                          int64_t dstStep, const int64_t size[2]);

// Copies n > 0 bytes without any check; returns dst.
template <class Isa>
void* ByteCopy(const void* src, void* dst, int32_t n);

// ByteCopy with checks: -8 for a null pointer, -6 for n < 1, else 0.
template <class Isa>
KelResult ByteCopyChecked(const void* src, void* dst, int32_t n);

// Copies `count` 32-bit values. -8 for a null pointer, -6 for count < 1.
template <class Isa>
KelResult Word32Copy(const void* src, void* dst, int32_t count);

// The row copy of the re-sampling functions, which choose streaming
// themselves (no cache query here). No checks; n may be 0.
template <class Isa>
void RowCopy(const uint8_t* src, uint8_t* dst, uint32_t n, bool streaming);

// Fills `size.width` bytes in each of `size.height` rows with `value`.
template <class Isa>
KelResult PlaneFill8u(uint8_t value, uint8_t* dst, int dstStep,
                      KelImageSize size);

// Fills `count` 32-bit elements with `value` (a float's bit pattern for the
// gamma callers). The destination need not be 4-byte aligned.
template <class Isa>
KelResult Word32Fill(uint32_t value, void* dst, int32_t count);

// ---------------------------------------------------------------------------
// Splitting of very long transfers into pieces that ByteCopyChecked takes.

// Word32Copy: while more than kWord32SplitFrom - 1 elements remain, pieces of
// kWord32Piece elements (2,147,483,616 bytes); then the rest in one piece.
inline constexpr int32_t kWord32SplitFrom = 0x20000000;  // elements
inline constexpr int32_t kWord32Piece = 0x7FFFFFE0 / 4;  // 536,870,904

// Calls piece(firstElement, bytes) for each piece of a Word32Copy of `count`
// elements, in order.
template <class Piece>
void ForEachWord32Piece(int32_t count, Piece&& piece) {
  int64_t first = 0;
  if (count >= kWord32SplitFrom) {
    while (count > kWord32SplitFrom - 1) {
      piece(first, int32_t{kWord32Piece} * 4);
      first += kWord32Piece;
      count -= kWord32Piece;
    }
  }
  piece(first, count * 4);
}

// PlaneCopy8uWide: rows longer than kWideRowPiece bytes go in pieces of at
// most that many bytes.
inline constexpr int64_t kWideRowPiece = 0x40000000;

// Calls piece(offset, bytes) for each piece of a wide row of `length` bytes.
template <class Piece>
void ForEachWideRowPiece(int64_t length, Piece&& piece) {
  int64_t offset = 0;
  while (length - offset > kWideRowPiece) {
    piece(offset, static_cast<int32_t>(kWideRowPiece));
    offset += kWideRowPiece;
  }
  piece(offset, static_cast<int32_t>(length - offset));
}

// ---------------------------------------------------------------------------
// Thresholds of the cache policy (bytes).

inline constexpr int64_t kPlaneCopyQueryFloor = 0x300000;   // above: ask
inline constexpr int kPlaneCopyNarrowWidth = 512;           // below: narrow
inline constexpr int32_t kShortCopyLimit = 0x8000;          // below: short
inline constexpr int32_t kByteCopyQueryFloor = 0x400000;    // above: ask
inline constexpr int32_t kPlaneFillQueryFloor = 0x600000;   // above: ask
inline constexpr int32_t kWord32FillQueryFloor = 0x200000;  // above: ask
inline constexpr uint32_t kPageAliasRange = 160;  // page offset distance

// ---------------------------------------------------------------------------
// Observation of the cache policy, for tests.
//
// Nothing here is exported. By default no hooks are installed and the kernels
// ask kelGetMaxCacheSizeB directly. A test installs a PlaneHooks record (for
// the duration of a ScopedPlaneHooks) to replace the cache query, for example
// by one that fails or reports a small cache, and to receive a PlaneTrace of
// the paths the kernels chose. The kernels read the hook pointer once per
// call, outside their loops, and write the trace only when one is installed.

enum class PlaneCopyPath : uint8_t {
  kNone,
  kOneRun,            // contiguous planes: one ByteCopy
  kNarrowRows,        // width < 512
  kForwardAligned,    // cached, destination rows 32-byte aligned
  kBackwardAligned,   // cached, aligned, page-alias range
  kForwardUnaligned,  // cached, any alignment
  kStreamAligned,     // streaming, destination rows 64-byte aligned
  kStreamUnaligned,   // streaming, any alignment
};

enum class ByteCopyPath : uint8_t {
  kNone,
  kShort,      // below 32 KiB
  kStream,     // streaming stores
  kPageAlias,  // backward 64-byte blocks
  kRep,        // string moves
};

enum class FillPath : uint8_t { kNone, kCached, kStream };

enum class RowCopyPath : uint8_t {
  kNone,
  kTailOnly,        // fewer than 64 bytes to go after alignment
  kStream,          // streaming stores
  kUnalignedLoads,  // source not 8-byte aligned
  kHalfLoads,       // source 8- but not 16-byte aligned
  kAlignedLoads,    // source 16-byte aligned
};

struct PlaneTrace {
  PlaneCopyPath planeCopy = PlaneCopyPath::kNone;
  ByteCopyPath byteCopy = ByteCopyPath::kNone;
  FillPath planeFill = FillPath::kNone;
  FillPath word32Fill = FillPath::kNone;
  RowCopyPath rowCopy = RowCopyPath::kNone;
  int cacheQueries = 0;  // calls of the cache query
};

using CacheQueryFn = int (*)(int32_t* sizeB);

struct PlaneHooks {
  CacheQueryFn query = nullptr;  // nullptr: kelGetMaxCacheSizeB
  PlaneTrace* trace = nullptr;   // nullptr: nothing recorded
};

// Installs `hooks` (which must outlive the installation); nullptr removes
// them. Returns the hooks installed before.
const PlaneHooks* SetPlaneHooks(const PlaneHooks* hooks);

class ScopedPlaneHooks {
 public:
  explicit ScopedPlaneHooks(const PlaneHooks& hooks)
      : hooks_(hooks), previous_(SetPlaneHooks(&hooks_)) {}
  ~ScopedPlaneHooks() { SetPlaneHooks(previous_); }
  ScopedPlaneHooks(const ScopedPlaneHooks&) = delete;
  ScopedPlaneHooks& operator=(const ScopedPlaneHooks&) = delete;

 private:
  PlaneHooks hooks_;
  const PlaneHooks* previous_;
};

}  // namespace kel::frame
