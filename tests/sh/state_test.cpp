// Size, layout and tables of the state.
#include <cstddef>

#include "tests/sh/support.h"

using namespace sh_test;

namespace {

// A state at an address of 64 * n + offset.
struct Placed {
  Guarded<unsigned char> bytes;
  uint32_t maxBand;
  Placed(uint32_t highest, int32_t type, size_t offset)
      : bytes(State::sizeFor(highest, type), offset), maxBand(highest) {
    for (unsigned char &b : bytes) b = 0xCD;
    status = vekrSHInit_32f(get(), highest, type);
  }
  VekrSHState *get() { return reinterpret_cast<VekrSHState *>(bytes.data()); }
  VekrSHState fields() {
    VekrSHState copy;
    std::memcpy(&copy, bytes.data(), sizeof copy);
    return copy;
  }
  size_t offsetOf(const void *p) {
    return static_cast<size_t>(static_cast<const unsigned char *>(p) - bytes.data());
  }
  VekStatus status;
};

TEST(State, FieldsLieWhereCallersExpectThem) {
  EXPECT_EQ(offsetof(VekrSHState, maxBand), 0u);
  EXPECT_EQ(offsetof(VekrSHState, type), 4u);
  EXPECT_EQ(offsetof(VekrSHState, pRecurA), 8u);
  EXPECT_EQ(offsetof(VekrSHState, pRecurB), 16u);
  EXPECT_EQ(sizeof(VekrSHState), 24u);
}

TEST(State, SizeOfADirectStateIsSixteen) {
  for (uint32_t maxBand = 0; maxBand <= 15; ++maxBand) EXPECT_EQ(State::sizeFor(maxBand, vekrSHDirect), 16u);
}

TEST(State, SizeOfARecurrentStatePaysForTablesAndRoundings) {
  EXPECT_EQ(State::sizeFor(0, vekrSHRecurrent), 64u);
  EXPECT_EQ(State::sizeFor(1, vekrSHRecurrent), 64u);
  EXPECT_EQ(State::sizeFor(2, vekrSHRecurrent), 96u);
  EXPECT_EQ(State::sizeFor(15, vekrSHRecurrent), 2u * 544u + 32u);
  EXPECT_EQ(State::sizeFor(16, vekrSHRecurrent), 2u * 624u + 32u);
  for (uint32_t l = 0; l < 300; ++l) {
    const uint32_t entries = (l + 1) * (l + 2) / 2;
    EXPECT_EQ(State::sizeFor(l, vekrSHRecurrent), 2 * ((4 * entries + 15) / 16 * 16) + 32) << l;
  }
}

TEST(State, SizeChecksPointerThenBandThenType) {
  uint32_t size = 77;
  EXPECT_EQ(vekrSHGetSize_32f(16, vekrSHDirect, nullptr), vekErrNullPtr);
  EXPECT_EQ(vekrSHGetSize_32f(16, 2, nullptr), vekErrNullPtr);
  EXPECT_EQ(vekrSHGetSize_32f(16, vekrSHDirect, &size), vekErrSize);
  EXPECT_EQ(vekrSHGetSize_32f(0xFFFFFFFFu, vekrSHDirect, &size), vekErrSize);
  for (int32_t type : {2, -1, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(vekrSHGetSize_32f(3, type, &size), vekErrBadArg);
    EXPECT_EQ(vekrSHGetSize_32f(16, type, &size), vekErrBadArg);
  }
  EXPECT_EQ(size, 77u);
  EXPECT_EQ(vekrSHGetSize_32f(16, vekrSHRecurrent, &size), vekOk);
}

TEST(State, InitChecksPointerThenBandThenTypeAndTouchesNothing) {
  std::vector<unsigned char> bytes(4096, 0xCD);
  const std::vector<unsigned char> before = bytes;
  auto *state = reinterpret_cast<VekrSHState *>(bytes.data());
  EXPECT_EQ(vekrSHInit_32f(nullptr, 16, 2), vekErrNullPtr);
  EXPECT_EQ(vekrSHInit_32f(nullptr, 3, vekrSHDirect), vekErrNullPtr);
  EXPECT_EQ(vekrSHInit_32f(state, 16, vekrSHDirect), vekErrSize);
  EXPECT_EQ(vekrSHInit_32f(state, 16, 2), vekErrBadArg);
  EXPECT_EQ(vekrSHInit_32f(state, 3, -1), vekErrBadArg);
  EXPECT_EQ(bytes, before);
}

TEST(State, DirectStateIsSixteenBytesAndNoMore) {
  for (size_t gap : {0, 1, 3, 8}) {
    PageEnd<unsigned char> block(16, gap);
    auto *state = reinterpret_cast<VekrSHState *>(block.data());
    std::memset(block.data(), 0xCD, 16);
    ASSERT_EQ(vekrSHInit_32f(state, 5, vekrSHDirect), vekOk);
    const unsigned char expected[16] = {5};
    EXPECT_EQ(std::memcmp(block.data(), expected, 16), 0);
    const float v = 0.5f;
    float out[36], coefficients[36] = {}, value = 0.0f;
    EXPECT_EQ(vekrSH_32f(&v, &v, &v, 1, out, 5, state), vekOk);
    EXPECT_TRUE(sameArrays(out, twinBlock(vekrSHDirect, v, v, v, 5), 36));
    EXPECT_EQ(vekrSHTFwd_32f_C1I(&v, &v, &v, &v, 1, coefficients, 5, state), vekOk);
    EXPECT_EQ(vekrSHTInv_32f_C1(coefficients, 5, &v, &v, &v, &value, 1, state), vekOk);
  }
}

// At every address the tables start on 16-byte boundaries behind the fields, and nothing is written beyond the size:
// at some odd addresses the last entries of table B, which are zero and never read, would lie there.
TEST(State, RecurrentStateMayLieAtAnyAddress) {
  for (uint32_t maxBand = 0; maxBand <= 20; ++maxBand) {
    const reference::Tables expected = reference::recurrenceTables(static_cast<int>(maxBand));
    const size_t entries = (maxBand + 1) * (maxBand + 2) / 2;
    for (size_t offset = 0; offset < 16; ++offset) {
      Placed placed(maxBand, vekrSHRecurrent, offset);
      ASSERT_EQ(placed.status, vekOk);
      EXPECT_TRUE(placed.bytes.intact()) << maxBand << " at " << offset;
      const VekrSHState fields = placed.fields();
      EXPECT_EQ(fields.maxBand, maxBand);
      EXPECT_EQ(fields.type, vekrSHRecurrent);
      const size_t a = placed.offsetOf(fields.pRecurA), b = placed.offsetOf(fields.pRecurB);
      EXPECT_EQ(a, (offset + 24 + 15) / 16 * 16 - offset);
      EXPECT_EQ(b, (offset + a + 4 * entries + 15) / 16 * 16 - offset);
      EXPECT_TRUE(sameArrays(fields.pRecurA, expected.a, expected.a.size())) << maxBand;
      // The last two entries may fall outside.
      const size_t inside = std::min(entries, (placed.bytes.size() - b) / sizeof(float));
      EXPECT_GE(inside + 2, entries);
      EXPECT_TRUE(sameArrays(fields.pRecurB, expected.b, inside)) << maxBand;
      for (size_t i = 24; i < a; ++i) ASSERT_EQ(placed.bytes[i], 0) << "padding in front of the tables";
      for (size_t i = a + 4 * expected.a.size(); i < b; ++i)
        ASSERT_EQ(placed.bytes[i], 0) << "between the tables";
      for (size_t i = b + 4 * entries; i < placed.bytes.size(); ++i)
        ASSERT_EQ(placed.bytes[i], 0) << "behind them";
    }
  }
}

TEST(State, RecurrentStateAtAnOddAddressWorks) {
  const Directions d = directionsOf(Kind::unit, 9, 3);
  for (size_t offset = 0; offset < 16; ++offset) {
    Placed placed(15, vekrSHRecurrent, offset);
    const std::vector<unsigned char> before(placed.bytes.begin(), placed.bytes.end());
    std::vector<float> blocks(9 * 256);
    EXPECT_EQ(vekrSH_32f(d.x.data(), d.y.data(), d.z.data(), 9, blocks.data(), 15, placed.get()), vekOk);
    for (size_t i = 0; i < 9; ++i) {
      EXPECT_TRUE(
          sameArrays(blocks.data() + i * 256, twinBlock(vekrSHRecurrent, d.x[i], d.y[i], d.z[i], 15), 256));
    }
    EXPECT_TRUE(std::equal(before.begin(), before.end(), placed.bytes.begin()));
  }
}

// A few entries by their value, independent of the formulas' precision.
TEST(State, TablesHoldTheRecurrence) {
  Placed placed(15, vekrSHRecurrent, 0);
  const VekrSHState fields = placed.fields();
  const float *a = fields.pRecurA, *b = fields.pRecurB;
  EXPECT_EQ(vekr_test::bitsOf(a[0]), 0x3E906EBBu);
  EXPECT_FLOAT_EQ(a[1], 0.48860251f);
  EXPECT_EQ(a[2], -a[1]);
  EXPECT_FLOAT_EQ(a[3], static_cast<float>(std::sqrt(15.0) / 2.0));
  EXPECT_FLOAT_EQ(a[4], static_cast<float>(std::sqrt(5.0)));
  EXPECT_FLOAT_EQ(a[5], static_cast<float>(-std::sqrt(1.25)));
  EXPECT_FLOAT_EQ(b[3], static_cast<float>(-0.5 * std::sqrt(5.0)));
  EXPECT_FLOAT_EQ(b[7], static_cast<float>(-std::sqrt(7.0 * 3.0 / (3.0 * 8.0))));
  for (uint32_t l = 0; l <= 15; ++l) {
    // Never written: a plain zero each.
    EXPECT_EQ(vekr_test::bitsOf(b[l * (l + 1) / 2 + l]), 0u);
    EXPECT_EQ(vekr_test::bitsOf(b[l * (l + 1) / 2 + (l > 0 ? l - 1 : 0)]), 0u);
  }
}

TEST(State, BandZeroRecurrentHoldsThreeValues) {
  Placed placed(0, vekrSHRecurrent, 0);
  EXPECT_EQ(placed.bytes.size(), 64u);
  const float *a = placed.fields().pRecurA;
  const float expected[4] = {reference::recurrenceTables(0).a[0], reference::recurrenceTables(0).a[1],
                             reference::recurrenceTables(0).a[2], 0.0f};
  EXPECT_TRUE(sameArrays(a, expected, 4));
}

TEST(State, TablesStayExactForBandsThatNobodyEvaluates) {
  Placed placed(200, vekrSHRecurrent, 0);
  ASSERT_EQ(placed.status, vekOk);
  EXPECT_TRUE(placed.bytes.intact());
  const reference::Tables expected = reference::recurrenceTables(200);
  EXPECT_TRUE(sameArrays(placed.fields().pRecurA, expected.a, expected.a.size()));
  EXPECT_TRUE(sameArrays(placed.fields().pRecurB, expected.b, expected.b.size()));
}

}  // namespace
