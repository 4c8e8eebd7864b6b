// What the six transforms refuse, in which order, and that they touch nothing then.
#include <functional>

#include "tests/sh/support.h"

using namespace sh_test;

namespace {

// Arguments of a call; a test spoils one at a time.
struct Call {
  const float *x, *y, *z;
  const float *source;      // samples, or coefficients
  const float *sources[3];  // the same as a list
  const float *const *sourceList;
  float *target;
  float *targets[3];
  float *const *targetList;
  int32_t n = 1;
  uint32_t highest = 4;
  const VekrSHState *state;
};

struct Form {
  const char *name;
  bool listedSource, listedTarget;
  std::function<VekStatus(const Call &)> run;
};

const std::vector<Form> &forms() {
  static const std::vector<Form> all = {
      {"FwdC1I", false, false,
       [](const Call &c) {
         return vekrSHTFwd_32f_C1I(c.x, c.y, c.z, c.source, c.n, c.target, c.highest, c.state);
       }},
      {"FwdC3P3I", false, true,
       [](const Call &c) {
         return vekrSHTFwd_32f_C3P3I(c.x, c.y, c.z, c.source, c.n, c.targetList, c.highest, c.state);
       }},
      {"FwdP3I", true, true,
       [](const Call &c) {
         return vekrSHTFwd_32f_P3I(c.x, c.y, c.z, c.sourceList, c.n, c.targetList, c.highest, c.state);
       }},
      {"InvC1", false, false,
       [](const Call &c) {
         return vekrSHTInv_32f_C1(c.source, c.highest, c.x, c.y, c.z, c.target, c.n, c.state);
       }},
      {"InvP3", true, true,
       [](const Call &c) {
         return vekrSHTInv_32f_P3(c.sourceList, c.highest, c.x, c.y, c.z, c.targetList, c.n, c.state);
       }},
      {"InvP3C3", true, false, [](const Call &c) {
         return vekrSHTInv_32f_P3C3(c.sourceList, c.highest, c.x, c.y, c.z, c.target, c.n, c.state);
       }}};
  return all;
}

class TransformErrors : public ::testing::Test {
 protected:
  TransformErrors() : good(4, vekrSHRecurrent), targets_{{}, {}, {}}, sources_(3 * 256, 0.5f) {
    for (auto &t : targets_) t.assign(1024, 3.0f);
  }

  Call call() {
    Call c = {};
    c.x = c.y = c.z = c.source = sources_.data();
    c.target = targets_[0].data();
    for (int i = 0; i < 3; ++i) {
      c.sources[i] = sources_.data();
      c.targets[i] = targets_[i].data();
    }
    c.n = 1;
    c.highest = 4;
    c.state = good.get();
    return c;
  }

  // Runs with the lists bound, unless `bind` is off.
  static VekStatus run(const Form &form, Call &c) {
    c.sourceList = c.sources;
    c.targetList = c.targets;
    return form.run(c);
  }

  bool untouched() const {
    for (const auto &t : targets_) {
      if (t != std::vector<float>(1024, 3.0f)) return false;
    }
    return true;
  }

  State good;

 private:
  std::vector<float> targets_[3];
  std::vector<float> sources_;
};

TEST_F(TransformErrors, EveryPointerIsTestedBeforeAnythingElse) {
  const std::vector<std::function<void(Call &)>> spoilers = {
      [](Call &c) { c.x = nullptr; }, [](Call &c) { c.y = nullptr; }, [](Call &c) { c.z = nullptr; },
      [](Call &c) { c.state = nullptr; }};
  for (const Form &form : forms()) {
    for (const auto &spoil : spoilers) {
      for (int32_t n : {1, 0, -1}) {
        Call c = call();
        c.n = n;
        c.highest = 99;
        spoil(c);
        EXPECT_EQ(run(form, c), vekErrNullPtr) << form.name;
      }
    }
    Call c = call();
    c.n = 0;
    if (form.listedSource) {
      c.targetList = c.targets;
      c.sourceList = nullptr;
      EXPECT_EQ(form.run(c), vekErrNullPtr) << form.name;
    } else {
      c.source = nullptr;
      EXPECT_EQ(run(form, c), vekErrNullPtr) << form.name;
    }
    c = call();
    c.n = 0;
    if (form.listedTarget) {
      c.sourceList = c.sources;
      c.targetList = nullptr;
      EXPECT_EQ(form.run(c), vekErrNullPtr) << form.name;
    } else {
      c.target = nullptr;
      EXPECT_EQ(run(form, c), vekErrNullPtr) << form.name;
    }
  }
  EXPECT_TRUE(untouched());
}

TEST_F(TransformErrors, EntriesOfListsAreTestedBeforeTheCount) {
  for (const Form &form : forms()) {
    for (int i = 0; i < 3; ++i) {
      if (form.listedSource) {
        Call c = call();
        c.n = 0;
        c.sources[i] = nullptr;
        EXPECT_EQ(run(form, c), vekErrNullPtr) << form.name << ' ' << i;
      }
      if (form.listedTarget) {
        Call c = call();
        c.n = 0;
        c.targets[i] = nullptr;
        EXPECT_EQ(run(form, c), vekErrNullPtr) << form.name << ' ' << i;
      }
    }
  }
  EXPECT_TRUE(untouched());
}

TEST_F(TransformErrors, CountOfZeroThenBandThenNegativeCount) {
  for (const Form &form : forms()) {
    Call c = call();
    c.n = 0;
    EXPECT_EQ(run(form, c), vekErrSize) << form.name;
    c.highest = 5;
    EXPECT_EQ(run(form, c), vekErrSize) << form.name;
    c.n = 1;
    EXPECT_EQ(run(form, c), vekErrBadArg) << form.name;
    c.n = -1;
    EXPECT_EQ(run(form, c), vekErrBadArg) << form.name;
    c.highest = 0xFFFFFFFFu;
    EXPECT_EQ(run(form, c), vekErrBadArg) << form.name;
    c.highest = 4;
    EXPECT_EQ(run(form, c), vekOk) << form.name;
    c.n = INT32_MIN;
    EXPECT_EQ(run(form, c), vekOk) << form.name;
  }
  EXPECT_TRUE(untouched());
}

// Not refused, and the result isn't defined: it must not damage anything.
TEST_F(TransformErrors, BandsThatCannotBeEvaluatedDoNothing) {
  State wide(30, vekrSHRecurrent);
  State noState(4, vekrSHDirect);
  noState.get()->type = 7;
  for (const Form &form : forms()) {
    Call c = call();
    c.state = wide.get();
    c.highest = 30;
    EXPECT_EQ(run(form, c), vekOk) << form.name;
    c = call();
    c.state = noState.get();
    EXPECT_EQ(run(form, c), vekOk) << form.name;
  }
  EXPECT_TRUE(untouched());
}

TEST_F(TransformErrors, ReadAndWriteNothingBeyondTheirArrays) {
  for (int type : kTypes) {
    State state(kBands, type);
    for (uint32_t highest : {0u, 1u, 2u, 7u, 15u}) {
      for (size_t count : {1, 4, 5, 8, 11}) {
        const size_t values = valuesUpTo(highest);
        PageEnd<float> v(count), in(3 * std::max(count, values)), coefficients(values), samples(3 * count);
        for (size_t i = 0; i < count; ++i) v[i] = 0.25f;
        const float *x = v.data();
        const auto n = static_cast<int32_t>(count);
        float *list[3] = {coefficients.data(), coefficients.data(), coefficients.data()};
        EXPECT_EQ(vekrSHTFwd_32f_C1I(x, x, x, samples.data() + 2 * count, n, coefficients.data(), highest,
                                     state.get()),
                  vekOk);
        EXPECT_EQ(vekrSHTFwd_32f_C3P3I(x, x, x, samples.data(), n, list, highest, state.get()), vekOk);
        PageEnd<float> second(values), third(values);
        float *apart[3] = {coefficients.data(), second.data(), third.data()};
        EXPECT_EQ(vekrSHTFwd_32f_C3P3I(x, x, x, samples.data(), n, apart, highest, state.get()), vekOk);
        const float *read[3] = {coefficients.data(), second.data(), third.data()};
        EXPECT_EQ(vekrSHTInv_32f_P3C3(read, highest, x, x, x, samples.data(), n, state.get()), vekOk);
        EXPECT_EQ(vekrSHTInv_32f_C1(read[0], highest, x, x, x, samples.data() + 2 * count, n, state.get()),
                  vekOk);
      }
    }
  }
}

}  // namespace
