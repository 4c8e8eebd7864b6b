// Triangle records against their scalar twin.
#include <gtest/gtest.h>

#include "reference/triangle_record_reference.h"
#include "support/arrays.h"
#include "support/ray_arrays.h"
#include "support/values.h"
#include "vekr.h"

namespace {

using namespace vekr_test;

::testing::AssertionResult sameRecords(const VekrTriangleAccel &a, const VekrTriangleAccel &b) {
  float x[10], y[10];
  std::memcpy(x, &a, 40);
  std::memcpy(y, &b, 40);
  if (a.axes != b.axes) return ::testing::AssertionFailure() << "axes " << a.axes << " instead of " << b.axes;
  return sameArrays(x + 1, y + 1, 9);
}

VekrTriangleAccel recordOf(const float (&vertices)[9]) {
  const int32_t indices[3] = {0, 1, 2};
  VekrTriangleAccel record, expected;
  std::memset(&record, 0xff, sizeof record);
  EXPECT_EQ(vekrTriangleAccelInit(&record, vertices, indices, 1), vekOk);
  vekr_reference::triangleAccelInit(&expected, vertices, indices, 1);
  EXPECT_TRUE(sameRecords(record, expected));
  return record;
}

TEST(TriangleRecord, SizeIsPublished) {
  int32_t size = 0;
  EXPECT_EQ(vekrTriangleAccelGetSize(&size), vekOk);
  EXPECT_EQ(size, 40);
  EXPECT_EQ(vekrTriangleAccelGetSize(nullptr), vekErrNullPtr);
}

TEST(TriangleRecord, IsItsTwinAtEveryCountAndAlignment) {
  Random random(1);
  for (int32_t count = 0; count <= 67; ++count) {
    for (int repeat = 0; repeat < 8; ++repeat) {
      const size_t offset = static_cast<size_t>(random.below(4) * 4);
      Guarded<float> vertices(3 * 30, offset);
      const float scales[] = {1, 1e-20f, 1e20f, 1e-38f};
      const float scale = scales[random.below(4)];
      for (float &x : vertices) {
        // Small whole numbers make ties and degenerate triangles.
        x = repeat < 3   ? scale * random.within(-2, 2)
            : repeat < 6 ? static_cast<float>(random.below(5) - 2)
                         : random.awkward();
      }
      Guarded<int32_t> indices(static_cast<size_t>(4 * count), offset ^ 4);
      for (size_t i = 0; i < indices.size(); ++i) indices[i] = i % 4 == 3 ? INT32_MAX : random.below(30);
      Guarded<VekrTriangleAccel> actual(static_cast<size_t>(count), offset);
      std::vector<VekrTriangleAccel> expected(static_cast<size_t>(count));
      ASSERT_EQ(vekrTriangleAccelInit(actual.data(), vertices.data(), indices.data(), count), vekOk);
      vekr_reference::triangleAccelInit(expected.data(), vertices.data(), indices.data(), count);
      for (size_t i = 0; i < expected.size(); ++i) {
        ASSERT_TRUE(sameRecords(actual[i], expected[i])) << "triangle " << i << " of " << count;
      }
      ASSERT_TRUE(actual.intact());
    }
  }
}

TEST(TriangleRecord, DegenerateTrianglesAreAllZeroBits) {
  for (const auto &vertices : {std::to_array<float>({1, 2, 3, 1, 2, 3, 1, 2, 3}),
                               std::to_array<float>({0, 0, 0, -1, -1, -1, 2, 2, 2}),
                               std::to_array<float>({-1, 2, 3, -1, 2, 3, 5, 6, 7}),
                               std::to_array<float>({5, 6, 7, 1, -2, 3, 1, -2, 3})}) {
    float v[9];
    std::copy(vertices.begin(), vertices.end(), v);
    const VekrTriangleAccel record = recordOf(v);
    const unsigned char zeros[40] = {};
    EXPECT_EQ(std::memcmp(&record, zeros, 40), 0);
  }
}

TEST(TriangleRecord, FlatTrianglesSayso) {
  const VekrTriangleAccel z = recordOf({0, 0, 5, 1, 0, 5, 0, 1, 5});
  EXPECT_EQ(z.axes, 33u | 0x80000000u);
  EXPECT_EQ(bitsOf(z.nu), 0u);
  EXPECT_EQ(bitsOf(z.nv), 0u);
  EXPECT_EQ(z.ck, 5.0f);
  EXPECT_EQ(recordOf({0, 5, 0, 1, 5, 0, 0, 5, 1}).axes, 18u | 0x80000000u);
  EXPECT_EQ(recordOf({5, 0, 0, 5, 1, 0, 5, 0, 1}).axes, 6u | 0x80000000u);
}

// C at the origin, A = (1, 0, a), B = (0, 1, b): N = (-a, -b, 1).
TEST(TriangleRecord, FlatnessIsStrictAndNeedsBothComponents) {
  const float at = 0x1p-52f, below = std::nextafter(at, 0.0f);
  const auto axes = [](float a, float b) { return recordOf({1, 0, a, 0, 1, b, 0, 0, 0}).axes; };
  EXPECT_EQ(axes(below, below), 33u | 0x80000000u);
  EXPECT_EQ(axes(-below, -below), 33u | 0x80000000u);
  EXPECT_EQ(axes(at, below), 33u);
  EXPECT_EQ(axes(below, at), 33u);
  EXPECT_EQ(axes(-at, below), 33u);
  EXPECT_EQ(axes(below, -at), 33u);
  EXPECT_EQ(recordOf({1, 0, at, 0, 1, below, 0, 0, 0}).nu, -at);
}

TEST(TriangleRecord, FlatnessIsAbsoluteNotRelative) {
  // N is about 1e-20 in every component: all negligible, though none dominates.
  const VekrTriangleAccel r = recordOf({1e-10f, 0, 0, 0, 1e-10f, 0, 0, 0, 1e-10f});
  EXPECT_EQ(r.axes, 6u | 0x80000000u);
  EXPECT_EQ(bitsOf(r.nu), 0u);
}

TEST(TriangleRecord, TiesGoToTheLowerAxis) {
  EXPECT_EQ(recordOf({1, 0, 0, 0, 1, 0, 0, 0, 1}).axes, 6u);
  // Normals (1, 1, 0), (1, 0, 1), (0, 1, 1) times signs: vertices C at the origin, in the plane's basis.
  EXPECT_EQ(recordOf({1, -1, 0, 0, 0, 1, 0, 0, 0}).axes, 6u);
  EXPECT_EQ(recordOf({1, 0, -1, 0, 1, 0, 0, 0, 0}).axes, 6u);
  EXPECT_EQ(recordOf({0, 1, -1, 1, 0, 0, 0, 0, 0}).axes, 18u);
  EXPECT_EQ(recordOf({0, 1, 1, 1, 0, 0, 0, 0, 0}).axes, 18u);
}

TEST(TriangleRecord, NansAreNotDegenerate) {
  const VekrTriangleAccel r = recordOf({NAN, 0, 0, 0, 1, 0, 0, 0, 1});
  EXPECT_NE(r.axes, 0u);
}

TEST(TriangleRecord, RoundsOnceFromDouble) {
  Random random(9);
  for (int i = 0; i < 20000; ++i) {
    float v[9];
    for (float &x : v) x = random.within(-1, 1);
    recordOf(v);
    if (HasFailure()) return;
  }
}

// Quotients that lie in the middle between two floats, where the last bit of the double decides: a product with the
// reciprocal falls to the other side than a division does.
TEST(TriangleRecord, QuotientsGoThroughTheReciprocal) {
  Random random(10);
  int different = 0;
  for (int i = 0; i < 10000; ++i) {
    // A - C = (0, 1, 0) and B - C = (x, y, z) with z > |x|: N = (z, 0, -x).
    const auto z = static_cast<double>(4 * (3 + 2 * random.below(24)));  // keeps 1 + low exact
    const double tie = (0x1000001 + 2.0 * random.below(0x7FFFFF)) * 0x1p-25;
    const double wanted = z * tie;
    const auto high = static_cast<float>(wanted);
    const auto low = static_cast<float>(high - wanted);
    if (static_cast<double>(high) - static_cast<double>(low) != wanted) continue;
    const bool ofNormal = i % 2 == 0;
    const float cx = ofNormal ? low : 0, cy = ofNormal ? 0 : low;
    const float corners[3][3] = {
        {cx, cy + 1, 0}, {ofNormal ? high : 0, ofNormal ? 0 : high, static_cast<float>(z)}, {cx, cy, 0}};
    // In every order of axes, with either edge: each field of the record has its turn.
    static constexpr int kOrders[6][3] = {{1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {2, 1, 0}, {1, 0, 2}, {0, 1, 2}};
    VekrTriangleAccel r = {};
    for (const auto &order : kOrders) {
      for (const int swap : {1, 0}) {
        float v[9];
        for (int corner = 0; corner < 3; ++corner) {
          const int from = corner < 2 ? corner ^ swap : 2;
          for (int c = 0; c < 3; ++c) v[3 * corner + c] = corners[from][order[c]];
        }
        r = recordOf(v);  // the last one is as it stands above
      }
    }
    if (HasFailure()) return;
    if (!ofNormal && static_cast<double>(cy + 1) - static_cast<double>(cy) != 1.0) continue;
    const auto divided = static_cast<float>(wanted / z);
    different += (ofNormal ? r.nv != -divided : r.e2u != divided);
  }
  EXPECT_GT(different, 100);
}

TEST(TriangleRecord, ReadsNeitherTheFourthIndexNorBehindTheLastVertex) {
  Random random(2);
  for (int32_t count = 1; count <= 9; ++count) {
    PageEnd<float> vertices(9);
    for (float &x : vertices) x = random.within(-1, 1);
    PageEnd<int32_t> indices(static_cast<size_t>(4 * count - 1));
    for (size_t i = 0; i < indices.size(); ++i) indices[i] = static_cast<int32_t>((i + i / 4) % 4 % 3);
    PageEnd<VekrTriangleAccel> actual(static_cast<size_t>(count));
    std::vector<VekrTriangleAccel> expected(static_cast<size_t>(count));
    ASSERT_EQ(vekrTriangleAccelInit(actual.data(), vertices.data(), indices.data(), count), vekOk);
    vekr_reference::triangleAccelInit(expected.data(), vertices.data(), indices.data(), count);
    for (size_t i = 0; i < expected.size(); ++i) ASSERT_TRUE(sameRecords(actual[i], expected[i]));
  }
}

TEST(TriangleRecord, CountsBelowOneTouchNothing) {
  Untouchable page;
  for (const int32_t count : kNoLengths) {
    EXPECT_EQ(
        vekrTriangleAccelInit(page.as<VekrTriangleAccel>(), page.as<float>(), page.as<int32_t>(), count),
        vekOk);
    EXPECT_EQ(vekrTriangleAccelInit(nullptr, nullptr, nullptr, count), vekOk);
  }
}

}  // namespace
