// The kernels of every instruction set against their scalar twins, bit for bit.
#include "prresize/kernels.h"

#include <gtest/gtest.h>

#include <cmath>

#include "prresize/mapping.h"
#include "prresize/ring.h"
#include "resize_case.h"

namespace {

using namespace vekr;
using namespace vekr_test;
using reference::ResizeTwin;

constexpr const InterpolationKind &kLagrange = *interpolationOf(vekrInterCubicLagrange);

// Words on the way are unsigned: voxels with a sign are refused.
template <class Voxel>
concept HasLinear = requires {
  typename LinearTypes<Voxel>::Middle;
};
static_assert(HasLinear<uint8_t> && HasLinear<uint16_t> && HasLinear<float>);
static_assert(!HasLinear<int16_t> && !HasLinear<int8_t> && !HasLinear<double>);

// The kernels of one set, under names that a test can be written over.
#define KERNEL_SET(space, isThere, ...)         \
  struct In_##space {                           \
    static bool runs() { return isThere; }      \
    static constexpr const char *name = #space; \
    template <class... A>                       \
    static void nearest(A... a) {               \
      space::ownResizeN(a...);                  \
    }                                           \
    template <class V, class... A>              \
    static void linearPlane(A... a) {           \
      space::ownResizeL<V>(a...);               \
    }                                           \
    template <class V, class... A>              \
    static void linearSlice(A... a) {           \
      space::ownrResizeL<V>(a...);              \
    }                                           \
    template <class V, class... A>              \
    static void linearDep(A... a) {             \
      space::ownpr_DepL<V>(a...);               \
    }                                           \
    template <class V, class... A>              \
    static void cubicSlice(A... a) {            \
      space::ownrResizeC<V>(a...);              \
    }                                           \
    template <class V, class... A>              \
    static void cubicDep(A... a) {              \
      space::ownpr_DepC<V>(a...);               \
    }                                           \
  };
VEKR_SETS(KERNEL_SET)
#undef KERNEL_SET

template <class SetType, class VoxelType>
struct Case {
  using Set = SetType;
  using Voxel = VoxelType;
};

// A plane of a source whose region is `width` columns wide, with margins as `begin` and the factors make them.
template <class CaseType>
class ResizeKernels : public ::testing::Test {
 protected:
  using Set = typename CaseType::Set;
  using Voxel = typename CaseType::Voxel;
  using Weight = LinearWeight<Voxel>;
  using Middle = LinearMiddle<Voxel>;

  void SetUp() override {
    if (!Set::runs()) GTEST_SKIP() << "this processor hasn't got the instructions";
  }

  struct Setting {
    int32_t first, width, height;  // of the destination's columns and rows
    double xFactor, yFactor;
    int32_t code;
  };

  static constexpr VekrVolumeSize kSize = {37, 7, 1};

  static ResizeRequest request(const Setting &s) {
    return {kSize,
            {0, 0, 0, kSize.width, kSize.height, 1},
            {s.first, 0, 0, s.width, s.height, 1},
            {s.xFactor, s.yFactor, 1},
            {0, 0, 0},
            s.code};
  }
  static Mapping mapping(const ResizeRequest &r, int axis, int32_t begin, int32_t count, int32_t size) {
    return {1 / r.factor[axis], (0 - r.shift[axis]) / r.factor[axis], begin, count, size};
  }

  // body(source, axes, width, height, twin) for widths 1 to 40 of several kinds of margin.
  template <class W, class Fill, class Body>
  static void forSettings(int32_t code, const Fill &fill, const Body &body) {
    Random random(31);
    for (int32_t width = 1; width <= 40; ++width) {
      const Setting settings[] = {{0, width, 9, 1.3, 1.3, code},     // both margins, as far as they fit
                                  {4, width, 4, 1.2, 0.6, code},     // none on the left
                                  {0, width, 15, 2.0, 2.2, code},    //
                                  {0, width, 30, 6.0, 4.4, code},    // wide ones
                                  {2, width, 3, 0.45, 0.45, code}};  // steps of two and three
      for (const Setting &s : settings) {
        const ResizeRequest r = request(s);
        TestVolume<Voxel> source(kSize, packed<Voxel>(kSize, width % 3));
        source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<Voxel>(random); });
        const auto read = [&](int32_t x, int32_t y, int32_t z) { return source.get(x, y, z); };
        ResizeTwin<Voxel, decltype(read)> twin(r, source.layout().step, read);
        if (twin.empty()) continue;
        const int32_t w = twin.interval(0).end - twin.interval(0).begin;
        const int32_t h = twin.interval(1).end - twin.interval(1).begin;
        std::vector<int32_t> xIndex(w), yIndex(h);
        std::vector<W> xWeight(w), yWeight(h);
        const PlaneAxes<W> axes = {
            fill(mapping(r, 0, twin.interval(0).begin, w, kSize.width), xIndex.data(), xWeight.data()),
            fill(mapping(r, 1, twin.interval(1).begin, h, kSize.height), yIndex.data(), yWeight.data())};
        const Rows<const Voxel> plane = {source.block(),
                                         source.layout().step / static_cast<int32_t>(sizeof(Voxel))};
        SCOPED_TRACE(std::string(Set::name) + ", " + describe(r));
        body(plane, axes, w, h, twin);
        if (HasFailure()) return;
      }
    }
  }

  // Four row buffers of exactly `width` elements.
  template <class Element>
  struct RowBuffers {
    Guarded<Element> memory[4];
    Element *rows[4];
    explicit RowBuffers(int32_t width)
        : memory{Guarded<Element>(width), Guarded<Element>(width), Guarded<Element>(width),
                 Guarded<Element>(width)} {
      for (int i = 0; i < 4; ++i) rows[i] = memory[i].data();
    }
    bool intact() const {
      return memory[0].intact() && memory[1].intact() && memory[2].intact() && memory[3].intact();
    }
  };

  // Compares a band with what(x, y).
  template <class Element, class What>
  static void expectBand(const Guarded<Element> &out, int32_t step, int32_t width, RowBand band,
                         const What &what) {
    EXPECT_TRUE(out.intact());
    for (int32_t y = band.begin; y < band.end; ++y) {
      for (int32_t x = 0; x < width; ++x) {
        const auto expected = static_cast<Element>(what(x, y));
        const Element actual = out[static_cast<size_t>((y - band.begin) * step + x)];
        bool equal = actual == expected;
        if constexpr (std::is_same_v<Element, float>) equal = same(actual, expected);
        if (!equal)
          FAIL() << "column " << x << ", row " << y << ": " << +actual << " instead of " << +expected;
      }
      for (int32_t x = width; x < step; ++x) {
        ASSERT_EQ(out[static_cast<size_t>((y - band.begin) * step + x)], Element()) << "behind row " << y;
      }
    }
  }

  // The whole plane, and two of its parts.
  static std::vector<RowBand> bands(int32_t height) {
    return {{0, height}, {0, (height + 1) / 2}, {height / 3, height}};
  }
};
template <class Nothing, class... Cases>
using TypesOf = ::testing::Types<Cases...>;
#define CASES_OF_SET(space, isThere, ...) \
  , Case<In_##space, uint8_t>, Case<In_##space, uint16_t>, Case<In_##space, float>
using Cases = TypesOf<void VEKR_SETS(CASES_OF_SET)>;
#undef CASES_OF_SET
TYPED_TEST_SUITE(ResizeKernels, Cases);

TYPED_TEST(ResizeKernels, LinearSlices) {
  using Voxel = typename TypeParam::Voxel;
  using Middle = LinearMiddle<Voxel>;
  this->template forSettings<LinearWeight<Voxel>>(
      2, fillLinear<LinearWeight<Voxel>>,
      [&](auto plane, const auto &axes, int32_t w, int32_t h, auto &twin) {
        for (const RowBand band : this->bands(h)) {
          typename TestFixture::template RowBuffers<Middle> rows(w);
          Guarded<Middle> slice(static_cast<size_t>(64 * h));
          TypeParam::Set::template linearSlice<Voxel>(plane, Rows<Middle>{slice.data(), 64}, axes, band,
                                                      rows.rows);
          this->expectBand(slice, 64, w, band,
                           [&](int32_t x, int32_t y) { return twin.linearSlice(x, y, 0); });
          EXPECT_TRUE(rows.intact());
        }
      });
}

TYPED_TEST(ResizeKernels, LinearPlanes) {
  using Voxel = typename TypeParam::Voxel;
  this->template forSettings<LinearWeight<Voxel>>(
      2, fillLinear<LinearWeight<Voxel>>,
      [&](auto plane, const auto &axes, int32_t w, int32_t h, auto &twin) {
        typename TestFixture::template RowBuffers<LinearMiddle<Voxel>> rows(w);
        Guarded<Voxel> out(static_cast<size_t>(41 * h));
        TypeParam::Set::template linearPlane<Voxel>(plane, Rows<Voxel>{out.data(), 41}, axes, RowBand{0, h},
                                                    rows.rows);
        this->expectBand(out, 41, w, {0, h}, [&](int32_t x, int32_t y) { return *twin.at(x, y, 0); });
      });
}

TYPED_TEST(ResizeKernels, LinearCombinations) {
  using Voxel = typename TypeParam::Voxel;
  using Middle = LinearMiddle<Voxel>;
  Random random(5);
  this->template forSettings<LinearWeight<Voxel>>(
      2, fillLinear<LinearWeight<Voxel>>, [&](auto, const auto &axes, int32_t w, int32_t h, auto &twin) {
        Guarded<Middle> slices[2] = {Guarded<Middle>(static_cast<size_t>(64 * h)),
                                     Guarded<Middle>(static_cast<size_t>(64 * h))};
        for (auto &slice : slices) {
          for (int32_t i = 0; i < 64 * h; ++i) {
            if constexpr (std::is_same_v<Voxel, float>) {
              slice[i] = random.awkward();
            } else {
              // Bytes have six bits of fraction inside.
              const bool frame = i % 64 >= w || twin.inFrame(i % 64, i / 64);
              const uint32_t most = sizeof(Voxel) == 2 ? 65535 : frame ? 255 : 16320;
              slice[i] = static_cast<Middle>(random.bits() % (most + 1));
            }
          }
        }
        const int32_t fixed = random.below(16385);
        const float f = random.unit();
        LinearWeight<Voxel> weight;
        if constexpr (std::is_same_v<Voxel, float>)
          weight = f;
        else
          weight = {static_cast<uint16_t>(16384 - fixed), static_cast<uint16_t>(fixed)};
        for (const RowBand band : this->bands(h)) {
          Guarded<Voxel> out(static_cast<size_t>(41 * h));
          TypeParam::Set::template linearDep<Voxel>(
              Rows<Voxel>{out.data() - 41 * band.begin, 41},
              Rows<const Middle>{slices[0].data() + 64 * band.begin, 64},
              Rows<const Middle>{slices[1].data() + 64 * band.begin, 64}, weight, axes, band);
          this->expectBand(out, 41, w, band, [&](int32_t x, int32_t y) -> Voxel {
            const size_t at = static_cast<size_t>(y * 64 + x);
            if constexpr (std::is_same_v<Voxel, float>) {
              return (1.0f - f) * slices[0][at] + f * slices[1][at];
            } else {
              const int64_t sum = int64_t{slices[0][at]} * (16384 - fixed) + int64_t{slices[1][at]} * fixed;
              if (sizeof(Voxel) == 1 && !twin.inFrame(x, y)) return static_cast<Voxel>((sum + 0x80000) >> 20);
              return static_cast<Voxel>((sum + 8192) >> 14);
            }
          });
        }
      });
}

TYPED_TEST(ResizeKernels, CubicSlices) {
  using Voxel = typename TypeParam::Voxel;
  for (int32_t code : {4, 5}) {
    const auto fill = [&](const Mapping &m, int32_t *index, CubicWeights *weight) {
      return fillCubic(m, *interpolationOf(code), index, weight);
    };
    this->template forSettings<CubicWeights>(
        code, fill, [&](auto plane, const auto &axes, int32_t w, int32_t h, auto &twin) {
          for (const RowBand band : this->bands(h)) {
            typename TestFixture::template RowBuffers<float> rows(w);
            Guarded<float> slice(static_cast<size_t>(64 * h));
            TypeParam::Set::template cubicSlice<Voxel>(plane, Rows<float>{slice.data(), 64}, axes, band,
                                                       rows.rows);
            this->expectBand(slice, 64, w, band,
                             [&](int32_t x, int32_t y) { return twin.cubicSlice(x, y, 0); });
            EXPECT_TRUE(rows.intact());
          }
        });
  }
}

// Interior voxels are truncated, those of the frame rounded, and both cut to the type's range.
TYPED_TEST(ResizeKernels, CubicCombinations) {
  using Voxel = typename TypeParam::Voxel;
  Random random(6);
  const auto fill = [&](const Mapping &m, int32_t *index, CubicWeights *weight) {
    return fillCubic(m, kLagrange, index, weight);
  };
  const double most =
      std::is_same_v<Voxel, float> ? 0 : static_cast<double>(std::numeric_limits<Voxel>::max());
  this->template forSettings<CubicWeights>(
      4, fill, [&](auto, const auto &axes, int32_t w, int32_t h, auto &twin) {
        Guarded<float> memory[4] = {Guarded<float>(64 * h), Guarded<float>(64 * h), Guarded<float>(64 * h),
                                    Guarded<float>(64 * h)};
        const float *slices[4];
        // Sums that end in .25, .5 and .75, beyond the range, and the one float below .5 that the frame rounds up.
        const bool plain = random.below(2) == 0;
        const auto quarters = [&]() -> float {
          if (random.below(9) == 0) return 0x1.fffffep-2f;
          return static_cast<float>(random.below(static_cast<int32_t>(most) * 5 + 50) - 20) * 0.25f;
        };
        for (int k = 0; k < 4; ++k) {
          slices[k] = memory[k].data();
          for (int32_t i = 0; i < 64 * h; ++i) {
            memory[k][i] = k > 0 && plain ? 0.0f
                           : plain        ? quarters()
                                          : random.within(-0.5f, 1.5f) * static_cast<float>(most + 1);
          }
        }
        const CubicWeights weights = plain ? CubicWeights{{1, 0, 0, 0}} : ownpi_Cubic2Kernel(random.unit());
        const float *const k = weights.k;
        for (const RowBand band : this->bands(h)) {
          Guarded<Voxel> out(static_cast<size_t>(41 * h));
          TypeParam::Set::template cubicDep<Voxel>(Rows<Voxel>{out.data() - 41 * band.begin, 41}, slices, 64,
                                                   weights, axes, band);
          this->expectBand(out, 41, w, band, [&](int32_t x, int32_t y) -> Voxel {
            const size_t at = static_cast<size_t>((y - band.begin) * 64 + x);
            const float r =
                (k[0] * slices[0][at] + k[1] * slices[1][at]) + (k[2] * slices[2][at] + k[3] * slices[3][at]);
            if constexpr (std::is_same_v<Voxel, float>) {
              return r;
            } else {
              const double whole = std::trunc(twin.inFrame(x, y) ? static_cast<double>(r) + 0.5000001 : r);
              return static_cast<Voxel>(std::min(std::max(whole, 0.0), most));
            }
          });
        }
      });
}

TYPED_TEST(ResizeKernels, NearestPlanes) {
  using Voxel = typename TypeParam::Voxel;
  Random random(7);
  for (int32_t width = 1; width <= 40; ++width) {
    const VekrVolumeSize size = {23, 5, 1};
    TestVolume<Voxel> source(size, packed<Voxel>(size));
    source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<Voxel>(random); });
    std::vector<int32_t> x(width), y(9);
    for (int32_t &i : x) i = random.below(23);
    for (int32_t &i : y) i = random.below(3);
    Guarded<Voxel> out(41 * 9);
    TypeParam::Set::nearest(Rows<const Voxel>{source.block(), 23}, Rows<Voxel>{out.data(), 41},
                            NearestAxes{width, 9, x.data(), y.data()});
    this->expectBand(out, 41, width, {0, 9}, [&](int32_t i, int32_t j) { return source.get(x[i], y[j], 0); });
  }
}

// ---------------------------------------------------------------- weights and coordinates

TEST(CubicKernels, AreThoseOfTheTwinToTheLastBit) {
  const auto compare = [](float t) {
    const CubicWeights all[4] = {ownpi_Cubic0Kernel(t), ownpi_Cubic1Kernel(t), ownpi_Cubic2Kernel(t),
                                 ownpi_Cubic3Kernel(t)};
    for (int32_t code = 4; code < 8; ++code) {
      float expected[4];
      reference::cubicWeights(code, t, expected);
      EXPECT_TRUE(sameArrays(all[code - 4].k, expected, 4)) << code << " at " << t;
    }
  };
  Random random(1);
  for (int i = 0; i < 20000; ++i) compare(random.unit());
  for (float t : {0.0f, 1.0f, 0.5f, 0x1p-24f, 1e-30f, 1.0f - 0x1p-24f}) compare(t);
}

TEST(CubicKernels, AtAVoxelAllButTheBSplineAndMitchellGiveItAlone) {
  const CubicWeights lagrange = ownpi_Cubic0Kernel(0), spline = ownpi_Cubic1Kernel(0),
                     catmull = ownpi_Cubic2Kernel(0);
  EXPECT_EQ(lagrange.k[1], 1.0f);
  EXPECT_EQ(lagrange.k[3], 0.0f);
  // What double arithmetic leaves of zero.
  EXPECT_EQ(lagrange.k[0], static_cast<float>((1.0 * -0.16666666666666666 + 1.0 - 1.8333333333333333) + 1.0));
  EXPECT_NEAR(lagrange.k[0], 0, 2e-16);
  EXPECT_EQ(lagrange.k[0], lagrange.k[2]);
  EXPECT_FLOAT_EQ(spline.k[0], 1 / 6.0f);
  EXPECT_FLOAT_EQ(spline.k[1], 2 / 3.0f);
  EXPECT_FLOAT_EQ(spline.k[2], 1 / 6.0f);
  EXPECT_EQ(spline.k[3], 0.0f);
  EXPECT_EQ(catmull.k[0], 0.0f);
  EXPECT_EQ(catmull.k[1], 1.0f);
}

TEST(CubicKernels, AFractionThatRoundsToOneDropsTheFirstTap) {
  for (const auto kernel : {ownpi_Cubic0Kernel, ownpi_Cubic1Kernel, ownpi_Cubic2Kernel, ownpi_Cubic3Kernel}) {
    EXPECT_EQ(kernel(1.0f).k[0], 0.0f);
  }
}

TEST(LinearWeights, AFractionJustBelowOneFillsTheScale) {
  int32_t index;
  FixedPair weight;
  // s = 0.5 * inverse - 0.5 + shift: 1 less than half a step of the scale below 1.
  const Mapping m = {1.0, 1 - 1e-13, 0, 1, 9};
  const Axis<FixedPair> axis = fillLinear(m, &index, &weight);
  EXPECT_EQ(axis.runs.inside, 1);
  EXPECT_EQ(index, 0);
  EXPECT_EQ(weight.near, 0);
  EXPECT_EQ(weight.far, 16384);
}

TEST(AxisClasses, AreHalfOpenAtEveryBound) {
  struct Expectation {
    double s;
    AxisRuns linear, cubic;
  };
  const double below1 = std::nextafter(1.0, 0.0), below5 = std::nextafter(5.0, 0.0),
               below6 = std::nextafter(6.0, 0.0);
  const Expectation all[] = {
      {-1e-300, {1, 0, 0, 0, 0}, {1, 0, 0, 0, 0}}, {-0.0, {0, 0, 1, 0, 0}, {0, 1, 0, 0, 0}},
      {0.0, {0, 0, 1, 0, 0}, {0, 1, 0, 0, 0}},     {below1, {0, 0, 1, 0, 0}, {0, 1, 0, 0, 0}},
      {1.0, {0, 0, 1, 0, 0}, {0, 0, 1, 0, 0}},     {below5, {0, 0, 1, 0, 0}, {0, 0, 1, 0, 0}},
      {5.0, {0, 0, 1, 0, 0}, {0, 0, 0, 1, 0}},     {below6, {0, 0, 1, 0, 0}, {0, 0, 0, 1, 0}},
      {6.0, {0, 0, 0, 0, 1}, {0, 0, 0, 0, 1}},     {8.5, {0, 0, 0, 0, 1}, {0, 0, 0, 0, 1}}};
  for (const Expectation &e : all) {
    int32_t index;
    float f;
    CubicWeights w;
    const Mapping m = {1.0, e.s, 0, 1, 7};
    const AxisRuns linear = fillLinear(m, &index, &f).runs, cubic = fillCubic(m, kLagrange, &index, &w).runs;
    EXPECT_EQ(std::memcmp(&linear, &e.linear, sizeof linear), 0) << e.s;
    EXPECT_EQ(std::memcmp(&cubic, &e.cubic, sizeof cubic), 0) << e.s;
  }
}

// ---------------------------------------------------------------- the ring

TEST(ResizeRing, ComputesWhatIsNewAndNothingBetween) {
  float slots[4];
  Ring<4, float> ring = {{slots, slots + 1, slots + 2, slots + 3}, {-1, -1, -1, -1}};
  std::vector<int32_t> computed;
  const auto window = [&](int32_t c) {
    computed.clear();
    for (int32_t p = c - 1; p <= c + 2; ++p) {
      const float *const slot = ring.at(p, [&](int32_t position, float *out) {
        computed.push_back(position);
        *out = static_cast<float>(position);
      });
      EXPECT_EQ(*slot, static_cast<float>(p));
    }
    return computed;
  };
  using Positions = std::vector<int32_t>;
  EXPECT_EQ(window(1), (Positions{0, 1, 2, 3}));
  EXPECT_EQ(window(1), Positions());
  EXPECT_EQ(window(2), (Positions{4}));
  EXPECT_EQ(window(4), (Positions{5, 6}));
  EXPECT_EQ(window(7), (Positions{7, 8, 9}));
  EXPECT_EQ(window(11), (Positions{10, 11, 12, 13}));
  EXPECT_EQ(window(100), (Positions{99, 100, 101, 102}));
}

}  // namespace
