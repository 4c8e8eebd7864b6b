// Choice of instruction set. Kernel files are compiled once for each set, every time in a namespace of its
// own (VEKR_ISA, given on the compiler's command line), so that no inline function of one set is linked into
// another. Both sets replay the same scalar operations: a caller can't tell from the results which one has
// run.
#pragma once

#include "frame/cpu.h"

// Declares kernels in the namespaces of both instruction sets.
#define VEKR_KERNELS(...) \
  namespace vekr::sse41 { \
  __VA_ARGS__             \
  }                       \
  namespace vekr::avx2 {  \
  __VA_ARGS__             \
  }

// On a kernel's definition: everything that it calls becomes part of it. Without this the bodies of its groups stay
// functions of their own, whose captured pointers are fetched from memory again after every store.
#define VEKR_FLATTEN __attribute__((flatten))

// The best form of a kernel for this processor; to be called on the spot.
#define VEKR_DISPATCH(kernel) (ownHasAvx2() ? &::vekr::avx2::kernel : &::vekr::sse41::kernel)
