// kelcc_demo: runs an image through kelCC's conversions and back, reports
// round-trip error and speed, and writes the results as PNG files.
//
//   kelcc_demo [--out DIR] [image.png | image.ppm]
//
// Without an image it uses a built-in 1920x1080 test image (colour bars,
// gradients and a smooth scene).
#include <kelcc.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "rgb_image.h"

namespace {

using demo::RgbImage;

// A plane buffer of the library's layout: pointer and row step.
struct Plane {
  std::vector<uint8_t> bytes;
  int step = 0;
  Plane() = default;
  Plane(int rowBytes, int rows)
      : bytes(static_cast<size_t>(rowBytes) * rows), step(rowBytes) {}
  uint8_t* data() { return bytes.data(); }
};

// Calls `fn` repeatedly for about a quarter of a second; Mpix/s.
double MpixPerSecond(int pixels, const std::function<KelResult()>& fn) {
  using Clock = std::chrono::steady_clock;
  fn();  // warm up
  int runs = 0;
  const auto start = Clock::now();
  double elapsed = 0;
  do {
    fn();
    ++runs;
    elapsed = std::chrono::duration<double>(Clock::now() - start).count();
  } while (elapsed < 0.25);
  return static_cast<double>(pixels) * runs / elapsed / 1e6;
}

struct Error {
  int maxAbs = 0;
  double psnr = 0;
};

Error Compare(const RgbImage& a, const RgbImage& b) {
  Error e;
  double sq = 0;
  for (size_t i = 0; i < a.pixels.size(); ++i) {
    const int d = std::abs(int{a.pixels[i]} - int{b.pixels[i]});
    e.maxAbs = std::max(e.maxAbs, d);
    sq += static_cast<double>(d) * d;
  }
  const double mse = sq / static_cast<double>(a.pixels.size());
  e.psnr = mse == 0 ? INFINITY : 10 * std::log10(255.0 * 255.0 / mse);
  return e;
}

void SwapRB(RgbImage* img) {
  for (size_t i = 0; i + 2 < img->pixels.size(); i += 3)
    std::swap(img->pixels[i], img->pixels[i + 2]);
}

// One conversion to a YCbCr form and back to RGB.
struct RoundTrip {
  const char* name;
  const char* file;
  std::function<KelResult()> forward;
  std::function<KelResult()> inverse;
};

const char* Describe(KelResult r) {
  switch (r) {
    case kelOk:
      return "ok";
    case kelWarnOddSize:
      return "ok (odd size)";
    case kelErrNullPtr:
      return "null pointer";
    case kelErrSize:
      return "bad size";
    default:
      return "error";
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::string outDir = "demo-out", input;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--out" && i + 1 < argc) {
      outDir = argv[++i];
    } else if (arg == "-h" || arg == "--help") {
      std::printf("usage: %s [--out DIR] [image.png | image.ppm]\n", argv[0]);
      return 0;
    } else {
      input = arg;
    }
  }

  RgbImage src;
  if (input.empty()) {
    src = demo::MakeTestImage(1920, 1080);
    std::printf("built-in test image, %d x %d\n", src.width, src.height);
  } else {
    std::string error;
    if (!demo::ReadImage(input, &src, &error)) {
      std::fprintf(stderr, "%s: %s\n", input.c_str(), error.c_str());
      return 1;
    }
    std::printf("%s, %d x %d\n", input.c_str(), src.width, src.height);
  }
  // Every sampling used here covers whole 4x4 blocks of a multiple-of-4 size.
  const int w = src.width & ~3, h = src.height & ~3;
  if (w < 4 || h < 4) {
    std::fprintf(stderr, "image too small (need at least 4 x 4)\n");
    return 1;
  }
  if (w != src.width || h != src.height) {
    RgbImage cropped;
    cropped.width = w;
    cropped.height = h;
    cropped.pixels.resize(static_cast<size_t>(w) * h * 3);
    for (int y = 0; y < h; ++y)
      std::copy_n(src.data() + static_cast<size_t>(y) * src.step(), w * 3,
                  cropped.data() + static_cast<size_t>(y) * w * 3);
    src = std::move(cropped);
    std::printf("cropped to %d x %d (whole 4x4 blocks)\n", w, h);
  }
  std::filesystem::create_directories(outDir);
  demo::WritePng(outDir + "/original.png", src);

  RgbImage bgr = src;
  SwapRB(&bgr);
  const KelImageSize roi{w, h};
  RgbImage out = src;

  // Buffers for the YCbCr forms.
  Plane packed(w * 3, h), packed422(w * 2, h);
  Plane y(w, h), cb(w, h), cr(w, h);
  Plane y2(w, h), cb2(w, h), cr2(w, h), cbcr(w, h / 2);
  Kel8u* p3[3] = {y.data(), cb.data(), cr.data()};
  Kel8u* p3b[3] = {y2.data(), cb2.data(), cr2.data()};
  const Kel8u* c3[3] = {y.data(), cb.data(), cr.data()};
  const Kel8u* c3b[3] = {y2.data(), cb2.data(), cr2.data()};
  const int steps420[3] = {w, w / 2, w / 2};
  const int steps411[3] = {w, w / 4, w / 4};
  const int steps1620[3] = {w, w / 4, w / 4};

  std::vector<RoundTrip> trips = {
      {"4:4:4 packed", "ycbcr444_c3",
       [&] {
         return keliRGBToYCbCr_8u_C3R(src.data(), src.step(), packed.data(),
                                      packed.step, roi);
       },
       [&] {
         return keliYCbCrToRGB_8u_C3R(packed.data(), packed.step, out.data(),
                                      out.step(), roi);
       }},
      {"4:4:4 planar", "ycbcr444_p3",
       [&] {
         return keliRGBToYCbCr_8u_C3P3R(src.data(), src.step(), p3, w, roi);
       },
       [&] {
         return keliYCbCrToRGB_8u_P3C3R(c3, w, out.data(), out.step(), roi);
       }},
      {"4:2:2 packed Y0 Cb Y1 Cr", "ycbcr422_c2",
       [&] {
         return keliRGBToYCbCr422_8u_C3C2R(
             src.data(), src.step(), packed422.data(), packed422.step, roi);
       },
       [&] {
         return keliYCbCr422ToRGB_8u_C2C3R(packed422.data(), packed422.step,
                                           out.data(), out.step(), roi);
       }},
      {"4:2:0 planar", "ycbcr420_p3",
       [&] {
         return keliRGBToYCbCr420_8u_C3P3R(src.data(), src.step(), p3, steps420,
                                           roi);
       },
       [&] {
         return keliYCbCr420ToRGB_8u_P3C3R(c3, steps420, out.data(), out.step(),
                                           roi);
       }},
      {"4:2:0 semi-planar", "ycbcr420_p2",
       [&] {
         return keliRGBToYCbCr420_8u_C3P2R(src.data(), src.step(), y.data(), w,
                                           cbcr.data(), w, roi);
       },
       [&] {
         return keliYCbCr420ToRGB_8u_P2C3R(y.data(), w, cbcr.data(), w,
                                           out.data(), out.step(), roi);
       }},
      {"4:1:1 planar (BGR)", "ycbcr411_p3",
       [&] {
         return keliBGRToYCbCr411_8u_C3P3R(bgr.data(), bgr.step(), p3, steps411,
                                           roi);
       },
       [&] {
         return keliYCbCr411ToBGR_8u_P3C3R(c3, steps411, out.data(), out.step(),
                                           roi);
       }},
      {"4:2:0 -> 16:2:0 -> 4:2:0", "ycbcr1620",
       [&] {
         KelResult r = keliRGBToYCbCr420_8u_C3P3R(src.data(), src.step(), p3,
                                                  steps420, roi);
         return r < 0 ? r
                      : keliYCbCr420To1620_8u_P3R(c3, steps420, p3b, steps1620,
                                                  roi);
       },
       [&] {
         KelResult r =
             keliYCbCr1620To420_8u_P3R(c3b, steps1620, p3, steps420, roi);
         return r < 0 ? r
                      : keliYCbCr420ToRGB_8u_P3C3R(c3, steps420, out.data(),
                                                   out.step(), roi);
       }},
      // The colour spaces, through the packed 3-byte buffer.
      {"HSV", "hsv",
       [&] {
         return keliRGBToHSV_8u_C3R(src.data(), src.step(), packed.data(),
                                    packed.step, roi);
       },
       [&] {
         return keliHSVToRGB_8u_C3R(packed.data(), packed.step, out.data(),
                                    out.step(), roi);
       }},
      {"HLS", "hls",
       [&] {
         return keliRGBToHLS_8u_C3R(src.data(), src.step(), packed.data(),
                                    packed.step, roi);
       },
       [&] {
         return keliHLSToRGB_8u_C3R(packed.data(), packed.step, out.data(),
                                    out.step(), roi);
       }},
      {"CIE XYZ", "xyz",
       [&] {
         return keliRGBToXYZ_8u_C3R(src.data(), src.step(), packed.data(),
                                    packed.step, roi);
       },
       [&] {
         return keliXYZToRGB_8u_C3R(packed.data(), packed.step, out.data(),
                                    out.step(), roi);
       }},
  };

  std::printf("\n%-28s %-14s %8s %8s %12s %12s\n", "round trip", "status",
              "max err", "PSNR dB", "fwd Mpix/s", "inv Mpix/s");
  int failures = 0;
  for (const RoundTrip& t : trips) {
    std::fill(out.pixels.begin(), out.pixels.end(), 0);
    KelResult rf = t.forward();
    KelResult ri = rf < 0 ? rf : t.inverse();
    if (rf < 0 || ri < 0) {
      std::printf("%-28s %-14s\n", t.name, Describe(rf < 0 ? rf : ri));
      ++failures;
      continue;
    }
    RgbImage result = out;
    if (std::string(t.file) == "ycbcr411_p3") SwapRB(&result);
    const Error e = Compare(src, result);
    const double fwd = MpixPerSecond(w * h, t.forward);
    const double inv = MpixPerSecond(w * h, t.inverse);
    std::printf("%-28s %-14s %8d %8.2f %12.1f %12.1f\n", t.name, Describe(ri),
                e.maxAbs, e.psnr, fwd, inv);
    demo::WritePng(outDir + "/" + t.file + ".png", result);
  }

  // Luma of the 4:4:4 planar form, and the lossless 4:2:0 <-> 4:1:1
  // rearrangement of the 4:2:0 planes.
  if (keliRGBToYCbCr420_8u_C3P3R(src.data(), src.step(), p3, steps420, roi) >=
      0) {
    demo::WriteGrayPng(outDir + "/luma.png", y.data(), w, w, h);
    Plane y411(w, h), cbcr411(w / 2, h);
    const KelResult r1 = keliYCbCr420ToYCbCr411_8u_P3P2R(
        c3, steps420, y411.data(), w, cbcr411.data(), w / 2, roi);
    Kel8u* back[3] = {y2.data(), cb2.data(), cr2.data()};
    const KelResult r2 =
        r1 < 0 ? r1
               : keliYCbCr411ToYCbCr420_8u_P2P3R(y411.data(), w, cbcr411.data(),
                                                 w / 2, back, steps420, roi);
    if (r2 < 0) {
      std::printf("4:2:0 -> 4:1:1 -> 4:2:0: %s\n", Describe(r2));
      ++failures;
    } else {
      const size_t chroma = static_cast<size_t>(w / 2) * (h / 2);
      const bool exact =
          std::equal(y.bytes.begin(), y.bytes.end(), y2.bytes.begin()) &&
          std::equal(cb.bytes.begin(), cb.bytes.begin() + chroma,
                     cb2.bytes.begin()) &&
          std::equal(cr.bytes.begin(), cr.bytes.begin() + chroma,
                     cr2.bytes.begin());
      std::printf("4:2:0 -> 4:1:1 -> 4:2:0 rearrangement: %s\n",
                  exact ? "exact" : "NOT EXACT");
      failures += exact ? 0 : 1;
    }
  }
  // The picture in gray (BT.601 weights).
  if (keliRGBToGray_8u_C3C1R(src.data(), src.step(), y.data(), w, roi) == 0)
    demo::WriteGrayPng(outDir + "/gray.png", y.data(), w, w, h);
  std::printf("\nPNG files written to %s/\n", outDir.c_str());
  return failures == 0 ? 0 : 1;
}
