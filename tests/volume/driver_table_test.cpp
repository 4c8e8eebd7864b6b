// The names under which remap's and warp's drivers stand in their tables.
#include "volume/driver_table.h"

#include <gtest/gtest.h>

#include "prremap/remap_kernels.h"
#include "prwarpa/warp_kernels.h"

#define DRIVERS(unit, Call, N, L, C0, C1, C2, C3) VEKR_KERNELS(unit, VolumeDriver<Call> N, L, C0, C1, C2, C3;)
// clang-format off
DRIVERS(remap_kernels, RemapCall, ownrRemap8N, ownrRemap8L, ownrRemap8C0, ownrRemap8C1, ownrRemap8C2, ownrRemap8C3)
DRIVERS(remap_kernels, RemapCall, ownrRemap16N, ownrRemap16L, ownrRemap16C0, ownrRemap16C1, ownrRemap16C2, ownrRemap16C3)
DRIVERS(remap_kernels, RemapCall, ownrRemap32N, ownrRemap32L, ownrRemap32C0, ownrRemap32C1, ownrRemap32C2, ownrRemap32C3)
DRIVERS(warp_kernels, WarpCall, ownrWarpAffine8N, ownrWarpAffine8L,
        ownrWarpAffine8C0, ownrWarpAffine8C1, ownrWarpAffine8C2, ownrWarpAffine8C3)
DRIVERS(warp_kernels, WarpCall, ownrWarpAffine16N, ownrWarpAffine16L,
        ownrWarpAffine16C0, ownrWarpAffine16C1, ownrWarpAffine16C2, ownrWarpAffine16C3)
DRIVERS(warp_kernels, WarpCall, ownrWarpAffine32N, ownrWarpAffine32L,
        ownrWarpAffine32C0, ownrWarpAffine32C1, ownrWarpAffine32C2, ownrWarpAffine32C3)
// clang-format on

namespace {

using namespace vekr;

// Slots 0 to 7 of a row. No two members are the same function.
template <class Call>
void expectRow(const InterpolationTable<VolumeDriver<Call>> &row,
               std::initializer_list<VolumeDriver<Call> *> members) {
  ASSERT_EQ(std::size(row.slots), members.size());
  const auto *const expected = members.begin();
  for (size_t slot = 0; slot < members.size(); ++slot) EXPECT_EQ(row.slots[slot], expected[slot]) << slot;
}

#define EXPECT_TABLE(space, ...)                                                                            \
  {                                                                                                         \
    const auto &remap = space::ownrRemapInter.rows;                                                         \
    const auto &warp = space::ownrWarpAffineInter.rows;                                                     \
    expectRow<RemapCall>(remap[0],                                                                          \
                         {nullptr, space::ownrRemap8N, space::ownrRemap8L, nullptr, space::ownrRemap8C0,    \
                          space::ownrRemap8C1, space::ownrRemap8C2, space::ownrRemap8C3});                  \
    expectRow<RemapCall>(remap[1],                                                                          \
                         {nullptr, space::ownrRemap16N, space::ownrRemap16L, nullptr, space::ownrRemap16C0, \
                          space::ownrRemap16C1, space::ownrRemap16C2, space::ownrRemap16C3});               \
    expectRow<RemapCall>(remap[2],                                                                          \
                         {nullptr, space::ownrRemap32N, space::ownrRemap32L, nullptr, space::ownrRemap32C0, \
                          space::ownrRemap32C1, space::ownrRemap32C2, space::ownrRemap32C3});               \
    expectRow<WarpCall>(warp[0], {nullptr, space::ownrWarpAffine8N, space::ownrWarpAffine8L, nullptr,       \
                                  space::ownrWarpAffine8C0, space::ownrWarpAffine8C1,                       \
                                  space::ownrWarpAffine8C2, space::ownrWarpAffine8C3});                     \
    expectRow<WarpCall>(warp[1], {nullptr, space::ownrWarpAffine16N, space::ownrWarpAffine16L, nullptr,     \
                                  space::ownrWarpAffine16C0, space::ownrWarpAffine16C1,                     \
                                  space::ownrWarpAffine16C2, space::ownrWarpAffine16C3});                   \
    expectRow<WarpCall>(warp[2], {nullptr, space::ownrWarpAffine32N, space::ownrWarpAffine32L, nullptr,     \
                                  space::ownrWarpAffine32C0, space::ownrWarpAffine32C1,                     \
                                  space::ownrWarpAffine32C2, space::ownrWarpAffine32C3});                   \
  }

TEST(DriverTables, HaveEachMemberAtItsVoxelTypeAndCode){VEKR_SETS(EXPECT_TABLE)}

TEST(DriverTables, AreAskedByKind) {
#define EXPECT_DRIVERS(set, ...)                                                                       \
  EXPECT_EQ(set::ownrRemapInter.driver<uint16_t>(kindOf<vekrInterNearest>()), set::ownrRemap16N);      \
  EXPECT_EQ(set::ownrRemapInter.driver<uint8_t>(kindOf<vekrInterCubicMitchell>()), set::ownrRemap8C3); \
  EXPECT_EQ(set::ownrWarpAffineInter.driver<float>(kindOf<vekrInterLinear>()), set::ownrWarpAffine32L);
  VEKR_SETS(EXPECT_DRIVERS)
#undef EXPECT_DRIVERS
}

TEST(DriverTables, ADriversNameEndsInItsBitsAndItsKind) {
  EXPECT_TRUE(isDriverName("ownrRemap8C0", 1, "C0"));
  EXPECT_TRUE(isDriverName("ownrRemap32N", 4, "N"));
  EXPECT_FALSE(isDriverName("ownrRemap8C0", 2, "C0"));
  EXPECT_FALSE(isDriverName("ownrRemap8C0", 1, "C1"));
  EXPECT_FALSE(isDriverName("C0", 1, "C0"));
}

// Codes that don't exist don't compile where they are known then.
template <int32_t code>
concept Compiles = requires {
  kindOf<code>();
};
static_assert(Compiles<vekrInterNearest> && Compiles<vekrInterCubicMitchell>);
static_assert(!Compiles<0> && !Compiles<3> && !Compiles<8> && !Compiles<-1>);

}  // namespace
