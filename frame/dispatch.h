// Choice of instruction set. Kernel files are compiled once for each set, every time in a namespace of its
// own (VEKR_ISA, given on the compiler's command line), so that no inline function of one set is linked into
// another. All sets replay the same scalar operations: a caller can't tell from the results which one has
// run.
#pragma once

#include "frame/cpu.h"

// The sets that all kernels are compiled for, best first, each with the question whether this processor has it; the last one
// is the floor.
#ifdef __aarch64__
#define VEKR_COMMON_SETS(apply, ...) apply(neon, true, __VA_ARGS__)
#else
#define VEKR_COMMON_SETS(apply, ...) apply(avx2, ownHasAvx2(), __VA_ARGS__) apply(sse41, true, __VA_ARGS__)
#endif

// In front of them, if the build has it, one that kernels join family by family: VEKR_AVX512_<family> is 1 or 0, on the
// compiler's command line (cmake/library.cmake). Who asks this set for a kernel that hasn't joined gets that of the next.
#ifdef VEKR_AVX512
#define VEKR_SETS(apply, ...) apply(avx512, ownHasAvx512(), __VA_ARGS__) VEKR_COMMON_SETS(apply, __VA_ARGS__)
#define VEKR_KERNELS(family, ...) VEKR_KERNELS_IF(VEKR_AVX512_##family, __VA_ARGS__)
#define VEKR_KERNELS_IF(joins, ...) VEKR_KERNELS_IF_(joins, __VA_ARGS__)
#define VEKR_KERNELS_IF_(joins, ...) VEKR_KERNELS_##joins(__VA_ARGS__)
#define VEKR_KERNELS_1(...) VEKR_SETS(VEKR_IN_NAMESPACE, __VA_ARGS__)
#define VEKR_KERNELS_0(...) VEKR_COMMON_SETS(VEKR_IN_NAMESPACE, __VA_ARGS__)
namespace vekr::avx2 {}
namespace vekr::avx512 {
using namespace avx2;
}
#else
#define VEKR_SETS VEKR_COMMON_SETS
// Declares kernels in the namespaces of all sets. The family is that of their files, see vekr_kernels() in cmake/flags.cmake.
#define VEKR_KERNELS(family, ...) VEKR_SETS(VEKR_IN_NAMESPACE, __VA_ARGS__)
#endif
#define VEKR_IN_NAMESPACE(set, isThere, ...) \
  namespace vekr::set {                      \
  __VA_ARGS__                                \
  }

// On a kernel's definition: everything that it calls becomes part of it. Without this the bodies of its groups stay
// functions of their own, whose captured pointers are fetched from memory again after every store.
#define VEKR_FLATTEN __attribute__((flatten))

// The best form of a kernel for this processor; to be called on the spot.
#define VEKR_DISPATCH(...) (VEKR_SETS(VEKR_IF_THERE, __VA_ARGS__) nullptr)
#define VEKR_IF_THERE(set, isThere, ...) isThere ? &::vekr::set::__VA_ARGS__:
