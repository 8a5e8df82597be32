// RGB and BGR to YCbCr: every encoder at the standard sizes, with the
// peers' nearest conversions.
//
// Peers: OpenCV's RGB -> YCrCb (4:4:4, packed) and RGB -> I420; libyuv's
// RAWToI420 (RAW is R, G, B in memory) and ARGBToNV12 (ARGB is B, G, R, A
// in memory). Their coefficients and rounding differ from ours; the work
// per pixel is comparable.
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

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

struct Buffers {
  int w, h;
  const Kel8u *c3, *c4, *r, *g, *b;
  Kel8u *y, *c1, *c2, *packed;
};

// Bytes written per pixel, times 2: 4:4:4 6 (8 for AC4), 4:2:2 4,
// 4:2:0 and 4:1:1 3.
size_t Out2(int sampling, bool alpha) {
  return sampling == 444 ? (alpha ? 8 : 6) : sampling == 422 ? 4 : 3;
}

void Packed(const char* name, KelResult(*fn) KELCC_P_C_C, int bytesIn,
            int sampling, bool alpha, const Buffers& b) {
  const Kel8u* src = bytesIn == 3 ? b.c3 : b.c4;
  Kel8u* dst = b.packed;
  const int w = b.w, h = b.h;
  const int dstStep = sampling == 444 ? (alpha ? 4 : 3) * w : 2 * w;
  Add(name, "kelcc", w, h, [=] { fn(src, bytesIn * w, dst, dstStep, {w, h}); });
  const size_t px = static_cast<size_t>(w) * h;
  AddMemcpyLimit(name, w, h, bytesIn * px, Out2(sampling, alpha) * px / 2);
}

void SharedPlanes(const char* name, KelResult(*fn) KELCC_P_C_P3, int bytesIn,
                  const Buffers& b) {
  const Kel8u* src = bytesIn == 3 ? b.c3 : b.c4;
  const std::array<Kel8u*, 3> planes{b.y, b.c1, b.c2};
  const int w = b.w, h = b.h;
  Add(name, "kelcc", w, h, [=] {
    fn(src, bytesIn * w, planes.data(), w, {w, h});
  });
  const size_t px = static_cast<size_t>(w) * h;
  AddMemcpyLimit(name, w, h, bytesIn * px, 3 * px);
}

void Planes(const char* name, KelResult(*fn) KELCC_P_C_P3S, int bytesIn,
            int sampling, const Buffers& b) {
  const Kel8u* src = bytesIn == 3 ? b.c3 : b.c4;
  const std::array<Kel8u*, 3> planes{b.y, b.c1, b.c2};
  const int w = b.w, h = b.h, cw = sampling == 411 ? w / 4 : w / 2;
  const std::array<int, 3> steps{w, cw, cw};
  Add(name, "kelcc", w, h, [=] {
    fn(src, bytesIn * w, planes.data(), steps.data(), {w, h});
  });
  const size_t px = static_cast<size_t>(w) * h;
  AddMemcpyLimit(name, w, h, bytesIn * px, Out2(sampling, false) * px / 2);
}

void TwoPlanes(const char* name, KelResult(*fn) KELCC_P_C_P2, int bytesIn,
               const Buffers& b) {
  const Kel8u* src = bytesIn == 3 ? b.c3 : b.c4;
  const int w = b.w, h = b.h;
  Kel8u *y = b.y, *c = b.c1;
  Add(name, "kelcc", w, h, [=] { fn(src, bytesIn * w, y, w, c, w, {w, h}); });
  const size_t px = static_cast<size_t>(w) * h;
  AddMemcpyLimit(name, w, h, bytesIn * px, 3 * px / 2);
}

void FromPlanes(const char* name, KelResult(*fn) KELCC_P_P3_C,
                const Buffers& b) {
  const std::array<const Kel8u*, 3> src{b.r, b.g, b.b};
  const int w = b.w, h = b.h;
  Kel8u* dst = b.packed;
  Add(name, "kelcc", w, h, [=] { fn(src.data(), w, dst, 2 * w, {w, h}); });
  const size_t px = static_cast<size_t>(w) * h;
  AddMemcpyLimit(name, w, h, 3 * px, 2 * px);
}

void Register() {
  for (const auto& [w, h] : kel::bench::StandardSizes()) {
    const size_t px = static_cast<size_t>(w) * h;
    const Buffers b{w,
                    h,
                    RandomBuffer(3 * px, 21),
                    RandomBuffer(4 * px, 22),
                    RandomBuffer(px, 23),
                    RandomBuffer(px, 24),
                    RandomBuffer(px, 25),
                    RandomBuffer(px, 26),
                    RandomBuffer(px, 27),
                    RandomBuffer(px, 28),
                    RandomBuffer(4 * px, 29)};

    Packed("RGBToYCbCr_8u_C3R", keliRGBToYCbCr_8u_C3R, 3, 444, false, b);
    Packed("RGBToYCbCr_8u_AC4R", keliRGBToYCbCr_8u_AC4R, 4, 444, true, b);
    SharedPlanes("RGBToYCbCr_8u_C3P3R", keliRGBToYCbCr_8u_C3P3R, 3, b);
    SharedPlanes("RGBToYCbCr_8u_AC4P3R", keliRGBToYCbCr_8u_AC4P3R, 4, b);
    {
      const char* name = "RGBToYCbCr_8u_P3R";
      const std::array<const Kel8u*, 3> src{b.r, b.g, b.b};
      const std::array<Kel8u*, 3> dst{b.y, b.c1, b.c2};
      Add(name, "kelcc", w, h, [=] {
        keliRGBToYCbCr_8u_P3R(src.data(), w, dst.data(), w, {w, h});
      });
      AddMemcpyLimit(name, w, h, 3 * px, 3 * px);
    }

    Packed("RGBToYCbCr422_8u_C3C2R", keliRGBToYCbCr422_8u_C3C2R, 3, 422, false,
           b);
    Planes("RGBToYCbCr422_8u_C3P3R", keliRGBToYCbCr422_8u_C3P3R, 3, 422, b);
    FromPlanes("RGBToYCbCr422_8u_P3C2R", keliRGBToYCbCr422_8u_P3C2R, b);
    Packed("RGBToYCrCb422_8u_C3C2R", keliRGBToYCrCb422_8u_C3C2R, 3, 422, false,
           b);
    FromPlanes("RGBToYCrCb422_8u_P3C2R", keliRGBToYCrCb422_8u_P3C2R, b);
    Packed("RGBToCbYCr422_8u_C3C2R", keliRGBToCbYCr422_8u_C3C2R, 3, 422, false,
           b);
    Packed("BGRToYCbCr422_8u_C3C2R", keliBGRToYCbCr422_8u_C3C2R, 3, 422, false,
           b);
    Packed("BGRToYCbCr422_8u_AC4C2R", keliBGRToYCbCr422_8u_AC4C2R, 4, 422,
           false, b);
    Planes("BGRToYCbCr422_8u_C3P3R", keliBGRToYCbCr422_8u_C3P3R, 3, 422, b);
    Planes("BGRToYCbCr422_8u_AC4P3R", keliBGRToYCbCr422_8u_AC4P3R, 4, 422, b);
    Packed("BGRToCbYCr422_8u_AC4C2R", keliBGRToCbYCr422_8u_AC4C2R, 4, 422,
           false, b);

    Planes("RGBToYCbCr420_8u_C3P3R", keliRGBToYCbCr420_8u_C3P3R, 3, 420, b);
    TwoPlanes("RGBToYCbCr420_8u_C3P2R", keliRGBToYCbCr420_8u_C3P2R, 3, b);
    TwoPlanes("RGBToYCbCr420_8u_C4P2R", keliRGBToYCbCr420_8u_C4P2R, 4, b);
    Planes("RGBToYCrCb420_8u_AC4P3R", keliRGBToYCrCb420_8u_AC4P3R, 4, 420, b);
    Planes("BGRToYCbCr420_8u_C3P3R", keliBGRToYCbCr420_8u_C3P3R, 3, 420, b);
    Planes("BGRToYCbCr420_8u_AC4P3R", keliBGRToYCbCr420_8u_AC4P3R, 4, 420, b);
    TwoPlanes("BGRToYCbCr420_8u_C3P2R", keliBGRToYCbCr420_8u_C3P2R, 3, b);
    TwoPlanes("BGRToYCbCr420_8u_AC4P2R", keliBGRToYCbCr420_8u_AC4P2R, 4, b);
    Planes("BGRToYCrCb420_8u_C3P3R", keliBGRToYCrCb420_8u_C3P3R, 3, 420, b);
    Planes("BGRToYCrCb420_8u_AC4P3R", keliBGRToYCrCb420_8u_AC4P3R, 4, 420, b);

    Planes("BGRToYCbCr411_8u_C3P3R", keliBGRToYCbCr411_8u_C3P3R, 3, 411, b);
    Planes("BGRToYCbCr411_8u_AC4P3R", keliBGRToYCbCr411_8u_AC4P3R, 4, 411, b);

    // Peers.
#if KELCC_HAVE_OPENCV
    cv::setNumThreads(1);
    {
      const cv::Mat src(h, w, CV_8UC3, const_cast<Kel8u*>(b.c3));
      cv::Mat dst(h, w, CV_8UC3, b.packed);
      Add("RGBToYCbCr_8u_C3R", "opencv", w, h,
          [=]() mutable { cv::cvtColor(src, dst, cv::COLOR_RGB2YCrCb); });
      cv::Mat i420(h * 3 / 2, w, CV_8UC1, b.packed);
      Add("RGBToYCbCr420_8u_C3P3R", "opencv", w, h,
          [=]() mutable { cv::cvtColor(src, i420, cv::COLOR_RGB2YUV_I420); });
    }
#endif
#if KELCC_HAVE_LIBYUV
    {
      const Kel8u *c3 = b.c3, *c4 = b.c4;
      Kel8u *y = b.y, *c1 = b.c1, *c2 = b.c2;
      Add("RGBToYCbCr420_8u_C3P3R", "libyuv", w, h, [=] {
        libyuv::RAWToI420(c3, 3 * w, y, w, c1, w / 2, c2, w / 2, w, h);
      });
      Add("BGRToYCbCr420_8u_AC4P2R", "libyuv", w, h,
          [=] { libyuv::ARGBToNV12(c4, 4 * w, y, w, c1, w, w, h); });
    }
#endif
  }
}

const kel::bench::Registrar kRegistrar(Register);

}  // namespace
