// The caller's state block. It may lie at any address and be only as long as its type needs, so that fields are copied
// out one by one, and the table pointers only after the type is known.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "vekr.h"

namespace vekr {

template <class T>
T stateField(const VekrSHState *pState, size_t offset) {
  T value;
  std::memcpy(&value, reinterpret_cast<const unsigned char *>(pState) + offset, sizeof(T));
  return value;
}

template <class T>
void setStateField(VekrSHState *pState, size_t offset, T value) {
  std::memcpy(reinterpret_cast<unsigned char *>(pState) + offset, &value, sizeof(T));
}

inline uint32_t maxBandOf(const VekrSHState *pState) {
  return stateField<uint32_t>(pState, offsetof(VekrSHState, maxBand));
}

inline int32_t typeOf(const VekrSHState *pState) {
  return stateField<int32_t>(pState, offsetof(VekrSHState, type));
}

inline const float *recurrenceAOf(const VekrSHState *pState) {
  return stateField<const float *>(pState, offsetof(VekrSHState, pRecurA));
}

inline const float *recurrenceBOf(const VekrSHState *pState) {
  return stateField<const float *>(pState, offsetof(VekrSHState, pRecurB));
}

}  // namespace vekr
