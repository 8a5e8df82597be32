// Filtered 4:2:0 chroma re-sampling.
//
// Peer: libyuv has no four-tap 4:2:0 -> 4:2:2 conversion (its I420ToI422
// repeats rows). The libyuv row below does a comparable filtered job
// instead: a luma plane copy and a bilinear (two-tap) vertical doubling of
// each chroma plane with ScalePlane. It is not the same filter.
#include <cstddef>
#include <cstdint>

#include "bench_common.h"
#include "kelcc.h"

#if KELCC_HAVE_LIBYUV
#include <libyuv.h>
#endif

namespace {

using kel::bench::Add;
using kel::bench::AddMemcpyLimit;
using kel::bench::RandomBuffer;

void Register() {
  for (const auto& [w, h] : kel::bench::StandardSizes()) {
    const size_t luma = static_cast<size_t>(w) * h;
    const int cw = w / 2;
    // 4:2:0 source: planar and interleaved.
    const Kel8u* srcY = RandomBuffer(luma, 11);
    const Kel8u* srcCb = RandomBuffer(luma / 4, 12);
    const Kel8u* srcCr = RandomBuffer(luma / 4, 13);
    const Kel8u* srcCbCr = RandomBuffer(luma / 2, 14);
    // Destinations: planar 4:2:2 (also holds planar 4:2:0), packed 4:2:2.
    Kel8u* dstY = RandomBuffer(luma, 15);
    Kel8u* dstC1 = RandomBuffer(luma / 2, 16);
    Kel8u* dstC2 = RandomBuffer(luma / 2, 17);
    Kel8u* dstPacked = RandomBuffer(2 * luma, 18);
    const KelImageSize roi{w, h};

    {
      const char* name = "YCbCr420ToYCbCr422_Filter_P3R";
      Add(name, "kelcc", w, h, [=] {
        const Kel8u* src[3] = {srcY, srcCb, srcCr};
        const int srcStep[3] = {w, cw, cw};
        Kel8u* const dst[3] = {dstY, dstC1, dstC2};
        const int dstStep[3] = {w, cw, cw};
        keliYCbCr420ToYCbCr422_Filter_8u_P3R(src, srcStep, dst, dstStep, roi);
      });
#if KELCC_HAVE_LIBYUV
      Add(name, "libyuv", w, h, [=] {
        libyuv::CopyPlane(srcY, w, dstY, w, w, h);
        libyuv::ScalePlane(srcCb, cw, cw, h / 2, dstC1, cw, cw, h,
                           libyuv::kFilterBilinear);
        libyuv::ScalePlane(srcCr, cw, cw, h / 2, dstC2, cw, cw, h,
                           libyuv::kFilterBilinear);
      });
#endif
      AddMemcpyLimit(name, w, h, luma * 3 / 2, luma * 2);
    }
    {
      const char* name = "YCbCr420ToYCbCr422_Filter_P2P3R";
      Add(name, "kelcc", w, h, [=] {
        Kel8u* const dst[3] = {dstY, dstC1, dstC2};
        const int dstStep[3] = {w, cw, cw};
        keliYCbCr420ToYCbCr422_Filter_8u_P2P3R(srcY, w, srcCbCr, w, dst,
                                               dstStep, roi);
      });
      AddMemcpyLimit(name, w, h, luma * 3 / 2, luma * 2);
    }
    {
      const char* name = "YCbCr420ToYCbCr422_Filter_P2C2R";
      Add(name, "kelcc", w, h, [=] {
        keliYCbCr420ToYCbCr422_Filter_8u_P2C2R(srcY, w, srcCbCr, w, dstPacked,
                                               2 * w, roi, kelSliceWhole);
      });
      AddMemcpyLimit(name, w, h, luma * 3 / 2, luma * 2);
    }
    {
      const char* name = "YCbCr420ToYCrCb420_Filter_P2P3R";
      Add(name, "kelcc", w, h, [=] {
        Kel8u* const dst[3] = {dstY, dstC1, dstC2};
        const int dstStep[3] = {w, cw, cw};
        keliYCbCr420ToYCrCb420_Filter_8u_P2P3R(srcY, w, srcCbCr, w, dst,
                                               dstStep, roi);
      });
      AddMemcpyLimit(name, w, h, luma * 3 / 2, luma * 3 / 2);
    }
  }
}

const kel::bench::Registrar registrar(Register);

}  // namespace
