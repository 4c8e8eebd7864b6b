// Normals at hits against their scalar twins.
#include <gtest/gtest.h>

#include "reference/normals_reference.h"
#include "support/ray_arrays.h"
#include "vekr.h"

namespace {

using namespace vekr_test;
using vekr_reference::Form;
using vekr_reference::formOf;

constexpr int32_t kTriangles = 12;

// Triangle numbers: random, equal by groups, with runs of dead rays of any negative number.
void fillTriangles(int32_t *numbers, int32_t length, Random &random) {
  for (int32_t i = 0; i < length; ++i) {
    if (i % 4 != 0 && random.below(3) > 0) {
      numbers[i] = numbers[i - 1];
    } else {
      static constexpr int32_t kDead[] = {-1, -5, INT32_MIN, -1000000};
      numbers[i] = random.below(3) == 0 ? kDead[random.below(4)] : random.below(kTriangles);
    }
  }
  if (length >= 4 && random.below(2)) std::fill_n(numbers + (length - 4), 4, random.below(2) ? -3 : 5);
}

// ---- Flat ----

TEST(FlatNormal, IsItsTwinAtEveryLengthAndAlignment) {
  Random random(1);
  for (int32_t length = 0; length <= 67; ++length) {
    // 0 to 2 the result's planes, 3 the triangle numbers, 4 the normals.
    for (int misaligned = -2; misaligned <= 4; ++misaligned) {
      RayArrays actual(3, length, misaligned), expected(3, length);
      Guarded<float> normals(3 * kTriangles, misaligned == 4 ? 4 : 0);
      for (float &x : normals) x = random.awkward();
      fillTriangles(actual.mask(), length, random);
      copyArrays(expected, actual);
      const std::vector<int32_t> maskBefore(actual.mask(), actual.mask() + length);
      ASSERT_EQ(vekrSurfFlatNormal_32f(normals.data(), actual.mask(), actual.triple(0), length), vekOk);
      vekr_reference::surfFlatNormal(normals.data(), expected.mask(), expected.triple(0), length);
      ASSERT_TRUE(sameRays(actual, expected, maskBefore.data()))
          << length << ", misaligned plane " << misaligned;
      ASSERT_TRUE(actual.intact()) << length << ", misaligned plane " << misaligned;
      for (int32_t i = 0; i < length; ++i) {  // a copy keeps every bit
        for (int c = 0; c < 3; ++c) {
          ASSERT_EQ(bitsOf(actual.plane(c)[i]), bitsOf(expected.plane(c)[i]));
        }
      }
    }
  }
}

TEST(FlatNormal, CopiesTheBitsOfASignallingNan) {
  Guarded<float> normals(6);
  for (float &x : normals) x = fromBits(0x7fa12345u);
  for (const int32_t length : {4, 5}) {
    for (const int32_t last : {1, 0, -1}) {  // equal numbers, different ones, some dead
      RayArrays a(3, length);
      std::fill_n(a.mask(), length, 1);
      a.mask()[length - 1] = last;
      ASSERT_EQ(vekrSurfFlatNormal_32f(normals.data(), a.mask(), a.triple(0), length), vekOk);
      for (int c = 0; c < 3; ++c) EXPECT_EQ(bitsOf(a.plane(c)[0]), 0x7fa12345u);
    }
  }
}

TEST(FlatNormal, ReadsNothingBehindTheLastNormalOrTheLastRay) {
  Random random(2);
  for (const int32_t triangles :
       {4, 5, 8, 12}) {  // multiples of four start aligned, before the unreadable page
    for (int32_t length = 1; length <= 13; ++length) {
      PageEnd<float> normals(static_cast<size_t>(3 * triangles));
      for (float &x : normals) x = random.within(-1, 1);
      using Place = RayArrays::Place;
      RayArrays actual({length, length, length, length},
                       {Place::pageEnd, Place::pageEnd, Place::pageEnd, Place::pageEnd});
      for (const bool equal : {true, false}) {
        RayArrays expected(3, length);
        for (int32_t i = 0; i < length; ++i) actual.mask()[i] = equal || i % 2 ? triangles - 1 : i % 4 - 1;
        copyArrays(expected, actual);
        ASSERT_EQ(vekrSurfFlatNormal_32f(normals.data(), actual.mask(), actual.triple(0), length), vekOk);
        vekr_reference::surfFlatNormal(normals.data(), expected.mask(), expected.triple(0), length);
        ASSERT_TRUE(sameRays(actual, expected, actual.mask())) << length;
      }
    }
  }
}

TEST(FlatNormal, DeadRaysReadNoNormal) {
  Untouchable page;
  for (const int32_t length : {4, 5}) {
    RayArrays a(3, length);
    for (int c = 0; c < 3; ++c) std::fill_n(a.plane(c), length, 9.0f);
    std::fill_n(a.mask(), length, -2);
    // At an aligned address: the page's start is one.
    const auto *normals =
        reinterpret_cast<const float *>(reinterpret_cast<uintptr_t>(page.as<char>()) & ~uintptr_t{63});
    ASSERT_EQ(vekrSurfFlatNormal_32f(normals, a.mask(), a.triple(0), length), vekOk);
    for (int c = 0; c < 3; ++c) {
      for (int32_t i = 0; i < length; ++i) EXPECT_EQ(bitsOf(a.plane(c)[i]), 0u);
    }
  }
}

TEST(FlatNormal, TestsTwoPointersBeforeTheLength) {
  RayArrays a(3, 8);
  const float normals[3] = {1, 2, 3};
  for (const int32_t length : {8, 5, 0, -1, -4}) {
    EXPECT_EQ(vekrSurfFlatNormal_32f(nullptr, a.mask(), a.triple(0), length), vekErrNullPtr);
    EXPECT_EQ(vekrSurfFlatNormal_32f(normals, nullptr, a.triple(0), length), vekErrNullPtr);
  }
  for (int c = 0; c < 3; ++c) {
    for (int i = 0; i < 8; ++i) EXPECT_EQ(bitsOf(a.plane(c)[i]), 0u);
  }
  Untouchable page;
  float *const nulls[3] = {};
  for (const int32_t length : kNoLengths) {
    EXPECT_EQ(vekrSurfFlatNormal_32f(page.as<float>(), page.as<int32_t>(), page.as<float *const>(), length),
              vekOk);
    EXPECT_EQ(vekrSurfFlatNormal_32f(page.as<float>(), page.as<int32_t>(), nulls, length), vekOk);
    EXPECT_EQ(vekrSurfFlatNormal_32f(page.as<float>(), page.as<int32_t>(), nullptr, length), vekOk);
  }
}

// ---- Smooth: result planes 0 to 2, weights 3 and 4, the mask plane holds the triangle numbers ----

struct Mesh {
  Guarded<float> normals;
  Guarded<int32_t> indices;

  Mesh(int32_t stride, size_t normalsOffset, size_t indicesOffset, bool awkward, Random &random)
      : normals(3 * 10, normalsOffset), indices(static_cast<size_t>(kTriangles * stride), indicesOffset) {
    const float scale = random.below(2) ? 1.0f : 5e-4f;  // near the threshold
    for (float &x : normals) x = awkward ? random.awkward() : scale * random.within(-1, 1);
    for (size_t i = 0; i < indices.size(); ++i) {
      indices[i] = static_cast<int32_t>(i) % stride < 3 ? random.below(10) : INT32_MIN;  // what nobody reads
    }
  }
};

TEST(SmoothNormal, IsItsTwinAtEveryLengthAndAlignment) {
  Random random(4);
  for (int32_t length = 0; length <= 67; ++length) {
    // 0 to 4 the planes, 5 the triangle numbers, 6 the normals, 7 the indices.
    for (int misaligned = -2; misaligned <= 7; ++misaligned) {
      for (const int32_t stride : {3, 4, 7}) {
        const bool awkward = random.below(3) == 0;
        Mesh mesh(stride, misaligned == 6 ? 4 : 0, misaligned == 7 ? 4 : 0, awkward, random);
        RayArrays actual(5, length, misaligned), expected(5, length);
        for (int p = 0; p < 5; ++p) {
          for (int32_t i = 0; i < length; ++i)
            actual.plane(p)[i] = awkward ? random.awkward() : random.unit();
        }
        fillTriangles(actual.mask(), length, random);
        for (int32_t i = 0; i < length; ++i) {  // a dead ray's weights may be anything
          if (actual.mask()[i] < 0) actual.plane(3)[i] = fromBits(0xffa12345u);
        }
        copyArrays(expected, actual);
        const std::vector<int32_t> maskBefore(actual.mask(), actual.mask() + length);
        const float *hits[2] = {actual.plane(3), actual.plane(4)};
        const float *expectedHits[2] = {expected.plane(3), expected.plane(4)};
        ASSERT_EQ(vekrSurfSmoothNormal_32f(mesh.normals.data(), mesh.indices.data(), actual.mask(), hits,
                                           actual.triple(0), length, stride),
                  vekOk);
        vekr_reference::surfSmoothNormal(formOf(length, misaligned < 0), mesh.normals.data(),
                                         mesh.indices.data(), expected.mask(), expectedHits,
                                         expected.triple(0), length, stride);
        ASSERT_TRUE(sameRays(actual, expected, maskBefore.data()))
            << "length " << length << ", misaligned plane " << misaligned << ", stride " << stride;
        ASSERT_TRUE(actual.intact());
      }
    }
  }
}

// Calls with equal triangle number 0 on every ray; the sum of the weighted normals is x times u.
float smoothOfLength(float x, int32_t length, int component = 0) {
  Guarded<float> normals(9);
  normals[0] = x;
  Guarded<int32_t> indices(4);
  for (size_t i = 0; i < 3; ++i) indices[i] = static_cast<int32_t>(i);
  RayArrays a(5, length);
  std::fill_n(a.plane(3), length, 1.0f);
  const float *hits[2] = {a.plane(3), a.plane(4)};
  EXPECT_EQ(vekrSurfSmoothNormal_32f(normals.data(), indices.data(), a.mask(), hits, a.triple(0), length, 4),
            vekOk);
  return a.plane(component)[0];
}

TEST(SmoothNormal, ThresholdBelongsToThePlainFormOnly) {
  // 1.1920929e-7 is 2^-23, no square of a float: two equal components whose squares are 2^-24.
  Guarded<float> normals(9);
  normals[0] = normals[1] = 0x1p-12f;
  Guarded<int32_t> indices(4);
  for (const float factor : {1.0f, 1.0f - 0x1p-23f, 1.0f + 0x1p-22f}) {
    for (const int32_t length : {4, 5}) {
      RayArrays a(5, length), b(5, length);
      std::fill_n(a.plane(3), length, factor);
      copyArrays(b, a);
      const float *hits[2] = {a.plane(3), a.plane(4)};
      indices[1] = indices[2] = 1;  // zero normals
      ASSERT_EQ(vekrSurfSmoothNormal_32f(normals.data() + 0, indices.data(), a.mask(), hits, a.triple(0),
                                         length, 4),
                vekOk);
      vekr_reference::surfSmoothNormal(formOf(length, true), normals.data(), indices.data(), b.mask(), hits,
                                       b.triple(0), length, 4);
      EXPECT_TRUE(sameRays(a, b, a.mask()));
      if (factor == 1.0f) {
        EXPECT_EQ(a.plane(0)[0], length == 4 ? 0.0f : std::sqrt(0.5f));
      }
      if (factor < 1.0f) {
        EXPECT_EQ(bitsOf(a.plane(0)[0]), 0u);
      }
      if (factor > 1.0f) {
        EXPECT_NEAR(a.plane(0)[0], std::sqrt(0.5f), 1e-6f);
      }
    }
  }
}

TEST(SmoothNormal, ZeroKeepsTheSignOfTheSumInTheKernelOnly) {
  EXPECT_EQ(bitsOf(smoothOfLength(-1e-10f, 4)), 0x80000000u);
  EXPECT_EQ(bitsOf(smoothOfLength(-1e-10f, 5)), 0u);
  EXPECT_EQ(bitsOf(smoothOfLength(1e-10f, 4)), 0u);
  EXPECT_EQ(bitsOf(smoothOfLength(1e-10f, 5)), 0u);
}

TEST(SmoothNormal, OfNormalsThatCancelOutIsZero) {
  for (const int32_t length : {4, 5}) {
    Guarded<float> normals(9);
    normals[0] = normals[1] = 0.5f;
    normals[3] = normals[4] = -0.5f;
    normals[6] = 1;
    Guarded<int32_t> indices(4);
    for (size_t i = 0; i < 3; ++i) indices[i] = static_cast<int32_t>(i);
    RayArrays a(5, length);
    std::fill_n(a.plane(3), length, 0.5f);
    std::fill_n(a.plane(4), length, 0.5f);
    const float *hits[2] = {a.plane(3), a.plane(4)};
    ASSERT_EQ(
        vekrSurfSmoothNormal_32f(normals.data(), indices.data(), a.mask(), hits, a.triple(0), length, 4),
        vekOk);
    for (int c = 0; c < 3; ++c) {
      for (int32_t i = 0; i < length; ++i) EXPECT_EQ(a.plane(c)[i], 0.0f);
    }
  }
}

TEST(SmoothNormal, WeightsBelongToTheVerticesInOrder) {
  for (const int32_t length : {4, 5}) {
    Guarded<float> normals(9);
    normals[0] = normals[4] = normals[8] = 1;  // x, y, z
    Guarded<int32_t> indices(4);
    for (size_t i = 0; i < 3; ++i) indices[i] = static_cast<int32_t>(i);
    for (int which = 0; which < 3; ++which) {
      RayArrays a(5, length);
      if (which < 2) std::fill_n(a.plane(3 + which), length, 1.0f);
      const float *hits[2] = {a.plane(3), a.plane(4)};
      ASSERT_EQ(
          vekrSurfSmoothNormal_32f(normals.data(), indices.data(), a.mask(), hits, a.triple(0), length, 4),
          vekOk);
      for (int c = 0; c < 3; ++c) EXPECT_NEAR(a.plane(c)[1], c == which ? 1.0f : 0.0f, 1e-6f);
    }
  }
}

TEST(SmoothNormal, IndexProductWrapsAtThirtyTwoBits) {
  struct Case {
    int32_t n, stride;
  };
  // 0x55555556 * 3 wraps to 2, 0x55555555 * 3 to -1, 0x40000000 * 4 to 0.
  for (const Case c :
       {Case{0x55555556, 3}, Case{0x55555555, 3}, Case{0x40000000, 4}, Case{1, -1}, Case{INT32_MAX, 2}}) {
    for (const int32_t length : {4, 5}) {
      for (const bool equal : {true, false}) {
        Random random(5);
        Guarded<float> normals(3 * 12);
        for (float &x : normals) x = random.within(-1, 1);
        Guarded<int32_t> indices(12);
        for (size_t i = 0; i < 12; ++i) indices[i] = static_cast<int32_t>(11 - i);
        RayArrays a(5, length), b(5, length);
        std::fill_n(a.mask(), length, c.n);
        if (!equal) a.mask()[1] = 0;
        std::fill_n(a.plane(3), length, 0.25f);
        std::fill_n(a.plane(4), length, 0.5f);
        copyArrays(b, a);
        const float *hits[2] = {a.plane(3), a.plane(4)};
        const int32_t *middle = indices.data() + 4;  // 16-byte aligned, with entries before it
        ASSERT_EQ(
            vekrSurfSmoothNormal_32f(normals.data(), middle, a.mask(), hits, a.triple(0), length, c.stride),
            vekOk);
        vekr_reference::surfSmoothNormal(formOf(length, true), normals.data(), middle, b.mask(), hits,
                                         b.triple(0), length, c.stride);
        EXPECT_TRUE(sameRays(a, b, a.mask())) << c.n << " * " << c.stride;
      }
    }
  }
}

TEST(SmoothNormal, ReadsNothingBehindTheLastNormalIndexOrRay) {
  Random random(6);
  constexpr int32_t kCount =
      4;  // triangles and normals: their arrays start aligned, before the unreadable page
  for (int32_t length = 1; length <= 13; ++length) {
    for (const bool equal : {true, false}) {
      PageEnd<float> normals(3 * kCount);
      for (float &x : normals) x = random.within(-1, 1);
      PageEnd<int32_t> indices(3 * kCount);
      for (int32_t &n : indices) n = kCount - 1 - random.below(2);
      using Place = RayArrays::Place;
      RayArrays actual({length, length, length, length, length, length},
                       std::vector<Place>(6, Place::pageEnd));
      RayArrays expected(5, length);
      for (int32_t i = 0; i < length; ++i) {
        actual.mask()[i] = equal || i % 2 ? kCount - 1 : i % 4 - 1;
        actual.plane(3)[i] = random.unit();
        actual.plane(4)[i] = random.unit();
      }
      copyArrays(expected, actual);
      const float *hits[2] = {actual.plane(3), actual.plane(4)};
      ASSERT_EQ(vekrSurfSmoothNormal_32f(normals.data(), indices.data(), actual.mask(), hits,
                                         actual.triple(0), length, 3),
                vekOk);
      vekr_reference::surfSmoothNormal(formOf(length, true), normals.data(), indices.data(), expected.mask(),
                                       hits, expected.triple(0), length, 3);
      ASSERT_TRUE(sameRays(actual, expected, actual.mask())) << length;
    }
  }
}

TEST(SmoothNormal, TheFourthIndexOfTheLastTriangleIsUnread) {
  // An odd number of ints before the page: the plain form.
  Random random(7);
  for (const int32_t length : {4, 5, 8}) {
    PageEnd<float> normals(12);
    for (float &x : normals) x = random.within(-1, 1);
    PageEnd<int32_t> indices(4 * 3 - 1);
    for (int32_t &n : indices) n = 3;
    RayArrays a(5, length), b(5, length);
    std::fill_n(a.mask(), length, 2);
    copyArrays(b, a);
    const float *hits[2] = {a.plane(3), a.plane(4)};
    ASSERT_EQ(
        vekrSurfSmoothNormal_32f(normals.data(), indices.data(), a.mask(), hits, a.triple(0), length, 4),
        vekOk);
    vekr_reference::surfSmoothNormal(Form::plain, normals.data(), indices.data(), b.mask(), hits, b.triple(0),
                                     length, 4);
    EXPECT_TRUE(sameRays(a, b, a.mask()));
  }
}

TEST(SmoothNormal, DeadGroupsReadNeitherMeshNorWeights) {
  Untouchable page;
  const auto start = reinterpret_cast<uintptr_t>(page.as<char>()) & ~uintptr_t{63};
  for (const int32_t length : {4, 8}) {
    RayArrays a(3, length);
    for (int c = 0; c < 3; ++c) std::fill_n(a.plane(c), length, 9.0f);
    std::fill_n(a.mask(), length, -2);
    const float *hits[2] = {reinterpret_cast<const float *>(start), reinterpret_cast<const float *>(start)};
    ASSERT_EQ(vekrSurfSmoothNormal_32f(reinterpret_cast<const float *>(start),
                                       reinterpret_cast<const int32_t *>(start), a.mask(), hits, a.triple(0),
                                       length, 3),
              vekOk);
    for (int c = 0; c < 3; ++c) {
      for (int32_t i = 0; i < length; ++i) EXPECT_EQ(bitsOf(a.plane(c)[i]), 0u);
    }
  }
}

TEST(SmoothNormal, TestsFivePointersBeforeTheLength) {
  RayArrays a(5, 8);
  const float normals[9] = {1, 2, 3};
  const int32_t indices[4] = {};
  const float *hits[2] = {a.plane(3), a.plane(4)};
  for (const int32_t length : {8, 5, 0, -1, -4}) {
    EXPECT_EQ(vekrSurfSmoothNormal_32f(nullptr, indices, a.mask(), hits, a.triple(0), length, 4),
              vekErrNullPtr);
    EXPECT_EQ(vekrSurfSmoothNormal_32f(normals, nullptr, a.mask(), hits, a.triple(0), length, 4),
              vekErrNullPtr);
    EXPECT_EQ(vekrSurfSmoothNormal_32f(normals, indices, nullptr, hits, a.triple(0), length, 4),
              vekErrNullPtr);
    EXPECT_EQ(vekrSurfSmoothNormal_32f(normals, indices, a.mask(), nullptr, a.triple(0), length, 4),
              vekErrNullPtr);
    EXPECT_EQ(vekrSurfSmoothNormal_32f(normals, indices, a.mask(), hits, nullptr, length, 4), vekErrNullPtr);
  }
  for (int c = 0; c < 3; ++c) {
    for (int i = 0; i < 8; ++i) EXPECT_EQ(bitsOf(a.plane(c)[i]), 0u);
  }
  Untouchable page;
  float *const nulls[3] = {};
  for (const int32_t length : kNoLengths) {
    EXPECT_EQ(vekrSurfSmoothNormal_32f(page.as<float>(), page.as<int32_t>(), page.as<int32_t>(),
                                       page.as<const float *const>(), page.as<float *const>(), length, 4),
              vekOk);
    EXPECT_EQ(vekrSurfSmoothNormal_32f(page.as<float>(), page.as<int32_t>(), page.as<int32_t>(), nulls, nulls,
                                       length, 4),
              vekOk);
  }
}

}  // namespace
