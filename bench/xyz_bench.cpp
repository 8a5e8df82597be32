// XYZ: RGB to XYZ for 8u and 32f beside OpenCV's cvtColor (COLOR_RGB2XYZ),
// at 1920x1080 and 3840x2160.
#include <cstddef>
#include <cstdint>
#include <utility>

#include "bench_common.h"
#include "kelcc.h"

#if KELCC_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using kel::bench::Add;
using kel::bench::AddMemcpyLimit;
using kel::bench::RandomBuffer;

template <class T>
void Case(const char* name,
          KelResult (*fn)(const T*, int, T*, int, KelImageSize), int w,
          int h) {
  const size_t bytes = static_cast<size_t>(w) * h * 3 * sizeof(T);
  T* src = reinterpret_cast<T*>(RandomBuffer(bytes, 31));
  if constexpr (sizeof(T) == 4)
    for (size_t i = 0; i < bytes / 4; ++i) src[i] = float(i % 251) / 251.0f;
  T* dst = reinterpret_cast<T*>(RandomBuffer(bytes, 32));
  const int step = w * 3 * static_cast<int>(sizeof(T));
  Add(name, "kelcc", w, h, [=] { fn(src, step, dst, step, {w, h}); });
#if KELCC_HAVE_OPENCV
  const int type = sizeof(T) == 1 ? CV_8UC3 : CV_32FC3;
  Add(name, "opencv", w, h, [=] {
    const cv::Mat in(h, w, type, src);
    cv::Mat out(h, w, type, dst);
    cv::cvtColor(in, out, cv::COLOR_RGB2XYZ);
  });
#endif
  AddMemcpyLimit(name, w, h, bytes, bytes);
}

void Register() {
#if KELCC_HAVE_OPENCV
  cv::setNumThreads(1);
#endif
  for (auto [w, h] : {std::pair{1920, 1080}, std::pair{3840, 2160}}) {
    Case<Kel8u>("RGBToXYZ_8u_C3R", keliRGBToXYZ_8u_C3R, w, h);
    Case<Kel32f>("RGBToXYZ_32f_C3R", keliRGBToXYZ_32f_C3R, w, h);
  }
}

const kel::bench::Registrar kRegister(Register);

}  // namespace
