// Colour twist: 8u and 32f three-channel images through a 3 x 4 matrix,
// beside OpenCV's cv::transform with the same 3 x 4 float matrix, at
// 1920x1080 and 3840x2160.
#include <cstddef>
#include <cstdint>
#include <utility>

#include "bench_common.h"
#include "kelcc.h"

#if KELCC_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

using kel::bench::Add;
using kel::bench::AddMemcpyLimit;
using kel::bench::RandomBuffer;

constexpr float kMatrix[3][4] = {{0.9f, 0.1f, 0.05f, 3.0f},
                                 {-0.2f, 1.1f, 0.1f, -2.0f},
                                 {0.05f, -0.1f, 1.2f, 1.5f}};

template <class T>
void Case(const char* name,
          KelResult (*fn)(const T*, int, T*, int, KelImageSize,
                          const Kel32f[3][4]),
          int w, int h) {
  const size_t bytes = static_cast<size_t>(w) * h * 3 * sizeof(T);
  T* src = reinterpret_cast<T*>(RandomBuffer(bytes, 11));
  if constexpr (sizeof(T) == 4)  // floats in 0..1
    for (size_t i = 0; i < bytes / 4; ++i)
      src[i] = static_cast<float>(reinterpret_cast<uint32_t*>(src)[i] >> 8) /
               16777216.0f;
  T* dst = reinterpret_cast<T*>(RandomBuffer(bytes, 12));
  const int step = w * 3 * static_cast<int>(sizeof(T));
  Add(name, "kelcc", w, h, [=] { fn(src, step, dst, step, {w, h}, kMatrix); });
#if KELCC_HAVE_OPENCV
  const int type = sizeof(T) == 1 ? CV_8UC3 : CV_32FC3;
  Add(name, "opencv", w, h, [=] {
    const cv::Mat in(h, w, type, src);
    cv::Mat out(h, w, type, dst);
    const cv::Mat m(3, 4, CV_32F, const_cast<float*>(&kMatrix[0][0]));
    cv::transform(in, out, m);
  });
#endif
  AddMemcpyLimit(name, w, h, bytes, bytes);
}

void Register() {
#if KELCC_HAVE_OPENCV
  cv::setNumThreads(1);
#endif
  for (auto [w, h] : {std::pair{1920, 1080}, std::pair{3840, 2160}}) {
    Case<Kel8u>("ColorTwist32f_8u_C3R", keliColorTwist32f_8u_C3R, w, h);
    Case<Kel32f>("ColorTwist_32f_C3R", keliColorTwist_32f_C3R, w, h);
  }
}

const kel::bench::Registrar kRegister(Register);

}  // namespace
