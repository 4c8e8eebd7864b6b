// Calls from several threads at once, and from within a parallel region of the caller's.
#include <gtest/gtest.h>
#include <omp.h>

#include <thread>

#include "reference/normals_reference.h"
#include "reference/one_ray_reference.h"
#include "support/threads.h"
#include "support/tree.h"
#include "support/values.h"
#include "vekr.h"

namespace {

using namespace vekr_test;

std::vector<float> normalsOf(const Mesh &mesh) {
  std::vector<float> normals(static_cast<size_t>(3 * mesh.triangleCount()));
  EXPECT_EQ(
      vekrTriangleNormal_32f(mesh.vertices.data(), mesh.indices.data(), normals.data(), mesh.triangleCount()),
      vekOk);
  return normals;
}

std::vector<float> referenceNormalsOf(const Mesh &mesh) {
  std::vector<float> normals(static_cast<size_t>(3 * mesh.triangleCount()));
  vekr_reference::triangleNormal(mesh.vertices.data(), mesh.indices.data(), normals.data(),
                                 mesh.triangleCount());
  return normals;
}

TEST(Concurrency, ThreadsOfTheCallerTraceOneScene) {
  Random random(1);
  const Mesh mesh = randomMesh(200, random);
  const auto records = mesh.records();
  const RandomTree tree(mesh, 10, random);
  const float box[6] = {-4, -4, -4, 4, 4, 4};
  const VekrIntersectScene scene = {box, records.data(), tree.root()};
  const auto expectedNormals = referenceNormalsOf(mesh);
  constexpr int32_t kWidth = 33, kHeight = 7, kRays = kWidth * kHeight;
  std::vector<float> directions(3 * kRays);
  for (float &x : directions) x = random.within(-1, 1);
  const float *const planes[3] = {&directions[0], &directions[kRays], &directions[2 * kRays]};
  const float eye[3] = {0.25f, -0.5f, 0.125f};

  const auto trace = [&](auto function, std::vector<float> &distances, std::vector<int32_t> &triangles) {
    distances.assign(kRays, 100.0f);
    triangles.assign(kRays, 0);
    std::vector<float> u(kRays), v(kRays);
    float *const hits[2] = {u.data(), v.data()};
    function(eye, planes, distances.data(), hits, triangles.data(), &scene, VekrBlockSize{kWidth, kHeight});
  };
  std::vector<float> expected;
  std::vector<int32_t> expectedTriangles;
  trace(vekr_reference::intersectEyeSO, expected, expectedTriangles);

  ThreadCount setting(2);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int repeat = 0; repeat < 5; ++repeat) {
        std::vector<float> distances;
        std::vector<int32_t> triangles;
        trace(vekrIntersectEyeSO_32f, distances, triangles);
        EXPECT_TRUE(sameArrays(distances, expected, expected.size()));
        EXPECT_EQ(triangles, expectedTriangles);
        EXPECT_TRUE(sameArrays(normalsOf(mesh), expectedNormals, expectedNormals.size()));
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
}

// A runtime that declines to fork once more runs the body on the caller's thread.
TEST(Concurrency, TriangleNormalsWithinAParallelRegion) {
  Random random(2);
  const Mesh mesh = randomMesh(101, random);
  const auto expected = referenceNormalsOf(mesh);
  for (const int levels : {1, 2}) {
    omp_set_max_active_levels(levels);
    for (const int32_t count : {1, 3, 5}) {
      ThreadCount setting(count);
      std::vector<float> normals[2];
#pragma omp parallel num_threads(2)
      normals[omp_get_thread_num()] = normalsOf(mesh);
      for (const auto &actual : normals) {
        if (actual.empty()) continue;  // the runtime gave one thread only
        EXPECT_TRUE(sameArrays(actual, expected, expected.size()))
            << levels << " levels, " << count << " threads";
      }
    }
  }
}

// More threads than triangles, and fewer than asked for.
TEST(Concurrency, TriangleNormalsForAnyTeam) {
  Random random(3);
  Mesh mesh = randomMesh(70, random);
  omp_set_dynamic(1);
  for (const int32_t count : {1, 2, 3, 5, 16, 100}) {
    ThreadCount setting(count);
    EXPECT_TRUE(sameArrays(normalsOf(mesh), referenceNormalsOf(mesh), 210));
  }
  omp_set_dynamic(0);
}

}  // namespace
