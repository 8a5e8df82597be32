// An 8-bit RGB image owned by the demo, with PNG/PPM input and PNG output.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace demo {

struct RgbImage {
  int width = 0, height = 0;
  std::vector<uint8_t> pixels;  // R, G, B per pixel, rows packed

  int step() const { return width * 3; }
  uint8_t* data() { return pixels.data(); }
  const uint8_t* data() const { return pixels.data(); }
};

// The built-in test image: colour bars, gradients and a smooth scene.
RgbImage MakeTestImage(int width, int height);

// Reads a PNG or binary PPM (P6, maxval 255) file; false with a message on
// failure.
bool ReadImage(const std::string& path, RgbImage* image, std::string* error);

// Writes an RGB image, or a gray plane, as an 8-bit PNG file.
bool WritePng(const std::string& path, const RgbImage& image);
bool WriteGrayPng(const std::string& path, const uint8_t* plane, int step,
                  int width, int height);

}  // namespace demo
