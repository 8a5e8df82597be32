// The HSV exports: RGB to and from HSV for 8u and 16u, C3 and AC4.
#include "frame/dispatch.h"
#include "spaces/hls_hsv.h"

namespace kel::spaces {

constexpr Hue kToHsv = Hue::kRgbToHsv, kFromHsv = Hue::kHsvToRgb;

template <class Isa>
constexpr auto& RGBToHSV_8u_C3R = HuePacked<Isa, uint8_t, kToHsv, 3>;
template <class Isa>
constexpr auto& RGBToHSV_8u_AC4R = HuePacked<Isa, uint8_t, kToHsv, 4>;
template <class Isa>
constexpr auto& RGBToHSV_16u_C3R = HuePacked<Isa, uint16_t, kToHsv, 3>;
template <class Isa>
constexpr auto& RGBToHSV_16u_AC4R = HuePacked<Isa, uint16_t, kToHsv, 4>;
template <class Isa>
constexpr auto& HSVToRGB_8u_C3R = HuePacked<Isa, uint8_t, kFromHsv, 3>;
template <class Isa>
constexpr auto& HSVToRGB_8u_AC4R = HuePacked<Isa, uint8_t, kFromHsv, 4>;
template <class Isa>
constexpr auto& HSVToRGB_16u_C3R = HuePacked<Isa, uint16_t, kFromHsv, 3>;
template <class Isa>
constexpr auto& HSVToRGB_16u_AC4R = HuePacked<Isa, uint16_t, kFromHsv, 4>;

}  // namespace kel::spaces

#define KEL_HSV_(name) KEL_IMPLEMENT(keli##name, kel::spaces::name)
KEL_HSV_(RGBToHSV_8u_C3R)
KEL_HSV_(RGBToHSV_8u_AC4R)
KEL_HSV_(RGBToHSV_16u_C3R)
KEL_HSV_(RGBToHSV_16u_AC4R)
KEL_HSV_(HSVToRGB_8u_C3R)
KEL_HSV_(HSVToRGB_8u_AC4R)
KEL_HSV_(HSVToRGB_16u_C3R)
KEL_HSV_(HSVToRGB_16u_AC4R)
