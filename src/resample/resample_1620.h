// Chroma re-sampling between 4:2:0 and 16:2:0 or 4:1:1.
//
// Down-sampling drops samples; up-sampling interpolates with two-sample
// averages. The average is rounded up, (a + b + 1) >> 1, at the positions a
// row's vector body produces, and truncated, (a + b) >> 1, at the positions
// of the row's remainder, which are done one at a time. Where the body ends
// is a property of each conversion (the Body* functions below), never of the
// machine, so the results are the same on every processor.
//
// The scalar row forms here are the definition: they take the first sample
// `from` to produce and the end of the body `body`, and average with the
// rounding of the position. The portable kernels call them for whole rows;
// the AVX2 kernels produce the body with vectors and call them for the rest.
#pragma once

#include <cstdint>

namespace kel::resample {

// The two-sample average: rounded up in the vector body, truncated in the
// scalar remainder.
inline uint8_t Avg2(int a, int b, bool body) {
  return static_cast<uint8_t>((a + b + (body ? 1 : 0)) >> 1);
}

// Samples per row produced by the vector body, for n samples per row.

// 4:1:1 -> 4:2:0, n source samples: steps of 64 while more than 64 remain,
// then of 16 while more than 16 remain; 1 to 16 samples are left.
constexpr int Body411To420(int n) {
  int i = 0;
  while (n - i > 64) i += 64;
  while (n - i > 16) i += 16;
  return i;
}

// 16:2:0 -> 4:2:0, n source samples: steps of 32 while at least 33 remain,
// then of 16 while at least 17 remain; 1 to 16 samples are left.
constexpr int Body1620To420(int n) {
  int i = 0;
  while (n - i >= 33) i += 32;
  while (n - i >= 17) i += 16;
  return i;
}

// 4:2:0 -> 4:1:1, n destination samples: steps of 32, then of 8; n mod 8
// samples are left.
constexpr int Body420To411(int n) {
  int i = 0;
  while (n - i >= 32) i += 32;
  while (n - i >= 8) i += 8;
  return i;
}

// 4:1:1 source row s (n samples) -> 4:2:0 row d (2n samples). The last
// sample is repeated at the right edge.
inline void Row411To420(const uint8_t* s, uint8_t* d, int n, int from,
                        int body) {
  for (int k = from; k < n; ++k) {
    d[2 * k] = s[k];
    d[2 * k + 1] = k == n - 1 ? s[k] : Avg2(s[k], s[k + 1], k < body);
  }
}

// 16:2:0 source rows s0 and s1 (s1 null for the last row; n samples each)
// -> 4:2:0 rows d0 and d1 (2n samples each). The interior corner sample
// averages the two horizontal averages; at the right edge samples repeat,
// and below the last source row each sample is duplicated.
inline void Rows1620To420(const uint8_t* s0, const uint8_t* s1, uint8_t* d0,
                          uint8_t* d1, int n, int from, int body) {
  for (int k = from; k < n; ++k) {
    const bool inBody = k < body;
    const bool edge = k == n - 1;
    const uint8_t a = s0[k];
    d0[2 * k] = a;
    d0[2 * k + 1] = edge ? a : Avg2(a, s0[k + 1], inBody);
    if (s1 == nullptr) {
      d1[2 * k] = a;
      d1[2 * k + 1] = a;
      continue;
    }
    const uint8_t b = s1[k];
    const uint8_t below = Avg2(a, b, inBody);
    d1[2 * k] = below;
    d1[2 * k + 1] = edge ? below
                         : Avg2(Avg2(a, s0[k + 1], inBody),
                                Avg2(b, s1[k + 1], inBody), inBody);
  }
}

// 4:2:0 source rows s0 and s1 (s1 null for the last row; 2n samples each)
// -> 4:1:1 rows d0 and d1 (n samples each): even samples, the second row
// averaged vertically (repeated below the last source row).
inline void Rows420To411(const uint8_t* s0, const uint8_t* s1, uint8_t* d0,
                         uint8_t* d1, int n, int from, int body) {
  for (int k = from; k < n; ++k) {
    const uint8_t a = s0[2 * k];
    d0[k] = a;
    d1[k] = s1 == nullptr ? a : Avg2(a, s1[2 * k], k < body);
  }
}

// 4:2:0 source row s (2n samples) -> 16:2:0 row d (n samples): even samples.
inline void Row420To1620(const uint8_t* s, uint8_t* d, int n, int from) {
  for (int k = from; k < n; ++k) d[k] = s[2 * k];
}

}  // namespace kel::resample
