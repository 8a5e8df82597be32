// The export slot table.
//
// Every exported image function is a two-instruction stub that jumps through
// its own slot in kel_slot_table. The slots are filled once, when the library
// is loaded, with the AVX2 implementations when the processor has AVX2 and
// FMA, else with the portable ones. Both give identical results.
//
// A family registers each export once, at global scope, with
//
//   KEL_IMPLEMENT(keliRGBToYCbCr_8u_C3R, kel::ycbcr::RGBToYCbCr_C3R)
//
// where the second argument names a function template over the
// instruction-set tag (kel::Portable, kel::Avx2) whose signature is the
// export's. The registration does not compile if the signatures differ.
#pragma once

#include <cstddef>

#include "frame/isa.h"
#include "kelcc.h"

namespace kel::frame {

using ExportFn = void (*)();

struct ExportImpl {
  ExportFn portable;
  ExportFn avx2;
};

#define KEL_EXPORT_INDEX_(name, params) kSlot_##name,
enum ExportSlot : int { KELCC_EXPORTS(KEL_EXPORT_INDEX_) kExportCount };
#undef KEL_EXPORT_INDEX_

// Names of the exported image functions, in slot order.
extern const char* const kExportNames[kExportCount];

// Whether this processor can run the AVX2 implementations.
bool CpuHasAvx2();

// Refills the slot table: the AVX2 implementations when `avx2` is true and
// the processor has them, else the portable ones. Returns whether the AVX2
// ones are now in place. Not exported: tests and benchmarks reach it by
// linking the library's objects directly.
bool SelectImplementations(bool avx2);

// Whether the slots currently hold the AVX2 implementations.
bool UsingAvx2();

// Whether export `slot` has an implementation linked in.
bool IsImplemented(int slot);

}  // namespace kel::frame

#define KEL_IMPLEMENT(name, impl)                                  \
  extern "C" {                                                     \
  extern const ::kel::frame::ExportImpl kel_impl_##name;           \
  const ::kel::frame::ExportImpl kel_impl_##name = {               \
      reinterpret_cast<::kel::frame::ExportFn>(                    \
          static_cast<decltype(&::name)>(&impl<::kel::Portable>)), \
      reinterpret_cast<::kel::frame::ExportFn>(                    \
          static_cast<decltype(&::name)>(&impl<::kel::Avx2>))};    \
  }
