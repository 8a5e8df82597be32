// libFuzzer target over every export. The input chooses the export, the
// region, the row slack of each plane and the scalars, and fills the source
// planes; every plane is allocated to the exact byte its rows span, so that
// AddressSanitizer sees any read or write past a plane. The call runs with
// the portable slots and, where the processor has them, with the AVX2 slots;
// both must give the same result and the same bytes.
//
// Input layout: export (2 bytes), width - 1, height - 1, then per plane one
// slack byte and its bytes, one byte per scalar, one per matrix element
// (zero once the input runs out).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "frame/dispatch.h"
#include "harness/geometry.h"

namespace {

using kel::harness::AllGeometry;
using kel::harness::CallArgs;
using kel::harness::Geometry;

struct Reader {
  const uint8_t* p;
  size_t n, at = 0;
  uint8_t Byte() { return at < n ? p[at++] : 0; }
};

// A plane of exactly (rows - 1) * step + rowBytes bytes.
struct Plane {
  std::unique_ptr<uint8_t[]> bytes;
  size_t size;
  int step;
};

[[noreturn]] void Trap(const Geometry& g, const char* what) {
  std::fprintf(stderr, "fuzz: %s: %s\n", g.name.c_str(), what);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto& all = AllGeometry();
  Reader in{data, size};
  const int pick = (in.Byte() | in.Byte() << 8) % static_cast<int>(all.size());
  const Geometry& g = all[static_cast<size_t>(pick)];
  if (!g.ok) return 0;
  const KelImageSize roi{1 + in.Byte() % 96, 1 + in.Byte() % 24};

  std::vector<Plane> planes;
  std::vector<size_t> shared(g.stepCount, 0);
  for (const auto& s : g.planes)
    if (s.stepParam >= 0)
      shared[s.stepParam] = std::max(shared[s.stepParam], s.RowBytes(roi));
  std::vector<int> sharedSlack(g.stepCount, -1);
  CallArgs a;
  std::vector<std::vector<void*>> arrays(g.arrayCount,
                                         std::vector<void*>(4, nullptr));
  std::vector<std::vector<int>> stepArrays(g.stepArrayCount,
                                           std::vector<int>(4, 0));
  for (const auto& s : g.planes) {
    const size_t rowBytes =
        s.stepParam >= 0 ? shared[s.stepParam] : s.RowBytes(roi);
    int slack = in.Byte() % 17 * s.elemBytes;
    if (s.stepParam >= 0) {
      if (sharedSlack[s.stepParam] < 0) sharedSlack[s.stepParam] = slack;
      slack = sharedSlack[s.stepParam];
    }
    Plane p;
    p.step = static_cast<int>(rowBytes) + slack;
    const int rows = s.Rows(roi);
    p.size = static_cast<size_t>(rows - 1) * p.step + rowBytes;
    p.bytes.reset(new uint8_t[p.size]);
    for (size_t i = 0; i < p.size; ++i) p.bytes[i] = in.Byte();
    if (s.inArray)
      arrays[s.param][s.index] = p.bytes.get();
    else
      a.ptrs[s.param] = p.bytes.get();
    if (s.stepParam >= 0) a.steps[s.stepParam] = p.step;
    if (s.stepArray >= 0) stepArrays[s.stepArray][s.index] = p.step;
    planes.push_back(std::move(p));
  }
  for (size_t i = 0; i < arrays.size(); ++i) a.arrays[i] = arrays[i].data();
  for (size_t i = 0; i < stepArrays.size(); ++i)
    a.stepArrays[i] = stepArrays[i].data();
  a.roi = roi;
  for (size_t i = 0; i < g.scalars.size(); ++i) {
    const auto& v = g.scalars[i].valid;
    a.scalars[i] = v[in.Byte() % v.size()];
  }

  std::vector<std::vector<double>> matrices;
  std::vector<std::vector<float>> floatMatrices;
  for (size_t i = 0; i < g.matrices.size(); ++i) {
    const auto& m = g.matrices[i];
    std::vector<double> v(static_cast<size_t>(m.count));
    for (double& x : v) x = (in.Byte() - 128) / 32.0;
    if (m.isDouble) {
      matrices.push_back(std::move(v));
      a.matrices[i] = matrices.back().data();
    } else {
      floatMatrices.emplace_back(v.begin(), v.end());
      a.matrices[i] = floatMatrices.back().data();
    }
  }

  // The sources as they came in, to run the AVX2 slots on the same input.
  std::vector<std::vector<uint8_t>> before;
  for (const Plane& p : planes)
    before.emplace_back(p.bytes.get(), p.bytes.get() + p.size);
  kel::frame::SelectImplementations(false);
  const KelResult portable = g.call(a);
  if (!kel::frame::CpuHasAvx2()) return 0;
  std::vector<std::vector<uint8_t>> after;
  for (size_t i = 0; i < planes.size(); ++i) {
    after.emplace_back(planes[i].bytes.get(),
                       planes[i].bytes.get() + planes[i].size);
    std::memcpy(planes[i].bytes.get(), before[i].data(), planes[i].size);
  }
  kel::frame::SelectImplementations(true);
  if (g.call(a) != portable) Trap(g, "results differ between the slot sets");
  for (size_t i = 0; i < planes.size(); ++i)
    if (std::memcmp(planes[i].bytes.get(), after[i].data(), planes[i].size))
      Trap(g, "bytes differ between the slot sets");
  return 0;
}
