// 4:2:0 <-> 16:2:0 and 4:2:0 <-> 4:1:1 re-sampling at the standard sizes,
// beside the memcpy limit of the bytes each conversion reads and writes.
#include <cstddef>
#include <cstdint>
#include <string>

#include "bench_common.h"
#include "kelcc.h"

namespace {

using kel::bench::Add;
using kel::bench::AddMemcpyLimit;
using kel::bench::RandomBuffer;

// Planes of one image: luma w x h, chroma (w / cx) x (h / cy).
struct Planes {
  Kel8u* p[3];
  int step[3];
  size_t bytes;
  Planes(int w, int h, int cx, int cy, uint32_t seed) {
    p[0] = RandomBuffer(static_cast<size_t>(w) * h, seed);
    step[0] = w;
    bytes = static_cast<size_t>(w) * h;
    for (int i = 1; i < 3; ++i) {
      const size_t n = static_cast<size_t>(w / cx) * (h / cy);
      p[i] = RandomBuffer(n, seed + i);
      step[i] = w / cx;
      bytes += n;
    }
  }
};

using Fn = KelResult (*)(const Kel8u* const[3], const int[3], Kel8u* const[3],
                         const int[3], KelImageSize);

void AddConversion(const char* name, Fn fn, int sx, int sy, int dx, int dy) {
  for (auto [w, h] : kel::bench::StandardSizes()) {
    const Planes src(w, h, sx, sy, 11), dst(w, h, dx, dy, 21);
    Add(name, "kelcc", w, h, [=] {
      fn(src.p, src.step, dst.p, dst.step, KelImageSize{w, h});
    });
    AddMemcpyLimit(name, w, h, src.bytes, dst.bytes);
  }
}

void Register() {
  AddConversion("YCbCr420To1620_8u_P3R", keliYCbCr420To1620_8u_P3R, 2, 2, 4, 4);
  AddConversion("YCbCr1620To420_8u_P3R", keliYCbCr1620To420_8u_P3R, 4, 4, 2, 2);
  AddConversion("YCbCr411To420_8u_P3R", keliYCbCr411To420_8u_P3R, 4, 1, 2, 2);
  AddConversion("YCbCr420To411_8u_P3R", keliYCbCr420To411_8u_P3R, 2, 2, 4, 1);
}

const kel::bench::Registrar registrar(&Register);

}  // namespace
