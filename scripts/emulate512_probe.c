// Asks the processor for what 512-bit kernels need and tries one operation of each kind against plain C. Prints a line; status 0 if
// all of it is there and right. What is tried stands behind volatile, so that it is computed here and not by the compiler.
#include <immintrin.h>
#include <math.h>
#include <stdint.h>
#include <stdio.h>

#define XCR0_AVX512 0xe6u  // SSE, AVX, masks and both parts of the 512-bit registers

int main(void) {
  __builtin_cpu_init();
  const int f = __builtin_cpu_supports("avx512f") != 0, vl = __builtin_cpu_supports("avx512vl") != 0;
  const int bw = __builtin_cpu_supports("avx512bw") != 0, dq = __builtin_cpu_supports("avx512dq") != 0;
  printf("probe: avx512f %d, avx512vl %d, avx512bw %d, avx512dq %d", f, vl, bw, dq);
  if (!f || !vl || !bw || !dq) {
    puts(": not all there");
    return 1;
  }
  uint32_t low, high;
  __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  printf(", XCR0 %#x", low);
  if ((low & XCR0_AVX512) != XCR0_AVX512) {
    puts(": the kernel hasn't enabled the registers");
    return 1;
  }

  volatile float seed = 0.3f;
  volatile __mmask16 lanes = 0x9a5c;
  const __mmask16 mask = lanes;
  float a[16], b[16], fused[16];
  int16_t words[32], saturated[32];
  double doubles[8];
  int64_t integers[8];
  for (int i = 0; i < 16; i++) {
    a[i] = seed * (float)(i - 7);
    b[i] = 1.0f / (seed + (float)i);
  }
  for (int i = 0; i < 32; i++) words[i] = (int16_t)(seed * 6000.0f * (float)(i - 16));
  for (int i = 0; i < 8; i++) doubles[i] = (double)seed * 1e12 * (i - 4);

  const __m512 av = _mm512_loadu_ps(a), bv = _mm512_loadu_ps(b);
  _mm512_storeu_ps(fused, _mm512_mask_fmadd_ps(av, mask, bv, bv));
  _mm512_storeu_si512(saturated, _mm512_adds_epi16(_mm512_loadu_si512(words), _mm512_loadu_si512(words)));
  _mm512_storeu_si512(integers, _mm512_cvttpd_epi64(_mm512_loadu_pd(doubles)));
  const __mmask8 less = _mm256_cmp_ps_mask(_mm256_loadu_ps(a), _mm256_setzero_ps(), _CMP_LT_OQ);

  int wrong = less != 0x7f;
  for (int i = 0; i < 16; i++) wrong += fused[i] != ((mask >> i) & 1 ? fmaf(a[i], b[i], b[i]) : a[i]);
  for (int i = 0; i < 32; i++) {
    const int sum = 2 * words[i];
    wrong += saturated[i] != (sum > INT16_MAX ? INT16_MAX : sum < INT16_MIN ? INT16_MIN : sum);
  }
  for (int i = 0; i < 8; i++) wrong += integers[i] != (int64_t)doubles[i];
  printf(", %d of 57 results wrong\n", wrong);
  return wrong != 0;
}
