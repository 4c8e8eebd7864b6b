/* In C, because the system header for this is written in it. */
#include "frame/cpu.h"

#if __has_include(<sys/platform/x86.h>)
#include <sys/platform/x86.h>
#endif

int ownHasAvx2(void) {
#ifdef CPU_FEATURE_ACTIVE
  return CPU_FEATURE_ACTIVE(AVX2);
#else
  return 0;
#endif
}

#ifdef VEKR_AVX512_IN_HALVES
int ownHasAvx512(void) { return ownHasAvx2(); }
#elif defined(VEKR_AVX512)
int ownHasAvx512(void) {
#ifdef CPU_FEATURE_ACTIVE
  return CPU_FEATURE_ACTIVE(AVX2) && CPU_FEATURE_ACTIVE(AVX512F) && CPU_FEATURE_ACTIVE(AVX512VL) &&
         CPU_FEATURE_ACTIVE(AVX512BW) && CPU_FEATURE_ACTIVE(AVX512DQ);
#else
  return 0;
#endif
}
#endif
