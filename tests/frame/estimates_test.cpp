// The table of estimates: every argument that it tells apart, by hash; what isn't a plain number; and on x86 whether this
// processor's instructions give the same.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "tests/frame/estimates_sweep.h"
#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace {

using namespace vekr;
using vekr_test::kTrailingBits;

// body(bits) for both ends of every run of arguments that share their estimates.
template <class Body>
void forRuns(const Body &body) {
  for (uint64_t first = 0; first < 1ull << 32; first += kTrailingBits + 1) {
    body(static_cast<uint32_t>(first));
    body(static_cast<uint32_t>(first) | kTrailingBits);
  }
}

TEST(Estimates, AreThoseThatWereComparedWithTheInstructions) {
  vekr_test::EstimateHashes hashes;
  forRuns([&](uint32_t bits) { hashes.take(bits); });
  EXPECT_EQ(hashes.reciprocal.value, 0x488B889142C5AEAEu);
  EXPECT_EQ(hashes.reciprocalSqrt.value, 0x6418B8FE191CF595u);
}

// Within 1.5 / 4096 of the truth, wherever that is a normal number.
TEST(Estimates, AreNear) {
  double worst[2] = {};
  for (uint32_t bits = 0x00800000u; bits < 0x7E800000u; bits += 1009) {
    const double x = std::bit_cast<float>(bits);
    worst[0] = std::fmax(worst[0], std::fabs(estimatedReciprocal(static_cast<float>(x)) * x - 1.0));
    worst[1] =
        std::fmax(worst[1], std::fabs(estimatedReciprocalSqrt(static_cast<float>(x)) * std::sqrt(x) - 1.0));
  }
  EXPECT_LT(worst[0], 1.5 / 4096);
  EXPECT_LT(worst[1], 1.5 / 4096);
  EXPECT_GT(worst[0], 0.5 / 4096);  // and they are no exact quotients
  EXPECT_GT(worst[1], 0.25 / 4096);
}

TEST(Estimates, OfWhatIsNoPlainNumber) {
  struct Case {
    uint32_t argument, reciprocal, reciprocalSqrt;
  };
  const Case cases[] = {
      {0x00000000u, 0x7F800000u, 0x7F800000u},
      {0x80000000u, 0xFF800000u, 0xFF800000u},  // zeros
      {0x007FFFFFu, 0x7F800000u, 0x7F800000u},
      {0x80000001u, 0xFF800000u, 0xFF800000u},  // denormals
      {0x7F800000u, 0x00000000u, 0x00000000u},
      {0xFF800000u, 0x80000000u, 0xFFC00000u},  // infinities
      {0x7FC00001u, 0x7FC00001u, 0x7FC00001u},
      {0xFF812345u, 0xFFC12345u, 0xFFC12345u},  // NaNs keep their bits
      {0xBF800000u, 0xBF7FF000u, 0xFFC00000u},
      {0x80800000u, 0xFE7FF000u, 0xFFC00000u},  // below zero
      {0x7E7FFFFFu, 0x00800000u, 0x20000000u},
      {0x7E800000u, 0x00000000u, 0x1FFFF800u},  // too small to be normal
      {0xFF7FFFFFu, 0x80000000u, 0xFFC00000u},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(estimatedReciprocalBits(c.argument), c.reciprocal) << std::hex << c.argument;
    EXPECT_EQ(estimatedReciprocalSqrtBits(c.argument), c.reciprocalSqrt) << std::hex << c.argument;
  }
}

#ifdef __x86_64__
// One maker's processors pass, and others say that they are others: they differ somewhere in every part of the range.
TEST(Estimates, AreTheInstructionsOrAnotherMakers) {
  long other = 0, all = 0;
  forRuns([&](uint32_t bits) {
    const __m128 x = _mm_set_ss(std::bit_cast<float>(bits));
    other += std::bit_cast<uint32_t>(_mm_cvtss_f32(_mm_rcp_ss(x))) != estimatedReciprocalBits(bits);
    other += std::bit_cast<uint32_t>(_mm_cvtss_f32(_mm_rsqrt_ss(x))) != estimatedReciprocalSqrtBits(bits);
    all += 2;
  });
  if (other == 0) return;
  EXPECT_GT(other, all / 10) << "nearly this maker's: a fault of the table";
  GTEST_SKIP() << "another maker's processor: " << other << " of " << all << " estimates differ";
}
#endif

}  // namespace
