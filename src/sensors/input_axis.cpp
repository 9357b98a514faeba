// SPDX-License-Identifier: MIT
#include "sensors/input_axis.h"

#include <fcntl.h>
#include <linux/input.h>

namespace Velmor {

std::int32_t read_axis(DeviceFile& device, unsigned int axis) {
    if (!device.is_open()) device.open(O_RDONLY | O_CLOEXEC);
    input_absinfo info = {};
    device.ioctl(EVIOCGABS(axis), &info);
    return info.value;
}

}  // namespace Velmor
