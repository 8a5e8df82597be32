// Test main: reports which implementations the machine can run.
#include <gtest/gtest.h>

#include <cstdio>

#include "frame/dispatch.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  std::printf("AVX2 implementations: %s\n",
              kel::frame::CpuHasAvx2() ? "available" : "not available");
  return RUN_ALL_TESTS();
}
