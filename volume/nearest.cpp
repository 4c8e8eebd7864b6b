// Nearest voxel: copied without arithmetic.
#include "volume/sampling.h"

namespace vekr::VEKR_ISA {

template <class Voxel>
void sampleNearest(const SampledVolume &source, const Chunk &chunk, unsigned char *row) {
  const auto planes = static_cast<const Voxel *const *>(source.planes);
  const int64_t step = source.step;
  const auto copy = [&](int v) {
    const Voxel *const from = planes[chunk.index[2][v]] + (chunk.index[1][v] * step + chunk.index[0][v]);
    storeAs(row + static_cast<size_t>(v) * sizeof(Voxel), loadAs<Voxel>(from));
  };
  if (isFull(chunk)) {
    for (int v = 0; v < chunk.count; ++v) copy(v);
  } else {
    forEachOf(chunk.inside, copy);
  }
}

template Sampler sampleNearest<uint8_t>;
template Sampler sampleNearest<uint16_t>;
template Sampler sampleNearest<float>;

}  // namespace vekr::VEKR_ISA
