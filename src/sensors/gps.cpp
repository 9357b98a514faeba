// SPDX-License-Identifier: MIT
#include "sensors/gps.h"

namespace Velmor {

Gps::Gps(std::uint32_t value1, std::uint32_t value2) : info_{value1, value2} {}

void Gps::info_get(gps_info_t& info) {
    info = info_;
}

}  // namespace Velmor
