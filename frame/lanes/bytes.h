// Elements at any address.
#pragma once

#include <cstring>

#include "frame/isa.h"

namespace vekr::VEKR_ISA {

template <class T>
inline T loadAs(const void *p) {
  T value;
  std::memcpy(&value, p, sizeof value);
  return value;
}

template <class T>
inline void storeAs(void *p, T value) {
  std::memcpy(p, &value, sizeof value);
}

}  // namespace vekr::VEKR_ISA
