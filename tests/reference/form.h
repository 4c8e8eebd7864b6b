// The two forms that a ray primitive may take.
#pragma once

#include <cstdint>

namespace vekr_reference {

enum class Form { plain, fourWide };

constexpr Form formOf(int32_t length, bool aligned) {
  return length % 4 == 0 && aligned ? Form::fourWide : Form::plain;
}

}  // namespace vekr_reference
