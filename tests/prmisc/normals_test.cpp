// Normals and bounds against their scalar twins.
#include <gtest/gtest.h>

#include <numeric>

#include "reference/normals_reference.h"
#include "support/arrays.h"
#include "support/ray_arrays.h"
#include "support/threads.h"
#include "support/values.h"
#include "vekr.h"

namespace {

using namespace vekr_test;
using vekr_reference::Form;

// ---- Box ----

void expectTwinOfBox(const float *vertices, int32_t count) {
  Guarded<float> actual(6, 4);
  float expected[6];
  ASSERT_EQ(vekrSetBoundBox_32f(vertices, count, actual.data()), vekOk);
  vekr_reference::setBoundBox(vertices, count, expected);
  ASSERT_TRUE(sameArrays(actual, expected, 6)) << count << " vertices";
  ASSERT_TRUE(actual.intact());
}

TEST(BoundBox, IsItsTwinAtEveryCountAndAlignment) {
  Random random(1);
  for (int32_t count = 1; count <= 67; ++count) {
    for (size_t offset = 0; offset < 16; offset += 4) {
      for (const float scale : {1.0f, 1e-30f, 1e30f, 1e-42f, 1e38f}) {
        Guarded<float> vertices(static_cast<size_t>(3 * count), offset);
        for (float &x : vertices) x = scale * random.within(-3, 3);
        expectTwinOfBox(vertices.data(), count);
        vertices[static_cast<size_t>(random.below(3 * count))] = random.below(2) ? INFINITY : -INFINITY;
        expectTwinOfBox(vertices.data(), count);
        vertices[static_cast<size_t>(random.below(3 * count))] = random.below(2) ? 0.0f : -0.0f;
        expectTwinOfBox(vertices.data(), count);
      }
    }
  }
}

// Each coordinate in turn is the largest: the margin is common to all axes.
TEST(BoundBox, MarginComesFromTheLargestCoordinateOfAnyAxis) {
  for (int largest = 0; largest < 6; ++largest) {
    float vertices[6] = {-1, -2, -3, 1, 2, 3};
    vertices[largest] *= 1000;
    expectTwinOfBox(vertices, 2);
    float box[6];
    vekrSetBoundBox_32f(vertices, 2, box);
    const float m = std::fabs(vertices[largest]) * 0.0001f;
    for (int i = 0; i < 6; ++i) EXPECT_EQ(box[i], i < 3 ? vertices[i] - m : vertices[i] + m);
  }
}

TEST(BoundBox, OneVertex) {
  const float vertex[3] = {1, 2, 3};
  float box[6];
  ASSERT_EQ(vekrSetBoundBox_32f(vertex, 1, box), vekOk);
  const float m = 3.0f * 0.0001f;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(box[i], vertex[i] - m);
    EXPECT_EQ(box[3 + i], vertex[i] + m);
  }
}

TEST(BoundBox, HasATinyExtentAtTheOrigin) {
  const float vertices[6] = {};
  float box[6];
  ASSERT_EQ(vekrSetBoundBox_32f(vertices, 2, box), vekOk);
  const float m = 1.1754944e-38f * 0.0001f;
  ASSERT_GT(m, 0.0f);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(bitsOf(box[i]), bitsOf(i < 3 ? -m : m));
}

TEST(BoundBox, NoVerticesGiveAnInvertedBox) {
  Untouchable page;
  for (const int32_t count : kNoLengths) {
    Guarded<float> box(6);
    ASSERT_EQ(vekrSetBoundBox_32f(page.as<float>(), count, box.data()), vekOk);
    const float edge = 3.4028235e38f - 3.4028235e38f * 0.0001f;
    for (size_t i = 0; i < 6; ++i) EXPECT_EQ(bitsOf(box[i]), bitsOf(i < 3 ? edge : -edge)) << count;
    EXPECT_TRUE(box.intact());
  }
}

TEST(BoundBox, ReadsNothingBehindTheLastVertex) {
  for (size_t count = 1; count <= 9; ++count) {
    PageEnd<float> vertices(3 * count);
    std::iota(vertices.begin(), vertices.end(), -4.0f);
    expectTwinOfBox(vertices.data(), static_cast<int32_t>(count));
  }
}

TEST(BoundBox, TestsItsVerticesOnly) {
  Guarded<float> box(6);
  for (const int32_t count : {1, 0, -1})
    EXPECT_EQ(vekrSetBoundBox_32f(nullptr, count, box.data()), vekErrNullPtr);
  EXPECT_EQ(vekrSetBoundBox_32f(nullptr, 1, nullptr), vekErrNullPtr);
  for (const float x : box) EXPECT_EQ(bitsOf(x), 0u);
}

// ---- Triangle normals ----

constexpr int32_t kVertices = 40;

std::vector<int32_t> randomTriangles(int32_t count, Random &random) {
  std::vector<int32_t> indices;
  for (int32_t i = 0; i < 4 * count; ++i)
    indices.push_back(i % 4 == 3 ? INT32_MIN + i : random.below(kVertices));
  return indices;
}

std::vector<float> randomVertices(Random &random, bool awkward) {
  std::vector<float> vertices;
  const float scale = random.below(3) == 0 ? 1e-4f : 1.0f;
  for (int32_t i = 0; i < 3 * kVertices; ++i) {
    vertices.push_back(awkward ? random.awkward() : scale * random.within(-2, 2));
  }
  return vertices;
}

void expectTwinOfTriangleNormals(const float *vertices, const int32_t *indices, int32_t count,
                                 size_t offset) {
  Guarded<float> actual(static_cast<size_t>(3 * count), offset);
  std::vector<float> expected(static_cast<size_t>(3 * count));
  ASSERT_EQ(vekrTriangleNormal_32f(vertices, indices, actual.data(), count), vekOk);
  vekr_reference::triangleNormal(vertices, indices, expected.data(), count);
  ASSERT_TRUE(sameArrays(actual, expected, expected.size())) << count << " triangles";
  ASSERT_TRUE(actual.intact());
}

TEST(TriangleNormal, IsItsTwinAtEveryCountForAnyThreads) {
  for (const int32_t threads : {1, 2, 3, 5, 1000000}) {
    ThreadCount setting(threads);
    Random random(2);
    for (int32_t count = 0; count <= 67; ++count) {
      const auto vertices = randomVertices(random, random.below(2) == 0);
      auto indices = randomTriangles(count, random);
      indices.insert(indices.begin(), 0);  // four bytes off
      expectTwinOfTriangleNormals(vertices.data(), indices.data() + 1, count,
                                  static_cast<size_t>(count % 4 * 4));
    }
    for (const int32_t count : {1000, 4093}) {
      const auto vertices = randomVertices(random, false);
      const auto indices = randomTriangles(count, random);
      expectTwinOfTriangleNormals(vertices.data(), indices.data(), count, 0);
    }
  }
}

TEST(TriangleNormal, FollowsTheOrderOfTheVertices) {
  const float vertices[9] = {1, 0, 0, 0, 1, 0, 0, 0, 0};
  const int32_t indices[8] = {0, 1, 2, -1, 1, 0, 2, INT32_MAX};
  float normals[6];
  ASSERT_EQ(vekrTriangleNormal_32f(vertices, indices, normals, 2), vekOk);
  const float expected[6] = {0, 0, 1, 0, 0, -1};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(normals[i], expected[i]) << i;
}

TEST(TriangleNormal, ThresholdOfTheSquaredLengthIsStrict) {
  // N = (0, 0, x y): the square of 2^-26 is exactly the threshold, 2^-52.
  const float at = 0x1p-13f, below = std::nextafter(at, 0.0f);
  const float vertices[] = {at, 0, 0, 0, at, 0, 0, 0, 0, below, 0, 0, 0, below, 0};
  const int32_t indices[] = {0, 1, 2, 0, 3, 1, 2, 0, 3, 4, 2, 0, 0, 0, 2, 0, 0, 1, 0, 0};
  float normals[15];
  ASSERT_EQ(vekrTriangleNormal_32f(vertices, indices, normals, 5), vekOk);
  for (int i = 0; i < 15; ++i) EXPECT_EQ(bitsOf(normals[i]), i == 2 ? bitsOf(1.0f) : 0u) << i;
}

// Quotients in the middle between two floats, where the last bit of the double decides: a product with the reciprocal of the
// length, or a squared length summed in another order, would fall to the other side.
TEST(TriangleNormal, LastBitOfTheDoubleCounts) {
  ThreadCount setting(1);
  Random random(4);
  int byProduct = 0, byOrder = 0;
  for (int i = 0; i < 200000 && (byProduct < 200 || byOrder < 200); ++i) {
    // A - C = (0, 1, e) and B - C = (x, 0, z): N = (z, e x, -x), of length 3, 5, ...
    const double length = 3 + 2 * random.below(50);
    const double z = length * ((0x1000001 + 2.0 * random.below(0x7FFFFF)) * 0x1p-25);
    const auto zHigh = static_cast<float>(z);
    const auto zLow = static_cast<float>(zHigh - z);
    const float az = i % 2 == 0 ? zLow : 0.5f;
    const double e = static_cast<double>(az) - static_cast<double>(zLow);
    const double x = std::sqrt((length * length - z * z) / (1 + e * e));
    const auto xHigh = static_cast<float>(x);
    const auto xLow = static_cast<float>(xHigh - x);
    const float vertices[9] = {xLow, 1, az, xHigh, 0, zHigh, xLow, 0, zLow};
    const int32_t indices[4] = {0, 1, 2, 0};
    const auto edges = vekr_reference::edgesOf(vertices, vertices + 3, vertices + 6);
    const double *n = edges.n;
    const double l = std::sqrt((n[0] * n[0] + n[1] * n[1]) + n[2] * n[2]);
    const double otherL = std::sqrt(n[0] * n[0] + (n[1] * n[1] + n[2] * n[2]));
    const auto right = static_cast<float>(n[0] / l);
    const bool product = static_cast<float>(n[0] * (1.0 / l)) != right;
    const bool order = static_cast<float>(n[0] / otherL) != right;
    if (!product && !order) continue;
    byProduct += product;
    byOrder += order;
    expectTwinOfTriangleNormals(vertices, indices, 1, 0);
    if (HasFailure()) return;
  }
  EXPECT_GT(byProduct, 100);
  EXPECT_GT(byOrder, 100);
}

TEST(TriangleNormal, OfNansAndInfinitiesIsNan) {
  const float vertices[] = {NAN, 0, 0, 0, 1, 0, 0, 0, 0, INFINITY, 0, 0};
  const int32_t indices[] = {0, 1, 2, 0, 3, 1, 2, 0};
  float normals[6];
  ASSERT_EQ(vekrTriangleNormal_32f(vertices, indices, normals, 2), vekOk);
  EXPECT_TRUE(std::isnan(normals[2]));
  EXPECT_TRUE(std::isnan(normals[5]));
}

TEST(TriangleNormal, ReadsNeitherTheFourthIndexNorBehindTheLastVertex) {
  for (const int32_t threads : {1, 3}) {
    ThreadCount setting(threads);
    Random random(3);
    for (int32_t count = 1; count <= 9; ++count) {
      PageEnd<float> vertices(3 * kVertices);
      for (float &x : vertices) x = random.within(-1, 1);
      PageEnd<int32_t> indices(static_cast<size_t>(4 * count - 1));
      for (int32_t &n : indices) n = kVertices - 1 - random.below(3);
      PageEnd<float> actual(static_cast<size_t>(3 * count));
      std::vector<float> expected(actual.size());
      ASSERT_EQ(vekrTriangleNormal_32f(vertices.data(), indices.data(), actual.data(), count), vekOk);
      vekr_reference::triangleNormal(vertices.data(), indices.data(), expected.data(), count);
      EXPECT_TRUE(sameArrays(actual, expected, expected.size())) << count;
    }
  }
}

TEST(TriangleNormal, TestsThreePointersBeforeTheCount) {
  Guarded<float> out(6);
  const float vertices[9] = {1, 0, 0, 0, 1, 0, 0, 0, 0};
  const int32_t indices[8] = {0, 1, 2, 0, 0, 1, 2, 0};
  for (const int32_t count : {2, 0, -1}) {
    EXPECT_EQ(vekrTriangleNormal_32f(nullptr, indices, out.data(), count), vekErrNullPtr);
    EXPECT_EQ(vekrTriangleNormal_32f(vertices, nullptr, out.data(), count), vekErrNullPtr);
    EXPECT_EQ(vekrTriangleNormal_32f(vertices, indices, nullptr, count), vekErrNullPtr);
  }
  for (const float x : out) EXPECT_EQ(bitsOf(x), 0u);
  Untouchable page;
  for (const int32_t count : kNoLengths) {
    EXPECT_EQ(vekrTriangleNormal_32f(page.as<float>(), page.as<int32_t>(), page.as<float>(), count), vekOk);
  }
}

}  // namespace
