// YCbCr to RGB and BGR at full resolution and from subsampled chroma.
//
// Every member runs at the standard sizes with its memcpy limit. The peers
// are the conversions that do the same work: OpenCV's YCrCb to RGB beside
// the 4:4:4 members (it reads Y, Cr, Cb; the arithmetic is the same), and
// the 4:2:0 and packed 4:2:2 decoders of libyuv and OpenCV beside ours.
#include <cstddef>
#include <cstdint>
#include <functional>
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

// Source layouts: packed 4:4:4 with 3 or 4 bytes, 4:4:4 planes, packed
// 4:2:2, planes at 4:2:2, 4:2:0 and 4:1:1, and 4:2:0 luma + chroma pairs.
enum class In { kC3, kAC4, kP3, kC2, kP3_422, kP3_420, kP3_411, kP2 };

struct Source {
  const Kel8u* p[3] = {};
  int step[3] = {};
  size_t bytes = 0;
  Source(In in, int w, int h) {
    auto plane = [&](int i, int rowBytes, int rows) {
      p[i] = RandomBuffer(static_cast<size_t>(rowBytes) * rows, 11 + i);
      step[i] = rowBytes;
      bytes += static_cast<size_t>(rowBytes) * rows;
    };
    switch (in) {
      case In::kC3:
        plane(0, 3 * w, h);
        break;
      case In::kAC4:
        plane(0, 4 * w, h);
        break;
      case In::kC2:
        plane(0, 2 * w, h);
        break;
      case In::kP3:
        for (int i = 0; i < 3; ++i) plane(i, w, h);
        break;
      case In::kP3_422:
      case In::kP3_420:
      case In::kP3_411: {
        const int cw = in == In::kP3_411 ? w / 4 : w / 2;
        const int ch = in == In::kP3_420 ? h / 2 : h;
        plane(0, w, h);
        plane(1, cw, ch);
        plane(2, cw, ch);
        break;
      }
      case In::kP2:
        plane(0, w, h);
        plane(1, w, h / 2);
        break;
    }
  }
};

struct Dest {
  Kel8u* p[3] = {};
  int step = 0;
  size_t bytes = 0;
  Dest(int channels, bool planar, int w, int h) {
    const size_t n = static_cast<size_t>(w) * h;
    for (int i = 0; i < (planar ? 3 : 1); ++i)
      p[i] = RandomBuffer(planar ? n : channels * n, 21 + i);
    step = planar ? w : channels * w;
    bytes = channels * n;
  }
};

void Peers(const std::string& name, int w, int h);

// Registers `name` at the standard sizes; `make` builds the call for one
// size from its source and destination.
void Member(const std::string& name, In in, int channels, bool planarOut,
            std::function<std::function<void()>(const Source&, const Dest&,
                                                KelImageSize)>
                make) {
  for (auto [w, h] : kel::bench::StandardSizes()) {
    const Source s(in, w, h);
    const Dest d(channels, planarOut, w, h);
    Add(name, "kelcc", w, h, make(s, d, {w, h}));
    AddMemcpyLimit(name, w, h, s.bytes, d.bytes);
    Peers(name, w, h);
  }
}

// Adapters by signature shape.
using FnCC = KelResult (*)(const Kel8u*, int, Kel8u*, int, KelImageSize);
using FnCCA = KelResult (*)(const Kel8u*, int, Kel8u*, int, KelImageSize,
                            Kel8u);
using FnCP3 = KelResult (*)(const Kel8u*, int, Kel8u* const[3], int,
                            KelImageSize);
using FnP3P3 = KelResult (*)(const Kel8u* const[3], int, Kel8u* const[3], int,
                             KelImageSize);
using FnP3C = KelResult (*)(const Kel8u* const[3], int, Kel8u*, int,
                            KelImageSize);
using FnP3CA = KelResult (*)(const Kel8u* const[3], int, Kel8u*, int,
                             KelImageSize, Kel8u);
using FnP3sC = KelResult (*)(const Kel8u* const[3], const int[3], Kel8u*, int,
                             KelImageSize);
using FnP3sCA = KelResult (*)(const Kel8u* const[3], const int[3], Kel8u*, int,
                              KelImageSize, Kel8u);
using FnP2C = KelResult (*)(const Kel8u*, int, const Kel8u*, int, Kel8u*, int,
                            KelImageSize);
using FnP2CA = KelResult (*)(const Kel8u*, int, const Kel8u*, int, Kel8u*, int,
                             KelImageSize, Kel8u);

#define NAME(fn) std::string(#fn).substr(4)

void Reg(const std::string& n, In in, FnCC f, int ch = 3) {
  Member(n, in, ch, false, [f](const Source& s, const Dest& d, KelImageSize r) {
    return [=] { f(s.p[0], s.step[0], d.p[0], d.step, r); };
  });
}
void Reg(const std::string& n, In in, FnCCA f) {
  Member(n, in, 4, false, [f](const Source& s, const Dest& d, KelImageSize r) {
    return [=] { f(s.p[0], s.step[0], d.p[0], d.step, r, 0xFF); };
  });
}
void Reg(const std::string& n, In in, FnCP3 f) {
  Member(n, in, 3, true, [f](const Source& s, const Dest& d, KelImageSize r) {
    return [=] { f(s.p[0], s.step[0], d.p, d.step, r); };
  });
}
void Reg(const std::string& n, In in, FnP3P3 f) {
  Member(n, in, 3, true, [f](const Source& s, const Dest& d, KelImageSize r) {
    return [=] { f(s.p, s.step[0], d.p, d.step, r); };
  });
}
void Reg(const std::string& n, In in, FnP3C f) {
  Member(n, in, 3, false, [f](const Source& s, const Dest& d, KelImageSize r) {
    return [=] { f(s.p, s.step[0], d.p[0], d.step, r); };
  });
}
void Reg(const std::string& n, In in, FnP3CA f) {
  Member(n, in, 4, false, [f](const Source& s, const Dest& d, KelImageSize r) {
    return [=] { f(s.p, s.step[0], d.p[0], d.step, r, 0xFF); };
  });
}
void Reg(const std::string& n, In in, FnP3sC f) {
  Member(n, in, 3, false, [f](const Source& s, const Dest& d, KelImageSize r) {
    return [=] { f(s.p, s.step, d.p[0], d.step, r); };
  });
}
void Reg(const std::string& n, In in, FnP3sCA f) {
  Member(n, in, 4, false, [f](const Source& s, const Dest& d, KelImageSize r) {
    return [=] { f(s.p, s.step, d.p[0], d.step, r, 0xFF); };
  });
}
void Reg(const std::string& n, In in, FnP2C f) {
  Member(n, in, 3, false, [f](const Source& s, const Dest& d, KelImageSize r) {
    return [=] { f(s.p[0], s.step[0], s.p[1], s.step[1], d.p[0], d.step, r); };
  });
}
void Reg(const std::string& n, In in, FnP2CA f) {
  Member(n, in, 4, false, [f](const Source& s, const Dest& d, KelImageSize r) {
    return [=] {
      f(s.p[0], s.step[0], s.p[1], s.step[1], d.p[0], d.step, r, 0xFF);
    };
  });
}

#define REG(fn, in, ...) Reg(NAME(fn), In::in, &fn, ##__VA_ARGS__)

// The peers of conversion `name` at w x h, registered right after it so
// that both run under the same machine load.
void Peers(const std::string& name, int w, int h) {
  const size_t n = static_cast<size_t>(w) * h;
  Kel8u* rgb = RandomBuffer(3 * n, 31);
#if KELCC_HAVE_OPENCV
  auto cv = [&](const Kel8u* src, int rows, int type, int code) {
    cv::setNumThreads(1);
    const cv::Mat in(rows, w, type, const_cast<Kel8u*>(src));
    const cv::Mat out(h, w, CV_8UC3, rgb);
    Add(name, "opencv", w, h,
        [in, out, code]() mutable { cv::cvtColor(in, out, code); });
  };
#define KELCC_CV_PEER(...) cv(__VA_ARGS__)
#else
#define KELCC_CV_PEER(...)
#endif
  if (name == "YCbCrToRGB_8u_C3R" || name == "YCbCrToRGB_8u_P3C3R") {
    KELCC_CV_PEER(RandomBuffer(3 * n, 32), h, CV_8UC3, cv::COLOR_YCrCb2RGB);
  } else if (name == "YCbCr422ToRGB_8u_C2C3R") {
    KELCC_CV_PEER(RandomBuffer(2 * n, 33), h, CV_8UC2, cv::COLOR_YUV2RGB_YUY2);
  } else if (name == "YCbCr420ToRGB_8u_P3C3R") {
    const Kel8u* i420 = RandomBuffer(n * 3 / 2, 34);  // Y, U, V planes
    KELCC_CV_PEER(i420, h * 3 / 2, CV_8UC1, cv::COLOR_YUV2RGB_I420);
#if KELCC_HAVE_LIBYUV
    Add(name, "libyuv", w, h, [=] {
      libyuv::I420ToRAW(i420, w, i420 + n, w / 2, i420 + n + n / 4, w / 2, rgb,
                        3 * w, w, h);
    });
#endif
  } else if (name == "YCbCr420ToBGR_8u_P2C3R") {
    const Kel8u* nv12 = RandomBuffer(n * 3 / 2, 35);  // Y, UV pairs
    KELCC_CV_PEER(nv12, h * 3 / 2, CV_8UC1, cv::COLOR_YUV2BGR_NV12);
#if KELCC_HAVE_LIBYUV
    Add(name, "libyuv", w, h,
        [=] { libyuv::NV12ToRGB24(nv12, w, nv12 + n, w, rgb, 3 * w, w, h); });
#endif
  }
  (void)rgb;
}
#undef KELCC_CV_PEER

void RegisterAll() {
  REG(keliYCbCrToRGB_8u_C3R, kC3);
  REG(keliYCbCrToRGB_8u_AC4R, kAC4, 4);
  REG(keliYCbCrToRGB_8u_P3R, kP3);
  REG(keliYCbCrToRGB_8u_P3C3R, kP3);
  REG(keliYCbCrToRGB_8u_P3C4R, kP3);
  REG(keliYCbCrToBGR_8u_P3C3R, kP3);
  REG(keliYCbCrToBGR_8u_P3C4R, kP3);
  REG(keliYCbCr422ToRGB_8u_C2C3R, kC2);
  REG(keliYCbCr422ToRGB_8u_C2C4R, kC2);
  REG(keliYCbCr422ToRGB_8u_C2P3R, kC2);
  REG(keliYCbCr422ToRGB_8u_P3C3R, kP3_422);
  REG(keliYCbCr422ToBGR_8u_C2C3R, kC2);
  REG(keliYCbCr422ToBGR_8u_C2C4R, kC2);
  REG(keliYCbCr422ToBGR_8u_P3C3R, kP3_422);
  REG(keliYCrCb422ToRGB_8u_C2C3R, kC2);
  REG(keliYCrCb422ToRGB_8u_C2C4R, kC2);
  REG(keliYCrCb422ToRGB_8u_C2P3R, kC2);
  REG(keliYCrCb422ToBGR_8u_C2C3R, kC2);
  REG(keliYCrCb422ToBGR_8u_C2C4R, kC2);
  REG(keliCbYCr422ToRGB_8u_C2C3R, kC2);
  REG(keliCbYCr422ToBGR_8u_C2C4R, kC2);
  REG(keliYCbCr420ToRGB_8u_P3C3R, kP3_420);
  REG(keliYCbCr420ToRGB_8u_P2C3R, kP2);
  REG(keliYCbCr420ToRGB_8u_P2C4R, kP2);
  REG(keliYCbCr420ToBGR_8u_P3C3R, kP3_420);
  REG(keliYCbCr420ToBGR_8u_P3C4R, kP3_420);
  REG(keliYCbCr420ToBGR_8u_P2C3R, kP2);
  REG(keliYCbCr420ToBGR_8u_P2C4R, kP2);
  REG(keliYCrCb420ToRGB_8u_P3C4R, kP3_420);
  REG(keliYCrCb420ToRGB_8u_P2C3R, kP2);
  REG(keliYCrCb420ToRGB_8u_P2C4R, kP2);
  REG(keliYCrCb420ToBGR_8u_P2C3R, kP2);
  REG(keliYCrCb420ToBGR_8u_P2C4R, kP2);
  REG(keliYCrCb420ToBGR_Filter_8u_P3C4R, kP3_420);
  REG(keliYCbCr411ToBGR_8u_P3C3R, kP3_411);
  REG(keliYCbCr411ToBGR_8u_P3C4R, kP3_411);
}

const kel::bench::Registrar kRegistrar(&RegisterAll);

}  // namespace
