// The vector bodies of the inverse forms against their scalar definitions,
// over every (Y, Cb, Cr) triple.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/dispatch.h"
#include "kelcc.h"
#include "ycbcr/forms.h"
#include "ycbcr/ycbcr_to_rgb.h"

namespace {

using namespace kel::ycbcr;
using Form = Rgb8 (*)(int, int, int);

// Sanitizer builds run without optimisation; they walk every third luma
// value instead of all of them.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kYStride = 3;
#else
constexpr int kYStride = 1;
#endif

// Every (Cb, Cr) pair once, Cb major, at one luma value: as three planes and
// as packed pixels with a fourth byte.
struct Triples {
  std::vector<uint8_t> y, cb, cr, packed;
  explicit Triples(int yv) : y(65536, static_cast<uint8_t>(yv)) {
    for (int i = 0; i < 65536; ++i) {
      cb.push_back(static_cast<uint8_t>(i >> 8));
      cr.push_back(static_cast<uint8_t>(i));
      packed.insert(packed.end(),
                    {y[i], cb[i], cr[i], static_cast<uint8_t>(i * 7)});
    }
  }
};

template <class F>
void PlanarBody(const Triples& t, uint8_t* rgb) {
  dec::PlanarRowToRgb<kel::Avx2, F>(t.y.data(), t.cb.data(), t.cr.data(), rgb,
                                    65536);
}
// Form S as the 4:4:4 AC4 member runs it: 32-bit lanes straight from the
// packed pixels.
void PackedSBody(const Triples& t, uint8_t* rgba) {
  dec::ConvertAc4S<kel::Avx2>(t.packed.data(), 0, rgba, 0, 65536, 1);
}

// Form R has two vector roundings (a multiply, or an addition and shifts);
// both must give the bits of the one scalar form.
TEST(InverseFormsVectorBody, EveryFormOverAllTriples) {
  if (!kel::frame::CpuHasAvx2()) GTEST_SKIP() << "no AVX2";
  const struct {
    const char* name;
    Form scalar;
    void (*body)(const Triples&, uint8_t*);
    int bytes;  // per destination pixel
  } forms[] = {{"P", InverseP, PlanarBody<dec::FormP>, 3},
               {"Q", InverseQ, PlanarBody<dec::FormQ>, 3},
               {"R", InverseR, PlanarBody<dec::FormR>, 3},
               {"R shifted", InverseR, PlanarBody<dec::FormRShifted>, 3},
               {"folded R", InverseRFolded, PlanarBody<dec::FormRFolded>, 3},
               {"2^16", Inverse16, PlanarBody<dec::Form16>, 3},
               {"packed S", InverseS, PackedSBody, 4}};
  std::vector<uint8_t> out(4 * 65536);
  int mismatches = 0;
  for (int yv = 0; yv < 256 && mismatches < 5; yv += kYStride) {
    const Triples t(yv);
    for (const auto& f : forms) {
      f.body(t, out.data());
      for (int i = 0; i < 65536 && mismatches < 5; ++i) {
        const Rgb8 e = f.scalar(yv, i >> 8, i & 255);
        const uint8_t* p = &out[f.bytes * i];
        const std::array<int, 3> got = {p[0], p[1], p[2]},
                                 want = {e.r, e.g, e.b};
        if (got != want) {
          EXPECT_EQ(got, want) << f.name << " at Y=" << yv << " Cb=" << (i >> 8)
                               << " Cr=" << (i & 255);
          ++mismatches;
        }
      }
    }
  }
}

// The forms agree with the real-valued equations to within rounding, and
// map the ends of the studio range to the ends of the 8-bit range.
TEST(InverseForms, StayCloseToTheReferenceEquations) {
  const Form forms[] = {InverseP,       InverseQ, InverseR,
                        InverseRFolded, InverseS, Inverse16};
  for (const Form& f : forms) {
    SCOPED_TRACE("form " + std::to_string(&f - forms) + " of P Q R R' S 2^16");
    EXPECT_EQ(f(16, 128, 128).r, 0);
    // Forms P and S truncate: 235 comes out just below 255, stored 254.
    EXPECT_EQ(f(235, 128, 128).g, f == InverseP || f == InverseS ? 254 : 255);
    auto near = [](int got, double want) {
      return std::abs(got - std::clamp(want, 0.0, 255.0)) <= 1.6;
    };
    for (int y = 0; y <= 255; y += 5) {
      for (int cb = 0; cb <= 255; cb += 15) {
        for (int cr = 0; cr <= 255; cr += 17) {
          const double yy = 1.164 * (y - 16);
          const double r = yy + 1.596 * (cr - 128);
          const double g = yy - 0.813 * (cr - 128) - 0.392 * (cb - 128);
          const double b = yy + 2.017 * (cb - 128);
          const Rgb8 c = f(y, cb, cr);
          ASSERT_TRUE(near(c.r, r) && near(c.g, g) && near(c.b, b))
              << "Y=" << y << " Cb=" << cb << " Cr=" << cr;
        }
      }
    }
  }
}

}  // namespace
