// The version record.
#include "kelcc.h"

namespace {
constexpr KelLibVersion kVersion = {
    2018,
    0,
    1,
    56998,
    {'z', '5', '\0', '\0'},
    "kelCC AVX-512F/CD/ER/PF (z5)",
    "2018.0.1 (r56998)",
    "Oct 10 2017",
};
}  // namespace

extern "C" __attribute__((visibility("default"))) const KelLibVersion*
kelccGetLibVersion(void) {
  return &kVersion;
}
