// Interim plain implementations of the plane kernels (being replaced by the
// cache-policy versions).
#include "frame/plane.h"

#include <cstddef>
#include <cstring>

namespace kel::frame {

template <class Isa>
KelResult PlaneCopy8u(const uint8_t* src, int srcStep, uint8_t* dst,
                      int dstStep, KelImageSize size) {
  if (src == nullptr || dst == nullptr) return kelErrNullPtr;
  if (size.width < 1 || size.height < 1) return kelErrSize;
  for (int y = 0; y < size.height; ++y)
    std::memcpy(dst + static_cast<ptrdiff_t>(y) * dstStep,
                src + static_cast<ptrdiff_t>(y) * srcStep, size.width);
  return kelOk;
}

template <class Isa>
void RowCopy(const uint8_t* src, uint8_t* dst, uint32_t n, bool) {
  std::memcpy(dst, src, n);
}

template <class Isa>
KelResult PlaneFill8u(uint8_t value, uint8_t* dst, int dstStep,
                      KelImageSize size) {
  if (dst == nullptr) return kelErrNullPtr;
  if (size.width < 1 || size.height < 1) return kelErrSize;
  for (int y = 0; y < size.height; ++y)
    std::memset(dst + static_cast<ptrdiff_t>(y) * dstStep, value, size.width);
  return kelOk;
}

#define KEL_INSTANTIATE_(Isa)                                                 \
  template KelResult PlaneCopy8u<Isa>(const uint8_t*, int, uint8_t*, int,     \
                                      KelImageSize);                          \
  template void RowCopy<Isa>(const uint8_t*, uint8_t*, uint32_t, bool);       \
  template KelResult PlaneFill8u<Isa>(uint8_t, uint8_t*, int, KelImageSize);
KEL_INSTANTIATE_(Portable)
KEL_INSTANTIATE_(Avx2)
#undef KEL_INSTANTIATE_

}  // namespace kel::frame
