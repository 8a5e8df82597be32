// HLS and HSV: the RGB-order 8u members and RGB to HLS 32f, with OpenCV's
// cvtColor on the same conversion (the _FULL codes, whose hue spans 0..255
// like ours) at 1920x1080 and 3840x2160.
#include <utility>

#include "packed3.h"

namespace {

using kel::bench::AddPacked3;
using kel::bench::MakePacked3;
using kel::bench::Packed3;

template <class T>
void Case(const char* name,
          KelResult (*fn)(const T*, int, T*, int, KelImageSize),
          [[maybe_unused]] int cvCode, int w, int h) {
  AddPacked3(
      name, MakePacked3<T>(w, h, 7),
      [fn](const Packed3<T>& b) {
        fn(b.src, b.step, b.dst, b.step, {b.w, b.h});
      },
      [cvCode](const auto& in, auto& out) {
#if KELCC_HAVE_OPENCV
        cv::cvtColor(in, out, cvCode);
#endif
      });
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
