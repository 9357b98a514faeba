// SPDX-License-Identifier: MIT
#include "sensors/wifi.h"

#include "access/device_name.h"

namespace Velmor {

Wifi::Wifi(const std::string& name, std::uint32_t value) : info_() {
    copy_device_name(info_.name, name);
    info_.value = value;
}

void Wifi::info_get(wifi_info_t& info) {
    info = info_;
}

}  // namespace Velmor
