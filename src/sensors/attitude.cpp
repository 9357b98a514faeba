// SPDX-License-Identifier: MIT
#include "sensors/attitude.h"

#include <linux/input.h>

#include "sensors/input_axis.h"

namespace Velmor {

Attitude::Attitude(const std::string& path) : device_(path) {}

void Attitude::get(attitude_t& attitude) {
    attitude.x = read_axis(device_, ABS_X);
    attitude.y = read_axis(device_, ABS_Y);
    attitude.z = read_axis(device_, ABS_Z);
}

}  // namespace Velmor
