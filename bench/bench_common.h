// Benchmark registration shared by every family.
//
// A case is named "<conversion>/<implementation>/<width>x<height>"; the
// table printed at the end puts kelCC, its peers and the memcpy limit of
// each conversion side by side in Mpix/s.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kel::bench {

// Registers `run` (one whole conversion of a w x h image) as a benchmark.
// `impl` is "kelcc" for the library or the peer's name ("opencv", "libyuv",
// "swscale").
void Add(const std::string& conversion, const std::string& impl, int w, int h,
         std::function<void()> run);

// Registers the memcpy limit of a conversion: one memcpy moving
// (bytesRead + bytesWritten) / 2 bytes, reported in pixels of the image.
void AddMemcpyLimit(const std::string& conversion, int w, int h,
                    size_t bytesRead, size_t bytesWritten);

// A buffer of random bytes that lives as long as the program.
uint8_t* RandomBuffer(size_t bytes, uint32_t seed = 1);

// The sizes every conversion is measured at.
inline const std::vector<std::pair<int, int>>& StandardSizes() {
  static const std::vector<std::pair<int, int>> sizes = {{1920, 1080},
                                                         {64, 64}};
  return sizes;
}

// Runs `f` once when the program starts: the way bench files register.
struct Registrar {
  explicit Registrar(void (*f)()) { f(); }
};

}  // namespace kel::bench
