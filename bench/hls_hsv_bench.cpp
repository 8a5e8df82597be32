// HLS and HSV: the RGB-order 8u members and RGB to HLS 32f, with OpenCV's
// cvtColor on the same conversion (the _FULL codes, whose hue spans 0..255
// like ours) at 1920x1080 and 3840x2160.
#include <cstddef>
#include <cstdint>
#include <string>
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
          KelResult (*fn)(const T*, int, T*, int, KelImageSize),
          [[maybe_unused]] int cvCode, int w, int h) {
  const size_t bytes = static_cast<size_t>(w) * h * 3 * sizeof(T);
  T* src = reinterpret_cast<T*>(RandomBuffer(bytes, 7));
  if constexpr (sizeof(T) == 4)  // floats in 0..1
    for (size_t i = 0; i < bytes / 4; ++i)
      src[i] = static_cast<float>(reinterpret_cast<uint32_t*>(src)[i] >> 8) /
               16777216.0f;
  T* dst = reinterpret_cast<T*>(RandomBuffer(bytes, 8));
  const int step = w * 3 * static_cast<int>(sizeof(T));
  Add(name, "kelcc", w, h, [=] { fn(src, step, dst, step, {w, h}); });
#if KELCC_HAVE_OPENCV
  const int type = sizeof(T) == 1 ? CV_8UC3 : CV_32FC3;
  Add(name, "opencv", w, h, [=] {
    const cv::Mat in(h, w, type, src);
    cv::Mat out(h, w, type, dst);
    cv::cvtColor(in, out, cvCode);
  });
#endif
  AddMemcpyLimit(name, w, h, bytes, bytes);
}

void Register() {
#if KELCC_HAVE_OPENCV
  cv::setNumThreads(1);
  const int toHsv = cv::COLOR_RGB2HSV_FULL, fromHsv = cv::COLOR_HSV2RGB_FULL;
  const int toHls = cv::COLOR_RGB2HLS_FULL, fromHls = cv::COLOR_HLS2RGB_FULL;
  const int toHls32 = cv::COLOR_RGB2HLS;
#else
  const int toHsv = 0, fromHsv = 0, toHls = 0, fromHls = 0, toHls32 = 0;
#endif
  for (auto [w, h] : {std::pair{1920, 1080}, std::pair{3840, 2160}}) {
    Case<Kel8u>("RGBToHSV_8u_C3R", keliRGBToHSV_8u_C3R, toHsv, w, h);
    Case<Kel8u>("HSVToRGB_8u_C3R", keliHSVToRGB_8u_C3R, fromHsv, w, h);
    Case<Kel8u>("RGBToHLS_8u_C3R", keliRGBToHLS_8u_C3R, toHls, w, h);
    Case<Kel8u>("HLSToRGB_8u_C3R", keliHLSToRGB_8u_C3R, fromHls, w, h);
    Case<Kel32f>("RGBToHLS_32f_C3R", keliRGBToHLS_32f_C3R, toHls32, w, h);
  }
}

const kel::bench::Registrar kRegister(Register);

}  // namespace
