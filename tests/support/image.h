// Guarded image planes for tests.
//
// A GuardedPlane owns a buffer with guard bytes before and after the image
// and slack at the end of every row. The whole buffer starts out holding a
// position-dependent canary pattern, so a test can prove that a function
// wrote nothing outside the bytes it was allowed to write.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace kel::test {

class GuardedPlane {
 public:
  // `rowBytes` bytes in each of `rows` rows; the step is rowBytes + slack;
  // the first pixel sits `misalign` bytes past a 64-byte boundary.
  GuardedPlane(int rowBytes, int rows, int slack = 0, int misalign = 0);

  uint8_t* data() { return buf_.data() + offset_; }
  const uint8_t* data() const { return buf_.data() + offset_; }
  uint8_t* row(int y) { return data() + static_cast<ptrdiff_t>(y) * step_; }
  const uint8_t* row(int y) const {
    return data() + static_cast<ptrdiff_t>(y) * step_;
  }
  int step() const { return step_; }
  int rowBytes() const { return rowBytes_; }
  int rows() const { return rows_; }

  // Random bytes over the image (0 and 255 included); guards keep the canary.
  void FillRandom(std::mt19937& rng);
  // The same byte over the image.
  void Fill(uint8_t value);

  // The whole buffer, guards included, and putting such a copy back.
  std::vector<uint8_t> Snapshot() const { return buf_; }
  void Load(const std::vector<uint8_t>& snapshot) {
    std::copy(snapshot.begin(), snapshot.end(), buf_.begin());
  }
  // The image bytes only, row after row.
  std::vector<uint8_t> Image() const;

  // Success when every byte outside the first `w` bytes of the first `h`
  // rows still holds the canary pattern.
  ::testing::AssertionResult CanaryIntactOutside(int w, int h) const;
  // Success when every byte outside the first `w` bytes of the first `h`
  // rows is as in `snapshot` (an earlier Snapshot()).
  ::testing::AssertionResult UnchangedOutside(
      const std::vector<uint8_t>& snapshot, int w, int h) const;
  // Success when the buffer is byte for byte `snapshot`.
  ::testing::AssertionResult Unchanged(
      const std::vector<uint8_t>& snapshot) const;

  static constexpr int kGuard = 256;

 private:
  static uint8_t Canary(size_t i) {
    return static_cast<uint8_t>(0xA5 ^ (i * 0x3B) ^ (i >> 8));
  }

  int rowBytes_, rows_, step_;
  size_t offset_;
  std::vector<uint8_t> buf_;
};

// A seeded generator per test, so failures can be reproduced.
std::mt19937 TestRng();

// Whether two byte images are equal; on a difference reports the first
// differing offset as (x, y) for rows of `rowBytes`.
::testing::AssertionResult SameBytes(const std::vector<uint8_t>& expected,
                                     const std::vector<uint8_t>& actual,
                                     int rowBytes);

}  // namespace kel::test
