// SPDX-License-Identifier: MIT
#include "serial/serial_device.h"

#include "access/device_name.h"

namespace Velmor {

SerialDevice::SerialDevice(const std::string& name, std::uint32_t baud_rate, std::uint32_t options) : info_() {
    copy_device_name(info_.name, name);
    info_.baud_rate = baud_rate;
    info_.options = options;
}

void SerialDevice::get_info(serial_device_info_t& info) {
    info = info_;
}

}  // namespace Velmor
