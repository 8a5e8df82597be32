// kelcore: the small platform piece the library builds on.
#pragma once

#include <cstdint>

extern "C" {

// Stores the size in bytes of the processor's largest cache in *sizeB.
// Returns 0 on success and non-zero on failure (null pointer, or no cache
// description available); *sizeB is left as it was on failure.
int kelGetMaxCacheSizeB(int32_t* sizeB);
}
