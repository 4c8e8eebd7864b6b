// Both forms against their twins, or against another build of the library, on random scenes and rays for as long as one
// likes; no part of the tests that always run.
//   rays_soak ROWS [SEED [OTHER.so]]
// Each row has its own scene and up to 200 rays that are traced one by one, and a block of up to 576 in packets; both go through
// all four functions. Ends with 1 at the first difference.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

#include "intersect/packet_blocks.h"

namespace {

using namespace vekr_test;

template <class F>
void find(void *library, const char *name, F &function) {
  function = reinterpret_cast<F>(dlsym(library, name));
  if (function != nullptr) return;
  std::fprintf(stderr, "rays_soak: %s\n", dlerror());
  std::exit(2);
}

RayFunctions functionsOf(const char *path) {
  void *const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "rays_soak: %s\n", dlerror());
    std::exit(2);
  }
  RayFunctions f = {};
  find(library, "vekrIntersectMO_32f", f.manyOrigins);
  find(library, "vekrIntersectEyeSO_32f", f.eye);
  find(library, "vekrIntersectAnySO_32f", f.any);
  find(library, "vekrIntersectMultipleSO_32f", f.layers);
  return f;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: rays_soak ROWS [SEED [OTHER.so]]\n");
    return 2;
  }
  const long rows = std::strtol(argv[1], nullptr, 10);
  const auto first = static_cast<uint32_t>(argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 1);
  const RayFunctions other = argc > 3 ? functionsOf(argv[3]) : twins();
  const RayFunctions otherPackets = argc > 3 ? other : packetTwins();
  Met met;
  for (long row = 0; row < rows; ++row) {
    const uint32_t seed = first + static_cast<uint32_t>(row);  // enough to repeat a row alone
    Random random(seed);
    const auto scene = hostileScene(random);
    if (const auto r = rowAgrees(linkedFunctions(), other, *scene, 1 + random.below(200), random, met); !r) {
      std::printf("seed %u: %s\n", seed, r.message());
      return 1;
    }
    const VekrBlockSize size = {4 + 4 * random.below(6), 4 + 4 * random.below(6)};
    if (const auto r = blockAgrees(linkedFunctions(), otherPackets, *scene, size, random, met); !r) {
      std::printf("seed %u: %s\n", seed, r.message());
      return 1;
    }
  }
  std::printf("%ld rows, %zu rays, %zu hits, %zu of them behind others, %zu blocked: all the same\n", rows,
              met.rays, met.hits, met.deepHits, met.blocked);
  return 0;
}
