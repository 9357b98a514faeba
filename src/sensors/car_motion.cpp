// SPDX-License-Identifier: MIT
#include "sensors/car_motion.h"

#include <linux/input.h>

#include "sensors/input_axis.h"

namespace Velmor {

CarMotion::CarMotion(const std::string& path) : device_(path) {}

void CarMotion::get(car_motion_t& motion) {
    const std::int32_t speed = read_axis(device_, ABS_X);
    const std::int32_t direction = read_axis(device_, ABS_RX);
    motion.speed = speed;
    motion.reverse = direction < 0;
}

}  // namespace Velmor
