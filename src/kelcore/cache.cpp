// kelGetMaxCacheSizeB: the largest cache described by the processor's
// deterministic cache parameters (CPUID leaf 4 on Intel, leaf 0x8000001D on
// AMD and Hygon).
//
// The description is read once per process and then answered from memory:
// under virtualisation each CPUID instruction traps to the hypervisor, and
// the walk over the cache leaves costs tens of microseconds, a large share
// of the copies that ask for it.
#include <cpuid.h>

#include <atomic>
#include <cstdint>
#include <cstring>

#include "kelcore/kelcore.h"

namespace {

// Walks the sub-leaves of a deterministic-cache-parameters leaf and returns
// the largest cache it describes, or 0 if it describes none.
int64_t LargestCache(unsigned leaf) {
  int64_t largest = 0;
  for (unsigned sub = 0; sub < 16; ++sub) {
    unsigned a = 0, b = 0, c = 0, d = 0;
    __cpuid_count(leaf, sub, a, b, c, d);
    if ((a & 0x1f) == 0) break;  // no more caches
    const int64_t ways = ((b >> 22) & 0x3ff) + 1;
    const int64_t partitions = ((b >> 12) & 0x3ff) + 1;
    const int64_t line = (b & 0xfff) + 1;
    const int64_t sets = int64_t{c} + 1;
    const int64_t size = ways * partitions * line * sets;
    if (size > largest) largest = size;
  }
  return largest;
}

// The largest cache in bytes, or 0 when the processor describes none.
int64_t ReadLargestCache() {
  unsigned maxLeaf = 0, b = 0, c = 0, d = 0;
  if (!__get_cpuid(0, &maxLeaf, &b, &c, &d)) return 0;
  char vendor[13] = {};
  std::memcpy(vendor + 0, &b, 4);
  std::memcpy(vendor + 4, &d, 4);
  std::memcpy(vendor + 8, &c, 4);

  int64_t largest = 0;
  if (std::strcmp(vendor, "GenuineIntel") == 0) {
    if (maxLeaf >= 4) largest = LargestCache(4);
  } else if (std::strcmp(vendor, "AuthenticAMD") == 0 ||
             std::strcmp(vendor, "HygonGenuine") == 0) {
    unsigned maxExt = 0, a1 = 0, b1 = 0, c1 = 0, d1 = 0;
    __cpuid(0x80000000u, maxExt, b, c, d);
    if (maxExt >= 0x80000001u) __cpuid(0x80000001u, a1, b1, c1, d1);
    const bool topologyExtensions = (c1 >> 22) & 1;
    if (maxExt >= 0x8000001Du && topologyExtensions)
      largest = LargestCache(0x8000001Du);
  }
  return largest > 0 ? largest : 0;
}

// -1 until the description has been read; then the largest cache, 0 for none.
std::atomic<int64_t> g_largest{-1};

}  // namespace

extern "C" int kelGetMaxCacheSizeB(int32_t* sizeB) {
  if (sizeB == nullptr) return 1;
  int64_t largest = g_largest.load(std::memory_order_relaxed);
  if (largest < 0) {
    largest = ReadLargestCache();  // the same answer on every thread
    g_largest.store(largest, std::memory_order_relaxed);
  }
  if (largest == 0) return 1;
  if (largest > INT32_MAX) largest = INT32_MAX;
  *sizeB = static_cast<int32_t>(largest);
  return 0;
}
