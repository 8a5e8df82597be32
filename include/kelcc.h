/*
 * kelcc.h - the public interface of libkelcc, the kelCC colour-conversion
 * library.
 *
 * Every image function works on caller-owned memory: a pointer to the first
 * pixel of each plane, a row step in bytes, and the size of the region of
 * interest. It checks its arguments, does its whole job and returns a signed
 * KelResult: 0 on success, a negative code (nothing written) on error, a
 * positive code (work done) for a warning. The library keeps no state and
 * allocates nothing; every function is re-entrant.
 *
 * This header is valid C99 and C++.
 */
#ifndef KELCC_H
#define KELCC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* Types                                                                    */
/* ------------------------------------------------------------------------ */

typedef uint8_t Kel8u;
typedef int8_t Kel8s;
typedef uint16_t Kel16u;
typedef int16_t Kel16s;
typedef int32_t Kel32s;
typedef float Kel32f;
typedef double Kel64f;

/* Result of every image function. */
typedef int32_t KelResult;

enum KelResultCode {
  kelOk = 0,
  kelWarnOddSize = 35,     /* done; region is not whole chroma blocks */
  kelWarnNoOperation = 1,  /* nothing done: scaling statistic negative */
  kelErrBadArg = -5,       /* enumerated argument outside its set */
  kelErrSize = -6,         /* width or height below the minimum */
  kelErrNullPtr = -8,      /* a required pointer or plane pointer is null */
  kelErrStep = -16,        /* a row step is not positive */
  kelErrChannelCode = -47, /* channel code not one of 1, 3, 4, 9 */
  kelErrRange = -49,       /* range upper bound not above lower bound */
  kelErrLevels = -54,      /* number of levels outside 2..256 */
  kelErrNoise = -55,       /* noise amount above 100 */
  kelErrDitherType = -224, /* dither type outside 0..4 */
  kelErrSizeRange = -232   /* 64-bit size or offset not below 2^31 */
};

/* Region of interest in pixels: width in the low half, height in the high. */
typedef struct KelImageSize {
  int32_t width;
  int32_t height;
} KelImageSize;

/* Rectangle of interest inside a larger image. */
typedef struct KelRect {
  int32_t x;
  int32_t y;
  int32_t width;
  int32_t height;
} KelRect;

/* Bayer arrangement of the top-left 2x2 block. */
typedef int32_t KelBayerGrid;
enum KelBayerGridCode {
  kelBayerBGGR = 0,
  kelBayerRGGB = 1,
  kelBayerGBRG = 2,
  kelBayerGRBG = 3
};

/* Slice position of a region inside a larger image (filtered 4:2:0 to
 * packed 4:2:2). A whole image is all three bits together. */
enum KelSlicePosition {
  kelSliceTop = 1,
  kelSliceMiddle = 4,
  kelSliceBottom = 16,
  kelSliceWhole = 21
};

/* The library's static version record. */
typedef struct KelLibVersion {
  int32_t major;
  int32_t minor;
  int32_t majorBuild;
  int32_t build;
  char targetCode[4];
  const char* name;
  const char* version;
  const char* buildDate;
} KelLibVersion;

/* Returns the library's one static version record; never null. */
const KelLibVersion* kelccGetLibVersion(void);

/* ------------------------------------------------------------------------ */
/* Image functions                                                          */
/*                                                                          */
/* The lists below are the single record of the exported image functions:   */
/* they produce the declarations here, the library's export slot table and  */
/* the export check of the tests. Each entry is X(name, (parameters)).       */
/* Planar arguments are arrays of plane pointers; "Step[3]" arrays give one */
/* row step per plane.                                                      */
/* ------------------------------------------------------------------------ */

/* RGB <-> YCbCr at full resolution (BT.601, studio range). */
#define KELCC_EXPORTS_YCBCR444(X)                                              \
  X(keliRGBToYCbCr_8u_C3R, (const Kel8u* pSrc, int srcStep, Kel8u* pDst,       \
                            int dstStep, KelImageSize roiSize))                \
  X(keliRGBToYCbCr_8u_AC4R, (const Kel8u* pSrc, int srcStep, Kel8u* pDst,      \
                             int dstStep, KelImageSize roiSize))               \
  X(keliRGBToYCbCr_8u_C3P3R,                                                   \
    (const Kel8u* pSrc, int srcStep, Kel8u* const pDst[3], int dstStep,        \
     KelImageSize roiSize))                                                    \
  X(keliRGBToYCbCr_8u_AC4P3R,                                                  \
    (const Kel8u* pSrc, int srcStep, Kel8u* const pDst[3], int dstStep,        \
     KelImageSize roiSize))                                                    \
  X(keliRGBToYCbCr_8u_P3R,                                                     \
    (const Kel8u* const pSrc[3], int srcStep, Kel8u* const pDst[3],            \
     int dstStep, KelImageSize roiSize))                                       \
  X(keliYCbCrToRGB_8u_C3R, (const Kel8u* pSrc, int srcStep, Kel8u* pDst,       \
                            int dstStep, KelImageSize roiSize))                \
  X(keliYCbCrToRGB_8u_AC4R, (const Kel8u* pSrc, int srcStep, Kel8u* pDst,      \
                             int dstStep, KelImageSize roiSize))               \
  X(keliYCbCrToRGB_8u_P3R,                                                     \
    (const Kel8u* const pSrc[3], int srcStep, Kel8u* const pDst[3],            \
     int dstStep, KelImageSize roiSize))                                       \
  X(keliYCbCrToRGB_8u_P3C3R, (const Kel8u* const pSrc[3], int srcStep,         \
                              Kel8u* pDst, int dstStep, KelImageSize roiSize)) \
  X(keliYCbCrToRGB_8u_P3C4R,                                                   \
    (const Kel8u* const pSrc[3], int srcStep, Kel8u* pDst, int dstStep,        \
     KelImageSize roiSize, Kel8u aval))                                        \
  X(keliYCbCrToBGR_8u_P3C3R, (const Kel8u* const pSrc[3], int srcStep,         \
                              Kel8u* pDst, int dstStep, KelImageSize roiSize)) \
  X(keliYCbCrToBGR_8u_P3C4R,                                                   \
    (const Kel8u* const pSrc[3], int srcStep, Kel8u* pDst, int dstStep,        \
     KelImageSize roiSize, Kel8u aval))

/* Parameter lists shared by many entries of the subsampled families. */
#define KELCC_P_C_C                                          \
  (const Kel8u* pSrc, int srcStep, Kel8u* pDst, int dstStep, \
   KelImageSize roiSize)
#define KELCC_P_C_CA                                         \
  (const Kel8u* pSrc, int srcStep, Kel8u* pDst, int dstStep, \
   KelImageSize roiSize, Kel8u aval)
#define KELCC_P_C_P3S                                                          \
  (const Kel8u* pSrc, int srcStep, Kel8u* const pDst[3], const int dstStep[3], \
   KelImageSize roiSize)
#define KELCC_P_C_P3                                                  \
  (const Kel8u* pSrc, int srcStep, Kel8u* const pDst[3], int dstStep, \
   KelImageSize roiSize)
#define KELCC_P_C_P2                                           \
  (const Kel8u* pSrc, int srcStep, Kel8u* pDstY, int dstYStep, \
   Kel8u* pDstCbCr, int dstCbCrStep, KelImageSize roiSize)
#define KELCC_P_P3_C                                                  \
  (const Kel8u* const pSrc[3], int srcStep, Kel8u* pDst, int dstStep, \
   KelImageSize roiSize)
#define KELCC_P_P3S_C                                                          \
  (const Kel8u* const pSrc[3], const int srcStep[3], Kel8u* pDst, int dstStep, \
   KelImageSize roiSize)
#define KELCC_P_P3S_CA                                                         \
  (const Kel8u* const pSrc[3], const int srcStep[3], Kel8u* pDst, int dstStep, \
   KelImageSize roiSize, Kel8u aval)
#define KELCC_P_P2_C                                                         \
  (const Kel8u* pSrcY, int srcYStep, const Kel8u* pSrcCbCr, int srcCbCrStep, \
   Kel8u* pDst, int dstStep, KelImageSize roiSize)
#define KELCC_P_P2_CA                                                        \
  (const Kel8u* pSrcY, int srcYStep, const Kel8u* pSrcCbCr, int srcCbCrStep, \
   Kel8u* pDst, int dstStep, KelImageSize roiSize, Kel8u aval)
#define KELCC_P_P3S_P3S                                                    \
  (const Kel8u* const pSrc[3], const int srcStep[3], Kel8u* const pDst[3], \
   const int dstStep[3], KelImageSize roiSize)
#define KELCC_P_P3S_P2                                             \
  (const Kel8u* const pSrc[3], const int srcStep[3], Kel8u* pDstY, \
   int dstYStep, Kel8u* pDstCbCr, int dstCbCrStep, KelImageSize roiSize)
#define KELCC_P_P2_P3S                                                       \
  (const Kel8u* pSrcY, int srcYStep, const Kel8u* pSrcCbCr, int srcCbCrStep, \
   Kel8u* const pDst[3], const int dstStep[3], KelImageSize roiSize)
#define KELCC_P_P2_P2                                                        \
  (const Kel8u* pSrcY, int srcYStep, const Kel8u* pSrcCbCr, int srcCbCrStep, \
   Kel8u* pDstY, int dstYStep, Kel8u* pDstCbCr, int dstCbCrStep,             \
   KelImageSize roiSize)

/* RGB and BGR to 4:2:2, 4:2:0 and 4:1:1 YCbCr. */
#define KELCC_EXPORTS_YCBCR_ENCODE(X)           \
  X(keliRGBToYCbCr422_8u_C3C2R, KELCC_P_C_C)    \
  X(keliRGBToYCbCr422_8u_C3P3R, KELCC_P_C_P3S)  \
  X(keliRGBToYCbCr422_8u_P3C2R, KELCC_P_P3_C)   \
  X(keliRGBToYCrCb422_8u_C3C2R, KELCC_P_C_C)    \
  X(keliRGBToYCrCb422_8u_P3C2R, KELCC_P_P3_C)   \
  X(keliRGBToCbYCr422_8u_C3C2R, KELCC_P_C_C)    \
  X(keliBGRToYCbCr422_8u_C3C2R, KELCC_P_C_C)    \
  X(keliBGRToYCbCr422_8u_AC4C2R, KELCC_P_C_C)   \
  X(keliBGRToYCbCr422_8u_C3P3R, KELCC_P_C_P3S)  \
  X(keliBGRToYCbCr422_8u_AC4P3R, KELCC_P_C_P3S) \
  X(keliBGRToCbYCr422_8u_AC4C2R, KELCC_P_C_C)   \
  X(keliRGBToYCbCr420_8u_C3P3R, KELCC_P_C_P3S)  \
  X(keliRGBToYCbCr420_8u_C3P2R, KELCC_P_C_P2)   \
  X(keliRGBToYCbCr420_8u_C4P2R, KELCC_P_C_P2)   \
  X(keliRGBToYCrCb420_8u_AC4P3R, KELCC_P_C_P3S) \
  X(keliBGRToYCbCr420_8u_C3P3R, KELCC_P_C_P3S)  \
  X(keliBGRToYCbCr420_8u_AC4P3R, KELCC_P_C_P3S) \
  X(keliBGRToYCbCr420_8u_C3P2R, KELCC_P_C_P2)   \
  X(keliBGRToYCbCr420_8u_AC4P2R, KELCC_P_C_P2)  \
  X(keliBGRToYCrCb420_8u_C3P3R, KELCC_P_C_P3S)  \
  X(keliBGRToYCrCb420_8u_AC4P3R, KELCC_P_C_P3S) \
  X(keliBGRToYCbCr411_8u_C3P3R, KELCC_P_C_P3S)  \
  X(keliBGRToYCbCr411_8u_AC4P3R, KELCC_P_C_P3S)

/* 4:2:2, 4:2:0 and 4:1:1 YCbCr to RGB and BGR. */
#define KELCC_EXPORTS_YCBCR_DECODE(X)                  \
  X(keliYCbCr422ToRGB_8u_C2C3R, KELCC_P_C_C)           \
  X(keliYCbCr422ToRGB_8u_C2C4R, KELCC_P_C_CA)          \
  X(keliYCbCr422ToRGB_8u_C2P3R, KELCC_P_C_P3)          \
  X(keliYCbCr422ToRGB_8u_P3C3R, KELCC_P_P3S_C)         \
  X(keliYCbCr422ToBGR_8u_C2C3R, KELCC_P_C_C)           \
  X(keliYCbCr422ToBGR_8u_C2C4R, KELCC_P_C_CA)          \
  X(keliYCbCr422ToBGR_8u_P3C3R, KELCC_P_P3S_C)         \
  X(keliYCrCb422ToRGB_8u_C2C3R, KELCC_P_C_C)           \
  X(keliYCrCb422ToRGB_8u_C2C4R, KELCC_P_C_CA)          \
  X(keliYCrCb422ToRGB_8u_C2P3R, KELCC_P_C_P3)          \
  X(keliYCrCb422ToBGR_8u_C2C3R, KELCC_P_C_C)           \
  X(keliYCrCb422ToBGR_8u_C2C4R, KELCC_P_C_CA)          \
  X(keliCbYCr422ToRGB_8u_C2C3R, KELCC_P_C_C)           \
  X(keliCbYCr422ToBGR_8u_C2C4R, KELCC_P_C_CA)          \
  X(keliYCbCr420ToRGB_8u_P3C3R, KELCC_P_P3S_C)         \
  X(keliYCbCr420ToRGB_8u_P2C3R, KELCC_P_P2_C)          \
  X(keliYCbCr420ToRGB_8u_P2C4R, KELCC_P_P2_CA)         \
  X(keliYCbCr420ToBGR_8u_P3C3R, KELCC_P_P3S_C)         \
  X(keliYCbCr420ToBGR_8u_P3C4R, KELCC_P_P3S_CA)        \
  X(keliYCbCr420ToBGR_8u_P2C3R, KELCC_P_P2_C)          \
  X(keliYCbCr420ToBGR_8u_P2C4R, KELCC_P_P2_CA)         \
  X(keliYCrCb420ToRGB_8u_P3C4R, KELCC_P_P3S_CA)        \
  X(keliYCrCb420ToRGB_8u_P2C3R, KELCC_P_P2_C)          \
  X(keliYCrCb420ToRGB_8u_P2C4R, KELCC_P_P2_CA)         \
  X(keliYCrCb420ToBGR_8u_P2C3R, KELCC_P_P2_C)          \
  X(keliYCrCb420ToBGR_8u_P2C4R, KELCC_P_P2_CA)         \
  X(keliYCrCb420ToBGR_Filter_8u_P3C4R, KELCC_P_P3S_CA) \
  X(keliYCbCr411ToBGR_8u_P3C3R, KELCC_P_P3S_C)         \
  X(keliYCbCr411ToBGR_8u_P3C4R, KELCC_P_P3S_CA)

/* Sampling, order and layout changes of YCbCr images. */
#define KELCC_EXPORTS_RESAMPLE(X)                                              \
  X(keliYCbCr422ToYCbCr420_8u_P3R, KELCC_P_P3S_P3S)                            \
  X(keliYCbCr422ToYCbCr420_8u_P3P2R, KELCC_P_P3S_P2)                           \
  X(keliYCbCr422ToYCbCr420_8u_C2P3R, KELCC_P_C_P3S)                            \
  X(keliYCbCr422ToYCbCr420_8u_C2P2R, KELCC_P_C_P2)                             \
  X(keliYCbCr422ToYCrCb420_8u_C2P3R, KELCC_P_C_P3S)                            \
  X(keliYCbCr422ToYCrCb420_8u_C2P2R, KELCC_P_C_P2)                             \
  X(keliYCrCb422ToYCbCr420_8u_C2P3R, KELCC_P_C_P3S)                            \
  X(keliCbYCr422ToYCbCr420_8u_C2P3R, KELCC_P_C_P3S)                            \
  X(keliCbYCr422ToYCbCr420_8u_C2P2R, KELCC_P_C_P2)                             \
  X(keliCbYCr422ToYCrCb420_8u_C2P3R, KELCC_P_C_P3S)                            \
  X(keliYCbCr420ToYCbCr422_8u_P3R, KELCC_P_P3S_P3S)                            \
  X(keliYCbCr420ToYCbCr422_8u_P2P3R, KELCC_P_P2_P3S)                           \
  X(keliYCbCr420ToYCbCr422_8u_P2C2R, KELCC_P_P2_C)                             \
  X(keliYCbCr420ToCbYCr422_8u_P2C2R, KELCC_P_P2_C)                             \
  X(keliYCrCb420ToYCbCr422_8u_P3R, KELCC_P_P3S_P3S)                            \
  X(keliYCrCb420ToYCbCr422_8u_P3C2R, KELCC_P_P3S_C)                            \
  X(keliYCrCb420ToCbYCr422_8u_P3C2R, KELCC_P_P3S_C)                            \
  X(keliYCbCr420ToYCbCr422_Filter_8u_P3R, KELCC_P_P3S_P3S)                     \
  X(keliYCbCr420ToYCbCr422_Filter_8u_P2P3R, KELCC_P_P2_P3S)                    \
  X(keliYCrCb420ToYCbCr422_Filter_8u_P3R, KELCC_P_P3S_P3S)                     \
  X(keliYCbCr420ToYCbCr422_Filter_8u_P2C2R,                                    \
    (const Kel8u* pSrcY, int srcYStep, const Kel8u* pSrcCbCr, int srcCbCrStep, \
     Kel8u* pDst, int dstStep, KelImageSize roiSize, int layout))              \
  X(keliYCbCr420ToYCrCb420_Filter_8u_P2P3R, KELCC_P_P2_P3S)                    \
  X(keliYCbCr420ToYCrCb420_8u_P2P3R, KELCC_P_P2_P3S)                           \
  X(keliYCbCr420_8u_P2P3R, KELCC_P_P2_P3S)                                     \
  X(keliYCbCr420_8u_P3P2R, KELCC_P_P3S_P2)                                     \
  X(keliYCrCb420ToYCbCr420_8u_P3P2R, KELCC_P_P3S_P2)                           \
  X(keliYCbCr420ToYCbCr411_8u_P2P3R, KELCC_P_P2_P3S)                           \
  X(keliYCbCr420ToYCbCr411_8u_P3P2R, KELCC_P_P3S_P2)                           \
  X(keliYCrCb420ToYCbCr411_8u_P3P2R, KELCC_P_P3S_P2)                           \
  X(keliYCbCr411ToYCbCr420_8u_P3R, KELCC_P_P3S_P3S)                            \
  X(keliYCbCr411ToYCbCr420_8u_P2P3R, KELCC_P_P2_P3S)                           \
  X(keliYCbCr411ToYCbCr420_8u_P3P2R, KELCC_P_P3S_P2)                           \
  X(keliYCbCr411ToYCrCb420_8u_P2P3R, KELCC_P_P2_P3S)                           \
  X(keliYCbCr422ToYCbCr411_8u_P3R, KELCC_P_P3S_P3S)                            \
  X(keliYCbCr422ToYCbCr411_8u_P3P2R, KELCC_P_P3S_P2)                           \
  X(keliYCbCr422ToYCbCr411_8u_C2P3R, KELCC_P_C_P3S)                            \
  X(keliYCbCr422ToYCbCr411_8u_C2P2R, KELCC_P_C_P2)                             \
  X(keliYCrCb422ToYCbCr411_8u_C2P3R, KELCC_P_C_P3S)                            \
  X(keliCbYCr422ToYCbCr411_8u_C2P3R, KELCC_P_C_P3S)                            \
  X(keliYCbCr411ToYCbCr422_8u_P3R, KELCC_P_P3S_P3S)                            \
  X(keliYCbCr411ToYCbCr422_8u_P2P3R, KELCC_P_P2_P3S)                           \
  X(keliYCbCr411ToYCbCr422_8u_P3C2R, KELCC_P_P3S_C)                            \
  X(keliYCbCr411ToYCbCr422_8u_P2C2R, KELCC_P_P2_C)                             \
  X(keliYCbCr411ToYCrCb422_8u_P3R, KELCC_P_P3S_P3S)                            \
  X(keliYCbCr411ToYCrCb422_8u_P3C2R, KELCC_P_P3S_C)                            \
  X(keliYCbCr411_8u_P2P3R, KELCC_P_P2_P3S)                                     \
  X(keliYCbCr411_8u_P3P2R, KELCC_P_P3S_P2)                                     \
  X(keliYCbCr422_8u_C2P3R, KELCC_P_C_P3S)                                      \
  X(keliYCbCr422_8u_P3C2R, KELCC_P_P3S_C)                                      \
  X(keliYCrCb422ToYCbCr422_8u_C2P3R, KELCC_P_C_P3S)                            \
  X(keliCbYCr422ToYCbCr422_8u_C2P3R, KELCC_P_C_P3S)                            \
  X(keliYCbCr422ToCbYCr422_8u_P3C2R, KELCC_P_P3S_C)                            \
  X(keliYCbCr422ToYCrCb422_8u_P3C2R, KELCC_P_P3S_C)                            \
  X(keliYCbCr422ToYCrCb422_8u_C2R, KELCC_P_C_C)                                \
  X(keliYCbCr422ToCbYCr422_8u_C2R, KELCC_P_C_C)                                \
  X(keliCbYCr422ToYCbCr422_8u_C2R, KELCC_P_C_C)                                \
  /* 16:2:0 and 4:1:1 re-sampling (chroma interpolated, not rearranged) */     \
  X(keliYCbCr420To1620_8u_P3R, KELCC_P_P3S_P3S)                                \
  X(keliYCbCr1620To420_8u_P3R, KELCC_P_P3S_P3S)                                \
  X(keliYCbCr411To420_8u_P3R, KELCC_P_P3S_P3S)                                 \
  X(keliYCbCr420To411_8u_P3R, KELCC_P_P3S_P3S)

/* HLS and HSV. RGB-order members for 8u, 16u, 16s and 32f; BGR-order
 * members for 8u in interleaved, planar and alpha-plane layouts. The 8u hue
 * spans 0..255 for the full circle, 16u and 16s 0..65535 (16s offset by
 * -32768), 32f 0..1. */
#define KELCC_P_T_C_C(T) \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, KelImageSize roiSize)
#define KELCC_P_P3_P3                                                          \
  (const Kel8u* const pSrc[3], int srcStep, Kel8u* const pDst[3], int dstStep, \
   KelImageSize roiSize)
#define KELCC_P_C_P4                                                  \
  (const Kel8u* pSrc, int srcStep, Kel8u* const pDst[4], int dstStep, \
   KelImageSize roiSize)
#define KELCC_P_P4_C                                                  \
  (const Kel8u* const pSrc[4], int srcStep, Kel8u* pDst, int dstStep, \
   KelImageSize roiSize)
#define KELCC_P_P4_P4                                                          \
  (const Kel8u* const pSrc[4], int srcStep, Kel8u* const pDst[4], int dstStep, \
   KelImageSize roiSize)
#define KELCC_EXPORTS_HLS(X)                      \
  X(keliRGBToHLS_8u_C3R, KELCC_P_C_C)             \
  X(keliRGBToHLS_8u_AC4R, KELCC_P_C_C)            \
  X(keliRGBToHLS_16u_C3R, KELCC_P_T_C_C(Kel16u))  \
  X(keliRGBToHLS_16u_AC4R, KELCC_P_T_C_C(Kel16u)) \
  X(keliRGBToHLS_16s_C3R, KELCC_P_T_C_C(Kel16s))  \
  X(keliRGBToHLS_16s_AC4R, KELCC_P_T_C_C(Kel16s)) \
  X(keliRGBToHLS_32f_C3R, KELCC_P_T_C_C(Kel32f))  \
  X(keliRGBToHLS_32f_AC4R, KELCC_P_T_C_C(Kel32f)) \
  X(keliHLSToRGB_8u_C3R, KELCC_P_C_C)             \
  X(keliHLSToRGB_8u_AC4R, KELCC_P_C_C)            \
  X(keliHLSToRGB_16u_C3R, KELCC_P_T_C_C(Kel16u))  \
  X(keliHLSToRGB_16u_AC4R, KELCC_P_T_C_C(Kel16u)) \
  X(keliHLSToRGB_16s_C3R, KELCC_P_T_C_C(Kel16s))  \
  X(keliHLSToRGB_16s_AC4R, KELCC_P_T_C_C(Kel16s)) \
  X(keliHLSToRGB_32f_C3R, KELCC_P_T_C_C(Kel32f))  \
  X(keliHLSToRGB_32f_AC4R, KELCC_P_T_C_C(Kel32f)) \
  X(keliBGRToHLS_8u_AC4R, KELCC_P_C_C)            \
  X(keliBGRToHLS_8u_C3P3R, KELCC_P_C_P3)          \
  X(keliBGRToHLS_8u_P3C3R, KELCC_P_P3_C)          \
  X(keliBGRToHLS_8u_P3R, KELCC_P_P3_P3)           \
  X(keliBGRToHLS_8u_AC4P4R, KELCC_P_C_P4)         \
  X(keliBGRToHLS_8u_AP4C4R, KELCC_P_P4_C)         \
  X(keliBGRToHLS_8u_AP4R, KELCC_P_P4_P4)          \
  X(keliHLSToBGR_8u_C3P3R, KELCC_P_C_P3)          \
  X(keliHLSToBGR_8u_P3C3R, KELCC_P_P3_C)          \
  X(keliHLSToBGR_8u_P3R, KELCC_P_P3_P3)           \
  X(keliHLSToBGR_8u_AC4P4R, KELCC_P_C_P4)         \
  X(keliHLSToBGR_8u_AP4C4R, KELCC_P_P4_C)         \
  X(keliHLSToBGR_8u_AP4R, KELCC_P_P4_P4)
#define KELCC_EXPORTS_HSV(X)                      \
  X(keliRGBToHSV_8u_C3R, KELCC_P_C_C)             \
  X(keliRGBToHSV_8u_AC4R, KELCC_P_C_C)            \
  X(keliRGBToHSV_16u_C3R, KELCC_P_T_C_C(Kel16u))  \
  X(keliRGBToHSV_16u_AC4R, KELCC_P_T_C_C(Kel16u)) \
  X(keliHSVToRGB_8u_C3R, KELCC_P_C_C)             \
  X(keliHSVToRGB_8u_AC4R, KELCC_P_C_C)            \
  X(keliHSVToRGB_16u_C3R, KELCC_P_T_C_C(Kel16u))  \
  X(keliHSVToRGB_16u_AC4R, KELCC_P_T_C_C(Kel16u))

/* Colour twist: a 3 x 4 matrix (three rows of three factors and an offset;
 * row i makes channel i) applied to every pixel; integer results are
 * clamped and rounded to nearest even whatever the caller's rounding mode.
 * keliColorTwist_32f_C4R applies a 4 x 4 matrix to all four channels. */
#define KELCC_P_TW_C_C(T)                                                  \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, KelImageSize roiSize, \
   const Kel32f twist[3][4])
#define KELCC_P_TW_CI(T) \
  (T * pSrcDst, int srcDstStep, KelImageSize roiSize, const Kel32f twist[3][4])
#define KELCC_P_TW_P_P(T)                                              \
  (const T* const pSrc[3], int srcStep, T* const pDst[3], int dstStep, \
   KelImageSize roiSize, const Kel32f twist[3][4])
#define KELCC_P_TW_IP(T)                                      \
  (T* const pSrcDst[3], int srcDstStep, KelImageSize roiSize, \
   const Kel32f twist[3][4])
#define KELCC_EXPORTS_TWIST(X)                                   \
  X(keliColorTwist32f_8u_C3R, KELCC_P_TW_C_C(Kel8u))             \
  X(keliColorTwist32f_8u_C3IR, KELCC_P_TW_CI(Kel8u))             \
  X(keliColorTwist32f_8u_AC4R, KELCC_P_TW_C_C(Kel8u))            \
  X(keliColorTwist32f_8u_AC4IR, KELCC_P_TW_CI(Kel8u))            \
  X(keliColorTwist32f_8u_P3R, KELCC_P_TW_P_P(Kel8u))             \
  X(keliColorTwist32f_8u_IP3R, KELCC_P_TW_IP(Kel8u))             \
  X(keliColorTwist32f_16u_C3R, KELCC_P_TW_C_C(Kel16u))           \
  X(keliColorTwist32f_16u_C3IR, KELCC_P_TW_CI(Kel16u))           \
  X(keliColorTwist32f_16u_AC4R, KELCC_P_TW_C_C(Kel16u))          \
  X(keliColorTwist32f_16u_AC4IR, KELCC_P_TW_CI(Kel16u))          \
  X(keliColorTwist32f_16u_P3R, KELCC_P_TW_P_P(Kel16u))           \
  X(keliColorTwist32f_16u_IP3R, KELCC_P_TW_IP(Kel16u))           \
  X(keliColorTwist32f_16s_C3R, KELCC_P_TW_C_C(Kel16s))           \
  X(keliColorTwist32f_16s_C3IR, KELCC_P_TW_CI(Kel16s))           \
  X(keliColorTwist32f_16s_AC4R, KELCC_P_TW_C_C(Kel16s))          \
  X(keliColorTwist32f_16s_AC4IR, KELCC_P_TW_CI(Kel16s))          \
  X(keliColorTwist32f_16s_P3R, KELCC_P_TW_P_P(Kel16s))           \
  X(keliColorTwist32f_16s_IP3R, KELCC_P_TW_IP(Kel16s))           \
  X(keliColorTwist_32f_C3R, KELCC_P_TW_C_C(Kel32f))              \
  X(keliColorTwist_32f_C3IR, KELCC_P_TW_CI(Kel32f))              \
  X(keliColorTwist_32f_AC4R, KELCC_P_TW_C_C(Kel32f))             \
  X(keliColorTwist_32f_AC4IR, KELCC_P_TW_CI(Kel32f))             \
  X(keliColorTwist_32f_P3R, KELCC_P_TW_P_P(Kel32f))              \
  X(keliColorTwist_32f_IP3R, KELCC_P_TW_IP(Kel32f))              \
  X(keliColorTwist_32f_C4R,                                      \
    (const Kel32f* pSrc, int srcStep, Kel32f* pDst, int dstStep, \
     KelImageSize roiSize, const Kel32f twist[4][4]))

/* Gray: colour to one plane with the weights 0.299, 0.587, 0.114 (RGBToGray)
 * or the caller's (ColorToGray; null selects the defaults), gray to three
 * or four channels, and the luma bytes of packed 4:2:2. */
#define KELCC_P_GRAY_W(T, W)                                               \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, KelImageSize roiSize, \
   const W coeffs[3])
#define KELCC_P_GRAY_A(T)                                                  \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, KelImageSize roiSize, \
   T aval)
#define KELCC_EXPORTS_GRAY(X)                                   \
  X(keliRGBToGray_8u_C3C1R, KELCC_P_T_C_C(Kel8u))               \
  X(keliRGBToGray_8u_AC4C1R, KELCC_P_T_C_C(Kel8u))              \
  X(keliRGBToGray_16u_C3C1R, KELCC_P_T_C_C(Kel16u))             \
  X(keliRGBToGray_16u_AC4C1R, KELCC_P_T_C_C(Kel16u))            \
  X(keliRGBToGray_16s_C3C1R, KELCC_P_T_C_C(Kel16s))             \
  X(keliRGBToGray_16s_AC4C1R, KELCC_P_T_C_C(Kel16s))            \
  X(keliRGBToGray_32f_C3C1R, KELCC_P_T_C_C(Kel32f))             \
  X(keliRGBToGray_32f_AC4C1R, KELCC_P_T_C_C(Kel32f))            \
  X(keliColorToGray_8u_C3C1R, KELCC_P_GRAY_W(Kel8u, Kel32f))    \
  X(keliColorToGray_8u_AC4C1R, KELCC_P_GRAY_W(Kel8u, Kel32f))   \
  X(keliColorToGray_16u_C3C1R, KELCC_P_GRAY_W(Kel16u, Kel32f))  \
  X(keliColorToGray_16u_AC4C1R, KELCC_P_GRAY_W(Kel16u, Kel32f)) \
  X(keliColorToGray_16s_C3C1R, KELCC_P_GRAY_W(Kel16s, Kel32f))  \
  X(keliColorToGray_16s_AC4C1R, KELCC_P_GRAY_W(Kel16s, Kel32f)) \
  X(keliColorToGray_32f_C3C1R, KELCC_P_GRAY_W(Kel32f, Kel32f))  \
  X(keliColorToGray_32f_AC4C1R, KELCC_P_GRAY_W(Kel32f, Kel32f)) \
  X(keliColorToGray_64f_C3C1R, KELCC_P_GRAY_W(Kel64f, Kel64f))  \
  X(keliColorToGray_64f_AC4C1R, KELCC_P_GRAY_W(Kel64f, Kel64f)) \
  X(keliGrayToRGB_8u_C1C3R, KELCC_P_T_C_C(Kel8u))               \
  X(keliGrayToRGB_8u_C1C4R, KELCC_P_GRAY_A(Kel8u))              \
  X(keliGrayToRGB_16u_C1C3R, KELCC_P_T_C_C(Kel16u))             \
  X(keliGrayToRGB_16u_C1C4R, KELCC_P_GRAY_A(Kel16u))            \
  X(keliGrayToRGB_32f_C1C3R, KELCC_P_T_C_C(Kel32f))             \
  X(keliGrayToRGB_32f_C1C4R, KELCC_P_GRAY_A(Kel32f))            \
  X(keliYCbCr422ToGray_8u_C2C1R, KELCC_P_C_C)

/* CIE XYZ from and to linear RGB (D65, BT.709 primaries). */
#define KELCC_EXPORTS_XYZ(X)                      \
  X(keliRGBToXYZ_8u_C3R, KELCC_P_T_C_C(Kel8u))    \
  X(keliRGBToXYZ_8u_AC4R, KELCC_P_T_C_C(Kel8u))   \
  X(keliRGBToXYZ_16u_C3R, KELCC_P_T_C_C(Kel16u))  \
  X(keliRGBToXYZ_16u_AC4R, KELCC_P_T_C_C(Kel16u)) \
  X(keliRGBToXYZ_16s_C3R, KELCC_P_T_C_C(Kel16s))  \
  X(keliRGBToXYZ_16s_AC4R, KELCC_P_T_C_C(Kel16s)) \
  X(keliRGBToXYZ_32f_C3R, KELCC_P_T_C_C(Kel32f))  \
  X(keliRGBToXYZ_32f_AC4R, KELCC_P_T_C_C(Kel32f)) \
  X(keliXYZToRGB_8u_C3R, KELCC_P_T_C_C(Kel8u))    \
  X(keliXYZToRGB_8u_AC4R, KELCC_P_T_C_C(Kel8u))   \
  X(keliXYZToRGB_16u_C3R, KELCC_P_T_C_C(Kel16u))  \
  X(keliXYZToRGB_16u_AC4R, KELCC_P_T_C_C(Kel16u)) \
  X(keliXYZToRGB_16s_C3R, KELCC_P_T_C_C(Kel16s))  \
  X(keliXYZToRGB_16s_AC4R, KELCC_P_T_C_C(Kel16s)) \
  X(keliXYZToRGB_32f_C3R, KELCC_P_T_C_C(Kel32f))  \
  X(keliXYZToRGB_32f_AC4R, KELCC_P_T_C_C(Kel32f))

/* Every exported image function, in slot order. */
#define KELCC_EXPORTS(X)        \
  KELCC_EXPORTS_YCBCR444(X)     \
  KELCC_EXPORTS_YCBCR_ENCODE(X) \
  KELCC_EXPORTS_YCBCR_DECODE(X) \
  KELCC_EXPORTS_RESAMPLE(X)     \
  KELCC_EXPORTS_HLS(X)          \
  KELCC_EXPORTS_HSV(X)          \
  KELCC_EXPORTS_TWIST(X)        \
  KELCC_EXPORTS_GRAY(X)         \
  KELCC_EXPORTS_XYZ(X)

#define KELCC_DECLARE_(name, params) KelResult name params;
KELCC_EXPORTS(KELCC_DECLARE_)
#undef KELCC_DECLARE_

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* KELCC_H */
