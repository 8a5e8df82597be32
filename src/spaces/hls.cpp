// The HLS exports: each is one entry frame with its type, direction,
// layouts and channel order fixed.
#include "frame/dispatch.h"
#include "spaces/hls_hsv.h"

namespace kel::spaces {

template <class Isa, class T, Hue kOp, int kN>
constexpr auto& Packed = HuePacked<Isa, T, kOp, kN>;
constexpr Hue kTo = Hue::kRgbToHls, kFrom = Hue::kHlsToRgb;

template <class Isa>
constexpr auto& RGBToHLS_8u_C3R = Packed<Isa, uint8_t, kTo, 3>;
template <class Isa>
constexpr auto& RGBToHLS_8u_AC4R = Packed<Isa, uint8_t, kTo, 4>;
template <class Isa>
constexpr auto& RGBToHLS_16u_C3R = Packed<Isa, uint16_t, kTo, 3>;
template <class Isa>
constexpr auto& RGBToHLS_16u_AC4R = Packed<Isa, uint16_t, kTo, 4>;
template <class Isa>
constexpr auto& RGBToHLS_16s_C3R = Packed<Isa, int16_t, kTo, 3>;
template <class Isa>
constexpr auto& RGBToHLS_16s_AC4R = Packed<Isa, int16_t, kTo, 4>;
template <class Isa>
constexpr auto& RGBToHLS_32f_C3R = Packed<Isa, float, kTo, 3>;
template <class Isa>
constexpr auto& RGBToHLS_32f_AC4R = Packed<Isa, float, kTo, 4>;
template <class Isa>
constexpr auto& HLSToRGB_8u_C3R = Packed<Isa, uint8_t, kFrom, 3>;
template <class Isa>
constexpr auto& HLSToRGB_8u_AC4R = Packed<Isa, uint8_t, kFrom, 4>;
template <class Isa>
constexpr auto& HLSToRGB_16u_C3R = Packed<Isa, uint16_t, kFrom, 3>;
template <class Isa>
constexpr auto& HLSToRGB_16u_AC4R = Packed<Isa, uint16_t, kFrom, 4>;
template <class Isa>
constexpr auto& HLSToRGB_16s_C3R = Packed<Isa, int16_t, kFrom, 3>;
template <class Isa>
constexpr auto& HLSToRGB_16s_AC4R = Packed<Isa, int16_t, kFrom, 4>;
template <class Isa>
constexpr auto& HLSToRGB_32f_C3R = Packed<Isa, float, kFrom, 3>;
template <class Isa>
constexpr auto& HLSToRGB_32f_AC4R = Packed<Isa, float, kFrom, 4>;

// BGR members: <to HLS, source side, destination side, steps before size>.
template <class Isa>
constexpr auto& BGRToHLS_8u_AC4R = BgrHls<Isa, true, SideC4, SideC4, false>;
template <class Isa>
constexpr auto& BGRToHLS_8u_C3P3R = BgrHls<Isa, true, SideC3, SideP3, true>;
template <class Isa>
constexpr auto& BGRToHLS_8u_P3C3R = BgrHls<Isa, true, SideP3, SideC3, true>;
template <class Isa>
constexpr auto& BGRToHLS_8u_P3R = BgrHls<Isa, true, SideP3, SideP3, true>;
template <class Isa>
constexpr auto& BGRToHLS_8u_AC4P4R = BgrHls<Isa, true, SideC4, SideP4, true>;
template <class Isa>
constexpr auto& BGRToHLS_8u_AP4C4R = BgrHls<Isa, true, SideP4, SideC4, true>;
template <class Isa>
constexpr auto& BGRToHLS_8u_AP4R = BgrHls<Isa, true, SideP4, SideP4, true>;
template <class Isa>
constexpr auto& HLSToBGR_8u_C3P3R = BgrHls<Isa, false, SideC3, SideP3, true>;
template <class Isa>
constexpr auto& HLSToBGR_8u_P3C3R = BgrHls<Isa, false, SideP3, SideC3, true>;
template <class Isa>
constexpr auto& HLSToBGR_8u_P3R = BgrHls<Isa, false, SideP3, SideP3, true>;
template <class Isa>
constexpr auto& HLSToBGR_8u_AC4P4R = BgrHls<Isa, false, SideC4, SideP4, true>;
template <class Isa>
constexpr auto& HLSToBGR_8u_AP4C4R = BgrHls<Isa, false, SideP4, SideC4, true>;
template <class Isa>
constexpr auto& HLSToBGR_8u_AP4R = BgrHls<Isa, false, SideP4, SideP4, true>;

}  // namespace kel::spaces

#define KEL_HLS_(name) KEL_IMPLEMENT(keli##name, kel::spaces::name)
KEL_HLS_(RGBToHLS_8u_C3R)
KEL_HLS_(RGBToHLS_8u_AC4R)
KEL_HLS_(RGBToHLS_16u_C3R)
KEL_HLS_(RGBToHLS_16u_AC4R)
KEL_HLS_(RGBToHLS_16s_C3R)
KEL_HLS_(RGBToHLS_16s_AC4R)
KEL_HLS_(RGBToHLS_32f_C3R)
KEL_HLS_(RGBToHLS_32f_AC4R)
KEL_HLS_(HLSToRGB_8u_C3R)
KEL_HLS_(HLSToRGB_8u_AC4R)
KEL_HLS_(HLSToRGB_16u_C3R)
KEL_HLS_(HLSToRGB_16u_AC4R)
KEL_HLS_(HLSToRGB_16s_C3R)
KEL_HLS_(HLSToRGB_16s_AC4R)
KEL_HLS_(HLSToRGB_32f_C3R)
KEL_HLS_(HLSToRGB_32f_AC4R)
KEL_HLS_(BGRToHLS_8u_AC4R)
KEL_HLS_(BGRToHLS_8u_C3P3R)
KEL_HLS_(BGRToHLS_8u_P3C3R)
KEL_HLS_(BGRToHLS_8u_P3R)
KEL_HLS_(BGRToHLS_8u_AC4P4R)
KEL_HLS_(BGRToHLS_8u_AP4C4R)
KEL_HLS_(BGRToHLS_8u_AP4R)
KEL_HLS_(HLSToBGR_8u_C3P3R)
KEL_HLS_(HLSToBGR_8u_P3C3R)
KEL_HLS_(HLSToBGR_8u_P3R)
KEL_HLS_(HLSToBGR_8u_AC4P4R)
KEL_HLS_(HLSToBGR_8u_AP4C4R)
KEL_HLS_(HLSToBGR_8u_AP4R)
