/* A program that uses an installed kelCC: converts a 2x1 RGB image (white,
 * black) to YCbCr and checks both pixels. Built against the installed
 * package by tests/consumer/run.cmake. */
#include <kelcc.h>
#include <stdio.h>

#ifdef KELCC_CHECK_SLOTS
/* Linked statically, the library's slot table is part of this program: check
 * that the load-time choice put the AVX2 implementation of the first export
 * in place on a processor that has AVX2, FMA and BMI2, else the portable one.
 */
typedef void (*KelFn)(void);
extern KelFn kel_slot_table[];
extern const struct {
  KelFn portable;
  KelFn avx2;
} kel_impl_keliRGBToYCbCr_8u_C3R;
#endif

int main(void) {
  const Kel8u rgb[6] = {255, 255, 255, 0, 0, 0};
  Kel8u ycc[6] = {0};
  const KelImageSize roi = {2, 1};
  const KelResult r = keliRGBToYCbCr_8u_C3R(rgb, 6, ycc, 6, roi);
  const Kel8u want[6] = {235, 128, 128, 16, 128, 128};
  for (int i = 0; i < 6; ++i) {
    if (r != kelOk || ycc[i] != want[i]) {
      fprintf(stderr, "result %d, byte %d: %d, want %d\n", (int)r, i, ycc[i],
              want[i]);
      return 1;
    }
  }
#ifdef KELCC_CHECK_SLOTS
  __builtin_cpu_init();
  const int avx2 = __builtin_cpu_supports("avx2") &&
                   __builtin_cpu_supports("fma") &&
                   __builtin_cpu_supports("bmi2");
  const KelFn want_fn = avx2 ? kel_impl_keliRGBToYCbCr_8u_C3R.avx2
                             : kel_impl_keliRGBToYCbCr_8u_C3R.portable;
  if (kel_slot_table[0] != want_fn) {
    fprintf(stderr, "slot 0 does not hold the %s implementation\n",
            avx2 ? "AVX2" : "portable");
    return 1;
  }
  printf("slot 0: %s implementation\n", avx2 ? "AVX2" : "portable");
#endif
  printf("%s: ok\n", kelccGetLibVersion()->version);
  return 0;
}
