// The one-ray forms in rows of rays that are long enough for several to walk at once: each ray must see what it would see
// alone, whichever rays are on their way beside it.
#include "intersect/one_ray_forms.h"

namespace {

using namespace vekr_test;

TEST(OneRayRows, AnyNumberOfHostileRaysAgreesWithTheTwins) {
  Random random(91);
  Met met;
  for (int32_t count = 1; count <= 160; ++count) {
    for (int round = 0; round < 3; ++round) {
      const auto scene = hostileScene(random);
      ASSERT_TRUE(rowAgrees(linkedFunctions(), twins(), *scene, count, random, met));
    }
  }
  EXPECT_GT(met.hits, met.rays / 10);
  EXPECT_GT(met.blocked, met.rays / 40);
  EXPECT_GT(met.deepHits, met.rays / 100);
}

TEST(OneRayRows, LongRowsAgreeWithTheTwins) {
  Random random(92);
  Met met;
  for (int round = 0; round < 40; ++round) {
    const auto scene = hostileScene(random);
    ASSERT_TRUE(rowAgrees(linkedFunctions(), twins(), *scene, 600 + random.below(600), random, met)) << round;
  }
  EXPECT_GT(met.hits, met.rays / 10);
}

// What a ray finds does not depend on its place, nor on its neighbours.
TEST(OneRayRows, RaysInAnotherOrderFindTheSame) {
  Random random(93);
  for (int round = 0; round < 20; ++round) {
    const auto scene = hostileScene(random);
    const int32_t count = 64 + random.below(200), depth = 1 + random.below(10);
    const VekrBlockSize row = {count, 1};
    RayBlock block(row, depth), turned(row, depth);
    fillHostile(block, *scene, random);
    const auto last = static_cast<size_t>(count) - 1;
    turned.pointOrigin.copyFrom(block.pointOrigin);
    for (size_t i = 0; i <= last; ++i) {
      for (size_t a = 0; a < 3; ++a) {
        turned.origins[a][i] = block.origins[a][last - i];
        turned.directions[a][i] = block.directions[a][last - i];
      }
      turned.distances[i] = block.distances[last - i];
      turned.mask[i] = block.mask[last - i];
    }
    for (const OneRayForm form : kOneRayForms) {
      RayBlock a(row, depth), b(row, depth);
      a.copyFrom(block);
      b.copyFrom(turned);
      run(linkedFunctions(), form, a, scene->get(), depth);
      run(linkedFunctions(), form, b, scene->get(), depth);
      for (size_t i = 0; i < a.triangles.size(); ++i) {
        const size_t plane = i / a.rays * a.rays, j = plane + last - (i - plane);
        ASSERT_EQ(a.triangles[i], b.triangles[j]);
        ASSERT_TRUE(same(a.distances[i], b.distances[j]));
        ASSERT_TRUE(same(a.hits[0][i], b.hits[0][j]) && same(a.hits[1][i], b.hits[1][j]));
      }
      for (size_t i = 0; i <= last; ++i) ASSERT_EQ(a.occluders[i], b.occluders[last - i]);
    }
  }
}

// One ray that walks long among others that end at once: the lanes of those are filled again and again.
TEST(OneRayRows, AShortRaysLaneIsFilledWhileALongOneWalks) {
  Random random(94);
  Mesh mesh = soup(60, 0.5f, 94);
  const int32_t triangles = mesh.triangleCount();
  TracedScene scene(mesh, chainOfPlanes(vekr::kMaxTreeDepth, triangles, true, random));
  for (int32_t longs = 0; longs < 70; ++longs) {
    RayBlock block({200, 1}, 3), expected({200, 1}, 3);
    setOrigin(block, {-3.0f, -3.0f, -3.0f});
    for (size_t i = 0; i < block.rays; ++i) {
      const bool isLong = i % 70 <= static_cast<size_t>(longs);
      const Point target = isLong ? pointOnTriangle(mesh, random.below(triangles), random) : Point{-9, 9, 0};
      for (size_t a = 0; a < 3; ++a) block.directions[a][i] = target[a] + 3.0f;
      block.distances[i] = isLong ? 1e30f : -1.0f;
    }
    for (const OneRayForm form : kOneRayForms) {
      RayBlock actual({200, 1}, 3);
      actual.copyFrom(block);
      expected.copyFrom(block);
      run(linkedFunctions(), form, actual, scene.get(), 3);
      run(twins(), form, expected, scene.get(), 3);
      ASSERT_TRUE(sameBlocks(actual, expected)) << longs;
    }
  }
}

}  // namespace
