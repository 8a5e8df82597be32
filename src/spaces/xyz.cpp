// The XYZ exports: each is one entry frame with its type, direction and
// layout fixed.
#include "spaces/xyz.h"

#include "frame/dispatch.h"

namespace kel::spaces {

#define KEL_XYZ_SET_(T, t)                                    \
  template <class Isa>                                        \
  constexpr auto& RGBToXYZ_##t##_C3R = Xyz<Isa, T, true, 3>;  \
  template <class Isa>                                        \
  constexpr auto& RGBToXYZ_##t##_AC4R = Xyz<Isa, T, true, 4>; \
  template <class Isa>                                        \
  constexpr auto& XYZToRGB_##t##_C3R = Xyz<Isa, T, false, 3>; \
  template <class Isa>                                        \
  constexpr auto& XYZToRGB_##t##_AC4R = Xyz<Isa, T, false, 4>;
KEL_XYZ_SET_(uint8_t, 8u)
KEL_XYZ_SET_(uint16_t, 16u)
KEL_XYZ_SET_(int16_t, 16s)
KEL_XYZ_SET_(float, 32f)
#undef KEL_XYZ_SET_

}  // namespace kel::spaces

#define KEL_XYZ_(name) KEL_IMPLEMENT(keli##name, kel::spaces::name)
#define KEL_XYZ_SET_(t)         \
  KEL_XYZ_(RGBToXYZ_##t##_C3R)  \
  KEL_XYZ_(RGBToXYZ_##t##_AC4R) \
  KEL_XYZ_(XYZToRGB_##t##_C3R)  \
  KEL_XYZ_(XYZToRGB_##t##_AC4R)
KEL_XYZ_SET_(8u)
KEL_XYZ_SET_(16u)
KEL_XYZ_SET_(16s)
KEL_XYZ_SET_(32f)
