// Instruction-set tags and target attributes.
//
// Every family is written once as a template over an instruction-set tag.
// `Portable` selects the scalar forms, which state each procedure plainly;
// `Avx2` selects kernels written with AVX2 intrinsics. Both give identical
// bits. The library is compiled for baseline x86-64; AVX2 kernels carry
// KEL_AVX2 so they can live in the same translation unit as their scalar
// siblings without leaking AVX2 code into the portable path.
#pragma once

#include <type_traits>

// KEL_X86_64 is 1 where the AVX2 kernels can be compiled. Everything that
// needs x86 (intrinsics headers, KEL_AVX2 functions and the branches that
// call them) sits inside `#if KEL_X86_64`; elsewhere the `Avx2` tag takes
// the portable forms, so both slot sets give the same bytes.
#if defined(__x86_64__)
#define KEL_X86_64 1
#else
#define KEL_X86_64 0
#endif

namespace kel {

struct Portable {};
struct Avx2 {};

template <class Isa>
inline constexpr bool kIsAvx2 = std::is_same_v<Isa, Avx2>;

}  // namespace kel

#define KEL_AVX2 __attribute__((target("avx2,fma,bmi,bmi2,popcnt")))
#define KEL_AVX2_INLINE KEL_AVX2 inline __attribute__((always_inline))
