// The one-ray walks against their scalar twins. Every block here is of a shape or at an address at which the packet form
// doesn't apply.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include "reference/one_ray_reference.h"
#include "support/ray_arrays.h"
#include "support/traced_scene.h"
#include "support/tree.h"
#include "vekr.h"

namespace {

using namespace vekr_test;

// Planes of a block: origins 0 to 2, directions 3 to 5, distances 6, weights 7 and 8; the mask plane holds the triangles.
constexpr int kPlanes = 9;
enum { kOrigin = 0, kDirection = 3, kDistance = 6, kHit0 = 7, kHit1 = 8 };

VekStatus trace(bool many, RayArrays &a, const VekrIntersectScene &scene, VekrBlockSize size,
                const float *eye) {
  float *const hits[2] = {a.plane(kHit0), a.plane(kHit1)};
  return many ? vekrIntersectMO_32f(a.triple(kOrigin), a.triple(kDirection), a.plane(kDistance), hits,
                                    a.mask(), &scene, size)
              : vekrIntersectEyeSO_32f(eye, a.triple(kDirection), a.plane(kDistance), hits, a.mask(), &scene,
                                       size);
}

void traceTwin(bool many, RayArrays &a, const VekrIntersectScene &scene, VekrBlockSize size,
               const float *eye) {
  float *const hits[2] = {a.plane(kHit0), a.plane(kHit1)};
  many ? vekr_reference::intersectMO(a.triple(kOrigin), a.triple(kDirection), a.plane(kDistance), hits,
                                     a.mask(), &scene, size)
       : vekr_reference::intersectEyeSO(eye, a.triple(kDirection), a.plane(kDistance), hits, a.mask(), &scene,
                                        size);
}

float randomOrigin(Random &random, int kind) {
  switch (kind) {
    case 0:
      return random.within(-4, 4);
    case 1:
      return random.within(-12, 12);
    case 2:
      return static_cast<float>(random.below(11) - 5);  // on grid planes and box faces
    default:
      return random.awkward();
  }
}

float randomDirection(Random &random, int kind) {
  static const float kOdd[] = {0.0f,
                               -0.0f,
                               1.0f,
                               -1.0f,
                               1e-8f,
                               -1e-8f,
                               fromBits(0x34000000u),
                               -fromBits(0x34000000u),
                               fromBits(0x34000001u),
                               -fromBits(0x34000001u),
                               1e-6f,
                               -1e-42f};
  switch (kind) {
    case 0:
      return random.within(-1, 1);
    case 1:
      return kOdd[random.below(12)];
    case 2:
      return random.below(2) ? random.within(-1, 1) : kOdd[random.below(12)];
    case 3:
      return static_cast<float>(random.below(5) - 2);
    default:
      return random.awkward();
  }
}

float randomDistance(Random &random) {
  static const float kOdd[] = {0.0f, -0.0f, -1.0f, 1e-5f, 2e-5f, 1e-42f, 1e30f, INFINITY, NAN, -INFINITY};
  switch (random.below(4)) {
    case 0:
      return random.within(0, 8);
    case 1:
      return kOdd[random.below(10)];
    default:
      return 1e6f;
  }
}

void fillRays(RayArrays &a, int32_t count, Random &random) {
  for (int32_t i = 0; i < count; ++i) {
    const int origin = random.below(10), direction = random.below(10);
    for (int c = 0; c < 3; ++c) {
      a.plane(kOrigin + c)[i] = randomOrigin(random, origin < 6 ? 0 : origin - 6);
      a.plane(kDirection + c)[i] = randomDirection(random, direction < 6 ? 0 : direction - 6);
    }
    a.plane(kDistance)[i] = randomDistance(random);
    a.plane(kHit0)[i] = fromBits(0xffa00000u + static_cast<uint32_t>(i));  // what a miss must leave
    a.plane(kHit1)[i] = fromBits(0x7fb00000u + static_cast<uint32_t>(i));
    a.mask()[i] = random.below(100) - 50;
  }
}

// Returns the number of hits.
int expectTwin(bool many, const VekrIntersectScene &scene, VekrBlockSize size, int misaligned,
               Random &random) {
  const int32_t count = size.width * size.height;
  RayArrays actual(kPlanes, count, misaligned), expected(kPlanes, count);
  fillRays(actual, count, random);
  float eye[3];
  const int kind = random.below(8);
  for (float &x : eye) x = randomOrigin(random, kind < 5 ? 0 : kind - 5);
  copyArrays(expected, actual);
  RayArrays before(kPlanes, count);
  copyArrays(before, actual);
  EXPECT_EQ(trace(many, actual, scene, size, eye), vekOk);
  traceTwin(many, expected, scene, size, eye);
  int hits = 0;
  for (int32_t i = 0; i < count; ++i) {
    hits += expected.mask()[i] >= 0;
    // A miss leaves all bits of the distance and the weights.
    for (int p = 0; expected.mask()[i] < 0 && p < kPlanes; ++p) {
      EXPECT_EQ(bitsOf(actual.plane(p)[i]), bitsOf(before.plane(p)[i])) << "plane " << p << " at " << i;
    }
  }
  const std::vector<int32_t> live(static_cast<size_t>(count), 0);
  EXPECT_TRUE(sameRays(actual, expected, live.data()))
      << (many ? "many origins, " : "one origin, ") << size.width << " by " << size.height << ", misaligned "
      << misaligned;
  EXPECT_TRUE(actual.intact());
  return hits;
}

class OneRay : public ::testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Both, OneRay, ::testing::Bool(),
                         [](const auto &info) { return info.param ? "ManyOrigins" : "OneOrigin"; });

TEST_P(OneRay, IsItsTwinOnTheSimpleTree) {
  Random random(1);
  int hits = 0;
  for (int repeat = 0; repeat < 60 && !HasFailure(); ++repeat) {
    const Mesh mesh = randomMesh(1 + random.below(60), random);
    const auto records = mesh.records();
    float box[6];
    vekrSetBoundBox_32f(mesh.vertices.data(), mesh.vertexCount(), box);
    const VekrSimpleBuildContext context = {vekrSimpleBuildIdentifier, 0};
    VekrKDTreeNode *tree = nullptr;
    int32_t size = 0;
    ASSERT_EQ(vekrKDTreeBuildAlloc(&tree, mesh.vertices.data(), mesh.indices.data(), mesh.vertexCount(),
                                   mesh.triangleCount(), &size, &context),
              vekOk);
    const VekrIntersectScene scene = {box, records.data(), tree};
    hits += expectTwin(GetParam(), scene, {5, 40}, -1, random);
    hits += expectTwin(GetParam(), scene, {1, 1}, -1, random);
    vekrKDTreeFree(tree);
  }
  EXPECT_GT(hits, 1000);
}

TEST_P(OneRay, IsItsTwinOnTreesOfEveryForm) {
  Random random(2);
  int hits = 0;
  for (int repeat = 0; repeat < 300 && !HasFailure(); ++repeat) {
    const Mesh mesh = randomMesh(1 + random.below(80), random);
    const auto records = mesh.records();
    const RandomTree tree(mesh, random.below(12), random);
    // Boxes that fit, that clip, and inverted ones, which clipping sets right.
    float box[6] = {-4, -4, -4, 4, 4, 4};
    const int kind = random.below(4);
    if (kind == 0) std::fill_n(box, 3, -2.0f);
    if (kind == 1) vekrSetBoundBox_32f(mesh.vertices.data(), mesh.vertexCount(), box);
    if (kind == 2) std::swap_ranges(box, box + 3, box + 3);
    const VekrIntersectScene scene = {box, records.data(), tree.root()};
    hits += expectTwin(GetParam(), scene, {7, 29}, -1, random);
  }
  EXPECT_GT(hits, 3000);
}

TEST_P(OneRay, IsItsTwinInBlocksOfAnyShape) {
  Random random(3);
  const Mesh mesh = randomMesh(40, random);
  const auto records = mesh.records();
  const RandomTree tree(mesh, 8, random);
  const float box[6] = {-4, -4, -4, 4, 4, 4};
  const VekrIntersectScene scene = {box, records.data(), tree.root()};
  for (int32_t width = 1; width <= 20; ++width) {
    for (int32_t height = 1; height <= 12; ++height) {
      if (width % 4 == 0 && height % 4 == 0) continue;
      expectTwin(GetParam(), scene, {width, height}, random.below(11) - 1, random);
    }
  }
  // Every array that is walked ray by ray, off by a few bytes in its turn.
  const int first = GetParam() ? kOrigin : kDirection;
  for (int misaligned = first; misaligned <= kPlanes; ++misaligned) {
    expectTwin(GetParam(), scene, {4, 4}, misaligned, random);
    expectTwin(GetParam(), scene, {8, 12}, misaligned, random);
    expectTwin(GetParam(), scene, {16, 16}, misaligned, random);
  }
}

TEST_P(OneRay, ReadsAndWritesNothingBehindTheLastRay) {
  Random random(4);
  const Mesh mesh = randomMesh(40, random);
  const auto records = mesh.records();
  const RandomTree tree(mesh, 8, random);
  const float box[6] = {-4, -4, -4, 4, 4, 4};
  const VekrIntersectScene scene = {box, records.data(), tree.root()};
  for (int32_t width = 1; width <= 11; ++width) {
    if (width % 4 == 0) continue;
    const int32_t n = 3 * width;
    RayArrays actual(std::vector<int32_t>(kPlanes + 1, n),
                     std::vector<RayArrays::Place>(kPlanes + 1, RayArrays::Place::pageEnd));
    RayArrays expected(kPlanes, n);
    fillRays(actual, n, random);
    copyArrays(expected, actual);
    const float eye[3] = {-1, 2, -3};
    trace(GetParam(), actual, scene, {width, 3}, eye);
    traceTwin(GetParam(), expected, scene, {width, 3}, eye);
    const std::vector<int32_t> live(static_cast<size_t>(n), 0);
    EXPECT_TRUE(sameRays(actual, expected, live.data()));
  }
}

TEST_P(OneRay, ReadsNothingBehindTheScene) {
  Random random(5);
  for (int repeat = 0; repeat < 10; ++repeat) {
    const Mesh mesh = randomMesh(1 + repeat, random);
    const auto made = mesh.records();
    PageEnd<VekrTriangleAccel> records(static_cast<size_t>(mesh.triangleCount()));
    std::copy_n(made.begin(), records.size(), records.begin());
    PageEnd<float> box(6), eye(3);
    vekrSetBoundBox_32f(mesh.vertices.data(), mesh.vertexCount(), box.data());
    for (float &x : eye) x = random.within(-4, 4);
    const int32_t count = mesh.triangleCount();
    std::vector<int32_t> numbers(static_cast<size_t>(count));
    for (int32_t n = 0; n < count; ++n) numbers[static_cast<size_t>(n)] = n;
    const std::vector<int32_t> words = oneLeaf(numbers);
    PageEnd<int32_t> tree(words.size());
    std::copy(words.begin(), words.end(), tree.begin());
    const VekrIntersectScene scene = {box.data(), records.data(),
                                      reinterpret_cast<const VekrKDTreeNode *>(tree.data())};
    RayArrays actual(kPlanes, 55), expected(kPlanes, 55);
    fillRays(actual, 55, random);
    copyArrays(expected, actual);
    trace(GetParam(), actual, scene, {5, 11}, eye.data());
    traceTwin(GetParam(), expected, scene, {5, 11}, eye.data());
    const std::vector<int32_t> live(55, 0);
    EXPECT_TRUE(sameRays(actual, expected, live.data()));
  }
}

TEST_P(OneRay, SizesBelowOneTouchNothing) {
  Untouchable page;
  float *const nulls[3] = {};
  const VekrBlockSize sizes[] = {{0, 4},   {4, 0},   {0, 0},   {-1, 4}, {4, -1},
                                 {-2, -2}, {-4, -4}, {-3, -5}, {5, -1}, {INT32_MIN, INT32_MIN}};
  for (const VekrBlockSize size : sizes) {
    const auto *scene = page.as<VekrIntersectScene>();
    if (GetParam()) {
      EXPECT_EQ(vekrIntersectMO_32f(page.as<const float *>(), page.as<const float *>(), page.as<float>(),
                                    page.as<float *>(), page.as<int32_t>(), scene, size),
                vekOk);
      EXPECT_EQ(vekrIntersectMO_32f(nulls, nulls, nullptr, nulls, nullptr, nullptr, size), vekOk);
      EXPECT_EQ(vekrIntersectMO_32f(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, size), vekOk);
    } else {
      EXPECT_EQ(vekrIntersectEyeSO_32f(page.as<float>(), page.as<const float *>(), page.as<float>(),
                                       page.as<float *>(), page.as<int32_t>(), scene, size),
                vekOk);
      EXPECT_EQ(vekrIntersectEyeSO_32f(nullptr, nulls, nullptr, nulls, nullptr, nullptr, size), vekOk);
      EXPECT_EQ(vekrIntersectEyeSO_32f(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, size), vekOk);
    }
  }
}

// ---- Single rays with known answers ----

struct Shot {
  float t = 1000, hit0 = 77, hit1 = 78;
  int32_t triangle = -99;
};

// The ray alone, and as each of so many that several walk at once.
Shot shoot(bool many, const VekrIntersectScene &scene, const float (&origin)[3], const float (&direction)[3],
           float distance = 1000) {
  Shot shot;
  for (const int32_t rays : {67, 1}) {
    const auto count = static_cast<size_t>(rays);
    RayArrays a(kPlanes, rays), b(kPlanes, rays);
    for (size_t c = 0; c < 3; ++c) {
      std::fill_n(a.plane(kOrigin + static_cast<int>(c)), count, origin[c]);
      std::fill_n(a.plane(kDirection + static_cast<int>(c)), count, direction[c]);
    }
    std::fill_n(a.plane(kDistance), count, distance);
    std::fill_n(a.plane(kHit0), count, 77.0f);
    std::fill_n(a.plane(kHit1), count, 78.0f);
    std::fill_n(a.mask(), count, -99);
    copyArrays(b, a);
    EXPECT_EQ(trace(many, a, scene, {rays, 1}, origin), vekOk);
    traceTwin(many, b, scene, {rays, 1}, origin);
    const std::vector<int32_t> live(count, 0);
    EXPECT_TRUE(sameRays(a, b, live.data())) << rays;
    shot = {a.plane(kDistance)[0], a.plane(kHit0)[0], a.plane(kHit1)[0], a.mask()[0]};
  }
  return shot;
}

const float kBox[6] = {-1, -1, -1, 1, 1, 1};

// Triangles in planes of constant z, one for each z, all covering the origin of the plane.
Mesh layers(std::initializer_list<float> zs) {
  Mesh mesh;
  for (const float z : zs) mesh.addTriangle({-0.5f, -0.5f, z}, {0.5f, -0.5f, z}, {0, 0.75f, z});
  return mesh;
}

// One list leaf with the mesh's triangles in the given order.
struct LeafScene {
  LeafScene(const Mesh &mesh, const std::vector<int32_t> &order) : records(mesh.records()) {
    tree.list(0, order);
    scene = {kBox, records.data(), tree.finish()};
  }
  std::vector<VekrTriangleAccel> records;
  TreeBlock tree;
  VekrIntersectScene scene;
};

TEST_P(OneRay, MissesLeaveDistanceAndWeights) {
  const LeafScene s(layers({0}), {0});
  for (const float x : {-3.0f, 0.9f}) {  // past the box, past the triangle
    const Shot shot = shoot(GetParam(), s.scene, {x, 0, -2}, {0, 0, 1}, 50);
    EXPECT_EQ(shot.triangle, -1);
    EXPECT_EQ(shot.t, 50);
    EXPECT_EQ(shot.hit0, 77);
    EXPECT_EQ(shot.hit1, 78);
  }
}

TEST_P(OneRay, WeightsBelongToTheFirstAndSecondVertex) {
  const LeafScene s(layers({0}), {0});
  const Shot first = shoot(GetParam(), s.scene, {-0.5f, -0.5f, -2}, {0, 0, 1});
  EXPECT_EQ(first.triangle, 0);
  EXPECT_EQ(first.t, 2);
  EXPECT_EQ(first.hit0, 1);
  EXPECT_EQ(first.hit1, 0);
  const Shot second =
      shoot(GetParam(), s.scene, {0.5f, -0.5f, 2}, {0, 0, -2});  // from behind, in units of length 2
  EXPECT_EQ(second.triangle, 0);
  EXPECT_EQ(second.t, 1);
  EXPECT_EQ(second.hit0, 0);
  EXPECT_EQ(second.hit1, 1);
  const Shot third = shoot(GetParam(), s.scene, {0, 0.75f, -2}, {0, 0, 1});
  EXPECT_EQ(third.triangle, 0);
  EXPECT_EQ(third.hit0, 0);
  EXPECT_EQ(third.hit1, 0);
}

TEST_P(OneRay, OfEqualDistancesTheFirstMetStays) {
  EXPECT_EQ(shoot(GetParam(), LeafScene(layers({0, 0}), {0, 1}).scene, {0, 0, -1}, {0, 0, 1}).triangle, 0);
  EXPECT_EQ(shoot(GetParam(), LeafScene(layers({0, 0}), {1, 0}).scene, {0, 0, -1}, {0, 0, 1}).triangle, 1);
}

TEST_P(OneRay, NearlyEqualDistancesKeepTheFirstOnlyWithManyOrigins) {
  // The second lies nearer by half of 1e-5, or by twice as much.
  const float o[3] = {0, 0, -1}, d[3] = {0, 0, 1};
  EXPECT_EQ(shoot(GetParam(), LeafScene(layers({0, -5e-6f}), {0, 1}).scene, o, d).triangle,
            GetParam() ? 0 : 1);
  EXPECT_EQ(shoot(GetParam(), LeafScene(layers({0, -2e-5f}), {0, 1}).scene, o, d).triangle, 1);
  // On entry the margin counts against the limit too.
  EXPECT_EQ(shoot(GetParam(), LeafScene(layers({0}), {0}).scene, o, d, 1.000005f).triangle,
            GetParam() ? -1 : 0);
  EXPECT_EQ(shoot(GetParam(), LeafScene(layers({0}), {0}).scene, o, d, 1.00002f).triangle, 0);
  EXPECT_EQ(shoot(GetParam(), LeafScene(layers({0}), {0}).scene, o, d, 1.0f).triangle, -1);
}

// t is exactly the limit less 1e-5: the comparison is strict.
TEST_P(OneRay, LimitLessMarginIsNoHitItself) {
  const float margin = fromBits(0x3727c5acu);
  const LeafScene s(layers({0}), {0});
  for (const float limit : {0.5f, 1.0f, 0.75f, 0.3f}) {
    const float t = limit - margin;
    EXPECT_EQ(shoot(GetParam(), s.scene, {0, 0, -t}, {0, 0, 1}, limit).triangle, GetParam() ? -1 : 0)
        << limit;
    EXPECT_EQ(shoot(GetParam(), s.scene, {0, 0, -std::nextafter(t, 0.0f)}, {0, 0, 1}, limit).triangle, 0)
        << limit;
    EXPECT_EQ(shoot(GetParam(), s.scene, {0, 0, -limit}, {0, 0, 1}, limit).triangle, -1) << limit;
  }
}

// Just above a power of two a sum t + 1e-5 would be rounded up to the limit, where the limit less 1e-5 still lies behind t.
TEST_P(OneRay, MarginIsTakenFromTheLimitNotAddedToTheHit) {
  const LeafScene s(layers({0}), {0});
  const float limit = 0.25f + 0x1p-24f;
  EXPECT_EQ(shoot(GetParam(), s.scene, {0, 0, 672 * 0x1p-26f - limit}, {0, 0, 1}, limit).triangle, 0);
  EXPECT_EQ(shoot(GetParam(), s.scene, {0, 0, 671 * 0x1p-26f - limit}, {0, 0, 1}, limit).triangle,
            GetParam() ? -1 : 0);
}

TEST_P(OneRay, AHitAtTheOriginIsNone) {
  const LeafScene s(layers({0}), {0});
  EXPECT_EQ(shoot(GetParam(), s.scene, {0, 0, 0}, {0, 0, 1}).triangle, -1);
  EXPECT_EQ(shoot(GetParam(), s.scene, {0, 0, -1e-42f}, {0, 0, 1}).triangle, 0);  // as near as a denormal
  EXPECT_EQ(shoot(GetParam(), s.scene, {0, 0, 0.5f}, {0, 0, 1}).triangle, -1);
}

TEST_P(OneRay, SmallDenominatorsAreRefusedOnlyWithManyOrigins) {
  const LeafScene s(layers({0}), {0});
  const float at = fromBits(0x35a00000u);
  const auto triangle = [&](float dz) {
    return shoot(GetParam(), s.scene, {0, 0, -1e-7f}, {0, 0, dz}).triangle;
  };
  EXPECT_EQ(triangle(at), 0);
  EXPECT_EQ(triangle(fromBits(0x359fffffu)), GetParam() ? -1 : 0);
  EXPECT_EQ(shoot(GetParam(), s.scene, {0, 0, 1e-7f}, {0, 0, -at}).triangle, 0);
  EXPECT_EQ(shoot(GetParam(), s.scene, {0, 0, 1e-7f}, {0, 0, -fromBits(0x359fffffu)}).triangle,
            GetParam() ? -1 : 0);
}

TEST_P(OneRay, ParallelAxesStartStrictlyInsideOnlyWithManyOrigins) {
  // A triangle across the box's lower face, hit by rays that run along the face.
  Mesh mesh;
  mesh.addTriangle({0, -2, -0.5f}, {0, -2, 0.5f}, {0, 2, 0});
  const LeafScene s(mesh, {0});
  const auto triangle = [&](float y, float dy) {
    return shoot(GetParam(), s.scene, {-0.5f, y, 0}, {1, dy, 0}).triangle;
  };
  for (const float dy : {0.0f, -0.0f, 1e-8f, fromBits(0x34000000u), -fromBits(0x34000000u)}) {
    EXPECT_EQ(triangle(-1, dy), GetParam() ? -1 : 0) << dy;
    EXPECT_EQ(triangle(1, dy), GetParam() ? -1 : 0) << dy;
    EXPECT_EQ(triangle(-1.5f, dy), GetParam() ? -1 : 0) << dy;
    EXPECT_EQ(triangle(std::nextafter(-1.0f, 0.0f), dy), 0) << dy;
    EXPECT_EQ(triangle(std::nextafter(1.0f, 0.0f), dy), 0) << dy;
  }
  // One step more than the bound: no longer parallel, and the ray starts on the face.
  EXPECT_EQ(triangle(-1, fromBits(0x34000001u)), 0);
  EXPECT_EQ(triangle(-1.5f, fromBits(0x34000001u)), -1);
  // An origin that is no number lies inside nothing.
  EXPECT_EQ(triangle(NAN, 0), -1);
}

// Beside a plane that it is parallel to, a ray enters the far side only if the distance times the fallback reciprocal lies
// in its interval: the constant can be read off the last distance that does.
TEST_P(OneRay, ParallelAxesHaveAFallbackReciprocal) {
  Mesh mesh;
  mesh.addTriangle({0.25f, -0.5f, -0.5f}, {0.25f, 0.5f, -0.5f}, {0.25f, 0, 0.75f});
  const auto records = mesh.records();
  TreeBlock tree;
  const int child = tree.inner(0, 1, 0.0f);
  tree.empty(child);
  tree.one(child + 1, 0);
  const VekrIntersectScene scene = {kBox, records.data(), tree.finish()};
  const float fallback = GetParam() ? 83886.078125f : 838860800.0f;
  const float end = 1.0f + fromBits(0x38d1b717u);  // tfar of a ray along x from the middle
  int entered = 0, passed = 0;
  const uint32_t around = bitsOf((end + 1e-5f) / fallback);
  for (uint32_t bits = around - 100; bits < around + 100; ++bits) {
    const float distance = fromBits(bits);
    const bool hit = shoot(GetParam(), scene, {0, -distance, 0}, {1, 0, 0}).triangle == 0;
    EXPECT_EQ(hit, !(distance * fallback - end > fromBits(0x3727c5acu))) << distance;
    ++(hit ? entered : passed);
  }
  EXPECT_GT(entered, 50);
  EXPECT_GT(passed, 50);
}

// A box that is a single point: only a ray whose distances to it agree on all axes to the last bit goes on. Quotients of
// whole numbers do, products with a rounded reciprocal often don't, and the other way round.
TEST_P(OneRay, BoxDistancesAreQuotientsOrProducts) {
  Random random(6);
  int hits = 0, misses = 0;
  for (int i = 0; i < 4000; ++i) {
    const bool whole = i % 2 == 0;
    float d[3], o[3] = {0, 0, 0}, box[6];
    const float t = whole ? static_cast<float>(1 + random.below(50)) : 1.0f;
    for (int c = 0; c < 3; ++c) {
      d[c] = whole ? static_cast<float>(1 + random.below(99)) : 1.0f + random.unit();
      if (random.below(2)) d[c] = -d[c];
      const float nearly = d[c] * t;
      box[c] = box[3 + c] = random.below(4) ? nearly : std::nextafter(nearly, 0.0f);
    }
    Mesh mesh;  // across the ray at the point
    mesh.addTriangle({box[0], -9000, -9000}, {box[0], 9000, -9000}, {box[0], 0, 18000});
    const auto records = mesh.records();
    TreeBlock tree;
    tree.one(0, 0);
    const VekrIntersectScene scene = {box, records.data(), tree.finish()};
    ++(shoot(GetParam(), scene, o, d).triangle == 0 ? hits : misses);
    if (HasFailure()) return;
  }
  EXPECT_GT(hits, 100);
  EXPECT_GT(misses, 100);
}

TEST_P(OneRay, ZeroDirectionHitsNothing) {
  const LeafScene s(layers({0, 0.5f}), {0, 1});
  for (const float z : {-2.0f, 0.0f, 0.25f}) {
    EXPECT_EQ(shoot(GetParam(), s.scene, {0, 0, z}, {0, 0, 0}).triangle, -1);
    EXPECT_EQ(shoot(GetParam(), s.scene, {0, 0, z}, {-0.0f, 0, -0.0f}).triangle, -1);
  }
}

TEST_P(OneRay, LimitsBelowTheBoxGiveUp) {
  const LeafScene s(layers({0}), {0});
  for (const float limit : {-1.0f, -1e-42f, 0.0f, -0.0f, -INFINITY, NAN}) {
    for (const float z : {-2.0f, -0.5f}) {
      const Shot shot = shoot(GetParam(), s.scene, {0, 0, z}, {0, 0, 1}, limit);
      EXPECT_EQ(shot.triangle, -1);
      EXPECT_EQ(bitsOf(shot.t), bitsOf(limit));
    }
  }
}

TEST_P(OneRay, TouchingTheBoxIsEnough) {
  // The corner (-1, 1): tnear equals tfar there.
  Mesh mesh;
  mesh.addTriangle({-2, 2, -1}, {0, 0, -1}, {-2, 0, 1});
  mesh.addTriangle({-3, 3, -2}, {1, -1, -2}, {-1.5f, 1.5f, 3});
  const LeafScene s(mesh, {0, 1});
  EXPECT_NE(shoot(GetParam(), s.scene, {-2, 0, 0}, {1, 1, 0}).triangle, -1);
  EXPECT_EQ(shoot(GetParam(), s.scene, {-2, 0.0001f, 0}, {1, 1, 0}).triangle, -1);
  EXPECT_EQ(shoot(GetParam(), s.scene, {-2.0001f, 0.0001f, 0}, {1, 1, 0}).triangle, -1);
}

TEST_P(OneRay, DegenerateTrianglesArePassedOverInEveryLeaf) {
  Mesh mesh = layers({0, 0.25f, 0.5f});
  mesh.addTriangle({0, 0, -0.5f}, {0, 0, -0.5f}, {0, 0, -0.5f});
  const auto records = mesh.records();
  const auto nearest = [&](auto fill) {
    TreeBlock tree;
    fill(tree);
    const VekrIntersectScene scene = {kBox, records.data(), tree.finish()};
    return shoot(GetParam(), scene, {0, 0, -1}, {0, 0, 1}).triangle;
  };
  EXPECT_EQ(nearest([](TreeBlock &t) { t.one(0, 3); }), -1);
  EXPECT_EQ(nearest([](TreeBlock &t) { t.one(0, 1); }), 1);
  EXPECT_EQ(nearest([](TreeBlock &t) { t.two(0, 3, 1); }), 1);
  EXPECT_EQ(nearest([](TreeBlock &t) { t.two(0, 1, 3); }), 1);
  EXPECT_EQ(nearest([](TreeBlock &t) { t.three(0, 1, 2, 3); }), 1);
  EXPECT_EQ(nearest([](TreeBlock &t) { t.three(0, 0, 2, 3); }), 0);
  EXPECT_EQ(nearest([](TreeBlock &t) { t.list(0, {3, 2, 1}); }), 1);
}

TEST_P(OneRay, ReadsEveryFormOfLeaf) {
  // Far triangle numbers, to the edge of what the inline forms can hold.
  const Mesh mesh = layers({0, 0.25f, 0.5f});
  const auto source = mesh.records();
  const int32_t a = 5, b = a + vekr::kBelowLimit - 1, c = b + vekr::kAboveLimit - 1;
  std::vector<VekrTriangleAccel> records(static_cast<size_t>(c) + 1);
  const auto nearest = [&](auto fill) {
    TreeBlock tree;
    fill(tree);
    const VekrIntersectScene scene = {kBox, records.data(), tree.finish()};
    return shoot(GetParam(), scene, {0, 0, -1}, {0, 0, 1}).triangle;
  };
  for (const int32_t only : {a, b, c}) {
    std::fill(records.begin(), records.end(), VekrTriangleAccel());
    records[static_cast<size_t>(only)] = source[1];
    EXPECT_EQ(nearest([&](TreeBlock &t) { t.three(0, a, b, c); }), only);
    EXPECT_EQ(nearest([&](TreeBlock &t) { t.two(0, only, a + 1); }), only);
    EXPECT_EQ(nearest([&](TreeBlock &t) { t.two(0, a + 1, only); }), only);
    EXPECT_EQ(nearest([&](TreeBlock &t) { t.one(0, only); }), only);
    for (int noise = 0; noise < 4; ++noise) {
      EXPECT_EQ(nearest([&](TreeBlock &t) { t.list(0, {only}, noise); }), only);
      EXPECT_EQ(nearest([&](TreeBlock &t) { t.list(0, {a + 1, a + 2, a + 3, a + 4, only}, noise); }), only);
    }
    EXPECT_EQ(nearest([&](TreeBlock &t) { t.empty(0, static_cast<uint32_t>(only)); }), -1);
    EXPECT_EQ(nearest([&](TreeBlock &t) { t.emptyInline(0, static_cast<uint32_t>(only)); }), -1);
  }
  // Order within the inline forms: of equal hits the first stays.
  std::fill(records.begin(), records.end(), VekrTriangleAccel());
  for (const int32_t n : {a, b, c}) records[static_cast<size_t>(n)] = source[1];
  EXPECT_EQ(nearest([&](TreeBlock &t) { t.three(0, a, b, c); }), a);
  EXPECT_EQ(nearest([&](TreeBlock &t) { t.two(0, c, b); }), c);
  EXPECT_EQ(nearest([&](TreeBlock &t) { t.two(0, a, b); }), a);
  records[static_cast<size_t>(a)] = VekrTriangleAccel();
  EXPECT_EQ(nearest([&](TreeBlock &t) { t.three(0, a, b, c); }), b);
}

// Triangle numbers of the full width of each field, with records only where they are needed.
TEST_P(OneRay, InlineNumbersUseEveryBit) {
  constexpr size_t kBytes = size_t{0x80000000u} * sizeof(VekrTriangleAccel) + 8192;
  void *reserved = mmap(nullptr, kBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (reserved == MAP_FAILED) GTEST_SKIP() << "no address space for " << kBytes << " bytes";
  auto *records = static_cast<VekrTriangleAccel *>(reserved);
  const auto open = [&](int32_t number) {
    const auto page = reinterpret_cast<uintptr_t>(records + number) & ~uintptr_t{4095};
    ASSERT_EQ(mprotect(reinterpret_cast<void *>(page), 8192, PROT_READ | PROT_WRITE), 0);
  };
  const VekrTriangleAccel visible = layers({0}).records()[0];
  const int32_t first = INT32_MAX - 1, middle = vekr::kMiddleLimit - 1;
  const int32_t below = middle - (vekr::kBelowLimit - 1), above = middle + (vekr::kAboveLimit - 1);
  for (const int32_t number : {first, middle, below, above}) open(number);
  for (const int32_t number : {first, middle, below, above}) {
    records[number] = visible;
    const auto nearest = [&](auto fill) {
      TreeBlock tree;
      fill(tree);
      const VekrIntersectScene scene = {kBox, records, tree.finish()};
      return shoot(GetParam(), scene, {0, 0, -1}, {0, 0, 1}).triangle;
    };
    EXPECT_EQ(nearest([&](TreeBlock &t) { t.one(0, first); }), number == first ? number : -1);
    EXPECT_EQ(nearest([&](TreeBlock &t) { t.two(0, first, middle); }),
              number == first || number == middle ? number : -1);
    EXPECT_EQ(nearest([&](TreeBlock &t) { t.three(0, below, middle, above); }),
              number == first ? -1 : number);
    EXPECT_EQ(nearest([&](TreeBlock &t) { t.list(0, {first, middle, below, above}); }), number);
    records[number] = VekrTriangleAccel();
  }
  munmap(reserved, kBytes);
}

// A chain of `depth` planes across the ray, the nearest last: every plane is entered on both sides.
TEST_P(OneRay, WalksFiftyPlanesDeep) {
  const int depth = 50;
  for (const bool backwards : {false, true}) {
    Mesh mesh;
    const float sign = backwards ? -1.0f : 1.0f;
    for (int i = 0; i <= depth; ++i) {  // triangle i in cell i, counted from the ray's end
      const float x = sign * (0.98f - 0.0392f * (static_cast<float>(i) - 0.5f));
      mesh.addTriangle({x, -0.5f, -0.5f}, {x, 0.5f, -0.5f}, {x, 0, 0.75f});
    }
    const auto records = mesh.records();
    for (int visible = 0; visible <= depth; ++visible) {
      TreeBlock tree;
      int node = 0;
      for (int i = 0; i < depth; ++i) {
        const int child = tree.inner(node, 0, sign * (0.98f - 0.0392f * static_cast<float>(i)));
        i == visible ? tree.one(child + (backwards ? 0 : 1), i) : tree.empty(child + (backwards ? 0 : 1));
        node = child + (backwards ? 1 : 0);
      }
      visible == depth ? tree.one(node, depth) : tree.empty(node);
      const VekrIntersectScene scene = {kBox, records.data(), tree.finish()};
      EXPECT_EQ(shoot(GetParam(), scene, {sign * -2, 0, 0}, {sign, 0, 0}).triangle, visible);
    }
  }
}

// A triangle well inside the box, listed only in the child that a ray along x enters if the plane at x = `plane` counts as
// part of its interval. Returns whether the ray enters it.
bool entersOddChild(bool many, float plane, bool oddIsUpper) {
  Mesh mesh;
  mesh.addTriangle({0.25f, -0.5f, -0.5f}, {0.25f, 0.5f, -0.5f}, {0.25f, 0, 0.75f});
  const auto records = mesh.records();
  TreeBlock tree;
  const int child = tree.inner(0, 0, plane);
  tree.one(child + (oddIsUpper ? 1 : 0), 0);
  tree.empty(child + (oddIsUpper ? 0 : 1));
  const VekrIntersectScene scene = {kBox, records.data(), tree.finish()};
  return shoot(many, scene, {0, 0, 0}, {1, 0, 0}).triangle == 0;
}

TEST_P(OneRay, SplitsAtTheIntervalsEndsAreEnteredOnBothSides) {
  const float end = 1.0f + fromBits(0x38d1b717u);  // the box's far side and the margin behind it
  const float eps = fromBits(0x3727c5acu);
  int entered = 0;
  float far = end;
  for (; far - end <= eps; far = std::nextafter(far, 2.0f)) {
    EXPECT_TRUE(entersOddChild(GetParam(), far, true)) << far;
    ++entered;
  }
  EXPECT_GT(entered, 50);
  EXPECT_FALSE(entersOddChild(GetParam(), far, true));
  // tnear is 0, so the difference is the plane's own place.
  EXPECT_TRUE(entersOddChild(GetParam(), -eps, false));
  EXPECT_FALSE(entersOddChild(GetParam(), std::nextafter(-eps, -1.0f), false));
}

// Behind a box that ends at the origin the interval ends at the bare margin, where its last bit shows.
TEST_P(OneRay, MarginBehindTheBoxIsExact) {
  Mesh mesh;
  mesh.addTriangle({0.25f, -0.5f, -0.5f}, {0.25f, 0.5f, -0.5f}, {0.25f, 0, 0.75f});
  const auto records = mesh.records();
  const float margin = fromBits(0x38d1b717u), eps = fromBits(0x3727c5acu);
  const float box[6] = {-1, -1, -1, 0, 1, 1};
  const uint32_t around = bitsOf(margin + eps);
  int entered = 0, passed = 0;
  for (uint32_t bits = around - 5; bits <= around + 5; ++bits) {
    TreeBlock tree;
    const int child = tree.inner(0, 0, fromBits(bits));
    tree.empty(child);
    tree.one(child + 1, 0);
    const VekrIntersectScene scene = {box, records.data(), tree.finish()};
    const bool hit = shoot(GetParam(), scene, {0, 0, 0}, {1, 0, 0}).triangle == 0;
    EXPECT_EQ(hit, !(fromBits(bits) - margin > eps));
    ++(hit ? entered : passed);
  }
  EXPECT_GT(entered, 3);
  EXPECT_GT(passed, 3);
}

// Two planes across a ray along x from `x`: the second splits the cell below the first. A triangle well inside the box is
// listed only above the second plane. Returns whether the ray gets there.
bool entersBetween(bool many, float x, float first, float second) {
  Mesh mesh;
  mesh.addTriangle({0.25f, -0.5f, -0.5f}, {0.25f, 0.5f, -0.5f}, {0.25f, 0, 0.75f});
  const auto records = mesh.records();
  TreeBlock tree;
  const int child = tree.inner(0, 0, first);
  const int inner = tree.inner(child, 0, second);
  tree.empty(child + 1);
  tree.empty(inner);
  tree.one(inner + 1, 0);
  const VekrIntersectScene scene = {kBox, records.data(), tree.finish()};
  return shoot(many, scene, {x, 0, 0}, {1, 0, 0}).triangle == 0;
}

TEST_P(OneRay, DifferencesAtSplitsAreExactlyComparedWithTheMargin) {
  const float eps = fromBits(0x3727c5acu);
  // The first plane makes tfar 0, so that the second lies exactly eps behind it.
  EXPECT_TRUE(entersBetween(GetParam(), 0, 0, eps));
  EXPECT_FALSE(entersBetween(GetParam(), 0, 0, std::nextafter(eps, 1.0f)));
  // From x = -2 the box begins at t = 1. A plane 166 or 168 steps of 2^-24 before that is within eps, or is not: the
  // difference decides, not a sum that is rounded anew.
  const auto entersNear = [&](float plane) {
    Mesh mesh;
    mesh.addTriangle({0.25f, -0.5f, -0.5f}, {0.25f, 0.5f, -0.5f}, {0.25f, 0, 0.75f});
    const auto records = mesh.records();
    TreeBlock tree;
    const int child = tree.inner(0, 0, plane);
    tree.one(child, 0);
    tree.empty(child + 1);
    const VekrIntersectScene scene = {kBox, records.data(), tree.finish()};
    return shoot(GetParam(), scene, {-2, 0, 0}, {1, 0, 0}).triangle == 0;
  };
  EXPECT_TRUE(entersNear(-1 - 83 * 0x1p-23f));
  EXPECT_FALSE(entersNear(-1 - 84 * 0x1p-23f));
}

TEST_P(OneRay, TheCellBelowASplitEndsWithinTheInterval) {
  // The first plane lies a little before the interval's start at t = 1: the cell ends at the start, not at the plane.
  EXPECT_TRUE(entersBetween(GetParam(), -2, -1 - 80 * 0x1p-23f, -1 + 10 * 0x1p-23f));
  // The first plane lies a little behind the interval's end: the cell ends at the end, not at the plane.
  const float end = 1.0f + fromBits(0x38d1b717u);
  EXPECT_TRUE(entersBetween(GetParam(), 0, end + 80 * 0x1p-23f, end + 70 * 0x1p-23f));
  EXPECT_FALSE(entersBetween(GetParam(), 0, end + 80 * 0x1p-23f, end + 90 * 0x1p-23f));
}

TEST_P(OneRay, ARepeatedTriangleChangesNothing) {
  const LeafScene s(layers({0, 0.25f}), {0, 0, 1, 0, 1, 0});
  const Shot shot = shoot(GetParam(), s.scene, {0.1f, 0.1f, -1}, {0, 0, 1});
  EXPECT_EQ(shot.triangle, 0);
  EXPECT_EQ(shot.t, 1);
}

TEST_P(OneRay, AHitBeyondItsCellIsAcceptedAndEndsTheWalkLate) {
  // The near cell lists a triangle of the far one, behind another that only the far cell lists.
  Mesh mesh;
  mesh.addTriangle({0.75f, -0.5f, -0.5f}, {0.75f, 0.5f, -0.5f}, {0.75f, 0, 0.75f});
  mesh.addTriangle({0.5f, -0.5f, -0.5f}, {0.5f, 0.5f, -0.5f}, {0.5f, 0, 0.75f});
  const auto records = mesh.records();
  TreeBlock tree;
  const int child = tree.inner(0, 0, 0.0f);
  tree.one(child, 0);
  tree.one(child + 1, 1);
  const VekrIntersectScene scene = {kBox, records.data(), tree.finish()};
  EXPECT_EQ(shoot(GetParam(), scene, {-2, 0, 0}, {1, 0, 0}).triangle, 1);
  // A hit before the cell's end is final: the far cell's nearer triangle is never looked at.
  TreeBlock early;
  const int pair = early.inner(0, 0, 0.9f);
  early.one(pair, 0);
  early.one(pair + 1, 1);
  const VekrIntersectScene ended = {kBox, records.data(), early.finish()};
  EXPECT_EQ(shoot(GetParam(), ended, {-2, 0, 0}, {1, 0, 0}).triangle, 0);
}

}  // namespace
