// Evaluation of all bands against the scalar twin, and what its door refuses.
#include "tests/sh/support.h"

using namespace sh_test;

namespace {

void expectTwinBlocks(int type, const Directions &d, uint32_t highest, size_t offset) {
  State state(kBands, type);
  const size_t count = valuesUpTo(highest);
  Guarded<float> blocks(count * d.x.size(), offset);
  ASSERT_EQ(vekrSH_32f(d.x.data(), d.y.data(), d.z.data(), d.count(), blocks.data(), highest, state.get()),
            vekOk);
  EXPECT_TRUE(blocks.intact());
  for (size_t i = 0; i < d.x.size(); ++i) {
    const std::vector<float> expected = twinBlock(type, d.x[i], d.y[i], d.z[i], highest);
    ASSERT_TRUE(sameArrays(blocks.data() + i * count, expected, count))
        << "type " << type << ", bands to " << highest << ", direction " << i << ": " << d.x[i] << ' '
        << d.y[i] << ' ' << d.z[i];
  }
}

TEST(Basis, EqualsTheTwinAtEveryHighestBandAndLength) {
  for (int type : kTypes) {
    for (uint32_t highest = 0; highest <= kBands; ++highest) {
      for (size_t count : {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 27}) {
        expectTwinBlocks(type,
                         directionsOf(count % 2 != 0 ? Kind::unit : Kind::anyLength, count, 7 + highest),
                         highest, 0);
      }
    }
  }
}

TEST(Basis, EqualsTheTwinWithNanInfinityZerosAndDenormals) {
  for (int type : kTypes) {
    for (uint32_t highest : {0u, 1u, 2u, 3u, 4u, 7u, 11u, 15u}) {
      expectTwinBlocks(type, directionsOf(Kind::awkward, 200, highest), highest, 4);
    }
  }
}

// Every combination of signs of zero, and of zeros with ordinary values, at every band: forms that differ only in the
// sign of a vanishing value are told apart.
TEST(Basis, KeepsTheSignOfEveryZero) {
  constexpr float kParts[] = {0.0f, -0.0f, 1.0f, -1.0f, 0.5f};
  Directions d(125);
  size_t i = 0;
  for (float x : kParts) {
    for (float y : kParts) {
      for (float z : kParts) d.set(i++, x, y, z);
    }
  }
  for (int type : kTypes) {
    for (uint32_t highest = 0; highest <= kBands; ++highest) expectTwinBlocks(type, d, highest, 0);
  }
}

TEST(Basis, SignsOfZeroFollowTheWrittenForms) {
  const auto at = [](float x, float y, float z, int l, int m) {
    return evaluated(vekrSHDirect, x, y, z, kBands)[indexOf(l, m)];
  };
  EXPECT_TRUE(same(at(0, 0, 1, 1, -1), -0.0f));  // -c y
  EXPECT_TRUE(same(at(0, 0, 1, 2, -2), 0.0f));   // c x y
  EXPECT_TRUE(same(at(0, 0, 1, 3, -3), 0.0f));   // c (y^3 - 3 x^2 y)
  EXPECT_TRUE(same(at(0, 0, 1, 3, 3), -0.0f));   // -c (x^3 - 3 x y^2)
  EXPECT_TRUE(same(at(0, 0, 1, 4, -3), -0.0f));  // -c z (3 x^2 y - y^3)
}

TEST(Basis, TakesArraysAtAnyAddress) {
  for (int type : kTypes) {
    for (uint32_t highest : {1u, 2u, 3u, 5u, 7u, 9u, 11u, 15u}) {
      for (size_t offset = 0; offset < 64; offset += 4) {
        expectTwinBlocks(type, directionsOf(Kind::unit, 19, 3, offset), highest, 60 - offset);
      }
    }
  }
}

TEST(Basis, ReadsAndWritesNothingBeyondItsArrays) {
  for (int type : kTypes) {
    State state(kBands, type);
    for (uint32_t highest : {0u, 1u, 2u, 3u, 7u, 15u}) {
      for (size_t count : {1, 3, 4, 7, 8, 11, 13}) {
        PageEnd<float> x(count), y(count), z(count), blocks(count * valuesUpTo(highest));
        for (size_t i = 0; i < count; ++i) x[i] = y[i] = z[i] = 0.5f;
        EXPECT_EQ(vekrSH_32f(x.data(), y.data(), z.data(), static_cast<int32_t>(count), blocks.data(),
                             highest, state.get()),
                  vekOk);
      }
    }
  }
}

TEST(Basis, LimitsBandsByTheStateAndNotItsSize) {
  for (int type : kTypes) {
    State state(7, type);
    const float v[3] = {0.25f, -0.5f, 0.75f};
    std::vector<float> block(64, 3.0f);
    EXPECT_EQ(vekrSH_32f(v, v + 1, v + 2, 1, block.data(), 8, state.get()), vekErrBadArg);
    EXPECT_EQ(vekrSH_32f(v, v + 1, v + 2, 1, block.data(), 0xFFFFFFFFu, state.get()), vekErrBadArg);
    EXPECT_EQ(block, std::vector<float>(64, 3.0f));
    for (uint32_t highest = 0; highest <= 7; ++highest) {
      EXPECT_EQ(vekrSH_32f(v, v + 1, v + 2, 1, block.data(), highest, state.get()), vekOk);
      EXPECT_TRUE(sameArrays(block, twinBlock(type, v[0], v[1], v[2], highest), valuesUpTo(highest)));
    }
  }
}

TEST(Basis, StopsAtBandFifteenWhateverTheRecurrentStateAdmits) {
  State state(20, vekrSHRecurrent);
  const float v[3] = {0.25f, -0.5f, 0.75f};
  std::vector<float> block(441, 3.0f);
  EXPECT_EQ(vekrSH_32f(v, v + 1, v + 2, 1, block.data(), 16, state.get()), vekErrBadArg);
  EXPECT_EQ(vekrSH_32f(v, v + 1, v + 2, -1, block.data(), 16, state.get()), vekErrBadArg);
  EXPECT_EQ(vekrSH_32f(v, v + 1, v + 2, 1, block.data(), 21, state.get()), vekErrBadArg);
  EXPECT_EQ(block, std::vector<float>(441, 3.0f));
  EXPECT_EQ(vekrSH_32f(v, v + 1, v + 2, 1, block.data(), 15, state.get()), vekOk);
  EXPECT_TRUE(sameArrays(block, twinBlock(vekrSHRecurrent, v[0], v[1], v[2], 15), 256));
}

TEST(Basis, ChecksPointersThenCountThenBandThenType) {
  State state(4, vekrSHDirect);
  State bad(4, vekrSHDirect);
  bad.get()->type = 2;
  const float v[1] = {0.5f};
  std::vector<float> block(25, 3.0f);
  float *out = block.data();
  EXPECT_EQ(vekrSH_32f(nullptr, v, v, 0, out, 16, bad.get()), vekErrNullPtr);
  EXPECT_EQ(vekrSH_32f(v, nullptr, v, 0, out, 16, bad.get()), vekErrNullPtr);
  EXPECT_EQ(vekrSH_32f(v, v, nullptr, 0, out, 16, bad.get()), vekErrNullPtr);
  EXPECT_EQ(vekrSH_32f(v, v, v, 0, nullptr, 16, bad.get()), vekErrNullPtr);
  EXPECT_EQ(vekrSH_32f(v, v, v, 0, out, 16, nullptr), vekErrNullPtr);
  EXPECT_EQ(vekrSH_32f(v, v, v, 0, out, 5, bad.get()), vekErrSize);
  EXPECT_EQ(vekrSH_32f(v, v, v, 0, out, 4, state.get()), vekErrSize);
  EXPECT_EQ(vekrSH_32f(v, v, v, 1, out, 5, bad.get()), vekErrBadArg);
  EXPECT_EQ(vekrSH_32f(v, v, v, 1, out, 4, bad.get()), vekErrBadArg);
  EXPECT_EQ(vekrSH_32f(v, v, v, -1, out, 5, state.get()), vekErrBadArg);
  EXPECT_EQ(vekrSH_32f(v, v, v, -1, out, 4, bad.get()), vekErrBadArg);
  EXPECT_EQ(vekrSH_32f(v, v, v, -1, out, 4, state.get()), vekOk);
  EXPECT_EQ(vekrSH_32f(v, v, v, INT32_MIN, out, 4, state.get()), vekOk);
  EXPECT_EQ(block, std::vector<float>(25, 3.0f));
  EXPECT_EQ(vekrSH_32f(v, v, v, 1, out, 4, state.get()), vekOk);
}

TEST(Basis, NeverWritesTheStateOrTheDirections) {
  for (int type : kTypes) {
    State state(kBands, type);
    const std::vector<unsigned char> before(state.bytes().begin(), state.bytes().end());
    Directions d = directionsOf(Kind::unit, 21, 4);
    const std::vector<float> x(d.x.begin(), d.x.end());
    std::vector<float> blocks(21 * 256);
    EXPECT_EQ(vekrSH_32f(d.x.data(), d.y.data(), d.z.data(), 21, blocks.data(), 15, state.get()), vekOk);
    EXPECT_TRUE(std::equal(before.begin(), before.end(), state.bytes().begin()));
    EXPECT_TRUE(sameArrays(d.x, x, 21));
    EXPECT_TRUE(d.intact());
  }
}

TEST(Basis, BandZeroIsOneStoredConstantEvenForNan) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (int type : kTypes) {
    EXPECT_EQ(vekr_test::bitsOf(evaluated(type, nan, nan, nan, 0)[0]), 0x3E906EBBu);
    EXPECT_EQ(vekr_test::bitsOf(evaluated(type, nan, nan, nan, 15)[0]), 0x3E906EBBu);
    EXPECT_TRUE(std::isnan(evaluated(type, nan, nan, nan, 15)[255]));
  }
}

}  // namespace
