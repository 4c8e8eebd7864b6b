// One band by itself: the very bits of the direct evaluator.
#include "tests/sh/support.h"

using namespace sh_test;

namespace {

void expectBandsOfTheEvaluator(const Directions &d, size_t offset) {
  State state(kBands, vekrSHDirect);
  std::vector<float> all(d.x.size() * 256);
  ASSERT_EQ(vekrSH_32f(d.x.data(), d.y.data(), d.z.data(), d.count(), all.data(), 15, state.get()), vekOk);
  for (uint32_t l = 0; l <= kBands; ++l) {
    const size_t count = 2 * l + 1;
    Guarded<float> blocks(count * d.x.size(), offset);
    ASSERT_EQ(vekrSHBand_32f(d.x.data(), d.y.data(), d.z.data(), d.count(), blocks.data(), l), vekOk);
    EXPECT_TRUE(blocks.intact());
    for (size_t i = 0; i < d.x.size(); ++i) {
      ASSERT_TRUE(sameArrays(blocks.data() + i * count, all.data() + i * 256 + l * l, count))
          << "band " << l << ", direction " << i << ": " << d.x[i] << ' ' << d.y[i] << ' ' << d.z[i];
    }
  }
}

TEST(Bands, EqualTheEvaluatorBitForBit) {
  expectBandsOfTheEvaluator(directionsOf(Kind::unit, 301, 1), 0);
  expectBandsOfTheEvaluator(directionsOf(Kind::anyLength, 302, 2), 4);
  expectBandsOfTheEvaluator(directionsOf(Kind::awkward, 303, 3), 8);
}

TEST(Bands, EqualTheTwin) {
  const Directions d = directionsOf(Kind::unit, 21, 5);
  for (uint32_t l = 0; l <= kBands; ++l) {
    const size_t count = 2 * l + 1;
    std::vector<float> blocks(count * d.x.size());
    ASSERT_EQ(vekrSHBand_32f(d.x.data(), d.y.data(), d.z.data(), d.count(), blocks.data(), l), vekOk);
    for (size_t i = 0; i < d.x.size(); ++i) {
      const std::vector<float> all = twinBlock(vekrSHDirect, d.x[i], d.y[i], d.z[i], l);
      ASSERT_TRUE(sameArrays(blocks.data() + i * count, all.data() + l * l, count)) << l << ' ' << i;
    }
  }
}

TEST(Bands, TakeEveryLengthAndAddress) {
  for (size_t count = 1; count <= 18; ++count) {
    expectBandsOfTheEvaluator(directionsOf(Kind::unit, count, 6, 4 * count % 64), 60 - 4 * count % 64);
  }
}

TEST(Bands, ReadAndWriteNothingBeyondTheirArrays) {
  for (uint32_t l = 0; l <= kBands; ++l) {
    for (size_t count : {1, 3, 4, 5, 8, 9}) {
      PageEnd<float> x(count), y(count), z(count), blocks(count * (2 * l + 1));
      for (size_t i = 0; i < count; ++i) x[i] = y[i] = z[i] = 0.5f;
      EXPECT_EQ(vekrSHBand_32f(x.data(), y.data(), z.data(), static_cast<int32_t>(count), blocks.data(), l),
                vekOk);
    }
  }
}

TEST(Bands, BandZeroIgnoresTheDirections) {
  const Directions d = directionsOf(Kind::awkward, 37, 8);
  Guarded<float> values(37);
  EXPECT_EQ(vekrSHBand_32f(d.x.data(), d.y.data(), d.z.data(), 37, values.data(), 0), vekOk);
  for (float v : values) EXPECT_EQ(vekr_test::bitsOf(v), 0x3E906EBBu);
}

TEST(Bands, CheckPointersThenBandThenCount) {
  const float v[1] = {0.5f};
  std::vector<float> out(31, 3.0f);
  EXPECT_EQ(vekrSHBand_32f(nullptr, v, v, 0, out.data(), 16), vekErrNullPtr);
  EXPECT_EQ(vekrSHBand_32f(v, nullptr, v, 0, out.data(), 16), vekErrNullPtr);
  EXPECT_EQ(vekrSHBand_32f(v, v, nullptr, 0, out.data(), 16), vekErrNullPtr);
  EXPECT_EQ(vekrSHBand_32f(v, v, v, 0, nullptr, 16), vekErrNullPtr);
  EXPECT_EQ(vekrSHBand_32f(v, v, v, 0, out.data(), 16), vekErrBadArg);
  EXPECT_EQ(vekrSHBand_32f(v, v, v, -1, out.data(), 16), vekErrBadArg);
  EXPECT_EQ(vekrSHBand_32f(v, v, v, 1, out.data(), 0xFFFFFFFFu), vekErrBadArg);
  EXPECT_EQ(vekrSHBand_32f(v, v, v, 0, out.data(), 15), vekErrSize);
  EXPECT_EQ(vekrSHBand_32f(v, v, v, -1, out.data(), 15), vekOk);
  EXPECT_EQ(vekrSHBand_32f(v, v, v, INT32_MIN, out.data(), 0), vekOk);
  EXPECT_EQ(out, std::vector<float>(31, 3.0f));
}

}  // namespace
