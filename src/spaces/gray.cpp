// The gray exports: each is one entry frame with its type and layout fixed.
#include "spaces/gray.h"

#include "frame/dispatch.h"

namespace kel::spaces {

template <class Isa>
constexpr auto& RGBToGray_8u_C3C1R = RGBToGray<Isa, uint8_t, 3>;
template <class Isa>
constexpr auto& RGBToGray_8u_AC4C1R = RGBToGray<Isa, uint8_t, 4>;
template <class Isa>
constexpr auto& RGBToGray_16u_C3C1R = RGBToGray<Isa, uint16_t, 3>;
template <class Isa>
constexpr auto& RGBToGray_16u_AC4C1R = RGBToGray<Isa, uint16_t, 4>;
template <class Isa>
constexpr auto& RGBToGray_16s_C3C1R = RGBToGray<Isa, int16_t, 3>;
template <class Isa>
constexpr auto& RGBToGray_16s_AC4C1R = RGBToGray<Isa, int16_t, 4>;
template <class Isa>
constexpr auto& RGBToGray_32f_C3C1R = RGBToGray<Isa, float, 3>;
template <class Isa>
constexpr auto& RGBToGray_32f_AC4C1R = RGBToGray<Isa, float, 4>;
template <class Isa>
constexpr auto& ColorToGray_8u_C3C1R = ColorToGray<Isa, uint8_t, 3>;
template <class Isa>
constexpr auto& ColorToGray_8u_AC4C1R = ColorToGray<Isa, uint8_t, 4>;
template <class Isa>
constexpr auto& ColorToGray_16u_C3C1R = ColorToGray<Isa, uint16_t, 3>;
template <class Isa>
constexpr auto& ColorToGray_16u_AC4C1R = ColorToGray<Isa, uint16_t, 4>;
template <class Isa>
constexpr auto& ColorToGray_16s_C3C1R = ColorToGray<Isa, int16_t, 3>;
template <class Isa>
constexpr auto& ColorToGray_16s_AC4C1R = ColorToGray<Isa, int16_t, 4>;
template <class Isa>
constexpr auto& ColorToGray_32f_C3C1R = ColorToGray<Isa, float, 3>;
template <class Isa>
constexpr auto& ColorToGray_32f_AC4C1R = ColorToGray<Isa, float, 4>;
template <class Isa>
constexpr auto& ColorToGray_64f_C3C1R = ColorToGray<Isa, double, 3, double>;
template <class Isa>
constexpr auto& ColorToGray_64f_AC4C1R = ColorToGray<Isa, double, 4, double>;
template <class Isa>
constexpr auto& GrayToRGB_8u_C1C3R = GrayToRGB3<Isa, uint8_t>;
template <class Isa>
constexpr auto& GrayToRGB_8u_C1C4R = GrayToColor<Isa, uint8_t, 4>;
template <class Isa>
constexpr auto& GrayToRGB_16u_C1C3R = GrayToRGB3<Isa, uint16_t>;
template <class Isa>
constexpr auto& GrayToRGB_16u_C1C4R = GrayToColor<Isa, uint16_t, 4>;
template <class Isa>
constexpr auto& GrayToRGB_32f_C1C3R = GrayToRGB3<Isa, float>;
template <class Isa>
constexpr auto& GrayToRGB_32f_C1C4R = GrayToColor<Isa, float, 4>;
template <class Isa>
constexpr auto& YCbCr422ToGray_8u_C2C1R = YCbCr422ToGray<Isa>;

}  // namespace kel::spaces

#define KEL_GRAY_(name) KEL_IMPLEMENT(keli##name, kel::spaces::name)
KEL_GRAY_(RGBToGray_8u_C3C1R)
KEL_GRAY_(RGBToGray_8u_AC4C1R)
KEL_GRAY_(RGBToGray_16u_C3C1R)
KEL_GRAY_(RGBToGray_16u_AC4C1R)
KEL_GRAY_(RGBToGray_16s_C3C1R)
KEL_GRAY_(RGBToGray_16s_AC4C1R)
KEL_GRAY_(RGBToGray_32f_C3C1R)
KEL_GRAY_(RGBToGray_32f_AC4C1R)
KEL_GRAY_(ColorToGray_8u_C3C1R)
KEL_GRAY_(ColorToGray_8u_AC4C1R)
KEL_GRAY_(ColorToGray_16u_C3C1R)
KEL_GRAY_(ColorToGray_16u_AC4C1R)
KEL_GRAY_(ColorToGray_16s_C3C1R)
KEL_GRAY_(ColorToGray_16s_AC4C1R)
KEL_GRAY_(ColorToGray_32f_C3C1R)
KEL_GRAY_(ColorToGray_32f_AC4C1R)
KEL_GRAY_(ColorToGray_64f_C3C1R)
KEL_GRAY_(ColorToGray_64f_AC4C1R)
KEL_GRAY_(GrayToRGB_8u_C1C3R)
KEL_GRAY_(GrayToRGB_8u_C1C4R)
KEL_GRAY_(GrayToRGB_16u_C1C3R)
KEL_GRAY_(GrayToRGB_16u_C1C4R)
KEL_GRAY_(GrayToRGB_32f_C1C3R)
KEL_GRAY_(GrayToRGB_32f_C1C4R)
KEL_GRAY_(YCbCr422ToGray_8u_C2C1R)
