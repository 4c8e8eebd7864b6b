#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "vekr.h"

TEST(Version, IsOneConstantRecord) {
  const VekLibVersion *version = vekrGetLibVersion();
  EXPECT_EQ(version, vekrGetLibVersion());
  EXPECT_EQ(version->major, 6);
  EXPECT_EQ(version->minor, 1);
  EXPECT_EQ(version->majorBuild, 137);
  EXPECT_EQ(version->build, 703);
  EXPECT_EQ(std::memcmp(version->targetCpu, "e9\0\0", 4), 0);
  EXPECT_STREQ(version->name, "libvekre9.so.6.1");
  EXPECT_STREQ(version->version, "6.1 build 137.56");
  EXPECT_STREQ(version->buildDate, "Mar 17 2010");
}

// The record is constant, and the file has a name of its own: they must not part ways.
TEST(Version, AgreesWithTheNameOfTheFile) {
  const VekLibVersion *version = vekrGetLibVersion();
  EXPECT_EQ(std::to_string(version->major) + "." + std::to_string(version->minor), VEKR_VERSION);
  EXPECT_STREQ(version->name, "libvekre9.so." VEKR_VERSION);
}
