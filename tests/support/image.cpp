#include "support/image.h"

#include <cstring>

namespace kel::test {

GuardedPlane::GuardedPlane(int rowBytes, int rows, int slack, int misalign)
    : rowBytes_(rowBytes), rows_(rows), step_(rowBytes + slack) {
  const size_t body =
      static_cast<size_t>(step_) * static_cast<size_t>(rows > 0 ? rows : 0);
  buf_.resize(body + 2 * kGuard + 64 + static_cast<size_t>(misalign));
  for (size_t i = 0; i < buf_.size(); ++i) buf_[i] = Canary(i);
  const auto base = reinterpret_cast<uintptr_t>(buf_.data());
  const size_t toAligned = (64 - base % 64) % 64;
  offset_ = toAligned + kGuard + static_cast<size_t>(misalign);
}

void GuardedPlane::FillRandom(std::mt19937& rng) {
  std::uniform_int_distribution<int> byte(0, 255);
  for (int y = 0; y < rows_; ++y)
    for (int x = 0; x < rowBytes_; ++x)
      row(y)[x] = static_cast<uint8_t>(byte(rng));
}

void GuardedPlane::Fill(uint8_t value) {
  for (int y = 0; y < rows_; ++y) std::memset(row(y), value, rowBytes_);
}

std::vector<uint8_t> GuardedPlane::Image() const {
  std::vector<uint8_t> out;
  out.reserve(static_cast<size_t>(rowBytes_) * rows_);
  for (int y = 0; y < rows_; ++y)
    out.insert(out.end(), row(y), row(y) + rowBytes_);
  return out;
}

::testing::AssertionResult GuardedPlane::CanaryIntactOutside(int w,
                                                             int h) const {
  std::vector<uint8_t> canary(buf_.size());
  for (size_t i = 0; i < canary.size(); ++i) canary[i] = Canary(i);
  return UnchangedOutside(canary, w, h);
}

::testing::AssertionResult GuardedPlane::UnchangedOutside(
    const std::vector<uint8_t>& snapshot, int w, int h) const {
  for (size_t i = 0; i < buf_.size(); ++i) {
    const ptrdiff_t rel = static_cast<ptrdiff_t>(i - offset_);
    bool inside = false;
    if (rel >= 0 && step_ > 0) {
      const ptrdiff_t y = rel / step_, x = rel % step_;
      inside = y < h && x < w;
    }
    if (!inside && buf_[i] != snapshot[i]) {
      return ::testing::AssertionFailure()
             << "byte at offset " << rel << " from the first pixel (step "
             << step_ << ") was overwritten; allowed region " << w << " x "
             << h;
    }
  }
  return ::testing::AssertionSuccess();
}

::testing::AssertionResult GuardedPlane::Unchanged(
    const std::vector<uint8_t>& snapshot) const {
  for (size_t i = 0; i < buf_.size(); ++i) {
    if (buf_[i] != snapshot[i])
      return ::testing::AssertionFailure()
             << "byte at offset " << static_cast<ptrdiff_t>(i - offset_)
             << " from the first pixel changed";
  }
  return ::testing::AssertionSuccess();
}

std::mt19937 TestRng() {
  const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
  uint32_t seed = 2166136261u;
  if (info != nullptr) {
    for (const char* s : {info->test_suite_name(), info->name()})
      for (; *s; ++s) seed = (seed ^ static_cast<uint8_t>(*s)) * 16777619u;
  }
  return std::mt19937(seed);
}

::testing::AssertionResult SameBytes(const std::vector<uint8_t>& expected,
                                     const std::vector<uint8_t>& actual,
                                     int rowBytes) {
  if (expected.size() != actual.size())
    return ::testing::AssertionFailure()
           << "sizes differ: " << expected.size() << " vs " << actual.size();
  for (size_t i = 0; i < expected.size(); ++i) {
    if (expected[i] != actual[i]) {
      return ::testing::AssertionFailure()
             << "first difference at byte x=" << i % rowBytes
             << " y=" << i / rowBytes << ": expected " << int{expected[i]}
             << ", got " << int{actual[i]};
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace kel::test
