// Argument checks shared by every family.
//
// The library checks in one order: top-level pointers (-8), region size
// (-6), plane pointers inside pointer arrays (-8), row steps (-16), then
// value arguments. ArgCheck runs the checks in the order they are written
// and remembers the first failure; later checks are skipped:
//
//   ArgCheck c;
//   c.NotNull(pSrc, pDst).MinSize(roi, 2, 2).Planes(pDst, 3);
//   if (c.Failed()) return c.Result();
#pragma once

#include "kelcc.h"

namespace kel {

class ArgCheck {
 public:
  // Every argument must be a non-null pointer.
  template <class... P>
  constexpr ArgCheck& NotNull(const P*... p) {
    if (r_ == kelOk && ((p == nullptr) || ...)) r_ = kelErrNullPtr;
    return *this;
  }

  // The first `n` entries of a pointer array must be non-null.
  template <class P>
  constexpr ArgCheck& Planes(const P* const* planes, int n) {
    if (r_ != kelOk) return *this;
    for (int i = 0; i < n; ++i) {
      if (planes[i] == nullptr) {
        r_ = kelErrNullPtr;
        break;
      }
    }
    return *this;
  }

  // Width and height must reach the given minimums (both at least 1).
  constexpr ArgCheck& MinSize(KelImageSize roi, int minWidth = 1,
                              int minHeight = 1) {
    if (r_ == kelOk && (roi.width < minWidth || roi.height < minHeight))
      r_ = kelErrSize;
    return *this;
  }

  // Every step must be positive.
  template <class... S>
  constexpr ArgCheck& PositiveSteps(S... steps) {
    if (r_ == kelOk && ((steps < 1) || ...)) r_ = kelErrStep;
    return *this;
  }

  // A family-specific condition with its own code.
  constexpr ArgCheck& Require(bool ok, KelResult code) {
    if (r_ == kelOk && !ok) r_ = code;
    return *this;
  }

  constexpr bool Failed() const { return r_ != kelOk; }
  constexpr KelResult Result() const { return r_; }

 private:
  KelResult r_ = kelOk;
};

// The warning of chroma-subsampled conversions whose region is not a whole
// number of blocks of `bw` x `bh` pixels.
constexpr KelResult OddSizeResult(KelImageSize roi, int bw, int bh) {
  return (roi.width % bw != 0 || roi.height % bh != 0) ? kelWarnOddSize : kelOk;
}

}  // namespace kel
