// Colour twist: 8u and 32f three-channel images through a 3 x 4 matrix,
// beside OpenCV's cv::transform with the same 3 x 4 float matrix, at
// 1920x1080 and 3840x2160.
#include <utility>

#include "packed3.h"

namespace {

using kel::bench::AddPacked3;
using kel::bench::MakePacked3;
using kel::bench::Packed3;

constexpr float kMatrix[3][4] = {{0.9f, 0.1f, 0.05f, 3.0f},
                                 {-0.2f, 1.1f, 0.1f, -2.0f},
                                 {0.05f, -0.1f, 1.2f, 1.5f}};

template <class T>
void Case(const char* name,
          KelResult (*fn)(const T*, int, T*, int, KelImageSize,
                          const Kel32f[3][4]),
          int w, int h) {
  AddPacked3(
      name, MakePacked3<T>(w, h, 11),
      [fn](const Packed3<T>& b) {
        fn(b.src, b.step, b.dst, b.step, {b.w, b.h}, kMatrix);
      },
      [](const auto& in, auto& out) {
#if KELCC_HAVE_OPENCV
        const cv::Mat m(3, 4, CV_32F, const_cast<float*>(&kMatrix[0][0]));
        cv::transform(in, out, m);
#endif
      });
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
