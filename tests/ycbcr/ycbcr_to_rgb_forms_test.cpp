// The vector bodies of the inverse forms against their scalar definitions,
// over every (Y, Cb, Cr) triple.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "frame/dispatch.h"
#include "kelcc.h"
#include "ycbcr/forms.h"
#include "ycbcr/ycbcr_to_rgb.h"

namespace {

using namespace kel::ycbcr;

// Sanitizer builds run without optimisation; they walk every third luma
// value instead of all of them.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kYStride = 3;
#else
constexpr int kYStride = 1;
#endif

// One row per luma value holding every (Cb, Cr) pair, in the order Cb major.
struct TripleRows {
  std::vector<uint8_t> cb, cr;
  TripleRows() : cb(65536), cr(65536) {
    for (int i = 0; i < 65536; ++i) {
      cb[i] = static_cast<uint8_t>(i >> 8);
      cr[i] = static_cast<uint8_t>(i);
    }
  }
};

template <class Form>
void ExpectVectorBodyMatches(Rgb8 (*scalar)(int, int, int)) {
  if (!kel::frame::CpuHasAvx2()) GTEST_SKIP() << "no AVX2";
  const TripleRows t;
  std::vector<uint8_t> y(65536), rgb(3 * 65536);
  int mismatches = 0;
  for (int yv = 0; yv < 256; yv += kYStride) {
    std::fill(y.begin(), y.end(), static_cast<uint8_t>(yv));
    dec::PlanarRowToRgb<kel::Avx2, Form>(y.data(), t.cb.data(), t.cr.data(),
                                         rgb.data(), 65536);
    for (int i = 0; i < 65536 && mismatches < 5; ++i) {
      const Rgb8 e = scalar(yv, t.cb[i], t.cr[i]);
      if (rgb[3 * i] != e.r || rgb[3 * i + 1] != e.g || rgb[3 * i + 2] != e.b) {
        ADD_FAILURE() << "Y=" << yv << " Cb=" << int(t.cb[i])
                      << " Cr=" << int(t.cr[i]) << ": got " << int(rgb[3 * i])
                      << "," << int(rgb[3 * i + 1]) << ","
                      << int(rgb[3 * i + 2]) << " expected " << int(e.r) << ","
                      << int(e.g) << "," << int(e.b);
        ++mismatches;
      }
    }
  }
}

TEST(InverseFormsVectorBody, FormPOverAllTriples) {
  ExpectVectorBodyMatches<dec::FormP>(InverseP);
}
TEST(InverseFormsVectorBody, FormQOverAllTriples) {
  ExpectVectorBodyMatches<dec::FormQ>(InverseQ);
}
// Form R has two vector roundings (a multiply, or an addition and shifts);
// both must give the bits of the one scalar form.
TEST(InverseFormsVectorBody, FormROverAllTriples) {
  ExpectVectorBodyMatches<dec::FormR>(InverseR);
  ExpectVectorBodyMatches<dec::FormRShifted>(InverseR);
}
TEST(InverseFormsVectorBody, FoldedFormROverAllTriples) {
  ExpectVectorBodyMatches<dec::FormRFolded>(InverseRFolded);
}
TEST(InverseFormsVectorBody, Rounded2p16FormOverAllTriples) {
  ExpectVectorBodyMatches<dec::Form16>(Inverse16);
}

// Form S as the 4:4:4 AC4 member runs it: 32-bit lanes straight from the
// packed pixels, the fourth byte of the destination kept.
TEST(InverseFormsVectorBody, FormSPackedWithAlphaOverAllTriples) {
  if (!kel::frame::CpuHasAvx2()) GTEST_SKIP() << "no AVX2";
  std::vector<uint8_t> src(4 * 65536), dst(4 * 65536);
  int mismatches = 0;
  for (int yv = 0; yv < 256; yv += kYStride) {
    for (int i = 0; i < 65536; ++i) {
      src[4 * i] = static_cast<uint8_t>(yv);
      src[4 * i + 1] = static_cast<uint8_t>(i >> 8);
      src[4 * i + 2] = static_cast<uint8_t>(i);
      src[4 * i + 3] = static_cast<uint8_t>(i * 7);
      dst[4 * i + 3] = static_cast<uint8_t>(i * 13 + yv);
    }
    dec::ConvertAc4S<kel::Avx2>(src.data(), 0, dst.data(), 0, 65536, 1);
    for (int i = 0; i < 65536 && mismatches < 5; ++i) {
      const Rgb8 e = InverseS(yv, i >> 8, i & 255);
      const bool same = dst[4 * i] == e.r && dst[4 * i + 1] == e.g &&
                        dst[4 * i + 2] == e.b &&
                        dst[4 * i + 3] == static_cast<uint8_t>(i * 13 + yv);
      if (!same) {
        ADD_FAILURE() << "Y=" << yv << " Cb=" << (i >> 8)
                      << " Cr=" << (i & 255);
        ++mismatches;
      }
    }
  }
}

// The packed 4:4:4 member gathers its channels with its own shuffles: its
// vector body over every triple, through the public call.
TEST(InverseFormsVectorBody, PackedFormRMemberOverAllTriples) {
  if (!kel::frame::CpuHasAvx2()) GTEST_SKIP() << "no AVX2";
  const bool initial = kel::frame::UsingAvx2();
  kel::frame::SelectImplementations(true);
  std::vector<uint8_t> src(3 * 65536), dst(3 * 65536);
  int mismatches = 0;
  for (int yv = 0; yv < 256; yv += kYStride) {
    for (int i = 0; i < 65536; ++i) {
      src[3 * i] = static_cast<uint8_t>(yv);
      src[3 * i + 1] = static_cast<uint8_t>(i >> 8);
      src[3 * i + 2] = static_cast<uint8_t>(i);
    }
    ASSERT_EQ(keliYCbCrToRGB_8u_C3R(src.data(), 0, dst.data(), 0, {65536, 1}),
              kelOk);
    for (int i = 0; i < 65536 && mismatches < 5; ++i) {
      const Rgb8 e = InverseR(yv, i >> 8, i & 255);
      if (dst[3 * i] != e.r || dst[3 * i + 1] != e.g || dst[3 * i + 2] != e.b) {
        ADD_FAILURE() << "Y=" << yv << " Cb=" << (i >> 8)
                      << " Cr=" << (i & 255);
        ++mismatches;
      }
    }
  }
  kel::frame::SelectImplementations(initial);
}

// The forms agree with the real-valued equations to within rounding, and
// map the ends of the studio range to the ends of the 8-bit range.
TEST(InverseForms, StayCloseToTheReferenceEquations) {
  using Fn = Rgb8 (*)(int, int, int);
  const struct {
    const char* name;
    Fn fn;
  } forms[] = {{"P", InverseP}, {"Q", InverseQ},
               {"R", InverseR}, {"folded R", InverseRFolded},
               {"S", InverseS}, {"2^16", Inverse16}};
  for (const auto& f : forms) {
    SCOPED_TRACE(f.name);
    EXPECT_EQ(f.fn(16, 128, 128).r, 0);
    // Forms P and S truncate: 235 comes out just below 255, stored 254.
    const bool truncating = f.fn == InverseP || f.fn == InverseS;
    EXPECT_EQ(f.fn(235, 128, 128).g, truncating ? 254 : 255);
    EXPECT_EQ(f.fn(0, 128, 128).b, 0);
    EXPECT_EQ(f.fn(255, 128, 128).r, 255);
    for (int y = 16; y <= 235; y += 7) {
      for (int cb = 16; cb <= 240; cb += 11) {
        for (int cr = 16; cr <= 240; cr += 13) {
          const double yy = 1.164 * (y - 16);
          const double r = yy + 1.596 * (cr - 128);
          const double g = yy - 0.813 * (cr - 128) - 0.392 * (cb - 128);
          const double b = yy + 2.017 * (cb - 128);
          const Rgb8 c = f.fn(y, cb, cr);
          auto near = [](int got, double want) {
            const double w = want < 0 ? 0 : want > 255 ? 255 : want;
            return got >= w - 1.6 && got <= w + 1.6;
          };
          ASSERT_TRUE(near(c.r, r) && near(c.g, g) && near(c.b, b))
              << "Y=" << y << " Cb=" << cb << " Cr=" << cr;
        }
      }
    }
  }
}

}  // namespace
