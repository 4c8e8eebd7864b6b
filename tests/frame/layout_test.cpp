// The layout as a C++ compiler sees it, and as C does (layout_test.c).
#include <gtest/gtest.h>

#include <type_traits>

#define LAYOUT(condition) static_assert(condition)
#include "layout.h"

static_assert(std::is_standard_layout_v<VekLibVersion> && std::is_trivial_v<VekrTriangleAccel>);

extern "C" int layoutCallsFromC(void);

TEST(Layout, StructsByValueAreTheSameInC) { EXPECT_TRUE(layoutCallsFromC()); }
