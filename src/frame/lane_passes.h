// Includes a family's per-pixel forms twice (no include guard: it is meant
// to be included once per forms file): as portable floats in namespace
// <family>::scalar, and on x86-64 as eight-lane AVX2 vectors in
// <family>::avx2. See frame/lanes.h. Before including it, define
//
//   #define KEL_LANE_FORMS "spaces/twist_forms.inc"
//   #define KEL_LANE_FAMILY kel::spaces
//
// A forms file writes its per-pixel functions with KEL_LANE_FN, its row
// loops with KEL_LANE_LOOP, and names the lane type KEL_LANE_V.
#include "frame/isa.h"
#include "frame/lanes.h"

#define KEL_LANE_NS KEL_LANE_FAMILY::scalar
#define KEL_LANE_FN inline
#define KEL_LANE_LOOP inline
#define KEL_LANE_V float
#include KEL_LANE_FORMS
#undef KEL_LANE_NS
#undef KEL_LANE_FN
#undef KEL_LANE_LOOP
#undef KEL_LANE_V

#if KEL_X86_64
#define KEL_LANE_NS KEL_LANE_FAMILY::avx2
#define KEL_LANE_FN KEL_AVX2_INLINE
#define KEL_LANE_LOOP KEL_AVX2
#define KEL_LANE_V ::kel::lanes::F8
#include KEL_LANE_FORMS
#undef KEL_LANE_NS
#undef KEL_LANE_FN
#undef KEL_LANE_LOOP
#undef KEL_LANE_V
#endif

#undef KEL_LANE_FORMS
#undef KEL_LANE_FAMILY
