// Choice of instruction set. Kernel files are compiled once for each set, every time in a namespace of its
// own (VEKR_ISA, given on the compiler's command line), so that no inline function of one set is linked into
// another. All sets replay the same scalar operations: a caller can't tell from the results which one has
// run.
#pragma once

#include "frame/cpu.h"

// The sets, best first, each with the question whether this processor has it; the last one is the floor.
#ifdef __aarch64__
#define VEKR_SETS(apply, ...) apply(neon, true, __VA_ARGS__)
#else
#define VEKR_SETS(apply, ...) apply(avx2, ownHasAvx2(), __VA_ARGS__) apply(sse41, true, __VA_ARGS__)
#endif

// Declares kernels in the namespaces of all sets.
#define VEKR_KERNELS(...) VEKR_SETS(VEKR_IN_NAMESPACE, __VA_ARGS__)
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
