// SPDX-License-Identifier: MIT
#include "sensors/antenna.h"

namespace Velmor {

Antenna::Antenna(const GPIO::pin& pin) : line_(pin, GPIO::out()) {}

void Antenna::set(const antenna_t& antenna) {
    line_.set(antenna);
}

}  // namespace Velmor
