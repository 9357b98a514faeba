// SPDX-License-Identifier: MIT
#include "lighting/backlight.h"

#include <stdexcept>

namespace Velmor {

void check_backlight_level(std::uint32_t level) {
    if (level > backlight_full) throw std::range_error("backlight brightness out of range");
}

}  // namespace Velmor
