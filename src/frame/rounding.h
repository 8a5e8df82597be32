// RoundToNearest: a scoped guard that makes the current thread round to
// nearest (ties to even) for the life of one call, and leaves the caller's
// floating-point control exactly as it found it.
//
// Members whose integer results are rounded conversions construct one on
// entry, before their argument checks, so that every return (error returns
// included) restores the caller's state:
//
//   KelResult F(...) {
//     RoundToNearest nearest;
//     ...checks, kernels...
//   }
//
// On x86-64 it reads MXCSR and, only when the rounding-control field (bits
// 13-14) is not round-to-nearest, writes the word with that field cleared
// and every other bit kept; the destructor then writes the caller's whole
// word back. Elsewhere it does the same through <cfenv>.
#pragma once

#include <cfenv>
#include <cstdint>

#include "frame/isa.h"

#if KEL_X86_64
#include <immintrin.h>
#endif

namespace kel {

class RoundToNearest {
 public:
#if KEL_X86_64
  RoundToNearest() : saved_(_mm_getcsr()) {
    if ((saved_ & kRoundingField) != 0) _mm_setcsr(saved_ & ~kRoundingField);
  }
  ~RoundToNearest() {
    if ((saved_ & kRoundingField) != 0) _mm_setcsr(saved_);
  }
#else
  RoundToNearest() : saved_(static_cast<uint32_t>(std::fegetround())) {
    if (static_cast<int>(saved_) != FE_TONEAREST) std::fesetround(FE_TONEAREST);
  }
  ~RoundToNearest() {
    if (static_cast<int>(saved_) != FE_TONEAREST)
      std::fesetround(static_cast<int>(saved_));
  }
#endif
  RoundToNearest(const RoundToNearest&) = delete;
  RoundToNearest& operator=(const RoundToNearest&) = delete;

 private:
  static constexpr uint32_t kRoundingField = 0x6000;
  uint32_t saved_;
};

}  // namespace kel
