// Export stubs, the slot table and its filling at load time.
//
// On x86-64 the stubs are two-instruction jumps written in assembly, below.
// Elsewhere they are plain C++ functions that call through the same slots,
// generated at build time from the same export list (export_stubs.cpp, made
// by cmake/export_stubs.cmake); the slots there hold the portable
// implementations.
#include "frame/dispatch.h"

#if !defined(__ELF__)
#error "kelCC is built for ELF targets"
#endif

// Each family defines kel_impl_<export> with KEL_IMPLEMENT; an export
// without one fails to link.
#define KEL_IMPL_DECL_(name, params) \
  extern "C" const kel::frame::ExportImpl kel_impl_##name;
KELCC_EXPORTS(KEL_IMPL_DECL_)
#undef KEL_IMPL_DECL_

#if KEL_X86_64
// The stubs and the table itself. A stub is one indirect jump through its
// slot, so the implementation receives the caller's arguments untouched.
#define KEL_STUB_(name, params) \
  ".globl " #name               \
  "\n"                          \
  ".type " #name                \
  ", @function\n"               \
  ".p2align 4\n" #name          \
  ":\n"                         \
  "  jmp *kel_slot_" #name      \
  "(%rip)\n"                    \
  ".size " #name ", . - " #name "\n"
#define KEL_SLOT_(name, params) "kel_slot_" #name ": .quad 0\n"
asm(".text\n" KELCC_EXPORTS(KEL_STUB_)
    ".data\n"
    ".p2align 6\n"
    ".globl kel_slot_table\n"
    ".hidden kel_slot_table\n"
    "kel_slot_table:\n" KELCC_EXPORTS(KEL_SLOT_)
    ".size kel_slot_table, . - kel_slot_table\n"
    ".text\n");
#undef KEL_STUB_
#undef KEL_SLOT_
#else
// The table; the generated stubs call through it.
extern "C" {
__attribute__((visibility("hidden")))
kel::frame::ExportFn kel_slot_table[kel::frame::kExportCount];
}
#endif

extern "C" kel::frame::ExportFn kel_slot_table[kel::frame::kExportCount];

namespace kel::frame {
namespace {

#define KEL_IMPL_PTR_(name, params) &kel_impl_##name,
const ExportImpl* const kImpls[kExportCount] = {KELCC_EXPORTS(KEL_IMPL_PTR_)};
#undef KEL_IMPL_PTR_

bool g_usingAvx2 = false;

}  // namespace

#define KEL_NAME_(name, params) #name,
const char* const kExportNames[kExportCount] = {KELCC_EXPORTS(KEL_NAME_)};
#undef KEL_NAME_

bool CpuHasAvx2() {
#if KEL_X86_64
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
         __builtin_cpu_supports("bmi2");
#else
  return false;
#endif
}

bool SelectImplementations(bool avx2) {
  const bool use = avx2 && CpuHasAvx2();
  for (int i = 0; i < kExportCount; ++i) {
    kel_slot_table[i] = use ? kImpls[i]->avx2 : kImpls[i]->portable;
  }
  g_usingAvx2 = use;
  return use;
}

bool UsingAvx2() { return g_usingAvx2; }

bool IsImplemented(int slot) {
  return slot >= 0 && slot < kExportCount && kImpls[slot]->portable &&
         kImpls[slot]->avx2;
}

namespace {
// Runs when the library is loaded, before any export can be called.
__attribute__((constructor(101))) void FillSlotsAtLoad() {
  SelectImplementations(true);
}
}  // namespace

}  // namespace kel::frame
