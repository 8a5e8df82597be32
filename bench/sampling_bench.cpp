// Sampling, order and layout conversions of YCbCr images.
//
// Every member runs at the standard sizes; the five the library is tuned
// for also run at 3840x2160, beside the libyuv function that does the same
// move. libyuv's YUY2ToI420 averages the two rows of each pair where kelCC
// keeps the upper one; the other peers move the same bytes.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "bench_common.h"
#include "kelcc.h"

#if KELCC_HAVE_LIBYUV
#include <libyuv.h>
#endif

namespace {

using kel::bench::Add;
using kel::bench::AddMemcpyLimit;
using kel::bench::RandomBuffer;

// A format: chroma samples per 4 luma columns (2 or 1), whether chroma
// rows are halved (4:2:0), and the layout ('3', '2' or 'C').
struct Fmt {
  int perFour;
  bool halfRows;
  char layout;
};
constexpr Fmt k422P3{2, false, '3'}, k422C2{2, false, 'C'},
    k420P3{2, true, '3'}, k420P2{2, true, '2'}, k411P3{1, false, '3'},
    k411P2{1, false, '2'};

// Buffers of one image at w x h: planes and steps.
struct Buffers {
  Kel8u* p[3] = {};
  int step[3] = {};
  size_t bytes = 0;

  Buffers(const Fmt& f, int w, int h, uint32_t seed) {
    const int cw = w / 4 * f.perFour, ch = f.halfRows ? h / 2 : h;
    const size_t luma = static_cast<size_t>(w) * h;
    const size_t chroma = static_cast<size_t>(cw) * ch;
    if (f.layout == 'C') {
      p[0] = RandomBuffer(2 * luma, seed);
      step[0] = 2 * w;
      bytes = 2 * luma;
    } else if (f.layout == '2') {
      p[0] = RandomBuffer(luma, seed);
      p[1] = RandomBuffer(2 * chroma, seed + 1);
      step[0] = w;
      step[1] = 2 * cw;
      bytes = luma + 2 * chroma;
    } else {
      for (int i = 0; i < 3; ++i) {
        p[i] = RandomBuffer(i == 0 ? luma : chroma, seed + i);
        step[i] = i == 0 ? w : cw;
      }
      bytes = luma + 2 * chroma;
    }
  }
};

using FnP3P3 = KelResult (*)(const Kel8u* const[3], const int[3],
                             Kel8u* const[3], const int[3], KelImageSize);
using FnP3P2 = KelResult (*)(const Kel8u* const[3], const int[3], Kel8u*, int,
                             Kel8u*, int, KelImageSize);
using FnP3C2 = KelResult (*)(const Kel8u* const[3], const int[3], Kel8u*, int,
                             KelImageSize);
using FnP2P3 = KelResult (*)(const Kel8u*, int, const Kel8u*, int,
                             Kel8u* const[3], const int[3], KelImageSize);
using FnP2C2 = KelResult (*)(const Kel8u*, int, const Kel8u*, int, Kel8u*, int,
                             KelImageSize);
using FnC2P3 = KelResult (*)(const Kel8u*, int, Kel8u* const[3], const int[3],
                             KelImageSize);
using FnC2P2 = KelResult (*)(const Kel8u*, int, Kel8u*, int, Kel8u*, int,
                             KelImageSize);
using FnC2C2 = KelResult (*)(const Kel8u*, int, Kel8u*, int, KelImageSize);

template <class Fn>
std::function<void()> Bind(Fn f, const Buffers& s, const Buffers& d,
                           KelImageSize roi) {
  return [f, s, d, roi] {
    const Kel8u* const sp[3] = {s.p[0], s.p[1], s.p[2]};
    if constexpr (std::is_same_v<Fn, FnP3P3>)
      f(sp, s.step, d.p, d.step, roi);
    else if constexpr (std::is_same_v<Fn, FnP3P2>)
      f(sp, s.step, d.p[0], d.step[0], d.p[1], d.step[1], roi);
    else if constexpr (std::is_same_v<Fn, FnP3C2>)
      f(sp, s.step, d.p[0], d.step[0], roi);
    else if constexpr (std::is_same_v<Fn, FnP2P3>)
      f(s.p[0], s.step[0], s.p[1], s.step[1], d.p, d.step, roi);
    else if constexpr (std::is_same_v<Fn, FnP2C2>)
      f(s.p[0], s.step[0], s.p[1], s.step[1], d.p[0], d.step[0], roi);
    else if constexpr (std::is_same_v<Fn, FnC2P3>)
      f(s.p[0], s.step[0], d.p, d.step, roi);
    else if constexpr (std::is_same_v<Fn, FnC2P2>)
      f(s.p[0], s.step[0], d.p[0], d.step[0], d.p[1], d.step[1], roi);
    else
      f(s.p[0], s.step[0], d.p[0], d.step[0], roi);
  };
}

// One member at one size, with its memcpy limit; `peer` (may be empty)
// runs libyuv on the same buffers.
using Peer = std::function<void(const Buffers&, const Buffers&, int, int)>;

template <class Fn>
void Member(const char* name, Fn f, const Fmt& from, const Fmt& to, int w,
            int h, Peer peer = nullptr) {
  const std::string conversion = std::string(name).substr(4);  // "keli"
  const Buffers s(from, w, h, 21), d(to, w, h, 31);
  Add(conversion, "kelcc", w, h, Bind(f, s, d, {w, h}));
  if (peer) Add(conversion, "libyuv", w, h, [=] { peer(s, d, w, h); });
  AddMemcpyLimit(conversion, w, h, s.bytes, d.bytes);
}

#define MEMBER(fn, from, to, ...) \
  Member(#fn, &fn, from, to, w, h __VA_OPT__(, ) __VA_ARGS__)

Peer YuyvToI420() {
#if KELCC_HAVE_LIBYUV
  return [](const Buffers& s, const Buffers& d, int w, int h) {
    libyuv::YUY2ToI420(s.p[0], s.step[0], d.p[0], d.step[0], d.p[1], d.step[1],
                       d.p[2], d.step[2], w, h);
  };
#else
  return nullptr;
#endif
}

// The five tuned members, at three sizes.
void RegisterTuned() {
  std::vector<std::pair<int, int>> sizes = kel::bench::StandardSizes();
  sizes.emplace_back(3840, 2160);
  for (auto [w, h] : sizes) {
    MEMBER(keliYCbCr422ToYCbCr420_8u_C2P3R, k422C2, k420P3, YuyvToI420());
#if KELCC_HAVE_LIBYUV
    // Planes 1 and 2 swapped: the source is YCrCb.
    MEMBER(keliYCrCb420ToYCbCr422_8u_P3C2R, k420P3, k422C2,
           [](const Buffers& s, const Buffers& d, int w, int h) {
             libyuv::I420ToYUY2(s.p[0], s.step[0], s.p[2], s.step[2], s.p[1],
                                s.step[1], d.p[0], d.step[0], w, h);
           });
    MEMBER(keliYCbCr420_8u_P3P2R, k420P3, k420P2,
           [](const Buffers& s, const Buffers& d, int w, int h) {
             libyuv::I420ToNV12(s.p[0], s.step[0], s.p[1], s.step[1], s.p[2],
                                s.step[2], d.p[0], d.step[0], d.p[1], d.step[1],
                                w, h);
           });
    MEMBER(keliYCbCr420_8u_P2P3R, k420P2, k420P3,
           [](const Buffers& s, const Buffers& d, int w, int h) {
             libyuv::NV12ToI420(s.p[0], s.step[0], s.p[1], s.step[1], d.p[0],
                                d.step[0], d.p[1], d.step[1], d.p[2], d.step[2],
                                w, h);
           });
    MEMBER(keliYCbCr420ToYCbCr422_8u_P3R, k420P3, k422P3,
           [](const Buffers& s, const Buffers& d, int w, int h) {
             libyuv::I420ToI422(s.p[0], s.step[0], s.p[1], s.step[1], s.p[2],
                                s.step[2], d.p[0], d.step[0], d.p[1], d.step[1],
                                d.p[2], d.step[2], w, h);
           });
#else
    MEMBER(keliYCrCb420ToYCbCr422_8u_P3C2R, k420P3, k422C2);
    MEMBER(keliYCbCr420_8u_P3P2R, k420P3, k420P2);
    MEMBER(keliYCbCr420_8u_P2P3R, k420P2, k420P3);
    MEMBER(keliYCbCr420ToYCbCr422_8u_P3R, k420P3, k422P3);
#endif
  }
}

void RegisterOthers() {
  for (auto [w, h] : kel::bench::StandardSizes()) {
    MEMBER(keliYCbCr422ToYCbCr420_8u_P3R, k422P3, k420P3);
    MEMBER(keliYCbCr422ToYCbCr420_8u_P3P2R, k422P3, k420P2);
    MEMBER(keliYCbCr422ToYCbCr420_8u_C2P2R, k422C2, k420P2);
    MEMBER(keliYCbCr422ToYCrCb420_8u_C2P3R, k422C2, k420P3);
    MEMBER(keliYCbCr422ToYCrCb420_8u_C2P2R, k422C2, k420P2);
    MEMBER(keliYCrCb422ToYCbCr420_8u_C2P3R, k422C2, k420P3);
    MEMBER(keliCbYCr422ToYCbCr420_8u_C2P3R, k422C2, k420P3);
    MEMBER(keliCbYCr422ToYCbCr420_8u_C2P2R, k422C2, k420P2);
    MEMBER(keliCbYCr422ToYCrCb420_8u_C2P3R, k422C2, k420P3);
    MEMBER(keliYCbCr420ToYCbCr422_8u_P2P3R, k420P2, k422P3);
    MEMBER(keliYCbCr420ToYCbCr422_8u_P2C2R, k420P2, k422C2);
    MEMBER(keliYCbCr420ToCbYCr422_8u_P2C2R, k420P2, k422C2);
    MEMBER(keliYCrCb420ToYCbCr422_8u_P3R, k420P3, k422P3);
    MEMBER(keliYCrCb420ToCbYCr422_8u_P3C2R, k420P3, k422C2);
    MEMBER(keliYCbCr420ToYCrCb420_8u_P2P3R, k420P2, k420P3);
    MEMBER(keliYCrCb420ToYCbCr420_8u_P3P2R, k420P3, k420P2);
    MEMBER(keliYCbCr420ToYCbCr411_8u_P2P3R, k420P2, k411P3);
    MEMBER(keliYCbCr420ToYCbCr411_8u_P3P2R, k420P3, k411P2);
    MEMBER(keliYCrCb420ToYCbCr411_8u_P3P2R, k420P3, k411P2);
    MEMBER(keliYCbCr411ToYCbCr420_8u_P3R, k411P3, k420P3);
    MEMBER(keliYCbCr411ToYCbCr420_8u_P2P3R, k411P2, k420P3);
    MEMBER(keliYCbCr411ToYCbCr420_8u_P3P2R, k411P3, k420P2);
    MEMBER(keliYCbCr411ToYCrCb420_8u_P2P3R, k411P2, k420P3);
    MEMBER(keliYCbCr422ToYCbCr411_8u_P3R, k422P3, k411P3);
    MEMBER(keliYCbCr422ToYCbCr411_8u_P3P2R, k422P3, k411P2);
    MEMBER(keliYCbCr422ToYCbCr411_8u_C2P3R, k422C2, k411P3);
    MEMBER(keliYCbCr422ToYCbCr411_8u_C2P2R, k422C2, k411P2);
    MEMBER(keliYCrCb422ToYCbCr411_8u_C2P3R, k422C2, k411P3);
    MEMBER(keliCbYCr422ToYCbCr411_8u_C2P3R, k422C2, k411P3);
    MEMBER(keliYCbCr411ToYCbCr422_8u_P3R, k411P3, k422P3);
    MEMBER(keliYCbCr411ToYCbCr422_8u_P2P3R, k411P2, k422P3);
    MEMBER(keliYCbCr411ToYCbCr422_8u_P3C2R, k411P3, k422C2);
    MEMBER(keliYCbCr411ToYCbCr422_8u_P2C2R, k411P2, k422C2);
    MEMBER(keliYCbCr411ToYCrCb422_8u_P3R, k411P3, k422P3);
    MEMBER(keliYCbCr411ToYCrCb422_8u_P3C2R, k411P3, k422C2);
    MEMBER(keliYCbCr411_8u_P2P3R, k411P2, k411P3);
    MEMBER(keliYCbCr411_8u_P3P2R, k411P3, k411P2);
    MEMBER(keliYCbCr422ToCbYCr422_8u_P3C2R, k422P3, k422C2);
    MEMBER(keliYCbCr422ToYCrCb422_8u_P3C2R, k422P3, k422C2);
    MEMBER(keliYCbCr422ToYCrCb422_8u_C2R, k422C2, k422C2);
    MEMBER(keliYCbCr422ToCbYCr422_8u_C2R, k422C2, k422C2);
    MEMBER(keliCbYCr422ToYCbCr422_8u_C2R, k422C2, k422C2);
#if KELCC_HAVE_LIBYUV
    MEMBER(keliYCbCr422_8u_C2P3R, k422C2, k422P3,
           [](const Buffers& s, const Buffers& d, int w, int h) {
             libyuv::YUY2ToI422(s.p[0], s.step[0], d.p[0], d.step[0], d.p[1],
                                d.step[1], d.p[2], d.step[2], w, h);
           });
    MEMBER(keliYCbCr422_8u_P3C2R, k422P3, k422C2,
           [](const Buffers& s, const Buffers& d, int w, int h) {
             libyuv::I422ToYUY2(s.p[0], s.step[0], s.p[1], s.step[1], s.p[2],
                                s.step[2], d.p[0], d.step[0], w, h);
           });
    MEMBER(keliCbYCr422ToYCbCr422_8u_C2P3R, k422C2, k422P3,
           [](const Buffers& s, const Buffers& d, int w, int h) {
             libyuv::UYVYToI422(s.p[0], s.step[0], d.p[0], d.step[0], d.p[1],
                                d.step[1], d.p[2], d.step[2], w, h);
           });
#else
    MEMBER(keliYCbCr422_8u_C2P3R, k422C2, k422P3);
    MEMBER(keliYCbCr422_8u_P3C2R, k422P3, k422C2);
    MEMBER(keliCbYCr422ToYCbCr422_8u_C2P3R, k422C2, k422P3);
#endif
    MEMBER(keliYCrCb422ToYCbCr422_8u_C2P3R, k422C2, k422P3);
  }
}

void Register() {
  RegisterTuned();
  RegisterOthers();
}

const kel::bench::Registrar kRegistrar(&Register);

}  // namespace
