// kelGetMaxCacheSizeB: the size of the processor's largest cache.
//
// On x86-64 the processor describes its caches itself, and what it says it
// has decides which description is read: the deterministic cache
// parameters leaf (4) when the basic leaves reach it and its first
// sub-leaf names a cache; otherwise the extended cache topology leaf
// (0x8000001D, the same layout), when the extended leaves reach it and the
// topology-extensions feature bit (CPUID 0x80000001, ECX bit 22) is set.
// Elsewhere the kernel's description in sysfs is read. When neither says
// anything the query fails, and callers keep ordinary stores.
//
// The description is read once per process and then answered from memory:
// under virtualisation each CPUID instruction traps to the hypervisor, and
// the walk over the cache leaves costs tens of microseconds, a large share
// of the copies that ask for it.
#include <atomic>
#include <cstdint>
#include <cstdio>

#include "kelcore/kelcore.h"

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace {

#if defined(__x86_64__)

// Walks the sub-leaves of a cache-parameters leaf and returns the largest
// cache it describes, or 0 if it describes none.
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
  if (maxLeaf >= 4) {
    const int64_t largest = LargestCache(4);
    if (largest > 0) return largest;
  }
  unsigned maxExt = 0, a1 = 0, b1 = 0, c1 = 0, d1 = 0;
  __cpuid(0x80000000u, maxExt, b, c, d);
  if (maxExt >= 0x80000001u) __cpuid(0x80000001u, a1, b1, c1, d1);
  const bool topologyExtensions = (c1 >> 22) & 1;
  if (maxExt >= 0x8000001Du && topologyExtensions)
    return LargestCache(0x8000001Du);
  return 0;
}

#else

// The largest cache the kernel lists for CPU 0, or 0.
int64_t ReadLargestCache() {
  int64_t largest = 0;
  for (int i = 0; i < 16; ++i) {
    char path[64];
    std::snprintf(path, sizeof path,
                  "/sys/devices/system/cpu/cpu0/cache/index%d/size", i);
    std::FILE* f = std::fopen(path, "r");
    if (f == nullptr) break;
    long long value = 0;
    char unit = 0;
    const int got = std::fscanf(f, "%lld%c", &value, &unit);
    std::fclose(f);
    if (got < 1 || value <= 0) continue;
    if (unit == 'K') value *= 1024;
    if (unit == 'M') value *= 1024 * 1024;
    if (unit == 'G') value *= 1024 * 1024 * 1024;
    if (value > largest) largest = value;
  }
  return largest;
}

#endif

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
