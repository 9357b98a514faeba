// SPDX-License-Identifier: MIT
#include "sensors/bluetooth.h"

#include "access/device_name.h"

namespace Velmor {

Bluetooth::Bluetooth(const std::string& name, std::uint32_t value) : info_() {
    copy_device_name(info_.name, name);
    info_.value = value;
}

void Bluetooth::info_get(bluetooth_info_t& info) {
    info = info_;
}

}  // namespace Velmor
