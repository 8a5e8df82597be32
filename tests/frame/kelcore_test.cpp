// kelGetMaxCacheSizeB against the operating system's own cache description.
#include "kelcore/kelcore.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <string>

namespace {

// The largest cache the kernel lists for CPU 0, in bytes (0 if unknown).
int64_t LargestCacheFromSysfs() {
  int64_t largest = 0;
  for (int i = 0; i < 16; ++i) {
    std::ifstream f("/sys/devices/system/cpu/cpu0/cache/index" +
                    std::to_string(i) + "/size");
    if (!f) break;
    std::string text;
    f >> text;
    int64_t value = std::stoll(text);
    if (!text.empty() && text.back() == 'K') value *= 1024;
    if (!text.empty() && text.back() == 'M') value *= 1024 * 1024;
    largest = std::max(largest, value);
  }
  return largest;
}

TEST(CacheQuery, MatchesTheLargestCacheTheSystemLists) {
  int32_t size = -1;
  ASSERT_EQ(kelGetMaxCacheSizeB(&size), 0);
  EXPECT_GE(size, 32 * 1024);
  const int64_t sysfs = LargestCacheFromSysfs();
  if (sysfs == 0) GTEST_SKIP() << "no cache description in sysfs";
  EXPECT_EQ(size, sysfs);
}

TEST(CacheQuery, NullPointerFailsAndIsAnsweredAgainEachTime) {
  EXPECT_NE(kelGetMaxCacheSizeB(nullptr), 0);
  int32_t a = 0, b = 0;
  ASSERT_EQ(kelGetMaxCacheSizeB(&a), 0);
  ASSERT_EQ(kelGetMaxCacheSizeB(&b), 0);
  EXPECT_EQ(a, b);
}

}  // namespace
