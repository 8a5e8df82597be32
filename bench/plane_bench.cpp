// The plane copy beside memcpy of the same bytes, at 1, 8 and 64 MiB: whole
// contiguous planes (one run) and planes with padded rows (row loops).
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "bench_common.h"
#include "frame/dispatch.h"
#include "frame/plane.h"

namespace {

using kel::bench::Add;
using kel::bench::RandomBuffer;

template <class Isa>
void AddCopies(const std::string& name, int w, int h, int pad) {
  const int step = w + pad;
  const size_t bytes = static_cast<size_t>(step) * h;
  const uint8_t* src = RandomBuffer(bytes, 3);
  uint8_t* dst = RandomBuffer(bytes, 4);
  Add(name, "kelcc", w, h, [=] {
    kel::frame::PlaneCopy8u<Isa>(src, step, dst, step, {w, h});
  });
  if (pad == 0) {
    Add(name, "memcpy", w, h,
        [=] { std::memcpy(dst, src, static_cast<size_t>(w) * h); });
  } else {
    Add(name, "memcpy", w, h, [=] {
      for (int y = 0; y < h; ++y)
        std::memcpy(dst + static_cast<ptrdiff_t>(y) * step,
                    src + static_cast<ptrdiff_t>(y) * step, w);
    });
  }
}

void Register() {
  struct Size {
    const char* mib;
    int w, h;
  };
  for (const Size& s : {Size{"1MiB", 1024, 1024}, Size{"8MiB", 4096, 2048},
                        Size{"64MiB", 8192, 8192}}) {
    for (int pad : {0, 64}) {
      const std::string name =
          std::string("PlaneCopy8u_") + s.mib + (pad != 0 ? "_padded" : "");
      if (kel::frame::CpuHasAvx2()) {
        AddCopies<kel::Avx2>(name, s.w, s.h, pad);
      } else {
        AddCopies<kel::Portable>(name, s.w, s.h, pad);
      }
    }
  }
}

const kel::bench::Registrar registrar(&Register);

}  // namespace
