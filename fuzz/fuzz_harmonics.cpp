// Spherical harmonics against their twins: bands, directions, samples and alignments from bytes.
#include "input.h"
#include "reference/spherical_harmonics.h"

using namespace vekr_fuzz;

namespace {

struct Setting {
  int32_t type, count;
  uint32_t stateBand, band;
  Array<uint8_t> state;
  Triple<float> xyz;
  std::vector<std::vector<float>> blocks;  // of the twin, one for each direction
  size_t functions() const { return static_cast<size_t>((band + 1) * (band + 1)); }
  const VekrSHState *get() const { return reinterpret_cast<const VekrSHState *>(state.data()); }
};

Setting settingFrom(Input &in) {
  const int32_t type = in.flag() ? vekrSHRecurrent : vekrSHDirect, count = in.within(1, 9);
  const auto stateBand = static_cast<uint32_t>(in.below(16));
  const auto band = static_cast<uint32_t>(in.below(static_cast<int32_t>(stateBand) + 1));
  uint32_t bytes = 0;
  FUZZ_CHECK(vekrSHGetSize_32f(stateBand, type, &bytes) == vekOk);
  Setting s = {type,
               count,
               stateBand,
               band,
               Array<uint8_t>(bytes, 0),
               Triple<float>(static_cast<size_t>(count), static_cast<size_t>(in.below(4))),
               {}};
  FUZZ_CHECK(vekrSHInit_32f(reinterpret_cast<VekrSHState *>(s.state.data()), stateBand, type) == vekOk);
  const Numbers kind = in.flag() ? Numbers::any : Numbers::finite;
  for (size_t axis = 0; axis < 3; ++axis) s.xyz[axis].fill([&] { return in.real(kind); });
  const reference::Tables tables = reference::recurrenceTables(static_cast<int>(stateBand));
  for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
    const float x = s.xyz[0][i], y = s.xyz[1][i], z = s.xyz[2][i];
    s.blocks.push_back(type == vekrSHDirect
                           ? reference::directBlock(x, y, z, static_cast<int>(band))
                           : reference::recurrentBlock(tables, x, y, z, static_cast<int>(band)));
  }
  return s;
}

void basis(Input &, Setting &s) {
  Array<float> values(s.functions() * static_cast<size_t>(s.count), 0);
  FUZZ_CHECK(vekrSH_32f(s.xyz[0].data(), s.xyz[1].data(), s.xyz[2].data(), s.count, values.data(), s.band,
                        s.get()) == vekOk);
  for (size_t i = 0; i < values.size(); ++i) {
    FUZZ_CHECK(same(values[i], s.blocks[i / s.functions()][i % s.functions()]));
  }
  if (s.type != vekrSHDirect) return;
  const size_t width = 2 * s.band + 1, first = s.band * s.band;
  Array<float> one(width * static_cast<size_t>(s.count), 0);
  FUZZ_CHECK(vekrSHBand_32f(s.xyz[0].data(), s.xyz[1].data(), s.xyz[2].data(), s.count, one.data(), s.band) ==
             vekOk);
  for (size_t i = 0; i < one.size(); ++i) FUZZ_CHECK(same(one[i], s.blocks[i / width][first + i % width]));
}

void forward(Input &in, Setting &s) {
  const int32_t channels = in.below(3);
  const auto n = static_cast<size_t>(s.count);
  Random random = in.contents();
  const auto next = [&] { return random.number(Numbers::any); };
  Triple<float> samples(n, static_cast<size_t>(in.below(4))),
      actual(s.functions(), static_cast<size_t>(in.below(4)));
  samples.fill(next);
  actual.fill(next);
  Triple<float> expected(actual);
  Array<float> triples(3 * n, 0);
  for (size_t i = 0; i < 3 * n; ++i) triples[i] = samples[i % 3][i / 3];
  const float *x = s.xyz[0].data(), *y = s.xyz[1].data(), *z = s.xyz[2].data();
  VekStatus status = vekOk;
  if (channels == 0)
    status = vekrSHTFwd_32f_C1I(x, y, z, samples[0].data(), s.count, actual[0].data(), s.band, s.get());
  if (channels == 1)
    status = vekrSHTFwd_32f_P3I(x, y, z, samples.in(), s.count, actual.list(), s.band, s.get());
  if (channels == 2)
    status = vekrSHTFwd_32f_C3P3I(x, y, z, triples.data(), s.count, actual.list(), s.band, s.get());
  FUZZ_CHECK(status == vekOk);
  for (size_t channel = 0; channel < (channels ? 3u : 1u); ++channel) {
    for (size_t i = 0; i < n; ++i) {
      reference::project(s.blocks[i], samples[channel][i], expected[channel].data());
    }
  }
  FUZZ_CHECK(actual == expected);
}

void inverse(Input &in, Setting &s) {
  const int32_t channels = in.below(3);
  const auto n = static_cast<size_t>(s.count);
  Random random = in.contents();
  Triple<float> coefficients(s.functions(), static_cast<size_t>(in.below(4)));
  coefficients.fill([&] { return random.number(Numbers::any); });
  Triple<float> actual(n, 0), expected(actual);
  Array<float> triples(3 * n, 0);
  const float *x = s.xyz[0].data(), *y = s.xyz[1].data(), *z = s.xyz[2].data();
  VekStatus status = vekOk;
  if (channels == 0)
    status = vekrSHTInv_32f_C1(coefficients[0].data(), s.band, x, y, z, actual[0].data(), s.count, s.get());
  if (channels == 1)
    status = vekrSHTInv_32f_P3(coefficients.in(), s.band, x, y, z, actual.list(), s.count, s.get());
  if (channels == 2) {
    status = vekrSHTInv_32f_P3C3(coefficients.in(), s.band, x, y, z, triples.data(), s.count, s.get());
    for (size_t i = 0; i < 3 * n; ++i) actual[i % 3][i / 3] = triples[i];
  }
  FUZZ_CHECK(status == vekOk);
  for (size_t channel = 0; channel < (channels ? 3u : 1u); ++channel) {
    for (size_t i = 0; i < n; ++i) {
      alignas(16) float block[256];
      std::copy(s.blocks[i].begin(), s.blocks[i].end(), block);
      expected[channel][i] =
          reference::dotProduct(block, coefficients[channel].data(), static_cast<int>(s.functions()));
    }
  }
  FUZZ_CHECK(actual == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Input in(data, size);
  const int32_t function = in.below(3);
  Setting setting = settingFrom(in);
  (function == 0 ? basis : function == 1 ? forward : inverse)(in, setting);
  return 0;
}
