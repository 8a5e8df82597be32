// The sampling, order and layout conversions of YCbCr images: each export
// names its source and destination formats, and the pixel count above which
// its luma (or packed result) is written with streaming stores.
#include "resample/sampling.h"

#include "frame/dispatch.h"

// KEL_MOVER(export, from, to[, streaming above w x h])
#define KEL_MOVER(name, ...)               \
  namespace kel::resample {                \
  using name##_Mover = Mover<__VA_ARGS__>; \
  }                                        \
  KEL_IMPLEMENT(name, kel::resample::name##_Mover::Run)

namespace kel::resample {
constexpr int64_t kStreamSmall = 348602;
constexpr int64_t kStreamLarge = 524288;
}  // namespace kel::resample

// 4:2:2 to 4:2:0: the upper row of each pair keeps its chroma.
KEL_MOVER(keliYCbCr422ToYCbCr420_8u_P3R, kYCbCr422P3, kYCbCr420P3, kStreamSmall)
KEL_MOVER(keliYCbCr422ToYCbCr420_8u_P3P2R, kYCbCr422P3, kYCbCr420P2)
KEL_MOVER(keliYCbCr422ToYCbCr420_8u_C2P3R, kYCbCr422C2, kYCbCr420P3)
KEL_MOVER(keliYCbCr422ToYCbCr420_8u_C2P2R, kYCbCr422C2, kYCbCr420P2)
KEL_MOVER(keliYCbCr422ToYCrCb420_8u_C2P3R, kYCbCr422C2, kYCrCb420P3)
KEL_MOVER(keliYCbCr422ToYCrCb420_8u_C2P2R, kYCbCr422C2, kYCbCr420P2)
KEL_MOVER(keliYCrCb422ToYCbCr420_8u_C2P3R, kYCrCb422C2, kYCbCr420P3)
KEL_MOVER(keliCbYCr422ToYCbCr420_8u_C2P3R, kCbYCr422C2, kYCbCr420P3)
KEL_MOVER(keliCbYCr422ToYCbCr420_8u_C2P2R, kCbYCr422C2, kYCbCr420P2)
KEL_MOVER(keliCbYCr422ToYCrCb420_8u_C2P3R, kCbYCr422C2, kYCrCb420P3)

// 4:2:0 to 4:2:2: each chroma row twice.
KEL_MOVER(keliYCbCr420ToYCbCr422_8u_P3R, kYCbCr420P3, kYCbCr422P3)
KEL_MOVER(keliYCbCr420ToYCbCr422_8u_P2P3R, kYCbCr420P2, kYCbCr422P3)
KEL_MOVER(keliYCbCr420ToYCbCr422_8u_P2C2R, kYCbCr420P2, kYCbCr422C2)
KEL_MOVER(keliYCbCr420ToCbYCr422_8u_P2C2R, kYCbCr420P2, kCbYCr422C2)
KEL_MOVER(keliYCrCb420ToYCbCr422_8u_P3R, kYCrCb420P3, kYCbCr422P3)
KEL_MOVER(keliYCrCb420ToYCbCr422_8u_P3C2R, kYCrCb420P3, kYCbCr422C2)
KEL_MOVER(keliYCrCb420ToCbYCr422_8u_P3C2R, kYCrCb420P3, kCbYCr422C2)

// 4:2:0 layouts and orders.
KEL_MOVER(keliYCbCr420ToYCrCb420_8u_P2P3R, kYCbCr420P2, kYCrCb420P3)
KEL_MOVER(keliYCbCr420_8u_P2P3R, kYCbCr420P2, kYCbCr420P3)
KEL_MOVER(keliYCbCr420_8u_P3P2R, kYCbCr420P3, kYCbCr420P2)
KEL_MOVER(keliYCrCb420ToYCbCr420_8u_P3P2R, kYCrCb420P3, kYCbCr420P2)

// 4:2:0 and 4:1:1: the same samples in other places.
KEL_MOVER(keliYCbCr420ToYCbCr411_8u_P2P3R, kYCbCr420P2, kYCbCr411P3)
KEL_MOVER(keliYCbCr420ToYCbCr411_8u_P3P2R, kYCbCr420P3, kYCbCr411P2)
KEL_MOVER(keliYCrCb420ToYCbCr411_8u_P3P2R, kYCrCb420P3, kYCbCr411P2)
KEL_MOVER(keliYCbCr411ToYCbCr420_8u_P3R, kYCbCr411P3, kYCbCr420P3)
KEL_MOVER(keliYCbCr411ToYCbCr420_8u_P2P3R, kYCbCr411P2, kYCbCr420P3)
KEL_MOVER(keliYCbCr411ToYCbCr420_8u_P3P2R, kYCbCr411P3, kYCbCr420P2,
          kStreamSmall)
KEL_MOVER(keliYCbCr411ToYCrCb420_8u_P2P3R, kYCbCr411P2, kYCrCb420P3)

// 4:2:2 to 4:1:1: even chroma samples.
KEL_MOVER(keliYCbCr422ToYCbCr411_8u_P3R, kYCbCr422P3, kYCbCr411P3, kStreamLarge)
KEL_MOVER(keliYCbCr422ToYCbCr411_8u_P3P2R, kYCbCr422P3, kYCbCr411P2)
KEL_MOVER(keliYCbCr422ToYCbCr411_8u_C2P3R, kYCbCr422C2, kYCbCr411P3)
KEL_MOVER(keliYCbCr422ToYCbCr411_8u_C2P2R, kYCbCr422C2, kYCbCr411P2)
KEL_MOVER(keliYCrCb422ToYCbCr411_8u_C2P3R, kYCrCb422C2, kYCbCr411P3)
KEL_MOVER(keliCbYCr422ToYCbCr411_8u_C2P3R, kCbYCr422C2, kYCbCr411P3)

// 4:1:1 to 4:2:2: each chroma sample twice.
KEL_MOVER(keliYCbCr411ToYCbCr422_8u_P3R, kYCbCr411P3, kYCbCr422P3)
KEL_MOVER(keliYCbCr411ToYCbCr422_8u_P2P3R, kYCbCr411P2, kYCbCr422P3,
          kStreamSmall)
KEL_MOVER(keliYCbCr411ToYCbCr422_8u_P3C2R, kYCbCr411P3, kYCbCr422C2,
          kStreamLarge)
KEL_MOVER(keliYCbCr411ToYCbCr422_8u_P2C2R, kYCbCr411P2, kYCbCr422C2,
          kStreamLarge)
KEL_MOVER(keliYCbCr411ToYCrCb422_8u_P3R, kYCbCr411P3, kYCrCb422P3)
KEL_MOVER(keliYCbCr411ToYCrCb422_8u_P3C2R, kYCbCr411P3, kYCrCb422C2,
          kStreamLarge)

// 4:1:1 layouts.
KEL_MOVER(keliYCbCr411_8u_P2P3R, kYCbCr411P2, kYCbCr411P3)
KEL_MOVER(keliYCbCr411_8u_P3P2R, kYCbCr411P3, kYCbCr411P2, kStreamSmall)

// 4:2:2 layouts and orders.
KEL_MOVER(keliYCbCr422_8u_C2P3R, kYCbCr422C2, kYCbCr422P3)
KEL_MOVER(keliYCbCr422_8u_P3C2R, kYCbCr422P3, kYCbCr422C2)
KEL_MOVER(keliYCrCb422ToYCbCr422_8u_C2P3R, kYCrCb422C2, kYCbCr422P3)
KEL_MOVER(keliCbYCr422ToYCbCr422_8u_C2P3R, kCbYCr422C2, kYCbCr422P3)
KEL_MOVER(keliYCbCr422ToCbYCr422_8u_P3C2R, kYCbCr422P3, kCbYCr422C2)
KEL_MOVER(keliYCbCr422ToYCrCb422_8u_P3C2R, kYCbCr422P3, kYCrCb422C2,
          kStreamLarge)
KEL_MOVER(keliYCbCr422ToYCrCb422_8u_C2R, kYCbCr422C2, kYCrCb422C2, kStreamLarge)
KEL_MOVER(keliYCbCr422ToCbYCr422_8u_C2R, kYCbCr422C2, kCbYCr422C2)
KEL_MOVER(keliCbYCr422ToYCbCr422_8u_C2R, kCbYCr422C2, kYCbCr422C2)
