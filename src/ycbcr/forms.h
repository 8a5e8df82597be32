// The fixed-point forms of the BT.601 studio-range conversions, one pixel at
// a time.
//
// These functions are the definition of the arithmetic: the AVX2 kernels are
// optimisations of them and must give the same bits, and the portable
// implementation calls them directly. Different members of a family, and
// different positions in a row, use different forms on purpose; the forms
// disagree by one on a small share of inputs, and those differences are
// part of the library's results.
//
// Notation follows the 16-bit lane arithmetic of the vector kernels:
// MulHiU/MulHiS give the high 16 bits of a 16 x 16-bit product, AddSatU and
// AddSatS are 16-bit saturating additions, Wrap16 is a 16-bit wrapping
// result. Right shifts of signed values are arithmetic (floor).
#pragma once

#include <algorithm>
#include <cstdint>

namespace kel::ycbcr {

// ---- 16-bit lane primitives --------------------------------------------

constexpr int MulHiU(int a, int c) {  // a, c in 0..65535
  return static_cast<int>(
      (static_cast<uint32_t>(a) * static_cast<uint32_t>(c)) >> 16);
}
constexpr int MulHiS(int a, int c) {  // a, c in -32768..32767
  return (a * c) >> 16;
}
constexpr int AddSatU(int a, int b) { return std::min(a + b, 65535); }
constexpr int AddSatS(int a, int b) { return std::clamp(a + b, -32768, 32767); }
constexpr int Wrap16(int v) {
  return static_cast<int16_t>(static_cast<uint16_t>(v));
}
constexpr uint8_t Clamp8(int v) {
  return static_cast<uint8_t>(std::clamp(v, 0, 255));
}

// ---- Forward: RGB to YCbCr ----------------------------------------------

// Exact form (32-bit): the per-pixel remainder of a row.
constexpr uint8_t ExactY(int r, int g, int b) {
  return static_cast<uint8_t>((16843 * r + 33030 * g + 6423 * b + 1081344) >>
                              16);
}
constexpr uint8_t ExactCb(int r, int g, int b) {
  return static_cast<uint8_t>((-9699 * r - 19071 * g + 28770 * b + 8421376) >>
                              16);
}
constexpr uint8_t ExactCr(int r, int g, int b) {
  return static_cast<uint8_t>((28770 * r - 24117 * g - 4653 * b + 8421376) >>
                              16);
}

// Block form A luma: halved coefficients at scale 2^7.
constexpr uint8_t FormAY(int r, int g, int b) {
  int s = AddSatU(MulHiU(256 * r, 8422), MulHiU(256 * g, 16515));
  s = AddSatU(AddSatU(s, MulHiU(256 * b, 3212)), 2112);
  return Clamp8(s >> 7);
}

// Block form A chroma from channel values scaled to 128 times the block mean
// (128 v for one pixel, 64 S for a two-pixel sum, 32 S for a four-pixel sum).
// The sum wraps in 16 bits and is shifted as unsigned.
constexpr uint8_t FormAChroma(int sr, int sg, int sb, int cr, int cg, int cb) {
  const int s =
      Wrap16(MulHiS(sr, cr) + MulHiS(sg, cg) + MulHiS(sb, cb) + 16448);
  return Clamp8(static_cast<uint16_t>(s) >> 7);
}
constexpr uint8_t FormACb(int sr, int sg, int sb) {
  return FormAChroma(sr, sg, sb, -9699, -19071, 28770);
}
constexpr uint8_t FormACr(int sr, int sg, int sb) {
  return FormAChroma(sr, sg, sb, 28770, -24117, -4653);
}

// Block form B luma: full-precision coefficients, rounded in two steps.
constexpr uint8_t FormBY(int r, int g, int b) {
  int s = AddSatU(MulHiU(256 * r, 16843), MulHiU(256 * g, 33030));
  s = AddSatU(AddSatU(s, MulHiU(256 * b, 6423)), 128);
  return Clamp8(AddSatU(s >> 8, 16));
}

// Block form B chroma (always equal to form A chroma of one pixel).
constexpr uint8_t FormBChroma(int r, int g, int b, int cr, int cg, int cb) {
  int s = AddSatS(MulHiS(128 * r, cr), MulHiS(128 * g, cg));
  s = AddSatS(AddSatS(s, MulHiS(128 * b, cb)), 64);
  return Clamp8(AddSatS(s >> 7, 128));
}

// Chroma of a block in the per-pixel remainder of subsampled rows, from the
// four-pixel channel sums: one-eighth rounding (128.125 * 2^18).
constexpr uint8_t BlockSumCb4(int sr, int sg, int sb) {
  return static_cast<uint8_t>(
      (-9699 * sr - 19071 * sg + 28770 * sb + 33587200) >> 18);
}
constexpr uint8_t BlockSumCr4(int sr, int sg, int sb) {
  return static_cast<uint8_t>(
      (28770 * sr - 24117 * sg - 4653 * sb + 33587200) >> 18);
}

// Cb of the half pair that ends an odd-width packed 4:2:2 row, from the one
// pixel: one-eighth rounding (128.125 * 2^16).
constexpr uint8_t HalfPairCb(int r, int g, int b) {
  return static_cast<uint8_t>((-9699 * r - 19071 * g + 28770 * b + 8396800) >>
                              16);
}

// ---- Inverse: YCbCr to RGB ----------------------------------------------

struct Rgb8 {
  uint8_t r, g, b;
};

// Inverse form P: scale 2^13, truncating.
constexpr Rgb8 InverseP(int y8, int cb8, int cr8) {
  const int y = 128 * (y8 - 16), u = 128 * (cb8 - 128), v = 128 * (cr8 - 128);
  const int yp = MulHiS(y, 9536);
  const int r = AddSatS(yp, MulHiS(v, 13074)) >> 4;
  const int g = AddSatS(AddSatS(yp, MulHiS(v, -6660)), MulHiS(u, -3203)) >> 4;
  const int b = AddSatS(yp, MulHiS(u, 16523)) >> 4;
  return {Clamp8(r), Clamp8(g), Clamp8(b)};
}

// Inverse form Q: scale 2^13, rounded.
constexpr Rgb8 InverseQ(int y8, int cb8, int cr8) {
  const int y = 128 * (y8 - 16), u = 128 * (cb8 - 128), v = 128 * (cr8 - 128);
  const int yp = MulHiS(y, 9535);
  const int r = AddSatS(AddSatS(yp, MulHiS(v, 13074)), 8) >> 4;
  const int g = AddSatS(Wrap16(yp - MulHiS(v, 6660) - MulHiS(u, 3211)), 8) >> 4;
  const int b = AddSatS(Wrap16(yp + MulHiS(u, 16523)), 8) >> 4;
  return {Clamp8(r), Clamp8(g), Clamp8(b)};
}

// Inverse form R: scale 2^12, rounded.
constexpr Rgb8 InverseR(int y8, int cb8, int cr8) {
  const int y = 128 * (y8 - 16), u = 128 * (cb8 - 128), v = 128 * (cr8 - 128);
  const int yp = MulHiS(y, 4769);
  const int r = AddSatS(AddSatS(yp, MulHiS(v, 6537)), 4) >> 3;
  const int g = AddSatS(Wrap16(yp - MulHiS(v, 3330) - MulHiS(u, 1605)), 4) >> 3;
  const int b = AddSatS(AddSatS(yp, MulHiS(u, 8263)), 4) >> 3;
  return {Clamp8(r), Clamp8(g), Clamp8(b)};
}

// Inverse form R with the offsets folded into the constants (the 4:2:0 to
// BGR-with-alpha row-pair kernel): takes Y, Cb and Cr as stored.
constexpr Rgb8 InverseRFolded(int y8, int cb8, int cr8) {
  const int yp = MulHiS(128 * y8, 4769);
  const int b = AddSatS(yp, MulHiS(128 * cb8, 8263) - 2211) >> 3;
  const int r = AddSatS(yp, MulHiS(128 * cr8, 6537) - 1779) >> 3;
  const int g =
      Wrap16(yp - (AddSatS(MulHiS(128 * cb8, 1605), MulHiS(128 * cr8, 3330)) -
                   1089)) >>
      3;
  return {Clamp8(r), Clamp8(g), Clamp8(b)};
}

// Inverse form S: 32-bit at scale 2^16, truncating.
constexpr Rgb8 InverseS(int y8, int cb8, int cr8) {
  const int y = 76284 * y8 - 1220544, u = cb8 - 128, v = cr8 - 128;
  return {Clamp8((y + 104595 * v) >> 16),
          Clamp8((y - 53281 * v - 25690 * u) >> 16),
          Clamp8((y + 132186 * u) >> 16)};
}

// The 2^16 form with rounding: the per-pixel remainder of 4:2:0 rows.
constexpr Rgb8 Inverse16(int y8, int cb8, int cr8) {
  const int y = 76284 * (y8 - 16) + 32768, u = cb8 - 128, v = cr8 - 128;
  return {Clamp8((y + 104595 * v) >> 16),
          Clamp8((y - 25690 * u - 53281 * v) >> 16),
          Clamp8((y + 132186 * u) >> 16)};
}

}  // namespace kel::ycbcr
