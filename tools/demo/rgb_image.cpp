#include "rgb_image.h"

#include <png.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

namespace demo {

namespace {

uint8_t ToByte(double v) {
  return static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L));
}

// Smooth value noise, so the scene has texture without sharp aliasing.
double Hash(int x, int y) {
  uint32_t h = static_cast<uint32_t>(x) * 374761393u +
               static_cast<uint32_t>(y) * 668265263u;
  h = (h ^ (h >> 13)) * 1274126177u;
  return ((h ^ (h >> 16)) & 0xffff) / 65535.0;
}
double ValueNoise(double x, double y) {
  const int xi = static_cast<int>(std::floor(x)),
            yi = static_cast<int>(std::floor(y));
  const double fx = x - xi, fy = y - yi;
  const double sx = fx * fx * (3 - 2 * fx), sy = fy * fy * (3 - 2 * fy);
  const double a = Hash(xi, yi), b = Hash(xi + 1, yi);
  const double c = Hash(xi, yi + 1), d = Hash(xi + 1, yi + 1);
  return (a + (b - a) * sx) * (1 - sy) + (c + (d - c) * sx) * sy;
}

void SceneAt(double u, double v, double* r, double* g, double* b) {
  // Sky, a low sun, two ranges of hills and a lake, with soft texture.
  const double horizon = 0.55 + 0.05 * std::sin(u * 5.0);
  const double sunDist = std::hypot(u - 0.72, (v - 0.30) * 1.4);
  if (v < horizon) {
    const double t = v / horizon;
    *r = 70 + 150 * t;
    *g = 120 + 90 * t;
    *b = 220 - 30 * t;
    const double glow = std::exp(-sunDist * sunDist * 60.0);
    *r += 180 * glow;
    *g += 140 * glow;
    *b += 40 * glow;
    if (sunDist < 0.05) *r = 255, *g = 240, *b = 200;
    const double cloud = ValueNoise(u * 8, v * 20) * ValueNoise(u * 3, v * 9);
    *r += 60 * cloud, *g += 60 * cloud, *b += 50 * cloud;
    return;
  }
  const double far = 0.62 + 0.06 * ValueNoise(u * 6, 3.0);
  const double tex = ValueNoise(u * 60, v * 60) - 0.5;
  if (v < far) {
    *r = 80 + 30 * tex, *g = 100 + 30 * tex, *b = 130 + 20 * tex;
  } else if (v < 0.8 - 0.05 * std::cos(u * 9)) {
    *r = 60 + 40 * tex, *g = 120 + 50 * tex, *b = 50 + 20 * tex;
  } else {
    const double ripple = std::sin(v * 300 + 4 * ValueNoise(u * 20, v * 5));
    *r = 40 + 20 * ripple, *g = 90 + 25 * ripple, *b = 150 + 30 * ripple;
  }
}

}  // namespace

RgbImage MakeTestImage(int width, int height) {
  RgbImage img;
  img.width = width;
  img.height = height;
  img.pixels.resize(static_cast<size_t>(width) * height * 3);
  static const uint8_t bars[8][3] = {
      {255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
      {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
  const int barsEnd = height / 4, gradEnd = height / 2;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      uint8_t* p = &img.pixels[(static_cast<size_t>(y) * width + x) * 3];
      const double u = static_cast<double>(x) / width;
      if (y < barsEnd) {
        const uint8_t* c = bars[x * 8 / width];
        std::memcpy(p, c, 3);
      } else if (y < gradEnd) {
        // Four bands: gray ramp, red, green, blue ramps.
        const int band = (y - barsEnd) * 4 / (gradEnd - barsEnd);
        const uint8_t ramp = ToByte(u * 255);
        p[0] = band == 0 || band == 1 ? ramp : 0;
        p[1] = band == 0 || band == 2 ? ramp : 0;
        p[2] = band == 0 || band == 3 ? ramp : 0;
      } else {
        double r, g, b;
        SceneAt(u, static_cast<double>(y - gradEnd) / (height - gradEnd), &r,
                &g, &b);
        p[0] = ToByte(r), p[1] = ToByte(g), p[2] = ToByte(b);
      }
    }
  }
  return img;
}

namespace {

bool ReadPpm(FILE* f, RgbImage* image, std::string* error) {
  char magic[3] = {};
  int w = 0, h = 0, maxval = 0;
  if (std::fscanf(f, "%2s", magic) != 1 || std::strcmp(magic, "P6") != 0) {
    *error = "not a binary PPM (P6) file";
    return false;
  }
  auto next = [&](int* v) {
    int c;
    while ((c = std::fgetc(f)) != EOF) {
      if (c == '#') {
        while ((c = std::fgetc(f)) != EOF && c != '\n') {
        }
      } else if (!std::isspace(c)) {
        std::ungetc(c, f);
        return std::fscanf(f, "%d", v) == 1;
      }
    }
    return false;
  };
  if (!next(&w) || !next(&h) || !next(&maxval) || w <= 0 || h <= 0 ||
      maxval != 255) {
    *error = "unsupported PPM header (need 8-bit P6)";
    return false;
  }
  std::fgetc(f);  // the single whitespace after maxval
  image->width = w;
  image->height = h;
  image->pixels.resize(static_cast<size_t>(w) * h * 3);
  if (std::fread(image->pixels.data(), 1, image->pixels.size(), f) !=
      image->pixels.size()) {
    *error = "PPM file is truncated";
    return false;
  }
  return true;
}

bool ReadPng(const std::string& path, RgbImage* image, std::string* error) {
  png_image png;
  std::memset(&png, 0, sizeof png);
  png.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&png, path.c_str())) {
    *error = png.message;
    return false;
  }
  png.format = PNG_FORMAT_RGB;
  image->width = static_cast<int>(png.width);
  image->height = static_cast<int>(png.height);
  image->pixels.resize(PNG_IMAGE_SIZE(png));
  if (!png_image_finish_read(&png, nullptr, image->pixels.data(), 0, nullptr)) {
    *error = png.message;
    png_image_free(&png);
    return false;
  }
  return true;
}

}  // namespace

bool ReadImage(const std::string& path, RgbImage* image, std::string* error) {
  FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) {
    *error = "cannot open " + path;
    return false;
  }
  unsigned char sig[8] = {};
  const size_t n = std::fread(sig, 1, 8, f);
  const bool isPng = n == 8 && png_sig_cmp(sig, 0, 8) == 0;
  bool ok;
  if (isPng) {
    std::fclose(f);
    ok = ReadPng(path, image, error);
  } else {
    std::rewind(f);
    ok = ReadPpm(f, image, error);
    std::fclose(f);
  }
  return ok;
}

namespace {
bool WritePngFormat(const std::string& path, const uint8_t* data, int step,
                    int width, int height, png_uint_32 format) {
  png_image png;
  std::memset(&png, 0, sizeof png);
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<png_uint_32>(width);
  png.height = static_cast<png_uint_32>(height);
  png.format = format;
  return png_image_write_to_file(&png, path.c_str(), 0, data, step, nullptr) !=
         0;
}
}  // namespace

bool WritePng(const std::string& path, const RgbImage& image) {
  return WritePngFormat(path, image.data(), image.step(), image.width,
                        image.height, PNG_FORMAT_RGB);
}

bool WriteGrayPng(const std::string& path, const uint8_t* plane, int step,
                  int width, int height) {
  return WritePngFormat(path, plane, step, width, height, PNG_FORMAT_GRAY);
}

}  // namespace demo
