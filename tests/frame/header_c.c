/* The public header used from C99: types, codes and declarations. */
#include <stdio.h>
#include <string.h>

#include "kelcc.h"

int main(void) {
  const KelLibVersion* v = kelccGetLibVersion();
  KelImageSize roi = {2, 2};
  Kel8u dst[12] = {0};
  const Kel8u src[12] = {0};
  KelResult r;
  if (v == NULL || strcmp(v->name, "kelCC AVX-512F/CD/ER/PF (z5)") != 0) {
    puts("version record not as expected");
    return 1;
  }
  /* A null source must be refused through the C call path. */
  r = keliRGBToYCbCr_8u_C3R(NULL, 6, dst, 6, roi);
  if (r != kelErrNullPtr) {
    printf("null source gave %d\n", (int)r);
    return 1;
  }
  r = keliRGBToYCbCr_8u_C3R(src, 6, dst, 6, roi);
  if (r != kelOk || dst[0] != 16 || dst[1] != 128 || dst[2] != 128) {
    printf("black gave %d: %d %d %d\n", (int)r, dst[0], dst[1], dst[2]);
    return 1;
  }
  return 0;
}
