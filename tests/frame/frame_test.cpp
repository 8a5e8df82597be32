// The library frame: version record, export slots, argument-check order.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "frame/checks.h"
#include "frame/dispatch.h"
#include "kelcc.h"

namespace {

TEST(Version, RecordHoldsTheReleaseValues) {
  const KelLibVersion* v = kelccGetLibVersion();
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v, kelccGetLibVersion());  // one static record
  EXPECT_EQ(v->major, 2018);
  EXPECT_EQ(v->minor, 0);
  EXPECT_EQ(v->majorBuild, 1);
  EXPECT_EQ(v->build, 56998);
  EXPECT_EQ(std::memcmp(v->targetCode, "z5\0\0", 4), 0);
  EXPECT_STREQ(v->name, "kelCC AVX-512F/CD/ER/PF (z5)");
  EXPECT_STREQ(v->version, "2018.0.1 (r56998)");
  EXPECT_STREQ(v->buildDate, "Oct 10 2017");
}

TEST(Version, ResultCodesHaveTheirValues) {
  EXPECT_EQ(kelOk, 0);
  EXPECT_EQ(kelWarnOddSize, 35);
  EXPECT_EQ(kelWarnNoOperation, 1);
  EXPECT_EQ(kelErrBadArg, -5);
  EXPECT_EQ(kelErrSize, -6);
  EXPECT_EQ(kelErrNullPtr, -8);
  EXPECT_EQ(kelErrStep, -16);
  EXPECT_EQ(kelErrChannelCode, -47);
  EXPECT_EQ(kelErrRange, -49);
  EXPECT_EQ(kelErrLevels, -54);
  EXPECT_EQ(kelErrNoise, -55);
  EXPECT_EQ(kelErrDitherType, -224);
  EXPECT_EQ(kelErrSizeRange, -232);
  static_assert(sizeof(KelImageSize) == 8 && sizeof(KelResult) == 4);
}

TEST(Slots, EveryListedExportHasAnImplementation) {
  for (int i = 0; i < kel::frame::kExportCount; ++i)
    EXPECT_TRUE(kel::frame::IsImplemented(i))
        << kel::frame::kExportNames[i] << " has no implementation";
}

TEST(Slots, LoadTimeChoiceFollowsTheProcessor) {
  EXPECT_EQ(kel::frame::UsingAvx2(), kel::frame::CpuHasAvx2());
}

TEST(Slots, SelectionSwitchesAndRestores) {
  const bool initial = kel::frame::UsingAvx2();
  EXPECT_FALSE(kel::frame::SelectImplementations(false));
  EXPECT_FALSE(kel::frame::UsingAvx2());
  EXPECT_EQ(kel::frame::SelectImplementations(true), kel::frame::CpuHasAvx2());
  kel::frame::SelectImplementations(initial);
}

TEST(ArgCheck, ReportsTheFirstFailureInCallOrder) {
  const int x = 0;
  const int* planesOk[2] = {&x, &x};
  const int* planesBad[2] = {&x, nullptr};
  const KelImageSize ok{4, 4}, empty{0, 0};

  // Every check of the chain fails from each row on; the first in call
  // order decides: pointers, size, plane pointers, steps, the rest.
  auto chain = [&](const int* p, KelImageSize roi, const int* const* planes,
                   int step, bool require) {
    return kel::ArgCheck()
        .NotNull(&x, p)
        .MinSize(roi)
        .Planes(planes, 2)
        .PositiveSteps(4, step)
        .Require(require, kelErrBadArg)
        .Result();
  };
  EXPECT_EQ(chain(nullptr, empty, planesBad, 0, false), kelErrNullPtr);
  EXPECT_EQ(chain(&x, empty, planesBad, 0, false), kelErrSize);
  EXPECT_EQ(chain(&x, ok, planesBad, 0, false), kelErrNullPtr);
  EXPECT_EQ(chain(&x, ok, planesOk, 0, false), kelErrStep);
  EXPECT_EQ(chain(&x, ok, planesOk, 4, false), kelErrBadArg);
  EXPECT_EQ(chain(&x, ok, planesOk, 4, true), kelOk);
}

TEST(ArgCheck, MinimumSizesAreInclusive) {
  EXPECT_EQ(kel::ArgCheck().MinSize({2, 2}, 2, 2).Result(), kelOk);
  EXPECT_EQ(kel::ArgCheck().MinSize({1, 2}, 2, 2).Result(), kelErrSize);
  EXPECT_EQ(kel::ArgCheck().MinSize({2, 1}, 2, 2).Result(), kelErrSize);
  EXPECT_EQ(kel::ArgCheck().MinSize({-5, 3}).Result(), kelErrSize);
  EXPECT_EQ(kel::OddSizeResult({4, 4}, 2, 2), kelOk);
  EXPECT_EQ(kel::OddSizeResult({3, 4}, 2, 2), kelWarnOddSize);
  EXPECT_EQ(kel::OddSizeResult({8, 3}, 4, 1), kelOk);
}

}  // namespace
