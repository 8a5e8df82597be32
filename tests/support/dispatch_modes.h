// Running a test body under each set of implementations.
#pragma once

#include <gtest/gtest.h>

#include "frame/dispatch.h"

namespace kel::test {

// Runs `body` once with the portable implementations in the slots and once
// with the AVX2 ones (when the processor has them), then restores the
// load-time choice. Failures are traced with the mode's name.
template <class Body>
void ForEachDispatch(Body&& body) {
  const bool initial = frame::UsingAvx2();
  for (bool avx2 : {false, true}) {
    if (avx2 && !frame::CpuHasAvx2()) continue;
    frame::SelectImplementations(avx2);
    SCOPED_TRACE(avx2 ? "dispatch: AVX2" : "dispatch: portable");
    body();
  }
  frame::SelectImplementations(initial);
}

}  // namespace kel::test
