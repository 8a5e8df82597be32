// One call's planes for the harness: a guarded buffer per plane of an
// export's geometry, sized for a region, with random steps (slack),
// misalignment and source bytes, and the arguments that describe them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "harness/geometry.h"
#include "support/image.h"

namespace kel::harness {

using kel::test::GuardedPlane;

// The planes of one call, each a guarded buffer, with their arguments.
struct Frame {
  const Geometry& g;
  KelImageSize roi;
  std::vector<std::unique_ptr<GuardedPlane>> planes;
  std::vector<std::vector<void*>> arrays;  // plane-pointer arrays
  std::vector<std::vector<int>> stepArrays;
  std::vector<std::vector<uint8_t>> matrices;
  CallArgs args;

  Frame(const Geometry& geo, KelImageSize r, std::mt19937& rng)
      : g(geo), roi(r), arrays(geo.arrayCount), stepArrays(geo.stepArrayCount) {
    // Planes that share a step get the widest row of them and one slack.
    std::vector<size_t> shared(g.stepCount, 0);
    for (const auto& s : g.planes)
      if (s.stepParam >= 0)
        shared[s.stepParam] = std::max(shared[s.stepParam], s.RowBytes(roi));
    std::vector<int> slack(g.stepCount);
    for (int& v : slack) v = static_cast<int>(rng() % 48);
    for (auto& a : arrays) a.resize(4, nullptr);
    for (auto& a : stepArrays) a.resize(4, 0);
    for (const auto& s : g.planes) {
      const int e = s.elemBytes;
      const int rowBytes = static_cast<int>(
          s.stepParam >= 0 ? shared[s.stepParam] : s.RowBytes(roi));
      const int extra =
          s.stepParam >= 0 ? slack[s.stepParam] : static_cast<int>(rng() % 48);
      const int pad = (extra / e) * e + (rowBytes == 0 ? e : 0);
      const int misalign = static_cast<int>(rng() % 32) / e * e;
      planes.push_back(std::make_unique<GuardedPlane>(
          rowBytes, std::max(s.Rows(roi), 1), pad, misalign));
      GuardedPlane& p = *planes.back();
      p.FillRandom(rng);
      if (s.inArray)
        arrays[s.param][s.index] = p.data();
      else
        args.ptrs[s.param] = p.data();
      if (s.stepParam >= 0) args.steps[s.stepParam] = p.step();
      if (s.stepArray >= 0) stepArrays[s.stepArray][s.index] = p.step();
    }
    for (size_t i = 0; i < arrays.size(); ++i)
      args.arrays[i] = arrays[i].data();
    for (size_t i = 0; i < stepArrays.size(); ++i)
      args.stepArrays[i] = stepArrays[i].data();
    args.roi = roi;
    // Matrices: factors within +-2 and offsets within +-300, so results
    // both fall inside and outside the integer types' ranges; weights within
    // -0.5..1.5, or now and then null (the defaults).
    for (size_t i = 0; i < g.matrices.size(); ++i) {
      const auto& m = g.matrices[i];
      std::vector<double> v(static_cast<size_t>(m.count));
      for (size_t k = 0; k < v.size(); ++k) {
        const int r = static_cast<int>(rng() % 4001) - 2000;
        v[k] =
            m.nullAllowed ? 0.5 + r / 2000.0 : r / (k % 4 == 3 ? 6.67 : 1000.0);
      }
      std::vector<uint8_t> bytes(v.size() * (m.isDouble ? 8 : 4));
      for (size_t k = 0; k < v.size(); ++k) {
        if (m.isDouble) {
          std::memcpy(&bytes[8 * k], &v[k], 8);
        } else {
          const float f = static_cast<float>(v[k]);
          std::memcpy(&bytes[4 * k], &f, 4);
        }
      }
      matrices.push_back(std::move(bytes));
      args.matrices[i] =
          m.nullAllowed && rng() % 4 == 0 ? nullptr : matrices.back().data();
    }
    for (size_t i = 0; i < g.scalars.size(); ++i) {
      const auto& v = g.scalars[i].valid;
      args.scalars[i] = v[rng() % v.size()];
    }
  }

  // Everything the call may write: every destination plane, guards and all.
  std::vector<std::vector<uint8_t>> Snapshot() const {
    std::vector<std::vector<uint8_t>> s;
    for (size_t i = 0; i < planes.size(); ++i)
      s.push_back(planes[i]->Snapshot());
    return s;
  }
  // The bytes of every plane's rows, without the guards.
  std::vector<std::vector<uint8_t>> Images() const {
    std::vector<std::vector<uint8_t>> s;
    for (const auto& p : planes) s.push_back(p->Image());
    return s;
  }
  void Restore(const std::vector<std::vector<uint8_t>>& s) {
    for (size_t i = 0; i < planes.size(); ++i) planes[i]->Load(s[i]);
  }

  std::string Describe(uint64_t seed) const {
    std::ostringstream o;
    o << g.name << " region " << roi.width << "x" << roi.height << " steps";
    for (const auto& p : planes) o << " " << p->step();
    o << " seed " << seed << " (KELCC_SWEEP_SEED=" << seed
      << " KELCC_SWEEP_EXPORT=" << g.name << ")";
    return o.str();
  }
};

}  // namespace kel::harness
