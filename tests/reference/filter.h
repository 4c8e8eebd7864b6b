// Plain twin of the 16-bit filter: every voxel for itself, in the steps that its results are documented by.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "vekr.h"

namespace vekr_reference {

struct FilterCall {
  VekrVolumeSize dst, kernel;
  VekrVolumePoint anchor;
  int32_t divisor;
  std::vector<int32_t> taps;

  int32_t tap(int32_t k, int32_t j, int32_t i) const {
    return taps[(static_cast<size_t>(k) * kernel.height + j) * kernel.width + i];
  }
};

inline int32_t wrapped(uint64_t a) { return static_cast<int32_t>(static_cast<uint32_t>(a)); }

inline int16_t saturate16(int64_t a) {
  if (a > 32767) return 32767;
  if (a < -32768) return -32768;
  return static_cast<int16_t>(a);
}

inline int32_t filterBufferBytes(VekrVolumeSize dst, VekrVolumeSize kernel) {
  const uint32_t even = static_cast<uint32_t>(kernel.width) + (kernel.width % 2 != 0 ? 1 : 0);
  const uint32_t taps = (even * 8 + 15) / 16 * 16 * kernel.height * kernel.depth;
  const uint32_t row = static_cast<uint32_t>((static_cast<uint64_t>(dst.width) + 15) / 16 * 16);
  return wrapped(2 * taps + 4 * row);
}

inline bool takesVectorForm(const FilterCall &call) {
  int64_t sum = 0;
  for (int32_t tap : call.taps) {
    if (tap < -32767 || tap > 32766) return false;
    sum += tap;
  }
  return sum <= 98301 && call.dst.width >= 16 && call.kernel.width >= 3 && call.kernel.height >= 3 &&
         call.kernel.depth >= 3;
}

// log2 of a power of two of at least 2, otherwise 0.
inline int32_t shiftOf(int32_t divisor) {
  for (int32_t s = 1; s <= 30; ++s) {
    if (divisor == int32_t{1} << s) return s;
  }
  return 0;
}

// ---------------------------------------------------------------- the wide form

// source(x, y, z) is a voxel.
template <class Source>
int64_t wideSum(const FilterCall &call, const Source &source, int32_t x, int32_t y, int32_t z) {
  int64_t sum = 0;
  for (int32_t k = 0; k < call.kernel.depth; ++k) {
    for (int32_t j = 0; j < call.kernel.height; ++j) {
      for (int32_t i = 0; i < call.kernel.width; ++i) {
        const int32_t voxel = source(x + call.anchor.x - i, y + call.anchor.y - j, z + call.anchor.z - k);
        sum += wrapped(static_cast<uint64_t>(static_cast<int64_t>(voxel) * call.tap(k, j, i)));
      }
    }
  }
  return sum;
}

inline int16_t wideVoxel(int64_t sum, int32_t divisor) {
  if (divisor == 1) return saturate16(sum);
  if (const int32_t s = shiftOf(divisor); s != 0) {
    const int64_t q = sum >> s;
    const int64_t t = (sum & ((int64_t{1} << s) - 1)) + (int64_t{1} << (s - 1)) + (q & 1) - 1;
    return saturate16(q + (static_cast<int32_t>(t) >> s));
  }
  const double r = static_cast<double>(sum) / static_cast<double>(static_cast<float>(divisor));
  if (r >= 32767.0) return 32767;
  if (r <= -32768.0) return -32768;
  int64_t n = 0;
  if (r > 0.5) {
    n = static_cast<int64_t>(std::trunc(r + 0.5));
    if (static_cast<double>(n) - r == 0.5 && n % 2 != 0) n = n - 1;
  } else if (r < -0.5) {
    n = static_cast<int64_t>(std::trunc(r - 0.5));
    if (static_cast<double>(n) - r == -0.5 && n % 2 != 0) n = n + 1;
  }
  return saturate16(n);
}

// ---------------------------------------------------------------- the vector form

// One kernel row, on the sums of a destination row. `taps` are t0, t1, ... and, behind them, what stands there in the
// buffer: the first taps of the next kernel row, or nothing behind the last row. source(c) is column c of the row.
template <class Source>
void addKernelRow(std::vector<int32_t> &sums, const std::vector<int32_t> &taps, int32_t kw, bool first,
                  const Source &source) {
  const int32_t w = static_cast<int32_t>(sums.size());
  const auto put = [&](int32_t v, int64_t sum) {
    const uint32_t before = first ? 0 : static_cast<uint32_t>(sums[v]);
    sums[v] = wrapped(before + static_cast<uint64_t>(sum));
  };
  const auto partial = [&](int32_t v, int32_t begin, int32_t end) {
    int64_t sum = 0;
    for (int32_t i = begin; i < end; ++i) sum += int64_t{taps[i]} * source(v + i);
    return sum;
  };
  if (kw == 3 || kw == 5) {
    for (int32_t v = 0; v < w; ++v) put(v, partial(v, 0, kw));
    return;
  }
  const int32_t whole = w / 16 * 16;
  const int32_t bound = whole - 16;
  // The first four.
  for (int32_t v = 0; v < std::min(w, 4 * bound + 16); ++v) {
    if (v % 16 >= 12 && v / 16 < bound / 4) {
      int32_t t4, t5;
      if (static_cast<int32_t>(taps.size()) > 5) {
        t4 = taps[4];
        t5 = taps[5];
      } else {
        const int32_t sum = sums[v % 4];
        t4 = static_cast<int16_t>(sum);
        t5 = static_cast<int16_t>(sum >> 16);
      }
      put(v, partial(v, 0, 2) + int64_t{t4} * source(v + 2) + int64_t{t5} * source(v + 3));
    } else {
      put(v, partial(v, 0, 4));
    }
  }
  // The rest.
  if (kw == 6 || kw == 7 || kw == 9) {
    for (int32_t v = 0; v < whole; ++v) {
      sums[v] = wrapped(static_cast<uint32_t>(sums[v]) + static_cast<uint64_t>(partial(v, 4, kw)));
    }
  }
  // The remainder.
  for (int32_t v = 16; v < 16 + w - whole; ++v) put(v, partial(v, 0, kw));
}

inline int16_t vectorVoxel(int32_t a, int32_t divisor) {
  if (divisor == 1) return saturate16(a);
  if (const int32_t s = shiftOf(divisor); s != 0) {
    const uint32_t oddQuotient = (static_cast<uint32_t>(a) >> s) & 1;
    return saturate16(wrapped(static_cast<uint32_t>(a) + (1u << (s - 1)) - 1 + oddQuotient) >> s);
  }
  const float scale = 1.0f / static_cast<float>(divisor);
  const float product = static_cast<float>(a) * scale;
  return saturate16(static_cast<int64_t>(std::nearbyint(product)));
}

// A row of voxels (0, y, z) to (width - 1, y, z) before the division.
template <class Source>
std::vector<int32_t> vectorSums(const FilterCall &call, const Source &source, int32_t y, int32_t z) {
  const int32_t kw = call.kernel.width, kh = call.kernel.height, kd = call.kernel.depth;
  std::vector<int32_t> sums(static_cast<size_t>(call.dst.width), 0x5A5A5A5A);
  for (int32_t p = 0; p < kd; ++p) {
    for (int32_t r = 0; r < kh; ++r) {
      // From the last tap to the first; for an odd width a zero ends the row in the buffer.
      std::vector<int32_t> taps;
      const size_t behind = (static_cast<size_t>(p) * kh + r) * kw;
      for (size_t i = behind; i < call.taps.size() && i < behind + kw; ++i) {
        taps.push_back(call.taps[call.taps.size() - 1 - i]);
      }
      if (kw == 4) {
        for (size_t i = behind + kw; i < call.taps.size() && i < behind + kw + 2; ++i) {
          taps.push_back(call.taps[call.taps.size() - 1 - i]);
        }
      }
      addKernelRow(sums, taps, kw, p == 0 && r == 0, [&](int32_t column) {
        return source(column - (kw - 1 - call.anchor.x), y - (kh - 1 - call.anchor.y) + r,
                      z - (kd - 1 - call.anchor.z) + p);
      });
    }
  }
  return sums;
}

// ---------------------------------------------------------------- a call

// put(x, y, z, voxel) for every destination voxel.
template <class Source, class Put>
void filter(const FilterCall &call, const Source &source, const Put &put) {
  const bool vector = takesVectorForm(call);
  for (int32_t z = 0; z < call.dst.depth; ++z) {
    for (int32_t y = 0; y < call.dst.height; ++y) {
      const std::vector<int32_t> sums = vector ? vectorSums(call, source, y, z) : std::vector<int32_t>();
      for (int32_t x = 0; x < call.dst.width; ++x) {
        put(x, y, z,
            vector ? vectorVoxel(sums[x], call.divisor)
                   : wideVoxel(wideSum(call, source, x, y, z), call.divisor));
      }
    }
  }
}

}  // namespace vekr_reference
