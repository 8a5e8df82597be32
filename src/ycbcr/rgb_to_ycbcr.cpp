// The RGB and BGR to YCbCr exports: each is one family entry point with its
// source, destination and channel order fixed.
#include "ycbcr/rgb_to_ycbcr.h"

#include "frame/dispatch.h"

namespace kel::ycbcr {

template <class Isa>
constexpr auto& RGBToYCbCr_C3R = Encode444Packed<Isa, C3Rgb, Packed444<false>>;
template <class Isa>
constexpr auto& RGBToYCbCr_AC4R = Encode444Packed<Isa, C4Rgb, Packed444<true>>;
template <class Isa>
constexpr auto& RGBToYCbCr_C3P3R = Encode444ToPlanes<Isa, C3Rgb>;
template <class Isa>
constexpr auto& RGBToYCbCr_AC4P3R = Encode444ToPlanes<Isa, C4Rgb>;
template <class Isa>
constexpr auto& RGBToYCbCr_P3R = Encode444Planar<Isa>;

template <class Isa>
constexpr auto& RGBToYCbCr422_C3C2R =
    Encode422Packed<Isa, C3Rgb, Order422::kYCbCr>;
template <class Isa>
constexpr auto& RGBToYCbCr422_C3P3R = EncodeToPlanes<Isa, C3Rgb, Planar422>;
template <class Isa>
constexpr auto& RGBToYCbCr422_P3C2R =
    Encode422PlanesToPacked<Isa, Order422::kYCbCr>;
template <class Isa>
constexpr auto& RGBToYCrCb422_C3C2R =
    Encode422Packed<Isa, C3Rgb, Order422::kYCrCb>;
template <class Isa>
constexpr auto& RGBToYCrCb422_P3C2R =
    Encode422PlanesToPacked<Isa, Order422::kYCrCb>;
template <class Isa>
constexpr auto& RGBToCbYCr422_C3C2R =
    Encode422Packed<Isa, C3Rgb, Order422::kCbYCr>;
template <class Isa>
constexpr auto& BGRToYCbCr422_C3C2R =
    Encode422Packed<Isa, C3Bgr, Order422::kYCbCr>;
template <class Isa>
constexpr auto& BGRToYCbCr422_AC4C2R =
    Encode422Packed<Isa, C4Bgr, Order422::kYCbCr>;
template <class Isa>
constexpr auto& BGRToYCbCr422_C3P3R = EncodeToPlanes<Isa, C3Bgr, Planar422>;
template <class Isa>
constexpr auto& BGRToYCbCr422_AC4P3R = EncodeToPlanes<Isa, C4Bgr, Planar422>;
template <class Isa>
constexpr auto& BGRToCbYCr422_AC4C2R =
    Encode422Packed<Isa, C4Bgr, Order422::kCbYCr>;

template <class Isa>
constexpr auto& RGBToYCbCr420_C3P3R = EncodeToPlanes<Isa, C3Rgb, Planar420>;
template <class Isa>
constexpr auto& RGBToYCbCr420_C3P2R = Encode420ToP2<Isa, C3Rgb>;
template <class Isa>
constexpr auto& RGBToYCbCr420_C4P2R = Encode420ToP2<Isa, C4Rgb>;
template <class Isa>
constexpr auto& RGBToYCrCb420_AC4P3R =
    EncodeToPlanes<Isa, C4Rgb, Planar420, true>;
template <class Isa>
constexpr auto& BGRToYCbCr420_C3P3R = EncodeToPlanes<Isa, C3Bgr, Planar420>;
template <class Isa>
constexpr auto& BGRToYCbCr420_AC4P3R = EncodeToPlanes<Isa, C4Bgr, Planar420>;
template <class Isa>
constexpr auto& BGRToYCbCr420_C3P2R = Encode420ToP2<Isa, C3Bgr>;
template <class Isa>
constexpr auto& BGRToYCbCr420_AC4P2R = Encode420ToP2<Isa, C4Bgr>;
template <class Isa>
constexpr auto& BGRToYCrCb420_C3P3R =
    EncodeToPlanes<Isa, C3Bgr, Planar420, true>;
template <class Isa>
constexpr auto& BGRToYCrCb420_AC4P3R =
    EncodeToPlanes<Isa, C4Bgr, Planar420, true>;

template <class Isa>
constexpr auto& BGRToYCbCr411_C3P3R = EncodeToPlanes<Isa, C3Bgr, Planar411>;
template <class Isa>
constexpr auto& BGRToYCbCr411_AC4P3R = EncodeToPlanes<Isa, C4Bgr, Planar411>;

}  // namespace kel::ycbcr

KEL_IMPLEMENT(keliRGBToYCbCr_8u_C3R, kel::ycbcr::RGBToYCbCr_C3R)
KEL_IMPLEMENT(keliRGBToYCbCr_8u_AC4R, kel::ycbcr::RGBToYCbCr_AC4R)
KEL_IMPLEMENT(keliRGBToYCbCr_8u_C3P3R, kel::ycbcr::RGBToYCbCr_C3P3R)
KEL_IMPLEMENT(keliRGBToYCbCr_8u_AC4P3R, kel::ycbcr::RGBToYCbCr_AC4P3R)
KEL_IMPLEMENT(keliRGBToYCbCr_8u_P3R, kel::ycbcr::RGBToYCbCr_P3R)

KEL_IMPLEMENT(keliRGBToYCbCr422_8u_C3C2R, kel::ycbcr::RGBToYCbCr422_C3C2R)
KEL_IMPLEMENT(keliRGBToYCbCr422_8u_C3P3R, kel::ycbcr::RGBToYCbCr422_C3P3R)
KEL_IMPLEMENT(keliRGBToYCbCr422_8u_P3C2R, kel::ycbcr::RGBToYCbCr422_P3C2R)
KEL_IMPLEMENT(keliRGBToYCrCb422_8u_C3C2R, kel::ycbcr::RGBToYCrCb422_C3C2R)
KEL_IMPLEMENT(keliRGBToYCrCb422_8u_P3C2R, kel::ycbcr::RGBToYCrCb422_P3C2R)
KEL_IMPLEMENT(keliRGBToCbYCr422_8u_C3C2R, kel::ycbcr::RGBToCbYCr422_C3C2R)
KEL_IMPLEMENT(keliBGRToYCbCr422_8u_C3C2R, kel::ycbcr::BGRToYCbCr422_C3C2R)
KEL_IMPLEMENT(keliBGRToYCbCr422_8u_AC4C2R, kel::ycbcr::BGRToYCbCr422_AC4C2R)
KEL_IMPLEMENT(keliBGRToYCbCr422_8u_C3P3R, kel::ycbcr::BGRToYCbCr422_C3P3R)
KEL_IMPLEMENT(keliBGRToYCbCr422_8u_AC4P3R, kel::ycbcr::BGRToYCbCr422_AC4P3R)
KEL_IMPLEMENT(keliBGRToCbYCr422_8u_AC4C2R, kel::ycbcr::BGRToCbYCr422_AC4C2R)

KEL_IMPLEMENT(keliRGBToYCbCr420_8u_C3P3R, kel::ycbcr::RGBToYCbCr420_C3P3R)
KEL_IMPLEMENT(keliRGBToYCbCr420_8u_C3P2R, kel::ycbcr::RGBToYCbCr420_C3P2R)
KEL_IMPLEMENT(keliRGBToYCbCr420_8u_C4P2R, kel::ycbcr::RGBToYCbCr420_C4P2R)
KEL_IMPLEMENT(keliRGBToYCrCb420_8u_AC4P3R, kel::ycbcr::RGBToYCrCb420_AC4P3R)
KEL_IMPLEMENT(keliBGRToYCbCr420_8u_C3P3R, kel::ycbcr::BGRToYCbCr420_C3P3R)
KEL_IMPLEMENT(keliBGRToYCbCr420_8u_AC4P3R, kel::ycbcr::BGRToYCbCr420_AC4P3R)
KEL_IMPLEMENT(keliBGRToYCbCr420_8u_C3P2R, kel::ycbcr::BGRToYCbCr420_C3P2R)
KEL_IMPLEMENT(keliBGRToYCbCr420_8u_AC4P2R, kel::ycbcr::BGRToYCbCr420_AC4P2R)
KEL_IMPLEMENT(keliBGRToYCrCb420_8u_C3P3R, kel::ycbcr::BGRToYCrCb420_C3P3R)
KEL_IMPLEMENT(keliBGRToYCrCb420_8u_AC4P3R, kel::ycbcr::BGRToYCrCb420_AC4P3R)

KEL_IMPLEMENT(keliBGRToYCbCr411_8u_C3P3R, kel::ycbcr::BGRToYCbCr411_C3P3R)
KEL_IMPLEMENT(keliBGRToYCbCr411_8u_AC4P3R, kel::ycbcr::BGRToYCbCr411_AC4P3R)
