// The two documented forms of a ray primitive. They differ at most in the last bits, in ways that are
// contract; both run on as many lanes as the processor has.
#pragma once

#include <cstdint>

#include "frame/checks.h"

namespace vekr {

enum class RayForm {
  plain,    // the one-ray loop's order of operations
  fourWide  // the four-ray kernel's
};

inline RayForm formFor(int32_t length, bool aligned) {
  return isMultipleOfFour(length) && aligned ? RayForm::fourWide : RayForm::plain;
}

}  // namespace vekr
