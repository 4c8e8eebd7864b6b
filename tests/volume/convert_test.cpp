#include "volume/convert.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "tests/support/arrays.h"
#include "tests/support/values.h"

namespace {

using namespace vekr::VEKR_ISA;
using vekr_test::PageEnd;

template <int N, class Voxel>
void expectLoadsAndStoresStayInTheirVoxels(Voxel largest) {
  PageEnd<Voxel> voxels(N), out(N);
  for (int i = 0; i < N; ++i) voxels[i] = static_cast<Voxel>(largest - static_cast<Voxel>(i));
  float widened[N];
  loadVoxels<N>(voxels.data()).store(widened);
  for (int i = 0; i < N; ++i) EXPECT_EQ(widened[i], static_cast<float>(voxels[i]));
  if constexpr (sizeof(Voxel) < 4) {
    storeSaturated(truncated(Float<N>::load(widened)), out.data());
    for (int i = 0; i < N; ++i) EXPECT_EQ(out[i], voxels[i]);
    storeLow(truncated(Float<N>::load(widened)) + Int<N>(0x30000), out.data());
    for (int i = 0; i < N; ++i) EXPECT_EQ(out[i], voxels[i]);
  }
}

TEST(Convert, LoadsAndStoresStayInTheirVoxels) {
  expectLoadsAndStoresStayInTheirVoxels<1, uint8_t>(255);
  expectLoadsAndStoresStayInTheirVoxels<4, uint8_t>(255);
  expectLoadsAndStoresStayInTheirVoxels<1, uint16_t>(65535);
  expectLoadsAndStoresStayInTheirVoxels<4, uint16_t>(65535);
  expectLoadsAndStoresStayInTheirVoxels<1, float>(65535);
  expectLoadsAndStoresStayInTheirVoxels<4, float>(65535);
}

template <int N>
void expectRoundings(float r, int32_t nearest, int32_t border, int32_t voxel8, int32_t voxel16) {
  int32_t got[N];
  rounded(Float<N>(r)).store(got);
  EXPECT_EQ(got[N - 1], nearest) << r;
  borderRounded(Float<N>(r)).store(got);
  EXPECT_EQ(got[N - 1], border) << r;
  uint8_t bytes[N];
  storeSaturated(rounded(Float<N>(r)), bytes);
  EXPECT_EQ(bytes[N - 1], voxel8) << r;
  uint16_t words[N];
  storeSaturated(rounded(Float<N>(r)), words);
  EXPECT_EQ(words[N - 1], voxel16) << r;
}

TEST(Convert, TheTwoRoundingsDifferOnTies) {
  const struct {
    float r;
    int32_t nearest, border, voxel8, voxel16;
  } cases[] = {{2.5f, 2, 3, 2, 2},
               {3.5f, 4, 4, 4, 4},
               {-0.5f, 0, 0, 0, 0},
               {-1.5f, -2, 0, 0, 0},
               {-1.6f, -2, -1, 0, 0},
               {0.49999997f, 0, 1, 0, 0},  // 0.49999997 + 0.5000001 is above 1 in double
               {0.4999998f, 0, 0, 0, 0},
               {254.5f, 254, 255, 254, 254},
               {255.5f, 256, 256, 255, 256},
               {-300.0f, -300, -299, 0, 0},
               {65534.5f, 65534, 65535, 255, 65534},
               {70000.0f, 70000, 70000, 255, 65535}};
  for (const auto &c : cases) {
    expectRoundings<1>(c.r, c.nearest, c.border, c.voxel8, c.voxel16);
    expectRoundings<4>(c.r, c.nearest, c.border, c.voxel8, c.voxel16);
  }
}

}  // namespace
