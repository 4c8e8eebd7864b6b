// Kernels of the spherical harmonics. All of them take valid pointers, N of at least 1 and bands up to kHighestBand.
#pragma once

#include <cstdint>

#include "frame/dispatch.h"
#include "sh/basis.h"

namespace vekr {

// The directions of a call.
struct Directions {
  const float *x, *y, *z;
  int32_t count;
};

// Samples of one channel: that of direction i is at first[i * step].
template <class T>
struct Channel {
  T *first;
  int32_t step;
};

constexpr int kMostChannels = 3;

}  // namespace vekr

VEKR_KERNELS(
    sh_kernels,
    // A block of values for each direction.
    void ownSHBasis_32f(const Basis &basis, const Directions &directions, float *pDst);
    // The same for one band alone, by the direct evaluator.
    void ownSHBand_32f(uint32_t band, const Directions &directions, float *pDst);
    // Adds the projection of `channels` channels to as many coefficient arrays, which may be one and the same.
    void ownSHForward_32f(const Basis &basis, const Directions &directions,
                          const Channel<const float> *samples, float *const *pCoeff, int channels);
    // Sums the functions, weighted with the coefficients of each channel.
    void ownSHInverse_32f(const Basis &basis, const Directions &directions, const float *const *pCoeff,
                          const Channel<float> *values, int channels);)
