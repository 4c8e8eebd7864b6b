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

// The best form of a kernel for this processor; to be called on the spot.
#define VEKR_DISPATCH(kernel) (ownHasAvx2() ? &::vekr::avx2::kernel : &::vekr::sse41::kernel)
