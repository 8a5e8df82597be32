// Plane and row copy and fill kernels shared by several families.
//
// Small and medium transfers use ordinary stores; large ones, compared with
// the processor's largest cache (kelGetMaxCacheSizeB, asked anew on each
// qualifying call), use streaming stores followed by a store fence. Widths
// and steps are in bytes. Each kernel exists for both instruction-set tags;
// the bytes written are the same.
#pragma once

#include <cstdint>

#include "frame/isa.h"
#include "kelcc.h"

namespace kel::frame {

template <class Isa>
KelResult PlaneCopy8u(const uint8_t* src, int srcStep, uint8_t* dst,
                      int dstStep, KelImageSize size);
template <class Isa>
KelResult PlaneCopy8uWide(const uint8_t* src, int64_t srcStep, uint8_t* dst,
                          int64_t dstStep, const int64_t size[2]);
template <class Isa>
void* ByteCopy(const void* src, void* dst, int32_t n);
template <class Isa>
KelResult ByteCopyChecked(const void* src, void* dst, int32_t n);
template <class Isa>
KelResult Word32Copy(const void* src, void* dst, int32_t count);
template <class Isa>
void RowCopy(const uint8_t* src, uint8_t* dst, uint32_t n, bool streaming);
template <class Isa>
KelResult PlaneFill8u(uint8_t value, uint8_t* dst, int dstStep,
                      KelImageSize size);
template <class Isa>
KelResult Word32Fill(uint32_t value, void* dst, int32_t count);

}  // namespace kel::frame
