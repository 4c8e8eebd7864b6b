// Forward and inverse transforms against the scalar twin.
#include "tests/sh/support.h"

using namespace sh_test;

namespace {

constexpr uint32_t kHighest[] = {0, 1, 2, 3, 4, 5, 6, 7, 10, 12, 15};

std::vector<std::vector<float>> twinBlocks(int type, const Directions &d, uint32_t highest) {
  std::vector<std::vector<float>> blocks;
  for (size_t i = 0; i < d.x.size(); ++i) blocks.push_back(twinBlock(type, d.x[i], d.y[i], d.z[i], highest));
  return blocks;
}

// Three arrays as a list.
struct Planes {
  Guarded<float> plane[3];
  Planes(size_t count, size_t offset0, size_t offset1, size_t offset2)
      : plane{Guarded<float>(count, offset0), Guarded<float>(count, offset1),
              Guarded<float>(count, offset2)} {}
  explicit Planes(size_t count) : Planes(count, 0, 4, 8) {}
  void fill(Random &random, Kind kind) {
    for (auto &p : plane) {
      for (float &v : p) v = kind == Kind::awkward ? random.awkward() : random.within(-2.0f, 2.0f);
    }
  }
  std::vector<float *> list() { return {plane[0].data(), plane[1].data(), plane[2].data()}; }
  std::vector<const float *> constList() { return {plane[0].data(), plane[1].data(), plane[2].data()}; }
  bool intact() const { return plane[0].intact() && plane[1].intact() && plane[2].intact(); }
};

// All three forward forms add the same sums to what is there.
void expectForward(int type, uint32_t highest, Kind kind, size_t count, uint32_t seed) {
  State state(kBands, type);
  const Directions d = directionsOf(kind, count, seed, 4 * (seed % 4));
  const auto blocks = twinBlocks(type, d, highest);
  const size_t values = valuesUpTo(highest);
  Random random(seed);
  Planes samples(count), before(values);
  samples.fill(random, kind);
  before.fill(random, kind);
  // Samples that take a short cut.
  for (size_t i = 0; i < count; i += 5) {
    samples.plane[0][i] = 0.0f;
    samples.plane[1][i] = -0.0f;
    samples.plane[2][i] = 1.0f;
  }
  for (size_t k = 0; k < values; k += 3) before.plane[1][k] = -0.0f;

  Planes expected(values);
  Guarded<float> interleaved(3 * count, 4);
  for (size_t c = 0; c < 3; ++c) {
    for (size_t k = 0; k < values; ++k) expected.plane[c][k] = before.plane[c][k];
    for (size_t i = 0; i < count; ++i) {
      reference::project(blocks[i], samples.plane[c][i], expected.plane[c].data());
      interleaved[3 * i + c] = samples.plane[c][i];
    }
  }

  const auto fresh = [&] {
    Planes sums(values, 8, 0, 4);
    for (size_t c = 0; c < 3; ++c) {
      for (size_t k = 0; k < values; ++k) sums.plane[c][k] = before.plane[c][k];
    }
    return sums;
  };
  const auto check = [&](const Planes &sums, size_t channels, const char *form) {
    EXPECT_TRUE(sums.intact());
    for (size_t c = 0; c < channels; ++c) {
      ASSERT_TRUE(sameArrays(sums.plane[c], expected.plane[c], values))
          << form << ", type " << type << ", bands to " << highest << ", " << count << " directions, channel "
          << c;
    }
  };
  const float *x = d.x.data(), *y = d.y.data(), *z = d.z.data();
  const int32_t n = d.count();
  {
    Planes sums = fresh();
    for (size_t c = 0; c < 3; ++c) {
      ASSERT_EQ(
          vekrSHTFwd_32f_C1I(x, y, z, samples.plane[c].data(), n, sums.plane[c].data(), highest, state.get()),
          vekOk);
    }
    check(sums, 3, "C1I");
  }
  {
    Planes sums = fresh();
    const auto list = sums.list();
    ASSERT_EQ(vekrSHTFwd_32f_C3P3I(x, y, z, interleaved.data(), n, list.data(), highest, state.get()), vekOk);
    check(sums, 3, "C3P3I");
  }
  {
    Planes sums = fresh();
    const auto list = sums.list();
    const auto sampleList = samples.constList();
    ASSERT_EQ(vekrSHTFwd_32f_P3I(x, y, z, sampleList.data(), n, list.data(), highest, state.get()), vekOk);
    check(sums, 3, "P3I");
  }
  EXPECT_TRUE(d.intact() && samples.intact() && interleaved.intact());
}

TEST(Forward, AddsInOrderOfTheDirections) {
  for (int type : kTypes) {
    for (uint32_t highest : kHighest) {
      for (size_t count : {1, 3, 4, 7, 8, 9, 16, 29})
        expectForward(type, highest, Kind::unit, count, highest + 1);
    }
  }
}

TEST(Forward, TakesAwkwardSamplesAndDirections) {
  for (int type : kTypes) {
    for (uint32_t highest : kHighest) expectForward(type, highest, Kind::awkward, 61, highest + 2);
  }
}

TEST(Forward, ZeroSampleAddsPlusZeroEvenToNanFunctions) {
  for (int type : kTypes) {
    State state(3, type);
    const float nan = std::numeric_limits<float>::quiet_NaN(), x[2] = {nan, 0.5f}, y[2] = {0.5f, nan};
    const float samples[2] = {0.0f, -0.0f};
    std::vector<float> sums(16, -0.0f);
    sums[3] = 2.0f;
    EXPECT_EQ(vekrSHTFwd_32f_C1I(x, y, x, samples, 2, sums.data(), 3, state.get()), vekOk);
    for (size_t k = 0; k < 16; ++k) EXPECT_TRUE(same(sums[k], k == 3 ? 2.0f : 0.0f)) << k;
  }
}

TEST(Forward, NanSampleIsNoShortCut) {
  State state(1, vekrSHDirect);
  const float v = 0.5f, nan = std::numeric_limits<float>::quiet_NaN();
  std::vector<float> sums(4, 1.0f);
  EXPECT_EQ(vekrSHTFwd_32f_C1I(&v, &v, &v, &nan, 1, sums.data(), 1, state.get()), vekOk);
  for (float s : sums) EXPECT_TRUE(std::isnan(s));
}

TEST(Forward, SumsBothSetsOfSamplesWhenCalledTwice) {
  State state(kBands, vekrSHRecurrent);
  const Directions d = directionsOf(Kind::unit, 20, 9);
  std::vector<float> samples(20, 0.75f), twice(256), once(256);
  const auto add = [&](size_t first, size_t count, std::vector<float> &sums) {
    EXPECT_EQ(
        vekrSHTFwd_32f_C1I(d.x.data() + first, d.y.data() + first, d.z.data() + first, samples.data() + first,
                           static_cast<int32_t>(count), sums.data(), 15, state.get()),
        vekOk);
  };
  add(0, 20, once);
  add(0, 11, twice);
  add(11, 9, twice);
  EXPECT_TRUE(sameArrays(twice, once, 256));
}

// Channels that share one array, or parts of it, take turns at every direction.
TEST(Forward, ChannelsMayShareTheirCoefficients) {
  for (int type : kTypes) {
    State state(kBands, type);
    Directions d = directionsOf(Kind::unit, 21, 12);
    Random random(13);
    Planes samples(21);
    samples.fill(random, Kind::unit);
    d.x[4] = std::numeric_limits<float>::quiet_NaN();  // and no light from there
    for (auto &plane : samples.plane) plane[4] = 0.0f;
    for (size_t shift1 : {0, 1, 40, 100}) {
      for (size_t shift2 : {0, 3, 35, 36}) {
        std::vector<float> sums(200, 0.5f);
        sums[150] = -0.0f;
        std::vector<float> expected = sums;
        float *list[3] = {sums.data(), sums.data() + shift1, sums.data() + shift2};
        const auto sampleList = samples.constList();
        ASSERT_EQ(vekrSHTFwd_32f_P3I(d.x.data(), d.y.data(), d.z.data(), sampleList.data(), 21, list, 5,
                                     state.get()),
                  vekOk);
        for (size_t i = 0; i < 21; ++i) {
          const auto block = twinBlock(type, d.x[i], d.y[i], d.z[i], 5);
          reference::project(block, samples.plane[0][i], expected.data());
          reference::project(block, samples.plane[1][i], expected.data() + shift1);
          reference::project(block, samples.plane[2][i], expected.data() + shift2);
        }
        ASSERT_TRUE(sameArrays(sums, expected, 200)) << shift1 << ' ' << shift2;
      }
    }
  }
}

// All three inverse forms, for coefficients at every alignment: the order of the sum depends on it.
void expectInverse(int type, uint32_t highest, Kind kind, size_t count, uint32_t seed, size_t offset) {
  State state(kBands, type);
  const Directions d = directionsOf(kind, count, seed);
  const auto blocks = twinBlocks(type, d, highest);
  const size_t values = valuesUpTo(highest);
  Random random(seed);
  Planes coefficients(values, offset, offset + 4, 64 - offset);
  coefficients.fill(random, kind);
  Planes expected(count);
  for (size_t c = 0; c < 3; ++c) {
    for (size_t i = 0; i < count; ++i) {
      expected.plane[c][i] =
          reference::dotProduct(blocks[i].data(), coefficients.plane[c].data(), static_cast<int>(values));
    }
  }
  const auto list = coefficients.constList();
  const float *x = d.x.data(), *y = d.y.data(), *z = d.z.data();
  const int32_t n = d.count();
  const auto where = [&](const char *form, size_t c) {
    return std::string(form) + ", type " + std::to_string(type) + ", bands to " + std::to_string(highest) +
           ", " + std::to_string(count) + " directions, offset " + std::to_string(offset) + ", channel " +
           std::to_string(c);
  };
  Planes out(count, 4, 0, 12);
  for (size_t c = 0; c < 3; ++c) {
    ASSERT_EQ(vekrSHTInv_32f_C1(list[c], highest, x, y, z, out.plane[c].data(), n, state.get()), vekOk);
    ASSERT_TRUE(sameArrays(out.plane[c], expected.plane[c], count)) << where("C1", c);
  }
  EXPECT_TRUE(out.intact());
  Planes planar(count);
  const auto outList = planar.list();
  ASSERT_EQ(vekrSHTInv_32f_P3(list.data(), highest, x, y, z, outList.data(), n, state.get()), vekOk);
  Guarded<float> interleaved(3 * count, 4);
  ASSERT_EQ(vekrSHTInv_32f_P3C3(list.data(), highest, x, y, z, interleaved.data(), n, state.get()), vekOk);
  EXPECT_TRUE(planar.intact() && interleaved.intact() && coefficients.intact() && d.intact());
  for (size_t c = 0; c < 3; ++c) {
    ASSERT_TRUE(sameArrays(planar.plane[c], expected.plane[c], count)) << where("P3", c);
    for (size_t i = 0; i < count; ++i) {
      ASSERT_TRUE(same(interleaved[3 * i + c], expected.plane[c][i]))
          << where("P3C3", c) << ", direction " << i;
    }
  }
}

TEST(Inverse, SumsInTheOrderOfTheDotProductAtEveryAlignment) {
  for (int type : kTypes) {
    for (uint32_t highest = 0; highest <= kBands; ++highest) {
      for (size_t offset : {0, 4, 8, 12}) expectInverse(type, highest, Kind::unit, 19, highest + 3, offset);
    }
  }
}

TEST(Inverse, TakesEveryLength) {
  for (int type : kTypes) {
    for (size_t count : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17}) {
      for (uint32_t highest : {0u, 2u, 4u, 15u}) expectInverse(type, highest, Kind::anyLength, count, 5, 0);
    }
  }
}

TEST(Inverse, TakesAwkwardCoefficientsAndDirections) {
  for (int type : kTypes) {
    for (uint32_t highest : kHighest)
      expectInverse(type, highest, Kind::awkward, 60, highest + 4, highest % 2 * 4);
  }
}

// A sum that is told apart from every other order: large terms cancel in the first lane only.
TEST(Inverse, SumStartsFromPlusZero) {
  State state(0, vekrSHDirect);
  const float v = 0.5f, coefficient = -0.0f;
  float value = 3.0f;
  EXPECT_EQ(vekrSHTInv_32f_C1(&coefficient, 0, &v, &v, &v, &value, 1, state.get()), vekOk);
  EXPECT_TRUE(same(value, 0.0f));
}

TEST(Inverse, MayOverwriteItsDirections) {
  for (int type : kTypes) {
    State state(kBands, type);
    Directions d = directionsOf(Kind::unit, 21, 14);
    Random random(15);
    Planes coefficients(36), expected(21);
    coefficients.fill(random, Kind::unit);
    const auto list = coefficients.constList();
    const auto outList = expected.list();
    ASSERT_EQ(vekrSHTInv_32f_P3(list.data(), 5, d.x.data(), d.y.data(), d.z.data(), outList.data(), 21,
                                state.get()),
              vekOk);
    float *inPlace[3] = {d.x.data(), d.y.data(), d.z.data()};
    ASSERT_EQ(vekrSHTInv_32f_P3(list.data(), 5, d.x.data(), d.y.data(), d.z.data(), inPlace, 21, state.get()),
              vekOk);
    for (size_t c = 0; c < 3; ++c) EXPECT_TRUE(sameArrays(inPlace[c], expected.plane[c], 21));
  }
}

// A function of few bands, sampled over the sphere, is found again: equal areas in z, even steps around.
TEST(RoundTrip, ReturnsBandLimitedData) {
  constexpr size_t kAround = 40, kAlong = 400, kCount = kAround * kAlong;
  Directions d(kCount);
  for (size_t i = 0; i < kCount; ++i) {
    const double z = (static_cast<double>(i / kAround) + 0.5) / kAlong * 2.0 - 1.0,
                 r = std::sqrt(1.0 - z * z);
    const double phi = 2.0 * M_PI * static_cast<double>(i % kAround) / kAround;
    d.set(i, static_cast<float>(r * std::cos(phi)), static_cast<float>(r * std::sin(phi)),
          static_cast<float>(z));
  }
  Random random(21);
  for (int type : kTypes) {
    State state(kBands, type);
    for (uint32_t highest : {2u, 6u, 10u}) {
      const size_t values = valuesUpTo(highest);
      std::vector<float> wanted(values), found(values), samples(kCount);
      for (float &c : wanted) c = random.within(-1.0f, 1.0f);
      ASSERT_EQ(vekrSHTInv_32f_C1(wanted.data(), highest, d.x.data(), d.y.data(), d.z.data(), samples.data(),
                                  d.count(), state.get()),
                vekOk);
      for (float &s : samples) s *= static_cast<float>(4.0 * M_PI / kCount);
      ASSERT_EQ(vekrSHTFwd_32f_C1I(d.x.data(), d.y.data(), d.z.data(), samples.data(), d.count(),
                                   found.data(), highest, state.get()),
                vekOk);
      for (size_t k = 0; k < values; ++k) EXPECT_NEAR(found[k], wanted[k], 2e-3) << k;
    }
  }
}

}  // namespace
