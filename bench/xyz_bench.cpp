// XYZ: RGB to XYZ for 8u and 32f beside OpenCV's cvtColor (COLOR_RGB2XYZ),
// at 1920x1080 and 3840x2160.
#include <utility>

#include "packed3.h"

namespace {

using kel::bench::AddPacked3;
using kel::bench::MakePacked3;
using kel::bench::Packed3;

template <class T>
void Case(const char* name,
          KelResult (*fn)(const T*, int, T*, int, KelImageSize), int w, int h) {
  AddPacked3(
      name, MakePacked3<T>(w, h, 31),
      [fn](const Packed3<T>& b) {
        fn(b.src, b.step, b.dst, b.step, {b.w, b.h});
      },
      [](const auto& in, auto& out) {
#if KELCC_HAVE_OPENCV
        cv::cvtColor(in, out, cv::COLOR_RGB2XYZ);
#endif
      });
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
