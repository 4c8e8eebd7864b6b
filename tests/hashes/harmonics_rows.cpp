// Spherical harmonics: both evaluators at every band, and the six transforms with coefficients at either alignment.
#include "hashes/rows.h"

namespace hashes {
namespace {

constexpr int32_t kDirections = 21;
constexpr uint32_t kBands[] = {0, 1, 2, 3, 5, 6, 9, 14, 15};

struct Directions {
  Directions() : xyz(3, kDirections) {
    Random random(59);
    for (size_t i = 0; i < kDirections; ++i) {
      for (size_t axis = 0; axis < 3; ++axis) {
        xyz[axis][i] = i % 3 ? random.within(-1.0f, 1.0f) : random.hostile();
      }
    }
  }
  Planes<float> xyz;
};

class State {
 public:
  State(uint32_t band, int32_t type) : bytes_(bytesOf(band, type)) {
    status = vekrSHInit_32f(reinterpret_cast<VekrSHState *>(bytes_.data()), band, type);
  }
  const VekrSHState *get() { return reinterpret_cast<const VekrSHState *>(bytes_.data()); }
  VekStatus status;

 private:
  static size_t bytesOf(uint32_t band, int32_t type) {
    uint32_t size = 0;
    vekrSHGetSize_32f(band, type, &size);
    return size < sizeof(VekrSHState) ? sizeof(VekrSHState)
                                      : size;  // the direct one needs less than the record
  }
  Array<uint8_t> bytes_;
};

uint64_t sizes(int32_t type) {
  Hash hash;
  for (uint32_t band = 0; band < 40; ++band) {
    Array<uint32_t> size(1);
    hash.word(hashOf(vekrSHGetSize_32f(band, type, size.data()), size));
  }
  return hash.value();
}

// The fields, and of the tables what stands in them; addresses don't count.
uint64_t initial(int32_t type) {
  Hash hash;
  for (uint32_t band = 0; band <= 15; ++band) {
    State state(band, type);
    hash.add(state.status);
    hash.add(state.get()->maxBand);
    hash.add(state.get()->type);
  }
  return hash.value();
}

size_t functionsOf(uint32_t band) { return static_cast<size_t>((band + 1) * (band + 1)); }

template <class Call>
uint64_t eachBand(const Call &call) {
  Hash hash;
  for (const uint32_t band : kBands) hash.word(call(band));
  return hash.value();
}

uint64_t basis(int32_t type) {
  Directions d;
  return eachBand([&](uint32_t band) {
    State state(band, type);
    Array<float> values(functionsOf(band) * kDirections);
    return hashOf(vekrSH_32f(d.xyz[0], d.xyz[1], d.xyz[2], kDirections, values.data(), band, state.get()),
                  values);
  });
}

uint64_t oneBand() {
  Directions d;
  return eachBand([&](uint32_t band) {
    Array<float> values((2 * band + 1) * kDirections);
    return hashOf(vekrSHBand_32f(d.xyz[0], d.xyz[1], d.xyz[2], kDirections, values.data(), band), values);
  });
}

enum class Channels { one, planes, interleaved };
struct Transform {
  const char *name;
  bool forward;
  Channels channels;
};
constexpr Transform kTransforms[] = {{"sh/forward/one", true, Channels::one},
                                     {"sh/forward/planes", true, Channels::planes},
                                     {"sh/forward/interleaved", true, Channels::interleaved},
                                     {"sh/inverse/one", false, Channels::one},
                                     {"sh/inverse/planes", false, Channels::planes},
                                     {"sh/inverse/interleaved", false, Channels::interleaved}};

uint64_t transform(const Transform &t, int32_t type, size_t offset) {
  Directions d;
  const float *x = d.xyz[0], *y = d.xyz[1], *z = d.xyz[2];
  return eachBand([&](uint32_t band) {
    State state(band, type);
    const VekrSHState *s = state.get();
    Random random(61);
    const auto next = [&] { return random.below(5) ? random.within(-2.0f, 2.0f) : 0.0f; };
    Planes<float> samples(3, kDirections, offset), coefficients(3, functionsOf(band), offset);
    Array<float> triples(3 * kDirections, offset);
    samples.fill(next);
    coefficients.fill(next);
    triples.fill(next);
    VekStatus status = -1;
    if (t.forward) {
      if (t.channels == Channels::one)
        status = vekrSHTFwd_32f_C1I(x, y, z, samples[0], kDirections, coefficients[0], band, s);
      if (t.channels == Channels::planes)
        status = vekrSHTFwd_32f_P3I(x, y, z, samples.in(), kDirections, coefficients.list(), band, s);
      if (t.channels == Channels::interleaved)
        status = vekrSHTFwd_32f_C3P3I(x, y, z, triples.data(), kDirections, coefficients.list(), band, s);
    } else {
      if (t.channels == Channels::one)
        status = vekrSHTInv_32f_C1(coefficients[0], band, x, y, z, samples[0], kDirections, s);
      if (t.channels == Channels::planes)
        status = vekrSHTInv_32f_P3(coefficients.in(), band, x, y, z, samples.list(), kDirections, s);
      if (t.channels == Channels::interleaved)
        status = vekrSHTInv_32f_P3C3(coefficients.in(), band, x, y, z, triples.data(), kDirections, s);
    }
    return hashOf(status, samples, coefficients, triples);
  });
}

}  // namespace

void addHarmonicsRows(Rows &rows) {
  for (const int32_t type : {vekrSHDirect, vekrSHRecurrent}) {
    const std::string name = type == vekrSHDirect ? "/direct" : "/recurrent";
    rows.push_back({"sh/size" + name, false, 0, [=] { return sizes(type); }});
    rows.push_back({"sh/init" + name, false, 0, [=] { return initial(type); }});
    rows.push_back({"sh/basis" + name, false, 0, [=] { return basis(type); }});
    for (const Transform &t : kTransforms) {
      for (const size_t offset : {size_t{0}, size_t{4}}) {
        rows.push_back({t.name + name + (offset ? "/misaligned" : ""), false, 0,
                        [&t, type, offset] { return transform(t, type, offset); }});
      }
    }
  }
  rows.push_back({"sh/band", false, 0, oneBand});
}

}  // namespace hashes
