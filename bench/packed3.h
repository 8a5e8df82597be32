// Three-channel 8u or 32f images (floats spread over 0..1) for the
// colour-space benchmarks, and the registration of one kelCC call beside
// its OpenCV counterpart on the same buffers, with the memcpy limit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "bench_common.h"
#include "kelcc.h"

#if KELCC_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace kel::bench {

template <class T>
struct Packed3 {
  int w, h, step;
  size_t bytes;
  T* src;
  T* dst;
};

template <class T>
Packed3<T> MakePacked3(int w, int h, uint32_t seed) {
  Packed3<T> b{w,
               h,
               w * 3 * static_cast<int>(sizeof(T)),
               static_cast<size_t>(w) * h * 3 * sizeof(T),
               nullptr,
               nullptr};
  b.src = reinterpret_cast<T*>(RandomBuffer(b.bytes, seed));
  b.dst = reinterpret_cast<T*>(RandomBuffer(b.bytes, seed + 1));
  if constexpr (sizeof(T) == 4)
    for (size_t i = 0; i < b.bytes / 4; ++i)
      b.src[i] = static_cast<float>(i % 251) / 251.0f;
  return b;
}

// `kelcc(src, dst)` as "kelcc" and, with OpenCV, `opencv(in, out)` on Mats
// over the same buffers as "opencv".
template <class T, class Kel, class Cv>
void AddPacked3(const char* name, const Packed3<T>& b, Kel kelcc,
                [[maybe_unused]] Cv opencv) {
  Add(name, "kelcc", b.w, b.h, [=] { kelcc(b); });
#if KELCC_HAVE_OPENCV
  const int type = sizeof(T) == 1 ? CV_8UC3 : CV_32FC3;
  Add(name, "opencv", b.w, b.h, [=] {
    const cv::Mat in(b.h, b.w, type, b.src);
    cv::Mat out(b.h, b.w, type, b.dst);
    opencv(in, out);
  });
#endif
  AddMemcpyLimit(name, b.w, b.h, b.bytes, b.bytes);
}

}  // namespace kel::bench
