// The optional helpers of vekr_extra.h, from C++ and (extra_test.c) from C.
#include "frame/extra_test.h"

#include <gtest/gtest.h>

#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "vekr_extra.h"

namespace {

const std::vector<float> kVertices = {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0};
const std::vector<int32_t> kIndices = {0, 1, 2, INT32_MIN, 1, 3, 2, INT32_MAX};

VekrExtraMeshReport check(const std::vector<float> &vertices, const std::vector<int32_t> &indices,
                          VekStatus expected) {
  VekrExtraMeshReport report = {-7, -7, -7, -7, -7};
  EXPECT_EQ(vekrExtraCheckMesh(vertices.data(), indices.data(), static_cast<int32_t>(vertices.size() / 3),
                               static_cast<int32_t>(indices.size() / 4), &report),
            expected);
  return report;
}

}  // namespace

// Whoever adds a status to the header without a text is told here.
TEST(Extra, EveryStatusOfTheHeaderHasATextThatBeginsWithItsName) {
  std::ifstream file(VEKR_HEADER);
  int count = 0;
  for (std::string line; std::getline(file, line);) {  // "  vekErrRange = -3,"
    std::istringstream words(line);
    std::string name, equals;
    VekStatus number = 0;
    if (!(words >> name >> equals >> number) || equals != "=" || name.rfind("vekr", 0) == 0) continue;
    ++count;
    EXPECT_EQ(std::string(vekrExtraStatusText(number)).rfind(name + ": ", 0), 0u) << name;
    EXPECT_STREQ(vekrExtraStatusText(number), extraStatusTextFromC(number));
  }
  EXPECT_EQ(count, 15);
  EXPECT_STREQ(vekrExtraStatusText(-12345), "unknown status");
}

TEST(Extra, AGoodMeshHasNothingToReport) {
  const VekrExtraMeshReport report = check(kVertices, kIndices, vekOk);
  EXPECT_EQ(report.strayTriangles, 0);
  EXPECT_EQ(report.firstStray, -1);
  EXPECT_EQ(report.badVertices, 0);
  EXPECT_EQ(report.firstBad, -1);
  EXPECT_EQ(report.degenerate, 0);
}

TEST(Extra, StrayVertexNumbersAreFoundAtEachCornerAndOnBothSides) {
  for (size_t corner = 0; corner < 3; ++corner) {
    for (const int32_t number : {-1, 4, INT32_MIN, INT32_MAX}) {
      std::vector<int32_t> indices = kIndices;
      indices[4 + corner] = number;
      const VekrExtraMeshReport report = check(kVertices, indices, vekErrRange);
      EXPECT_EQ(report.strayTriangles, 1);
      EXPECT_EQ(report.firstStray, 1);
    }
  }
  std::vector<int32_t> both = kIndices;
  both[0] = both[6] = 99;
  const VekrExtraMeshReport twice = check(kVertices, both, vekErrRange);
  EXPECT_EQ(twice.strayTriangles, 2);
  EXPECT_EQ(twice.firstStray, 0);
  const VekrExtraMeshReport all = check({}, kIndices, vekErrNullPtr);  // an empty vector has no address
  EXPECT_EQ(all.strayTriangles, -7);
}

TEST(Extra, CoordinatesThatAreNotFiniteAreFound) {
  for (const float value : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity()}) {
    for (size_t axis = 0; axis < 3; ++axis) {
      std::vector<float> vertices = kVertices;
      vertices[6 + axis] = value;
      vertices[9 + axis] = value;
      const VekrExtraMeshReport report = check(vertices, kIndices, vekErrRange);
      EXPECT_EQ(report.badVertices, 2);
      EXPECT_EQ(report.firstBad, 2);
      EXPECT_EQ(report.strayTriangles, 0);
    }
  }
  std::vector<float> vertices = kVertices;
  vertices[0] = std::numeric_limits<float>::max();
  vertices[1] = std::numeric_limits<float>::denorm_min();
  check(vertices, kIndices, vekOk);
}

TEST(Extra, DegenerateTrianglesAreCountedAndNoError) {
  const std::vector<int32_t> indices = {0, 0, 1, 0, 0, 1, 2, 0, 3, 3, 3, 0};
  EXPECT_EQ(check(kVertices, indices, vekOk).degenerate, 2);
}

TEST(Extra, NullPointersAndNegativeCountsAreRefusedFirst) {
  VekrExtraMeshReport report;
  const float *v = kVertices.data();
  const int32_t *t = kIndices.data();
  EXPECT_EQ(vekrExtraCheckMesh(nullptr, t, 4, 2, &report), vekErrNullPtr);
  EXPECT_EQ(vekrExtraCheckMesh(v, nullptr, 4, 2, &report), vekErrNullPtr);
  EXPECT_EQ(vekrExtraCheckMesh(v, t, 4, 2, nullptr), vekErrNullPtr);
  EXPECT_EQ(vekrExtraCheckMesh(v, t, -1, 2, &report), vekErrSize);
  EXPECT_EQ(vekrExtraCheckMesh(v, t, 4, -1, &report), vekErrSize);
  EXPECT_EQ(vekrExtraCheckMesh(v, t, 0, 0, &report), vekOk);
}

TEST(Extra, PlanesAreAlignedAndDontOverlap) {
  for (const int32_t count : {1, 15, 16, 17, 63, 64, 65, 1000}) {
    float *planes[5];
    ASSERT_EQ(vekrExtraAllocPlanes_32f(planes, 5, count), vekOk);
    for (int i = 0; i < 5; ++i) {
      EXPECT_EQ(reinterpret_cast<uintptr_t>(planes[i]) % 64, 0u);
      EXPECT_GE(planes[i] - planes[0], i * count);
      for (int32_t k = 0; k < count; ++k) planes[i][k] = static_cast<float>(i);  // the sanitizer looks on
    }
    vekFree(planes[0]);
    int32_t *masks[2] = {};
    ASSERT_EQ(vekrExtraAllocPlanes_32s(masks, 2, count), vekOk);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(masks[1]) % 64, 0u);
    for (int32_t k = 0; k < count; ++k) masks[0][k] = masks[1][k] = k;
    vekFree(masks[0]);
  }
}

TEST(Extra, RefusedAllocationsLeaveTheListAlone) {
  float here = 0, *plane = &here;
  int32_t there = 0, *mask = &there;
  EXPECT_EQ(vekrExtraAllocPlanes_32f(nullptr, 1, 1), vekErrNullPtr);
  EXPECT_EQ(vekrExtraAllocPlanes_32s(nullptr, 1, 1), vekErrNullPtr);
  for (const auto &[planes, count] :
       std::vector<std::pair<int32_t, int32_t>>{{0, 1}, {1, 0}, {-1, 1}, {1, -1}}) {
    EXPECT_EQ(vekrExtraAllocPlanes_32f(&plane, planes, count), vekErrSize);
    EXPECT_EQ(vekrExtraAllocPlanes_32s(&mask, planes, count), vekErrSize);
  }
  EXPECT_EQ(plane, &here);
  EXPECT_EQ(mask, &there);
}

TEST(Extra, ThisProcessorIsServed) { EXPECT_EQ(vekrExtraProcessorIsServed(), 1); }

TEST(Extra, ACProgramTracesWithoutCasts) {
  EXPECT_EQ(extraTraceFromC(kVertices.data(), kIndices.data(), 4, 2), 12);
  std::vector<int32_t> stray = kIndices;
  stray[2] = 4;
  EXPECT_EQ(extraTraceFromC(kVertices.data(), stray.data(), 4, 2), -2);
}
