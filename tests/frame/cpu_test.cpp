// The switch on which the second run of every test stands.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "frame/cpu.h"

#ifdef __x86_64__
TEST(Cpu, Avx2CanBeSwitchedOffFromOutside) {
  const char *tunables = std::getenv("GLIBC_TUNABLES");
  if (tunables != nullptr && std::strstr(tunables, "hwcaps=-AVX2") != nullptr) {
    EXPECT_EQ(ownHasAvx2(), 0);
  } else {
    EXPECT_EQ(ownHasAvx2() != 0, __builtin_cpu_supports("avx2") != 0);
  }
}

#if defined(VEKR_AVX512) && !defined(VEKR_AVX512_IN_HALVES)
TEST(Cpu, Avx512CanBeSwitchedOffFromOutsideByItselfOrWithAvx2) {
  const char *tunables = std::getenv("GLIBC_TUNABLES");
  if (tunables != nullptr && std::strstr(tunables, "hwcaps=-AVX") != nullptr) {
    EXPECT_EQ(ownHasAvx512(), 0);
  } else {
    EXPECT_EQ(ownHasAvx512() != 0, __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                                       __builtin_cpu_supports("avx512bw") &&
                                       __builtin_cpu_supports("avx512dq"));
  }
}
#endif
#else
TEST(Cpu, OtherArchitecturesHaveNoAvx2) { EXPECT_EQ(ownHasAvx2(), 0); }
#endif
