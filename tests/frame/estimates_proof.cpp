// Both estimates over all 2^32 arguments: the table against the instructions, where there are any, and its hashes, which are
// the same on every architecture. Half a minute or more; run by hand after a change of the table:
//   estimates_proof            ends with 1 if a hash is another, or if the instructions of this processor give other bits
#include <bit>
#include <cstdio>

#include "tests/frame/estimates_sweep.h"
#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace {

constexpr uint64_t kReciprocals = 0x4B4A090D4EC0AF5Du, kReciprocalSqrts = 0x375F1C1B715BBF86u;

struct Differences {
  uint64_t count = 0;
  void expect(uint32_t argument, uint32_t table, uint32_t instruction) {
    if (table != instruction && count++ < 5) {
      std::printf("%08x: table %08x, instruction %08x\n", argument, table, instruction);
    }
  }
};

#ifdef __x86_64__
// Four arguments from `first` on.
void compare(uint32_t first, Differences (&differences)[2]) {
  const __m128i arguments =
      _mm_add_epi32(_mm_set1_epi32(static_cast<int>(first)), _mm_setr_epi32(0, 1, 2, 3));
  alignas(16) uint32_t reciprocals[4], roots[4];
  _mm_store_ps(reinterpret_cast<float *>(reciprocals), _mm_rcp_ps(_mm_castsi128_ps(arguments)));
  _mm_store_ps(reinterpret_cast<float *>(roots), _mm_rsqrt_ps(_mm_castsi128_ps(arguments)));
  for (uint32_t k = 0; k < 4; ++k) {
    differences[0].expect(first + k, vekr::estimatedReciprocalBits(first + k), reciprocals[k]);
    differences[1].expect(first + k, vekr::estimatedReciprocalSqrtBits(first + k), roots[k]);
  }
}
#else
void compare(uint32_t, Differences (&)[2]) {}
#endif

}  // namespace

int main() {
  vekr_test::EstimateHashes hashes;
  Differences differences[2];
  for (uint64_t argument = 0; argument < 1ull << 32; ++argument) {
    const auto bits = static_cast<uint32_t>(argument);
    hashes.take(bits);
    if (bits % 4 == 0) compare(bits, differences);
  }
  const auto hash = [](const vekr_test::EstimateHash &h) { return static_cast<unsigned long long>(h.value); };
  std::printf("reciprocal %016llx, of a root %016llx; other bits by instruction: %llu and %llu\n",
              hash(hashes.reciprocal), hash(hashes.reciprocalSqrt),
              static_cast<unsigned long long>(differences[0].count),
              static_cast<unsigned long long>(differences[1].count));
  const bool same =
      hashes.reciprocal.value == kReciprocals && hashes.reciprocalSqrt.value == kReciprocalSqrts;
  if (!same) std::puts("the table isn't the one that was proved");
  return same && differences[0].count + differences[1].count == 0 ? 0 : 1;
}
