// Gray: RGB to gray (8u, 32f) and gray to RGB (8u) beside OpenCV's
// cvtColor and libyuv's RAWToJ400 (R, G, B in memory, full-range luma), at
// 1920x1080 and 3840x2160.
#include <cstddef>
#include <cstdint>
#include <utility>

#include "bench_common.h"
#include "kelcc.h"

#if KELCC_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif
#if KELCC_HAVE_LIBYUV
#include <libyuv.h>
#endif

namespace {

using kel::bench::Add;
using kel::bench::AddMemcpyLimit;
using kel::bench::RandomBuffer;

void Register() {
#if KELCC_HAVE_OPENCV
  cv::setNumThreads(1);
#endif
  for (auto [w, h] : {std::pair{1920, 1080}, std::pair{3840, 2160}}) {
    const size_t px = static_cast<size_t>(w) * h;
    const Kel8u* rgb = RandomBuffer(3 * px, 21);
    Kel8u* gray = RandomBuffer(px, 22);
    Kel8u* out3 = RandomBuffer(3 * px, 23);
    Add("RGBToGray_8u_C3C1R", "kelcc", w, h, [=] {
      keliRGBToGray_8u_C3C1R(rgb, 3 * w, gray, w, {w, h});
    });
    AddMemcpyLimit("RGBToGray_8u_C3C1R", w, h, 3 * px, px);
    Add("GrayToRGB_8u_C1C3R", "kelcc", w, h, [=] {
      keliGrayToRGB_8u_C1C3R(gray, w, out3, 3 * w, {w, h});
    });
    AddMemcpyLimit("GrayToRGB_8u_C1C3R", w, h, px, 3 * px);
    Kel32f* frgb = reinterpret_cast<Kel32f*>(RandomBuffer(12 * px, 24));
    for (size_t i = 0; i < 3 * px; ++i) frgb[i] = float(i % 251) / 251.0f;
    Kel32f* fgray = reinterpret_cast<Kel32f*>(RandomBuffer(4 * px, 25));
    Add("RGBToGray_32f_C3C1R", "kelcc", w, h, [=] {
      keliRGBToGray_32f_C3C1R(frgb, 12 * w, fgray, 4 * w, {w, h});
    });
    AddMemcpyLimit("RGBToGray_32f_C3C1R", w, h, 12 * px, 4 * px);
#if KELCC_HAVE_LIBYUV
    Add("RGBToGray_8u_C3C1R", "libyuv", w, h,
        [=] { libyuv::RAWToJ400(rgb, 3 * w, gray, w, w, h); });
#endif
#if KELCC_HAVE_OPENCV
    Add("RGBToGray_8u_C3C1R", "opencv", w, h, [=] {
      const cv::Mat in(h, w, CV_8UC3, const_cast<Kel8u*>(rgb));
      cv::Mat out(h, w, CV_8UC1, gray);
      cv::cvtColor(in, out, cv::COLOR_RGB2GRAY);
    });
    Add("GrayToRGB_8u_C1C3R", "opencv", w, h, [=] {
      const cv::Mat in(h, w, CV_8UC1, gray);
      cv::Mat out(h, w, CV_8UC3, out3);
      cv::cvtColor(in, out, cv::COLOR_GRAY2RGB);
    });
    Add("RGBToGray_32f_C3C1R", "opencv", w, h, [=] {
      const cv::Mat in(h, w, CV_32FC3, frgb);
      cv::Mat out(h, w, CV_32FC1, fgray);
      cv::cvtColor(in, out, cv::COLOR_RGB2GRAY);
    });
#endif
  }
}

const kel::bench::Registrar kRegister(Register);

}  // namespace
