// The estimates that packets start from, as the library was built to take them. The table is compared with the instructions by
// itself (tests/frame/estimates_test.cpp, estimates_proof.cpp).
#pragma once

#ifdef VEKR_ESTIMATES_BY_TABLE
#include "frame/estimates.h"
#else
#include <xmmintrin.h>
#endif

namespace vekr_reference {

#ifdef VEKR_ESTIMATES_BY_TABLE
inline float approximateReciprocal(float x) { return vekr::estimatedReciprocal(x); }
inline float approximateReciprocalSqrt(float x) { return vekr::estimatedReciprocalSqrt(x); }
#else
inline float approximateReciprocal(float x) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(x))); }
inline float approximateReciprocalSqrt(float x) { return _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(x))); }
#endif

}  // namespace vekr_reference
