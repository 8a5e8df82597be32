// The sampling, order and layout conversions of YCbCr images, checked
// against a model: decode the source into luma and chroma arrays, pick
// every result chroma sample by the rule of the two samplings, encode.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "kelcc.h"
#include "support/dispatch_modes.h"
#include "support/image.h"

namespace {

using kel::test::ForEachDispatch;
using kel::test::GuardedPlane;
using kel::test::SameBytes;

// ---------------------------------------------------------------------------
// The model.

struct Fmt {
  int sampling;       // 422, 420 or 411
  char layout;        // '3' planar, '2' luma + CbCr, 'C' packed
  const char* order;  // '3': planes 1, 2; 'C': the 4 bytes of a group
};

constexpr Fmt kYCbCr422P3{422, '3', "BR"}, kYCrCb422P3{422, '3', "RB"},
    kYCbCr422{422, 'C', "YBYR"}, kYCrCb422{422, 'C', "YRYB"},
    kCbYCr422{422, 'C', "BYRY"}, kYCbCr420P3{420, '3', "BR"},
    kYCrCb420P3{420, '3', "RB"}, kYCbCr420P2{420, '2', "BR"},
    kYCbCr411P3{411, '3', "BR"}, kYCbCr411P2{411, '2', "BR"};

// Bytes per row and rows of each plane (partial chroma blocks counted).
std::vector<std::pair<int, int>> PlaneShapes(const Fmt& f, int w, int h) {
  const int cw = f.sampling == 411 ? (w + 3) / 4 : (w + 1) / 2;
  const int ch = f.sampling == 420 ? (h + 1) / 2 : h;
  if (f.layout == 'C') return {{2 * w, h}};
  if (f.layout == '2') return {{w, h}, {2 * cw, ch}};
  return {{w, h}, {cw, ch}, {cw, ch}};
}

// Plane and byte column of sample (r, c) of component 'Y', 'B' or 'R'.
std::pair<int, int> Locate(const Fmt& f, char comp, int c) {
  if (f.layout == 'C') {
    const int group = comp == 'Y' ? c / 2 : c;
    int at = 0;
    for (int seen = comp == 'Y' ? c % 2 : 0; f.order[at] != comp || seen--;)
      ++at;
    return {0, 4 * group + at};
  }
  if (comp == 'Y') return {0, c};
  if (f.layout == '2') return {1, 2 * c + (comp == 'R')};
  return {f.order[0] == comp ? 1 : 2, c};
}

// Pointers to and steps of an image's planes.
struct View {
  int planes = 0;
  uint8_t* p[3] = {};
  int step[3] = {};
};

// An image in one of the formats, every plane guarded.
struct Image {
  std::vector<GuardedPlane> planes;
  View view;

  // Planes after the first get more slack, unless `slack` is negative:
  // then every row follows the previous one without a gap.
  Image(const Fmt& f, int w, int h, int slack = 0, int misalign = 0) {
    for (auto [bytes, rows] : PlaneShapes(f, w, h)) {
      const int i = view.planes++;
      planes.emplace_back(bytes, rows, slack < 0 ? 0 : slack + 3 * i,
                          misalign + 5 * i);
    }
    for (int i = 0; i < view.planes; ++i) {
      view.p[i] = planes[i].data();
      view.step[i] = planes[i].step();
    }
  }
};

// Source row and column of result chroma sample (i, j).
std::pair<int, int> Origin(int from, int to, int i, int j) {
  if (from == 422 && to == 420) return {2 * i, j};
  if (from == 420 && to == 422) return {i / 2, j};
  if (from == 422 && to == 411) return {i, 2 * j};
  if (from == 411 && to == 422) return {i, j / 2};
  if (from == 420 && to == 411) return {i / 2, 2 * j + i % 2};
  if (from == 411 && to == 420) return {2 * i + j % 2, j / 2};
  return {i, j};
}

// The bytes each result plane should hold over a w x h region of whole
// blocks: luma copied, every chroma sample picked from its origin.
std::vector<std::vector<uint8_t>> Expected(const Fmt& from, const Fmt& to,
                                           const Image& src, int w, int h) {
  const auto shapes = PlaneShapes(to, w, h);
  std::vector<std::vector<uint8_t>> out;
  for (auto [bytes, rows] : shapes)
    out.emplace_back(static_cast<size_t>(bytes) * rows);
  const int cw = to.sampling == 411 ? w / 4 : w / 2;
  const int ch = to.sampling == 420 ? h / 2 : h;
  for (int k = 0; k < 3; ++k)
    for (int i = 0; i < (k ? ch : h); ++i)
      for (int j = 0; j < (k ? cw : w); ++j) {
        auto [si, sj] =
            k ? Origin(from.sampling, to.sampling, i, j) : std::pair{i, j};
        auto [sp, sx] = Locate(from, "YBR"[k], sj);
        auto [dp, dx] = Locate(to, "YBR"[k], j);
        out[dp][static_cast<size_t>(i) * shapes[dp].first + dx] =
            src.planes[sp].row(si)[sx];
      }
  return out;
}

// ---------------------------------------------------------------------------
// Calling any member through one shape: the two images are laid out as the
// member's arguments, a planar image as its plane and step arrays, the
// others as pointer and step per plane. Pointer arguments are numbered in
// that order (a planar image: array, steps, planes 0..2); the one numbered
// `null` is passed as null.

using Call =
    std::function<KelResult(const View&, const View&, KelImageSize, int)>;

template <class... P>
Call Adapt(KelResult (*f)(P...)) {
  return [f](const View& src, const View& dst, KelImageSize roi, int null) {
    Kel8u* arr[2][3] = {};
    int steps[2][3] = {};
    std::vector<intptr_t> args;
    int slot = 0;
    auto pointer = [&](const void* p) {
      return slot++ == null ? intptr_t{0} : reinterpret_cast<intptr_t>(p);
    };
    for (int side = 0; side < 2; ++side) {
      const View& v = side == 0 ? src : dst;
      // Braced lists are evaluated left to right, so slots go in order.
      if (v.planes == 3)
        args.insert(args.end(), {pointer(arr[side]), pointer(steps[side])});
      for (int i = 0; i < v.planes; ++i) {
        steps[side][i] = v.step[i];
        if (v.planes == 3)
          arr[side][i] = reinterpret_cast<Kel8u*>(pointer(v.p[i]));
        else
          args.insert(args.end(), {pointer(v.p[i]), v.step[i]});
      }
    }
    size_t next = 0;
    auto take = [&]<class T>() -> T {
      if constexpr (std::is_same_v<T, KelImageSize>)
        return roi;
      else if constexpr (std::is_pointer_v<T>)
        return reinterpret_cast<T>(args[next++]);
      else
        return static_cast<T>(args[next++]);
    };
    // Braced initialisation takes the arguments left to right.
    return std::apply(f, std::tuple<P...>{take.template operator()<P>()...});
  };
}

int PointerCount(const Fmt& f) {
  return f.layout == '3' ? 5 : f.layout == '2' ? 2 : 1;
}

struct Member {
  const char* name;
  Call call;
  Fmt from, to;
  bool streams = false;  // streams above 348,602 or 524,288 pixels

  int MinWidth() const {
    return from.sampling == 411 || to.sampling == 411 ? 4 : 2;
  }
  int MinHeight() const {
    return from.sampling == 420 || to.sampling == 420 ? 2 : 1;
  }
};

#define M(fn, from, to) \
  Member { #fn, Adapt(&fn), from, to }
#define S(fn, from, to) \
  Member { #fn, Adapt(&fn), from, to, true }

const std::vector<Member> kMembers = {
    S(keliYCbCr422ToYCbCr420_8u_P3R, kYCbCr422P3, kYCbCr420P3),
    M(keliYCbCr422ToYCbCr420_8u_P3P2R, kYCbCr422P3, kYCbCr420P2),
    M(keliYCbCr422ToYCbCr420_8u_C2P3R, kYCbCr422, kYCbCr420P3),
    M(keliYCbCr422ToYCbCr420_8u_C2P2R, kYCbCr422, kYCbCr420P2),
    M(keliYCbCr422ToYCrCb420_8u_C2P3R, kYCbCr422, kYCrCb420P3),
    M(keliYCbCr422ToYCrCb420_8u_C2P2R, kYCbCr422, kYCbCr420P2),
    M(keliYCrCb422ToYCbCr420_8u_C2P3R, kYCrCb422, kYCbCr420P3),
    M(keliCbYCr422ToYCbCr420_8u_C2P3R, kCbYCr422, kYCbCr420P3),
    M(keliCbYCr422ToYCbCr420_8u_C2P2R, kCbYCr422, kYCbCr420P2),
    M(keliCbYCr422ToYCrCb420_8u_C2P3R, kCbYCr422, kYCrCb420P3),
    M(keliYCbCr420ToYCbCr422_8u_P3R, kYCbCr420P3, kYCbCr422P3),
    M(keliYCbCr420ToYCbCr422_8u_P2P3R, kYCbCr420P2, kYCbCr422P3),
    M(keliYCbCr420ToYCbCr422_8u_P2C2R, kYCbCr420P2, kYCbCr422),
    M(keliYCbCr420ToCbYCr422_8u_P2C2R, kYCbCr420P2, kCbYCr422),
    M(keliYCrCb420ToYCbCr422_8u_P3R, kYCrCb420P3, kYCbCr422P3),
    M(keliYCrCb420ToYCbCr422_8u_P3C2R, kYCrCb420P3, kYCbCr422),
    M(keliYCrCb420ToCbYCr422_8u_P3C2R, kYCrCb420P3, kCbYCr422),
    M(keliYCbCr420ToYCrCb420_8u_P2P3R, kYCbCr420P2, kYCrCb420P3),
    M(keliYCbCr420_8u_P2P3R, kYCbCr420P2, kYCbCr420P3),
    M(keliYCbCr420_8u_P3P2R, kYCbCr420P3, kYCbCr420P2),
    M(keliYCrCb420ToYCbCr420_8u_P3P2R, kYCrCb420P3, kYCbCr420P2),
    M(keliYCbCr420ToYCbCr411_8u_P2P3R, kYCbCr420P2, kYCbCr411P3),
    M(keliYCbCr420ToYCbCr411_8u_P3P2R, kYCbCr420P3, kYCbCr411P2),
    M(keliYCrCb420ToYCbCr411_8u_P3P2R, kYCrCb420P3, kYCbCr411P2),
    M(keliYCbCr411ToYCbCr420_8u_P3R, kYCbCr411P3, kYCbCr420P3),
    M(keliYCbCr411ToYCbCr420_8u_P2P3R, kYCbCr411P2, kYCbCr420P3),
    S(keliYCbCr411ToYCbCr420_8u_P3P2R, kYCbCr411P3, kYCbCr420P2),
    M(keliYCbCr411ToYCrCb420_8u_P2P3R, kYCbCr411P2, kYCrCb420P3),
    S(keliYCbCr422ToYCbCr411_8u_P3R, kYCbCr422P3, kYCbCr411P3),
    M(keliYCbCr422ToYCbCr411_8u_P3P2R, kYCbCr422P3, kYCbCr411P2),
    M(keliYCbCr422ToYCbCr411_8u_C2P3R, kYCbCr422, kYCbCr411P3),
    M(keliYCbCr422ToYCbCr411_8u_C2P2R, kYCbCr422, kYCbCr411P2),
    M(keliYCrCb422ToYCbCr411_8u_C2P3R, kYCrCb422, kYCbCr411P3),
    M(keliCbYCr422ToYCbCr411_8u_C2P3R, kCbYCr422, kYCbCr411P3),
    M(keliYCbCr411ToYCbCr422_8u_P3R, kYCbCr411P3, kYCbCr422P3),
    S(keliYCbCr411ToYCbCr422_8u_P2P3R, kYCbCr411P2, kYCbCr422P3),
    S(keliYCbCr411ToYCbCr422_8u_P3C2R, kYCbCr411P3, kYCbCr422),
    S(keliYCbCr411ToYCbCr422_8u_P2C2R, kYCbCr411P2, kYCbCr422),
    M(keliYCbCr411ToYCrCb422_8u_P3R, kYCbCr411P3, kYCrCb422P3),
    S(keliYCbCr411ToYCrCb422_8u_P3C2R, kYCbCr411P3, kYCrCb422),
    M(keliYCbCr411_8u_P2P3R, kYCbCr411P2, kYCbCr411P3),
    S(keliYCbCr411_8u_P3P2R, kYCbCr411P3, kYCbCr411P2),
    M(keliYCbCr422_8u_C2P3R, kYCbCr422, kYCbCr422P3),
    M(keliYCbCr422_8u_P3C2R, kYCbCr422P3, kYCbCr422),
    M(keliYCrCb422ToYCbCr422_8u_C2P3R, kYCrCb422, kYCbCr422P3),
    M(keliCbYCr422ToYCbCr422_8u_C2P3R, kCbYCr422, kYCbCr422P3),
    M(keliYCbCr422ToCbYCr422_8u_P3C2R, kYCbCr422P3, kCbYCr422),
    S(keliYCbCr422ToYCrCb422_8u_P3C2R, kYCbCr422P3, kYCrCb422),
    S(keliYCbCr422ToYCrCb422_8u_C2R, kYCbCr422, kYCrCb422),
    M(keliYCbCr422ToCbYCr422_8u_C2R, kYCbCr422, kCbYCr422),
    M(keliCbYCr422ToYCbCr422_8u_C2R, kCbYCr422, kYCbCr422),
};
#undef M
#undef S

// Runs `m` on a random w x h image and compares every destination plane
// with the model. The destination has the size of the region trimmed to
// whole blocks: every byte around it must keep its canary.
::testing::AssertionResult MatchesModel(const Member& m, int w, int h,
                                        std::mt19937& rng, int slack = 0,
                                        int misalign = 0) {
  const int tw = w / m.MinWidth() * m.MinWidth();
  const int th = h / m.MinHeight() * m.MinHeight();
  Image src(m.from, w, h, slack, misalign);
  Image dst(m.to, tw, th, slack < 0 ? slack : slack + 7, 2 * misalign);
  for (GuardedPlane& p : src.planes) p.FillRandom(rng);
  // The source is read from copies that end with its last byte (steps and
  // alignment within 16 bytes kept): the sanitizer build catches any read
  // past the region.
  View sv = src.view;
  std::vector<std::vector<uint8_t>> tight(sv.planes);
  for (int i = 0; i < sv.planes; ++i) {
    const GuardedPlane& p = src.planes[i];
    const size_t lead = reinterpret_cast<uintptr_t>(p.data()) % 16,
                 span = p.row(p.rows() - 1) + p.rowBytes() - p.data();
    tight[i].resize(lead + span);
    std::memcpy(tight[i].data() + lead, p.data(), span);
    sv.p[i] = tight[i].data() + lead;
  }
  if (const KelResult r = m.call(sv, dst.view, {w, h}, -1); r != kelOk)
    return ::testing::AssertionFailure() << "result " << r;
  const auto expected = Expected(m.from, m.to, src, tw, th);
  for (size_t i = 0; i < dst.planes.size(); ++i) {
    const GuardedPlane& p = dst.planes[i];
    if (auto same = SameBytes(expected[i], p.Image(), p.rowBytes()); !same)
      return same << " in plane " << i;
    if (auto intact = p.CanaryIntactOutside(p.rowBytes(), p.rows()); !intact)
      return intact << " in plane " << i;
  }
  // Packed to packed also works in place.
  if (m.from.layout == 'C' && m.to.layout == 'C') {
    m.call(sv, sv, {w, h}, -1);
    for (int y = 0; y < h; ++y)
      if (std::memcmp(sv.p[0] + static_cast<ptrdiff_t>(y) * sv.step[0],
                      dst.planes[0].row(y), 2 * tw) != 0)
        return ::testing::AssertionFailure() << "in place, row " << y;
  }
  return ::testing::AssertionSuccess();
}

struct Case {
  int w, h, slack, misalign;
};

// Widths around every multiple of the 32-sample chroma step (64 pixels of
// 4:2:2 and 4:2:0 chroma, 128 of 4:1:1), odd ones included; heights 1 to 5
// and more; planes anywhere in a cache line, steps with slack, and planes
// without gaps between rows (moved as one long row). A streaming member
// also runs above its threshold of 348,602 or 524,288 pixels: gapless and
// aligned, rows 32-byte aligned, nothing aligned.
std::vector<Case> Cases(bool streams) {
  std::vector<Case> cases;
  for (int w : {2,   3,   5,   7,   8,   31,  32,  33,  62,  63,  64,  66,
                126, 128, 130, 132, 190, 194, 256, 260, 382, 388, 1030})
    cases.push_back({w, 3, 0, 0});
  for (int h : {1, 2, 5, 17}) cases.push_back({134, h, 0, 0});
  for (int misalign : {1, 17, 31}) cases.push_back({264, 4, 13, misalign});
  for (auto [w, h] : {std::pair{4, 1}, {8, 6}, {68, 3}, {132, 9}, {260, 6}})
    cases.push_back({w, h, -1, 0});
#ifdef __SANITIZE_ADDRESS__
  const int bigRows = 40;
#else
  const int bigRows = 520;
#endif
  if (streams)
    for (auto [slack, misalign] : {std::pair{-1, 0}, {25, 0}, {5, 9}})
      cases.push_back({1024, bigRows, slack, misalign});
  return cases;
}

TEST(Movers, EveryShapeMatchesTheModel) {
  std::mt19937 rng = kel::test::TestRng();
  for (const Member& m : kMembers) {
    SCOPED_TRACE(m.name);
    ForEachDispatch([&] {
      for (const Case& c : Cases(m.streams)) {
        if (c.w < m.MinWidth() || c.h < m.MinHeight()) continue;
        EXPECT_TRUE(MatchesModel(m, c.w, c.h, rng, c.slack, c.misalign))
            << c.w << " x " << c.h << ", slack " << c.slack << ", misalign "
            << c.misalign;
      }
    });
  }
}

// Every pointer is checked, plane pointers and step arrays included, before
// the size (a null is reported even with an empty region); a size below one
// block is rejected; nothing is written.
TEST(Movers, ErrorsWriteNothing) {
  for (const Member& m : kMembers) {
    SCOPED_TRACE(m.name);
    ForEachDispatch([&] {
      const int mw = m.MinWidth(), mh = m.MinHeight();
      auto expect = [&](KelResult code, KelImageSize roi, int nullSlot) {
        Image src(m.from, 8, 8), dst(m.to, 8, 8);
        std::vector<std::vector<uint8_t>> before;
        for (auto& p : dst.planes) before.push_back(p.Snapshot());
        EXPECT_EQ(m.call(src.view, dst.view, roi, nullSlot), code)
            << roi.width << " x " << roi.height << ", null " << nullSlot;
        for (size_t i = 0; i < dst.planes.size(); ++i)
          EXPECT_TRUE(dst.planes[i].Unchanged(before[i]));
      };
      const int big = 1 << 20,
                sizes[][2] = {{mw - 1, mh}, {mw, mh - 1}, {0, 0},
                              {-mw, mh},    {mw, -8},     {mw - 1, big},
                              {big, mh - 1}};
      for (auto [w, h] : sizes) expect(kelErrSize, {w, h}, -1);
      const int slots = PointerCount(m.from) + PointerCount(m.to);
      for (int slot = 0; slot < slots; ++slot)
        expect(kelErrNullPtr, {0, 0}, slot);
      Image src(m.from, mw, mh), dst(m.to, mw, mh);
      EXPECT_EQ(m.call(src.view, dst.view, {mw, mh}, -1),
                kelOk);  // one block is enough
    });
  }
}

// An interleaving member whose destination row overlaps a source row takes
// the sample loop: both dispatch modes write what the in-order byte loop
// writes on the same memory.
TEST(Movers, InterleavingOverOverlappingRowsGoesInOrder) {
  std::mt19937 rng = kel::test::TestRng();
  const int w = 200, n = w / 2;
  for (int shift : {-40, -3, 0, 5, 64}) {
    SCOPED_TRACE(shift);
    GuardedPlane luma(w, 2);
    luma.FillRandom(rng);
    std::vector<uint8_t> mem(1024);
    for (auto& b : mem) b = static_cast<uint8_t>(rng());
    // CbCr destination at 300, the Cb row `shift` bytes away, Cr apart.
    auto expect = mem;
    for (int j = 0; j < n; ++j) {
      expect[300 + 2 * j] = expect[300 + shift + j];
      expect[300 + 2 * j + 1] = expect[800 + j];
    }
    ForEachDispatch([&] {
      auto run = mem;
      GuardedPlane y(w, 2);
      const Kel8u* src[3] = {luma.data(), run.data() + 300 + shift,
                             run.data() + 800};
      const int steps[3] = {luma.step(), 0, 0};
      ASSERT_EQ(keliYCbCr420_8u_P3P2R(src, steps, y.data(), y.step(),
                                      run.data() + 300, 0, {w, 2}),
                kelOk);
      EXPECT_TRUE(SameBytes(expect, run, 1024));
      EXPECT_TRUE(SameBytes(luma.Image(), y.Image(), w));
    });
  }
}

}  // namespace
