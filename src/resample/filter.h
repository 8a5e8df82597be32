// Filtered chroma re-sampling of 4:2:0 images: the per-sample forms.
//
// Three filters compute new chroma values from vertically neighbouring
// chroma rows. The functions below state each one plainly, one sample at a
// time; the portable kernels call them and the AVX2 kernels give the same
// bits.
//
// 4:2:0 -> 4:2:2, four taps (the planar and P2P3 members). With C[0..n-1]
// the n chroma rows of the region, output row 2i is C[i] and output row
// 2i + 1 is
//   clamp((9 (C[i] + C[i+1]) - C[i-1] - C[i+2] + 8) >> 4, 0, 255),
// in signed arithmetic with an arithmetic shift. Rows outside the region
// repeat the nearest one: C[-1] = C[0], C[n] = C[n+1] = C[n-1].
//
// 4:2:0 -> packed 4:2:2 with a slice position (the P2C2 member). A 4:2:0
// chroma row i is sited half-way between luma rows 2i and 2i + 1. Each
// output row takes the chroma row it lies on, weighted three to one against
// the next chroma row on its side:
//   row 2i     = (3 C[i] + C[i-1]) >> 2   (a quarter of the row above)
//   row 2i + 1 = (3 C[i] + C[i+1]) >> 2   (a quarter of the row below)
// The slice position says which neighbours exist outside the region:
//   top    (1):  rows below the region, none above;
//   middle (4):  rows above and below;
//   bottom (16): rows above, none below;
//   whole  (any value with bits 1, 4 and 16 all set): neither.
// A neighbour that exists is read (C[-1] is the chroma row just above the
// region, C[n] the one just below); one that does not is replaced by the
// nearest row of the region, so the first and last output rows of an image
// edge are plain copies of the edge chroma row. Consequently a picture
// converted slice by slice (top, middles, bottom) gives the same bytes as
// the whole picture converted at once. Only the region's own rows are ever
// written; the context rows are read, never written. The single positions
// are tested first, in the order 1, 4, 16; a value that is none of them
// and lacks one of the three bits is not a slice position, and the call
// then does nothing.
//
// 4:2:0 -> 4:2:0 with the order changed (the P2P3 YCrCb member). Each chroma
// row is lightly smoothed towards its vertical neighbours:
//   out[i] = (C[i-1] + 2 C[i] + C[i+1]) >> 2,  C[-1] = C[0], C[n] = C[n-1].
//
// The three-to-one and the one-two-one filters truncate, and their results
// pass through kClampTable, the one place where these outputs are bounded
// to 0..255. Both filters are weighted means of samples in 0..255, so the
// table leaves every one of their results as it is; the AVX2 kernels bound
// the same way by packing with unsigned saturation.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "kelcc.h"

namespace kel::resample {

inline constexpr std::array<uint8_t, 256> kClampTable = [] {
  std::array<uint8_t, 256> t{};
  for (int i = 0; i < 256; ++i)
    t[static_cast<size_t>(i)] = static_cast<uint8_t>(std::clamp(i, 0, 255));
  return t;
}();

// The interpolated sample between rows b and c, with a above b and d below c.
constexpr uint8_t Interp4(int a, int b, int c, int d) {
  return static_cast<uint8_t>(
      std::clamp((9 * (b + c) - a - d + 8) >> 4, 0, 255));
}

// Three parts of the nearer row to one part of the farther one.
constexpr uint8_t Near3(int nearer, int farther) {
  return kClampTable[static_cast<size_t>((3 * nearer + farther) >> 2)];
}

// One-two-one smoothing of b between its neighbours a and c.
constexpr uint8_t Smooth121(int a, int b, int c) {
  return kClampTable[static_cast<size_t>((a + 2 * b + c) >> 2)];
}

// Which context rows a slice position provides.
struct SliceContext {
  bool above;  // the chroma row just above the region may be read
  bool below;  // the chroma row just below the region may be read
};

// Decodes a slice position; false when the value is not one.
constexpr bool DecodeSlice(int position, SliceContext* ctx) {
  constexpr int kAll = kelSliceTop | kelSliceMiddle | kelSliceBottom;
  if (position == kelSliceTop) {
    *ctx = {false, true};
  } else if (position == kelSliceMiddle) {
    *ctx = {true, true};
  } else if (position == kelSliceBottom) {
    *ctx = {true, false};
  } else if ((position & kAll) == kAll) {
    *ctx = {false, false};
  } else {
    return false;
  }
  return true;
}

}  // namespace kel::resample
