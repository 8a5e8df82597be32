// Image views of the RGB to YCbCr encoders: where a pixel's channels are read
// from and where its luma and chroma go, with the scalar per-pixel writes.
//
// Sources are packed (3 or 4 bytes per pixel, RGB or BGR byte order; the
// fourth byte is never read) or planar (R, G, B planes sharing one step).
// Destinations cover every output layout of the family: 4:4:4 packed
// (Y, Cb, Cr and optionally a zero fourth byte) and planar; 4:2:2 packed in
// its three byte orders and planar; 4:2:0 three-plane and two-plane; 4:1:1
// planar. A view's Row(y) returns the row-level view used by the kernels;
// row addresses are computed from the first row with a signed step, so any
// step works, including negative ones.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ycbcr/forms.h"

namespace kel::ycbcr {

// Chroma of a two-pixel block in the per-pixel remainder of 4:2:2 rows: the
// block-sum form with the one-eighth rounding, at scale 2^17
// (16793600 = 128.125 * 2^17).
constexpr uint8_t BlockSumCb2(int sr, int sg, int sb) {
  return static_cast<uint8_t>(
      (-9699 * sr - 19071 * sg + 28770 * sb + 16793600) >> 17);
}
constexpr uint8_t BlockSumCr2(int sr, int sg, int sb) {
  return static_cast<uint8_t>(
      (28770 * sr - 24117 * sg - 4653 * sb + 16793600) >> 17);
}

struct Rgb {
  int r, g, b;
};

inline const uint8_t* RowAt(const uint8_t* base, int step, int y) {
  return base + static_cast<ptrdiff_t>(step) * y;
}
inline uint8_t* RowAt(uint8_t* base, int step, int y) {
  return base + static_cast<ptrdiff_t>(step) * y;
}

// ---- Sources -------------------------------------------------------------

// Interleaved pixels of kBytes bytes (3 or 4), in R,G,B or B,G,R order.
template <int kBytes, bool kBgr>
struct PackedRgb {
  static constexpr int kPixelBytes = kBytes;
  static constexpr bool kIsBgr = kBgr;
  struct RowView {
    const uint8_t* p;
    Rgb At(int x) const {
      const uint8_t* q = p + kBytes * x;
      return kBgr ? Rgb{q[2], q[1], q[0]} : Rgb{q[0], q[1], q[2]};
    }
  };
  const uint8_t* base;
  int step;
  RowView Row(int y) const { return {RowAt(base, step, y)}; }
};

using C3Rgb = PackedRgb<3, false>;
using C3Bgr = PackedRgb<3, true>;
using C4Rgb = PackedRgb<4, false>;
using C4Bgr = PackedRgb<4, true>;

// Three planes R, G, B with one shared step.
struct PlanarRgb {
  static constexpr int kPixelBytes = 1;
  static constexpr bool kIsBgr = false;
  struct RowView {
    const uint8_t *r, *g, *b;
    Rgb At(int x) const { return {r[x], g[x], b[x]}; }
  };
  const uint8_t *r, *g, *b;
  int step;
  RowView Row(int y) const {
    return {RowAt(r, step, y), RowAt(g, step, y), RowAt(b, step, y)};
  }
};

// ---- 4:4:4 destinations ----------------------------------------------------

// Y, Cb, Cr interleaved; with kAlpha a fourth byte that the vector blocks set
// to 0 and the per-pixel remainder leaves as it was.
template <bool kAlpha>
struct Packed444 {
  static constexpr int kPixelBytes = kAlpha ? 4 : 3;
  struct RowView {
    uint8_t* p;
    void Put(int x, uint8_t y, uint8_t cb, uint8_t cr, bool vector) const {
      uint8_t* q = p + kPixelBytes * x;
      q[0] = y, q[1] = cb, q[2] = cr;
      if (kAlpha && vector) q[3] = 0;
    }
  };
  uint8_t* base;
  int step;
  RowView Row(int y) const { return {RowAt(base, step, y)}; }
};

// Planes Y, Cb, Cr with one shared step.
struct Planar444 {
  struct RowView {
    uint8_t *y, *cb, *cr;
    void Put(int x, uint8_t vy, uint8_t vcb, uint8_t vcr, bool) const {
      y[x] = vy, cb[x] = vcb, cr[x] = vcr;
    }
  };
  uint8_t *y, *cb, *cr;
  int step;
  RowView Row(int r) const {
    return {RowAt(y, step, r), RowAt(cb, step, r), RowAt(cr, step, r)};
  }
};

// ---- 4:2:2 destinations ----------------------------------------------------

// Byte orders of packed 4:2:2: Y0 Cb Y1 Cr, Y0 Cr Y1 Cb, Cb Y0 Cr Y1.
enum class Order422 { kYCbCr, kYCrCb, kCbYCr };

// Packed 4:2:2, two bytes per pixel.
//
// An odd width ends with a half pair: the last pixel's two bytes hold its
// luma in the luma position and, in the chroma position of that pixel, the
// Cb computed from the pixel alone. Every byte order writes exactly these
// two bytes (Y then Cb for Y0 Cb Y1 Cr and Y0 Cr Y1 Cb, Cb then Y for
// Cb Y0 Cr Y1), so nothing lands beyond the row's 2 * width bytes and the
// missing Cr is simply not written.
template <Order422 kOrder>
struct Packed422 {
  static constexpr bool kChromaFirst = kOrder == Order422::kCbYCr;
  static constexpr bool kCrFirst = kOrder == Order422::kYCrCb;
  struct RowView {
    uint8_t* p;
    // The pair of pixels x, x + 1 (x even).
    void Pair(int x, uint8_t y0, uint8_t y1, uint8_t cb, uint8_t cr) const {
      uint8_t* q = p + 2 * x;
      const uint8_t c0 = kCrFirst ? cr : cb, c1 = kCrFirst ? cb : cr;
      if (kChromaFirst) {
        q[0] = c0, q[1] = y0, q[2] = c1, q[3] = y1;
      } else {
        q[0] = y0, q[1] = c0, q[2] = y1, q[3] = c1;
      }
    }
    void HalfPair(int x, uint8_t y, uint8_t cb) const {
      uint8_t* q = p + 2 * x;
      if (kChromaFirst) {
        q[0] = cb, q[1] = y;
      } else {
        q[0] = y, q[1] = cb;
      }
    }
  };
  uint8_t* base;
  int step;
  RowView Row(int y) const { return {RowAt(base, step, y)}; }
};

// Planes Y, Cb, Cr with their own steps; the chroma planes are width / 2
// wide. An odd last column gets its luma and no chroma: its chroma sample
// would lie outside the chroma planes.
struct Planar422 {
  struct RowView {
    uint8_t *y, *cb, *cr;
    void Pair(int x, uint8_t y0, uint8_t y1, uint8_t vcb, uint8_t vcr) const {
      y[x] = y0, y[x + 1] = y1, cb[x / 2] = vcb, cr[x / 2] = vcr;
    }
    void HalfPair(int x, uint8_t vy, uint8_t) const { y[x] = vy; }
  };
  uint8_t *y, *cb, *cr;
  int yStep, cbStep, crStep;
  RowView Row(int r) const {
    return {RowAt(y, yStep, r), RowAt(cb, cbStep, r), RowAt(cr, crStep, r)};
  }
};

// ---- 4:2:0 destinations ----------------------------------------------------

// Row r of these views is row pair r: luma rows 2r and 2r + 1, chroma row r.

// Planes Y, Cb, Cr with their own steps (Cr-first callers swap the chroma
// planes before building the view).
struct Planar420 {
  struct RowView {
    uint8_t *y0, *y1, *cb, *cr;
    // The 2x2 block whose top-left pixel is column x (even).
    void Block(int x, const uint8_t y[4], uint8_t vcb, uint8_t vcr) const {
      y0[x] = y[0], y0[x + 1] = y[1], y1[x] = y[2], y1[x + 1] = y[3];
      cb[x / 2] = vcb, cr[x / 2] = vcr;
    }
  };
  uint8_t *y, *cb, *cr;
  int yStep, cbStep, crStep;
  RowView Row(int r) const {
    return {RowAt(y, yStep, 2 * r), RowAt(y, yStep, 2 * r + 1),
            RowAt(cb, cbStep, r), RowAt(cr, crStep, r)};
  }
};

// A luma plane and one plane of Cb, Cr pairs.
struct SemiPlanar420 {
  struct RowView {
    uint8_t *y0, *y1, *c;
    void Block(int x, const uint8_t y[4], uint8_t vcb, uint8_t vcr) const {
      y0[x] = y[0], y0[x + 1] = y[1], y1[x] = y[2], y1[x + 1] = y[3];
      c[x] = vcb, c[x + 1] = vcr;
    }
  };
  uint8_t *y, *c;
  int yStep, cStep;
  RowView Row(int r) const {
    return {RowAt(y, yStep, 2 * r), RowAt(y, yStep, 2 * r + 1),
            RowAt(c, cStep, r)};
  }
};

// ---- 4:1:1 destination -----------------------------------------------------

// Planes Y, Cb, Cr with their own steps; chroma planes width / 4 wide.
struct Planar411 {
  struct RowView {
    uint8_t *y, *cb, *cr;
    // The four pixels from column x (a multiple of 4).
    void Quad(int x, const uint8_t vy[4], uint8_t vcb, uint8_t vcr) const {
      for (int i = 0; i < 4; ++i) y[x + i] = vy[i];
      cb[x / 4] = vcb, cr[x / 4] = vcr;
    }
  };
  uint8_t *y, *cb, *cr;
  int yStep, cbStep, crStep;
  RowView Row(int r) const {
    return {RowAt(y, yStep, r), RowAt(cb, cbStep, r), RowAt(cr, crStep, r)};
  }
};

}  // namespace kel::ycbcr
